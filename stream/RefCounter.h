// RefCounter.h - reference counting, and the allocators of counted buffers.
// A counted object starts with one reference, its creator's; the last Release deletes it.
#pragma once

#include <atomic>
#include <cstdint>

namespace Kestrova {

// The two operations every counted interface begins with. Both return the new count.
class IRefCounter {
public:
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

protected:
    ~IRefCounter() = default;  // objects end through Release
};

// A count that several threads may change; it starts at 1.
class AtomicRefCount {
public:
    uint32_t Increment() { return m_nRefs.fetch_add(1, std::memory_order_relaxed) + 1; }
    // The caller that gets 0 destroys the object; it sees everything the other owners wrote.
    uint32_t Decrement() { return m_nRefs.fetch_sub(1, std::memory_order_acq_rel) - 1; }

private:
    std::atomic<uint32_t> m_nRefs{1};
};

// Where a buffer's memory comes from. Sizes are bytes; nullptr means that there is no memory.
class Allocator : public IRefCounter {
public:
    virtual void* Alloc(unsigned long nSize) = 0;
    // Moves the block p (nullptr: a new one) to nSize bytes, keeping its contents. On failure p stays valid.
    // nSize 0 frees p and gives nullptr.
    virtual void* Realloc(void* p, unsigned long nSize) = 0;
    virtual void Free(void* p) = 0;

protected:
    ~Allocator() = default;
};

// The C library's malloc, realloc and free, so that a block it gave may be released with free().
// Threads: any.
class MemAllocator final : public Allocator {
public:
    uint32_t AddRef() override;
    uint32_t Release() override;
    void* Alloc(unsigned long nSize) override;
    void* Realloc(void* p, unsigned long nSize) override;
    void Free(void* p) override;

private:
    AtomicRefCount m_refs;
};

}  // namespace Kestrova
