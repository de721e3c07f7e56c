// AVX2 rows of the bicubic upscaling to float: eight independent outputs per vector, each lane in the
// order of operations of the scalar rows (separate multiply and add, never fused); tails and
// irregular groups go to the scalar rows.
#include "resample/bicubic_rows.h"

#ifdef OZ_HAS_BICUBIC_ROW_AVX2

#include <immintrin.h>

namespace oz {

void bicubic_fill_row_u8_f32_avx2(const uint8_t *src, float *dst, int n) {
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i));
        _mm256_storeu_ps(dst + i, _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(b)));
        _mm256_storeu_ps(dst + i + 8,
                         _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_srli_si128(b, 8))));
    }
    if (i < n) bicubic_fill_row_u8_f32_c(src + i, dst + i, n - i);
}

void bicubic_fill_row_u16_f32_avx2(const uint16_t *src, float *dst, int n, float scale) {
    const __m256 s = _mm256_set1_ps(scale);
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i w0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i));
        const __m128i w1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i + 8));
        _mm256_storeu_ps(dst + i, _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(w0)), s));
        _mm256_storeu_ps(dst + i + 8,
                         _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(w1)), s));
    }
    if (i < n) bicubic_fill_row_u16_f32_c(src + i, dst + i, n - i, scale);
}

void bicubic_basis_row_f32_avx2(const float *p0, const float *p1, const float *p2,
                                const float *p3, float *c1, float *c2, float *c3, int n) {
    const __m256 m05 = _mm256_set1_ps(-0.5f), h05 = _mm256_set1_ps(0.5f),
                 m25 = _mm256_set1_ps(-2.5f), two = _mm256_set1_ps(2.0f),
                 p15 = _mm256_set1_ps(1.5f), m15 = _mm256_set1_ps(-1.5f);
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        const __m256 a = _mm256_loadu_ps(p0 + k), b = _mm256_loadu_ps(p1 + k),
                     c = _mm256_loadu_ps(p2 + k), d = _mm256_loadu_ps(p3 + k);
        const __m256 ma = _mm256_mul_ps(m05, a);  // -0.5 p0, shared by c1 and c3
        _mm256_storeu_ps(c1 + k, _mm256_add_ps(ma, _mm256_mul_ps(h05, c)));
        __m256 v = _mm256_add_ps(a, _mm256_mul_ps(m25, b));
        v = _mm256_add_ps(v, _mm256_mul_ps(two, c));
        _mm256_storeu_ps(c2 + k, _mm256_add_ps(v, _mm256_mul_ps(m05, d)));
        v = _mm256_add_ps(ma, _mm256_mul_ps(p15, b));
        v = _mm256_add_ps(v, _mm256_mul_ps(m15, c));
        _mm256_storeu_ps(c3 + k, _mm256_add_ps(v, _mm256_mul_ps(h05, d)));
    }
    if (k < n) bicubic_basis_row_f32_c(p0 + k, p1 + k, p2 + k, p3 + k, c1 + k, c2 + k, c3 + k, n - k);
}

void bicubic_eval_row_f32_avx2(const bicubic_cell_coefs &coefs, const int32_t *cell,
                               const float *tx1, const float *tx2, const float *tx3,
                               const float ty[3], float *dst, int n) {
    const float *const *a = coefs.coef;
    const __m256 lo = _mm256_set1_ps(-255.0f), hi = _mm256_set1_ps(65535.0f);
    const __m256 tyv[3] = {_mm256_set1_ps(ty[0]), _mm256_set1_ps(ty[1]), _mm256_set1_ps(ty[2])};
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        const int32_t base = cell[x];
        if (cell[x + 7] - base > 7) {
            // The eight outputs span more than eight cells (never the case when upscaling).
            bicubic_eval_row_f32_c(coefs, cell + x, tx1 + x, tx2 + x, tx3 + x, ty, dst + x, 8);
            continue;
        }
        const __m256i idx = _mm256_sub_epi32(
            _mm256_loadu_si256(reinterpret_cast<const __m256i *>(cell + x)), _mm256_set1_epi32(base));
        // Lane k takes coefficient array q at cell cell[x + k], out of the window base .. base + 7.
        auto g = [&](int q) { return _mm256_permutevar8x32_ps(_mm256_loadu_ps(a[q] + base), idx); };
        const __m256 t1 = _mm256_loadu_ps(tx1 + x), t2 = _mm256_loadu_ps(tx2 + x),
                     t3 = _mm256_loadu_ps(tx3 + x);
        __m256 v = g(0);
        v = _mm256_add_ps(v, _mm256_mul_ps(g(1), t1));
        v = _mm256_add_ps(v, _mm256_mul_ps(g(2), t2));
        v = _mm256_add_ps(v, _mm256_mul_ps(g(3), t3));
        for (int j = 1; j < 4; ++j) {
            const __m256 tyj = tyv[j - 1];
            v = _mm256_add_ps(v, _mm256_mul_ps(g(4 * j), tyj));
            v = _mm256_add_ps(v, _mm256_mul_ps(_mm256_mul_ps(g(4 * j + 1), tyj), t1));
            v = _mm256_add_ps(v, _mm256_mul_ps(_mm256_mul_ps(g(4 * j + 2), tyj), t2));
            v = _mm256_add_ps(v, _mm256_mul_ps(_mm256_mul_ps(g(4 * j + 3), tyj), t3));
        }
        // max(lo, v) and min(hi, v) return v when v is NaN, as the scalar comparisons do.
        v = _mm256_min_ps(hi, _mm256_max_ps(lo, v));
        _mm256_storeu_ps(dst + x, v);
    }
    if (x < n) bicubic_eval_row_f32_c(coefs, cell + x, tx1 + x, tx2 + x, tx3 + x, ty, dst + x, n - x);
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_ROW_AVX2
