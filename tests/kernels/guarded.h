// Test helpers for the vector-versus-scalar row tests: buffers that end flush against a PROT_NONE
// page (an overread or overwrite past the end faults at once), the row sets this CPU runs, and a
// fixed-seed generator.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "common/cpu.h"

namespace oz::test {

// n elements of T whose last element ends exactly where an inaccessible page begins.
template <class T>
class Guarded {
  public:
    explicit Guarded(size_t n) : n_(n) {
        const size_t page = size_t(sysconf(_SC_PAGESIZE));
        const size_t bytes = n * sizeof(T);
        total_ = (bytes + page - 1) / page * page + page;
        base_ = static_cast<uint8_t *>(mmap(nullptr, total_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        if (base_ == MAP_FAILED) std::abort();
        mprotect(base_ + total_ - page, page, PROT_NONE);
        data_ = reinterpret_cast<T *>(base_ + total_ - page - bytes);
    }
    ~Guarded() { munmap(base_, total_); }
    Guarded(const Guarded &) = delete;
    Guarded &operator=(const Guarded &) = delete;

    T *data() { return data_; }
    const T *data() const { return data_; }
    size_t size() const { return n_; }
    size_t bytes() const { return n_ * sizeof(T); }
    T &operator[](size_t i) { return data_[i]; }
    const T &operator[](size_t i) const { return data_[i]; }
    void fill_bytes(uint8_t v) { std::memset(data_, v, bytes()); }
    void fill(T v) { std::fill(data_, data_ + n_, v); }

  private:
    size_t n_;
    size_t total_;
    uint8_t *base_;
    T *data_;
};

// Number of differing bytes of two equally sized buffers (0 when identical).
template <class T>
size_t differing_bytes(const Guarded<T> &a, const Guarded<T> &b) {
    const uint8_t *pa = reinterpret_cast<const uint8_t *>(a.data());
    const uint8_t *pb = reinterpret_cast<const uint8_t *>(b.data());
    size_t n = 0;
    for (size_t i = 0; i < a.bytes(); ++i) n += pa[i] != pb[i];
    return n;
}

// The vector row sets to check, each with the name used in failure messages.
template <class Rows>
struct IsaRows {
    const char *name;
    const Rows *rows;
};

template <class Rows>
std::vector<IsaRows<Rows>> supported_rows(const Rows &(*sse41)(), const Rows &(*avx2)()) {
    std::vector<IsaRows<Rows>> out;
    if (cpu_has_sse41()) out.push_back({"sse41", &sse41()});
    if (cpu_has_avx2()) out.push_back({"avx2", &avx2()});
    return out;
}

// The same for a family with an AVX-512 set.
template <class Rows>
std::vector<IsaRows<Rows>> supported_rows(const Rows &(*sse41)(), const Rows &(*avx2)(), const Rows &(*avx512)()) {
    std::vector<IsaRows<Rows>> out = supported_rows(sse41, avx2);
    if (cpu_has_avx512()) out.push_back({"avx512", &avx512()});
    return out;
}

using Rng = std::mt19937;

}  // namespace oz::test
