// Ratio-based sample-to-sample correction: which module plane every cell of every colour layout reads
// under every module Bayer order, which cells stay untouched, truncation and saturation of the products,
// the per-entry failures and what they leave corrected, and the argument checks.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "oz_lsc.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

// The layouts and Bayer orders as the colour-filter tables state them.
const struct {
    uint32_t value;
    const char *cells;
} kLayouts[] = {
    {0, "Gr R / B Gb"},
    {1, "R Gr / Gb B"},
    {2, "B Gb / Gr R"},
    {3, "Gb B / R Gr"},
    {128, "Gr Gr R R / B B Gb Gb"},
    {129, "R R Gr Gr / Gb Gb B B"},
    {130, "B B Gb Gb / Gr Gr R R"},
    {131, "Gb Gb B B / R R Gr Gr"},
    {256, "B G R G / G x G x / R G B G / G x G x"},
    {257, "G R G B / x G x G / G B G R / x G x G"},
    {258, "R G B G / G x G x / B G R G / G x G x"},
    {259, "G B G R / x G x G / G R G B / x G x G"},
    {260, "G x G x / R G B G / G x G x / B G R G"},
    {261, "x G x G / G B G R / x G x G / G R G B"},
    {262, "G x G x / B G R G / G x G x / R G B G"},
    {263, "x G x G / G R G B / x G x G / G B G R"},
};
const char *const kBayer[4] = {"Gr R B Gb", "R Gr Gb B", "B Gb Gr R", "Gb B R Gr"};

std::vector<std::vector<std::string>> parse_rows(const char *text) {
    std::vector<std::vector<std::string>> rows(1);
    std::istringstream in(text);
    std::string word;
    while (in >> word) {
        if (word == "/")
            rows.emplace_back();
        else
            rows.back().push_back(word);
    }
    return rows;
}

int plane_of(uint32_t bayer, const std::string &colour) {
    std::istringstream in(kBayer[bayer]);
    std::string word;
    for (int p = 0; in >> word; ++p)
        if (word == colour) return p;
    return -1;
}

uint16_t truncated(uint16_t s, float g) { return uint16_t(float(s) * g); }

constexpr uint16_t kW = 9, kH = 5;  // 45 samples: vector bodies and scalar tails
constexpr size_t kN = kW * kH;

// Gains that differ per plane and per sample, so a wrong plane or a shifted index shows.
float gain(int b, int p, size_t i) { return 1.0f + 0.25f * float(p) + 0.5f * float(b) + 0.0078125f * float(i); }

TEST(RatioCorrection, EveryLayoutWithEveryBayerOrder) {
    for (const auto &layout : kLayouts) {
        const auto rows = parse_rows(layout.cells);
        for (uint32_t bayer = 0; bayer < 4; ++bayer) {
            ShadingPair pair(2, kW, kH);
            pair.ratio_entry(1).nvm_source_index = 2;
            ModuleTables module(2, kN, gain);
            ASSERT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), layout.value, bayer), 0u);
            for (int e = 0; e < 2; ++e) {
                const auto &entry = pair.lens_entry(e);
                EXPECT_EQ(entry.light_source, 1000u + e);
                EXPECT_EQ(entry.fraction_bits, 10 + e);
                EXPECT_EQ(entry.params[3], 0.5f * float(e * 4 + 4));
                for (int r = 0; r < 4; ++r)
                    for (int c = 0; c < 4; ++c) {
                        const std::vector<uint16_t> &d = pair.lens_table(e, r, c);
                        const bool used = r < int(rows.size()) && c < int(rows[r].size());
                        const std::string colour = used ? rows[r][c] : "-";
                        for (size_t i = 0; i < kN; ++i) {
                            uint16_t want = ShadingPair::lens_value(e, r, c);
                            const uint16_t s = ShadingPair::ratio_value(e, r, c);
                            if (colour == "G") {
                                const float g = (gain(e, plane_of(bayer, "Gr"), i) + gain(e, plane_of(bayer, "Gb"), i)) * 0.5f;
                                want = truncated(s, g);
                            } else if (colour != "x" && colour != "-") {
                                want = truncated(s, gain(e, plane_of(bayer, colour), i));
                            }
                            ASSERT_EQ(d[i], want) << "layout " << layout.value << " bayer " << bayer << " entry " << e
                                                  << " cell " << r << "," << c << " (" << colour << ") sample " << i;
                        }
                        EXPECT_EQ(d[kN], ShadingPair::lens_value(e, r, c)) << "wrote past the table";
                    }
            }
            // The 4 x 4 layouts leave the module's two green planes averaged and equal.
            if (layout.value >= 256) {
                const int gr = plane_of(bayer, "Gr"), gb = plane_of(bayer, "Gb");
                EXPECT_TRUE(same_bits(module.plane(0, gr), module.plane(0, gb), kN));
                EXPECT_EQ(module.plane(1, gr)[3], (gain(1, gr, 3) + gain(1, gb, 3)) * 0.5f);
            } else {
                EXPECT_EQ(module.plane(0, plane_of(bayer, "Gr"))[0], gain(0, plane_of(bayer, "Gr"), 0));
            }
        }
    }
}

