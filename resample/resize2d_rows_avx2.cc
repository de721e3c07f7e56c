// 2-D array resize rows, AVX2. Integer arithmetic is exact, so the lanes give the scalar rows'
// integers whatever the grouping of the additions; the float rows repeat the scalar operations in
// their order (no fused multiply-add). Horizontal rows fetch their sample pairs with gathers that read
// exactly the two samples (16- and 32-bit) or four bytes from kx (8-bit: groups that would read past
// the row are left to the scalar row).
#include <cstring>

#include "resample/resize2d_grouped_avx2.h"
#include "resample/resize2d_rows.h"
#include "resample/simd_avx2.h"

namespace oz {
namespace {

void h_row_u8_avx2(const uint8_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                   uint32_t src_count, uint16_t *h) {
    // Bytes 0 and 1 of each gathered dword, zero-extended to the 16-bit pair (s[kx], s[kx + 1]).
    const __m256i pairs = _mm256_setr_epi8(0, -1, 1, -1, 4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1, 0, -1, 1, -1,
                                           4, -1, 5, -1, 8, -1, 9, -1, 12, -1, 13, -1);
    const __m256i lane_base = _mm256_setr_epi32(0, 0, 0, 0, 4, 4, 4, 4);
    const __m256i ctrl_bias = _mm256_set1_epi32(int32_t(0x80018000u));
    const __m256i max_offset = _mm256_set1_epi32(14);
    const int *base = reinterpret_cast<const int *>(src);
    uint32_t i = begin;
    __m256i pending = _mm256_setzero_si256();  // h of the previous eight columns, stored in pairs of groups
    for (; i + 8 <= end; i += 8) {
        const uint32_t k0 = uint32_t(kx[i]), k4 = uint32_t(kx[i + 4]);
        const __m256i idx = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(kx + i));
        // Each 128-bit half takes its four pairs from a 16-byte window starting at its first column:
        // bytes d and d + 1 (d = kx - window start), zero-extended to 16 bits by the byte shuffle.
        const __m256i d = _mm256_sub_epi32(idx, _mm256_permutevar8x32_epi32(idx, lane_base));
        __m256i s;
        if (k4 + 16 <= src_count && _mm256_movemask_epi8(_mm256_cmpgt_epi32(d, max_offset)) == 0) {
            const __m256i window = _mm256_inserti128_si256(
                _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(src + k0))),
                _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + k4)), 1);
            const __m256i ctrl = _mm256_add_epi32(_mm256_add_epi32(d, _mm256_slli_epi32(d, 16)), ctrl_bias);
            s = _mm256_shuffle_epi8(window, ctrl);
        } else if (uint32_t(kx[i + 7]) + 4 <= src_count) {
            s = _mm256_shuffle_epi8(_mm256_i32gather_epi32(base, idx, 1), pairs);
        } else {
            break;  // four-byte reads would pass the row end: the scalar row finishes
        }
        const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(w01 + i));
        // s0 * w0 + s1 * w1: both factors below 2^15 as 16-bit values, so the signed multiply-add is exact.
        const __m256i sum = _mm256_madd_epi16(s, w);
        if (((i - begin) & 8) == 0) {
            pending = sum;
        } else {
            // Sixteen values of at most 65280: the unsigned pack narrows them exactly.
            const __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(pending, sum), 0xD8);
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(h + i - 8), words);
        }
    }
    if (((i - begin) & 8) != 0) {  // eight columns still pending
        const __m256i words = _mm256_permute4x64_epi64(_mm256_packus_epi32(pending, pending), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(h + i - 8), _mm256_castsi256_si128(words));
    }
    h_row_u8_c(src, kx, w01, i, end, src_count, h);
}

// Plan of 16 columns for h_u8_plan_avx2. Each 128-bit half of the vectors serves 8 columns from a
// 16-byte window of the source row starting at its base: the byte shuffle ctrl puts s[kx] into 16-bit
// lanes (high byte zeroed by the set top bit of 0x80), ctrl + 1 puts s[kx + 1] there (0x81 still
// zeroes), and with wx0 = 256 - wx1, h = s0 * wx0 + s1 * wx1 takes two 16-bit multiplications and an
// addition, exact as every product and the sum are at most 255 * 256. base0 < 0 marks groups whose
// pairs do not fit such windows (strong reductions, the row end). 96 bytes: the plan of a 4K row
// stays in the first-level cache.
struct alignas(32) U8Group {
    __m256i ctrl;
    __m256i w1;
    int32_t base0, base1;
    int32_t unused[6];
};
static_assert(sizeof(U8Group) <= 16 * kPlanU8Bytes && sizeof(U8Group) == 96, "the plan must fit its room");

