// Decoders of the general records whose sections are found by walking them (ids 15, 24, 25, 26, 27):
// they build tables of their own that copy each section or point at it inside the kept record. Also
// the release routine of every nested structure they build, used by slot replacement, deinit and the
// decoders' own error paths alike.
#include <cstdint>
#include <memory>

#include "oz_cmc_records.h"
#include "records/decoders.h"
#include "records/general_records.h"
#include "records/memcpy_s.h"
#include "records/slots.h"

namespace oz {
namespace {

// Release routines of the built structures: null-tolerant, tolerant of a partly built structure (its
// arrays are zeroed before they are filled), children first.
void cmc_record15_samples_release(cmc_record15_sample_table *table) {
    if (table == nullptr) return;
    if (table->samples != nullptr) {
        for (uint32_t i = 0; i < table->count; ++i) {
            heap_free(table->samples[i].series1);
            heap_free(table->samples[i].series2);
        }
    }
    heap_free(table->samples);
    heap_free(table);
}

void cmc_record15_flags_release(cmc_record15_flag_block *block) {
    if (block == nullptr) return;
    heap_free(block->table);
    heap_free(block);
}

void cmc_record24_release(cmc_record24 *s) {
    if (s == nullptr) return;
    if (s->entries != nullptr) {
        for (uint32_t i = 0; i < s->entry_count; ++i) heap_free(s->entries[i].data);
    }
    heap_free(s->entries);
    heap_free(s);
}

// The entry count lives in the owned record copy (u16 at 24); the structure is only built for records
// of at least 32 bytes, and its record pointer is set before its entry array.
void cmc_record27_release(cmc_record27 *s) {
    if (s == nullptr) return;
    if (s->entries != nullptr && s->record != nullptr) {
        const uint32_t size = ByteReader(s->record, 4).u32(0);
        const uint32_t count = ByteReader(s->record, size).u16(24);
        for (uint32_t i = 0; i < count; ++i) {
            heap_free(s->entries[i].head);
            heap_free(s->entries[i].samples);
        }
    }
    heap_free(s->entries);
    heap_free(s->record);
    heap_free(s);
}

using SampleTableOwner = Owned<cmc_record15_sample_table, cmc_record15_samples_release>;
using FlagBlockOwner = Owned<cmc_record15_flag_block, cmc_record15_flags_release>;
using Record24Owner = Owned<cmc_record24, cmc_record24_release>;
using Record27Owner = Owned<cmc_record27, cmc_record27_release>;

enum class Walk { kNotRun, kBuilt, kFailed };

// Record 15's sample walk, from P (the u16 count k) on. On success `table` holds the k samples (or
// stays null when k is 0) and `cursor` is the offset after the last sample.
//   sample off  size   type   field
//            0    12          head (u16 at head byte 10: L)
//           12  2 * L  u16[]  first series
//       12+2L   2 * L  u16[]  second series
Walk walk_record15_samples(RecordBytes &r, uint32_t size, uint32_t p, SampleTableOwner &table,
                           uint32_t &cursor, const DecodeContext &ctx) {
    SampleTableOwner built = owned_zeroed<cmc_record15_sample_table, cmc_record15_samples_release>();
    if (!built) {
        ctx.diag.dropped("slot 23: sample table allocation", sizeof(cmc_record15_sample_table), 0);
        return Walk::kFailed;
    }
    const uint32_t k = r.u16(p);  // u16 k
    cursor = p + 2;
    if (k == 0) return Walk::kBuilt;  // no samples: slot 23 stays null

    built->count = uint16_t(k);
    built->samples = heap_array_zeroed<cmc_record15_sample>(k).release();
    if (built->samples == nullptr) {
        ctx.diag.dropped("slot 23: sample array allocation", k * uint64_t(sizeof(cmc_record15_sample)), 0);
        return Walk::kFailed;
    }
    for (uint32_t i = 0; i < k; ++i) {
        cmc_record15_sample &s = built->samples[i];
        const uint32_t need_head = round8(cursor + 12);
        if (size < need_head) {
            ctx.diag.dropped("slot 23: sample head, size >= round8(cursor + 12)", need_head, size);
            return Walk::kFailed;
        }
        r.bytes(cursor, 12, s.head);                        // 12 bytes head
        const uint32_t length = r.u16(uint64_t(cursor) + 10);  // u16 L at head byte 10
        const uint32_t need_series = round8(cursor + 12 + 4 * length);
        if (size < need_series) {
            ctx.diag.dropped("slot 23: sample series, size >= round8(cursor + 12 + 4L)", need_series, size);
            return Walk::kFailed;
        }
        if (length != 0) {
            s.series1 = heap_array<uint16_t>(length).release();
            s.series2 = heap_array<uint16_t>(length).release();
            if (s.series1 == nullptr || s.series2 == nullptr) {
                ctx.diag.dropped("slot 23: series allocation", 4 * uint64_t(length), 0);
                return Walk::kFailed;
            }
            r.u16s(uint64_t(cursor) + 12, length, s.series1);               // u16[L] first series
            r.u16s(uint64_t(cursor) + 12 + 2 * length, length, s.series2);  // u16[L] second series
        }
        if (!r.ok()) {
            ctx.diag.dropped("slot 23: samples within the record's size", cursor, size);
            return Walk::kFailed;
        }
        cursor += 12 + 4 * length;
    }
    table = std::move(built);
    return Walk::kBuilt;
}

// Record 15's flag block at Q: the flag byte and, when it is 1, table E (n entries of 16 bytes).
FlagBlockOwner build_record15_flags(RecordBytes &r, uint32_t size, uint32_t q, uint32_t n,
                                    const DecodeContext &ctx) {
    const uint32_t need_flag = round8(q + 1);
    if (size < need_flag) {
        ctx.diag.dropped("slot 24: flag, size >= round8(Q + 1)", need_flag, size);
        return nullptr;
    }
    FlagBlockOwner block = owned_zeroed<cmc_record15_flag_block, cmc_record15_flags_release>();
    if (!block) {
        ctx.diag.dropped("slot 24: flag block allocation", sizeof(cmc_record15_flag_block), 0);
        return nullptr;
    }
    block->flag = r.u8(q);  // u8 flag
    if (block->flag == 1 && n != 0) {
        const uint32_t need_table = round8(q + 1 + 16 * n);
        if (size < need_table) {
            ctx.diag.dropped("slot 24: table E, size >= round8(Q + 1 + 16n)", need_table, size);
            return nullptr;
        }
        block->table = heap_array<uint8_t>(16 * size_t(n)).release();
        if (block->table == nullptr) {
            ctx.diag.dropped("slot 24: table E allocation", 16 * uint64_t(n), 0);
            return nullptr;
        }
        r.bytes(uint64_t(q) + 1, 16 * uint64_t(n), block->table);  // n x 16 bytes table E
    }
    if (!r.ok()) {
        ctx.diag.dropped("slot 24: flag block within the record's size", q, size);
        return nullptr;
    }
    return block;
}

}  // namespace

void release_record15_samples(cmc_data *cmc, int slot) {
    cmc_record15_samples_release(static_cast<cmc_record15_sample_table *>(cmc->slot[slot]));
    cmc->slot[slot] = nullptr;
}

void release_record15_flags(cmc_data *cmc, int slot) {
    cmc_record15_flags_release(static_cast<cmc_record15_flag_block *>(cmc->slot[slot]));
    cmc->slot[slot] = nullptr;
}

void release_record24(cmc_data *cmc, int slot) {
    cmc_record24_release(static_cast<cmc_record24 *>(cmc->slot[slot]));
    cmc->slot[slot] = nullptr;
}

// Slot 47 owns the record and, with it, the table in slot 49 that points into it: the table first.
void release_record25(cmc_data *cmc, int slot) {
    heap_free(cmc->slot[CMC_SLOT_RECORD25_TABLE]);
    cmc->slot[CMC_SLOT_RECORD25_TABLE] = nullptr;
    heap_free(cmc->slot[slot]);
    cmc->slot[slot] = nullptr;
}

void release_record27(cmc_data *cmc, int slot) {
    cmc_record27_release(static_cast<cmc_record27 *>(cmc->slot[slot]));
    cmc->slot[slot] = nullptr;
}

// Record 15 (slots 22 to 29):
//   off           size  type  field
//     8              2  u16   n
//    10              2  u16   m
//    12          8 * n        table A (slot 26)
//    12+8n       8 * n        table B (slot 27)
//    12+16n      8 * n        table C (slot 28)
//    12+24n      8 * m        table D (slot 29)
//    P=12+24n+8m     2  u16   k, number of samples (version 101 and up; slot 23)
//    P+2           ...        k samples, back to back (version 101 and up)
//    Q               1  u8    flag (version 102 and up; slot 24), Q right after the last sample
//    Q+1        16 * n        table E, when the flag is 1 (version 102 and up)
//
// Kept when size >= round8(P). The samples are built when the version is 101 or more and size >=
// round8(P + 2); any sample that does not fit, or an allocation that fails, drops the whole sample
// table. The flag block is built from version 102, and only when the sample walk did not fail part-way:
// the offset where a failed walk stopped says nothing about where the flag lies, so slot 24 stays null
// then. Slot 25 is never filled.
uint32_t decode_record_15_tables(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_RECORD15_SAMPLES, CMC_SLOT_RECORD15_FLAGS, CMC_SLOT_RECORD15,
                      CMC_SLOT_RECORD15_UNUSED, CMC_SLOT_RECORD15_TABLE_A, CMC_SLOT_RECORD15_TABLE_B,
                      CMC_SLOT_RECORD15_TABLE_C, CMC_SLOT_RECORD15_TABLE_D});
    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint8_t version = rec.version();
    const uint32_t n = r.u16(8);   // u16 n
    const uint32_t m = r.u16(10);  // u16 m
    const uint32_t p = 12 + 24 * n + 8 * m;
    if (size < round8(p)) {
        ctx.diag.refused("size >= round8(12 + 24n + 8m)", round8(p), size);
        return kStatusDone;
    }
    uint8_t *table_a = r.span(12, 8 * uint64_t(n));
    uint8_t *table_b = r.span(12 + 8 * uint64_t(n), 8 * uint64_t(n));
    uint8_t *table_c = r.span(12 + 16 * uint64_t(n), 8 * uint64_t(n));
    uint8_t *table_d = r.span(12 + 24 * uint64_t(n), 8 * uint64_t(m));
    if (!reads_inside(r, ctx)) return kStatusDone;

    SampleTableOwner samples;
    Walk walk = Walk::kNotRun;
    uint32_t cursor = p;
    if (version >= 101) {
        if (size >= round8(p + 2))
            walk = walk_record15_samples(r, size, p, samples, cursor, ctx);
        else
            ctx.diag.dropped("slot 23: size >= round8(P + 2)", round8(p + 2), size);
    }
    FlagBlockOwner flags;
    if (version >= 102) {
        if (walk == Walk::kFailed)
            ctx.diag.dropped("slot 24: flag position unknown after a failed sample walk", 0, cursor);
        else
            flags = build_record15_flags(r, size, cursor, n, ctx);
    }

    cmc->slot[CMC_SLOT_RECORD15_TABLE_A] = table_a;
    cmc->slot[CMC_SLOT_RECORD15_TABLE_B] = table_b;
    cmc->slot[CMC_SLOT_RECORD15_TABLE_C] = table_c;
    cmc->slot[CMC_SLOT_RECORD15_TABLE_D] = table_d;
    cmc->slot[CMC_SLOT_RECORD15_SAMPLES] = samples.release();
    cmc->slot[CMC_SLOT_RECORD15_FLAGS] = flags.release();
    cmc->slot[CMC_SLOT_RECORD15] = rec.release();
    ctx.diag.decoded("slot 22: record copy, slots 26-29: tables A-D, slots 23, 24 where built");
    return kStatusDone;
}

