// CommandLineFuzz.cpp - any words as the arguments of kvbank, in a folder with a source and a bank in it: it ends
// with one of its exit codes, and nothing outside the folder changes. Input: words, each ended by a zero byte.
#include "tests/fuzz/CommandRun.h"
#include "tests/support/SourceMaker.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr size_t kMostWords = 12;

// No word names anything outside the current folder.
std::string Inside(std::string strWord) {
    for (size_t i = 0; i < strWord.size(); ++i) {
        const bool bBegins = i == 0 || strWord[i - 1] == '=' || strWord[i - 1] == '/';
        if (strWord[i] == '/' && (bBegins || !std::isalnum(static_cast<unsigned char>(strWord[i - 1]))))
            strWord[i] = '_';
        if (i > 0 && strWord[i] == '.' && strWord[i - 1] == '.') strWord[i] = '_';
    }
    // Behind a short option a path may stand without anything between.
    if (strWord.size() > 2 && strWord[0] == '-' && strWord[2] == '/') strWord[2] = '_';
    return strWord;
}

std::vector<std::string> Words(FuzzInput& input) {
    std::vector<std::string> words;
    while (!input.IsEmpty() && words.size() < kMostWords) words.push_back(Inside(input.Text()));
    return words;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* p, size_t n) {
    static const FencedFolder folder;
    FuzzInput input(p, n);
    const std::vector<std::string> words = Words(input);
    folder.Clear();
    MakeSource("Piano.kvn", {});
    MakeSource("Piano_0AC44.kvn", {.bEnriched = true});
    const Bytes source = ReadFile("Piano.kvn");
    RunCommand(words);
    folder.Check();
    return 0;
}
