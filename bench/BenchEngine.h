// BenchEngine.h - the engine with jobs that are waited for.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>

#include "bank/DBEUCreate.h"

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

    std::mutex m_lock;
    std::condition_variable m_over;
    bool m_bOver = false;
    BankResult m_result = kBankDone;
    CDBEUCreate m_engine;  // its worker ends before the rest
};

}  // namespace Kestrova::Bench
