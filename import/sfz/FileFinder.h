// FileFinder.h - finds the files that the text of an instrument names, as it was meant on other systems.
#pragma once

#include <map>
#include <string>

#include "import/ImportOutcome.h"
#include "import/ImportReport.h"

namespace Kestrova {

// Names are relative to one folder, and may lead out of it by "..", as many instruments keep their samples
// beside the folder of their texts. A backslash separates folders as a slash does. Where no name has the
// letters in the case that is given, the first in byte order that differs by the case of A to Z alone is
// taken; each part of a path by itself. Both are noted in the report as accepted, with the number of names.
// Absolute names and those with a drive are not looked for: they belong to the machine where the text was
// written.
// Threads: one.
class FileFinder {
public:
    // The report must outlive the object.
    FileFinder(std::string strFolder, ImportReport& report);

    // The path of the file when done. Otherwise the outcome tells why there is none; only files are taken, no
    // folders, pipes or devices. Each name should be asked for once: it is counted in the report each time.
    ImportOutcome Find(const std::string& strName, std::string& strPath);

    const std::string& GetFolder() const { return m_strFolder; }

private:
    using Names = std::map<std::string, std::string>;  // a folder's, by their lower case

    ImportOutcome FindAsGiven(const std::string& strName, std::string& strPath);
    ImportOutcome FindInAnyCase(const std::string& strName, std::string& strPath);
    const Names& NamesIn(const std::string& strFolder);

    std::string m_strFolder;  // ends in "/"
    ImportReport& m_report;
    std::map<std::string, Names> m_folders;
};

// The folder of a file, with its last slash; "./" when the path has none.
std::string FolderOf(const std::string& strPath);
// The last part of a path without its extension.
std::string StemOf(const std::string& strPath);

}  // namespace Kestrova
