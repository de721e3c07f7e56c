// Decoders of the general records that are kept in place (ids 5 to 8, 13, 14, 16 to 21, 23) or copied
// into a fixed structure (id 2). Each one tests the record's size against the length its own counts
// require, keeps the copy in its owning slot and points its other slots at the sections inside it.
// A record that fails its test leaves every slot of its kind null (record 13 still fills its value
// slot with the defaults) and is released; none of these decoders returns non-zero.
#include <cstdint>

#include "oz_cmc_records.h"
#include "records/decoders.h"
#include "records/general_records.h"
#include "records/memcpy_s.h"
#include "records/slots.h"

namespace oz {
namespace {

// Keeps the whole record in `slot` when its size is above `above`; no field is read.
uint32_t keep_whole_above(RecordCopy &rec, DecodeContext &ctx, int slot, uint32_t above,
                          const char *rule, const char *became) {
    clear_slots(ctx.cmc, {slot});
    if (rec.size() <= above) {
        ctx.diag.refused(rule, uint64_t(above) + 1, rec.size());
        return kStatusDone;
    }
    ctx.cmc->slot[slot] = rec.release();
    ctx.diag.decoded(became);
    return kStatusDone;
}

}  // namespace

// Record 2, frame information, copied into a 36-byte cmc_record2 (slot 4):
//   off  size  type  field
//     0     8        record_header
//     8     2  u16   frame width
//    10     2  u16   frame height
//    12     2  u16   base value (default of the fields at 16 and 34)
//    14     2  u16   cfa_pattern
//    16     2  u16   value (version 101 and up)
//    18    16        opaque (version 102 and up)
//    34     2  u16   value (version 103 and up)
//
//   version  bytes copied  size needed (copied, rounded up to 8)
//    < 100        0            -
//      100       16           16
//      101       18           24
//      102       34           40
//   >= 103       36           40
//
// The structure is stored in every case (zeroed when nothing was copied); only its allocation can
// leave slot 4 null. The record copy is always released.
uint32_t decode_record_2_frame_info(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD2});
    HeapPtr<cmc_record2> out = heap_new_zeroed<cmc_record2>();
    if (!out) {
        ctx.diag.dropped("record-2 structure allocation", sizeof(cmc_record2), 0);
        return kStatusDone;
    }
    const uint8_t version = rec.version();
    if (version < 100) {
        ctx.diag.dropped("version >= 100 (structure left zeroed)", 100, version);
    } else {
        const uint32_t copied = version == 100 ? 16 : version == 101 ? 18 : version == 102 ? 34 : 36;
        const uint32_t needed = round8(copied);
        if (rec.size() < needed) {
            ctx.diag.dropped("size >= round8(bytes copied) (structure left zeroed)", needed, rec.size());
        } else {
            memcpy_s(out.get(), sizeof(cmc_record2), rec.bytes().span(0, copied), copied);
            if (version <= 100) {
                out->value_v101 = out->base_value;
                ctx.diag.default_taken("byte 16 = byte 12 (before version 101)", out->base_value);
            }
            if (version <= 102) {
                out->value_v103 = out->base_value;
                ctx.diag.default_taken("byte 34 = byte 12 (before version 103)", out->base_value);
            }
        }
    }
    ctx.cmc->slot[CMC_SLOT_RECORD2] = out.release();
    ctx.diag.decoded("slot 4: record-2 structure");
    return kStatusDone;
}

// Record 5 (slot 7): kept whole when size > 15.
uint32_t decode_record_5_plain(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole_above(rec, ctx, CMC_SLOT_RECORD5, 15, "size > 15", "slot 7: record copy");
}

// Record 6, four sections of u16 values (slots 8, 9):
//   off        size  type   field
//    12           4  u8[4]  counts c0, c1, c2, c3
//    16  2 * (c0+..+c3)  u16[]  the four sections, back to back (slot 9)
uint32_t decode_record_6_sections(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD6, CMC_SLOT_RECORD6_VALUES});
    RecordBytes &r = rec.bytes();
    const uint32_t c0 = r.u8(12);  // u8 c0
    const uint32_t c1 = r.u8(13);  // u8 c1
    const uint32_t c2 = r.u8(14);  // u8 c2
    const uint32_t c3 = r.u8(15);  // u8 c3
    const uint32_t count = c0 + c1 + c2 + c3;
    const uint32_t required = round8(16 + 2 * count);
    if (rec.size() < required) {
        ctx.diag.refused("size >= round8(16 + 2 * (c0 + c1 + c2 + c3))", required, rec.size());
        return kStatusDone;
    }
    uint8_t *values = r.span(16, 2 * uint64_t(count));
    if (!reads_inside(r, ctx)) return kStatusDone;
    ctx.cmc->slot[CMC_SLOT_RECORD6_VALUES] = values;
    ctx.cmc->slot[CMC_SLOT_RECORD6] = rec.release();
    ctx.diag.decoded("slot 8: record copy, slot 9: values");
    return kStatusDone;
}

