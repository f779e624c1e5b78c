// The filter kernels in AVX-512. This file is built with -mavx512bw, -mavx512vl and -mavx512vnni; it is
// called only when the processor has all three.
#include "bank/resample/FilterBlock.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

// Half vectors, which Fold makes.
struct Avx512PartOps {
    using Vec = __m256i;
    static constexpr int kTaps = 16;

    static Vec Load(const int16_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static Vec RoundingHigh(Vec a, Vec b) { return _mm256_mulhrs_epi16(a, b); }
    static Vec AddProducts(Vec sum, Vec a, Vec b) { return _mm256_dpwssd_epi32(sum, a, b); }
    static Vec AddPairs(Vec sum, Vec a) { return AddProducts(sum, a, _mm256_set1_epi16(1)); }
};

struct Avx512Ops {
    using Vec = __m512i;
    using PartOps = Avx512PartOps;
    using Part = PartOps::Vec;
    static constexpr int kTaps = 32;
    static constexpr int kLanes = 16;

    static Vec Load(const int16_t* p) { return _mm512_loadu_si512(p); }
    static void Store(int32_t* p, Vec v) { _mm512_storeu_si512(p, v); }
    // Each quarter takes the twelve bytes of its samples, and then spreads them.
    static Vec Widen(const char* p) {
        const Vec quarters = _mm512_setr_epi32(0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11);
        const Vec bytes = _mm512_permutexvar_epi32(quarters, _mm512_maskz_loadu_epi32(0x0FFF, p));
        const __m128i spread = _mm_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11);
        return _mm512_shuffle_epi8(bytes, _mm512_broadcast_i32x4(spread));
    }
    static Vec Zero() { return _mm512_setzero_si512(); }
    static Vec RoundingHigh(Vec a, Vec b) { return _mm512_mulhrs_epi16(a, b); }
    static Vec AddProducts(Vec sum, Vec a, Vec b) { return _mm512_dpwssd_epi32(sum, a, b); }
    static Vec AddPairs(Vec sum, Vec a) { return AddProducts(sum, a, _mm512_set1_epi16(1)); }
    static Part Fold(Vec v) {
        return _mm256_add_epi32(_mm512_castsi512_si256(v), _mm512_extracti64x4_epi64(v, 1));
    }
    static Vec Totals(const Part (&ar)[kLanes]) {
        const Vec first =
            QuarterTotals(Pair(ar[0], ar[8]), Pair(ar[1], ar[9]), Pair(ar[2], ar[10]), Pair(ar[3], ar[11]));
        const Vec second =
            QuarterTotals(Pair(ar[4], ar[12]), Pair(ar[5], ar[13]), Pair(ar[6], ar[14]), Pair(ar[7], ar[15]));
        // Quarters 0 and 1 of first are of parts 0 to 3, 2 and 3 of parts 8 to 11; second follows each by 4.
        const Vec total = _mm512_add_epi32(_mm512_shuffle_i32x4(first, second, _MM_SHUFFLE(2, 0, 2, 0)),
                                           _mm512_shuffle_i32x4(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
        return _mm512_shuffle_i32x4(total, total, _MM_SHUFFLE(3, 1, 2, 0));
    }

private:
    static Vec Pair(Part low, Part high) { return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1); }
    // In each quarter, the sums of the four lanes there of each vector.
    static Vec QuarterTotals(Vec a, Vec b, Vec c, Vec d) {
        const Vec first = _mm512_add_epi32(_mm512_unpacklo_epi32(a, b), _mm512_unpackhi_epi32(a, b));
        const Vec second = _mm512_add_epi32(_mm512_unpacklo_epi32(c, d), _mm512_unpackhi_epi32(c, d));
        return _mm512_add_epi32(_mm512_unpacklo_epi64(first, second), _mm512_unpackhi_epi64(first, second));
    }
};

}  // namespace

void FilterBlockAvx512(const FilterBlock& block) { RunFilterBlock<Avx512Ops>(block); }

}  // namespace Kestrova

#endif
