// Polynomial upscaling of module shading tables: each result compared bit for bit with the composition
// of the exported kernels (copy and flip, fit, evaluation, normalisation from its definition), the valid
// circle on the module grid, and every input that gives null, each without a leak.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "common/faultsim.h"
#include "lsc/module_grid.h"
#include "lsc/upscale_polynom.h"
#include "oz_linalg.h"
#include "oz_lsc.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

struct TablesDeleter {
    void operator()(upscaled_lsc_tables *t) const { deinit_computed_upscale_lsc_tables(t); }
};
using Tables = std::unique_ptr<upscaled_lsc_tables, TablesDeleter>;

// Module table i converted and flipped into four float grids, through the grid conversion.
std::vector<float> module_grids(nvm_data *nvm, int i, uint32_t flip) {
    const int cells = nvm->lsc_grid_width * nvm->lsc_grid_height;
    std::vector<float> g(4 * size_t(cells));
    float *const dst[4] = {&g[0], &g[cells], &g[2 * cells], &g[3 * cells]};
    const nvm_lsc_table &t = nvm->lsc_tables[i];
    if (t.fraction_bits > 8) {
        const uint16_t *const src[4] = {static_cast<uint16_t *>(t.channel_grids[0]), static_cast<uint16_t *>(t.channel_grids[1]),
                                        static_cast<uint16_t *>(t.channel_grids[2]), static_cast<uint16_t *>(t.channel_grids[3])};
        copy_and_flip_nvm_data_16(src, flip, dst, nvm->lsc_grid_width, nvm->lsc_grid_height, 1u << t.fraction_bits);
    } else {
        const uint8_t *const src[4] = {static_cast<uint8_t *>(t.channel_grids[0]), static_cast<uint8_t *>(t.channel_grids[1]),
                                       static_cast<uint8_t *>(t.channel_grids[2]), static_cast<uint8_t *>(t.channel_grids[3])};
        copy_and_flip_nvm_data(src, flip, dst, nvm->lsc_grid_width, nvm->lsc_grid_height, 1 << t.fraction_bits);
    }
    return g;
}

// The expected block of table i: kernels composed by hand, then the normalisation's definition.
std::vector<float> expected_block(nvm_data *nvm, int i, uint32_t flip, int ow, int oh, bool margins) {
    const int w = nvm->lsc_grid_width, h = nvm->lsc_grid_height, cells = w * h;
    std::vector<float> design(size_t(cells) * 15), transposed(design.size()), lu(225);
    std::vector<uint32_t> perm(15);
    if (margins)
        EXPECT_EQ(lu_decomposition_lsc(design.data(), transposed.data(), lu.data(), perm.data(), w, h, 15, 2, 2), 0u);
    else
        EXPECT_EQ(lu_decomposition(design.data(), transposed.data(), lu.data(), perm.data(), w, h, 15), 0u);
    std::vector<float> grids = module_grids(nvm, i, flip);
    const size_t P = size_t(ow) * oh;
    std::vector<float> block(4 * P);
    const float *in[4] = {&grids[0], &grids[cells], &grids[2 * cells], &grids[3 * cells]};
    float *out[4] = {&block[0], &block[P], &block[2 * P], &block[3 * P]};
    EXPECT_EQ(lsc_polynomial_upscale_float(transposed.data(), lu.data(), perm.data(), in, out, w, h, ow, oh, 15, margins ? 2 : 0,
                                           margins ? 2 : 0, margins ? 1 : 0),
              0u);
    for (int p = 0; p < 4; ++p) EXPECT_TRUE(reference_normalise(out[p], P));
    return block;
}

// Every plane holds its minimum exactly 1.0 and nothing below it.
void expect_normalised(const float *block, size_t P) {
    for (int p = 0; p < 4; ++p) {
        float m = block[p * P];
        for (size_t i = 0; i < P; ++i) m = std::fmin(m, block[p * P + i]);
        EXPECT_EQ(m, 1.0f) << "plane " << p;
    }
}

