// Each test runs in a process of its own, for what a signal does belongs to the process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "shared/System/kvCancelSignal.h"

namespace Kestrova::Test {
namespace {

using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;

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
            CatchCancelSignals();
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
        CatchCancelSignals();
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
        CatchCancelSignals(true);
        WriteWhereNobodyReads();
        DieOfCancelSignal();
    };
    EXPECT_EXIT(run(), KilledBySignal(SIGPIPE), "");
}

TEST(CancelSignalTest, AReaderThatHasGoneIsNothingToOthers) {
    const auto run = [] {
        CatchCancelSignals();
        WriteWhereNobodyReads();
        std::_Exit(CancelSignal());
    };
    EXPECT_EXIT(run(), ExitedWithCode(0), "");
}

TEST(CancelSignalTest, TheFirstSignalCounts) {
    const auto run = [] {
        CatchCancelSignals(true);
        std::raise(SIGINT);
        WriteWhereNobodyReads();
        std::raise(SIGTERM);
        DieOfCancelSignal();
    };
    EXPECT_EXIT(run(), KilledBySignal(SIGINT), "");
}

TEST(CancelSignalTest, AFileBeyondTheLimitIsAFailedWriteOnly) {
    const auto run = [] {
        CatchCancelSignals();
        WriteBeyondTheLimit();
        std::_Exit(CancelSignal());
    };
    EXPECT_EXIT(run(), ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Kestrova::Test
