// Internal entry points of the parser (the exported C functions are thin adapters over these). The
// tool and the tests call them directly to pass a diagnostics sink.
#pragma once

#include "common/diag.h"
#include "oz_cmc_parser.h"
#include "oz_nvm_data.h"

namespace oz {

// oz_cmc_parser_init_v1 with a diagnostics sink (null: no reports).
cmc_data *parse_container(const binary_data *container, const binary_data *calibration,
                          DiagSink *sink);

// oz_cmc_parser_deinit.
void release_result(cmc_data *cmc);

// oz_kovb_others_parser_init with a diagnostics sink.
void parse_others_record(const binary_data *container, cmc_data *cmc, DiagSink *sink);

}  // namespace oz
