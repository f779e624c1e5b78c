// Dependencies point one way; this reads every #include of the product and fails on one that points up.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/SourceTree.h"
#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

// A folder, and the other folders that it may include from.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"shared/Process", {}},
    {"shared/System", {}},
    {"shared/Tasks", {"shared/System"}},
    {"SamplerDBDS/BaseClasses", {"shared/System"}},
    {"stream", {"shared/System", "SamplerDBDS/BaseClasses"}},
    {"codec", {"shared/System", "stream"}},
    {"SamplerDBDS/DataBase", {"shared/System", "SamplerDBDS/BaseClasses", "stream", "codec"}},
    {"bank/place", {"shared/System", "SamplerDBDS/BaseClasses"}},
    {"bank/resample", {"shared/System"}},
    {"bank",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "stream", "codec",
      "bank/resample"}},
    {"include", {}},
    {"libkvbank", {"include", "SamplerDBDS/DataBase"}},
    {"examples", {"include"}},
    {"import", {"shared/System", "SamplerDBDS/DataBase", "bank"}},
    {"import/soundfont",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "import",
      "import/wavefile"}},
    {"import/notefolder", {"shared/System", "bank", "import", "import/wavefile"}},
    {"import/formats",
     {"shared/System", "SamplerDBDS/BaseClasses", "bank", "import", "import/soundfont", "import/sfz",
      "import/notefolder"}},
    {"import/wavefile", {"shared/System", "SamplerDBDS/BaseClasses", "codec", "bank", "import"}},
    {"import/sfz", {"shared/System", "SamplerDBDS/BaseClasses", "bank", "import", "import/wavefile"}},
    {"tools", {}},
    {"tools/kvbank/terminal", {"shared/System", "bank"}},
    {"tools/kvbank/folder",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "bank/place",
      "tools/kvbank/sums"}},
    {"tools/kvbank/listing", {"bank", "tools/kvbank/terminal", "tools/kvbank/folder"}},
    {"tools/kvbank/sums", {"shared/System"}},
    {"tools/kvbank/engine",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/folder", "tools/kvbank/sums"}},
    {"tools/kvbank/precise", {"shared/System", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal"}},
    {"tools/kvbank/compare",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/folder", "tools/kvbank/engine", "tools/kvbank/precise"}},
    {"tools/kvbank/contents",
     {"shared/System", "SamplerDBDS/BaseClasses", "codec", "SamplerDBDS/DataBase", "bank",
      "tools/kvbank/terminal", "tools/kvbank/compare"}},
    {"tools/kvbank/export",
     {"shared/System", "SamplerDBDS/BaseClasses", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/compare", "tools/kvbank/contents"}},
    {"tools/kvbank/report",
     {"shared/System", "SamplerDBDS/DataBase", "tools/kvbank/terminal", "tools/kvbank/contents",
      "tools/kvbank/export"}},
    {"tools/kvbank/tree",
     {"SamplerDBDS/DataBase", "tools/kvbank/terminal", "tools/kvbank/engine", "tools/kvbank/compare"}},
    {"tools/kvbank/build",
     {"shared/System", "bank", "bank/place", "tools/kvbank/terminal", "tools/kvbank/folder",
      "tools/kvbank/sums", "tools/kvbank/engine", "tools/kvbank/compare", "tools/kvbank/precise"}},
    {"tools/kvbank/verify",
     {"shared/System", "SamplerDBDS/BaseClasses", "codec", "SamplerDBDS/DataBase", "bank",
      "tools/kvbank/terminal", "tools/kvbank/folder", "tools/kvbank/engine", "tools/kvbank/compare",
      "tools/kvbank/precise"}},
    {"tools/kvbank/demo", {"shared/System", "SamplerDBDS/DataBase", "bank"}},
    {"tools/kvbank/render",
     {"include", "libkvbank", "stream", "codec", "SamplerDBDS/DataBase", "bank", "tools/kvbank/terminal",
      "tools/kvbank/precise"}},
    {"tools/kvbank",
     {"shared/System",
      "shared/Process",
      "SamplerDBDS/BaseClasses",
      "codec",
      "SamplerDBDS/DataBase",
      "bank",
      "bank/place",
      "import",
      "import/formats",
      "tools/kvbank/terminal",
      "tools/kvbank/folder",
      "tools/kvbank/engine",
      "tools/kvbank/compare",
      "tools/kvbank/build",
      "tools/kvbank/sums",
      "tools/kvbank/verify",
      "tools/kvbank/demo",
      "tools/kvbank/contents",
      "tools/kvbank/export",
      "tools/kvbank/listing",
      "tools/kvbank/report",
      "tools/kvbank/tree",
      "tools/kvbank/render",
      "tools/kvbank/precise",
      "include"}},
    {"tools/manual", {"bank", "tools/kvbank"}},
    {"app",
     {"shared/System", "shared/Tasks", "shared/Process", "SamplerDBDS/BaseClasses", "codec",
      "SamplerDBDS/DataBase", "bank", "bank/place", "import", "import/formats"}},
    {"app/qt", {"shared/System", "app"}},
};
const std::set<std::string> kCore = {
    "shared/System", "shared/Tasks", "SamplerDBDS/BaseClasses", "stream",  "codec",    "SamplerDBDS/DataBase",
    "bank",          "bank/place",   "bank/resample",           "include", "libkvbank"};

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
            // The files of a folder that has a row of its own are looked at with that row.
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

// The one source of the core that may include a library.
constexpr char kPreferencesBackend[] = "shared/System/kvPreferencesFile.cpp";

// A header with a folder in its name belongs to a library, except those of the system.
TEST(LayeringTest, TheCoreNeedsTheStandardLibraryAndPosixAlone) {
    for (const Include& include : AllIncludes()) {
        if (include.bQuoted || kCore.count(FolderOf(include.strFile)) == 0) continue;
        if (include.strFile == kPreferencesBackend) continue;
        const bool bSystem = include.strTarget.rfind("sys/", 0) == 0;
        const bool bLibrary = include.strTarget.find('/') != std::string::npos && !bSystem;
        EXPECT_FALSE(bLibrary) << include.strFile << " includes " << include.strTarget;
    }
}

// The toolkit's headers are <QString>, <QtGlobal>, <QtWidgets/QWidget>, <qwidget.h>; no header of this tree
// or of the system begins like these.
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

// The arrows of the picture in docs/ARCHITECTURE.md, from each folder to those it may include from at once.
std::map<std::string, std::set<std::string>> PicturedArrows() {
    static const std::regex kNode(R"((\w+)\[([\w/]+)\])"), kArrow(R"(^\s*(\w+)\S* --> (\w+))");
    std::map<std::string, std::string> folders;
    std::map<std::string, std::set<std::string>> arrows;
    std::smatch match;
    const std::vector<std::string> lines = LinesOf(TextOf("docs/ARCHITECTURE.md"));
    for (const std::string& strLine : lines)
        for (std::sregex_iterator it(strLine.begin(), strLine.end(), kNode), end; it != end; ++it)
            folders[(*it)[1]] = (*it)[2];
    const auto folderOf = [&](const std::string& strNode) {
        return folders.count(strNode) == 1 ? folders[strNode] : strNode;
    };
    for (const std::string& strLine : lines)
        if (std::regex_search(strLine, match, kArrow)) arrows[folderOf(match[1])].insert(folderOf(match[2]));
    return arrows;
}

// Every folder that the arrows reach from one, over any number of steps.
std::set<std::string> Reached(const std::map<std::string, std::set<std::string>>& arrows,
                              const std::string& strFrom) {
    std::set<std::string> reached;
    std::vector<std::string> waiting = {strFrom};
    while (!waiting.empty()) {
        const auto it = arrows.find(waiting.back());
        waiting.pop_back();
        if (it == arrows.end()) continue;
        for (const std::string& strTo : it->second)
            if (reached.insert(strTo).second) waiting.push_back(strTo);
    }
    return reached;
}

TEST(LayeringTest, ThePictureShowsTheSame) {
    const std::map<std::string, std::set<std::string>> arrows = PicturedArrows();
    EXPECT_GT(arrows.size(), 10u);
    for (const auto& [strFolder, allowed] : kMayInclude) {
        const std::set<std::string> reached = Reached(arrows, strFolder);
        EXPECT_EQ(0u, reached.count(strFolder)) << strFolder << " stands in a circle";
        for (const std::string& strTo : allowed)
            EXPECT_EQ(1u, reached.count(strTo)) << "no arrows lead from " << strFolder << " to " << strTo;
    }
    for (const auto& [strFolder, targets] : arrows) {
        ASSERT_EQ(1u, kMayInclude.count(strFolder)) << strFolder;
        for (const std::string& strTo : targets)
            EXPECT_EQ(1u, kMayInclude.at(strFolder).count(strTo)) << strFolder << " --> " << strTo;
    }
}

TEST(LayeringTest, NoFolderHasMoreThanTwentyUnits) {
    for (const std::string& strTop : kProductFolders) {
        std::map<std::string, std::set<std::string>> units;
        for (const std::string& strFile : FilesBelow(strTop, {".h", ".cpp"}))
            units[fs::path(strFile).parent_path()].insert(fs::path(strFile).stem());
        for (const auto& [strFolder, names] : units) EXPECT_LE(names.size(), 20u) << strFolder;
    }
}

TEST(LayeringTest, AFileBelongsToTheLongestRowThatFits) {
    EXPECT_EQ("app", FolderOf("app/StgMan.cpp"));
    EXPECT_EQ("app/qt", FolderOf("app/qt/GuiStart.cpp"));
    EXPECT_EQ("", FolderOf("apple/a.cpp"));
}

}  // namespace
}  // namespace Kestrova::Test
