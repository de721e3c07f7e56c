// Vector operations of the SSE4.1 rows (4 float or int32 lanes). Included only by *_sse41.cc files;
// everything is in an anonymous namespace so that no inline function compiled for one ISA can be
// picked by the linker for another.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace oz {
namespace {

struct Sse41 {
    static constexpr int kLanes = 4;
    using F = __m128;
    using I = __m128i;

    static F set1(float v) { return _mm_set1_ps(v); }
    static I set1_i(int32_t v) { return _mm_set1_epi32(v); }
    static F zero() { return _mm_setzero_ps(); }
    static I iota() { return _mm_setr_epi32(0, 1, 2, 3); }
    static F add(F a, F b) { return _mm_add_ps(a, b); }
    static F sub(F a, F b) { return _mm_sub_ps(a, b); }
    static F mul(F a, F b) { return _mm_mul_ps(a, b); }
    static F min(F a, F b) { return _mm_min_ps(a, b); }  // a < b ? a : b
    static F and_f(F a, F b) { return _mm_and_ps(a, b); }
    static F cmpneq(F a, F b) { return _mm_cmpneq_ps(a, b); }
    static F blendv(F a, F b, F mask) { return _mm_blendv_ps(a, b, mask); }  // mask ? b : a
    static I add_i(I a, I b) { return _mm_add_epi32(a, b); }
    static I sub_i(I a, I b) { return _mm_sub_epi32(a, b); }
    static I cmpeq_i(I a, I b) { return _mm_cmpeq_epi32(a, b); }
    static I cmpgt_i(I a, I b) { return _mm_cmpgt_epi32(a, b); }
    static F cast_f(I a) { return _mm_castsi128_ps(a); }
    static I cast_i(F a) { return _mm_castps_si128(a); }
    static F cvt(I a) { return _mm_cvtepi32_ps(a); }
    // Truncation toward zero; NaN and out-of-range values give INT32_MIN.
    static I cvtt(F a) { return _mm_cvttps_epi32(a); }
    static F cmplt(F a, F b) { return _mm_cmplt_ps(a, b); }
    static F cmpeq_f(F a, F b) { return _mm_cmpeq_ps(a, b); }
    static I and_i(I a, I b) { return _mm_and_si128(a, b); }
    static I min_i(I a, I b) { return _mm_min_epi32(a, b); }
    static I max_i(I a, I b) { return _mm_max_epi32(a, b); }
    static I mullo_i(I a, I b) { return _mm_mullo_epi32(a, b); }
    static I srli16_i(I a) { return _mm_srli_epi32(a, 16); }
    static I loadu_i(const int32_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
    static I zero_i() { return _mm_setzero_si128(); }
    // Four 16-bit samples, zero-extended.
    static I load_u16_i32(const uint16_t *p) {
        return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
    }
    static void store_i(int32_t *p, I a) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), a); }

    // out[c] lane k = base[start[k] + c], c = 0..3 (four samples read from each start).
    static void load_cols(const float *base, const int32_t *start, F out[4]) {
        F r0 = _mm_loadu_ps(base + start[0]);
        F r1 = _mm_loadu_ps(base + start[1]);
        F r2 = _mm_loadu_ps(base + start[2]);
        F r3 = _mm_loadu_ps(base + start[3]);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        out[0] = r0;
        out[1] = r1;
        out[2] = r2;
        out[3] = r3;
    }
    static void load_cols(const uint16_t *base, const int32_t *start, F out[4]) {
        const I a0 = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(base + start[0]));
        const I a1 = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(base + start[1]));
        const I a2 = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(base + start[2]));
        const I a3 = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(base + start[3]));
        const I p01 = _mm_unpacklo_epi16(a0, a1);  // s00 s10 s01 s11 s02 s12 s03 s13
        const I p23 = _mm_unpacklo_epi16(a2, a3);
        const I q0 = _mm_unpacklo_epi32(p01, p23);  // column 0 of rows 0..3, then column 1
        const I q1 = _mm_unpackhi_epi32(p01, p23);  // columns 2 and 3
        out[0] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(q0));
        out[1] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(q0, 8)));
        out[2] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(q1));
        out[3] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(q1, 8)));
    }
    // Stores the low 16 bits of every lane.
    static void store_u16(uint16_t *p, I a) {
        const I lo = _mm_and_si128(a, _mm_set1_epi32(0xFFFF));
        _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi32(lo, lo));
    }
};

}  // namespace
}  // namespace oz
