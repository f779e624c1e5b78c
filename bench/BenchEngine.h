// BenchEngine.h - the engine with jobs that are waited for.
#pragma once

#include <string>

#include "bank/DBEUCreate.h"
#include "shared/System/kvMutex.h"

namespace Kestrova::Bench {

class Engine {
public:
    Engine() { m_engine.SetCallback(OnCallback, reinterpret_cast<unsigned long>(this)); }

    CDBEUCreate& operator*() { return m_engine; }

    // Both return when the worker has ended; false when the job has failed.
    bool Analyse(const std::string& strPath) { return Wait(m_engine.SetSrcFile(strPath.c_str())); }
    bool Build(unsigned nRate, int nPerKey) {
        return Wait(m_engine.CreateDB(nRate, nPerKey, kHighestQuality));
    }

private:
    static int OnCallback(int nCode, unsigned nValue, unsigned long nUser);
    bool Wait(BankResult started);

    Mutex m_lock;
    Condition m_over;
    bool m_bOver KV_GUARDED_BY(m_lock) = false;
    BankResult m_result KV_GUARDED_BY(m_lock) = kBankDone;
    CDBEUCreate m_engine;  // its worker ends before the rest
};

}  // namespace Kestrova::Bench
