// Gain-plane rows, AVX2: eight float lanes per operation, each lane repeating the scalar operations in
// the scalar order. Tails go to the scalar rows.
#include <immintrin.h>

#include "lsc/gain_rows.h"

namespace oz {

// As plane_minimum_sse41, eight lanes wide: exact when no NaN was seen and the minimum is positive,
// else the scalar scan answers.
float plane_minimum_avx2(const float *v, size_t n) {
    if (n < 16) return plane_minimum_c(v, n);
    __m256 m0 = _mm256_loadu_ps(v), m1 = _mm256_loadu_ps(v + 8);
    __m256 nan = _mm256_or_ps(_mm256_cmp_ps(m0, m0, _CMP_UNORD_Q), _mm256_cmp_ps(m1, m1, _CMP_UNORD_Q));
    size_t i = 16;
    for (; i + 16 <= n; i += 16) {
        const __m256 x0 = _mm256_loadu_ps(v + i), x1 = _mm256_loadu_ps(v + i + 8);
        nan = _mm256_or_ps(nan, _mm256_or_ps(_mm256_cmp_ps(x0, x0, _CMP_UNORD_Q), _mm256_cmp_ps(x1, x1, _CMP_UNORD_Q)));
        m0 = _mm256_min_ps(m0, x0);
        m1 = _mm256_min_ps(m1, x1);
    }
    float lanes[8];
    _mm256_storeu_ps(lanes, _mm256_min_ps(m0, m1));
    float m = lanes[0];
    bool seen_nan = _mm256_movemask_ps(nan) != 0;
    for (int k = 1; k < 8; ++k) m = m < lanes[k] ? m : lanes[k];
    for (; i < n; ++i) {
        seen_nan = seen_nan || v[i] != v[i];
        m = m < v[i] ? m : v[i];
    }
    if (seen_nan || !(m > 0.0f)) return plane_minimum_c(v, n);
    return m;
}

void normalise_avx2(float *v, size_t n, float m) {
    const __m256 divisor = _mm256_set1_ps(m), one = _mm256_set1_ps(1.0f);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256 q = _mm256_div_ps(_mm256_loadu_ps(v + i), divisor);
        _mm256_storeu_ps(v + i, _mm256_blendv_ps(one, q, _mm256_cmp_ps(q, one, _CMP_GT_OQ)));
    }
    normalise_c(v + i, n - i, m);
}

void average_greens_avx2(float *gr, float *gb, size_t n) {
    const __m256 half = _mm256_set1_ps(0.5f);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m256 g = _mm256_mul_ps(_mm256_add_ps(_mm256_loadu_ps(gr + i), _mm256_loadu_ps(gb + i)), half);
        _mm256_storeu_ps(gr + i, g);
        _mm256_storeu_ps(gb + i, g);
    }
    average_greens_c(gr + i, gb + i, n - i);
}

// Sixteen samples per step, as ratio_product_sse41; packusdw works within 128-bit lanes, so the packed
// quarters are put back in order with one permute.
void ratio_product_avx2(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n) {
    const __m256 zero = _mm256_setzero_ps(), top = _mm256_set1_ps(65535.0f);
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(ratio + i));
        __m256 lo = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(s))),
                                  _mm256_loadu_ps(gain + i));
        __m256 hi = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(s, 1))),
                                  _mm256_loadu_ps(gain + i + 8));
        lo = _mm256_min_ps(_mm256_max_ps(lo, zero), top);
        hi = _mm256_min_ps(_mm256_max_ps(hi, zero), top);
        const __m256i packed = _mm256_packus_epi32(_mm256_cvttps_epi32(lo), _mm256_cvttps_epi32(hi));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + i), _mm256_permute4x64_epi64(packed, 0xD8));
    }
    ratio_product_c(ratio + i, gain + i, dst + i, n - i);
}

}  // namespace oz
