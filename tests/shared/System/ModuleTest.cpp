#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "shared/System/kvModule.h"
#include "tests/support/TempDir.h"

using namespace Kestrova;
using Kestrova::Test::TempDir;
using Kestrova::Test::WriteFile;

namespace {

namespace fs = std::filesystem;

// What is written to standard error meanwhile.
std::string EnsureFolder(const std::string& strPath) {
    testing::internal::CaptureStderr();
    Module::EnsureFolderExists(strPath.c_str());
    return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(EnsureFolderExistsTest, EveryFolderOfThePathIsMade) {
    const TempDir dir;
    for (const char* pszPath : {"a", "b/c/d", "e/f/", "g//h", "b/c/d/more", "b"}) {
        EXPECT_EQ("", EnsureFolder(dir.File(pszPath)));
        EXPECT_TRUE(fs::is_directory(dir.File(pszPath))) << pszPath;
    }
}

TEST(EnsureFolderExistsTest, ARelativePathStartsAtTheWorkingFolder) {
    const TempDir dir;
    const fs::path before = fs::current_path();
    fs::current_path(dir.Path());
    EXPECT_EQ("", EnsureFolder("a/b"));
    fs::current_path(before);
    EXPECT_TRUE(fs::is_directory(dir.File("a/b")));
}

TEST(EnsureFolderExistsTest, TheRootIsThere) { EXPECT_EQ("", EnsureFolder("/")); }

TEST(EnsureFolderExistsTest, PermissionsAre0777LessTheUmask) {
    const TempDir dir;
    const mode_t nBefore = umask(0);
    EnsureFolder(dir.File("a/b"));
    umask(nBefore);
    for (const char* pszPath : {"a", "a/b"})
        EXPECT_EQ(fs::perms::all, fs::status(dir.File(pszPath)).permissions());
}

TEST(EnsureFolderExistsTest, TheFirstFailureIsReportedAndEndsTheWork) {
    const TempDir dir;
    WriteFile(dir.File("file"), "x");
    EXPECT_EQ("mkdir error 20: path = \"" + dir.File("file/a") + "\"\n",
              EnsureFolder(dir.File("file/a/b/c")));
}

TEST(EnsureFolderExistsTest, AFileInTheFoldersPlacePassesForIt) {
    const TempDir dir;
    WriteFile(dir.File("file"), "x");
    EXPECT_EQ("", EnsureFolder(dir.File("file")));
    EXPECT_TRUE(fs::is_regular_file(dir.File("file")));
}

TEST(EnsureFolderExistsTest, ALastComponentThatCannotBeMadeIsReported) {
    const TempDir dir;
    const std::string strPath = dir.File(std::string(300, 'x'));
    EXPECT_EQ("mkdir error 36: path = \"" + strPath + "\"\n", EnsureFolder(strPath));
}

TEST(EnsureFolderExistsTest, AnEmptyPathIsReportedAndNullIsLeftAlone) {
    EXPECT_EQ("mkdir error 2: path = \"\"\n", EnsureFolder(""));
    testing::internal::CaptureStderr();
    Module::EnsureFolderExists(nullptr);
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
}
