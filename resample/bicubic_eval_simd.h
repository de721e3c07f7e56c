// Evaluation row of the bicubic upscaling to float, written once over an ISA's vector operations and
// its way of moving a group's coefficients to the lanes, and instantiated in that ISA's file (AVX2,
// AVX-512). Lanes are consecutive destination columns; each lane repeats the scalar row's operations
// in its order (separate multiply and add, never fused). The ISA's policy V gives:
//   F, kLanes, set1, load, add, mul, store_clamped (min(hi, max(lo, v)), which returns v when v is
//   NaN, as the scalar comparisons do);
//   Lanes and lanes(cell, x, &l): a group of kLanes columns from x, false when it spans more than
//   kLanes cells (never when upscaling); gather(a, l): lane k is coefficient array a at cell[x + k];
//   fallback(...): the row for columns the vector path leaves.
#pragma once

#include "resample/bicubic_rows.h"

namespace oz {
namespace {

// K destination rows of one cell row, G groups of kLanes columns together. Each coefficient is moved
// to the lanes once and serves the K rows. Per lane and row:
// v = A00 + A01 t1 + A02 t2 + A03 t3 + (A10 ty) + (A11 ty) t1 + ... + (A33 ty^3) t3,
// fifteen dependent additions in that order: with only K chains in flight the row waits on their
// latency, so G groups of columns are evaluated side by side (K * G independent chains, each lane
// still in the scalar order).
template <class V, int K, int G>
inline void bicubic_eval_groups(const float *const *a, const typename V::Lanes *lanes, const float *tx1,
                                const float *tx2, const float *tx3, const typename V::F (&tyv)[K][3],
                                const bicubic_dst_rows &rows, int x) {
    using F = typename V::F;
    constexpr int L = V::kLanes;
    F t1[G], t2[G], t3[G], v[G][K];
    for (int g = 0; g < G; ++g) {
        t1[g] = V::load(tx1 + x + L * g);
        t2[g] = V::load(tx2 + x + L * g);
        t3[g] = V::load(tx3 + x + L * g);
        const F c = V::gather(a[0], lanes[g]);
        for (int k = 0; k < K; ++k) v[g][k] = c;
    }
    const F *tx[4] = {nullptr, t1, t2, t3};
    for (int i = 1; i < 4; ++i) {
        for (int g = 0; g < G; ++g) {
            const F c = V::gather(a[i], lanes[g]);
            for (int k = 0; k < K; ++k) v[g][k] = V::add(v[g][k], V::mul(c, tx[i][g]));
        }
    }
    for (int j = 1; j < 4; ++j) {
        for (int g = 0; g < G; ++g) {
            const F c = V::gather(a[4 * j], lanes[g]);
            for (int k = 0; k < K; ++k) v[g][k] = V::add(v[g][k], V::mul(c, tyv[k][j - 1]));
        }
        for (int i = 1; i < 4; ++i) {
            for (int g = 0; g < G; ++g) {
                const F c = V::gather(a[4 * j + i], lanes[g]);
                for (int k = 0; k < K; ++k)
                    v[g][k] = V::add(v[g][k], V::mul(V::mul(c, tyv[k][j - 1]), tx[i][g]));
            }
        }
    }
    for (int g = 0; g < G; ++g)
        for (int k = 0; k < K; ++k) V::store_clamped(rows.dst[k] + x + L * g, v[g][k]);
}

// K destination rows of one cell row: two groups of columns at a time while both are regular (K of 3
// and 4 have chains enough with one), the rest one group at a time, by the fallback row where a group
// is irregular and for the columns after the last whole group.
template <class V, int K>
void bicubic_eval_batch(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1, const float *tx2,
                        const float *tx3, const bicubic_dst_rows &rows, int begin, int end) {
    constexpr int L = V::kLanes;
    constexpr int kPair = K <= 2 ? 2 : 1;
    const float *const *a = coefs.coef;
    typename V::F tyv[K][3];
    for (int k = 0; k < K; ++k)
        for (int j = 0; j < 3; ++j) tyv[k][j] = V::set1(rows.ty[k][j]);
    int x = begin;
    typename V::Lanes lanes[2];
    if constexpr (kPair == 2) {
        for (; x + 2 * L <= end; x += 2 * L) {
            if (!V::lanes(cell, x, &lanes[0]) || !V::lanes(cell, x + L, &lanes[1])) break;
            bicubic_eval_groups<V, K, 2>(a, lanes, tx1, tx2, tx3, tyv, rows, x);
        }
    }
    for (; x + L <= end; x += L) {
        if (V::lanes(cell, x, &lanes[0]))
            bicubic_eval_groups<V, K, 1>(a, lanes, tx1, tx2, tx3, tyv, rows, x);
        else
            V::fallback(coefs, cell, tx1, tx2, tx3, rows, x, x + L);
    }
    if (x < end) V::fallback(coefs, cell, tx1, tx2, tx3, rows, x, end);
}

// The evaluation row of an ISA: the batch of the block's row count.
template <class V>
void bicubic_eval_row_vec(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1, const float *tx2,
                      const float *tx3, const bicubic_dst_rows &rows, int begin, int end) {
    switch (rows.count) {
        case 1:
            return bicubic_eval_batch<V, 1>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
        case 2:
            return bicubic_eval_batch<V, 2>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
        case 3:
            return bicubic_eval_batch<V, 3>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
        default:
            return bicubic_eval_batch<V, 4>(coefs, cell, tx1, tx2, tx3, rows, begin, end);
    }
}

}  // namespace
}  // namespace oz
