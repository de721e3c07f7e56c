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

namespace {

// Eight consecutive outputs whose cells lie within a window of eight: the window start and the lane
// offsets into it.
struct EvalGroup {
    int32_t base;
    __m256i idx;
};

// Outputs cell[0 .. 7] relative to the window that starts at cell[0]; usable when the last one lies in
// the window (cells are non-decreasing).
inline bool fits(const int32_t *cell) { return cell[7] - cell[0] <= 7; }
inline EvalGroup eval_group(const int32_t *cell) {
    return {cell[0], _mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(cell)),
                                      _mm256_set1_epi32(cell[0]))};
}

// Lane k of the result is coefficient array q at cell base + idx[k].
inline __m256 gather(const float *const *a, int q, const EvalGroup &g) {
    return _mm256_permutevar8x32_ps(_mm256_loadu_ps(a[q] + g.base), g.idx);
}

// The 16-term sum of G groups of eight outputs, interleaved so that the G chains of dependent
// additions overlap. Per lane: v = A00 + A01 t1 + A02 t2 + A03 t3 + (A10 ty) + (A11 ty) t1 + ...
template <int G>
inline void eval_groups(const float *const *a, const EvalGroup *g, const float *tx1,
                        const float *tx2, const float *tx3, const __m256 *tyv, float *dst) {
    __m256 v[G], t1[G], t2[G], t3[G];
    for (int k = 0; k < G; ++k) {
        t1[k] = _mm256_loadu_ps(tx1 + 8 * k);
        t2[k] = _mm256_loadu_ps(tx2 + 8 * k);
        t3[k] = _mm256_loadu_ps(tx3 + 8 * k);
        v[k] = gather(a, 0, g[k]);
    }
    for (int k = 0; k < G; ++k) v[k] = _mm256_add_ps(v[k], _mm256_mul_ps(gather(a, 1, g[k]), t1[k]));
    for (int k = 0; k < G; ++k) v[k] = _mm256_add_ps(v[k], _mm256_mul_ps(gather(a, 2, g[k]), t2[k]));
    for (int k = 0; k < G; ++k) v[k] = _mm256_add_ps(v[k], _mm256_mul_ps(gather(a, 3, g[k]), t3[k]));
    for (int j = 1; j < 4; ++j) {
        const __m256 tyj = tyv[j - 1];
        for (int k = 0; k < G; ++k)
            v[k] = _mm256_add_ps(v[k], _mm256_mul_ps(gather(a, 4 * j, g[k]), tyj));
        for (int k = 0; k < G; ++k)
            v[k] = _mm256_add_ps(v[k],
                                 _mm256_mul_ps(_mm256_mul_ps(gather(a, 4 * j + 1, g[k]), tyj), t1[k]));
        for (int k = 0; k < G; ++k)
            v[k] = _mm256_add_ps(v[k],
                                 _mm256_mul_ps(_mm256_mul_ps(gather(a, 4 * j + 2, g[k]), tyj), t2[k]));
        for (int k = 0; k < G; ++k)
            v[k] = _mm256_add_ps(v[k],
                                 _mm256_mul_ps(_mm256_mul_ps(gather(a, 4 * j + 3, g[k]), tyj), t3[k]));
    }
    // max(lo, v) and min(hi, v) return v when v is NaN, as the scalar comparisons do.
    const __m256 lo = _mm256_set1_ps(-255.0f), hi = _mm256_set1_ps(65535.0f);
    for (int k = 0; k < G; ++k)
        _mm256_storeu_ps(dst + 8 * k, _mm256_min_ps(hi, _mm256_max_ps(lo, v[k])));
}

}  // namespace

void bicubic_eval_row_f32_avx2(const bicubic_cell_coefs &coefs, const int32_t *cell,
                               const float *tx1, const float *tx2, const float *tx3,
                               const float ty[3], float *dst, int n) {
    const float *const *a = coefs.coef;
    const __m256 tyv[3] = {_mm256_set1_ps(ty[0]), _mm256_set1_ps(ty[1]), _mm256_set1_ps(ty[2])};
    // One group of eight outputs, or the scalar row when its cells span more than eight (never the
    // case when upscaling).
    auto one = [&](int x) {
        if (fits(cell + x)) {
            const EvalGroup g = eval_group(cell + x);
            eval_groups<1>(a, &g, tx1 + x, tx2 + x, tx3 + x, tyv, dst + x);
        } else {
            bicubic_eval_row_f32_c(coefs, cell + x, tx1 + x, tx2 + x, tx3 + x, ty, dst + x, 8);
        }
    };
    int x = 0;
    for (; x + 16 <= n; x += 16) {
        if (fits(cell + x) && fits(cell + x + 8)) {
            const EvalGroup g[2] = {eval_group(cell + x), eval_group(cell + x + 8)};
            eval_groups<2>(a, g, tx1 + x, tx2 + x, tx3 + x, tyv, dst + x);
        } else {
            one(x);
            one(x + 8);
        }
    }
    for (; x + 8 <= n; x += 8) one(x);
    if (x < n) bicubic_eval_row_f32_c(coefs, cell + x, tx1 + x, tx2 + x, tx3 + x, ty, dst + x, n - x);
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_ROW_AVX2
