// Keys with values, and the lists of keys and sections.
#include <gtest/gtest.h>

#include <string>

#include "shared/System/kvIniFile.h"
#include "tests/shared/System/IniFileTestSupport.h"

namespace Kestrova::Test {
namespace {

class IniFilePairTest : public IniFileFixture {};

}  // namespace

TEST_F(IniFilePairTest, AValueIsFoundByItsKeyInItsSection) {
    OpenWith("a=0\n[s]\na=1\nb=2\n[t]\na=3\n");
    EXPECT_EQ("1", Value("s", "a"));
    EXPECT_EQ("2", Value("s", "b"));
    EXPECT_EQ("3", Value("t", "a"));
    EXPECT_EQ("<none>", Value("t", "b"));
    EXPECT_EQ("<none>", Value("u", "a"));
}

TEST_F(IniFilePairTest, KeyAndValueAreTrimmedAndSplitAtTheFirstEqualSign) {
    OpenWith("[s]\n  my key \t=  a = b  \nempty=\nblank= \t\n;c=d\n");
    EXPECT_EQ("a = b", Value("s", "my key"));
    EXPECT_EQ("", Value("s", "empty"));
    EXPECT_EQ("", Value("s", "blank"));
    EXPECT_EQ("d", Value("s", ";c"));
}

TEST_F(IniFilePairTest, TheFirstOfTwoEqualKeysCountsAndCaseMatters) {
    OpenWith("[s]\nA=0\na=1\na=2\n");
    EXPECT_EQ("1", Value("s", "a"));
    for (const char* pszKey : {"a ", " a", "aa", "a=", "a=1"}) EXPECT_EQ("<none>", Value("s", pszKey));
}

TEST_F(IniFilePairTest, ALineWithoutAKeyIsNoPair) {
    OpenWith("[s]\n=x\n  =y\nword\n\nk=v\n");
    EXPECT_EQ((Texts{"k"}), Keys("s"));
    for (const char* pszKey : {"", " ", "word"}) EXPECT_EQ("<none>", Value("s", pszKey));
}

TEST_F(IniFilePairTest, BothNamesMustBeGiven) {
    OpenWith("[]\na=1\n[s]\na=1\n");
    const char* const pszNone = nullptr;
    EXPECT_EQ("<none>", Value(pszNone, "a"));
    EXPECT_EQ("<none>", Value("", "a"));
    EXPECT_EQ("<none>", Value("s", pszNone));
    EXPECT_EQ("<none>", Value("s", ""));
}

TEST_F(IniFilePairTest, TheValueMayGoWhereTheKeyLies) {
    OpenWith("[s]\na=1\n");
    String str("a");
    EXPECT_EQ(1, m_ini.GetKeyValue("s", str, str));
    EXPECT_STREQ("1", str);
    str = "s";
    EXPECT_EQ(1, m_ini.GetKeyValue(str, "a", str));
    EXPECT_STREQ("1", str);
}

TEST_F(IniFilePairTest, SettingANewKeyAddsItWhereItemsAreAdded) {
    OpenWith("[s]\na=1\n[t]\n");
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "b", "2"));
    EXPECT_EQ(1, m_ini.SetKeyValue("t", "a", ""));
    EXPECT_EQ("2", Value("s", "b"));
    EXPECT_EQ("", Value("t", "a"));
    EXPECT_EQ("[s]\na=1\nb=2\n[t]\na=\n", ClosedText());
}

TEST_F(IniFilePairTest, SettingInAMissingSectionAddsItAtTheEnd) {
    OpenWith("[s]\n");
    EXPECT_EQ(1, m_ini.SetKeyValue("t", "a", "1"));
    EXPECT_EQ("[s]\n[t]\na=1\n", ClosedText());
}

TEST_F(IniFilePairTest, SettingAnExistingKeyReplacesItsLineInPlace) {
    OpenWith("[s]\nx\n a = 1\nb=2\na=3\n");
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "a", "9"));
    EXPECT_EQ("[s]\nx\na=9\nb=2\na=3\n", ClosedText());
}

