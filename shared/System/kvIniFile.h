// kvIniFile.h - a small text file of settings: lines under section headers, written back when they changed.
#pragma once

#include <string_view>

#include "shared/System/kvFifoList.h"
#include "shared/System/kvString.h"

namespace Kestrova {

// What a line of the file is:
//   - A header holds "[" and, somewhere behind it, "]"; the text between the first "[" and the first "]"
//     behind it is the section's name, compared exactly. Text around the brackets is ignored.
//   - The lines up to the next header or the end are the section's body. Of two sections of one name the
//     first counts.
//   - Any body line is an item. There are no comments.
//   - A body line with "=" behind at least one character is also a pair: the key before the first "=", the
//     value behind it, both without white space around them; with nothing left of the key it is none.
// A line is read in pieces of at most 1022 characters, its line end included, and each piece is a line here.
// Line ends are cut off; a zero byte ends the text of its piece.
//
// Owner:   owns its lines; the lists of results belong to the caller and are emptied first.
// Threads: none of its own: one thread at a time. No file is kept open or locked between two calls.
// Errors:  values; throws std::bad_alloc. While no file is open the calls work on lines in memory that nobody
//          writes.
// A null or empty section name, and one that no header can carry (with "]" or a line end, or longer than 1020
// characters), does nothing and delivers nothing.
class IniFile {
public:
    IniFile() = default;
    // Deliberately (Q35) writes nothing: changes that no Close wrote are lost.
    ~IniFile() = default;
    IniFile(const IniFile&) = delete;
    IniFile& operator=(const IniFile&) = delete;

    // Closes the open file, then reads all lines of another.
    //   pszPath: null for the path given before. A symbolic link stands for the file it leads to.
    //   pszMode: as the C library's fopen takes it; "a+" makes a missing file, "w" empties the file. In every
    //            mode the lines are read ("a" needs a readable file) and changes are written back, because
    //            a caller wants to keep what it sets; "r" only says that the file must exist.
    // 1, or 0 with the object closed: no such mode or file, not a regular file, more than 4 MiB, unreadable.
    int Open(const char* pszPath, const char* pszMode);

    // Writes the lines back if the file is open, something changed and there are lines, and drops them.
    // The file is replaced by a new one that keeps its permissions and, where allowed, its owner: at any time
    // it holds all the old lines or all the new. Where its folder takes no other file (it may not be written
    // to, or the file is mounted there by itself), the new lines are written over the old ones instead: a
    // loss of power, a kill or a failing disk at that moment leaves new lines with old ones behind them.
    // Of two that write, the last wins. Anything else that goes wrong (no right to write to the file, a full
    // disk, more than 4 MiB) loses the changes silently and leaves the old lines.
    void Close();

    // The section's lines without white space around them, empty ones left out; their number.
    int GetItems(FifoList<LinkedString>& out, const char* pszSection) const;

    // Adds the section at the end if it is missing; then adds the item as the last line of its body unless it
    // is null or empty, a body line equals it exactly, or a line end in it would make it two lines.
    void SetItem(const char* pszSection, const char* pszItem);

    // Removes the first body line that equals the item exactly. Deliberately
    // adds a missing section, as SetItem does.
    void RemoveItem(const char* pszSection, const char* pszItem);

    // The value of the section's first pair with this key. 1 if found, else 0 and the value is empty.
    int GetKeyValue(const char* pszSection, const char* pszKey, String& strValue) const;

    // Makes GetKeyValue find this value, without white space around it: the line of the section's first pair
    // with this key becomes "key=value" (it stays as it is when the value is the same already), else such a
    // line is added where SetItem adds items, and the section before it when it is missing. 1, or 0 and
    // nothing changed for a pair that would not be read back: a key that is null, empty, with white space
    // around it or "=" in it; a line end; a line that would be a header or longer than 1021 characters.
    int SetKeyValue(const char* pszSection, const char* pszKey, const String& strValue);

    // The keys of the section's pairs in the file's order; their number.
    int GetKeys(FifoList<LinkedString>& out, const char* pszSection) const;

    // The names of all sections in the file's order, each once, empty ones left out; their number.
    int GetSections(FifoList<LinkedString>& out) const;

private:
    using Iterator = FifoList<LinkedString>::Iterator;

    void SplitLines(std::string_view content);
    void Write() const;

    Iterator FindHeader(const char* pszSection) const;  // the end when the section is missing
    Iterator BodyOf(const char* pszSection) const;      // the line behind the header, or the end
    Iterator EnsureSection(const char* pszSection);     // the same, with a missing header added
    void AddLine(Iterator body, const char* pszLine);

    String m_strPath;    // as given
    String m_strTarget;  // the file it led to, absolute and free of links
    FifoList<LinkedString> m_lines;
    bool m_bOpen = false;
    bool m_bModified = false;
};

}  // namespace Kestrova
