// The filter kernels in NEON, which every arm64 processor has.
#include "bank/resample/FilterBlock.h"

#if defined(__aarch64__)

#include <arm_neon.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

struct NeonOps {
    using Vec = int16x8_t;
    using Part = Vec;
    using PartOps = NeonOps;
    static constexpr int kTaps = 8;
    static constexpr int kLanes = 4;

    static Vec Load(const int16_t* p) { return vld1q_s16(p); }
    static void Store(int32_t* p, Vec v) { vst1q_s32(p, Wide(v)); }
    // The loads overlap, so that none leaves the samples.
    static Vec Widen(const char* p) {
        return Narrow(int32x4_t{FourBytes<NeonOps>(p) << 8, FourBytes<NeonOps>(p + 2),
                                FourBytes<NeonOps>(p + 5), FourBytes<NeonOps>(p + 8)});
    }
    static Vec Zero() { return vdupq_n_s16(0); }
    // The instruction differs for -2^15 * -2^15 alone, which no term has.
    static Vec RoundingHigh(Vec a, Vec b) { return vqrdmulhq_s16(a, b); }
    static Vec AddProducts(Vec sum, Vec a, Vec b) {
        const int32x4_t low = vmull_s16(vget_low_s16(a), vget_low_s16(b));
        return Narrow(vaddq_s32(Wide(sum), vpaddq_s32(low, vmull_high_s16(a, b))));
    }
    static Vec AddPairs(Vec sum, Vec a) { return Narrow(vpadalq_s16(Wide(sum), a)); }
    static Part Fold(Vec v) { return v; }
    static Vec Totals(const Part (&ar)[kLanes]) {
        return Narrow(vpaddq_s32(vpaddq_s32(Wide(ar[0]), Wide(ar[1])), vpaddq_s32(Wide(ar[2]), Wide(ar[3]))));
    }

private:
    static int32x4_t Wide(Vec v) { return vreinterpretq_s32_s16(v); }
    static Vec Narrow(int32x4_t v) { return vreinterpretq_s16_s32(v); }
};

}  // namespace

void FilterBlockNeon(const FilterBlock& block) { RunFilterBlock<NeonOps>(block); }

}  // namespace Kestrova

#endif
