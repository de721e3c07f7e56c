// The tuning container: header checks, word checksum and the record walk.
#pragma once

#include <cstdint>

#include "common/byte_reader.h"
#include "common/diag.h"
#include "oz_cmc_types.h"

namespace oz {

inline constexpr uint32_t kContainerHeaderSize = 24;
inline constexpr uint16_t kOthersRecordId = 722;

enum class ChecksumForm : uint8_t { kNone, kA, kB };

// Container header (24 bytes, little-endian):
//   off  size  type  field
//     0     4  u32   first word (covered by form A only)
//     4     4  u32   total_size: the whole container, header included
//     8    12  u32s  words 2 to 4 (covered by form A only)
//    20     4  u32   checksum
//
// Accepts the container when the descriptor is non-null with a data pointer, holds at least the 24
// header bytes, `total_size` equals the descriptor's size, and the checksum matches form A (sum of
// every whole word except the checksum word) or form B (sum of the whole words from byte 24). Trailing
// bytes past the last whole word take part in neither sum. Returns the form that matched, or kNone.
ChecksumForm validate_container(const binary_data *container, const Diag &diag);

// One record as the walk sees it: its offset and header, and a reader over exactly its `size` bytes.
struct WalkRecord {
    uint32_t offset;
    uint32_t size;
    uint8_t version;
    uint16_t id;
    ByteReader bytes;
};

// Walks the records of `container` from byte 24, bounded by `limit` bytes (total_size for a validated
// container; the smaller of total_size and the descriptor's size for the unvalidated search walk).
// Calls visit(const WalkRecord&) for each record in container order; visit returns false to stop.
//
// The format only says where the next record starts; to keep every read and copy inside the
// container, the walk stops (visiting nothing more) at a record whose 8-byte header does not fit, whose
// `size` is below 8 (the walk could not advance past its own header), or whose `size` reaches past the
// limit (which also covers a `size` that would carry the 32-bit offset past 2^32). Records before it
// stay decoded; the container is not rejected for it.
template <class Visit>
void walk_records(ByteReader container, uint32_t limit, const Diag &diag, Visit &&visit) {
    if (limit <= kContainerHeaderSize) return;
    uint32_t offset = kContainerHeaderSize;
    for (;;) {
        if (!container.has(offset, 8) || uint64_t(offset) + 8 > limit) {
            diag.emit(DiagKind::kWalkStopped, "record header within total_size", uint64_t(offset) + 8,
                      limit);
            return;
        }
        const uint32_t size = container.u32(offset);
        const uint8_t version = container.u8(offset + 4);
        const uint16_t id = container.u16(offset + 6);
        Diag at(diag.sink());
        at.set_record(offset, id, version, size);
        if (size < 8) {
            at.emit(DiagKind::kWalkStopped, "record size >= 8", 8, size);
            return;
        }
        if (uint64_t(offset) + size > limit) {
            at.emit(DiagKind::kWalkStopped, "record end <= total_size", limit,
                    uint64_t(offset) + size);
            return;
        }
        WalkRecord rec{offset, size, version, id, container.sub(offset, size)};
        if (!visit(rec)) return;
        offset += size;  // cannot wrap: offset + size <= limit
        if (offset >= limit) return;
    }
}

}  // namespace oz
