// The system or the memory fails while a bank is opened.
#include <cerrno>

#include "tests/libkvbank/ReaderFixture.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

class ReaderFaultTest : public ReaderTest {
protected:
    static int ErrorWithFault(const std::string& strBank, const char* pszCall, int nError, unsigned nFlags) {
        const PosixFault fault(pszCall, nError);
        const OpenedBank bank(strBank, nFlags);
        EXPECT_EQ(1, fault.Calls()) << pszCall;
        EXPECT_EQ(nError, errno) << pszCall;
        return bank.Error();
    }
};

TEST_F(ReaderFaultTest, WhatTheSystemRefusesIsToldWithItsReason) {
    const std::string strBank = Built({});
    for (const unsigned nFlags : {KVB_OPEN_MAP, KVB_OPEN_COPY})
        for (const char* pszCall : {"open", "fstat", "mmap"})
            EXPECT_EQ(KVB_ERROR_SYSTEM, ErrorWithFault(strBank, pszCall, EACCES, nFlags)) << pszCall;
    EXPECT_EQ(KVB_ERROR_SYSTEM, ErrorWithFault(strBank, "read", EIO, KVB_OPEN_COPY));
    EXPECT_EQ(KVB_ERROR_NO_MEMORY, ErrorWithFault(strBank, "mmap", ENOMEM, KVB_OPEN_MAP));
}

TEST_F(ReaderFaultTest, AReadThatASignalInterruptsIsMadeAgain) {
    const std::string strBank = Built({});
    const PosixFault fault("read", EINTR);
    EXPECT_EQ(KVB_OK, OpenedBank(strBank, KVB_OPEN_COPY).Error());
    EXPECT_EQ(2, fault.Calls());
}

TEST_F(ReaderFaultTest, EveryAllocationMayFail) {
    const std::string strBank = Built(TwoPrograms());
    int nNth = 1;
    for (bool bStruck = true; bStruck && nNth < 1000; ++nNth) {
        const PosixFault fault(kAnyAllocation, ENOMEM, nNth);
        kvb_bank* pBank = nullptr;
        const int nError = kvb_open(strBank.c_str(), KVB_OPEN_MAP, &pBank);
        bStruck = fault.Calls() >= nNth;
        EXPECT_EQ(bStruck ? KVB_ERROR_NO_MEMORY : KVB_OK, nError) << nNth;
        EXPECT_EQ(bStruck, pBank == nullptr);
        kvb_close(pBank);
    }
    EXPECT_GT(nNth, 5);
}

}  // namespace
}  // namespace Kestrova::Test
