// Rows of the bicubic resize to u16p10: the per-sample definition bicubicInterpolate_32f_to_u16p10,
// the row signatures, the row table and the driver that runs a row table.
//
// The interpolation is separable: each of the four patch rows is interpolated horizontally in tx
// (bicubic_cubic_x), then the four results vertically in ty (bicubic_cubic_y). A horizontal result
// depends only on the buffer row and the destination column, so the driver computes each buffer row's
// results once into a row cache and the vertical row combines four cached rows; every value equals
// that of bicubicInterpolate_32f_to_u16p10 on the sample's patch.
#pragma once

#include <cstdint>

#include "resample/bicubic_buffer.h"

#if defined(__x86_64__) || defined(__i386__)
#define OZ_HAS_BICUBIC_RESIZE_ROW_SSE41 1
#define OZ_HAS_BICUBIC_RESIZE_ROW_AVX2 1
#endif

namespace oz {

// Catmull-Rom cubic of one patch row at tx, half_tx = tx * 0.5, in this order of operations:
//   ((((p1 - p2) * 3 + p3 - p0) * tx + (p0 + p0 - p1 * 5 + p2 * 4 - p3)) * tx + (p2 - p0))
//     * half_tx + p1
inline float bicubic_cubic_x(float p0, float p1, float p2, float p3, float tx, float half_tx) {
    const float a = (p1 - p2) * 3.0f + p3 - p0;
    const float b = p0 + p0 - p1 * 5.0f + p2 * 4.0f - p3;
    return ((a * tx + b) * tx + (p2 - p0)) * half_tx + p1;
}

// The same cubic over the four row results at ty, in this order of operations:
//   ((r2 - r0) + ((r0 + r0 - r1 * 5) + (r2 * 4 - r3) + ((r1 - r2) * 3 + r3 - r0) * ty) * ty)
//     * ty * 0.5 + r1
inline float bicubic_cubic_y(float r0, float r1, float r2, float r3, float ty) {
    return ((r2 - r0) +
            ((r0 + r0 - r1 * 5.0f) + (r2 * 4.0f - r3) + ((r1 - r2) * 3.0f + r3 - r0) * ty) * ty) *
               ty * 0.5f +
           r1;
}

// Float to int32 by truncation toward zero. A value outside the int32 range, or NaN, gives INT32_MIN
// (what the processor's truncating conversion returns), so that its low 16 bits store 0.
inline int32_t bicubic_truncate_i32(float v) {
    if (v >= -2147483648.0f && v < 2147483648.0f) return int32_t(v);
    return INT32_MIN;
}

// patch: 16 floats, the 4 x 4 block of the padded buffer in row-major order; ty, tx the fractions.
// Returns the interpolated value times 1024, truncated toward zero (not clamped).
int32_t bicubicInterpolate_32f_to_u16p10(const float *patch, float ty, float tx);

// Horizontal results of one buffer row for n destination columns: out[k] = bicubic_cubic_x of
// row[ix[k] .. ix[k] + 3] at tx[k], half_tx[k]. ix[] is non-decreasing. Vector rows may read up to
// kBicubicBufferSlack floats past row[ix[n - 1] + 3] and discard them.
using bicubic_resize_h_row = void (*)(const float *row, const int32_t *ix, const float *tx,
                                      const float *half_tx, float *out, int n);
// One destination row: dst[k] = low 16 bits of bicubic_truncate_i32(
//   bicubic_cubic_y(r0[k], r1[k], r2[k], r3[k], ty) * 1024).
using bicubic_resize_v_row = void (*)(const float *r0, const float *r1, const float *r2,
                                      const float *r3, float ty, uint16_t *dst, int n);

void bicubic_resize_h_row_f32_c(const float *row, const int32_t *ix, const float *tx,
                                const float *half_tx, float *out, int n);
void bicubic_resize_v_row_f32_u16p10_c(const float *r0, const float *r1, const float *r2,
                                       const float *r3, float ty, uint16_t *dst, int n);
#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_SSE41
void bicubic_resize_h_row_f32_sse41(const float *row, const int32_t *ix, const float *tx,
                                    const float *half_tx, float *out, int n);
void bicubic_resize_v_row_f32_u16p10_sse41(const float *r0, const float *r1, const float *r2,
                                           const float *r3, float ty, uint16_t *dst, int n);
#endif
#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_AVX2
void bicubic_resize_h_row_f32_avx2(const float *row, const int32_t *ix, const float *tx,
                                   const float *half_tx, float *out, int n);
void bicubic_resize_v_row_f32_u16p10_avx2(const float *r0, const float *r1, const float *r2,
                                          const float *r3, float ty, uint16_t *dst, int n);
#endif

// The row table of one instruction set.
struct bicubic_resize_rows {
    bicubic_fill_u16_row fill_u16;
    bicubic_resize_h_row horizontal;
    bicubic_resize_v_row vertical;
};

const bicubic_resize_rows &bicubic_resize_rows_c();
const bicubic_resize_rows &bicubic_resize_rows_sse41();  // only on a CPU with SSE4.1
const bicubic_resize_rows &bicubic_resize_rows_avx2();   // only on a CPU with AVX2
const bicubic_resize_rows &bicubic_resize_rows_best();

// The resize kernels with an explicit row table; arguments, checks and status codes are those of
// bicubic_resize_32f_to_u16p10 and bicubic_resize_u16_to_u16.
uint32_t bicubic_resize_f32_impl(const float *src, uint16_t src_height, uint16_t src_width,
                                 uint16_t *dst, uint16_t dst_height, uint16_t dst_width,
                                 const bicubic_resize_rows &rows);
uint32_t bicubic_resize_u16_impl(const uint16_t *src, uint16_t src_height, uint16_t src_width,
                                 uint32_t shift, uint16_t *dst, uint16_t dst_height,
                                 uint16_t dst_width, const bicubic_resize_rows &rows);

}  // namespace oz
