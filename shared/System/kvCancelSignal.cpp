#include "shared/System/kvCancelSignal.h"

#include <atomic>
#include <csignal>

namespace Kestrova {
namespace {

std::atomic<int> g_nSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "set from a signal handler");

// Only the first signal is kept: the same Ctrl-C may also end the reader of our output, and SIGPIPE follow.
void NoteSignal(int nSignal) {
    int nNone = 0;
    g_nSignal.compare_exchange_strong(nNone, nSignal);
}

// A signal that was ignored when the program started stays ignored (nohup). SA_RESTART is not set, so that a
// signal ends the wait for an answer at a prompt.
void Handle(int nSignal, void (*pfnHandler)(int)) {
    struct sigaction action {};
    sigaction(nSignal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) return;
    action = {};
    action.sa_handler = pfnHandler;
    sigaction(nSignal, &action, nullptr);
}

}  // namespace

void CatchCancelSignals(bool bReaderGoneToo) {
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) Handle(nSignal, NoteSignal);
    Handle(SIGPIPE, bReaderGoneToo ? NoteSignal : SIG_IGN);
    Handle(SIGXFSZ, SIG_IGN);
}

int CancelSignal() { return g_nSignal; }

void SetCancelSignal(int nSignal) { g_nSignal = nSignal; }

void DieOfCancelSignal() {
    const int nSignal = g_nSignal;
    if (nSignal == 0) return;
    std::signal(nSignal, SIG_DFL);
    std::raise(nSignal);
}

}  // namespace Kestrova
