// Polynomial upscaling of module shading tables: fit a 4th-order surface to every channel grid of every
// module table, evaluate it on the characterization's grid, and normalise each plane to a minimum gain
// of 1. The valid-area variant fits, in double, only the cells inside the characterization's circle.
#include "lsc/upscale_polynom.h"

#include <cmath>
#include <memory>

#include "common/byte_reader.h"
#include "common/heap.h"
#include "common/status.h"
#include "linalg/polyfit.h"
#include "lsc/module_grid.h"

namespace oz {
namespace {

struct TablesDeleter {
    void operator()(upscaled_lsc_tables *t) const { deinit_computed_upscale_lsc_tables(t); }
};
// The partly built result: released with deinit_computed_upscale_lsc_tables on every early return.
using TablesOwner = std::unique_ptr<upscaled_lsc_tables, TablesDeleter>;

// Margins of the interior fit: two rows at the top and bottom, two columns at the left and right.
constexpr uint16_t kMargin = 2;

// Fit and evaluation buffers shared by both variants; T is the fit's precision.
template <class T>
struct Workspace {
    HeapArray<T> design, transposed, lu;
    HeapArray<uint32_t> permutation;
    HeapArray<float> grid_storage[4];
    float *grids[4] = {};

    bool allocate(size_t cells) {
        size_t terms;
        if (!checked_mul(cells, kPolyTerms, &terms)) return false;
        design = heap_array_zeroed<T>(terms);
        transposed = heap_array_zeroed<T>(terms);
        lu = heap_array_zeroed<T>(size_t(kPolyTerms) * kPolyTerms);
        permutation = heap_array_zeroed<uint32_t>(kPolyTerms);
        bool ok = design && transposed && lu && permutation;
        for (int c = 0; c < 4; ++c) {
            grid_storage[c] = heap_array_zeroed<float>(cells);
            grids[c] = grid_storage[c].get();
            ok = ok && grids[c] != nullptr;
        }
        return ok;
    }
};

// The result with its tables array and every block (4 planes of plane_size floats per module table),
// or null. The blocks are allocated before any working buffer of the call: the working buffers, freed
// when the call returns, then lie above the result in the heap, and the result reuses the same memory
// call after call instead of the allocator handing the top of its heap back to the system and the next
// call faulting those pages in again. Every block is stored as soon as it exists, so a failure
// releases it with the result.
TablesOwner allocate_result(uint8_t table_count, size_t plane_size) {
    TablesOwner result(heap_new_zeroed<upscaled_lsc_tables>().release());
    size_t block_size;
    if (!result || !checked_mul(plane_size, 4, &block_size)) return nullptr;
    // At least one element, so that an empty array is still a valid allocation.
    HeapArray<float *> tables = heap_array_zeroed<float *>(table_count == 0 ? 1 : table_count);
    if (!tables) return nullptr;
    result->tables = tables.release();
    result->table_count = table_count;
    for (uint32_t i = 0; i < table_count; ++i) {
        result->tables[i] = heap_array<float>(block_size).release();
        if (result->tables[i] == nullptr) return nullptr;
    }
    return result;
}

// Converts module table `entry` into the four float grids. A table whose samples cannot be converted
// safely is refused: fraction_bits of 32 or more (2^fraction_bits does not fit the 32-bit scale) or a
// missing channel grid.
bool convert_module_table(const nvm_lsc_table &entry, uint32_t flip_mode, float *const grids[4],
                          uint8_t grid_width, uint8_t grid_height) {
    if (entry.fraction_bits >= 32) return false;
    for (const void *grid : entry.channel_grids)
        if (grid == nullptr) return false;
    if (entry.fraction_bits > 8) {
        const uint16_t *const src[4] = {
            static_cast<const uint16_t *>(entry.channel_grids[0]), static_cast<const uint16_t *>(entry.channel_grids[1]),
            static_cast<const uint16_t *>(entry.channel_grids[2]), static_cast<const uint16_t *>(entry.channel_grids[3])};
        copy_and_flip_nvm_data_16(src, flip_mode, grids, grid_width, grid_height, uint32_t(1) << entry.fraction_bits);
    } else {
        const uint8_t *const src[4] = {
            static_cast<const uint8_t *>(entry.channel_grids[0]), static_cast<const uint8_t *>(entry.channel_grids[1]),
            static_cast<const uint8_t *>(entry.channel_grids[2]), static_cast<const uint8_t *>(entry.channel_grids[3])};
        copy_and_flip_nvm_data(src, flip_mode, grids, grid_width, grid_height, int32_t(1) << entry.fraction_bits);
    }
    return true;
}

// Scales each plane to a minimum of 1. A plane whose minimum is not greater than 0 (zero, negative or
// NaN, as a fitted surface that reaches zero or a singular fit gives) fails the whole result.
bool normalise_planes(float *const planes[4], size_t plane_size, const gain_rows &rows) {
    for (int p = 0; p < 4; ++p) {
        const float m = rows.plane_minimum(planes[p], plane_size);
        if (!(m > 0.0f)) return false;
        rows.normalise(planes[p], plane_size, m);
    }
    return true;
}

// Fills every block of `result`: convert module table i, evaluate the four surfaces into its block and
// normalise its planes.
template <class Evaluate>
bool build_tables(upscaled_lsc_tables *result, const nvm_data *nvm, uint32_t flip_mode, float *const grids[4],
                  size_t plane_size, const gain_rows &rows, Evaluate evaluate) {
    if (result->table_count != 0 && nvm->lsc_tables == nullptr) return false;
    for (uint32_t i = 0; i < result->table_count; ++i) {
        if (!convert_module_table(nvm->lsc_tables[i], flip_mode, grids, nvm->lsc_grid_width, nvm->lsc_grid_height))
            return false;
        float *const block = result->tables[i];
        float *const planes[4] = {block, block + plane_size, block + 2 * plane_size, block + 3 * plane_size};
        if (evaluate(planes) != kStatusDone) return false;
        if (!normalise_planes(planes, plane_size, rows)) return false;
    }
    return true;
}

// An output of one row or one column is refused: the evaluation writes nothing for it, so the blocks
// would hold undefined values. A zero size, a missing calibration or an empty module grid as well.
bool upscaling_inputs_usable(uint16_t output_width, uint16_t output_height, const nvm_data *nvm) {
    return output_width >= 2 && output_height >= 2 && nvm != nullptr && nvm->lsc_grid_width != 0 &&
           nvm->lsc_grid_height != 0;
}

}  // namespace

upscaled_lsc_tables *upscale_polynom4th(uint16_t output_width, uint16_t output_height, const nvm_data *nvm,
                                        uint32_t flip_mode, uint8_t use_margins, const poly_rows &poly,
                                        const gain_rows &gain) {
    if (!upscaling_inputs_usable(output_width, output_height, nvm)) return nullptr;
    const uint8_t grid_width = nvm->lsc_grid_width, grid_height = nvm->lsc_grid_height;
    const size_t cells = size_t(grid_width) * grid_height;
    const size_t plane_size = size_t(output_width) * output_height;

    TablesOwner result = allocate_result(nvm->lsc_table_count, plane_size);
    if (!result) return nullptr;
    Workspace<float> ws;
    if (!ws.allocate(cells)) return nullptr;

    const bool margins = use_margins != 0;
    const FitMargins fit_margins{kMargin, kMargin};
    if (fit_polynomial(ws.design.get(), ws.transposed.get(), ws.lu.get(), ws.permutation.get(), grid_width,
                       grid_height, kPolyTerms, margins ? &fit_margins : nullptr, poly) != kStatusDone)
        return nullptr;

    const bool built = build_tables(result.get(), nvm, flip_mode, ws.grids, plane_size, gain, [&](float *const planes[4]) {
        return upscale_table(ws.design.get(), ws.lu.get(), ws.grids, planes, grid_width, grid_height, output_width,
                             output_height, margins ? &fit_margins : nullptr, poly);
    });
    if (!built) return nullptr;
    return result.release();
}

bool read_valid_circle(const cmc_data *cmc, ValidCircle *circle) {
    const uint8_t *record2 = static_cast<const uint8_t *>(cmc->slot[CMC_SLOT_RECORD2]);
    const uint8_t *record32 = static_cast<const uint8_t *>(cmc->slot[CMC_SLOT_VALID_AREA]);
    if (record2 == nullptr || record32 == nullptr) return false;

    // Record-2 structure (36 bytes, the record's leading bytes):
    //   off 8  u16 frame width
    //   off 10 u16 frame height
    ByteReader r2(record2, 36);
    circle->frame_width = r2.u16(8);
    circle->frame_height = r2.u16(10);

    // Record 32, kept whole (its header's size is the copy's length):
    //   off 0  u32 size
    //   off 24 u16 centre x (frame units)
    //   off 26 u16 centre y (frame units)
    //   off 28 u32 radius (horizontal frame units)
    ByteReader header(record32, 8);
    ByteReader r32(record32, header.u32(0));
    circle->centre_x = r32.u16(24);
    circle->centre_y = r32.u16(26);
    circle->radius = r32.u32(28);

    if (!r2.ok() || !header.ok() || !r32.ok()) return false;
    // The frame size divides the centre and the radius: a zero size has no circle.
    return circle->frame_width != 0 && circle->frame_height != 0;
}

// In float: cx = ceil((centre_x / frame_width) * W), cy = ceil((centre_y / frame_height) * H),
// R = (radius / frame_width) * W; cell (x, y), 1-based like the polynomial's coordinates, is inside when
// dx*dx + dy*dy <= R*R.
uint32_t mark_valid_cells(const ValidCircle &circle, uint8_t grid_width, uint8_t grid_height, uint32_t *mask) {
    const float w = float(grid_width), h = float(grid_height);
    const float cx = std::ceil((float(circle.centre_x) / float(circle.frame_width)) * w);
    const float cy = std::ceil((float(circle.centre_y) / float(circle.frame_height)) * h);
    const float r = (float(circle.radius) / float(circle.frame_width)) * w;
    const float r2 = r * r;
    uint32_t count = 0;
    for (uint32_t y = 1; y <= grid_height; ++y) {
        for (uint32_t x = 1; x <= grid_width; ++x) {
            const float dy = float(y) - cy;
            const float dx = float(x) - cx;
            const float dx2 = dx * dx;
            const float dy2 = dy * dy;
            const uint32_t inside = dx2 + dy2 <= r2 ? 1 : 0;
            mask[(y - 1) * grid_width + (x - 1)] = inside;
            count += inside;
        }
    }
    return count;
}

upscaled_lsc_tables *upscale_polynom4th_valid_area(uint16_t output_width, uint16_t output_height,
                                                   const nvm_data *nvm, uint32_t flip_mode, const cmc_data *cmc,
                                                   const poly_rows &poly, const gain_rows &gain) {
    if (!upscaling_inputs_usable(output_width, output_height, nvm) || cmc == nullptr) return nullptr;
    // Record 2 or record 32 missing, or a zero frame size: no circle, so no result.
    ValidCircle circle;
    if (!read_valid_circle(cmc, &circle)) return nullptr;
    const uint8_t grid_width = nvm->lsc_grid_width, grid_height = nvm->lsc_grid_height;
    const size_t cells = size_t(grid_width) * grid_height;
    const size_t plane_size = size_t(output_width) * output_height;

    TablesOwner result = allocate_result(nvm->lsc_table_count, plane_size);
    if (!result) return nullptr;
    Workspace<double> ws;
    const bool ws_ok = ws.allocate(cells);
    // The right-hand sides read each plane through the list of valid cells (design row k is cell
    // valid_cells[k]) rather than through a compacted copy of the plane, so the compaction buffer holds
    // cell indices instead of samples: the same sums over the same cells in the same order.
    HeapArray<uint32_t> valid_cells = heap_array_zeroed<uint32_t>(cells);
    HeapArray<uint32_t> mask = heap_array_zeroed<uint32_t>(cells);
    if (!ws_ok || !valid_cells || !mask) return nullptr;

    const uint32_t valid_count = mark_valid_cells(circle, grid_width, grid_height, mask.get());
    if (fit_polynomial_valid_area(ws.design.get(), ws.transposed.get(), ws.lu.get(), ws.permutation.get(),
                                  grid_width, grid_height, kPolyTerms, valid_count, mask.get(), poly) != kStatusDone)
        return nullptr;
    uint32_t listed = 0;
    for (uint32_t k = 0; k < cells; ++k)
        if (mask[k] == 1) valid_cells[listed++] = k;

    const bool built = build_tables(result.get(), nvm, flip_mode, ws.grids, plane_size, gain, [&](float *const planes[4]) {
        return upscale_table_valid_area(ws.design.get(), ws.lu.get(), ws.grids, planes, grid_width, grid_height,
                                        output_width, output_height, valid_cells.get(), valid_count, poly);
    });
    if (!built) return nullptr;
    return result.release();
}

}  // namespace oz

extern "C" {

OZ_API upscaled_lsc_tables *compute_upscaled_lsc_tables_polynom4th(uint16_t output_width, uint16_t output_height,
                                                                   const nvm_data *nvm, uint32_t flip_mode,
                                                                   uint8_t use_margins) {
    return oz::upscale_polynom4th(output_width, output_height, nvm, flip_mode, use_margins, oz::best_poly_rows(),
                                  oz::best_gain_rows());
}

OZ_API upscaled_lsc_tables *compute_upscaled_lsc_tables_polynom4th_valid_area(uint16_t output_width,
                                                                              uint16_t output_height,
                                                                              const nvm_data *nvm,
                                                                              uint32_t flip_mode,
                                                                              const cmc_data *cmc) {
    return oz::upscale_polynom4th_valid_area(output_width, output_height, nvm, flip_mode, cmc, oz::best_poly_rows(),
                                             oz::best_gain_rows());
}

}  // extern "C"
