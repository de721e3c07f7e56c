// 2-D array resize entry points: argument checks, steps, the column tables of a strip of destination
// columns, the cache of horizontal rows and the destination row loop; the rows come from resize2d_rows.
#include <cstring>

#include "common/cpu.h"
#include "common/status.h"
#include "resample/resize2d_rows.h"

namespace oz {
namespace {

// Destination columns handled per strip: the column tables and two cached horizontal rows of a strip
// live on the stack (no working memory is allocated).
constexpr uint32_t kStrip = 1024;

// Source sides whose largest fixed-point position (side - 1) * 2^F still fits 32 bits.
constexpr uint64_t max_fixed_side(uint32_t f) { return (uint64_t(1) << (32 - f)); }

// The source area of a fixed-point resize and the destination it is written to.
template <class T, class Out>
struct FixedJob {
    const T *src;
    size_t stride;            // source row length in samples
    uint32_t left, top;       // first column and row of the area
    uint32_t width, height;   // area size, at least 2 x 2
    Out *dst;
    uint32_t dst_width, dst_height;
    size_t dst_step;          // 1, or the sample step of the _v1 members
};

template <class T, class H, class Out, class HFn, class VFn>
void fixed_resize(const FixedJob<T, Out> &job, uint32_t f, HFn h_fn, VFn v_fn) {
    // step = ((n - 1) * 2^F) / (d - 1), truncating; positions start at the area's origin.
    const uint32_t step_x = ((job.width - 1) << f) / (job.dst_width - 1);
    const uint32_t step_y = ((job.height - 1) << f) / (job.dst_height - 1);
    const uint32_t src_count = uint32_t(job.stride);
    alignas(32) int32_t kx[kStrip];
    alignas(32) uint32_t w01[kStrip];
    alignas(32) H hbuf[2][kStrip];
    alignas(32) Out tmp[kStrip];
    for (uint32_t strip = 0; strip < job.dst_width; strip += kStrip) {
        const uint32_t n = job.dst_width - strip < kStrip ? job.dst_width - strip : kStrip;
        uint32_t px = (job.left << f) + strip * step_x;
        for (uint32_t i = 0; i < n; ++i, px += step_x) {
            const FixedTap t = fixed_tap(px, f);
            kx[i] = int32_t(t.k);
            w01[i] = t.w0 | (t.w1 << 16);
        }
        H *row0 = hbuf[0];
        H *row1 = hbuf[1];
        int64_t cached0 = -1, cached1 = -1;  // source rows held by row0 and row1
        uint32_t py = job.top << f;
        for (uint32_t j = 0; j < job.dst_height; ++j, py += step_y) {
            const FixedTap t = fixed_tap(py, f);
            const int64_t ky = t.k;
            if (cached1 == ky) {
                H *swap = row0;
                row0 = row1;
                row1 = swap;
                cached0 = ky;
                cached1 = -1;
            }
            if (cached0 != ky) {
                h_fn(job.src + size_t(ky) * job.stride, kx, w01, 0, n, src_count, row0);
                cached0 = ky;
            }
            if (cached1 != ky + 1) {
                h_fn(job.src + size_t(ky + 1) * job.stride, kx, w01, 0, n, src_count, row1);
                cached1 = ky + 1;
            }
            const size_t first = size_t(j) * job.dst_width + strip;
            if (job.dst_step == 1) {
                v_fn(row0, row1, t.w0, t.w1, 0, n, job.dst + first);
            } else {
                v_fn(row0, row1, t.w0, t.w1, 0, n, tmp);
                Out *d = job.dst + first * job.dst_step;
                for (uint32_t i = 0; i < n; ++i) d[size_t(i) * job.dst_step] = tmp[i];
            }
        }
    }
}

// Checks of the fixed-point members: every dimension above 1 (signed), a source whose positions fit
// 32 bits, non-null pointers, and for the _v1 members a step of at least 1.
uint32_t fixed_check(const void *src, int32_t src_width, int32_t src_height, const void *dst, int32_t dst_width,
                     int32_t dst_height, uint32_t f) {
    if (!(src_width > 1 && src_height > 1 && dst_width > 1 && dst_height > 1)) return kStatusInvalidArgs;
    // Null pointers are refused rather than dereferenced.
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    // (side - 1) * 2^F is the last position: it must fit the unsigned 32-bit position.
    if (uint64_t(src_width) > max_fixed_side(f) || uint64_t(src_height) > max_fixed_side(f))
        return kStatusInvalidArgs;
    return kStatusDone;
}

template <class T, class H, class Out, class HFn, class VFn>
uint32_t fixed_member(const T *src, int32_t src_width, int32_t src_height, Out *dst, int32_t dst_width,
                      int32_t dst_height, int32_t dst_step, bool check_step, uint32_t f, HFn h_fn, VFn v_fn) {
    const uint32_t status = fixed_check(src, src_width, src_height, dst, dst_width, dst_height, f);
    if (status != kStatusDone) return status;
    if (check_step && dst_step < 1) return kStatusInvalidArgs;
    const FixedJob<T, Out> job = {src, size_t(src_width), 0, 0, uint32_t(src_width), uint32_t(src_height),
                                  dst, uint32_t(dst_width), uint32_t(dst_height), size_t(check_step ? dst_step : 1)};
    fixed_resize<T, H, Out>(job, f, h_fn, v_fn);
    return kStatusDone;
}

}  // namespace

uint32_t resize_2d_int32_impl(const int32_t *src, int32_t src_width, int32_t src_height, int32_t *dst,
                              int32_t dst_width, int32_t dst_height, const resize2d_rows &rows) {
    return fixed_member<int32_t, int64_t>(src, src_width, src_height, dst, dst_width, dst_height, 1, false, 12,
                                          rows.h_i32, rows.v_i32);
}

uint32_t resize_2d_uint32_impl(const uint32_t *src, int32_t src_width, int32_t src_height, uint32_t *dst,
                               int32_t dst_width, int32_t dst_height, const resize2d_rows &rows) {
    return fixed_member<uint32_t, uint64_t>(src, src_width, src_height, dst, dst_width, dst_height, 1, false, 12,
                                            rows.h_u32, rows.v_u32);
}

uint32_t resize_2d_uint16_impl(const uint16_t *src, int32_t src_width, int32_t src_height, uint16_t *dst,
                               int32_t dst_width, int32_t dst_height, int32_t dst_step, bool check_step,
                               const resize2d_rows &rows) {
    return fixed_member<uint16_t, uint32_t>(src, src_width, src_height, dst, dst_width, dst_height, dst_step,
                                            check_step, 8, rows.h_u16, rows.v_u16);
}

uint32_t resize_2d_uint8_impl(const uint8_t *src, int32_t src_width, int32_t src_height, uint8_t *dst,
                              int32_t dst_width, int32_t dst_height, int32_t dst_step, bool check_step,
                              const resize2d_rows &rows) {
    return fixed_member<uint8_t, uint16_t>(src, src_width, src_height, dst, dst_width, dst_height, dst_step,
                                           check_step, 8, rows.h_u8, rows.v_u8);
}

uint32_t crop_resize_2d_uint16_impl(const uint16_t *src, uint32_t src_width, uint32_t src_height,
                                    margin_pair top_left, margin_pair bottom_right, uint16_t *dst,
                                    uint32_t dst_width, uint32_t dst_height, const resize2d_rows &rows) {
    // The area inside the margins, in 64-bit arithmetic so that margins beyond the source cannot wrap.
    const uint64_t area_w = uint64_t(top_left.x) + bottom_right.x + 2 <= src_width
                                ? src_width - uint64_t(top_left.x) - bottom_right.x
                                : 0;
    const uint64_t area_h = uint64_t(top_left.y) + bottom_right.y + 2 <= src_height
                                ? src_height - uint64_t(top_left.y) - bottom_right.y
                                : 0;
    if (area_w < 2 || area_h < 2 || dst_width < 2 || dst_height < 2) return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    // Positions are absolute in the source: the whole source side must fit the 24.8 positions.
    if (src_width > max_fixed_side(8) || src_height > max_fixed_side(8)) return kStatusInvalidArgs;
    const FixedJob<uint16_t, uint16_t> job = {src, src_width, top_left.x, top_left.y, uint32_t(area_w),
                                              uint32_t(area_h), dst, dst_width, dst_height, 1};
    fixed_resize<uint16_t, uint32_t, uint16_t>(job, 8, rows.h_u16, rows.v_u16);
    return kStatusDone;
}

uint32_t resize_2d_float_impl(const float *src, int32_t src_width, int32_t src_height, float *dst,
                              int32_t dst_width, int32_t dst_height, const resize2d_rows &rows) {
    // Widths are unsigned 16-bit values here, heights signed 32-bit ones.
    const uint16_t sw = uint16_t(src_width), dw = uint16_t(dst_width);
    if (!(sw > 1 && src_height > 1 && dw > 1 && dst_height > 1)) return kStatusInvalidArgs;
    if (src == nullptr || dst == nullptr) return kStatusInvalidArgs;
    const float rx = (float(sw) - 1.0f) / (float(dw) - 1.0f);
    const float ry = (float(src_height) - 1.0f) / (float(dst_height) - 1.0f);
    alignas(32) int32_t x0[kStrip], x1[kStrip];
    alignas(32) float fx[kStrip], gx[kStrip];
    alignas(32) float a[2][kStrip], b[2][kStrip];
    for (uint32_t strip = 0; strip < dw; strip += kStrip) {
        const uint32_t n = dw - strip < kStrip ? dw - strip : kStrip;
        for (uint32_t i = 0; i < n; ++i) {
            // x = i * rx; x0 its integer part held as unsigned 16-bit; x1 the next column inside the row.
            const float x = float(strip + i) * rx;
            const uint16_t c0 = uint16_t(uint32_t(x));
            x0[i] = c0;
            x1[i] = c0 < sw - 1 ? c0 + 1 : c0;
            fx[i] = x - float(c0);
            gx[i] = 1.0f - fx[i];
        }
        int64_t cached[2] = {-1, -1};  // source rows held by a[k], b[k]
        for (int32_t j = 0; j < dst_height; ++j) {
            const float y = float(j) * ry;
            const uint16_t y0 = uint16_t(uint32_t(y));  // integer part held as unsigned 16-bit
            const uint16_t y1 = y0 < src_height - 1 ? uint16_t(y0 + 1) : y0;
            const float fy = y - float(y0);
            const float gy = 1.0f - fy;
            // Slots of y0 and y1: a cached row is kept while the next destination rows need it.
            int s0 = cached[0] == y0 ? 0 : cached[1] == y0 ? 1 : -1;
            if (s0 < 0) {
                s0 = cached[0] == y1 ? 1 : 0;
                rows.h_f32(src + size_t(y0) * sw, x0, x1, fx, gx, 0, n, sw, a[s0], b[s0]);
                cached[s0] = y0;
            }
            int s1 = cached[0] == y1 ? 0 : cached[1] == y1 ? 1 : -1;
            if (s1 < 0) {
                s1 = 1 - s0;
                rows.h_f32(src + size_t(y1) * sw, x0, x1, fx, gx, 0, n, sw, a[s1], b[s1]);
                cached[s1] = y1;
            }
            rows.v_f32(a[s0], b[s0], a[s1], b[s1], fy, gy, 0, n, dst + size_t(j) * dw + strip);
        }
    }
    return kStatusDone;
}

const resize2d_rows &resize2d_best_rows() {
    static const resize2d_rows &rows = cpu_has_avx2()    ? resize2d_avx2_rows()
                                       : cpu_has_sse41() ? resize2d_sse41_rows()
                                                         : resize2d_c_rows();
    return rows;
}

}  // namespace oz

