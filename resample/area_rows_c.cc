// Area downscale, scalar rows: the definition every vector row reproduces bit for bit.
//
// For destination column i (from 1) the column span runs from the previous span's end
// (xi', xf') = span_end(i - 1) to (xi, xf) = span_end(i): columns xi' .. xi - 1, plus column xi when
// xf != 0. The first column weighs 1 - xf', the last (when there are at least two) xf, or 1 when
// xf = 0, every other column 1. Rows are given the same way by the driver. The sum runs over the span's
// rows (outer) and columns (inner), sum = sum + (column weight * row weight) * sample, in single
// precision.
#include "resample/area_rows.h"

namespace oz {
namespace {

template <class T>
float area_sum(const T *src, const AreaRow &row, const SpanEnd &prev, const SpanEnd &cur) {
    const uint32_t start = prev.whole;
    const uint32_t count = cur.whole - prev.whole + (cur.frac != 0.0f ? 1u : 0u);
    const float wx_first = 1.0f - prev.frac;
    const float wx_last = cur.frac != 0.0f ? cur.frac : 1.0f;
    float sum = 0.0f;
    for (uint32_t r = 0; r < row.row_count; ++r) {
        const float wy = r == 0 ? row.row_weight_first
                                : (r == row.row_count - 1 ? row.row_weight_last : 1.0f);
        const T *s = src + r * row.stride + start;
        for (uint32_t c = 0; c < count; ++c) {
            const float wx = c == 0 ? wx_first : (c == count - 1 ? wx_last : 1.0f);
            sum = sum + (wx * wy) * float(s[c]);
        }
    }
    return sum;
}

}  // namespace

void area_row_f32_to_u16p10_c(const float *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                              uint32_t end) {
    SpanEnd prev = area_span_end(begin, row.fx, row.width);
    for (uint32_t i = begin; i < end; ++i) {
        const SpanEnd cur = area_span_end(i + 1, row.fx, row.width);
        const float sum = area_sum(src, row, prev, cur);
        // result = (sum * (1 / (fx * fy)) + 1/2048) * 1024; the low 16 bits of its truncation.
        const float v = (sum * row.inv_area + kAreaRoundHalf) * 1024.0f;
        dst[i] = uint16_t(area_trunc_i32(v));
        prev = cur;
    }
}

void area_row_u16_to_u16_c(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                           uint32_t end) {
    SpanEnd prev = area_span_end(begin, row.fx, row.width);
    for (uint32_t i = begin; i < end; ++i) {
        const SpanEnd cur = area_span_end(i + 1, row.fx, row.width);
        const float sum = area_sum(src, row, prev, cur);
        // result = (sum * (1 / (fx * fy)) * (1 / 2^src_bits) + 1/2048) * 2^dst_bits, products left
        // to right.
        const float v = ((sum * row.inv_area) * row.inv_src + kAreaRoundHalf) * row.out_scale;
        dst[i] = uint16_t(area_trunc_i32(v));
        prev = cur;
    }
}

namespace {

template <class T, area_row_fn<T> kRow>
void area_block_c(const AreaBlock<T> &block, uint32_t dst_width) {
    for (uint32_t k = 0; k < block.count; ++k) kRow(block.src[k], block.row[k], block.dst[k], 0, dst_width);
}

}  // namespace

const area_rows &area_c_rows() {
    static const area_rows rows = {area_block_c<float, area_row_f32_to_u16p10_c>,
                                   area_block_c<uint16_t, area_row_u16_to_u16_c>};
    return rows;
}

}  // namespace oz
