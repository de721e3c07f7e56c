// Module shading grids: conversion of the calibration's fixed-point grids to float gains in the
// orientation of the characterization data.
#pragma once

#include <cstdint>

namespace oz {

// Converts the four channel grids of one module shading table to gains and mirrors them by flip_mode:
//   0 copy, 1 left-right, 2 top-bottom, 3 both (180 degrees); any other value writes nothing.
// Sample s becomes (float)s / (float)scale + 1.0f (one exact conversion, one division, one addition, in
// single precision). Source grid c always lands in destination grid c. A zero width or height writes
// nothing. The grids are grid_width x grid_height, row-major; the caller owns every buffer and checks
// that the pointers are valid for that size.
void copy_and_flip_nvm_data(const uint8_t *const source_grids[4], uint32_t flip_mode,
                            float *const dest_grids[4], uint8_t grid_width, uint8_t grid_height,
                            int32_t scale);
void copy_and_flip_nvm_data_16(const uint16_t *const source_grids[4], uint32_t flip_mode,
                               float *const dest_grids[4], uint8_t grid_width, uint8_t grid_height,
                               uint32_t scale);

}  // namespace oz
