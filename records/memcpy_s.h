// The library's bounded copy.
#pragma once

#include <cstddef>

namespace oz {

// Copies `count` bytes from `src` to `dest`, never more than `destsz`:
//   - a null `dest` logs "memcpy_s: nullptr received\n" and copies nothing;
//   - a `count` above `destsz` logs the downsizing message and copies `destsz` bytes;
//   - a null `src` zero-fills the bytes instead of copying.
// Messages go through oz_log at level 0. There is no result.
void memcpy_s(void *dest, size_t destsz, const void *src, size_t count);

}  // namespace oz
