// CommandLineFuzz.cpp - any words as the arguments of kvbank, in a folder with a source and a bank in it: it
// ends with one of its exit codes, and nothing outside the folder changes. Input: words, each ended by a zero
// byte.
#include <cctype>

#include "tests/fuzz/CommandRun.h"
#include "tests/support/SourceMaker.h"

namespace {

using namespace Kestrova;
using namespace Kestrova::Test;

constexpr size_t kMostWords = 12;

// No word names anything outside the current folder: a path may neither begin with a slash, also behind an
// option's letters, nor go up.
std::string Inside(std::string strWord) {
    const bool bOption = strWord.starts_with('-');
    for (size_t i = 0; i < strWord.size(); ++i) {
        const bool bInside = i > 0 && std::isalnum(static_cast<unsigned char>(strWord[i - 1])) != 0;
        if (strWord[i] == '/' && (bOption || !bInside)) strWord[i] = '_';
        if (strWord[i] == '.' && i > 0 && strWord[i - 1] == '.') strWord[i] = '_';
    }
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
    RunCommand(words);
    folder.Check();
    return 0;
}
