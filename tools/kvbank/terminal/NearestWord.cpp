#include "tools/kvbank/terminal/NearestWord.h"

#include <algorithm>

namespace Kestrova {
namespace {

constexpr size_t kLettersPerChange = 3;

// The optimal string alignment distance. Row i holds the number of changes from the first
// i letters of a to the first letters of b.
size_t ChangesBetween(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> changes(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                changes[i][j] = i + j;
                continue;
            }
            size_t& nBest = changes[i][j];
            nBest = std::min(changes[i - 1][j], changes[i][j - 1]) + 1;
            nBest = std::min(nBest, changes[i - 1][j - 1] + (a[i - 1] != b[j - 1]));
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                nBest = std::min(nBest, changes[i - 2][j - 2] + 1);
        }
    }
    return changes[a.size()][b.size()];
}

}  // namespace

std::string NearestWord(const std::string& strWord, const std::vector<std::string>& known) {
    std::string strNearest;
    size_t nFewest = SIZE_MAX;
    for (const std::string& strKnown : known) {
        const size_t nLetters = std::max(strWord.size(), strKnown.size());
        const size_t nMost = nLetters / kLettersPerChange;
        // The lengths alone tell that a long word is far away, before its table takes memory.
        if (nLetters - std::min(strWord.size(), strKnown.size()) > nMost) continue;
        const size_t nChanges = ChangesBetween(strWord, strKnown);
        if (nChanges > nMost || nChanges >= nFewest) continue;
        strNearest = strKnown;
        nFewest = nChanges;
    }
    return strNearest;
}

}  // namespace Kestrova
