// Row functions of the polynomial surface fit and evaluation (scalar definitions and vector forms), and
// the row tables the fit and evaluation drivers are given.
//
// Fit rows read the design matrix (one row of 15 terms per grid cell) directly. The normal matrix is
// transposed_design * design, whose element (i, j) is the sum over the cells k of design(k, i) *
// design(k, j); a right-hand side is transposed_design * plane, whose element i is the sum over k of
// design(k, i) * plane(k). Reading design(k, i) where the product reads transposed_design(i, k) gives
// the same numbers, and each sum still runs over ascending k from +0, one rounded product added at a
// time; the rows only keep many independent sums (other (i, j), other planes) in flight together.
//
// The driver evaluates c1*x + c0 + c2*y + c3*x^2 + c4*x*y + c5*y^2 + c6*x^3 + c7*x^2*y + c8*x*y^2 +
// c9*y^3 + c10*x^3*x + c11*x^3*y + c12*x^2*y^2 + c13*x*y^3 + c14*y^3*y, each product formed left to
// right (c4*x*y is (c4*x)*y) and the terms added in exactly this order. A product that depends on the
// column only, such as c4*x or (c10*x^3)*x, is the same number on every row, and one that depends on the
// row only, such as c2*y, the same on every column; the driver forms them once per column chunk and
// once per row, and a row function adds the terms per element. That changes no value, only how often
// each one is computed. The leading sum c1*x + c0 depends on the column only and is formed once per
// column as well.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oz {

// Output columns whose column products are formed at once (a few kilobytes on the stack).
inline constexpr size_t kPolyChunk = 256;

// Column products of one surface for up to kPolyChunk output columns (index = column - chunk start),
// with x = q * step_x + 1, x2 = x * x, x3 = x2 * x:
//   lead = c1*x + c0, a3 = c3*x2, a4 = c4*x, a6 = c6*x3, a7 = c7*x2, a8 = c8*x, a10 = (c10*x3)*x, a11 = c11*x3,
//   a12 = c12*x2, a13 = c13*x.
template <class T>
struct alignas(32) PolyColumns {
    T lead[kPolyChunk], a3[kPolyChunk], a4[kPolyChunk], a6[kPolyChunk], a7[kPolyChunk];
    T a8[kPolyChunk], a10[kPolyChunk], a11[kPolyChunk], a12[kPolyChunk], a13[kPolyChunk];
};

// Row values of one surface, with y = r * step_y + 1, y2 = y * y, y3 = y * y2:
//   b2 = c2*y, b5 = c5*y2, b9 = c9*y3, b14 = (c14*y3)*y.
template <class T>
struct PolyRow {
    T b2, b5, b9, b14, y, y2, y3;
};

using PolyColumnsF32 = PolyColumns<float>;
using PolyColumnsF64 = PolyColumns<double>;
using PolyRowF32 = PolyRow<float>;
using PolyRowF64 = PolyRow<double>;

// Writes dst[i] for i in [begin, end), element i being column chunk start + i:
//   s = lead + b2; s += a3; s += a4*y; s += b5; s += a6; s += a7*y; s += a8*y2; s += b9;
//   s += a10; s += a11*y; s += a12*y2; s += a13*y3; s += b14
// in float (eval_f32), or in double and stored rounded to float (eval_f64).
using PolyRowF32Fn = void (*)(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin,
                              size_t end);
using PolyRowF64Fn = void (*)(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin,
                              size_t end);

// Accumulator blocks of the fit rows: row i of a block holds the sums of term i (the 16th element is
// padding the rows may write).
template <class T>
using NormalSums = T[15][16];
template <class T>
using PlaneSums = T[4][16];

// normal[i][j] += design(k, i) * design(k, j) for k = 0 .. count-1 in order, every i, j < 15; design
// rows are 15 consecutive elements.
using NormalF32Fn = void (*)(const float *design, size_t count, NormalSums<float> &normal);
using NormalF64Fn = void (*)(const double *design, size_t count, NormalSums<double> &normal);
// sums[p][i] += design(k, i) * x[p][k] (float), for k = 0 .. count-1 in order, i < 15, p < planes.
using RhsF32Fn = void (*)(const float *design, const float *const x[4], int planes, size_t count,
                          PlaneSums<float> &sums);
// sums[p][i] += (double)x[p][cells[k]] * design(k, i) (double), for k = 0 .. count-1 in order, i < 15,
// p < planes: design row k belongs to grid cell cells[k].
using RhsF64Fn = void (*)(const double *design, const float *const x[4], int planes, const uint32_t *cells,
                          size_t count, PlaneSums<double> &sums);

struct poly_rows {
    PolyRowF32Fn eval_f32;
    PolyRowF64Fn eval_f64;
    NormalF32Fn normal_f32;
    NormalF64Fn normal_f64;
    RhsF32Fn rhs_f32;
    RhsF64Fn rhs_f64;
};

void poly_eval_row_f32_c(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin, size_t end);
void poly_eval_row_f64_c(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin, size_t end);
void poly_eval_row_f32_sse41(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin,
                             size_t end);
void poly_eval_row_f64_sse41(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin,
                             size_t end);
void poly_eval_row_f32_avx2(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin,
                            size_t end);
void poly_eval_row_f64_avx2(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin,
                            size_t end);

void fit_normal_f32_c(const float *design, size_t count, NormalSums<float> &normal);
void fit_normal_f64_c(const double *design, size_t count, NormalSums<double> &normal);
void fit_rhs_f32_c(const float *design, const float *const x[4], int planes, size_t count, PlaneSums<float> &sums);
void fit_rhs_f64_c(const double *design, const float *const x[4], int planes, const uint32_t *cells, size_t count,
                   PlaneSums<double> &sums);
#define OZ_DECLARE_FIT_ROWS(isa)                                                                                   \
    void fit_normal_f32_##isa(const float *design, size_t count, NormalSums<float> &normal);                      \
    void fit_normal_f64_##isa(const double *design, size_t count, NormalSums<double> &normal);                    \
    void fit_rhs_f32_##isa(const float *design, const float *const x[4], int planes, size_t count,                \
                           PlaneSums<float> &sums);                                                              \
    void fit_rhs_f64_##isa(const double *design, const float *const x[4], int planes, const uint32_t *cells,      \
                           size_t count, PlaneSums<double> &sums);
OZ_DECLARE_FIT_ROWS(sse41)
OZ_DECLARE_FIT_ROWS(avx2)
#undef OZ_DECLARE_FIT_ROWS

// Row tables. Only call a vector table when cpu_supports() says the CPU runs it.
const poly_rows &c_poly_rows();
const poly_rows &sse41_poly_rows();
const poly_rows &avx2_poly_rows();
// The widest table this CPU runs, chosen once.
const poly_rows &best_poly_rows();

}  // namespace oz
