// Grouped 8-bit rows, AVX2 parts shared by the AVX2 rows and the AVX-512 passes: the plan's layout,
// the stored values of one plan vector, the writer of the vertical rows' bytes and the vertical
// arithmetic of 32 columns. Internal to the files of one instruction set each (internal linkage).
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "resample/resize2d_rows.h"

namespace oz {
namespace {

// Grouped 8-bit rows. Plan: for every 16 slots a byte shuffle control and the weights, then the two
// window starts (one per 128-bit half), then a word that is 1 when every vector reads a single window
// (both starts equal). A half serves 8 columns from 16 bytes of the source row: the control picks
// (s[kx], s[kx + 1]) as adjacent bytes and the unsigned byte weights (wx0, wx1) multiply them, with the
// samples biased to signed bytes (s - 128): the pair's sum is h - 128 * 256 = h - 32768, within signed
// 16 bits, so the saturating multiply-add is exact. A weight of 256 (the other one 0) does not fit a
// byte: the sample takes both bytes with weights 128 and 128. When all 16 columns of a vector read
// from one 16-byte window (enlargements of about 1.5 and more), both halves use it, and the rows load
// it once for both halves.
struct alignas(32) U8GroupedVec {
    __m256i ctrl;
    __m256i w;
};

// The plan's parts for n columns: the vectors, the window starts, the single-window word.
struct U8GroupedPlan {
    const U8GroupedVec *v;
    const int32_t *bases;
    uint32_t vecs;
    bool single;
    U8GroupedPlan(const void *plan, uint32_t n)
        : v(static_cast<const U8GroupedVec *>(plan)),
          bases(reinterpret_cast<const int32_t *>(v + n / kGroupU8 * 2)),
          vecs(n / kGroupU8 * 2),
          single(bases[2 * vecs] != 0) {}
};
static_assert(sizeof(U8GroupedVec) + 2 * sizeof(int32_t) <= 16 * kPlanU8Bytes - sizeof(int32_t),
              "the plan and its single-window word must fit the room of the columns (at least one group)");

// The grouped stored values of plan vector q (16 slots) of a source row: g = h - 32768 + 128. With a
// single window per vector, one 16-byte load serves both halves.
template <bool kSingle>
inline __m256i h_u8_grouped_vec(const uint8_t *src, const U8GroupedPlan &p, uint32_t q) {
    const __m256i flip = _mm256_set1_epi8(int8_t(0x80)), bias = _mm256_set1_epi16(128);
    // SAFETY: every window start is at most src_count - 16 (checked by the plan).
    __m256i window;
    if constexpr (kSingle) {
        window = _mm256_broadcastsi128_si256(
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + uint32_t(p.bases[2 * q]))));
    } else {
        uint64_t pair;  // both window starts in one load
        std::memcpy(&pair, p.bases + 2 * q, sizeof(pair));
        window = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(src + uint32_t(pair)))),
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + (pair >> 32))), 1);
    }
    const __m256i pairs = _mm256_shuffle_epi8(_mm256_xor_si256(window, flip), _mm256_load_si256(&p.v[q].ctrl));
    return _mm256_add_epi16(_mm256_maddubs_epi16(_mm256_load_si256(&p.v[q].w), pairs), bias);
}

// Writer of the grouped vertical rows, which produce a row's bytes 32 at a time from its start. With
// streaming asked and the row start 32-byte aligned, every vector is streamed; with the start 16 bytes
// past such an address (the alignment of most heap blocks), the first 16 bytes and then every aligned
// 32 bytes, the upper half of one vector and the lower half of the next, are streamed; otherwise (or
// without streaming) the stores are plain. A row is written from its start to its end before the next,
// so that a line shared by the end of one row and the start of the next is completed at once: plain
// stores into a line being streamed, or a line streamed in two separate parts, cost a flush each.
class RowWriter {
  public:
    RowWriter(void *row, bool stream) : row_(static_cast<uint8_t *>(row)) {
        const uintptr_t misalign = reinterpret_cast<uintptr_t>(row) & 31;
        mode_ = !stream ? kPlain : misalign == 0 ? kAligned : misalign == 16 ? kHalf : kPlain;
    }
    // The vector of bytes [offset, offset + 32); offsets ascend from 0 in steps of 32.
    void put(size_t offset, __m256i v) {
        if (mode_ == kPlain) {
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(row_ + offset), v);
        } else if (mode_ == kAligned) {
            _mm256_stream_si256(reinterpret_cast<__m256i *>(row_ + offset), v);
        } else {
            if (offset == 0)
                _mm_stream_si128(reinterpret_cast<__m128i *>(row_), _mm256_castsi256_si128(v));
            else
                _mm256_stream_si256(reinterpret_cast<__m256i *>(row_ + offset - 16),
                                    _mm256_permute2x128_si256(prev_, v, 0x21));
            prev_ = v;
            end_ = offset + 32;
        }
    }
    // Stores what is held back: the upper half of the last vector.
    void finish() {
        if (mode_ == kHalf && end_ > 0)
            _mm_stream_si128(reinterpret_cast<__m128i *>(row_ + end_ - 16), _mm256_extracti128_si256(prev_, 1));
    }

  private:
    enum Mode { kPlain, kAligned, kHalf };
    uint8_t *row_;
    Mode mode_;
    __m256i prev_ = _mm256_setzero_si256();
    size_t end_ = 0;
};

