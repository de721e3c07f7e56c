// AVX2 rows of the bicubic upscaling to float: eight independent outputs per vector, each lane in the
// order of operations of the scalar rows (separate multiply and add, never fused); tails and
// irregular groups go to the scalar rows.
#include "resample/bicubic_eval_simd.h"
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

void bicubic_basis_row_f32_avx2(const float *p0, const float *p1, const float *p2, const float *p3,
                                float *c1, float *c2, float *c3, int n) {
    const __m256 half = _mm256_set1_ps(0.5f), f15 = _mm256_set1_ps(1.5f),
                 f25 = _mm256_set1_ps(2.5f);
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        const __m256 a = _mm256_loadu_ps(p0 + k), b = _mm256_loadu_ps(p1 + k),
                     c = _mm256_loadu_ps(p2 + k), d = _mm256_loadu_ps(p3 + k);
        // Each product once; 2 p2 as p2 + p2 (the same value, bit for bit).
        const __m256 ha = _mm256_mul_ps(half, a), hc = _mm256_mul_ps(half, c),
                     hd = _mm256_mul_ps(half, d);
        _mm256_storeu_ps(c1 + k, _mm256_sub_ps(hc, ha));
        __m256 v = _mm256_sub_ps(a, _mm256_mul_ps(f25, b));
        v = _mm256_add_ps(v, _mm256_add_ps(c, c));
        _mm256_storeu_ps(c2 + k, _mm256_sub_ps(v, hd));
        v = _mm256_sub_ps(_mm256_mul_ps(f15, b), ha);
        v = _mm256_sub_ps(v, _mm256_mul_ps(f15, c));
        _mm256_storeu_ps(c3 + k, _mm256_add_ps(v, hd));
    }
    if (k < n)
        bicubic_basis_row_f32_c(p0 + k, p1 + k, p2 + k, p3 + k, c1 + k, c2 + k, c3 + k, n - k);
}

// p0 .. p3 as four overlapping loads (p[k + 3 .. k + 10] stays within p[0 .. n + 2]): loads are cheaper
// here than the lane shuffles that would build them from two, which compete with the arithmetic.
void bicubic_shift_basis_row_f32_avx2(const float *p, float *c1, float *c2, float *c3, int n) {
    const __m256 half = _mm256_set1_ps(0.5f), f15 = _mm256_set1_ps(1.5f),
                 f25 = _mm256_set1_ps(2.5f);
    int k = 0;
    for (; k + 8 <= n; k += 8) {
        const __m256 a = _mm256_loadu_ps(p + k), b = _mm256_loadu_ps(p + k + 1), c = _mm256_loadu_ps(p + k + 2),
                     d = _mm256_loadu_ps(p + k + 3);
        const __m256 ha = _mm256_mul_ps(half, a), hc = _mm256_mul_ps(half, c),
                     hd = _mm256_mul_ps(half, d);
        _mm256_storeu_ps(c1 + k, _mm256_sub_ps(hc, ha));
        __m256 v = _mm256_sub_ps(a, _mm256_mul_ps(f25, b));
        v = _mm256_add_ps(v, _mm256_add_ps(c, c));
        _mm256_storeu_ps(c2 + k, _mm256_sub_ps(v, hd));
        v = _mm256_sub_ps(_mm256_mul_ps(f15, b), ha);
        v = _mm256_sub_ps(v, _mm256_mul_ps(f15, c));
        _mm256_storeu_ps(c3 + k, _mm256_add_ps(v, hd));
    }
    if (k < n) bicubic_shift_basis_row_f32_c(p + k, c1 + k, c2 + k, c3 + k, n - k);
}

namespace {

// Eight columns a vector; a group's lanes take their coefficients from a window of eight cells moved
// to the lanes; irregular groups and tails go to the scalar row.
struct Avx2Eval {
    using F = __m256;
    static constexpr int kLanes = 8;
    struct Lanes {
        int32_t base;
        __m256i idx;
    };
    static F set1(float v) { return _mm256_set1_ps(v); }
    static F load(const float *p) { return _mm256_loadu_ps(p); }
    static F add(F a, F b) { return _mm256_add_ps(a, b); }
    static F mul(F a, F b) { return _mm256_mul_ps(a, b); }
    static void store_clamped(float *p, F v) {
        _mm256_storeu_ps(p, _mm256_min_ps(_mm256_set1_ps(65535.0f), _mm256_max_ps(_mm256_set1_ps(-255.0f), v)));
    }
    static bool lanes(const int32_t *cell, int x, Lanes *l) {
        l->base = cell[x];
        if (cell[x + 7] - l->base > 7) return false;
        l->idx = _mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(cell + x)),
                                  _mm256_set1_epi32(l->base));
        return true;
    }
    static F gather(const float *a, const Lanes &l) { return _mm256_permutevar8x32_ps(_mm256_loadu_ps(a + l.base), l.idx); }
    static constexpr bicubic_eval_row fallback = bicubic_eval_row_f32_c;
};

}  // namespace

void bicubic_eval_row_f32_avx2(const bicubic_cell_coefs &coefs, const int32_t *cell,
                               const float *tx1, const float *tx2, const float *tx3,
                               const bicubic_dst_rows &rows, int begin, int end) {
    bicubic_eval_row_vec<Avx2Eval>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_ROW_AVX2
