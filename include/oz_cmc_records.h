/* liboz_cmc_parser: general characterization records (ids 2, 3, 5 to 9, 13 to 21, 23 to 27, 31, 34):
 * the structures built from them and the in-memory forms of records 31 and 34.
 *
 * Records kept whole (ids 5 to 9, 13, 14, 16 to 21, 23, 25) are read in place through their slots of
 * `cmc_data` (see `enum cmc_slot`); the structures below are those that the library builds. Every
 * structure belongs to the result and is released by oz_cmc_parser_deinit; callers only read them.
 * Multi-byte fields copied from records are in the record's little-endian order, which is the host
 * order on the supported x86-64 targets. A copy of an empty section (zero bytes) is a null pointer.
 * C99 and C++. */
#ifndef OZ_CMC_RECORDS_H
#define OZ_CMC_RECORDS_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Record 2 (slot 4): the record's first bytes, byte k of the structure being byte k of the record.
 * Version 100 carries bytes 0 to 15, 101 bytes 0 to 17, 102 bytes 0 to 33, 103 and up all 36 bytes;
 * the fields a version lacks take `base_value`. A record of a version below 100, or shorter than its
 * version needs (16, 24, 40, 40 bytes), leaves the structure zeroed. 36 bytes. */
typedef struct cmc_record2 {
    record_header header;    /* 0 */
    uint16_t frame_width;    /* 8: read by the valid-area shading upscaling */
    uint16_t frame_height;   /* 10 */
    uint16_t base_value;     /* 12: default of value_v101 and value_v103 */
    uint16_t cfa_pattern;    /* 14: colour-filter layout passed to the ratio correction */
    uint16_t value_v101;     /* 16: from version 101, else base_value */
    uint8_t opaque_v102[16]; /* 18: from version 102, not interpreted; else zero */
    uint16_t value_v103;     /* 34: from version 103, else base_value */
} cmc_record2;

/* Record 3 or 31 (slot 55), one buffer: this 24-byte head, then `entry_count` entries from byte 24.
 * A record 3 is converted into this form (fixed point to float); a record 31 is kept as the container
 * decoder left it, with entries of the same size whose contents are the record's own. */
typedef struct cmc_record31_entry {
    uint32_t value0;       /* 0: record 3 entry u32 at 0, unchanged */
    float value1;          /* 4: record 3 entry u32 at 4 / 65536 */
    float value2;          /* 8: record 3 entry u16 at 8 / 256 */
    float value3;          /* 12: record 3 entry u16 at 10 / 256 */
    uint8_t zero16[8];     /* 16 */
    float value4;          /* 24: record 3 entry u16 at 12 / 256 */
    float value5;          /* 28: record 3 entry u16 at 14 / 256 */
    uint8_t zero32[40];    /* 32 */
} cmc_record31_entry;      /* 72 bytes */

typedef struct cmc_record31 {
    record_header header;        /* size 24 + 72 * entry_count, version 100, id 31 when converted */
    uint32_t entry_count;        /* 8 */
    uint8_t zero12[4];           /* 12 */
    cmc_record31_entry *entries; /* 16: byte 24 of this buffer */
} cmc_record31;                  /* 24 bytes */

/* Record 34 (slot 58), one buffer: this 32-byte head, `entry_count` entries of 40 bytes from byte 32,
 * then a data area holding the entries' tables. Kept as the container decoder left a record 34 (the
 * count bounded to 4), or built by init from records 19 and 20 when the container has no record 34. */
typedef struct cmc_record34_item {
    float value0;      /* 0: record 19 first-table u32 at 0 / 65536 */
    float value1;      /* 4: u32 at 4 / 65536 */
    uint8_t bytes8[8]; /* 8: item bytes 8 to 15, unchanged */
    uint8_t bytes16[4];/* 16: item bytes 16 to 19, unchanged */
    uint8_t bytes20[8];/* 20: item bytes 20 to 27, unchanged */
    uint8_t zero28[4]; /* 28 */
} cmc_record34_item;   /* 32 bytes */

typedef struct cmc_record34_pair {
    float value;  /* u32 at 0 / 65536 */
    uint32_t raw; /* u32 at 4, unchanged */
} cmc_record34_pair;

typedef struct cmc_record34_block {
    uint16_t values[4]; /* record 20: u16 at 8, u16 at 10, u8 at 12, u8 at 13 (widened) */
} cmc_record34_block;

enum cmc_record34_source {
    CMC_RECORD34_FROM_RECORD19 = 0,
    CMC_RECORD34_FROM_RECORD20 = 1
};

enum cmc_record34_form {
    CMC_RECORD34_FORM_TABLE = 2,       /* record 20: `pairs` holds `pair_count` pairs */
    CMC_RECORD34_FORM_FOUR_VALUES = 3  /* record 20: `block` holds the four values */
};

