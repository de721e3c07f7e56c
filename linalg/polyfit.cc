// Least-squares fit of a 4th-order polynomial surface to shading grids, and its evaluation on another
// grid: design matrix, normal matrix and its LU factors, forward and back substitution per plane, and
// the evaluation driver over the row functions.
#include "linalg/polyfit.h"

#include <climits>

#include "common/heap.h"
#include "common/status.h"
#include "linalg/matrix.h"

namespace oz {
namespace {

// One design row for grid cell (x, y), both 1-based. x^2, x^3, y^2 and y^3 are unsigned 32-bit
// products (exact for every grid of up to 1625 columns and rows) converted to T; every other entry is
// the product in T of two of the converted values.
template <class T>
void fill_design_row(T *row, uint32_t x, uint32_t y) {
    const uint32_t x2 = x * x, x3 = x * x * x, y2 = y * y, y3 = y * y * y;
    const T fx = T(x), fy = T(y), fx2 = T(x2), fx3 = T(x3), fy2 = T(y2), fy3 = T(y3);
    row[0] = T(1);
    row[1] = fx;
    row[2] = fy;
    row[3] = fx2;
    row[4] = fx * fy;
    row[5] = fy2;
    row[6] = fx3;
    row[7] = fy * fx2;
    row[8] = fx * fy2;
    row[9] = fy3;
    row[10] = fx * fx3;
    row[11] = fx3 * fy;
    row[12] = fx2 * fy2;
    row[13] = fx * fy3;
    row[14] = fy * fy3;
}

// True when `count` elements of T, as a byte step, fit the signed 32-bit steps of the matrix views.
template <class T>
bool fits_byte_step(uint64_t count) {
    return count <= uint64_t(INT32_MAX) / sizeof(T);
}

// Transposes the design matrix into transposed_design, forms the normal matrix transposed_design *
// design over the cells of `inner` with the fit rows (reading the design matrix, see linalg/poly_rows.h)
// into `normal`, and factors it. Stops at the first step that fails.
template <class T, class NormalFn>
uint32_t transpose_normal_factor(const T *design, T *transposed_design, T *normal, T *lu, uint32_t *permutation,
                                 int32_t rows, const InnerRange &inner, NormalFn normal_rows) {
    constexpr int32_t kElem = int32_t(sizeof(T));
    constexpr int32_t kRow = kPolyTerms * kElem;
    if (transpose<T>(Strided<const T>(design, kRow, kElem), kPolyTerms, rows,
                     Strided<T>(transposed_design, rows * kElem, kElem)) != kStatusDone)
        return kStatusFailed;
    if (!inner.fits(rows)) return kStatusFailed;
    NormalSums<T> sums = {};
    inner.each_run(rows, [&](int64_t begin, int64_t end) {
        normal_rows(design + size_t(begin) * kPolyTerms, size_t(end - begin), sums);
    });
    for (int i = 0; i < kPolyTerms; ++i)
        for (int j = 0; j < kPolyTerms; ++j) normal[i * kPolyTerms + j] = sums[i][j];
    return lu_factor<T>(normal, kRow, kElem, permutation, Strided<T>(lu, kRow, kElem), kPolyTerms) == kStatusDone
               ? kStatusDone
               : kStatusFailed;
}

// Solves L z = rhs (unit lower factor) and U c = z with the stored factors; every sum ascending from +0.
template <class T>
void solve(const T *lu, const T *rhs, T *z, T *coef) {
    constexpr int n = kPolyTerms;
    z[0] = rhs[0];
    for (int i = 1; i < n; ++i) {
        T s = T(0);
        for (int k = 0; k < i; ++k) s = s + lu[i * n + k] * z[k];
        z[i] = rhs[i] - s;
    }
    for (int i = n - 1; i >= 0; --i) {
        T s = T(0);
        for (int k = i + 1; k < n; ++k) s = s + lu[i * n + k] * coef[k];
        coef[i] = (z[i] - s) / lu[i * n + i];
    }
}

// solve() for the first `planes` planes side by side: each plane's z and coefficients are formed with
// exactly solve()'s operations in solve()'s order; interleaving the planes only keeps four independent
// dependency chains in flight.
template <class T>
void solve_planes(const T *lu, const PlaneSums<T> &rhs, int planes, PlaneSums<T> &coef) {
    constexpr int n = kPolyTerms;
    T z[4][n];
    for (int p = 0; p < planes; ++p) z[p][0] = rhs[p][0];
    for (int i = 1; i < n; ++i) {
        T s[4] = {T(0), T(0), T(0), T(0)};
        for (int k = 0; k < i; ++k)
            for (int p = 0; p < planes; ++p) s[p] = s[p] + lu[i * n + k] * z[p][k];
        for (int p = 0; p < planes; ++p) z[p][i] = rhs[p][i] - s[p];
    }
    for (int i = n - 1; i >= 0; --i) {
        T s[4] = {T(0), T(0), T(0), T(0)};
        for (int k = i + 1; k < n; ++k)
            for (int p = 0; p < planes; ++p) s[p] = s[p] + lu[i * n + k] * coef[p][k];
        for (int p = 0; p < planes; ++p) coef[p][i] = (z[p][i] - s[p]) / lu[i * n + i];
    }
}

// Writes the surface `c` at x = q*step_x + 1 (columns) and y = r*step_y + 1 (rows), step = (input - 1) /
// (output - 1) in T, into the output_width x output_height plane. Needs both output dimensions >= 2.
template <class T, class RowFn>
void evaluate_surface(const T *c, uint16_t input_width, uint16_t input_height, uint16_t output_width,
                      uint16_t output_height, float *out, RowFn row_fn) {
    const T step_x = (T(input_width) - T(1)) / (T(output_width) - T(1));
    const T step_y = (T(input_height) - T(1)) / (T(output_height) - T(1));
    PolyColumns<T> cols;
    for (size_t q0 = 0; q0 < output_width; q0 += kPolyChunk) {
        const size_t n = output_width - q0 < kPolyChunk ? output_width - q0 : kPolyChunk;
        for (size_t i = 0; i < n; ++i) {
            const T x = T(q0 + i) * step_x + T(1);
            const T x2 = x * x;
            const T x3 = x2 * x;
            const T a1 = c[1] * x;
            cols.lead[i] = a1 + c[0];
            cols.a3[i] = c[3] * x2;
            cols.a4[i] = c[4] * x;
            cols.a6[i] = c[6] * x3;
            cols.a7[i] = c[7] * x2;
            cols.a8[i] = c[8] * x;
            cols.a10[i] = (c[10] * x3) * x;
            cols.a11[i] = c[11] * x3;
            cols.a12[i] = c[12] * x2;
            cols.a13[i] = c[13] * x;
        }
        for (size_t r = 0; r < output_height; ++r) {
            const T y = T(r) * step_y + T(1);
            const T y2 = y * y;
            const T y3 = y * y2;
            const PolyRow<T> row{c[2] * y, c[5] * y2, c[9] * y3, (c[14] * y3) * y, y, y2, y3};
            row_fn(cols, row, out + r * output_width + q0, 0, n);
        }
    }
}

}  // namespace

uint32_t fit_polynomial(float *design, float *transposed_design, float *lu, uint32_t *permutation, uint16_t width,
                        uint16_t height, uint16_t num_terms, const FitMargins *margins, const poly_rows &rows) {
    // The design fill writes exactly 15 terms per row, so any other term count would overrun the rows.
    if (num_terms != kPolyTerms || lu == nullptr || permutation == nullptr) return kStatusFailed;
    const uint64_t cells = uint64_t(width) * height;
    if (!fits_byte_step<float>(cells)) return kStatusFailed;
    HeapArray<float> normal = heap_array_zeroed<float>(size_t(kPolyTerms) * kPolyTerms);
    if (!normal) return kStatusNoMemory;
    if (width != 0 && height != 0) {
        if (design == nullptr) return kStatusFailed;
        for (uint32_t y = 1; y <= height; ++y)
            for (uint32_t x = 1; x <= width; ++x)
                fill_design_row(design + (size_t(y - 1) * width + (x - 1)) * kPolyTerms, x, y);
    }
    const InnerRange inner =
        margins ? InnerRange::grid_interior(height, width, margins->rows, margins->cols) : InnerRange{};
    return transpose_normal_factor<float>(design, transposed_design, normal.get(), lu, permutation, int32_t(cells),
                                          inner, rows.normal_f32);
}

uint32_t fit_polynomial_valid_area(double *design, double *transposed_design, double *lu, uint32_t *permutation,
                                   uint16_t width, uint16_t height, uint16_t num_terms, uint32_t valid_count,
                                   const uint32_t *valid_mask, const poly_rows &rows) {
    if (num_terms != kPolyTerms || lu == nullptr || permutation == nullptr) return kStatusFailed;
    if (width != 0 && height != 0 && valid_mask == nullptr) return kStatusFailed;
    HeapArray<double> normal = heap_array_zeroed<double>(size_t(kPolyTerms) * kPolyTerms);
    if (!normal) return kStatusNoMemory;
    uint64_t count = 0;
    if (width != 0 && height != 0) {
        for (uint32_t y = 1; y <= height; ++y) {
            for (uint32_t x = 1; x <= width; ++x) {
                if (valid_mask[size_t(y - 1) * width + (x - 1)] != 1) continue;
                if (design == nullptr) return kStatusFailed;
                fill_design_row(design + count * kPolyTerms, x, y);
                ++count;
            }
        }
    }
    if (count != valid_count || !fits_byte_step<double>(count)) return kStatusFailed;
    return transpose_normal_factor<double>(design, transposed_design, normal.get(), lu, permutation, int32_t(count),
                                           InnerRange{}, rows.normal_f64);
}

uint32_t polynomial_upscale(const float *transposed_design, const float *lu, const float *const input_planes[4],
                            float *const output_planes[4], uint16_t input_width, uint16_t input_height,
                            uint16_t output_width, uint16_t output_height, uint16_t num_terms,
                            uint16_t margin_rows, uint16_t margin_cols, uint8_t use_margins, const poly_rows &rows) {
    if (num_terms != kPolyTerms || lu == nullptr) return kStatusFailed;
    HeapArray<float> rhs = heap_array_zeroed<float>(kPolyTerms);
    HeapArray<float> coef = heap_array_zeroed<float>(kPolyTerms);
    if (!rhs || !coef) return kStatusFailed;
    const uint64_t cells = uint64_t(input_width) * input_height;
    if (!fits_byte_step<float>(cells)) return kStatusFailed;
    const int32_t n = int32_t(cells);
    const InnerRange inner = use_margins
                                 ? InnerRange::grid_interior(input_height, input_width, margin_rows, margin_cols)
                                 : InnerRange{};
    for (int p = 0; p < 4; ++p) {
        if (input_planes == nullptr || input_planes[p] == nullptr) return kStatusFailed;
        if (multiply_vector(Strided<const float>(transposed_design, n * 4, 4), n, kPolyTerms,
                            input_planes[p], 4, n, Strided<float>(rhs.get(), 4, 0),
                            inner) != kStatusDone)
            return kStatusFailed;
        {
            HeapArray<float> z = heap_array_zeroed<float>(kPolyTerms);
            if (!z) return kStatusFailed;
            solve(lu, rhs.get(), z.get(), coef.get());
        }
        if (output_width < 2 || output_height < 2) continue;  // nothing to write for this plane
        if (output_planes == nullptr || output_planes[p] == nullptr) return kStatusFailed;
        evaluate_surface<float>(coef.get(), input_width, input_height, output_width, output_height,
                                output_planes[p], rows.eval_f32);
    }
    return kStatusDone;
}

uint32_t polynomial_upscale_valid_area(const double *transposed_design, const double *lu,
                                       const float *const input_planes[4], float *const output_planes[4],
                                       uint16_t input_width, uint16_t input_height, uint16_t output_width,
                                       uint16_t output_height, uint16_t num_terms, uint32_t valid_count,
                                       float *compaction_buffer, const uint32_t *valid_mask,
                                       const poly_rows &rows) {
    if (num_terms != kPolyTerms || lu == nullptr) return kStatusFailed;
    HeapArray<double> rhs = heap_array_zeroed<double>(kPolyTerms);
    HeapArray<double> coef = heap_array_zeroed<double>(kPolyTerms);
    if (!rhs || !coef) return kStatusFailed;
    const uint64_t cells = uint64_t(input_width) * input_height;
    if (cells > uint64_t(INT32_MAX) || !fits_byte_step<double>(valid_count)) return kStatusFailed;
    const int32_t columns = int32_t(valid_count);
    for (int p = 0; p < 4; ++p) {
        if (input_planes == nullptr || input_planes[p] == nullptr) return kStatusFailed;
        if (multiply_vector_valid_area(Strided<const double>(transposed_design, columns * 8, 8), columns,
                                       kPolyTerms, input_planes[p], 4, int32_t(cells),
                                       Strided<double>(rhs.get(), 8, 0), valid_mask,
                                       compaction_buffer) != kStatusDone)
            return kStatusFailed;
        {
            HeapArray<double> z = heap_array_zeroed<double>(kPolyTerms);
            if (!z) return kStatusFailed;
            solve(lu, rhs.get(), z.get(), coef.get());
        }
        if (output_width < 2 || output_height < 2) continue;
        if (output_planes == nullptr || output_planes[p] == nullptr) return kStatusFailed;
        evaluate_surface<double>(coef.get(), input_width, input_height, output_width, output_height,
                                 output_planes[p], rows.eval_f64);
    }
    return kStatusDone;
}

namespace {

bool all_planes_set(const float *const input_planes[4], float *const output_planes[4]) {
    for (int p = 0; p < 4; ++p)
        if (input_planes[p] == nullptr || output_planes[p] == nullptr) return false;
    return true;
}

// The four solves side by side, then the four surfaces (nothing written for an output side below 2).
template <class T, class RowFn>
void solve_and_evaluate(const T *lu, const PlaneSums<T> &rhs, float *const output_planes[4], uint16_t input_width,
                        uint16_t input_height, uint16_t output_width, uint16_t output_height, RowFn row_fn) {
    PlaneSums<T> coef = {};
    solve_planes(lu, rhs, 4, coef);
    if (output_width < 2 || output_height < 2) return;
    for (int p = 0; p < 4; ++p)
        evaluate_surface<T>(coef[p], input_width, input_height, output_width, output_height, output_planes[p], row_fn);
}

}  // namespace

uint32_t upscale_table(const float *design, const float *lu, const float *const input_planes[4],
                       float *const output_planes[4], uint16_t input_width, uint16_t input_height,
                       uint16_t output_width, uint16_t output_height, const FitMargins *margins,
                       const poly_rows &rows) {
    if (!all_planes_set(input_planes, output_planes)) return kStatusFailed;
    const int64_t cells = int64_t(input_width) * input_height;
    const InnerRange inner =
        margins ? InnerRange::grid_interior(input_height, input_width, margins->rows, margins->cols) : InnerRange{};
    PlaneSums<float> rhs = {};
    inner.each_run(cells, [&](int64_t begin, int64_t end) {
        const float *const x[4] = {input_planes[0] + begin, input_planes[1] + begin, input_planes[2] + begin,
                                   input_planes[3] + begin};
        rows.rhs_f32(design + size_t(begin) * kPolyTerms, x, 4, size_t(end - begin), rhs);
    });
    solve_and_evaluate(lu, rhs, output_planes, input_width, input_height, output_width, output_height, rows.eval_f32);
    return kStatusDone;
}

uint32_t upscale_table_valid_area(const double *design, const double *lu, const float *const input_planes[4],
                                  float *const output_planes[4], uint16_t input_width, uint16_t input_height,
                                  uint16_t output_width, uint16_t output_height, const uint32_t *valid_cells,
                                  uint32_t valid_count, const poly_rows &rows) {
    if (!all_planes_set(input_planes, output_planes)) return kStatusFailed;
    PlaneSums<double> rhs = {};
    rows.rhs_f64(design, input_planes, 4, valid_cells, valid_count, rhs);
    solve_and_evaluate(lu, rhs, output_planes, input_width, input_height, output_width, output_height, rows.eval_f64);
    return kStatusDone;
}

}  // namespace oz
