// The engine without memory: each allocation of each operation fails once, until the operation has none left
// to fail.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>

#include "SamplerDBDS/BaseClasses/FileEnv.h"
#include "bank/DBEUCreate.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/SourceMaker.h"
#include "tests/support/TestDatabase.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

// An engine whose client takes no memory of its own.
class QuietClient {
public:
    QuietClient() { m_engine.SetCallback(OnCallback, reinterpret_cast<unsigned long>(this)); }

    CDBEUCreate& operator*() { return m_engine; }
    CDBEUCreate* operator->() { return &m_engine; }

    BankResult Analyse(const std::string& strSource) {
        m_bOver = false;
        return Wait(m_engine.SetSrcFile(strSource.c_str()));
    }
    BankResult Build(unsigned int nRate, int nPerKey) {
        m_bOver = false;
        return Wait(m_engine.CreateDB(nRate, nPerKey, kHighestQuality));
    }

private:
    static int OnCallback(int nCode, unsigned int nValue, unsigned long nUser) {
        QuietClient& client = *reinterpret_cast<QuietClient*>(nUser);
        if (nCode == 2) {
            client.m_result = static_cast<BankResult>(nValue);
            client.m_bOver = true;
        }
        return 1;
    }

    BankResult Wait(BankResult started) {
        if (started != kBankDone) return started;
        while (!m_bOver || m_engine.GetState() != 0) std::this_thread::yield();
        return m_result;
    }

    std::atomic<bool> m_bOver{false};
    std::atomic<BankResult> m_result{kBankDone};
    CDBEUCreate m_engine;
};

// The system's files, without waiting for the disk: a walk makes some hundred banks. Takes no memory itself.
class UnsyncedFileEnv : public IFileEnv {
public:
    UnsyncedFileEnv() : m_system(*GetSystemFileEnv()), m_pBefore(SetFileEnv(this)) {}
    ~UnsyncedFileEnv() override { SetFileEnv(m_pBefore); }

    int Open(const char* pszPath, FileMode mode) override { return m_system.Open(pszPath, mode); }
    bool Close(int nFile) override { return m_system.Close(nFile); }
    int64_t ReadAt(int nFile, uint64_t pos, void* pData, size_t n) override {
        return m_system.ReadAt(nFile, pos, pData, n);
    }
    int64_t WriteAt(int nFile, uint64_t pos, const void* pData, size_t n) override {
        return m_system.WriteAt(nFile, pos, pData, n);
    }
    bool Truncate(int nFile, uint64_t nSize) override { return m_system.Truncate(nFile, nSize); }
    bool Sync(int) override { return true; }
    bool GetFacts(int nFile, FileFacts& facts) override { return m_system.GetFacts(nFile, facts); }
    LockAnswer TryLock(int nFile, FileLock lock) override { return m_system.TryLock(nFile, lock); }
    bool CheckPosition(int nFile, uint64_t pos) override { return m_system.CheckPosition(nFile, pos); }

private:
    IFileEnv& m_system;
    IFileEnv* const m_pBefore;
};

class EngineMemoryTest : public testing::Test {
protected:
    const UnsyncedFileEnv m_env;
    TempDir m_dir;
    std::string m_strSource;
    Bytes m_source;
    fs::path m_banks = m_dir.Path() / "banks";

    void MakeSmallSource(bool bEnriched) {
        SourceSpec spec;
        spec.bEnriched = bEnriched;
        spec.samples = {{.nFrames = 300, .loops = {{1, 2, 3, 4}}}};
        spec.programs = {{true, {{60, 61, {0}}}}};
        m_strSource = m_dir.File("Test_1.kvs");
        MakeSource(m_strSource, spec);
        m_source = ReadFile(m_strSource);
        fs::create_directory(m_banks);
    }
    std::string BankPath(int nPerKey) const {
        const std::string strBase = IsEnriched() ? "Test" : "Test_1";
        return (m_banks / (strBase + (nPerKey != 0 ? "_0BB80.kvr" : "_0BB80.kvn"))).string();
    }
    bool IsEnriched() const { return GetLittle(m_source, 0, 4) == kSdbFormatEnriched; }

    // Refuses the first, second, third ... allocation of an operation until it meets none to refuse. `check`
    // gets the result of each. The number of allocations refused.
    template <class TOperation, class TCheck>
    int Walk(TOperation operation, TCheck check) {
        for (int nNth = 1;; ++nNth) {
            SCOPED_TRACE(nNth);
            BankResult result = kBankDone;
            int nCalls = 0;
            {
                const PosixFault fault(kAnyAllocation, ENOMEM, nNth);
                result = operation();
                nCalls = fault.Calls();
            }
            EXPECT_TRUE(result == kBankDone || result == kBankNoMemory) << result;
            EXPECT_EQ(m_source, ReadFile(m_strSource));
            EXPECT_TRUE(nCalls >= nNth || result == kBankDone) << "nothing was refused";
            check(result);
            if (nCalls < nNth || HasFailure()) return nNth - 1;
        }
    }
    void WalkBuilds(QuietClient& client, int nPerKey, unsigned nHelpers);
};

TEST_F(EngineMemoryTest, AnAnalysisWithoutMemoryEndsAndTheNextOneSucceeds) {
    for (const bool bEnriched : {false, true}) {
        MakeSmallSource(bEnriched);
        QuietClient client;
        const int nRefused = Walk([&] { return client.Analyse(m_strSource); },
                                  [&](BankResult result) {
                                      if (result != kBankDone) {
                                          EXPECT_NE(kBankDone, client->CreateDB(48000, 0, 7));
                                          ASSERT_EQ(kBankDone, client.Analyse(m_strSource));
                                      }
                                      EXPECT_EQ(1u, client->GetAnalysis().nSamples);
                                  });
        EXPECT_LE(10, nRefused);
    }
}