// Record 7 (slot 10): kept whole when size > 15.
uint32_t decode_record_7_plain(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole_above(rec, ctx, CMC_SLOT_RECORD7, 15, "size > 15", "slot 10: record copy");
}

// Record 8 (slot 11): always kept whole (the walk guarantees its 8 header bytes).
uint32_t decode_record_8_plain(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole_above(rec, ctx, CMC_SLOT_RECORD8, 7, "size > 7", "slot 11: record copy");
}

// Record 13, an array and four values (slots 17, 18, 19):
//   off    size  type   field
//    70       2  u16    n, length of the array
//    72  2 * n   u16[]  the array (copied into slot 18)
//  72+2n      2  u16    A (version 101 and up)
//  74+2n      2  u16    B (version 102 and up)
//  76+2n      2  u16    C (version 102 and up)
//  78+2n      2  u16    D (version 102 and up)
//
// Slot 19 holds A, B, C, D; a value the record does not carry takes its default 0, 1, 250 or 1000,
// and a refused record leaves all four defaults. An empty array (n = 0) leaves slot 18 null.
uint32_t decode_record_13_array_values(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_RECORD13_ARRAY, CMC_SLOT_RECORD13, CMC_SLOT_RECORD13_VALUES});
    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint8_t version = rec.version();
    static const uint16_t kDefaults[4] = {0, 1, 250, 1000};  // A, B, C, D
    uint16_t values[4] = {kDefaults[0], kDefaults[1], kDefaults[2], kDefaults[3]};

    const uint32_t n = r.u16(70);  // u16 n
    const uint32_t required = round8(72 + 2 * n);
    if (size < required) {
        set_slot_u16s(cmc, CMC_SLOT_RECORD13_VALUES, kDefaults, 4);
        ctx.diag.refused("size >= round8(72 + 2n)", required, size);
        ctx.diag.default_taken("slot 19: 0, 1, 250, 1000 (record refused)", 0);
        return kStatusDone;
    }

    HeapArray<uint16_t> array;
    if (n != 0) {
        array = heap_array<uint16_t>(n);
        if (array)
            r.u16s(72, n, array.get());  // u16[n] the array
        else
            ctx.diag.dropped("slot 18: array copy allocation", 2 * uint64_t(n), 0);
    }

    if (version <= 100) ctx.diag.default_taken("A, B, C, D = 0, 1, 250, 1000 (before version 101)", 0);
    if (version >= 101) {
        const uint32_t need_a = round8(74 + 2 * n);
        if (size >= need_a) {
            values[0] = r.u16(72 + 2 * uint64_t(n));  // u16 A
        } else {
            ctx.diag.dropped("value A: size >= round8(74 + 2n)", need_a, size);
            ctx.diag.default_taken("A", values[0]);
        }
    }
    if (version == 101) ctx.diag.default_taken("B, C, D = 1, 250, 1000 (version 101)", 0);
    if (version >= 102) {
        const uint32_t need_bcd = round8(80 + 2 * n);
        if (size >= need_bcd) {
            values[1] = r.u16(74 + 2 * uint64_t(n));  // u16 B
            values[2] = r.u16(76 + 2 * uint64_t(n));  // u16 C
            values[3] = r.u16(78 + 2 * uint64_t(n));  // u16 D
        } else {
            ctx.diag.dropped("values B, C, D: size >= round8(80 + 2n)", need_bcd, size);
            ctx.diag.default_taken("B, C, D = 1, 250, 1000", 0);
        }
    }
    if (!reads_inside(r, ctx)) {
        set_slot_u16s(cmc, CMC_SLOT_RECORD13_VALUES, kDefaults, 4);
        return kStatusDone;
    }

    set_slot_u16s(cmc, CMC_SLOT_RECORD13_VALUES, values, 4);
    cmc->slot[CMC_SLOT_RECORD13_ARRAY] = array.release();
    cmc->slot[CMC_SLOT_RECORD13] = rec.release();
    ctx.diag.decoded("slot 17: record copy, slot 18: array copy, slot 19: A, B, C, D");
    return kStatusDone;
}

