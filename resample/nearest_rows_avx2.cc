// Nearest-neighbour rows, AVX2: eight destination samples at a time. The source indices are computed
// lane by lane exactly as the scalar rows compute them; the samples are fetched with one load and a
// permutation when the eight indices fall in an 8-sample window inside the row (enlargements), else
// with a gather (32-bit samples) or per-lane loads (16-bit samples, so that nothing past a sample is
// read).
#include "resample/nearest_rows_simd.h"
#include "resample/simd_avx2.h"

namespace oz {
namespace {

inline __m256i fetch_i32(const int32_t *s, __m256i idx, uint32_t src_count) {
    const uint32_t first = uint32_t(_mm256_cvtsi256_si32(idx));
    const uint32_t last = uint32_t(_mm256_extract_epi32(idx, 7));
    const __m256i d = _mm256_sub_epi32(idx, _mm256_set1_epi32(int32_t(first)));
    if (last - first < 8 && first + 8 <= src_count) {
        const __m256i window = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(s + first));
        return _mm256_permutevar8x32_epi32(window, d);
    }
    if (last - first < 16 && first + 16 <= src_count) {
        // Two 8-sample windows: the permutation uses the low three bits of d, the blend takes the
        // upper window where d > 7 (reductions up to about 2:1).
        const __m256i lo = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(s + first));
        const __m256i hi = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(s + first + 8));
        const __m256i upper = _mm256_cmpgt_epi32(d, _mm256_set1_epi32(7));
        return _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(lo, d), _mm256_permutevar8x32_epi32(hi, d), upper);
    }
    return _mm256_i32gather_epi32(s, idx, 4);
}

void step_row_x32_avx2(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step,
                       uint32_t src_count) {
    const int32_t *s = static_cast<const int32_t *>(src);
    int32_t *d = static_cast<int32_t *>(dst);
    uint32_t x = begin;
    // Positions x * step modulo 2^32, as the scalar row's running sum.
    __m256i pos = _mm256_mullo_epi32(_mm256_add_epi32(_mm256_set1_epi32(int32_t(x)), Avx2::iota()),
                                     _mm256_set1_epi32(int32_t(step)));
    const __m256i advance = _mm256_set1_epi32(int32_t(8u * step));
    for (; x + 8 <= end; x += 8) {
        const __m256i idx = _mm256_srli_epi32(pos, 16);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(d + x), fetch_i32(s, idx, src_count));
        pos = _mm256_add_epi32(pos, advance);
    }
    step_row_x32_c(src, dst, x, end, step, src_count);
}

void step_row_x64_avx2(const void *src, void *dst, uint32_t begin, uint32_t end, uint32_t step,
                       uint32_t src_count) {
    const long long *s = static_cast<const long long *>(src);
    int64_t *d = static_cast<int64_t *>(dst);
    uint32_t x = begin;
    __m128i pos = _mm_mullo_epi32(_mm_add_epi32(_mm_set1_epi32(int32_t(x)), _mm_setr_epi32(0, 1, 2, 3)),
                                  _mm_set1_epi32(int32_t(step)));
    const __m128i advance = _mm_set1_epi32(int32_t(4u * step));
    for (; x + 4 <= end; x += 4) {
        const __m128i idx = _mm_srli_epi32(pos, 16);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(d + x), _mm256_i32gather_epi64(s, idx, 8));
        pos = _mm_add_epi32(pos, advance);
    }
    step_row_x64_c(src, dst, x, end, step, src_count);
}

void pick_row_i32_avx2(const int32_t *src, int32_t *dst, uint32_t begin, uint32_t end, float ratio,
                       uint32_t src_count) {
    const __m256 r = _mm256_set1_ps(ratio);
    const __m256i last_sample = _mm256_set1_epi32(int32_t(src_count - 1));
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const __m256i j = _mm256_add_epi32(_mm256_set1_epi32(int32_t(i + 1)), Avx2::iota());
        const __m256i idx = footprint_last_vec<Avx2, false>(j, r, last_sample);
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + i), fetch_i32(src, idx, src_count));
    }
    pick_row_i32_c(src, dst, i, end, ratio, src_count);
}

// dst[0 .. 7] = src[idx lane 0 .. 7] for ascending indices below src_count.
inline void fetch_u16(const uint16_t *src, __m256i idx, uint16_t *dst, uint32_t src_count) {
    const uint32_t first = uint32_t(_mm256_cvtsi256_si32(idx));
    const uint32_t last = uint32_t(_mm256_extract_epi32(idx, 7));
    if (last - first < 8 && first + 8 <= src_count) {
        // Byte shuffle of the 8-sample window: lane k takes bytes 2d, 2d + 1 (d = idx - first).
        const __m256i dd = _mm256_sub_epi32(idx, _mm256_set1_epi32(int32_t(first)));
        const __m256i ctrl32 = _mm256_add_epi32(_mm256_mullo_epi32(dd, _mm256_set1_epi32(0x0202)),
                                                _mm256_set1_epi32(0x0100));
        const __m256i ctrl16 = _mm256_permute4x64_epi64(_mm256_packus_epi32(ctrl32, ctrl32), 0x08);
        const __m128i window = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + first));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), _mm_shuffle_epi8(window, _mm256_castsi256_si128(ctrl16)));
    } else if (last - first < 16 && first + 16 <= src_count) {
        // Sample d of a 16-sample window: the dword d / 2 by permutation, its upper half for odd d,
        // then the low 16 bits of each lane packed.
        const __m256i dd = _mm256_sub_epi32(idx, _mm256_set1_epi32(int32_t(first)));
        const __m256i window = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + first));
        const __m256i dword = _mm256_permutevar8x32_epi32(window, _mm256_srli_epi32(dd, 1));
        const __m256i shift = _mm256_slli_epi32(_mm256_and_si256(dd, _mm256_set1_epi32(1)), 4);
        const __m256i word = _mm256_and_si256(_mm256_srlv_epi32(dword, shift), _mm256_set1_epi32(0xFFFF));
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi32(word, word), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), _mm256_castsi256_si128(packed));
    } else {
        alignas(32) int32_t k[8];
        _mm256_store_si256(reinterpret_cast<__m256i *>(k), idx);
        for (int l = 0; l < 8; ++l) dst[l] = src[k[l]];
    }
}

