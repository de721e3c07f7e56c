// Polynomial upscaling of the module's shading tables to the characterization's grid (all cells, grid
// interior, or a circular valid area). The exported functions call these with the widest row tables;
// tests and benchmarks pass the tables they want.
#pragma once

#include <cstdint>

#include "linalg/poly_rows.h"
#include "lsc/gain_rows.h"
#include "oz_cmc_parser.h"
#include "oz_lsc.h"

namespace oz {

upscaled_lsc_tables *upscale_polynom4th(uint16_t output_width, uint16_t output_height, const nvm_data *nvm,
                                        uint32_t flip_mode, uint8_t use_margins, const poly_rows &poly,
                                        const gain_rows &gain);

upscaled_lsc_tables *upscale_polynom4th_valid_area(uint16_t output_width, uint16_t output_height,
                                                   const nvm_data *nvm, uint32_t flip_mode, const cmc_data *cmc,
                                                   const poly_rows &poly, const gain_rows &gain);

// The circle inside which the module's shading measurement is valid, in frame units (record 2's frame
// size, record 32's centre and radius).
struct ValidCircle {
    uint16_t frame_width, frame_height;
    uint16_t centre_x, centre_y;
    uint32_t radius;
};

// Reads the circle from the record-2 structure (slot 4) and the record-32 copy (slot 56). False when a
// slot is empty, a record is too short for its field, or the frame width or height is 0.
bool read_valid_circle(const cmc_data *cmc, ValidCircle *circle);

// Flags the cells of a grid_width x grid_height grid (row-major, 1 inside the circle, 0 outside) and
// returns the number of ones. The circle is scaled to the grid in float, with its centre rounded up.
uint32_t mark_valid_cells(const ValidCircle &circle, uint8_t grid_width, uint8_t grid_height, uint32_t *mask);

}  // namespace oz
