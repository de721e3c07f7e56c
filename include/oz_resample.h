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

#ifdef __cplusplus
}
#endif

#endif /* OZ_RESAMPLE_H */
