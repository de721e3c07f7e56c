// Ratio-based sample-to-sample correction: the characterization's lens-shading tables become the
// shading ratios times the module's upscaled gains. The exported function calls this with the widest
// row table; tests and benchmarks pass the table they want.
#pragma once

#include <cstdint>

#include "lsc/gain_rows.h"
#include "oz_cmc_correction.h"
#include "oz_lsc.h"

namespace oz {

uint32_t ratio_correction(cmc_lens_shading4x4 *lens_shading, const cmc_lens_shading_ratio *ratio,
                          upscaled_lsc_tables *module_tables, uint32_t cfa_pattern, uint32_t module_bayer_order,
                          const gain_rows &rows);

}  // namespace oz
