#include "bank/WaveConverter.h"

#include <algorithm>
#include <limits>

#include "bank/Resampler.h"

namespace Kestrova {

uint32_t ScaledPosition(uint32_t nPosition, double ratio) {
    const double scaled = nPosition / ratio + 0.5;
    constexpr double kHighest = std::numeric_limits<uint32_t>::max();
    return scaled > 0 ? static_cast<uint32_t>(std::min(scaled, kHighest)) : 0;
}

BankOutcome FixedPointConverter::Plan(const WaveOrder& order, std::span<SDBLOOP> loops,
                                      uint64_t& nFrames) const {
    nFrames = Resampler::GetReciprocalFrames(order.nFrames, order.ratio);
    if (nFrames == 0) return {.result = kBankConversionFailed, .pszCause = kCauseTooFar};
    for (size_t i = 0; i < loops.size(); ++i) {
        loops[i].nStart = ScaledPosition(order.loops[i].nStart, order.ratio);
        loops[i].nEnd = ScaledPosition(order.loops[i].nEnd, order.ratio);
    }
    return {};
}

BankOutcome FixedPointConverter::Convert(const WaveOrder& order, const uint8_t* pSource, uint8_t* pTarget,
                                         uint64_t nFrames) const {
    long nProduced = 0;
    // The interface of the resampler takes the source as void*, and only reads it.
    const Resampler resampler(order.ratio, const_cast<uint8_t*>(pSource), static_cast<long>(order.nFrames),
                              pTarget, static_cast<long>(nFrames), static_cast<int>(order.FrameBytes()),
                              m_nQuality, &nProduced);
    if (nProduced < 1) return {.result = kBankConversionFailed, .pszCause = kCauseNoFrames};
    return {};
}

}  // namespace Kestrova
