// MemoryFile.h - a file in memory with a path that it can be opened by, for tests that make thousands.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace Kestrova::Test {

class MemoryFile {
public:
    MemoryFile(const uint8_t* p, size_t n) : m_nFile(memfd_create("test", MFD_CLOEXEC)) {
        if (m_nFile < 0 || write(m_nFile, p, n) != static_cast<ssize_t>(n)) std::abort();
    }
    ~MemoryFile() { close(m_nFile); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_nFile); }

private:
    int m_nFile;
};

}  // namespace Kestrova::Test
