// FixedPointConverter.h - the engine's own conversion: the Resampler behind the seam of the converters.
#pragma once

#include "bank/WaveConverter.h"

namespace Kestrova {

// A frame position at the target's rate: position / ratio, rounded, held to 32 bits.
uint32_t ScaledPosition(uint32_t nPosition, double ratio);

// What every bank is made with unless the engine is given another converter. Each loop moves to its scaled
// positions, by itself.
class FixedPointConverter : public IWaveConverter {
public:
    // nQuality: of the Resampler, 0 to 7.
    explicit FixedPointConverter(int nQuality) : m_nQuality(nQuality) {}

    BankOutcome Plan(const WaveOrder& order, std::span<SDBLOOP> loops, uint64_t& nFrames) const override;
    BankOutcome Convert(const WaveOrder& order, const uint8_t* pSource, uint8_t* pTarget,
                        uint64_t nFrames) const override;

private:
    const int m_nQuality;
};

}  // namespace Kestrova
