// SourceTree.h - the texts of this tree, for the tests that look at it and not at the program.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace Kestrova::Test {

// The folders of the product, from the top of the tree.
inline const std::vector<std::string> kProductFolders = {"shared", "SamplerDBDS", "stream",    "codec",
                                                         "bank",   "include",     "libkvbank", "import",
                                                         "app",    "tools",       "examples"};

// The text of a file, its path given from the top of the tree; and any text by its lines.
std::string TextOf(const std::string& strPath);
std::vector<std::string> LinesOf(const std::string& strText);

// The files of a folder and of those in it whose names end in one of these, as paths from the top of the
// tree.
std::vector<std::string> FilesBelow(const std::string& strFolder, const std::set<std::string>& suffixes);

// The rows of the Markdown tables in a text, each as its cells; the head of a table is no row. With a heading
// given, only the rows of the tables whose head begins with this cell.
using Cells = std::vector<std::string>;
std::vector<Cells> TableRows(const std::string& strMarkdown, const std::string& strHead = "");

// What stands between single backticks on one line.
std::vector<std::string> Quoted(const std::string& strMarkdown);

// One TEST, TEST_F, TEST_P or TYPED_TEST of a source.
struct TestCase {
    std::string strName;     // "Suite.Name"
    std::string strComment;  // the lines of comment directly above it
};
std::vector<TestCase> TestsIn(const std::string& strSource);
// Those of the whole tree.
std::vector<TestCase> AllTests();

}  // namespace Kestrova::Test
