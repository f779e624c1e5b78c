// kvCancelSignal.h - the wish to stop, from a signal, asked for by long work.
#pragma once

namespace Kestrova {

// Lets SIGINT, SIGTERM and SIGHUP set the wish instead of ending the process.
void CatchCancelSignals();

// The signal that came, or 0. Any thread.
int CancelSignal();

// For tests: as if the signal had come; 0 forgets it.
void SetCancelSignal(int nSignal);

// Ends the process by the signal that came, as its parent expects; returns when none did.
void DieOfCancelSignal();

}  // namespace Kestrova
