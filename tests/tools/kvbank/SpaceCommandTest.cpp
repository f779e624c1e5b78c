// kvbank space.
#include <cerrno>

#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tools/kvbank/build/SpaceReporter.h"

namespace Kestrova::Test {
namespace {

using ::testing::HasSubstr;

class SpaceCommandTest : public CommandTest {
protected:
    Outcome Space(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"space", "DIR/Src.kvs", "-d", "DIR/out", "-r", "44100,48000"});
        return Run(options);
    }
    void Build(const std::vector<std::string>& options = {}) const {
        std::vector<std::string> arguments = {"build", "DIR/Src.kvs", "-d", "DIR/out", "-r", "48000"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        ASSERT_EQ(0, Run(arguments).nCode);
    }
};

TEST_F(SpaceCommandTest, TellsEachRateAndTheSum) {
    Source();
    const Outcome outcome = Space();
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_THAT(outcome.strOut, StartsWith("     RATE      NEEDED       FREED\n"
                                           " 44100 Hz      1.0 MB     0 bytes  would be built\n"
                                           " 48000 Hz      1.0 MB     0 bytes  would be built\n"
                                           "      all      2.1 MB     0 bytes\n"
                                           "DIR/out: "));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs")) << "nothing is made";
}

TEST_F(SpaceCommandTest, ABankThatIsThereNeedsNothingUnlessForced) {
    Source();
    Build();
    EXPECT_THAT(Space().strOut, HasSubstr(" 48000 Hz     0 bytes     0 bytes  there already\n"
                                          "      all      1.0 MB     0 bytes\n"));
    const uint64_t nBytes = fs::file_size(File("out/") + k48000);
    const Json document = Space({"-f", "--json"}).Document();
    EXPECT_EQ(Json::parse(R"({"rate": 48000, "file": "Src_0BB80.kvn", "action": "would be built",
                              "bytes_needed": 1048576})")["bytes_needed"],
              document["banks"][1]["bytes_needed"]);
    EXPECT_EQ(nBytes, document["banks"][1]["bytes_freed"]);
    EXPECT_EQ(nBytes, document["bytes_freed"]);
}

TEST_F(SpaceCommandTest, TheOtherLayoutsBankIsFreedToo) {
    Source();
    Build({"--layout", "per-key"});
    const uint64_t nBytes = fs::file_size(File("out/") + k48000PerKey);
    EXPECT_EQ(nBytes, Space({"-f", "--json"}).Document()["banks"][1]["bytes_freed"]);
}

TEST_F(SpaceCommandTest, ADamagedBankIsBuiltAnewAndFreesItsSpace) {
    Source();
    Build();
    fs::resize_file(File("out/") + k48000, 600);
    const Json document = Space({"--json"}).Document();
    EXPECT_EQ("would be built", document["banks"][1]["action"]);
    EXPECT_EQ(600, document["banks"][1]["bytes_freed"]);
}

// A sample of 1 Hz that says it expands to 4 GiB needs hundreds of terabytes.
TEST_F(SpaceCommandTest, WhatDoesNotFitIsExitCodeFive) {
    Source({.samples = {{.nRate = 1}}});
    std::vector<NoteFields> notes = NotesOf(File("Src.kvs"));
    notes[2].strBody.replace(50, 4, "\xFF\xFF\xFF\xFF");  // the expanded length
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Space({"--json"});
    EXPECT_EQ(kExitNoSpace, outcome.nCode);
    EXPECT_THAT(outcome.strErr,
                ::testing::MatchesRegex("kvbank: DIR/out: [0-9]+ bytes are missing: 395.6 TB are "
                                        "needed, .* are free\n"));
    const Json document = outcome.Document();
    EXPECT_GT(document["bytes_needed"], document["bytes_free"]);
    EXPECT_EQ("plain", document["layout"]);
}

TEST(SpaceReporterTest, ADiskThatCannotBeAskedIsAFailure) {
    std::istringstream in;
    std::ostringstream out, err;
    Console console(in, out, err);
    BuildOptions options;
    options.strFolder = "banks";
    SpaceReporter reporter(console, options);
    EXPECT_EQ(kExitOutput, reporter.Tell({.nError = EIO}));
    EXPECT_EQ("kvbank: banks: Input/output error\n", err.str());
    EXPECT_EQ("", out.str());
}

TEST_F(SpaceCommandTest, AFolderThatCannotBeReadAtOneLookIsNoEmptyOne) {
    Source();
    Build();
    for (const int nNth : {1, 2, 3}) {
        const PosixFault fault("readdir", EACCES, nNth);
        const Outcome outcome = Space();
        EXPECT_EQ(kExitProblem, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/out: Permission denied\n", outcome.strErr);
    }
}

TEST_F(SpaceCommandTest, WhatIsNoSourceIsBadInput) {
    EXPECT_EQ("kvbank: DIR/Src.kvs: No such file or directory\n", Space().strErr);
    EXPECT_EQ(kExitBadInput, Space().nCode);
    EXPECT_EQ(kExitUsage, Run({"space", "DIR/Src.kvs", "-d", "DIR"}).nCode);
}

}  // namespace
}  // namespace Kestrova::Test
