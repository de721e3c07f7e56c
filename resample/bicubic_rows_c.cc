// Scalar rows of the bicubic upscaling to float: the definition that every vector row reproduces.
#include "resample/bicubic_rows.h"

#include "common/cpu.h"

namespace oz {

void bicubic_fill_row_u8_f32_c(const uint8_t *src, float *dst, int n) {
    for (int i = 0; i < n; ++i) dst[i] = float(src[i]);
}

void bicubic_fill_row_u16_f32_c(const uint16_t *src, float *dst, int n, float scale) {
    for (int i = 0; i < n; ++i) dst[i] = float(src[i]) * scale;
}

void bicubic_basis_row_f32_c(const float *p0, const float *p1, const float *p2, const float *p3,
                             float *c1, float *c2, float *c3, int n) {
    for (int k = 0; k < n; ++k) {
        c1[k] = 0.5f * p2[k] - 0.5f * p0[k];
        c2[k] = ((p0[k] - 2.5f * p1[k]) + 2.0f * p2[k]) - 0.5f * p3[k];
        c3[k] = ((1.5f * p1[k] - 0.5f * p0[k]) - 1.5f * p2[k]) + 0.5f * p3[k];
    }
}

void bicubic_shift_basis_row_f32_c(const float *p, float *c1, float *c2, float *c3, int n) {
    bicubic_basis_row_f32_c(p, p + 1, p + 2, p + 3, c1, c2, c3, n);
}

void bicubic_eval_row_f32_c(const bicubic_cell_coefs &coefs, const int32_t *cell, const float *tx1,
                            const float *tx2, const float *tx3, const bicubic_dst_rows &rows,
                            int begin, int end) {
    const float *const *a = coefs.coef;
    for (int k = 0; k < rows.count; ++k) {
        const float *ty = rows.ty[k];
        float *dst = rows.dst[k];
        for (int x = begin; x < end; ++x) {
            const int32_t c = cell[x];
            const float t1 = tx1[x], t2 = tx2[x], t3 = tx3[x];
            // j = 0: ty^0 = 1.
            float v = a[0][c];
            v += a[1][c] * t1;
            v += a[2][c] * t2;
            v += a[3][c] * t3;
            for (int j = 1; j < 4; ++j) {
                const float tyj = ty[j - 1];
                v += a[4 * j][c] * tyj;
                v += (a[4 * j + 1][c] * tyj) * t1;
                v += (a[4 * j + 2][c] * tyj) * t2;
                v += (a[4 * j + 3][c] * tyj) * t3;
            }
            if (v <= -255.0f) v = -255.0f;
            if (v >= 65535.0f) v = 65535.0f;
            dst[x] = v;
        }
    }
}

const bicubic_rows &bicubic_rows_c() {
    static const bicubic_rows rows = {bicubic_fill_row_u8_f32_c, bicubic_fill_row_u16_f32_c,
                                      bicubic_basis_row_f32_c, bicubic_shift_basis_row_f32_c,
                                      bicubic_eval_row_f32_c};
    return rows;
}

#ifdef OZ_HAS_BICUBIC_ROW_SSE41
const bicubic_rows &bicubic_rows_sse41() {
    static const bicubic_rows rows = {
        bicubic_fill_row_u8_f32_sse41, bicubic_fill_row_u16_f32_sse41, bicubic_basis_row_f32_sse41,
        bicubic_shift_basis_row_f32_sse41, bicubic_eval_row_f32_sse41};
    return rows;
}
#endif

#ifdef OZ_HAS_BICUBIC_ROW_AVX2
const bicubic_rows &bicubic_rows_avx2() {
    static const bicubic_rows rows = {bicubic_fill_row_u8_f32_avx2, bicubic_fill_row_u16_f32_avx2,
                                      bicubic_basis_row_f32_avx2, bicubic_shift_basis_row_f32_avx2,
                                      bicubic_eval_row_f32_avx2};
    return rows;
}
#endif

#ifdef OZ_HAS_BICUBIC_ROW_AVX512
const bicubic_rows &bicubic_rows_avx512() {
    static const bicubic_rows rows = [] {
        bicubic_rows r = bicubic_rows_avx2();
        r.eval = bicubic_eval_row_f32_avx512;
        return r;
    }();
    return rows;
}
#endif

const bicubic_rows &bicubic_rows_best() {
    static const bicubic_rows &rows = []() -> const bicubic_rows & {
#ifdef OZ_HAS_BICUBIC_ROW_AVX512
        if (cpu_has_avx512()) return bicubic_rows_avx512();
#endif
#ifdef OZ_HAS_BICUBIC_ROW_AVX2
        if (cpu_has_avx2()) return bicubic_rows_avx2();
#endif
#ifdef OZ_HAS_BICUBIC_ROW_SSE41
        if (cpu_has_sse41()) return bicubic_rows_sse41();
#endif
        return bicubic_rows_c();
    }();
    return rows;
}

}  // namespace oz
