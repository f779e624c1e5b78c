#include "bank/place/PartFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>

#include "shared/System/kvSafeFile.h"

namespace Kestrova {
namespace {

namespace fs = std::filesystem;

// Short: the place's own name may be as long as names can be.
constexpr const char* kPrefix = ".kvbank-part-";
// The end, that of a bank at no rate, tells the private folder that it may remove the file.
constexpr const char* kNameInFolder = "part_00000.kvn";

fs::path FolderOf(const fs::path& place) { return place.has_parent_path() ? place.parent_path() : "."; }

// Six digits, or a process number and, after "-", one more number.
bool IsPartEnd(std::string_view end) {
    return !end.empty() && end.find_first_not_of("0123456789-") == std::string_view::npos;
}

}  // namespace

PartFile::PartFile(fs::path place)
    : m_place(std::move(place)), m_file((m_place.parent_path() / kPrefix).string()) {
    for (const std::string& strLeft : FindIn(m_place.parent_path())) RemoveTemporaryFile(strLeft);
    if (m_file.MakeUnnamed(0666))
        m_path = m_file.OpenPath();
    else
        MakeInFolder();
}

void PartFile::MakeInFolder() {
    const fs::path dir = FolderOf(m_place);
    const FolderLock turn(dir);
    if (!turn.IsTurn()) {
        errno = turn.GetError();
        return;
    }
    PrivateFolder::RemoveAbandoned(dir, turn);
    m_pFolder = std::make_unique<PrivateFolder>(dir, turn);
    if (!m_pFolder->Path().empty()) m_path = m_pFolder->Path() / kNameInFolder;
}

bool PartFile::Publish() {
    return Settle(m_pFolder != nullptr ? std::rename(m_path.c_str(), m_place.c_str()) == 0
                                       : m_file.MoveTo(m_place.c_str()));
}

bool PartFile::PublishInFreePlace() {
    return Settle(m_pFolder != nullptr ? RenameToFree(m_path.c_str(), m_place.c_str())
                                       : m_file.MoveToFree(m_place.c_str()));
}

bool PartFile::Settle(bool bMoved) {
    if (!bMoved) return false;
    m_path.clear();
    m_pFolder.reset();
    const FileDescriptor folder(OpenFolder(FolderOf(m_place).c_str()));
    if (folder < 0 || !SyncFolder(folder)) m_nSyncError = errno;
    return true;
}

std::vector<std::string> PartFile::FindIn(const fs::path& dir, int* pnError) {
    return FindTemporaryFiles((dir / kPrefix).string(), IsPartEnd, pnError);
}

}  // namespace Kestrova
