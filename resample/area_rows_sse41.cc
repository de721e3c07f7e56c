// Area downscale rows, SSE4.1: four destination columns at a time.
#include "resample/area_rows_simd.h"
#include "resample/simd_sse41.h"

namespace oz {
namespace {

void area_row_f32_to_u16p10_sse41(const float *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                                  uint32_t end) {
    area_row_vec<Sse41, float, true>(src, row, dst, begin, end, area_row_f32_to_u16p10_c);
}

void area_row_u16_to_u16_sse41(const uint16_t *src, const AreaRow &row, uint16_t *dst, uint32_t begin,
                               uint32_t end) {
    area_row_vec<Sse41, uint16_t, false>(src, row, dst, begin, end, area_row_u16_to_u16_c);
}

}  // namespace

const area_rows &area_sse41_rows() {
    static const area_rows rows = {area_row_f32_to_u16p10_sse41, area_row_u16_to_u16_sse41};
    return rows;
}

}  // namespace oz
