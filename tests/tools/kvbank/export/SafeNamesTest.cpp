#include <gtest/gtest.h>

#include "tools/kvbank/export/SafeNames.h"

namespace Kestrova::Test {
namespace {

TEST(SafeNamesTest, WhatAFileSystemOrAPlayerReadsAsSomethingElseIsReplaced) {
    static const std::string kRows[][2] = {
        {"Piano C#4", "Piano C#4"},
        {"../../etc/passwd", "_._.._etc_passwd"},
        {"a\\b:c*d?e\"f<g>h|i=j$k", "a_b_c_d_e_f_g_h_i_j_k"},
        {"tab\there\x01\x7F", "tab_here__"},
        {"", "_"},
        {".", "_"},
        {"..", "__"},
        {" lead and trail ", "_lead and trail_"},
        {"dot.", "dot_"},
        {"con", "_con"},
        {"Nul.txt", "_Nul.txt"},
        {"COM9", "_COM9"},
        {"console", "console"},
        {"\xC3\xA4 \xFF", "\xC3\xA4 _"},
    };
    for (const auto& [strName, strSafe] : kRows) EXPECT_EQ(strSafe, SafeName(strName)) << strName;
}

TEST(SafeNamesTest, ALongNameIsCutBetweenCharacters) {
    EXPECT_EQ(std::string(100, 'x'), SafeName(std::string(255, 'x')));
    std::string strUmlauts;
    for (int i = 0; i < 80; ++i) strUmlauts += "\xC3\xA4";
    EXPECT_EQ(strUmlauts.substr(0, 100), SafeName(strUmlauts));
    EXPECT_EQ("x" + strUmlauts.substr(0, 98), SafeName("x" + strUmlauts));
}

TEST(SafeNamesTest, NoTwoFilesShareAName) {
    SafeNames names;
    EXPECT_EQ("Piano.wav", names.Take("Piano", ".wav"));
    EXPECT_EQ("piano-2.wav", names.Take("piano", ".wav"));
    EXPECT_EQ("PIANO-3.wav", names.Take("PIANO", ".wav"));
    EXPECT_EQ("Piano-2-2.wav", names.Take("Piano-2", ".wav"));
    EXPECT_EQ("Piano.sfz", names.Take("Piano", ".sfz"));
}

// Whether two of them differ in case alone is known to the file system only.
TEST(SafeNamesTest, LettersBeyondAsciiCountAsOne) {
    SafeNames names;
    EXPECT_EQ("\xC3\xA4.wav", names.Take("\xC3\xA4", ".wav"));
    EXPECT_EQ("\xC3\x84-2.wav", names.Take("\xC3\x84", ".wav"));
}

TEST(SafeNamesTest, AHundredThousandEqualNamesAreNumberedInFiniteTime) {
    SafeNames names;
    std::string strLast;
    for (int i = 0; i < 100000; ++i) strLast = names.Take("a", ".wav");
    EXPECT_EQ("a-100000.wav", strLast);
}

}  // namespace
}  // namespace Kestrova::Test
