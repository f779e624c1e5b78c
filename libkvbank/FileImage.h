// FileImage.h - the bytes of a whole bank's file, read-only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Kestrova {

// A file that is mapped, a copy of it in memory, or memory of somebody else. Functions return a KVB_ result.
class FileImage {
public:
    FileImage() = default;
    ~FileImage();
    FileImage(const FileImage&) = delete;
    FileImage& operator=(const FileImage&) = delete;

    // Once for each object. KVB_ERROR_SYSTEM leaves errno set. A file that becomes shorter while it
    // is copied is damaged.
    int Map(const char* pszPath) { return Load(pszPath, false); }
    int Copy(const char* pszPath) { return Load(pszPath, true); }
    // The memory must outlive the object.
    void Borrow(const void* pBytes, size_t nBytes);

    std::span<const uint8_t> Bytes() const { return m_bytes; }

    // Asks the system to read this part from the disk. REQUIRES: it lies within the bytes.
    void Prefetch(size_t nFirst, size_t nBytes) const;

private:
    int Load(const char* pszPath, bool bCopy);
    int LoadOpened(int nFile, bool bCopy);

    std::span<const uint8_t> m_bytes;
    void* m_pMapped = nullptr;  // ours, as long as m_bytes; null when there is nothing to give back
};

}  // namespace Kestrova
