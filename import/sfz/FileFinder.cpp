#include "import/sfz/FileFinder.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "shared/System/kvDirectory.h"
#include "shared/System/kvPath.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

std::string LowerCase(std::string strText) {
    std::transform(strText.begin(), strText.end(), strText.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return strText;
}

bool IsAbsolute(const std::string& strName) {
    const bool bDrive =
        strName.size() > 1 && strName[1] == ':' && std::isalpha(static_cast<unsigned char>(strName[0])) != 0;
    return bDrive || (!strName.empty() && strName[0] == '/');
}

ImportOutcome CheckFile(const std::string& strPath) {
    std::error_code error;
    const fs::file_status status = fs::status(strPath, error);
    if (status.type() == fs::file_type::regular) return {};
    if (status.type() == fs::file_type::not_found) return Unreadable(ENOENT);
    if (error) return Unreadable(error.value());
    return Refused("it is no file");
}

// Takes the first part off a path, and the slashes behind it.
std::string TakePart(std::string& strRest) {
    std::string strPart = strRest.substr(0, strRest.find('/'));
    strRest.erase(0, strPart.size());
    strRest.erase(0, std::min(strRest.find_first_not_of('/'), strRest.size()));
    return strPart;
}

}  // namespace

FileFinder::FileFinder(std::string strFolder, ImportReport& report)
    : m_strFolder(std::move(strFolder)), m_report(report) {}

ImportOutcome FileFinder::Find(const std::string& strName, std::string& strPath) {
    std::string strSlashed = strName;
    std::replace(strSlashed.begin(), strSlashed.end(), '\\', '/');
    if (IsAbsolute(strSlashed)) return Refused("it is an absolute path");
    ImportOutcome outcome = FindAsGiven(strSlashed, strPath);
    if (outcome.nError == ENOENT) outcome = FindInAnyCase(strSlashed, strPath);
    if (outcome.IsDone() && strSlashed != strName)
        m_report.Note(ImportEvent::Accepted, "names of files", "backslashes taken as slashes");
    return outcome;
}

ImportOutcome FileFinder::FindAsGiven(const std::string& strName, std::string& strPath) {
    strPath = m_strFolder + strName;
    return CheckFile(strPath);
}

ImportOutcome FileFinder::FindInAnyCase(const std::string& strName, std::string& strPath) {
    strPath = m_strFolder;
    for (std::string strRest = strName; !strRest.empty();) {
        const std::string strPart = TakePart(strRest);
        if (strPart == "." || strPart == "..") {
            strPath += strPart + "/";
            continue;
        }
        std::error_code error;
        std::string strFound = strPart;
        if (fs::status(strPath + strPart, error).type() == fs::file_type::not_found) {
            const Names& names = NamesIn(strPath);
            const auto place = names.find(LowerCase(strPart));
            if (place == names.end()) return Unreadable(ENOENT);
            strFound = place->second;
        }
        strPath += strFound + (strRest.empty() ? "" : "/");
    }
    ImportOutcome outcome = CheckFile(strPath);
    if (outcome.IsDone())
        m_report.Note(ImportEvent::Accepted, "names of files", "the case of letters taken from the files");
    return outcome;
}

const FileFinder::Names& FileFinder::NamesIn(const std::string& strFolder) {
    const auto [place, bNew] = m_folders.try_emplace(strFolder);
    if (!bNew) return place->second;
    std::vector<std::string> names;
    ReadFolderNames(strFolder.c_str(), names);  // a folder that cannot be read has no names in another case
    for (const std::string& strName : names) {
        std::string& strFirst = place->second[LowerCase(strName)];
        if (strFirst.empty() || strName < strFirst) strFirst = strName;
    }
    return place->second;
}

std::string FolderOf(const std::string& strPath) {
    const std::string_view folder = FolderPart(strPath);
    return std::string(folder.empty() ? "./" : folder);
}

std::string StemOf(const std::string& strPath) { return fs::path(strPath).stem().string(); }

}  // namespace Kestrova
