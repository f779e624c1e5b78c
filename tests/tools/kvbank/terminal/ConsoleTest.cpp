#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <sstream>

#include "shared/System/kvCancelSignal.h"
#include "tests/support/Matchers.h"
#include "tools/kvbank/terminal/Console.h"
#include "tools/kvbank/terminal/Progress.h"

namespace Kestrova::Test {
namespace {

TEST(ConsoleTextTest, PrintableKeepsTextAndReplacesWhatATerminalMustNotGet) {
    static const struct {
        const char* pszWhy;
        std::string strText, strPrintable;
    } kRows[] = {
        {"plain text", "Piano C4 ~", "Piano C4 ~"},
        {"German, a copyright sign, a hard space", "\xC3\xA4\xC2\xA9\xC2\xA0", "\xC3\xA4\xC2\xA9\xC2\xA0"},
        {"the euro sign, Thai, Korean", "\xE2\x82\xAC\xE0\xB8\x81\xED\x95\x9C",
         "\xE2\x82\xAC\xE0\xB8\x81\xED\x95\x9C"},
        {"private use, full width", "\xEE\x80\x80\xEF\xBC\xA1", "\xEE\x80\x80\xEF\xBC\xA1"},
        {"an emoji, the first of four bytes", "\xF0\x9F\x8E\xB9\xF0\x90\x80\x80",
         "\xF0\x9F\x8E\xB9\xF0\x90\x80\x80"},
        {"the last character, one of a high plane", "\xF4\x8F\xBF\xBF\xF1\x80\x80\x80",
         "\xF4\x8F\xBF\xBF\xF1\x80\x80\x80"},
        {"the last below the surrogates, the first of three bytes", "\xED\x9F\xBF\xE0\xA0\x80",
         "\xED\x9F\xBF\xE0\xA0\x80"},
        {"escape sequences", "a\x1B[2Jb", "a?[2Jb"},
        {"line ends, tab, zero, delete", std::string("\n\r\t\0\x7F", 5), "?????"},
        {"control characters of two bytes", "\xC2\x80\xC2\x9B\xC2\x9F", "??????"},
        {"a lone continuation byte", "\x80", "?"},
        {"a sequence cut short", "\xE2\x82", "??"},
        {"a sequence broken off", "\xE2\x82z", "??z"},
        {"an overlong slash", "\xC0\xAF", "??"},
        {"an overlong slash of three bytes", "\xE0\x80\xAF", "???"},
        {"one of four", "\xF0\x80\x80\xAF", "????"},
        {"a surrogate", "\xED\xA0\x80", "???"},
        {"above the last character", "\xF4\x90\x80\x80", "????"},
        {"a byte that begins nothing", "\xFF", "?"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(row.strPrintable, Printable(row.strText));
    }
}

TEST(ConsoleTextTest, SizesHaveOneDigitBehindThePointInUnitsOfAThousand) {
    static constexpr struct {
        uint64_t nBytes;
        const char* pszText;
    } kRows[] = {{0, "0 bytes"},      {999, "999 bytes"},       {1000, "1.0 kB"},
                 {12345, "12.3 kB"},  {999949, "999.9 kB"},     {999950, "1.0 MB"},
                 {1048576, "1.0 MB"}, {12345678901, "12.3 GB"}, {UINT64_MAX, "18446744.1 TB"}};
    for (const auto& row : kRows) EXPECT_EQ(row.pszText, ReadableSize(row.nBytes));
}

TEST(ConsoleTextTest, TimesAreMinutesAndSecondsAndFromAnHourOnHours) {
    static constexpr struct {
        double seconds;
        const char* pszText;
    } kRows[] = {{0, "0:00"},       {0.6, "0:01"},       {65, "1:05"},
                 {3599.4, "59:59"}, {3599.6, "1:00:00"}, {3725, "1:02:05"}};
    for (const auto& row : kRows) EXPECT_EQ(row.pszText, ReadableTime(row.seconds));
}

TEST(ConsoleTextTest, NumbersHaveCommasBetweenTheirThousands) {
    static constexpr struct {
        uint64_t n;
        const char* pszText;
    } kRows[] = {{0, "0"},          {999, "999"},           {1000, "1,000"},
                 {11987, "11,987"}, {1234567, "1,234,567"}, {UINT64_MAX, "18,446,744,073,709,551,615"}};
    for (const auto& row : kRows) EXPECT_EQ(row.pszText, Grouped(row.n));
}

TEST(ConsoleTextTest, CountsTakeTheirNounInTheRightNumber) {
    EXPECT_EQ("0 banks", Counted(0, "bank"));
    EXPECT_EQ("1 bank", Counted(1, "bank"));
    EXPECT_EQ("2 banks", Counted(2, "bank"));
}

class ConsoleTest : public ::testing::Test {
protected:
    std::istringstream m_in;
    std::ostringstream m_out, m_err;
    Console m_console{m_in, m_out, m_err};

    ~ConsoleTest() override { SetCancelSignal(0); }

    // The characters above ASCII that these tests use, as they are written in sources.
    static std::string WithEscapes(std::string strText) {
        for (const auto& [pszCharacter, pszEscape] :
             {std::pair{"\xEF\xBF\xBD", "\\uFFFD"}, std::pair{"\xC3\xA4", "\\u00E4"}})
            for (size_t nAt = 0; (nAt = strText.find(pszCharacter)) != std::string::npos;)
                strText.replace(nAt, std::strlen(pszCharacter), pszEscape);
        return strText;
    }

    void TalkAboutEverything() {
        m_console.Say("said");
        m_console.Detail("detail");
        m_console.Warn("care");
        m_console.Error("wrong\n");
    }
};

TEST_F(ConsoleTest, SaysTextsAndWarningsButNoDetails) {
    TalkAboutEverything();
    EXPECT_EQ("said\n", m_out.str());
    EXPECT_EQ("kvbank: warning: care\nkvbank: wrong?\n", m_err.str());
}

TEST_F(ConsoleTest, VerboseShowsDetails) {
    m_console.bVerbose = true;
    TalkAboutEverything();
    EXPECT_EQ("said\ndetail\n", m_out.str());
}

TEST_F(ConsoleTest, QuietLeavesErrorsAlone) {
    m_console.bQuiet = true;
    TalkAboutEverything();
    EXPECT_EQ("", m_out.str());
    EXPECT_EQ("kvbank: wrong?\n", m_err.str());
}

TEST_F(ConsoleTest, ColoursAreForTheLeadsOfMessagesAlone) {
    m_console.bColor = true;
    TalkAboutEverything();
    EXPECT_EQ("said\n", m_out.str());
    EXPECT_EQ("\033[1;33mkvbank: warning:\033[0m care\n\033[1;31mkvbank:\033[0m wrong?\n", m_err.str());
}

TEST_F(ConsoleTest, WithProgressAsObjectsMessagesAreObjectsToo) {
    m_console.progress = Console::ProgressStyle::Lines;
    m_console.bColor = true;
    TalkAboutEverything();
    EXPECT_EQ("said\n", m_out.str());
    EXPECT_EQ("{\"event\":\"warning\",\"text\":\"care\"}\n{\"event\":\"error\",\"text\":\"wrong\\n\"}\n",
              m_err.str());
}

// The job's console has the wishes, but its lines, errors and warnings are its own.
TEST_F(ConsoleTest, AJobHasTheWishesAndItsOwnStreamsErrorsAndWarnings) {
    m_console.bVerbose = m_console.bErrIsTerminal = m_console.bColor = true;
    m_console.progress = Console::ProgressStyle::Always;
    std::ostringstream out, err;
    Console job = m_console.ForJob(out, err);
    EXPECT_FALSE(job.DrawsProgress());
    job.Detail("detail");
    job.Warn("care");
    job.Error("wrong");
    EXPECT_EQ("detail\n", out.str());
    EXPECT_EQ("\033[1;33mkvbank: warning:\033[0m care\n\033[1;31mkvbank:\033[0m wrong\n", err.str());
    EXPECT_EQ(Json::parse(R"({"exit_code": 3, "banks": 1, "errors": ["wrong"], "warnings": ["care"]})"),
              job.Facts(kExitBadInput, {{"banks", 1}}));
    EXPECT_EQ("", m_out.str() + m_err.str());
    EXPECT_EQ(Json::parse(R"({"exit_code": 0})"), m_console.Facts(kExitDone, Json::object()));
}

TEST_F(ConsoleTest, JsonIsOneDocumentWithTheErrorsAndWarningsSaid) {
    m_console.bJson = true;
    TalkAboutEverything();
    EXPECT_EQ(7, m_console.Finish("list", kExitBusy, {{"folder", "x"}}));
    EXPECT_EQ(R"({
  "schema": 1,
  "command": "list",
  "exit_code": 7,
  "folder": "x",
  "errors": [
    "wrong\n"
  ],
  "warnings": [
    "care"
  ]
}
)",
              m_out.str());
}

TEST_F(ConsoleTest, JsonHasTextsWholeAndReplacesOnlyWhatIsNoUtf8) {
    static const struct {
        const char* pszWhy;
        std::string strText, strWritten;
    } kRows[] = {
        {"all that is text", "\xC3\xA4\xC2\xA9\xE0\xB8\x81\xED\x95\x9C\xF0\x9F\x8E\xB9",
         "\xC3\xA4\xC2\xA9\xE0\xB8\x81\xED\x95\x9C\xF0\x9F\x8E\xB9"},
        {"control characters", "a\n\t\x1B[2J", "a\\n\\t\\u001b[2J"},
        {"those that JSON lets pass", "a\x7F\xC2\x80\xC2\x9B\xC2\x9F\xC2\xA0",
         "a\\u007f\\u0080\\u009b\\u009f\xC2\xA0"},
        {"what is no UTF-8", "a\xFFz", "a\xEF\xBF\xBDz"},
    };
    m_console.bJson = true;
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszWhy);
        m_out.str("");
        m_console.Finish("list", kExitDone, {{"file", row.strText}});
        EXPECT_THAT(m_out.str(), HasSubstr("\"file\": \"" + row.strWritten + "\""));
        const bool bWhole = row.strText.find('\xFF') == std::string::npos;
        EXPECT_EQ(bWhole, row.strText == Json::parse(m_out.str())["file"]);
    }
}

