/* Compiles every public header as C99 (-pedantic -Werror) and pins the layouts that callers rely on.
 * Layout drift fails the build; the program itself calls the parser through the shared library. */
#include <stddef.h>

#include "oz_cmc.h"

#include "static_assert.h"

STATIC_ASSERT(sizeof(binary_data) == 16, "binary_data is 16 bytes");
STATIC_ASSERT(offsetof(binary_data, data) == 0, "binary_data.data at 0");
STATIC_ASSERT(offsetof(binary_data, size) == 8, "binary_data.size at 8");

STATIC_ASSERT(sizeof(record_header) == 8, "record_header is 8 bytes");
STATIC_ASSERT(offsetof(record_header, size) == 0, "record_header.size at 0");
STATIC_ASSERT(offsetof(record_header, version) == 4, "record_header.version at 4");
STATIC_ASSERT(offsetof(record_header, reserved) == 5, "record_header.reserved at 5");
STATIC_ASSERT(offsetof(record_header, id) == 6, "record_header.id at 6");

STATIC_ASSERT(sizeof(cmc_data) == 70 * 8, "cmc_data is 70 slots");
STATIC_ASSERT(offsetof(cmc_data, slot[CMC_SLOT_TEXT_RECORD]) == 0, "slot 0 at 0");
STATIC_ASSERT(offsetof(cmc_data, slot[CMC_SLOT_RECORD2]) == 4 * 8, "slot 4 at 32");
STATIC_ASSERT(offsetof(cmc_data, slot[CMC_SLOT_LENS_SHADING]) == 54 * 8, "slot 54 at 432");
STATIC_ASSERT(offsetof(cmc_data, slot[CMC_SLOT_LENS_SHADING_RATIO]) == 57 * 8, "slot 57 at 456");
STATIC_ASSERT(offsetof(cmc_data, slot[CMC_SLOT_OTHERS]) == 65 * 8, "slot 65 at 520");
STATIC_ASSERT(offsetof(cmc_data, slot[CMC_SLOT_CONTAINER]) == 69 * 8, "slot 69 at 552");
STATIC_ASSERT(CMC_SLOT_COUNT == 70, "70 slots");

STATIC_ASSERT(sizeof(cmc_text_pair) == 16, "text pair: two pointers");
STATIC_ASSERT(sizeof(others_data) == 140, "others_data is 140 bytes");
STATIC_ASSERT(offsetof(others_data, trailing_value) == 8, "others trailing value at 8");
STATIC_ASSERT(offsetof(others_data, entries) == 12, "others entries at 12");

STATIC_ASSERT(sizeof(nvm_data) == 128, "nvm_data is 128 bytes");
STATIC_ASSERT(offsetof(nvm_data, lsc_table_count) == 40, "nvm lsc_table_count at 40");
STATIC_ASSERT(offsetof(nvm_data, lsc_grid_width) == 64, "nvm lsc_grid_width at 64");
STATIC_ASSERT(offsetof(nvm_data, lsc_grid_height) == 65, "nvm lsc_grid_height at 65");
STATIC_ASSERT(offsetof(nvm_data, lsc_tables) == 72, "nvm lsc_tables at 72");
STATIC_ASSERT(offsetof(nvm_data, has_phase_difference) == 112, "nvm has_phase_difference at 112");
STATIC_ASSERT(offsetof(nvm_data, phase_difference) == 120, "nvm phase_difference at 120");
STATIC_ASSERT(sizeof(nvm_lsc_table) == 40, "nvm_lsc_table is 40 bytes");
STATIC_ASSERT(offsetof(nvm_lsc_table, channel_grids) == 8, "channel grids at 8");
STATIC_ASSERT(sizeof(nvm_phase_difference) == 32, "nvm_phase_difference is 32 bytes");
STATIC_ASSERT(offsetof(nvm_phase_difference, pd_grid_width) == 16, "pd width at 16");
STATIC_ASSERT(offsetof(nvm_phase_difference, pd_fraction_bits) == 18, "pd fraction bits at 18");
STATIC_ASSERT(offsetof(nvm_phase_difference, pd_values) == 24, "pd values at 24");

STATIC_ASSERT(sizeof(cmc_lens_shading_light_source) == 152, "lsc light source is 152 bytes");
STATIC_ASSERT(offsetof(cmc_lens_shading_light_source, fraction_bits) == 20, "fraction_bits at 20");
STATIC_ASSERT(offsetof(cmc_lens_shading_light_source, tables) == 24, "tables at 24");
STATIC_ASSERT(sizeof(cmc_lens_shading4x4) == 40, "cmc_lens_shading4x4 is 40 bytes");
STATIC_ASSERT(offsetof(cmc_lens_shading4x4, channel_map) == 8, "channel_map at 8");
STATIC_ASSERT(offsetof(cmc_lens_shading4x4, num_light_sources) == 24, "num_light_sources at 24");
STATIC_ASSERT(offsetof(cmc_lens_shading4x4, width) == 26, "width at 26");
STATIC_ASSERT(offsetof(cmc_lens_shading4x4, light_sources) == 32, "light_sources at 32");
STATIC_ASSERT(sizeof(cmc_lens_shading_ratio_light_source) == 160, "ratio light source is 160 bytes");
STATIC_ASSERT(offsetof(cmc_lens_shading_ratio_light_source, nvm_source_index) == 152, "index at 152");
STATIC_ASSERT(sizeof(cmc_lens_shading_ratio) == 40, "cmc_lens_shading_ratio is 40 bytes");

STATIC_ASSERT(sizeof(upscaled_lsc_tables) == 16, "upscaled_lsc_tables is 16 bytes");
STATIC_ASSERT(offsetof(upscaled_lsc_tables, tables) == 8, "tables at 8");

int main(void) {
    /* A null descriptor is rejected without touching anything. */
    cmc_data *cmc = oz_cmc_parser_init(NULL);
    oz_cmc_parser_deinit(cmc);
    return cmc == NULL ? 0 : 1;
}