// Record 24 (slot 45), the one general record that can return non-zero:
//   off  size  type  field
//     8     6        kept, not interpreted
//    14     2  u16   c, number of entries
//    16   ...        c entries:
//      entry off  size  type  field
//              0    16        head (u16 at head byte 2: K)
//             16  4 * K       data (copied)
//
// The structure keeps bytes 0 to 15 and the entries. Size tests are not rounded: size > 15, then
// size >= R with R = 16 * (c + 1), growing by 4K per entry. When an entry's data does not fit, the
// first entry fails the record with 8; a later one ends the walk, keeping that entry's head without
// data and leaving the rest zeroed. An allocation failure returns 4. On 8 or 4 slot 45 is null and the
// record copy goes back to the caller.
uint32_t decode_record_24_entries(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_RECORD24});
    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    if (size <= 15) {
        ctx.diag.refused("size > 15", 16, size, kStatusUnusable);
        return kStatusUnusable;
    }
    Record24Owner out = owned_zeroed<cmc_record24, cmc_record24_release>();
    if (!out) {
        ctx.diag.refused("record-24 structure allocation", sizeof(cmc_record24), 0, kStatusNoMemory);
        return kStatusNoMemory;
    }
    r.bytes(0, 16, out.get());  // bytes 0 to 15: header, 6 kept bytes, u16 c
    const uint32_t c = out->entry_count;
    if (c != 0) {
        uint32_t required = 16 * (c + 1);
        if (size < required) {
            ctx.diag.refused("size >= 16 * (c + 1)", required, size, kStatusUnusable);
            return kStatusUnusable;
        }
        out->entries = heap_array_zeroed<cmc_record24_entry>(c).release();
        if (out->entries == nullptr) {
            ctx.diag.refused("entry array allocation", c * uint64_t(sizeof(cmc_record24_entry)), 0,
                             kStatusNoMemory);
            return kStatusNoMemory;
        }
        uint32_t cursor = 16;
        for (uint32_t i = 0; i < c; ++i) {
            cmc_record24_entry &e = out->entries[i];
            r.bytes(cursor, 16, e.head);                         // 16 bytes head
            const uint32_t k = r.u16(uint64_t(cursor) + 2);       // u16 K at head byte 2
            required += 4 * k;
            if (size < required) {
                if (i == 0) {
                    ctx.diag.refused("first entry: size >= 16 * (c + 1) + 4K", required, size,
                                     kStatusUnusable);
                    return kStatusUnusable;
                }
                ctx.diag.dropped("entry data: size >= R (this entry's data and later entries dropped)",
                                 required, size);
                break;
            }
            if (k != 0) {
                e.data = heap_array<uint8_t>(4 * size_t(k)).release();
                if (e.data == nullptr) {
                    ctx.diag.refused("entry data allocation", 4 * uint64_t(k), 0, kStatusNoMemory);
                    return kStatusNoMemory;
                }
                r.bytes(uint64_t(cursor) + 16, 4 * uint64_t(k), e.data);  // 4K bytes data
            }
            if (!r.ok()) {
                ctx.diag.refused("entries within the record's size", required, size, kStatusUnusable);
                return kStatusUnusable;
            }
            cursor += 16 + 4 * k;
        }
    }
    cmc->slot[CMC_SLOT_RECORD24] = out.release();
    ctx.diag.decoded("slot 45: record-24 structure");
    return kStatusDone;  // the record copy is released by its owner
}

