// Nearest-neighbour vector helpers shared by the SSE4.1 and AVX2 rows, written over an ISA's vector
// operations: the footprint-end rule lane by lane (the scalar footprint_last in every lane) and the
// footprint maximum, whose column maxima over the span's rows are taken a vector at a time.
#pragma once

#include "resample/nearest_rows.h"

namespace oz {
namespace {

// footprint_last(j, ratio, last + 1, kTolerant) in every lane.
template <class V, bool kTolerant>
typename V::I footprint_last_vec(typename V::I j, typename V::F ratio, typename V::I last_sample) {
    using F = typename V::F;
    using I = typename V::I;
    const F p = V::mul(V::cvt(j), ratio);
    const I k = V::cvtt(p);  // p >= 0: truncation
    const F frac = V::sub(p, V::cvt(k));
    const F on_boundary = kTolerant ? V::cmplt(frac, V::set1(kFootprintTolerance)) : V::cmpeq_f(frac, V::zero());
    // k - 1 where on the boundary and k >= 1 (the mask is -1 there).
    const I minus = V::and_i(V::cast_i(on_boundary), V::cmpgt_i(k, V::zero_i()));
    return V::min_i(V::add_i(k, minus), last_sample);
}

// Footprint maximum. Max is exact and order-free, so the column maxima over the span's rows are
// formed first for a strip of source columns (a vector of columns at a time, starting from 0), then
// each destination column takes the largest of its span's column maxima.
template <class V>
void max_row_vec(const int32_t *src, size_t stride, uint32_t row_count, int32_t *dst, uint32_t count, float ratio,
                 uint32_t src_count) {
    using I = typename V::I;
    constexpr uint32_t L = V::kLanes;
    constexpr uint32_t kStrip = 1024;
    alignas(32) int32_t col_max[kStrip];
    uint32_t strip_begin = 0, strip_end = 0;  // columns whose maxima col_max holds
    uint32_t first = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t last = footprint_last(i + 1, ratio, src_count, false);
        if (first > last) {  // the footprint ends inside the previous span
            dst[i] = 0;
            continue;
        }
        if (last - first >= kStrip) {
            // One destination column over the whole span: ratio n over one column ends it at n - 1.
            max_row_i32_c(src + first, stride, row_count, dst + i, 1, float(last - first + 1), last - first + 1);
            first = last + 1;
            continue;
        }
        if (first < strip_begin || last >= strip_end) {
            strip_begin = first;
            strip_end = src_count - first < kStrip ? src_count : first + kStrip;
            const uint32_t n = strip_end - strip_begin;
            uint32_t c = 0;
            for (; c + L <= n; c += L) {
                I m = V::zero_i();
                for (uint32_t r = 0; r < row_count; ++r) m = V::max_i(m, V::loadu_i(src + r * stride + strip_begin + c));
                V::store_i(col_max + c, m);
            }
            for (; c < n; ++c) {
                int32_t m = 0;
                for (uint32_t r = 0; r < row_count; ++r) {
                    const int32_t v = src[r * stride + strip_begin + c];
                    m = v > m ? v : m;
                }
                col_max[c] = m;
            }
        }
        int32_t m = 0;
        for (uint32_t c = first; c <= last; ++c) m = col_max[c - strip_begin] > m ? col_max[c - strip_begin] : m;
        dst[i] = m;
        first = last + 1;
    }
}

}  // namespace
}  // namespace oz
