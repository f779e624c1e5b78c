#include "stream/RefCounter.h"

#include <cstddef>
#include <cstdlib>
#include <limits>

namespace Kestrova {

uint32_t MemAllocator::AddRef() { return m_refs.Increment(); }

uint32_t MemAllocator::Release() {
    const uint32_t nRefs = m_refs.Decrement();
    if (nRefs == 0) delete this;
    return nRefs;
}

void* MemAllocator::Alloc(unsigned long nSize) { return Realloc(nullptr, nSize); }

void* MemAllocator::Realloc(void* p, unsigned long nSize) {
    // Sizes that no object can have are refused here: some replacements of malloc end the program for them.
    if (nSize > std::numeric_limits<std::ptrdiff_t>::max()) return nullptr;
    if (nSize != 0) return std::realloc(p, nSize);
    std::free(p);
    return nullptr;
}

void MemAllocator::Free(void* p) { std::free(p); }

}  // namespace Kestrova
