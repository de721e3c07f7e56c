/* liboz_cmc_parser: parser entry points and the characterization result `cmc_data`.
 *
 * A tuning container is a 24-byte header followed by records. `oz_cmc_parser_init_v1` validates it
 * (total size and word checksum), decodes every characterization record (ids 1 to 42) into the slots of
 * a new `cmc_data`, merges the module's lens-shading calibration when a calibration blob is given, and
 * returns the result. The caller owns the result and gives it back to `oz_cmc_parser_deinit`.
 * C99 and C++. */
#ifndef OZ_CMC_PARSER_H
#define OZ_CMC_PARSER_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Slots of `cmc_data`. Each slot holds an owning pointer (released by oz_cmc_parser_deinit), a pointer
 * into an owning slot (never released by itself), or, in slots 2 and 19, small values stored in the
 * slot's own bytes. A null slot means the record kind was absent or rejected. The comment of each slot
 * names the record id that fills it. */
enum cmc_slot {
    CMC_SLOT_TEXT_RECORD = 0,             /* id 1, owning: the record copy */
    CMC_SLOT_TEXT = 1,                    /* id 1, into slot 0: NUL-terminated text at byte 24 */
    CMC_SLOT_TEXT_PAIR_COUNT = 2,         /* id 1, value: u16 pair count in the slot's first 2 bytes */
    CMC_SLOT_TEXT_PAIRS = 3,              /* id 1, owning: table of (key, value) string pointers */
    CMC_SLOT_RECORD2 = 4,                 /* id 2, owning: the 36-byte record-2 structure */
    CMC_SLOT_UNUSED_5 = 5,                /* never filled */
    CMC_SLOT_UNUSED_6 = 6,                /* never filled */
    CMC_SLOT_RECORD5 = 7,                 /* id 5, owning: the record copy */
    CMC_SLOT_RECORD6 = 8,                 /* id 6, owning: the record copy */
    CMC_SLOT_RECORD6_VALUES = 9,          /* id 6, into slot 8: the u16 values at byte 16 */
    CMC_SLOT_RECORD7 = 10,                /* id 7, owning: the record copy */
    CMC_SLOT_RECORD8 = 11,                /* id 8, owning: the record copy */
    CMC_SLOT_RECORD9 = 12,                /* id 9, owning: the record copy, decoded in place */
    CMC_SLOT_LSC_LEGACY = 13,             /* id 10, owning: the legacy lens-shading record copy */
    CMC_SLOT_LSC_LEGACY_1 = 14,           /* id 10, into slot 13 */
    CMC_SLOT_LSC_LEGACY_2 = 15,           /* id 10, into slot 13 */
    CMC_SLOT_LSC_LEGACY_3 = 16,           /* id 10, into slot 13 */
    CMC_SLOT_RECORD13 = 17,               /* id 13, owning: the record copy */
    CMC_SLOT_RECORD13_ARRAY = 18,         /* id 13, owning: copy of the record's u16 array */
    CMC_SLOT_RECORD13_VALUES = 19,        /* id 13, values: four u16 (A, B, C, D) in the slot's bytes */
    CMC_SLOT_RECORD14 = 20,               /* id 14, owning: the record copy */
    CMC_SLOT_RECORD14_ENTRIES = 21,       /* id 14, into slot 20: the entry array at byte 14 */
    CMC_SLOT_RECORD15 = 22,               /* id 15, owning: the record copy */
    CMC_SLOT_RECORD15_SAMPLES = 23,       /* id 15, owning: the sample table (nested) */
    CMC_SLOT_RECORD15_FLAGS = 24,         /* id 15, owning: the flag block (nested) */
    CMC_SLOT_RECORD15_UNUSED = 25,        /* id 15, never filled */
    CMC_SLOT_RECORD15_TABLE_A = 26,       /* id 15, into slot 22 */
    CMC_SLOT_RECORD15_TABLE_B = 27,       /* id 15, into slot 22 */
    CMC_SLOT_RECORD15_TABLE_C = 28,       /* id 15, into slot 22 */
    CMC_SLOT_RECORD15_TABLE_D = 29,       /* id 15, into slot 22 */
    CMC_SLOT_RECORD16 = 30,               /* id 16, owning: the record copy */
    CMC_SLOT_RECORD16_ENTRIES = 31,       /* id 16, into slot 30 */
    CMC_SLOT_RECORD17 = 32,               /* id 17, owning: the record copy */
    CMC_SLOT_RECORD17_EXTENSION = 33,     /* id 17, into slot 32: upscaling_method at byte 14 (v101+) */
    CMC_SLOT_RECORD18 = 34,               /* id 18, owning: the record copy */
    CMC_SLOT_RECORD18_ENTRIES = 35,       /* id 18, into slot 34 */
    CMC_SLOT_RECORD18_TRAILER = 36,       /* id 18, into slot 34 (v101+) */
    CMC_SLOT_RECORD19 = 37,               /* id 19, owning: the record copy */
    CMC_SLOT_RECORD19_TABLE1 = 38,        /* id 19, into slot 37: b entries of 28 bytes */
    CMC_SLOT_RECORD19_TABLE2 = 39,        /* id 19, into slot 37: a entries of 8 bytes */
    CMC_SLOT_RECORD20 = 40,               /* id 20, owning: the record copy */
    CMC_SLOT_RECORD20_TABLE_HEADER = 41,  /* id 20, into slot 40: kind at byte 14, n at 16 (v102+) */
    CMC_SLOT_RECORD20_TABLE = 42,         /* id 20, into slot 40: n entries of 8 bytes */
    CMC_SLOT_GEOMETRIC_DISTORTION = 43,   /* id 22, owning: cmc_geometric_distortion2 */
    CMC_SLOT_RECORD23 = 44,               /* id 23, owning: the record copy */
    CMC_SLOT_RECORD24 = 45,               /* id 24, owning: the record-24 structure (nested) */
    CMC_SLOT_RECORD21 = 46,               /* id 21, owning: the record copy */
    CMC_SLOT_RECORD25 = 47,               /* id 25, owning: the record copy (released with slot 49) */
    CMC_SLOT_RECORD25_LEADING = 48,       /* id 25, into slot 47 */
    CMC_SLOT_RECORD25_TABLE = 49,         /* id 25, owning: entry table built from the record */
    CMC_SLOT_RECORD26 = 50,               /* id 26, owning: the record-26 structure */
    CMC_SLOT_RECORD27 = 51,               /* id 27, owning: the record-27 structure (nested) */
    CMC_SLOT_PHASE_DIFFERENCE = 52,       /* id 30, owning: cmc_phase_difference */
    CMC_SLOT_FOUR_PLANE_GRID = 53,        /* id 29, owning: cmc_four_plane_grid */
    CMC_SLOT_LENS_SHADING = 54,           /* id 10 or 28, owning: cmc_lens_shading4x4 */
    CMC_SLOT_RECORD31 = 55,               /* id 3 or 31, owning: the record-31 in-memory form */
    CMC_SLOT_VALID_AREA = 56,             /* id 32, owning: the record copy, decoded in place */
    CMC_SLOT_LENS_SHADING_RATIO = 57,     /* id 11 or 33, owning: cmc_lens_shading_ratio */
    CMC_SLOT_RECORD34 = 58,               /* id 34 or built by init, owning: the record-34 form */
    CMC_SLOT_PIPE_COMPAND = 59,           /* id 35, owning: cmc_pipe_compand_decompand (compand) */
    CMC_SLOT_PIPE_DECOMPAND = 60,         /* id 35, owning: cmc_pipe_compand_decompand (decompand) */
    CMC_SLOT_SENSOR_DECOMPAND = 61,       /* id 36, owning: cmc_sensor_decompand */
    CMC_SLOT_RECORD37 = 62,               /* id 37, owning: the record copy */
    CMC_SLOT_RECORD39 = 63,               /* id 39, owning: the record copy */
    CMC_SLOT_CBD = 64,                    /* id 38, owning: cmc_cbd */
    CMC_SLOT_OTHERS = 65,                 /* id 722, owning: others_data (oz_kovb_others_parser_init) */
    CMC_SLOT_BLOCK_SETTINGS = 66,         /* id 40, owning: cmc_block_settings */
    CMC_SLOT_RECORD41 = 67,               /* id 41, owning: copy of the record's first 28 bytes */
    CMC_SLOT_RECORD42 = 68,               /* id 42, owning: copy of the record's first 276 bytes */
    CMC_SLOT_CONTAINER = 69,              /* init, non-owning: the container descriptor given to init */
    CMC_SLOT_COUNT = 70
};

