// The filter kernels in AVX2. This is the only file built with -mavx2; it is
// called only when the processor has AVX2.
#include "bank/resample/FilterBlock.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include "bank/resample/FilterKernelSimd.h"

namespace Kestrova {
namespace {

struct Avx2Ops {
    using Vec = __m256i;
    static constexpr int kLanes = 8;

    static Vec Load(const int32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static void Store(int32_t* p, Vec v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
    static Vec Set(int n) { return _mm256_set1_epi32(n); }
    static Vec Ramp(int n) { return _mm256_setr_epi32(0, n, 2 * n, 3 * n, 4 * n, 5 * n, 6 * n, 7 * n); }
    static Vec And(Vec a, Vec b) { return _mm256_and_si256(a, b); }
    static Vec Or(Vec a, Vec b) { return _mm256_or_si256(a, b); }
    static Vec Add(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
    static Vec Less(Vec a, Vec b) { return _mm256_cmpgt_epi32(b, a); }
    // Single loads: they are as fast as the gather instruction where that is fast, and
    // security mitigations do not slow them down.
    static Vec Gather(const int32_t* p, Vec entries) {
        alignas(32) int32_t e[kLanes];
        _mm256_store_si256(reinterpret_cast<__m256i*>(e), entries);
        return _mm256_setr_epi32(p[e[0]], p[e[1]], p[e[2]], p[e[3]], p[e[4]], p[e[5]], p[e[6]], p[e[7]]);
    }
    static Vec ShiftLeft16(Vec v) { return _mm256_slli_epi32(v, 16); }
    template <int kBits>
    static Vec ShiftRight(Vec v) {
        return _mm256_srai_epi32(v, kBits);
    }
    static Vec MulAddPairs(Vec a, Vec b) { return _mm256_madd_epi16(a, b); }
    static int32_t Total(Vec v) {
        __m128i half = _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
        half = _mm_add_epi32(half, _mm_shuffle_epi32(half, _MM_SHUFFLE(1, 0, 3, 2)));
        half = _mm_add_epi32(half, _mm_shuffle_epi32(half, _MM_SHUFFLE(2, 3, 0, 1)));
        return _mm_cvtsi128_si32(half);
    }
};

}  // namespace

void SumFramesAvx2(const FilterBlock& block) { SumFrames<Avx2Ops>(block); }

}  // namespace Kestrova

#endif