// Record 25 (slots 47, 48, 49):
//   off        size  type  field
//     8           2  u16   n, number of entries
//    10           2  u16   m
//    12       4 * m        leading table (slot 48)
//    12+4m      ...        n entries, back to back:
//      entry off  size    field
//              0  h       head: h = 20 up to version 100, 24 from 101 (item pointer `head`)
//              h  36      values (copied into the item)
//           h+36  36 * m  blocks (item pointer `blocks`)
//
// The format gives no size test; the record is kept only when its n entries fit in its size
// (12 + 4m + n * (h + 36 + 36m) bytes, computed in 64 bits), else every slot stays null. The table of
// slot 49 is null when n is 0 or it cannot be allocated; consumers rely on n.
uint32_t decode_record_25_entry_table(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_RECORD25, CMC_SLOT_RECORD25_LEADING, CMC_SLOT_RECORD25_TABLE});
    RecordBytes &r = rec.bytes();
    const uint32_t n = r.u16(8);   // u16 n
    const uint32_t m = r.u16(10);  // u16 m
    const uint64_t head = rec.version() >= 101 ? 24 : 20;
    const uint64_t entry = head + 36 + 36 * uint64_t(m);
    const uint64_t required = 12 + 4 * uint64_t(m) + n * entry;
    if (rec.size() < required) {
        ctx.diag.refused("size >= 12 + 4m + n * (head + 36 + 36m)", required, rec.size());
        return kStatusDone;
    }
    uint8_t *leading = r.span(12, 4 * uint64_t(m));
    HeapArray<cmc_record25_item> table;
    if (n != 0) {
        table = heap_array_zeroed<cmc_record25_item>(n);
        if (!table) ctx.diag.dropped("slot 49: table allocation", n * uint64_t(sizeof(cmc_record25_item)), 0);
    }
    if (table) {
        uint64_t cursor = 12 + 4 * uint64_t(m);
        for (uint32_t i = 0; i < n; ++i) {
            cmc_record25_item &item = table[i];
            item.head = r.span(cursor, head);               // head
            r.bytes(cursor + head, 36, item.values);         // 36 bytes values
            item.blocks = r.span(cursor + head + 36, 36 * uint64_t(m));  // m x 36 bytes blocks
            cursor += entry;
        }
    }
    if (!reads_inside(r, ctx)) return kStatusDone;
    cmc->slot[CMC_SLOT_RECORD25_LEADING] = leading;
    cmc->slot[CMC_SLOT_RECORD25_TABLE] = table.release();
    cmc->slot[CMC_SLOT_RECORD25] = rec.release();
    ctx.diag.decoded("slot 47: record copy, slot 48: leading table, slot 49: entry table");
    return kStatusDone;
}

