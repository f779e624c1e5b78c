// BankToolsFuzz.cpp - any file as the bank that kvbank is asked about, and as its source: each verb that
// reads one ends with one of its exit codes, what it prints as JSON can be read, and the file stays as it is.
// Input: the file.
#include "tests/fuzz/CommandRun.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr char kBank[] = "Piano_0AC44.kvn";
constexpr char kSource[] = "Piano.kvn";

const std::vector<std::vector<std::string>> kCommands = {
    {"verify", kBank},
    {"verify", "--json", kBank},
    {"info", kBank},
    {"info", "--json", "-v", kBank},
    {"tree", kBank},
    {"tree", "--json", kBank},
    {"list", "--json", "."},
    {"report", kBank, "-o", "page.html"},
    {"export", kBank, "-o", "waves"},
    {"export", "--json", "--format", "flac", kBank, "-o", "more"},
    {"render", kBank, "--note", "60", "--seconds", "0.1", "-o", "note.wav"},
    {"space", "--json", "-d", ".", "-r", "all", kBank},
    {"verify", "--source", kSource, kBank},
    {"list", "--json", "--source", kSource, "."},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const FencedFolder folder;
    const Bytes bank(p, p + n);
    folder.Clear();
    WriteFile(kBank, bank);
    WriteFile(kSource, bank);
    for (const std::vector<std::string>& command : kCommands) {
        const CommandEnd end = RunCommand(command);
        const bool bJson = std::find(command.begin(), command.end(), "--json") != command.end();
        KV_FUZZ_CHECK(!bJson || Json::accept(end.strOut));
        // A key that no program plays is the user's mistake; another one would be this table's.
        KV_FUZZ_CHECK(end.nCode != kExitUsage || command.front() == "render");
        KV_FUZZ_CHECK(ReadFile(kBank) == bank && ReadFile(kSource) == bank);
    }
    folder.Check();
    return 0;
}