TEST(RatioCorrection, Layout1WithBayer0ReadsThePlanesTheTableNames) {
    ShadingPair pair(1, kW, kH);
    ModuleTables module(1, kN, [](int, int p, size_t) { return float(p + 2); });
    ASSERT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 1, 0), 0u);
    const int plane_for_cell[2][2] = {{1, 0}, {3, 2}};
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c)
            EXPECT_EQ(pair.lens_table(0, r, c)[0], ShadingPair::ratio_value(0, r, c) * (plane_for_cell[r][c] + 2));
}

// Truncation toward zero, never rounding; products saturate to 0 .. 65535 (NaN gives 0).
TEST(RatioCorrection, ProductsTruncateAndSaturate) {
    const struct {
        uint16_t ratio;
        float gain;
        uint16_t want;
    } cases[] = {
        {3, 0.5f, 1},
        {1024, 1.9999f, 2047},
        {65535, 1.0f, 65535},
        {65535, 1.5f, 65535},
        {40000, 1e30f, 65535},
        {1, INFINITY, 65535},
        {100, -2.0f, 0},
        {100, -0.001f, 0},
        {100, NAN, 0},
        {0, INFINITY, 0},  // 0 * inf is NaN
        {7, 0.0f, 0},
        {65534, 1.0000001f, 65534},
    };
    for (const auto &k : cases) {
        ShadingPair pair(1, 1, 1);
        pair.ratio_table(0, 0, 0)[0] = k.ratio;
        ModuleTables module(1, 1, [&](int, int, size_t) { return k.gain; });
        ASSERT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 0, 0), 0u);
        EXPECT_EQ(pair.lens_table(0, 0, 0)[0], k.want) << k.ratio << " x " << k.gain;
    }
}

// An entry naming no module light source, or one beyond the tables, stops the correction there:
// the entries before it are corrected, it and the later ones are untouched.
TEST(RatioCorrection, FailureAtAnEntryLeavesEarlierEntriesCorrected) {
    const struct {
        const char *name;
        uint16_t index;
    } cases[] = {{"index 0", 0}, {"index beyond the tables", 3}, {"index 65535", 65535}};
    for (const auto &k : cases) {
        ShadingPair pair(4, kW, kH);
        pair.ratio_entry(2).nvm_source_index = k.index;
        ModuleTables module(2, kN, gain);
        EXPECT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 0, 0), 8u) << k.name;
        for (int e = 0; e < 4; ++e) {
            const bool corrected = e < 2;
            EXPECT_EQ(pair.lens_entry(e).light_source, corrected ? 1000u + e : 7u) << k.name << " entry " << e;
            EXPECT_EQ(pair.lens_table(e, 0, 0)[0], corrected ? truncated(ShadingPair::ratio_value(e, 0, 0), gain(0, 0, 0))
                                                             : ShadingPair::lens_value(e, 0, 0))
                << k.name << " entry " << e;
        }
    }
    // Ratio data with fewer entries than the lens-shading data: the missing entry fails the same way.
    ShadingPair pair(3, kW, kH);
    pair.ratio()->num_light_sources = 2;
    ModuleTables module(1, kN, gain);
    EXPECT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 0, 0), 8u);
    EXPECT_EQ(pair.lens_entry(1).light_source, 1001u);
    EXPECT_EQ(pair.lens_entry(2).light_source, 7u);
    EXPECT_EQ(pair.lens_table(2, 1, 1)[0], ShadingPair::lens_value(2, 1, 1));
}