TEST(Upscale, PolynomialIsTheCompositionOfTheKernels) {
    ModuleCalibration cal(17, 13);
    cal.smooth_table(8, 0).smooth_table(9, 1).smooth_table(16, 2).smooth_table(6, 3);
    nvm_data *nvm = cal.get();
    for (uint8_t margins : {0, 1, 7}) {
        for (uint32_t flip : {0u, 1u, 2u, 3u}) {
            Tables t(compute_upscaled_lsc_tables_polynom4th(64, 48, nvm, flip, margins));
            ASSERT_NE(t, nullptr) << "margins " << int(margins) << " flip " << flip;
            ASSERT_EQ(t->table_count, 4);
            for (int i = 0; i < 4; ++i) {
                const std::vector<float> e = expected_block(nvm, i, flip, 64, 48, margins != 0);
                EXPECT_TRUE(same_bits(t->tables[i], e.data(), e.size())) << "table " << i << " flip " << flip;
                expect_normalised(t->tables[i], 64 * 48);
            }
        }
    }
}

TEST(Upscale, EmptyTableCountStillFits) {
    ModuleCalibration cal(17, 13);
    Tables t(compute_upscaled_lsc_tables_polynom4th(64, 48, cal.get(), 0, 0));
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->table_count, 0);
    EXPECT_NE(t->tables, nullptr);
    deinit_computed_upscale_lsc_tables(nullptr);  // does nothing
}

// Every refusal returns null and leaves no block behind.
TEST(Upscale, RefusalsReturnNullWithoutLeaks) {
    struct Case {
        const char *name;
        uint16_t ow, oh;
        std::function<void(ModuleCalibration &, nvm_data *&)> defect;
        uint32_t flip = 0;
    };
    const std::vector<Case> cases = {
        {"output width 0", 0, 48, [](ModuleCalibration &, nvm_data *&) {}},
        {"output height 0", 64, 0, [](ModuleCalibration &, nvm_data *&) {}},
        {"output width 1", 1, 48, [](ModuleCalibration &, nvm_data *&) {}},
        {"output height 1", 64, 1, [](ModuleCalibration &, nvm_data *&) {}},
        {"null calibration", 64, 48, [](ModuleCalibration &, nvm_data *&n) { n = nullptr; }},
        {"grid width 0", 64, 48, [](ModuleCalibration &, nvm_data *&n) { n->lsc_grid_width = 0; }},
        {"grid height 0", 64, 48, [](ModuleCalibration &, nvm_data *&n) { n->lsc_grid_height = 0; }},
        {"null table array", 64, 48, [](ModuleCalibration &, nvm_data *&n) { n->lsc_tables = nullptr; }},
        {"fraction bits 32", 64, 48, [](ModuleCalibration &c, nvm_data *&) { c.entries()[2].fraction_bits = 32; }},
        {"fraction bits 255", 64, 48, [](ModuleCalibration &c, nvm_data *&) { c.entries()[4].fraction_bits = 255; }},
        {"null channel grid", 64, 48, [](ModuleCalibration &c, nvm_data *&) { c.entries()[3].channel_grids[1] = nullptr; }},
        {"unknown flip mode", 64, 48, [](ModuleCalibration &, nvm_data *&) {}, 4},
    };
    for (const Case &k : cases) {
        ModuleCalibration cal(17, 13);
        for (int i = 0; i < 5; ++i) cal.smooth_table(i % 2 ? 10 : 8, i);
        nvm_data *nvm = cal.get();
        k.defect(cal, nvm);
        const int64_t live = faultsim::live_blocks();
        for (uint8_t margins : {0, 1}) {
            EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th(k.ow, k.oh, nvm, k.flip, margins), nullptr) << k.name;
            EXPECT_EQ(faultsim::live_blocks(), live) << k.name;
        }
    }
}