bool plan_u8_avx2(const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count, void *plan) {
    U8Group *g = static_cast<U8Group *>(plan);
    uint32_t misfits = 0;
    for (uint32_t i = 0; i + 16 <= n; i += 16, ++g) {
        alignas(32) uint8_t c0[32];
        alignas(32) uint16_t w1[16];
        const int32_t base[2] = {kx[i], kx[i + 8]};
        bool fits = true;
        for (uint32_t half = 0; half < 2; ++half) {
            // 16 bytes from the base must lie inside the row; kx ascends, so d >= 0.
            fits = fits && uint32_t(base[half]) + 16 <= src_count;
            for (uint32_t l = 0; l < 8; ++l) {
                const uint32_t c = i + 8 * half + l;
                const int32_t d = kx[c] - base[half];
                fits = fits && d + 1 <= 15;
                c0[16 * half + 2 * l] = uint8_t(d);
                c0[16 * half + 2 * l + 1] = 0x80;
                w1[8 * half + l] = uint16_t(w01[c] >> 16);  // wx0 = 256 - wx1 (w01 holds both)
            }
        }
        g->ctrl = _mm256_load_si256(reinterpret_cast<const __m256i *>(c0));
        g->w1 = _mm256_load_si256(reinterpret_cast<const __m256i *>(w1));
        g->base0 = fits ? base[0] : -1;
        g->base1 = base[1];
        misfits += fits ? 0 : 1;
    }
    // Worth it unless more than one group in eight misfits (reductions beyond about 2:1).
    return misfits * 8 <= n / 16;
}

void h_row_u8_plan_avx2(const uint8_t *src, const void *plan, const int32_t *kx, const uint32_t *w01, uint32_t n,
                        uint32_t src_count, uint16_t *h) {
    const U8Group *g = static_cast<const U8Group *>(plan);
    const __m256i one = _mm256_set1_epi8(1), full = _mm256_set1_epi16(256);
    uint32_t i = 0;
    for (; i + 16 <= n; i += 16, ++g) {
        if (g->base0 < 0) {
            h_row_u8_avx2(src, kx, w01, i, i + 16, src_count, h);
            continue;
        }
        // SAFETY: base0 + 16 and base1 + 16 are within the row (checked by the plan).
        const __m256i window = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(src + g->base0))),
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + g->base1)), 1);
        const __m256i s0 = _mm256_shuffle_epi8(window, g->ctrl);
        const __m256i s1 = _mm256_shuffle_epi8(window, _mm256_add_epi8(g->ctrl, one));
        const __m256i w0 = _mm256_sub_epi16(full, g->w1);
        const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(s0, w0), _mm256_mullo_epi16(s1, g->w1));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(h + i), sum);
    }
    h_row_u8_c(src, kx, w01, i, n, src_count, h);
}

bool plan_u8_grouped_avx2(const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count, void *plan) {
    if (src_count < 16 || n < kGroupU8) return false;
    const uint32_t vecs = n / kGroupU8 * 2;
    U8GroupedVec *v = static_cast<U8GroupedVec *>(plan);
    int32_t *bases = reinterpret_cast<int32_t *>(v + vecs);
    bool all_single = true;
    for (uint32_t q = 0; q < vecs; ++q) {
        alignas(32) uint8_t ctrl[32], w[32];
        // The window start of 8 slots from `first` (or of all 16 with count 16): their first pair, or
        // earlier near the row end, so that its 16 bytes stay inside the row; UINT32_MAX when some pair
        // lies beyond its 16 bytes.
        const auto window = [&](uint32_t first, uint32_t count) {
            uint32_t lo = UINT32_MAX, hi = 0;
            for (uint32_t l = 0; l < count; ++l) {
                const uint32_t c = u8_group_column(first + l, n);
                lo = uint32_t(kx[c]) < lo ? uint32_t(kx[c]) : lo;
                hi = uint32_t(kx[c]) + 1 > hi ? uint32_t(kx[c]) + 1 : hi;
            }
            const uint32_t base = lo + 16 <= src_count ? lo : src_count - 16;
            return hi - base > 15 ? UINT32_MAX : base;
        };
        const uint32_t whole = window(16 * q, 16);
        all_single = all_single && whole != UINT32_MAX;
        for (uint32_t half = 0; half < 2; ++half) {
            const uint32_t first = 16 * q + 8 * half;
            const uint32_t base = whole != UINT32_MAX ? whole : window(first, 8);
            if (base == UINT32_MAX) return false;
            bases[2 * q + half] = int32_t(base);
            for (uint32_t l = 0; l < 8; ++l) {
                const uint32_t c = u8_group_column(first + l, n);
                const uint32_t d = uint32_t(kx[c]) - base, w0 = w01[c] & 0xFFFF, w1 = w01[c] >> 16;
                uint8_t *cb = ctrl + 16 * half + 2 * l, *wb = w + 16 * half + 2 * l;
                if (w0 == 256 || w1 == 256) {
                    cb[0] = cb[1] = uint8_t(w0 == 256 ? d : d + 1);
                    wb[0] = wb[1] = 128;
                } else {
                    cb[0] = uint8_t(d);
                    cb[1] = uint8_t(d + 1);
                    wb[0] = uint8_t(w0);
                    wb[1] = uint8_t(w1);
                }
            }
        }
        v[q].ctrl = _mm256_load_si256(reinterpret_cast<const __m256i *>(ctrl));
        v[q].w = _mm256_load_si256(reinterpret_cast<const __m256i *>(w));
    }
    bases[2 * vecs] = all_single ? 1 : 0;
    return true;
}

