// What build, verify and remove make of a bank's sums file.
#include <cerrno>
#include <csignal>

#include "tests/support/FaultyFileEnv.h"
#include "tests/support/PosixFaults.h"
#include "tests/tools/kvbank/CommandFixture.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

class SumsOfVerbsTest : public CommandTest {
protected:
    SumsOfVerbsTest() { Source(); }

    Outcome Build(std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments{"build", "DIR/Src.kvs", "-d", "DIR/banks", "-r", "48000", "-q"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    }
    Outcome Remove() const {
        return Run({"remove", "DIR/banks", "--source", "DIR/Src.kvs", "-y", "-r", "48000"});
    }
    Outcome Verify(std::vector<std::string> more = {}) const {
        std::vector<std::string> arguments{"verify", std::string("DIR/banks/") + k48000};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Run(arguments);
    }
    void FlipTheLastByte() const {
        Bytes bytes = ReadFile(m_strBank);
        bytes.back() ^= 1;
        WriteFile(m_strBank, bytes);
    }

    const std::string m_strBank = File(std::string("banks/") + k48000), m_strSums = m_strBank + ".sha256";
};

TEST_F(SumsOfVerbsTest, BuildWritesThemWhenAsked) {
    EXPECT_EQ(0, Build({"--sums"}).nCode);
    EXPECT_THAT(Names("banks"), ElementsAre(k48000, std::string(k48000) + ".sha256"));
    const std::string strCommand = "cd '" + File("banks") + "' && sha256sum --status --strict -c *.sha256";
    EXPECT_EQ(0, std::system(strCommand.c_str()));
}

TEST_F(SumsOfVerbsTest, TheProgressTellsThatTheSumIsTaken) {
    const Outcome outcome =
        Run({"build", "DIR/Src.kvs", "-d", "DIR/banks", "-r", "48000", "--sums", "--progress=json"});
    EXPECT_THAT(outcome.strErr,
                HasSubstr(R"({"event":"progress","title":"48000 Hz","phase":"sum","fraction":)"));
}

TEST_F(SumsOfVerbsTest, ARebuildTakesThemAlong) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    WriteFile(m_strSums, std::string("stale"));
    EXPECT_EQ(0, Build({"-f", "--sums"}).nCode);
    EXPECT_EQ(0, Verify().nCode);
    EXPECT_EQ(0, Build({"-f"}).nCode);
    EXPECT_THAT(Names("banks"), ElementsAre(k48000));
}

TEST_F(SumsOfVerbsTest, ARebuildInTheOtherLayoutRemovesThem) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    EXPECT_EQ(0, Build({"-f", "--layout", "per-key"}).nCode);
    EXPECT_THAT(Names("banks"), ElementsAre(k48000PerKey));
}

