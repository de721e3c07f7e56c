// The decoder of every record kind, one per id, grouped by family. cmc_parse dispatches to them.
#pragma once

#include "records/decode.h"

namespace oz {

// Text record (records/text.cc).
uint32_t decode_record_1_text(RecordCopy &rec, DecodeContext &ctx);

}  // namespace oz
