// Polynomial fit and evaluation rows, AVX2: eight float or four double lanes per step, each lane repeating the
// scalar operations in the scalar order (mul then add, never fused). Tails go to the scalar row.
#include <immintrin.h>

#include "linalg/fit_rows_simd.h"
#include "linalg/poly_rows.h"

namespace oz {
namespace {

__m256 eval8_f32(const PolyColumnsF32 &c, size_t i, __m256 b2, __m256 b5, __m256 b9, __m256 b14,
                 __m256 y, __m256 y2, __m256 y3) {
    __m256 s = _mm256_add_ps(_mm256_loadu_ps(c.lead + i), b2);
    s = _mm256_add_ps(s, _mm256_loadu_ps(c.a3 + i));
    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(c.a4 + i), y));
    s = _mm256_add_ps(s, b5);
    s = _mm256_add_ps(s, _mm256_loadu_ps(c.a6 + i));
    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(c.a7 + i), y));
    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(c.a8 + i), y2));
    s = _mm256_add_ps(s, b9);
    s = _mm256_add_ps(s, _mm256_loadu_ps(c.a10 + i));
    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(c.a11 + i), y));
    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(c.a12 + i), y2));
    s = _mm256_add_ps(s, _mm256_mul_ps(_mm256_loadu_ps(c.a13 + i), y3));
    s = _mm256_add_ps(s, b14);
    return s;
}

__m256d eval4_f64(const PolyColumnsF64 &c, size_t i, __m256d b2, __m256d b5, __m256d b9,
                  __m256d b14, __m256d y, __m256d y2, __m256d y3) {
    __m256d s = _mm256_add_pd(_mm256_loadu_pd(c.lead + i), b2);
    s = _mm256_add_pd(s, _mm256_loadu_pd(c.a3 + i));
    s = _mm256_add_pd(s, _mm256_mul_pd(_mm256_loadu_pd(c.a4 + i), y));
    s = _mm256_add_pd(s, b5);
    s = _mm256_add_pd(s, _mm256_loadu_pd(c.a6 + i));
    s = _mm256_add_pd(s, _mm256_mul_pd(_mm256_loadu_pd(c.a7 + i), y));
    s = _mm256_add_pd(s, _mm256_mul_pd(_mm256_loadu_pd(c.a8 + i), y2));
    s = _mm256_add_pd(s, b9);
    s = _mm256_add_pd(s, _mm256_loadu_pd(c.a10 + i));
    s = _mm256_add_pd(s, _mm256_mul_pd(_mm256_loadu_pd(c.a11 + i), y));
    s = _mm256_add_pd(s, _mm256_mul_pd(_mm256_loadu_pd(c.a12 + i), y2));
    s = _mm256_add_pd(s, _mm256_mul_pd(_mm256_loadu_pd(c.a13 + i), y3));
    s = _mm256_add_pd(s, b14);
    return s;
}

OZ_FIT_VECTOR_OPS(FitF32, float, __m256, 8, _mm256, ps, false)
OZ_FIT_VECTOR_OPS(FitF64, double, __m256d, 4, _mm256, pd, true)

}  // namespace

OZ_DEFINE_FIT_ROWS(avx2, FitF32, FitF64)

void poly_eval_row_f32_avx2(const PolyColumnsF32 &cols, const PolyRowF32 &row, float *dst, size_t begin,
                            size_t end) {
    const __m256 b2 = _mm256_set1_ps(row.b2), b5 = _mm256_set1_ps(row.b5);
    const __m256 b9 = _mm256_set1_ps(row.b9), b14 = _mm256_set1_ps(row.b14);
    const __m256 y = _mm256_set1_ps(row.y), y2 = _mm256_set1_ps(row.y2), y3 = _mm256_set1_ps(row.y3);
    size_t i = begin;
    for (; i + 8 <= end; i += 8) _mm256_storeu_ps(dst + i, eval8_f32(cols, i, b2, b5, b9, b14, y, y2, y3));
    poly_eval_row_f32_c(cols, row, dst, i, end);
}

void poly_eval_row_f64_avx2(const PolyColumnsF64 &cols, const PolyRowF64 &row, float *dst, size_t begin,
                            size_t end) {
    const __m256d b2 = _mm256_set1_pd(row.b2), b5 = _mm256_set1_pd(row.b5);
    const __m256d b9 = _mm256_set1_pd(row.b9), b14 = _mm256_set1_pd(row.b14);
    const __m256d y = _mm256_set1_pd(row.y), y2 = _mm256_set1_pd(row.y2), y3 = _mm256_set1_pd(row.y3);
    size_t i = begin;
    for (; i + 4 <= end; i += 4) {
        // vcvtpd2ps rounds to nearest like the scalar (float) conversion.
        _mm_storeu_ps(dst + i, _mm256_cvtpd_ps(eval4_f64(cols, i, b2, b5, b9, b14, y, y2, y3)));
    }
    poly_eval_row_f64_c(cols, row, dst, i, end);
}

}  // namespace oz
