#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>

#include "shared/System/kvPlatform.h"
#include "tests/support/OwnExecutable.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/PrivateHome.h"

namespace Kestrova::Test {
namespace {

using PlatformTest = PrivateHomeTest;

// None of them names a folder.
constexpr const char* kNoFolder[] = {nullptr, "", "relative/path", "./here"};

fs::perms PermissionsOf(const std::string& strPath) { return fs::status(strPath).permissions(); }

// The umask for a while.
class Umask {
public:
    explicit Umask(mode_t nMask) : m_nBefore(umask(nMask)) {}
    ~Umask() { umask(m_nBefore); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t m_nBefore;
};

}  // namespace

TEST_F(PlatformTest, TheVariablesNameTheFolders) {
    EXPECT_EQ(m_dir.File("data"), std::string(GetUserDataFolder()));
    EXPECT_EQ(m_dir.File("local"), std::string(GetLocalDataFolder()));
    EXPECT_EQ(m_dir.File("config"), std::string(GetUserConfigFolder()));
    EXPECT_EQ(m_dir.File("home"), std::string(GetHomeFolder()));
}

TEST_F(PlatformTest, AVariableThatIsNoAbsolutePathCountsAsUnset) {
    for (const char* pszValue : kNoFolder) {
        m_folders.dataHome.Set(pszValue);
        m_folders.configHome.Set(pszValue);
        EXPECT_EQ(m_dir.File("home/.local/share"), std::string(GetUserDataFolder()));
        EXPECT_EQ(m_dir.File("home/.config"), std::string(GetUserConfigFolder()));
    }
}

TEST_F(PlatformTest, TheFirstAbsoluteFolderOfAListIsTaken) {
    const std::string strFirst = m_dir.File("first");
    for (const std::string& strList :
         {strFirst, strFirst + ":" + m_dir.File("second"), ":" + strFirst + ":", "relative:" + strFirst}) {
        m_folders.dataDirs.Set(strList.c_str());
        EXPECT_EQ(strFirst, std::string(GetLocalDataFolder())) << strList;
    }
    EXPECT_FALSE(fs::exists(m_dir.File("second")));
}

TEST_F(PlatformTest, WithoutAListTheSharedFolderIsBelowUsrLocal) {
    for (const char* pszValue : {static_cast<const char*>(nullptr), "", "relative", ":", "a:b:"}) {
        m_folders.dataDirs.Set(pszValue);
        // It is there on any system; were it not, a test must not make it.
        const PosixFault noFolders("mkdir", EROFS);
        const bool bThere = fs::is_directory("/usr/local/share");
        EXPECT_EQ(bThere ? "/usr/local/share" : "", std::string(GetLocalDataFolder()));
    }
}

TEST_F(PlatformTest, SettingsOfAllUsersHaveOnePlace) {
    EXPECT_EQ("/etc/xdg", std::string(GetLocalConfigFolder()));
}

TEST_F(PlatformTest, DataFoldersAreMadeAndSettingsFoldersAreNot) {
    GetUserConfigFolder();
    EXPECT_TRUE(fs::is_empty(m_dir.Path()));
    GetUserDataFolder();
    EXPECT_TRUE(fs::is_directory(m_dir.File("data")));
    EXPECT_FALSE(fs::exists(m_dir.File("local")));
    GetLocalDataFolder();
    EXPECT_TRUE(fs::is_directory(m_dir.File("local")));
}

TEST_F(PlatformTest, AUsersFolderIsPrivateAndASharedOneIsNot) {
    const Umask umaskForNow(0);
    m_folders.dataHome.Set(m_dir.File("deep/data").c_str());
    GetUserDataFolder();
    EXPECT_EQ(fs::perms(0700), PermissionsOf(m_dir.File("deep")));
    EXPECT_EQ(fs::perms(0700), PermissionsOf(m_dir.File("deep/data")));
    GetLocalDataFolder();
    EXPECT_EQ(fs::perms(0755), PermissionsOf(m_dir.File("local")));
}

TEST_F(PlatformTest, AFolderThatCannotBeMadeIsNone) {
    {
        const PosixFault fault("mkdir", EACCES);
        EXPECT_EQ("", std::string(GetUserDataFolder()));
    }
    WriteFile(m_dir.File("local"), "a file is in its place");
    EXPECT_EQ("", std::string(GetLocalDataFolder()));
}

TEST_F(PlatformTest, WithoutHomeTheUserDatabaseIsAsked) {
    const std::string strHome = getpwuid(getuid())->pw_dir;
    m_folders.configHome.Set(nullptr);
    for (const char* pszValue : kNoFolder) {
        m_folders.home.Set(pszValue);
        EXPECT_EQ(strHome, std::string(GetHomeFolder()));
        EXPECT_EQ(strHome + "/.config", std::string(GetUserConfigFolder()));
    }
}

TEST_F(PlatformTest, AUserWithoutAHomeHasNoFolders) {
    m_folders.home.Set(nullptr);
    m_folders.configHome.Set(nullptr);
    m_folders.dataHome.Set(nullptr);
    for (String (*pfnFolder)() : {GetHomeFolder, GetUserConfigFolder, GetUserDataFolder}) {
        const PosixFault fault("getpwuid_r", EIO);
        EXPECT_EQ("", std::string(pfnFolder()));
        EXPECT_EQ(1, fault.Calls());
    }
}

TEST(ExecutablePathTest, ItIsTheProgramsOwnFile) {
    EXPECT_EQ(OwnExecutable(), std::string(GetExecutablePath()));
}

TEST(ExecutablePathTest, ItIsFoundWhereNoProcIsMounted) {
    const PosixFault fault("readlink", ENOENT);
    EXPECT_EQ(OwnExecutable(), std::string(GetExecutablePath()));
    EXPECT_EQ(1, fault.Calls());
}

TEST(ExecutablePathTest, ItIsEmptyWhenTheSystemDoesNotTell) {
    const PosixFault noLink("readlink", ENOENT);
    const PosixFault noPath("realpath", ENOENT);
    EXPECT_EQ("", std::string(GetExecutablePath()));
}

TEST(MakeMissingFoldersTest, ExistingFoldersAreNotMadeAgain) {
    const TempDir dir;
    const PosixFault fault("mkdir", EACCES, 2);
    EXPECT_TRUE(MakeMissingFolders(dir.File("a").c_str(), 0700));
    EXPECT_TRUE(MakeMissingFolders(dir.File("a/").c_str(), 0700));
    EXPECT_EQ(1, fault.Calls());
}

TEST(MakeMissingFoldersTest, OneThatAppearsMeanwhilePasses) {
    const TempDir dir;
    const std::string strPath = dir.File("a");
    fs::create_directory(strPath);
    // The first look at it, after those at the folders it is in, does not see it.
    const PosixFault fault("stat", ENOENT, static_cast<int>(std::count(strPath.begin(), strPath.end(), '/')));
    EXPECT_TRUE(MakeMissingFolders(strPath.c_str(), 0700));
}

TEST(MakeMissingFoldersTest, DoubledAndTrailingSlashesAreNoFolders) {
    const TempDir dir;
    EXPECT_TRUE(MakeMissingFolders(dir.File("a//b/").c_str(), 0700));
    EXPECT_TRUE(fs::is_directory(dir.File("a/b")));
    EXPECT_TRUE(MakeMissingFolders("/", 0700));
}

TEST(MakeMissingFoldersTest, ARelativeOrMissingPathIsRefused) {
    const TempDir dir;
    const fs::path before = fs::current_path();
    fs::current_path(dir.Path());
    for (const char* pszPath : {static_cast<const char*>(nullptr), "", "a/b"})
        EXPECT_FALSE(MakeMissingFolders(pszPath, 0700));
    EXPECT_FALSE(fs::exists("a"));
    fs::current_path(before);
}

}  // namespace Kestrova::Test
