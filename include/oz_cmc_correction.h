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

/* Legacy lens-shading view (slots 13 to 16 of cmc_data, record 10 only): four pointers in slot
 * order, so that `(const cmc_parsed_lens_shading *)&cmc->slot[13]` reads the four slots as one
 * structure. Everything points into the kept record copy; `record` owns it. 32 bytes. */
typedef struct cmc_parsed_lens_shading {
    uint8_t *record;            /* slot 13: the record copy (n, w, h at bytes 10, 12, 14) */
    uint8_t *light_source_data; /* slot 14: record + 16, the first light-source block */
    uint8_t *first_table;       /* slot 15: record + 24, the first table of the first block */
    uint8_t *extension;         /* slot 16: n entries of (u16 params[0] * 256, u16 params[1] * 256)
                                 * after the blocks, or null */
} cmc_parsed_lens_shading;

/* Releases a lens-shading structure: the 16 tables of each of the first num_light_sources entries,
 * the entry array, then the structure. Null does nothing. */
OZ_API void cmc_lens_shading4x4_deinit(cmc_lens_shading4x4 *lsc);

/* Releases a lens-shading ratio structure the same way. Null does nothing. */
OZ_API void cmc_lens_shading_ratio_deinit(cmc_lens_shading_ratio *ratio);

/* One grid of the geometric distortion characterization: two planes of N = grid_size_a * grid_size_b
 * 4-byte values each, as stored in the record (little-endian words). 24 bytes. */
typedef struct cmc_geometric_distortion_grid {
    uint16_t grid_key;
    uint32_t *plane_a; /* N values; all planes share one buffer, owned through grids[0].plane_a */
    uint32_t *plane_b; /* N values, right after plane_a in the same buffer */
} cmc_geometric_distortion_grid;

/* One value list of the geometric distortion characterization. 24 bytes. */
typedef struct cmc_geometric_distortion_list {
    uint8_t list_origin[8];
    uint32_t list_kind;
    uint32_t num_values;
    uint32_t *values; /* owning: num_values 4-byte values as stored */
} cmc_geometric_distortion_list;

/* Geometric distortion characterization (slot 43, record 22). Values are carried, not interpreted.
 * 1128 bytes. */
typedef struct cmc_geometric_distortion2 {
    uint32_t head_value_a;
    int16_t grid_size_a;
    int16_t grid_size_b;
    uint32_t head_value_b;
    uint16_t num_grids;
    uint32_t table_set_value;    /* version 101 and up */
    int32_t num_tables;          /* as in the record; tables holds max(num_tables, 0) tables */
    uint8_t current_table[1040]; /* version 101 and up */
    cmc_geometric_distortion_grid *grids; /* owning: num_grids entries, null when num_grids is 0 */
    uint8_t *tables;             /* owning: num_tables * 1040 bytes, or null */
    uint32_t list_set_value;     /* version 102 and up; 0 when the lists were dropped */
    int32_t num_lists;           /* as in the record, also when the lists were dropped */
    cmc_geometric_distortion_list *lists; /* owning: num_lists entries, or null */
    uint8_t *list_extras;        /* owning: num_lists * 24 bytes, or null */
    uint32_t trailer_word;       /* version 103 and up; 32 for versions 101 and 102, else 0 */
    uint8_t trailer_byte;        /* version 104 and up, else 0 */
    uint32_t trailer_pair[2];    /* version 105 and up, else 0 */
    uint8_t trailer_flag;        /* version 106 and up, else 0 */
} cmc_geometric_distortion2;

/* Phase-difference characterization (slot 52, record 30). The first 30 bytes are the record's own, in
 * record order; when the primary grid was computed from the module calibration, its width and height
 * are the calibration map's. 56 bytes. */
