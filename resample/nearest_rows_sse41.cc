// Nearest-neighbour rows, SSE4.1: four destination samples at a time. Indices are computed lane by
// lane exactly as the scalar rows compute them; 32-bit samples are fetched with one load and a byte
// shuffle when the four indices fall in a 4-sample window inside the row, else per lane.
#include "resample/nearest_rows_simd.h"
#include "resample/simd_sse41.h"

namespace oz {
namespace {

inline __m128i fetch_i32(const int32_t *s, __m128i idx, uint32_t src_count) {
    const uint32_t first = uint32_t(_mm_cvtsi128_si32(idx));
    const uint32_t last = uint32_t(_mm_extract_epi32(idx, 3));
    if (last - first < 4 && first + 4 <= src_count) {
        const __m128i window = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + first));
        // Lane k takes bytes 4d .. 4d + 3 of the window (d = idx - first).
        const __m128i dd = _mm_sub_epi32(idx, _mm_set1_epi32(int32_t(first)));
        const __m128i ctrl = _mm_add_epi32(_mm_mullo_epi32(dd, _mm_set1_epi32(0x04040404)),
                                           _mm_set1_epi32(0x03020100));
        return _mm_shuffle_epi8(window, ctrl);
    }
    return _mm_setr_epi32(s[first], s[_mm_extract_epi32(idx, 1)], s[_mm_extract_epi32(idx, 2)], s[last]);
}

void step_row_x32_sse41(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step,
                        uint32_t src_count) {
    const int32_t *s = static_cast<const int32_t *>(src);
    int32_t *d = static_cast<int32_t *>(dst);
    uint32_t x = begin;
    // Positions x * step modulo 2^32, as the scalar row's running sum.
    __m128i pos = _mm_mullo_epi32(_mm_add_epi32(_mm_set1_epi32(int32_t(x)), Sse41::iota()),
                                  _mm_set1_epi32(int32_t(step)));
    const __m128i advance = _mm_set1_epi32(int32_t(4u * step));
    for (; x + 4 <= end; x += 4) {
        const __m128i idx = _mm_srli_epi32(pos, 16);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(d + x), fetch_i32(s, idx, src_count));
        pos = _mm_add_epi32(pos, advance);
    }
    step_row_x32_c(src, dst, x, end, step, src_count);
}

void pick_row_i32_sse41(const int32_t *src, int32_t *dst, uint32_t begin, uint32_t end, float ratio,
                        uint32_t src_count) {
    const __m128 r = _mm_set1_ps(ratio);
    const __m128i last_sample = _mm_set1_epi32(int32_t(src_count - 1));
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128i j = _mm_add_epi32(_mm_set1_epi32(int32_t(i + 1)), Sse41::iota());
        const __m128i idx = footprint_last_vec<Sse41, false>(j, r, last_sample);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + i), fetch_i32(src, idx, src_count));
    }
    pick_row_i32_c(src, dst, i, end, ratio, src_count);
}

void pick_row_u16_sse41(const uint16_t *src, uint16_t *dst, uint32_t begin, uint32_t end, float ratio,
                        uint32_t src_count) {
    const __m128 r = _mm_set1_ps(ratio);
    const __m128i last_sample = _mm_set1_epi32(int32_t(src_count - 1));
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128i j = _mm_add_epi32(_mm_set1_epi32(int32_t(i + 1)), Sse41::iota());
        const __m128i idx = footprint_last_vec<Sse41, true>(j, r, last_sample);
        dst[i] = src[_mm_cvtsi128_si32(idx)];
        dst[i + 1] = src[_mm_extract_epi32(idx, 1)];
        dst[i + 2] = src[_mm_extract_epi32(idx, 2)];
        dst[i + 3] = src[_mm_extract_epi32(idx, 3)];
    }
    pick_row_u16_c(src, dst, i, end, ratio, src_count);
}

void max_row_i32_sse41(const int32_t *src, size_t stride, uint32_t row_count, int32_t *dst, uint32_t count,
                       float ratio, uint32_t src_count) {
    max_row_vec<Sse41>(src, stride, row_count, dst, count, ratio, src_count);
}

void take_row_i32_sse41(const int32_t *src, const int32_t *idx, int32_t *dst, uint32_t begin, uint32_t end,
                        uint32_t src_count) {
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128i k = _mm_loadu_si128(reinterpret_cast<const __m128i *>(idx + i));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + i), fetch_i32(src, k, src_count));
    }
    take_row_i32_c(src, idx, dst, i, end, src_count);
}

// The eight-sample window of each period as two 4-sample halves: every destination lane takes its
// sample by byte shuffle from the lower or the upper half. Streaming stores need a 16-byte aligned
// destination; others store plainly.
void periodic_row_x32_sse41(const int32_t *src, int32_t *dst, const PeriodicMap &map, bool stream) {
    stream = stream && (reinterpret_cast<uintptr_t>(dst) & 15) == 0;
    __m128i ctrl[2], upper[2];
    for (int h = 0; h < 2; ++h) {
        const __m128i off = _mm_loadu_si128(reinterpret_cast<const __m128i *>(map.offset + 4 * h));
        const __m128i within = _mm_and_si128(off, _mm_set1_epi32(3));
        ctrl[h] = _mm_add_epi32(_mm_mullo_epi32(within, _mm_set1_epi32(0x04040404)), _mm_set1_epi32(0x03020100));
        upper[h] = _mm_cmpgt_epi32(off, _mm_set1_epi32(3));
    }
    const int32_t *s = src;
    for (uint32_t b = 0; b < map.blocks; ++b, s += map.advance) {
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s));
        const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 4));
        for (int h = 0; h < 2; ++h) {
            __m128i *d = reinterpret_cast<__m128i *>(dst + 8 * size_t(b) + 4 * h);
            const __m128i v = _mm_blendv_epi8(_mm_shuffle_epi8(lo, ctrl[h]), _mm_shuffle_epi8(hi, ctrl[h]), upper[h]);
            if (stream)
                _mm_stream_si128(d, v);
            else
                _mm_storeu_si128(d, v);
        }
    }
}

}  // namespace

const nearest_rows &nearest_sse41_rows() {
    // 8- and 16-byte pixels are one or two moves each already: the scalar rows serve.
    // 16-bit samples by index are single loads already: the scalar row serves.
    static const nearest_rows rows = {step_row_x32_sse41, step_row_x64_c,     step_row_x128_c,
                                      pick_row_u16_sse41, pick_row_i32_sse41, max_row_i32_sse41,
                                      take_row_u16_c,     take_row_i32_sse41, periodic_row_x32_sse41};
    return rows;
}

}  // namespace oz
