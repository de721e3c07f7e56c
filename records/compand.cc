// Decoders of the curve records: the pipe compand/decompand pair (record 35, slots 59 and 60), the
// sensor decompand curve (record 36, slot 61) and the cbd tables (record 38, slot 64). Each copies the
// record's arrays into an owned structure and releases the record.
//
// These records carry a count and arrays sized by it, and no size test of their own. A record too short
// for the arrays its count announces is rejected whole (its slots stay null): a curve cut short, or one
// whose count were clamped, would pair the wrong points, since every array's offset depends on the count.
#include "records/correction.h"
#include "records/decoders.h"
#include "records/slots.h"

namespace oz {

// Record 35 (n = num_segments):
//   off        size          type   field
//     0           8                 record_header
//     8           1          u8     control_byte
//     9           4          u32    control_word
//    13           1          u8     num_segments (n)
//    14   4 * (n+1)          u32[]  wide points
//    18 + 4n  2 * (n+1)      u16[]  narrow points
//    20 + 6n      2 * n      u16[]  compand segment values
//    20 + 8n      4 * n      u32[]  decompand segment values
// The record is 20 + 12n bytes. Slot 59 (compand): wide -> narrow points, u16 segment values; slot 60
// (decompand): narrow -> wide points, u32 segment values. Each structure owns its own copies.
uint32_t decode_record_35_pipe_compand_decompand(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_PIPE_COMPAND, CMC_SLOT_PIPE_DECOMPAND});  // both curves, always together

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint8_t n = r.u8(13);  // a record too short for the count reads it as 0
    const uint32_t need = 20 + 12 * uint32_t(n);
    if (!r.ok() || size < need) {
        ctx.diag.refused("size >= 20 + 12 * num_segments", need, size);
        return kStatusDone;
    }

    using Curve = Owned<cmc_pipe_compand_decompand, cmc_pipe_compand_decompand_release>;
    Curve decompand = owned_zeroed<cmc_pipe_compand_decompand, cmc_pipe_compand_decompand_release>();
    Curve compand = decompand ? owned_zeroed<cmc_pipe_compand_decompand, cmc_pipe_compand_decompand_release>()
                              : Curve();
    if (!compand) {
        report_no_memory(ctx.diag, "allocation failed: cmc_pipe_compand_decompand",
                         sizeof(cmc_pipe_compand_decompand));
        return kStatusDone;
    }
    for (cmc_pipe_compand_decompand *curve : {decompand.get(), compand.get()}) {
        curve->header = read_record_header(r);
        curve->control_byte = r.u8(8);
        curve->control_word = r.u32(9);
        curve->num_segments = n;
    }
    const uint64_t points = uint64_t(n) + 1;
    // Allocation order: decompand output, compand input (wide points), decompand input, compand output
    // (narrow points), compand segments, decompand segments.
    if ((decompand->output_points = copy_array<uint32_t>(r, 14, points).release()) == nullptr ||
        (compand->input_points = copy_array<uint32_t>(r, 14, points).release()) == nullptr ||
        (decompand->input_points = copy_array<uint16_t>(r, 18 + 4 * uint64_t(n), points).release()) == nullptr ||
        (compand->output_points = copy_array<uint16_t>(r, 18 + 4 * uint64_t(n), points).release()) == nullptr ||
        (compand->segment_values = copy_array<uint16_t>(r, 20 + 6 * uint64_t(n), n).release()) == nullptr ||
        (decompand->segment_values = copy_array<uint32_t>(r, 20 + 8 * uint64_t(n), n).release()) == nullptr) {
        report_no_memory(ctx.diag, "allocation failed: compand/decompand points", 4 * points);
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_PIPE_COMPAND] = compand.release();
    cmc->slot[CMC_SLOT_PIPE_DECOMPAND] = decompand.release();
    ctx.diag.decoded("slot 59: compand curve, slot 60: decompand curve");
    return kStatusDone;
}

// Record 36 (n = num_points):
//   off      size   type   field
//     0         8          record_header
//     8         1   u8     control_byte
//     9         2   u16    control_value
//    11         1   u8     first_setting
//    12         1   u8     second_setting
//    13         1   u8     num_points (n)
//    14     2 * n   u16[]  input points
//    14+2n  4 * n   u32[]  output points
// The record is 14 + 6n bytes.
uint32_t decode_record_36_sensor_decompand(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_SENSOR_DECOMPAND});

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint8_t n = r.u8(13);
    const uint32_t need = 14 + 6 * uint32_t(n);
    if (!r.ok() || size < need) {
        ctx.diag.refused("size >= 14 + 6 * num_points", need, size);
        return kStatusDone;
    }

    auto curve = owned_zeroed<cmc_sensor_decompand, cmc_sensor_decompand_release>();
    if (!curve) {
        report_no_memory(ctx.diag, "allocation failed: cmc_sensor_decompand", sizeof(cmc_sensor_decompand));
        return kStatusDone;
    }
    curve->header = read_record_header(r);
    curve->control_byte = r.u8(8);
    curve->control_value = r.u16(9);
    curve->first_setting = r.u8(11);
    curve->second_setting = r.u8(12);
    curve->num_points = n;
    if ((curve->input_points = copy_array<uint16_t>(r, 14, n).release()) == nullptr ||
        (curve->output_points = copy_array<uint32_t>(r, 14 + 2 * uint64_t(n), n).release()) == nullptr) {
        report_no_memory(ctx.diag, "allocation failed: sensor decompand points", 4 * uint64_t(n));
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_SENSOR_DECOMPAND] = curve.release();
    ctx.diag.decoded("slot 61: cmc_sensor_decompand");
    return kStatusDone;
}

// Record 38 (n = num_values):
//   off      size   type   field
//     0         8          record_header
//     8         1   u8     control_byte
//     9         1   u8     num_values (n)
//    10     4 * n          first table (4-byte values)
//    10+4n  4 * n          second table (4-byte values)
// The record is 10 + 8n bytes.
uint32_t decode_record_38_cbd(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_CBD});

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint8_t n = r.u8(9);
    const uint32_t need = 10 + 8 * uint32_t(n);
    if (!r.ok() || size < need) {
        ctx.diag.refused("size >= 10 + 8 * num_values", need, size);
        return kStatusDone;
    }

    auto cbd = owned_zeroed<cmc_cbd, cmc_cbd_release>();
    if (!cbd) {
        report_no_memory(ctx.diag, "allocation failed: cmc_cbd", sizeof(cmc_cbd));
        return kStatusDone;
    }
    cbd->header = read_record_header(r);
    cbd->control_byte = r.u8(8);
    cbd->num_values = n;
    if ((cbd->first_table = copy_array<uint32_t>(r, 10, n).release()) == nullptr ||
        (cbd->second_table = copy_array<uint32_t>(r, 10 + 4 * uint64_t(n), n).release()) == nullptr) {
        report_no_memory(ctx.diag, "allocation failed: cbd tables", 4 * uint64_t(n));
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_CBD] = cbd.release();
    ctx.diag.decoded("slot 64: cmc_cbd");
    return kStatusDone;
}

}  // namespace oz
