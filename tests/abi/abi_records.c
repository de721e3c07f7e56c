/* Pins the layouts of the general record structures (oz_cmc_records.h) that callers read in place. */
#include <stddef.h>

#include "oz_cmc_records.h"

#include "static_assert.h"

STATIC_ASSERT(sizeof(cmc_record2) == 36, "record-2 structure is 36 bytes");
STATIC_ASSERT(offsetof(cmc_record2, frame_width) == 8, "record 2 frame width at 8");
STATIC_ASSERT(offsetof(cmc_record2, frame_height) == 10, "record 2 frame height at 10");
STATIC_ASSERT(offsetof(cmc_record2, base_value) == 12, "record 2 base value at 12");
STATIC_ASSERT(offsetof(cmc_record2, cfa_pattern) == 14, "record 2 cfa_pattern at 14");
STATIC_ASSERT(offsetof(cmc_record2, value_v101) == 16, "record 2 value at 16");
STATIC_ASSERT(offsetof(cmc_record2, opaque_v102) == 18, "record 2 opaque bytes at 18");
STATIC_ASSERT(offsetof(cmc_record2, value_v103) == 34, "record 2 value at 34");

STATIC_ASSERT(sizeof(cmc_record31) == 24, "record-31 head is 24 bytes");
STATIC_ASSERT(offsetof(cmc_record31, entry_count) == 8, "record 31 count at 8");
STATIC_ASSERT(offsetof(cmc_record31, entries) == 16, "record 31 entry pointer at 16");
STATIC_ASSERT(sizeof(cmc_record31_entry) == 72, "record-31 entry is 72 bytes");
STATIC_ASSERT(offsetof(cmc_record31_entry, value1) == 4, "record 31 value 1 at 4");
STATIC_ASSERT(offsetof(cmc_record31_entry, value3) == 12, "record 31 value 3 at 12");
STATIC_ASSERT(offsetof(cmc_record31_entry, value4) == 24, "record 31 value 4 at 24");
STATIC_ASSERT(offsetof(cmc_record31_entry, value5) == 28, "record 31 value 5 at 28");
STATIC_ASSERT(offsetof(cmc_record31_entry, zero32) == 32, "record 31 zero tail at 32");

STATIC_ASSERT(sizeof(cmc_record34) == 32, "record-34 head is 32 bytes");
STATIC_ASSERT(offsetof(cmc_record34, entry_count) == 8, "record 34 count at 8");
STATIC_ASSERT(offsetof(cmc_record34, entries) == 16, "record 34 entry pointer at 16");
STATIC_ASSERT(sizeof(cmc_record34_entry) == 40, "record-34 entry is 40 bytes");
STATIC_ASSERT(offsetof(cmc_record34_entry, value) == 4, "record 34 entry value at 4");
STATIC_ASSERT(offsetof(cmc_record34_entry, item_count) == 8, "record 34 item count at 8");
STATIC_ASSERT(offsetof(cmc_record34_entry, pair_count) == 12, "record 34 pair count at 12");
STATIC_ASSERT(offsetof(cmc_record34_entry, items) == 16, "record 34 items at 16");
STATIC_ASSERT(offsetof(cmc_record34_entry, pairs) == 24, "record 34 pairs at 24");
STATIC_ASSERT(offsetof(cmc_record34_entry, block) == 32, "record 34 block at 32");
STATIC_ASSERT(sizeof(cmc_record34_item) == 32, "record-34 item is 32 bytes");
STATIC_ASSERT(offsetof(cmc_record34_item, bytes8) == 8, "item bytes 8 at 8");
STATIC_ASSERT(offsetof(cmc_record34_item, bytes16) == 16, "item bytes 16 at 16");
STATIC_ASSERT(offsetof(cmc_record34_item, bytes20) == 20, "item bytes 20 at 20");
STATIC_ASSERT(offsetof(cmc_record34_item, zero28) == 28, "item zero at 28");
STATIC_ASSERT(sizeof(cmc_record34_pair) == 8, "record-34 pair is 8 bytes");
STATIC_ASSERT(sizeof(cmc_record34_block) == 8, "record-34 block is 8 bytes");

STATIC_ASSERT(sizeof(cmc_record15_sample) == 32, "record-15 sample is 32 bytes");
STATIC_ASSERT(offsetof(cmc_record15_sample, series1) == 16, "series 1 at 16");
STATIC_ASSERT(offsetof(cmc_record15_sample, series2) == 24, "series 2 at 24");
STATIC_ASSERT(sizeof(cmc_record15_sample_table) == 16, "record-15 sample table is 16 bytes");
STATIC_ASSERT(offsetof(cmc_record15_sample_table, samples) == 8, "samples at 8");
STATIC_ASSERT(sizeof(cmc_record15_flag_block) == 16, "record-15 flag block is 16 bytes");
STATIC_ASSERT(offsetof(cmc_record15_flag_block, table) == 8, "table E at 8");

STATIC_ASSERT(sizeof(cmc_record24) == 24, "record-24 structure is 24 bytes");
STATIC_ASSERT(offsetof(cmc_record24, entry_count) == 14, "record 24 count at 14");
STATIC_ASSERT(offsetof(cmc_record24, entries) == 16, "record 24 entries at 16");
STATIC_ASSERT(sizeof(cmc_record24_entry) == 24, "record-24 entry is 24 bytes");
STATIC_ASSERT(offsetof(cmc_record24_entry, data) == 16, "record 24 entry data at 16");

STATIC_ASSERT(sizeof(cmc_record25_item) == 56, "record-25 item is 56 bytes");
STATIC_ASSERT(offsetof(cmc_record25_item, values) == 8, "record 25 values at 8");
STATIC_ASSERT(offsetof(cmc_record25_item, zero44) == 44, "record 25 zero at 44");
STATIC_ASSERT(offsetof(cmc_record25_item, blocks) == 48, "record 25 blocks at 48");

STATIC_ASSERT(sizeof(cmc_record26) == 64, "record-26 structure is 16 words");
STATIC_ASSERT(offsetof(cmc_record26, value0) == 8, "record 26 value 0 at 8");
STATIC_ASSERT(offsetof(cmc_record26, group0) == 16, "record 26 group 0 at word 4");
STATIC_ASSERT(offsetof(cmc_record26, group1) == 40, "record 26 group 1 at word 10");

STATIC_ASSERT(sizeof(cmc_record27) == 24, "record-27 structure is 24 bytes");
STATIC_ASSERT(offsetof(cmc_record27, entries) == 8, "record 27 entries at 8");
STATIC_ASSERT(offsetof(cmc_record27, trailing_table) == 16, "record 27 trailing table at 16");
STATIC_ASSERT(sizeof(cmc_record27_entry) == 16, "record-27 entry is 16 bytes");
