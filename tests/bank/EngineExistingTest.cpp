// Which banks there are, their removal, and what interrupted builds leave.
#include <gtest/gtest.h>

#include <filesystem>

#include "shared/System/kvDirectory.h"
#include "tests/bank/EngineDriver.h"
#include "tests/support/SourceMaker.h"

namespace Kestrova::Test {
namespace {

class EngineExistingTest : public testing::Test {
protected:
    TempDir m_dir;
    EngineDriver m_driver;
    CDBEUCreate& m_engine = m_driver.Engine();
    fs::path m_banks = m_dir.Path() / "banks";

    void SetUp() override {
        fs::create_directory(m_banks);
        MakeSource(m_dir.File("Calde4.kvs"), {});
        ASSERT_EQ(kBankDone, m_driver.Analyse(m_dir.File("Calde4.kvs")));
        ASSERT_EQ(kBankDone, m_engine.SetDstDir(m_banks.c_str()));
    }
    void Put(const std::string& strName, size_t nBytes = 10) {
        WriteFile(m_banks / strName, Bytes(nBytes, 'x'));
    }
    bool Has(const std::string& strName) const { return fs::exists(m_banks / strName); }
    std::vector<int> Kinds() {
        std::vector<int> kinds(kRateCount, 9);
        EXPECT_EQ(kBankDone, m_engine.GetExisting(kinds.data(), nullptr));
        return kinds;
    }
};

TEST_F(EngineExistingTest, NoArrayIsABadArgument) {
    EXPECT_EQ(kBankBadArgument, m_engine.GetExisting(nullptr, nullptr));
}

TEST_F(EngineExistingTest, WithoutSourceOrFolderNothingIsReady) {
    int kinds[kRateCount];
    unsigned int nRemoved = 0;
    CDBEUCreate engine;
    EXPECT_EQ(kBankNotReady, engine.GetExisting(kinds, nullptr));
    ASSERT_EQ(kBankDone, engine.SetDstDir(m_banks.c_str()));
    EXPECT_EQ(kBankNotReady, engine.GetExisting(kinds, nullptr));
    EXPECT_EQ(kBankNotReady, engine.RemoveDB(44100u, 1));
    EXPECT_EQ(kBankNotReady, engine.RemoveInterrupted(nRemoved));
    EXPECT_EQ(kBankNotReady, engine.CreateDB(44100, 0, 7));
    EXPECT_EQ(kBankBadArgument, engine.RemoveDB(44099u, 1)) << "the rate is looked at first";
}
// Q104

// Q104
TEST_F(EngineExistingTest, KindsTellLayoutsAndSeveralBanks) {
    EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), Kinds());
    Put("Calde4_0AC44.kvn");
    Put("Calde4_0BB80.kvr");
    Put("Calde4_2EE00.kvn");
    EXPECT_EQ((std::vector<int>{1, 2, 0, 0, 0, 1}), Kinds());
    Put("CALDE4_0ac44.KVR");
    EXPECT_EQ((std::vector<int>{3, 2, 0, 0, 0, 1}), Kinds());
    Put("calde4_0BB80.kvr");
    EXPECT_EQ((std::vector<int>{3, 3, 0, 0, 0, 1}), Kinds()) << "two files of one letter are several too";
}

TEST_F(EngineExistingTest, OtherNamesAndFoldersAreIgnored) {
    for (const char* pszName : {"Calde4_0AC45.kvn", "Calde4x0AC44.kvn", "Calde4_0AC44.kvx",
                                "Calde4_0AC44.kvn.bak", "Other4_0AC44.kvn", "Calde4_0AC44"})
        Put(pszName);
    fs::create_directory(m_banks / "Calde4_0AC44.kvn");
    fs::create_directory(m_banks / "inside");
    Put("inside/Calde4_0BB80.kvn");
    EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), Kinds());
}

TEST_F(EngineExistingTest, ATrailingSlashOfTheFolderMakesNoDifference) {
    Put("Calde4_0AC44.kvn");
    for (const char* pszTail : {"", "/", "//"}) {
        ASSERT_EQ(kBankDone, m_engine.SetDstDir((m_banks.string() + pszTail).c_str()));
        EXPECT_EQ((std::vector<int>{1, 0, 0, 0, 0, 0}), Kinds());
    }
}

