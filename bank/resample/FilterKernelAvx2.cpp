// The filter kernels in AVX2. This file is built with -mavx2; it is called only when the processor has AVX2.
#include "bank/resample/FilterBlock.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

struct Avx2Ops {
    using Vec = __m256i;
    using Part = Vec;
    using PartOps = Avx2Ops;
    static constexpr int kTaps = 16;
    static constexpr int kLanes = 8;

    static Vec Load(const int16_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static void Store(int32_t* p, Vec v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
    // The loads overlap, so that none leaves the samples.
    static Vec Widen(const char* p) {
        const Vec bytes =
            _mm256_loadu2_m128i(reinterpret_cast<const __m128i*>(p + 8), reinterpret_cast<const __m128i*>(p));
        return _mm256_shuffle_epi8(
            bytes, _mm256_setr_epi8(-1, 0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11,  //
                                    -1, 4, 5, 6, -1, 7, 8, 9, -1, 10, 11, 12, -1, 13, 14, 15));
    }
    static Vec Zero() { return _mm256_setzero_si256(); }
    static Vec RoundingHigh(Vec a, Vec b) { return _mm256_mulhrs_epi16(a, b); }
    static Vec AddProducts(Vec sum, Vec a, Vec b) { return _mm256_add_epi32(sum, _mm256_madd_epi16(a, b)); }
    static Vec AddPairs(Vec sum, Vec a) { return AddProducts(sum, a, _mm256_set1_epi16(1)); }
    static Part Fold(Vec v) { return v; }
    static Vec Totals(const Part (&ar)[kLanes]) {
        const Vec first = HalfTotals(ar[0], ar[1], ar[2], ar[3]);
        const Vec second = HalfTotals(ar[4], ar[5], ar[6], ar[7]);
        return _mm256_add_epi32(_mm256_permute2x128_si256(first, second, 0x20),
                                _mm256_permute2x128_si256(first, second, 0x31));
    }

private:
    // The sums of the four lanes in each half.
    static Vec HalfTotals(Vec a, Vec b, Vec c, Vec d) {
        const Vec first = _mm256_add_epi32(_mm256_unpacklo_epi32(a, b), _mm256_unpackhi_epi32(a, b));
        const Vec second = _mm256_add_epi32(_mm256_unpacklo_epi32(c, d), _mm256_unpackhi_epi32(c, d));
        return _mm256_add_epi32(_mm256_unpacklo_epi64(first, second), _mm256_unpackhi_epi64(first, second));
    }
};

}  // namespace

void FilterBlockAvx2(const FilterBlock& block) { RunFilterBlock<Avx2Ops>(block); }

}  // namespace Kestrova

#endif
