// Padded border buffer of the bicubic kernels: linear border extrapolation and the whole-buffer
// builders.
#include "resample/bicubic_buffer.h"

#include "resample/bicubic_rows.h"

namespace oz {
namespace {

// Mean of a vertical and a horizontal linear extrapolation, in this order of operations.
inline float corner(float v1, float v2, float h1, float h2) {
    return ((2.0f * v1 - v2) + 2.0f * h1 - h2) * 0.5f;
}

inline float extrapolate(float inner, float second) { return 2.0f * inner - second; }

}  // namespace

float bicubic_shift_factor(uint32_t shift) { return 1.0f / float(uint32_t(1) << (shift % 32)); }

// SAFETY (all three): every index is at most w + 2 in a row of w + 3 floats.
void bicubic_extend_row(float *B, uint32_t w) {
    if (w >= 2) {
        B[0] = extrapolate(B[1], B[2]);
        B[w + 1] = extrapolate(B[w], B[w - 1]);
        B[w + 2] = extrapolate(B[w + 1], B[w]);
    } else {
        B[0] = B[2] = B[3] = B[1];
    }
}

void bicubic_top_border(float *B0, const float *B1, const float *B2, uint32_t w) {
    for (size_t j = 1; j <= w; ++j) B0[j] = extrapolate(B1[j], B2[j]);
    if (w >= 2) {
        B0[0] = corner(B1[0], B2[0], B0[1], B0[2]);
        B0[w + 1] = corner(B1[w + 1], B2[w + 1], B0[w], B0[w - 1]);
        B0[w + 2] = corner(B1[w + 2], B2[w + 2], B0[w + 1], B0[w]);
    } else {
        B0[0] = B0[2] = B0[3] = B0[1];
    }
}

void bicubic_bottom_border(const float *Bm1, const float *Bh, float *B1, float *B2, uint32_t w) {
    // Bm1, Bh, B1, B2 are rows h - 1, h, h + 1 and h + 2.
    for (size_t j = 1; j <= w; ++j) {
        B1[j] = extrapolate(Bh[j], Bm1[j]);
        B2[j] = extrapolate(B1[j], Bh[j]);
    }
    if (w >= 2) {
        B1[0] = corner(Bh[0], Bm1[0], B1[1], B1[2]);
        B2[0] = corner(B1[0], Bh[0], B2[1], B2[2]);
        B1[w + 1] = corner(Bh[w + 1], Bm1[w + 1], B1[w], B1[w - 1]);
        B1[w + 2] = corner(Bh[w + 2], Bm1[w + 2], B1[w + 1], B1[w]);
        B2[w + 1] = corner(B1[w + 1], Bh[w + 1], B2[w], B2[w - 1]);
        B2[w + 2] = corner(B1[w + 2], Bh[w + 2], B2[w + 1], B2[w]);
    } else {
        B1[0] = B1[2] = B1[3] = B1[1];
        B2[0] = B2[2] = B2[3] = B2[1];
    }
}

namespace {

// Fills the whole buffer: storage for every row, built in order.
template <class Convert>
void build(float *buffer, uint16_t width, uint16_t height, Convert convert_row) {
    BicubicBufferRows<Convert> rows(buffer, width, height, uint32_t(height) + 3, convert_row);
    rows.ensure(uint32_t(height) + 2);
}

}  // namespace

void create_buffer_for_bicubic_uint8(const uint8_t *src, float *buffer, uint16_t width,
                                     uint16_t height, bicubic_fill_u8_row fill) {
    build(buffer, width, height, [&](size_t r, float *dst) { fill(src + r * width, dst, width); });
}

void create_buffer_for_bicubic_uint16(const uint16_t *src, float *buffer, uint16_t width,
                                      uint16_t height, uint32_t shift, bicubic_fill_u16_row fill) {
    const float factor = bicubic_shift_factor(shift);
    build(buffer, width, height,
          [&](size_t r, float *dst) { fill(src + r * width, dst, width, factor); });
}

void create_buffer_for_bicubic_uint16(const uint16_t *src, float *buffer, uint16_t width,
                                      uint16_t height, uint32_t shift) {
    create_buffer_for_bicubic_uint16(src, buffer, width, height, shift,
                                     bicubic_rows_best().fill_u16);
}

void create_buffer_for_bicubic_float(const float *src, float *buffer, uint16_t width,
                                     uint16_t height) {
    build(buffer, width, height, [&](size_t r, float *dst) {
        std::memcpy(dst, src + r * width, size_t(width) * sizeof(float));
    });
}

}  // namespace oz
