#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <new>

#include "shared/System/kvDirectory.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FolderNamesTest : public testing::Test {
protected:
    FolderNamesTest() {
        for (const char* pszName : {"b", "a", "B", ".hidden"}) WriteFile(m_dir.File(pszName), std::string());
    }
    int Read() { return ReadFolderNames(m_dir.Path().c_str(), m_names); }

    TempDir m_dir;
    std::vector<std::string> m_names{"an older name"};
};

TEST_F(FolderNamesTest, AreInByteOrderWithoutDots) {
    EXPECT_EQ(0, Read());
    EXPECT_THAT(m_names, ElementsAre(".hidden", "B", "a", "b"));
}

TEST_F(FolderNamesTest, AFolderThatIsNotThereHasNone) {
    EXPECT_EQ(ENOENT, ReadFolderNames(m_dir.File("none").c_str(), m_names));
    EXPECT_THAT(m_names, IsEmpty());
}

TEST_F(FolderNamesTest, AFolderThatCannotBeReadToItsEndHasNone) {
    const PosixFault fault("readdir", EIO, 3);
    EXPECT_EQ(EIO, Read());
    EXPECT_THAT(m_names, IsEmpty());
}

TEST_F(FolderNamesTest, RunningOutOfMemoryIsThrown) {
    const PosixFault fault("_Znwm", ENOMEM);
    EXPECT_THROW(Read(), std::bad_alloc);
}

}  // namespace
}  // namespace Kestrova::Test
