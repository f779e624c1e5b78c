#include <gtest/gtest.h>

#include "app/RunMode.h"

namespace Kestrova::Test {
namespace {

struct WordCase {
    const char* pszWhy;
    const char* pszWord;
    GuiType type;
    int nCreateRate;
};

constexpr WordCase kWords[] = {
    {"no word", nullptr, kManager, -1},
    {"the empty word", "", kManager, -1},
    {"any other word", "manager", kManager, -1},
    {"install", "install", kInstall, -1},
    {"letter case is ignored", "Install", kInstall, -1},
    {"letter case is ignored", "INSTALL", kInstall, -1},
    {"only create is matched as a prefix", "install2", kManager, -1},
    {"a part of the word", "instal", kManager, -1},
    {"space around it", " install", kManager, -1},
    {"uninstall", "uninstall", kUninstall, -1},
    {"letter case is ignored", "UnInstall", kUninstall, -1},
    {"only create is matched as a prefix", "uninstall2", kManager, -1},
    {"a part of create", "creat", kManager, -1},
    {"create behind something", "recreate48000", kManager, -1},
    {"no number: the first rate", "create", kCreate, 0},
    {"the first rate", "create44100", kCreate, 0},
    {"the second rate", "create48000", kCreate, 1},
    {"the third rate", "create88200", kCreate, 2},
    {"the fourth rate", "create96000", kCreate, 3},
    {"the fifth rate", "create176400", kCreate, 4},
    {"the sixth rate", "create192000", kCreate, 5},
    {"letter case is ignored", "CREATE96000", kCreate, 3},
    {"no rate of the table", "create48001", kCreate, 0},
    {"no rate of the table", "create22050", kCreate, 0},
    {"no number", "createabc", kCreate, 0},
    {"what follows the number does not count", "create48000Hz", kCreate, 1},
    {"space and sign as the C library reads them", "create +48000", kCreate, 1},
    {"a negative number", "create-48000", kCreate, 0},
    {"the word alone with more letters", "created", kCreate, 0},
};
// Q114

// Q114
TEST(RunModeTest, TheFirstWordChoosesTheMode) {
    for (const WordCase& row : kWords) {
        SCOPED_TRACE(row.pszWhy);
        SCOPED_TRACE(row.pszWord != nullptr ? row.pszWord : "null");
        const RunMode mode = ParseModeWord(row.pszWord);
        EXPECT_EQ(row.type, mode.type);
        EXPECT_EQ(row.nCreateRate, mode.nCreateRate);
    }
}

TEST(RunModeTest, ModesHaveTheNumbersOfTheirTables) {
    EXPECT_EQ(0, kManager);
    EXPECT_EQ(1, kInstall);
    EXPECT_EQ(2, kUninstall);
    EXPECT_EQ(3, kCreate);
    EXPECT_EQ(4, kGuiTypeCount);
}

}  // namespace
}  // namespace Kestrova::Test