// Record 14, stepped table (slots 20, 21):
//   off  size  type  field
//     8     2  u16   first
//    10     2  u16   last
//    12     2  u16   step
//    14   8 each     entries, (last - first) / step + 1 of them (slot 21)
//
// Kept when step is non-zero and size >= 24 + 8 * ((last - first) / step), in unsigned 32-bit
// arithmetic, not rounded. A last below first would wrap the difference and make the test
// meaningless, so such a record is refused.
uint32_t decode_record_14_stepped_table(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD14, CMC_SLOT_RECORD14_ENTRIES});
    RecordBytes &r = rec.bytes();
    const uint32_t first = r.u16(8);   // u16 first
    const uint32_t last = r.u16(10);   // u16 last
    const uint32_t step = r.u16(12);   // u16 step
    if (step == 0) {
        ctx.diag.refused("step != 0", 1, step);
        return kStatusDone;
    }
    if (last < first) {
        ctx.diag.refused("last >= first", first, last);
        return kStatusDone;
    }
    const uint32_t steps = (last - first) / step;
    const uint32_t required = 24 + 8 * steps;
    if (rec.size() < required) {
        ctx.diag.refused("size >= 24 + 8 * ((last - first) / step)", required, rec.size());
        return kStatusDone;
    }
    uint8_t *entries = r.span(14, 8 * (uint64_t(steps) + 1));
    if (!reads_inside(r, ctx)) return kStatusDone;
    ctx.cmc->slot[CMC_SLOT_RECORD14_ENTRIES] = entries;
    ctx.cmc->slot[CMC_SLOT_RECORD14] = rec.release();
    ctx.diag.decoded("slot 20: record copy, slot 21: entries");
    return kStatusDone;
}

// Record 16 (slots 30, 31):
//   off    size  type  field
//    12       2  u16   n
//    14   4 * n        entries (slot 31)
uint32_t decode_record_16_entries(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD16, CMC_SLOT_RECORD16_ENTRIES});
    RecordBytes &r = rec.bytes();
    const uint32_t n = r.u16(12);  // u16 n
    const uint32_t required = round8(14 + 4 * n);
    if (rec.size() < required) {
        ctx.diag.refused("size >= round8(14 + 4n)", required, rec.size());
        return kStatusDone;
    }
    uint8_t *entries = r.span(14, 4 * uint64_t(n));
    if (!reads_inside(r, ctx)) return kStatusDone;
    ctx.cmc->slot[CMC_SLOT_RECORD16_ENTRIES] = entries;
    ctx.cmc->slot[CMC_SLOT_RECORD16] = rec.release();
    ctx.diag.decoded("slot 30: record copy, slot 31: entries");
    return kStatusDone;
}

// Record 17, module orientation and upscaling selection (slots 32, 33):
//   off  size  type  field
//    10     2  u16   module_bayer_order
//    12     2  u16   flip_mode
//    14     2  u16   upscaling_method (version 101 and up; slot 33 points here)
//
// Kept when size > 15. Without slot 33 (version 100) init performs no calibration merge.
uint32_t decode_record_17_orientation(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD17, CMC_SLOT_RECORD17_EXTENSION});
    if (rec.size() <= 15) {
        ctx.diag.refused("size > 15", 16, rec.size());
        return kStatusDone;
    }
    RecordBytes &r = rec.bytes();
    if (rec.version() >= 101) {
        ctx.cmc->slot[CMC_SLOT_RECORD17_EXTENSION] = r.span(14, 2);
        ctx.diag.decoded("slot 32: record copy, slot 33: upscaling_method");
    } else {
        ctx.diag.decoded("slot 32: record copy (before version 101: no slot 33, no calibration merge)");
    }
    ctx.cmc->slot[CMC_SLOT_RECORD17] = rec.release();
    return kStatusDone;
}

// Record 18 (slots 34, 35, 36):
//   off      size  type  field
//     8         2  u16   n
//    10    84 * n        entries (slot 35)
//  10+84n     ...        trailing section (version 101 and up; slot 36)
uint32_t decode_record_18_entries(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD18, CMC_SLOT_RECORD18_ENTRIES, CMC_SLOT_RECORD18_TRAILER});
    RecordBytes &r = rec.bytes();
    const uint32_t n = r.u16(8);  // u16 n
    const uint32_t required = round8(10 + 84 * n);
    if (rec.size() < required) {
        ctx.diag.refused("size >= round8(10 + 84n)", required, rec.size());
        return kStatusDone;
    }
    uint8_t *entries = r.span(10, 84 * uint64_t(n));
    uint8_t *trailer = rec.version() >= 101 ? r.span(10 + 84 * uint64_t(n), 0) : nullptr;
    if (!reads_inside(r, ctx)) return kStatusDone;
    ctx.cmc->slot[CMC_SLOT_RECORD18_ENTRIES] = entries;
    ctx.cmc->slot[CMC_SLOT_RECORD18_TRAILER] = trailer;
    ctx.cmc->slot[CMC_SLOT_RECORD18] = rec.release();
    ctx.diag.decoded(trailer ? "slot 34: record copy, slot 35: entries, slot 36: trailing section"
                             : "slot 34: record copy, slot 35: entries (before version 101: no slot 36)");
    return kStatusDone;
}