TEST_F(EngineExistingTest, AFolderThatCannotBeOpenedHasNoBanks) {
    ASSERT_EQ(kBankDone, m_engine.SetDstDir(m_dir.File("nowhere").c_str()));
    int kinds[kRateCount];
    unsigned int nMegabytes = 5;
    EXPECT_EQ(kBankDone, m_engine.GetExisting(kinds, &nMegabytes));
    EXPECT_EQ(0u, nMegabytes);
    EXPECT_EQ((std::vector<int>{0, 0, 0, 0, 0, 0}), Kinds());
}

TEST_F(EngineExistingTest, MegabytesAreTheFilesLengthsRoundedUp) {
    Put("Calde4_0AC44.kvn", 1048576);
    Put("unrelated.kvn", 5000000);
    int kinds[kRateCount];
    unsigned int nMegabytes = 0;
    EXPECT_EQ(kBankDone, m_engine.GetExisting(kinds, &nMegabytes));
    EXPECT_EQ(1u, nMegabytes);
    Put("Calde4_0AC44.kvr", 1);
    EXPECT_EQ(kBankDone, m_engine.GetExisting(kinds, &nMegabytes));
    EXPECT_EQ(2u, nMegabytes);
}

TEST_F(EngineExistingTest, ABankThatCannotBeMeasuredStopsTheScan) {
    Put("Calde4_0AC44.kvn");
    fs::create_symlink("gone", m_banks / "Calde4_0BB80.kvn");
    Put("Calde4_15888.kvn");
    int kinds[kRateCount];
    unsigned int nMegabytes = 77;
    EXPECT_EQ(kBankSourceNotOpened, m_engine.GetExisting(kinds, &nMegabytes));
    EXPECT_EQ(77u, nMegabytes) << "unset";
    EXPECT_EQ(1, kinds[0]);
    EXPECT_EQ(0, kinds[2]);
}

TEST_F(EngineExistingTest, TheFilterKeepsFilesWithABanksSuffix) {
    const auto keeps = [](const char* pszPath, uint32_t nFlags = 0) {
        tagDirObjInfo object;
        object.nFlags = nFlags;
        object.strPath = pszPath;
        return ExistingFilter(&object, nullptr);
    };
    EXPECT_TRUE(keeps("/a/b.kvn"));
    EXPECT_TRUE(keeps("/a/b.x.KVR"));
    EXPECT_FALSE(keeps("/a/b.kvn", kDirObjFolder));
    EXPECT_FALSE(keeps("/a/b.kvn", kDirObjAliasOfFolder));
    EXPECT_FALSE(keeps("/a/b"));
    EXPECT_FALSE(keeps("/a/b."));
    EXPECT_FALSE(keeps("/a/b.kvnn"));
}

struct RemovalCase {
    int nWhich;
    BankResult result;
    bool bPlainStays, bPerKeyStays;
};

TEST_F(EngineExistingTest, RemovalTakesTheLayoutsAskedFor) {
    for (const RemovalCase& row : {RemovalCase{0, kBankDone, true, true},
                                   {1, kBankDone, false, true},
                                   {2, kBankDone, true, false},
                                   {3, kBankDone, false, false},
                                   {4, kBankBadArgument, true, true},
                                   {-1, kBankBadArgument, true, true}}) {
        SCOPED_TRACE(row.nWhich);
        Put("Calde4_0AC44.kvn");
        Put("Calde4_0AC44.kvr");
        Put("Calde4_0BB80.kvn");
        EXPECT_EQ(row.result, m_engine.RemoveDB(44100u, row.nWhich));
        EXPECT_EQ(row.bPlainStays, Has("Calde4_0AC44.kvn"));
        EXPECT_EQ(row.bPerKeyStays, Has("Calde4_0AC44.kvr"));
        EXPECT_TRUE(Has("Calde4_0BB80.kvn"));
    }
}

TEST_F(EngineExistingTest, RemovingWhatIsNotThereIsDone) {
    EXPECT_EQ(kBankDone, m_engine.RemoveDB(44100u, 3));
    EXPECT_EQ(kBankDone, m_engine.RemoveDB(m_dir.File("none").c_str()));
    EXPECT_EQ(kBankBadArgument, m_engine.RemoveDB(static_cast<const char*>(nullptr)));
    EXPECT_EQ(kBankBadArgument, m_engine.RemoveDB(192001u, 1));
}

