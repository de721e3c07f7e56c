// 2-D array resize rows. The fixed-point members are evaluated in the separable form of their
// definition: a horizontal row h = s[kx] * wx0 + s[kx + 1] * wx1 for each of the two source rows, then
// the vertical row (h(ky + 1) * wy1 + h(ky) * wy0 + half) >> 2F. The float member keeps its four
// products: a horizontal row gives a = s[x1] * fx and b = s[x0] * (1 - fx) per source row, and the
// vertical row forms ((a0 * (1 - fy) + b0 * (1 - fy)) + b1 * fy) + a1 * fy, which is the definition
// with its products evaluated left to right. Horizontal rows are computed once per source row (and
// strip of destination columns, when the kernel works in strips) and reused by every destination row
// that needs them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "oz_resample.h"

namespace oz {

// Horizontal rows of the fixed-point members (8-bit samples give h of at most 255 * 256, held in 16 bits) for destination columns [begin, end) of a strip: kx[i]
// is the source column of the pair, w01[i] holds wx0 in its low and wx1 in its high 16 bits. src is
// the source row (src_count samples; kx[i] + 1 < src_count).
using h_u8_fn = void (*)(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin,
                         uint32_t end, uint32_t src_count, uint16_t *h);
using h_u16_fn = void (*)(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin,
                          uint32_t end, uint32_t src_count, uint32_t *h);
using h_i32_fn = void (*)(const int32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin,
                          uint32_t end, uint32_t src_count, int64_t *h);
using h_u32_fn = void (*)(const uint32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin,
                          uint32_t end, uint32_t src_count, uint64_t *h);
// Vertical rows: dst[i] = (h1[i] * wy1 + h0[i] * wy0 + 2^(2F - 1)) >> 2F for i in [begin, end).
using v_u8_fn = void (*)(const uint16_t *h0, const uint16_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                         uint32_t end, uint8_t *dst);
using v_u16_fn = void (*)(const uint32_t *h0, const uint32_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                          uint32_t end, uint16_t *dst);
using v_i32_fn = void (*)(const int64_t *h0, const int64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                          uint32_t end, int32_t *dst);
using v_u32_fn = void (*)(const uint64_t *h0, const uint64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                          uint32_t end, uint32_t *dst);
// Float member: a[i] = s[x1[i]] * fx[i], b[i] = s[x0[i]] * gx[i] (gx = 1 - fx); then
// dst[i] = ((a0[i] * gy + b0[i] * gy) + b1[i] * fy) + a1[i] * fy (gy = 1 - fy).
using h_f32_fn = void (*)(const float *src, const int32_t *x0, const int32_t *x1, const float *fx,
                          const float *gx, uint32_t begin, uint32_t end, uint32_t src_count, float *a, float *b);
using v_f32_fn = void (*)(const float *a0, const float *b0, const float *a1, const float *b1, float fy, float gy,
                          uint32_t begin, uint32_t end, float *dst);

// Prepared 8-bit horizontal rows: plan_u8 turns the column tables of n columns into a plan of at most
// kPlanU8Bytes bytes a column (at a 64-byte aligned address) that h_u8_plan reads in their place, once
// per call instead of once per source row; h_u8_plan also gets the tables, for the columns the plan
// leaves to the other rows. h[i] is that of h_u8_fn for i in [0, n). plan_u8 returns false when the
// plan would not pay (most columns left to the other rows); h_u8 then serves.
inline constexpr size_t kPlanU8Bytes = 6;
using plan_u8_fn = bool (*)(const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count, void *plan);
using h_u8_plan_fn = void (*)(const uint8_t *src, const void *plan, const int32_t *kx, const uint32_t *w01, uint32_t n,
                              uint32_t src_count, uint16_t *h);

// Grouped rows, for calls whose every destination column reads its pair from a short window of the
// source row (enlargements and mild reductions). The horizontal rows are stored in a column order
// chosen so that the vertical row's arithmetic leaves its results in destination order: full groups
// of kGroupU8 (8-bit) or kGroupU16 (16-bit) columns are stored in the order of u8_group_column /
// u16_group_column, and the columns after the last full group in their own order. The stored values
// carry the bias that makes the vertical rounding a plain shift:
//   8-bit:  g = h - 32640 (signed 16-bit), dst = ((g0 + 32640) * wy0 + (g1 + 32640) * wy1 + 32768) >> 16;
//   16-bit: e = h + 128 (unsigned 32-bit), dst = (e0 * wy0 + e1 * wy1) >> 16, where the sum is
//           h0 * wy0 + h1 * wy1 + 128 * 256 and so the definition's sum plus its half.
// plan_* turns the column tables of n columns into the plan the vector row reads (kPlanU8Bytes or
// kPlanU16Bytes a column) and returns false when some window does not fit; the ungrouped rows then
// serve the call. The h rows take all n columns from slot 0; the v rows write dst[0, n).
inline constexpr uint32_t kGroupU8 = 32;
inline constexpr uint32_t kGroupU16 = 16;
inline constexpr size_t kPlanU16Bytes = 9;
inline uint32_t u8_group_column(uint32_t slot, uint32_t n) {
    // Each 16-slot half holds two 8-column blocks, evens first then odds, so that interleaving two
    // rows half by half and keeping the upper 16 bits of the weighted pairs returns the columns in order.
    static constexpr uint8_t kOrder[kGroupU8] = {0,  2,  4,  6,  1,  3,  5,  7,  16, 18, 20, 22, 17, 19, 21, 23,
                                                 8,  10, 12, 14, 9,  11, 13, 15, 24, 26, 28, 30, 25, 27, 29, 31};
    return slot < n / kGroupU8 * kGroupU8 ? slot / kGroupU8 * kGroupU8 + kOrder[slot % kGroupU8] : slot;
}
inline uint32_t u16_group_column(uint32_t slot, uint32_t n) {
    // The even columns of the group, then the odd ones.
    if (slot >= n / kGroupU16 * kGroupU16) return slot;
    const uint32_t r = slot % kGroupU16;
    return slot / kGroupU16 * kGroupU16 + (r < 8 ? 2 * r : 2 * (r - 8) + 1);
}
using h_u8_grouped_fn = void (*)(const uint8_t *src, const void *plan, const int32_t *kx, const uint32_t *w01,
                                 uint32_t n, uint32_t src_count, int16_t *g);
using v_u8_grouped_fn = void (*)(const int16_t *g0, const int16_t *g1, uint32_t wy0, uint32_t wy1, uint32_t n,
                                 uint8_t *dst);
using h_u16_grouped_fn = void (*)(const uint16_t *src, const void *plan, const int32_t *kx, const uint32_t *w01,
                                  uint32_t n, uint32_t src_count, uint32_t *e);
using v_u16_grouped_fn = void (*)(const uint32_t *e0, const uint32_t *e1, uint32_t wy0, uint32_t wy1, uint32_t n,
                                  uint16_t *dst);
// The grouped stored rows of two source rows (src0 into g0 / e0, src1 into g1 / e1) in one pass over
// the plan, each as h_*_grouped gives it.
using h2_u8_grouped_fn = void (*)(const uint8_t *src0, const uint8_t *src1, const void *plan, const int32_t *kx,
                                  const uint32_t *w01, uint32_t n, uint32_t src_count, int16_t *g0, int16_t *g1);
using h2_u16_grouped_fn = void (*)(const uint16_t *src0, const uint16_t *src1, const void *plan, const int32_t *kx,
                                   const uint32_t *w01, uint32_t n, uint32_t src_count, uint32_t *e0, uint32_t *e1);
// A vertical pass over the grouped stored rows g0, g1 of a pair of source rows for `rows` (1 or 2)
// destination rows, row r with the weights wy[2r], wy[2r + 1] into dst[r], each as v_u8_grouped
// writes it; when src is not null, the same pass computes the grouped stored row g of that source row
// as h_u8_grouped does (plan, kx, w01 as there). Enlargements read every source row, so the row the
// next pair needs is computed while the current pair's destination rows are written, and two rows on
// the same pair share its loads.
using vh_u8_grouped_fn = void (*)(const int16_t *g0, const int16_t *g1, uint32_t rows, const uint32_t *wy,
                                  uint8_t *const *dst, const uint8_t *src, const void *plan, const int32_t *kx,
                                  const uint32_t *w01, uint32_t n, int16_t *g);

struct resize2d_rows {
    h_u8_fn h_u8;
    h_u16_fn h_u16;
    h_i32_fn h_i32;
    h_u32_fn h_u32;
    v_u8_fn v_u8;
    v_u16_fn v_u16;
    v_i32_fn v_i32;
    v_u32_fn v_u32;
    h_f32_fn h_f32;
    v_f32_fn v_f32;
    // The vertical rows again, writing the destination with streaming stores (same results; the
    // scalar and SSE4.1 sets use their plain rows here). The caller fences after the last row.
    v_u8_fn v_u8_stream;
    v_u16_fn v_u16_stream;
    v_i32_fn v_i32_stream;
    v_u32_fn v_u32_stream;
    v_f32_fn v_f32_stream;
    // Prepared 8-bit horizontal rows, or both null.
    plan_u8_fn plan_u8;
    h_u8_plan_fn h_u8_plan;
    // Grouped rows (the vertical ones also streaming), or all null.
    plan_u8_fn plan_u8_grouped;
    h_u8_grouped_fn h_u8_grouped;
    v_u8_grouped_fn v_u8_grouped;
    v_u8_grouped_fn v_u8_grouped_stream;
    plan_u8_fn plan_u16_grouped;
    h_u16_grouped_fn h_u16_grouped;
    v_u16_grouped_fn v_u16_grouped;
    v_u16_grouped_fn v_u16_grouped_stream;
    // Grouped stored rows two source rows at a time, or both null.
    h2_u8_grouped_fn h2_u8_grouped;
    h2_u16_grouped_fn h2_u16_grouped;
    // Paired vertical passes of the grouped 8-bit rows (plain and streaming), or both null.
    vh_u8_grouped_fn vh_u8_grouped;
    vh_u8_grouped_fn vh_u8_grouped_stream;
};

// Scalar definitions (also the tails of the vector rows).
void h_row_u8_c(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                uint32_t src_count, uint16_t *h);
void h_row_u16_c(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                 uint32_t src_count, uint32_t *h);
void h_row_i32_c(const int32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                 uint32_t src_count, int64_t *h);
void h_row_u32_c(const uint32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                 uint32_t src_count, uint64_t *h);
void v_row_u8_c(const uint16_t *h0, const uint16_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
                uint8_t *dst);
void v_row_u16_c(const uint32_t *h0, const uint32_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                 uint32_t end, uint16_t *dst);
void v_row_i32_c(const int64_t *h0, const int64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
                 int32_t *dst);
void v_row_u32_c(const uint64_t *h0, const uint64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                 uint32_t end, uint32_t *dst);
void h_row_f32_c(const float *src, const int32_t *x0, const int32_t *x1, const float *fx, const float *gx,
                 uint32_t begin, uint32_t end, uint32_t src_count, float *a, float *b);
void v_row_f32_c(const float *a0, const float *b0, const float *a1, const float *b1, float fy, float gy,
                 uint32_t begin, uint32_t end, float *dst);

// Scalar grouped rows for slots [begin, end) of n (the tails of the vector rows, and their definition
// in the tests).
void h_u8_grouped_c(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                    uint32_t n, int16_t *g);
void v_u8_grouped_c(const int16_t *g0, const int16_t *g1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                    uint32_t end, uint32_t n, uint8_t *dst);
void h_u16_grouped_c(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                     uint32_t n, uint32_t *e);
void v_u16_grouped_c(const uint32_t *e0, const uint32_t *e1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                     uint32_t end, uint32_t n, uint16_t *dst);

const resize2d_rows &resize2d_c_rows();
const resize2d_rows &resize2d_sse41_rows();  // needs SSE4.1
const resize2d_rows &resize2d_avx2_rows();   // needs AVX2
const resize2d_rows &resize2d_avx512_rows();  // needs AVX-512 (F, BW, VL, DQ): the AVX2 rows, 8-bit paired passes on 64 columns
const resize2d_rows &resize2d_best_rows();

// Drivers behind the exported kernels, with the rows to use. dst_step is 1 for the plain members.
uint32_t resize_2d_int32_impl(const int32_t *src, int32_t src_width, int32_t src_height, int32_t *dst,
                              int32_t dst_width, int32_t dst_height, const resize2d_rows &rows);
uint32_t resize_2d_uint32_impl(const uint32_t *src, int32_t src_width, int32_t src_height, uint32_t *dst,
                               int32_t dst_width, int32_t dst_height, const resize2d_rows &rows);
uint32_t resize_2d_uint16_impl(const uint16_t *src, int32_t src_width, int32_t src_height, uint16_t *dst,
                               int32_t dst_width, int32_t dst_height, int32_t dst_step, bool check_step,
                               const resize2d_rows &rows);
uint32_t resize_2d_uint8_impl(const uint8_t *src, int32_t src_width, int32_t src_height, uint8_t *dst,
                              int32_t dst_width, int32_t dst_height, int32_t dst_step, bool check_step,
                              const resize2d_rows &rows);
uint32_t resize_2d_float_impl(const float *src, int32_t src_width, int32_t src_height, float *dst,
                              int32_t dst_width, int32_t dst_height, const resize2d_rows &rows);
uint32_t crop_resize_2d_uint16_impl(const uint16_t *src, uint32_t src_width, uint32_t src_height,
                                    margin_pair top_left, margin_pair bottom_right, uint16_t *dst,
                                    uint32_t dst_width, uint32_t dst_height, const resize2d_rows &rows);

// Index and weights of a fixed-point position p (units of 2^-F source samples): p = 0 gives index 0
// with weights 2^F and 0; otherwise k = (p - 1) >> F, w1 = p - k * 2^F, w0 = (k + 1) * 2^F - p, so an
// exact grid position m * 2^F (m >= 1) gives k = m - 1 with w1 = 2^F and the pair never reaches past
// the last sample. w0 + w1 = 2^F always.
struct FixedTap {
    uint32_t k, w0, w1;
};
inline FixedTap fixed_tap(uint32_t p, uint32_t f) {
    if (p == 0) return {0, 1u << f, 0};
    const uint32_t k = (p - 1) >> f;
    return {k, ((k + 1) << f) - p, p - (k << f)};
}

}  // namespace oz
