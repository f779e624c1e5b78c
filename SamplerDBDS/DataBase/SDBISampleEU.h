// SDBISampleEU.h - samples of an enriched database: the wave lies raw on a 512-byte boundary of the file, so
// that a player can stream it from there.
#pragma once

#include <cstdint>

#include "SamplerDBDS/DataBase/SDBISample.h"

namespace Kestrova {

class CCheckedWindow;

inline constexpr uint32_t kWaveAlignment = 512;  // bytes; the two paddings of a wave add up to this

class CSDBISampleEU : public CSDBISampleBase {
public:
    using CSDBInterpreter::Read;
    using CSDBInterpreter::Write;
    using LOADTYPE = int;
    // Deliberately (Q83) other numbers than those of the plain kind.
    static constexpr LOADTYPE kLoadInfo = 0;  // header and loops; the wave is skipped
    static constexpr LOADTYPE kLoadWave = 1;  // header, loops and wave
    // Any other value reads no wave and takes what follows the wave's length for the tail.

    CSDBISampleEU(uint32_t id, uint32_t parentID, LOADTYPE loadType);
    void Clear(bool constructing);

    // Decodes the body straight from the file. REQUIRES: the body decodes whole within size bytes and has
    // fewer than 1000000 loops: leaving the window and the loop count are fatal checks. A body that may be
    // damaged is measured first (MeasureEnrichedSample). A wave length of 0 is false.
    bool Read(CXFile* file, unsigned long size) override;

    // Encodes the record; false when no wave is loaded. Sets m_posWave.
    bool Write(CXFile* file) override;
    unsigned long GetSize() override;

    int Compare(CSDBInterpreter& other) override;  // by name, wave length, rate, format word

    // Frees the wave and sets its length to 0.
    void SmplMemFree();
    uint32_t GetStoredBytes() const override { return m_info.lWave; }

    uint64_t m_posWave = 0;  // of the wave in the file it was last read from or written to

private:
    template <class TSelf, class TCodec>
    static bool Header(TSelf& self, TCodec& codec);
    bool ReadWave(CCheckedWindow& reader);
    bool WriteWave(CXFile& file);

    friend bool MeasureEnrichedSample(CXFile& file, uint64_t bodyPos, uint32_t bodySize);

    LOADTYPE m_loadType;
};

class CSDBISampleEUInfo : public CSDBISampleEU {
public:
    CSDBISampleEUInfo(uint32_t id, uint32_t parentID) : CSDBISampleEU(id, parentID, kLoadInfo) {}
};

class CSDBISampleEUWave : public CSDBISampleEU {
public:
    CSDBISampleEUWave(uint32_t id, uint32_t parentID) : CSDBISampleEU(id, parentID, kLoadWave) {}

    // Give the record a wave of size bytes, silent or copied. REQUIRES: format word and channels are set,
    // because the guards' size depends on them; no wave is present and size is not 0 (fatal). False, and the
    // length 0, when memory runs out, or when the record, with the other fields it holds now, would be too
    // large for the 32-bit size of a note.
    bool AllocWave(unsigned long size);
    bool CopyWave(const void* data, unsigned long size);
};

// Whether the body of an enriched sample at bodyPos decodes whole: every count and length lies within
// bodySize bytes that the file has, there are fewer than 1000000 loops and the wave is not empty. Only such a
// body may go to CSDBISampleEU::Read. Takes no memory; reads the header alone. The file's position is not
// defined afterwards.
bool MeasureEnrichedSample(CXFile& file, uint64_t bodyPos, uint32_t bodySize);

}  // namespace Kestrova
