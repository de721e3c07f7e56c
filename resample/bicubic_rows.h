// Rows of the bicubic upscaling to float: their signatures, the row table and the driver that runs a
// row table. The scalar rows (bicubic_rows_c.cc) are the definition; the SSE4.1 and AVX2 rows compute
// the same values lane by lane, in the same order of operations.
//
// The surface of a source cell with patch P (buffer rows r .. r+3, columns c .. c+3) is
//   value = sum over j, i of A[j][i] * ty^j * tx^i,   A = M * P * M^T,
//   M = 0.5 * [[0, 2, 0, 0], [-1, 0, 1, 0], [2, -5, 4, -1], [-1, 3, -3, 1]]   (Catmull-Rom).
// Order of operations (kept in every path):
//  - a product by M takes the non-zero terms of each row of M, each product rounded, the negative
//    entries as subtractions of the positive products:
//      c0 = p1,  c1 = 0.5 p2 - 0.5 p0,  c2 = ((p0 - 2.5 p1) + 2 p2) - 0.5 p3,
//      c3 = ((1.5 p1 - 0.5 p0) - 1.5 p2) + 0.5 p3
//    (the zero terms and the products by 1 are exact and left out). M * P applies it down each patch
//    column; (M * P) * M^T then along each row of M * P.
//  - a term is (A[j][i] * ty^j) * tx^i with ty^2 = ty * ty, ty^3 = ty^2 * ty (tx likewise); the 16
//    terms are added one by one starting from the first, j outer and i inner. Factors equal to 1.0
//    are left out (exact).
//  - the value is clamped: -255.0 or less gives -255.0, 65535.0 or more gives 65535.0.
// Since the patch columns of neighbouring cells overlap, M * P is computed once per buffer column
// ("vertical coefficients" V_j, four rows of width + 3) and A[j][.] of a cell is M applied to
// V_j[c .. c+3] — the same sums as per cell. The coefficients of a cell row are computed once and
// serve every destination row in it; the padded buffer is built row by row just ahead of its use
// (BicubicBufferRows), so only a few of its rows are kept.
#pragma once

#include <cstdint>

#include "resample/bicubic_buffer.h"

#if defined(__x86_64__) || defined(__i386__)
#define OZ_HAS_BICUBIC_ROW_SSE41 1
#define OZ_HAS_BICUBIC_ROW_AVX2 1
#define OZ_HAS_BICUBIC_ROW_AVX512 1
#endif

