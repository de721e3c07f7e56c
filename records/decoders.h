// The decoder of every record kind, one per id, grouped by family. cmc_parse dispatches to them.
#pragma once

#include "records/decode.h"

namespace oz {

// Text record (records/text.cc).
uint32_t decode_record_1_text(RecordCopy &rec, DecodeContext &ctx);

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