// Record 26 (slot 50), sixteen 32-bit words:
//   off  size  type    field
//     0     8          record_header
//     8     4  f32     value 0
//    12     4  f32     value 1
//    16    24  f32[6]  group 0 (version 101 and up, when size >= 64)
//    40    24  f32[6]  group 1 (version 101 and up, when size >= 64)
// Without the groups each is (value 0, value 1, 1, 1, 1, 1).
uint32_t decode_record_26_float_groups(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_RECORD26});
    const uint32_t size = rec.size();
    if (size <= 15) {
        ctx.diag.refused("size > 15", 16, size);
        return kStatusDone;
    }
    HeapPtr<cmc_record26> out = heap_new_zeroed<cmc_record26>();
    if (!out) {
        ctx.diag.dropped("record-26 structure allocation", sizeof(cmc_record26), 0);
        return kStatusDone;
    }
    RecordBytes &r = rec.bytes();
    r.bytes(0, 16, out.get());  // words 0 to 3: header, f32 value 0, f32 value 1
    if (rec.version() >= 101 && size >= 64) {
        memcpy_s(out->group0, sizeof out->group0, r.span(16, 24), 24);  // f32[6] group 0
        memcpy_s(out->group1, sizeof out->group1, r.span(40, 24), 24);  // f32[6] group 1
    } else {
        const float fill[6] = {out->value0, out->value1, 1.0f, 1.0f, 1.0f, 1.0f};
        for (int i = 0; i < 6; ++i) out->group0[i] = out->group1[i] = fill[i];
        ctx.diag.default_taken(rec.version() >= 101 ? "groups = (value 0, value 1, 1, 1, 1, 1): size below 64"
                                                    : "groups = (value 0, value 1, 1, 1, 1, 1): before version 101",
                               size);
    }
    if (!reads_inside(r, ctx)) return kStatusDone;
    ctx.cmc->slot[CMC_SLOT_RECORD26] = out.release();
    ctx.diag.decoded("slot 50: record-26 structure");
    return kStatusDone;
}

