// FencedBytes.h - memory that ends, or starts, at an unreadable page, so that one byte too far crashes.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <new>

namespace Kestrova::Test {

enum class Fence { Before, After };

// Zero-filled. The fence is exact on the named side; on the other one it is at most a page away.
class FencedBytes {
public:
    FencedBytes(size_t nBytes, Fence fence) {
        const auto nPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t nInside = (nBytes + nPage - 1) / nPage * nPage;
        m_nMapped = nInside + 2 * nPage;
        m_pMapped = mmap(nullptr, m_nMapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (m_pMapped == MAP_FAILED) throw std::bad_alloc();
        char* const pInside = static_cast<char*>(m_pMapped) + nPage;
        if (nInside != 0 && mprotect(pInside, nInside, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
        m_pData = fence == Fence::Before ? pInside : pInside + nInside - nBytes;
    }
    ~FencedBytes() { munmap(m_pMapped, m_nMapped); }
    FencedBytes(const FencedBytes&) = delete;
    FencedBytes& operator=(const FencedBytes&) = delete;

    char* Data() const { return m_pData; }

private:
    size_t m_nMapped = 0;
    void* m_pMapped = nullptr;
    char* m_pData = nullptr;
};

}  // namespace Kestrova::Test
