// What verbs make of a file that cannot be read at one of their looks: the system's reason, or all of the
// truth, but no other statement. Each look fails once, in a run of its own.
#include <cerrno>
#include <cstring>
#include <functional>
#include <map>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/TestDatabase.h"
#include "tests/tools/kvbank/CommandFixture.h"
#include "tests/tools/kvbank/compare/RichSource.h"
#include "tools/kvbank/compare/BankOrigin.h"
#include "tools/kvbank/engine/EngineRun.h"
#include "tools/kvbank/folder/BankFolder.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr const char* kReason = "Input/output error";

class FaultWalkTest : public CommandTest {
protected:
    // prepare stands before each run, and its calls do not count.
    static void Walk(
        const std::vector<FileOp>& ops, const std::function<void()>& run,
        const std::function<void()>& prepare = [] {}) {
        for (const FileOp op : ops) {
            for (int nCall = 1;; ++nCall) {
                SCOPED_TRACE(testing::Message()
                             << "operation " << static_cast<int>(op) << ", call " << nCall);
                prepare();
                FaultyFileEnv env;
                env.FailCallOf(op, nCall);
                run();
                if (!env.FaultHit() || HasFailure()) break;
            }
        }
    }

    void Build(const std::vector<std::string>& more = {}) const {
        std::vector<std::string> words = {"build", "DIR/Src.kvs", "-d", "DIR/out", "-r", "48000", "-q"};
        words.insert(words.end(), more.begin(), more.end());
        ASSERT_EQ(0, Run(words).nCode);
    }

    // The words end with 0 and all of what they say without a fault, or tell the reason.
    void ExpectAllOrTheReason(const std::vector<std::string>& words) const {
        const std::string strWhole = Run(words).strOut;
        Walk(kLooks, [&] {
            const Outcome outcome = Run(words);
            if (outcome.nCode == 0)
                EXPECT_EQ(strWhole, outcome.strOut);
            else
                EXPECT_THAT(outcome.strErr + outcome.strOut, HasSubstr(kReason));
        });
    }

    const std::vector<FileOp> kLooks = {FileOp::kOpen, FileOp::kRead, FileOp::kFacts};
};

TEST_F(FaultWalkTest, AListedFileHasItsTrueStateOrIsUnreadableForThatReason) {
    Source();
    ASSERT_EQ(0, Run({"build", "DIR/Src.kvs", "-d", "DIR/out", "-r", "44100", "-q"}).nCode);
    fs::copy(File("out/") + k44100, File("out/Src_15888.kvn"));
    fs::resize_file(File("out/Src_15888.kvn"), 600);
    WriteFile(File("out/Src_17700.kvn"), std::string());
    WriteFile(File("out/Src_2B110.kvn"), std::string("a letter that is longer than a header"));
    std::error_code error;
    std::map<std::string, BankState> states;
    for (const BankFile& bank : ListBanks(File("out"), "Src", error))
        states[bank.path.filename()] = bank.state;
    ASSERT_THAT(states, ElementsAre(std::pair(k44100, BankState::Complete),
                                    std::pair("Src_15888.kvn", BankState::Damaged),
                                    std::pair("Src_17700.kvn", BankState::Interrupted),
                                    std::pair("Src_2B110.kvn", BankState::NotABank)));
    Walk(kLooks, [&] {
        for (const BankFile& bank : ListBanks(File("out"), "Src", error)) {
            if (bank.state == BankState::Unreadable)
                EXPECT_EQ(kReason, bank.strCause) << bank.path;
            else
                EXPECT_EQ(states[bank.path.filename()], bank.state) << bank.path;
        }
    });
}

TEST_F(FaultWalkTest, ABankThatCannotBeComparedIsNeitherStaleNorNoBank) {
    Source(Rich());
    Build();
    EngineRun engine;
    engine.Analyse(File("Src.kvs"));
    std::error_code error;
    const BankFile whole = ListBanks(File("out"), "Src", error).front();
    std::unique_ptr<BankOrigin> pOrigin;
    Walk(
        kLooks,
        [&] {
            BankFile bank = whole;
            pOrigin->Check(bank);
            if (bank.state == BankState::Complete) return;
            EXPECT_EQ(BankState::Unreadable, bank.state);
            EXPECT_THAT(bank.strCause, EndsWith(kReason));
        },
        [&] { pOrigin = std::make_unique<BankOrigin>(engine.Engine(), File("Src.kvs")); });
}

TEST_F(FaultWalkTest, ASourceThatCannotBeReadSaysNothingOfTheConversion) {
    Source();
    Build();
    ExpectAllOrTheReason({"verify", std::string("DIR/out/") + k48000, "--source", "DIR/Src.kvs"});
}

TEST_F(FaultWalkTest, InformationIsWholeOrTheReasonIsTold) {
    Source();
    ExpectAllOrTheReason({"info", "DIR/Src.kvs"});
}

TEST_F(FaultWalkTest, SpaceIsAllThatThereIsOrTheReasonIsTold) {
    Source();
    Build();
    const std::vector<std::string> words = {"space", "DIR/Src.kvs", "-d", "DIR/out", "-r", "48000", "--json"};
    const Json whole = Run(words).Document()["banks"];  // the rest changes with the disk
    Walk({FileOp::kOpen, FileOp::kRead, FileOp::kFacts, FileOp::kLock}, [&] {
        const Outcome outcome = Run(words);
        if (outcome.nCode == 0)
            EXPECT_EQ(whole, outcome.Document()["banks"]);
        else
            EXPECT_THAT(outcome.strErr, HasSubstr(kReason));
    });
}

TEST_F(FaultWalkTest, AReportIsWholeOrTheReasonIsTold) {
    Source();
    Build();
    const std::vector<std::string> words = {
        "report", std::string("DIR/out/") + k48000, "--source", "DIR/Src.kvs", "-o", "DIR/r.html", "-f"};
    ASSERT_EQ(0, Run(words).nCode);
    const Bytes whole = ReadFile(File("r.html"));
    Walk(kLooks, [&] {
        const Outcome outcome = Run(words);
        if (outcome.nCode == 0)
            EXPECT_EQ(whole, ReadFile(File("r.html")));
        else
            EXPECT_THAT(outcome.strErr, HasSubstr(kReason));
    });
}

TEST_F(FaultWalkTest, ALockThatCannotBeAskedForLeavesNoSumsWithoutTheirBank) {
    Source();
    Walk(
        {FileOp::kLock},
        [&] {
            const Outcome outcome =
                Run({"remove", "DIR/out", "--source", "DIR/Src.kvs", "-y", "-r", "48000"});
            if (outcome.nCode == 0) {
                EXPECT_THAT(Names("out"), ElementsAre());
            } else {
                EXPECT_THAT(Names("out"), Contains(k48000));
                EXPECT_THAT(outcome.strErr, HasSubstr(kReason));
            }
        },
        [&] {
            Build({"--sums", "-f"});
        });
}

}  // namespace
}  // namespace Kestrova::Test
