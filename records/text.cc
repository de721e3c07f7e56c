// Decoder of the text record (id 1): a NUL-terminated text and, from version 101, key/value pairs.
#include <cstdint>

#include "records/decoders.h"
#include "records/slots.h"

namespace oz {

// Record 1, text record:
//   off  size   type   field
//     0     8          record_header
//     8    16          not read
//    24  L + 1  char[] text, NUL-terminated (L characters)
//  25+L     2   u16    pair count P (version 101 and up; unaligned)
//  27+L   ...          P pairs, back to back: key, NUL, value, NUL
//
// Every string is found by a scan bounded by the record's `size`: a string without its NUL inside the
// record does not fit, and the record is rejected exactly as when `size` is too small for it.
uint32_t decode_record_1_text(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_TEXT_PAIRS, CMC_SLOT_TEXT_RECORD, CMC_SLOT_TEXT, CMC_SLOT_TEXT_PAIR_COUNT});

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();

    uint64_t text_len = 0;
    if (!r.string_length(24, &text_len)) {
        ctx.diag.refused("text NUL within size", 25, size);
        return kStatusDone;
    }
    const uint32_t L = uint32_t(text_len);  // < size, so the sums below stay in range
    if (size < L + 25) {
        ctx.diag.refused("size >= L + 25", L + 25, size);
        return kStatusDone;
    }
    char *text = reinterpret_cast<char *>(r.span(24, L + 1));

    if (rec.version() <= 100) {
        cmc->slot[CMC_SLOT_TEXT] = text;
        cmc->slot[CMC_SLOT_TEXT_RECORD] = rec.release();
        ctx.diag.decoded("slots 0-1: text, no pairs (version 100)");
        return kStatusDone;
    }

    if (size < L + 27) {
        ctx.diag.refused("size >= L + 27 (pair count)", L + 27, size);
        return kStatusDone;
    }
    const uint16_t pair_count = r.u16(25 + uint64_t(L));

    HeapArray<cmc_text_pair> pairs = heap_array_zeroed<cmc_text_pair>(pair_count);
    if (!pairs) {
        // The count stays in slot 2 while the table is null: consumers test slot 3 first.
        cmc->slot[CMC_SLOT_TEXT] = text;
        set_slot_u16s(cmc, CMC_SLOT_TEXT_PAIR_COUNT, &pair_count, 1);
        cmc->slot[CMC_SLOT_TEXT_RECORD] = rec.release();
        ctx.diag.dropped("pair table allocation failed", pair_count, 0);
        return kStatusDone;
    }

    uint64_t p = 27 + uint64_t(L);
    for (uint32_t i = 0; i < pair_count; ++i) {
        uint64_t key_len = 0, value_len = 0;
        if (!r.string_length(p, &key_len)) {
            ctx.diag.refused("pair key NUL within size", p + 1, size);
            return kStatusDone;
        }
        const uint64_t key_nul = p + key_len;
        const uint64_t value_at = key_nul + 1;
        if (!r.string_length(value_at, &value_len)) {
            ctx.diag.refused("pair value NUL within size", value_at + 1, size);
            return kStatusDone;
        }
        pairs[i].key = reinterpret_cast<const char *>(r.span(p, key_len + 1));
        pairs[i].value = reinterpret_cast<const char *>(r.span(value_at, value_len + 1));
        p = value_at + value_len + 1;
    }

    cmc->slot[CMC_SLOT_TEXT] = text;
    set_slot_u16s(cmc, CMC_SLOT_TEXT_PAIR_COUNT, &pair_count, 1);
    cmc->slot[CMC_SLOT_TEXT_PAIRS] = pairs.release();
    cmc->slot[CMC_SLOT_TEXT_RECORD] = rec.release();
    ctx.diag.decoded("slots 0-3: text and key/value pairs");
    return kStatusDone;
}

}  // namespace oz
