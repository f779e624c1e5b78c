// OutOfMemory.h - the end of a process that runs out of memory where nothing can be unwound.
#pragma once

namespace Kestrova {

// For std::set_terminate. The JSON library takes memory in its destructors; when there is none, the process
// can only end there. It says so on standard error and ends with kExitNoMemory. What else was thrown where it
// must not be ends it as usual (abort).
[[noreturn]] void EndWithoutMemory() noexcept;

}  // namespace Kestrova