// The stored rows of kRows source rows, reading the plan once for all of them.
template <int kRows, bool kSingle>
void h_u8_grouped_rows(const uint8_t *const *src, const U8GroupedPlan &p, const int32_t *kx, const uint32_t *w01,
                       uint32_t n, int16_t *const *g) {
    for (uint32_t q = 0; q < p.vecs; ++q)
        for (int r = 0; r < kRows; ++r)
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(g[r] + 16 * q), h_u8_grouped_vec<kSingle>(src[r], p, q));
    for (int r = 0; r < kRows; ++r) h_u8_grouped_c(src[r], kx, w01, 16 * p.vecs, n, n, g[r]);
}

template <int kRows>
void h_u8_grouped_rows(const uint8_t *const *src, const void *plan, const int32_t *kx, const uint32_t *w01,
                       uint32_t n, int16_t *const *g) {
    const U8GroupedPlan p(plan, n);
    if (p.single)
        h_u8_grouped_rows<kRows, true>(src, p, kx, w01, n, g);
    else
        h_u8_grouped_rows<kRows, false>(src, p, kx, w01, n, g);
}

void h_u8_grouped_avx2(const uint8_t *src, const void *plan, const int32_t *kx, const uint32_t *w01, uint32_t n,
                       uint32_t, int16_t *g) {
    h_u8_grouped_rows<1>(&src, plan, kx, w01, n, &g);
}

void h2_u8_grouped_avx2(const uint8_t *src0, const uint8_t *src1, const void *plan, const int32_t *kx,
                        const uint32_t *w01, uint32_t n, uint32_t, int16_t *g0, int16_t *g1) {
    const uint8_t *const src[2] = {src0, src1};
    int16_t *const g[2] = {g0, g1};
    h_u8_grouped_rows<2>(src, plan, kx, w01, n, g);
}

template <bool kStream>
void v_u8_grouped(const int16_t *g0, const int16_t *g1, uint32_t wy0, uint32_t wy1, uint32_t n, uint8_t *dst) {
    const __m256i w = _mm256_set1_epi32(int32_t(wy0 | (wy1 << 16)));
    RowWriter out(dst, kStream);
    const uint32_t full = n / kGroupU8 * kGroupU8;
    for (uint32_t i = 0; i < full; i += kGroupU8) out.put(i, U8Pairs(g0, g1, i).bytes(w));
    out.finish();
    v_u8_grouped_c(g0, g1, wy0, wy1, full, n, n, dst);
}

// One pass over the pair (g0, g1) for kRows destination rows, with the stored row of the next source
// row computed alongside (kH: 0 none, 1 single windows, 2 two windows a vector). The destination rows
// are written as v_u8_grouped writes them, one RowWriter each; g as h_u8_grouped gives it.
template <int kRows, int kH, bool kStream>
void vh_u8_pass(const int16_t *g0, const int16_t *g1, const uint32_t *wy, uint8_t *const *dst, const uint8_t *src,
                const U8GroupedPlan &p, const int32_t *kx, const uint32_t *w01, uint32_t n, int16_t *g) {
    __m256i w[kRows];
    RowWriter out[2] = {RowWriter(dst[0], kStream), RowWriter(dst[kRows - 1], kStream)};
    for (int r = 0; r < kRows; ++r) w[r] = _mm256_set1_epi32(int32_t(wy[2 * r] | (wy[2 * r + 1] << 16)));
    const uint32_t groups = n / kGroupU8;
    for (uint32_t q = 0; q < groups; ++q) {
        const uint32_t i = q * kGroupU8;
        if constexpr (kH != 0) {
            for (uint32_t k = 0; k < 2; ++k)
                _mm256_storeu_si256(reinterpret_cast<__m256i *>(g + i + 16 * k),
                                    h_u8_grouped_vec<kH == 1>(src, p, 2 * q + k));
        }
        const U8Pairs pairs(g0, g1, i);
        for (int r = 0; r < kRows; ++r) out[r].put(i, pairs.bytes(w[r]));
    }
    for (int r = 0; r < kRows; ++r) {
        out[r].finish();
        v_u8_grouped_c(g0, g1, wy[2 * r], wy[2 * r + 1], groups * kGroupU8, n, n, dst[r]);
    }
    if constexpr (kH != 0) h_u8_grouped_c(src, kx, w01, groups * kGroupU8, n, n, g);
}

