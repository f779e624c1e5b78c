// BankSumsFuzz.cpp - any bytes as the sums file of a bank of any name: it is ours and right, ours and not, or
// no such file; a sum that is written is found again. Input: the bank's name, ended by a zero byte, then the
// sums file.
#include <filesystem>

#include "tests/fuzz/FuzzInput.h"
#include "tools/kvbank/sums/BankSums.h"
#include "tools/kvbank/sums/SumsLine.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;
using Kind = SumsOutcome::Kind;

constexpr size_t kMostSumsBytes = 4096;
constexpr char kSum[] = "039058c6f2c0cb492c533b0a4d14ef77cc0f78abccced5287d84a1a2011cfb81";  // of kBank
const Bytes kBank = {1, 2, 3};

bool GoOn(uint64_t) { return true; }

Kind ExpectedOf(const std::optional<SumsLine>& line, const std::string& strName) {
    if (!line || line->strName != strName) return Kind::NotOurs;
    return line->strSum == kSum ? Kind::Done : Kind::Differs;
}

void CheckLine(const SumsLine& line) {
    const std::optional<SumsLine> again = ParseSumsLine(FormatSumsLine(line));
    KV_FUZZ_CHECK(again && again->strSum == line.strSum && again->strName == line.strName);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const TempDir dir;
    FuzzInput input(p, n);
    const std::string strName = FileName(input.Text(), "Piano_0AC44.kvn");
    const std::string strBank = dir.File(strName);
    const Bytes sums = input.Rest();
    const std::optional<SumsLine> line =
        ParseSumsLine({reinterpret_cast<const char*>(sums.data()), sums.size()});
    if (line) CheckLine(*line);

    WriteFile(strBank, kBank);
    WriteFile(SumsPath(strBank), sums);
    const Kind kind = CheckSums(strBank, GoOn).kind;
    KV_FUZZ_CHECK(sums.size() > kMostSumsBytes ? kind == Kind::Failed : kind == ExpectedOf(line, strName));

    KV_FUZZ_CHECK(WriteSums(strBank, GoOn).kind == Kind::Done);
    KV_FUZZ_CHECK(CheckSums(strBank, GoOn).kind == Kind::Done);
    KV_FUZZ_CHECK(RemoveSums(strBank).kind == Kind::Done);
    KV_FUZZ_CHECK(CheckSums(strBank, GoOn).kind == Kind::NoFile);
    fs::remove(strBank);
    KV_FUZZ_CHECK(fs::is_empty(dir.Path()));
    return 0;
}
