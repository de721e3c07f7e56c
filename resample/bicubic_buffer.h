// The padded float buffer that the bicubic kernels interpolate from: a source plane with one row and
// column of linearly extrapolated samples before it and two after it, so that every 4 x 4 patch of a
// source cell lies inside the buffer and no inner loop tests bounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace oz {

// Largest source dimension: width + 3 and height + 3 must fit the 16-bit dimensions of the buffer.
inline constexpr uint32_t kBicubicMaxSource = 65532;

// Floats after the last buffer row that vector rows may read past a row end and then discard (a
// window of up to 16 lanes from the last patch column). Kept zero.
inline constexpr size_t kBicubicBufferSlack = 16;

// Rows the kernels keep of the buffer: a patch spans four consecutive rows, and the bottom border is
// computed from the two rows above it; the rows are built in order just ahead of their first use.
inline constexpr uint32_t kBicubicRingRows = 8;

// Row stride of the buffer in floats.
inline size_t bicubic_buffer_stride(uint32_t width) { return size_t(width) + 3; }

// Floats to allocate for the whole buffer of a width x height source, the slack included.
inline size_t bicubic_buffer_floats(uint32_t width, uint32_t height) {
    return bicubic_buffer_stride(width) * (size_t(height) + 3) + kBicubicBufferSlack;
}

// Floats to allocate for the rows the kernels keep (at most kBicubicRingRows), the slack included.
inline size_t bicubic_ring_floats(uint32_t width, uint32_t height) {
    const size_t rows =
        size_t(height) + 3 < kBicubicRingRows ? size_t(height) + 3 : kBicubicRingRows;
    return bicubic_buffer_stride(width) * rows + kBicubicBufferSlack;
}

// Interior conversion rows (the scalar definitions are in bicubic_rows_c.cc, vector forms beside
// them): dst[i] = (float)src[i], respectively (float)src[i] * scale, for i < n.
using bicubic_fill_u8_row = void (*)(const uint8_t *src, float *dst, int n);
using bicubic_fill_u16_row = void (*)(const uint16_t *src, float *dst, int n, float scale);

// The border rule, on rows of width + 3 floats; w is the source width. With w >= 2:
//   data row (source row r is buffer row r + 1, sample c at column c + 1), bicubic_extend_row:
//     B[0] = 2 B[1] - B[2];  B[w+1] = 2 B[w] - B[w-1];  B[w+2] = 2 B[w+1] - B[w]
//   top row 0 from data rows 1 and 2, bicubic_top_border:
//     B[0][j] = 2 B[1][j] - B[2][j] for j = 1 .. w, then the corners B[0][0], B[0][w+1], B[0][w+2]
//   bottom rows h + 1 and h + 2 from data rows h - 1 and h, bicubic_bottom_border: column by column
//     B[h+1][j] = 2 B[h][j] - B[h-1][j], then B[h+2][j] = 2 B[h+1][j] - B[h][j]; then the corners
//     B[h+1][0], B[h+2][0], B[h+1][w+1], B[h+1][w+2], B[h+2][w+1], B[h+2][w+2].
// A corner is ((2 v1 - v2) + 2 h1 - h2) * 0.5 with v1, v2 the next two samples toward the data in its
// column and h1, h2 those in its row; later corners use earlier ones.
// A dimension of 1 has no slope to extrapolate: the single sample is repeated, so with w == 1 every
// buffer row is constant, and with a single source row every buffer row is a copy of it.
void bicubic_extend_row(float *row, uint32_t w);
void bicubic_top_border(float *row0, const float *row1, const float *row2, uint32_t w);
void bicubic_bottom_border(const float *row_hm1, const float *row_h, float *row_h1, float *row_h2,
                           uint32_t w);

// The scale factor of the 16-bit samples: 1.0f divided by the unsigned integer 2^(shift mod 32).
float bicubic_shift_factor(uint32_t shift);

// Builds the buffer of a width x height plane (both 1 .. kBicubicMaxSource; the caller checks) row
// by row, in order, on demand: convert(r, dst) writes source row r, converted, to dst (width floats).
// Buffer row i is kept at storage row i mod ring, with `ring` kBicubicRingRows (capped at height + 3,
// as bicubic_ring_floats allocates) or height + 3 for the whole buffer. A row still needed is never
// overwritten as long as the reader asks for rows in non-decreasing order, four at a time. Every
// sample gets the same inputs, in the same order, as when the whole buffer is built at once. A ring
// is cleared when made; the slack after the storage is zeroed.
template <class Convert>
class BicubicBufferRows {
  public:
    BicubicBufferRows(float *storage, uint32_t width, uint32_t height, uint32_t ring,
                      Convert convert)
        : storage_(storage),
          stride_(bicubic_buffer_stride(width)),
          w_(width),
          h_(height),
          ring_(ring < height + 3 ? ring : height + 3),
          convert_(convert) {
        // A ring is cleared once: vector rows may read (and discard) past a row end into a row of
        // storage that is not built yet. The whole buffer only needs its slack cleared.
        const size_t keep = ring_ < height + 3 ? 0 : stride_ * ring_;
        std::memset(storage + keep, 0,
                    (stride_ * ring_ - keep + kBicubicBufferSlack) * sizeof(float));
    }

    // Buffer row i (complete once ensure(i) has returned).
    float *row(uint32_t i) const { return storage_ + (i % ring_) * stride_; }

    // Completes buffer rows up to `last` (at most height + 2).
    void ensure(uint32_t last) {
        while (done_ <= last) {
            if (done_ == 0) {
                data_row(1);
                if (h_ >= 2) {
                    data_row(2);
                    bicubic_top_border(row(0), row(1), row(2), w_);
                    done_ = 3;
                } else {
                    for (uint32_t i : {0u, 2u, 3u})
                        std::memcpy(row(i), row(1), stride_ * sizeof(float));
                    done_ = 4;
                }
            } else if (done_ <= h_) {
                data_row(done_++);
            } else {
                bicubic_bottom_border(row(h_ - 1), row(h_), row(h_ + 1), row(h_ + 2), w_);
                done_ = h_ + 3;
            }
        }
    }

  private:
    void data_row(uint32_t i) {
        convert_(i - 1, row(i) + 1);
        bicubic_extend_row(row(i), w_);
    }

    float *storage_;
    size_t stride_;
    uint32_t w_, h_, ring_;
    Convert convert_;
    uint32_t done_ = 0;  // buffer rows 0 .. done_ - 1 are complete
};

// The whole buffer (bicubic_buffer_floats(width, height) floats, row stride width + 3) of a
// width x height plane. The 16-bit form multiplies every sample by bicubic_shift_factor(shift); the
// 8-bit form converts unscaled; the float form copies the samples unchanged (bit for bit).
void create_buffer_for_bicubic_uint8(const uint8_t *src, float *buffer, uint16_t width,
                                     uint16_t height, bicubic_fill_u8_row fill);
void create_buffer_for_bicubic_uint16(const uint16_t *src, float *buffer, uint16_t width,
                                      uint16_t height, uint32_t shift, bicubic_fill_u16_row fill);
void create_buffer_for_bicubic_float(const float *src, float *buffer, uint16_t width,
                                     uint16_t height);
// The 16-bit builder with the best conversion row of this CPU.
void create_buffer_for_bicubic_uint16(const uint16_t *src, float *buffer, uint16_t width,
                                      uint16_t height, uint32_t shift);

}  // namespace oz
