#include "libkvbank/FileImage.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "include/kvbank.h"

namespace Kestrova {
namespace {

constexpr size_t kLongestRead = size_t{1} << 30;  // the system takes less than 2 GiB at a time

int SystemResult() { return errno == ENOMEM ? KVB_ERROR_NO_MEMORY : KVB_ERROR_SYSTEM; }

// A page-aligned mapping of the file, or without one of empty memory that can be written to.
int MapPages(int nFile, size_t nBytes, void*& pMapped) {
    const bool bMemory = nFile < 0;
    void* const p = mmap(nullptr, nBytes, bMemory ? PROT_READ | PROT_WRITE : PROT_READ,
                         MAP_PRIVATE | (bMemory ? MAP_ANONYMOUS : 0), nFile, 0);
    if (p == MAP_FAILED) return SystemResult();
    pMapped = p;
    return KVB_OK;
}

int ReadWhole(int nFile, uint8_t* pOut, size_t nBytes) {
    while (nBytes > 0) {
        const ssize_t nRead = read(nFile, pOut, std::min(nBytes, kLongestRead));
        if (nRead == 0) return KVB_ERROR_DAMAGED;
        if (nRead < 0) {
            if (errno == EINTR) continue;
            return SystemResult();
        }
        pOut += nRead;
        nBytes -= static_cast<size_t>(nRead);
    }
    return KVB_OK;
}

}  // namespace

FileImage::~FileImage() {
    if (m_pMapped != nullptr) munmap(m_pMapped, m_bytes.size());
}

void FileImage::Borrow(const void* pBytes, size_t nBytes) {
    m_bytes = {static_cast<const uint8_t*>(pBytes), nBytes};
}

// Not blocking: a pipe of that name would be waited for.
int FileImage::Load(const char* pszPath, bool bCopy) {
    const int nFile = open(pszPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (nFile < 0) return SystemResult();
    const int nResult = LoadOpened(nFile, bCopy);
    const int nError = errno;
    close(nFile);
    errno = nError;
    return nResult;
}

int FileImage::LoadOpened(int nFile, bool bCopy) {
    struct stat facts {};
    if (fstat(nFile, &facts) != 0) return SystemResult();
    if (!S_ISREG(facts.st_mode) || facts.st_size == 0) return KVB_ERROR_NOT_A_BANK;
    const auto nBytes = static_cast<size_t>(facts.st_size);
    if (const int nResult = MapPages(bCopy ? -1 : nFile, nBytes, m_pMapped); nResult != KVB_OK)
        return nResult;
    m_bytes = {static_cast<const uint8_t*>(m_pMapped), nBytes};
    return bCopy ? ReadWhole(nFile, static_cast<uint8_t*>(m_pMapped), nBytes) : KVB_OK;
}

void FileImage::Prefetch(size_t nFirst, size_t nBytes) const {
    if (m_pMapped == nullptr || nBytes == 0) return;
    const auto nPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t nStart = nFirst / nPage * nPage;
    madvise(static_cast<uint8_t*>(m_pMapped) + nStart, nFirst + nBytes - nStart, MADV_WILLNEED);
}

}  // namespace Kestrova
