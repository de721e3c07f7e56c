/* liboz_cmc_parser: image resampling kernels (bicubic, bilinear, area, nearest) for 8-, 16-, 32-bit and float samples.
 * C99 and C++. */
#ifndef OZ_RESAMPLE_H
#define OZ_RESAMPLE_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Bicubic upscaling to float and bicubic resize to 10-bit and 16-bit ---- */

/* ---- Area downscale, nearest-neighbour scaling and 2-D array resize ---- */

#ifdef __cplusplus
}
#endif

#endif /* OZ_RESAMPLE_H */
