// Planes for the resampling benchmarks: vectors whose storage starts on a 4096-byte boundary, as
// camera frame buffers do (they are mapped pages). Every contender of a case reads and writes the
// same planes.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <vector>

namespace oz::bench {

template <class T>
struct PageAllocator {
    using value_type = T;
    PageAllocator() = default;
    template <class U>
    PageAllocator(const PageAllocator<U> &) {}
    T *allocate(size_t n) { return static_cast<T *>(std::aligned_alloc(4096, (n * sizeof(T) + 4095) / 4096 * 4096)); }
    void deallocate(T *p, size_t) { std::free(p); }
    bool operator==(const PageAllocator &) const { return true; }
};

template <class T>
using Plane = std::vector<T, PageAllocator<T>>;

}  // namespace oz::bench
