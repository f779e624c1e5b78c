// Leads every operator new of the program, those inside the C++ library included, to malloc, and so to the
// faults of PosixFaults.h.
#include <cstddef>
#include <cstdlib>
#include <new>

extern "C" void* __real_malloc(size_t n);  // NOLINT(bugprone-reserved-identifier): the name is the linker's

namespace {

// String takes the memory of texts with the array form that does not throw, in small blocks. When there is
// none, an assertion of its own ends the program; so these blocks are not made to fail.
constexpr size_t kLeastArray = 4096;

}  // namespace

// All forms but the aligned ones are here: memory of one form must not be released by another's library.
void* operator new(size_t n) {
    if (void* const p = std::malloc(n != 0 ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }

void* operator new(size_t n, const std::nothrow_t&) noexcept { return std::malloc(n != 0 ? n : 1); }
void* operator new[](size_t n, const std::nothrow_t&) noexcept {
    return n < kLeastArray ? __real_malloc(n != 0 ? n : 1) : std::malloc(n);
}

void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
