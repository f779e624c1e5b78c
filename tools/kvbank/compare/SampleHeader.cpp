#include "tools/kvbank/compare/SampleHeader.h"

#include "bank/Resampler.h"

namespace Kestrova {

bool MakeSampleHeader(const CSDBISampleBase& source, const SampleTarget& target, int nKey,
                      CSDBISampleBase& made) {
    made.CopyHeader(source);
    made.m_info.nSampleRate = target.nRate;
    if (nKey != kEveryKey) made.m_info.nRootKey = static_cast<uint32_t>(nKey);
    if (!made.CopyOwned(source)) return false;
    const double ratio = ConversionRatio(source, target, nKey);
    if (ratio == 1.0) return true;
    made.m_info.nFrames =
        static_cast<uint32_t>(Resampler::GetReciprocalEstimatedSize(source.m_info.nFrames, ratio));
    ScaleLoops(made, ratio);
    return true;
}

}  // namespace Kestrova