/* The characterization result: 70 pointer-sized slots, slot k at byte 8*k. Slot 69 keeps the
 * container descriptor pointer that init was given (a `const binary_data *`); the library does not
 * read it after init returns, and it stays the caller's. */
typedef struct cmc_data {
    void *slot[CMC_SLOT_COUNT];
} cmc_data;

/* One key/value pair of the text record (slot 3 holds `text_pair_count` of them). Both strings are
 * NUL-terminated and point into the record copy in slot 0. */
typedef struct cmc_text_pair {
    const char *key;
    const char *value;
} cmc_text_pair;

/* The others record (id 722), as stored in slot 65 by oz_kovb_others_parser_init. 140 bytes. */
typedef struct others_data {
    uint32_t first_value;    /* the record's u32 at byte 8 */
    uint32_t entry_count;    /* the record's entry count, at most 16 */
    uint32_t trailing_value; /* the u32 after the kept entries (version 102 and up), else 2 */
    uint8_t entries[16][8];  /* the first entry_count entries of 8 bytes; the rest zero */
} others_data;

/* Validates the tuning container and decodes its records into a new result.
 * container:   the container descriptor (borrowed; null or a null data pointer gives null).
 * calibration: the module calibration blob, or null. A null data pointer or a size of 0 is treated as
 *              absent. When it parses, the module's lens-shading gains are merged into slot 54.
 * Returns the result, or null when the container is rejected (size field different from the
 * descriptor's size, checksum matching neither form, fewer than 24 bytes) or the result itself cannot
 * be allocated; nothing stays allocated then. Records that cannot be decoded never make init fail:
 * their slots stay null. Release the result with oz_cmc_parser_deinit. */
OZ_API cmc_data *oz_cmc_parser_init_v1(const binary_data *container, const binary_data *calibration);

/* oz_cmc_parser_init_v1(container, NULL). */
OZ_API cmc_data *oz_cmc_parser_init(const binary_data *container);

/* Releases a result and everything its owning slots reach. Null does nothing. */
OZ_API void oz_cmc_parser_deinit(cmc_data *cmc);

/* Finds the first others record (id 722) of the container and stores a new `others_data` in slot 65
 * of `cmc`, releasing the structure an earlier call stored there. The container is not validated
 * again; a container or record too short to hold what it announces leaves slot 65 unchanged. */
OZ_API void oz_kovb_others_parser_init(const binary_data *container, cmc_data *cmc);

#ifdef __cplusplus
}
#endif

#endif /* OZ_CMC_PARSER_H */
