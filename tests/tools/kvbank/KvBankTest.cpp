// The program as a whole: verbs, global options, rates, exit codes and the names of records.
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tools/kvbank/engine/RecordNames.h"
#include "tools/kvbank/terminal/RateOptions.h"

namespace Kestrova::Test {
namespace {

class KvBankTest : public CommandTest {};

TEST_F(KvBankTest, TellsItsVersion) {
    for (const char* pszOption : {"-V", "--version"}) {
        const Outcome outcome = Run({pszOption});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ("kvbank 1.0\n", outcome.strOut);
        EXPECT_EQ("", outcome.strErr);
    }
}

TEST_F(KvBankTest, HelpNamesEveryVerbAndTheExitCodes) {
    for (const char* pszOption : {"-h", "--help"}) {
        const Outcome outcome = Run({pszOption});
        EXPECT_EQ(0, outcome.nCode);
        for (const char* pszText :
             {"build", "demo", "export", "import", "info", "list", "remove", "render", "report", "space",
              "tree", "verify", "Exit codes: 0 done; 1 done, but something is wrong; 2 usage;"})
            EXPECT_THAT(outcome.strOut, HasSubstr(pszText));
    }
}

TEST_F(KvBankTest, EveryVerbHasHelp) {
    for (const char* pszVerb : {"build", "demo", "export", "import", "info", "list", "remove", "render",
                                "report", "space", "tree", "verify"}) {
        const Outcome outcome = Run({pszVerb, "--help"});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_THAT(outcome.strOut, HasSubstr(pszVerb));
    }
}

TEST_F(KvBankTest, HelpIsAVerbToo) {
    EXPECT_EQ(Run({"--help"}).strOut, Run({"help"}).strOut);
    EXPECT_EQ(Run({"--help"}).strOut, Run({"-q", "help"}).strOut);
    for (const char* pszVerb : {"build", "demo", "export", "import", "info", "list", "remove", "render",
                                "report", "space", "tree", "verify"}) {
        const Outcome outcome = Run({"help", pszVerb});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ(Run({pszVerb, "--help"}).strOut, outcome.strOut);
        EXPECT_EQ("", outcome.strErr);
    }
}

TEST_F(KvBankTest, HelpOnAVerbThatIsNotThereIsWrongUse) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"help", "lits"}, {"lits", "--help"}}) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(kExitUsage, outcome.nCode);
        EXPECT_EQ("", outcome.strOut);
        EXPECT_THAT(outcome.strErr, StartsWith("kvbank: unknown verb 'lits'; did you mean 'list'?\n"));
    }
}

TEST_F(KvBankTest, HelpIsAnOrdinaryWordBehindAVerbAndBehindADoubleDash) {
    EXPECT_EQ("kvbank: help: No such file or directory\n", Run({"info", "help"}).strErr);
    EXPECT_EQ("kvbank: help: No such file or directory\n", Run({"info", "--", "help"}).strErr);
}

TEST_F(KvBankTest, HelpSaysWhatIsImported) {
    EXPECT_THAT(Run({"--help"}).strOut,
                HasSubstr("make a source of a SoundFont (SF2, SF3), an SFZ or a folder of samples"));
    EXPECT_THAT(Run({"import", "--help"}).strOut,
                HasSubstr("a SoundFont file (2.01 to 2.04, or SF3), an SFZ file, or a folder of samples"));
}

TEST_F(KvBankTest, WrongUseIsExitCodeTwo) {
    const std::vector<std::vector<std::string>> kRows = {
        {},
        {"frobnicate"},
        {"--frobnicate"},
        {"build"},
        {"build", "x.kvs", "-d", "DIR"},
        {"build", "x.kvs", "-d", "DIR", "-r", "12345"},
        {"build", "x.kvs", "-d", "DIR", "-r", "all", "--quality", "8"},
        {"build", "x.kvs", "-d", "DIR", "-r", "all", "--layout", "round"},
        {"build", "x.kvs", "-r", "all"},
        {"list"},
        {"list", "DIR", "DIR"},
        {"remove", "DIR", "-r", "all"},
        {"remove", "DIR", "--source", "x.kvs"},
        {"info"},
        {"verify"},
        {"verify", "x", "--quality", "-1"},
        {"demo"},
    };
    for (const std::vector<std::string>& arguments : kRows) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(kExitUsage, outcome.nCode) << ::testing::PrintToString(arguments);
        EXPECT_EQ("", outcome.strOut);
        EXPECT_NE("", outcome.strErr);
    }
}

TEST_F(KvBankTest, SaysWhichRatesThereAre) {
    EXPECT_THAT(
        Run({"build", "x.kvs", "-d", "DIR", "-r", "48001"}).strErr,
        StartsWith("kvbank: --rates: '48001': give 'all' or some of 44100, 48000, 88200, 96000, 176400 and "
                   "192000, with commas between\n"));
}

TEST(RateOptionsTest, RatesComeInTheTablesOrderEachOnce) {
    EXPECT_THAT(ParseRates("all"), ElementsAre(44100, 48000, 88200, 96000, 176400, 192000));
    EXPECT_THAT(ParseRates("96000,44100,96000"), ElementsAre(44100, 96000));
    EXPECT_THAT(ParseRates("48000"), ElementsAre(48000));
}

