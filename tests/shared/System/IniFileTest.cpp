// Opening, the lines a file is read as, and items. Pairs and writing have files of their own.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "shared/System/kvIniFile.h"
#include "tests/shared/System/IniFileTestSupport.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

constexpr char kPaths[] = "AdditionalBankPaths";

class IniFileTest : public IniFileFixture {};

}  // namespace

TEST_F(IniFileTest, AppendModeMakesAMissingFile) {
    EXPECT_EQ(1, Open("a+"));
    EXPECT_EQ("", IniText());
    EXPECT_EQ("", ClosedText());
}

TEST_F(IniFileTest, ModesOpenAsTheCLibraryDoes) {
    for (const char* pszMode : {"r", "r+", "rb"}) EXPECT_EQ(0, Open(pszMode)) << pszMode;
    EXPECT_FALSE(fs::exists(Path()));
    for (const char* pszMode : {"a", "w", "w+", "a+b"}) {
        EXPECT_EQ(1, Open(pszMode)) << pszMode;
        EXPECT_EQ(0, Open("wx")) << "the file is there";
        fs::remove(Path());
    }
    EXPECT_EQ(1, Open("wx"));
    for (const char* pszMode : {"", "x", "+", static_cast<const char*>(nullptr)}) EXPECT_EQ(0, Open(pszMode));
}

TEST_F(IniFileTest, LinesAreReadInEveryModeButTheEmptyingOne) {
    for (const char* pszMode : {"r", "r+", "a", "a+"}) {
        WriteIni("[s]\nline\n");
        EXPECT_EQ(1, Open(pszMode));
        EXPECT_EQ((Texts{"line"}), Items("s")) << pszMode;
    }
    EXPECT_EQ(1, Open("w"));
    EXPECT_EQ("", IniText());
    EXPECT_EQ((Texts{}), Sections());
}

TEST_F(IniFileTest, ANullPathReusesTheStoredOne) {
    EXPECT_EQ(0, m_ini.Open(nullptr, "a+"));
    OpenWith("[s]\nline\n");
    WriteIni("[s]\nother\n");
    EXPECT_EQ(1, m_ini.Open(nullptr, "r"));
    EXPECT_EQ((Texts{"other"}), Items("s"));
    EXPECT_EQ(0, m_ini.Open(m_dir.File("missing").c_str(), "r"));
    EXPECT_EQ(0, m_ini.Open(nullptr, "r")) << "the path that could not be opened is the stored one";
}

TEST_F(IniFileTest, OpeningAgainClosesTheOpenFileFirst) {
    OpenWith("[s]\n");
    m_ini.SetItem("s", "added");
    EXPECT_EQ(1, m_ini.Open(m_dir.File("other.ini").c_str(), "a+"));
    EXPECT_EQ("[s]\nadded\n", IniText());
    EXPECT_EQ((Texts{}), Sections());
}

TEST_F(IniFileTest, WhatCannotBeOpenedLeavesTheObjectClosed) {
    EXPECT_EQ(0, m_ini.Open(m_dir.File("no/such/folder").c_str(), "a+"));
    EXPECT_EQ(0, m_ini.Open("", "a+"));
    EXPECT_EQ((Texts{}), Items("s"));
    m_ini.SetItem("s", "item");
    EXPECT_EQ((Texts{"item"}), Items("s")) << "kept in memory only";
    m_ini.Close();
    EXPECT_EQ((Texts{}), Items("s"));
    EXPECT_TRUE(fs::is_empty(m_dir.Path()));
}

TEST_F(IniFileTest, LinesOfAClosedObjectDoNotReachTheNextFile) {
    m_ini.SetItem("s", "item");
    OpenWith("[t]\n");
    EXPECT_EQ((Texts{"t"}), Sections());
    EXPECT_EQ("[t]\n", ClosedText());
}

