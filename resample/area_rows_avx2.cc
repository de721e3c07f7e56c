// Area downscale rows, AVX2: eight destination columns at a time.
#include "resample/area_rows_simd.h"
#include "resample/simd_avx2.h"

namespace oz {
namespace {

void area_row_f32_to_u16p10_avx2(const float *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                                  uint32_t end) {
    area_row_vec<Avx2, float, true>(src, row, dst, begin, end, area_row_f32_to_u16p10_c);
}

void area_row_u16_to_u16_avx2(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                               uint32_t end) {
    area_row_vec<Avx2, uint16_t, false>(src, row, dst, begin, end, area_row_u16_to_u16_c);
}

}  // namespace

const area_rows &area_avx2_rows() {
    static const area_rows rows = {area_row_f32_to_u16p10_avx2, area_row_u16_to_u16_avx2};
    return rows;
}

}  // namespace oz
