/* liboz_cmc_parser: correction-table records (lens shading, shading ratios, geometric distortion,
 * phase difference, compand/decompand, cbd and the other correction records): the structures built
 * from them and their release functions. C99 and C++. */
#ifndef OZ_CMC_CORRECTION_H
#define OZ_CMC_CORRECTION_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One light source of the lens-shading characterization. 152 bytes. */
typedef struct cmc_lens_shading_light_source {
    uint32_t light_source;   /* light-source identifier */
    float params[4];         /* carried, not interpreted by the library */
    uint16_t fraction_bits;  /* fractional bits of the 16-bit samples */
    uint16_t *tables[4][4];  /* per cell of channel_map: width x height samples (h rows of w), or null */
} cmc_lens_shading_light_source;

/* Lens-shading characterization (slot 54), from record 28 or converted from record 10. 40 bytes. */
typedef struct cmc_lens_shading4x4 {
    record_header header;      /* record 28's header, or size/version 100/id 28 for record 10 */
    int8_t channel_map[4][4];  /* table number of each cell of the 4 x 4 pattern; negative: none */
    uint16_t num_light_sources;
    uint16_t width;            /* samples per table row */
    uint16_t height;           /* table rows */
    cmc_lens_shading_light_source *light_sources; /* num_light_sources entries */
} cmc_lens_shading4x4;

/* One light source of the lens-shading ratios: the first four fields match
 * cmc_lens_shading_light_source. 160 bytes. */
typedef struct cmc_lens_shading_ratio_light_source {
    uint32_t light_source;
    float params[4];
    uint16_t fraction_bits;
    uint16_t *tables[4][4];
    uint16_t nvm_source_index; /* 1-based module light source the ratios apply to; 0: none */
} cmc_lens_shading_ratio_light_source;

/* Lens-shading ratios (slot 57), from record 33 or record 11. 40 bytes. */
typedef struct cmc_lens_shading_ratio {
    record_header header;
    int8_t channel_map[4][4];
    uint16_t num_light_sources;
    uint16_t width;
    uint16_t height;
    cmc_lens_shading_ratio_light_source *light_sources;
} cmc_lens_shading_ratio;

#ifdef __cplusplus
}
#endif

#endif /* OZ_CMC_CORRECTION_H */