TEST_F(IniFileTest, OnlyRegularFilesAreOpened) {
    ASSERT_EQ(0, mkfifo(m_dir.File("pipe").c_str(), 0666));
    for (const std::string& strPath : {m_dir.File("pipe"), m_dir.Path().string(), std::string("/dev/zero")})
        for (const char* pszMode : {"r", "a+", "w"})
            EXPECT_EQ(0, m_ini.Open(strPath.c_str(), pszMode)) << strPath << ' ' << pszMode;
}

TEST_F(IniFileTest, AFileOfMoreThanFourMegabytesIsRefused) {
    OpenWith(LargestContent());
    EXPECT_EQ((Texts{"s"}), Sections());
    WriteIni(LargestContent() + "x");
    EXPECT_EQ(0, Open());
    EXPECT_EQ((Texts{}), Sections());
    fs::resize_file(Path(), uintmax_t{1} << 40);
    EXPECT_EQ(0, Open());
}

TEST_F(IniFileTest, AFileThatCannotBeReadIsNotOpened) {
    WriteIni("[s]\nline\n");
    for (const char* pszCall : {"open", "fstat", "read"}) {
        const PosixFault fault(pszCall, EIO);
        EXPECT_EQ(0, Open()) << pszCall;
        EXPECT_EQ((Texts{}), Sections());
    }
    const PosixFault second("read", EIO, 2);
    EXPECT_EQ(0, Open()) << "a list read in part would overwrite the rest";
    EXPECT_EQ((Texts{}), Sections());
}

TEST_F(IniFileTest, AnInterruptedReadIsRepeated) {
    WriteIni("[s]\nline\n");
    const PosixFault fault("read", EINTR);
    EXPECT_EQ(1, Open());
    EXPECT_EQ((Texts{"line"}), Items("s"));
}

TEST_F(IniFileTest, TrailingLineEndsAreCutOffAndNothingElse) {
    OpenWith("[s]\r\na\r\r\n\r\n b\rc \n\nlast");
    m_ini.SetItem("s", "new");
    EXPECT_EQ("[s]\na\n\n b\rc \n\nlast\nnew\n", ClosedText());
}

TEST_F(IniFileTest, ALineOfTwoThousandCharactersBecomesTwoItems) {
    const std::string strLine(2000, 'x');
    OpenWith("[s]\n" + strLine + "\nnext\n");
    EXPECT_EQ((Texts{strLine.substr(0, 1022), strLine.substr(1022), "next"}), Items("s"));
}
// Q33

// Q33
TEST_F(IniFileTest, APieceOfALineHolds1022CharactersItsLineEndIncluded) {
    const std::string strFits(1021, 'x'), strFull(1022, 'y');
    OpenWith("[s]\n" + strFits + "\n" + strFull + "\n");
    EXPECT_EQ((Texts{strFits, strFull}), Items("s"));
    m_ini.SetItem("s", "z");
    EXPECT_EQ("[s]\n" + strFits + "\n" + strFull + "\n\nz\n", ClosedText())
        << "the line end of the full piece is an empty line";
}

TEST_F(IniFileTest, AZeroByteEndsTheTextOfItsLine) {
    using namespace std::string_literals;
    OpenWith("[s]\nab\0cd\n\0\nlast\0"s);
    EXPECT_EQ((Texts{"ab", "last"}), Items("s"));
    m_ini.SetItem("s", "new");
    EXPECT_EQ("[s]\nab\n\nlast\nnew\n", ClosedText());
}

TEST_F(IniFileTest, AHeaderIsAnyLineWithBracketsInOrder) {
    const struct {
        const char *pszLine, *pszName;
    } kRows[] = {
        {"[name]", "name"},     {"text [name] more", "name"}, {"[ name ]", " name "}, {"[a[b]]", "a[b"},
        {"]x[name]y]", "name"}, {"key=[name]", "name"},       {"[a][b]", "a"},
    };
    for (const auto& row : kRows) {
        OpenWith(std::string(row.pszLine) + "\nitem\n");
        EXPECT_EQ((Texts{row.pszName}), Sections()) << row.pszLine;
        EXPECT_EQ((Texts{"item"}), Items(row.pszName)) << row.pszLine;
    }
    for (const char* pszLine : {"]x[", "[", "]", "[name", "name]"}) {
        OpenWith("[s]\n" + std::string(pszLine) + "\n");
        EXPECT_EQ((Texts{pszLine}), Items("s"));
    }
}