TEST_F(ConsoleTest, JsonGivesTheBytesOfATextThatIsNoUtf8BesideIt) {
    m_console.bJson = true;
    m_console.Finish("list", kExitDone,
                     {{"folder", "/a/b\xE4nke"},
                      {"name", "B\xC3\xA4nke \xEF\xBF\xBD\x1B"},
                      {"banks", Json::array({{{"file", "\xFF"}, {"bytes", 3}}})},
                      {"names", Json::array({"\xFF"})}});
    EXPECT_EQ(R"({
  "schema": 1,
  "command": "list",
  "exit_code": 0,
  "folder": "/a/b\uFFFDnke",
  "folder_bytes": "2f612f62e46e6b65",
  "name": "B\u00E4nke \uFFFD\u001b",
  "banks": [
    {
      "file": "\uFFFD",
      "file_bytes": "ff",
      "bytes": 3
    }
  ],
  "names": [
    "\uFFFD"
  ]
}
)",
              WithEscapes(m_out.str()));
}

// What was written to it before it was last flushed.
class FlushedText : public std::stringbuf {
public:
    std::string strFlushed;

protected:
    int sync() override {
        strFlushed = str();
        return 0;
    }
};

TEST(ConsoleFlushTest, EachLineIsOnItsWayAtOnce) {
    std::istringstream in;
    FlushedText outText, errText;
    std::ostream out(&outText), err(&errText);
    Console console(in, out, err);
    console.Say("one");
    EXPECT_EQ("one\n", outText.strFlushed);
    console.Warn("two");
    EXPECT_EQ("kvbank: warning: two\n", errText.strFlushed);
    console.Error("three");
    EXPECT_EQ("kvbank: warning: two\nkvbank: three\n", errText.strFlushed);
}

