#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"
#include "tests/tools/kvbank/Unprivileged.h"
#include "tools/kvbank/sums/BankSums.h"

namespace Kestrova {

void PrintTo(SumsOutcome::Kind kind, std::ostream* p) { *p << static_cast<int>(kind); }

namespace Test {
namespace {

namespace fs = std::filesystem;
using Kind = SumsOutcome::Kind;
using ::testing::FieldsAre;

constexpr char kSumOfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

auto Refused(const std::string& strPath, int nError) {
    return FieldsAre(Kind::Failed, strPath, std::strerror(nError), nError);
}

class BankSumsTest : public ::testing::Test {
protected:
    BankSumsTest() { WriteFile(m_strBank, std::string("abc")); }

    static bool GoOn(uint64_t) { return true; }
    SumsOutcome Write() const { return WriteSums(m_strBank, GoOn); }
    SumsOutcome Check() const { return CheckSums(m_strBank, GoOn); }
    void SetSums(const std::string& strText) const { WriteFile(m_strSums, strText); }
    std::string Sums() const {
        const Bytes bytes = ReadFile(m_strSums);
        return std::string(bytes.begin(), bytes.end());
    }
    size_t CountFiles() const {
        return static_cast<size_t>(
            std::distance(fs::directory_iterator(m_dir.Path()), fs::directory_iterator()));
    }

