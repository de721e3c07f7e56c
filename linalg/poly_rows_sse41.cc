// Polynomial fit and evaluation rows, SSE4.1: four float or two double lanes per step, each lane repeating the
// scalar operations in the scalar order (mul then add, never fused). Tails go to the scalar row.
#include <smmintrin.h>

#include "linalg/fit_rows_simd.h"
#include "linalg/poly_rows.h"

namespace oz {
namespace {

__m128 eval4_f32(const PolyColumnsF32 &c, size_t i, __m128 b2, __m128 b5, __m128 b9, __m128 b14,
                 __m128 y, __m128 y2, __m128 y3) {
    __m128 s = _mm_add_ps(_mm_loadu_ps(c.lead + i), b2);
    s = _mm_add_ps(s, _mm_loadu_ps(c.a3 + i));
    s = _mm_add_ps(s, _mm_mul_ps(_mm_loadu_ps(c.a4 + i), y));
    s = _mm_add_ps(s, b5);
    s = _mm_add_ps(s, _mm_loadu_ps(c.a6 + i));
    s = _mm_add_ps(s, _mm_mul_ps(_mm_loadu_ps(c.a7 + i), y));
    s = _mm_add_ps(s, _mm_mul_ps(_mm_loadu_ps(c.a8 + i), y2));
    s = _mm_add_ps(s, b9);
    s = _mm_add_ps(s, _mm_loadu_ps(c.a10 + i));
    s = _mm_add_ps(s, _mm_mul_ps(_mm_loadu_ps(c.a11 + i), y));
    s = _mm_add_ps(s, _mm_mul_ps(_mm_loadu_ps(c.a12 + i), y2));
    s = _mm_add_ps(s, _mm_mul_ps(_mm_loadu_ps(c.a13 + i), y3));
    s = _mm_add_ps(s, b14);
    return s;
}

__m128d eval2_f64(const PolyColumnsF64 &c, size_t i, __m128d b2, __m128d b5, __m128d b9,
                  __m128d b14, __m128d y, __m128d y2, __m128d y3) {
    __m128d s = _mm_add_pd(_mm_loadu_pd(c.lead + i), b2);
    s = _mm_add_pd(s, _mm_loadu_pd(c.a3 + i));
    s = _mm_add_pd(s, _mm_mul_pd(_mm_loadu_pd(c.a4 + i), y));
    s = _mm_add_pd(s, b5);
    s = _mm_add_pd(s, _mm_loadu_pd(c.a6 + i));
    s = _mm_add_pd(s, _mm_mul_pd(_mm_loadu_pd(c.a7 + i), y));
    s = _mm_add_pd(s, _mm_mul_pd(_mm_loadu_pd(c.a8 + i), y2));
    s = _mm_add_pd(s, b9);
    s = _mm_add_pd(s, _mm_loadu_pd(c.a10 + i));
    s = _mm_add_pd(s, _mm_mul_pd(_mm_loadu_pd(c.a11 + i), y));
    s = _mm_add_pd(s, _mm_mul_pd(_mm_loadu_pd(c.a12 + i), y2));
    s = _mm_add_pd(s, _mm_mul_pd(_mm_loadu_pd(c.a13 + i), y3));
    s = _mm_add_pd(s, b14);
    return s;
}

OZ_FIT_VECTOR_OPS(FitF32, float, __m128, 4, _mm, ps, false)
OZ_FIT_VECTOR_OPS(FitF64, double, __m128d, 2, _mm, pd, true)

}  // namespace

OZ_DEFINE_FIT_ROWS(sse41, FitF32, FitF64)

void poly_eval_row_f32_sse41(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin,
                             size_t end) {
    const __m128 b2 = _mm_set1_ps(row.b2), b5 = _mm_set1_ps(row.b5);
    const __m128 b9 = _mm_set1_ps(row.b9), b14 = _mm_set1_ps(row.b14);
    const __m128 y = _mm_set1_ps(row.y), y2 = _mm_set1_ps(row.y2), y3 = _mm_set1_ps(row.y3);
    size_t i = begin;
    for (; i + 4 <= end; i += 4) _mm_storeu_ps(dst + i, eval4_f32(cols, i, b2, b5, b9, b14, y, y2, y3));
    poly_eval_row_f32_c(cols, row, dst, i, end);
}

void poly_eval_row_f64_sse41(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin,
                             size_t end) {
    const __m128d b2 = _mm_set1_pd(row.b2), b5 = _mm_set1_pd(row.b5);
    const __m128d b9 = _mm_set1_pd(row.b9), b14 = _mm_set1_pd(row.b14);
    const __m128d y = _mm_set1_pd(row.y), y2 = _mm_set1_pd(row.y2), y3 = _mm_set1_pd(row.y3);
    size_t i = begin;
    for (; i + 4 <= end; i += 4) {
        // cvtpd2ps rounds to nearest like the scalar (float) conversion.
        const __m128 lo = _mm_cvtpd_ps(eval2_f64(cols, i, b2, b5, b9, b14, y, y2, y3));
        const __m128 hi = _mm_cvtpd_ps(eval2_f64(cols, i + 2, b2, b5, b9, b14, y, y2, y3));
        _mm_storeu_ps(dst + i, _mm_movelh_ps(lo, hi));
    }
    poly_eval_row_f64_c(cols, row, dst, i, end);
}

}  // namespace oz