// 32 columns: the two rows' g interleaved half by half and multiplied by (wy0, wy1) give
// g0 wy0 + g1 wy1 = sum - 32640 * 256 = (sum + 32768) - 128 * 2^16, so the upper 16 bits of each
// 32-bit lane hold the result minus 128, a signed byte. The stored column order puts the even columns
// of 8 in the low and the odd ones in the high 16 bits, so a blend gathers 8 columns in order, and the
// signed pack (exact) joins the two 16-column halves.
struct U8Pairs {
    __m256i lo_a, hi_a, lo_b, hi_b;  // (g0, g1) of slots [i, i + 16) and [i + 16, i + 32), unpacked
    U8Pairs(const int16_t *g0, const int16_t *g1, uint32_t i) {
        const __m256i a0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(g0 + i));
        const __m256i a1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(g1 + i));
        const __m256i b0 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(g0 + i + 16));
        const __m256i b1 = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(g1 + i + 16));
        lo_a = _mm256_unpacklo_epi16(a0, a1);
        hi_a = _mm256_unpackhi_epi16(a0, a1);
        lo_b = _mm256_unpacklo_epi16(b0, b1);
        hi_b = _mm256_unpackhi_epi16(b0, b1);
    }
    // The 32 destination bytes under the weights w = wy0 | wy1 << 16 in every 32-bit lane.
    __m256i bytes(__m256i w) const {
        const __m256i a = _mm256_blend_epi16(_mm256_srli_epi32(_mm256_madd_epi16(lo_a, w), 16),
                                             _mm256_madd_epi16(hi_a, w), 0xAA);
        const __m256i b = _mm256_blend_epi16(_mm256_srli_epi32(_mm256_madd_epi16(lo_b, w), 16),
                                             _mm256_madd_epi16(hi_b, w), 0xAA);
        return _mm256_xor_si256(_mm256_packs_epi16(a, b), _mm256_set1_epi8(int8_t(0x80)));
    }
};

// A paired pass of the grouped 8-bit rows, as the rows' vh_u8_grouped describes it, for kRows (1 or
// 2) destination rows with the stored row of the next source row computed alongside (kH: 0 none, 1
// single windows, 2 two windows a vector).
using VhU8Pass = void (*)(const int16_t *g0, const int16_t *g1, const uint32_t *wy, uint8_t *const *dst,
                          const uint8_t *src, const U8GroupedPlan &p, const int32_t *kx, const uint32_t *w01,
                          uint32_t n, int16_t *g);

// Runs the pass that the row count, `src` and the plan's windows call for; Pass<kRows, kH, kStream>::run
// is the pass of an instruction set.
template <template <int, int, bool> class Pass, bool kStream>
void vh_u8_dispatch(const int16_t *g0, const int16_t *g1, uint32_t rows, const uint32_t *wy, uint8_t *const *dst,
                    const uint8_t *src, const void *plan, const int32_t *kx, const uint32_t *w01, uint32_t n,
                    int16_t *g) {
    const U8GroupedPlan p(plan, n);
    const int h = src == nullptr ? 0 : p.single ? 1 : 2;
    static constexpr VhU8Pass kPasses[2][3] = {
        {Pass<1, 0, kStream>::run, Pass<1, 1, kStream>::run, Pass<1, 2, kStream>::run},
        {Pass<2, 0, kStream>::run, Pass<2, 1, kStream>::run, Pass<2, 2, kStream>::run}};
    kPasses[rows == 2 ? 1 : 0][h](g0, g1, wy, dst, src, p, kx, w01, n, g);
}

}  // namespace
}  // namespace oz
