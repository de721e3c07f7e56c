// 2-D array resize rows, AVX-512 (F, BW, VL, DQ): the AVX2 rows, with the paired vertical passes of the
// grouped 8-bit rows on 64 columns a vector. The passes read the AVX2 plan and stored rows unchanged:
// a 512-bit vector holds two groups of 32 columns, 128-bit lanes 0-1 the first and 2-3 the second, so
// the per-lane unpacking, multiply-adds, blends and packs of the AVX2 pass give each group's bytes in
// its half of the vector. The integer arithmetic is exact, so the bytes are the scalar rows' bytes.
#include "resample/resize2d_grouped_avx2.h"
#include "resample/resize2d_rows.h"

namespace oz {
namespace {

// The stored rows of two groups, [i, i + 32) and [i + 32, i + 64), loaded so that each group fills
// two 128-bit lanes as U8Pairs has them.
inline __m512i load_groups(const int16_t *g, uint32_t i) {
    return _mm512_inserti64x4(
        _mm512_castsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(g + i))),
        _mm256_loadu_si256(reinterpret_cast<const __m256i *>(g + i + 32)), 1);
}

// 64 columns of the pair (g0, g1): U8Pairs on two groups at once.
struct U8Pairs64 {
    __m512i lo_a, hi_a, lo_b, hi_b;
    U8Pairs64(const int16_t *g0, const int16_t *g1, uint32_t i) {
        const __m512i a0 = load_groups(g0, i), a1 = load_groups(g1, i);
        const __m512i b0 = load_groups(g0, i + 16), b1 = load_groups(g1, i + 16);
        lo_a = _mm512_unpacklo_epi16(a0, a1);
        hi_a = _mm512_unpackhi_epi16(a0, a1);
        lo_b = _mm512_unpacklo_epi16(b0, b1);
        hi_b = _mm512_unpackhi_epi16(b0, b1);
    }
    __m512i bytes(__m512i w) const {
        const __mmask32 odd = 0xAAAAAAAAu;
        const __m512i a = _mm512_mask_blend_epi16(odd, _mm512_srli_epi32(_mm512_madd_epi16(lo_a, w), 16),
                                                  _mm512_madd_epi16(hi_a, w));
        const __m512i b = _mm512_mask_blend_epi16(odd, _mm512_srli_epi32(_mm512_madd_epi16(lo_b, w), 16),
                                                  _mm512_madd_epi16(hi_b, w));
        return _mm512_xor_si512(_mm512_packs_epi16(a, b), _mm512_set1_epi8(int8_t(0x80)));
    }
};

// One pass as vh_u8_pass of the AVX2 rows: kRows destination rows on the pair (g0, g1), and the stored
// row of the next source row alongside (kH: 0 none, 1 single windows, 2 two windows a vector), 64
// columns at a time, then an odd last group of 32, then the scalar tails. kStream: every row start is
// 64-byte aligned and the rows are streamed; otherwise the stores are plain.
template <int kRows, int kH, bool kStream>
void vh_u8_pass512(const int16_t *g0, const int16_t *g1, const uint32_t *wy, uint8_t *const *dst, const uint8_t *src,
                   const U8GroupedPlan &p, const int32_t *kx, const uint32_t *w01, uint32_t n, int16_t *g) {
    __m512i w[kRows];
    __m256i w256[kRows];
    for (int r = 0; r < kRows; ++r) {
        const int32_t both = int32_t(wy[2 * r] | (wy[2 * r + 1] << 16));
        w[r] = _mm512_set1_epi32(both);
        w256[r] = _mm256_set1_epi32(both);
    }
    const uint32_t groups = n / kGroupU8;
    uint32_t q = 0;
    for (; q + 2 <= groups; q += 2) {
        const uint32_t i = q * kGroupU8;
        if constexpr (kH != 0) {
            for (uint32_t k = 0; k < 4; ++k)
                _mm256_storeu_si256(reinterpret_cast<__m256i *>(g + i + 16 * k),
                                    h_u8_grouped_vec<kH == 1>(src, p, 2 * q + k));
        }
        const U8Pairs64 pairs(g0, g1, i);
        for (int r = 0; r < kRows; ++r) {
            const __m512i v = pairs.bytes(w[r]);
            if constexpr (kStream)
                _mm512_stream_si512(reinterpret_cast<__m512i *>(dst[r] + i), v);
            else
                _mm512_storeu_si512(dst[r] + i, v);
        }
    }
    if (q < groups) {
        const uint32_t i = q * kGroupU8;
        if constexpr (kH != 0) {
            for (uint32_t k = 0; k < 2; ++k)
                _mm256_storeu_si256(reinterpret_cast<__m256i *>(g + i + 16 * k),
                                    h_u8_grouped_vec<kH == 1>(src, p, 2 * q + k));
        }
        const U8Pairs pairs(g0, g1, i);
        for (int r = 0; r < kRows; ++r) {
            const __m256i v = pairs.bytes(w256[r]);
            if constexpr (kStream)
                _mm256_stream_si256(reinterpret_cast<__m256i *>(dst[r] + i), v);
            else
                _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst[r] + i), v);
        }
    }
    for (int r = 0; r < kRows; ++r) v_u8_grouped_c(g0, g1, wy[2 * r], wy[2 * r + 1], groups * kGroupU8, n, n, dst[r]);
    if constexpr (kH != 0) h_u8_grouped_c(src, kx, w01, groups * kGroupU8, n, n, g);
}

template <int kRows, int kH, bool kStream>
struct VhU8Pass512 {
    static constexpr VhU8Pass run = vh_u8_pass512<kRows, kH, kStream>;
};

// The paired pass of the AVX-512 set. Streamed rows that do not start on a 64-byte line, or whose
// length leaves a part of a line after the last vector, go to the AVX2 pass, whose writer handles
// those starts without streaming a line in parts.
template <bool kStream>
void vh_u8_grouped512(const int16_t *g0, const int16_t *g1, uint32_t rows, const uint32_t *wy, uint8_t *const *dst,
                      const uint8_t *src, const void *plan, const int32_t *kx, const uint32_t *w01, uint32_t n,
                      int16_t *g) {
    if constexpr (kStream) {
        bool lines = n % 64 == 0;
        for (uint32_t r = 0; r < rows; ++r) lines = lines && reinterpret_cast<uintptr_t>(dst[r]) % 64 == 0;
        if (!lines) {
            resize2d_avx2_rows().vh_u8_grouped_stream(g0, g1, rows, wy, dst, src, plan, kx, w01, n, g);
            return;
        }
    }
    vh_u8_dispatch<VhU8Pass512, kStream>(g0, g1, rows, wy, dst, src, plan, kx, w01, n, g);
}

}  // namespace

const resize2d_rows &resize2d_avx512_rows() {
    static const resize2d_rows rows = [] {
        resize2d_rows r = resize2d_avx2_rows();
        r.vh_u8_grouped = vh_u8_grouped512<false>;
        r.vh_u8_grouped_stream = vh_u8_grouped512<true>;
        return r;
    }();
    return rows;
}

}  // namespace oz
