// Area downscale rows, AVX2: eight destination columns at a time.
#include "resample/area_rows_simd.h"
#include "resample/simd_avx2.h"

namespace oz {
namespace {

// Float sources at whole-number footprints of K = 2 or 4 columns with unit row weights: every weight
// is 1, so every product (1 * 1) * s is the sample itself (infinities and NaN included), and the
// scalar sum is ((0 + s[0][0]) + s[0][1]) + ... over the span's rows (outer) and columns (inner).
// Eight destination columns read 8K consecutive samples of each row; the K vectors are transposed in
// registers so that vector c holds column c of every lane's span (lanes in the order `order` undoes),
// and are added in column order, row after row: each lane repeats the scalar sum exactly. The
// normalisation is the scalar row's. Returns the first column left to the caller.
template <uint32_t K>
uint32_t area_box_row_f32(const float *src, const AreaRow &row, uint16_t *dst, uint32_t end) {
    static_assert(K == 2 || K == 4, "in-register transposition of 2 or 4 columns");
    // Lane of destination column c after the transposition.
    const __m256i order =
        K == 2 ? _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7) : _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256 inv_area = _mm256_set1_ps(row.inv_area);
    const __m256 half = _mm256_set1_ps(kAreaRoundHalf);
    const __m256 scale = _mm256_set1_ps(1024.0f);
    uint32_t i = 0;
    for (; i + 8 <= end; i += 8) {
        const float *s = src + size_t(i) * K;
        __m256 sum = _mm256_setzero_ps();
        for (uint32_t r = 0; r < row.row_count; ++r) {
            const float *t = s + r * row.stride;
            if constexpr (K == 2) {
                const __m256 a0 = _mm256_loadu_ps(t);
                const __m256 a1 = _mm256_loadu_ps(t + 8);
                sum = _mm256_add_ps(sum, _mm256_shuffle_ps(a0, a1, 0x88));
                sum = _mm256_add_ps(sum, _mm256_shuffle_ps(a0, a1, 0xDD));
            } else {
                const __m256 a0 = _mm256_loadu_ps(t);
                const __m256 a1 = _mm256_loadu_ps(t + 8);
                const __m256 a2 = _mm256_loadu_ps(t + 16);
                const __m256 a3 = _mm256_loadu_ps(t + 24);
                const __m256 t0 = _mm256_unpacklo_ps(a0, a1);
                const __m256 t1 = _mm256_unpackhi_ps(a0, a1);
                const __m256 t2 = _mm256_unpacklo_ps(a2, a3);
                const __m256 t3 = _mm256_unpackhi_ps(a2, a3);
                const __m256d d0 = _mm256_castps_pd(t0), d1 = _mm256_castps_pd(t1);
                const __m256d d2 = _mm256_castps_pd(t2), d3 = _mm256_castps_pd(t3);
                sum = _mm256_add_ps(sum, _mm256_castpd_ps(_mm256_unpacklo_pd(d0, d2)));
                sum = _mm256_add_ps(sum, _mm256_castpd_ps(_mm256_unpackhi_pd(d0, d2)));
                sum = _mm256_add_ps(sum, _mm256_castpd_ps(_mm256_unpacklo_pd(d1, d3)));
                sum = _mm256_add_ps(sum, _mm256_castpd_ps(_mm256_unpackhi_pd(d1, d3)));
            }
        }
        sum = _mm256_permutevar8x32_ps(sum, order);
        const __m256 value = _mm256_mul_ps(_mm256_add_ps(_mm256_mul_ps(sum, inv_area), half), scale);
        Avx2::store_u16(dst + i, _mm256_cvttps_epi32(value));
    }
    return i;
}

// A float row that area_box_row_f32 takes: K = 2 or 4 whole columns and unit row weights. A
// single-precision footprint W / dst_width equal to a whole number K means W = K * dst_width exactly
// (sides are below 2^16), so the reads stay inside the rectangle.
bool area_alone_f32(const float *src, const AreaRow &row, uint16_t *dst, uint32_t end) {
    const uint32_t k = row.fx == 2.0f ? 2 : (row.fx == 4.0f ? 4 : 0);
    if (k == 0 || row.row_weight_first != 1.0f || row.row_weight_last != 1.0f) return false;
    const uint32_t done = k == 2 ? area_box_row_f32<2>(src, row, dst, end) : area_box_row_f32<4>(src, row, dst, end);
    area_row_f32_to_u16p10_c(src, row, dst, done, end);
    return true;
}

void area_block_f32_to_u16p10_avx2(const AreaBlock<float> &block, uint32_t dst_width) {
    area_block_vec<Avx2, float, true>(block, dst_width, area_row_f32_to_u16p10_c, area_alone_f32);
}

// Whole-number footprints of K = 2 or 4 columns with unit row weights (see area_box_row_u16): eight
// destination columns read 8K consecutive columns of every row of the span. They are summed down the
// rows as 32-bit integers, then across each K-column group by pairwise horizontal adds, and put back in
// column order; the integer sums are exact, so they are the scalar sums. The normalisation is the
// scalar row's. Returns the first column left to the caller.
template <uint32_t K>
uint32_t area_box_row_u16_hadd(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t end) {
    static_assert(K == 2 || K == 4, "pairwise sums of 2 or 4 columns");
    // Lane of destination column c after the horizontal adds.
    const __m256i order =
        K == 2 ? _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7) : _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    const __m256 inv_area = _mm256_set1_ps(row.inv_area);
    const __m256 inv_src = _mm256_set1_ps(row.inv_src);
    const __m256 half = _mm256_set1_ps(kAreaRoundHalf);
    const __m256 out_scale = _mm256_set1_ps(row.out_scale);
    uint32_t i = 0;
    for (; i + 8 <= end; i += 8) {
        const uint16_t *s = src + size_t(i) * K;
        __m256i a[K];
        for (uint32_t k = 0; k < K; ++k) a[k] = Avx2::load_u16_i32(s + 8 * k);
        for (uint32_t r = 1; r < row.row_count; ++r) {
            const uint16_t *t = s + r * row.stride;
            for (uint32_t k = 0; k < K; ++k) a[k] = _mm256_add_epi32(a[k], Avx2::load_u16_i32(t + 8 * k));
        }
        __m256i sums = _mm256_hadd_epi32(a[0], a[1]);
        if constexpr (K == 4) sums = _mm256_hadd_epi32(sums, _mm256_hadd_epi32(a[2], a[3]));
        sums = _mm256_permutevar8x32_epi32(sums, order);
        const __m256 value = _mm256_mul_ps(
            _mm256_add_ps(_mm256_mul_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(sums), inv_area), inv_src), half), out_scale);
        Avx2::store_u16(dst + i, _mm256_cvttps_epi32(value));
    }
    return i;
}

// A 16-bit row at a whole-number box: 2 or 4 columns by pairwise adds, other footprints by column
// sums (area_box_row_u16).
bool area_alone_u16(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t end) {
    const uint32_t k = area_box_columns(row);
    if (k == 2 || k == 4) {
        const uint32_t done = k == 2 ? area_box_row_u16_hadd<2>(src, row, dst, end)
                                     : area_box_row_u16_hadd<4>(src, row, dst, end);
        area_row_u16_to_u16_c(src, row, dst, done, end);
        return true;
    }
    return area_box_row_u16<Avx2>(src, row, dst, end);
}

void area_block_u16_to_u16_avx2(const AreaBlock<uint16_t> &block, uint32_t dst_width) {
    area_block_vec<Avx2, uint16_t, false>(block, dst_width, area_row_u16_to_u16_c, area_alone_u16);
}

}  // namespace

const area_rows &area_avx2_rows() {
    static const area_rows rows = {area_block_f32_to_u16p10_avx2, area_block_u16_to_u16_avx2};
    return rows;
}

}  // namespace oz
