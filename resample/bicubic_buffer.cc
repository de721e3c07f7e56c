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

void bicubic_extend_borders(float *buffer, uint32_t w, uint32_t h) {
    const size_t s = bicubic_buffer_stride(w);
    // SAFETY: every index below is at most (h + 2) * s + w + 2, inside the (h + 3) x s buffer.
    auto B = [buffer, s](size_t i, size_t j) -> float & { return buffer[i * s + j]; };

    for (size_t i = 1; i <= h; ++i) {
        if (w >= 2) {
            B(i, 0) = extrapolate(B(i, 1), B(i, 2));
            B(i, w + 1) = extrapolate(B(i, w), B(i, w - 1));
            B(i, w + 2) = extrapolate(B(i, w + 1), B(i, w));
        } else {
            B(i, 0) = B(i, 2) = B(i, 3) = B(i, 1);
        }
    }

    if (h < 2) {
        // One source row: every buffer column repeats it.
        std::memcpy(&B(0, 0), &B(1, 0), s * sizeof(float));
        std::memcpy(&B(2, 0), &B(1, 0), s * sizeof(float));
        std::memcpy(&B(3, 0), &B(1, 0), s * sizeof(float));
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

namespace {

// Converts the rows of a plane into the buffer interior, then extends the borders and clears the
// slack.
template <class Convert>
void build(float *buffer, uint16_t width, uint16_t height, Convert convert_row) {
    const size_t s = bicubic_buffer_stride(width);
    for (size_t r = 0; r < height; ++r) convert_row(r, buffer + (r + 1) * s + 1);
    bicubic_extend_borders(buffer, width, height);
    std::memset(buffer + s * (size_t(height) + 3), 0, kBicubicBufferSlack * sizeof(float));
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
