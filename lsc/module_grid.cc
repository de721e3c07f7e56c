// Module shading grid copy and flip: fixed-point module samples to float gains, mirrored into the
// characterization's orientation.
#include "lsc/module_grid.h"

#include <cstddef>

namespace oz {
namespace {

template <class Sample, class Scale>
void copy_and_flip(const Sample *const source_grids[4], uint32_t flip_mode, float *const dest_grids[4],
                   uint8_t grid_width, uint8_t grid_height, Scale scale) {
    if (grid_width == 0 || grid_height == 0 || flip_mode > 3) return;
    const bool mirror_columns = flip_mode == 1 || flip_mode == 3;
    const bool mirror_rows = flip_mode == 2 || flip_mode == 3;
    const float divisor = float(scale);
    for (int c = 0; c < 4; ++c) {
        const Sample *src = source_grids[c];
        float *dst = dest_grids[c];
        for (size_t r = 0; r < grid_height; ++r) {
            const size_t dr = mirror_rows ? grid_height - 1 - r : r;
            for (size_t q = 0; q < grid_width; ++q) {
                const size_t dq = mirror_columns ? grid_width - 1 - q : q;
                // Gain = 1 + s / 2^fraction_bits: exact conversion, one division, one addition.
                dst[dr * grid_width + dq] = float(src[r * grid_width + q]) / divisor + 1.0f;
            }
        }
    }
}

}  // namespace

void copy_and_flip_nvm_data(const uint8_t *const source_grids[4], uint32_t flip_mode,
                            float *const dest_grids[4], uint8_t grid_width, uint8_t grid_height,
                            int32_t scale) {
    copy_and_flip(source_grids, flip_mode, dest_grids, grid_width, grid_height, scale);
}

void copy_and_flip_nvm_data_16(const uint16_t *const source_grids[4], uint32_t flip_mode,
                               float *const dest_grids[4], uint8_t grid_width, uint8_t grid_height,
                               uint32_t scale) {
    copy_and_flip(source_grids, flip_mode, dest_grids, grid_width, grid_height, scale);
}

}  // namespace oz
