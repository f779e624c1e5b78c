// OutOfMemory.h - the end of a process that runs out of memory where nothing can be unwound.
#pragma once

namespace Kestrova {

// Installs both functions below.
void EndCleanlyWithoutMemory() noexcept;

// For std::set_new_handler: remembers that this thread was refused memory, and throws std::bad_alloc as is
// usual without a handler. Where an exception leaves a function that promises none, no one can ask any more
// which it was.
[[noreturn]] void NoteWantOfMemory();

// For std::set_terminate. The JSON library allocates memory in its destructors, and the standard library in
// functions that promise not to throw; when there is none, the process can only end there. This function says
// so on standard error and exits with kExitNoMemory. Any other exception that reaches it ends the process as
// usual (abort).
[[noreturn]] void EndWithoutMemory() noexcept;

}  // namespace Kestrova
