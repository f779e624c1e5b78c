// WindowCommandLineFuzz.cpp - any words as the arguments of the window: its paths are absolute or not given.
// Input: words, each ended by a zero byte.
#include "app/CommandLine.h"
#include "tests/fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    using namespace Kestrova;
    Test::FuzzInput input(p, n);
    std::vector<std::string> words;
    while (!input.IsEmpty()) words.push_back(input.Text());
    std::vector<const char*> argv = {"kvbankmgr"};
    for (const std::string& strWord : words) argv.push_back(strWord.c_str());
    const CommandLine line = ReadCommandLine(static_cast<int>(argv.size()), argv.data());
    for (const String& strPath : {line.strSource, line.strTarget})
        KV_FUZZ_CHECK(strPath.IsEmpty() || strPath[0] == '/');
    KV_FUZZ_CHECK(words.empty() || line.strMode.IsEmpty() || line.strMode == words[0].c_str());
    InformationFor(words.empty() ? nullptr : words[0].c_str());
    return 0;
}
