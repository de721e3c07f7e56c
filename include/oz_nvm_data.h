/* Read-only view of the module calibration as parsed by the NVM library (`oz_nvm_parse`).
 * The layout belongs to that library; the offsets below are fixed and checked at compile time.
 * Bytes that are not named are reserved and zero. C99 and C++. */
#ifndef OZ_NVM_DATA_H
#define OZ_NVM_DATA_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One module lens-shading table (one light source), 40 bytes. */
typedef struct nvm_lsc_table {
    uint8_t fraction_bits;   /* 0: fractional bits of the samples; <= 8: u8 samples, else u16 */
    uint8_t reserved[7];     /* 1 */
    void *channel_grids[4];  /* 8: four grids of width x height samples, row-major, host byte order */
} nvm_lsc_table;

/* The module's phase-difference map, 32 bytes. */
typedef struct nvm_phase_difference {
    uint8_t reserved0[16];    /* 0 */
    uint8_t pd_grid_width;    /* 16 */
    uint8_t pd_grid_height;   /* 17 */
    uint8_t pd_fraction_bits; /* 18 */
    uint8_t reserved1[5];     /* 19 */
    int32_t *pd_values;       /* 24: width x height values, row-major; null when the map is empty */
} nvm_phase_difference;

/* The parsed calibration, 128 bytes. */
typedef struct nvm_data {
    uint8_t reserved0[40];                  /* 0 */
    uint8_t lsc_table_count;                /* 40: entries of lsc_tables (one per light source) */
    uint8_t reserved1[23];                  /* 41 */
    uint8_t lsc_grid_width;                 /* 64: columns of every shading grid */
    uint8_t lsc_grid_height;                /* 65: rows of every shading grid */
    uint8_t reserved2[6];                   /* 66 */
    nvm_lsc_table *lsc_tables;              /* 72: lsc_table_count tables, null when the count is 0 */
    uint8_t reserved3[32];                  /* 80 */
    uint8_t has_phase_difference;           /* 112: 1 when the blob carried a phase-difference map */
    uint8_t reserved4[7];                   /* 113 */
    nvm_phase_difference *phase_difference; /* 120: the map, or null */
} nvm_data;

#ifdef __cplusplus
}
#endif

#endif /* OZ_NVM_DATA_H */