TEST_F(IniFileTest, NamesOfSectionsAreComparedExactly) {
    OpenWith("[Name]\nx\n[ name ]\ny\n");
    for (const char* pszName : {"name", "NAME", "Name ", " Name", "Nam", "ame"})
        EXPECT_EQ((Texts{}), Items(pszName)) << pszName;
    EXPECT_EQ((Texts{"x"}), Items("Name"));
    EXPECT_EQ((Texts{"y"}), Items(" name "));
}

TEST_F(IniFileTest, ABodyEndsAtTheNextHeaderAndTheFirstOfTwoSectionsCounts) {
    OpenWith("before\n[a]\n1\n[]\n2\n[a]\n3\n");
    EXPECT_EQ((Texts{"1"}), Items("a"));
    m_ini.SetItem("a", "4");
    EXPECT_EQ("before\n[a]\n1\n4\n[]\n2\n[a]\n3\n", ClosedText());
}

TEST_F(IniFileTest, ItemsComeTrimmedAndEmptyOnesAreSkipped) {
    OpenWith("[s]\n  /path/with spaces/  \n\n \t \n\t;no comment\v\n");
    EXPECT_EQ((Texts{"/path/with spaces/", ";no comment"}), Items("s"));
}

TEST_F(IniFileTest, GetItemsEmptiesTheListFirst) {
    OpenWith("[s]\na\n");
    for (const char* pszSection : {"missing", "", static_cast<const char*>(nullptr)}) {
        LineList list;
        list.Push("old");
        EXPECT_EQ(0, m_ini.GetItems(list, pszSection));
        EXPECT_TRUE(list.IsEmpty());
    }
}

TEST_F(IniFileTest, TheNameOfTheSectionMayLieInTheListOfResults) {
    OpenWith("[s]\na=1\n");
    LineList list;
    list.Push("s");
    EXPECT_EQ(1, m_ini.GetItems(list, list.GetHead()->strText));
    EXPECT_EQ((Texts{"a=1"}), TextsOf(list));
    list.DeleteItems();
    list.Push("s");
    EXPECT_EQ(1, m_ini.GetKeys(list, list.GetHead()->strText));
    EXPECT_EQ((Texts{"a"}), TextsOf(list));
}

TEST_F(IniFileTest, SetItemAddsAMissingSectionAtTheEnd) {
    OpenWith("[a]\nx\n");
    m_ini.SetItem(kPaths, nullptr);
    EXPECT_EQ("[a]\nx\n[AdditionalBankPaths]\n", ClosedText());
    Open();
    m_ini.SetItem("b", "item");
    m_ini.SetItem("c", "");
    EXPECT_EQ("[a]\nx\n[AdditionalBankPaths]\n[b]\nitem\n[c]\n", ClosedText());
}

TEST_F(IniFileTest, AddingTheSameFolderTwiceKeepsOneLine) {
    Open();
    m_ini.SetItem(kPaths, "/a/");
    m_ini.SetItem(kPaths, "/a/");
    EXPECT_EQ("[AdditionalBankPaths]\n/a/\n", ClosedText());
}

TEST_F(IniFileTest, ANewItemComesInFrontOfTheNextHeader) {
    OpenWith("[AdditionalBankPaths]\n/a/\n[Other]\nx\n");
    m_ini.SetItem(kPaths, "/b/");
    EXPECT_EQ("[AdditionalBankPaths]\n/a/\n/b/\n[Other]\nx\n", ClosedText());
}

TEST_F(IniFileTest, ANewItemComesBehindEmptyLinesToo) {
    OpenWith("[a]\n1\n\n[b]\n");
    m_ini.SetItem("a", "2");
    m_ini.SetItem("b", "3");
    EXPECT_EQ("[a]\n1\n\n2\n[b]\n3\n", ClosedText());
}
// Q31