TEST_F(IniFilePairTest, SettingTheSameValueChangesNothing) {
    OpenWith("[s]\r\n a = 1 \r\n");
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "a", "1"));
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "a", "  1\t"));
    EXPECT_EQ("[s]\r\n a = 1 \r\n", ClosedText());
}

TEST_F(IniFilePairTest, AValueIsStoredWithoutWhiteSpaceAroundIt) {
    OpenWith("[s]\n");
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "a", "  two words "));
    EXPECT_EQ("[s]\na=two words\n", ClosedText());
}

TEST_F(IniFilePairTest, APairThatWouldNotBeReadBackIsRefused) {
    const struct {
        const char *pszKey, *pszValue;
    } kRows[] = {{nullptr, "v"}, {"", "v"},    {" ", "v"},    {" k", "v"},    {"k ", "v"},     {"k=", "v"},
                 {"=", "v"},     {"k\n", "v"}, {"k\nl", "v"}, {"k\rl", "v"},  {"k", "v\nw"},   {"k", "v\rw"},
                 {"[k]", "v"},   {"k", "[v]"}, {"[k", "v]"},  {"k[", "v[ ]"}, {"k", "a[b]c d"}};
    OpenWith("[s]\n");
    for (const auto& row : kRows)
        EXPECT_EQ(0, m_ini.SetKeyValue("s", row.pszKey, row.pszValue)) << (row.pszKey ? row.pszKey : "null");
    EXPECT_EQ(0, m_ini.SetKeyValue("t", "", "v")) << "nor is the section made";
    EXPECT_EQ("[s]\n", ClosedText());
}

TEST_F(IniFilePairTest, ALineOf1021CharactersIsTheLongestThatIsSet) {
    const std::string strLongest(1019, 'v');
    OpenWith("[s]\n");
    EXPECT_EQ(0, m_ini.SetKeyValue("s", "k", (strLongest + "v").c_str()));
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "k", strLongest.c_str()));
    EXPECT_EQ("[s]\nk=" + strLongest + "\n", ClosedText());
    Open();
    EXPECT_EQ(strLongest, Value("s", "k"));
}

TEST_F(IniFilePairTest, SingleBracketsAreTextInAPair) {
    OpenWith("[s]\n");
    EXPECT_EQ(1, m_ini.SetKeyValue("s", "a]", "b["));
    m_ini.Close();
    Open();
    EXPECT_EQ("b[", Value("s", "a]"));
}

TEST_F(IniFilePairTest, KeysComeTrimmedInTheOrderOfTheFile) {
    OpenWith("[s]\n b =1\nplain\na=2\n=x\nb=3\n[t]\nc=4\n[u]\n");
    EXPECT_EQ((Texts{"b", "a", "b"}), Keys("s"));
    EXPECT_EQ((Texts{"c"}), Keys("t"));
    EXPECT_EQ((Texts{}), Keys("u"));
    EXPECT_EQ((Texts{}), Keys("v"));
}

TEST_F(IniFilePairTest, SectionsComeInTheOrderOfTheFileEachOnce) {
    OpenWith("x\n[b]\n[a]\n[]\n[b]\n[B]\n[ a ]\n");
    EXPECT_EQ((Texts{"b", "a", "B", " a "}), Sections());
}

TEST_F(IniFilePairTest, ListsAreEmptiedFirst) {
    Open();
    LineList list;
    list.Push("old");
    EXPECT_EQ(0, m_ini.GetSections(list));
    EXPECT_TRUE(list.IsEmpty());
    list.Push("old");
    EXPECT_EQ(0, m_ini.GetKeys(list, "s"));
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(IniFilePairTest, AFileFullOfSectionsIsListedQuickly) {
    std::string strText;
    for (int i = 0; i < 200000; ++i) strText += "[" + std::to_string(i) + "]\n";
    OpenWith(strText);
    EXPECT_EQ(200000u, Sections().size());
}

}  // namespace Kestrova::Test
