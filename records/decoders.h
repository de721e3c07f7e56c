// The decoder of every record kind, one per id, grouped by family. cmc_parse dispatches to them.
#pragma once

#include "records/decode.h"

namespace oz {

// Text record (records/text.cc).
uint32_t decode_record_1_text(RecordCopy &rec, DecodeContext &ctx);

// General records kept in place or copied (records/plain.cc).
uint32_t decode_record_2_frame_info(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_5_plain(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_6_sections(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_7_plain(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_8_plain(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_13_array_values(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_14_stepped_table(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_16_entries(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_17_orientation(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_18_entries(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_19_response_tables(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_20_response_values(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_21_plain(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_23_plain(RecordCopy &rec, DecodeContext &ctx);

// General records decoded by the container library, and record 3 converted to record 31's form
// (records/container_decoded.cc).
uint32_t decode_record_3_fixed_point(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_9_container(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_31_container(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_34_response_curve(RecordCopy &rec, DecodeContext &ctx);

// General records with built tables (records/built_tables.cc), and the release routines of the
// nested slots they fill (rows of the release order in records/slots.cc).
uint32_t decode_record_15_tables(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_24_entries(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_25_entry_table(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_26_float_groups(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_27_planes(RecordCopy &rec, DecodeContext &ctx);
void release_record15_samples(cmc_data *cmc, int slot);  // slot 23
void release_record15_flags(cmc_data *cmc, int slot);    // slot 24
void release_record24(cmc_data *cmc, int slot);          // slot 45
void release_record25(cmc_data *cmc, int slot);          // slot 47, with slot 49 first
void release_record27(cmc_data *cmc, int slot);          // slot 51

// Correction-table records.
// Lens shading (records/lens_shading.cc).
uint32_t decode_record_10_lens_shading(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_28_lens_shading4x4(RecordCopy &rec, DecodeContext &ctx);
// Lens-shading ratios (records/lens_shading_ratio.cc).
uint32_t decode_record_11_lens_shading_ratio(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_33_lens_shading_ratio4x4(RecordCopy &rec, DecodeContext &ctx);
// Geometric distortion (records/geometric_distortion.cc).
uint32_t decode_record_22_geometric_distortion(RecordCopy &rec, DecodeContext &ctx);
// Phase difference (records/phase_difference.cc).
uint32_t decode_record_30_phase_difference(RecordCopy &rec, DecodeContext &ctx);
// Compand/decompand curves and cbd tables (records/compand.cc).
uint32_t decode_record_35_pipe_compand_decompand(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_36_sensor_decompand(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_38_cbd(RecordCopy &rec, DecodeContext &ctx);
// Other correction records (records/other_correction.cc).
uint32_t decode_record_29_four_plane_grid(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_32_valid_area(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_37_kept(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_39_kept(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_40_block_settings(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_41_fixed_copy(RecordCopy &rec, DecodeContext &ctx);
uint32_t decode_record_42_fixed_copy(RecordCopy &rec, DecodeContext &ctx);

}  // namespace oz