// Q31
TEST_F(IniFileTest, SetAndRemoveCompareWholeLinesWithoutTrimming) {
    OpenWith("[s]\n /a/\n/b/ \n");
    m_ini.SetItem("s", "/a/");
    m_ini.RemoveItem("s", "/b/");
    EXPECT_EQ((Texts{"/a/", "/b/", "/a/"}), Items("s"));
    EXPECT_EQ("[s]\n /a/\n/b/ \n/a/\n", ClosedText());
}
// Q32

// Q32
TEST_F(IniFileTest, AnItemThatLooksLikeAHeaderBecomesOne) {
    OpenWith("[s]\n/a/\n");
    m_ini.SetItem("s", "/m [live]/");
    EXPECT_EQ((Texts{"/a/"}), Items("s"));
    EXPECT_EQ((Texts{"s", "live"}), Sections());
    EXPECT_EQ("[s]\n/a/\n/m [live]/\n", ClosedText());
}

TEST_F(IniFileTest, AnItemWithALineEndIsNotTaken) {
    OpenWith("[s]\n");
    for (const char* pszItem : {"a\n[t]", "a\n", "a\rb", "\n"}) m_ini.SetItem("s", pszItem);
    EXPECT_EQ("[s]\n", ClosedText());
}

TEST_F(IniFileTest, ASectionNobodyCouldFindAgainIsNotMade) {
    OpenWith("[s]\n");
    const std::string strTooLong(1021, 's');
    for (const char* pszName :
         {"a]b", "a\nb", "a\r", "", strTooLong.c_str(), static_cast<const char*>(nullptr)}) {
        m_ini.SetItem(pszName, "item");
        m_ini.RemoveItem(pszName, "item");
        EXPECT_EQ(0, m_ini.SetKeyValue(pszName, "key", "value"));
        EXPECT_EQ((Texts{}), Items(pszName));
        EXPECT_EQ((Texts{}), Keys(pszName));
    }
    EXPECT_EQ("[s]\n", ClosedText());
}

TEST_F(IniFileTest, ASectionOf1020CharactersIsTheLongestThatIsFoundAgain) {
    const std::string strLongest(1020, 's');
    OpenWith("");
    m_ini.SetItem(strLongest.c_str(), "item");
    EXPECT_EQ("[" + strLongest + "]\nitem\n", ClosedText());
    Open();
    EXPECT_EQ((Texts{"item"}), Items(strLongest.c_str()));
}

TEST_F(IniFileTest, RemoveItemTakesTheFirstEqualLineOut) {
    OpenWith("[s]\na\nb\na\n[t]\nb\n");
    m_ini.RemoveItem("s", "a");
    m_ini.RemoveItem("t", "b");
    EXPECT_EQ("[s]\nb\na\n[t]\n", ClosedText());
}

TEST_F(IniFileTest, RemoveItemTakesAnEmptyLineForAnEmptyItem) {
    OpenWith("[s]\na\n\nb\n\n");
    m_ini.RemoveItem("s", "");
    EXPECT_EQ("[s]\na\nb\n\n", ClosedText());
}
// Q30

// Q30
TEST_F(IniFileTest, RemovingFromAnUnknownSectionCreatesIt) {
    OpenWith("[s]\na\n");
    m_ini.RemoveItem("t", "a");
    m_ini.RemoveItem("u", nullptr);
    EXPECT_EQ("[s]\na\n[t]\n[u]\n", ClosedText());
}

TEST_F(IniFileTest, RemovingNothingFromAKnownSectionChangesNothing) {
    OpenWith("[s]\r\na\r\n[t]\r\nb");
    m_ini.RemoveItem("s", "b");
    m_ini.RemoveItem("s", nullptr);
    m_ini.RemoveItem("s", "[t]");
    EXPECT_EQ("[s]\r\na\r\n[t]\r\nb", ClosedText());
}

}  // namespace Kestrova::Test
