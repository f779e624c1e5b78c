// What the verbs that are given a source say when it cannot be one.
#include <sys/stat.h>

#include <array>

#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/Unprivileged.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;

class SourceErrorsTest : public CommandTest {
protected:
    // What a verb did with the source in the test's folder.
    std::array<Outcome, 4> RunAll(const std::string& strSource, const std::string& strMore = "-q") const {
        return {Run({"build", strSource, "-d", "DIR/banks", "-r", "44100", strMore}),
                Run({"list", "DIR", "--source", strSource, strMore}),
                Run({"remove", "DIR", "--source", strSource, "-r", "all", "-y", strMore}),
                Run({"verify", "DIR/bank.kvn", "--source", strSource, strMore})};
    }
    void ExpectEverywhere(const std::string& strSource, ExitCode code, const std::string& strCause) const {
        SCOPED_TRACE(strSource);
        for (const Outcome& outcome : RunAll(strSource)) {
            EXPECT_EQ(code, outcome.nCode);
            EXPECT_EQ("kvbank: " + strSource + ": " + strCause + "\n", outcome.strErr);
        }
    }
};

TEST_F(SourceErrorsTest, WhatCannotBeOpenedTellsTheSystemsReason) {
    ExpectEverywhere("DIR/none.kvs", kExitBadInput, "No such file or directory");
    ExpectEverywhere("DIR/none", kExitBadInput, "No such file or directory");
    fs::create_symlink("loop.kvs", File("loop.kvs"));
    ExpectEverywhere("DIR/loop.kvs", kExitBadInput, "Too many levels of symbolic links");
}

TEST_F(SourceErrorsTest, AFileOfAnotherUserTellsTheSystemsReason) {
    fs::permissions(Source(), fs::perms(0));
    fs::permissions(Folder(), fs::perms(0755));
    const Unprivileged nobody;
    if (!nobody.Works()) GTEST_SKIP() << "this process cannot give up its rights";
    ExpectEverywhere("DIR/Src.kvs", kExitBadInput, "Permission denied");
}

TEST_F(SourceErrorsTest, AnInstrumentInAnotherFormatIsToBeImported) {
    for (const char* pszName : {"x.sf2", "x.SF3", "x.sfz"}) {
        WriteFile(File(pszName), std::string("RIFF....sfbk and much more than a header"));
        ExpectEverywhere(std::string("DIR/") + pszName, kExitBadInput,
                         "not a bank; 'kvbank import' makes a source of it");
    }
}

TEST_F(SourceErrorsTest, WhatIsReadableIsNotABank) {
    WriteFile(File("x.wav"), std::string("RIFF....WAVE and much more than a header"));
    WriteFile(File("empty.kvs"), std::string());
    ExpectEverywhere("DIR/x.wav", kExitBadInput, "not a bank");
    ExpectEverywhere("DIR/empty.kvs", kExitBadInput, "not a bank");
    for (const Outcome& outcome : RunAll("DIR/x.wav", "-v"))
        EXPECT_EQ("kvbank: DIR/x.wav: not a bank (engine result 7)\n", outcome.strErr);
}

TEST_F(SourceErrorsTest, WhatIsNoFileTellsWhatItIs) {
    ASSERT_EQ(0, mkfifo(File("pipe").c_str(), 0600));
    ASSERT_EQ(0, mkfifo(File("pipe.kvs").c_str(), 0600));
    fs::create_directory(File("folder.kvs"));
    ExpectEverywhere("DIR", kExitBadInput, "it is a folder");
    ExpectEverywhere("DIR/folder.kvs", kExitBadInput, "it is a folder");
    ExpectEverywhere("DIR/pipe", kExitBadInput, "it is a pipe");
    ExpectEverywhere("DIR/pipe.kvs", kExitBadInput, "it is a pipe");
    ExpectEverywhere("/dev/null", kExitBadInput, "it is a device");
}

TEST_F(SourceErrorsTest, ANameThatNoBankCanBeNamedAfterSaysWhatItLacks) {
    Source({}, "noext");
    Source({}, ".kvs");
    Source({.bEnriched = true}, "_0AC44.kvn");
    ExpectEverywhere("DIR/noext", kExitUsage,
                     "the name needs a '.': banks are named after what stands before it");
    ExpectEverywhere("DIR/.kvs", kExitUsage,
                     "nothing stands before the '.' of the name: banks are named after that");
    ExpectEverywhere("DIR/_0AC44.kvn", kExitUsage,
                     "nothing stands before the '_' of the name: banks are named after that");
    EXPECT_FALSE(fs::exists(File("banks")));
}

}  // namespace
}  // namespace Kestrova::Test
