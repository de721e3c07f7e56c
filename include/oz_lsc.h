/* liboz_cmc_parser: module lens-shading upscaling and the ratio-based correction.
 * C99 and C++. */
#ifndef OZ_LSC_H
#define OZ_LSC_H

#include "oz_cmc_correction.h"
#include "oz_cmc_parser.h"
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

/* Fits a 4th-order polynomial surface to each of the four channel grids of every module shading table
 * of `nvm` (converted to gains 1 + s / 2^fraction_bits and oriented by flip_mode: 0 copy, 1 left-right,
 * 2 top-bottom, 3 both) and evaluates it on an output_width x output_height grid spanning the module
 * grid; each plane is then divided by its minimum (values below 1.0 become 1.0).
 * use_margins: non-zero fits only the interior of the module grid (two rows and two columns left out on
 * every side) and extrapolates the border.
 * Returns new tables with nvm->lsc_table_count blocks (block i from module table i), to be released with
 * deinit_computed_upscale_lsc_tables; or null, with nothing allocated, when: an output dimension is 0 or
 * 1, nvm is null, a module grid dimension is 0, an allocation fails, the fit fails, a plane's minimum is
 * not greater than 0 (a surface reaching zero, a singular fit, an unknown flip_mode), lsc_tables is null
 * with tables to build, or a module table has fraction_bits of 32 or more or a null channel grid.
 * nvm is only read. */
OZ_API upscaled_lsc_tables *compute_upscaled_lsc_tables_polynom4th(uint16_t output_width, uint16_t output_height,
                                                                   const nvm_data *nvm, uint32_t flip_mode,
                                                                   uint8_t use_margins);

/* As compute_upscaled_lsc_tables_polynom4th, but fits in double only the module grid cells inside the
 * characterization's valid circle: record 2's frame size (slot 4) scales record 32's centre and radius
 * (slot 56) to the module grid, the centre rounded up to whole cells. The whole output grid is evaluated
 * from that one surface. Also null when cmc is null, slot 4 or slot 56 is empty, or the frame width or
 * height is 0. cmc is only read. */
OZ_API upscaled_lsc_tables *compute_upscaled_lsc_tables_polynom4th_valid_area(uint16_t output_width,
                                                                              uint16_t output_height,
                                                                              const nvm_data *nvm,
                                                                              uint32_t flip_mode,
                                                                              const cmc_data *cmc);

/* Rewrites the lens-shading tables of `lens_shading` as shading ratio times module gain, sample by sample:
 * for light source e, with module block k-1 (k = the ratio entry's nvm_source_index, 1-based), each used
 * cell of the cfa_pattern layout gets D[i] = (uint16_t)trunc((float)S[i] * gain[i]), saturated to
 * 0 .. 65535 (NaN: 0), where S is the ratio entry's table of that cell and gain the module plane of the
 * cell's colour by module_bayer_order (0 GRBG, 1 RGGB, 2 BGGR, 3 GBRG). Cells whose lens-shading, ratio
 * or gain table is missing keep their samples. Each entry also takes the ratio entry's light_source,
 * params and fraction_bits.
 * cfa_pattern: 0..3 the 2 x 2 Bayer orders, 128..131 the same two pixels wide (2 x 4 cells), 256..263 the
 * 4 x 4 RGB-IR phases, whose green cells read the average of the module's Gr and Gb planes (written back
 * into both planes of module_tables) and whose infrared cells stay unchanged. Cells outside the layout
 * are never touched.
 * Returns 0 (also when there is no light source); 32 when a pointer is null; 8, with nothing changed,
 * for an unsupported cfa_pattern or module_bayer_order, ratio tables of another width or height than the
 * lens-shading tables, or a null light-source array; 8 at entry e, with entries before e corrected and
 * the rest untouched, when the ratio data has no entry e or its nvm_source_index is 0 or beyond
 * table_count. Each module block must hold four planes of width x height gains. */
OZ_API uint32_t ratio_based_sample_to_sample_correction(cmc_lens_shading4x4 *lens_shading,
                                                        const cmc_lens_shading_ratio *ratio,
                                                        upscaled_lsc_tables *module_tables, uint32_t cfa_pattern,
                                                        uint32_t module_bayer_order);

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
