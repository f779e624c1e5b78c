#include "libkvbank/Records.h"

#include "libkvbank/ByteCursor.h"

namespace Kestrova {
namespace {

constexpr size_t kLoopBytes = 16;
constexpr uint32_t kMaxLoops = 1000000;   // of an enriched sample; fewer are allowed
constexpr uint64_t kWaveAlignment = 512;  // the two paddings of a wave add up to this

ByteCursor CursorAt(std::span<const uint8_t> file, const RecordBody& body) {
    return ByteCursor(file.subspan(static_cast<size_t>(body.posBody), body.nSize));
}

// From the sample rate to the loops, in which both kinds of samples are alike.
bool ReadWaveHeader(ByteCursor& cursor, const RecordBody& body, SampleRecord& sample) {
    uint32_t nFurther = 0;
    const bool bRead = cursor.Word(sample.nRate) && cursor.Word(sample.nFormat) &&
                       cursor.Word(sample.nChannels) && cursor.Word(sample.nFrames) &&
                       cursor.Word(sample.nRootKey) && cursor.Word(sample.nFineTune) &&
                       cursor.Word(nFurther) && cursor.SkipBlock();
    sample.posLoops = body.posBody + cursor.Position() + sizeof sample.nLoops;
    return bRead && cursor.SkipList(sample.nLoops, kLoopBytes);
}

}  // namespace

bool InfoRecord::Read(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    uint32_t nThird = 0, nFourth = 0;
    return cursor.Text(name) && cursor.Text(description) && cursor.Word(nRate) && cursor.Word(nPerKey) &&
           cursor.Word(nThird) && cursor.Word(nFourth) && cursor.SkipBlock();
}

bool BankRecord::Read(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    std::string_view name;
    uint32_t nSecond = 0;
    return cursor.Text(name) && cursor.Word(nNumber) && cursor.Word(nSecond) && cursor.SkipBlock();
}

bool ProgramRecord::Read(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    return cursor.Text(name) && cursor.Word(nNumber) && cursor.Word(nSecond) && cursor.Word(nThird) &&
           cursor.SkipBlock();
}

bool RegionRecord::Read(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    return cursor.Text(name) && cursor.Word(nLowKey) && cursor.Word(nHighKey) && cursor.Word(nLowVelocity) &&
           cursor.Word(nHighVelocity) && cursor.SkipBlock();
}

bool LayerRecord::Read(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    for (uint32_t& nValue : values)
        if (!cursor.Word(nValue)) return false;
    return cursor.SkipBlock() && cursor.Word(idSample) && cursor.SkipBlock();
}

bool SampleRecord::ReadPlain(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    std::string_view externalFile;
    if (!cursor.Text(name) || !cursor.Text(externalFile) || !ReadWaveHeader(cursor, body, *this) ||
        !cursor.Word(nStoredBytes) || !cursor.Word(nWaveBytes))
        return false;
    posWave = body.posBody + cursor.Position();
    return cursor.Skip(nStoredBytes) && cursor.SkipBlock();
}

bool SampleRecord::ReadEnriched(std::span<const uint8_t> file, const RecordBody& body) {
    ByteCursor cursor = CursorAt(file, body);
    if (!cursor.Text(name) || !ReadWaveHeader(cursor, body, *this) || nLoops >= kMaxLoops ||
        !cursor.Word(nStoredBytes) || nStoredBytes == 0)
        return false;
    nWaveBytes = nStoredBytes;
    // A position on a boundary has a whole alignment in front of the wave (Q84).
    posWave = ((body.posBody + cursor.Position()) / kWaveAlignment + 1) * kWaveAlignment;
    return cursor.Skip(nStoredBytes + kWaveAlignment) && cursor.SkipBlock();
}

}  // namespace Kestrova