template <int kRows, int kH, bool kStream>
struct VhU8Pass256 {
    static constexpr VhU8Pass run = vh_u8_pass<kRows, kH, kStream>;
};

// Grouped 16-bit rows. Plan: for every 16 columns the byte shuffle controls and the (wx0, wx1) weights
// of the even and the odd columns, then two window starts. A 128-bit half serves 8 consecutive columns
// from 8 samples of the source row; with the samples biased to signed (s - 32768) the multiply-add of
// the pair gives h - 2^23 exactly, and e = h + 128 adds 2^23 + 128.
struct alignas(32) U16GroupedVecs {
    __m256i ctrl[2];  // even columns, odd columns
    __m128i w[2];     // the weights as bytes, widened to 16 bits when used
};

bool plan_u16_grouped_avx2(const int32_t *kx, const uint32_t *w01, uint32_t n, uint32_t src_count, void *plan) {
    if (src_count < 8 || n < kGroupU16) return false;
    const uint32_t groups = n / kGroupU16;
    U16GroupedVecs *v = static_cast<U16GroupedVecs *>(plan);
    int32_t *bases = reinterpret_cast<int32_t *>(v + groups);
    for (uint32_t q = 0; q < groups; ++q) {
        alignas(32) uint8_t ctrl[2][32];
        alignas(32) uint8_t w[2][16];
        for (uint32_t half = 0; half < 2; ++half) {
            // Columns 8 half .. 8 half + 7 of the group, ascending.
            const uint32_t first = kGroupU16 * q + 8 * half;
            const uint32_t lo = uint32_t(kx[first]), hi = uint32_t(kx[first + 7]) + 1;
            const uint32_t base = lo + 8 <= src_count ? lo : src_count - 8;
            if (hi - base > 7) return false;
            bases[2 * q + half] = int32_t(base);
            for (uint32_t l = 0; l < 8; ++l) {
                const uint32_t c = first + l, d = uint32_t(kx[c]) - base;
                // Column 8 half + l sits in the even (l even) or odd vector, at lane 4 half + l / 2.
                const uint32_t vec = l & 1, lane = 4 * half + l / 2;
                uint8_t *cb = ctrl[vec] + 4 * lane;
                const uint32_t w0 = w01[c] & 0xFFFF, w1 = w01[c] >> 16;
                // A weight of 256 does not fit a byte: its sample takes both places, weighted 128 each.
                const uint32_t s0 = w1 == 256 ? d + 1 : d, s1 = w0 == 256 ? d : d + 1;
                cb[0] = uint8_t(2 * s0);
                cb[1] = uint8_t(2 * s0 + 1);
                cb[2] = uint8_t(2 * s1);
                cb[3] = uint8_t(2 * s1 + 1);
                w[vec][2 * lane] = uint8_t(w0 == 256 || w1 == 256 ? 128 : w0);
                w[vec][2 * lane + 1] = uint8_t(w0 == 256 || w1 == 256 ? 128 : w1);
            }
        }
        for (uint32_t k = 0; k < 2; ++k) {
            v[q].ctrl[k] = _mm256_load_si256(reinterpret_cast<const __m256i *>(ctrl[k]));
            v[q].w[k] = _mm_load_si128(reinterpret_cast<const __m128i *>(w[k]));
        }
    }
    return true;
}

// The stored rows of kRows source rows, reading the plan once for all of them.
template <int kRows>
void h_u16_grouped_rows(const uint16_t *const *src, const void *plan, const int32_t *kx, const uint32_t *w01,
                        uint32_t n, uint32_t *const *e) {
    const uint32_t groups = n / kGroupU16;
    const U16GroupedVecs *v = static_cast<const U16GroupedVecs *>(plan);
    const int32_t *bases = reinterpret_cast<const int32_t *>(v + groups);
    const __m256i flip = _mm256_set1_epi16(int16_t(0x8000)), bias = _mm256_set1_epi32((1 << 23) + 128);
    for (uint32_t q = 0; q < groups; ++q) {
        // SAFETY: every window start is at most src_count - 8 (checked by the plan).
        uint64_t pair;  // both window starts in one load
        std::memcpy(&pair, bases + 2 * q, sizeof(pair));
        const __m256i ctrl_even = _mm256_load_si256(&v[q].ctrl[0]), ctrl_odd = _mm256_load_si256(&v[q].ctrl[1]);
        const __m256i w_even = _mm256_cvtepu8_epi16(v[q].w[0]), w_odd = _mm256_cvtepu8_epi16(v[q].w[1]);
        for (int r = 0; r < kRows; ++r) {
            const __m256i window = _mm256_xor_si256(
                _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(
                                            reinterpret_cast<const __m128i *>(src[r] + uint32_t(pair)))),
                                        _mm_loadu_si128(reinterpret_cast<const __m128i *>(src[r] + (pair >> 32))), 1),
                flip);
            const __m256i even = _mm256_madd_epi16(_mm256_shuffle_epi8(window, ctrl_even), w_even);
            const __m256i odd = _mm256_madd_epi16(_mm256_shuffle_epi8(window, ctrl_odd), w_odd);
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(e[r] + kGroupU16 * q), _mm256_add_epi32(even, bias));
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(e[r] + kGroupU16 * q + 8), _mm256_add_epi32(odd, bias));
        }
    }
    for (int r = 0; r < kRows; ++r) h_u16_grouped_c(src[r], kx, w01, kGroupU16 * groups, n, n, e[r]);
}

