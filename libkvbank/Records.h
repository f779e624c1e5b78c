// Records.h - what a player needs of each record, read from the bytes of its body. docs/FORMATS.md has the
// layouts; ReaderRecordsTest compares with the records as the database reads them.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace Kestrova {

// Where the body of a record lies in the file. REQUIRES of all that use one: it lies within the file.
struct RecordBody {
    uint64_t posBody = 0;
    uint32_t nSize = 0;
};

// Texts point into the file. Read is false for a body that does not hold the whole record.
struct InfoRecord {
    std::string_view name, description;
    uint32_t nRate = 0;
    uint32_t nPerKey = 0;

    bool Read(std::span<const uint8_t> file, const RecordBody& body);
};

struct BankRecord {
    uint32_t nNumber = 0;

    bool Read(std::span<const uint8_t> file, const RecordBody& body);
};

struct ProgramRecord {
    std::string_view name;
    uint32_t nNumber = 0;
    uint32_t nSecond = 0, nThird = 0;

    bool Read(std::span<const uint8_t> file, const RecordBody& body);
    bool IsSplit() const { return nSecond == 0 && nThird != 0; }
};

struct RegionRecord {
    std::string_view name;
    int32_t nLowKey = 0, nHighKey = 0;
    int32_t nLowVelocity = 0, nHighVelocity = 0;

    bool Read(std::span<const uint8_t> file, const RecordBody& body);
};

struct LayerRecord {
    std::array<uint32_t, 4> values = {};
    uint32_t idSample = 0;

    bool Read(std::span<const uint8_t> file, const RecordBody& body);
};

// A sample of either kind. External: it has no stored bytes.
struct SampleRecord {
    std::string_view name;
    uint32_t nRate = 0;
    uint32_t nFormat = 0;
    uint32_t nChannels = 0;
    uint32_t nFrames = 0;
    uint32_t nRootKey = 0;
    int32_t nFineTune = 0;
    uint32_t nLoops = 0;
    uint64_t posLoops = 0;  // in the file
    uint32_t nStoredBytes = 0, nWaveBytes = 0;
    uint64_t posWave = 0;  // in the file

    bool ReadPlain(std::span<const uint8_t> file, const RecordBody& body);
    bool ReadEnriched(std::span<const uint8_t> file, const RecordBody& body);

    uint32_t Bits() const { return nFormat & 0x7FFFFFFF; }
    bool IsFloat() const { return nFormat != Bits(); }
    uint64_t FrameBytes() const { return uint64_t{Bits() / 8} * nChannels; }
};

}  // namespace Kestrova
