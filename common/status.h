// Status codes shared by the record decoders and the kernels (the numeric values are part of the ABI).
#pragma once

#include <cstdint>

namespace oz {

inline constexpr uint32_t kStatusDone = 0;          // done, also when there is nothing to do
inline constexpr uint32_t kStatusFailed = 2;        // a composite step failed
inline constexpr uint32_t kStatusNoMemory = 4;      // a working buffer could not be allocated
inline constexpr uint32_t kStatusUnusable = 8;      // unknown or unusable record / unsupported input
inline constexpr uint32_t kStatusInvalidArgs = 32;  // invalid arguments, nothing written

}  // namespace oz