void h_u16_grouped_avx2(const uint16_t *src, const void *plan, const int32_t *kx, const uint32_t *w01, uint32_t n,
                        uint32_t, uint32_t *e) {
    h_u16_grouped_rows<1>(&src, plan, kx, w01, n, &e);
}

void h2_u16_grouped_avx2(const uint16_t *src0, const uint16_t *src1, const void *plan, const int32_t *kx,
                         const uint32_t *w01, uint32_t n, uint32_t, uint32_t *e0, uint32_t *e1) {
    const uint16_t *const src[2] = {src0, src1};
    uint32_t *const e[2] = {e0, e1};
    h_u16_grouped_rows<2>(src, plan, kx, w01, n, e);
}

// 16 columns: e0 wy0 + e1 wy1 modulo 2^32 is the exact sum plus its half (below 2^32), whose upper 16
// bits are the result; the even columns' results move down and the odd ones' stay up, in order.
template <bool kStream>
void v_u16_grouped(const uint32_t *e0, const uint32_t *e1, uint32_t wy0, uint32_t wy1, uint32_t n, uint16_t *dst) {
    const __m256i w0 = _mm256_set1_epi32(int32_t(wy0)), w1 = _mm256_set1_epi32(int32_t(wy1));
    RowWriter out(dst, kStream);
    const uint32_t full = n / kGroupU16 * kGroupU16;
    for (uint32_t i = 0; i < full; i += kGroupU16) {
        const __m256i even = _mm256_add_epi32(
            _mm256_mullo_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(e0 + i)), w0),
            _mm256_mullo_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(e1 + i)), w1));
        const __m256i odd = _mm256_add_epi32(
            _mm256_mullo_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(e0 + i + 8)), w0),
            _mm256_mullo_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(e1 + i + 8)), w1));
        out.put(size_t(i) * 2, _mm256_blend_epi16(_mm256_srli_epi32(even, 16), odd, 0xAA));
    }
    out.finish();
    v_u16_grouped_c(e0, e1, wy0, wy1, full, n, n, dst);
}

void h_row_u16_avx2(const uint16_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                    uint32_t src_count, uint32_t *h) {
    const int *base = reinterpret_cast<const int *>(src);
    const __m256i bias = _mm256_set1_epi32(int32_t(0x80008000u));
    const __m256i half_sum = _mm256_set1_epi32(1 << 23);
    const __m256i max_offset = _mm256_set1_epi32(15);
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const uint32_t k0 = uint32_t(kx[i]);
        const __m256i idx = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(kx + i));
        const __m256i d = _mm256_sub_epi32(idx, _mm256_set1_epi32(int32_t(k0)));
        __m256i s;
        if (k0 + 17 <= src_count && _mm256_movemask_epi8(_mm256_cmpgt_epi32(d, max_offset)) == 0) {
            // The pair at an even offset d is dword d / 2 of the 16 samples from k0, at an odd offset
            // dword (d - 1) / 2 of the 16 samples from k0 + 1: two loads, two permutations, a blend.
            const __m256i even = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + k0));
            const __m256i odd = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + k0 + 1));
            const __m256i half = _mm256_srli_epi32(d, 1);
            const __m256 parity = _mm256_castsi256_ps(_mm256_slli_epi32(d, 31));
            s = _mm256_castps_si256(
                _mm256_blendv_ps(_mm256_castsi256_ps(_mm256_permutevar8x32_epi32(even, half)),
                                 _mm256_castsi256_ps(_mm256_permutevar8x32_epi32(odd, half)), parity));
        } else {
            // (s[kx], s[kx + 1]) as one dword at byte offset 2 kx: exactly the two samples.
            s = _mm256_i32gather_epi32(base, idx, 2);
        }
        const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(w01 + i));
        // With samples biased to signed (s - 32768): (s0 - 2^15) w0 + (s1 - 2^15) w1 = h - 2^15 (w0 + w1)
        // = h - 2^23, exact in the signed multiply-add.
        const __m256i biased = _mm256_madd_epi16(_mm256_xor_si256(s, bias), w);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(h + i), _mm256_add_epi32(biased, half_sum));
    }
    h_row_u16_c(src, kx, w01, i, end, src_count, h);
}