    const TempDir m_dir;
    const std::string m_strBank = m_dir.File("Src_0AC44.kvn"), m_strSums = m_strBank + ".sha256";
};

TEST_F(BankSumsTest, StandBesideTheBank) { EXPECT_EQ("/a/x.kvn.sha256", SumsPath("/a/x.kvn")); }

TEST_F(BankSumsTest, AreWrittenAsOneLine) {
    EXPECT_THAT(Write(), FieldsAre(Kind::Done, "", "", 0));
    EXPECT_EQ(std::string(kSumOfAbc) + "  Src_0AC44.kvn\n", Sums());
    EXPECT_EQ(2u, CountFiles());
}

TEST_F(BankSumsTest, AreReadableByThoseWhoMayReadTheBank) {
    for (const mode_t nMode : {0600u, 0644u, 0664u}) {
        ASSERT_EQ(0, chmod(m_strBank.c_str(), nMode));
        fs::remove(m_strSums);
        EXPECT_EQ(Kind::Done, Write().kind);
        struct stat status;
        ASSERT_EQ(0, stat(m_strSums.c_str(), &status));
        EXPECT_EQ(nMode, status.st_mode & 07777);
    }
}

TEST_F(BankSumsTest, OfABankInTheWorkingFolderAreWrittenThere) {
    const fs::path before = fs::current_path();
    fs::current_path(m_dir.Path());
    EXPECT_EQ(Kind::Done, WriteSums("Src_0AC44.kvn", GoOn).kind);
    EXPECT_EQ(Kind::Done, CheckSums("Src_0AC44.kvn", GoOn).kind);
    EXPECT_EQ(Kind::Done, RemoveSums("Src_0AC44.kvn").kind);
    fs::current_path(before);
    EXPECT_EQ(1u, CountFiles());
}

TEST_F(BankSumsTest, TellAChangedByteAndAChangedLength) {
    Write();
    EXPECT_THAT(Check(), FieldsAre(Kind::Done, "", "", 0));
    for (const char* pszBytes : {"abd", "ab", "abcd", ""}) {
        WriteFile(m_strBank, std::string(pszBytes));
        EXPECT_THAT(Check(),
                    FieldsAre(Kind::Differs, m_strBank, "its bytes do not match Src_0AC44.kvn.sha256", 0));
    }
}

TEST_F(BankSumsTest, OfALongBankAreThoseOfAllItsPieces) {
    Bytes bytes(0x40000 * 2 + 1, 7);
    WriteFile(m_strBank, bytes);
    std::vector<uint64_t> told;
    WriteSums(m_strBank, [&told](uint64_t nBytes) {
        told.push_back(nBytes);
        return true;
    });
    EXPECT_THAT(told, ::testing::ElementsAre(0x40000, 0x80000, 0x80001));
    for (const size_t nAt : {size_t{0}, bytes.size() / 2, bytes.size() - 1}) {
        ++bytes[nAt];
        WriteFile(m_strBank, bytes);
        EXPECT_EQ(Kind::Differs, Check().kind) << nAt;
        --bytes[nAt];
    }
}

TEST_F(BankSumsTest, ThatAreNotThereAreNoFailure) {
    EXPECT_THAT(Check(), FieldsAre(Kind::NoFile, m_strSums, "", 0));
    EXPECT_THAT(RemoveSums(m_strBank), FieldsAre(Kind::NoFile, m_strSums, "", 0));
}

TEST_F(BankSumsTest, MayBeOfTheProgramsBinaryMode) {
    SetSums("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD *Src_0AC44.kvn\n");
    EXPECT_EQ(Kind::Done, Check().kind);
}

TEST_F(BankSumsTest, OfAnotherFormAreSaidToBeNone) {
    const std::string strSum = kSumOfAbc, strName = "Src_0AC44.kvn";
    const std::string texts[] = {"",
                                 "\n",
                                 strSum + "\n",
                                 strSum + "  \n",
                                 strSum + "  " + strName,
                                 strSum + " " + strName + "\n",
                                 strSum + "\t " + strName + "\n",
                                 strSum + " x" + strName + "\n",
                                 strSum.substr(1) + "  " + strName + "\n",
                                 "g" + strSum.substr(1) + "  " + strName + "\n",
                                 "\\" + strSum + "  a\\\n",
                                 "\\" + strSum + "  a\\t\n",
                                 strSum + "  " + strName + "\n" + strSum + "  " + strName + "\n",
                                 strSum + "  " + std::string(10000, 'x') + "\n\n"};
    for (const std::string& strText : texts) {
        SetSums(strText);
        EXPECT_THAT(Check(), FieldsAre(Kind::NotOurs, m_strSums, "not a line of sha256sum", 0)) << strText;
    }
}

TEST_F(BankSumsTest, OfAnotherNameAreSaidToBeSo) {
    for (const char* pszName : {"Src_0BB80.kvn", "x/Src_0AC44.kvn", " Src_0AC44.kvn"}) {
        SetSums(std::string(kSumOfAbc) + "  " + pszName + "\n");
        EXPECT_THAT(Check(),
                    FieldsAre(Kind::NotOurs, m_strSums, std::string("it holds the sum of ") + pszName, 0));
    }
}

TEST_F(BankSumsTest, AreReplacedAndRemoved) {
    SetSums("old");
    EXPECT_EQ(Kind::Done, Write().kind);
    EXPECT_EQ(Kind::Done, Check().kind);
    EXPECT_THAT(RemoveSums(m_strBank), FieldsAre(Kind::Done, "", "", 0));
    EXPECT_FALSE(fs::exists(m_strSums));
    EXPECT_TRUE(fs::exists(m_strBank));
}

TEST_F(BankSumsTest, OfABankThatIsNotInItsPlaceYetAreWrittenOnceItIs) {
    const std::string strMade = m_dir.File("made");
    fs::rename(m_strBank, strMade);
    std::string strSum;
    EXPECT_THAT(SumBank(strMade, GoOn, strSum), FieldsAre(Kind::Done, "", "", 0));
    EXPECT_EQ(kSumOfAbc, strSum);
    EXPECT_THAT(PutSums(m_strBank, strSum), Refused(m_strBank, ENOENT));
    fs::rename(strMade, m_strBank);
    EXPECT_THAT(PutSums(m_strBank, strSum), FieldsAre(Kind::Done, "", "", 0));
    EXPECT_EQ(Kind::Done, Check().kind);
}

TEST_F(BankSumsTest, AreNotWrittenBesideABankThatCameMeanwhile) {
    const auto replace = [this](uint64_t) {
        WriteFile(m_dir.File("new"), std::string("abc"));
        fs::rename(m_dir.File("new"), m_strBank);
        return true;
    };
    EXPECT_THAT(WriteSums(m_strBank, replace),
                FieldsAre(Kind::Failed, m_strBank, "another file has taken its place", 0));
    EXPECT_FALSE(fs::exists(m_strSums));
}

TEST_F(BankSumsTest, CanBeCancelled) {
    const auto stop = [](uint64_t) { return false; };
    EXPECT_THAT(WriteSums(m_strBank, stop), FieldsAre(Kind::Cancelled, m_strBank, "cancelled", 0));
    EXPECT_EQ(1u, CountFiles());
    Write();
    EXPECT_THAT(CheckSums(m_strBank, stop), FieldsAre(Kind::Cancelled, m_strBank, "cancelled", 0));
}

TEST_F(BankSumsTest, OfABankThatCannotBeReadNameTheBank) {
    Write();
    {
        const PosixFault fault("read", EIO);
        EXPECT_THAT(Write(), Refused(m_strBank, EIO));
    }
    {
        const PosixFault fault("open", EACCES, 2);
        EXPECT_THAT(Check(), Refused(m_strBank, EACCES));
    }
    fs::remove(m_strBank);
    EXPECT_THAT(Write(), Refused(m_strBank, ENOENT));
    EXPECT_THAT(Check(), Refused(m_strBank, ENOENT));
}

TEST_F(BankSumsTest, ThatCannotBeReadAreNamed) {
    Write();
    for (const char* pszCall : {"open", "read"}) {
        const PosixFault fault(pszCall, EIO);
        EXPECT_THAT(Check(), Refused(m_strSums, EIO));
    }
    fs::remove(m_strSums);
    fs::create_directory(m_strSums);
    EXPECT_THAT(Check(), Refused(m_strSums, EISDIR));
    EXPECT_THAT(RemoveSums(m_strBank), Refused(m_strSums, EISDIR));
}

TEST_F(BankSumsTest, ThatFindNoSpaceLeaveTheOldOnesWhole) {
    SetSums("old");
    const PosixFault fault("write", ENOSPC);
    EXPECT_THAT(Write(), Refused(m_strSums, ENOSPC));
    EXPECT_EQ("old", Sums());
    EXPECT_EQ(2u, CountFiles());
}

TEST_F(BankSumsTest, InAFolderThatCannotBeWrittenAreSaid) {
    ASSERT_EQ(0, chmod(m_strBank.c_str(), 0644));
    ASSERT_EQ(0, chmod(m_dir.Path().c_str(), 0555));
    {
        const Unprivileged nobody;
        ASSERT_TRUE(nobody.Works());
        EXPECT_THAT(Write(), Refused(m_strSums, EACCES));
    }
    ASSERT_EQ(0, chmod(m_dir.Path().c_str(), 0755));
}

// The program of the system reads what we write, and we read what it writes, for every kind of name.
TEST_F(BankSumsTest, AreThoseOfTheSystemsProgram) {
    for (const char* pszName : {"x.kvn", "a b.kvn", " x", "a\\b.kvn", "a\nb.kvn", "a\rb.kvn", "\\n", "*x"}) {
        const std::string strBank = m_dir.File(pszName), strSums = SumsPath(strBank);
        WriteFile(strBank, std::string("abc"));
        ASSERT_EQ(Kind::Done, WriteSums(strBank, GoOn).kind);
        const std::string strIn = "cd '" + m_dir.Path().string() + "' && ";
        const std::string strQuoted = "'" + std::string(pszName) + "'";
        EXPECT_EQ(0, std::system(
                         (strIn + "sha256sum --status --strict -c -- " + "'" + pszName + ".sha256'").c_str()))
            << pszName;
        const Bytes ours = ReadFile(strSums);
        ASSERT_EQ(0,
                  std::system((strIn + "sha256sum -- " + strQuoted + " > '" + pszName + ".sha256'").c_str()));
        EXPECT_EQ(ours, ReadFile(strSums)) << pszName;
        EXPECT_EQ(Kind::Done, CheckSums(strBank, GoOn).kind) << pszName;
    }
}

}  // namespace
}  // namespace Test
}  // namespace Kestrova
