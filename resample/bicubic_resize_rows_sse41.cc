// SSE4.1 rows of the bicubic resize to u16p10: four independent destination columns per vector, each
// lane in the order of operations of the scalar rows; tails go to the scalar rows.
#include "resample/bicubic_resize_rows.h"

#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_SSE41

#include <smmintrin.h>

namespace oz {
namespace {

// Byte shuffle control that moves float lane (idx & 3) of a window to each lane.
inline __m128i lane_control(__m128i idx) {
    const __m128i spread = _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
    const __m128i bytes = _mm_setr_epi8(0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3);
    const __m128i i4 = _mm_slli_epi32(_mm_and_si128(idx, _mm_set1_epi32(3)), 2);
    return _mm_add_epi8(_mm_shuffle_epi8(i4, spread), bytes);
}

inline __m128 shuffle_ps(__m128 v, __m128i ctrl) {
    return _mm_castsi128_ps(_mm_shuffle_epi8(_mm_castps_si128(v), ctrl));
}

}  // namespace

void bicubic_resize_h_row_f32_sse41(const float *row, const int32_t *ix, const float *tx,
                                    const float *half_tx, float *out, int n) {
    const __m128 three = _mm_set1_ps(3.0f), four = _mm_set1_ps(4.0f), five = _mm_set1_ps(5.0f);
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        const int32_t base = ix[x];
        const int32_t span = ix[x + 3] - base;
        __m128 p[4];
        if (span <= 7) {
            // Lane k takes row[ix[x + k] + q] out of the windows base + q .. base + q + 7.
            const __m128i idx = _mm_sub_epi32(
                _mm_loadu_si128(reinterpret_cast<const __m128i *>(ix + x)), _mm_set1_epi32(base));
            const __m128i ctrl = lane_control(idx);
            if (span <= 3) {
                for (int q = 0; q < 4; ++q) p[q] = shuffle_ps(_mm_loadu_ps(row + base + q), ctrl);
            } else {
                const __m128 upper = _mm_castsi128_ps(_mm_slli_epi32(idx, 29));  // idx >= 4
                for (int q = 0; q < 4; ++q)
                    p[q] = _mm_blendv_ps(shuffle_ps(_mm_loadu_ps(row + base + q), ctrl),
                                         shuffle_ps(_mm_loadu_ps(row + base + q + 4), ctrl), upper);
            }
        } else {
            for (int q = 0; q < 4; ++q)
                p[q] = _mm_setr_ps(row[ix[x] + q], row[ix[x + 1] + q], row[ix[x + 2] + q],
                                   row[ix[x + 3] + q]);
        }
        const __m128 t = _mm_loadu_ps(tx + x), ht = _mm_loadu_ps(half_tx + x);
        __m128 a = _mm_mul_ps(_mm_sub_ps(p[1], p[2]), three);
        a = _mm_sub_ps(_mm_add_ps(a, p[3]), p[0]);
        __m128 b = _mm_sub_ps(_mm_add_ps(p[0], p[0]), _mm_mul_ps(p[1], five));
        b = _mm_sub_ps(_mm_add_ps(b, _mm_mul_ps(p[2], four)), p[3]);
        __m128 r = _mm_add_ps(_mm_mul_ps(a, t), b);
        r = _mm_add_ps(_mm_mul_ps(r, t), _mm_sub_ps(p[2], p[0]));
        r = _mm_add_ps(_mm_mul_ps(r, ht), p[1]);
        _mm_storeu_ps(out + x, r);
    }
    if (x < n) bicubic_resize_h_row_f32_c(row, ix + x, tx + x, half_tx + x, out + x, n - x);
}

namespace {

inline __m128i vertical4(const float *r0, const float *r1, const float *r2, const float *r3,
                         __m128 ty) {
    const __m128 three = _mm_set1_ps(3.0f), four = _mm_set1_ps(4.0f), five = _mm_set1_ps(5.0f),
                 half = _mm_set1_ps(0.5f), scale = _mm_set1_ps(1024.0f);
    const __m128 a = _mm_loadu_ps(r0), b = _mm_loadu_ps(r1), c = _mm_loadu_ps(r2),
                 d = _mm_loadu_ps(r3);
    const __m128 x = _mm_sub_ps(_mm_add_ps(a, a), _mm_mul_ps(b, five));
    const __m128 y = _mm_sub_ps(_mm_mul_ps(c, four), d);
    __m128 z = _mm_add_ps(_mm_mul_ps(_mm_sub_ps(b, c), three), d);
    z = _mm_mul_ps(_mm_sub_ps(z, a), ty);
    __m128 w = _mm_add_ps(_mm_add_ps(x, y), z);
    __m128 s = _mm_add_ps(_mm_sub_ps(c, a), _mm_mul_ps(w, ty));
    s = _mm_add_ps(_mm_mul_ps(_mm_mul_ps(s, ty), half), b);
    // Truncating conversion; out of range and NaN give INT32_MIN, as bicubic_truncate_i32. Keep the
    // low 16 bits so that the saturating pack below stores them unchanged.
    return _mm_and_si128(_mm_cvttps_epi32(_mm_mul_ps(s, scale)), _mm_set1_epi32(0xFFFF));
}

}  // namespace

void bicubic_resize_v_row_f32_u16p10_sse41(const float *r0, const float *r1, const float *r2,
                                           const float *r3, float ty, uint16_t *dst, int n) {
    const __m128 tyv = _mm_set1_ps(ty);
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const __m128i lo = vertical4(r0 + x, r1 + x, r2 + x, r3 + x, tyv);
        const __m128i hi = vertical4(r0 + x + 4, r1 + x + 4, r2 + x + 4, r3 + x + 4, tyv);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + x), _mm_packus_epi32(lo, hi));
    }
    if (x < n)
        bicubic_resize_v_row_f32_u16p10_c(r0 + x, r1 + x, r2 + x, r3 + x, ty, dst + x, n - x);
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_RESIZE_ROW_SSE41
