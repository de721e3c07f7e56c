/* liboz_cmc_parser: image resampling kernels (bicubic, bilinear, area, nearest) for 8-, 16-, 32-bit and float samples.
 * C99 and C++. */
#ifndef OZ_RESAMPLE_H
#define OZ_RESAMPLE_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Bicubic upscaling to float and bicubic resize to 10-bit and 16-bit ---- */

/* Bicubic (Catmull-Rom) upscaling of plane_count equally sized planes to float.
 *   src_planes  in:  plane_count pointers to src_width x src_height samples, rows back to back
 *   dst_planes  out: plane_count pointers to dst_width x dst_height floats, rows back to back
 * The mapping aligns corners (destination column 0 on source column 0, the last on the last). The
 * border of the source is extrapolated linearly; a source dimension of 1 is extended by repetition
 * (the plane is constant in that direction). Results are clamped to -255.0 .. 65535.0.
 * Returns 0 done (also for no planes or an empty destination); 4 the working buffer could not be
 * allocated; 32 (nothing written) when the destination is smaller than the source in either
 * direction, a source dimension is 0 while the destination is not empty or above 65532, or a plane
 * array or plane pointer is null. The caller owns every plane. */
OZ_API uint32_t image_bicubic_upscale_uint8_to_float(const uint8_t *const *src_planes,
                                                     float *const *dst_planes, uint16_t src_width,
                                                     uint16_t src_height, uint16_t dst_width,
                                                     uint16_t dst_height, uint16_t plane_count);
OZ_API uint32_t image_bicubic_upscale_uint16_to_float(const uint16_t *const *src_planes,
                                                      float *const *dst_planes, uint16_t src_width,
                                                      uint16_t src_height, uint16_t dst_width,
                                                      uint16_t dst_height, uint16_t plane_count);

/* Bicubic (Catmull-Rom) resize of one plane to any size, to u16p10 (value x 1024, truncated toward
 * zero; the stored sample is the low 16 bits, values outside 0 .. 63.999 are not saturated; a value
 * whose scaled form is not representable in 32 bits, or NaN, stores 0). Note the order: height
 * before width.
 *   src  in:  src_height rows of src_width floats, rows back to back
 *   dst  out: dst_height rows of dst_width u16p10 samples, rows back to back
 * Corners are aligned as for the upscaling kernels; downscaling is allowed; a source dimension of 1
 * is extended by repetition as for the upscaling kernels. Returns 0 done (also
 * for an empty destination); 4 the working buffer could not be allocated; 32 (nothing written) for a
 * destination dimension of 1, a source dimension of 0 (with a non-empty destination) or above
 * 65532, or a null src or dst. */
OZ_API uint32_t bicubic_resize_32f_to_u16p10(const float *src, uint16_t src_height,
                                             uint16_t src_width, uint16_t *dst, uint16_t dst_height,
                                             uint16_t dst_width);
/* The same from unsigned 16-bit samples with `shift` fractional bits: each sample is read as
 * sample x (1 / 2^(shift mod 32)) in single precision. */
OZ_API uint32_t bicubic_resize_u16_to_u16(const uint16_t *src, uint16_t src_height,
                                          uint16_t src_width, uint32_t shift, uint16_t *dst,
                                          uint16_t dst_height, uint16_t dst_width);

/* ---- Area downscale, nearest-neighbour scaling and 2-D array resize ---- */

/* Source rectangle of the area downscale: first column and row, then its size, in source samples. */
typedef struct crop_rect {
    uint16_t x;      /* first source column of the rectangle */
    uint16_t y;      /* first source row of the rectangle */
    uint16_t width;  /* columns in the rectangle */
    uint16_t height; /* rows in the rectangle */
} crop_rect;

/* A pair of margins of crop_resize_2d_array_uint16, horizontal value first, in source samples. */
typedef struct margin_pair {
    uint32_t x; /* left (top_left) or right (bottom_right) margin */
    uint32_t y; /* top (top_left) or bottom (bottom_right) margin */
} margin_pair;

/* Area downscale of plane_count float planes to u16p10 (value x 1024): every destination sample is the
 * mean of the source area it covers, partly covered source samples weighted by the covered fraction,
 * rounded to the nearest 1/1024 (halves upward); the low 16 bits are stored, nothing is saturated.
 * src_planes: plane_count pointers to src_width x src_height floats (rows back to back), read only.
 * dst_planes: plane_count pointers to dst_width x dst_height u16p10 samples, written.
 * crop: optional source rectangle (null = whole source).
 * Returns 0 done (also with plane_count 0), 32 invalid arguments with nothing written: the destination
 * not strictly smaller than the source in both directions, a destination side below 3, a null plane
 * array or plane, a rectangle outside the source or smaller than the destination, a vanishing
 * footprint. */
OZ_API uint32_t image_downscale_32f_to_u16p10(const float *const *src_planes, uint16_t *const *dst_planes,
                                              uint16_t src_width, uint16_t src_height, uint16_t dst_width,
                                              uint16_t dst_height, uint16_t plane_count,
                                              const crop_rect *crop);

/* Area downscale of 16-bit fixed-point planes: source samples carry src_fraction_bits fractional
 * bits, destination samples dst_fraction_bits (both used modulo 32). Otherwise as
 * image_downscale_32f_to_u16p10. */
OZ_API uint32_t image_downscale_u16_to_u16(const uint16_t *const *src_planes, uint16_t *const *dst_planes,
                                           uint16_t src_width, uint16_t src_height,
                                           uint32_t src_fraction_bits, uint16_t dst_width,
                                           uint16_t dst_height, uint32_t dst_fraction_bits,
                                           uint16_t plane_count, const crop_rect *crop);

