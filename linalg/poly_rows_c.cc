// Polynomial evaluation rows: the scalar definition, and the row tables with their run-time choice.
#include "common/cpu.h"
#include "linalg/poly_rows.h"

namespace oz {
namespace {

template <class T>
T eval_element(const PolyColumns<T> &c, const PolyRow<T> &r, size_t i) {
    T s = c.lead[i] + r.b2;
    s = s + c.a3[i];
    s = s + c.a4[i] * r.y;
    s = s + r.b5;
    s = s + c.a6[i];
    s = s + c.a7[i] * r.y;
    s = s + c.a8[i] * r.y2;
    s = s + r.b9;
    s = s + c.a10[i];
    s = s + c.a11[i] * r.y;
    s = s + c.a12[i] * r.y2;
    s = s + c.a13[i] * r.y3;
    s = s + r.b14;
    return s;
}

}  // namespace

template <class T>
void fit_normal(const T *design, size_t count, NormalSums<T> &normal) {
    for (size_t k = 0; k < count; ++k) {
        const T *row = design + k * 15;
        for (int i = 0; i < 15; ++i)
            for (int j = 0; j < 15; ++j) {
                const T product = row[i] * row[j];
                normal[i][j] = normal[i][j] + product;
            }
    }
}

void fit_normal_f32_c(const float *design, size_t count, NormalSums<float> &normal) { fit_normal(design, count, normal); }
void fit_normal_f64_c(const double *design, size_t count, NormalSums<double> &normal) { fit_normal(design, count, normal); }

void fit_rhs_f32_c(const float *design, const float *const x[4], int planes, size_t count, PlaneSums<float> &sums) {
    for (size_t k = 0; k < count; ++k)
        for (int p = 0; p < planes; ++p)
            for (int i = 0; i < 15; ++i) {
                const float product = design[k * 15 + i] * x[p][k];
                sums[p][i] = sums[p][i] + product;
            }
}

void fit_rhs_f64_c(const double *design, const float *const x[4], int planes, const uint32_t *cells, size_t count,
                   PlaneSums<double> &sums) {
    for (size_t k = 0; k < count; ++k)
        for (int p = 0; p < planes; ++p)
            for (int i = 0; i < 15; ++i) {
                const double product = double(x[p][cells[k]]) * design[k * 15 + i];
                sums[p][i] = sums[p][i] + product;
            }
}

void poly_eval_row_f32_c(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) dst[i] = eval_element(cols, row, i);
}

void poly_eval_row_f64_c(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) dst[i] = float(eval_element(cols, row, i));
}

const poly_rows &c_poly_rows() {
    static const poly_rows rows{poly_eval_row_f32_c, poly_eval_row_f64_c, fit_normal_f32_c,
                                fit_normal_f64_c,    fit_rhs_f32_c,       fit_rhs_f64_c};
    return rows;
}

const poly_rows &sse41_poly_rows() {
    static const poly_rows rows{poly_eval_row_f32_sse41, poly_eval_row_f64_sse41, fit_normal_f32_sse41,
                                fit_normal_f64_sse41,    fit_rhs_f32_sse41,       fit_rhs_f64_sse41};
    return rows;
}

const poly_rows &avx2_poly_rows() {
    static const poly_rows rows{poly_eval_row_f32_avx2, poly_eval_row_f64_avx2, fit_normal_f32_avx2,
                                fit_normal_f64_avx2,    fit_rhs_f32_avx2,       fit_rhs_f64_avx2};
    return rows;
}

const poly_rows &best_poly_rows() {
    static const poly_rows &rows = pick_rows(c_poly_rows, sse41_poly_rows, avx2_poly_rows);
    return rows;
}

}  // namespace oz
