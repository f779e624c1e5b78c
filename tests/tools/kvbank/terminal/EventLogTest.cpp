#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <regex>

#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"
#include "tools/kvbank/terminal/EventLog.h"

namespace Kestrova::Test {
namespace {

class EventLogTest : public ::testing::Test {
protected:
    std::string Text() const {
        const Bytes bytes = ReadFile(m_strPath);
        return {bytes.begin(), bytes.end()};
    }

    TempDir m_dir;
    const std::string m_strPath = m_dir.File("log");
    EventLog m_log;
};

TEST_F(EventLogTest, EachLineHasTheTimeTheProcessAndTheKind) {
    ASSERT_EQ("", m_log.Open(m_strPath));
    m_log.Add("said", "two\nlines");
    const std::regex line(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z )" + std::to_string(getpid()) +
                          R"( said: two\?lines\n)");
    EXPECT_TRUE(std::regex_match(Text(), line)) << Text();
}

TEST_F(EventLogTest, LinesAreAppendedToWhatIsThereAndToWhatOthersAppend) {
    WriteFile(m_strPath, std::string("before\n"));
    EventLog other;
    ASSERT_EQ("", m_log.Open(m_strPath));
    ASSERT_EQ("", other.Open(m_strPath));
    m_log.Add("said", "1");
    other.Add("said", "2");
    m_log.Add("said", "3");
    EXPECT_TRUE(std::regex_match(Text(), std::regex("before\n.* 1\n.* 2\n.* 3\n"))) << Text();
    EXPECT_EQ(0, m_log.GetError());
}

TEST_F(EventLogTest, AFileThatIsNoTextIsRefusedAndStays) {
    const std::string strBank("QXPL\0\0\0\1", 8);
    WriteFile(m_strPath, strBank);
    EXPECT_EQ("it is no text file, so no log is appended to it", m_log.Open(m_strPath));
    m_log.Add("said", "nothing");
    EXPECT_EQ(strBank, Text());
}

TEST_F(EventLogTest, AFileThatCannotBeMadeIsSaid) {
    EXPECT_EQ("No such file or directory", m_log.Open(m_dir.File("none/log")));
    EXPECT_EQ("Is a directory", m_log.Open(m_dir.Path().string()));
}

TEST_F(EventLogTest, ALineThatCannotBeWrittenIsAnError) {
    ASSERT_EQ("", m_log.Open("/dev/full"));
    EXPECT_EQ(0, m_log.GetError());
    m_log.Add("said", "1");
    m_log.Add("said", "2");
    EXPECT_EQ(ENOSPC, m_log.GetError());
}

TEST_F(EventLogTest, ACloseThatFailsIsAnError) {
    ASSERT_EQ("", m_log.Open(m_strPath));
    m_log.Add("said", "1");
    const PosixFault fault("close", EIO);
    m_log.Close();
    EXPECT_EQ(EIO, m_log.GetError());
    m_log.Add("said", "nothing is added to a log that is closed");
    m_log.Close();
    EXPECT_EQ(1, fault.Calls());
    EXPECT_THAT(Text(), ::testing::EndsWith(" said: 1\n"));
}

TEST_F(EventLogTest, ALineThatTheSystemTakesInTwoPiecesIsWhole) {
    ASSERT_EQ("", m_log.Open(m_strPath));
    const PosixFault half("write", -3);
    m_log.Add("said", "all of it");
    EXPECT_EQ(2, half.Calls());
    EXPECT_EQ(0, m_log.GetError());
    EXPECT_THAT(Text(), ::testing::EndsWith(" said: all of it\n"));
}

}  // namespace
}  // namespace Kestrova::Test