// Unsupported layouts, orders and grids fail before anything changes.
TEST(RatioCorrection, UnsupportedInputChangesNothing) {
    struct Case {
        const char *name;
        uint32_t cfa, bayer;
        std::function<void(ShadingPair &)> defect;
    };
    const auto none = [](ShadingPair &) {};
    std::vector<Case> cases;
    for (uint32_t cfa : {4u, 127u, 132u, 255u, 264u, 1000u, 0x80000000u}) cases.push_back({"layout", cfa, 0, none});
    for (uint32_t bayer : {4u, 255u, 0xFFFFFFFFu}) cases.push_back({"bayer order", 0, bayer, none});
    cases.push_back({"ratio grid narrower", 0, 0, [](ShadingPair &p) { p.ratio()->width = kW - 1; }});
    cases.push_back({"ratio grid taller", 256, 1, [](ShadingPair &p) { p.ratio()->height = kH + 1; }});
    cases.push_back({"null lens-shading entries", 0, 0, [](ShadingPair &p) { p.lens()->light_sources = nullptr; }});
    cases.push_back({"null ratio entries", 0, 0, [](ShadingPair &p) { p.ratio()->light_sources = nullptr; }});
    for (const Case &k : cases) {
        ShadingPair pair(2, kW, kH);
        k.defect(pair);
        ModuleTables module(1, kN, gain);
        EXPECT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), k.cfa, k.bayer), 8u)
            << k.name << " " << k.cfa << " " << k.bayer;
        for (int e = 0; e < 2; ++e) {
            EXPECT_EQ(pair.lens_entry(e).light_source, 7u) << k.name;
            EXPECT_EQ(pair.lens_table(e, 0, 1)[2], ShadingPair::lens_value(e, 0, 1)) << k.name;
        }
        EXPECT_EQ(module.plane(0, 0)[0], gain(0, 0, 0)) << k.name;
    }
}

TEST(RatioCorrection, NothingToDoAndNullArguments) {
    ShadingPair pair(2, kW, kH);
    ModuleTables module(1, kN, gain);
    // No light source: 0 even with an unsupported layout and order.
    pair.lens()->num_light_sources = 0;
    EXPECT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 999, 9), 0u);
    pair.lens()->num_light_sources = 2;
    EXPECT_EQ(ratio_based_sample_to_sample_correction(nullptr, pair.ratio(), module.get(), 0, 0), 32u);
    EXPECT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), nullptr, module.get(), 0, 0), 32u);
    EXPECT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), nullptr, 0, 0), 32u);
    EXPECT_EQ(pair.lens_entry(0).light_source, 7u);

    // A zero width or height: light source, params and fraction bits are copied, no sample changes,
    // whatever the ratio grid.
    for (auto [w, h] : {std::pair<uint16_t, uint16_t>{0, kH}, {kW, 0}}) {
        ShadingPair p(1, kW, kH);
        p.lens()->width = w;
        p.lens()->height = h;
        p.ratio()->width = 9;
        EXPECT_EQ(ratio_based_sample_to_sample_correction(p.lens(), p.ratio(), module.get(), 256, 0), 0u);
        EXPECT_EQ(p.lens_entry(0).light_source, 1000u);
        EXPECT_EQ(p.lens_entry(0).params[0], 0.5f);
        EXPECT_EQ(p.lens_entry(0).fraction_bits, 10);
        EXPECT_EQ(p.lens_table(0, 0, 0)[0], ShadingPair::lens_value(0, 0, 0));
    }
}

// A cell whose lens-shading table, ratio table or module block is missing keeps its samples; the
// entry's light source, params and fraction bits are copied all the same.
TEST(RatioCorrection, MissingTablesSkipTheCell) {
    ShadingPair pair(2, kW, kH);
    pair.lens_entry(0).tables[0][0] = nullptr;
    pair.ratio_entry(0).tables[0][1] = nullptr;
    pair.ratio_entry(1).nvm_source_index = 2;
    ModuleTables module(2, kN, gain);
    module.drop_block(1);
    ASSERT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 0, 0), 0u);
    EXPECT_EQ(pair.lens_table(0, 0, 0)[0], ShadingPair::lens_value(0, 0, 0));
    EXPECT_EQ(pair.lens_table(0, 0, 1)[0], ShadingPair::lens_value(0, 0, 1));
    EXPECT_EQ(pair.lens_table(0, 1, 0)[0], truncated(ShadingPair::ratio_value(0, 1, 0), gain(0, 2, 0)));
    EXPECT_EQ(pair.lens_entry(1).light_source, 1001u);
    EXPECT_EQ(pair.lens_table(1, 1, 1)[0], ShadingPair::lens_value(1, 1, 1));
}

// Two entries naming the same module light source in a 4 x 4 layout: the second averaging of equal
// planes leaves them as they were, so both entries read the same greens.
TEST(RatioCorrection, RepeatedAveragingIsStable) {
    ShadingPair pair(2, kW, kH);
    ModuleTables module(1, kN, gain);
    ASSERT_EQ(ratio_based_sample_to_sample_correction(pair.lens(), pair.ratio(), module.get(), 256, 0), 0u);
    for (size_t i = 0; i < kN; ++i) {
        const float g = (gain(0, 0, i) + gain(0, 3, i)) * 0.5f;
        EXPECT_EQ(module.plane(0, 0)[i], g);
        EXPECT_EQ(module.plane(0, 3)[i], g);
        EXPECT_EQ(pair.lens_table(1, 0, 1)[i], truncated(ShadingPair::ratio_value(1, 0, 1), g));
    }
}

}  // namespace
}  // namespace oz::test
