#include "bank/Resampler.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "bank/resample/FilterLoops.h"
#include "bank/resample/KernelDispatch.h"
#include "bank/resample/ResampleLoops.h"
#include "bank/resample/WingTables.h"

namespace Kestrova {

namespace {

constexpr int kUnity = 32768;  // one source frame
constexpr int kQualityLinear = 0;
constexpr int kQualityCubic = 2;
constexpr int kQualityLargeTable = 4;  // this bit of the filter qualities
constexpr int kGainSmall = 14732;
constexpr int kGainLarge = 14746;

// A whole number of 1/32768 as a step; 0 when it is below 1, above 31 bits or not a number.
int StepOf(double step) { return step >= 1 && step < 2147483648.0 ? static_cast<int>(step) : 0; }

// The filter's width and gain: widened, and lowered in proportion, when the wave gets shorter.
void SetFilter(_Args& state, double ratio, int nQuality) {
    state.nTableStep = kUnity;
    state.nGain = (nQuality & kQualityLargeTable) != 0 ? kGainLarge : kGainSmall;
    if (state.nStep < kUnity) return;
    state.nTableStep = static_cast<int>(kUnity / ratio);
    state.nGain = (state.nGain * state.nTableStep) >> 15;
}

struct FilterChoice {
    bool bLargeTable;
    bool bInterpolate;
};
// By (quality >> 1) & 3.
constexpr FilterChoice kFilters[] = {{false, false}, {false, true}, {true, false}, {true, true}};

// The scalar kernels of one format in the same order.
template <class TFormat>
constexpr FilterKernelFunction kKernels[4] = {};
template <>
constexpr FilterKernelFunction kKernels<Mono16>[] = {Interpolator::_f0s161, Interpolator::_f1s161,
                                                     Interpolator::_f0l161, Interpolator::_f1l161};
template <>
constexpr FilterKernelFunction kKernels<Stereo16>[] = {Interpolator::_f0s162, Interpolator::_f1s162,
                                                       Interpolator::_f0l162, Interpolator::_f1l162};
template <>
constexpr FilterKernelFunction kKernels<Mono24>[] = {Interpolator::_f0s241, Interpolator::_f1s241,
                                                     Interpolator::_f0l241, Interpolator::_f1l241};
template <>
constexpr FilterKernelFunction kKernels<Stereo24>[] = {Interpolator::_f0s242, Interpolator::_f1s242,
                                                       Interpolator::_f0l242, Interpolator::_f1l242};

struct FrameCounts {
    int64_t nSource;
    int64_t nDestination;
};

// In blocks when there is a SIMD variant and its rows are long enough, else sample by sample.
template <class TFormat>
int64_t RunFilter(_Args& state, FrameCounts counts, int nQuality) {
    const int nFilter = (nQuality >> 1) & 3;
    const FilterBlockFunction pFilterBlock = FilterBlockOf(ActiveKernels());
    if (pFilterBlock != nullptr && state.nGain != 0) {
        const FilterChoice& choice = kFilters[nFilter];
        const FilterWings wings =
            MakeFilterWings(choice.bLargeTable, choice.bInterpolate, state.nTableStep, TFormat::kSampleBits);
        if (wings.nTaps <= kMostWingTaps) {
            const auto pTable = TakeWingTable(wings, FramesComputed(counts.nSource, state.nStep, false));
            return FilterLoop<TFormat>(state, pTable ? pTable->Wings() : wings, pFilterBlock)
                .Run(counts.nSource, counts.nDestination);
        }
    }
    const FilterMethod<TFormat> method{kKernels<TFormat>[nFilter]};
    return RunLoop(method, state, counts.nSource, counts.nDestination);
}

template <class TFormat>
int64_t Convert(_Args& state, FrameCounts counts, int nQuality) {
    state.pSourceEnd =
        state.pSource + std::clamp<int64_t>(counts.nSource, 0, kMostFrames) * TFormat::kFrameBytes;
    if (nQuality == kQualityLinear)
        return RunLoop(LinearMethod<TFormat>{}, state, counts.nSource, counts.nDestination);
    if (nQuality == kQualityCubic)
        return RunLoop(CubicMethod<TFormat>{}, state, counts.nSource, counts.nDestination);
    return RunFilter<TFormat>(state, counts, nQuality);
}

int64_t ConvertFormat(_Args& state, FrameCounts counts, int nBytesPerFrame, int nQuality) {
    switch (nBytesPerFrame) {
        case Mono16::kFrameBytes: return Convert<Mono16>(state, counts, nQuality);
        case Stereo16::kFrameBytes: return Convert<Stereo16>(state, counts, nQuality);
        case Mono24::kFrameBytes: return Convert<Mono24>(state, counts, nQuality);
        case Stereo24::kFrameBytes: return Convert<Stereo24>(state, counts, nQuality);
        default: return -1;
    }
}

unsigned long In32Bits(uint64_t n) { return static_cast<uint32_t>(n); }

}  // namespace

Resampler::Resampler(double ratio, void* source, long sourceFrames, void* destination, long destinationFrames,
                     int bytesPerFrame, int quality, long* produced) {
    m_args.nStep = StepOf(ratio * kUnity);
    m_args.pSource = static_cast<char*>(source);
    m_args.pDestination = static_cast<char*>(destination);
    m_args.pSourceEnd = m_args.pSource;
    int64_t nProduced = -1;
    if (m_args.nStep > 0) {
        SetFilter(m_args, ratio, quality);
        nProduced = ConvertFormat(m_args, {sourceFrames, destinationFrames}, bytesPerFrame, quality);
    }
    if (produced != nullptr) *produced = nProduced;
}

unsigned long Resampler::GetReciprocalEstimatedSize(unsigned long frames, double ratio) {
    return In32Bits(GetReciprocalFrames(frames, ratio));
}

uint64_t Resampler::GetReciprocalFrames(uint64_t frames, double ratio) {
    const int nStep = StepOf(std::floor(ratio * kUnity));
    return nStep == 0 ? 0 : frames * kUnity / static_cast<uint64_t>(nStep) + 1;
}

unsigned long Resampler::GetProportionalEstimatedSize(unsigned long frames, double factor) {
    const int nStep = StepOf(std::ceil(factor * kUnity));
    return nStep == 0 ? 0 : In32Bits(((uint64_t{frames} * static_cast<uint64_t>(nStep)) >> 15) + 1);
}

}  // namespace Kestrova
