#include <condition_variable>
#include <csignal>
#include <mutex>

#include "bank/place/PrivateFolder.h"
#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/ForcedPoint.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// A source that needs some steps to be built.
SourceSpec Larger() {
    SourceSpec spec;
    spec.samples = {{.nFrames = 40000}, {.nRate = 48000, .nFrames = 40000}};
    spec.programs = {{}, {.bSplit = false, .regions = {{.nLow = 0, .nHigh = 9, .layers = {1}}}}};
    return spec;
}

class BuildCommandTest : public CommandTest {
protected:
    Outcome Build(const std::string& strRates, std::vector<std::string> options = {}) const {
        std::vector<std::string> arguments = {"build", "DIR/Src.kvs", "-d", "DIR", "-r", strRates};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return Run(arguments);
    }
    bool IsGood(const std::string& strName) const {
        return Run({"verify", "DIR/" + strName, "--source", "DIR/Src.kvs"}).nCode == 0;
    }
};

TEST_F(BuildCommandTest, MakesTheBanksAskedForAndTellsEach) {
    Source();
    const Outcome outcome = Build("48000,44100");
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("44100 Hz: DIR/Src_0AC44.kvn, 1.2 kB in TIME\n48000 Hz: DIR/Src_0BB80.kvn, 1.2 kB in TIME\n",
              outcome.strOut);
    EXPECT_EQ("", outcome.strErr);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000));
    EXPECT_TRUE(IsGood(k44100));
    EXPECT_TRUE(IsGood(k48000));
}

TEST_F(BuildCommandTest, MakesTheFolderWhenItIsNotThere) {
    Source();
    const Outcome outcome = Run({"build", "DIR/Src.kvs", "--dir", "DIR/a/b/", "--rates", "44100", "-q"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ("", outcome.strOut + outcome.strErr);
    EXPECT_THAT(Names("a/b"), ElementsAre(k44100));
}

TEST_F(BuildCommandTest, SkipsRatesThatAreThereInEitherLayoutUnlessForced) {
    Source();
    ASSERT_EQ(0, Build("44100").nCode);
    ASSERT_EQ(0, Build("48000", {"--layout", "per-key"}).nCode);
    const Bytes before = ReadFile(File(k44100));
    const Outcome outcome = Build("44100,48000");
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "44100 Hz: there already; -f builds it again\n48000 Hz: there already, but in the per-key layout "
        "(Src_0BB80.kvr); -f builds the plain one in its place\n",
        outcome.strOut);
    EXPECT_EQ(before, ReadFile(File(k44100)));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000PerKey));

    EXPECT_EQ("44100 Hz: DIR/Src_0AC44.kvn, 1.2 kB in TIME\n48000 Hz: DIR/Src_0BB80.kvn, 1.2 kB in TIME\n",
              Build("44100,48000", {"-f"}).strOut);
    EXPECT_NE(before, ReadFile(File(k44100))) << "another identity";
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100, k48000)) << "the other layout's bank is replaced";
}

TEST_F(BuildCommandTest, ADryRunSaysWhatItWouldDoAndMakesNothing) {
    Source();
    ASSERT_EQ(0, Build("48000").nCode);
    const Outcome outcome = Build("44100,48000", {"-n"});
    EXPECT_EQ(0, outcome.nCode);
    EXPECT_EQ(
        "44100 Hz: would be built as Src_0AC44.kvn, about 1.0 MB\n"
        "48000 Hz: there already; -f builds it again\n",
        outcome.strOut);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k48000));
    EXPECT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR/new/er", "-r", "all", "--dry-run"}).nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k48000));
}

TEST_F(BuildCommandTest, JsonTellsEveryBank) {
    Source();
    ASSERT_EQ(0, Build("48000").nCode);
    const Outcome outcome = Build("44100,48000", {"--json"});
    Json document = outcome.Document();
    EXPECT_GT(document["bytes_free"].get<uint64_t>(), 0u);
    document.erase("bytes_free");
    EXPECT_EQ(Json::parse(R"({"schema": 1, "command": "build", "exit_code": 0, "source": "DIR/Src.kvs",
        "folder": "DIR", "layout": "plain", "dry_run": false, "conversion": "standard", "bytes_needed": 1048576, "banks": [
            {"rate": 44100, "file": "Src_0AC44.kvn", "predicted_mib": 1, "action": "built", "bytes": 1187,
             "seconds": "TIME"},
            {"rate": 48000, "file": "Src_0BB80.kvn", "predicted_mib": 1, "action": "skipped",
             "found_layout": "plain"}]})"),
              document);
}

