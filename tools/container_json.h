// Readable JSON descriptions of tuning containers and module calibration blobs, and back.
//
// Container: {"kind": "tuning container", "header": {word_0, word_2, word_3, word_4}, "checksum": "A"
// or "B" (recomputed on pack; a number is written as it is), "records": [{"offset", "id", "version",
// "kind", "fields": {...} or "payload": "hex"}], "trailing": "hex"}. `offset` and `kind` are
// informational; the record `size` and the container's total_size and checksum are recomputed.
//
// Calibration: {"kind": "module calibration", "format_version", "grid_width", "grid_height",
// "tables": [{"fraction_bits", "channels": [4 grids]}], "phase_difference": {...}}; the total size and
// the CRC-32 are recomputed.
#pragma once

#include <cstdint>
#include <string>

#include "codec.h"

namespace ozcmc {

// A record's description: fields by name when the layout fits, else its payload as hex.
Json unpack_record(const uint8_t *record, uint32_t size);
// Appends the bytes of one record description to `out` (size field computed).
void pack_record(const Json &record, Bytes &out);

// Throws CodecError when the bytes are not a container (fewer than 24 bytes).
Json unpack_container(const Bytes &container);
Bytes pack_container(const Json &description);

bool is_calibration_blob(const Bytes &blob);
Json unpack_calibration(const Bytes &blob);
Bytes pack_calibration(const Json &description);

// Either kind, by the "kind" key (pack) or the blob's magic (unpack).
Json unpack_any(const Bytes &blob);
Bytes pack_any(const Json &description);

uint32_t crc32(const uint8_t *data, size_t size);
// Checksum of the container bytes in form A (every whole word but the checksum word) or B (the whole
// words of the records).
uint32_t container_checksum(const Bytes &container, char form);

}  // namespace ozcmc
