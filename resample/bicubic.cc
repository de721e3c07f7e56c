// Bicubic upscaling of 8- and 16-bit planes to float: argument checks, the working buffers and the
// row loop over the rows of bicubic_rows.h.
#include <cstring>

#include "common/heap.h"
#include "common/status.h"
#include "oz_resample.h"
#include "resample/bicubic_buffer.h"
#include "resample/bicubic_rows.h"

namespace oz {
namespace {

// Coefficient arrays are read up to 8 elements past their last cell by the vector rows.
constexpr size_t kCoefSlack = 8;

// Carves 64-byte aligned arrays out of one heap block. take_at() places an array at a chosen offset
// modulo 4096 bytes: arrays that one row streams through together (loads from one, stores to another,
// or sixteen windows at once) are kept apart in their low address bits, which would otherwise make
// the processor suspect a dependence between a load and an earlier store, or crowd one cache set.
class Carver {
  public:
    explicit Carver(uint8_t *base) : base_(base) {}
    template <class T>
    T *take(size_t count) {
        T *p = reinterpret_cast<T *>(base_ ? base_ + used_ : nullptr);
        used_ += (count * sizeof(T) + 63) & ~size_t(63);
        return p;
    }
    template <class T>
    T *take_at(size_t count, size_t phase) {
        // Without a base, reserve the largest possible skip.
        used_ += base_ ? (phase + 4096 - (reinterpret_cast<uintptr_t>(base_) + used_) % 4096) % 4096
                       : 4096;
        return take<T>(count);
    }
    size_t used() const { return used_; }

  private:
    uint8_t *base_;
    size_t used_ = 0;
};

// The working set of one call: the padded buffer, the vertical coefficients V_1 .. V_3 (V_0 is a
// buffer row), the cell coefficients A[j][1..3] (A[j][0] is V_j shifted by one column), per
// destination column its cell and the powers of its fraction, per destination row its cell row and
// fraction.
struct UpscaleWork {
    float *buffer;
    float *v[4];
    float *a[16];
    int32_t *cell;
    float *tx1, *tx2, *tx3;
    int32_t *row;
    float *ty;