// Sample pairs of four columns as 64-bit lanes (s[kx] low, s[kx + 1] high) and their weights.
template <bool kSigned>
inline __m256i h_row_x32_lanes(const int32_t *src, const int32_t *kx, const uint32_t *w01) {
    const __m128i idx = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kx));
    const __m256i pair = _mm256_i32gather_epi64(reinterpret_cast<const long long *>(src), idx, 4);
    const __m256i w = _mm256_cvtepu32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i *>(w01)));
    const __m256i w0 = _mm256_and_si256(w, _mm256_set1_epi64x(0xFFFF));
    const __m256i w1 = _mm256_srli_epi64(w, 16);
    const __m256i s1 = _mm256_srli_epi64(pair, 32);
    if (kSigned) return _mm256_add_epi64(_mm256_mul_epi32(pair, w0), _mm256_mul_epi32(s1, w1));
    return _mm256_add_epi64(_mm256_mul_epu32(pair, w0), _mm256_mul_epu32(s1, w1));
}

void h_row_i32_avx2(const int32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                    uint32_t src_count, int64_t *h) {
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4)
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(h + i), h_row_x32_lanes<true>(src, kx + i, w01 + i));
    h_row_i32_c(src, kx, w01, i, end, src_count, h);
}

void h_row_u32_avx2(const uint32_t *src, const int32_t *kx, const uint32_t *w01, uint32_t begin, uint32_t end,
                    uint32_t src_count, uint64_t *h) {
    const int32_t *s = reinterpret_cast<const int32_t *>(src);
    uint32_t i = begin;
    for (; i + 4 <= end; i += 4)
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(h + i), h_row_x32_lanes<false>(s, kx + i, w01 + i));
    h_row_u32_c(src, kx, w01, i, end, src_count, h);
}

// (h1 * wy1 + h0 * wy0 + 2^15) >> 16 for eight columns. As wy0 = 2^8 - wy1 the sum equals
// (h0 << 8) + (h1 - h0) * wy1, one multiplication; modulo 2^32 every step is exact because the sum
// itself lies in 0 .. 2^32 - 1.
inline __m256i v_lanes_8(const uint32_t *h0, const uint32_t *h1, __m256i wy1) {
    const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(h0));
    const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(h1));
    const __m256i sum = _mm256_add_epi32(_mm256_slli_epi32(a, 8), _mm256_mullo_epi32(_mm256_sub_epi32(b, a), wy1));
    return _mm256_srli_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(32768)), 16);
}

// 8-bit vertical row: with h biased to signed 16 bits (g = h - 2^15, exact for h <= 65280),
// h0 wy0 + h1 wy1 = g0 wy0 + g1 wy1 + 2^15 (wy0 + wy1) = g0 wy0 + g1 wy1 + 2^23, one multiply-add of
// interleaved (g0, g1) and (wy0, wy1); the sum of at most 2^24 is exact in 32 bits.
inline __m256i v_u8_lanes(__m256i g0, __m256i g1, __m256i w, bool high) {
    const __m256i pair = high ? _mm256_unpackhi_epi16(g0, g1) : _mm256_unpacklo_epi16(g0, g1);
    const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(pair, w), _mm256_set1_epi32((1 << 23) + 32768));
    return _mm256_srli_epi32(sum, 16);
}

// Stores of the vertical rows: plain unaligned stores, or streaming stores, which need an aligned
// address. A streaming row leaves the samples before the first aligned vector to its scalar row.
template <bool kStream>
inline void store_256(void *p, __m256i v) {
    if (kStream)
        _mm256_stream_si256(static_cast<__m256i *>(p), v);
    else
        _mm256_storeu_si256(static_cast<__m256i *>(p), v);
}
template <bool kStream>
inline void store_128(void *p, __m128i v) {
    if (kStream)
        _mm_stream_si128(static_cast<__m128i *>(p), v);
    else
        _mm_storeu_si128(static_cast<__m128i *>(p), v);
}

// First sample at or after `begin` (at most `end`) whose address is a multiple of `align` bytes, for
// the streaming rows; `begin` for the plain ones, and `end` when no sample of the row is aligned.
template <bool kStream, class Out>
inline uint32_t aligned_begin(const Out *dst, uint32_t begin, uint32_t end, uintptr_t align) {
    if (!kStream) return begin;
    const uintptr_t a = reinterpret_cast<uintptr_t>(dst + begin);
    const uintptr_t gap = (align - (a & (align - 1))) & (align - 1);
    if (gap % sizeof(Out) != 0) return end;
    const uintptr_t head = gap / sizeof(Out);
    return head < end - begin ? begin + uint32_t(head) : end;
}

