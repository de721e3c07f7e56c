// cmc_parse: dispatch of one record copy to the decoder of its id.
#include <cstdint>

#include "records/decode.h"
#include "records/decoders.h"

namespace oz {

RecordCopy::RecordCopy(uint8_t *owned) : data_(owned) {
    // The walk guarantees at least the 8 header bytes and a buffer of exactly `size` bytes; the header
    // is read through the bounded reader all the same.
    ByteReader header(owned, 8);
    size_ = header.u32(0);
    version_ = header.u8(4);
    id_ = header.u16(6);
    bytes_ = RecordBytes(owned, size_);
}

namespace {

// Decoder of each id; null where the id has no decoder (those records are refused with 8).
DecoderFn decoder_for(uint16_t id) {
    switch (id) {
        case 1: return decode_record_1_text;
        case 2: return decode_record_2_frame_info;
        case 3: return decode_record_3_fixed_point;
        case 5: return decode_record_5_plain;
        case 6: return decode_record_6_sections;
        case 7: return decode_record_7_plain;
        case 8: return decode_record_8_plain;
        case 9: return decode_record_9_container;
        case 10: return decode_record_10_lens_shading;
        case 11: return decode_record_11_lens_shading_ratio;
        case 13: return decode_record_13_array_values;
        case 14: return decode_record_14_stepped_table;
        case 15: return decode_record_15_tables;
        case 16: return decode_record_16_entries;
        case 17: return decode_record_17_orientation;
        case 18: return decode_record_18_entries;
        case 19: return decode_record_19_response_tables;
        case 20: return decode_record_20_response_values;
        case 21: return decode_record_21_plain;
        case 22: return decode_record_22_geometric_distortion;
        case 23: return decode_record_23_plain;
        case 24: return decode_record_24_entries;
        case 25: return decode_record_25_entry_table;
        case 26: return decode_record_26_float_groups;
        case 27: return decode_record_27_planes;
        case 28: return decode_record_28_lens_shading4x4;
        case 29: return decode_record_29_four_plane_grid;
        case 30: return decode_record_30_phase_difference;
        case 31: return decode_record_31_container;
        case 32: return decode_record_32_valid_area;
        case 33: return decode_record_33_lens_shading_ratio4x4;
        case 34: return decode_record_34_response_curve;
        case 35: return decode_record_35_pipe_compand_decompand;
        case 36: return decode_record_36_sensor_decompand;
        case 37: return decode_record_37_kept;
        case 38: return decode_record_38_cbd;
        case 39: return decode_record_39_kept;
        case 40: return decode_record_40_block_settings;
        case 41: return decode_record_41_fixed_copy;
        case 42: return decode_record_42_fixed_copy;
        default: return nullptr;
    }
}

}  // namespace

uint32_t cmc_parse(uint8_t *record, cmc_data *cmc, const nvm_data *nvm, const Diag &diag) {
    RecordCopy rec(record);
    DecoderFn decode = rec.id() <= 42 ? decoder_for(rec.id()) : nullptr;
    if (decode == nullptr) {
        rec.release();  // not consumed: the caller releases the copy
        diag.refused(rec.id() > 42 ? "id above 42 is not a characterization record"
                                   : "no decoder for this id",
                     0, rec.id(), kStatusUnusable);
        return kStatusUnusable;
    }
    DecodeContext ctx{cmc, nvm, diag};
    uint32_t code = decode(rec, ctx);
    if (code != kStatusDone) rec.release();  // not consumed: ownership goes back to the caller
    return code;
}

}  // namespace oz