typedef struct cmc_phase_difference {
    record_header header;
    uint8_t leading_values[8];
    uint16_t num_entries;          /* entries of 6 bytes */
    uint8_t middle_value[4];
    uint16_t primary_grid_width;
    uint16_t primary_grid_height;
    uint16_t secondary_grid_width;
    uint16_t secondary_grid_height;
    uint8_t *entries;              /* owning: 6 * num_entries bytes, or null */
    int32_t *primary_grid;         /* owning: width * height values, row-major, or null */
    uint32_t *secondary_grid;      /* owning: secondary width * height 4-byte values as stored, or null */
} cmc_phase_difference;

/* One pipe compand or decompand curve (slots 59 and 60, record 35). The two slots hold the same knee
 * points the other way round; the point widths depend on the slot:
 *   slot 59, compand:   input_points uint32_t[n + 1], output_points uint16_t[n + 1],
 *                       segment_values uint16_t[n];
 *   slot 60, decompand: input_points uint16_t[n + 1], output_points uint32_t[n + 1],
 *                       segment_values uint32_t[n].
 * Each structure owns its own three arrays. 48 bytes. */
typedef struct cmc_pipe_compand_decompand {
    record_header header;
    uint8_t control_byte;
    uint32_t control_word;
    uint8_t num_segments; /* n */
    void *input_points;
    void *output_points;
    void *segment_values;
} cmc_pipe_compand_decompand;

/* Sensor decompand curve (slot 61, record 36). 32 bytes. */
typedef struct cmc_sensor_decompand {
    record_header header;
    uint8_t control_byte;
    uint16_t control_value;
    uint8_t first_setting;
    uint8_t second_setting;
    uint8_t num_points;      /* n */
    uint16_t *input_points;  /* owning: n values */
    uint32_t *output_points; /* owning: n values */
} cmc_sensor_decompand;

/* The cbd tables (slot 64, record 38). 32 bytes. */
typedef struct cmc_cbd {
    record_header header;
    uint8_t control_byte;
    uint8_t num_values;      /* n */
    uint32_t *first_table;   /* owning: n 4-byte values as stored */
    uint32_t *second_table;  /* owning: n 4-byte values as stored */
} cmc_cbd;

/* Four-plane grid (slot 53, record 29): the record's first 20 bytes, then four planes of
 * grid_width * grid_height 4-byte values in one buffer owned through planes[0]. 56 bytes. */
typedef struct cmc_four_plane_grid {
    record_header header;
    uint8_t leading_word[4];
    uint16_t grid_width;
    uint16_t grid_height;
    uint8_t trailing_word[4];
    uint32_t *planes[4]; /* planes[k] = planes[0] + k * grid_width * grid_height */
} cmc_four_plane_grid;

/* Versioned settings block (slot 66, record 40). Fields the record's version does not carry are zero.
 * 312 bytes. */
typedef struct cmc_block_settings {
    record_header header;
    uint8_t base_word[4];
    uint8_t first_word[4];     /* version 101 and up */
    uint8_t first_half[2];     /* version 101 and up */
    uint8_t first_block[128];  /* version 101 and up */
    uint8_t middle_block[16];  /* version 102 and up */
    uint8_t blob_length;       /* version 102 and up: bytes in blob */
    uint8_t *blob;             /* owning: blob_length bytes (version 102 and up), or null */
    uint8_t tail_byte;         /* version 103 and up */
    uint8_t tail_fields[6];    /* version 104 and up: a 4-byte then a 2-byte value */
    uint8_t second_block[128]; /* version 104 and up */
} cmc_block_settings;

/* Releases both pipe curves of record 35: for each argument that is non-null, its input_points,
 * output_points, segment_values, then the structure. Either argument may be null. */
OZ_API void cmc_pipe_compand_decompand_deinit(cmc_pipe_compand_decompand *compand,
                                              cmc_pipe_compand_decompand *decompand);

/* Releases a sensor decompand curve: input_points, output_points, the structure. Null does nothing. */
OZ_API void cmc_sensor_decompand_deinit(cmc_sensor_decompand *curve);

/* Releases the cbd tables: first_table, second_table, the structure. Null does nothing. */
OZ_API void cmc_cbd_deinit(cmc_cbd *cbd);

#ifdef __cplusplus
}
#endif

#endif /* OZ_CMC_CORRECTION_H */
