// SDBISample.h - sample records: what both kinds share, and the plain kind, whose wave is stored compressed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "SamplerDBDS/DataBase/SDBIStructure.h"
#include "shared/System/kvString.h"

namespace Kestrova {

class CBodyReader;

// One entry of a loop list, 16 bytes in memory as on file. Positions are frames.
struct SDBLOOP {
    uint32_t nCueID;  // carried unchanged, as nPlayCount
    uint32_t nStart;
    uint32_t nEnd;
    uint32_t nPlayCount;
};
static_assert(sizeof(SDBLOOP) == 16, "loop lists are read and written whole");

inline constexpr uint32_t kSampleFormatFlag = 0x80000000;  // top bit of the format word: floating point
inline constexpr uint32_t kMaxLoops = 1000000;             // an enriched record holds fewer
inline constexpr uint32_t kWaveGuardFrames = 256;          // of silence on each side of a loaded wave

// Header, parameter block, loop list, wave and tail of a sample, whichever kind stores it.
// Owner: the record owns block, loops, wave and tail; pointers into them are good until they change.
class CSDBISampleBase : public CSDBITailed {
public:
    struct Info {
        char szName[256] = {};
        uint32_t nSampleRate = 0;  // Hz
        uint32_t nFormat = 0;      // bits per sample; the top bit is a flag that travels with the word
        uint32_t nChannels = 0;
        uint32_t nFrames = 0;
        uint32_t nRootKey = 0;     // the MIDI note at which the wave plays unchanged
        int32_t nFineTune = 0;     // cents, -49 to 50
        uint32_t nFurther = 0;     // carried unchanged
        uint32_t cLayerLoops = 0;  // entries of GetLoops(); set by AllocLoops
        uint32_t lWave = 0;        // the wave's expanded length in bytes, loaded or not
        uint8_t* pWave = nullptr;  // null when no wave is loaded
    };

    // Bytes per sample, and per frame (one sample of every channel).
    uint32_t GetSampleBytes() const { return (m_info.nFormat & ~kSampleFormatFlag) / 8; }
    uint64_t GetFrameBytes() const { return uint64_t{GetSampleBytes()} * m_info.nChannels; }

    // Bytes that the header's frames take, at most 2^64 - 1. More than m_info.lWave says that the wave is
    // shorter than its header states.
    uint64_t GetStatedBytes() const;

    // The record could not be read because its wave would take more than the budget in force (ReadBudget).
    bool IsOverReadBudget() const { return m_bOverReadBudget; }

    // Bytes that the wave takes in the file: the compressed length of the plain kind, else the length itself.
    virtual uint32_t GetStoredBytes() const = 0;

    SDBLOOP* GetLoops();
    const SDBLOOP* GetLoops() const;

    // Replaces the list by count zero entries and sets m_info.cLayerLoops; false, and the list empty, when
    // memory runs out.
    bool AllocLoops(uint32_t count);

    // Name, format, channels, frames, root key, fine tune and further word, not the rate: what a converted
    // sample has in common with its source.
    void CopyHeader(const CSDBISampleBase& source);

    // Copies loops, parameter block and tail of the source; false for want of memory.
    bool CopyOwned(const CSDBISampleBase& source);

    // Takes zero-filled memory for m_info.lWave bytes, with 256 frames of silence in front and behind where
    // the class loads waves, and points m_info.pWave behind the front guard. REQUIRES: no wave is present and
    // lWave is not 0 (fatal). False when memory runs out. A frame above 64 KiB gets no guard:
    // nothing interpolates such waves, and a hostile header must not make us take memory without bound.
    bool SmplMemAlloc();

    // Write the loaded wave as a RIFF WAVE file: chunks "fmt ", "data" and then, when there is a loop, a root
    // key or a fine tune, "smpl". Format tag 1, or 3 when the format word's flag is set. The second form
    // converts to 24-bit integers from 8 (unsigned), 16, 24 and 32 bits and from 32-bit floats.
    // False without a wave, for a format or size that the file's fields cannot hold or the conversion does
    // not know (the path is not touched then), or when the file cannot be written (it is removed then).
    bool ExportToFile(const char* path) const;
    bool ExportToFile24(const char* path) const;
    // The first form into an open, empty file of the caller's. Its GetFirstError tells why it failed; 0 then
    // says that the wave cannot be held by such a file.
    bool ExportTo(CXFile& file) const;

    Info m_info;
    CStgBlock m_params;  // its own first 4 bytes repeat its size; kept as it came where they do not

protected:
    CSDBISampleBase(uint32_t id, uint32_t parentID, bool bGuarded)
        : CSDBITailed(kSdbSample, id, parentID), m_bGuarded(bGuarded) {}

