// The library's one heap seam. Every allocation of the library goes through heap_alloc,
// heap_alloc_zeroed and heap_free. The shipped library links common/heap.cc (plain malloc, calloc and
// free); the tests link common/heap_faultsim.cc, which can fail the N-th allocation and counts live
// blocks, so that every failure path can be shown to release everything.
//
// Structures handed to the caller are C structures from this heap, released by the library's own
// release routines (oz_cmc_parser_deinit and the exported *_deinit functions).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace oz {

void *heap_alloc(size_t bytes);                     // malloc; null on failure
void *heap_alloc_zeroed(size_t count, size_t size); // calloc; null on failure or overflow
void heap_free(void *p);                            // free; null does nothing

// count * size without overflow; false when the product does not fit in size_t.
inline bool checked_mul(size_t count, size_t size, size_t *out) {
    return !__builtin_mul_overflow(count, size, out);
}

struct FreeDeleter {
    void operator()(void *p) const noexcept { heap_free(p); }
};

// RAII owners of heap blocks. Hand a block over with .release() only at the point where nothing
// can fail any more.
template <class T>
using HeapPtr = std::unique_ptr<T, FreeDeleter>;
template <class T>
using HeapArray = std::unique_ptr<T[], FreeDeleter>;

// A zeroed T (a C structure), or null.
template <class T>
HeapPtr<T> heap_new_zeroed() {
    return HeapPtr<T>(static_cast<T *>(heap_alloc_zeroed(1, sizeof(T))));
}

// Zeroed array of n elements, or null (also when n * sizeof(T) overflows).
template <class T>
HeapArray<T> heap_array_zeroed(size_t n) {
    return HeapArray<T>(static_cast<T *>(heap_alloc_zeroed(n, sizeof(T))));
}

// Uninitialised array of n elements, or null (also when n * sizeof(T) overflows).
template <class T>
HeapArray<T> heap_array(size_t n) {
    size_t bytes;
    if (!checked_mul(n, sizeof(T), &bytes)) return HeapArray<T>();
    return HeapArray<T>(static_cast<T *>(heap_alloc(bytes)));
}

// Owner of a C structure under construction: its own release routine (children first, tolerant of a
// partly built structure) runs unless .release() hands the structure over.
template <class T, void (*Release)(T *)>
struct ReleaseWith {
    void operator()(T *p) const noexcept { Release(p); }
};
template <class T, void (*Release)(T *)>
using Owned = std::unique_ptr<T, ReleaseWith<T, Release>>;

// A zeroed T owned by its release routine, or null.
template <class T, void (*Release)(T *)>
Owned<T, Release> owned_zeroed() {
    return Owned<T, Release>(static_cast<T *>(heap_alloc_zeroed(1, sizeof(T))));
}

// Zeroed byte block, or null.
inline HeapArray<uint8_t> heap_bytes_zeroed(size_t n) { return heap_array_zeroed<uint8_t>(n); }

}  // namespace oz
