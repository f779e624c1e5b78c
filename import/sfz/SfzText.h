// SfzText.h - the text of an SFZ instrument in one piece: without comments, with its includes and
// definitions.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "import/ImportOutcome.h"
#include "import/ImportReport.h"
#include "import/sfz/FileFinder.h"

namespace Kestrova {

// What separates the words of a text, the ends of its lines included.
inline constexpr std::string_view kSfzBlanks = " \t\r\n\f\v";
constexpr bool IsSfzBlank(char c) { return kSfzBlanks.find(c) != std::string_view::npos; }

// Reads a text and the files it includes. The rules:
// - A comment goes from // to the end of its line, or from /* to */; one that does not end goes to the file's
//   end (noted as repaired).
// - #include "NAME" is replaced by that file, #define $NAME VALUE by nothing. Both may stand anywhere in a
//   line, behind a blank. A value is one word; $NAMEs in it are replaced when it is defined. A name is
//   defined from there on, over the end of its file too, and can be defined again.
// - $ is replaced with the letters behind it that are the longest defined name; others stay as they are.
// - A byte order mark is passed over.
// Names of files are relative to the folder of the first file, in every file.
class SfzTextReader {
public:
    // A text that goes beyond one of these is refused. Real ones stay below a tenth.
    static constexpr size_t kMostBytes = size_t{16} << 20;  // of all files together, and of the finished text
    static constexpr size_t kMostDepth = 20;                // files that include each other
    static constexpr size_t kMostIncludes = 10000;
    static constexpr size_t kMostValueBytes = 4096;
    static constexpr size_t kMostNameBytes = 64;  // a longer definition is dropped

    // Both must outlive the object.
    SfzTextReader(FileFinder& finder, ImportReport& report) : m_finder(finder), m_report(report) {}

    // Included files that are missing are all named by one refusal.
    ImportOutcome Read(const std::string& strPath, std::string& strText);

private:
    ImportOutcome ReadFile(const std::string& strPath);
    ImportOutcome LoadFile(const std::string& strPath, std::string& strFile);
    ImportOutcome AddText(std::string_view text);
    ImportOutcome Include(std::string_view& rest);
    ImportOutcome Define(std::string_view& rest);
    void Expand(std::string_view& rest, std::string& strOut) const;
    std::string StripComments(std::string_view text);

    FileFinder& m_finder;
    ImportReport& m_report;
    std::string m_strText;
    std::map<std::string, std::string, std::less<>> m_definitions;
    size_t m_nLongestName = 0;
    std::vector<std::string> m_open;  // paths, each includes the next
    std::vector<std::string> m_missing;
    size_t m_nIncludes = 0;
    size_t m_nBytesRead = 0;
};

// Whether a file that begins with these bytes is an SFZ text: the first thing in it, besides blanks and
// comments, is a header of the format, a definition or an include.
bool IsSfzText(std::string_view head);

// "COUNT of its files cannot be used: FILE; FILE". Messages are one line, so this is one too.
std::string MissingFilesText(const std::vector<std::string>& files);

}  // namespace Kestrova
