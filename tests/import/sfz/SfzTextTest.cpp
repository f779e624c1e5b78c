#include <gtest/gtest.h>

#include "import/sfz/SfzText.h"
#include "tests/import/sfz/SfzFixture.h"
#include "tests/support/FaultyFileEnv.h"

namespace Kestrova::Test {
namespace {

class SfzTextTest : public ::testing::Test {
protected:
    ImportOutcome ReadOutcome(const std::string& strText, std::string& strRead) {
        WriteFile(m_dir.File("main.sfz"), strText);
        FileFinder finder(m_dir.Path().string() + "/", m_report);
        return SfzTextReader(finder, m_report).Read(m_dir.File("main.sfz"), strRead);
    }
    // The text, or the cause why there is none.
    std::string Read(const std::string& strText) {
        std::string strRead;
        const ImportOutcome outcome = ReadOutcome(strText, strRead);
        return outcome.IsDone() ? strRead : outcome.strCause;
    }
    void Write(const std::string& strName, const std::string& strText) const {
        WriteFile(m_dir.File(strName), strText);
    }

    TempDir m_dir;
    ImportReport m_report;
};

TEST_F(SfzTextTest, CommentsBecomeBlanks) {
    EXPECT_EQ("a=1  \nb=2\n", Read("a=1 // b=3 /* \nb=2"));
    EXPECT_EQ("a=1   b=2  \n", Read("a=1 /* x\n// */ b=2 /**/"));
    EXPECT_EQ("a=b/c*d\n", Read("a=b/c*d"));
    EXPECT_EQ(" \r\na=1\n", Read("//x\r\na=1"));
    EXPECT_FALSE(m_report.HasLosses());
}

TEST_F(SfzTextTest, ACommentThatDoesNotEndIsNoted) {
    EXPECT_EQ("a=1  \n", Read("a=1 /* b=2\n<region>"));
    EXPECT_EQ((Strings{"a comment that does not end: taken to the end"}),
              NotesOf(m_report, ImportEvent::Repaired));
}

TEST_F(SfzTextTest, AByteOrderMarkIsPassedOver) { EXPECT_EQ("<region>\n", Read("\xef\xbb\xbf<region>")); }

TEST_F(SfzTextTest, DefinitionsAreReplacedFromThereOn) {
    EXPECT_EQ("key=$KEY \nkey=36 key=36\n", Read("key=$KEY #define $KEY 36\nkey=$KEY key=$KEY"));
    EXPECT_EQ("\n\n2\n", Read("#define $a 1\n#define\t$a\t2\n$a"));
    EXPECT_EQ(" \n12\n", Read("#define $a 1 #define $b $a2\n$b")) << "two of a line, one in the other";
    EXPECT_EQ("\n[]\n", Read("#define $EMPTY\n[$EMPTY]"));
}

TEST_F(SfzTextTest, TheLongestNameIsReplaced) {
    EXPECT_EQ("   long short long2 $ $b\n", Read("#define $ab long #define $a short  $ab $a $ab2 $ $b"));
}

TEST_F(SfzTextTest, ANameBehindOtherLettersIsReplaced) {
    EXPECT_EQ("\nsample=Piano_C4.wav\n", Read("#define $NOTE C4\nsample=Piano_$NOTE.wav"));
}

TEST_F(SfzTextTest, OtherWordsWithANumberSignStay) {
    EXPECT_EQ("key=c#4 sample=Take #1.wav x#define $a 1 #includes\n",
              Read("key=c#4 sample=Take #1.wav x#define $a 1 #includes"));
}

TEST_F(SfzTextTest, AWrongDefinitionIsDropped) {
    EXPECT_EQ(" $b\n", Read("#define b-c 1 $b"));
    Read("#define $" + std::string(SfzTextReader::kMostNameBytes, 'x') + " 1");
    EXPECT_EQ((Strings{"definition of \"b-c\": a name is $ with at most 63 letters, digits and underscores",
                       "definition of \"$" + std::string(63, 'x') +
                           "\": a name is $ with at most 63 letters, digits and underscores"}),
              NotesOf(m_report, ImportEvent::Dropped));
}

TEST_F(SfzTextTest, IncludesAreReplacedByTheirTexts) {
    fs::create_directory(m_dir.File("parts"));
    Write("parts/a.sfzh", "from a #include \"parts/b.sfzh\" a again");
    Write("parts/b.sfzh", "from b #define $x defined");
    EXPECT_EQ("<region>from a from b \n a again\n defined\n", Read("<region>#include \"parts/a.sfzh\" $x"));
}

TEST_F(SfzTextTest, AnIncludeMayHaveNamesAndNoQuotes) {
    Write("Part One.txt", "one");
    EXPECT_EQ("\none\n\n\n", Read("#define $N One\n#include Part $N.txt \n"));
    EXPECT_EQ("one\n\none\n\n", Read("#include \"part one.txt\"\n#include \"Part One.txt\""))
        << "twice is no circle";
}

TEST_F(SfzTextTest, AllMissingIncludesAreNamedAtOnce) {
    EXPECT_EQ(
        "2 of its files cannot be used: a.txt: No such file or directory; /b.txt: it is an absolute "
        "path",
        Read("#include \"a.txt\"\n#include \"/b.txt\""));
}

TEST_F(SfzTextTest, ACircleOfIncludesIsRefused) {
    Write("a.txt", "#include \"b.txt\"");
    Write("b.txt", "#include \"a.txt\"");
    EXPECT_EQ("its file " + m_dir.File("a.txt") + " includes itself", Read("#include \"a.txt\""));
}

TEST_F(SfzTextTest, ALongChainOfIncludesIsRefused) {
    for (int i = 0; i < 30; ++i) Write(std::to_string(i), "#include \"" + std::to_string(i + 1) + "\"");
    EXPECT_EQ("its includes are nested deeper than 20", Read("#include \"0\""));
    Write("20", "the end");
    EXPECT_EQ("its includes are nested deeper than 20", Read("#include \"0\""));
    Write("19", "the end");
    EXPECT_NE(std::string::npos, Read("#include \"0\"").find("the end"));
}

TEST_F(SfzTextTest, TextsThatGrowWithoutEndAreRefused) {
    std::string strText = "#define $a xxxxxxxxxxxxxxxx\n";
    for (int i = 0; i < 20; ++i) strText += "#define $a $a$a\n";
    EXPECT_EQ("its definition of $a is longer than 4096 bytes", Read(strText));
    strText = "#define $a " + std::string(4096, 'x') + "\n";
    for (int i = 0; i < 5000; ++i) strText += "$a";
    EXPECT_EQ("its text is longer than 16 MiB", Read(strText));
    Write("big.txt", std::string(SfzTextReader::kMostBytes / 2, ' '));
    EXPECT_EQ("its text is longer than 16 MiB", Read("#include \"big.txt\"\n#include \"big.txt\""));
    Write("small.txt", "");
    strText.clear();
    for (size_t i = 0; i <= SfzTextReader::kMostIncludes; ++i) strText += "#include \"small.txt\"\n";
    EXPECT_EQ("it includes more than 10000 files", Read(strText));
}

TEST_F(SfzTextTest, EveryFailureOfTheSystemIsTheReason) {
    Write("a.txt", "a");
    int nFault = 1;
    for (;; ++nFault) {
        FaultyFileEnv env;
        env.FailCall(nFault);
        std::string strRead;
        WriteFile(m_dir.File("main.sfz"), std::string("#include \"a.txt\""));
        const ImportOutcome outcome = ReadOutcome("#include \"a.txt\"", strRead);
        if (!env.FaultHit()) break;
        if (outcome.IsDone()) continue;  // the closing of a file that was read
        EXPECT_EQ(ImportEnd::Unreadable, outcome.end) << nFault;
        EXPECT_EQ("Input/output error", outcome.strCause) << nFault;
    }
    EXPECT_GT(nFault, 6);
}

TEST(SfzTextKindTest, AnSfzTextIsKnownByItsBeginning) {
    for (const char* const pszHead :
         {"<region>", "<group>\nlokey=1", "\xef\xbb\xbf// by me\r\n/* 2020 */ <control>", "  <global>",
          "<master>", "#define $A 1", "#include \"a.txt\""})
        EXPECT_TRUE(IsSfzText(pszHead)) << pszHead;
    for (const char* const pszHead : {"", "RIFF....sfbk", "<html>", "region", "// only a comment",
                                      "/* not ended <region>", "#!/bin/sh", "<"})
        EXPECT_FALSE(IsSfzText(pszHead)) << pszHead;
}

}  // namespace
}  // namespace Kestrova::Test
