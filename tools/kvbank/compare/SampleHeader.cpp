#include "tools/kvbank/compare/SampleHeader.h"

#include "bank/Resampler.h"

namespace Kestrova {
namespace {

// The ratio of the source's frames to the bank's; 1 when the wave is copied.
double RatioOf(const CSDBISampleBase& source, const SampleTarget& target, int nKey) {
    if (!target.bPerKey) return static_cast<double>(source.m_info.nSampleRate) / target.nRate;
    if (nKey == kEveryKey) return 1.0;
    return source.m_info.nSampleRate * double{PitchFactor(nKey, source.m_info.nRootKey)} / target.nRate;
}

}  // namespace

bool MakeSampleHeader(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                      CSDBISampleBase& made) {
    made.CopyHeader(source);
    made.m_info.nSampleRate = target.nRate;
    if (nKey != kEveryKey) made.m_info.nRootKey = static_cast<uint32_t>(nKey);
    if (!made.CopyOwned(source)) return false;
    const double ratio = RatioOf(source, target, nKey);
    if (ratio == 1.0) return true;
    made.m_info.nFrames =
        static_cast<uint32_t>(Resampler::GetReciprocalEstimatedSize(source.m_info.nFrames, ratio));
    for (uint32_t i = 0; i < made.m_info.cLayerLoops; ++i) {
        SDBLOOP& loop = made.GetLoops()[i];
        loop.nStart = ScaledPosition(loop.nStart, ratio);
        loop.nEnd = ScaledPosition(loop.nEnd, ratio);
    }
    return true;
}

}  // namespace Kestrova
