// The shipped heap seam: the C heap, unchanged.
#include "common/heap.h"

#include <cstdlib>

namespace oz {

void *heap_alloc(size_t bytes) { return std::malloc(bytes); }

void *heap_alloc_zeroed(size_t count, size_t size) {
    size_t bytes;
    if (!checked_mul(count, size, &bytes)) return nullptr;
    return std::calloc(count, size);
}

void heap_free(void *p) { std::free(p); }

}  // namespace oz
