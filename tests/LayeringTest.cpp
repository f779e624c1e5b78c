// Dependencies point one way; this reads every #include of the product and fails on one that points up.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

// A folder and the folders it may include from beside itself.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"shared/System", {}},
    {"shared/Tasks", {"shared/System"}},
    {"SamplerDBDS/BaseClasses", {"shared/System"}},
    {"stream", {"shared/System", "SamplerDBDS/BaseClasses"}},
    {"codec", {"shared/System", "stream"}},
    {"SamplerDBDS/DataBase", {"shared/System", "SamplerDBDS/BaseClasses", "stream", "codec"}},
    {"bank/resample", {"shared/System"}},
    {"bank",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "stream", "codec",
      "bank/resample"}},
    {"import", {"shared/System", "SamplerDBDS/DataBase", "bank"}},
    {"import/soundfont",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "import"}},
    {"tools", {}},
    {"tools/kvbank/terminal", {"shared/System", "bank"}},
    {"tools/kvbank/folder", {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank"}},
    {"tools/kvbank/engine",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/folder"}},
    {"tools/kvbank/compare",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/folder", "tools/kvbank/engine"}},
    {"tools/kvbank/build",
     {"shared/System", "bank", "tools/kvbank/terminal", "tools/kvbank/folder", "tools/kvbank/engine",
      "tools/kvbank/compare"}},
    {"tools/kvbank/verify",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/folder", "tools/kvbank/engine", "tools/kvbank/compare"}},
    {"tools/kvbank/demo", {"shared/System", "SamplerDBDS/DataBase", "bank"}},
    {"tools/kvbank",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "import",
      "import/soundfont", "tools/kvbank/terminal", "tools/kvbank/folder", "tools/kvbank/engine",
      "tools/kvbank/compare", "tools/kvbank/build", "tools/kvbank/verify", "tools/kvbank/demo"}},
    {"app", {"shared/System", "shared/Tasks", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank"}},
    {"app/qt", {"shared/System", "app"}},
};
const std::set<std::string> kCore = {"shared/System", "shared/Tasks", "SamplerDBDS/BaseClasses",
                                     "stream",        "codec",        "SamplerDBDS/DataBase",
                                     "bank",          "bank/resample"};

constexpr char kToolkitFolder[] = "app/qt";

// The row of kMayInclude a path from the root belongs to, the longest of several, or "" for none.
std::string FolderOf(const std::string& strPath) {
    std::string strLongest;
    for (const auto& [strFolder, allowed] : kMayInclude)
        if (strPath.rfind(strFolder + "/", 0) == 0 && strFolder.size() > strLongest.size())
            strLongest = strFolder;
    return strLongest;
}

struct Include {
    std::string strFile;
    std::string strTarget;
    bool bQuoted = false;
};

std::vector<Include> ReadIncludes(const fs::path& file) {
    static const std::regex kPattern(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
    std::vector<Include> includes;
    std::ifstream in(file);
    for (std::string strLine; std::getline(in, strLine);) {
        std::smatch match;
        if (std::regex_search(strLine, match, kPattern))
            includes.push_back({fs::relative(file, SourceDir()).string(), match[2], match[1] == "\""});
    }
    return includes;
}

std::vector<Include> AllIncludes() {
    std::vector<Include> all;
    for (const auto& [strFolder, allowed] : kMayInclude) {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(SourceDir() / strFolder)) {
            const std::string strSuffix = entry.path().extension().string();
            if (strSuffix != ".h" && strSuffix != ".cpp") continue;
            // What lies in a folder with a row of its own comes with that one.
            if (FolderOf(fs::relative(entry.path(), SourceDir()).string()) != strFolder) continue;
            const std::vector<Include> ofFile = ReadIncludes(entry.path());
            all.insert(all.end(), ofFile.begin(), ofFile.end());
        }
    }
    return all;
}

TEST(LayeringTest, TheTreeHasIncludesToCheck) { EXPECT_GT(AllIncludes().size(), 200u); }

TEST(LayeringTest, EveryIncludePointsAtItsOwnFolderOrOneBelow) {
    for (const Include& include : AllIncludes()) {
        if (!include.bQuoted) continue;
        const std::string strFrom = FolderOf(include.strFile);
        const std::string strTo = FolderOf(include.strTarget);
        EXPECT_TRUE(strFrom == strTo || kMayInclude.at(strFrom).count(strTo) == 1)
            << include.strFile << " includes " << include.strTarget;
    }
}

TEST(LayeringTest, IncludesOfOursAreWrittenFromTheRoot) {
    for (const Include& include : AllIncludes()) {
        if (!include.bQuoted) continue;
        EXPECT_TRUE(fs::exists(SourceDir() / include.strTarget))
            << include.strFile << " includes " << include.strTarget;
    }
}

// The one source of the core that may see a library.
constexpr char kPreferencesBackend[] = "shared/System/kvPreferencesFile.cpp";

// A header with a folder in its name is a library's, but for the system's own.
TEST(LayeringTest, TheCoreNeedsTheStandardLibraryAndPosixAlone) {
    for (const Include& include : AllIncludes()) {
        if (include.bQuoted || kCore.count(FolderOf(include.strFile)) == 0) continue;
        if (include.strFile == kPreferencesBackend) continue;
        const bool bSystem = include.strTarget.rfind("sys/", 0) == 0;
        const bool bLibrary = include.strTarget.find('/') != std::string::npos && !bSystem;
        EXPECT_FALSE(bLibrary) << include.strFile << " includes " << include.strTarget;
    }
}

// The toolkit's headers are <QString>, <QtGlobal>, <QtWidgets/QWidget>, <qwidget.h>; none of ours or the
// system's begins so.
bool IsOfTheToolkit(const Include& include) {
    return include.strTarget[0] == 'Q' || include.strTarget.rfind("qt", 0) == 0 ||
           (!include.bQuoted && include.strTarget[0] == 'q');
}

TEST(LayeringTest, OneFolderAloneSeesTheToolkit) {
    int nSeen = 0;
    for (const Include& include : AllIncludes()) {
        if (!IsOfTheToolkit(include)) continue;
        ++nSeen;
        EXPECT_EQ(kToolkitFolder, FolderOf(include.strFile))
            << include.strFile << " includes " << include.strTarget;
    }
    EXPECT_GT(nSeen, 10) << "there are such includes to see";
}

TEST(LayeringTest, AFileBelongsToTheLongestRowThatFits) {
    EXPECT_EQ("app", FolderOf("app/StgMan.cpp"));
    EXPECT_EQ("app/qt", FolderOf("app/qt/GuiStart.cpp"));
    EXPECT_EQ("", FolderOf("apple/a.cpp"));
}

}  // namespace
}  // namespace Kestrova::Test
