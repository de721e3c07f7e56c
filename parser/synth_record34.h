// Init's response-curve step: record 34's in-memory form built from records 19 and 20.
#pragma once

#include "common/diag.h"
#include "oz_cmc_parser.h"

namespace oz {

// When slot 58 is still null and record 19 (slot 37) or record 20 (slot 40) was kept, builds the
// record-34 form (cmc_record34, one buffer) from them, converting their 16-fraction-bit values to
// floats, and stores it in slot 58. Records 19 and 20 stay in their slots. An allocation failure leaves
// slot 58 null.
void synthesize_record34(cmc_data *cmc, const Diag &diag);

}  // namespace oz
