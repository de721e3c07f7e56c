// Gain-plane rows, SSE4.1: four float lanes per operation, each lane repeating the scalar operations
// in the scalar order. Tails go to the scalar rows.
#include <smmintrin.h>

#include "lsc/gain_rows.h"

namespace oz {

// Lane-wise minimum, then a fold of the lanes. minps(m, x) is exactly "m < x ? m : x", the scalar
// step, but the lanes fold in another order than the scalar scan; the two agree whenever no NaN was
// seen and the minimum is positive (positive equal values have equal bits). Anything else (a NaN, or a
// minimum of zero or below, which fails the normalisation anyway) is answered by the scalar scan.
float plane_minimum_sse41(const float *v, size_t n) {
    if (n < 8) return plane_minimum_c(v, n);
    __m128 m0 = _mm_loadu_ps(v), m1 = _mm_loadu_ps(v + 4);
    __m128 nan = _mm_or_ps(_mm_cmpunord_ps(m0, m0), _mm_cmpunord_ps(m1, m1));
    size_t i = 8;
    for (; i + 8 <= n; i += 8) {
        const __m128 x0 = _mm_loadu_ps(v + i), x1 = _mm_loadu_ps(v + i + 4);
        nan = _mm_or_ps(nan, _mm_or_ps(_mm_cmpunord_ps(x0, x0), _mm_cmpunord_ps(x1, x1)));
        m0 = _mm_min_ps(m0, x0);
        m1 = _mm_min_ps(m1, x1);
    }
    float lanes[4];
    _mm_storeu_ps(lanes, _mm_min_ps(m0, m1));
    float m = lanes[0];
    bool seen_nan = _mm_movemask_ps(nan) != 0;
    for (int k = 1; k < 4; ++k) m = m < lanes[k] ? m : lanes[k];
    for (; i < n; ++i) {
        seen_nan = seen_nan || v[i] != v[i];
        m = m < v[i] ? m : v[i];
    }
    if (seen_nan || !(m > 0.0f)) return plane_minimum_c(v, n);
    return m;
}

void normalise_sse41(float *v, size_t n, float m) {
    const __m128 divisor = _mm_set1_ps(m), one = _mm_set1_ps(1.0f);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128 q = _mm_div_ps(_mm_loadu_ps(v + i), divisor);
        _mm_storeu_ps(v + i, _mm_blendv_ps(one, q, _mm_cmpgt_ps(q, one)));
    }
    normalise_c(v + i, n - i, m);
}

void average_greens_sse41(float *gr, float *gb, size_t n) {
    const __m128 half = _mm_set1_ps(0.5f);
    size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128 g = _mm_mul_ps(_mm_add_ps(_mm_loadu_ps(gr + i), _mm_loadu_ps(gb + i)), half);
        _mm_storeu_ps(gr + i, g);
        _mm_storeu_ps(gb + i, g);
    }
    average_greens_c(gr + i, gb + i, n - i);
}

// Eight samples per step: widen to 32 bits, convert (exact), multiply, clamp with maxps(p, 0) and
// minps(p, 65535) (the scalar comparisons, NaN included), truncate with cvttps2dq and pack with
// unsigned saturation (a no-op on values already in range).
void ratio_product_sse41(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n) {
    const __m128 zero = _mm_setzero_ps(), top = _mm_set1_ps(65535.0f);
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i *>(ratio + i));
        __m128 lo = _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvtepu16_epi32(s)), _mm_loadu_ps(gain + i));
        __m128 hi = _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(s, 8))), _mm_loadu_ps(gain + i + 4));
        lo = _mm_min_ps(_mm_max_ps(lo, zero), top);
        hi = _mm_min_ps(_mm_max_ps(hi, zero), top);
        const __m128i packed = _mm_packus_epi32(_mm_cvttps_epi32(lo), _mm_cvttps_epi32(hi));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + i), packed);
    }
    ratio_product_c(ratio + i, gain + i, dst + i, n - i);
}

}  // namespace oz