typedef struct cmc_record34_entry {
    uint32_t source;            /* 0: enum cmc_record34_source */
    uint32_t value;             /* 4: record 19: its u16 at 8; record 20: enum cmc_record34_form */
    uint32_t item_count;        /* 8: record 19: b; record 20: 0 */
    uint32_t pair_count;        /* 12: record 19: a; record 20 table form: n; else 0 */
    cmc_record34_item *items;   /* 16: item_count items, or null */
    cmc_record34_pair *pairs;   /* 24: pair_count pairs, or null */
    cmc_record34_block *block;  /* 32: record 20 four-value form, else null */
} cmc_record34_entry;           /* 40 bytes */

typedef struct cmc_record34 {
    record_header header;        /* size of the whole buffer, version 100, id 34 when built */
    uint32_t entry_count;        /* 8: at most 4 */
    uint8_t zero12[4];           /* 12 */
    cmc_record34_entry *entries; /* 16: byte 32 of this buffer */
    uint8_t zero24[8];           /* 24 */
} cmc_record34;                  /* 32 bytes */

/* Record 15, sample table (slot 23): `count` samples, each with its 12-byte head (the u16 at head
 * byte 10 is the series length L) and copies of its two series of L values. */
typedef struct cmc_record15_sample {
    uint8_t head[12];
    uint16_t *series1; /* L values, or null when L is 0 */
    uint16_t *series2; /* L values, or null when L is 0 */
} cmc_record15_sample;  /* 32 bytes */

typedef struct cmc_record15_sample_table {
    uint16_t count;
    cmc_record15_sample *samples;
} cmc_record15_sample_table; /* 16 bytes */

/* Record 15, flag block (slot 24): the flag byte and, when it is 1, a copy of the record's table of
 * n entries of 16 bytes (n at record byte 8). */
typedef struct cmc_record15_flag_block {
    uint8_t flag;
    uint8_t *table; /* n * 16 bytes, or null (flag not 1, or n is 0) */
} cmc_record15_flag_block; /* 16 bytes */

/* Record 24 (slot 45): the record's bytes 0 to 15, then its `entry_count` entries, each with its
 * 16-byte head (the u16 at head byte 2 is K) and a copy of its K * 4 data bytes. When a later entry's
 * data did not fit in the record, that entry has its head and no data, and the entries after it are
 * zero. */
typedef struct cmc_record24_entry {
    uint8_t head[16];
    uint8_t *data; /* K * 4 bytes, or null */
} cmc_record24_entry; /* 24 bytes */

typedef struct cmc_record24 {
    record_header header;
    uint8_t opaque8[6];          /* 8: not interpreted */
    uint16_t entry_count;        /* 14 */
    cmc_record24_entry *entries; /* 16: null when entry_count is 0 */
} cmc_record24; /* 24 bytes */

/* Record 25, entry table (slot 49): one item per entry of the record kept in slot 47 (n entries, n at
 * record byte 8, m at byte 10). The pointers lead into that record. */
typedef struct cmc_record25_item {
    const uint8_t *head;   /* 0: the entry's head (20 bytes up to version 100, 24 from 101) */
    uint8_t values[36];    /* 8: copy of the 36 bytes after the head */
    uint8_t zero44[4];     /* 44 */
    const uint8_t *blocks; /* 48: the entry's m * 36 bytes */
} cmc_record25_item; /* 56 bytes */

/* Record 26 (slot 50): the record's bytes 0 to 15, then two groups of six floats: the record's bytes
 * 16 to 63 from version 101 when it holds them, else (value0, value1, 1, 1, 1, 1) twice. 64 bytes. */
typedef struct cmc_record26 {
    record_header header;
    float value0;    /* 8 */
    float value1;    /* 12 */
    float group0[6]; /* 16 */
    float group1[6]; /* 40 */
} cmc_record26;

/* Record 27 (slot 51): owns the record copy (c entries at byte 24, P planes per entry at 26, H at 28,
 * W at 30) and, per entry, copies of its 20-byte head and of its P planes of W * H samples. */
typedef struct cmc_record27_entry {
    uint8_t *head;     /* 20 bytes, or null when it could not be allocated */
    uint16_t *samples; /* room for 3 planes of W * H; the first P filled. Null when W * H is 0 or it
                          could not be allocated */
} cmc_record27_entry; /* 16 bytes */

typedef struct cmc_record27 {
    uint8_t *record;                /* 0: the record copy */
    cmc_record27_entry *entries;    /* 8: c entries, null when c is 0 */
    const uint8_t *trailing_table;  /* 16: c * 16 bytes in the record (version 101 and up), or null */
} cmc_record27; /* 24 bytes */

#ifdef __cplusplus
}
#endif

#endif /* OZ_CMC_RECORDS_H */