/* Nearest-neighbour scaling of an interleaved plane of 32-bit samples, channels samples per pixel,
 * with 16.16 fixed-point stepping: destination pixel (y, x) is source pixel
 * ((y * step_y) >> 16, (x * step_x) >> 16), step = (src * 65536) / dst + 1. Positions that step past
 * the last source column or row take the last one.
 * Returns 32 (nothing written) for src_width or src_height 0 or above 65535, dst_height 0 or a null
 * pointer; 0 without writing for dst_width or channels 0; else 0. */
OZ_API uint32_t image_nearest_neighbor_scale_interleaved_int32(const int32_t *src, uint32_t src_width,
                                                               uint32_t src_height, uint32_t channels,
                                                               int32_t *dst, uint32_t dst_width,
                                                               uint32_t dst_height);

/* Single-channel form of the 16.16 stepping scaler on unsigned 32-bit samples. Returns 32 (nothing
 * written) unless every dimension is above 0, the source sides are at most 65535 and both pointers are
 * non-null; else 0. */
OZ_API uint32_t image_nearest_neighbor_scale_uint32(const uint32_t *src, int32_t src_width, int32_t src_height,
                                                    uint32_t *dst, int32_t dst_width, int32_t dst_height);

/* Nearest-neighbour resize of a 16-bit plane that picks, for every destination sample, the last source
 * sample of its footprint (positions within 0.0001 of a sample boundary count as on it). Any sizes from
 * 2 up, in either direction. Returns 32 (nothing written) for a dimension below 2 or a null pointer. */
OZ_API uint32_t image_upscale_nearest_neighbor_uint16(const uint16_t *src, uint16_t *dst, uint16_t src_width,
                                                      uint16_t src_height, uint16_t dst_width,
                                                      uint16_t dst_height);

/* Nearest-neighbour resize of a signed 32-bit plane picking the last source sample of each footprint
 * (exact boundaries only), or with use_max nonzero the largest of 0 and the samples of the footprint.
 * Any sizes from 2 up. Returns 32 (nothing written) for a dimension below 2 or a null pointer. */
OZ_API uint32_t image_downscale_nearest_neighbor_int32(const int32_t *src, int32_t *dst, uint16_t src_width,
                                                       uint16_t src_height, uint16_t dst_width,
                                                       uint16_t dst_height, uint8_t use_max);

/* Bilinear resize with corner-aligned mapping, in fixed point (positions and weights in 1/4096 of a
 * sample for 32-bit samples, 1/256 for 8- and 16-bit samples), rounded to nearest with halves upward
 * (the int32 member rounds the half toward plus infinity: -1.5 gives -1). src: src_height rows of
 * src_width samples; dst: dst_height rows of dst_width samples, written. Returns 32 (nothing written)
 * for a dimension below 2, a source side whose fixed-point position would not fit 32 bits (above
 * 2^20 samples for the 32-bit members, 2^24 for the others) or a null pointer; else 0. */
OZ_API uint32_t resize_2d_array_int32(const int32_t *src, int32_t src_width, int32_t src_height, int32_t *dst,
                                      int32_t dst_width, int32_t dst_height);
OZ_API uint32_t resize_2d_array_uint32(const uint32_t *src, int32_t src_width, int32_t src_height,
                                       uint32_t *dst, int32_t dst_width, int32_t dst_height);
OZ_API uint32_t resize_2d_array_uint16(const uint16_t *src, int32_t src_width, int32_t src_height,
                                       uint16_t *dst, int32_t dst_width, int32_t dst_height);
OZ_API uint32_t resize_2d_array_uint8(const uint8_t *src, int32_t src_width, int32_t src_height, uint8_t *dst,
                                      int32_t dst_width, int32_t dst_height);

/* As resize_2d_array_uint16 / _uint8, but destination sample (j, i) is written at
 * (j * dst_width + i) * dst_step, leaving the samples between untouched. dst_step below 1 gives 32. */
OZ_API uint32_t resize_2d_array_uint16_v1(const uint16_t *src, int32_t src_width, int32_t src_height,
                                          uint16_t *dst, int32_t dst_width, int32_t dst_height,
                                          int32_t dst_step);
OZ_API uint32_t resize_2d_array_uint8_v1(const uint8_t *src, int32_t src_width, int32_t src_height,
                                         uint8_t *dst, int32_t dst_width, int32_t dst_height, int32_t dst_step);

/* Bilinear resize with corner-aligned mapping in single precision. The widths are taken as unsigned
 * 16-bit values (their low 16 bits), the heights as signed 32-bit values; source rows are addressed
 * with 16-bit row indices. Returns 32 (nothing written) for a dimension below 2 or a null pointer. */
OZ_API uint32_t resize_2d_array_float(const float *src, int32_t src_width, int32_t src_height, float *dst,
                                      int32_t dst_width, int32_t dst_height);

/* resize_2d_array_uint16 of the source area inside the margins: columns top_left.x ..
 * src_width - bottom_right.x - 1, rows top_left.y .. src_height - bottom_right.y - 1. Returns 32
 * (nothing written) when the area is narrower or lower than 2 samples, a destination side is below 2,
 * a source side exceeds 2^24 samples or a pointer is null; else 0. */
OZ_API uint32_t crop_resize_2d_array_uint16(const uint16_t *src, uint32_t src_width, uint32_t src_height,
                                            margin_pair top_left, margin_pair bottom_right, uint16_t *dst,
                                            uint32_t dst_width, uint32_t dst_height);

#ifdef __cplusplus
}
#endif

#endif /* OZ_RESAMPLE_H */