TEST_F(SumsOfVerbsTest, ARebuildThatCannotRemoveTheOtherLayoutSaysSo) {
    ASSERT_EQ(0, Build().nCode);
    fs::create_directory(m_strSums);
    const Outcome outcome = Build({"-f", "--layout", "per-key", "--sums"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/banks/Src_0BB80.kvn: the bank in the per-key layout is built, but this one in the other "
        "layout cannot be removed: it stays, because its sums file cannot be removed: Is a directory\n",
        outcome.strErr);
    EXPECT_THAT(Names("banks"), ElementsAre(k48000, std::string(k48000) + ".sha256", k48000PerKey,
                                            std::string(k48000PerKey) + ".sha256"));
}

// A folder that is not empty has the other layout's name.
TEST_F(SumsOfVerbsTest, ARebuildThatCannotRemoveTheOtherBankSaysSo) {
    fs::create_directories(m_strBank + "/x");
    const Outcome outcome = Build({"-f", "--layout", "per-key"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/banks/Src_0BB80.kvn: the bank in the per-key layout is built, but this one in the other "
        "layout cannot be removed: Directory not empty\n",
        outcome.strErr);
    EXPECT_EQ(0, Run({"verify", std::string("DIR/banks/") + k48000PerKey}).nCode);
}

TEST_F(SumsOfVerbsTest, ABuildWhoseSumCannotBeTakenLeavesTheBankThatIsThere) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    FlipTheLastByte();
    const Bytes before = ReadFile(m_strBank), sums = ReadFile(m_strSums);
    const PosixFault fault("read", EIO);
    const Outcome outcome = Build({"-f", "--sums"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: its sum cannot be taken: Input/output error\n",
              outcome.strErr);
    EXPECT_EQ(before, ReadFile(m_strBank));
    EXPECT_EQ(sums, ReadFile(m_strSums));
}

TEST_F(SumsOfVerbsTest, ABuildWithoutMemoryForThemSaysSo) {
    const PosixFault fault("rename", ENOMEM, 2);  // the first puts the bank in its place
    const Outcome outcome = Build({"--sums"});
    EXPECT_EQ(8, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/banks/Src_0BB80.kvn.sha256: the bank is in its place, but its sums file cannot be "
        "written: Cannot allocate memory\n",
        outcome.strErr);
}

TEST_F(SumsOfVerbsTest, ABuildThatCannotWriteThemSaysSo) {
    const PosixFault fault("rename", ENOSPC, 2);  // the first puts the bank in its place
    const Outcome outcome = Build({"--sums", "--json"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/banks/Src_0BB80.kvn.sha256: the bank is in its place, but its sums file cannot be "
        "written: No space left on device\n",
        outcome.strErr);
    EXPECT_EQ("built", outcome.Document()["banks"][0]["action"]);
    EXPECT_THAT(Names("banks"), ElementsAre(k48000));
}

// The signal comes when the bank is committed, just before its sum is taken.
TEST_F(SumsOfVerbsTest, ABuildCancelledBeforeItsSumLeavesNothing) {
    class SignalAtLastSync : public FaultyFileEnv {
    public:
        bool Sync(int nFile) override {
            const bool bDone = FaultyFileEnv::Sync(nFile);
            if (++m_nSyncs == 2) SetCancelSignal(SIGINT);
            return bDone;
        }

    private:
        std::atomic<int> m_nSyncs{0};
    } env;
    EXPECT_EQ(1, Build({"--sums"}).nCode);
    EXPECT_EQ(SIGINT, CancelSignal());
    EXPECT_THAT(Names("banks"), ElementsAre());
}

TEST_F(SumsOfVerbsTest, ARebuildThatCannotRemoveThemLeavesTheBank) {
    ASSERT_EQ(0, Build().nCode);
    fs::create_directory(m_strSums);
    FlipTheLastByte();
    const Bytes before = ReadFile(m_strBank);
    const Outcome outcome = Build({"-f"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/banks/Src_0BB80.kvn.sha256: it cannot be removed, so no new bank is put beside it: "
        "Is a directory\n",
        outcome.strErr);
    EXPECT_EQ(before, ReadFile(m_strBank));
}

TEST_F(SumsOfVerbsTest, RemoveTakesThemAlong) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    EXPECT_EQ(0, Remove().nCode);
    EXPECT_THAT(Names("banks"), ElementsAre());
}

TEST_F(SumsOfVerbsTest, RemoveLeavesThoseOfABankThatIsBeingBuilt) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    CSDB held;
    ASSERT_TRUE(held.Open(m_strBank.c_str(), kSdbFormatEnriched, false));
    ASSERT_EQ(LockAnswer::kHeld, held.GetFile().TryLockFile());
    const Outcome outcome = Remove();
    EXPECT_EQ(7, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: another process is building it\n", outcome.strErr);
    EXPECT_THAT(Names("banks"), ElementsAre(k48000, std::string(k48000) + ".sha256"));
}

TEST_F(SumsOfVerbsTest, RemoveThatCannotRemoveThemLeavesTheBank) {
    ASSERT_EQ(0, Build().nCode);
    fs::create_directory(m_strSums);
    const Outcome outcome = Remove();
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ(
        "kvbank: DIR/banks/Src_0BB80.kvn: it stays, because its sums file cannot be removed: Is a "
        "directory\n",
        outcome.strErr);
    EXPECT_TRUE(fs::exists(m_strBank));
}

TEST_F(SumsOfVerbsTest, VerifyUsesThem) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    const Outcome good = Verify();
    EXPECT_EQ(0, good.nCode);
    EXPECT_THAT(good.strOut, HasSubstr(", as its sums file says\n"));
    WriteFile(m_strSums, std::string(64, '0') + "  " + k48000 + "\n");
    const Outcome bad = Verify();
    EXPECT_EQ(1, bad.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: its bytes do not match Src_0BB80.kvn.sha256\n", bad.strErr);
}

TEST_F(SumsOfVerbsTest, VerifyNamesSumsThatAreNone) {
    ASSERT_EQ(0, Build().nCode);
    WriteFile(m_strSums, std::string("nonsense"));
    const Outcome outcome = Verify({"--write-sums"});
    EXPECT_EQ(1, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: DIR/banks/Src_0BB80.kvn.sha256: not a line of sha256sum\n",
              outcome.strErr);
    EXPECT_EQ(Bytes({'n', 'o', 'n', 's', 'e', 'n', 's', 'e'}), ReadFile(m_strSums));
}

TEST_F(SumsOfVerbsTest, VerifyWritesThemWhenAsked) {
    ASSERT_EQ(0, Build().nCode);
    EXPECT_FALSE(Verify({"--json"}).Document()["files"][0].contains("sums"));
    EXPECT_EQ("written", Verify({"--write-sums", "--json"}).Document()["files"][0]["sums"]);
    EXPECT_EQ("good", Verify({"--write-sums", "--json"}).Document()["files"][0]["sums"]);
    EXPECT_EQ(0, Verify().nCode);
    fs::remove(m_strSums);
    EXPECT_EQ("DIR/banks/Src_0BB80.kvn: good, 8 records, 1.2 kB, its sums file is written\n",
              Verify({"--write-sums"}).strOut);
}

TEST_F(SumsOfVerbsTest, VerifyWritesNoneForAFileWithProblems) {
    ASSERT_EQ(0, Build().nCode);
    Bytes bytes = ReadFile(m_strBank);
    bytes.pop_back();
    WriteFile(m_strBank, bytes);
    EXPECT_EQ(1, Verify({"--write-sums"}).nCode);
    EXPECT_FALSE(fs::exists(m_strSums));
}

TEST_F(SumsOfVerbsTest, VerifyThatCannotReadThemSaysSo) {
    ASSERT_EQ(0, Build().nCode);
    fs::create_directory(m_strSums);
    const Outcome outcome = Verify();
    EXPECT_EQ(1, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: DIR/banks/Src_0BB80.kvn.sha256: Is a directory\n",
              outcome.strErr);
}

TEST_F(SumsOfVerbsTest, VerifyCanBeCancelledWhileItSums) {
    ASSERT_EQ(0, Build({"--sums"}).nCode);
    FlipTheLastByte();
    SetCancelSignal(SIGINT);
    const Outcome outcome = Verify();
    EXPECT_EQ(1, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: cancelled\n", outcome.strErr);
}

TEST_F(SumsOfVerbsTest, VerifyWithoutMemoryForThemSaysSo) {
    ASSERT_EQ(0, Build().nCode);
    const PosixFault fault("write", ENOMEM);
    const Outcome outcome = Verify({"--write-sums"});
    EXPECT_EQ(8, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: its sums file cannot be written: Cannot allocate memory\n",
              outcome.strErr);
}

TEST_F(SumsOfVerbsTest, VerifyThatCannotWriteThemSaysSo) {
    ASSERT_EQ(0, Build().nCode);
    const PosixFault fault("write", ENOSPC);
    const Outcome outcome = Verify({"--write-sums"});
    EXPECT_EQ(4, outcome.nCode);
    EXPECT_EQ("kvbank: DIR/banks/Src_0BB80.kvn: its sums file cannot be written: No space left on device\n",
              outcome.strErr);
    EXPECT_EQ("DIR/banks/Src_0BB80.kvn: good, 8 records, 1.2 kB\n", outcome.strOut);
    EXPECT_FALSE(fs::exists(m_strSums));
}

}  // namespace
}  // namespace Kestrova::Test
