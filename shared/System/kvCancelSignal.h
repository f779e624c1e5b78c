// kvCancelSignal.h - keeps a signal that asks the program to stop, so that long work can look for it.
#pragma once

namespace Kestrova {

// Makes SIGINT, SIGTERM and SIGHUP ask the program to stop instead of ending the process. A write into a pipe
// without a reader, or beyond the limit for files, no longer ends it either: the write fails. With
// bReaderGoneToo a pipe without a reader (SIGPIPE) asks it to stop, too: for a program whose only purpose is
// its output. Signals that are ignored already stay ignored. Call it once, before there are threads.
void CatchCancelSignals(bool bReaderGoneToo = false);

// The first signal that came, or 0. Any thread.
int CancelSignal();

// For tests: as if the signal had come; 0 forgets it.
void SetCancelSignal(int nSignal);

// Ends the process by the signal that came, as its parent expects; returns when none did. Call it last,
// because no destructor runs afterwards.
void DieOfCancelSignal();

}  // namespace Kestrova
