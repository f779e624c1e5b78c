// RecordsFuzz.cpp - the record of every type: a body is refused, or what is written of it reads back as the
// same. Input: a byte that chooses the class, one for where in the file the body stands, then the body.
#include <memory>

#include "tests/fuzz/FuzzInput.h"
#include "tests/support/RecordBytes.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

enum class Kind { Plain, Packed, Enriched };  // which checks a class stands

struct RecordClass {
    std::unique_ptr<CSDBInterpreter> (*make)();
    Kind kind;
};

template <class TRecord>
std::unique_ptr<CSDBInterpreter> Make() {
    return std::make_unique<TRecord>(1, kSdbNoID);
}

constexpr RecordClass kClasses[] = {
    {Make<CSDBIInfo>, Kind::Plain},
    {Make<CSDBIPreset>, Kind::Plain},
    {Make<CSDBIBank>, Kind::Plain},
    {Make<CSDBIProgram>, Kind::Plain},
    {Make<CSDBIRegion>, Kind::Plain},
    {Make<CSDBILayer>, Kind::Plain},
    {Make<CSDBISampleInfo>, Kind::Packed},
    {Make<CSDBISampleWave>, Kind::Packed},
    {Make<CSDBISampleEUInfo>, Kind::Enriched},
    {Make<CSDBISampleEUWave>, Kind::Enriched},
};

// A sample that was read without its wave, or whose wave was compressed by another program, need not be
// written.
bool IsWritten(CSDBInterpreter& record, uint32_t nPosition, Bytes& bytes) {
    bytes = EncodeAt(record, nPosition);
    return !bytes.empty();
}

void CheckRoundTrip(const RecordClass& recordClass, CSDBInterpreter& record, uint32_t nPosition) {
    const unsigned long nSize = record.GetSize();
    Bytes written, again;
    if (!IsWritten(record, nPosition, written)) {
        KV_FUZZ_CHECK(recordClass.kind != Kind::Plain);
        return;
    }
    KV_FUZZ_CHECK(recordClass.kind == Kind::Packed || written.size() == nSize);
    const auto pSecond = recordClass.make();
    if (written.size() != nSize) return;  // a raw wave that ends inside a sample
    KV_FUZZ_CHECK(DecodeAt(*pSecond, nPosition, written, written.size()));
    KV_FUZZ_CHECK(record.GetType() == kSdbInfo || pSecond->Compare(record) == 0);
    KV_FUZZ_CHECK(IsWritten(*pSecond, nPosition, again) && again == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    FuzzInput input(p, n);
    const RecordClass& recordClass = kClasses[input.Below(std::size(kClasses))];
    const uint32_t nPosition = input.Byte() * 8u;
    const Bytes body = input.Rest();
    const BodyFile file(body, nPosition);
    const auto nBody = static_cast<uint32_t>(body.size());
    const auto pRecord = recordClass.make();
    const bool bMeasured = recordClass.kind == Kind::Enriched;
    if (bMeasured && !file.Measure(nBody)) return 0;
    if (!file.Decode(*pRecord, nBody)) {
        KV_FUZZ_CHECK(!bMeasured);
        return 0;
    }
    TakeBytes(pRecord->GetParametersCopy());
    CheckRoundTrip(recordClass, *pRecord, nPosition);
    return 0;
}