// Record 27 (slot 51):
//   off  size  type  field
//    24     2  u16   c, number of entries
//    26     2  u16   P, planes per entry
//    28     2  u16   H
//    30     2  u16   W
//    32   ...        c entries: 20-byte head, then P planes of W x H u16 samples
//   end  16 * c      trailing table (version 101 and up)
//
// The structure takes over the record copy. The format tests only the trailing table
// (size >= round8(end of entries + 16c)); the entries are bounded here too: a record whose entries do
// not fit in its size is refused, and so is one whose P is 0 (nothing to fill its sample buffers, which
// would let a few record bytes ask for gigabytes) or above 3 (the buffers hold three planes). A head or
// sample buffer that cannot be allocated stays null, the copy into it being logged by memcpy_s.
uint32_t decode_record_27_planes(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_RECORD27});
    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    if (size < 32) {
        ctx.diag.refused("size >= 32 (entry geometry)", 32, size);
        return kStatusDone;
    }
    const uint32_t c = r.u16(24);       // u16 c
    const uint32_t planes = r.u16(26);  // u16 P
    const uint32_t h = r.u16(28);       // u16 H
    const uint32_t w = r.u16(30);       // u16 W
    if (planes == 0 || planes > 3) {
        ctx.diag.refused("1 <= P <= 3", 3, planes);
        return kStatusDone;
    }
    const uint64_t plane_bytes = 2 * uint64_t(w) * h;
    const uint64_t entry_bytes = 20 + planes * plane_bytes;
    const uint64_t entries_end = 32 + c * entry_bytes;
    if (size < entries_end) {
        ctx.diag.refused("size >= 32 + c * (20 + P * W * H * 2)", entries_end, size);
        return kStatusDone;
    }
    const bool has_trailing = rec.version() >= 101;
    if (has_trailing) {
        const uint32_t need = round8(uint32_t(entries_end) + 16 * c);
        if (size < need || !r.has(entries_end, 16 * uint64_t(c))) {
            ctx.diag.refused("trailing table: size >= round8(end of entries + 16c)", need, size);
            return kStatusDone;
        }
    }

    Record27Owner out = owned_zeroed<cmc_record27, cmc_record27_release>();
    if (!out) {
        ctx.diag.dropped("record-27 structure allocation", sizeof(cmc_record27), 0);
        return kStatusDone;
    }
    out->record = rec.release();  // owned by the structure from here; `r` still reads it
    if (c != 0) {
        out->entries = heap_array_zeroed<cmc_record27_entry>(c).release();
        if (out->entries == nullptr) {
            ctx.diag.dropped("record-27 entry array allocation", c * uint64_t(sizeof(cmc_record27_entry)), 0);
            return kStatusDone;
        }
    }
    uint64_t cursor = 32;
    for (uint32_t i = 0; i < c; ++i) {
        cmc_record27_entry &e = out->entries[i];
        e.head = static_cast<uint8_t *>(heap_alloc(20));
        if (e.head == nullptr) ctx.diag.dropped("record 27 entry head copy allocation", 20, 0);
        memcpy_s(e.head, 20, r.span(cursor, 20), 20);  // 20 bytes head
        if (plane_bytes != 0) {
            const size_t buffer = size_t(3 * plane_bytes);
            e.samples = static_cast<uint16_t *>(heap_alloc_zeroed(1, buffer));
            if (e.samples == nullptr) ctx.diag.dropped("record 27 entry sample buffer allocation", buffer, 0);
            memcpy_s(e.samples, buffer, r.span(cursor + 20, planes * plane_bytes),
                     size_t(planes * plane_bytes));  // P planes of W x H u16
        }
        cursor += entry_bytes;
    }
    out->trailing_table = has_trailing ? r.span(cursor, 16 * uint64_t(c)) : nullptr;
    if (!reads_inside(r, ctx)) return kStatusDone;
    cmc->slot[CMC_SLOT_RECORD27] = out.release();
    ctx.diag.decoded("slot 51: record-27 structure owning the record copy");
    return kStatusDone;
}

}  // namespace oz
