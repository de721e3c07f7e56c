// The shading polynomial surface fit: fit calls (design matrix, its transpose, LU factors of the normal
// matrix) and evaluation calls (normal equations per plane, surface on the output grid). The exported
// kernels call these with the widest row table; tests and benchmarks pass the table they want.
#pragma once

#include <cstdint>

#include "linalg/poly_rows.h"

namespace oz {

// The number of polynomial terms every fit and evaluation works with.
inline constexpr uint16_t kPolyTerms = 15;

// lu_decomposition (interior null) and lu_decomposition_lsc (interior = margins).
struct FitMargins {
    uint16_t rows, cols;
};
uint32_t fit_polynomial(float *design, float *transposed_design, float *lu, uint32_t *permutation, uint16_t width,
                        uint16_t height, uint16_t num_terms, const FitMargins *margins, const poly_rows &rows);

uint32_t fit_polynomial_valid_area(double *design, double *transposed_design, double *lu, uint32_t *permutation,
                                   uint16_t width, uint16_t height, uint16_t num_terms, uint32_t valid_count,
                                   const uint32_t *valid_mask, const poly_rows &rows);

uint32_t polynomial_upscale(const float *transposed_design, const float *lu, const float *const input_planes[4],
                            float *const output_planes[4], uint16_t input_width, uint16_t input_height,
                            uint16_t output_width, uint16_t output_height, uint16_t num_terms,
                            uint16_t margin_rows, uint16_t margin_cols, uint8_t use_margins, const poly_rows &rows);

uint32_t polynomial_upscale_valid_area(const double *transposed_design, const double *lu,
                                       const float *const input_planes[4], float *const output_planes[4],
                                       uint16_t input_width, uint16_t input_height, uint16_t output_width,
                                       uint16_t output_height, uint16_t num_terms, uint32_t valid_count,
                                       float *compaction_buffer, const uint32_t *valid_mask,
                                       const poly_rows &rows);

// One module table as the shading upscaling evaluates it, from the fit's design matrix (not its
// transpose) and factors: the four right-hand sides together, the four solves side by side, then the
// four surfaces. Every number is the one the evaluation calls above produce for the same planes
// (linalg/poly_rows.h says why the design matrix gives the same sums); the interleaving only shortens
// the dependency chains. All eight plane pointers must be set (2 otherwise, nothing written).
// upscale_table: the design of fit_polynomial over every cell, the interior of `margins` when set.
uint32_t upscale_table(const float *design, const float *lu, const float *const input_planes[4],
                       float *const output_planes[4], uint16_t input_width, uint16_t input_height,
                       uint16_t output_width, uint16_t output_height, const FitMargins *margins,
                       const poly_rows &rows);
// upscale_table_valid_area: the design of fit_polynomial_valid_area, whose row k is grid cell
// valid_cells[k] (the valid cells in ascending order, valid_count of them).
uint32_t upscale_table_valid_area(const double *design, const double *lu, const float *const input_planes[4],
                                  float *const output_planes[4], uint16_t input_width, uint16_t input_height,
                                  uint16_t output_width, uint16_t output_height, const uint32_t *valid_cells,
                                  uint32_t valid_count, const poly_rows &rows);

}  // namespace oz
