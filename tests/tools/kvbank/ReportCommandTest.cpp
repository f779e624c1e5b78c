// kvbank report: the page as a whole. How it looks is in report_pictures.sh.
#include <csignal>
#include <regex>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

using ::testing::Not;

// Why a page is not well-formed XML with HTML's rules on top; empty when it is.
std::string WhyNotWellFormed(const std::string& strPage) {
    static const std::regex kTag(R"re(<(/?)([a-z0-9]+)((?: [a-zA-Z-]+="[^"<]*")*)(/?)>)re");
    static const std::regex kReference("&(?!(amp|lt|gt|quot|#39);)");
    if (!strPage.starts_with("<!DOCTYPE html>\n")) return "no document type";
    std::vector<std::string> open;
    for (size_t nAt = strPage.find('\n'); nAt < strPage.size();) {
        const size_t nTag = strPage.find('<', nAt);
        const std::string strText = strPage.substr(nAt, nTag - nAt);
        const bool bRaw = !open.empty() && (open.back() == "script" || open.back() == "style");
        if (!bRaw && std::regex_search(strText, kReference)) return "a bare & in: " + strText;
        if (nTag == std::string::npos) break;
        if (bRaw && strPage.compare(nTag, 9, "<![CDATA[") == 0) {
            nAt = strPage.find("]]>", nTag) + 3;
            continue;
        }
        const size_t nEnd = strPage.find('>', nTag);
        const std::string strTag = strPage.substr(nTag, nEnd + 1 - nTag);
        std::smatch match;
        if (strTag.size() < 1000 && !std::regex_match(strTag, match, kTag)) return "no tag: " + strTag;
        const std::string strName =
            strTag.size() < 1000 ? match[2].str() : strTag.substr(1, strTag.find(' ') - 1);
        const bool bCloses = strTag[1] == '/', bEmpty = strTag[strTag.size() - 2] == '/';
        if (bCloses && (open.empty() || open.back() != strName)) return "not open: " + strTag;
        if (bCloses)
            open.pop_back();
        else if (!bEmpty)
            open.push_back(strName);
        nAt = nEnd + 1;
    }
    return open.empty() ? "" : "left open: " + open.back();
}

class ReportCommandTest : public CommandTest {
protected:
    Outcome Report(std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"report", "DIR/Src.kvs", "-o", "DIR/r.html"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    std::string Page(const std::string& strName = "r.html") const {
        const Bytes bytes = ReadFile(File(strName));
        return std::string(bytes.begin(), bytes.end());
    }
};

TEST_F(ReportCommandTest, TheDemoInstrumentIsOnOneWellFormedPage) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Src.kvs"}).nCode);
    const Outcome outcome = Report();
    EXPECT_EQ("", outcome.strErr);
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("DIR/r.html: 5 programs, 6 samples, " + ReadableSize(fs::file_size(File("r.html"))) + "\n",
              outcome.strOut);
    const std::string strPage = Page();
    EXPECT_EQ("", WhyNotWellFormed(strPage));
    for (const char* pszText :
         {"<title>Demo</title>", "<dd>5 programs, 6 regions, 6 samples</dd>", "<h3>2 Pad <span",
          "<title>Pad: keys G3 to F4, velocities 1 to 127</title>", "<tr id=\"s5\">",
          "<td class=\"n\" data-v=\"26112\">0.544 s</td>", "<td>4096 to 26111</td>",
          "data:audio/wav;base64,UklGR", "<td class=\"n\">192000 Hz</td>",
          "6 samples of 6 can be played here", "A bank does not keep what its import could not carry."})
        EXPECT_THAT(strPage, HasSubstr(pszText));
}

// No address but that of a name space, and no element that fetches something.
TEST_F(ReportCommandTest, ThePageNeedsNoNetwork) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Src.kvs"}).nCode);
    ASSERT_EQ(0, Report().nCode);
    std::string strPage = Page();
    const std::string strNameSpace = " xmlns=\"http://www.w3.org/1999/xhtml\"";
    strPage.erase(strPage.find(strNameSpace), strNameSpace.size());
    for (const char* pszText : {"http:", "https:", "//www", "<link", "<img", "<iframe", "@import", "url("})
        EXPECT_THAT(strPage, Not(HasSubstr(pszText)));
}

TEST_F(ReportCommandTest, TheSameBankGivesTheSameBytesWhereverItLies) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Src.kvs"}).nCode);
    ASSERT_EQ(0, Report().nCode);
    fs::create_directory(File("other"));
    fs::copy_file(File("Src.kvs"), File("other/Src.kvs"));
    ASSERT_EQ(0, Run({"report", "DIR/other/Src.kvs", "-o", "DIR/r2.html"}).nCode);
    EXPECT_EQ(Page(), Page("r2.html"));
}

TEST_F(ReportCommandTest, HostileNamesStayText) {
    Source();
    std::vector<NoteFields> notes = NotesOf(File("Src.kvs"));
    const std::string strBad = "\"><script>x()</script>&\x01'";
    for (NoteFields& note : notes)
        if (note.nType != kSdbLayer)
            note.strBody = static_cast<char>(strBad.size()) + strBad +
                           note.strBody.substr(1 + static_cast<unsigned char>(note.strBody[0]));
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    ASSERT_EQ(0, Report().nCode);
    EXPECT_EQ("", WhyNotWellFormed(Page()));
    EXPECT_THAT(Page(), Not(HasSubstr("<script>x()")));
    EXPECT_THAT(Page(), HasSubstr("<title>&quot;&gt;&lt;script&gt;x()&lt;/script&gt;&amp;?&#39;</title>"));
}

