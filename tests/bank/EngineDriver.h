// EngineDriver.h - runs the bank engine job by job and keeps every callback.
#pragma once

#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "bank/DBEUCreate.h"
#include "shared/System/kvMutex.h"

namespace Kestrova::Test {

using Call = std::pair<int, unsigned int>;

// Owns an engine whose callback records (code, value) and answers what `answer` says (1 without one).
class EngineDriver {
public:
    EngineDriver() { m_engine.SetCallback(OnCallback, reinterpret_cast<unsigned long>(this)); }

    CDBEUCreate& Engine() { return m_engine; }

    // Called on the worker for each callback, the index of the call first; 0 cancels. Set while idle.
    void SetAnswer(std::function<int(size_t nCall, int nCode)> answer) { m_answer = std::move(answer); }

    // Start a job and wait until the engine is idle; the start's result when it failed, else the last call's
    // value, or kBankCancelled for a job that made no last call.
    BankResult Analyse(const std::string& strPath) {
        Forget();
        return Wait(m_engine.SetSrcFile(strPath.c_str()));
    }
    BankResult Build(unsigned int nRate, int nPerKey, int nFlags = kHighestQuality) {
        Forget();
        return Wait(m_engine.CreateDB(nRate, nPerKey, nFlags));
    }

    // Of the last job.
    std::vector<Call> Calls() {
        const MutexGuard guard(m_lock);
        return m_calls;
    }

private:
    static int OnCallback(int nCode, unsigned int nValue, unsigned long nUser) {
        EngineDriver& driver = *reinterpret_cast<EngineDriver*>(nUser);
        size_t nCall = 0;
        {
            const MutexGuard guard(driver.m_lock);
            nCall = driver.m_calls.size();
            driver.m_calls.emplace_back(nCode, nValue);
        }
        const int nAnswer = driver.m_answer ? driver.m_answer(nCall, nCode) : 1;
        const MutexGuard guard(driver.m_lock);
        driver.m_bOver = driver.m_bOver || nCode == 2 || (nCode == 1 && nAnswer == 0);
        return nAnswer;
    }

    void Forget() {
        const MutexGuard guard(m_lock);
        m_calls.clear();
        m_bOver = false;
    }

    // A job is over with its last call, or when its first was refused; the engine may be idle before that.
    bool IsOver() {
        const MutexGuard guard(m_lock);
        return m_bOver && m_engine.GetState() == 0;
    }

    BankResult Wait(BankResult started) {
        if (started != kBankDone) return started;
        while (!IsOver()) std::this_thread::yield();
        const Call last = Calls().back();
        return last.first == 2 ? static_cast<BankResult>(last.second) : kBankCancelled;
    }

    Mutex m_lock;
    std::vector<Call> m_calls KV_GUARDED_BY(m_lock);
    bool m_bOver KV_GUARDED_BY(m_lock) = false;
    std::function<int(size_t, int)> m_answer;
    CDBEUCreate m_engine;
};

}  // namespace Kestrova::Test
