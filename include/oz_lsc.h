/* liboz_cmc_parser: module lens-shading upscaling and the ratio-based correction.
 * C99 and C++. */
#ifndef OZ_LSC_H
#define OZ_LSC_H

#include "oz_cmc_types.h"
#include "oz_nvm_data.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Module shading gains brought to the characterization's grid. `tables[i]` is the upscaled form of the
 * module's table i: one block of four float planes of output_width x output_height gains each (plane c
 * from element c*output_width*output_height, row-major), every plane normalised to a minimum of 1.0.
 * Produced by the compute_upscaled_lsc_tables_* functions; released by
 * deinit_computed_upscale_lsc_tables. */
typedef struct upscaled_lsc_tables {
    uint8_t table_count; /* number of entries in tables */
    float **tables;      /* table_count pointers; non-null whenever table_count is non-zero */
} upscaled_lsc_tables;

/* Releases tables built by a compute_upscaled_lsc_tables_* function: every block, the array and the
 * structure. Null does nothing. */
OZ_API void deinit_computed_upscale_lsc_tables(upscaled_lsc_tables *tables);

/* ---- Polynomial upscaling and the ratio-based correction ---- */

/* ---- Bicubic upscaling of module shading tables ---- */

#ifdef __cplusplus
}
#endif

#endif /* OZ_LSC_H */