// Record 19, response-curve tables (slots 37, 38, 39), converted into record 34's form by init when
// the container has no record 34:
//   off        size  type  field
//     8           2  u16   value carried into record 34
//    12           2  u16   b, number of 28-byte items
//    14           2  u16   a, number of 8-byte pairs
//    16      28 * b        first table (slot 38)
//  16+28b     8 * a        second table (slot 39)
uint32_t decode_record_19_response_tables(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD19, CMC_SLOT_RECORD19_TABLE1, CMC_SLOT_RECORD19_TABLE2});
    RecordBytes &r = rec.bytes();
    const uint32_t b = r.u16(12);  // u16 b
    const uint32_t a = r.u16(14);  // u16 a
    const uint32_t required = round8(16 + 28 * b + 8 * a);
    if (rec.size() < required) {
        ctx.diag.refused("size >= round8(16 + 28b + 8a)", required, rec.size());
        return kStatusDone;
    }
    uint8_t *table1 = r.span(16, 28 * uint64_t(b));
    uint8_t *table2 = r.span(16 + 28 * uint64_t(b), 8 * uint64_t(a));
    if (!reads_inside(r, ctx)) return kStatusDone;
    ctx.cmc->slot[CMC_SLOT_RECORD19_TABLE1] = table1;
    ctx.cmc->slot[CMC_SLOT_RECORD19_TABLE2] = table2;
    ctx.cmc->slot[CMC_SLOT_RECORD19] = rec.release();
    ctx.diag.decoded("slot 37: record copy, slots 38, 39: tables");
    return kStatusDone;
}

// Record 20, response-curve values (slots 40, 41, 42), converted into record 34's form by init when
// the container has no record 34:
//   off    size  type  field
//     8       2  u16   value
//    10       2  u16   value
//    12       1  u8    value
//    13       1  u8    value; set to 8 in the kept copy up to version 100
//    14       2  u16   table kind, 1: the table is present (version 102 and up; slot 41 points here)
//    16       2  u16   n, number of table entries (version 102 and up)
//    20   8 * n        table (version 102 and up; slot 42, when size >= 24 + 8n, not rounded)
uint32_t decode_record_20_response_values(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_RECORD20, CMC_SLOT_RECORD20_TABLE_HEADER, CMC_SLOT_RECORD20_TABLE});
    const uint32_t size = rec.size();
    if (size <= 15) {
        ctx.diag.refused("size > 15", 16, size);
        return kStatusDone;
    }
    RecordBytes &r = rec.bytes();
    const uint8_t version = rec.version();
    uint8_t *header = nullptr, *table = nullptr;
    if (version <= 100) {
        r.put_u8(13, 8);  // u8 at 13: fixed at 8 before version 101
        ctx.diag.default_taken("byte 13 (before version 101)", 8);
    } else if (version == 101) {
        ctx.diag.decoded("version 101: no table header");
    } else if (size < 20) {
        ctx.diag.dropped("table header: size >= 20", 20, size);
    } else {
        header = r.span(14, 4);
        const uint32_t n = r.u16(16);  // u16 n
        const uint32_t need = 24 + 8 * n;
        if (size >= need)
            table = r.span(20, 8 * uint64_t(n));
        else
            ctx.diag.dropped("table: size >= 24 + 8n", need, size);
    }
    if (!reads_inside(r, ctx)) return kStatusDone;
    cmc->slot[CMC_SLOT_RECORD20_TABLE_HEADER] = header;
    cmc->slot[CMC_SLOT_RECORD20_TABLE] = table;
    cmc->slot[CMC_SLOT_RECORD20] = rec.release();
    ctx.diag.decoded("slot 40: record copy, slots 41, 42: table header and table where present");
    return kStatusDone;
}

// Record 21 (slot 46): kept whole when size > 15.
uint32_t decode_record_21_plain(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole_above(rec, ctx, CMC_SLOT_RECORD21, 15, "size > 15", "slot 46: record copy");
}

// Record 23 (slot 44): kept whole when size > 23.
uint32_t decode_record_23_plain(RecordCopy &rec, DecodeContext &ctx) {
    return keep_whole_above(rec, ctx, CMC_SLOT_RECORD23, 23, "size > 23", "slot 44: record copy");
}

}  // namespace oz
