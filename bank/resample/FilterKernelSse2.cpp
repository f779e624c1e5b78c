// The filter kernels in SSE2, which every x86-64 processor has.
#include "bank/resample/FilterBlock.h"

#if defined(__x86_64__)

#include <emmintrin.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

struct Sse2Ops {
    using Vec = __m128i;
    using Part = Vec;
    using PartOps = Sse2Ops;
    static constexpr int kTaps = 8;
    static constexpr int kLanes = 4;

    static Vec Load(const int16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void Store(int32_t* p, Vec v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    // The loads overlap, so that none leaves the samples.
    static Vec Widen(const char* p) {
        return _mm_set_epi32(FourBytes<Sse2Ops>(p + 8), FourBytes<Sse2Ops>(p + 5), FourBytes<Sse2Ops>(p + 2),
                             FourBytes<Sse2Ops>(p) << 8);
    }
    static Vec Zero() { return _mm_setzero_si128(); }
    // There is no such instruction yet. With a * b = high * 2^16 + low, low without sign, it is
    // 2 * high + ((low + 2^14) >> 15), and the second part is the rounding mean of low >> 14 and 0.
    static Vec RoundingHigh(Vec a, Vec b) {
        const Vec high = _mm_mulhi_epi16(a, b);
        const Vec low = _mm_srli_epi16(_mm_mullo_epi16(a, b), 14);
        return _mm_add_epi16(_mm_add_epi16(high, high), _mm_avg_epu16(low, Zero()));
    }
    static Vec AddProducts(Vec sum, Vec a, Vec b) { return _mm_add_epi32(sum, _mm_madd_epi16(a, b)); }
    static Vec AddPairs(Vec sum, Vec a) { return AddProducts(sum, a, _mm_set1_epi16(1)); }
    static Part Fold(Vec v) { return v; }
    static Vec Totals(const Part (&ar)[kLanes]) {
        const Vec first = _mm_add_epi32(_mm_unpacklo_epi32(ar[0], ar[1]), _mm_unpackhi_epi32(ar[0], ar[1]));
        const Vec second = _mm_add_epi32(_mm_unpacklo_epi32(ar[2], ar[3]), _mm_unpackhi_epi32(ar[2], ar[3]));
        return _mm_add_epi32(_mm_unpacklo_epi64(first, second), _mm_unpackhi_epi64(first, second));
    }
};

}  // namespace

void FilterBlockSse2(const FilterBlock& block) { RunFilterBlock<Sse2Ops>(block); }

}  // namespace Kestrova

#endif