TEST_F(EngineExistingTest, TheSourceIsNeverRemovedByWhateverNameItGoes) {
    SourceSpec enriched;
    enriched.bEnriched = true;
    const std::string strSource = (m_banks / "Calde4_0AC44.kvn").string();
    MakeSource(strSource, enriched);
    ASSERT_EQ(kBankDone, m_driver.Analyse(strSource));
    fs::create_symlink(strSource, m_dir.Path() / "link");
    fs::create_hard_link(strSource, m_dir.Path() / "hard");
    for (const std::string& strPath :
         {strSource, m_banks.string() + "//Calde4_0AC44.kvn", m_banks.string() + "/CALDE4_0AC44.KVN",
          m_banks.string() + "/../banks/Calde4_0AC44.kvn", m_dir.File("link"), m_dir.File("hard")})
        EXPECT_EQ(kBankBadArgument, m_engine.RemoveDB(strPath.c_str())) << strPath;
    for (const char* pszTail : {"", "/"}) {
        ASSERT_EQ(kBankDone, m_engine.SetDstDir((m_banks.string() + pszTail).c_str()));
        EXPECT_EQ(kBankDone, m_engine.RemoveDB(44100u, 3));
        EXPECT_TRUE(fs::exists(strSource));
    }
}

TEST_F(EngineExistingTest, InterruptedBuildsGoAndNothingElse) {
    const auto put = [this](const std::string& strName, const std::string& strBytes) {
        WriteFile(m_banks / strName, strBytes);
    };
    const std::string strHeader = "QXEU" + std::string(16, 'i');
    const auto note = [](char chState, char chType) {
        return std::string{chState, chType} + std::string(12, '\0');
    };
    put("Calde4_0AC44.kvn", "");                             // empty
    put("Calde4_0BB80.kvn", strHeader);                      // no note
    put("Calde4_15888.kvn", strHeader + note(1, '\xFE'));    // uncommitted first note
    put("Calde4_17700.kvn", strHeader + note(0, '\xFE'));    // committed: a bank
    put("Calde4_2B110.kvn", "QXDB" + std::string(16, 'i'));  // another kind
    put("Calde4_2EE00.kvr", strHeader + note(1, 0));         // the other layout
    put("Other4_0AC44.kvn", "");                             // another source's
    put("Calde4_0AC45.kvn", "");                             // no bank's name
    unsigned int nRemoved = 0;
    EXPECT_EQ(kBankDone, m_engine.RemoveInterrupted(nRemoved));
    EXPECT_EQ(4u, nRemoved);
    for (const char* pszGone :
         {"Calde4_0AC44.kvn", "Calde4_0BB80.kvn", "Calde4_15888.kvn", "Calde4_2EE00.kvr"})
        EXPECT_FALSE(Has(pszGone)) << pszGone;
    for (const char* pszStays :
         {"Calde4_17700.kvn", "Calde4_2B110.kvn", "Other4_0AC44.kvn", "Calde4_0AC45.kvn"})
        EXPECT_TRUE(Has(pszStays)) << pszStays;
}

TEST_F(EngineExistingTest, ABankAnotherProcessBuildsIsNeitherCleanedNorRemovedNorReplaced) {
    CSDB other;
    ASSERT_TRUE(other.Create((m_banks / "Calde4_0AC44.kvn").c_str(), kSdbFormatEnriched));
    unsigned int nRemoved = 9;
    EXPECT_EQ(kBankDone, m_engine.RemoveInterrupted(nRemoved));
    EXPECT_EQ(0u, nRemoved);
    EXPECT_EQ(kBankDone, m_engine.RemoveDB(44100u, 3));
    EXPECT_TRUE(Has("Calde4_0AC44.kvn"));
    Put("Calde4_0AC44.kvr");
    EXPECT_EQ(kBankBusy, m_engine.CreateDB(44100, 0, 7));
    EXPECT_TRUE(Has("Calde4_0AC44.kvr")) << "a busy answer leaves everything";
    EXPECT_EQ(kBankDone, m_driver.Build(44100, 1)) << "the other layout can be built";
    EXPECT_TRUE(Has("Calde4_0AC44.kvn"));
    other.Close(true);
    EXPECT_EQ(kBankDone, m_driver.Build(44100, 0));
}

}  // namespace
}  // namespace Kestrova::Test
