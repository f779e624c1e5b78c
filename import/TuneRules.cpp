#include "import/TuneRules.h"

#include <algorithm>

namespace Kestrova {
namespace {

constexpr uint32_t kRateOfNone = 44100;
constexpr uint32_t kLeastWaveRate = 400;
constexpr uint32_t kMostWaveRate = 192000;
constexpr int kLowestFineTune = -49;

int FloorDivide(int n, int nDivisor) { return n / nDivisor - (n % nDivisor < 0 ? 1 : 0); }

}  // namespace

uint32_t HoldRate(uint32_t nRate, const std::string& strWhat, ImportReport& report) {
    const uint32_t nHeld = nRate == 0 ? kRateOfNone : std::clamp(nRate, kLeastWaveRate, kMostWaveRate);
    if (nHeld != nRate)
        report.Note(ImportEvent::Repaired, strWhat,
                    "rate " + std::to_string(nRate) + " Hz taken as " + std::to_string(nHeld) + " Hz");
    return nHeld;
}

void SettlePitch(WaveTune& tune, int nCents, const std::string& strWhat, ImportReport& report) {
    const int nKey = FloorDivide(nCents - kLowestFineTune, kCentsPerKey);
    tune.nFineTune = nCents - nKey * kCentsPerKey;
    tune.nRootKey = static_cast<uint32_t>(std::clamp(nKey, 0, kHighestMidiKey));
    if (nKey >= 0 && nKey <= kHighestMidiKey) return;
    report.Note(ImportEvent::Repaired, strWhat,
                "root key " + std::to_string(nKey) + " held to " + std::to_string(tune.nRootKey));
}

bool SettleLoop(WaveTune& tune, int64_t nStart, int64_t nEnd, uint64_t nFrames, const std::string& strWhat,
                ImportReport& report) {
    const auto nAll = static_cast<int64_t>(nFrames);
    const int64_t nHeldStart = std::clamp<int64_t>(nStart, 0, nAll);
    const int64_t nHeldEnd = std::clamp<int64_t>(nEnd, 0, nAll);
    if (nHeldEnd <= nHeldStart) {
        report.Note(ImportEvent::Dropped, "loop of " + strWhat, "it has no frames");
        return false;
    }
    if (nHeldStart != nStart || nHeldEnd != nEnd)
        report.Note(ImportEvent::Repaired, "loop of " + strWhat, "cut to its wave");
    tune.bLoop = true;
    tune.nLoopStart = static_cast<uint64_t>(nHeldStart);
    tune.nLoopEnd = static_cast<uint64_t>(nHeldEnd - 1);
    return true;
}

}  // namespace Kestrova
