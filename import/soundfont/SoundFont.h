// SoundFont.h - a SoundFont file of version 2 (2.01 to 2.04) as plain structures, and its waves by ranges.
// Version 3 (SF3) is the same with samples compressed as Ogg Vorbis.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "SamplerDBDS/BaseClasses/XFile.h"
#include "import/ImportOutcome.h"
#include "import/soundfont/SoundFontChunks.h"
#include "import/wavefile/WaveFiles.h"

namespace Kestrova {

struct FontGenerator {
    uint16_t nOperator = 0;
    uint16_t nAmount = 0;  // a signed number, an index, or two bytes: low and high of a range
};

struct FontZone {
    std::span<const FontGenerator> generators;
    uint32_t nModulators = 0;
};

struct FontPreset {
    std::string strName;
    uint16_t nBank = 0;
    uint16_t nProgram = 0;
    std::span<const FontZone> zones;
};

struct FontInstrument {
    std::string strName;
    std::span<const FontZone> zones;
};

// The bits of FontSample::nType.
inline constexpr uint16_t kFontMono = 1, kFontRight = 2, kFontLeft = 4, kFontLinked = 8, kFontPacked = 0x10,
                          kFontRom = 0x8000;

// Positions are frames of the whole file's wave data; nothing about them is checked. Those of a compressed
// sample are frames of its own sound; it has none before it is opened.
struct FontSample {
    std::string strName;
    uint32_t nStart = 0;
    uint32_t nEnd = 0;  // one past the last frame, as the loop's end
    uint32_t nLoopStart = 0;
    uint32_t nLoopEnd = 0;
    uint32_t nRate = 0;      // Hz
    uint8_t nRootKey = 0;    // 255: no pitch
    int8_t nCorrection = 0;  // cents that playing adds to the pitch
    uint16_t nLink = 0;      // index of the other stereo half
    uint16_t nType = 0;
    std::optional<ChunkBody> packed =
        {};  // where in the file its compressed sound lies; none: not compressed
};

// One open file. The lists do not have the terminal record that ends each table of the file. Zones and
// generators lie within their tables and belong to one owner each; the numbers in them are not checked here.
// Threads: Open once, then OpenSample as often as wanted; then any thread may read.
// Owner:   owns all lists; spans into them live as long as the object.
// Errors:  outcomes; nothing is thrown.
class SoundFont {
public:
    SoundFont() = default;
    SoundFont(const SoundFont&) = delete;
    SoundFont& operator=(const SoundFont&) = delete;

    // Reads all but the waves, and keeps the file open for those.
    ImportOutcome Open(const std::string& strPath);
    // Makes the frames of a compressed sample known; any other has them already. Refused when they are no mono
    // sound of 16 bits. Decoded numbers are rounded to 16 bits as WaveFile does it.
    ImportOutcome OpenSample(size_t nSample);
    // Why the font's 24-bit part is not used; empty when it is, or there is none.
    const std::string& GetWarning() const { return m_strWarning; }
    // What the format forbids but is accepted without loss; one sentence each.
    const std::vector<std::string>& GetNotes() const { return m_notes; }

    const std::string& GetName() const { return m_strName; }
    const std::string& GetCopyright() const { return m_strCopyright; }
    std::string GetVersion() const;  // "2.04"
    std::span<const FontPreset> GetPresets() const { return m_presets; }
    std::span<const FontInstrument> GetInstruments() const { return m_instruments; }
    std::span<const FontSample> GetSamples() const { return m_samples; }

    uint32_t GetBits() const { return m_bWave24 ? 24 : 16; }
    uint64_t GetFrames() const { return m_nFrames; }
    // The frames among which the positions of a sample lie.
    uint64_t GetFramesFor(size_t nSample) const;
    // Reads frames nFirst to nFirst + nFrames - 1 as packed little-endian numbers of GetBits() bits, nStride
    // bytes from one to the next. REQUIRES: they lie within GetFrames().
    ImportOutcome ReadFrames(uint64_t nFirst, uint64_t nFrames, uint8_t* pOut, size_t nStride) const;
    // The same where a sample's positions lie. REQUIRES: a compressed one was opened.
    ImportOutcome ReadFramesFor(size_t nSample, uint64_t nFirst, uint64_t nFrames, uint8_t* pOut,
                                size_t nStride) const;

private:
    struct ZoneTable {
        std::vector<FontGenerator> generators;
        std::vector<FontZone> zones;
    };
    struct OwnerChunks {
        FontChunk owners, bags, modulators, generators;
    };
    struct RowLayout {
        size_t nBytes, nFirstBag;  // of a row, and where in it the index of its first zone stands
    };

    ImportOutcome ReadAt(uint64_t pos, void* p, size_t n) const;
    ImportOutcome ReadAll();
    ImportOutcome ReadVersion();
    ImportOutcome ReadText(FontChunk chunk, std::string& strText);
    ImportOutcome ReadTexts();
    ImportOutcome FindWaves();
    ImportOutcome ReadTable(FontChunk chunk, size_t nRowBytes, std::vector<uint8_t>& rows);
    ImportOutcome ReadModulators(FontChunk chunk, size_t& nModulators);
    ImportOutcome ReadGenerators(FontChunk chunk, std::vector<FontGenerator>& generators);
    ImportOutcome ReadZones(const OwnerChunks& chunks, ZoneTable& table);
    ImportOutcome ReadPresets();
    ImportOutcome ReadInstruments();
    ImportOutcome ReadSamples();
    ImportOutcome FindPackedSamples();
    template <class TOwner>
    ImportOutcome ReadOwners(const OwnerChunks& chunks, const RowLayout& layout, ZoneTable& table,
                             std::vector<TOwner>& owners, void (*decode)(const uint8_t* pRow, TOwner& owner));

    mutable CXFile m_file;  // its stream lock makes reads from many threads safe
    std::string m_strPath;
    SoundFontChunks m_chunks;
    std::string m_strWarning;
    std::vector<std::string> m_notes;
    uint16_t m_nMajor = 0;
    uint16_t m_nMinor = 0;
    std::string m_strName;
    std::string m_strCopyright;
    uint64_t m_nFrames = 0;
    bool m_bWave24 = false;
    ZoneTable m_presetZones;
    ZoneTable m_instrumentZones;
    std::vector<FontPreset> m_presets;
    std::vector<FontInstrument> m_instruments;
    std::vector<FontSample> m_samples;
    WaveFiles m_packed;
    std::map<size_t, size_t> m_packedFiles;  // of the samples opened: their numbers in m_packed
};

}  // namespace Kestrova
