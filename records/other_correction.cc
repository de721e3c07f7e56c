// Decoders of the other correction records, handed to the callers uninterpreted: the four-plane grid
// (29, slot 53), the valid-area record decoded by the container library (32, slot 56), two records kept
// whole (37 and 39, slots 62 and 63), the versioned settings block (40, slot 66) and the fixed-length
// copies of records 41 and 42 (slots 67 and 68).
#include <cstring>

#include "oz_kovb.h"
#include "records/correction.h"
#include "records/decoders.h"
#include "records/slots.h"

namespace oz {

// Record 29 (a, b the grid dimensions):
//   off         size   type   field
//     0            8          record_header
//     8            4          leading_word
//    12            2   u16    grid_width (a), non-zero
//    14            2   u16    grid_height (b), non-zero
//    16            4          trailing_word
//    20   4 * a*b * 4         planes 0 to 3, a*b 4-byte values each, one after another
// Accepted when size >= 56, a != 0, b != 0 and size >= 24 + 16*a*b, the product in unsigned 32-bit
// arithmetic as the format states it. A product that wraps can pass that test while the planes lie
// past the record; the planes are checked again in 64-bit arithmetic and such a record is rejected.
uint32_t decode_record_29_four_plane_grid(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_FOUR_PLANE_GRID});

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    if (size < 56) {
        ctx.diag.refused("size >= 56", 56, size);
        return kStatusDone;
    }
    const uint32_t a = r.u16(12);
    const uint32_t b = r.u16(14);
    if (a == 0 || b == 0) {
        ctx.diag.refused("grid_width != 0 and grid_height != 0", 1, a == 0 ? a : b);
        return kStatusDone;
    }
    const uint32_t need = 24 + 16 * a * b;
    if (size < need) {
        ctx.diag.refused("size >= 24 + 16 * a * b (u32)", need, size);
        return kStatusDone;
    }
    const uint64_t plane_values = uint64_t(a) * b;
    if (!r.has(20, 16 * plane_values)) {
        ctx.diag.refused("planes within size: 20 + 16 * a * b (the u32 product wrapped)", 20 + 16 * plane_values,
                         size);
        return kStatusDone;
    }

    HeapArray<uint32_t> planes = copy_array<uint32_t>(r, 20, 4 * plane_values);
    if (!planes) {
        report_no_memory(ctx.diag, "allocation failed: four-plane buffer", 16 * plane_values);
        return kStatusDone;
    }
    auto grid = owned_zeroed<cmc_four_plane_grid, cmc_four_plane_grid_release>();
    if (!grid) {
        report_no_memory(ctx.diag, "allocation failed: cmc_four_plane_grid", sizeof(cmc_four_plane_grid));
        return kStatusDone;
    }
    grid->header = read_record_header(r);
    r.bytes(8, 4, grid->leading_word);
    grid->grid_width = uint16_t(a);
    grid->grid_height = uint16_t(b);
    r.bytes(16, 4, grid->trailing_word);
    for (int k = 0; k < 4; ++k) grid->planes[k] = planes.get() + k * plane_values;
    planes.release();  // owned through planes[0]
    cmc->slot[CMC_SLOT_FOUR_PLANE_GRID] = grid.release();
    ctx.diag.decoded("slot 53: cmc_four_plane_grid");
    return kStatusDone;
}

// Record 32: decoded in place by the container library and kept. When the library refuses it, its
// code is returned and slot 56 keeps what an earlier record 32 left there.
uint32_t decode_record_32_valid_area(RecordCopy &rec, DecodeContext &ctx) {
    const uint32_t code = oz_kovb_parse_record(rec.data());
    if (code != 0) {
        ctx.diag.refused("container library accepts the record", 0, code, code);
        return code;
    }
    clear_slots(ctx.cmc, {CMC_SLOT_VALID_AREA});
    ctx.cmc->slot[CMC_SLOT_VALID_AREA] = rec.release();
    ctx.diag.decoded("slot 56: record copy, decoded in place");
    return kStatusDone;
}

