// Init's response-curve step: containers without a record 34 carry the same curves in records 19 and
// 20; this builds record 34's in-memory form from them so that consumers of slot 58 find one layout.
#include "parser/synth_record34.h"

#include <cstdint>

#include "common/byte_reader.h"
#include "common/heap.h"
#include "oz_cmc_records.h"
#include "records/general_records.h"

namespace oz {
namespace {

// A reader over a record copy kept in a slot: the copy holds exactly its header's `size` bytes.
RecordBytes kept_record(void *copy) {
    uint8_t *bytes = static_cast<uint8_t *>(copy);
    return RecordBytes(bytes, ByteReader(bytes, 8).u32(0));
}

// Record 19 first-table item (28 bytes) to its converted form (32 bytes):
//   item off  size  type  converted
//          0     4  u32   f32 / 65536
//          4     4  u32   f32 / 65536
//          8     8        unchanged
//         16     4        unchanged
//         20     8        unchanged
void convert_item(RecordBytes &r, uint64_t at, cmc_record34_item &out) {
    out.value0 = q16_to_f32(r.u32(at + 0));
    out.value1 = q16_to_f32(r.u32(at + 4));
    r.bytes(at + 8, 8, out.bytes8);
    r.bytes(at + 16, 4, out.bytes16);
    r.bytes(at + 20, 8, out.bytes20);
}

// An 8-byte pair of record 19's second table or record 20's table: u32 / 65536, then u32 unchanged.
void convert_pair(RecordBytes &r, uint64_t at, cmc_record34_pair &out) {
    out.value = q16_to_f32(r.u32(at + 0));
    out.raw = r.u32(at + 4);
}

}  // namespace

// Layout built (one zeroed buffer of S bytes):
//   off        size      content
//     0          32      cmc_record34: size S, version 100, id 34, E entries, pointer to byte 32
//    32      40 * E      entries: record 19's (when kept) first, then record 20's
//  32+40E       ...      data area, in this order: record 19's items (32 b) and pairs (8 a), then
//                        record 20's table pairs (8 n) or its four-value block (8)
// S = 32 + 40E, plus 32b + 8a with record 19, plus 8 with record 20 (the block, counted in either
// form) and 8n more when record 20 has its table header (slot 41), whatever its kind.
//
// Record 20 takes the table form when its table header says kind 1. When its n pairs did not fit in
// the record (slot 42 null), there is no table to convert: the entry takes the four-value form, which
// the record always carries, rather than a table form without its table.
void synthesize_record34(cmc_data *cmc, const Diag &diag) {
    if (cmc->slot[CMC_SLOT_RECORD34] != nullptr) return;
    const bool has19 = cmc->slot[CMC_SLOT_RECORD19] != nullptr;
    const bool has20 = cmc->slot[CMC_SLOT_RECORD20] != nullptr;
    if (!has19 && !has20) return;

    RecordBytes r19 = has19 ? kept_record(cmc->slot[CMC_SLOT_RECORD19]) : RecordBytes();
    RecordBytes r20 = has20 ? kept_record(cmc->slot[CMC_SLOT_RECORD20]) : RecordBytes();
    const uint32_t value19 = has19 ? r19.u16(8) : 0;  // record 19: u16 value
    const uint32_t b = has19 ? r19.u16(12) : 0;       // record 19: u16 b
    const uint32_t a = has19 ? r19.u16(14) : 0;       // record 19: u16 a
    const bool has_header = has20 && cmc->slot[CMC_SLOT_RECORD20_TABLE_HEADER] != nullptr;
    const uint32_t kind = has_header ? r20.u16(14) : 0;  // record 20: u16 table kind
    const uint32_t n = has_header ? r20.u16(16) : 0;     // record 20: u16 n
    if (!r19.ok() || !r20.ok()) {
        diag.dropped("slot 58: records 19 and 20 readable", 0, 0);
        return;
    }

    const uint32_t entries = uint32_t(has19) + uint32_t(has20);
    uint32_t size = 32 + 40 * entries;
    if (has19) size += 32 * b + 8 * a;
    if (has20) size += 8 + (has_header ? 8 * n : 0);

    bool table_form = has_header && kind == 1;
    if (table_form && n != 0 && cmc->slot[CMC_SLOT_RECORD20_TABLE] == nullptr) {
        diag.dropped("slot 58: record 20 table not in the record (slot 42 null), four-value form", 8 * n, 0);
        table_form = false;
    }

    HeapArray<uint8_t> buffer = heap_bytes_zeroed(size);
    if (!buffer) {
        diag.dropped("slot 58: record-34 form allocation", size, 0);
        return;
    }
    // SAFETY: `size` counts the head, the entries and every table written below, each at a multiple of
    // 8 bytes from the heap block's start, so every structure lies inside the zeroed buffer.
    uint8_t *base = buffer.get();
    cmc_record34 *form = reinterpret_cast<cmc_record34 *>(base);
    cmc_record34_entry *entry = reinterpret_cast<cmc_record34_entry *>(base + sizeof(cmc_record34));
    form->header.size = size;
    form->header.version = 100;
    form->header.id = 34;
    form->entry_count = entries;
    form->entries = entry;
    uint32_t cursor = 32 + 40 * entries;

    if (has19) {
        entry->source = CMC_RECORD34_FROM_RECORD19;
        entry->value = value19;
        entry->item_count = b;
        entry->pair_count = a;
        if (b != 0) {
            entry->items = reinterpret_cast<cmc_record34_item *>(base + cursor);
            for (uint32_t i = 0; i < b; ++i) convert_item(r19, 16 + 28 * uint64_t(i), entry->items[i]);
            cursor += 32 * b;
        }
        if (a != 0) {
            entry->pairs = reinterpret_cast<cmc_record34_pair *>(base + cursor);
            const uint64_t table2 = 16 + 28 * uint64_t(b);
            for (uint32_t i = 0; i < a; ++i) convert_pair(r19, table2 + 8 * uint64_t(i), entry->pairs[i]);
            cursor += 8 * a;
        }
        ++entry;
    }
    if (has20) {
        entry->source = CMC_RECORD34_FROM_RECORD20;
        if (table_form) {
            entry->value = CMC_RECORD34_FORM_TABLE;
            entry->pair_count = n;
            if (n != 0) {
                entry->pairs = reinterpret_cast<cmc_record34_pair *>(base + cursor);
                for (uint32_t i = 0; i < n; ++i) convert_pair(r20, 20 + 8 * uint64_t(i), entry->pairs[i]);
                cursor += 8 * n;
            }
        } else {
            entry->value = CMC_RECORD34_FORM_FOUR_VALUES;
            entry->block = reinterpret_cast<cmc_record34_block *>(base + cursor);
            entry->block->values[0] = r20.u16(8);   // u16 at 8
            entry->block->values[1] = r20.u16(10);  // u16 at 10
            entry->block->values[2] = r20.u8(12);   // u8 at 12, widened
            entry->block->values[3] = r20.u8(13);   // u8 at 13, widened
            cursor += 8;
        }
    }
    if (!r19.ok() || !r20.ok()) {
        diag.dropped("slot 58: tables of records 19 and 20 within their records", size, cursor);
        return;
    }
    cmc->slot[CMC_SLOT_RECORD34] = buffer.release();
    diag.emit(DiagKind::kRecordDecoded, "slot 58: record-34 form built from records 19 and 20", size, entries);
}

}  // namespace oz