template <bool kStream>
void v_row_u8(const uint16_t *h0, const uint16_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
              uint8_t *dst) {
    const __m256i w = _mm256_set1_epi32(int32_t(wy0 | (wy1 << 16)));
    const __m256i bias = _mm256_set1_epi16(int16_t(0x8000));
    uint32_t i = aligned_begin<kStream>(dst, begin, end, 32);
    v_row_u8_c(h0, h1, wy0, wy1, begin, i, dst);
    for (; i + 32 <= end; i += 32) {
        const __m256i a0 = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(h0 + i)), bias);
        const __m256i a1 = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(h1 + i)), bias);
        const __m256i b0 = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(h0 + i + 16)), bias);
        const __m256i b1 = _mm256_xor_si256(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(h1 + i + 16)), bias);
        // Unpacking and packing within 128-bit halves keep the column order of each half.
        const __m256i wa = _mm256_packus_epi32(v_u8_lanes(a0, a1, w, false), v_u8_lanes(a0, a1, w, true));
        const __m256i wb = _mm256_packus_epi32(v_u8_lanes(b0, b1, w, false), v_u8_lanes(b0, b1, w, true));
        store_256<kStream>(dst + i, _mm256_permute4x64_epi64(_mm256_packus_epi16(wa, wb), 0xD8));
    }
    v_row_u8_c(h0, h1, wy0, wy1, i, end, dst);
}

template <bool kStream>
void v_row_u16(const uint32_t *h0, const uint32_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
               uint16_t *dst) {
    const __m256i w1 = _mm256_set1_epi32(int32_t(wy1));
    uint32_t i = aligned_begin<kStream>(dst, begin, end, 32);
    v_row_u16_c(h0, h1, wy0, wy1, begin, i, dst);
    for (; i + 16 <= end; i += 16) {
        const __m256i a = v_lanes_8(h0 + i, h1 + i, w1);
        const __m256i b = v_lanes_8(h0 + i + 8, h1 + i + 8, w1);
        store_256<kStream>(dst + i, _mm256_permute4x64_epi64(_mm256_packus_epi32(a, b), 0xD8));
    }
    v_row_u16_c(h0, h1, wy0, wy1, i, end, dst);
}

// h * w modulo 2^64 for 64-bit h and a weight below 2^31: low half times w plus (high half times w) << 32.
inline __m256i mul_64_small(__m256i h, __m256i w) {
    const __m256i lo = _mm256_mul_epu32(h, w);
    const __m256i hi = _mm256_mul_epu32(_mm256_srli_epi64(h, 32), w);
    return _mm256_add_epi64(lo, _mm256_slli_epi64(hi, 32));
}

// (h1 * wy1 + h0 * wy0 + 2^23) >> 24 for four columns from i on, while they fit before end; returns
// where it stopped. The result fits 32 bits, so the low 32 bits of a logical shift equal those of the
// arithmetic shift: the same code serves signed and unsigned sums.
template <bool kStream, class H, class Out>
uint32_t v_row_x64(const H *h0, const H *h1, uint32_t wy0, uint32_t wy1, uint32_t i, uint32_t end, Out *dst) {
    const __m256i w0 = _mm256_set1_epi64x(wy0), w1 = _mm256_set1_epi64x(wy1);
    const __m256i half = _mm256_set1_epi64x(int64_t(1) << 23);
    const __m256i low_dwords = _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6);
    for (; i + 4 <= end; i += 4) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(h0 + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(h1 + i));
        const __m256i sum = _mm256_add_epi64(_mm256_add_epi64(mul_64_small(b, w1), mul_64_small(a, w0)), half);
        const __m256i out = _mm256_permutevar8x32_epi32(_mm256_srli_epi64(sum, 24), low_dwords);
        store_128<kStream>(dst + i, _mm256_castsi256_si128(out));
    }
    return i;
}

template <bool kStream>
void v_row_i32(const int64_t *h0, const int64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
               int32_t *dst) {
    const uint32_t first = aligned_begin<kStream>(dst, begin, end, 16);
    v_row_i32_c(h0, h1, wy0, wy1, begin, first, dst);
    v_row_i32_c(h0, h1, wy0, wy1, v_row_x64<kStream>(h0, h1, wy0, wy1, first, end, dst), end, dst);
}

template <bool kStream>
void v_row_u32(const uint64_t *h0, const uint64_t *h1, uint32_t wy0, uint32_t wy1, uint32_t begin, uint32_t end,
               uint32_t *dst) {
    const uint32_t first = aligned_begin<kStream>(dst, begin, end, 16);
    v_row_u32_c(h0, h1, wy0, wy1, begin, first, dst);
    v_row_u32_c(h0, h1, wy0, wy1, v_row_x64<kStream>(h0, h1, wy0, wy1, first, end, dst), end, dst);
}

// Samples at offsets d (0 .. 15) from the two 8-float windows lo and hi: the permutation uses the low
// three bits of d, the blend picks hi where d > 7.
inline __m256 pick16(__m256 lo, __m256 hi, __m256i d) {
    const __m256 upper = _mm256_castsi256_ps(_mm256_cmpgt_epi32(d, _mm256_set1_epi32(7)));
    return _mm256_blendv_ps(_mm256_permutevar8x32_ps(lo, d), _mm256_permutevar8x32_ps(hi, d), upper);
}

