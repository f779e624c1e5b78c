// ImportCommandFuzz.cpp - any instrument through the whole of an import: it is refused and nothing is left,
// or there is a source bank that passes the check and, where that takes little space, becomes a bank that
// equals it; another import gives the same bytes. Input: a byte that says which kind of instrument, then the
// file: a SoundFont, an SFZ text beside two sound files, or a sound file in a folder.
#include "tests/fuzz/CommandRun.h"
#include "tests/support/SoundFileMaker.h"
#include "tests/support/Vectors.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr uint64_t kMostBuiltBytes = 4 << 20;

struct Kind {
    const char* pszInput;  // what is imported
    const char* pszFile;   // what the fuzzer makes of it
};
constexpr Kind kKinds[] = {{"Piano.sf2", "Piano.sf2"}, {"Piano.sfz", "Piano.sfz"}, {"Piano", "Piano/C4.wav"}};

void MakeInstrument(const char* pszFile, const Bytes& file) {
    fs::create_directory("Piano");
    WriteFile("Piano/D4.wav", MakeRampWav(20));
    WriteFile("a.wav", MakeRampWav(50, {{"smpl", SmplChunk(61, 0, {{0, 5, 9}})}}));
    WriteFile("b.wav", MakeRampWav(20));
    WriteFile(pszFile, file);
}

size_t CountFiles() {
    return static_cast<size_t>(
        std::distance(fs::recursive_directory_iterator("."), fs::recursive_directory_iterator()));
}

uint64_t SpaceOfBank() {
    const CommandEnd end = RunCommand({"space", "--json", "-d", ".", "-r", "44100", "Bank.kvn"});
    return Json::parse(end.strOut)["bytes_needed"].get<uint64_t>();
}

void CheckBank(const char* pszInput) {
    KV_FUZZ_CHECK(RunCommand({"verify", "Bank.kvn"}).nCode == kExitDone);
    const std::string strSum = Sha256IdentityZeroed(ReadFile("Bank.kvn"));
    KV_FUZZ_CHECK(RunCommand({"import", "-f", pszInput, "-o", "Bank.kvn"}).nCode == kExitDone);
    KV_FUZZ_CHECK(Sha256IdentityZeroed(ReadFile("Bank.kvn")) == strSum);
    if (SpaceOfBank() > kMostBuiltBytes) return;
    KV_FUZZ_CHECK(RunCommand({"build", "-d", ".", "-r", "44100", "Bank.kvn"}).nCode == kExitDone);
    KV_FUZZ_CHECK(RunCommand({"verify", "--source", "Bank.kvn", "Bank_0AC44.kvn"}).nCode == kExitDone);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const FencedFolder folder;
    FuzzInput input(p, n);
    const Kind& kind = kKinds[input.Below(std::size(kKinds))];
    const Bytes file = input.Rest();
    folder.Clear();
    MakeInstrument(kind.pszFile, file);
    const size_t nFiles = CountFiles();
    const CommandEnd end = RunCommand({"import", "--json", kind.pszInput, "-o", "Bank.kvn"});
    KV_FUZZ_CHECK(Json::accept(end.strOut));
    KV_FUZZ_CHECK(CountFiles() == nFiles + (end.nCode == kExitDone ? 1 : 0));
    if (end.nCode == kExitDone) CheckBank(kind.pszInput);
    KV_FUZZ_CHECK(ReadFile(kind.pszFile) == file);
    folder.Check();
    return 0;
}
