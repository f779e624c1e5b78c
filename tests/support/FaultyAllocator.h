// FaultyAllocator.h - memory for a stream buffer that remembers what was asked of it and can run out.
#pragma once

#include <cstdlib>
#include <vector>

#include "stream/RefCounter.h"

namespace Kestrova::Test {

// Lives on the stack of the test; whoever holds a reference must let go of it before.
class FaultyAllocator final : public Allocator {
public:
    uint32_t AddRef() override { return ++m_nRefs; }
    uint32_t Release() override { return --m_nRefs; }

    void* Alloc(unsigned long nSize) override { return Realloc(nullptr, nSize); }
    void* Realloc(void* p, unsigned long nSize) override {
        m_sizes.push_back(nSize);
        if (m_bOut) return nullptr;
        if (nSize != 0) return std::realloc(p, nSize);
        Free(p);
        return nullptr;
    }
    void Free(void* p) override {
        ++m_nFrees;
        std::free(p);
    }

    bool m_bOut = false;                 // every call fails from now on
    std::vector<unsigned long> m_sizes;  // of every call of Alloc and Realloc
    uint32_t m_nRefs = 1;
    int m_nFrees = 0;
};

}  // namespace Kestrova::Test
