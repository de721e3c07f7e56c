// Nearest-neighbour entry points: argument checks, the row mapping (16.16 stepping or footprint end),
// destination rows that repeat the previous one copied whole (16-bit rows streamed from a row buffer
// for large calls), periodic column maps built straight into the destination (streamed for large
// calls), the rows from nearest_rows.
#include <cstring>

#include "common/cpu.h"
#include "common/heap.h"
#include "common/status.h"
#include "oz_resample.h"
#include "resample/nearest_rows.h"
#include "resample/stream.h"

namespace oz {
namespace {

// The 16.16 step of a source of n samples to d destination samples: (n * 65536) / d + 1 in unsigned
// 32-bit arithmetic (n <= 65535, so n * 65536 fits).
inline uint32_t step_16_16(uint32_t n, uint32_t d) { return (n << 16) / d + 1; }

// How many leading destination samples step inside a source of n samples: positions x * step below
// n * 65536. For large enlargements the +1 of the step adds up and the last positions reach past the
// source; those samples take the last source sample instead of reading outside it.
inline uint32_t steps_inside(uint32_t n, uint32_t d, uint32_t step) {
    const uint64_t inside = ((uint64_t(n) << 16) + step - 1) / step;
    return inside < d ? uint32_t(inside) : d;
}

// A destination row buffer for large 16-bit calls: rows are built in it and streamed to every destination row
// that repeats them (see stream.h). Null, and plain stores into the destination, for small calls or
// when the buffer cannot be allocated (the samples are the same either way).
template <class T>
HeapArray<T> stream_buffer(size_t src_bytes, size_t dst_row, size_t dst_rows) {
    size_t dst_bytes;
    if (!checked_mul(dst_row * sizeof(T), dst_rows, &dst_bytes) || !use_streaming(src_bytes, dst_bytes))
        return HeapArray<T>();
    return heap_array<T>(dst_row);
}

// Writes destination row d, whose samples are those of `row` (the row buffer) or, without a buffer,
// those of the destination row before it (repeat) or already in place.
template <class T>
inline void finish_row(T *d, const T *row, size_t count, bool repeat) {
    if (row != nullptr)
        stream_copy(d, row, count * sizeof(T));
    else if (repeat)
        std::memcpy(d, d - count, count * sizeof(T));
}

// Column map of the footprint-end kernels: footprint_last of every destination column, computed once
// per call instead of once per row. Null when it cannot be allocated: the rows then compute the
// columns themselves (the same samples).
HeapArray<int32_t> column_map(uint32_t count, float ratio, uint32_t src_count, bool tolerant) {
    HeapArray<int32_t> map = heap_array<int32_t>(count);
    if (map)
        for (uint32_t i = 0; i < count; ++i) map[i] = int32_t(footprint_last(i + 1, ratio, src_count, tolerant));
    return map;
}

// Finds whether the first `count` destination columns, whose source indices are idx(x), form a periodic
// map (see PeriodicMap); base receives idx(0), where the first window starts. The whole map is checked
// against the indices, so a map found gives exactly the samples of the index rows.
template <class Index>
bool find_periodic(uint32_t count, uint32_t src_count, Index idx, PeriodicMap *map, uint32_t *base) {
    const uint32_t blocks = count / 8;
    if (blocks == 0) return false;
    const uint32_t first = idx(0);
    for (uint32_t l = 0; l < 8; ++l) {
        const uint32_t off = idx(l) - first;
        if (off >= 8) return false;
        map->offset[l] = int32_t(off);
    }
    map->advance = blocks > 1 ? idx(8) - first : 0;
    // Periods whose window would pass the end of the source row are left to the index rows.
    if (uint64_t(first) + 8 > src_count) return false;
    const uint64_t windows = map->advance == 0 ? blocks : (src_count - first - 8) / uint64_t(map->advance) + 1;
    map->blocks = windows < blocks ? uint32_t(windows) : blocks;
    for (uint32_t x = 8; x < 8 * map->blocks; ++x)
        if (idx(x) != first + (x / 8) * map->advance + uint32_t(map->offset[x % 8])) return false;
    *base = first;
    return true;
}

uint32_t step_scale(const int32_t *src, uint32_t src_width, uint32_t src_height, size_t channels, int32_t *dst,
                    uint32_t dst_width, uint32_t dst_height, const nearest_rows &rows) {
    size_t src_row, dst_row, dst_row_bytes;
    if (!checked_mul(src_width, channels, &src_row) || !checked_mul(dst_width, channels, &dst_row) ||
        !checked_mul(dst_row, sizeof(int32_t), &dst_row_bytes))
        return kStatusInvalidArgs;
    const uint32_t step_x = step_16_16(src_width, dst_width);
    const uint32_t step_y = step_16_16(src_height, dst_height);
    const uint32_t inside_x = steps_inside(src_width, dst_width, step_x);
    const uint32_t inside_y = steps_inside(src_height, dst_height, step_y);
    step_row_fn row_fn = channels == 1 ? rows.step_x32 : channels == 2 ? rows.step_x64
                                                       : channels == 4 ? rows.step_x128
                                                                       : nullptr;
    size_t dst_bytes;
    const bool stream = checked_mul(dst_row_bytes, dst_height, &dst_bytes) &&
                        use_streaming(size_t(src_height) * src_row * sizeof(int32_t), dst_bytes);
    PeriodicMap periodic;
    uint32_t periodic_base = 0;
    // x * step_x wraps modulo 2^32 exactly as the stepping rows' running sum.
    const bool is_periodic =
        channels == 1 && find_periodic(inside_x, src_width, [&](uint32_t x) { return (x * step_x) >> 16; },
                                       &periodic, &periodic_base);
    uint32_t pos_y = 0;
    uint32_t prev_sy = 0;
    for (uint32_t y = 0; y < dst_height; ++y) {
        const uint32_t sy = y < inside_y ? pos_y >> 16 : src_height - 1;
        pos_y += step_y;
        int32_t *d = dst + size_t(y) * dst_row;
        const int32_t *s = src + size_t(sy) * src_row;
        if (!is_periodic && y + 1 < dst_height) {
            const uint32_t next_sy = y + 1 < inside_y ? pos_y >> 16 : src_height - 1;
            if (next_sy != sy) prefetch_bytes(src + size_t(next_sy) * src_row, src_row * sizeof(int32_t));
        }
        if (is_periodic) {
            // Built from the source row every time: the row is cached, and its samples go straight to
            // the destination instead of through a copy of the row before.
            rows.periodic_x32(s + periodic_base, d, periodic, stream);
            row_fn(s, d, periodic.blocks * 8, inside_x, step_x, src_width);
        } else if (y > 0 && sy == prev_sy) {
            // The same source row as the destination row before gives the same samples.
            std::memcpy(d, d - dst_row, dst_row_bytes);
            continue;
        } else if (row_fn != nullptr) {
            row_fn(s, d, 0, inside_x, step_x, src_width);
        } else {
            step_row_block_c(s, d, inside_x, step_x, channels);
        }
        prev_sy = sy;
        const int32_t *last = s + size_t(src_width - 1) * channels;
        for (uint32_t x = inside_x; x < dst_width; ++x)
            std::memcpy(d + size_t(x) * channels, last, channels * sizeof(int32_t));
    }
    if (stream && is_periodic) store_fence();
    return kStatusDone;
}

}  // namespace

uint32_t nearest_scale_interleaved_int32_impl(const int32_t *src, uint32_t src_width, uint32_t src_height,
                                              uint32_t channels, int32_t *dst, uint32_t dst_width,
                                              uint32_t dst_height, const nearest_rows &rows) {
    if (src_width == 0 || dst_height == 0 || src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    // A source without rows has nothing to pick from, and the 16.16 positions hold source sides up to
    // 65535 (n * 65536 must fit 32 bits): both are refused.
    if (src_height == 0 || src_width > 65535 || src_height > 65535) return kStatusInvalidArgs;
    if (dst_width == 0 || channels == 0) return kStatusDone;
    return step_scale(src, src_width, src_height, channels, dst, dst_width, dst_height, rows);
}

uint32_t nearest_scale_uint32_impl(const uint32_t *src, int32_t src_width, int32_t src_height, uint32_t *dst,
                                   int32_t dst_width, int32_t dst_height, const nearest_rows &rows) {
    if (!(src_width > 0 && src_height > 0 && dst_width > 0 && dst_height > 0) || src == nullptr ||
        dst == nullptr)
        return kStatusInvalidArgs;
    // The signed step (n * 65536) / d overflows from n = 32768 on; computed unsigned it is the same
    // value wherever the signed one exists and stays exact up to 65535, the limit of both kernels.
    if (src_width > 65535 || src_height > 65535) return kStatusInvalidArgs;
    return step_scale(reinterpret_cast<const int32_t *>(src), uint32_t(src_width), uint32_t(src_height), 1,
                      reinterpret_cast<int32_t *>(dst), uint32_t(dst_width), uint32_t(dst_height), rows);
}

uint32_t upscale_nearest_uint16_impl(const uint16_t *src, uint16_t *dst, uint16_t src_width,
                                     uint16_t src_height, uint16_t dst_width, uint16_t dst_height,
                                     const nearest_rows &rows) {
    if (src_width < 2 || src_height < 2 || dst_width < 2 || dst_height < 2) return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    const float rx = float(src_width) / float(dst_width);
    const float ry = float(src_height) / float(dst_height);
    const HeapArray<int32_t> map = column_map(dst_width, rx, src_width, true);
    const HeapArray<uint16_t> buffer =
        stream_buffer<uint16_t>(size_t(src_width) * src_height * sizeof(uint16_t), dst_width, dst_height);
    uint32_t prev_sy = 0;
    for (uint32_t j = 1; j <= dst_height; ++j) {
        const uint32_t sy = footprint_last(j, ry, src_height, true);
        uint16_t *d = dst + size_t(j - 1) * dst_width;
        const bool repeat = j > 1 && sy == prev_sy;
        if (!repeat) {
            prev_sy = sy;
            const uint16_t *s = src + size_t(sy) * src_width;
            if (j < dst_height) {
                const uint32_t next_sy = footprint_last(j + 1, ry, src_height, true);
                if (next_sy != sy)
                    prefetch_bytes(src + size_t(next_sy) * src_width, size_t(src_width) * sizeof(uint16_t));
            }
            uint16_t *out = buffer ? buffer.get() : d;
            if (map)
                rows.take_u16(s, map.get(), out, 0, dst_width, src_width);
            else
                rows.pick_u16(s, out, 0, dst_width, rx, src_width);
        }
        finish_row(d, buffer.get(), dst_width, repeat);
    }
    if (buffer) store_fence();
    return kStatusDone;
}

uint32_t downscale_nearest_int32_impl(const int32_t *src, int32_t *dst, uint16_t src_width, uint16_t src_height,
                                      uint16_t dst_width, uint16_t dst_height, uint8_t use_max,
                                      const nearest_rows &rows) {
    if (src_width < 2 || src_height < 2 || dst_width < 2 || dst_height < 2) return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    const float rx = float(src_width) / float(dst_width);
    const float ry = float(src_height) / float(dst_height);
    const HeapArray<int32_t> map = use_max != 0 ? HeapArray<int32_t>() : column_map(dst_width, rx, src_width, false);
    PeriodicMap periodic;
    uint32_t periodic_base = 0;
    const bool is_periodic =
        use_max == 0 &&
        find_periodic(dst_width, src_width, [&](uint32_t x) { return footprint_last(x + 1, rx, src_width, false); },
                      &periodic, &periodic_base);
    const bool stream = use_streaming(size_t(src_width) * src_height * sizeof(int32_t),
                                      size_t(dst_width) * dst_height * sizeof(int32_t));
    uint32_t first_row = 0;  // the row span of a destination row starts after the previous one's end
    for (uint32_t j = 1; j <= dst_height; ++j) {
        const uint32_t sy = footprint_last(j, ry, src_height, false);
        int32_t *d = dst + size_t(j - 1) * dst_width;
        if (use_max != 0) {
            const uint32_t row_count = sy >= first_row ? sy - first_row + 1 : 0;
            rows.max_i32(src + size_t(first_row) * src_width, src_width, row_count, d, dst_width, rx, src_width);
            first_row = sy + 1;
            continue;
        }
        const int32_t *s = src + size_t(sy) * src_width;
        if (!is_periodic && j < dst_height) {
            const uint32_t next_sy = footprint_last(j + 1, ry, src_height, false);
            if (next_sy != sy) prefetch_bytes(src + size_t(next_sy) * src_width, size_t(src_width) * sizeof(int32_t));
        }
        uint32_t begin = 0;
        if (is_periodic) {
            // Built from the source row every time, straight into the destination (see step_scale).
            rows.periodic_x32(s + periodic_base, d, periodic, stream);
            begin = periodic.blocks * 8;
        } else if (j > 1 && sy + 1 == first_row) {
            std::memcpy(d, d - dst_width, size_t(dst_width) * sizeof(int32_t));
            continue;
        }
        if (map)
            rows.take_i32(s, map.get(), d, begin, dst_width, src_width);
        else
            rows.pick_i32(s, d, begin, dst_width, rx, src_width);
        first_row = sy + 1;
    }
    if (stream && is_periodic) store_fence();
    return kStatusDone;
}

const nearest_rows &nearest_best_rows() {
    static const nearest_rows &rows = pick_rows(nearest_c_rows, nearest_sse41_rows, nearest_avx2_rows);
    return rows;
}

}  // namespace oz

extern "C" {

OZ_API uint32_t image_nearest_neighbor_scale_interleaved_int32(const int32_t *src, uint32_t src_width,
                                                               uint32_t src_height, uint32_t channels,
                                                               int32_t *dst, uint32_t dst_width,
                                                               uint32_t dst_height) {
    return oz::nearest_scale_interleaved_int32_impl(src, src_width, src_height, channels, dst, dst_width,
                                                    dst_height, oz::nearest_best_rows());
}

OZ_API uint32_t image_nearest_neighbor_scale_uint32(const uint32_t *src, int32_t src_width, int32_t src_height,
                                                    uint32_t *dst, int32_t dst_width, int32_t dst_height) {
    return oz::nearest_scale_uint32_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                         oz::nearest_best_rows());
}

OZ_API uint32_t image_upscale_nearest_neighbor_uint16(const uint16_t *src, uint16_t *dst, uint16_t src_width,
                                                      uint16_t src_height, uint16_t dst_width,
                                                      uint16_t dst_height) {
    return oz::upscale_nearest_uint16_impl(src, dst, src_width, src_height, dst_width, dst_height,
                                           oz::nearest_best_rows());
}

OZ_API uint32_t image_downscale_nearest_neighbor_int32(const int32_t *src, int32_t *dst, uint16_t src_width,
                                                       uint16_t src_height, uint16_t dst_width,
                                                       uint16_t dst_height, uint8_t use_max) {
    return oz::downscale_nearest_int32_impl(src, dst, src_width, src_height, dst_width, dst_height, use_max,
                                            oz::nearest_best_rows());
}

}  // extern "C"