TEST_F(ConsoleTest, WhenTheReaderHasGoneNothingMoreIsComplainedOf) {
    SetCancelSignal(SIGPIPE);
    m_out.setstate(std::ios::badbit);
    TalkAboutEverything();
    EXPECT_EQ(kExitDone, m_console.Finish("list", kExitDone));
    EXPECT_EQ("", m_err.str());
}

TEST_F(ConsoleTest, FinishWithoutJsonWritesNothing) {
    EXPECT_EQ(0, m_console.Finish("list", kExitDone));
    EXPECT_EQ("", m_out.str());
}

TEST_F(ConsoleTest, OutputThatCannotBeWrittenSpoilsSuccessOnly) {
    m_out.setstate(std::ios::badbit);
    EXPECT_EQ(kExitOutput, m_console.Finish("list", kExitDone));
    EXPECT_EQ("kvbank: standard output cannot be written\n", m_err.str());
    EXPECT_EQ(kExitBusy, m_console.Finish("list", kExitBusy));
}

TEST(ProgressLineTest, ShowsBarBytesAndTimeLeft) {
    static constexpr struct {
        const char* pszWhy;
        double fraction;
        uint64_t nBytes, nTotal;
        double seconds;
        const char* pszLine;
    } kRows[] = {
        {"the beginning", 0, 0, 1000, 0, "T [........................]   0%  0 bytes of 1.0 kB"},
        {"too early for a guess", 0.5, 500, 1000, 0.4,
         "T [############............]  50%  500 bytes of 1.0 kB"},
        {"half", 0.5, 500, 1000, 5, "T [############............]  50%  500 bytes of 1.0 kB  0:05 left"},
        {"nothing done yet", 0, 0, 1000, 5, "T [........................]   0%  0 bytes of 1.0 kB"},
        {"more than foretold", 1.5, 2000, 1000, 5,
         "T [########################] 100%  2.0 kB of 2.0 kB  0:00 left"},
        {"total not known", 0.25, 500, 0, 5, "T [######..................]  25%  500 bytes  0:15 left"},
        {"a fraction below 0", -1, 0, 0, 5, "T [........................]   0%  0 bytes"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(row.pszLine, ProgressLine("T", {row.fraction, row.nBytes, row.nTotal, row.seconds}, 79));
    }
}

TEST(ProgressLineTest, FitsTheColumnsThereAre) {
    static constexpr struct {
        const char* pszTitle;
        size_t nColumns;
        const char* pszLine;
    } kRows[] = {
        {"Title", 76, "Title [############............]  50%  500 bytes of 1.0 kB  0:05 left"},
        {"Title", 69, "Title [############............]  50%  500 bytes of 1.0 kB  0:05 left"},
        {"Title", 68, "Title  50%  500 bytes of 1.0 kB  0:05 left"},
        {"Title", 42, "Title  50%  500 bytes of 1.0 kB  0:05 left"},
        {"Title", 41, "Titl  50%  500 bytes of 1.0 kB  0:05 left"},
        {"Title", 37, "  50%  500 bytes of 1.0 kB  0:05 left"},
        {"Title", 5, "  50%"},
        {"Title", 0, ""},
        // A wide character is two columns and is not cut apart.
        {"\xED\x95\x9C\xED\x95\x9C", 68,
         "\xED\x95\x9C\xED\x95\x9C [############............]  50%  500 bytes of 1.0 kB  0:05 left"},
        {"\xED\x95\x9C\xED\x95\x9C", 40, "\xED\x95\x9C  50%  500 bytes of 1.0 kB  0:05 left"},
        {"\xC3\xA4\xC3\xA4", 38, "\xC3\xA4  50%  500 bytes of 1.0 kB  0:05 left"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.nColumns);
        EXPECT_EQ(row.pszLine, ProgressLine(row.pszTitle, {0.5, 500, 1000, 5}, row.nColumns));
    }
}

TEST(ProgressLineTest, APhaseInWhichNoBytesMoveIsToldInPlaceOfTheTimeLeft) {
    EXPECT_EQ("T [########################] 100%  1.0 kB of 1.0 kB  writing to the disk ...",
              ProgressLine("T", {1, 1000, 1000, 5, ProgressPhase::Sync}, 79));
    EXPECT_EQ("T [############............]  50%  500 bytes  taking the sum ...",
              ProgressLine("T", {0.5, 500, 0, 5, ProgressPhase::Sum}, 79));
}

TEST(ProgressEventTest, HasWhatTheLineTells) {
    static const struct {
        const char* pszWhy;
        ProgressFigures figures;
        const char* pszEvent;
    } kRows[] = {
        {"half",
         {0.5, 500, 1000, 5},
         R"({"event":"progress","title":"T","phase":"work","fraction":0.5,"bytes":500,"total_bytes":1000,"seconds_left":5.0})"},
        {"too early for a guess, total not known",
         {0.5, 500, 0, 0.4},
         R"({"event":"progress","title":"T","phase":"work","fraction":0.5,"bytes":500})"},
        {"more than foretold, waiting for the disk",
         {1.5, 2000, 1000, 5, ProgressPhase::Sync},
         R"({"event":"progress","title":"T","phase":"sync","fraction":1.0,"bytes":2000,"total_bytes":2000})"},
        {"its sum",
         {0.25, 1, 4, 0, ProgressPhase::Sum},
         R"({"event":"progress","title":"T","phase":"sum","fraction":0.25,"bytes":1,"total_bytes":4})"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.pszWhy);
        EXPECT_EQ(row.pszEvent, ProgressEvent("T", row.figures).dump());
    }
}

class ProgressTest : public ConsoleTest {};

TEST_F(ProgressTest, ANewPhaseShowsAtOnce) {
    m_console.bErrIsTerminal = true;
    {
        Progress progress(m_console, "T", 1000);
        progress.Show(1, 1000);
        progress.Show(1, 1000, ProgressPhase::Sync);
    }
    EXPECT_THAT(m_err.str(), ::testing::EndsWith("1.0 kB of 1.0 kB  writing to the disk ...\r\033[K"));
}

TEST_F(ProgressTest, IsDrawnAlwaysOrNeverOrAsObjectsWhenThatIsAskedFor) {
    using Style = Console::ProgressStyle;
    static constexpr struct {
        Style style;
        bool bTerminal, bQuiet;
        const char* pszShown;
    } kRows[] = {
        {Style::Always, false, false, "\r\033[KT [########################] 100%  1 bytes\r\033[K"},
        {Style::Always, true, true, ""},
        {Style::Never, true, false, ""},
        {Style::Lines, true, false,
         "{\"event\":\"progress\",\"title\":\"T\",\"phase\":\"work\",\"fraction\":1.0,\"bytes\":1}\n"},
        {Style::Lines, false, true, ""},
    };
    for (const auto& row : kRows) {
        m_err.str("");
        m_console.progress = row.style;
        m_console.bErrIsTerminal = row.bTerminal;
        m_console.bQuiet = row.bQuiet;
        Progress(m_console, "T", 0).Show(1, 1);
        EXPECT_EQ(row.pszShown, m_err.str());
    }
}

TEST_F(ProgressTest, ALineThatWasWipedComesBackWithItsNewTitle) {
    m_console.bErrIsTerminal = true;
    Progress progress(m_console, "T", 0);
    progress.Show(0, 0);
    progress.Wipe();
    progress.Wipe();
    EXPECT_THAT(m_err.str(), ::testing::EndsWith("0 bytes\r\033[K"));
    progress.SetTitle("U");
    progress.Show(0, 0, ProgressPhase::Sync);
    EXPECT_THAT(m_err.str(),
                ::testing::EndsWith("\r\033[K\r\033[KU [........................]   0%  0 bytes  "
                                    "writing to the disk ..."));
}

TEST_F(ProgressTest, DrawsOnATerminalAtMostTenTimesASecondAndWipesItsLine) {
    m_console.bErrIsTerminal = true;
    {
        Progress progress(m_console, "T", 1000);
        progress.Show(0.25, 250);
        progress.Show(0.5, 500);  // much too soon
    }
    EXPECT_EQ("\r\033[KT [######..................]  25%  250 bytes of 1.0 kB\r\033[K", m_err.str());
}

TEST_F(ProgressTest, DrawsNothingElsewhere) {
    Progress(m_console, "T", 1000).Show(0.25, 250);
    m_console.bErrIsTerminal = m_console.bQuiet = true;
    Progress(m_console, "T", 1000).Show(0.25, 250);
    EXPECT_EQ("", m_err.str());
}

TEST_F(ProgressTest, AsksTheTerminalForItsColumnsAndLeavesTheLastOneFree) {
    static unsigned s_nColumns;
    m_console.bErrIsTerminal = true;
    m_console.pfnErrColumns = [] { return s_nColumns; };
    const auto drawn = [this](unsigned nColumns) {
        m_err.str("");
        s_nColumns = nColumns;
        Progress(m_console, std::string(100, 'T'), 1000).Show(0.25, 250);
        return m_err.str();
    };
    EXPECT_EQ("\r\033[KTTT  25%  250 bytes of 1.0 kB\r\033[K", drawn(30));
    EXPECT_EQ("\r\033[K" + std::string(12, 'T') + "  25%  250 bytes of 1.0 kB\r\033[K", drawn(39));
    EXPECT_EQ("\r\033[K\r\033[K", drawn(1));
    EXPECT_EQ("\r\033[K" + std::string(53, 'T') + "  25%  250 bytes of 1.0 kB\r\033[K", drawn(0))
        << "not known: 80";
}

TEST_F(ProgressTest, ATitleFromAFileNameIsMadePrintable) {
    m_console.bErrIsTerminal = true;
    Progress(m_console, "a\x1B[2J", 1000).Show(0, 0);
    EXPECT_THAT(m_err.str(), HasSubstr("\r\033[Ka?[2J ["));
}

TEST_F(ProgressTest, WipesNothingWhereNothingWasDrawn) {
    m_console.bErrIsTerminal = true;
    { const Progress progress(m_console, "T", 1000); }
    EXPECT_EQ("", m_err.str());
}

}  // namespace
}  // namespace Kestrova::Test
