// Area downscale rows, SSE4.1: four destination columns at a time.
#include "resample/area_rows_simd.h"
#include "resample/simd_sse41.h"

namespace oz {
namespace {

void area_block_f32_to_u16p10_sse41(const AreaBlock<float> &block, uint32_t dst_width) {
    area_block_vec<Sse41, float, true>(block, dst_width, area_row_f32_to_u16p10_c, area_alone_none<float>);
}

void area_block_u16_to_u16_sse41(const AreaBlock<uint16_t> &block, uint32_t dst_width) {
    area_block_vec<Sse41, uint16_t, false>(block, dst_width, area_row_u16_to_u16_c, area_box_row_u16<Sse41>);
}

}  // namespace

const area_rows &area_sse41_rows() {
    static const area_rows rows = {area_block_f32_to_u16p10_sse41, area_block_u16_to_u16_sse41};
    return rows;
}

}  // namespace oz
