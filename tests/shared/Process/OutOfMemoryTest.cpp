// The end of a process that runs out of memory where nothing can be unwound.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <new>
#include <stdexcept>

#include "shared/Process/kvOutOfMemory.h"
#include "shared/System/kvString.h"
#include "tests/support/PosixFaults.h"

namespace Kestrova::Test {
namespace {

constexpr int kCode = 41;

void InstallTheEnd() { EndCleanlyWithoutMemory({"kvtest: out of memory\n", kCode}); }

void ThrowWhereNothingMayBeThrown(void (*pfnThrow)()) noexcept { pfnThrow(); }

TEST(OutOfMemoryDeathTest, WhereNothingCanBeUnwoundTheExitCodeTellsIt) {
    EXPECT_EXIT(
        {
            InstallTheEnd();
            ThrowWhereNothingMayBeThrown([] { throw std::bad_alloc(); });
        },
        ::testing::ExitedWithCode(kCode), "^kvtest: out of memory\n$");
}

TEST(OutOfMemoryDeathTest, AWantThatNoOneCanAskForAnyMoreIsRemembered) {
    EXPECT_EXIT(
        {
            InstallTheEnd();
            EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);
            std::terminate();
        },
        ::testing::ExitedWithCode(kCode), "^kvtest: out of memory\n$");
}

TEST(OutOfMemoryDeathTest, WhateverElseEndsTheProcessAborts) {
    EXPECT_EXIT(
        {
            InstallTheEnd();
            ThrowWhereNothingMayBeThrown([] { throw std::runtime_error("another"); });
        },
        ::testing::KilledBySignal(SIGABRT), "^$");
    EXPECT_EXIT(
        {
            InstallTheEnd();
            std::terminate();
        },
        ::testing::KilledBySignal(SIGABRT), "^$");
}

TEST(OutOfMemoryDeathTest, AStringWithoutMemoryReportsItAndEndsSoToo) {
    EXPECT_EXIT(
        {
            InstallTheEnd();
            EXPECT_THROW(std::get_new_handler()(), std::bad_alloc);  // also called by a new that gives null
            const PosixFault fault("_ZnamRKSt9nothrow_t", ENOMEM);
            const String str("a text");
        },
        ::testing::ExitedWithCode(kCode), "assertion failed: m_pchData != 0\nkvtest: out of memory\n$");
}

}  // namespace
}  // namespace Kestrova::Test
