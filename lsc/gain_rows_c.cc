// Gain-plane rows: the scalar definitions, and the row tables with their run-time choice.
#include "common/cpu.h"
#include "lsc/gain_rows.h"

namespace oz {

float plane_minimum_c(const float *v, size_t n) {
    float m = v[0];
    for (size_t i = 1; i < n; ++i)
        if (!(m < v[i])) m = v[i];
    return m;
}

void normalise_c(float *v, size_t n, float m) {
    for (size_t i = 0; i < n; ++i) {
        const float q = v[i] / m;
        v[i] = q > 1.0f ? q : 1.0f;
    }
}

void average_greens_c(float *gr, float *gb, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        const float g = (gr[i] + gb[i]) * 0.5f;
        gr[i] = g;
        gb[i] = g;
    }
}

// The products of normalised gains and 16-bit ratios stay far below 2^31, but the exported correction
// takes any gains: clamping to [0, 65535] before the truncating conversion keeps every product defined
// (the conversion of an out-of-range float is not), and in this order a NaN product becomes 0.
void ratio_product_c(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        float p = float(ratio[i]) * gain[i];
        p = p > 0.0f ? p : 0.0f;
        p = p < 65535.0f ? p : 65535.0f;
        dst[i] = uint16_t(int32_t(p));
    }
}

const gain_rows &c_gain_rows() {
    static const gain_rows rows{plane_minimum_c, normalise_c, average_greens_c, ratio_product_c};
    return rows;
}

const gain_rows &sse41_gain_rows() {
    static const gain_rows rows{plane_minimum_sse41, normalise_sse41, average_greens_sse41, ratio_product_sse41};
    return rows;
}

const gain_rows &avx2_gain_rows() {
    static const gain_rows rows{plane_minimum_avx2, normalise_avx2, average_greens_avx2, ratio_product_avx2};
    return rows;
}

const gain_rows &best_gain_rows() {
    static const gain_rows &rows = pick_rows(c_gain_rows, sse41_gain_rows, avx2_gain_rows);
    return rows;
}

}  // namespace oz
