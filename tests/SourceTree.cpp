#include "tests/SourceTree.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "tests/support/Vectors.h"

namespace Kestrova::Test {
namespace {

namespace fs = std::filesystem;

std::string Trimmed(const std::string& strText) {
    const size_t nFrom = strText.find_first_not_of(' ');
    if (nFrom == std::string::npos) return "";
    return strText.substr(nFrom, strText.find_last_not_of(' ') + 1 - nFrom);
}

Cells CellsOf(const std::string& strLine) {
    Cells cells;
    std::istringstream in(strLine.substr(1));
    for (std::string strCell; std::getline(in, strCell, '|');) cells.push_back(Trimmed(strCell));
    return cells;
}

}  // namespace

std::string TextOf(const std::string& strPath) {
    std::ifstream in(SourceDir() / strPath);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<std::string> LinesOf(const std::string& strText) {
    std::vector<std::string> lines;
    std::istringstream in(strText);
    for (std::string strLine; std::getline(in, strLine);) lines.push_back(strLine);
    return lines;
}

std::vector<std::string> FilesBelow(const std::string& strFolder, const std::set<std::string>& suffixes) {
    std::vector<std::string> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(SourceDir() / strFolder)) {
        const std::string strName = entry.path().filename().string();
        const bool bWanted = std::any_of(suffixes.begin(), suffixes.end(), [&](const std::string& strSuffix) {
            return strName.ends_with(strSuffix);
        });
        if (bWanted) files.push_back(fs::relative(entry.path(), SourceDir()).string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<Cells> TableRows(const std::string& strMarkdown, const std::string& strHead) {
    std::vector<Cells> rows;
    const std::vector<std::string> lines = LinesOf(strMarkdown);
    bool bWanted = false;
    for (size_t n = 0; n < lines.size(); ++n) {
        if (lines[n].rfind("| ", 0) != 0) continue;
        const Cells cells = CellsOf(lines[n]);
        const bool bHeads = n + 1 < lines.size() && lines[n + 1].rfind("|-", 0) == 0;
        if (bHeads)
            bWanted = strHead.empty() || cells[0] == strHead;
        else if (bWanted)
            rows.push_back(cells);
    }
    return rows;
}

std::vector<std::string> Quoted(const std::string& strMarkdown) {
    static const std::regex kQuoted("`([^`\n]+)`");
    std::vector<std::string> quoted;
    for (std::sregex_iterator it(strMarkdown.begin(), strMarkdown.end(), kQuoted), end; it != end; ++it)
        quoted.push_back((*it)[1]);
    return quoted;
}

std::vector<TestCase> TestsIn(const std::string& strSource) {
    static const std::regex kTest(R"(^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\))");
    std::vector<TestCase> tests;
    std::string strComment;
    const std::vector<std::string> lines = LinesOf(strSource);
    for (size_t n = 0; n < lines.size(); ++n) {
        // A long name stands on a line of its own.
        const std::string strLine = lines[n] + (n + 1 < lines.size() ? lines[n + 1] : "");
        std::smatch match;
        if (std::regex_search(strLine, match, kTest))
            tests.push_back({match[1].str() + "." + match[2].str(), strComment});
        if (lines[n].rfind("//", 0) == 0)
            strComment += lines[n] + "\n";
        else
            strComment.clear();
    }
    return tests;
}

std::vector<TestCase> AllTests() {
    std::vector<TestCase> all;
    for (const std::string& strFile : FilesBelow("tests", {".cpp"})) {
        const std::vector<TestCase> tests = TestsIn(TextOf(strFile));
        all.insert(all.end(), tests.begin(), tests.end());
    }
    return all;
}

}  // namespace Kestrova::Test
