#include "bench/BenchEngine.h"

#include <chrono>
#include <thread>

namespace Kestrova::Bench {

int Engine::OnCallback(int nCode, unsigned nValue, unsigned long nUser) {
    constexpr int kJobEnded = 2;
    Engine& engine = *reinterpret_cast<Engine*>(nUser);
    if (nCode != kJobEnded) return 1;
    const MutexGuard guard(engine.m_lock);
    engine.m_result = static_cast<BankResult>(nValue);
    engine.m_bOver = true;
    engine.m_over.NotifyOne();
    return 1;
}

// The engine may still work for a moment after its last call.
bool Engine::Wait(BankResult started) {
    if (started != kBankDone) return false;
    MutexGuard guard(m_lock);
    m_over.Wait(guard, [this]() KV_REQUIRES(m_lock) { return m_bOver; });
    m_bOver = false;
    while (m_engine.GetState() != 0) std::this_thread::sleep_for(std::chrono::microseconds(50));
    return m_result == kBankDone;
}

}  // namespace Kestrova::Bench
