/* liboz_cmc_parser: small dense linear algebra on strided matrix views and the least-squares polynomial
 * surface fit of shading grids. C99 and C++.
 *
 * Strided matrix views. Every matrix is passed as: the pointer to element (0,0), the row step and the
 * column step in BYTES (signed), and, where the kernel needs the shape, the column count followed by
 * the row count. Element (i, j) lies at data + i * row_step + j * col_step bytes, so a dense row-major
 * float matrix of n columns has row step 4n and column step 4, and the same memory read with the two
 * steps exchanged is its transpose. Vectors are a pointer, a byte step and, where checked, a length.
 *
 * Arithmetic. The plain kernels work and accumulate in float, the _double kernels in double. Every sum
 * runs in ascending index order, starting at +0, with every product rounded before it is added (no
 * fused multiply-add), so the results are the same bit for bit on every machine and code path.
 *
 * Status values: 0 done (also when there is nothing to do); 2 a composite step failed; 4 a working
 * buffer could not be allocated; 32 invalid arguments (mismatched inner dimensions, a null pointer
 * where elements must be read or written, a view that does not fit its declared shape): nothing is
 * written then. The caller owns every buffer; no kernel keeps memory beyond the call. All kernels are
 * reentrant. */
#ifndef OZ_LINALG_H
#define OZ_LINALG_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Matrix primitives ---- */

/* dst(j, i) = src(i, j) for every element of the src_rows x src_cols source. A source with no row or
 * no column writes nothing. Returns 0 (32 for a null pointer with a non-empty source). */
OZ_API uint32_t transpose_m(const float *src, int32_t src_row_step, int32_t src_col_step,
                            int32_t src_cols, int32_t src_rows,
                            float *dst, int32_t dst_row_step, int32_t dst_col_step);
OZ_API uint32_t transpose_m_double(const double *src, int32_t src_row_step, int32_t src_col_step,
                                   int32_t src_cols, int32_t src_rows,
                                   double *dst, int32_t dst_row_step, int32_t dst_col_step);

/* C = A * B. C has A's rows and B's columns; C(i, j) = sum over k ascending of A(i, k) * B(k, j).
 * 32 (C untouched) when a_cols != b_rows. Nothing is written when A has no row or B no column; an empty
 * inner dimension sets C to zero. */
OZ_API uint32_t mul_mm(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols, int32_t a_rows,
                       const float *b, int32_t b_row_step, int32_t b_col_step, int32_t b_cols, int32_t b_rows,
                       float *c, int32_t c_row_step, int32_t c_col_step);
OZ_API uint32_t mul_mm_double(const double *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols,
                              int32_t a_rows,
                              const double *b, int32_t b_row_step, int32_t b_col_step, int32_t b_cols,
                              int32_t b_rows,
                              double *c, int32_t c_row_step, int32_t c_col_step);

/* mul_mm summing over the interior of a grid only. The inner dimension is read as the cells of a
 * grid_height x grid_width grid stored row-major; only cells with row in margin_rows ..
 * grid_height-1-margin_rows and column in margin_cols .. grid_width-1-margin_cols take part, in
 * ascending order. No interior cell (either interior dimension zero or negative): C is zeroed. 32 also
 * when the interior reaches beyond the inner dimension (a_cols). */
OZ_API uint32_t mul_mm_lsc(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols, int32_t a_rows,
                           const float *b, int32_t b_row_step, int32_t b_col_step, int32_t b_cols,
                           int32_t b_rows,
                           float *c, int32_t c_row_step, int32_t c_col_step,
                           uint16_t grid_height, uint16_t grid_width, uint16_t margin_rows,
                           uint16_t margin_cols);

/* y = A * x; y(i) = sum over k ascending of A(i, k) * x(k). 32 when a_cols != x_length. A with no
 * row: nothing written; with no column: y zeroed. */
OZ_API uint32_t mul_mv(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols, int32_t a_rows,
                       const float *x, int32_t x_step, int32_t x_length,
                       float *y, int32_t y_step);

/* mul_mv summing over the interior cells of the grid only (as mul_mm_lsc). */
OZ_API uint32_t mul_mv_lsc(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols,
                           int32_t a_rows,
                           const float *x, int32_t x_step, int32_t x_length,
                           float *y, int32_t y_step,
                           uint16_t grid_height, uint16_t grid_width, uint16_t margin_rows,
                           uint16_t margin_cols);

/* y = A * x~ in double, where x~ holds the elements of x whose flag in `mask` equals 1, in order.
 * x is read as x_length consecutive floats and its valid elements are first appended to
 * `compaction_buffer` (room for as many floats as there are valid flags); the sum then reads the
 * compaction buffer with x_step bytes between elements (pass 4). y(i) = sum over k ascending of
 * (double)x~(k) * A(i, k). 32 when a_cols differs from the number of valid elements. */
OZ_API uint32_t mul_mv_lsc_valid_area(const double *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols,
                                      int32_t a_rows,
                                      const float *x, int32_t x_step, int32_t x_length,
                                      double *y, int32_t y_step,
                                      const uint32_t *mask, float *compaction_buffer);