TEST_F(ReportCommandTest, ABuiltBankShowsTheSpectraBeforeAndAfter) {
    ASSERT_EQ(0, Run({"demo", "-o", "DIR/Src.kvs"}).nCode);
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000"}).nCode);
    ASSERT_EQ(0, Run({"report", "DIR/Src_0BB80.kvn", "--source", "DIR/Src.kvs", "-o", "DIR/r.html"}).nCode);
    const std::string strPage = Page();
    EXPECT_EQ("", WhyNotWellFormed(strPage));
    EXPECT_THAT(strPage, HasSubstr("<dd>bank for 48000 Hz, plain layout</dd>"));
    EXPECT_THAT(strPage, HasSubstr("<dt>Compared with</dt><dd>Src.kvs</dd>"));
    EXPECT_THAT(strPage, HasSubstr("<path class=\"before\" d=\"M"));
    EXPECT_THAT(strPage, HasSubstr("<path class=\"after\" d=\"M"));
    EXPECT_THAT(strPage, Not(HasSubstr("What an import left out")));
}

TEST_F(ReportCommandTest, ABankOfThousandsOfSamplesStaysUsable) {
    Source({.samples = std::vector<SampleSpec>(5100, SampleSpec{.nFrames = 30})});
    ASSERT_EQ(0, Report().nCode);
    const std::string strPage = Page();
    EXPECT_EQ("", WhyNotWellFormed(strPage));
    EXPECT_THAT(strPage, HasSubstr("The first 5,000 of 5,100 samples are listed."));
    EXPECT_THAT(strPage, HasSubstr("The first 2,000 of 5,000 samples have a waveform."));
    EXPECT_THAT(strPage, HasSubstr("375 samples of 5,100 can be played here"));
    EXPECT_LT(strPage.size(), 20000000u);
}

TEST_F(ReportCommandTest, WhatCannotBeReadIsToldAndAProblem) {
    Source({.samples = {{.nFrames = 5000}, {}}});
    std::vector<NoteFields> notes = NotesOf(File("Src.kvs"));
    notes[2].strBody.resize(notes[2].strBody.size() / 2);
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Report();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: sample 2: it cannot be read whole\n", outcome.strErr);
    EXPECT_EQ("", WhyNotWellFormed(Page()));
    EXPECT_THAT(Page(), HasSubstr("<td colspan=\"7\" class=\"fault\">it cannot be read whole</td>"));
    EXPECT_THAT(Page(), HasSubstr("<p class=\"soft\">Not known: sample 2 &quot;Sample 0&quot;: "));
}

// One byte of the compressed wave is another: header and loops can still be read.
TEST_F(ReportCommandTest, ADamagedWaveOfTheBankOrItsSourceIsToldByNameAndAProblem) {
    Source({.samples = {{.nFrames = 5000}, {}}});
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000"}).nCode);
    std::vector<NoteFields> notes = NotesOf(File("Src.kvs"));
    notes[2].strBody[notes[2].strBody.size() / 2] ^= 1;
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const std::string strError = "kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": it cannot be read whole\n";
    const Outcome outcome = Report();
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ(strError, outcome.strErr);
    EXPECT_THAT(Page(), HasSubstr("<td class=\"fault\">it cannot be read whole</td>"));
    const Outcome compared =
        Run({"report", "DIR/Src_0BB80.kvn", "--source", "DIR/Src.kvs", "-o", "DIR/r.html", "-f"});
    EXPECT_EQ(kExitProblem, compared.nCode);
    EXPECT_EQ(strError, compared.strErr);
    EXPECT_EQ("", WhyNotWellFormed(Page()));
}

TEST_F(ReportCommandTest, JsonTellsThePage) {
    Source();
    const Json document = Report({"--json"}).Document();
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "report", "exit_code": 0, "file": "DIR/Src.kvs",
        "output": "DIR/r.html", "programs": 1, "samples": 1})"),
              [&] {
                  Json rest = document;
                  EXPECT_EQ(fs::file_size(File("r.html")), rest["bytes"]);
                  rest.erase("bytes");
                  return rest;
              }());
}

TEST_F(ReportCommandTest, APageThatIsThereIsReplacedWhenForcedOnlyAndAnInputNever) {
    Source();
    WriteFile(File("r.html"), std::string("dear"));
    EXPECT_EQ("kvbank: DIR/r.html: there already; -f replaces it\n", Report().strErr);
    EXPECT_EQ(0, Report({"-f"}).nCode);
    const Outcome outcome = Run({"report", "DIR/Src.kvs", "-o", "DIR/Src.kvs", "-f"});
    EXPECT_EQ(kExitUsage, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: this is an input itself\n", outcome.strErr);
}

TEST_F(ReportCommandTest, AFullDiskAndACancelLeaveNothing) {
    Source();
    {
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kWrite, 1, FaultyFileEnv::Lasting::kForGood, ENOSPC);
        const Outcome outcome = Report();
        EXPECT_EQ(kExitOutput, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/r.html: No space left on device\n", outcome.strErr);
    }
    SetCancelSignal(SIGINT);
    EXPECT_EQ(kExitProblem, Report().nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

TEST_F(ReportCommandTest, BadInputIsToldByName) {
    Source();
    EXPECT_EQ("kvbank: DIR/none.kvs: No such file or directory\n",
              Report({"--source", "DIR/none.kvs"}).strErr);
    EXPECT_EQ(kExitBadInput, Run({"report", "DIR/none.kvs", "-o", "DIR/r.html"}).nCode);
}

}  // namespace
}  // namespace Kestrova::Test
