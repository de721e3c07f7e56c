// Vector operations of the AVX2 rows (8 float or int32 lanes). Included only by *_avx2.cc files;
// everything is in an anonymous namespace so that no inline function compiled for one ISA can be
// picked by the linker for another.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace oz {
namespace {

struct Avx2 {
    static constexpr int kLanes = 8;
    using F = __m256;
    using I = __m256i;

    static F set1(float v) { return _mm256_set1_ps(v); }
    static I set1_i(int32_t v) { return _mm256_set1_epi32(v); }
    static F zero() { return _mm256_setzero_ps(); }
    static I iota() { return _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7); }
    static F add(F a, F b) { return _mm256_add_ps(a, b); }
    static F sub(F a, F b) { return _mm256_sub_ps(a, b); }
    static F mul(F a, F b) { return _mm256_mul_ps(a, b); }
    static F min(F a, F b) { return _mm256_min_ps(a, b); }  // a < b ? a : b
    static F and_f(F a, F b) { return _mm256_and_ps(a, b); }
    static F cmpneq(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_NEQ_UQ); }
    static F blendv(F a, F b, F mask) { return _mm256_blendv_ps(a, b, mask); }  // mask ? b : a
    static I add_i(I a, I b) { return _mm256_add_epi32(a, b); }
    static I sub_i(I a, I b) { return _mm256_sub_epi32(a, b); }
    static I cmpeq_i(I a, I b) { return _mm256_cmpeq_epi32(a, b); }
    static I cmpgt_i(I a, I b) { return _mm256_cmpgt_epi32(a, b); }
    static F cast_f(I a) { return _mm256_castsi256_ps(a); }
    static I cast_i(F a) { return _mm256_castps_si256(a); }
    static F cvt(I a) { return _mm256_cvtepi32_ps(a); }
    // Truncation toward zero; NaN and out-of-range values give INT32_MIN.
    static I cvtt(F a) { return _mm256_cvttps_epi32(a); }
    static F cmplt(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_LT_OQ); }
    static F cmpeq_f(F a, F b) { return _mm256_cmp_ps(a, b, _CMP_EQ_OQ); }
    static I and_i(I a, I b) { return _mm256_and_si256(a, b); }
    static I min_i(I a, I b) { return _mm256_min_epi32(a, b); }
    static I max_i(I a, I b) { return _mm256_max_epi32(a, b); }
    static I mullo_i(I a, I b) { return _mm256_mullo_epi32(a, b); }
    static I srli16_i(I a) { return _mm256_srli_epi32(a, 16); }
    static I loadu_i(const int32_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
    static I zero_i() { return _mm256_setzero_si256(); }
    // Eight 16-bit samples, zero-extended.
    static I load_u16_i32(const uint16_t *p) {
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
    }
    static void store_i(int32_t *p, I a) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), a); }

    // out[c] lane k = base[start[k] + c], c = 0..3 (four samples read from each start).
    static void load_cols(const float *base, const int32_t *start, F out[4]) {
        const F a0 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(base + start[0])),
                                          _mm_loadu_ps(base + start[4]), 1);
        const F a1 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(base + start[1])),
                                          _mm_loadu_ps(base + start[5]), 1);
        const F a2 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(base + start[2])),
                                          _mm_loadu_ps(base + start[6]), 1);
        const F a3 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(base + start[3])),
                                          _mm_loadu_ps(base + start[7]), 1);
        const F t0 = _mm256_unpacklo_ps(a0, a1);
        const F t1 = _mm256_unpackhi_ps(a0, a1);
        const F t2 = _mm256_unpacklo_ps(a2, a3);
        const F t3 = _mm256_unpackhi_ps(a2, a3);
        out[0] = _mm256_shuffle_ps(t0, t2, 0x44);
        out[1] = _mm256_shuffle_ps(t0, t2, 0xEE);
        out[2] = _mm256_shuffle_ps(t1, t3, 0x44);
        out[3] = _mm256_shuffle_ps(t1, t3, 0xEE);
    }
    static void load_cols(const uint16_t *base, const int32_t *start, F out[4]) {
        I a[4];
        for (int k = 0; k < 4; ++k) {
            const __m128i lo = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(base + start[k]));
            const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(base + start[k + 4]));
            a[k] = _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1);
        }
        const I p01 = _mm256_unpacklo_epi16(a[0], a[1]);
        const I p23 = _mm256_unpacklo_epi16(a[2], a[3]);
        // Per 128-bit half: columns 0 and 1 (q0) or 2 and 3 (q1) of that half's four rows.
        const I q0 = _mm256_permute4x64_epi64(_mm256_unpacklo_epi32(p01, p23), 0xD8);
        const I q1 = _mm256_permute4x64_epi64(_mm256_unpackhi_epi32(p01, p23), 0xD8);
        out[0] = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(q0)));
        out[1] = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(q0, 1)));
        out[2] = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(q1)));
        out[3] = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(q1, 1)));
    }
    // Stores the low 16 bits of every lane.
    static void store_u16(uint16_t *p, I a) {
        const I lo = _mm256_and_si256(a, _mm256_set1_epi32(0xFFFF));
        const I packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(lo, lo), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm256_castsi256_si128(packed));
    }
};

}  // namespace
}  // namespace oz
