#include "tools/kvbank/terminal/OutOfMemory.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "tools/kvbank/terminal/ExitCode.h"

namespace Kestrova {

namespace {

thread_local bool t_bWanted = false;  // whether this thread was refused memory

// What could not be caught is not known.
bool IsWantOfMemory() {
    const std::exception_ptr pThrown = std::current_exception();
    if (pThrown == nullptr) return t_bWanted;
    try {
        std::rethrow_exception(pThrown);
    } catch (const std::bad_alloc&) {
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

void EndCleanlyWithoutMemory() noexcept {
    std::set_new_handler(NoteWantOfMemory);
    std::set_terminate(EndWithoutMemory);
}

void NoteWantOfMemory() {
    t_bWanted = true;
    throw std::bad_alloc();
}

void EndWithoutMemory() noexcept {
    if (!IsWantOfMemory()) std::abort();
    constexpr std::string_view kLine = "kvbank: out of memory\n";
    [[maybe_unused]] const ssize_t nWritten = write(STDERR_FILENO, kLine.data(), kLine.size());
    _exit(kExitNoMemory);
}

}  // namespace Kestrova