namespace oz {

// Coefficients of one row of source cells: coef[4 j + i][c] is A[j][i] of cell c. Every array can be
// read 8 elements past its last cell (vector rows load windows of 8 cells and discard the surplus).
struct bicubic_cell_coefs {
    const float *coef[16];
};

// Products by M of four rows, element by element: c1..c3 as above for k < n (c0 is p1 itself).
using bicubic_basis_row = void (*)(const float *p0, const float *p1, const float *p2,
                                   const float *p3, float *c1, float *c2, float *c3, int n);

// The same with p0 .. p3 = p, p + 1, p + 2, p + 3: the products along one row (reads p[0 .. n + 2]).
using bicubic_shift_basis_row = void (*)(const float *p, float *c1, float *c2, float *c3, int n);

// Destination rows that lie in the same row of source cells (at most kBicubicBatchRows), evaluated
// together: the coefficients that a group of outputs takes from its cells serve every row.
inline constexpr int kBicubicBatchRows = 4;
struct bicubic_dst_rows {
    int count;                       // 1 .. kBicubicBatchRows
    float ty[kBicubicBatchRows][3];  // ty, ty^2, ty^3 of each row
    float *dst[kBicubicBatchRows];   // each row's destination
};

// Samples begin .. end - 1 of every row of `rows`: sample x lies in cell cell[x] with horizontal
// powers tx1[x], tx2[x], tx3[x]. cell[] is non-decreasing.
using bicubic_eval_row = void (*)(const bicubic_cell_coefs &coefs, const int32_t *cell,
                                  const float *tx1, const float *tx2, const float *tx3,
                                  const bicubic_dst_rows &rows, int begin, int end);

void bicubic_fill_row_u8_f32_c(const uint8_t *src, float *dst, int n);
void bicubic_fill_row_u16_f32_c(const uint16_t *src, float *dst, int n, float scale);
void bicubic_basis_row_f32_c(const float *p0, const float *p1, const float *p2, const float *p3,
                             float *c1, float *c2, float *c3, int n);
void bicubic_shift_basis_row_f32_c(const float *p, float *c1, float *c2, float *c3, int n);
void bicubic_eval_row_f32_c(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1,
                            const float *tx2, const float *tx3, const bicubic_dst_rows &rows,
                            int begin, int end);

#ifdef OZ_HAS_BICUBIC_ROW_SSE41
void bicubic_fill_row_u8_f32_sse41(const uint8_t *src, float *dst, int n);
void bicubic_fill_row_u16_f32_sse41(const uint16_t *src, float *dst, int n, float scale);
void bicubic_basis_row_f32_sse41(const float *p0, const float *p1, const float *p2, const float *p3,
                                 float *c1, float *c2, float *c3, int n);
void bicubic_shift_basis_row_f32_sse41(const float *p, float *c1, float *c2, float *c3, int n);
void bicubic_eval_row_f32_sse41(const bicubic_cell_coefs &coefs, const int32_t *cell,
                                const float *tx1, const float *tx2, const float *tx3,
                                const bicubic_dst_rows &rows, int begin, int end);
#endif
#ifdef OZ_HAS_BICUBIC_ROW_AVX2
void bicubic_fill_row_u8_f32_avx2(const uint8_t *src, float *dst, int n);
void bicubic_fill_row_u16_f32_avx2(const uint16_t *src, float *dst, int n, float scale);
void bicubic_basis_row_f32_avx2(const float *p0, const float *p1, const float *p2, const float *p3,
                                float *c1, float *c2, float *c3, int n);
void bicubic_shift_basis_row_f32_avx2(const float *p, float *c1, float *c2, float *c3, int n);
void bicubic_eval_row_f32_avx2(const bicubic_cell_coefs &coefs, const int32_t *cell,
                               const float *tx1, const float *tx2, const float *tx3,
                               const bicubic_dst_rows &rows, int begin, int end);
#endif

#ifdef OZ_HAS_BICUBIC_ROW_AVX512
void bicubic_eval_row_f32_avx512(const bicubic_cell_coefs &coefs, const int32_t *cell,
                                 const float *tx1, const float *tx2, const float *tx3,
                                 const bicubic_dst_rows &rows, int begin, int end);
#endif

// The row table of one instruction set.
struct bicubic_rows {
    bicubic_fill_u8_row fill_u8;
    bicubic_fill_u16_row fill_u16;
    bicubic_basis_row basis;
    bicubic_shift_basis_row shift_basis;
    bicubic_eval_row eval;
};

const bicubic_rows &bicubic_rows_c();
const bicubic_rows &bicubic_rows_sse41();  // only on a CPU with SSE4.1
const bicubic_rows &bicubic_rows_avx2();   // only on a CPU with AVX2
const bicubic_rows &bicubic_rows_avx512();  // only on a CPU with AVX-512F: the AVX2 rows, evaluation in 16 lanes
// The widest table this CPU runs, chosen once.
const bicubic_rows &bicubic_rows_best();

// The upscaling kernels with an explicit row table (the exported functions pass bicubic_rows_best()).
// Arguments, checks and status codes are those of image_bicubic_upscale_uint8_to_float.
uint32_t bicubic_upscale_u8_impl(const uint8_t *const *src_planes, float *const *dst_planes,
                                 uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                 uint16_t dst_height, uint16_t plane_count,
                                 const bicubic_rows &rows);
uint32_t bicubic_upscale_u16_impl(const uint16_t *const *src_planes, float *const *dst_planes,
                                  uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                  uint16_t dst_height, uint16_t plane_count,
                                  const bicubic_rows &rows);

}  // namespace oz
