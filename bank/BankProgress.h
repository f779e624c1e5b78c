// BankProgress.h - reports the steps of a job to the engine's client, which may cancel the job.
#pragma once

#include <functional>
#include <utility>

#include "bank/BankOutcome.h"

namespace Kestrova {

class BankProgress {
public:
    // The engine's callback; 0 cancels.
    using Tell = std::function<int(int nCode, unsigned int nValue)>;

    static constexpr int kStepCode = 0, kBeginCode = 1, kEndCode = 2;

    explicit BankProgress(Tell tell) : m_tell(std::move(tell)) {}

    // Report that a job of nSteps steps begins, or that one step is done. The outcome is done or cancelled.
    BankOutcome Begin(unsigned int nSteps) const { return Send(kBeginCode, nSteps); }
    BankOutcome Step() const { return Send(kStepCode, 0); }

private:
    BankOutcome Send(int nCode, unsigned int nValue) const {
        return {.result = m_tell(nCode, nValue) != 0 ? kBankDone : kBankCancelled};
    }

    Tell m_tell;
};

}  // namespace Kestrova
