#include "shared/System/kvAssert.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>

namespace Kestrova {

static_assert(std::endian::native == std::endian::little,
              "files are little-endian and read and written as the host holds its numbers");

namespace {

void Report(const char* pszExpression, const char* pszFunction, const char* pszSourceUnit, int nLine) {
    std::fprintf(stderr, "%s: %s, line %d: assertion failed: %s\n", pszFunction, pszSourceUnit, nLine,
                 pszExpression);
}

}  // namespace

void AssertFailed(const char* pszExpression, const char* pszFunction, const char* pszSourceUnit, int nLine) {
    Report(pszExpression, pszFunction, pszSourceUnit, nLine);
    std::abort();
}

void AllocationFailed(const char* pszExpression, const char* pszFunction, const char* pszSourceUnit,
                      int nLine) {
    Report(pszExpression, pszFunction, pszSourceUnit, nLine);
    if (std::get_new_handler() != nullptr) std::terminate();
    std::abort();
}

}  // namespace Kestrova
