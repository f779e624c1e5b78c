// Imports that cannot be done: bad input, failed file calls, a full disk, cancellation.
#include <csignal>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/ImportFixture.h"

namespace Kestrova::Test {
namespace {

using ImportFaultTest = ImportTest;

TEST_F(ImportFaultTest, UnreadableFontsAreBadInput) {
    const Outcome missing = Import();
    EXPECT_EQ(3, missing.nCode);
    EXPECT_EQ("kvbank: DIR/a.sf2: No such file or directory\n", missing.strErr);
    WriteFile(File("a.sf2"), std::string("text"));
    const Outcome text = Import();
    EXPECT_EQ(3, text.nCode);
    EXPECT_EQ(
        "kvbank: DIR/a.sf2: it is of no format that is read: SoundFont (SF2, SF3), SFZ, or a folder of "
        "samples "
        "named by note\n",
        text.strErr);
    FontSpec silent = SmallFont();
    silent.presets.clear();
    Font(silent);
    const Outcome empty = Import();
    EXPECT_EQ(3, empty.nCode);
    EXPECT_EQ("kvbank: DIR/a.sf2: no preset plays a sample\n", empty.strErr);
    ExpectNothingButTheFont();
}

TEST_F(ImportFaultTest, FontsOfTooManyPairsOfZonesAreBadInput) {
    FontSpec spec = SimpleFont();
    spec.instruments[0].zones.assign(2001, {{{kGenKeyRange, RangeAmount(1, 2)}, {kGenSample, 0}}});
    spec.presets[0].zones.assign(2000, {{{kGenKeyRange, RangeAmount(5, 6)}, {kGenInstrument, 0}}});
    Font(spec);
    const Outcome outcome = Import();
    EXPECT_EQ(3, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/a.sf2: it has more than 4000000 pairs of a preset's zone and an instrument's zone\n",
        outcome.strErr);
}

TEST_F(ImportFaultTest, AFolderThatIsNotThereIsAFailedOutput) {
    Font();
    const Outcome outcome = Run({"import", "DIR/a.sf2", "-o", "DIR/none/a.kvs"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/none/a.kvs: No such file or directory\n", outcome.strErr);
}

TEST_F(ImportFaultTest, CancelledItLeavesNothing) {
    Font();
    SetCancelSignal(SIGINT);
    const Outcome outcome = Import();
    EXPECT_EQ(1, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/a.sf2: cancelled\n", outcome.strErr);
    ExpectNothingButTheFont();
}

// Cancels at the n-th write of any file.
class CancellingFileEnv : public FaultyFileEnv {
public:
    explicit CancellingFileEnv(int nWrite) : m_nWrite(nWrite) {}
    int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t nBytes) override {
        if (--m_nWrite == 0) SetCancelSignal(SIGTERM);
        return FaultyFileEnv::WriteAt(nFile, pos, pData, nBytes);
    }
    bool IsThrough() const { return m_nWrite > 0; }

private:
    int m_nWrite;
};

TEST_F(ImportFaultTest, CancelledAtAnyWriteItLeavesNothingAndTheOldFileStays) {
    Font();
    WriteFile(File("a.kvs"), std::string("old"));
    for (int nWrite = 1;; ++nWrite) {
        SCOPED_TRACE(nWrite);
        SetCancelSignal(0);
        CancellingFileEnv env(nWrite);
        const Outcome outcome = Import({"-f"});
        if (env.IsThrough()) break;
        EXPECT_EQ(1, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/a.sf2: cancelled\n", outcome.strErr);
        EXPECT_THAT(Names(), ElementsAre("a.kvs", "a.sf2"));
        EXPECT_EQ((Bytes{'o', 'l', 'd'}), ReadFile(File("a.kvs")));
    }
}

TEST_F(ImportFaultTest, AFullDiskIsAFailedOutputThatLeavesTheOldFile) {
    Font();
    WriteFile(File("a.kvs"), std::string("old"));
    for (const uint64_t nRoom : {0u, 10u, 100u, 500u, 1000u}) {
        FaultyFileEnv env;
        env.FillDiskAfter(nRoom);
        const Outcome outcome = Import({"-f"});
        ASSERT_TRUE(env.FaultHit());
        EXPECT_EQ(4, outcome.nCode);
        EXPECT_EQ("kvbank: DIR/a.kvs: No space left on device\n", outcome.strErr);
        EXPECT_THAT(Names(), ElementsAre("a.kvs", "a.sf2"));
        EXPECT_EQ((Bytes{'o', 'l', 'd'}), ReadFile(File("a.kvs")));
    }
}

TEST_F(ImportFaultTest, AnyFailedFileCallGivesAWholeBankOrNone) {
    Font();
    int nFailures = 0;
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        env.FailCall(nFault, FaultyFileEnv::Lasting::kForGood);
        const Outcome outcome = Import({"-f"});
        if (!env.FaultHit()) break;
        if (outcome.nCode == 0) continue;
        ++nFailures;
        EXPECT_TRUE(outcome.nCode == 3 || outcome.nCode == 4) << outcome.nCode;
        EXPECT_NE("", outcome.strErr);
        ExpectNothingButTheFont();
    }
    EXPECT_GT(nFailures, 10);
    CSDB database;
    EXPECT_TRUE(database.Open(File("a.kvs").c_str(), kSdbFormatPlain, false));
}

TEST_F(ImportFaultTest, AFontThatCannotBeReadIsBadInputWithTheSystemsReason) {
    FontSpec spec = SmallFont();
    spec.wave.resize(200000);  // more than a file's buffer: its samples take reads of their own
    spec.samples[0].nEnd = 150000;
    Font(spec);
    ASSERT_EQ(kExitDone, Import().nCode);
    const Bytes whole = BytesBehindIdentity();
    std::filesystem::remove(File("a.kvs"));
    int nSamples = 0;
    for (int nFault = 1;; ++nFault) {
        SCOPED_TRACE(nFault);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kRead, nFault, FaultyFileEnv::Lasting::kForGood);
        const Outcome outcome = Import({"-f"});
        if (!env.FaultHit()) break;
        // The bank is read too, while it is written, and can do without some of these reads.
        if (outcome.nCode == kExitOutput) continue;
        if (outcome.nCode == kExitDone) {
            EXPECT_EQ(whole, BytesBehindIdentity());
            std::filesystem::remove(File("a.kvs"));
            continue;
        }
        EXPECT_EQ(kExitBadInput, outcome.nCode);
        const bool bSample = outcome.strErr.find("sample \"") != std::string::npos;
        nSamples += bSample;
        EXPECT_THAT(outcome.strErr,
                    StartsWith(bSample ? "kvbank: DIR/a.sf2: sample \"" : "kvbank: DIR/a.sf2: I"));
        EXPECT_THAT(outcome.strErr, HasSubstr(": Input/output error\n"));
        ExpectNothingButTheFont();
    }
    EXPECT_GT(nSamples, 0);
}

TEST_F(ImportFaultTest, AFolderThatCannotBeSyncedIsAFailedOutputThoughTheBankIsThere) {
    Font();
    for (const char* pszVerb : {"import", "demo"}) {
        SCOPED_TRACE(pszVerb);
        std::vector<std::string> arguments = {pszVerb, "-o", "DIR/a.kvs", "-f"};
        if (arguments[0] == "import") arguments.push_back("DIR/a.sf2");
        const PosixFault fault("fsync", EIO);
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(kExitOutput, outcome.nCode);
        EXPECT_EQ(
            "kvbank: DIR/a.kvs is in its place, but may be lost in a power failure: Input/output error\n",
            outcome.strErr);
        EXPECT_THAT(Names(), ElementsAre("a.kvs", "a.sf2"));
    }
}

}  // namespace
}  // namespace Kestrova::Test
