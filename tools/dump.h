// Everything in a parse result, slot by slot: record copies by their fields, built structures expanded
// with their tables as arrays, pointers into other slots by slot and byte offset.
#pragma once

#include <string>

#include "codec.h"
#include "oz_cmc_parser.h"

namespace ozcmc {

Json dump_result(const cmc_data *cmc);

// The dump as text: one block per filled slot, then the list of empty slots.
std::string dump_text(const Json &dump);

}  // namespace ozcmc
