// A build whose files the system refuses to write or read: the file that is named, the reason, the exit code.
#include <cerrno>
#include <cstring>
#include <set>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;
using ::testing::IsSupersetOf;

using Lasting = FaultyFileEnv::Lasting;

class BuildFaultTest : public CommandTest {
protected:
    // Waves of many pieces, copied as they are.
    void LargeSource() const {
        Source({.samples = {{.nRate = 48000, .nFrames = 90000}, {.nRate = 48000, .nFrames = 90000}}});
    }
    Outcome Build() const { return Run({"build", "DIR/Src.kvs", "-d", "DIR", "-r", "48000"}); }

    // Fails the first, second, third ... call of a kind in a build until one has no such call, and returns
    // what the failed ones said, each text once. All of them end with the code and leave no file.
    std::set<std::string> Walk(FileOp op, Lasting lasting, int nError, const std::set<int>& codes) const {
        std::set<std::string> texts;
        for (int nNth = 1;; ++nNth) {
            SCOPED_TRACE(testing::Message() << "call " << nNth << ", error " << nError);
            FaultyFileEnv env;
            env.FailCallOf(op, nNth, lasting, nError);
            const Outcome outcome = Build();
            if (outcome.nCode == 0) {
                EXPECT_THAT(Names(), ElementsAre("Src.kvs", k48000));
                std::filesystem::remove(File(k48000));
            } else {
                EXPECT_TRUE(codes.count(outcome.nCode)) << outcome.nCode;
                EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
                texts.insert(outcome.strErr);
            }
            if (!env.FaultHit() || HasFailure()) return texts;
        }
    }
};

TEST_F(BuildFaultTest, TooManyOpenFilesAreNoWantOfMemory) {
    Source();
    for (int nCall = 1;; ++nCall) {
        SCOPED_TRACE(nCall);
        FaultyFileEnv env;
        env.FailCallOf(FileOp::kOpen, nCall, Lasting::kForGood, EMFILE);
        const Outcome outcome = Build();
        if (!env.FaultHit()) break;
        if (outcome.nCode != 0) {
            EXPECT_THAT(outcome.strErr, HasSubstr("Too many open files"));
        }
        std::filesystem::remove(File(k48000));
    }
}

TEST_F(BuildFaultTest, ALockThatCannotBeAskedForIsNoOtherProcess) {
    Source();
    for (const std::string& strText :
         Walk(FileOp::kLock, Lasting::kForGood, EIO, {kExitBadInput, kExitOutput}))
        EXPECT_THAT(strText, HasSubstr("Input/output error"));
}

TEST_F(BuildFaultTest, ThreadsThatCannotBeStartedAreToldWithTheReason) {
    Source();
    const PosixFault fault("pthread_create", EAGAIN, PosixFault::kEveryCall);
    const Outcome outcome = Build();
    EXPECT_EQ(kExitInternal, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: no worker thread could be started: Resource temporarily unavailable\n",
              outcome.strErr);
}

TEST_F(BuildFaultTest, ARefusedWriteIsSaidOfTheBankWithTheSystemsReason) {
    LargeSource();
    const std::string strBank = "kvbank: DIR/Src_0BB80.kvn: 48000 Hz: ";
    for (const int nError : {ENOSPC, EIO, EFBIG}) {
        const std::string strReason = std::string(": ") + std::strerror(nError) + "\n";
        EXPECT_THAT(Walk(FileOp::kWrite, Lasting::kForGood, nError, {kExitOutput}),
                    ElementsAre(strBank + "quick-load table: it cannot be written" + strReason,
                                strBank + "sample 2 \"Sample 0\": it cannot be written" + strReason,
                                strBank + "sample 3 \"Sample 1\": it cannot be written" + strReason,
                                strBank + "the bank cannot be committed" + strReason,
                                strBank + "the bank cannot be written" + strReason,
                                strBank + "the bank file cannot be created" + strReason));
        EXPECT_THAT(Walk(FileOp::kSync, Lasting::kForGood, nError, {kExitOutput}),
                    ElementsAre(strBank + "quick-load table: it cannot be written" + strReason,
                                strBank + "the bank cannot be committed" + strReason));
        EXPECT_THAT(Walk(FileOp::kTruncate, Lasting::kForGood, nError, {kExitOutput}),
                    ElementsAre(strBank + "the bank cannot be committed" + strReason,
                                strBank + "the bank file cannot be created" + strReason));
    }
}

// Helpers read the waves, in an order of their own: which reads of a build are struck differs from run to
// run.
TEST_F(BuildFaultTest, ARefusedReadIsSaidOfTheFileThatWasRead) {
    LargeSource();
    const std::string strSource = "kvbank: DIR/Src.kvs: ", strReason = ": Input/output error\n";
    const std::set<std::string> always = {
        strSource + "Input/output error\n",
        strSource + "sample 2 \"Sample 0\": the record cannot be read whole" + strReason,
        strSource + "sample 3 \"Sample 1\": the record cannot be read whole" + strReason,
        "kvbank: DIR/Src_0BB80.kvn: 48000 Hz: the bank cannot be committed" + strReason};
    std::set<std::string> all = always;
    for (const char* pszRecord :
         {"information record 0 \"Test source\": the record", "sample 2 \"Sample 0\": the wave",
          "sample 3 \"Sample 1\": the wave", "bank 4 \"Bank 0\": the record"})
        all.insert(strSource + "48000 Hz: " + pszRecord + " cannot be read whole" + strReason);
    const std::set<std::string> texts =
        Walk(FileOp::kRead, Lasting::kOnce, EIO, {kExitBadInput, kExitOutput});
    EXPECT_THAT(texts, IsSubsetOf(all));
    EXPECT_THAT(texts, IsSupersetOf(always));
}

TEST_F(BuildFaultTest, ARecordOfTheSourceUnderAParentTheBankHasNotIsItsFault) {
    Source();
    std::vector<NoteFields> notes = NotesOf(ReadFile(File("Src.kvs")));
    ASSERT_EQ(kSdbPreset, notes[1].nType);
    notes[1].idParent = notes.back().id;
    WriteFile(File("Src.kvs"), DatabaseImage(notes));
    const Outcome outcome = Build();
    EXPECT_EQ(kExitBadInput, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/Src.kvs: 48000 Hz: preset 1 \"Preset 0\": its parent record is not in the bank\n",
              outcome.strErr);
    EXPECT_THAT(Names(), ElementsAre("Src.kvs"));
}

}  // namespace
}  // namespace Kestrova::Test
