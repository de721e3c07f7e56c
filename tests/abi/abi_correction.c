/* Layouts of the correction-table structures (slots 43, 52 to 54, 57, 59 to 61, 64, 66) that callers
 * read directly. */
#include <stddef.h>

#include "oz_cmc.h"

#include "static_assert.h"

STATIC_ASSERT(sizeof(cmc_parsed_lens_shading) == 32, "legacy view is four pointers");
STATIC_ASSERT(offsetof(cmc_parsed_lens_shading, extension) == 24, "extension at 24");

STATIC_ASSERT(sizeof(cmc_geometric_distortion_grid) == 24, "distortion grid is 24 bytes");
STATIC_ASSERT(offsetof(cmc_geometric_distortion_grid, plane_a) == 8, "plane_a at 8");
STATIC_ASSERT(offsetof(cmc_geometric_distortion_grid, plane_b) == 16, "plane_b at 16");
STATIC_ASSERT(sizeof(cmc_geometric_distortion_list) == 24, "distortion list is 24 bytes");
STATIC_ASSERT(offsetof(cmc_geometric_distortion_list, list_kind) == 8, "list_kind at 8");
STATIC_ASSERT(offsetof(cmc_geometric_distortion_list, num_values) == 12, "num_values at 12");
STATIC_ASSERT(offsetof(cmc_geometric_distortion_list, values) == 16, "values at 16");
STATIC_ASSERT(sizeof(cmc_geometric_distortion2) == 1128, "cmc_geometric_distortion2 is 1128 bytes");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, grid_size_a) == 4, "grid_size_a at 4");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, grid_size_b) == 6, "grid_size_b at 6");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, head_value_b) == 8, "head_value_b at 8");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, num_grids) == 12, "num_grids at 12");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, table_set_value) == 16, "table_set_value at 16");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, num_tables) == 20, "num_tables at 20");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, current_table) == 24, "current_table at 24");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, grids) == 1064, "grids at 1064");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, tables) == 1072, "tables at 1072");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, list_set_value) == 1080, "list_set_value at 1080");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, num_lists) == 1084, "num_lists at 1084");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, lists) == 1088, "lists at 1088");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, list_extras) == 1096, "list_extras at 1096");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, trailer_word) == 1104, "trailer_word at 1104");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, trailer_byte) == 1108, "trailer_byte at 1108");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, trailer_pair) == 1112, "trailer_pair at 1112");
STATIC_ASSERT(offsetof(cmc_geometric_distortion2, trailer_flag) == 1120, "trailer_flag at 1120");

STATIC_ASSERT(sizeof(cmc_phase_difference) == 56, "cmc_phase_difference is 56 bytes");
STATIC_ASSERT(offsetof(cmc_phase_difference, leading_values) == 8, "leading_values at 8");
STATIC_ASSERT(offsetof(cmc_phase_difference, num_entries) == 16, "num_entries at 16");
STATIC_ASSERT(offsetof(cmc_phase_difference, middle_value) == 18, "middle_value at 18");
STATIC_ASSERT(offsetof(cmc_phase_difference, primary_grid_width) == 22, "primary width at 22");
STATIC_ASSERT(offsetof(cmc_phase_difference, primary_grid_height) == 24, "primary height at 24");
STATIC_ASSERT(offsetof(cmc_phase_difference, secondary_grid_width) == 26, "secondary width at 26");
STATIC_ASSERT(offsetof(cmc_phase_difference, secondary_grid_height) == 28, "secondary height at 28");
STATIC_ASSERT(offsetof(cmc_phase_difference, entries) == 32, "entries at 32");
STATIC_ASSERT(offsetof(cmc_phase_difference, primary_grid) == 40, "primary_grid at 40");
STATIC_ASSERT(offsetof(cmc_phase_difference, secondary_grid) == 48, "secondary_grid at 48");

