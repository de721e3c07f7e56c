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

/* Upscales every module shading table of `nvm` to width x height gains by bicubic interpolation of
 * the raw samples (image_bicubic_upscale_uint8_to_float for fraction_bits <= 8, the 16-bit kernel
 * otherwise), converts each interpolated sample s to s / 2^fraction_bits + 1.0 and orients the planes
 * by flip_mode (0 keep, 1 mirror each row, 2 reverse the rows, 3 both). The gains are not normalised.
 * Returns a new table set (table_count = nvm->lsc_table_count) that the caller releases with
 * deinit_computed_upscale_lsc_tables, or null with nothing allocated when nvm or its lsc_tables is
 * null, width or height is 0, flip_mode is above 3, a channel grid is null, the target is smaller than
 * the module grid, or an allocation fails. */
OZ_API upscaled_lsc_tables *compute_upscaled_lsc_tables_bicubic(uint16_t width, uint16_t height,
                                                                const nvm_data *nvm,
                                                                uint32_t flip_mode);

#ifdef __cplusplus
}
#endif

#endif /* OZ_LSC_H */
