// Every way to take memory from the C and C++ library. Memory is released by the libraries' own functions, so
// these take it from where the C library's do.
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <new>

#include "trust/faults/Strike.h"

using Kestrova::Trust::AllocationFails;

extern "C" {

// The C library's own.
void* __libc_malloc(size_t nBytes);                   // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(size_t nCount, size_t nSize);     // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* p, size_t nBytes);         // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(size_t nAlign, size_t nBytes);  // NOLINT(bugprone-reserved-identifier)

#define KV_CALLER __builtin_return_address(0)

#define KV_ALLOCATION(name, parameters, fallback)   \
    void* KvTrust_##name parameters __asm__(#name); \
    void* KvTrust_##name parameters { return AllocationFails(#name, KV_CALLER) ? nullptr : (fallback); }

KV_ALLOCATION(malloc, (size_t n), __libc_malloc(n))
KV_ALLOCATION(calloc, (size_t n, size_t size), __libc_calloc(n, size))
KV_ALLOCATION(realloc, (void* p, size_t n), __libc_realloc(p, n))
KV_ALLOCATION(aligned_alloc, (size_t align, size_t n), __libc_memalign(align, n))
KV_ALLOCATION(memalign, (size_t align, size_t n), __libc_memalign(align, n))

int KvTrust_posix_memalign(void** pp, size_t nAlign, size_t nBytes) __asm__("posix_memalign");
int KvTrust_posix_memalign(void** pp, size_t nAlign, size_t nBytes) {
    if (AllocationFails("posix_memalign", KV_CALLER)) return ENOMEM;
    *pp = __libc_memalign(nAlign, nBytes);
    return *pp != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

namespace {

// As the library does it: the handler may free memory, after which it is tried again, or throw.
template <class TTake>
void* TakeOrThrow(const void* pCaller, TTake take) {
    for (;;) {
        void* const p = AllocationFails("new", pCaller) ? nullptr : take();
        if (p != nullptr) return p;
        const std::new_handler pfnHandler = std::get_new_handler();
        if (pfnHandler == nullptr) throw std::bad_alloc();
        pfnHandler();
    }
}

template <class TTake>
void* TakeOrNull(const void* pCaller, TTake take) noexcept {
    try {
        return TakeOrThrow(pCaller, take);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

// The forms that throw, and those that do not.
// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are declarators
#define KV_NEW(form, memory)                                   \
    void* operator form {                                      \
        return TakeOrThrow(KV_CALLER, [&] { return memory; }); \
    }
#define KV_NEW_NOTHROW(form, memory)                          \
    void* operator form noexcept {                            \
        return TakeOrNull(KV_CALLER, [&] { return memory; }); \
    }

// NOLINTEND(bugprone-macro-parentheses)
KV_NEW(new (size_t n), __libc_malloc(n))
KV_NEW(new[](size_t n), __libc_malloc(n))
KV_NEW(new (size_t n, std::align_val_t align), __libc_memalign(static_cast<size_t>(align), n))
KV_NEW(new[](size_t n, std::align_val_t align), __libc_memalign(static_cast<size_t>(align), n))
KV_NEW_NOTHROW(new (size_t n, const std::nothrow_t&), __libc_malloc(n))
KV_NEW_NOTHROW(new[](size_t n, const std::nothrow_t&), __libc_malloc(n))