    // Frees block, loops, tail and wave and makes info the new header.
    void Reset(const Info& info);
    // Frees the wave memory; m_info.lWave stays.
    void FreeWave();

    bool m_bOverReadBudget = false;
    CStgBlock m_loops;  // SDBLOOP entries, m_info.cLayerLoops of them

private:
    uint64_t GetGuardBytes() const;

    bool m_bGuarded;   // the class loads waves
    CStgBlock m_wave;  // with its guards: header fields may change while it lives
};

// A sample of a plain database: the wave lies in the record, compressed or raw, or in an external file.
class CSDBISample : public CSDBISampleBase {
public:
    using CSDBInterpreter::Read;
    using CSDBInterpreter::Write;
    using LOADTYPE = int;
    static constexpr LOADTYPE kLoadStored = 0;  // the wave of the record; of an external file the header
    static constexpr LOADTYPE kLoadInfo = 1;    // header and loops; the wave is skipped
    static constexpr LOADTYPE kLoadWave = 2;    // header, loops and wave, from wherever it lies
    // Any other value reads no wave and takes what follows the header for the tail.

    CSDBISample(uint32_t id, uint32_t parentID, LOADTYPE loadType);
    void Clear(bool constructing);

    // Decodes the body. It takes memory only for bytes that the file has: a compressed wave is expanded
    // first, and memory for the length that the record states is taken only when the stream had as much.
    // While a budget is in force (ReadBudget), a compressed wave above it is not expanded: false.
    bool Read(CXFile* file, unsigned long size) override;

    // Encodes the record; call CalcCompressSize before GetSize and Write when the wave has changed. Quirk: a
    // raw wave is cut to whole samples, so one of another size writes fewer bytes than GetSize says.
    bool Write(CXFile* file) override;
    unsigned long GetSize() override;

    int Compare(CSDBInterpreter& other) override;  // by name, file name, wave length, rate, format word

    // Sets the stored size: the compressed length of a loaded wave, also when it is the larger one; the
    // expanded size without a wave or when compression gives nothing. False when that was for want of memory.
    bool CalcCompressSize();

    // For writers that compress once, on any thread: compresses the loaded wave like CalcCompressSize,
    // but keeps the stream, which Write then writes, and frees the wave. Where the stream would not be
    // smaller the wave stays and is stored raw. False when memory runs out; the wave then stays as well.
    // REQUIRES: the record is only written from here on; Clear ends this.
    bool PackWave();

    // Writes the wave: raw when stored and expanded size are equal, else compressed again or as packed. False
    // with a stored size of 0, without a wave, or when the compressed length is not the stored size.
    bool WriteIntWave(CXFile* file) const;

    // Header, loops, and wave of the external file. The name is opened as it stands; a relative one that is
    // not found there is looked for in the folder set by SetExtFolder.
    // GetExtFileInfo: false for an empty name, a file that is no well-formed wave, or when memory runs out;
    // quirk: a file that cannot be opened gives 0 frames and true. GetExtFileData, after it: false unless the
    // file holds exactly the frames of the header, and at least one.
    bool GetExtFileInfo();
    bool GetExtFileData();

    // The folder of the database, for relative external names; empty (the default) for none. Clear leaves it.
    // Throws std::bad_alloc.
    void SetExtFolder(std::string_view folder) { m_strExtFolder = folder; }

    void SmplMemFree() { FreeWave(); }
    uint32_t GetStoredBytes() const override { return m_lStored; }

    char m_szFile[256] = {};  // the wave's source file, when the record holds no wave
    uint32_t m_lStored = 0;   // bytes of the wave in the record; 0 = none, m_info.lWave = raw

private:
    template <class TSelf, class TCodec>
    static bool Header(TSelf& self, TCodec& codec);
    bool ReadWave(CBodyReader& reader);
    bool ReadExtHeader(CBodyReader& reader);
    bool ReadExtWave(CBodyReader& reader);
    bool ReadIntWave(CBodyReader& reader);
    bool ExpandWave(const CStgBlock& packed, CXFile& file, uint64_t nMost);
    bool OpenExtFile(CXFile& file) const;
    bool ReadExtFileInfo(CXFile& file);
    bool ReadExtFileData(CXFile& file);

    LOADTYPE m_loadType;
    CStgBlock m_packed;  // the wave's stream after PackWave; pWave is null then
    std::string m_strExtFolder;
};

class CSDBISampleInfo : public CSDBISample {
public:
    CSDBISampleInfo(uint32_t id, uint32_t parentID) : CSDBISample(id, parentID, kLoadInfo) {}
};

class CSDBISampleWave : public CSDBISample {
public:
    CSDBISampleWave(uint32_t id, uint32_t parentID) : CSDBISample(id, parentID, kLoadWave) {}
};

}  // namespace Kestrova
