// PreciseConverter.h - the conversion of kvbank build --conversion precise.
#pragma once

#include "bank/WaveConverter.h"

namespace Kestrova {

// Ten octaves each way: the time that a frame takes grows with the ratio. False for what is no number.
bool IsPreciseRatio(double ratio);

// What noise is seeded with: the sample and the key, so that a rebuild gives the same bytes.
uint64_t DitherSeed(uint32_t idSample, int nKey);

// Converts at the exact ratio, in double precision, and rounds once.
class PreciseConverter : public IWaveConverter {
public:
    // bDither: noise is added before the rounding. It is seeded with the sample's id and key, so the same
    // source gives the same bytes on every run and with any number of threads.
    explicit PreciseConverter(bool bDither) : m_bDither(bDither) {}

    BankOutcome Plan(const WaveOrder& order, std::span<SDBLOOP> loops, uint64_t& nFrames) const override;
    BankOutcome Convert(const WaveOrder& order, const uint8_t* pSource, uint8_t* pTarget,
                        uint64_t nFrames) const override;

private:
    const bool m_bDither;
};

}  // namespace Kestrova
