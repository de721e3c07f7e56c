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

// Lane k of the result is coefficient array q at cell base + idx[k]: a window of eight cells moved
// to the lanes.
inline __m256 gather(const float *a, int32_t base, __m256i idx) {
    return _mm256_permutevar8x32_ps(_mm256_loadu_ps(a + base), idx);
}

// K destination rows of one cell row, eight outputs at a time, G groups of eight columns together.
// Each coefficient is moved to the lanes once and serves the K rows. Per lane and row:
// v = A00 + A01 t1 + A02 t2 + A03 t3 + (A10 ty) + (A11 ty) t1 + ... + (A33 ty^3) t3,
// fifteen dependent additions in that order: with only K chains in flight the row waits on their
// latency, so G groups of columns are evaluated side by side (K * G independent chains, each lane
// still in the scalar order).
template <int K, int G>
inline void eval_groups(const float *const *a, const int32_t *base, const __m256i *idx, const float *tx1,
                        const float *tx2, const float *tx3, const __m256 (&tyv)[K][3],
                        const bicubic_dst_rows &rows, int x) {
    const __m256 lo = _mm256_set1_ps(-255.0f), hi = _mm256_set1_ps(65535.0f);
    __m256 t1[G], t2[G], t3[G], v[G][K];
    for (int g = 0; g < G; ++g) {
        t1[g] = _mm256_loadu_ps(tx1 + x + 8 * g);
        t2[g] = _mm256_loadu_ps(tx2 + x + 8 * g);
        t3[g] = _mm256_loadu_ps(tx3 + x + 8 * g);
        const __m256 c = gather(a[0], base[g], idx[g]);
        for (int k = 0; k < K; ++k) v[g][k] = c;
    }
    for (int g = 0; g < G; ++g) {
        const __m256 c = gather(a[1], base[g], idx[g]);
        for (int k = 0; k < K; ++k) v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(c, t1[g]));
    }
    for (int g = 0; g < G; ++g) {
        const __m256 c = gather(a[2], base[g], idx[g]);
        for (int k = 0; k < K; ++k) v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(c, t2[g]));
    }
    for (int g = 0; g < G; ++g) {
        const __m256 c = gather(a[3], base[g], idx[g]);
        for (int k = 0; k < K; ++k) v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(c, t3[g]));
    }
    for (int j = 1; j < 4; ++j) {
        for (int g = 0; g < G; ++g) {
            const __m256 c = gather(a[4 * j], base[g], idx[g]);
            for (int k = 0; k < K; ++k) v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(c, tyv[k][j - 1]));
        }
        for (int g = 0; g < G; ++g) {
            const __m256 c = gather(a[4 * j + 1], base[g], idx[g]);
            for (int k = 0; k < K; ++k)
                v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(_mm256_mul_ps(c, tyv[k][j - 1]), t1[g]));
        }
        for (int g = 0; g < G; ++g) {
            const __m256 c = gather(a[4 * j + 2], base[g], idx[g]);
            for (int k = 0; k < K; ++k)
                v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(_mm256_mul_ps(c, tyv[k][j - 1]), t2[g]));
        }
        for (int g = 0; g < G; ++g) {
            const __m256 c = gather(a[4 * j + 3], base[g], idx[g]);
            for (int k = 0; k < K; ++k)
                v[g][k] = _mm256_add_ps(v[g][k], _mm256_mul_ps(_mm256_mul_ps(c, tyv[k][j - 1]), t3[g]));
        }
    }
    // max(lo, v) and min(hi, v) return v when v is NaN, as the scalar comparisons do.
    for (int g = 0; g < G; ++g)
        for (int k = 0; k < K; ++k)
            _mm256_storeu_ps(rows.dst[k] + x + 8 * g, _mm256_min_ps(hi, _mm256_max_ps(lo, v[g][k])));
}

// The lanes of the group of eight columns from x: false when they span more than eight cells (never
// the case when upscaling), for the scalar row.
inline bool group_lanes(const int32_t *cell, int x, int32_t *base, __m256i *idx) {
    *base = cell[x];
    if (cell[x + 7] - *base > 7) return false;
    *idx = _mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(cell + x)),
                            _mm256_set1_epi32(*base));
    return true;
}

// K destination rows of one cell row: two groups of columns at a time while both are regular (K of 3
// and 4 have chains enough with one), the rest one group at a time or by the scalar row.
template <int K>
void eval_batch(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1,
                const float *tx2, const float *tx3, const bicubic_dst_rows &rows, int begin,
                int end) {
    constexpr int kPair = K <= 2 ? 2 : 1;
    const float *const *a = coefs.coef;
    __m256 tyv[K][3];
    for (int k = 0; k < K; ++k)
        for (int j = 0; j < 3; ++j) tyv[k][j] = _mm256_set1_ps(rows.ty[k][j]);
    int x = begin;
    int32_t base[2];
    __m256i idx[2];
    if constexpr (kPair == 2) {
        for (; x + 16 <= end; x += 16) {
            if (group_lanes(cell, x, &base[0], &idx[0]) && group_lanes(cell, x + 8, &base[1], &idx[1]))
                eval_groups<K, 2>(a, base, idx, tx1, tx2, tx3, tyv, rows, x);
            else
                break;
        }
    }
    for (; x + 8 <= end; x += 8) {
        if (group_lanes(cell, x, &base[0], &idx[0]))
            eval_groups<K, 1>(a, base, idx, tx1, tx2, tx3, tyv, rows, x);
        else
            bicubic_eval_row_f32_c(coefs, cell, tx1, tx2, tx3, rows, x, x + 8);
    }
    if (x < end) bicubic_eval_row_f32_c(coefs, cell, tx1, tx2, tx3, rows, x, end);
}

}  // namespace

void bicubic_eval_row_f32_avx2(const bicubic_cell_coefs &coefs, const int32_t *cell,
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

#endif  // OZ_HAS_BICUBIC_ROW_AVX2