TEST(RateOptionsTest, AnythingElseIsNoRates) {
    for (const char* pszRates : {"", ",", "48000,", ",48000", "48000,,96000", "48000 ", " 48000", "+48000",
                                 "48000.0", "0xBB80", "ALL", "all,48000", "22050", "4294967296", "-1"})
        EXPECT_THAT(ParseRates(pszRates), ElementsAre()) << pszRates;
}

TEST(RateOptionsTest, LayoutsHaveNames) {
    EXPECT_STREQ("plain", LayoutName(BankLayout::Plain));
    EXPECT_STREQ("per-key", LayoutName(BankLayout::PerKey));
}

TEST(ExitCodeTest, EveryEngineResultHasACodeAndAText) {
    static constexpr struct {
        BankResult result;
        ExitCode code;
        const char* pszText;
    } kRows[] = {
        {kBankDone, kExitDone, "done"},
        {kBankNotReady, kExitInternal, "no source has been analysed"},
        {kBankCancelled, kExitProblem, "cancelled"},
        {kBankBusy, kExitBusy, "busy: another process is building it"},
        {kBankNoMemory, kExitNoMemory, "out of memory"},
        {kBankNoWorker, kExitInternal, "no worker thread could be started"},
        {kBankBadArgument, kExitUsage, "not a usable name or value"},
        {kBankSourceNotOpened, kExitBadInput, "not a readable source bank"},
        {kBankTargetNotCreated, kExitOutput, "the bank file cannot be created"},
        {kBankReadFailed, kExitBadInput, "a record cannot be read"},
        {kBankWriteFailed, kExitOutput, "a record cannot be written"},
        {kBankSourceInconsistent, kExitBadInput, "the source is inconsistent"},
        {kBankConversionFailed, kExitBadInput, "a sample cannot be converted"},
        {static_cast<BankResult>(13), kExitInternal, "unknown result"},
    };
    for (const auto& row : kRows) {
        EXPECT_EQ(row.code, ExitCodeOf(row.result));
        EXPECT_STREQ(row.pszText, DescribeResult(row.result));
    }
}

TEST(ExitCodeTest, WhatTheSystemRefusesToDoWithTheBanksFileIsAFailureOfTheOutput) {
    EXPECT_EQ(kExitOutput, ExitCodeOf(TargetFault(kBankConversionFailed, kSdbQuickLoad, kSdbNoID, "", EIO)));
    EXPECT_EQ(kExitBadInput, ExitCodeOf(SourceFault(kBankConversionFailed, kSdbQuickLoad, kSdbNoID, "")));
    EXPECT_EQ(kExitBadInput, ExitCodeOf(SourceFault(kBankReadFailed, kSdbAny, kSdbNoID, "", EIO)));
    EXPECT_EQ(kExitNoMemory, ExitCodeOf(TargetFault(kBankWriteFailed, kSdbAny, kSdbNoID, "", ENOMEM)));
}

TEST(RecordNamesTest, EveryTypeHasAName) {
    static constexpr struct {
        uint8_t nType;
        const char* pszName;
    } kRows[] = {{kSdbInfo, "information record"},
                 {kSdbPreset, "preset"},
                 {kSdbBank, "bank"},
                 {kSdbProgram, "program"},
                 {kSdbRegion, "region"},
                 {kSdbLayer, "layer"},
                 {kSdbSample, "sample"},
                 {kSdbQuickLoad, "quick-load table"},
                 {kSdbAny, "source"},
                 {77, "record of type 77"}};
    for (const auto& row : kRows) EXPECT_EQ(row.pszName, TypeName(row.nType));
}

TEST(RecordNamesTest, RecordsAreDescribedByKindIdAndPrintableName) {
    const TempDir dir;
    WriteFile(dir.File("a.kvs"), DatabaseImage({{0, kSdbBank, 1, kSdbNoID,
                                                 "\x05"
                                                 "Bank\x1B...."},
                                                {0, kSdbLayer, 2, kSdbNoID,
                                                 "\x03"
                                                 "abc"},
                                                {0, kSdbBank, 3, kSdbNoID,
                                                 "\x05"
                                                 "Bank"},
                                                {0, kSdbBank, 4, kSdbNoID, ""},
                                                {0, 5, 5, kSdbNoID,
                                                 "\x03"
                                                 "abc"}}));
    CSDB database;
    ASSERT_TRUE(database.Open(dir.File("a.kvs").c_str(), kSdbFormatPlain, false));
    EXPECT_EQ("bank 1 \"Bank?\"", DescribeRecord(&database, kSdbBank, 1));
    EXPECT_EQ("layer 2", DescribeRecord(&database, kSdbLayer, 2)) << "layers have no names";
    EXPECT_EQ("bank 3", DescribeRecord(&database, kSdbBank, 3)) << "its name is longer than its body";
    EXPECT_EQ("bank 4", DescribeRecord(&database, kSdbBank, 4));
    EXPECT_EQ("record of type 5 5", DescribeRecord(&database, 5, 5));
    EXPECT_EQ("preset 1", DescribeRecord(&database, kSdbPreset, 1)) << "of another type";
    EXPECT_EQ("bank 9", DescribeRecord(&database, kSdbBank, 9)) << "not there";
    EXPECT_EQ("bank 1", DescribeRecord(nullptr, kSdbBank, 1));
}

}  // namespace
}  // namespace Kestrova::Test