    // Lays the arrays out from `base` (null: only measures) and returns the block size.
    size_t layout(uint8_t *base, uint32_t sw, uint32_t sh, uint32_t dw, uint32_t dh) {
        Carver c(base);
        buffer = c.take<float>(bicubic_ring_floats(sw, sh));
        v[0] = nullptr;
        // V_j at 512 j, A[j][i] at 2048 + 512 j + 128 i (bytes, modulo 4096): every array in its own
        // cache sets, and each A[j][i] half a page away from the V_j it is computed from.
        for (int j = 1; j < 4; ++j) v[j] = c.take_at<float>(sw + 3 + kCoefSlack, 512 * j);
        for (int j = 0; j < 4; ++j) {
            a[4 * j] = nullptr;
            for (int i = 1; i < 4; ++i)
                a[4 * j + i] = c.take_at<float>(sw + kCoefSlack, 2048 + 512 * j + 128 * i);
        }
        cell = c.take<int32_t>(dw);
        tx1 = c.take<float>(dw);
        tx2 = c.take<float>(dw);
        tx3 = c.take<float>(dw);
        row = c.take<int32_t>(dh);
        ty = c.take<float>(dh);
        return c.used();
    }
};

// Shared argument checks; kStatusDone with *nothing_to_do set when the destination is empty.
uint32_t check_upscale(const void *src_planes, const void *dst_planes, uint16_t sw, uint16_t sh,
                       uint16_t dw, uint16_t dh, uint16_t plane_count, bool *nothing_to_do) {
    *nothing_to_do = false;
    if (dw < sw || dh < sh) return kStatusInvalidArgs;
    // width + 3 and height + 3 must fit the 16-bit dimensions of the padded buffer.
    if (sw > kBicubicMaxSource || sh > kBicubicMaxSource) return kStatusInvalidArgs;
    if (dw == 0 || dh == 0) {
        *nothing_to_do = true;
        return kStatusDone;
    }
    // A non-empty destination needs at least one source sample to interpolate from.
    if (sw == 0 || sh == 0) return kStatusInvalidArgs;
    if (plane_count != 0 && (src_planes == nullptr || dst_planes == nullptr))
        return kStatusInvalidArgs;
    return kStatusDone;
}

// Scale factor of one direction: (src - 1.0) / (dst - 1.0) in single precision, corners aligned. A
// source of one sample (and so a destination of one, the only case where the quotient is 0 / 0) maps
// every destination position to 0.
float scale_factor(uint16_t src, uint16_t dst) {
    if (src == 1) return 0.0f;
    return (float(src) - 1.0f) / (float(dst) - 1.0f);
}

template <class Sample, class ConvertRow>
uint32_t upscale(const Sample *const *src_planes, float *const *dst_planes, uint16_t sw,
                 uint16_t sh, uint16_t dw, uint16_t dh, uint16_t plane_count,
                 const bicubic_rows &rows, ConvertRow convert_row) {
    bool nothing_to_do;
    const uint32_t status =
        check_upscale(src_planes, dst_planes, sw, sh, dw, dh, plane_count, &nothing_to_do);
    if (status != kStatusDone || nothing_to_do) return status;
    for (uint32_t p = 0; p < plane_count; ++p)
        if (src_planes[p] == nullptr || dst_planes[p] == nullptr) return kStatusInvalidArgs;

    UpscaleWork w;
    HeapArray<uint8_t> block = heap_array<uint8_t>(w.layout(nullptr, sw, sh, dw, dh));
    if (!block) return kStatusNoMemory;
    if (plane_count == 0) return kStatusDone;
    w.layout(block.get(), sw, sh, dw, dh);
    // The slack after every coefficient array is read (and discarded) by the vector rows; keep it
    // defined.
    for (int j = 1; j < 4; ++j) std::memset(w.v[j] + sw + 3, 0, kCoefSlack * sizeof(float));
    for (int q = 0; q < 16; ++q)
        if (w.a[q]) std::memset(w.a[q] + sw, 0, kCoefSlack * sizeof(float));

    // Destination column x lies at px = x * fx in cell trunc(px), with fraction tx = px - cell.
    const float fx = scale_factor(sw, dw), fy = scale_factor(sh, dh);
    for (uint32_t x = 0; x < dw; ++x) {
        const float px = float(x) * fx;
        const int32_t c = int32_t(px);
        const float tx = px - float(c);
        w.cell[x] = c;
        w.tx1[x] = tx;
        w.tx2[x] = tx * tx;
        w.tx3[x] = w.tx2[x] * tx;
    }
    // Destination row y likewise lies in cell row trunc(y * fy) with fraction ty.
    for (uint32_t y = 0; y < dh; ++y) {
        const float py = float(y) * fy;
        w.row[y] = int32_t(py);
        w.ty[y] = py - float(w.row[y]);
    }

    const size_t stride = bicubic_buffer_stride(sw);
    for (uint32_t p = 0; p < plane_count; ++p) {
        // The buffer is built row by row just ahead of the cell rows that read it.
        const Sample *src = src_planes[p];
        auto convert = [&](size_t r, float *row) { convert_row(src + r * sw, row); };
        BicubicBufferRows<decltype(convert)> buffer(w.buffer, sw, sh, kBicubicRingRows, convert);
        bicubic_cell_coefs coefs;
        float *dst = dst_planes[p];
        // Destination rows in order, in batches of consecutive rows that lie in the same cell row.
        uint32_t y = 0;
        while (y < dh) {
            const int32_t r = w.row[y];
            buffer.ensure(uint32_t(r) + 3);
            // Coefficients of source cell row r, from buffer rows r .. r + 3; computed once and used
            // by every destination row in it.
            const float *b0 = buffer.row(r), *b1 = buffer.row(r + 1), *b2 = buffer.row(r + 2),
                        *b3 = buffer.row(r + 3);
            rows.basis(b0, b1, b2, b3, w.v[1], w.v[2], w.v[3], int(stride));
            const float *vj[4] = {b1, w.v[1], w.v[2], w.v[3]};
            for (int j = 0; j < 4; ++j) {
                // SAFETY: for j = 0 the window reads of the vector rows run at most 8 floats past
                // the end of buffer row r + 1, into the next row of storage or the slack.
                coefs.coef[4 * j] = vj[j] + 1;
                rows.shift_basis(vj[j], w.a[4 * j + 1], w.a[4 * j + 2], w.a[4 * j + 3], sw);
                for (int i = 1; i < 4; ++i) coefs.coef[4 * j + i] = w.a[4 * j + i];
            }
            while (y < dh && w.row[y] == r) {
                bicubic_dst_rows batch;
                batch.count = 0;
                for (; y < dh && w.row[y] == r && batch.count < kBicubicBatchRows; ++y) {
                    const float ty = w.ty[y];
                    float *t = batch.ty[batch.count];
                    t[0] = ty;
                    t[1] = ty * ty;
                    t[2] = t[1] * ty;
                    batch.dst[batch.count++] = dst + size_t(y) * dw;
                }
                rows.eval(coefs, w.cell, w.tx1, w.tx2, w.tx3, batch, 0, dw);
            }
        }
    }
    return kStatusDone;
}

}  // namespace

uint32_t bicubic_upscale_u8_impl(const uint8_t *const *src_planes, float *const *dst_planes,
                                 uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                 uint16_t dst_height, uint16_t plane_count,
                                 const bicubic_rows &rows) {
    return upscale(src_planes, dst_planes, src_width, src_height, dst_width, dst_height,
                   plane_count, rows,
                   [&](const uint8_t *src, float *row) { rows.fill_u8(src, row, src_width); });
}

uint32_t bicubic_upscale_u16_impl(const uint16_t *const *src_planes, float *const *dst_planes,
                                  uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                  uint16_t dst_height, uint16_t plane_count,
                                  const bicubic_rows &rows) {
    // No fraction shift: the factor is 1.0f / 2^0.
    const float factor = bicubic_shift_factor(0);
    return upscale(
        src_planes, dst_planes, src_width, src_height, dst_width, dst_height, plane_count, rows,
        [&](const uint16_t *src, float *row) { rows.fill_u16(src, row, src_width, factor); });
}

}  // namespace oz

extern "C" {

OZ_API uint32_t image_bicubic_upscale_uint8_to_float(const uint8_t *const *src_planes,
                                                     float *const *dst_planes, uint16_t src_width,
                                                     uint16_t src_height, uint16_t dst_width,
                                                     uint16_t dst_height, uint16_t plane_count) {
    return oz::bicubic_upscale_u8_impl(src_planes, dst_planes, src_width, src_height, dst_width,
                                       dst_height, plane_count, oz::bicubic_rows_best());
}

OZ_API uint32_t image_bicubic_upscale_uint16_to_float(const uint16_t *const *src_planes,
                                                      float *const *dst_planes, uint16_t src_width,
                                                      uint16_t src_height, uint16_t dst_width,
                                                      uint16_t dst_height, uint16_t plane_count) {
    return oz::bicubic_upscale_u16_impl(src_planes, dst_planes, src_width, src_height, dst_width,
                                        dst_height, plane_count, oz::bicubic_rows_best());
}

}  // extern "C"