STATIC_ASSERT(sizeof(cmc_pipe_compand_decompand) == 48, "pipe curve is 48 bytes");
STATIC_ASSERT(offsetof(cmc_pipe_compand_decompand, control_byte) == 8, "control_byte at 8");
STATIC_ASSERT(offsetof(cmc_pipe_compand_decompand, control_word) == 12, "control_word at 12");
STATIC_ASSERT(offsetof(cmc_pipe_compand_decompand, num_segments) == 16, "num_segments at 16");
STATIC_ASSERT(offsetof(cmc_pipe_compand_decompand, input_points) == 24, "input_points at 24");
STATIC_ASSERT(offsetof(cmc_pipe_compand_decompand, output_points) == 32, "output_points at 32");
STATIC_ASSERT(offsetof(cmc_pipe_compand_decompand, segment_values) == 40, "segment_values at 40");

STATIC_ASSERT(sizeof(cmc_sensor_decompand) == 32, "sensor decompand is 32 bytes");
STATIC_ASSERT(offsetof(cmc_sensor_decompand, control_value) == 10, "control_value at 10");
STATIC_ASSERT(offsetof(cmc_sensor_decompand, first_setting) == 12, "first_setting at 12");
STATIC_ASSERT(offsetof(cmc_sensor_decompand, second_setting) == 13, "second_setting at 13");
STATIC_ASSERT(offsetof(cmc_sensor_decompand, num_points) == 14, "num_points at 14");
STATIC_ASSERT(offsetof(cmc_sensor_decompand, input_points) == 16, "input_points at 16");
STATIC_ASSERT(offsetof(cmc_sensor_decompand, output_points) == 24, "output_points at 24");

STATIC_ASSERT(sizeof(cmc_cbd) == 32, "cmc_cbd is 32 bytes");
STATIC_ASSERT(offsetof(cmc_cbd, num_values) == 9, "num_values at 9");
STATIC_ASSERT(offsetof(cmc_cbd, first_table) == 16, "first_table at 16");
STATIC_ASSERT(offsetof(cmc_cbd, second_table) == 24, "second_table at 24");

STATIC_ASSERT(sizeof(cmc_four_plane_grid) == 56, "cmc_four_plane_grid is 56 bytes");
STATIC_ASSERT(offsetof(cmc_four_plane_grid, leading_word) == 8, "leading_word at 8");
STATIC_ASSERT(offsetof(cmc_four_plane_grid, grid_width) == 12, "grid_width at 12");
STATIC_ASSERT(offsetof(cmc_four_plane_grid, grid_height) == 14, "grid_height at 14");
STATIC_ASSERT(offsetof(cmc_four_plane_grid, trailing_word) == 16, "trailing_word at 16");
STATIC_ASSERT(offsetof(cmc_four_plane_grid, planes) == 24, "planes at 24");

STATIC_ASSERT(sizeof(cmc_block_settings) == 312, "cmc_block_settings is 312 bytes");
STATIC_ASSERT(offsetof(cmc_block_settings, base_word) == 8, "base_word at 8");
STATIC_ASSERT(offsetof(cmc_block_settings, first_word) == 12, "first_word at 12");
STATIC_ASSERT(offsetof(cmc_block_settings, first_half) == 16, "first_half at 16");
STATIC_ASSERT(offsetof(cmc_block_settings, first_block) == 18, "first_block at 18");
STATIC_ASSERT(offsetof(cmc_block_settings, middle_block) == 146, "middle_block at 146");
STATIC_ASSERT(offsetof(cmc_block_settings, blob_length) == 162, "blob_length at 162");
STATIC_ASSERT(offsetof(cmc_block_settings, blob) == 168, "blob at 168");
STATIC_ASSERT(offsetof(cmc_block_settings, tail_byte) == 176, "tail_byte at 176");
STATIC_ASSERT(offsetof(cmc_block_settings, tail_fields) == 177, "tail_fields at 177");
STATIC_ASSERT(offsetof(cmc_block_settings, second_block) == 183, "second_block at 183");
