// WaveFile.h - a sound file (WAV, FLAC, AIFF, Ogg and whatever else libsndfile reads) as a wave of a bank.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "import/ImportOutcome.h"

namespace Kestrova {

enum class WaveLoopKind { Forward, Backward, Alternating };

// A loop as the file states it; nothing about it is checked.
struct WaveFileLoop {
    WaveLoopKind kind = WaveLoopKind::Forward;
    uint32_t nStart = 0;  // frames
    uint32_t nEnd = 0;    // the last frame played, in every format
    auto operator<=>(const WaveFileLoop&) const = default;
};

// What a file says of its wave.
struct WaveFileFacts {
    uint32_t nRate = 0;      // Hz, above 0
    uint32_t nChannels = 0;  // 1 or 2
    uint64_t nFrames = 0;    // of each channel; may be 0
    uint32_t nBits = 0;      // as ReadFrames gives them, 16 or 24; files of fewer bits are filled up
    bool bCut = false;       // the header states more frames than the file has (WAV and AIFF)
    std::string strRounded;  // what is not kept to the bit, as "32-bit numbers rounded to 24 bits"; or empty
    // Cents at which the wave plays unchanged: 100 for each key above key 0, and the fine tune. From a WAV
    // file's `smpl` or an AIFF file's `INST` chunk, as are the loops; nothing when it has none.
    std::optional<int> nRootCents;
    std::vector<WaveFileLoop> loops;  // at most 16
    bool operator==(const WaveFileFacts&) const = default;
};

// Where in a file the sound is; the default is all of it.
struct FilePart {
    uint64_t pos = 0;
    uint64_t nBytes = UINT64_MAX;  // what reaches beyond the file's end is not there
    auto operator<=>(const FilePart&) const = default;
};

// One open file, with one descriptor.
// Threads: one at a time. Several readers of one file need an object each; WaveFiles.h has them.
// Errors: as values, without the file's name; the system's reason where the system refused.
class WaveFile {
public:
    WaveFile();
    ~WaveFile();
    WaveFile(const WaveFile&) = delete;
    WaveFile& operator=(const WaveFile&) = delete;

    // Refuses what is not a sound file, has more than two channels or does not have as many frames as it
    // says, and while a budget is in force (ReadBudget) a wave above it.
    ImportOutcome Open(const std::string& strPath, const FilePart& part = {});

    // REQUIRES, as the rest: it was opened.
    const WaveFileFacts& GetFacts() const;
    // The frame behind those read last, which are read next without seeking.
    uint64_t GetPosition() const;

    // Little-endian numbers of the facts' bits, channels interleaved, nothing between. Of 16 or 24 bits they
    // are the file's own; no floating point is on their way. REQUIRES: the file has these frames.
    ImportOutcome ReadFrames(uint64_t nFirst, uint64_t nFrames, uint8_t* pOut);

private:
    struct Sound;
    std::unique_ptr<Sound> m_pSound;  // null when not open
};

}  // namespace Kestrova
