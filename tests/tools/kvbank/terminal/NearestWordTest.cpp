#include <gtest/gtest.h>

#include "tools/kvbank/terminal/NearestWord.h"

namespace Kestrova::Test {
namespace {

TEST(NearestWordTest, FindsTheWordThatWasMeant) {
    const std::vector<std::string> kKnown = {"build", "demo", "list", "remove", "--quality", "--quiet"};
    static constexpr struct {
        const char *pszWhy, *pszWord, *pszNearest;
    } kRows[] = {
        {"the word itself", "list", "list"},
        {"neighbours exchanged", "biuld", "build"},
        {"a letter left out", "lst", "list"},
        {"a letter too many", "lisst", "list"},
        {"a wrong letter", "dema", "demo"},
        {"a capital", "Build", "build"},
        {"two changes in six letters", "remvoee", "remove"},
        {"the nearer of two", "--quaity", "--quality"},
        {"one change in three letters is allowed", "dmo", "demo"},
        {"two in four are too many", "dxyo", ""},
        {"the beginning alone", "rem", ""},
        {"another word", "frobnicate", ""},
        {"one letter", "l", ""},
        {"nothing", "", ""},
    };
    for (const auto& row : kRows) EXPECT_EQ(row.pszNearest, NearestWord(row.pszWord, kKnown)) << row.pszWhy;
}

TEST(NearestWordTest, TheFirstOfEqualsIsTaken) {
    EXPECT_EQ("cart", NearestWord("cast", {"cart", "cash"}));
    EXPECT_EQ("cash", NearestWord("cast", {"cash", "cart"}));
}

TEST(NearestWordTest, AWordOfAnyLengthIsAnswered) {
    EXPECT_EQ("", NearestWord(std::string(10000000, 'x'), {"build"}));
    EXPECT_EQ("", NearestWord("build", {}));
}

}  // namespace
}  // namespace Kestrova::Test
