// WaveConverter.h - what turns a wave of one rate or pitch into one of another: the seam, and the engine's
// own.
#pragma once

#include <cstdint>
#include <span>

#include "SamplerDBDS/DataBase/SDBISample.h"
#include "bank/BankOutcome.h"

namespace Kestrova {

// A wave that is to be converted: packed little-endian integers, channels interleaved.
struct WaveOrder {
    uint32_t idSample = kSdbNoID;  // of the source
    int nKey = -1;                 // it is transposed to; kEveryKey for none
    uint32_t nFrames = 0;          // of the source
    unsigned nBits = 16;           // 16 or 24
    unsigned nChannels = 1;        // 1 or 2
    double ratio = 1;              // source frames per target frame; whatever a source's header makes of it
    std::span<const SDBLOOP> loops = {};  // of the source; whatever its record holds

    unsigned FrameBytes() const { return nBits / 8 * nChannels; }
};

inline constexpr const char* kCauseTooFar = "its sample rate or root key is too far from the target's";
inline constexpr const char* kCauseNoFrames = "the conversion gave no frames";

// Threads: any, also one object from several at once.
// Errors:  outcomes with result and cause; the caller adds the record. May throw std::bad_alloc.
class IWaveConverter {
public:
    virtual ~IWaveConverter() = default;

    // Tells from the order alone how many frames the target has, and puts its loops into `loops`, which has
    // as many entries as the order's and may be the same memory; their first and fourth words stay as they
    // are. Fails as conversion failed when the ratio cannot be converted.
    virtual BankOutcome Plan(const WaveOrder& order, std::span<SDBLOOP> loops, uint64_t& nFrames) const = 0;

    // Makes the target's frames. pSource: the order's frames, with kWaveGuardFrames frames of silence in
    // front and behind. pTarget: room for the nFrames of Plan, zero-filled.
    virtual BankOutcome Convert(const WaveOrder& order, const uint8_t* pSource, uint8_t* pTarget,
                                uint64_t nFrames) const = 0;
};

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
