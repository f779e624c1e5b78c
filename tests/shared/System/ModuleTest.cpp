#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "shared/System/kvModule.h"
#include "shared/System/kvPreferences.h"
#include "tests/support/OwnExecutable.h"
#include "tests/support/PosixFaults.h"
#include "tests/support/PrivateHome.h"
#include "tests/support/TempDir.h"

namespace Kestrova::Test {
namespace {

// What is written to standard error meanwhile.
std::string EnsureFolder(const std::string& strPath) {
    testing::internal::CaptureStderr();
    Module::EnsureFolderExists(strPath.c_str());
    return testing::internal::GetCapturedStderr();
}

// The folder of this test program.
std::string OwnFolder() { return fs::path(OwnExecutable()).parent_path().string() + "/"; }

class ModuleTest : public PrivateHomeTest {
protected:
    // What GetPathCreateSubfolder gives; what it writes to standard error meanwhile is in m_strErrors.
    std::string CreateSubfolder(int nType, const char* pszSubPath) {
        testing::internal::CaptureStderr();
        const String strPath = Module::GetPathCreateSubfolder(nType, pszSubPath);
        m_strErrors = testing::internal::GetCapturedStderr();
        return std::string(strPath);
    }

    // Makes an installation of four levels and gives its executable.
    std::string Install() {
        fs::create_directories(m_dir.File("holder/App/Contents/Binary"));
        WriteFile(m_dir.File("holder/App/Contents/Binary/program"), "");
        return m_dir.File("holder/App/Contents/Binary/program");
    }

    // Where the installation is, from what Module found out.
    static std::string Location() {
        const FSSpec spec = Module::GetLocation();
        return std::string(spec.strFolder) + "|" + std::string(spec.strName);
    }

