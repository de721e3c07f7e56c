// The on-file layouts of the container's records, by id, as codec calls: each names the record's fields
// in byte order so that unpack shows them by name and pack writes them back.
#pragma once

#include <cstdint>

#include "codec.h"

namespace ozcmc {

// A short name of the record kind ("lens shading 4x4"), or "unknown".
const char *record_kind_name(uint16_t id);

// Describes the payload of a record (its bytes from offset 8) with `c`. Returns false when the tool
// knows no layout for this id; throws CodecError when the bytes or the JSON do not fit the layout.
bool describe_payload(uint16_t id, uint8_t version, Codec &c);

}  // namespace ozcmc
