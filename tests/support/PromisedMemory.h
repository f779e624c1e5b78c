// PromisedMemory.h - for tests with more memory than they use.
#pragma once

#include <sys/mman.h>

#include <cstddef>

namespace Kestrova::Test {

// Whether the system lets a program have so much. It gives the pages when they are used, so zeroed memory
// that nobody looks at takes none of the machine's.
inline bool IsMemoryPromised(size_t nBytes) {
    void* const p = mmap(nullptr, nBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return p != MAP_FAILED && munmap(p, nBytes) == 0;
}

}  // namespace Kestrova::Test
