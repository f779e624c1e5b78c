// Sharing between threads: every thread works on Strings of its own that share blocks with the others'.
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "tests/shared/System/StringTestSupport.h"

namespace Kestrova::Test {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 2000;

// Runs the work on all threads at once.
template <class TWork>
void RunTogether(TWork work) {
    std::latch start(kThreads);
    std::vector<std::thread> threads;
    for (int nThread = 0; nThread < kThreads; ++nThread) {
        threads.emplace_back([&start, &work, nThread] {
            start.arrive_and_wait();
            work(nThread);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(StringThreadTest, CopiesOnManyThreadsLeaveTheCountAsItWas) {
    const String strShared("shared by all threads");
    RunTogether([&strShared](int) {
        for (int nRound = 0; nRound < kRounds; ++nRound) {
            const String strCopy(strShared);
            String strAssigned;
            strAssigned = strCopy;
            const String strPart = strAssigned.Left(100);
            ASSERT_EQ(strShared.GetData(), strPart.GetData());
        }
    });
    EXPECT_EQ(1, Refs(strShared));
    EXPECT_STREQ("shared by all threads", strShared);
}

TEST(StringThreadTest, AWriteOnOneThreadIsNotSeenByTheOthers) {
    const String strShared("shared");
    RunTogether([&strShared](int nThread) {
        const char chOwn = static_cast<char>('0' + nThread);
        for (int nRound = 0; nRound < kRounds; ++nRound) {
            String str(strShared);
            str.SetAt(0, chOwn);
            str += chOwn;
            ASSERT_EQ(chOwn, str[0]);
            ASSERT_EQ(7, str.GetLength());
        }
    });
    EXPECT_EQ(1, Refs(strShared));
    EXPECT_STREQ("shared", strShared);
}

TEST(StringThreadTest, TheLastOfManyThreadsMayWriteInPlaceOrFreesTheBlock) {
    for (int nRound = 0; nRound < 200; ++nRound) {
        std::vector<String> strings(kThreads, String("given up by all threads"));
        RunTogether([&strings](int nThread) {
            String& str = strings[static_cast<size_t>(nThread)];
            str.Replace('l', static_cast<char>('0' + nThread));
            if (nThread % 2 == 0) str.Empty();
        });
        EXPECT_STREQ("", strings[0]);
        EXPECT_STREQ("given up by a11 threads", strings[1]);
        EXPECT_STREQ("", strings[2]);
        EXPECT_STREQ("given up by a33 threads", strings[3]);
        EXPECT_EQ(1, Refs(strings[1]));
    }
}

TEST(StringThreadTest, TheEmptyRepresentationIsNeverWrittenTo) {
    const String strEmpty;
    RunTogether([&strEmpty](int) {
        for (int nRound = 0; nRound < kRounds; ++nRound) {
            String str(strEmpty);
            str = "";
            str.GetBufferSetLength(0);
            str.ReleaseBuffer();
            str.MakeUpper();
            str.Remove('x');
            str.TrimRight();
            str.TrimLeft("x");
            str.Format("%s", "");
            str.FreeExtra();
            ASSERT_TRUE(str.IsEmpty());
            const String strSharer("x");
            String strReplaced(strSharer);
            strReplaced.Replace("x", "");
            ASSERT_EQ(strEmpty.GetData(), strReplaced.GetData());
            String strFormatted;
            int nWritten = -1;
            strFormatted.Format("%n", &nWritten);
            ASSERT_EQ(strEmpty.GetData(), strFormatted.GetData());
            ASSERT_EQ(0, nWritten);
        }
    });
    EXPECT_EQ(-1, StringData::Nil_()->nRefs);
    EXPECT_EQ(0, StringData::Nil_()->nDataLength);
}

}  // namespace
}  // namespace Kestrova::Test