extern "C" {

OZ_API uint32_t resize_2d_array_int32(const int32_t *src, int32_t src_width, int32_t src_height, int32_t *dst,
                                      int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_int32_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint32(const uint32_t *src, int32_t src_width, int32_t src_height,
                                       uint32_t *dst, int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_uint32_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                     oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint16(const uint16_t *src, int32_t src_width, int32_t src_height,
                                       uint16_t *dst, int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_uint16_impl(src, src_width, src_height, dst, dst_width, dst_height, 1, false,
                                     oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint16_v1(const uint16_t *src, int32_t src_width, int32_t src_height,
                                          uint16_t *dst, int32_t dst_width, int32_t dst_height,
                                          int32_t dst_step) {
    return oz::resize_2d_uint16_impl(src, src_width, src_height, dst, dst_width, dst_height, dst_step, true,
                                     oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint8(const uint8_t *src, int32_t src_width, int32_t src_height, uint8_t *dst,
                                      int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_uint8_impl(src, src_width, src_height, dst, dst_width, dst_height, 1, false,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_uint8_v1(const uint8_t *src, int32_t src_width, int32_t src_height,
                                         uint8_t *dst, int32_t dst_width, int32_t dst_height, int32_t dst_step) {
    return oz::resize_2d_uint8_impl(src, src_width, src_height, dst, dst_width, dst_height, dst_step, true,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t resize_2d_array_float(const float *src, int32_t src_width, int32_t src_height, float *dst,
                                      int32_t dst_width, int32_t dst_height) {
    return oz::resize_2d_float_impl(src, src_width, src_height, dst, dst_width, dst_height,
                                    oz::resize2d_best_rows());
}
OZ_API uint32_t crop_resize_2d_array_uint16(const uint16_t *src, uint32_t src_width, uint32_t src_height,
                                            margin_pair top_left, margin_pair bottom_right, uint16_t *dst,
                                            uint32_t dst_width, uint32_t dst_height) {
    return oz::crop_resize_2d_uint16_impl(src, src_width, src_height, top_left, bottom_right, dst, dst_width,
                                          dst_height, oz::resize2d_best_rows());
}

}  // extern "C"
