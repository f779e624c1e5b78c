#include "shared/System/kvAssert.h"

#include <bit>
#include <cstdio>
#include <cstdlib>

namespace Kestrova {

static_assert(std::endian::native == std::endian::little,
              "files are little-endian and read and written as the host holds its numbers");

void AssertFailed(const char* pszExpression, const char* pszFunction, const char* pszSourceUnit, int nLine) {
    std::fprintf(stderr, "%s: %s, line %d: assertion failed: %s\n", pszFunction, pszSourceUnit, nLine,
                 pszExpression);
    std::abort();
}

}  // namespace Kestrova
