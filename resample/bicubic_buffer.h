// The padded float buffer that the bicubic kernels interpolate from: a source plane with one row and
// column of linearly extrapolated samples before it and two after it, so that every 4 x 4 patch of a
// source cell lies inside the buffer and no inner loop tests bounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

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

// The border rule, in pieces. B[i][j] is row i, column j; w, h the source size. With w, h >= 2:
//   data rows i = 1 .. h (bicubic_extend_row):
//     B[i][0] = 2 B[i][1] - B[i][2];  B[i][w+1] = 2 B[i][w] - B[i][w-1];  B[i][w+2] = 2 B[i][w+1] - B[i][w]
//   top (bicubic_top_border, once data rows 1 and 2 are complete):
//     B[0][j] = 2 B[1][j] - B[2][j] for j = 1 .. w, then the corners B[0][0], B[0][w+1], B[0][w+2]
//   bottom (bicubic_bottom_border, once data rows h - 1 and h are complete): column by column
//     B[h+1][j] = 2 B[h][j] - B[h-1][j], then B[h+2][j] = 2 B[h+1][j] - B[h][j]; then the corners
//     B[h+1][0], B[h+2][0], B[h+1][w+1], B[h+1][w+2], B[h+2][w+1], B[h+2][w+2].
// A corner is ((2 v1 - v2) + 2 h1 - h2) * 0.5 with v1, v2 the next two samples toward the data in its
// column and h1, h2 those in its row; later corners use earlier ones. Every sample thus has the same
// inputs whether the buffer is built at once or row by row.
// A dimension of 1 has no slope to extrapolate: the single sample is repeated, so with w == 1 every
// buffer row is constant and with h == 1 every buffer column is constant (bicubic_top_border then
// fills rows 0, 2 and 3).
void bicubic_extend_row(float *buffer, uint32_t width, uint32_t row);
void bicubic_top_border(float *buffer, uint32_t width, uint32_t height);
void bicubic_bottom_border(float *buffer, uint32_t width, uint32_t height);
// All of it, for a buffer whose interior is set.
void bicubic_extend_borders(float *buffer, uint32_t width, uint32_t height);

// Builds a buffer row by row on demand, so that a row is converted just before it is first read and
// is still in the cache: convert(r, dst) writes source row r, converted, to dst (width floats).
template <class Convert>
class BicubicBufferRows {
  public:
    BicubicBufferRows(float *buffer, uint32_t width, uint32_t height, Convert convert)
        : buffer_(buffer), w_(width), h_(height), convert_(convert) {
        std::memset(buffer + bicubic_buffer_stride(width) * (size_t(height) + 3), 0,
                    kBicubicBufferSlack * sizeof(float));
    }

    // Completes buffer rows 0 .. last (at most height + 2).
    void ensure(uint32_t last) {
        while (done_ <= last) {
            if (done_ == 0) {
                data_row(1);
                if (h_ >= 2) data_row(2);
                bicubic_top_border(buffer_, w_, h_);
                done_ = h_ >= 2 ? 3 : 4;
            } else if (done_ <= h_) {
                data_row(done_++);
            } else {
                bicubic_bottom_border(buffer_, w_, h_);
                done_ = h_ + 3;
            }
        }
    }

  private:
    void data_row(uint32_t i) {
        convert_(i - 1, buffer_ + size_t(i) * bicubic_buffer_stride(w_) + 1);
        bicubic_extend_row(buffer_, w_, i);
    }

    float *buffer_;
    uint32_t w_, h_;
    Convert convert_;
    uint32_t done_ = 0;  // rows 0 .. done_ - 1 are complete
};

}  // namespace oz
