// Area downscale rows, AVX2: eight destination columns at a time.
#include "resample/area_rows_simd.h"
#include "resample/simd_avx2.h"

namespace oz {
namespace {

void area_row_f32_to_u16p10_avx2(const float *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                                  uint32_t end) {
    area_row_vec<Avx2, float, true>(src, row, dst, begin, end, area_row_f32_to_u16p10_c);
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

void area_row_u16_to_u16_avx2(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                               uint32_t end) {
    const uint32_t k = area_box_columns(row, begin);
    if (k == 2 || k == 4) {
        const uint32_t done = k == 2 ? area_box_row_u16_hadd<2>(src, row, dst, end)
                                     : area_box_row_u16_hadd<4>(src, row, dst, end);
        area_row_u16_to_u16_c(src, row, dst, done, end);
        return;
    }
    area_row_vec<Avx2, uint16_t, false>(src, row, dst, begin, end, area_row_u16_to_u16_c);
}

}  // namespace

const area_rows &area_avx2_rows() {
    static const area_rows rows = {area_row_f32_to_u16p10_avx2, area_row_u16_to_u16_avx2};
    return rows;
}

}  // namespace oz