namespace {

// Records 37 and 39: the copy is kept whole when size >= 16.
uint32_t keep_whole(RecordCopy &rec, DecodeContext &ctx, int slot, const char *became) {
    clear_slots(ctx.cmc, {slot});
    if (rec.size() < 16) {
        ctx.diag.refused("size >= 16", 16, rec.size());
        return kStatusDone;
    }
    ctx.cmc->slot[slot] = rec.release();
    ctx.diag.decoded(became);
    return kStatusDone;
}

// Records 41 and 42: a copy of the record's first `length` bytes, when size >= `need`.
uint32_t keep_prefix(RecordCopy &rec, DecodeContext &ctx, int slot, uint32_t need, uint32_t length,
                     const char *rule, const char *became) {
    clear_slots(ctx.cmc, {slot});
    if (rec.size() < need) {
        ctx.diag.refused(rule, need, rec.size());
        return kStatusDone;
    }
    HeapArray<uint8_t> copy = copy_array<uint8_t>(rec.bytes(), 0, length);
    if (!copy) {
        report_no_memory(ctx.diag, "allocation failed: record prefix copy", length);
        return kStatusDone;
    }
    ctx.cmc->slot[slot] = copy.release();
    ctx.diag.decoded(became);
    return kStatusDone;
}

}  // namespace

uint32_t decode_record_37_kept(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole(rec, ctx, CMC_SLOT_RECORD37, "slot 62: record copy");
}

uint32_t decode_record_39_kept(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole(rec, ctx, CMC_SLOT_RECORD39, "slot 63: record copy");
}

// Record 40 (m = blob_length):
//   off       size   from version   field
//     0          8   any            record_header
//     8          4   any            base_word
//    12          4   101            first_word
//    16          2   101            first_half
//    18        128   101            first_block
//   146         16   102            middle_block
//   162          1   102            blob_length (m)
//   163          m   102            blob
//   163 + m      1   103            tail_byte
//   164 + m      6   104            tail_fields (a 4-byte then a 2-byte value)
//   170 + m    128   104            second_block
// The record has no size test: it is always kept, decoded up to its last complete field. Fields are
// taken in record order while they lie whole inside the record; the first one that does not, and every
// later one, stays zero. blob_length and its blob count as one field (a length without its bytes is
// not kept). Fields beyond the record's version are zero as well.
uint32_t decode_record_40_block_settings(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_BLOCK_SETTINGS});

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const unsigned version = rec.version();
    auto settings = owned_zeroed<cmc_block_settings, cmc_block_settings_release>();
    if (!settings) {
        report_no_memory(ctx.diag, "allocation failed: cmc_block_settings", sizeof(cmc_block_settings));
        return kStatusDone;
    }
    cmc_block_settings *s = settings.get();
    s->header = read_record_header(r);

    // Each step copies one field when the version carries it; false when it does not fit.
    const char *cut_at = nullptr;
    uint64_t cut_end = 0;
    auto take = [&](unsigned from_version, uint64_t off, uint64_t width, void *dst, const char *name) {
        if (cut_at != nullptr || version < from_version) return;
        if (!r.bytes(off, width, dst)) {
            cut_at = name;
            cut_end = off + width;
        }
    };
    take(0, 8, 4, s->base_word, "record ends before base_word");
    take(101, 12, 4, s->first_word, "record ends before first_word");
    take(101, 16, 2, s->first_half, "record ends before first_half");
    take(101, 18, 128, s->first_block, "record ends before first_block");
    take(102, 146, 16, s->middle_block, "record ends before middle_block");
    uint64_t m = 0;
    if (cut_at == nullptr && version >= 102) {
        m = r.has(162, 1) ? r.u8(162) : 0;
        if (!r.has(162, 1 + m)) {
            cut_at = "record ends before the end of blob_length and blob";
            cut_end = 163 + m;
        } else {
            s->blob = copy_array<uint8_t>(r, 163, m).release();
            if (s->blob == nullptr) {
                report_no_memory(ctx.diag, "allocation failed: block settings blob", m);
                return kStatusDone;
            }
            s->blob_length = uint8_t(m);
        }
    }
    take(103, 163 + m, 1, &s->tail_byte, "record ends before tail_byte");
    take(104, 164 + m, 6, s->tail_fields, "record ends before tail_fields");
    take(104, 170 + m, 128, s->second_block, "record ends before second_block");
    if (cut_at != nullptr) ctx.diag.dropped(cut_at, cut_end, size);

    cmc->slot[CMC_SLOT_BLOCK_SETTINGS] = settings.release();
    ctx.diag.decoded("slot 66: cmc_block_settings");
    return kStatusDone;
}

uint32_t decode_record_41_fixed_copy(RecordCopy &rec, DecodeContext &ctx) {
    return keep_prefix(rec, ctx, CMC_SLOT_RECORD41, 32, 28, "size >= 32", "slot 67: first 28 bytes");
}

uint32_t decode_record_42_fixed_copy(RecordCopy &rec, DecodeContext &ctx) {
    return keep_prefix(rec, ctx, CMC_SLOT_RECORD42, 280, 276, "size >= 280", "slot 68: first 276 bytes");
}

}  // namespace oz
