// Area downscale vector row, written once over the vector operations of an ISA (Sse41 or Avx2) and
// instantiated in that ISA's file. Lanes are consecutive destination columns; each lane repeats the
// scalar row's operations in its order: the same span ends, weights and products, the sum over the
// span's rows (outer) and columns (inner), the same normalisation and truncation. Columns beyond a
// lane's span are added as +0.0, which leaves its sum unchanged (the sum starts at +0.0 and can never
// become -0.0). Groups whose four-sample reads would pass the readable end of a source row, and groups
// with spans longer than 16 columns, are left to the scalar row.
#pragma once

#include "resample/area_rows.h"

namespace oz {
namespace {

// 16-bit sources at whole-number footprints with every row weight 1 (the rectangle an exact multiple
// of the destination): every weight is 1, every product (1 * 1) * s is the sample, and with at most
// 256 samples per span every partial sum is an integer below 2^24, exact in single precision. The
// scalar sum is then the integer sum whatever the order, so the samples are summed as integers, rows
// first, and the sum converted once; the normalisation is the scalar row's. Returns false when the row
// does not qualify.
//
// area_box_columns gives the footprint k of such a row (0 when it does not qualify).
inline uint32_t area_box_columns(const AreaRow &row) {
    const uint32_t k = uint32_t(row.fx);
    if (float(k) != row.fx || k == 0 || row.row_weight_first != 1.0f ||
        row.row_weight_last != 1.0f || uint64_t(k) * row.row_count > 256)
        return 0;
    return k;
}

template <class V>
bool area_box_row_u16(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t end) {
    using I = typename V::I;
    constexpr uint32_t L = V::kLanes;
    const uint32_t k = area_box_columns(row);
    if (k == 0) return false;
    constexpr uint32_t kColumns = 2048;  // column sums held per chunk
    alignas(32) int32_t col_sum[kColumns + 8];
    const uint32_t chunk = (kColumns / k) / L * L;  // destination columns per chunk
    if (chunk == 0) return false;
    uint32_t i = 0;
    for (; i + L <= end; i += chunk) {
        const uint32_t n = end - i < chunk ? (end - i) / L * L : chunk;
        const uint16_t *s = src + size_t(i) * k;
        const uint32_t cols = n * k;  // a multiple of L
        for (uint32_t c = 0; c < cols; c += L) {
            I acc = V::load_u16_i32(s + c);
            for (uint32_t r = 1; r < row.row_count; ++r) acc = V::add_i(acc, V::load_u16_i32(s + r * row.stride + c));
            V::store_i(col_sum + c, acc);
        }
        for (uint32_t o = 0; o < n; o += L) {
            alignas(32) int32_t sums[L];
            for (uint32_t l = 0; l < L; ++l) {
                int32_t t = 0;
                for (uint32_t c = 0; c < k; ++c) t += col_sum[(o + l) * k + c];
                sums[l] = t;
            }
            const typename V::F sum = V::cvt(V::loadu_i(sums));
            const typename V::F value = V::mul(
                V::add(V::mul(V::mul(sum, V::set1(row.inv_area)), V::set1(row.inv_src)), V::set1(kAreaRoundHalf)),
                V::set1(row.out_scale));
            V::store_u16(dst + i + o, V::cvtt(value));
        }
        if (n < chunk) {
            i += n;
            break;
        }
    }
    area_row_u16_to_u16_c(src, row, dst, i < end ? i : end, end);
    return true;
}

// Rows that a row set produces on their own (a whole-number box, say) before the shared-span rows:
// returns true when it has written the row.
template <class T>
using area_alone_fn = bool (*)(const T *src, const AreaRow &row, uint16_t *dst, uint32_t dst_width);

template <class T>
bool area_alone_none(const T *, const AreaRow &, uint16_t *, uint32_t) {
    return false;
}

// The rows of a block that no `alone` routine took, eight (or four) destination columns at a time.
// The column spans, their weights and masks depend only on the columns, so they are worked out once
// per group and used for every row; each row's sum then repeats its scalar sum lane by lane.
template <class V, class T, bool kFloatSource>
void area_block_vec(const AreaBlock<T> &block, uint32_t end, area_row_fn<T> scalar, area_alone_fn<T> alone) {
    using F = typename V::F;
    using I = typename V::I;
    constexpr int L = V::kLanes;
    constexpr uint32_t kMaxChunks = 4;  // spans of up to 16 columns in the vector path
    AreaBlock<T> rest;
    rest.count = 0;
    for (uint32_t k = 0; k < block.count; ++k) {
        if (alone(block.src[k], block.row[k], block.dst[k], end)) continue;
        rest.src[rest.count] = block.src[k];
        rest.dst[rest.count] = block.dst[k];
        rest.row[rest.count] = block.row[k];
        ++rest.count;
    }
    if (rest.count == 0) return;
    const AreaRow &shared = rest.row[0];  // the column geometry every row of the block shares
    const F fx = V::set1(shared.fx);
    const F width = V::set1(shared.width);
    const F one = V::set1(1.0f);
    const F zero = V::zero();
    const I lane = V::iota();
    uint32_t i = 0;
    while (i + L <= end) {
        // Span ends of the previous column and of this one (columns counted from 1).
        const I idx = V::add_i(V::set1_i(int32_t(i)), lane);
        const F e_prev = V::min(V::mul(V::cvt(idx), fx), width);
        const F e_cur = V::min(V::mul(V::cvt(V::add_i(idx, V::set1_i(1))), fx), width);
        const I whole_prev = V::cvtt(e_prev);
        const I whole_cur = V::cvtt(e_cur);
        const F frac_prev = V::sub(e_prev, V::cvt(whole_prev));
        const F frac_cur = V::sub(e_cur, V::cvt(whole_cur));
        const F partial = V::cmpneq(frac_cur, zero);
        // count = whole - whole' + (frac != 0); the all-ones mask is -1.
        const I count = V::sub_i(V::sub_i(whole_cur, whole_prev), V::cast_i(partial));
        const F w_first = V::sub(one, frac_prev);
        const F w_last = V::blendv(one, frac_cur, partial);

        alignas(32) int32_t start[L];
        alignas(32) int32_t counts[L];
        V::store_i(start, whole_prev);
        V::store_i(counts, count);
        int32_t max_count = 0;
        for (int k = 0; k < L; ++k) max_count = counts[k] > max_count ? counts[k] : max_count;
        const uint32_t chunks = (uint32_t(max_count) + 3) / 4;
        if (uint64_t(uint32_t(start[L - 1])) + 4 * chunks > shared.readable) break;
        if (chunks > kMaxChunks) {
            for (uint32_t k = 0; k < rest.count; ++k) scalar(rest.src[k], rest.row[k], rest.dst[k], i, i + L);
            i += L;
            continue;
        }

        // Column weights, zero (and masked) beyond each lane's span.
        F wx[4 * kMaxChunks];
        F mask[4 * kMaxChunks];
        const I count_minus_1 = V::sub_i(count, V::set1_i(1));
        for (uint32_t c = 0; c < 4 * chunks; ++c) {
            const I cv = V::set1_i(int32_t(c));
            const F in_span = V::cast_f(V::cmpgt_i(count, cv));
            const F w = c == 0 ? w_first : V::blendv(one, w_last, V::cast_f(V::cmpeq_i(count_minus_1, cv)));
            wx[c] = V::and_f(w, in_span);
            mask[c] = in_span;
        }

        for (uint32_t k = 0; k < rest.count; ++k) {
            const AreaRow &row = rest.row[k];
            F sum = zero;
            for (uint32_t r = 0; r < row.row_count; ++r) {
                const float wy_s = r == 0 ? row.row_weight_first
                                          : (r == row.row_count - 1 ? row.row_weight_last : 1.0f);
                const F wy = V::set1(wy_s);
                const T *s = rest.src[k] + r * row.stride;
                for (uint32_t q = 0; q < chunks; ++q) {
                    F v[4];
                    V::load_cols(s + 4 * q, start, v);
                    for (uint32_t c = 0; c < 4; ++c) {
                        F t = V::mul(V::mul(wx[4 * q + c], wy), v[c]);
                        // A float sample outside the span may be infinite or NaN: mask the product.
                        if (kFloatSource) t = V::and_f(t, mask[4 * q + c]);
                        sum = V::add(sum, t);
                    }
                }
            }
            F value;
            if (kFloatSource) {
                value = V::mul(V::add(V::mul(sum, V::set1(row.inv_area)), V::set1(kAreaRoundHalf)),
                               V::set1(1024.0f));
            } else {
                value = V::mul(V::add(V::mul(V::mul(sum, V::set1(row.inv_area)), V::set1(row.inv_src)),
                                      V::set1(kAreaRoundHalf)),
                               V::set1(row.out_scale));
            }
            V::store_u16(rest.dst[k] + i, V::cvtt(value));
        }
        i += L;
    }
    for (uint32_t k = 0; k < rest.count; ++k) scalar(rest.src[k], rest.row[k], rest.dst[k], i, end);
}

}  // namespace
}  // namespace oz