// Singular fits make every evaluated value infinite or NaN; the minimum test turns that into null, not
// a crash. (A surface of zeros, from an unknown flip mode, is among the refusals above.)
TEST(Upscale, SingularFitsGiveNull) {
    // Margins of 2 on a 5 x 5 grid leave one interior cell for 15 terms.
    ModuleCalibration small(5, 5);
    small.smooth_table(8, 0);
    EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th(16, 16, small.get(), 0, 1), nullptr);
    // A 2 x 2 grid has 4 cells for 15 terms.
    ModuleCalibration tiny(2, 2);
    tiny.table(8, [](int, int, int) { return 0; });
    EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th(8, 8, tiny.get(), 0, 0), nullptr);
}

// ---- Valid area ----

std::vector<uint8_t> record2_structure(uint16_t frame_width, uint16_t frame_height, uint16_t cfa) {
    std::vector<uint8_t> r(36, 0);
    r[8] = uint8_t(frame_width), r[9] = uint8_t(frame_width >> 8);
    r[10] = uint8_t(frame_height), r[11] = uint8_t(frame_height >> 8);
    r[14] = uint8_t(cfa), r[15] = uint8_t(cfa >> 8);
    return r;
}

std::vector<uint8_t> record32_copy(uint16_t cx, uint16_t cy, uint32_t radius, uint32_t size = 32) {
    std::vector<uint8_t> r(size < 32 ? 32 : size, 0);
    for (int i = 0; i < 4; ++i) r[i] = uint8_t(size >> (8 * i));
    r[4] = 100, r[6] = 32;
    r[24] = uint8_t(cx), r[25] = uint8_t(cx >> 8);
    r[26] = uint8_t(cy), r[27] = uint8_t(cy >> 8);
    for (int i = 0; i < 4; ++i) r[28 + i] = uint8_t(radius >> (8 * i));
    return r;
}

struct Characterization {
    std::vector<uint8_t> rec2, rec32;
    cmc_data cmc{};
    Characterization(uint16_t fw, uint16_t fh, uint16_t cx, uint16_t cy, uint32_t radius)
        : rec2(record2_structure(fw, fh, 0)), rec32(record32_copy(cx, cy, radius)) {
        cmc.slot[CMC_SLOT_RECORD2] = rec2.data();
        cmc.slot[CMC_SLOT_VALID_AREA] = rec32.data();
    }
};

// The circle from its definition: centre rounded up, radius scaled by the frame width, all in float.
std::vector<uint32_t> expected_mask(int fw, int fh, int cx, int cy, uint32_t radius, int w, int h) {
    const float fcx = std::ceil(float(cx) / float(fw) * float(w)), fcy = std::ceil(float(cy) / float(fh) * float(h));
    const float r = float(radius) / float(fw) * float(w);
    std::vector<uint32_t> m(size_t(w) * h);
    for (int y = 1; y <= h; ++y)
        for (int x = 1; x <= w; ++x) {
            const float dx = float(x) - fcx, dy = float(y) - fcy;
            m[(y - 1) * w + x - 1] = dx * dx + dy * dy <= r * r;
        }
    return m;
}

TEST(UpscaleValidArea, CircleOnTheModuleGrid) {
    const struct {
        uint32_t radius;
        uint32_t count;
    } cases[] = {{2500, 221}, {1000, 61}, {0, 1}};
    for (const auto &k : cases) {
        Characterization ch(4000, 3000, 2000, 1500, k.radius);
        ValidCircle circle;
        ASSERT_TRUE(read_valid_circle(&ch.cmc, &circle));
        std::vector<uint32_t> mask(221, 7);
        EXPECT_EQ(mark_valid_cells(circle, 17, 13, mask.data()), k.count) << k.radius;
        EXPECT_EQ(mask, expected_mask(4000, 3000, 2000, 1500, k.radius, 17, 13)) << k.radius;
        if (k.radius == 0) {
            EXPECT_EQ(mask[(7 - 1) * 17 + (9 - 1)], 1u);  // cell (9, 7) only
        }
    }
}

