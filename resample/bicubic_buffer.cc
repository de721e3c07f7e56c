// Padded border buffer of the bicubic kernels: interior conversion and linear border extrapolation.
#include "resample/bicubic_buffer.h"

#include <cstring>

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

namespace {

// SAFETY: every index used below is at most (h + 2) * s + w + 2, inside the (h + 3) x s buffer.
struct Grid {
    float *buffer;
    size_t s;
    float &operator()(size_t i, size_t j) const { return buffer[i * s + j]; }
};

}  // namespace

void bicubic_extend_row(float *buffer, uint32_t w, uint32_t i) {
    const Grid B{buffer, bicubic_buffer_stride(w)};
    if (w >= 2) {
        B(i, 0) = extrapolate(B(i, 1), B(i, 2));
        B(i, w + 1) = extrapolate(B(i, w), B(i, w - 1));
        B(i, w + 2) = extrapolate(B(i, w + 1), B(i, w));
    } else {
        B(i, 0) = B(i, 2) = B(i, 3) = B(i, 1);
    }
}

void bicubic_top_border(float *buffer, uint32_t w, uint32_t h) {
    const Grid B{buffer, bicubic_buffer_stride(w)};
    if (h < 2) {
        // One source row: every buffer column repeats it.
        std::memcpy(&B(0, 0), &B(1, 0), B.s * sizeof(float));
        std::memcpy(&B(2, 0), &B(1, 0), B.s * sizeof(float));
        std::memcpy(&B(3, 0), &B(1, 0), B.s * sizeof(float));
        return;
    }
    for (size_t j = 1; j <= w; ++j) B(0, j) = extrapolate(B(1, j), B(2, j));
    if (w >= 2) {
        B(0, 0) = corner(B(1, 0), B(2, 0), B(0, 1), B(0, 2));
        B(0, w + 1) = corner(B(1, w + 1), B(2, w + 1), B(0, w), B(0, w - 1));
        B(0, w + 2) = corner(B(1, w + 2), B(2, w + 2), B(0, w + 1), B(0, w));
    } else {
        B(0, 0) = B(0, 2) = B(0, 3) = B(0, 1);
    }
}

void bicubic_bottom_border(float *buffer, uint32_t w, uint32_t h) {
    if (h < 2) return;  // filled by bicubic_top_border
    const Grid B{buffer, bicubic_buffer_stride(w)};
    for (size_t j = 1; j <= w; ++j) {
        B(h + 1, j) = extrapolate(B(h, j), B(h - 1, j));
        B(h + 2, j) = extrapolate(B(h + 1, j), B(h, j));
    }
    if (w >= 2) {
        B(h + 1, 0) = corner(B(h, 0), B(h - 1, 0), B(h + 1, 1), B(h + 1, 2));
        B(h + 2, 0) = corner(B(h + 1, 0), B(h, 0), B(h + 2, 1), B(h + 2, 2));
        B(h + 1, w + 1) = corner(B(h, w + 1), B(h - 1, w + 1), B(h + 1, w), B(h + 1, w - 1));
        B(h + 1, w + 2) = corner(B(h, w + 2), B(h - 1, w + 2), B(h + 1, w + 1), B(h + 1, w));
        B(h + 2, w + 1) = corner(B(h + 1, w + 1), B(h, w + 1), B(h + 2, w), B(h + 2, w - 1));
        B(h + 2, w + 2) = corner(B(h + 1, w + 2), B(h, w + 2), B(h + 2, w + 1), B(h + 2, w));
    } else {
        for (size_t i = h + 1; i <= h + 2; ++i) B(i, 0) = B(i, 2) = B(i, 3) = B(i, 1);
    }
}

void bicubic_extend_borders(float *buffer, uint32_t w, uint32_t h) {
    for (uint32_t i = 1; i <= h; ++i) bicubic_extend_row(buffer, w, i);
    bicubic_top_border(buffer, w, h);
    bicubic_bottom_border(buffer, w, h);
}

namespace {

// Fills the whole buffer.
template <class Convert>
void build(float *buffer, uint16_t width, uint16_t height, Convert convert_row) {
    BicubicBufferRows<Convert> rows(buffer, width, height, convert_row);
    rows.ensure(uint32_t(height) + 2);
}

}  // namespace

void create_buffer_for_bicubic_uint8(const uint8_t *src, float *buffer, uint16_t width,
                                     uint16_t height, bicubic_fill_u8_row fill) {
    build(buffer, width, height,
          [&](size_t r, float *dst) { fill(src + r * width, dst, width); });
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
