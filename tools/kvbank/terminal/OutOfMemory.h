// OutOfMemory.h - the end of a process that runs out of memory where nothing can be unwound.
#pragma once

namespace Kestrova {

// For std::set_terminate. The JSON library allocates memory in its destructors; when there is none, the
// process can only end there. This function says so on standard error and exits with kExitNoMemory. Any other
// exception that reaches it ends the process as usual (abort).
[[noreturn]] void EndWithoutMemory() noexcept;

}  // namespace Kestrova