/* LU factorisation without pivoting (Doolittle, right-looking) of the dense n x n matrix at `src`
 * (row step n elements, column step one element, or the transposed steps): `dst` receives U on and
 * above the diagonal and the multipliers of the unit lower factor below it; `permutation` (n entries)
 * receives the identity. A null src factors the zero matrix. A zero pivot is not detected: the
 * multipliers become infinite or NaN and the status is still 0. 4 when the working copy cannot be
 * allocated; 32 when the steps do not address the n x n elements of a dense matrix, or dst or
 * permutation is null. n < 1: nothing to do, 0. */
OZ_API uint32_t lu_decomposition_m(const float *src, int32_t src_row_step, int32_t src_col_step,
                                   uint32_t *permutation,
                                   float *dst, int32_t dst_row_step, int32_t dst_col_step, int32_t n);
OZ_API uint32_t lu_decomposition_m_double(const double *src, int32_t src_row_step, int32_t src_col_step,
                                          uint32_t *permutation,
                                          double *dst, int32_t dst_row_step, int32_t dst_col_step,
                                          int32_t n);

/* ---- Shading polynomial surface fit ----
 *
 * A surface is the bivariate polynomial of total degree 4 with the 15 terms, in this order,
 *   1, x, y, x^2, x*y, y^2, x^3, x^2*y, x*y^2, y^3, x^4, x^3*y, x^2*y^2, x*y^3, y^4,
 * where grid cell (row r, column c) has x = c + 1 and y = r + 1. A fit call builds the design matrix of
 * the grid (one dense row of 15 terms per cell that takes part), its transpose, and the LU factors of
 * the normal matrix transpose * design; evaluation calls then solve the normal equations for each of
 * four planes and evaluate the surfaces on an output grid. The caller allocates `design` and
 * `transposed_design` with (grid cells) x 15 elements, `lu` with 15 x 15 and `permutation` with 15.
 * `num_terms` must be 15 (any other value: 2, nothing written). A singular normal matrix (too few
 * cells) is not detected: the factors, and the evaluated planes, become infinite or NaN. */

/* Fit over every cell of a width x height grid (float). 0, 2 on failure (null design/transpose/lu/
 * permutation, num_terms != 15, a grid too large for 32-bit byte steps), 4 when the working buffer
 * cannot be allocated. A width or height of 0 writes no design row and factors the zero matrix. */
OZ_API uint32_t lu_decomposition(float *design, float *transposed_design, float *lu, uint32_t *permutation,
                                 uint16_t width, uint16_t height, uint16_t num_terms);

/* As lu_decomposition, but only the interior cells (rows margin_rows .. height-1-margin_rows, columns
 * margin_cols .. width-1-margin_cols) enter the normal matrix; design and transpose hold every cell. */
OZ_API uint32_t lu_decomposition_lsc(float *design, float *transposed_design, float *lu, uint32_t *permutation,
                                     uint16_t width, uint16_t height, uint16_t num_terms,
                                     uint16_t margin_rows, uint16_t margin_cols);

/* Fit in double over the cells whose flag in `valid_mask` (width x height u32 flags, row-major) equals
 * 1; design row k is the k-th valid cell. 2 when the number of valid cells differs from valid_count. */
OZ_API uint32_t lu_decomposition_lsc_valid_area(double *design, double *transposed_design, double *lu,
                                                uint32_t *permutation, uint16_t width, uint16_t height,
                                                uint16_t num_terms, uint32_t valid_count,
                                                const uint32_t *valid_mask);

/* Solves the normal equations of each of the four input planes (input_width x input_height floats,
 * row-major) with the factors of lu_decomposition (use_margins 0) or lu_decomposition_lsc (use_margins
 * set, the same margins), and writes each surface, evaluated at x = q*step_x + 1, y = r*step_y + 1 with
 * step = (input - 1) / (output - 1) in float, to output plane p (output_width x output_height floats).
 * An output width or height of 0 or 1 writes nothing and succeeds. `permutation` is not read.
 * 0, or 2 (a null plane: planes before it are already written; a working vector that cannot be
 * allocated; num_terms != 15). */
OZ_API uint32_t lsc_polynomial_upscale_float(const float *transposed_design, const float *lu,
                                             const uint32_t *permutation,
                                             const float *const input_planes[4], float *const output_planes[4],
                                             uint16_t input_width, uint16_t input_height,
                                             uint16_t output_width, uint16_t output_height,
                                             uint16_t num_terms, uint16_t margin_rows, uint16_t margin_cols,
                                             uint8_t use_margins);

/* The double-precision counterpart for lu_decomposition_lsc_valid_area: the same mask and valid count,
 * `compaction_buffer` of at least input_width x input_height floats; the surfaces are evaluated in
 * double and stored as float. */
OZ_API uint32_t lsc_polynomial_upscale_float_valid_area(const double *transposed_design, const double *lu,
                                                        const uint32_t *permutation,
                                                        const float *const input_planes[4],
                                                        float *const output_planes[4],
                                                        uint16_t input_width, uint16_t input_height,
                                                        uint16_t output_width, uint16_t output_height,
                                                        uint16_t num_terms, uint32_t valid_count,
                                                        float *compaction_buffer, const uint32_t *valid_mask);

#ifdef __cplusplus
}
#endif

#endif /* OZ_LINALG_H */
