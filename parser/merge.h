// The calibration merge of init: the module's shading gains, upscaled to the characterization's grid,
// times the characterization's shading ratios replace the lens-shading tables of slot 54.
#pragma once

#include "common/diag.h"
#include "oz_cmc_parser.h"
#include "oz_nvm_data.h"

namespace oz {

// Runs after the record walk, before the calibration is released (the caller releases it). Does
// nothing without calibration; reports through `diag` (DiagKind::kMerge) whether the merge ran, which
// upscaling it used, and the correction's status.
void merge_calibration(cmc_data *cmc, const nvm_data *nvm, const Diag &diag);

}  // namespace oz
