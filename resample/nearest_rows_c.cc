// Nearest-neighbour scalar rows: the definitions the vector rows reproduce.
#include <cstring>

#include "resample/nearest_rows.h"

namespace oz {
namespace {

template <size_t kBytes>
void step_row(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step) {
    const uint8_t *s = static_cast<const uint8_t *>(src);
    uint8_t *d = static_cast<uint8_t *>(dst);
    uint32_t pos = begin * step;  // the sum of begin steps, modulo 2^32
    for (uint32_t x = begin; x < end; ++x) {
        std::memcpy(d + size_t(x) * kBytes, s + size_t(pos >> 16) * kBytes, kBytes);
        pos += step;
    }
}

}  // namespace

void step_row_x32_c(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step, uint32_t) {
    step_row<4>(src, dst, begin, end, step);
}
void step_row_x64_c(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step, uint32_t) {
    step_row<8>(src, dst, begin, end, step);
}
void step_row_x128_c(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step, uint32_t) {
    step_row<16>(src, dst, begin, end, step);
}

void step_row_block_c(const int32_t *src, int32_t *dst, uint32_t count, uint32_t step, size_t channels) {
    uint32_t pos = 0;
    for (uint32_t x = 0; x < count; ++x) {
        std::memcpy(dst + size_t(x) * channels, src + size_t(pos >> 16) * channels, channels * sizeof(int32_t));
        pos += step;
    }
}

void pick_row_u16_c(const uint16_t *src, uint16_t *dst, uint32_t begin, uint32_t end, float ratio,
                    uint32_t src_count) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = src[footprint_last(i + 1, ratio, src_count, true)];
}

void pick_row_i32_c(const int32_t *src, int32_t *dst, uint32_t begin, uint32_t end, float ratio,
                    uint32_t src_count) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = src[footprint_last(i + 1, ratio, src_count, false)];
}

void max_row_i32_c(const int32_t *src, size_t stride, uint32_t row_count, int32_t *dst, uint32_t count,
                   float ratio, uint32_t src_count) {
    // Column span of destination column i: one after the previous column's last sample (0 for the
    // first column) up to its own last sample; empty when the footprint ends in the previous span.
    uint32_t first = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t last = footprint_last(i + 1, ratio, src_count, false);
        int32_t m = 0;
        for (uint32_t r = 0; r < row_count; ++r)
            for (uint32_t c = first; c <= last; ++c) m = src[r * stride + c] > m ? src[r * stride + c] : m;
        dst[i] = m;
        first = last + 1;
    }
}

void take_row_u16_c(const uint16_t *src, const int32_t *idx, uint16_t *dst, uint32_t begin, uint32_t end,
                    uint32_t) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = src[idx[i]];
}

void take_row_i32_c(const int32_t *src, const int32_t *idx, int32_t *dst, uint32_t begin, uint32_t end, uint32_t) {
    for (uint32_t i = begin; i < end; ++i) dst[i] = src[idx[i]];
}

void periodic_row_x32_c(const int32_t *src, int32_t *dst, const PeriodicMap &map, bool) {
    for (uint32_t b = 0; b < map.blocks; ++b)
        for (uint32_t l = 0; l < 8; ++l) dst[8 * size_t(b) + l] = src[size_t(b) * map.advance + map.offset[l]];
}

const nearest_rows &nearest_c_rows() {
    static const nearest_rows rows = {step_row_x32_c, step_row_x64_c, step_row_x128_c, pick_row_u16_c,
                                      pick_row_i32_c, max_row_i32_c,  take_row_u16_c,  take_row_i32_c,
                                      periodic_row_x32_c};
    return rows;
}

}  // namespace oz
