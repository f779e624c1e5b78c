// Each test runs in a process of its own, for what a signal does belongs to the process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova::Test {
namespace {

using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;

// A shell that starts the tests in the background has them ignore some of these.
void CatchInAFreshProcess(bool bReaderGoneToo = false) {
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) std::signal(nSignal, SIG_DFL);
    CatchCancelSignals(bReaderGoneToo);
}

void WriteWhereNobodyReads() {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    close(ends[0]);
    if (write(ends[1], "x", 1) != -1 || errno != EPIPE) std::abort();
}

// Beyond the limit for files. The file has no name, so that nothing is left.
void WriteBeyondTheLimit() {
    std::FILE* const pFile = std::tmpfile();
    const rlimit limit = {0, 0};
    if (pFile == nullptr || setrlimit(RLIMIT_FSIZE, &limit) != 0) std::abort();
    if (write(fileno(pFile), "x", 1) != -1 || errno != EFBIG) std::abort();
}

TEST(CancelSignalTest, ASignalIsAWishUntilTheProcessDiesOfIt) {
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) {
        const auto run = [nSignal] {
            CatchInAFreshProcess();
            if (CancelSignal() != 0) std::abort();
            std::raise(nSignal);
            if (CancelSignal() != nSignal) std::abort();
            DieOfCancelSignal();
        };
        EXPECT_EXIT(run(), KilledBySignal(nSignal), "");
    }
}

TEST(CancelSignalTest, WithoutASignalNobodyDies) {
    const auto run = [] {
        CatchInAFreshProcess();
        DieOfCancelSignal();
        std::_Exit(3);
    };
    EXPECT_EXIT(run(), ExitedWithCode(3), "");
}

TEST(CancelSignalTest, ASignalThatWasIgnoredStaysSo) {
    const auto run = [] {
        for (const int nSignal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(nSignal, SIG_IGN);
        CatchCancelSignals(true);
        for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) std::raise(nSignal);
        WriteWhereNobodyReads();
        std::_Exit(CancelSignal());
    };
    EXPECT_EXIT(run(), ExitedWithCode(0), "");
}

TEST(CancelSignalTest, AReaderThatHasGoneIsAWishForWhoAsksForIt) {
    const auto run = [] {
        CatchInAFreshProcess(true);
        WriteWhereNobodyReads();
        DieOfCancelSignal();
    };
    EXPECT_EXIT(run(), KilledBySignal(SIGPIPE), "");
}

TEST(CancelSignalTest, AReaderThatHasGoneIsNothingToOthers) {
    const auto run = [] {
        CatchInAFreshProcess();
        WriteWhereNobodyReads();
        std::_Exit(CancelSignal());
    };
    EXPECT_EXIT(run(), ExitedWithCode(0), "");
}

TEST(CancelSignalTest, TheFirstSignalCounts) {
    const auto run = [] {
        CatchInAFreshProcess(true);
        std::raise(SIGINT);
        WriteWhereNobodyReads();
        std::raise(SIGTERM);
        DieOfCancelSignal();
    };
    EXPECT_EXIT(run(), KilledBySignal(SIGINT), "");
}

TEST(CancelSignalTest, AFileBeyondTheLimitIsAFailedWriteOnly) {
    const auto run = [] {
        CatchInAFreshProcess();
        WriteBeyondTheLimit();
        std::_Exit(CancelSignal());
    };
    EXPECT_EXIT(run(), ExitedWithCode(0), "");
}

// Signals do what they do in a fresh process; what they did before is put back at the end.
class KeptSignals {
public:
    KeptSignals() {
        struct sigaction fresh {};
        fresh.sa_handler = SIG_DFL;
        for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &fresh, &m_actions[i]);
    }
    ~KeptSignals() {
        for (size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &m_actions[i], nullptr);
        SetCancelSignal(0);
    }
    KeptSignals(const KeptSignals&) = delete;
    KeptSignals& operator=(const KeptSignals&) = delete;

private:
    static constexpr std::array<int, 5> kSignals{SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ};
    std::array<struct sigaction, kSignals.size()> m_actions{};
};

// The signal waits, because the thread has blocked it.
TEST(CancelSignalTest, TheSignalThatCameIsSentAgainInTheEnd) {
    const KeptSignals kept;
    CatchCancelSignals();
    DieOfCancelSignal();
    std::raise(SIGHUP);
    std::raise(SIGTERM);
    EXPECT_EQ(SIGHUP, CancelSignal());
    sigset_t blocked, before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGHUP);
    ASSERT_EQ(0, pthread_sigmask(SIG_BLOCK, &blocked, &before));
    DieOfCancelSignal();
    const timespec now{};
    EXPECT_EQ(SIGHUP, sigtimedwait(&blocked, nullptr, &now));
    struct sigaction action {};
    EXPECT_EQ(0, sigaction(SIGHUP, nullptr, &action));
    EXPECT_EQ(SIG_DFL, action.sa_handler) << "nothing catches it any more";
    EXPECT_EQ(0, pthread_sigmask(SIG_SETMASK, &before, nullptr));
}

}  // namespace
}  // namespace Kestrova::Test
