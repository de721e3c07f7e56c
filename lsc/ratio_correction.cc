// Ratio-based sample-to-sample correction: for each light source, each used cell of the 4 x 4 colour
// layout gets ratio sample times the module gain of the cell's colour, truncated to 16 bits.
#include "lsc/ratio_correction.h"

#include <cstring>

#include "common/status.h"

namespace oz {
namespace {

// Colours of the layout cells. kG (the 4 x 4 layouts' green) reads the averaged Gr/Gb plane; kX
// (infrared) and kNone have no module gain.
enum Colour : int8_t { kGr, kR, kB, kGb, kG, kX, kNone };

// Module plane of Gr, R, B and Gb for each module_bayer_order (planes in raster order of the module's
// 2 x 2 cell).
constexpr int8_t kBayerPlanes[4][4] = {
    // Gr R  B  Gb
    {0, 1, 2, 3},  // 0 GRBG: Gr R / B Gb
    {1, 0, 3, 2},  // 1 RGGB: R Gr / Gb B
    {2, 3, 0, 1},  // 2 BGGR: B Gb / Gr R
    {3, 2, 1, 0},  // 3 GBRG: Gb B / R Gr
};

struct Layout {
    uint32_t cfa_pattern;
    uint8_t rows, cols;      // the used part of the 4 x 4 table, from the top left
    Colour cells[4][4];      // colour of each used cell; kNone outside
};

constexpr Colour Gr = kGr, R = kR, B = kB, Gb = kGb, G = kG, X = kX, _ = kNone;

constexpr Layout kLayouts[] = {
    {0, 2, 2, {{Gr, R, _, _}, {B, Gb, _, _}, {_, _, _, _}, {_, _, _, _}}},
    {1, 2, 2, {{R, Gr, _, _}, {Gb, B, _, _}, {_, _, _, _}, {_, _, _, _}}},
    {2, 2, 2, {{B, Gb, _, _}, {Gr, R, _, _}, {_, _, _, _}, {_, _, _, _}}},
    {3, 2, 2, {{Gb, B, _, _}, {R, Gr, _, _}, {_, _, _, _}, {_, _, _, _}}},
    {128, 2, 4, {{Gr, Gr, R, R}, {B, B, Gb, Gb}, {_, _, _, _}, {_, _, _, _}}},
    {129, 2, 4, {{R, R, Gr, Gr}, {Gb, Gb, B, B}, {_, _, _, _}, {_, _, _, _}}},
    {130, 2, 4, {{B, B, Gb, Gb}, {Gr, Gr, R, R}, {_, _, _, _}, {_, _, _, _}}},
    {131, 2, 4, {{Gb, Gb, B, B}, {R, R, Gr, Gr}, {_, _, _, _}, {_, _, _, _}}},
    {256, 4, 4, {{B, G, R, G}, {G, X, G, X}, {R, G, B, G}, {G, X, G, X}}},
    {257, 4, 4, {{G, R, G, B}, {X, G, X, G}, {G, B, G, R}, {X, G, X, G}}},
    {258, 4, 4, {{R, G, B, G}, {G, X, G, X}, {B, G, R, G}, {G, X, G, X}}},
    {259, 4, 4, {{G, B, G, R}, {X, G, X, G}, {G, R, G, B}, {X, G, X, G}}},
    {260, 4, 4, {{G, X, G, X}, {R, G, B, G}, {G, X, G, X}, {B, G, R, G}}},
    {261, 4, 4, {{X, G, X, G}, {G, B, G, R}, {X, G, X, G}, {G, R, G, B}}},
    {262, 4, 4, {{G, X, G, X}, {B, G, R, G}, {G, X, G, X}, {R, G, B, G}}},
    {263, 4, 4, {{X, G, X, G}, {G, R, G, B}, {X, G, X, G}, {G, B, G, R}}},
};

const Layout *find_layout(uint32_t cfa_pattern) {
    if (cfa_pattern > 263) return nullptr;
    for (const Layout &l : kLayouts)
        if (l.cfa_pattern == cfa_pattern) return &l;
    return nullptr;
}

}  // namespace

// Checks that are the same for every entry come first, so that an unsupported order or layout, or ratio
// tables of another grid than the lens-shading tables, fail before anything changes. The per-entry
// checks (the ratio entry exists, its module light source exists) fail before entry e changes, with the
// entries before it corrected.
//
// Open points decided here:
//  - The ratio data must have an entry for every lens-shading entry; entry e without one returns 8.
//  - With samples to write (width * height > 0) the ratio tables must have the lens-shading grid
//    (equal width and height), else 8: every ratio table is then read within its width * height
//    samples. A module block is taken to hold four planes of width * height gains, which is what the
//    upscaling functions build for that grid (the structure carries no size to check against).
//  - A product is saturated to 0 .. 65535 (see ratio_product_c).
uint32_t ratio_correction(cmc_lens_shading4x4 *lens_shading, const cmc_lens_shading_ratio *ratio,
                          upscaled_lsc_tables *module_tables, uint32_t cfa_pattern, uint32_t module_bayer_order,
                          const gain_rows &rows) {
    if (ratio == nullptr || module_tables == nullptr) return kStatusInvalidArgs;
    if (lens_shading == nullptr) return kStatusInvalidArgs;
    if (lens_shading->num_light_sources == 0) return kStatusDone;
    const uint32_t n = uint32_t(lens_shading->width) * lens_shading->height;

    if (module_bayer_order > 3) return kStatusUnusable;
    const Layout *layout = find_layout(cfa_pattern);
    if (layout == nullptr) return kStatusUnusable;
    if (lens_shading->light_sources == nullptr) return kStatusUnusable;
    if (n > 0 && (ratio->width != lens_shading->width || ratio->height != lens_shading->height))
        return kStatusUnusable;
    const int8_t *bayer = kBayerPlanes[module_bayer_order];
    const bool averaged_green = layout->rows == 4;

    for (uint32_t e = 0; e < lens_shading->num_light_sources; ++e) {
        if (e >= ratio->num_light_sources || ratio->light_sources == nullptr) return kStatusUnusable;
        const cmc_lens_shading_ratio_light_source &src = ratio->light_sources[e];
        const uint32_t k = src.nvm_source_index;
        if (k == 0 || k - 1 >= module_tables->table_count || module_tables->tables == nullptr)
            return kStatusUnusable;

        float *block = module_tables->tables[k - 1];
        float *plane[4] = {};
        if (block != nullptr)
            for (int p = 0; p < 4; ++p) plane[p] = block + size_t(p) * n;
        float *colour_plane[7] = {};
        colour_plane[kGr] = plane[bayer[kGr]];
        colour_plane[kR] = plane[bayer[kR]];
        colour_plane[kB] = plane[bayer[kB]];
        colour_plane[kGb] = plane[bayer[kGb]];
        colour_plane[kG] = colour_plane[kGr];  // equal to Gb once averaged

        if (averaged_green && colour_plane[kGr] != nullptr && colour_plane[kGb] != nullptr && n > 0)
            rows.average_greens(colour_plane[kGr], colour_plane[kGb], n);

        cmc_lens_shading_light_source &dst = lens_shading->light_sources[e];
        dst.light_source = src.light_source;
        std::memcpy(dst.params, src.params, sizeof dst.params);
        dst.fraction_bits = src.fraction_bits;

        for (int r = 0; r < layout->rows; ++r) {
            for (int c = 0; c < layout->cols; ++c) {
                uint16_t *d = dst.tables[r][c];
                const uint16_t *s = src.tables[r][c];
                const float *g = colour_plane[layout->cells[r][c]];
                if (d != nullptr && s != nullptr && g != nullptr && n > 0) rows.ratio_product(s, g, d, n);
            }
        }
    }
    return kStatusDone;
}

}  // namespace oz

extern "C" {

OZ_API uint32_t ratio_based_sample_to_sample_correction(cmc_lens_shading4x4 *lens_shading,
                                                        const cmc_lens_shading_ratio *ratio,
                                                        upscaled_lsc_tables *module_tables, uint32_t cfa_pattern,
                                                        uint32_t module_bayer_order) {
    return oz::ratio_correction(lens_shading, ratio, module_tables, cfa_pattern, module_bayer_order,
                                oz::best_gain_rows());
}

}  // extern "C"
