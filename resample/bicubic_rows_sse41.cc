// SSE4.1 rows of the bicubic upscaling to float: four independent outputs per vector, each lane in
// the order of operations of the scalar rows; tails and irregular groups go to the scalar rows.
#include "resample/bicubic_rows.h"

#ifdef OZ_HAS_BICUBIC_ROW_SSE41

#include <smmintrin.h>

namespace oz {

void bicubic_fill_row_u8_f32_sse41(const uint8_t *src, float *dst, int n) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(src + i));
        _mm_storeu_ps(dst + i, _mm_cvtepi32_ps(_mm_cvtepu8_epi32(b)));
        _mm_storeu_ps(dst + i + 4, _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(b, 4))));
    }
    if (i < n) bicubic_fill_row_u8_f32_c(src + i, dst + i, n - i);
}

void bicubic_fill_row_u16_f32_sse41(const uint16_t *src, float *dst, int n, float scale) {
    const __m128 s = _mm_set1_ps(scale);
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i));
        const __m128 lo = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(w));
        const __m128 hi = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(w, 8)));
        _mm_storeu_ps(dst + i, _mm_mul_ps(lo, s));
        _mm_storeu_ps(dst + i + 4, _mm_mul_ps(hi, s));
    }
    if (i < n) bicubic_fill_row_u16_f32_c(src + i, dst + i, n - i, scale);
}

void bicubic_basis_row_f32_sse41(const float *p0, const float *p1, const float *p2, const float *p3,
                                 float *c1, float *c2, float *c3, int n) {
    const __m128 half = _mm_set1_ps(0.5f), f15 = _mm_set1_ps(1.5f), f25 = _mm_set1_ps(2.5f);
    int k = 0;
    for (; k + 4 <= n; k += 4) {
        const __m128 a = _mm_loadu_ps(p0 + k), b = _mm_loadu_ps(p1 + k), c = _mm_loadu_ps(p2 + k),
                     d = _mm_loadu_ps(p3 + k);
        // Each product once; 2 p2 as p2 + p2 (the same value, bit for bit).
        const __m128 ha = _mm_mul_ps(half, a), hc = _mm_mul_ps(half, c), hd = _mm_mul_ps(half, d);
        _mm_storeu_ps(c1 + k, _mm_sub_ps(hc, ha));
        __m128 v = _mm_sub_ps(a, _mm_mul_ps(f25, b));
        v = _mm_add_ps(v, _mm_add_ps(c, c));
        _mm_storeu_ps(c2 + k, _mm_sub_ps(v, hd));
        v = _mm_sub_ps(_mm_mul_ps(f15, b), ha);
        v = _mm_sub_ps(v, _mm_mul_ps(f15, c));
        _mm_storeu_ps(c3 + k, _mm_add_ps(v, hd));
    }
    if (k < n)
        bicubic_basis_row_f32_c(p0 + k, p1 + k, p2 + k, p3 + k, c1 + k, c2 + k, c3 + k, n - k);
}

// p0 .. p3 built from two loads per step instead of four overlapping ones; the next load,
// p[k + 4 .. k + 7], must stay within p[0 .. n + 2].
void bicubic_shift_basis_row_f32_sse41(const float *p, float *c1, float *c2, float *c3, int n) {
    const __m128 half = _mm_set1_ps(0.5f), f15 = _mm_set1_ps(1.5f), f25 = _mm_set1_ps(2.5f);
    int k = 0;
    __m128 lo = _mm_setzero_ps();
    if (k + 7 <= n) lo = _mm_loadu_ps(p);
    for (; k + 7 <= n; k += 4) {
        const __m128 hi = _mm_loadu_ps(p + k + 4);
        const __m128i l = _mm_castps_si128(lo), h = _mm_castps_si128(hi);
        const __m128 a = lo, b = _mm_castsi128_ps(_mm_alignr_epi8(h, l, 4)),
                     c = _mm_castsi128_ps(_mm_alignr_epi8(h, l, 8)),
                     d = _mm_castsi128_ps(_mm_alignr_epi8(h, l, 12));
        const __m128 ha = _mm_mul_ps(half, a), hc = _mm_mul_ps(half, c), hd = _mm_mul_ps(half, d);
        _mm_storeu_ps(c1 + k, _mm_sub_ps(hc, ha));
        __m128 v = _mm_sub_ps(a, _mm_mul_ps(f25, b));
        v = _mm_add_ps(v, _mm_add_ps(c, c));
        _mm_storeu_ps(c2 + k, _mm_sub_ps(v, hd));
        v = _mm_sub_ps(_mm_mul_ps(f15, b), ha);
        v = _mm_sub_ps(v, _mm_mul_ps(f15, c));
        _mm_storeu_ps(c3 + k, _mm_add_ps(v, hd));
        lo = hi;
    }
    if (k < n) bicubic_shift_basis_row_f32_c(p + k, c1 + k, c2 + k, c3 + k, n - k);
}

