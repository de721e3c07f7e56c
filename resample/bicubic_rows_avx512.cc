// AVX-512 evaluation row of the bicubic upscaling to float: sixteen independent outputs per vector,
// each lane in the order of operations of the scalar row (separate multiply and add, never fused).
// The other rows of the set are the AVX2 ones; tails shorter than sixteen columns and irregular
// groups go to the AVX2 evaluation row, which hands its own leftovers to the scalar row.
#include "resample/bicubic_rows.h"

#ifdef OZ_HAS_BICUBIC_ROW_AVX512

#include <immintrin.h>

namespace oz {
namespace {

// The lanes of the group of sixteen columns from x: the window of cells base .. base + span and each
// lane's place in it; false when the group spans more than sixteen cells (never when upscaling).
struct Lanes16 {
    int32_t base;
    __mmask16 window;  // the cells of the window: only these are read
    __m512i idx;
};

inline bool group_lanes(const int32_t *cell, int x, Lanes16 *l) {
    l->base = cell[x];
    const int32_t span = cell[x + 15] - l->base;
    if (span > 15) return false;
    l->window = __mmask16(span == 15 ? 0xFFFFu : (1u << (span + 1)) - 1u);
    l->idx = _mm512_sub_epi32(_mm512_loadu_si512(cell + x), _mm512_set1_epi32(l->base));
    return true;
}

// Lane k: coefficient array a at cell base + idx[k]. The masked load reads only the window's cells.
inline __m512 gather(const float *a, const Lanes16 &l) {
    return _mm512_permutexvar_ps(l.idx, _mm512_maskz_loadu_ps(l.window, a + l.base));
}

// K destination rows of one cell row, sixteen outputs at a time, G groups of sixteen columns side by
// side: the same terms, in the same order, as the AVX2 row (see there).
template <int K, int G>
inline void eval_groups(const float *const *a, const Lanes16 *lanes, const float *tx1, const float *tx2,
                        const float *tx3, const __m512 (&tyv)[K][3], const bicubic_dst_rows &rows, int x) {
    const __m512 lo = _mm512_set1_ps(-255.0f), hi = _mm512_set1_ps(65535.0f);
    __m512 t1[G], t2[G], t3[G], v[G][K];
    for (int g = 0; g < G; ++g) {
        t1[g] = _mm512_loadu_ps(tx1 + x + 16 * g);
        t2[g] = _mm512_loadu_ps(tx2 + x + 16 * g);
        t3[g] = _mm512_loadu_ps(tx3 + x + 16 * g);
        const __m512 c = gather(a[0], lanes[g]);
        for (int k = 0; k < K; ++k) v[g][k] = c;
    }
    for (int g = 0; g < G; ++g) {
        const __m512 c = gather(a[1], lanes[g]);
        for (int k = 0; k < K; ++k) v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(c, t1[g]));
    }
    for (int g = 0; g < G; ++g) {
        const __m512 c = gather(a[2], lanes[g]);
        for (int k = 0; k < K; ++k) v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(c, t2[g]));
    }
    for (int g = 0; g < G; ++g) {
        const __m512 c = gather(a[3], lanes[g]);
        for (int k = 0; k < K; ++k) v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(c, t3[g]));
    }
    for (int j = 1; j < 4; ++j) {
        for (int g = 0; g < G; ++g) {
            const __m512 c = gather(a[4 * j], lanes[g]);
            for (int k = 0; k < K; ++k) v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(c, tyv[k][j - 1]));
        }
        for (int g = 0; g < G; ++g) {
            const __m512 c = gather(a[4 * j + 1], lanes[g]);
            for (int k = 0; k < K; ++k)
                v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(_mm512_mul_ps(c, tyv[k][j - 1]), t1[g]));
        }
        for (int g = 0; g < G; ++g) {
            const __m512 c = gather(a[4 * j + 2], lanes[g]);
            for (int k = 0; k < K; ++k)
                v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(_mm512_mul_ps(c, tyv[k][j - 1]), t2[g]));
        }
        for (int g = 0; g < G; ++g) {
            const __m512 c = gather(a[4 * j + 3], lanes[g]);
            for (int k = 0; k < K; ++k)
                v[g][k] = _mm512_add_ps(v[g][k], _mm512_mul_ps(_mm512_mul_ps(c, tyv[k][j - 1]), t3[g]));
        }
    }
    // max(lo, v) and min(hi, v) return v when v is NaN, as the scalar comparisons do.
    for (int g = 0; g < G; ++g)
        for (int k = 0; k < K; ++k)
            _mm512_storeu_ps(rows.dst[k] + x + 16 * g, _mm512_min_ps(hi, _mm512_max_ps(lo, v[g][k])));
}

template <int K>
void eval_batch(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1, const float *tx2,
                const float *tx3, const bicubic_dst_rows &rows, int begin, int end) {
    constexpr int kPair = K <= 2 ? 2 : 1;
    const float *const *a = coefs.coef;
    __m512 tyv[K][3];
    for (int k = 0; k < K; ++k)
        for (int j = 0; j < 3; ++j) tyv[k][j] = _mm512_set1_ps(rows.ty[k][j]);
    int x = begin;
    Lanes16 lanes[2];
    if constexpr (kPair == 2) {
        for (; x + 32 <= end; x += 32) {
            if (!group_lanes(cell, x, &lanes[0]) || !group_lanes(cell, x + 16, &lanes[1])) break;
            eval_groups<K, 2>(a, lanes, tx1, tx2, tx3, tyv, rows, x);
        }
    }
    for (; x + 16 <= end; x += 16) {
        if (!group_lanes(cell, x, &lanes[0])) break;
        eval_groups<K, 1>(a, lanes, tx1, tx2, tx3, tyv, rows, x);
    }
    if (x < end) bicubic_eval_row_f32_avx2(coefs, cell, tx1, tx2, tx3, rows, x, end);
}

}  // namespace

void bicubic_eval_row_f32_avx512(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1,
                                 const float *tx2, const float *tx3, const bicubic_dst_rows &rows, int begin,
                                 int end) {
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

#endif  // OZ_HAS_BICUBIC_ROW_AVX512
