// The others record (id 722): found by a search walk after init and stored in slot 65.
#include "common/heap.h"
#include "parser/container.h"
#include "parser/parser.h"
#include "records/slots.h"

namespace oz {

// Record 722, others record:
//   off      size     type  field
//     0         8           record_header (version decides the trailing value)
//     8         4     u32   first value
//    12         4     u32   entry count
//    16     8 x k           entries (k = the count, at most 16, are kept)
//  16+8k        4     u32   trailing value (version 102 and up)
//
// The search walk is not preceded by validation, so it is bounded by the smaller of total_size and the
// descriptor's size. A record too short for the entries it keeps (and for the trailing value where its
// version has one) is rejected like a missing record: slot 65 keeps what it held. A second call that
// finds a usable record releases the structure of the first.
void parse_others_record(const binary_data *container, cmc_data *cmc, DiagSink *sink) {
    const Diag diag(sink);
    if (container == nullptr || container->data == nullptr || cmc == nullptr) return;
    ByteReader bytes(container->data, container->size);
    const uint32_t total_size = bytes.u32(4);
    if (!bytes.ok()) return;  // fewer than 8 bytes: not even total_size can be read
    const uint32_t limit = total_size < container->size ? total_size : container->size;

    bool found = false;
    WalkRecord others{};
    walk_records(bytes, limit, diag, [&](const WalkRecord &rec) {
        if (rec.id != kOthersRecordId) return true;
        others = rec;
        found = true;
        return false;
    });
    if (!found) return;

    Diag at(sink);
    at.set_record(others.offset, others.id, others.version, others.size);
    ByteReader r = others.bytes;
    const uint32_t count = r.u32(12);
    const uint32_t kept = count <= 16 ? count : 16;
    const bool has_trailing = others.version >= 102;
    const uint64_t needed = 16 + 8 * uint64_t(kept) + (has_trailing ? 4 : 0);
    if (!r.ok() || others.size < needed) {
        at.refused("size >= 16 + 8 * min(count, 16) (+ 4 from version 102)", needed, others.size);
        return;
    }

    HeapPtr<others_data> data = heap_new_zeroed<others_data>();
    release_slot(cmc, CMC_SLOT_OTHERS);
    if (!data) return;  // slot 65 stays null
    data->first_value = r.u32(8);
    data->entry_count = kept;
    for (uint32_t i = 0; i < kept; ++i) r.bytes(16 + 8 * uint64_t(i), 8, data->entries[i]);
    data->trailing_value = has_trailing ? r.u32(16 + 8 * uint64_t(kept)) : 2;
    if (has_trailing) at.decoded("slot 65: others_data with trailing value");
    else at.default_taken("trailing value (before version 102)", 2);
    cmc->slot[CMC_SLOT_OTHERS] = data.release();
}

}  // namespace oz
