// Helpers shared by the decoders of the general records and the synthesized record 34.
#pragma once

#include <cstdint>

#include "records/decode.h"

namespace oz {

// Unsigned fixed point with 16 or 8 fraction bits to float: the integer is converted to float as an
// unsigned value (rounded to nearest), then multiplied by the exact power of two 2^-16 (bits
// 0x37800000) or 2^-8 (bits 0x3B800000), so only the conversion can round.
inline float q16_to_f32(uint32_t v) { return static_cast<float>(v) * 0x1p-16f; }
inline float q8_to_f32(uint16_t v) { return static_cast<float>(v) * 0x1p-8f; }

// Second layer behind a format test that passed: the reads themselves must have stayed inside the
// record. A record whose counts wrap the format's 32-bit arithmetic is dropped here.
inline bool reads_inside(RecordBytes &r, const DecodeContext &ctx) {
    if (r.ok()) return true;
    ctx.diag.refused("fields within the record's size", 0, r.size());
    return false;
}

}  // namespace oz
