#include "tools/kvbank/folder/PartFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>

#include "shared/System/kvSafeFile.h"

namespace Kestrova {
namespace {

constexpr int kMostNames = 100;  // names left by processes that died with our number

bool MakeNew(const std::filesystem::path& path) {
    const int nFile = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    if (nFile < 0) return false;
    close(nFile);
    return true;
}

}  // namespace

PartFile::PartFile(std::filesystem::path place) : m_place(std::move(place)) {
    for (int i = 0; i < kMostNames; ++i) {
        // Short: the place's own name may be as long as names can be.
        std::string strName = ".kvbank-part-" + std::to_string(getpid());
        if (i > 0) strName += '-' + std::to_string(i);
        const std::filesystem::path path = m_place.parent_path() / strName;
        if (MakeNew(path)) {
            m_path = path;
            return;
        }
        if (errno != EEXIST) return;
    }
}

PartFile::~PartFile() {
    if (!m_path.empty()) unlink(m_path.c_str());
}

bool PartFile::Publish() {
    if (std::rename(m_path.c_str(), m_place.c_str()) != 0) return false;
    m_path.clear();
    const std::filesystem::path parent = m_place.parent_path();
    const FileDescriptor folder(OpenFolder(parent.empty() ? "." : parent.c_str()));
    if (folder < 0 || !SyncFolder(folder)) m_nSyncError = errno;
    return true;
}

}  // namespace Kestrova
