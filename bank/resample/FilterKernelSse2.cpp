// The filter kernels in SSE2, which every x86-64 processor has.
#include "bank/resample/FilterBlock.h"

#if defined(__x86_64__)

#include <emmintrin.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

struct Sse2Ops {
    using Vec = __m128i;
    static constexpr int kLanes = 4;

    static Vec Load(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void Store(int32_t* p, Vec v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    static Vec Set(int n) { return _mm_set1_epi32(n); }
    static Vec Ramp(int n) { return _mm_setr_epi32(0, n, 2 * n, 3 * n); }
    static Vec And(Vec a, Vec b) { return _mm_and_si128(a, b); }
    static Vec Or(Vec a, Vec b) { return _mm_or_si128(a, b); }
    static Vec Add(Vec a, Vec b) { return _mm_add_epi32(a, b); }
    static Vec Less(Vec a, Vec b) { return _mm_cmplt_epi32(a, b); }
    static Vec Gather(const int32_t* p, Vec entries) {
        alignas(16) int32_t arEntries[kLanes];
        _mm_store_si128(reinterpret_cast<__m128i*>(arEntries), entries);
        return _mm_setr_epi32(p[arEntries[0]], p[arEntries[1]], p[arEntries[2]], p[arEntries[3]]);
    }
    static Vec ShiftLeft16(Vec v) { return _mm_slli_epi32(v, 16); }
    template <int kBits>
    static Vec ShiftRight(Vec v) {
        return _mm_srai_epi32(v, kBits);
    }
    static Vec MulAddPairs(Vec a, Vec b) { return _mm_madd_epi16(a, b); }
    static int32_t Total(Vec v) {
        v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(1, 0, 3, 2)));
        v = _mm_add_epi32(v, _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 3, 0, 1)));
        return _mm_cvtsi128_si32(v);
    }
};

}  // namespace

void SumFramesSse2(const FilterBlock& block) { SumFrames<Sse2Ops>(block); }

}  // namespace Kestrova

#endif
