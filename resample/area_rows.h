// Area downscale rows: one destination row of exact area averaging, per source sample type, and the
// table of row implementations (scalar definition, SSE4.1, AVX2) that the drivers are given.
#pragma once

#include <cstddef>
#include <cstdint>

#include "oz_resample.h"

namespace oz {

// The vertical span of one destination row and everything a row needs to produce it. Column spans
// are derived inside the row from fx and width, exactly as the driver derives the row span.
struct AreaRow {
    size_t stride;          // samples from one source row to the next
    uint32_t row_count;     // source rows in the span (at least 1)
    float row_weight_first; // weight of the span's first row
    float row_weight_last;  // weight of the span's last row when it has at least two
    uint32_t readable;      // samples readable in every source row from the rectangle's first column
    float fx;               // horizontal footprint: rectangle width / dst_width
    float width;            // rectangle width: the last column span ends there
    float inv_area;         // 1 / (fx * fy), single-precision reciprocal
    float inv_src;          // 1 / 2^src_fraction_bits (16-bit sources)
    float out_scale;        // 2^dst_fraction_bits (16-bit sources)
};

// Up to kAreaBlockRows destination rows of one plane, handed to a row set together: every row has the
// same column spans, so a row set works them out once per group of columns and uses them for each row.
inline constexpr uint32_t kAreaBlockRows = 4;

template <class T>
struct AreaBlock {
    uint32_t count;                    // rows in the block, 1 .. kAreaBlockRows
    const T *src[kAreaBlockRows];      // each row's span's first source row, at the rectangle's first column
    uint16_t *dst[kAreaBlockRows];     // each row's destination row
    AreaRow row[kAreaBlockRows];
};

// Writes destination columns [begin, end) of one row. src points at the span's first row, at the
// rectangle's first column.
template <class T>
using area_row_fn = void (*)(const T *src, const AreaRow &row, uint16_t *dst, uint32_t begin, uint32_t end);
// Writes every destination column of every row of a block.
using area_block_f32_fn = void (*)(const AreaBlock<float> &block, uint32_t dst_width);
using area_block_u16_fn = void (*)(const AreaBlock<uint16_t> &block, uint32_t dst_width);

struct area_rows {
    area_block_f32_fn f32_to_u16p10;
    area_block_u16_fn u16_to_u16;
};

// Scalar definitions (also the tails of the vector rows).
void area_row_f32_to_u16p10_c(const float *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                              uint32_t end);
void area_row_u16_to_u16_c(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                           uint32_t end);

const area_rows &area_c_rows();
const area_rows &area_sse41_rows();  // needs SSE4.1
const area_rows &area_avx2_rows();   // needs AVX2
const area_rows &area_best_rows();   // the widest set this CPU runs, chosen once

// The drivers behind the exported kernels, with the rows to use.
uint32_t image_downscale_32f_to_u16p10_impl(const float *const *src_planes, uint16_t *const *dst_planes,
                                            uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                            uint16_t dst_height, uint16_t plane_count, const crop_rect *crop,
                                            const area_rows &rows);
uint32_t image_downscale_u16_to_u16_impl(const uint16_t *const *src_planes, uint16_t *const *dst_planes,
                                         uint16_t src_width, uint16_t src_height, uint32_t src_fraction_bits,
                                         uint16_t dst_width, uint16_t dst_height, uint32_t dst_fraction_bits,
                                         uint16_t plane_count, const crop_rect *crop, const area_rows &rows);

// Shared arithmetic of the scalar and vector rows.

// End of the footprint of destination column (or row) i, counted from 1: min(i * f, limit) in single
// precision, split into its whole part and its fraction (exact: the fraction of a float is a float).
// i = 0 gives 0 and 0, the start of every row and plane.
struct SpanEnd {
    uint32_t whole;
    float frac;
};
inline SpanEnd area_span_end(uint32_t i, float f, float limit) {
    float e = float(i) * f;
    if (limit < e) e = limit;
    const uint32_t whole = uint32_t(e);  // e >= 0: truncation is floor
    return {whole, e - float(whole)};
}

// Float to int32 truncating toward zero; NaN and values outside the int32 range give INT32_MIN, as
// the x86 conversion instructions do, so that the vector rows agree bit for bit.
inline int32_t area_trunc_i32(float v) {
    if (v >= -2147483648.0f && v < 2147483648.0f) return int32_t(v);
    return INT32_MIN;
}

// Adding 1/2048 before the scaling by 2^10 rounds to the nearest 1/1024, halves upward.
inline constexpr float kAreaRoundHalf = 0.00048828125f;

}  // namespace oz