void pick_row_u16_avx2(const uint16_t *src, uint16_t *dst, uint32_t begin, uint32_t end, float ratio,
                       uint32_t src_count) {
    const __m256 r = _mm256_set1_ps(ratio);
    const __m256i last_sample = _mm256_set1_epi32(int32_t(src_count - 1));
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const __m256i j = _mm256_add_epi32(_mm256_set1_epi32(int32_t(i + 1)), Avx2::iota());
        fetch_u16(src, footprint_last_vec<Avx2, true>(j, r, last_sample), dst + i, src_count);
    }
    pick_row_u16_c(src, dst, i, end, ratio, src_count);
}

void take_row_u16_avx2(const uint16_t *src, const int32_t *idx, uint16_t *dst, uint32_t begin, uint32_t end,
                       uint32_t src_count) {
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8)
        fetch_u16(src, _mm256_loadu_si256(reinterpret_cast<const __m256i *>(idx + i)), dst + i, src_count);
    take_row_u16_c(src, idx, dst, i, end, src_count);
}

void take_row_i32_avx2(const int32_t *src, const int32_t *idx, int32_t *dst, uint32_t begin, uint32_t end,
                       uint32_t src_count) {
    uint32_t i = begin;
    for (; i + 8 <= end; i += 8) {
        const __m256i k = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(idx + i));
        _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + i), fetch_i32(src, k, src_count));
    }
    take_row_i32_c(src, idx, dst, i, end, src_count);
}

void max_row_i32_avx2(const int32_t *src, size_t stride, uint32_t row_count, int32_t *dst, uint32_t count,
                      float ratio, uint32_t src_count) {
    max_row_vec<Avx2>(src, stride, row_count, dst, count, ratio, src_count);
}

// One eight-sample window and one permutation per eight destination columns.
inline __m256i periodic_block(const int32_t *src, const PeriodicMap &map, __m256i offset, uint32_t b) {
    return _mm256_permutevar8x32_epi32(
        _mm256_loadu_si256(reinterpret_cast<const __m256i *>(src + size_t(b) * map.advance)), offset);
}

void periodic_row_x32_avx2(const int32_t *src, int32_t *dst, const PeriodicMap &map, bool stream) {
    const __m256i offset = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(map.offset));
    const uint32_t n = map.blocks;
    const uintptr_t addr = reinterpret_cast<uintptr_t>(dst);
    if (!stream || n < 2 || (addr & 3) != 0) {
        for (uint32_t b = 0; b < n; ++b)
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + 8 * size_t(b)), periodic_block(src, map, offset, b));
        return;
    }
    // Streaming stores go to 32-byte boundaries: the first `lead` samples lie before the first one, and
    // aligned vector k holds samples lead + 8k .. lead + 8k + 7, lanes lead .. 7 of block k and lanes
    // 0 .. lead - 1 of block k + 1. The lead samples and the rest of the last block are stored plainly
    // (masked), so that no sample is written twice.
    const uint32_t lead = uint32_t((32 - (addr & 31)) & 31) / 4;
    if (lead == 0) {
        for (uint32_t b = 0; b < n; ++b)
            _mm256_stream_si256(reinterpret_cast<__m256i *>(dst + 8 * size_t(b)), periodic_block(src, map, offset, b));
        return;
    }
    const __m256i shifted = _mm256_add_epi32(Avx2::iota(), _mm256_set1_epi32(int32_t(lead)));
    const __m256i rotate = _mm256_and_si256(shifted, _mm256_set1_epi32(7));
    const __m256i from_next = _mm256_cmpgt_epi32(shifted, _mm256_set1_epi32(7));
    const __m256i before_lead = _mm256_cmpgt_epi32(_mm256_set1_epi32(int32_t(lead)), Avx2::iota());
    __m256i cur = periodic_block(src, map, offset, 0);
    _mm256_maskstore_epi32(dst, before_lead, cur);
    for (uint32_t k = 0; k + 1 < n; ++k) {
        const __m256i next = periodic_block(src, map, offset, k + 1);
        const __m256i v = _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(cur, rotate),
                                             _mm256_permutevar8x32_epi32(next, rotate), from_next);
        _mm256_stream_si256(reinterpret_cast<__m256i *>(dst + lead + 8 * size_t(k)), v);
        cur = next;
    }
    _mm256_maskstore_epi32(dst + 8 * size_t(n - 1), _mm256_xor_si256(before_lead, _mm256_set1_epi32(-1)), cur);
}

}  // namespace

const nearest_rows &nearest_avx2_rows() {
    // 16-byte pixels are one vector move each already: the scalar row serves.
    static const nearest_rows rows = {step_row_x32_avx2, step_row_x64_avx2, step_row_x128_c,
                                      pick_row_u16_avx2, pick_row_i32_avx2, max_row_i32_avx2,
                                      take_row_u16_avx2, take_row_i32_avx2, periodic_row_x32_avx2};
    return rows;
}

}  // namespace oz
