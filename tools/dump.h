// Everything in a parse result, slot by slot: record copies by their fields, built structures expanded
// with their tables as arrays, pointers into other slots by slot and byte offset.
#pragma once

#include "codec.h"
#include "oz_cmc_parser.h"

namespace ozcmc {

Json dump_result(const cmc_data *cmc);

}  // namespace ozcmc
