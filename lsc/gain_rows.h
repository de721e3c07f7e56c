// Row functions over module gain planes (scalar definition and vector forms): the minimum scan and the
// normalisation of the upscaled planes, the averaging of the two green planes, and the ratio-times-gain
// product of the correction. The drivers are given a row table, so tests can run every table.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oz {

struct gain_rows {
    // The plane minimum as a left fold: m = v[0], then for each following v, m = v unless m < v
    // (so a NaN replaces m, and the value after a NaN replaces it again). n >= 1.
    float (*plane_minimum)(const float *v, size_t n);
    // v[i] = v[i] / m when that quotient is greater than 1.0f, else 1.0f (a NaN quotient gives 1.0f).
    void (*normalise)(float *v, size_t n, float m);
    // gr[i] = gb[i] = (gr[i] + gb[i]) * 0.5f.
    void (*average_greens)(float *gr, float *gb, size_t n);
    // dst[i] = the float product (float)ratio[i] * gain[i], truncated toward zero and saturated to
    // 0 .. 65535: a product of 65535 or more stores 65535; a negative or NaN product stores 0.
    void (*ratio_product)(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n);
};

float plane_minimum_c(const float *v, size_t n);
void normalise_c(float *v, size_t n, float m);
void average_greens_c(float *gr, float *gb, size_t n);
void ratio_product_c(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n);

float plane_minimum_sse41(const float *v, size_t n);
void normalise_sse41(float *v, size_t n, float m);
void average_greens_sse41(float *gr, float *gb, size_t n);
void ratio_product_sse41(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n);

float plane_minimum_avx2(const float *v, size_t n);
void normalise_avx2(float *v, size_t n, float m);
void average_greens_avx2(float *gr, float *gb, size_t n);
void ratio_product_avx2(const uint16_t *ratio, const float *gain, uint16_t *dst, size_t n);

// Row tables. Only call a vector table when cpu_supports() says the CPU runs it.
const gain_rows &c_gain_rows();
const gain_rows &sse41_gain_rows();
const gain_rows &avx2_gain_rows();
// The widest table this CPU runs, chosen once.
const gain_rows &best_gain_rows();

}  // namespace oz
