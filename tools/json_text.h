// JSON text for people: objects one key per line, arrays of plain values (a table row, a list of
// numbers) on one line, so that a lens-shading table reads as a grid.
#pragma once

#include <string>

#include "codec.h"

namespace ozcmc {

std::string to_readable_json(const Json &value);

// The same tree as indented "key: value" lines, arrays of plain values on one line.
std::string to_text(const Json &value);

}  // namespace ozcmc
