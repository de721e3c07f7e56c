// Decoders of the general records that the container library decodes in place (ids 9, 31, 34), and
// the conversion of record 3, the fixed-point predecessor of record 31, into record 31's in-memory
// form, so that slot 55 has one layout whichever of the two the container carried.
#include <cstdint>

#include "oz_cmc_records.h"
#include "oz_kovb.h"
#include "records/decoders.h"
#include "records/general_records.h"
#include "records/slots.h"

namespace oz {
namespace {

// Hands the copy to the container library's decoder and, when it accepts it, keeps the decoded copy in
// `slot`, releasing what the slot held. A refused record leaves the slot as it was; its code goes back
// to the caller, which releases the copy.
uint32_t keep_decoded(RecordCopy &rec, DecodeContext &ctx, int slot) {
    const uint32_t code = oz_kovb_parse_record(rec.data());
    if (code != 0) {
        ctx.diag.refused("container decoder accepts the record (slot unchanged)", 0, code, code);
        return code;
    }
    release_slot(ctx.cmc, slot);
    ctx.cmc->slot[slot] = rec.release();
    return kStatusDone;
}

}  // namespace

// Record 3, converted to the record-31 form (slot 55):
//   off      size  type  field
//     0         8        record_header
//     8         4  u32   n, number of entries
//    12    16 * n        entries:
//      entry off  size  type  field                 record-31 entry
//              0     4  u32   value 0               0: u32, unchanged
//              4     4  u32   value 1 (16 fraction) 4: f32 value / 65536
//              8     2  u16   value 2 (8 fraction)  8: f32 value / 256
//             10     2  u16   value 3 (8 fraction)  12: f32 value / 256
//             12     2  u16   value 4 (8 fraction)  24: f32 value / 256
//             14     2  u16   value 5 (8 fraction)  28: f32 value / 256
//
// Kept when size >= 16 + 16n (32-bit, not rounded). The first record 3 or any record 31 wins: with
// slot 55 filled the record is ignored. A count for which 16 + 16n, or the converted buffer's size
// 24 + 72n, does not fit in 32 bits is refused (the size field of the form could not describe it).
uint32_t decode_record_3_fixed_point(RecordCopy &rec, DecodeContext &ctx) {
    if (ctx.cmc->slot[CMC_SLOT_RECORD31] != nullptr) {
        ctx.diag.ignored("slot 55 already holds a record 31 form");
        return kStatusDone;
    }
    RecordBytes &r = rec.bytes();
    const uint32_t n = r.u32(8);  // u32 n
    const uint64_t required = 16 + 16 * uint64_t(n);
    const uint64_t form_size = sizeof(cmc_record31) + sizeof(cmc_record31_entry) * uint64_t(n);
    if (required > UINT32_MAX || form_size > UINT32_MAX) {
        ctx.diag.refused("16 + 16n and 24 + 72n within 32 bits", UINT32_MAX, form_size);
        return kStatusDone;
    }
    if (rec.size() < uint32_t(required)) {
        ctx.diag.refused("size >= 16 + 16n", required, rec.size());
        return kStatusDone;
    }

    HeapArray<uint8_t> buffer = heap_bytes_zeroed(size_t(form_size));
    if (!buffer) {
        ctx.diag.dropped("record-31 form allocation", form_size, 0);
        return kStatusDone;
    }
    // SAFETY: the buffer holds the 24-byte head followed by n 72-byte entries, zeroed, from the heap
    // (suitably aligned for both structures).
    cmc_record31 *form = reinterpret_cast<cmc_record31 *>(buffer.get());
    cmc_record31_entry *entries = reinterpret_cast<cmc_record31_entry *>(buffer.get() + sizeof(cmc_record31));
    form->header.size = uint32_t(form_size);
    form->header.version = 100;
    form->header.id = 31;
    form->entry_count = n;
    form->entries = entries;
    for (uint32_t i = 0; i < n; ++i) {
        const uint64_t at = 12 + 16 * uint64_t(i);
        cmc_record31_entry &e = entries[i];
        e.value0 = r.u32(at + 0);                // u32 value 0
        e.value1 = q16_to_f32(r.u32(at + 4));    // u32 value 1
        e.value2 = q8_to_f32(r.u16(at + 8));     // u16 value 2
        e.value3 = q8_to_f32(r.u16(at + 10));    // u16 value 3
        e.value4 = q8_to_f32(r.u16(at + 12));    // u16 value 4
        e.value5 = q8_to_f32(r.u16(at + 14));    // u16 value 5
    }
    if (!r.ok()) {
        ctx.diag.refused("entries within the record's size", required, rec.size());
        return kStatusDone;
    }
    ctx.cmc->slot[CMC_SLOT_RECORD31] = buffer.release();
    ctx.diag.decoded("slot 55: record-31 form converted from record 3");
    return kStatusDone;  // the record copy is released by its owner
}

// Record 9 (slot 12): decoded in place by the container library and kept.
uint32_t decode_record_9_container(RecordCopy &rec, DecodeContext &ctx) {
    const uint32_t code = keep_decoded(rec, ctx, CMC_SLOT_RECORD9);
    if (code == kStatusDone) ctx.diag.decoded("slot 12: decoded record copy");
    return code;
}

// Record 31 (slot 55): decoded in place by the container library (u32 count at 8, pointer to the
// 72-byte entries at 16) and kept; it replaces a record 3 conversion or an earlier record 31.
uint32_t decode_record_31_container(RecordCopy &rec, DecodeContext &ctx) {
    const uint32_t code = keep_decoded(rec, ctx, CMC_SLOT_RECORD31);
    if (code == kStatusDone) ctx.diag.decoded("slot 55: decoded record 31");
    return code;
}

// Record 34, response curves (slot 58): decoded in place by the container library (u32 entry count at
// 8, pointer to the 40-byte entries at 16, each entry's tables reachable through its pointers) and
// kept. Consumers see at most 4 entries: a larger count is replaced by 4 in the kept copy.
uint32_t decode_record_34_response_curve(RecordCopy &rec, DecodeContext &ctx) {
    const uint32_t code = keep_decoded(rec, ctx, CMC_SLOT_RECORD34);
    if (code != kStatusDone) return code;
    // SAFETY: the slot now owns the decoded copy; the reader still covers its `size` bytes.
    RecordBytes &r = rec.bytes();
    const uint32_t count = r.u32(8);  // u32 entry count
    if (count > 4) {
        r.put_u32(8, 4);
        ctx.diag.dropped("entry count <= 4 (entries above 4 ignored)", 4, count);
    }
    ctx.diag.decoded("slot 58: decoded record 34");
    return kStatusDone;
}

}  // namespace oz
