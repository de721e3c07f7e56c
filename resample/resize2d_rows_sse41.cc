// 2-D array resize rows, SSE4.1. Integer arithmetic is exact, so the lanes give the scalar rows'
// integers whatever the grouping of the additions; the float rows repeat the scalar operations in
// their order (no fused multiply-add). Horizontal rows load each sample pair with a scalar load of
// exactly its two samples and do the arithmetic four columns at a time.
#include <cstring>

#include "resample/resize2d_rows.h"
#include "resample/simd_sse41.h"

namespace oz {
namespace {

template <class T>
inline int32_t load_pair(const T *s) {
    if constexpr (sizeof(T) == 1) {
        return int32_t(s[0]) | (int32_t(s[1]) << 16);  // (s[kx], s[kx + 1]) as two 16-bit values
    } else {
        uint32_t v;
        std::memcpy(&v, s, sizeof(v));
        return int32_t(v);
    }
}

void h_row_u8_sse41(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                    uint32_t src_count, uint16_t *h) {
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128i s = _mm_setr_epi32(load_pair(src + kx[i]), load_pair(src + kx[i + 1]),
                                         load_pair(src + kx[i + 2]), load_pair(src + kx[i + 3]));
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(w01 + i));
        const __m128i sum = _mm_madd_epi16(s, w);  // exact: factors below 2^15, sums at most 65280
        _mm_storel_epi64(reinterpret_cast<__m128i *>(h + i), _mm_packus_epi32(sum, sum));
    }
    h_row_u8_c(src, kx, w01, i, end, src_count, h);
}

void h_row_u16_sse41(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                     uint32_t src_count, uint32_t *h) {
    const __m128i bias = _mm_set1_epi32(int32_t(0x80008000u));
    const __m128i half_sum = _mm_set1_epi32(1 << 23);
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128i s = _mm_setr_epi32(load_pair(src + kx[i]), load_pair(src + kx[i + 1]),
                                         load_pair(src + kx[i + 2]), load_pair(src + kx[i + 3]));
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i *>(w01 + i));
        // Samples biased to signed: the multiply-add gives h - 2^15 (w0 + w1) = h - 2^23 exactly.
        const __m128i biased = _mm_madd_epi16(_mm_xor_si128(s, bias), w);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(h + i), _mm_add_epi32(biased, half_sum));
    }
    h_row_u16_c(src, kx, w01, i, end, src_count, h);
}

template <bool kSigned, class T, class H>
void h_row_x32(const T *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end, H *h) {
    for (uint32_t i = begin; i + 2 <= end; i += 2) {
        const __m128i pair = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(src + kx[i])),
                                                _mm_loadl_epi64(reinterpret_cast<const __m128i *>(src + kx[i + 1])));
        const __m128i w = _mm_cvtepu32_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(w01 + i)));
        const __m128i w0 = _mm_and_si128(w, _mm_set1_epi64x(0xFFFF));
        const __m128i w1 = _mm_srli_epi64(w, 16);
        const __m128i s1 = _mm_srli_epi64(pair, 32);
        const __m128i sum = kSigned ? _mm_add_epi64(_mm_mul_epi32(pair, w0), _mm_mul_epi32(s1, w1))
                                    : _mm_add_epi64(_mm_mul_epu32(pair, w0), _mm_mul_epu32(s1, w1));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(h + i), sum);
    }
}

void h_row_i32_sse41(const int32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                     uint32_t src_count, int64_t *h) {
    h_row_x32<true>(src, kx, w01, begin, end, h);
    h_row_i32_c(src, kx, w01, begin + (end - begin) / 2 * 2, end, src_count, h);
}

void h_row_u32_sse41(const uint32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                     uint32_t src_count, uint64_t *h) {
    h_row_x32<false>(src, kx, w01, begin, end, h);
    h_row_u32_c(src, kx, w01, begin + (end - begin) / 2 * 2, end, src_count, h);
}

// (h1 * wy1 + h0 * wy0 + 2^15) >> 16 for four columns, as (h0 << 8) + (h1 - h0) * wy1 (wy0 = 2^8 - wy1),
// exact modulo 2^32 because the sum itself lies in 0 .. 2^32 - 1.
inline __m128i v_lanes_4(const uint32_t *h0, const uint32_t *h1, __m128i wy1) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(h0));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(h1));
    const __m128i sum = _mm_add_epi32(_mm_slli_epi32(a, 8), _mm_mullo_epi32(_mm_sub_epi32(b, a), wy1));
    return _mm_srli_epi32(_mm_add_epi32(sum, _mm_set1_epi32(32768)), 16);
}

// 8-bit vertical row: h biased to signed 16 bits (g = h - 2^15) gives h0 wy0 + h1 wy1 =
// g0 wy0 + g1 wy1 + 2^23, one multiply-add of interleaved (g0, g1) and (wy0, wy1), exact in 32 bits.
void v_row_u8_sse41(const uint16_t *h0, const uint16_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                    uint32_t end, uint8_t *dst) {
    const __m128i w = _mm_set1_epi32(int32_t(wy0 | (wy1 << 16)));
    const __m128i bias = _mm_set1_epi16(int16_t(0x8000));
    const __m128i half = _mm_set1_epi32((1 << 23) + 32768);
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const __m128i g0 = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(h0 + i)), bias);
        const __m128i g1 = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i *>(h1 + i)), bias);
        const __m128i lo = _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(g0, g1), w), half), 16);
        const __m128i hi = _mm_srli_epi32(_mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(g0, g1), w), half), 16);
        const __m128i words = _mm_packus_epi32(lo, hi);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst + i), _mm_packus_epi16(words, words));
    }
    v_row_u8_c(h0, h1, wy0, wy1, i, end, dst);
}

