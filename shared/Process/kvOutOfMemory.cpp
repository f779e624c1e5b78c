#include "shared/Process/kvOutOfMemory.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

namespace Kestrova {

namespace {

OutOfMemoryEnd s_end;
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

void EndCleanlyWithoutMemory(OutOfMemoryEnd end) noexcept {
    s_end = end;
    std::set_new_handler(NoteWantOfMemory);
    std::set_terminate(EndWithoutMemory);
}

void NoteWantOfMemory() {
    t_bWanted = true;
    throw std::bad_alloc();
}

void EndWithoutMemory() noexcept {
    if (!IsWantOfMemory()) std::abort();
    [[maybe_unused]] const ssize_t nWritten = write(STDERR_FILENO, s_end.pszLine, std::strlen(s_end.pszLine));
    _exit(s_end.nExitCode);
}

}  // namespace Kestrova
