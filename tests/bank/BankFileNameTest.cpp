#include <gtest/gtest.h>

#include "bank/BankFileName.h"
#include "bank/BankRates.h"

namespace Kestrova::Test {
namespace {

TEST(BankRatesTest, TheTableIsInItsFixedOrder) {
    EXPECT_EQ((std::array<int, 6>{44100, 48000, 88200, 96000, 176400, 192000}), iSPS);
    for (size_t i = 0; i < iSPS.size(); ++i)
        EXPECT_EQ(static_cast<int>(i), RateIndex(static_cast<unsigned long>(iSPS[i])));
    EXPECT_EQ(-1, RateIndex(0));
    EXPECT_EQ(-1, RateIndex(44101));
    EXPECT_EQ(-1, RateIndex(0x10000AC44));
}

TEST(BankFileNameTest, NamesHoldTheRateInFiveHexadecimalDigits) {
    EXPECT_EQ("/x/Calde4_0AC44.kvn", MakeBankFileName("/x", "Calde4", 44100, BankLayout::Plain));
    EXPECT_EQ("/x/Calde4_0BB80.kvr", MakeBankFileName("/x", "Calde4", 48000, BankLayout::PerKey));
    EXPECT_EQ("F/Calde4_2EE00.kvn", MakeBankFileName("F", "Calde4", 192000, BankLayout::Plain));
}
// Q106

// Q106
TEST(BankFileNameTest, TheFolderIsUsedAsGiven) {
    EXPECT_EQ("/x//A_0AC44.kvn", MakeBankFileName("/x/", "A", 44100, BankLayout::Plain));
    EXPECT_EQ("/A_0AC44.kvn", MakeBankFileName("", "A", 44100, BankLayout::Plain));
}

TEST(BankFileNameTest, EveryMadeNameIsUnderstood) {
    for (size_t i = 0; i < iSPS.size(); ++i) {
        for (const BankLayout layout : {BankLayout::Plain, BankLayout::PerKey}) {
            const std::string strPath =
                MakeBankFileName("d", "Base.x_1", static_cast<unsigned>(iSPS[i]), layout);
            const auto name = ParseBankFileName(strPath.substr(2), "Base.x_1");
            ASSERT_TRUE(name) << strPath;
            EXPECT_EQ(static_cast<int>(i), name->nRateIndex);
            EXPECT_EQ(layout, name->layout);
        }
    }
}

struct NameCase {
    const char* pszWhy;
    const char* pszName;
    bool bBank;
};

constexpr NameCase kNames[] = {
    {"letter case is ignored", "CALDE4_0ac44.KVR", true},
    {"a rate that is not in the table", "Calde4_0AC45.kvn", false},
    {"no underscore", "Calde4x0AC44.kvn", false},
    {"another letter", "Calde4_0AC44.kvx", false},
    {"something behind", "Calde4_0AC44.kvn.bak", false},
    {"something before", "xCalde4_0AC44.kvn", false},
    {"another base name of the same length", "Calde5_0AC44.kvn", false},
    {"four digits", "Calde4_AC44.kvn", false},
    {"a digit that is none", "Calde4_0AC4G.kvn", false},
    {"a sign", "Calde4_+AC44.kvn", false},
    {"a minus sign", "Calde4_-AC44.kvn", false},
    {"another suffix", "Calde4_0AC44.kwn", false},
    {"no suffix", "Calde4_0AC44", false},
    {"nothing", "", false},
};

TEST(BankFileNameTest, OtherNamesAreNoBanks) {
    for (const NameCase& row : kNames)
        EXPECT_EQ(row.bBank, ParseBankFileName(row.pszName, "Calde4").has_value()) << row.pszWhy;
}

struct BaseCase {
    const char* pszPath;
    const char* pszBase;
};

constexpr BaseCase kBases[] = {
    {"/a/b/Calde4_0AC44.kvn", "Calde4_0AC44"},
    {"C:\\a\\Calde4_0AC44.kvn", "Calde4_0AC44"},
    {"/a/b\\c/Calde4.kvn", "c/Calde4"},  // the back-slash counts, whatever follows it
    {"Calde4.kvn", "Calde4"},
    {"/a.b/Calde4.x.kvn", "Calde4"},
    {"/a/.kvn", ""},
    {"/a/noname", ""},
    {"/a.b/noname", ""},
    {"/a/", ""},
    {"", ""},
};
// Q105

// Q105
TEST(BankFileNameTest, TheBaseNameIsTheFileNameUpToItsFirstDot) {
    for (const BaseCase& row : kBases) EXPECT_EQ(row.pszBase, SourceBaseName(row.pszPath)) << row.pszPath;
}

TEST(BankFileNameTest, TheRateIsCutAtTheLastUnderscore) {
    EXPECT_EQ("Calde4", CutRateFromBaseName("Calde4_0AC44"));
    EXPECT_EQ("a_b", CutRateFromBaseName("a_b_c"));
    EXPECT_EQ("Calde4", CutRateFromBaseName("Calde4"));
    EXPECT_EQ("", CutRateFromBaseName("_0AC44"));
}

}  // namespace
}  // namespace Kestrova::Test
