// kvOutOfMemory.h - the end of a process that runs out of memory where nothing can be unwound.
#pragma once

namespace Kestrova {

// How a program ends there.
struct OutOfMemoryEnd {
    const char* pszLine = nullptr;  // a constant text with its line end, for standard error
    int nExitCode = 0;
};

// Installs NoteWantOfMemory and EndWithoutMemory, with this end for the rest of the process. Call it once,
// before there are threads.
void EndCleanlyWithoutMemory(OutOfMemoryEnd end) noexcept;

// For std::set_new_handler: remembers that this thread was refused memory, and throws std::bad_alloc as is
// usual without a handler. Where an exception leaves a function that promises none, no one can ask any more
// which it was.
[[noreturn]] void NoteWantOfMemory();

// For std::set_terminate. The JSON library and the toolkit allocate memory in their destructors, and the
// standard library in functions that promise not to throw; when there is none, the process can only end
// there. It writes the line and exits with the code, without any destructor, on whatever thread. Any other
// exception that reaches this function ends the process as usual (abort).
[[noreturn]] void EndWithoutMemory() noexcept;

}  // namespace Kestrova