TEST_F(BuildCommandTest, TheLayoutAndTheQualityAreThoseAskedFor) {
    Source(Larger());
    ASSERT_EQ(0, Build("48000", {"--layout", "per-key", "--quality", "0"}).nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k48000PerKey));
    EXPECT_FALSE(IsGood(k48000PerKey)) << "of quality 7";
    EXPECT_EQ(0, Run({"verify", "DIR/Src_0BB80.kvr", "--source", "DIR/Src.kvs", "--quality", "0"}).nCode);
}

TEST_F(BuildCommandTest, ASourceThatIsTheBankAskedForIsLeftAsItIs) {
    Source({.bEnriched = true}, k44100);
    const Bytes before = ReadFile(File(k44100));
    for (const char* pszForce : {"-q", "-f"}) {
        const Outcome outcome = Run({"build", "DIR/Src_0AC44.kvn", "-d", "DIR//", "-r", "44100", pszForce});
        EXPECT_EQ(0, outcome.nCode);
        EXPECT_EQ(pszForce == std::string("-q")
                      ? ""
                      : "44100 Hz: Src_0AC44.kvn is the source itself; left as it is\n",
                  outcome.strOut);
    }
    EXPECT_EQ(0, Run({"build", "DIR/Src_0AC44.kvn", "-d", "DIR", "-r", "48000"}).nCode);
    EXPECT_EQ(before, ReadFile(File(k44100)));
    EXPECT_THAT(Names(), ElementsAre(k44100, k48000));
}

// The bank of the other layout may be the source: building its rate must not remove it.
TEST_F(BuildCommandTest, ASourceInTheOtherLayoutsPlaceStays) {
    Source({.bEnriched = true}, k44100PerKey);
    const Bytes before = ReadFile(File(k44100PerKey));
    EXPECT_EQ(0, Run({"build", "DIR/Src_0AC44.kvr", "-d", "DIR", "-r", "44100", "-f"}).nCode);
    EXPECT_EQ(before, ReadFile(File(k44100PerKey)));
    EXPECT_THAT(Names(), ElementsAre(k44100, k44100PerKey));
}

TEST_F(BuildCommandTest, ABankThatAnotherProcessHoldsIsBusyAndTheOthersAreBuilt) {
    Source();
    CSDB other;
    ASSERT_TRUE(other.Create(File(k44100).c_str(), kSdbFormatEnriched));
    const Outcome outcome = Build("44100,48000", {"-f"});
    EXPECT_EQ(kExitBusy, outcome.nCode);
    EXPECT_EQ("kvbank: Src_0AC44.kvn: another process is building it\n", outcome.strErr);
    EXPECT_EQ("48000 Hz: DIR/Src_0BB80.kvn, 1.2 kB in TIME\n", outcome.strOut);
    EXPECT_EQ(20u, fs::file_size(File(k44100)));
}

TEST_F(BuildCommandTest, ABankInTheHeldFolderOfAnotherBuildIsBusy) {
    Source();
    const PrivateFolder other(Folder(), FolderLock(Folder()));
    WriteFile(other.Path() / k44100, std::string("QXEU"));
    const Outcome outcome = Build("44100", {"--json"});
    EXPECT_EQ(kExitBusy, outcome.nCode);
    EXPECT_EQ("busy", outcome.Document()["banks"][0]["action"]);
    EXPECT_TRUE(fs::exists(other.Path() / k44100)) << "a held folder is not cleaned away";
}

TEST_F(BuildCommandTest, WhatABuildThatDiedHasLeftIsRemovedFirst) {
    Source();
    fs::create_directory(File(".kvbank-dEaD00"));
    WriteFile(File(".kvbank-dEaD00/Src_0AC44.kvn"), std::string("QXEU"));
    WriteFile(File(k48000), std::string());
    const Outcome outcome = Build("44100");
    EXPECT_EQ("removed what 2 interrupted builds had left\n44100 Hz: DIR/Src_0AC44.kvn, 1.2 kB in TIME\n",
              outcome.strOut);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k44100));
}

