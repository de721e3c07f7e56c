// Scalar rows of the bicubic resize to u16p10 and the per-sample definition they follow.
#include "resample/bicubic_resize_rows.h"

#include "common/cpu.h"
#include "resample/bicubic_rows.h"

namespace oz {

int32_t bicubicInterpolate_32f_to_u16p10(const float *patch, float ty, float tx) {
    const float half_tx = tx * 0.5f;
    float r[4];
    for (int j = 0; j < 4; ++j) {
        const float *p = patch + 4 * j;
        r[j] = bicubic_cubic_x(p[0], p[1], p[2], p[3], tx, half_tx);
    }
    return bicubic_truncate_i32(bicubic_cubic_y(r[0], r[1], r[2], r[3], ty) * 1024.0f);
}

void bicubic_resize_h_row_f32_c(const float *row, const int32_t *ix, const float *tx,
                                const float *half_tx, float *out, int n) {
    for (int k = 0; k < n; ++k) {
        const float *p = row + ix[k];
        out[k] = bicubic_cubic_x(p[0], p[1], p[2], p[3], tx[k], half_tx[k]);
    }
}

void bicubic_resize_v_row_f32_u16p10_c(const float *r0, const float *r1, const float *r2,
                                       const float *r3, float ty, uint16_t *dst, int n) {
    for (int k = 0; k < n; ++k) {
        const float v = bicubic_cubic_y(r0[k], r1[k], r2[k], r3[k], ty);
        dst[k] = uint16_t(uint32_t(bicubic_truncate_i32(v * 1024.0f)));  // low 16 bits
    }
}

const bicubic_resize_rows &bicubic_resize_rows_c() {
    static const bicubic_resize_rows rows = {bicubic_fill_row_u16_f32_c, bicubic_resize_h_row_f32_c,
                                             bicubic_resize_v_row_f32_u16p10_c};
    return rows;
}

#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_SSE41
const bicubic_resize_rows &bicubic_resize_rows_sse41() {
    static const bicubic_resize_rows rows = {bicubic_fill_row_u16_f32_sse41,
                                             bicubic_resize_h_row_f32_sse41,
                                             bicubic_resize_v_row_f32_u16p10_sse41};
    return rows;
}
#endif

#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_AVX2
const bicubic_resize_rows &bicubic_resize_rows_avx2() {
    static const bicubic_resize_rows rows = {bicubic_fill_row_u16_f32_avx2,
                                             bicubic_resize_h_row_f32_avx2,
                                             bicubic_resize_v_row_f32_u16p10_avx2};
    return rows;
}
#endif

const bicubic_resize_rows &bicubic_resize_rows_best() {
    static const bicubic_resize_rows &rows = []() -> const bicubic_resize_rows & {
#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_AVX2
        if (cpu_has_avx2()) return bicubic_resize_rows_avx2();
#endif
#ifdef OZ_HAS_BICUBIC_RESIZE_ROW_SSE41
        if (cpu_has_sse41()) return bicubic_resize_rows_sse41();
#endif
        return bicubic_resize_rows_c();
    }();
    return rows;
}

}  // namespace oz
