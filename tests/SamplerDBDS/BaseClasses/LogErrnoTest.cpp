#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "SamplerDBDS/BaseClasses/LogErrno.h"

namespace Kestrova::Test {
namespace {

constexpr size_t kLongestLine = 1023;

std::string ThisThread() {
    char szThread[40];
    std::snprintf(szThread, sizeof szThread, "%p: ", reinterpret_cast<void*>(pthread_self()));
    return szThread;
}

template <class TCall>
std::string Logged(int nError, TCall call) {
    testing::internal::CaptureStderr();
    errno = nError;
    call();
    const int nAfter = errno;
    EXPECT_EQ(nError, nAfter);
    return testing::internal::GetCapturedStderr();
}

TEST(LogErrnoTest, TheLineNamesThreadMessageAndError) {
    EXPECT_EQ(ThisThread() + "/banks/a.kvn seek(5000000000) error 2: No such file or directory\n",
              Logged(ENOENT, [] { logerrno("%s seek(%llu)", "/banks/a.kvn", 5000000000ULL); }));
    EXPECT_EQ(ThisThread() + "/banks/a.kvn getpos error 28: No space left on device\n",
              Logged(ENOSPC, [] { logerrno("%s getpos", "/banks/a.kvn"); }));
    EXPECT_EQ(ThisThread() + "no error error 0: Success\n", Logged(0, [] { logerrno("no error"); }));
    EXPECT_EQ(ThisThread() + "odd error 99999: Unknown error 99999\n",
              Logged(99999, [] { logerrno("odd"); }));
}

TEST(LogErrnoTest, AnotherThreadHasAnotherIdentity) {
    std::string strThread, strLine;
    std::thread([&] {
        strThread = ThisThread();
        strLine = Logged(EIO, [] { logerrno("x"); });
    }).join();
    EXPECT_NE(ThisThread(), strThread);
    EXPECT_EQ(strThread + "x error 5: Input/output error\n", strLine);
}

TEST(LogErrnoTest, AMessageThatFillsTheBufferIsWhole) {
    const std::string strEnd = " error 5: Input/output error\n";
    const std::string strMessage(kLongestLine - ThisThread().size() - strEnd.size(), 'p');
    EXPECT_EQ(ThisThread() + strMessage + strEnd, Logged(EIO, [&] { logerrno("%s", strMessage.c_str()); }));
}

TEST(LogErrnoTest, ALongerMessageIsCutAndItsErrorKept) {
    const std::string strEnd = " error 5: Input/output error\n";
    const size_t nRoom = kLongestLine - ThisThread().size() - strEnd.size();
    for (const size_t nMessage : {nRoom + 1, size_t{1024}, size_t{100000}}) {
        const std::string strMessage(nMessage, 'p');
        EXPECT_EQ(ThisThread() + strMessage.substr(0, nRoom) + strEnd,
                  Logged(EIO, [&] { logerrno("%s seek(%llu)", strMessage.c_str(), 1ULL); }));
    }
}

TEST(LogErrnoTest, LogerrDoesNothing) {
    EXPECT_EQ("", Logged(EIO, [] { logerr(1, "%s %d", "text", 7); }));
}

}  // namespace
}  // namespace Kestrova::Test
