#include "shared/System/kvCancelSignal.h"

#include <atomic>
#include <csignal>

namespace Kestrova {
namespace {

std::atomic<int> g_nSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "set from a signal handler");

void NoteSignal(int nSignal) { g_nSignal = nSignal; }

}  // namespace

// A signal that was ignored when the program started stays so (nohup). Waiting for an answer at a prompt is
// interrupted, as it should be: no SA_RESTART.
void CatchCancelSignals() {
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(nSignal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action = {};
        action.sa_handler = NoteSignal;
        sigaction(nSignal, &action, nullptr);
    }
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