TEST_F(BuildCommandTest, WhatSomebodyElsePutIntoAPrivateFolderStays) {
    Source();
    fs::create_directory(File(".kvbank-dEaD00"));
    WriteFile(File(".kvbank-dEaD00/letter.txt"), std::string("dear"));
    EXPECT_EQ(0, Build("44100").nCode);
    EXPECT_THAT(Names(".kvbank-dEaD00"), ElementsAre("letter.txt"));
}

// A sample of 1 Hz that says it expands to 4 GiB needs hundreds of terabytes.
TEST_F(BuildCommandTest, TooLittleSpaceIsSaidBeforeAnythingIsWritten) {
    Source({.samples = {{.nRate = 1}}});
    Bytes bytes = ReadFile(File("Src.kvs"));
    std::vector<NoteFields> notes = NotesOf(bytes);
    notes[2].strBody.replace(50, 4, "\xFF\xFF\xFF\xFF");  // the expanded length
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Build("192000", {"--json"});
    EXPECT_EQ(kExitNoSpace, outcome.nCode);
    EXPECT_THAT(outcome.strErr, ::testing::MatchesRegex("kvbank: DIR: 824.6 TB are needed, .* are free\n"));
    EXPECT_EQ(824633529991168u / 1000000000, outcome.Document()["bytes_needed"].get<uint64_t>() / 1000000000);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

TEST_F(BuildCommandTest, SourcesThatCannotBeBuiltNameRecordAndCause) {
    Source({.bInfo = true, .samples = {{.nRate = 0}}});
    const Outcome outcome = Build("44100");
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": its sample rate is 0\n", outcome.strErr);
    EXPECT_EQ("kvbank: DIR/Src.kvs: sample 2 \"Sample 0\": its sample rate is 0 (engine result 11)\n",
              Build("44100", {"-v"}).strErr);
    EXPECT_EQ("DIR/Src.kvs: sample 2 \"Sample 0\": its sample rate is 0 (engine result 11)",
              Build("44100", {"--json"}).Document()["errors"][0]);

    Source({.samples = {{.nRate = 48000, .nFormat = 32}}});
    EXPECT_EQ(
        "kvbank: DIR/Src.kvs: 44100 Hz: sample 2 \"Sample 0\": only 16 and 24 bits in one or two channels "
        "can be "
        "converted\n",
        Build("44100").strErr);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

TEST_F(BuildCommandTest, WhatIsNoSourceIsSaid) {
    WriteFile(File("x.kvs"), std::string("a letter that is longer than a header"));
    for (const char* pszFile : {"DIR/x.kvs", "DIR/none.kvs", "DIR"}) {
        const Outcome outcome = Run({"build", pszFile, "-d", "DIR", "-r", "44100"});
        EXPECT_NE(0, outcome.nCode) << pszFile;
        EXPECT_NE("", outcome.strErr);
    }
    EXPECT_EQ("kvbank: DIR/x.kvs: not a bank\n",
              Run({"build", "DIR/x.kvs", "-d", "DIR", "-r", "44100"}).strErr);
}

TEST_F(BuildCommandTest, AFolderThatCannotBeMadeIsAnOutputFailure) {
    Source();
    const Outcome outcome = Run({"build", "DIR/Src.kvs", "-d", "DIR/Src.kvs/x", "-r", "44100"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs/x: Not a directory\n", outcome.strErr);
}

// The folder is there, but the path of nothing in it is short enough.
TEST_F(BuildCommandTest, AFolderThatTakesNoPrivateFolderIsAnOutputFailure) {
    Source();
    std::string strDeep = Folder();
    while (strDeep.size() < 4085)
        strDeep += "/" + std::string(std::min<size_t>(4084 - strDeep.size(), 200), 'x');
    fs::create_directories(strDeep);
    const Outcome outcome = Run({"build", "DIR/Src.kvs", "-d", strDeep, "-r", "44100"});
    EXPECT_EQ(kExitOutput, outcome.nCode);
    EXPECT_THAT(outcome.strErr, HasSubstr(": File name too long\n"));
}

TEST_F(BuildCommandTest, AFullDiskLeavesNothingNewAndTheOldBank) {
    Source(Larger());
    ASSERT_EQ(0, Build("48000").nCode);
    const Bytes before = ReadFile(File(k48000));
    for (const uint64_t nRoom : {0u, 10u, 1000u, 100000u}) {
        FaultyFileEnv env;
        env.FillDiskAfter(nRoom);
        const Outcome outcome = Build("48000,96000", {"-f"});
        EXPECT_EQ(kExitOutput, outcome.nCode) << nRoom;
        EXPECT_THAT(outcome.strErr, ::testing::StartsWith("kvbank: DIR/Src_0BB80.kvn: 48000 Hz: "));
        if (nRoom < 20) {
            EXPECT_THAT(outcome.strErr,
                        HasSubstr("the bank file cannot be created: No space left on device"));
        }
    }
    EXPECT_EQ(before, ReadFile(File(k48000)));
    EXPECT_THAT(Names(), ElementsAre("Src.kvs", k48000));
}

TEST_F(BuildCommandTest, AFailedSyncIsAFailedBuild) {
    Source();
    FaultyFileEnv env;
    env.FailCallOf(FileOp::kSync, 1);
    EXPECT_EQ(kExitOutput, Build("44100").nCode);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

// The lines that were drawn. A worker can wait until there is a new one.
class DrawnLines : public std::stringbuf {
public:
    // Waits until one has been drawn that was begun from now on; the next may have been begun before.
    void WaitForNext() {
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this, nEnough = m_nDrawn + 2] { return m_nDrawn >= nEnough; });
    }

protected:
    int sync() override {
        const std::lock_guard guard(m_lock);
        ++m_nDrawn;
        m_changed.notify_all();
        return 0;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_nDrawn = 0;
};

// A bank that needs less than was predicted is nearly done in steps, but not in bytes. At that point all is
// written, and the disk is waited for.
TEST_F(BuildCommandTest, TheProgressIsThatOfTheBytes) {
    Source(Larger());
    std::istringstream in;
    std::ostringstream out;
    DrawnLines lines;
    std::ostream err(&lines);
    Console console(in, out, err);
    console.bErrIsTerminal = true;
    const ForcedPoint point(k44100, [&] { lines.WaitForNext(); });
    ASSERT_EQ(0, RunKvBank({"build", File("Src.kvs"), "-d", Folder(), "-r", "44100"}, console));
    const uint64_t nBytes = fs::file_size(File(k44100));
    EXPECT_THAT(lines.str(), HasSubstr(" " + std::to_string(nBytes * 100 / (1 << 20)) + "%  " +
                                       ReadableSize(nBytes) + " of 1.0 MB  writing to the disk ..."));
}

// As if the signal came at the n-th call for a file.
class SignalAtCall : public FaultyFileEnv {
public:
    explicit SignalAtCall(int n) : m_nLeft(n) {}
    int Open(const char* pszPath, FileMode mode) override {
        return Count(), FaultyFileEnv::Open(pszPath, mode);
    }
    int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t nBytes) override {
        return Count(), FaultyFileEnv::ReadAt(nFile, pos, pData, nBytes);
    }
    int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) override {
        return Count(), FaultyFileEnv::WriteAt(nFile, pos, pData, nBytes);
    }
    bool Sync(int nFile) override { return Count(), FaultyFileEnv::Sync(nFile); }

private:
    void Count() {
        if (--m_nLeft == 0) SetCancelSignal(SIGINT);
    }
    std::atomic<int> m_nLeft;
};

TEST_F(BuildCommandTest, ACancelAtAnyPointLeavesWholeBanksOnly) {
    Source(Larger());
    int nCancelled = 0;
    for (int n = 1;; n += 7) {
        SetCancelSignal(0);
        int nCode = 0;
        {
            SignalAtCall env(n);
            nCode = Build("48000,96000").nCode;
        }
        const bool bReached = CancelSignal() != 0;
        SetCancelSignal(0);
        nCancelled += nCode == kExitProblem;
        EXPECT_TRUE(nCode == 0 || nCode == kExitProblem) << n << ": " << nCode;
        for (const std::string& strName : Names()) {
            if (strName == "Src.kvs") continue;
            EXPECT_TRUE(strName == k48000 || strName == "Src_17700.kvn") << n << ": " << strName;
            EXPECT_TRUE(IsGood(strName)) << n << ": " << strName;
            fs::remove_all(File(strName));
        }
        if (!bReached) break;
        ASSERT_LT(n, 1000);
    }
    EXPECT_GT(nCancelled, 5);
}

TEST_F(BuildCommandTest, ACancelIsSaid) {
    Source();
    SetCancelSignal(SIGTERM);
    const Outcome outcome = Build("44100");
    EXPECT_EQ(kExitProblem, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: cancelled\n", outcome.strErr);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

}  // namespace
}  // namespace Kestrova::Test