    std::string m_strErrors;
};

// Tests of a process in which nothing has been called yet. They run in a new process and need no folders.
class ModuleDeathTest : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

auto AssertionOf(const std::string& strFunction, const std::string& strExpression) {
    return testing::AllOf(testing::HasSubstr(strFunction + ": shared/System/kvModule, line "),
                          testing::EndsWith(": assertion failed: " + strExpression + "\n"));
}

}  // namespace

TEST_F(ModuleTest, InitRegistersNameAndVersion) {
    Module::Init("StgMan", "1.0");
    EXPECT_EQ("StgMan", std::string(Module::GetName()));
    EXPECT_EQ("1.0", std::string(Module::GetVersion()));
    EXPECT_EQ("Kestrova/StgMan/", std::string(Module::GetAppSubfolderAnyVersion()));
    EXPECT_EQ("Kestrova/StgMan/1.0/", std::string(Module::GetAppSubfolder()));
}

TEST_F(ModuleTest, MissingNamesAndVersionsLeaveTheirFoldersOut) {
    for (const char* pszNone : {static_cast<const char*>(nullptr), ""}) {
        Module::Init("StgMan", pszNone);
        EXPECT_EQ("Kestrova/StgMan/", std::string(Module::GetAppSubfolder()));
        Module::Init(pszNone, "1.0");
        EXPECT_EQ("Kestrova/", std::string(Module::GetAppSubfolderAnyVersion()));
        EXPECT_EQ("Kestrova/1.0/", std::string(Module::GetAppSubfolder()));
    }
}

TEST_F(ModuleTest, TheInstallationIsFourLevelsAboveTheExecutable) {
    Module::SetLocation({"/nowhere/", "else"});
    Module::Init(Install().c_str(), "StgMan", "1.0");
    EXPECT_EQ(m_dir.Path().string() + "/|holder", Location());
}

TEST_F(ModuleTest, TheClimbBeginsAtTheEndOfALink) {
    fs::create_symlink(Install(), m_dir.File("link"));
    Module::Init(m_dir.File("link").c_str(), "StgMan", "1.0");
    EXPECT_EQ(m_dir.Path().string() + "/|holder", Location());
    EXPECT_EQ(m_dir.Path().string() + "/", std::string(Module::GetModulePath()));
}
// Q24

// Q24
TEST_F(ModuleTest, AFailedClimbLeavesTheLocation) {
    // No such file; fewer folders above it than levels.
    for (const char* pszPath : {"/no/such/file/here/program", "/", "/bin/", "/etc/passwd"}) {
        Module::SetLocation({"/some/", "where"});
        Module::Init(pszPath, "StgMan", "1.0");
        EXPECT_EQ("/some/|where", Location()) << pszPath;
    }
}

TEST_F(ModuleTest, TheRootCanHoldTheInstallation) {
    Module::SetLocation({"/some/", "where"});
    Module::Init("/usr/share/common-licenses/GPL-3", "StgMan", "1.0");
    EXPECT_EQ("/|", Location());
}

TEST_F(ModuleTest, ABareNameWasFoundByTheShellSoTheClimbBeginsAtTheProgramsOwnFile) {
    Module::SetLocation({"/some/", "where"});
    Module::Init(OwnExecutable().c_str(), "StgMan", "1.0");
    const std::string strExpected = Location();
    ASSERT_NE("/some/|where", strExpected);
    for (const char* pszPath : {static_cast<const char*>(nullptr), "", "program"}) {
        Module::SetLocation({"/some/", "where"});
        Module::Init(pszPath, "StgMan", "1.0");
        EXPECT_EQ(strExpected, Location());
    }
}
// Q23

// Q23
TEST_F(ModuleTest, TheFoldersAboveComeFromThePathOfTheExecutable) {
    struct Row {
        const char* pszExecutable;
        const char* pszModulePath;
        const char* pszContents;
        const char* pszName;
    };
    constexpr Row kRows[] = {
        {"/h/App/Contents/Binary/program", "/h/App/Contents/Binary/", "/h/App/Contents/", "App"},
        {"/App/Contents/Binary/program", "/App/Contents/Binary/", "/App/Contents/", "App"},
        {"App/Contents/Binary/program", "App/Contents/Binary/", "App/Contents/", "App"},
        {"/Contents/Binary/program", "/Contents/Binary/", "/Contents/", ""},
        {"/usr/bin/program", "/usr/bin/", "/usr/", ""},
        {"/bin/program", "/bin/", "/", ""},
        {"./program", "./", "", ""},
        {"/program", "/", "", ""},
        {"//program", "//", "/", ""},
        {"/App/Contents/Binary/", "/App/Contents/Binary/", "/App/Contents/", "App"},
        // Deliberately the whole text where there is no folder.
        {"program", "program", "", ""},
        {"", "", "", ""},
        {nullptr, "", "", ""},
    };
    for (const Row& row : kRows) {
        Module::Init(row.pszExecutable, "StgMan", "1.0");
        EXPECT_EQ(row.pszModulePath, std::string(Module::GetModulePath()));
        EXPECT_EQ(row.pszContents, std::string(Module::GetContentsPath())) << row.pszModulePath;
        EXPECT_EQ(row.pszName, std::string(Module::GetModuleName())) << row.pszModulePath;
    }
}

TEST_F(ModuleTest, TheModulesFolderIsThatOfTheProgramsOwnFileWhateverItWasStartedBy) {
    for (const char* pszPath : {"program", "./program", "/somewhere/else/program"}) {
        Module::Init(pszPath, "StgMan", "1.0");
        EXPECT_EQ(OwnFolder(), std::string(Module::GetFolderPath()));
        EXPECT_EQ(OwnFolder(), std::string(Module::GetPath(Module::kAppPathModule)));
    }
    EXPECT_EQ(OwnExecutable(), std::string(Module::getMainBundle()));
}

TEST_F(ModuleDeathTest, TheFirstInitFindsTheExecutablesFolderAndALaterOneKeepsThePath) {
    const auto fnRun = [] {
        Module::Init("StgMan", "1.0");
        if (std::string(Module::GetModulePath()) != OwnFolder()) std::exit(1);
        Module::Init("/given/program", "StgMan", "1.0");
        Module::Init("StgMan", "1.0");
        std::exit(std::string(Module::GetModulePath()) == "/given/" ? 0 : 2);
    };
    EXPECT_EXIT(fnRun(), testing::ExitedWithCode(0), "");
}

TEST_F(ModuleDeathTest, AProgramThatCannotFindItsOwnFileEnds) {
    const auto fnRun = [] {
        const PosixFault noLink("readlink", ENOENT);
        const PosixFault noPath("realpath", ENOENT);
        Module::getMainBundle();
    };
    EXPECT_EXIT(fnRun(), testing::KilledBySignal(SIGABRT), AssertionOf("getMainBundle", "mainBundle != 0"));
}

TEST_F(ModuleDeathTest, ProfilesNeedInit) {
    EXPECT_DEATH(Module::GetProfileInt("k", "e", 1, false), AssertionOf("GetProfileInt", "sInited"));
    EXPECT_DEATH(Module::GetProfileString("k", "e", "", false), AssertionOf("GetProfileString", "sInited"));
    EXPECT_DEATH(Module::WriteProfileInt("k", "e", 1, false), AssertionOf("WriteProfileInt", "sInited"));
    EXPECT_DEATH(Module::WriteProfileString("k", "e", "", false),
                 AssertionOf("WriteProfileString", "sInited"));
}

TEST_F(ModuleTest, TheBaseFoldersEndInASlash) {
    EXPECT_EQ(m_dir.File("data/"), std::string(Module::GetPath(1)));
    EXPECT_EQ(m_dir.File("data/"), std::string(Module::GetPath(2)));
    EXPECT_EQ(m_dir.File("local/"), std::string(Module::GetPath(3)));
    m_folders.dataHome.Set(m_dir.File("data/").c_str());
    EXPECT_EQ(m_dir.File("data/"), std::string(Module::GetPath(2)));
}

TEST_F(ModuleTest, ABaseFolderIsUnified) {
    m_folders.dataHome.Set(m_dir.File("da\\ta").c_str());
    EXPECT_EQ(m_dir.File("da/ta/"), std::string(Module::GetPath(2)));
}

TEST_F(ModuleTest, OtherTypesHaveNoFolder) {
    for (const int nType : {4, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ("", std::string(Module::GetPath(nType)));
        EXPECT_EQ("", std::string(Module::GetPathSubfolder(nType, "a")));
    }
}

TEST_F(ModuleTest, ABaseFolderThatCannotBeMadeIsEmptyAndSoIsWhatIsBelow) {
    WriteFile(m_dir.File("local"), "");
    EXPECT_EQ("", std::string(Module::GetPath(3)));
    EXPECT_EQ("", std::string(Module::GetPathSubfolder(3, "Kestrova/Calderine")));
}

TEST_F(ModuleTest, ASubPathIsAppendedWithoutItsEmptyComponents) {
    for (const char* pszSubPath : {"Kestrova/Calderine", "Kestrova//Calderine//", "/Kestrova/Calderine/"})
        EXPECT_EQ(m_dir.File("local/Kestrova/Calderine/"),
                  std::string(Module::GetPathSubfolder(3, pszSubPath)));
    EXPECT_TRUE(fs::is_empty(m_dir.File("local")));
    for (const char* pszSubPath : {static_cast<const char*>(nullptr), "", "/", "//"})
        EXPECT_EQ(m_dir.File("local/"), std::string(Module::GetPathSubfolder(3, pszSubPath)));
}

TEST_F(ModuleTest, CreatingASubfolderMakesEveryComponent) {
    const mode_t nBefore = umask(0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(m_dir.File("local/Kestrova/Calderine/"), CreateSubfolder(3, "Kestrova//Calderine/"));
        EXPECT_EQ("", m_strErrors);
    }
    umask(nBefore);
    for (const char* pszPath : {"local/Kestrova", "local/Kestrova/Calderine"})
        EXPECT_EQ(fs::perms::all, fs::status(m_dir.File(pszPath)).permissions());
}

TEST_F(ModuleTest, AReadOnlySharedFolderFallsBackToTheUsers) {
    Module::GetPath(3);
    Module::GetPath(2);
    const PosixFault fault("mkdir", EROFS);
    EXPECT_EQ(m_dir.File("data/Kestrova/Calderine/"), CreateSubfolder(3, "Kestrova/Calderine"));
    EXPECT_EQ("mkdir error 30: path = \"" + m_dir.File("local/Kestrova") + "\"\n", m_strErrors);
}

TEST_F(ModuleTest, AMissingSharedFolderThatCannotBeMadeFallsBackInSilence) {
    WriteFile(m_dir.File("local"), "");
    EXPECT_EQ(m_dir.File("data/Kestrova/"), CreateSubfolder(3, "Kestrova"));
    EXPECT_EQ("", m_strErrors);
}

TEST_F(ModuleTest, AFailureDeeperInTheSubPathFallsBackToo) {
    Module::GetPath(3);
    WriteFile(m_dir.File("local/Kestrova"), "a file passes for a folder until something is below it");
    EXPECT_EQ(m_dir.File("data/Kestrova/Calderine/"), CreateSubfolder(3, "Kestrova/Calderine"));
    EXPECT_EQ("mkdir error 20: path = \"" + m_dir.File("local/Kestrova/Calderine") + "\"\n", m_strErrors);
}
// Q25

// Q25
TEST_F(ModuleTest, TheUsersFolderIsTriedTwiceAndThenTheModulesOwn) {
    WriteFile(m_dir.File("local"), "");
    fs::create_directory(m_dir.File("data"));
    WriteFile(m_dir.File("data/a"), "");
    const std::string strFailure = "mkdir error 20: path = \"" + m_dir.File("data/a/b") + "\"\n";
    // The sixth call would make a folder beside this program.
    const PosixFault fault("mkdir", EACCES, 6);
    EXPECT_EQ("", CreateSubfolder(3, "a/b"));
    EXPECT_EQ(strFailure + strFailure + "mkdir error 13: path = \"" + OwnFolder() + "a\"\n", m_strErrors);
}

TEST_F(ModuleTest, ATypeAboveTheListedOnesFallsBackToThem) {
    EXPECT_EQ(m_dir.File("local/a/"), CreateSubfolder(INT_MAX, "a"));
    EXPECT_EQ("", CreateSubfolder(-1, "a"));
}
// Q26

// Q26
TEST_F(ModuleTest, AFolderThatCannotBeWrittenToPassesAllTheSame) {
    fs::create_directories(m_dir.File("local/a"));
    fs::permissions(m_dir.File("local/a"), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(m_dir.File("local/a/"), CreateSubfolder(3, "a"));
    EXPECT_EQ("", m_strErrors);
}

TEST_F(ModuleTest, ProfileValuesAreKeptInTheModulesDomain) {
    Module::Init("StgMan", "1.0");
    EXPECT_EQ(0, Module::WriteProfileInt("Window", "Left", -7, false));
    EXPECT_EQ(0, Module::WriteProfileString("Window", "Title", "text", false));
    EXPECT_EQ(-7, Module::GetProfileInt("Window", "Left", 1, false));
    EXPECT_EQ("text", std::string(Module::GetProfileString("Window", "Title", "", false)));
    const Preferences domain("com.kestrova.StgMan.1.0");
    EXPECT_EQ(-7, domain.GetProfileInt("Window/Left", nullptr, 1));

    Module::Init("StgMan", nullptr);
    EXPECT_EQ(1, Module::GetProfileInt("Window", "Left", 1, false));
    EXPECT_EQ(0, Module::WriteProfileInt("Window", "Left", 2, false));
    EXPECT_TRUE(fs::exists(m_dir.File("config/com.kestrova.StgMan.json")));
}

TEST_F(ModuleTest, AProfileThatCannotBeUsedGivesDefaultsAndMinusOne) {
    Module::Init("a/b", "1.0");
    EXPECT_EQ(5, Module::GetProfileInt("k", "e", 5, false));
    EXPECT_EQ("d", std::string(Module::GetProfileString("k", "e", "d", false)));
    EXPECT_EQ(-1, Module::WriteProfileInt("k", "e", 5, false));
    EXPECT_EQ(-1, Module::WriteProfileString("k", "e", "text", false));
}

TEST_F(ModuleTest, TheProfileOfAllUsersIsAnotherOne) {
    Module::Init("NoSuchModule", "0.0");
    ASSERT_EQ(0, Module::WriteProfileInt("k", "e", 3, false));
    EXPECT_EQ(4, Module::GetProfileInt("k", "e", 4, true));
    EXPECT_EQ("d", std::string(Module::GetProfileString("k", "e", "d", true)));
}

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
// Q16

// Q16
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

}  // namespace Kestrova::Test
