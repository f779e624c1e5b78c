// The filter kernels in NEON, which every arm64 processor has.
#include "bank/resample/FilterBlock.h"

#if defined(__aarch64__)

#include <arm_neon.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

struct NeonOps {
    using Vec = int32x4_t;
    static constexpr int kLanes = 4;

    static Vec Load(const int32_t* p) { return vld1q_s32(p); }
    static void Store(int32_t* p, Vec v) { vst1q_s32(p, v); }
    static Vec Set(int n) { return vdupq_n_s32(n); }
    static Vec Ramp(int n) {
        const int32_t arRamp[kLanes] = {0, n, 2 * n, 3 * n};
        return vld1q_s32(arRamp);
    }
    static Vec And(Vec a, Vec b) { return vandq_s32(a, b); }
    static Vec Or(Vec a, Vec b) { return vorrq_s32(a, b); }
    static Vec Add(Vec a, Vec b) { return vaddq_s32(a, b); }
    static Vec Less(Vec a, Vec b) { return vreinterpretq_s32_u32(vcltq_s32(a, b)); }
    static Vec Gather(const int32_t* p, Vec entries) {
        const int32_t arPicked[kLanes] = {p[vgetq_lane_s32(entries, 0)], p[vgetq_lane_s32(entries, 1)],
                                          p[vgetq_lane_s32(entries, 2)], p[vgetq_lane_s32(entries, 3)]};
        return vld1q_s32(arPicked);
    }
    static Vec ShiftLeft16(Vec v) { return vshlq_n_s32(v, 16); }
    template <int kBits>
    static Vec ShiftRight(Vec v) {
        return vshrq_n_s32(v, kBits);
    }
    static Vec MulAddPairs(Vec a, Vec b) {
        const int16x8_t arA = vreinterpretq_s16_s32(a);
        const int16x8_t arB = vreinterpretq_s16_s32(b);
        return vpaddq_s32(vmull_s16(vget_low_s16(arA), vget_low_s16(arB)), vmull_high_s16(arA, arB));
    }
    static int32_t Total(Vec v) { return vaddvq_s32(v); }
};

}  // namespace

void SumFramesNeon(const FilterBlock& block) { SumFrames<NeonOps>(block); }

}  // namespace Kestrova

#endif