void EngineMemoryTest::WalkBuilds(QuietClient& client, int nPerKey, unsigned nHelpers) {
    const std::string strBank = BankPath(nPerKey);
    client->SetHelperThreads(nHelpers);
    ASSERT_EQ(kBankDone, client.Build(48000, nPerKey));
    const std::string strClean = Sha256IdentityZeroed(ReadFile(strBank));
    fs::remove(strBank);
    int nFailed = 0;
    Walk([&] { return client.Build(48000, nPerKey); },
         [&](BankResult result) {
             if (result != kBankDone) {
                 ++nFailed;
                 EXPECT_FALSE(fs::exists(strBank));
                 ASSERT_EQ(kBankDone, client.Build(48000, nPerKey)) << "no lock is held";
             }
             EXPECT_EQ(strClean, Sha256IdentityZeroed(ReadFile(strBank)));
             fs::remove(strBank);
         });
    EXPECT_LE(20, nFailed);
}

TEST_F(EngineMemoryTest, ABuildWithoutMemoryEndsLeavesNoFileAndTheNextOneSucceeds) {
    for (const bool bEnriched : {false, true}) {
        MakeSmallSource(bEnriched);
        QuietClient client;
        ASSERT_EQ(kBankDone, client.Analyse(m_strSource));
        ASSERT_EQ(kBankDone, client->SetDstDir(m_banks.c_str()));
        for (const int nPerKey : {0, 1})
            for (const unsigned nHelpers : {0u, 2u}) {
                if (bEnriched && nHelpers == (nPerKey != 0 ? 0u : 2u))
                    continue;  // the plain kind has all four
                SCOPED_TRACE(testing::Message() << "per key " << nPerKey << ", helpers " << nHelpers);
                WalkBuilds(client, nPerKey, nHelpers);
            }
    }
}

TEST_F(EngineMemoryTest, WhatIsThereIsFoundOrTheWantIsTold) {
    MakeSmallSource(false);
    QuietClient client;
    ASSERT_EQ(kBankDone, client.Analyse(m_strSource));
    ASSERT_EQ(kBankDone, client->SetDstDir(m_banks.c_str()));
    ASSERT_EQ(kBankDone, client.Build(48000, 0));
    int kinds[kRateCount];
    unsigned int nMegabytes = 0;
    EXPECT_LE(3, Walk([&] { return client->GetExisting(kinds, &nMegabytes); },
                      [&](BankResult result) { EXPECT_TRUE(result != kBankDone || kinds[1] == 1); }));
    const std::string strLonger = m_banks.string() + std::string(200, '/');
    EXPECT_LE(1, Walk([&] { return client->SetDstDir(strLonger.c_str()); },
                      [&](BankResult result) {
                          EXPECT_EQ(result == kBankDone ? kBankDone : kBankNotReady,
                                    client->GetExisting(kinds, nullptr))
                              << "refused, nothing may land in the folder before";
                          ASSERT_EQ(kBankDone, client->SetDstDir(m_banks.c_str()));
                      }));
}

TEST_F(EngineMemoryTest, ARemovalTakesTheBankOrTellsTheWant) {
    MakeSmallSource(false);
    QuietClient client;
    ASSERT_EQ(kBankDone, client.Analyse(m_strSource));
    ASSERT_EQ(kBankDone, client->SetDstDir(m_banks.c_str()));
    const std::string strBank = BankPath(0);
    const auto PutAgain = [&](BankResult result) {
        EXPECT_TRUE(result != kBankDone || !fs::exists(strBank));
        WriteFile(strBank, Bytes());  // empty: an interrupted build's as well
    };
    PutAgain(kBankNoMemory);
    unsigned int nRemoved = 0;
    EXPECT_LE(1, Walk([&] { return client->RemoveDB(48000u, 3); }, PutAgain));
    EXPECT_LE(3, Walk([&] { return client->RemoveInterrupted(nRemoved); }, PutAgain));
    Walk([&] { return client->RemoveDB(strBank.c_str()); }, PutAgain);
}

// The bank asked for is the source itself; an engine that has no memory to find that out must not touch it.
TEST_F(EngineMemoryTest, TheSourceIsSparedAlsoWhenItCannotBeLookedAt) {
    MakeSmallSource(true);
    const std::string strPlace = m_dir.File("Test_0BB80.kvn");
    fs::rename(m_strSource, strPlace);
    m_strSource = strPlace;
    QuietClient client;
    ASSERT_EQ(kBankDone, client.Analyse(m_strSource));
    ASSERT_EQ(kBankDone, client->SetDstDir((m_dir.Path().string() + "/").c_str()));
    const std::string strOtherWay = m_dir.Path().string() + "//Test_0BB80.kvn";
    EXPECT_LE(1, Walk([&] { return client->CreateDB(48000, 0, 7); }, [](BankResult) {}));
    EXPECT_LE(1, Walk([&] { return client->RemoveDB(48000u, 3); }, [](BankResult) {}));
    EXPECT_LE(1, Walk(
                     [&] {
                         const BankResult result = client->RemoveDB(strOtherWay.c_str());
                         return result == kBankBadArgument ? kBankDone : result;
                     },
                     [](BankResult) {}));
}

}  // namespace
}  // namespace Kestrova::Test
