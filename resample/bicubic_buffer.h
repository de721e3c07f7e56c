// The padded float buffer that the bicubic kernels interpolate from: a source plane with one row and
// column of linearly extrapolated samples before it and two after it, so that every 4 x 4 patch of a
// source cell lies inside the buffer and no inner loop tests bounds.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oz {

// Largest source dimension: width + 3 and height + 3 must fit the 16-bit dimensions of the buffer.
inline constexpr uint32_t kBicubicMaxSource = 65532;

// Floats after the last buffer row that vector rows may read past a row end and then discard (a
// window of up to 16 lanes from the last patch column). Kept zero.
inline constexpr size_t kBicubicBufferSlack = 16;

// Row stride of the buffer in floats.
inline size_t bicubic_buffer_stride(uint32_t width) { return size_t(width) + 3; }

// Floats to allocate for the buffer of a width x height source, the slack included.
inline size_t bicubic_buffer_floats(uint32_t width, uint32_t height) {
    return bicubic_buffer_stride(width) * (size_t(height) + 3) + kBicubicBufferSlack;
}

// Interior conversion rows (the scalar definitions are in bicubic_rows_c.cc, vector forms beside
// them): dst[i] = (float)src[i], respectively (float)src[i] * scale, for i < n.
using bicubic_fill_u8_row = void (*)(const uint8_t *src, float *dst, int n);
using bicubic_fill_u16_row = void (*)(const uint16_t *src, float *dst, int n, float scale);

// Builds the buffer of a width x height plane (both 1 .. kBicubicMaxSource; the caller checks) into
// `buffer` (bicubic_buffer_floats(width, height) floats). Source sample (r, c) goes to buffer row
// r + 1, column c + 1; then bicubic_extend_borders fills the border. The 16-bit form multiplies every
// sample by 1.0f / 2^(shift mod 32) (computed once, in single precision); the 8-bit form converts
// unscaled; the float form copies the samples unchanged (bit for bit). The slack is zeroed.
void create_buffer_for_bicubic_uint8(const uint8_t *src, float *buffer, uint16_t width,
                                     uint16_t height, bicubic_fill_u8_row fill);
void create_buffer_for_bicubic_uint16(const uint16_t *src, float *buffer, uint16_t width,
                                      uint16_t height, uint32_t shift, bicubic_fill_u16_row fill);
void create_buffer_for_bicubic_float(const float *src, float *buffer, uint16_t width,
                                     uint16_t height);
// The 16-bit builder with the best conversion row of this CPU.
void create_buffer_for_bicubic_uint16(const uint16_t *src, float *buffer, uint16_t width,
                                      uint16_t height, uint32_t shift);

// The scale factor of the 16-bit builder: 1.0f divided by the unsigned integer 2^(shift mod 32).
float bicubic_shift_factor(uint32_t shift);

// Fills the border of a buffer whose interior (rows 1 .. height, columns 1 .. width) is set.
// B[i][j] is row i, column j; w, h the source size. With w, h >= 2:
//   data rows i = 1 .. h:  B[i][0] = 2 B[i][1] - B[i][2];  B[i][w+1] = 2 B[i][w] - B[i][w-1];
//                          B[i][w+2] = 2 B[i][w+1] - B[i][w]
//   top row j = 1 .. w:    B[0][j] = 2 B[1][j] - B[2][j]
//   top corners, in order B[0][0], B[0][w+1], B[0][w+2]; bottom rows column by column
//   (B[h+1][j] = 2 B[h][j] - B[h-1][j], then B[h+2][j] = 2 B[h+1][j] - B[h][j]); bottom corners in
//   order B[h+1][0], B[h+2][0], B[h+1][w+1], B[h+1][w+2], B[h+2][w+1], B[h+2][w+2].
// A corner is ((2 v1 - v2) + 2 h1 - h2) * 0.5 with v1, v2 the next two samples toward the data in its
// column and h1, h2 those in its row; later corners use earlier ones.
// A dimension of 1 has no slope to extrapolate: the single sample is repeated, so with w == 1 every
// buffer row is constant and with h == 1 every buffer column is constant.
void bicubic_extend_borders(float *buffer, uint32_t width, uint32_t height);

}  // namespace oz
