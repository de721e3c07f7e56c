// Exported linear-algebra kernels: thin adapters from the C argument lists to the internal kernels.
#include "linalg/matrix.h"
#include "linalg/polyfit.h"
#include "oz_linalg.h"

using oz::InnerRange;
using oz::Strided;

extern "C" {

OZ_API uint32_t transpose_m(const float *src, int32_t src_row_step, int32_t src_col_step, int32_t src_cols,
                            int32_t src_rows, float *dst, int32_t dst_row_step, int32_t dst_col_step) {
    return oz::transpose<float>(Strided<const float>(src, src_row_step, src_col_step), src_cols, src_rows,
                                Strided<float>(dst, dst_row_step, dst_col_step));
}

OZ_API uint32_t transpose_m_double(const double *src, int32_t src_row_step, int32_t src_col_step, int32_t src_cols,
                                   int32_t src_rows, double *dst, int32_t dst_row_step, int32_t dst_col_step) {
    return oz::transpose<double>(Strided<const double>(src, src_row_step, src_col_step), src_cols, src_rows,
                                 Strided<double>(dst, dst_row_step, dst_col_step));
}

OZ_API uint32_t mul_mm(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols, int32_t a_rows,
                       const float *b, int32_t b_row_step, int32_t b_col_step, int32_t b_cols, int32_t b_rows,
                       float *c, int32_t c_row_step, int32_t c_col_step) {
    return oz::multiply<float>(Strided<const float>(a, a_row_step, a_col_step), a_cols, a_rows,
                               Strided<const float>(b, b_row_step, b_col_step), b_cols, b_rows,
                               Strided<float>(c, c_row_step, c_col_step), InnerRange{});
}

OZ_API uint32_t mul_mm_double(const double *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols,
                              int32_t a_rows, const double *b, int32_t b_row_step, int32_t b_col_step,
                              int32_t b_cols, int32_t b_rows, double *c, int32_t c_row_step, int32_t c_col_step) {
    return oz::multiply<double>(Strided<const double>(a, a_row_step, a_col_step), a_cols, a_rows,
                                Strided<const double>(b, b_row_step, b_col_step), b_cols, b_rows,
                                Strided<double>(c, c_row_step, c_col_step), InnerRange{});
}

OZ_API uint32_t mul_mm_lsc(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols, int32_t a_rows,
                           const float *b, int32_t b_row_step, int32_t b_col_step, int32_t b_cols,
                           int32_t b_rows, float *c, int32_t c_row_step, int32_t c_col_step,
                           uint16_t grid_height, uint16_t grid_width, uint16_t margin_rows,
                           uint16_t margin_cols) {
    return oz::multiply<float>(Strided<const float>(a, a_row_step, a_col_step), a_cols, a_rows,
                               Strided<const float>(b, b_row_step, b_col_step), b_cols, b_rows,
                               Strided<float>(c, c_row_step, c_col_step),
                               InnerRange::grid_interior(grid_height, grid_width, margin_rows, margin_cols));
}

OZ_API uint32_t mul_mv(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols, int32_t a_rows,
                       const float *x, int32_t x_step, int32_t x_length, float *y, int32_t y_step) {
    return oz::multiply_vector(Strided<const float>(a, a_row_step, a_col_step), a_cols, a_rows,
                               x, x_step, x_length, Strided<float>(y, y_step, 0),
                               InnerRange{});
}

OZ_API uint32_t mul_mv_lsc(const float *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols,
                           int32_t a_rows, const float *x, int32_t x_step, int32_t x_length, float *y,
                           int32_t y_step, uint16_t grid_height, uint16_t grid_width, uint16_t margin_rows,
                           uint16_t margin_cols) {
    return oz::multiply_vector(Strided<const float>(a, a_row_step, a_col_step), a_cols, a_rows,
                               x, x_step, x_length, Strided<float>(y, y_step, 0),
                               InnerRange::grid_interior(grid_height, grid_width, margin_rows, margin_cols));
}

OZ_API uint32_t mul_mv_lsc_valid_area(const double *a, int32_t a_row_step, int32_t a_col_step, int32_t a_cols,
                                      int32_t a_rows, const float *x, int32_t x_step, int32_t x_length,
                                      double *y, int32_t y_step, const uint32_t *mask,
                                      float *compaction_buffer) {
    return oz::multiply_vector_valid_area(Strided<const double>(a, a_row_step, a_col_step), a_cols, a_rows, x,
                                          x_step, x_length, Strided<double>(y, y_step, 0), mask,
                                          compaction_buffer);
}

OZ_API uint32_t lu_decomposition_m(const float *src, int32_t src_row_step, int32_t src_col_step,
                                   uint32_t *permutation, float *dst, int32_t dst_row_step, int32_t dst_col_step,
                                   int32_t n) {
    return oz::lu_factor<float>(src, src_row_step, src_col_step, permutation,
                                Strided<float>(dst, dst_row_step, dst_col_step), n);
}

OZ_API uint32_t lu_decomposition_m_double(const double *src, int32_t src_row_step, int32_t src_col_step,
                                          uint32_t *permutation, double *dst, int32_t dst_row_step,
                                          int32_t dst_col_step, int32_t n) {
    return oz::lu_factor<double>(src, src_row_step, src_col_step, permutation,
                                 Strided<double>(dst, dst_row_step, dst_col_step), n);
}

OZ_API uint32_t lu_decomposition(float *design, float *transposed_design, float *lu, uint32_t *permutation,
                                 uint16_t width, uint16_t height, uint16_t num_terms) {
    return oz::fit_polynomial(design, transposed_design, lu, permutation, width, height, num_terms, nullptr,
                              oz::best_poly_rows());
}

OZ_API uint32_t lu_decomposition_lsc(float *design, float *transposed_design, float *lu, uint32_t *permutation,
                                     uint16_t width, uint16_t height, uint16_t num_terms, uint16_t margin_rows,
                                     uint16_t margin_cols) {
    const oz::FitMargins margins{margin_rows, margin_cols};
    return oz::fit_polynomial(design, transposed_design, lu, permutation, width, height, num_terms, &margins,
                              oz::best_poly_rows());
}

OZ_API uint32_t lu_decomposition_lsc_valid_area(double *design, double *transposed_design, double *lu,
                                                uint32_t *permutation, uint16_t width, uint16_t height,
                                                uint16_t num_terms, uint32_t valid_count,
                                                const uint32_t *valid_mask) {
    return oz::fit_polynomial_valid_area(design, transposed_design, lu, permutation, width, height, num_terms,
                                         valid_count, valid_mask, oz::best_poly_rows());
}

// The permutation is accepted for the interface and not read: the factors are used as stored.
OZ_API uint32_t lsc_polynomial_upscale_float(const float *transposed_design, const float *lu,
                                             const uint32_t *permutation, const float *const input_planes[4],
                                             float *const output_planes[4], uint16_t input_width,
                                             uint16_t input_height, uint16_t output_width, uint16_t output_height,
                                             uint16_t num_terms, uint16_t margin_rows, uint16_t margin_cols,
                                             uint8_t use_margins) {
    (void)permutation;
    return oz::polynomial_upscale(transposed_design, lu, input_planes, output_planes, input_width, input_height,
                                  output_width, output_height, num_terms, margin_rows, margin_cols, use_margins,
                                  oz::best_poly_rows());
}

OZ_API uint32_t lsc_polynomial_upscale_float_valid_area(const double *transposed_design, const double *lu,
                                                        const uint32_t *permutation,
                                                        const float *const input_planes[4],
                                                        float *const output_planes[4], uint16_t input_width,
                                                        uint16_t input_height, uint16_t output_width,
                                                        uint16_t output_height, uint16_t num_terms,
                                                        uint32_t valid_count, float *compaction_buffer,
                                                        const uint32_t *valid_mask) {
    (void)permutation;
    return oz::polynomial_upscale_valid_area(transposed_design, lu, input_planes, output_planes, input_width,
                                             input_height, output_width, output_height, num_terms, valid_count,
                                             compaction_buffer, valid_mask, oz::best_poly_rows());
}

}  // extern "C"
