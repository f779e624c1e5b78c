#include "shared/System/kvCancelSignal.h"

#include <atomic>
#include <csignal>

namespace Kestrova {
namespace {

std::atomic<int> g_nSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "set from a signal handler");

// The first one counts: telling of a cancel may well meet a reader that the same Ctrl-C has ended.
void NoteSignal(int nSignal) {
    int nNone = 0;
    g_nSignal.compare_exchange_strong(nNone, nSignal);
}

// A signal that was ignored when the program started stays so (nohup). Waiting for an answer at a prompt is
// interrupted, as it should be: no SA_RESTART.
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
