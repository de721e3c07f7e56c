// Bicubic resize of a float or 16-bit fixed-point plane to u16p10: argument checks, the working
// buffers and the row loop over the rows of bicubic_resize_rows.h.

#include <cstring>

#include "common/heap.h"
#include "common/status.h"
#include "oz_resample.h"
#include "resample/bicubic_resize_rows.h"
#include "resample/bicubic_rows.h"

namespace oz {
namespace {

// The working set of one call, in one block: the padded buffer, per destination column its patch
// column ix and fractions tx and tx * 0.5, and a cache of the horizontal results of four buffer rows
// (buffer row b in slot b mod 4: the four rows of a patch always fall in distinct slots).
struct ResizeWork {
    float *buffer;
    int32_t *ix;
    float *tx, *half_tx;
    float *cache[4];

    size_t layout(uint8_t *base, uint32_t sw, uint32_t sh, uint32_t dw) {
        size_t used = 0;
        auto take = [&](size_t bytes) {
            uint8_t *p = base ? base + used : nullptr;
            used += (bytes + 63) & ~size_t(63);
            return p;
        };
        buffer = reinterpret_cast<float *>(take(bicubic_ring_floats(sw, sh) * sizeof(float)));
        ix = reinterpret_cast<int32_t *>(take(dw * sizeof(int32_t)));
        tx = reinterpret_cast<float *>(take(dw * sizeof(float)));
        half_tx = reinterpret_cast<float *>(take(dw * sizeof(float)));
        for (float *&c : cache) c = reinterpret_cast<float *>(take(dw * sizeof(float)));
        return used;
    }
};

// Argument checks shared by both kernels; kStatusDone with *nothing_to_do for an empty destination.
uint32_t check_resize(const void *src, uint16_t sh, uint16_t sw, const void *dst, uint16_t dh,
                      uint16_t dw, bool *nothing_to_do) {
    *nothing_to_do = false;
    // One destination row or column has no second corner to align to.
    if (dh == 1 || dw == 1) return kStatusInvalidArgs;
    if (dh == 0 || dw == 0) {
        *nothing_to_do = true;
        return kStatusDone;
    }
    // width + 3 and height + 3 must fit the 16-bit dimensions of the padded buffer; a non-empty
    // destination needs at least one source sample.
    if (sw == 0 || sh == 0 || sw > kBicubicMaxSource || sh > kBicubicMaxSource)
        return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    return kStatusDone;
}

// Position of destination index i of n on a source of m samples: (i / (n - 1.0)) * (m - 1.0) in
// single precision, the division first; index floor(f) (f >= 0), fraction f - index.
inline void position(uint32_t i, uint16_t n, uint16_t m, int32_t *index, float *frac) {
    const float f = (float(i) / (float(n) - 1.0f)) * (float(m) - 1.0f);
    *index = int32_t(f);
    *frac = f - float(*index);
}

template <class ConvertRow>
uint32_t resize(uint16_t sh, uint16_t sw, uint16_t *dst, uint16_t dh, uint16_t dw,
                const bicubic_resize_rows &rows, ConvertRow convert_row) {
    ResizeWork w;
    HeapArray<uint8_t> block = heap_array<uint8_t>(w.layout(nullptr, sw, sh, dw));
    if (!block) return kStatusNoMemory;
    w.layout(block.get(), sw, sh, dw);
    // The buffer is built row by row just ahead of the destination rows that read it.
    BicubicBufferRows<ConvertRow> buffer(w.buffer, sw, sh, kBicubicRingRows, convert_row);

    for (uint32_t x = 0; x < dw; ++x) {
        position(x, dw, sw, &w.ix[x], &w.tx[x]);
        w.half_tx[x] = w.tx[x] * 0.5f;
    }

    int64_t cached[4] = {-1, -1, -1, -1};
    for (uint32_t y = 0; y < dh; ++y) {
        int32_t iy;
        float ty;
        position(y, dh, sh, &iy, &ty);
        // Patch rows are buffer rows iy .. iy + 3.
        buffer.ensure(uint32_t(iy) + 3);
        for (int32_t b = iy; b < iy + 4; ++b) {
            const int slot = b & 3;
            if (cached[slot] == b) continue;
            rows.horizontal(buffer.row(b), w.ix, w.tx, w.half_tx, w.cache[slot], dw);
            cached[slot] = b;
        }
        rows.vertical(w.cache[iy & 3], w.cache[(iy + 1) & 3], w.cache[(iy + 2) & 3],
                      w.cache[(iy + 3) & 3], ty, dst + size_t(y) * dw, dw);
    }
    return kStatusDone;
}

}  // namespace

uint32_t bicubic_resize_f32_impl(const float *src, uint16_t src_height, uint16_t src_width,
                                 uint16_t *dst, uint16_t dst_height, uint16_t dst_width,
                                 const bicubic_resize_rows &rows) {
    bool nothing_to_do;
    const uint32_t status =
        check_resize(src, src_height, src_width, dst, dst_height, dst_width, &nothing_to_do);
    if (status != kStatusDone || nothing_to_do) return status;
    return resize(src_height, src_width, dst, dst_height, dst_width, rows,
                  [&](size_t r, float *row) {
                      // Float samples are copied unchanged, bit for bit.
                      std::memcpy(row, src + r * src_width, size_t(src_width) * sizeof(float));
                  });
}

uint32_t bicubic_resize_u16_impl(const uint16_t *src, uint16_t src_height, uint16_t src_width,
                                 uint32_t shift, uint16_t *dst, uint16_t dst_height,
                                 uint16_t dst_width, const bicubic_resize_rows &rows) {
    bool nothing_to_do;
    const uint32_t status =
        check_resize(src, src_height, src_width, dst, dst_height, dst_width, &nothing_to_do);
    if (status != kStatusDone || nothing_to_do) return status;
    const float factor = bicubic_shift_factor(shift);
    return resize(
        src_height, src_width, dst, dst_height, dst_width, rows,
        [&](size_t r, float *row) { rows.fill_u16(src + r * src_width, row, src_width, factor); });
}

}  // namespace oz

extern "C" {

OZ_API uint32_t bicubic_resize_32f_to_u16p10(const float *src, uint16_t src_height,
                                             uint16_t src_width, uint16_t *dst, uint16_t dst_height,
                                             uint16_t dst_width) {
    return oz::bicubic_resize_f32_impl(src, src_height, src_width, dst, dst_height, dst_width,
                                       oz::bicubic_resize_rows_best());
}

OZ_API uint32_t bicubic_resize_u16_to_u16(const uint16_t *src, uint16_t src_height,
                                          uint16_t src_width, uint32_t shift, uint16_t *dst,
                                          uint16_t dst_height, uint16_t dst_width) {
    return oz::bicubic_resize_u16_impl(src, src_height, src_width, shift, dst, dst_height,
                                       dst_width, oz::bicubic_resize_rows_best());
}

}  // extern "C"
