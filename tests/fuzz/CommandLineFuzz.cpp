// CommandLineFuzz.cpp - any words as the arguments of kvbank, in a folder with a source, a bank and a picture
// in it: it ends with one of its exit codes, nothing outside the folder changes, and without -f neither do
// the source and the picture. Input: words, each ended by a zero byte.
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

// Whether some word may be -f, alone or among other letters, or --force or what can be short for it.
bool MayForce(const std::vector<std::string>& words) {
    return std::any_of(words.begin(), words.end(), [](const std::string& strWord) {
        return strWord.starts_with('-') && strWord.find('f') != std::string::npos;
    });
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
    const Bytes picture = {0, 1, 2};  // no text, to which a log might be appended
    WriteFile("Piano.png", picture);
    RunCommand(words);
    if (!MayForce(words)) KV_FUZZ_CHECK(ReadFile("Piano.kvn") == source && ReadFile("Piano.png") == picture);
    folder.Check();
    return 0;
}
