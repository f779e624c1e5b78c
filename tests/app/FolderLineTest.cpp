#include <gtest/gtest.h>

#include <string>

#include "app/FolderLine.h"

namespace Kestrova::Test {
namespace {

struct FolderCase {
    const char* pszWhy;
    const char* pszFolder;
    const char* pszLine;
};
constexpr FolderCase kFolders[] = {
    {"plain", "/home/u/banks/", "/home/u/banks/"},
    {"spaces inside, equals signs and letters beyond ASCII", "/a b/c=d/\xC3\xA4", "/a b/c=d/\xC3\xA4"},
    {"brackets would make a header", "/home/u/[banks]/", "/home/u/%5Bbanks%5D/"},
    {"one of them is as special", "/a[/b]", "/a%5B/b%5D"},
    {"the mark of a code", "/50%/%41/%5B", "/50%25/%2541/%255B"},
    {"control characters", "/a\nb\rc\td\x01\x1F\x7F", "/a%0Ab%0Dc%09d%01%1F%7F"},
    {"spaces at the ends", "  /a b  ", "%20%20/a b%20%20"},
    {"nothing but spaces", "  ", "%20%20"},
    {"nothing", "", ""},
};
// Q139

// Q139
TEST(FolderLineTest, ALineHasCodesForWhatTheFileWouldTakeOtherwise) {
    for (const FolderCase& c : kFolders) EXPECT_STREQ(c.pszLine, FolderLine(c.pszFolder)) << c.pszWhy;
}

TEST(FolderLineTest, EveryLineIsReadBackAsItsFolder) {
    for (const FolderCase& c : kFolders) EXPECT_STREQ(c.pszFolder, FolderOfLine(c.pszLine)) << c.pszWhy;
    for (int ch = 1; ch < 256; ++ch) {
        const std::string strFolder = {'/', static_cast<char>(ch)};
        EXPECT_EQ(strFolder, FolderOfLine(FolderLine(strFolder.c_str())).c_str()) << ch;
    }
}
// Q140

// Q140
TEST(FolderLineTest, ALineThatIsNotOfThisProgramsMakingIsTheFolderAsItStands) {
    for (const char* const pszLine :
         {"/50%", "/%41", "/%5b", "/%", "/%2", "/%zz", "/%+5", "/%00", "/[a", "/%25 %"})
        EXPECT_STREQ(pszLine, FolderOfLine(pszLine));
}
// Q139

// Q139
TEST(FolderLineTest, AFolderWhoseLineWouldBeReadAsTwoHasNone) {
    const std::string strLongest = "/" + std::string(1020, 'x');
    EXPECT_EQ(strLongest, FolderLine(strLongest.c_str()).c_str());
    EXPECT_STREQ("", FolderLine((strLongest + "x").c_str()));
    const std::string strLongestCoded = "/" + std::string(340, '[');
    EXPECT_EQ(1021, FolderLine(strLongestCoded.c_str()).GetLength());
    EXPECT_STREQ("", FolderLine((strLongestCoded + "x").c_str()));
}

}  // namespace
}  // namespace Kestrova::Test
