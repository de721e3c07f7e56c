// Helpers shared by the decoders of the general records and the synthesized record 34.
#pragma once

#include <cstdint>

#include "common/fixed_point.h"
#include "records/decode.h"

namespace oz {

// Second layer behind a format test that passed: the reads themselves must have stayed inside the
// record. A record whose counts wrap the format's 32-bit arithmetic is dropped here.
inline bool reads_inside(RecordBytes &r, const DecodeContext &ctx) {
    if (r.ok()) return true;
    ctx.diag.refused("fields within the record's size", 0, r.size());
    return false;
}

}  // namespace oz
