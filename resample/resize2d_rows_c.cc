// 2-D array resize, scalar rows: the definitions the vector rows reproduce.
#include "resample/resize2d_rows.h"

namespace oz {
namespace {

template <class T, class Acc>
void h_row(const T *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end, Acc *h) {
    for (uint32_t i = begin; i < end; ++i) {
        const T *s = src + kx[i];
        const Acc w0 = w01[i] & 0xFFFF, w1 = w01[i] >> 16;
        h[i] = Acc(s[0]) * w0 + Acc(s[1]) * w1;
    }
}

}  // namespace

void h_row_u8_c(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                uint32_t, uint16_t *h) {
    for (uint32_t i = begin; i < end; ++i) {
        const uint8_t *s = src + kx[i];
        h[i] = uint16_t(uint32_t(s[0]) * (w01[i] & 0xFFFF) + uint32_t(s[1]) * (w01[i] >> 16));  // <= 255 * 256
    }
}
void h_row_u16_c(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                 uint32_t, uint32_t *h) {
    h_row(src, kx, w01, begin, end, h);  // at most 65535 * 256
}
void h_row_i32_c(const int32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                 uint32_t, int64_t *h) {
    h_row(src, kx, w01, begin, end, h);  // samples sign-extended, signed 64-bit
}
void h_row_u32_c(const uint32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                 uint32_t, uint64_t *h) {
    h_row(src, kx, w01, begin, end, h);
}

// (sum + 2^15) >> 16 with sum = h1 * wy1 + h0 * wy0 <= 65535 * 2^16: unsigned 32-bit arithmetic holds it.
void v_row_u8_c(const uint16_t *h0, const uint16_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
                uint8_t *dst) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = uint8_t((h1[i] * wy1 + h0[i] * wy0 + 32768u) >> 16);
}
void v_row_u16_c(const uint32_t *h0, const uint32_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                 uint32_t end, uint16_t *dst) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = uint16_t((h1[i] * wy1 + h0[i] * wy0 + 32768u) >> 16);
}
// Signed 64-bit sum; the arithmetic shift after adding the half rounds toward minus infinity.
void v_row_i32_c(const int64_t *h0, const int64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
                 int32_t *dst) {
    for (uint32_t i = begin; i < end; ++i) {
        const int64_t sum = h1[i] * int64_t(wy1) + h0[i] * int64_t(wy0);
        dst[i] = int32_t((sum + (int64_t(1) << 23)) >> 24);
    }
}
void v_row_u32_c(const uint64_t *h0, const uint64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                 uint32_t end, uint32_t *dst) {
    for (uint32_t i = begin; i < end; ++i) {
        const uint64_t sum = h1[i] * uint64_t(wy1) + h0[i] * uint64_t(wy0);
        dst[i] = uint32_t((sum + (uint64_t(1) << 23)) >> 24);
    }
}

void h_row_f32_c(const float *src, const int32_t *x0, const int32_t *x1, const float *fx, const float *gx,
                 uint32_t begin, uint32_t end, uint32_t, float *a, float *b) {
    for (uint32_t i = begin; i < end; ++i) {
        a[i] = src[x1[i]] * fx[i];  // s[y][x1] * fx
        b[i] = src[x0[i]] * gx[i];  // s[y][x0] * (1 - fx), equal to (1 - fx) * s[y][x0]
    }
}
void v_row_f32_c(const float *a0, const float *b0, const float *a1, const float *b1, float fy, float gy,
                 uint32_t begin, uint32_t end, float *dst) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = ((a0[i] * gy + b0[i] * gy) + b1[i] * fy) + a1[i] * fy;
}

void h_u8_grouped_c(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                    uint32_t n, int16_t *g) {
    for (uint32_t slot = begin; slot < end; ++slot) {
        const uint32_t c = u8_group_column(slot, n);
        const uint32_t h = uint32_t(src[kx[c]]) * (w01[c] & 0xFFFF) + uint32_t(src[kx[c] + 1]) * (w01[c] >> 16);
        g[slot] = int16_t(int32_t(h) - 32640);  // h <= 65280
    }
}
void v_u8_grouped_c(const int16_t *g0, const int16_t *g1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                    uint32_t end, uint32_t n, uint8_t *dst) {
    for (uint32_t slot = begin; slot < end; ++slot) {
        const uint32_t h0 = uint32_t(g0[slot] + 32640), h1 = uint32_t(g1[slot] + 32640);
        dst[u8_group_column(slot, n)] = uint8_t((h1 * wy1 + h0 * wy0 + 32768u) >> 16);
    }
}
void h_u16_grouped_c(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                     uint32_t n, uint32_t *e) {
    for (uint32_t slot = begin; slot < end; ++slot) {
        const uint32_t c = u16_group_column(slot, n);
        e[slot] = uint32_t(src[kx[c]]) * (w01[c] & 0xFFFF) + uint32_t(src[kx[c] + 1]) * (w01[c] >> 16) + 128;
    }
}
// e0 * wy0 + e1 * wy1 = h0 * wy0 + h1 * wy1 + 32768 < 2^32.
void v_u16_grouped_c(const uint32_t *e0, const uint32_t *e1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                     uint32_t end, uint32_t n, uint16_t *dst) {
    for (uint32_t slot = begin; slot < end; ++slot)
        dst[u16_group_column(slot, n)] = uint16_t((e1[slot] * wy1 + e0[slot] * wy0) >> 16);
}

const resize2d_rows &resize2d_c_rows() {
    static const resize2d_rows rows = {h_row_u8_c,  h_row_u16_c, h_row_i32_c, h_row_u32_c, v_row_u8_c,
                                       v_row_u16_c, v_row_i32_c, v_row_u32_c, h_row_f32_c, v_row_f32_c,
                                       v_row_u8_c, v_row_u16_c, v_row_i32_c, v_row_u32_c, v_row_f32_c, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr};
    return rows;
}

}  // namespace oz