namespace {

// K destination rows of one cell row, four outputs at a time; see the AVX2 row.
template <int K>
void eval_batch(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1,
                const float *tx2, const float *tx3, const bicubic_dst_rows &rows, int begin,
                int end) {
    const float *const *a = coefs.coef;
    __m128 tyv[K][3];
    for (int k = 0; k < K; ++k)
        for (int j = 0; j < 3; ++j) tyv[k][j] = _mm_set1_ps(rows.ty[k][j]);
    const __m128 lo = _mm_set1_ps(-255.0f), hi = _mm_set1_ps(65535.0f);
    // Byte shuffle that spreads lane index k to the four bytes 4k .. 4k + 3.
    const __m128i spread = _mm_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
    const __m128i bytes = _mm_setr_epi8(0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3);
    int x = begin;
    for (; x + 4 <= end; x += 4) {
        const int32_t base = cell[x];
        if (cell[x + 3] - base > 3) {
            // The four outputs span more than four cells (never the case when upscaling).
            bicubic_eval_row_f32_c(coefs, cell, tx1, tx2, tx3, rows, x, x + 4);
            continue;
        }
        const __m128i idx = _mm_sub_epi32(
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(cell + x)), _mm_set1_epi32(base));
        const __m128i ctrl = _mm_add_epi8(_mm_shuffle_epi8(_mm_slli_epi32(idx, 2), spread), bytes);
        // Lane k takes coefficient array q at cell cell[x + k], out of the window base .. base + 3.
        auto g = [&](int q) {
            return _mm_castsi128_ps(
                _mm_shuffle_epi8(_mm_castps_si128(_mm_loadu_ps(a[q] + base)), ctrl));
        };
        const __m128 t1 = _mm_loadu_ps(tx1 + x), t2 = _mm_loadu_ps(tx2 + x),
                     t3 = _mm_loadu_ps(tx3 + x);
        __m128 v[K];
        __m128 c = g(0);
        for (int k = 0; k < K; ++k) v[k] = c;
        c = g(1);
        for (int k = 0; k < K; ++k) v[k] = _mm_add_ps(v[k], _mm_mul_ps(c, t1));
        c = g(2);
        for (int k = 0; k < K; ++k) v[k] = _mm_add_ps(v[k], _mm_mul_ps(c, t2));
        c = g(3);
        for (int k = 0; k < K; ++k) v[k] = _mm_add_ps(v[k], _mm_mul_ps(c, t3));
        for (int j = 1; j < 4; ++j) {
            c = g(4 * j);
            for (int k = 0; k < K; ++k) v[k] = _mm_add_ps(v[k], _mm_mul_ps(c, tyv[k][j - 1]));
            c = g(4 * j + 1);
            for (int k = 0; k < K; ++k)
                v[k] = _mm_add_ps(v[k], _mm_mul_ps(_mm_mul_ps(c, tyv[k][j - 1]), t1));
            c = g(4 * j + 2);
            for (int k = 0; k < K; ++k)
                v[k] = _mm_add_ps(v[k], _mm_mul_ps(_mm_mul_ps(c, tyv[k][j - 1]), t2));
            c = g(4 * j + 3);
            for (int k = 0; k < K; ++k)
                v[k] = _mm_add_ps(v[k], _mm_mul_ps(_mm_mul_ps(c, tyv[k][j - 1]), t3));
        }
        // max(lo, v) and min(hi, v) return v when v is NaN, as the scalar comparisons do.
        for (int k = 0; k < K; ++k)
            _mm_storeu_ps(rows.dst[k] + x, _mm_min_ps(hi, _mm_max_ps(lo, v[k])));
    }
    if (x < end) bicubic_eval_row_f32_c(coefs, cell, tx1, tx2, tx3, rows, x, end);
}

}  // namespace

void bicubic_eval_row_f32_sse41(const bicubic_cell_coefs &coefs, const int32_t *cell,
                                const float *tx1, const float *tx2, const float *tx3,
                                const bicubic_dst_rows &rows, int begin, int end) {
    switch (rows.count) {
        case 1:
            return eval_batch<1>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
        case 2:
            return eval_batch<2>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
        case 3:
            return eval_batch<3>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
        default:
            return eval_batch<4>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
    }
}

}  // namespace oz

#endif  // OZ_HAS_BICUBIC_ROW_SSE41
