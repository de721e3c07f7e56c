// Fixed point of the record formats to float.
#pragma once

#include <cstdint>

namespace oz {

// Unsigned fixed point with 16 or 8 fraction bits to float: the integer is converted to float as an
// unsigned value (rounded to nearest), then multiplied by the exact power of two 2^-16 (bits
// 0x37800000) or 2^-8 (bits 0x3B800000), so only the conversion can round. 16-bit values widen
// exactly, so one function serves u16 and u32 fields.
inline float q16_to_f32(uint32_t v) { return static_cast<float>(v) * 0x1p-16f; }
inline float q8_to_f32(uint32_t v) { return static_cast<float>(v) * 0x1p-8f; }

}  // namespace oz