void h_row_f32_avx2(const float *src, const int32_t *x0, const int32_t *x1, const float *fx, const float *gx,
                    uint32_t begin, uint32_t end, uint32_t src_count, float *a, float *b) {
    const __m256i max_offset = _mm256_set1_epi32(15), max_single = _mm256_set1_epi32(7);
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const uint32_t k0 = uint32_t(x0[i]);
        const __m256i i0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(x0 + i));
        const __m256i i1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(x1 + i));
        // x1 is x0 + 1 inside the row, so offsets from k0 + 1 are those of x0 from k0 (0 .. 15).
        const __m256i d = _mm256_sub_epi32(i0, _mm256_set1_epi32(int32_t(k0)));
        __m256 s0, s1;
        if (k0 + 9 <= src_count && _mm256_movemask_epi8(_mm256_cmpgt_epi32(d, max_single)) == 0) {
            // Eight columns within eight samples (enlargements): one window each for x0 and x1.
            const __m256i d1 = _mm256_sub_epi32(i1, _mm256_set1_epi32(int32_t(k0 + 1)));
            s0 = _mm256_permutevar8x32_ps(_mm256_loadu_ps(src + k0), d);
            s1 = _mm256_permutevar8x32_ps(_mm256_loadu_ps(src + k0 + 1), d1);
        } else if (k0 + 17 <= src_count && _mm256_movemask_epi8(_mm256_cmpgt_epi32(d, max_offset)) == 0) {
            const __m256i d1 = _mm256_sub_epi32(i1, _mm256_set1_epi32(int32_t(k0 + 1)));
            s0 = pick16(_mm256_loadu_ps(src + k0), _mm256_loadu_ps(src + k0 + 8), d);
            s1 = pick16(_mm256_loadu_ps(src + k0 + 1), _mm256_loadu_ps(src + k0 + 9), d1);
        } else {
            s0 = _mm256_i32gather_ps(src, i0, 4);
            s1 = _mm256_i32gather_ps(src, i1, 4);
        }
        _mm256_storeu_ps(a + i, _mm256_mul_ps(s1, _mm256_loadu_ps(fx + i)));
        _mm256_storeu_ps(b + i, _mm256_mul_ps(s0, _mm256_loadu_ps(gx + i)));
    }
    h_row_f32_c(src, x0, x1, fx, gx, i, end, src_count, a, b);
}

template <bool kStream>
void v_row_f32(const float *a0, const float *b0, const float *a1, const float *b1, float fy, float gy,
               uint32_t begin, uint32_t end, float *dst) {
    const __m256 vf = _mm256_set1_ps(fy), vg = _mm256_set1_ps(gy);
    uint32_t i = aligned_begin<kStream>(dst, begin, end, 32);
    v_row_f32_c(a0, b0, a1, b1, fy, gy, begin, i, dst);
    for (; i + 8 <= end; i += 8) {
        const __m256 t0 = _mm256_mul_ps(_mm256_loadu_ps(a0 + i), vg);
        const __m256 t1 = _mm256_mul_ps(_mm256_loadu_ps(b0 + i), vg);
        const __m256 t2 = _mm256_mul_ps(_mm256_loadu_ps(b1 + i), vf);
        const __m256 t3 = _mm256_mul_ps(_mm256_loadu_ps(a1 + i), vf);
        store_256<kStream>(dst + i, _mm256_castps_si256(_mm256_add_ps(_mm256_add_ps(_mm256_add_ps(t0, t1), t2), t3)));
    }
    v_row_f32_c(a0, b0, a1, b1, fy, gy, i, end, dst);
}

}  // namespace

const resize2d_rows &resize2d_avx2_rows() {
    static const resize2d_rows rows = {h_row_u8_avx2,     h_row_u16_avx2,     h_row_i32_avx2,     h_row_u32_avx2,
                                       v_row_u8<false>,   v_row_u16<false>,   v_row_i32<false>,   v_row_u32<false>,
                                       h_row_f32_avx2,    v_row_f32<false>,   v_row_u8<true>,     v_row_u16<true>,
                                       v_row_i32<true>,   v_row_u32<true>,    v_row_f32<true>,
                                       plan_u8_avx2,      h_row_u8_plan_avx2,
                                       plan_u8_grouped_avx2, h_u8_grouped_avx2, v_u8_grouped<false>,
                                       v_u8_grouped<true>, plan_u16_grouped_avx2, h_u16_grouped_avx2,
                                       v_u16_grouped<false>, v_u16_grouped<true>,
                                       h2_u8_grouped_avx2, h2_u16_grouped_avx2,
                                       vh_u8_dispatch<VhU8Pass256, false>, vh_u8_dispatch<VhU8Pass256, true>};
    return rows;
}

}  // namespace oz
