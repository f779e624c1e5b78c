// OwnExecutable.h - where the running test program is.
#pragma once

#include <sys/auxv.h>

#include <filesystem>
#include <string>

namespace Kestrova::Test {

// Free of links. Asked of the system by another way than the product's first one.
inline std::string OwnExecutable() {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the system hands its pointers over as integers
    return std::filesystem::canonical(reinterpret_cast<const char*>(getauxval(AT_EXECFN))).string();
}

}  // namespace Kestrova::Test
