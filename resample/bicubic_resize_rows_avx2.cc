// AVX2 rows of the bicubic resize to u16p10: eight independent destination columns per vector, each
// lane in the order of operations of the scalar rows (separate multiply and add, never fused); tails
// go to the scalar rows.
#include "resample/bicubic_resize_rows.h"

#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_AVX2

#include <immintrin.h>

namespace oz {

void bicubic_resize_h_row_f32_avx2(const float *row, const int32_t *ix, const float *tx,
                                   const float *half_tx, float *out, int n) {
    const __m256 three = _mm256_set1_ps(3.0f), four = _mm256_set1_ps(4.0f),
                 five = _mm256_set1_ps(5.0f);
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const int32_t base = ix[x];
        const int32_t span = ix[x + 7] - base;
        const __m256i ixv = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(ix + x));
        __m256 p[4];
        if (span <= 15) {
            // Lane k takes row[ix[x + k] + q] out of the windows base + q .. base + q + 15.
            const __m256i idx = _mm256_sub_epi32(ixv, _mm256_set1_epi32(base));
            if (span <= 7) {
                for (int q = 0; q < 4; ++q)
                    p[q] = _mm256_permutevar8x32_ps(_mm256_loadu_ps(row + base + q), idx);
            } else {
                const __m256 upper = _mm256_castsi256_ps(_mm256_slli_epi32(idx, 28));  // idx >= 8
                for (int q = 0; q < 4; ++q)
                    p[q] = _mm256_blendv_ps(
                        _mm256_permutevar8x32_ps(_mm256_loadu_ps(row + base + q), idx),
                        _mm256_permutevar8x32_ps(_mm256_loadu_ps(row + base + q + 8), idx), upper);
            }
        } else {
            for (int q = 0; q < 4; ++q) p[q] = _mm256_i32gather_ps(row + q, ixv, 4);
        }
        const __m256 t = _mm256_loadu_ps(tx + x), ht = _mm256_loadu_ps(half_tx + x);
        __m256 a = _mm256_mul_ps(_mm256_sub_ps(p[1], p[2]), three);
        a = _mm256_sub_ps(_mm256_add_ps(a, p[3]), p[0]);
        __m256 b = _mm256_sub_ps(_mm256_add_ps(p[0], p[0]), _mm256_mul_ps(p[1], five));
        b = _mm256_sub_ps(_mm256_add_ps(b, _mm256_mul_ps(p[2], four)), p[3]);
        __m256 r = _mm256_add_ps(_mm256_mul_ps(a, t), b);
        r = _mm256_add_ps(_mm256_mul_ps(r, t), _mm256_sub_ps(p[2], p[0]));
        r = _mm256_add_ps(_mm256_mul_ps(r, ht), p[1]);
        _mm256_storeu_ps(out + x, r);
    }
    if (x < n) bicubic_resize_h_row_f32_c(row, ix + x, tx + x, half_tx + x, out + x, n - x);
}

namespace {

inline __m256i vertical8(const float *r0, const float *r1, const float *r2, const float *r3,
                         __m256 ty) {
    const __m256 three = _mm256_set1_ps(3.0f), four = _mm256_set1_ps(4.0f),
                 five = _mm256_set1_ps(5.0f), half = _mm256_set1_ps(0.5f),
                 scale = _mm256_set1_ps(1024.0f);
    const __m256 a = _mm256_loadu_ps(r0), b = _mm256_loadu_ps(r1), c = _mm256_loadu_ps(r2),
                 d = _mm256_loadu_ps(r3);
    const __m256 x = _mm256_sub_ps(_mm256_add_ps(a, a), _mm256_mul_ps(b, five));
    const __m256 y = _mm256_sub_ps(_mm256_mul_ps(c, four), d);
    __m256 z = _mm256_add_ps(_mm256_mul_ps(_mm256_sub_ps(b, c), three), d);
    z = _mm256_mul_ps(_mm256_sub_ps(z, a), ty);
    const __m256 w = _mm256_add_ps(_mm256_add_ps(x, y), z);
    __m256 s = _mm256_add_ps(_mm256_sub_ps(c, a), _mm256_mul_ps(w, ty));
    s = _mm256_add_ps(_mm256_mul_ps(_mm256_mul_ps(s, ty), half), b);
    // Truncating conversion; out of range and NaN give INT32_MIN, as bicubic_truncate_i32. Keep the
    // low 16 bits so that the saturating pack below stores them unchanged.
    return _mm256_and_si256(_mm256_cvttps_epi32(_mm256_mul_ps(s, scale)),
                            _mm256_set1_epi32(0xFFFF));
}

}  // namespace

void bicubic_resize_v_row_f32_u16p10_avx2(const float *r0, const float *r1, const float *r2,
                                          const float *r3, float ty, uint16_t *dst, int n) {
    const __m256 tyv = _mm256_set1_ps(ty);
    int x = 0;
    for (; x + 16 <= n; x += 16) {
        const __m256i lo = vertical8(r0 + x, r1 + x, r2 + x, r3 + x, tyv);
        const __m256i hi = vertical8(r0 + x + 8, r1 + x + 8, r2 + x + 8, r3 + x + 8, tyv);
        // The pack interleaves 128-bit halves; restore column order.
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(lo, hi), 0xD8);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + x), packed);
    }
    if (x < n)
        bicubic_resize_v_row_f32_u16p10_c(r0 + x, r1 + x, r2 + x, r3 + x, ty, dst + x, n - x);
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_RESIZE_ROW_AVX2
