// Nearest-neighbour rows: 16.16 stepping rows per pixel size, footprint-end picking rows and the
// footprint maximum row, and the table of row implementations (scalar, SSE4.1, AVX2).
#pragma once

#include <cstddef>
#include <cstdint>

namespace oz {

// 16.16 stepping: dst[x] = src[(x * step) >> 16] for begin <= x < end, the position accumulated by
// addition in unsigned 32-bit arithmetic from 0 at x = 0 (so x * step modulo 2^32 at any x). The
// caller guarantees that every position of the row lies inside the source row of src_count pixels.
// Pixels of 4, 8 or 16 bytes.
using step_row_fn = void (*)(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step,
                             uint32_t src_count);

// Footprint end: dst[i] = src[footprint_last(i + 1, ratio, src_count, rule)] for begin <= i < end.
using pick_u16_fn = void (*)(const uint16_t *src, uint16_t *dst, uint32_t begin, uint32_t end, float ratio,
                             uint32_t src_count);
using pick_i32_fn = void (*)(const int32_t *src, int32_t *dst, uint32_t begin, uint32_t end, float ratio,
                             uint32_t src_count);
// Footprint maximum: dst[i] = max(0, samples of rows 0 .. row_count - 1 (stride apart) and of the
// column span of destination column i). row_count 0 gives zeros.
using max_i32_fn = void (*)(const int32_t *src, size_t stride, uint32_t row_count, int32_t *dst, uint32_t count,
                            float ratio, uint32_t src_count);

// Index map: dst[i] = src[idx[i]] for begin <= i < end, with idx ascending and below src_count (the
// footprint-end kernels compute the map once per call, as footprint_last of every column).
using take_u16_fn = void (*)(const uint16_t *src, const int32_t *idx, uint16_t *dst, uint32_t begin, uint32_t end,
                             uint32_t src_count);
using take_i32_fn = void (*)(const int32_t *src, const int32_t *idx, int32_t *dst, uint32_t begin, uint32_t end,
                             uint32_t src_count);

// Periodic index map of 32-bit samples: the indices of every eight destination columns are those of
// the first eight shifted by `advance` source samples per period, so that
// dst[x] = src[(x / 8) * advance + offset[x % 8]] for 0 <= x < 8 * blocks. Every offset is below 8
// and every eight-sample window (x / 8) * advance .. + 7 lies inside the source row. Enlargements by
// 1, 2, 4 and 8 map their columns this way; the drivers detect such maps once per call. With `stream`
// the vector rows write the destination with streaming stores (see stream.h; the caller fences).
struct PeriodicMap {
    int32_t offset[8];
    uint32_t advance;
    uint32_t blocks;
};
using periodic_x32_fn = void (*)(const int32_t *src, int32_t *dst, const PeriodicMap &map, bool stream);

struct nearest_rows {
    step_row_fn step_x32;   // 4-byte pixels
    step_row_fn step_x64;   // 8-byte pixels
    step_row_fn step_x128;  // 16-byte pixels
    pick_u16_fn pick_u16;   // boundary tolerance 0.0001
    pick_i32_fn pick_i32;   // exact boundaries
    max_i32_fn max_i32;     // exact boundaries
    take_u16_fn take_u16;
    take_i32_fn take_i32;
    periodic_x32_fn periodic_x32;
};

// Scalar definitions (also the tails of the vector rows).
void step_row_x32_c(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step, uint32_t src_count);
void step_row_x64_c(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step, uint32_t src_count);
void step_row_x128_c(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step, uint32_t src_count);
// Any pixel size: `channels` 32-bit samples copied as one block per pixel.
void step_row_block_c(const int32_t *src, int32_t *dst, uint32_t count, uint32_t step, size_t channels);
void pick_row_u16_c(const uint16_t *src, uint16_t *dst, uint32_t begin, uint32_t end, float ratio,
                    uint32_t src_count);
void pick_row_i32_c(const int32_t *src, int32_t *dst, uint32_t begin, uint32_t end, float ratio,
                    uint32_t src_count);
void max_row_i32_c(const int32_t *src, size_t stride, uint32_t row_count, int32_t *dst, uint32_t count,
                   float ratio, uint32_t src_count);
void take_row_u16_c(const uint16_t *src, const int32_t *idx, uint16_t *dst, uint32_t begin, uint32_t end,
                    uint32_t src_count);
void take_row_i32_c(const int32_t *src, const int32_t *idx, int32_t *dst, uint32_t begin, uint32_t end,
                    uint32_t src_count);
void periodic_row_x32_c(const int32_t *src, int32_t *dst, const PeriodicMap &map, bool stream);

const nearest_rows &nearest_c_rows();
const nearest_rows &nearest_sse41_rows();  // needs SSE4.1
const nearest_rows &nearest_avx2_rows();   // needs AVX2
const nearest_rows &nearest_best_rows();

// Drivers behind the exported kernels, with the rows to use.
uint32_t nearest_scale_interleaved_int32_impl(const int32_t *src, uint32_t src_width, uint32_t src_height,
                                              uint32_t channels, int32_t *dst, uint32_t dst_width,
                                              uint32_t dst_height, const nearest_rows &rows);
uint32_t nearest_scale_uint32_impl(const uint32_t *src, int32_t src_width, int32_t src_height, uint32_t *dst,
                                   int32_t dst_width, int32_t dst_height, const nearest_rows &rows);
uint32_t upscale_nearest_uint16_impl(const uint16_t *src, uint16_t *dst, uint16_t src_width,
                                     uint16_t src_height, uint16_t dst_width, uint16_t dst_height,
                                     const nearest_rows &rows);
uint32_t downscale_nearest_int32_impl(const int32_t *src, int32_t *dst, uint16_t src_width, uint16_t src_height,
                                      uint16_t dst_width, uint16_t dst_height, uint8_t use_max,
                                      const nearest_rows &rows);

// Fraction below which a footprint end counts as lying on a sample boundary (16-bit kernel).
inline constexpr float kFootprintTolerance = 0.0001f;

// The last source sample of the footprint of destination sample j (counted from 1): the integer part
// of p = j * ratio (single precision), or k - 1 when p lies on a boundary k >= 1. `tolerant` counts a
// fraction below 0.0001 as on the boundary, otherwise only an exact 0 does. An end that rounds past
// the last source sample (p slightly above src_count) takes the last sample.
inline uint32_t footprint_last(uint32_t j, float ratio, uint32_t src_count, bool tolerant) {
    const float p = float(j) * ratio;
    const uint32_t k = uint32_t(p);
    const float frac = p - float(k);
    const bool on_boundary = tolerant ? frac < kFootprintTolerance : frac == 0.0f;
    const uint32_t last = (on_boundary && k >= 1) ? k - 1 : k;
    return last < src_count ? last : src_count - 1;
}

}  // namespace oz
