// Area downscale entry points: argument checks, the footprint, the row spans and the plane and row
// loops; the rows themselves come from area_rows.
#include "resample/area_rows.h"

#include "common/cpu.h"
#include "common/status.h"

namespace oz {
namespace {

struct AreaGeometry {
    uint32_t x, y, width, height;  // the source rectangle
    float fx, fy;                  // footprint of one destination sample, in source samples
};

// Checks shared by both kernels, in the order the kernels state them; nothing is written before
// they all pass.
template <class S, class D>
uint32_t area_check(const S *const *src_planes, D *const *dst_planes, uint16_t src_width, uint16_t src_height,
                    uint16_t dst_width, uint16_t dst_height, uint16_t plane_count, const crop_rect *crop,
                    AreaGeometry *g) {
    if (!(dst_width < src_width && dst_height < src_height && dst_width >= 3 && dst_height >= 3))
        return kStatusInvalidArgs;
    if (src_planes == nullptr || dst_planes == nullptr) return kStatusInvalidArgs;
    // Every plane pointer is checked before the first plane is written, so that a null plane late in
    // the list does not leave the earlier planes written.
    for (uint32_t p = 0; p < plane_count; ++p)
        if (src_planes[p] == nullptr || dst_planes[p] == nullptr) return kStatusInvalidArgs;
    *g = {0, 0, src_width, src_height, 0.0f, 0.0f};
    if (crop != nullptr) {
        const uint32_t x = crop->x, y = crop->y, w = crop->width, h = crop->height;
        if (!(x < src_width && y < src_height && x + w <= src_width && y + h <= src_height))
            return kStatusInvalidArgs;
        *g = {x, y, w, h, 0.0f, 0.0f};
    }
    g->fx = float(g->width) / float(dst_width);
    g->fy = float(g->height) / float(dst_height);
    if (!(g->fx * g->fy > 0.0001f)) return kStatusInvalidArgs;
    // A rectangle narrower or lower than the destination would need footprints below one sample,
    // which the span rule cannot average (a span would then weigh less than its nominal footprint,
    // or be empty): such a request is not a downscale and is refused.
    if (g->width < dst_width || g->height < dst_height) return kStatusInvalidArgs;
    return kStatusDone;
}

template <class T>
void area_planes(const T *const *src_planes, uint16_t *const *dst_planes, uint16_t src_width,
                 uint16_t dst_width, uint16_t dst_height, uint16_t plane_count, const AreaGeometry &g,
                 float inv_src, float out_scale, void (*block_fn)(const AreaBlock<T> &, uint32_t)) {
    AreaRow row{};
    row.stride = src_width;
    row.readable = src_width - g.x;
    row.fx = g.fx;
    row.width = float(g.width);
    row.inv_area = 1.0f / (g.fx * g.fy);
    row.inv_src = inv_src;
    row.out_scale = out_scale;
    const float height = float(g.height);
    for (uint32_t p = 0; p < plane_count; ++p) {
        const T *plane = src_planes[p] + size_t(g.y) * src_width + g.x;
        uint16_t *dst = dst_planes[p];
        // Row span of destination row j: from the previous row's end (yi', yf') to (yi, yf). Rows
        // go to the row set kAreaBlockRows at a time.
        SpanEnd prev = {0, 0.0f};
        AreaBlock<T> block;
        block.count = 0;
        for (uint32_t j = 1; j <= dst_height; ++j) {
            const SpanEnd cur = area_span_end(j, g.fy, height);
            row.row_count = cur.whole - prev.whole + (cur.frac != 0.0f ? 1u : 0u);
            row.row_weight_first = 1.0f - prev.frac;
            row.row_weight_last = cur.frac != 0.0f ? cur.frac : 1.0f;
            block.src[block.count] = plane + size_t(prev.whole) * src_width;
            block.dst[block.count] = dst + size_t(j - 1) * dst_width;
            block.row[block.count] = row;
            if (++block.count == kAreaBlockRows || j == dst_height) {
                block_fn(block, dst_width);
                block.count = 0;
            }
            prev = cur;
        }
    }
}

// 2^(n mod 32) as a float (exact).
inline float pow2_mod32(uint32_t n) { return float(1u << (n & 31u)); }

}  // namespace

uint32_t image_downscale_32f_to_u16p10_impl(const float *const *src_planes, uint16_t *const *dst_planes,
                                            uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                            uint16_t dst_height, uint16_t plane_count, const crop_rect *crop,
                                            const area_rows &rows) {
    AreaGeometry g;
    const uint32_t status = area_check(src_planes, dst_planes, src_width, src_height, dst_width, dst_height,
                                       plane_count, crop, &g);
    if (status != kStatusDone) return status;
    area_planes(src_planes, dst_planes, src_width, dst_width, dst_height, plane_count, g, 1.0f, 1024.0f,
                rows.f32_to_u16p10);
    return kStatusDone;
}

uint32_t image_downscale_u16_to_u16_impl(const uint16_t *const *src_planes, uint16_t *const *dst_planes,
                                         uint16_t src_width, uint16_t src_height, uint32_t src_fraction_bits,
                                         uint16_t dst_width, uint16_t dst_height, uint32_t dst_fraction_bits,
                                         uint16_t plane_count, const crop_rect *crop, const area_rows &rows) {
    AreaGeometry g;
    const uint32_t status = area_check(src_planes, dst_planes, src_width, src_height, dst_width, dst_height,
                                       plane_count, crop, &g);
    if (status != kStatusDone) return status;
    const float inv_src = 1.0f / pow2_mod32(src_fraction_bits);
    area_planes(src_planes, dst_planes, src_width, dst_width, dst_height, plane_count, g, inv_src,
                pow2_mod32(dst_fraction_bits), rows.u16_to_u16);
    return kStatusDone;
}

const area_rows &area_best_rows() {
    static const area_rows &rows = pick_rows(area_c_rows, area_sse41_rows, area_avx2_rows);
    return rows;
}

}  // namespace oz

extern "C" {

OZ_API uint32_t image_downscale_32f_to_u16p10(const float *const *src_planes, uint16_t *const *dst_planes,
                                              uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                              uint16_t dst_height, uint16_t plane_count,
                                              const crop_rect *crop) {
    return oz::image_downscale_32f_to_u16p10_impl(src_planes, dst_planes, src_width, src_height, dst_width,
                                                  dst_height, plane_count, crop, oz::area_best_rows());
}

OZ_API uint32_t image_downscale_u16_to_u16(const uint16_t *const *src_planes, uint16_t *const *dst_planes,
                                           uint16_t src_width, uint16_t src_height,
                                           uint32_t src_fraction_bits, uint16_t dst_width,
                                           uint16_t dst_height, uint32_t dst_fraction_bits,
                                           uint16_t plane_count, const crop_rect *crop) {
    return oz::image_downscale_u16_to_u16_impl(src_planes, dst_planes, src_width, src_height,
                                               src_fraction_bits, dst_width, dst_height, dst_fraction_bits,
                                               plane_count, crop, oz::area_best_rows());
}

}  // extern "C"
