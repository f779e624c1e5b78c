#include "tools/kvbank/terminal/OutOfMemory.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "tools/kvbank/terminal/ExitCode.h"

namespace Kestrova {

void EndWithoutMemory() noexcept {
    try {
        if (const std::exception_ptr pThrown = std::current_exception()) std::rethrow_exception(pThrown);
    } catch (const std::bad_alloc&) {
        constexpr std::string_view kLine = "kvbank: out of memory\n";
        [[maybe_unused]] const ssize_t nWritten = write(STDERR_FILENO, kLine.data(), kLine.size());
        _exit(kExitNoMemory);
    } catch (...) {
        // the usual end
    }
    std::abort();
}

}  // namespace Kestrova