void v_row_u16_sse41(const uint32_t *h0, const uint32_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                     uint32_t end, uint16_t *dst) {
    const __m128i w1 = _mm_set1_epi32(int32_t(wy1));
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const __m128i a = v_lanes_4(h0 + i, h1 + i, w1);
        const __m128i b = v_lanes_4(h0 + i + 4, h1 + i + 4, w1);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + i), _mm_packus_epi32(a, b));
    }
    v_row_u16_c(h0, h1, wy0, wy1, i, end, dst);
}

// h * w modulo 2^64 for 64-bit h and a weight below 2^31.
inline __m128i mul_64_small(__m128i h, __m128i w) {
    const __m128i lo = _mm_mul_epu32(h, w);
    const __m128i hi = _mm_mul_epu32(_mm_srli_epi64(h, 32), w);
    return _mm_add_epi64(lo, _mm_slli_epi64(hi, 32));
}

// (h1 * wy1 + h0 * wy0 + 2^23) >> 24 for two columns; the low 32 bits of the logical shift equal those
// of the arithmetic one because the result fits 32 bits.
template <class H, class Out>
uint32_t v_row_x64(const H *h0, const H *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end, Out *dst) {
    const __m128i w0 = _mm_set1_epi64x(wy0), w1 = _mm_set1_epi64x(wy1);
    const __m128i half = _mm_set1_epi64x(int64_t(1) << 23);
    uint32_t i = begin;
    for (; i + 2 <= end; i += 2) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(h0 + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(h1 + i));
        const __m128i sum = _mm_add_epi64(_mm_add_epi64(mul_64_small(b, w1), mul_64_small(a, w0)), half);
        const __m128i out = _mm_shuffle_epi32(_mm_srli_epi64(sum, 24), 0x08);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(dst + i), out);
    }
    return i;
}

void v_row_i32_sse41(const int64_t *h0, const int64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                     uint32_t end, int32_t *dst) {
    v_row_i32_c(h0, h1, wy0, wy1, v_row_x64(h0, h1, wy0, wy1, begin, end, dst), end, dst);
}

void v_row_u32_sse41(const uint64_t *h0, const uint64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin,
                     uint32_t end, uint32_t *dst) {
    v_row_u32_c(h0, h1, wy0, wy1, v_row_x64(h0, h1, wy0, wy1, begin, end, dst), end, dst);
}

void h_row_f32_sse41(const float *src, const int32_t *x0, const int32_t *x1, const float *fx, const float *gx,
                     uint32_t begin, uint32_t end, uint32_t src_count, float *a, float *b) {
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128 s0 = _mm_setr_ps(src[x0[i]], src[x0[i + 1]], src[x0[i + 2]], src[x0[i + 3]]);
        const __m128 s1 = _mm_setr_ps(src[x1[i]], src[x1[i + 1]], src[x1[i + 2]], src[x1[i + 3]]);
        _mm_storeu_ps(a + i, _mm_mul_ps(s1, _mm_loadu_ps(fx + i)));
        _mm_storeu_ps(b + i, _mm_mul_ps(s0, _mm_loadu_ps(gx + i)));
    }
    h_row_f32_c(src, x0, x1, fx, gx, i, end, src_count, a, b);
}

void v_row_f32_sse41(const float *a0, const float *b0, const float *a1, const float *b1, float fy, float gy,
                     uint32_t begin, uint32_t end, float *dst) {
    const __m128 vf = _mm_set1_ps(fy), vg = _mm_set1_ps(gy);
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4) {
        const __m128 t0 = _mm_mul_ps(_mm_loadu_ps(a0 + i), vg);
        const __m128 t1 = _mm_mul_ps(_mm_loadu_ps(b0 + i), vg);
        const __m128 t2 = _mm_mul_ps(_mm_loadu_ps(b1 + i), vf);
        const __m128 t3 = _mm_mul_ps(_mm_loadu_ps(a1 + i), vf);
        _mm_storeu_ps(dst + i, _mm_add_ps(_mm_add_ps(_mm_add_ps(t0, t1), t2), t3));
    }
    v_row_f32_c(a0, b0, a1, b1, fy, gy, i, end, dst);
}

}  // namespace

const resize2d_rows &resize2d_sse41_rows() {
    static const resize2d_rows rows = {h_row_u8_sse41,  h_row_u16_sse41, h_row_i32_sse41, h_row_u32_sse41,
                                       v_row_u8_sse41,  v_row_u16_sse41, v_row_i32_sse41, v_row_u32_sse41,
                                       h_row_f32_sse41, v_row_f32_sse41,
                                       v_row_u8_sse41, v_row_u16_sse41, v_row_i32_sse41, v_row_u32_sse41, v_row_f32_sse41, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr, nullptr, nullptr};
    return rows;
}

}  // namespace oz
