// Destination writes of the scaling kernels for large calls: when source and destination together do
// not fit the caches, the destination is written with streaming stores, which go around the caches
// (the source rows stay cached, and the destination lines are not read before being overwritten).
// Smaller calls store normally, which is faster while everything stays cached.
#pragma once

#include <cstddef>
#include <cstdint>

namespace oz {

// Calls that read and write together at least this many bytes stream their destination.
inline constexpr size_t kStreamBytes = size_t(16) << 20;

inline bool use_streaming(size_t src_bytes, size_t dst_bytes) { return src_bytes + dst_bytes >= kStreamBytes; }

// Copies `bytes` bytes from src to dst with streaming stores (plain stores for the unaligned head and
// tail). Call store_fence() after the last one.
void stream_copy(void *dst, const void *src, size_t bytes);

// Orders the streaming stores before the kernel returns.
void store_fence();

// Asks for the bytes of a source row that a later destination row will read, so that they arrive
// while the current row is computed (the rows a reduction reads are not consecutive). A hint only:
// nothing is read.
inline void prefetch_bytes(const void *p, size_t bytes) {
    const char *c = static_cast<const char *>(p);
    for (size_t off = 0; off < bytes; off += 64) __builtin_prefetch(c + off, 0, 2);
}

}  // namespace oz