TEST(UpscaleValidArea, IsTheCompositionOfTheKernels) {
    ModuleCalibration cal(17, 13);
    cal.smooth_table(8, 0).smooth_table(12, 1).smooth_table(7, 2);
    nvm_data *nvm = cal.get();
    for (uint32_t radius : {2500u, 1000u}) {
        Characterization ch(4000, 3000, 2100, 1400, radius);
        const std::vector<uint32_t> mask = expected_mask(4000, 3000, 2100, 1400, radius, 17, 13);
        uint32_t count = 0;
        for (uint32_t f : mask) count += f;
        std::vector<double> design(221 * 15), transposed(221 * 15), lu(225);
        std::vector<uint32_t> perm(15);
        ASSERT_EQ(lu_decomposition_lsc_valid_area(design.data(), transposed.data(), lu.data(), perm.data(), 17, 13, 15,
                                                  count, mask.data()),
                  0u);
        for (uint32_t flip : {0u, 3u}) {
            Tables t(compute_upscaled_lsc_tables_polynom4th_valid_area(64, 48, nvm, flip, &ch.cmc));
            ASSERT_NE(t, nullptr) << radius;
            ASSERT_EQ(t->table_count, 3);
            for (int i = 0; i < 3; ++i) {
                std::vector<float> grids = module_grids(nvm, i, flip), compaction(221), block(4 * 3072);
                const float *in[4] = {&grids[0], &grids[221], &grids[442], &grids[663]};
                float *out[4] = {&block[0], &block[3072], &block[6144], &block[9216]};
                ASSERT_EQ(lsc_polynomial_upscale_float_valid_area(transposed.data(), lu.data(), perm.data(), in, out, 17, 13,
                                                                  64, 48, 15, count, compaction.data(), mask.data()),
                          0u);
                for (float *p : out) ASSERT_TRUE(reference_normalise(p, 3072));
                EXPECT_TRUE(same_bits(t->tables[i], block.data(), block.size())) << "radius " << radius << " table " << i;
                expect_normalised(t->tables[i], 3072);
            }
        }
    }
}

// Record 2 or record 32 missing, a zero frame size, a record 32 too short for the circle, or a circle
// with fewer cells than terms (singular fit): null, and nothing left allocated.
TEST(UpscaleValidArea, MissingOrDegenerateCircleGivesNull) {
    ModuleCalibration cal(17, 13);
    cal.smooth_table(8, 0);
    nvm_data *nvm = cal.get();
    struct Case {
        const char *name;
        std::function<void(Characterization &)> defect;
    };
    const std::vector<Case> cases = {
        {"no record 2", [](Characterization &c) { c.cmc.slot[CMC_SLOT_RECORD2] = nullptr; }},
        {"no record 32", [](Characterization &c) { c.cmc.slot[CMC_SLOT_VALID_AREA] = nullptr; }},
        {"frame width 0", [](Characterization &c) { c.rec2[8] = c.rec2[9] = 0; }},
        {"frame height 0", [](Characterization &c) { c.rec2[10] = c.rec2[11] = 0; }},
        {"record 32 of 30 bytes", [](Characterization &c) { c.rec32[0] = 30; }},
        {"radius 0", [](Characterization &c) { c.rec32[28] = c.rec32[29] = 0; }},
        {"centre outside the grid", [](Characterization &c) { c.rec32[24] = 0xFF, c.rec32[25] = 0xFF, c.rec32[29] = 0; }},
    };
    for (const Case &k : cases) {
        Characterization ch(4000, 3000, 2000, 1500, 1000);
        k.defect(ch);
        const int64_t live = faultsim::live_blocks();
        EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th_valid_area(64, 48, nvm, 0, &ch.cmc), nullptr) << k.name;
        EXPECT_EQ(faultsim::live_blocks(), live) << k.name;
    }
    Characterization ch(4000, 3000, 2000, 1500, 1000);
    EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th_valid_area(64, 48, nvm, 0, nullptr), nullptr);
    EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th_valid_area(64, 1, nvm, 0, &ch.cmc), nullptr);
    EXPECT_EQ(compute_upscaled_lsc_tables_polynom4th_valid_area(64, 48, nullptr, 0, &ch.cmc), nullptr);
}

}  // namespace
}  // namespace oz::test
