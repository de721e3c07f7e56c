// Test kit for the calibration merge end to end: a tuning container holding the records the merge reads
// (2, 17, lens shading 28 or 10, ratios 33 or 11, valid area 32), a calibration blob, the slot-54
// tables the merge must produce (the kernels composed on a result parsed without calibration), and a
// comparison of two lens-shading structures sample by sample.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "oz_cmc.h"
#include "oz_nvm.h"
#include "parser/parser.h"
#include "tests/kit/builder.h"

namespace oz::test {

struct MergeScene {
    uint16_t width = 32, height = 24;   // lens-shading and ratio grid
    uint16_t light_sources = 3;
    uint16_t method = 0;                // record 17 upscaling_method
    uint8_t record17_version = 101;
    uint16_t flip = 1, bayer = 1, cfa = 258;
    bool record2 = true, record17 = true, lens = true, ratio = true, record32 = true;
    bool legacy = false;                // records 10 and 11 instead of 28 and 33
    int unmatched_entry = -1;           // ratio entry naming a module table that does not exist
    uint8_t grid_width = 17, grid_height = 13;  // calibration grid

    // Lens-shading and ratio samples of entry e, table k, sample i.
    static uint16_t lens_sample(int e, int k, size_t i) { return uint16_t(4096 + (i * 7 + size_t(k) * 31 + size_t(e) * 5) % 700); }
    static uint16_t ratio_sample(int e, int k, size_t i) { return uint16_t(3500 + (i * 3 + size_t(k) * 17 + size_t(e)) % 1200); }

    Bytes container() const {
        ContainerBuilder c;
        if (record2) c.add(RecordBuilder(2, 100).u16(8, 4000).u16(10, 3000).u16(12, 5).u16(14, cfa).length(16));
        if (record17)
            c.add(RecordBuilder(17, record17_version).u16(10, bayer).u16(12, flip).u16(14, method).length(16));
        if (record32) c.add(RecordBuilder(32, 100).u16(24, 2100).u16(26, 1400).u32(28, 2300).length(32));
        // A record the merge does not read, between the others.
        c.add(RecordBuilder(8, 100).length(64));
        if (lens) c.add(legacy ? record10() : record28());
        if (ratio) c.add(legacy ? record11() : record33());
        return c.build();
    }

    Bytes calibration() const {
        NvmBuilder n(grid_width, grid_height);
        const int gw = grid_width, gh = grid_height;
        n.table(8, [=](int c, int r, int q) {
            return uint16_t(40 + 10 * c + (2 * r - gh) * (2 * r - gh) / 2 + (2 * q - gw) * (2 * q - gw) / 3);
        });
        n.table(10, [=](int c, int r, int q) {
            return uint16_t(200 + 30 * c + (2 * r - gh) * (2 * r - gh) * 3 + (2 * q - gw) * (2 * q - gw) * 2);
        });
        return n.build();
    }

  private:
    size_t samples() const { return size_t(width) * height; }

    // Record 28: cell (r, c) names table 4r + c; 16 tables per light source, 12 fractional bits.
    RecordBuilder record28() const {
        RecordBuilder r(28, 100);
        for (int k = 0; k < 16; ++k) r.u8(8 + k, uint8_t(k));
        r.u16(24, light_sources).u16(28, width).u16(30, height);
        uint32_t off = 32;
        for (int e = 0; e < light_sources; ++e) {
            r.u32(off, uint32_t(500 + e));
            for (int p = 0; p < 4; ++p) r.f32(off + 4 + 4 * p, 0.25f * float(p + e));
            r.u16(off + 20, 4);
            for (int k = 0; k < 16; ++k)
                for (size_t i = 0; i < samples(); ++i) r.u16(uint32_t(off + 22 + k * 2 * samples() + 2 * i), lens_sample(e, k, i));
            off += uint32_t(22 + 16 * 2 * samples());
        }
        return r.length((off + 7) & ~7u);
    }

    // Record 33: the same map; entry e applies to module light source e % 2.
    RecordBuilder record33() const {
        RecordBuilder r(33, 100);
        for (int k = 0; k < 16; ++k) r.u8(8 + k, uint8_t(k));
        r.u16(24, light_sources).u16(28, width).u16(30, height);
        uint32_t off = 32;
        for (int e = 0; e < light_sources; ++e) {
            r.u16(off, uint16_t(900 + e)).u16(off + 2, uint16_t(e == unmatched_entry ? 7 : e % 2));
            for (int p = 0; p < 4; ++p) r.f32(off + 4 + 4 * p, 1.5f + float(p * 3 + e));
            r.u16(off + 20, 4);
            for (int k = 0; k < 16; ++k)
                for (size_t i = 0; i < samples(); ++i) r.u16(uint32_t(off + 22 + k * 2 * samples() + 2 * i), ratio_sample(e, k, i));
            off += uint32_t(22 + 16 * 2 * samples());
        }
        return r.length((off + 7) & ~7u);
    }

    // Record 10: four tables per light source (2 x 2 map), blocks at 16 + 8e(wh + 1).
    RecordBuilder record10() const {
        RecordBuilder r(10, 100);
        r.u16(10, light_sources).u16(12, width).u16(14, height);
        for (int e = 0; e < light_sources; ++e) {
            const uint32_t off = uint32_t(16 + 8 * e * (samples() + 1));
            r.u16(off, uint16_t(500 + e)).u16(off + 4, 0x4000).u16(off + 6, 0x8000);
            for (int k = 0; k < 4; ++k)
                for (size_t i = 0; i < samples(); ++i) r.u16(uint32_t(off + 8 + k * 2 * samples() + 2 * i), lens_sample(e, k, i));
        }
        return r.length((16 + 8 * uint32_t(light_sources) * uint32_t(samples() + 1) + 7) & ~7u);
    }

    // Record 11: four tables per light source, blocks of 10 + 4T from byte 14; 1-based module index.
    RecordBuilder record11() const {
        RecordBuilder r(11, 100);
        r.u16(8, light_sources).u16(10, width).u16(12, height);
        uint32_t off = 14;
        for (int e = 0; e < light_sources; ++e) {
            r.u16(off, uint16_t(1 + e % 2)).u16(off + 2, uint16_t(900 + e)).u16(off + 6, 0x2000).u16(off + 8, 0x1000);
            for (int k = 0; k < 4; ++k)
                for (size_t i = 0; i < samples(); ++i) r.u16(uint32_t(off + 10 + k * 2 * samples() + 2 * i), ratio_sample(e, k, i));
            off += uint32_t(10 + 4 * 2 * samples());
        }
        return r.length((off + 7) & ~7u);
    }
};

// True when both lens-shading structures hold the same entries and samples; says where they differ.
inline ::testing::AssertionResult same_lens_shading(const cmc_lens_shading4x4 *a, const cmc_lens_shading4x4 *b) {
    if (!a || !b) return a == b ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "one slot 54 is null";
    if (a->num_light_sources != b->num_light_sources || a->width != b->width || a->height != b->height)
        return ::testing::AssertionFailure() << "shapes differ";
    const size_t n = size_t(a->width) * a->height;
    for (int e = 0; e < a->num_light_sources; ++e) {
        const cmc_lens_shading_light_source &x = a->light_sources[e], &y = b->light_sources[e];
        if (x.light_source != y.light_source || x.fraction_bits != y.fraction_bits ||
            std::memcmp(x.params, y.params, sizeof x.params) != 0)
            return ::testing::AssertionFailure() << "entry " << e << " fields differ";
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) {
                if (!x.tables[r][c] || !y.tables[r][c]) {
                    if (x.tables[r][c] != y.tables[r][c]) return ::testing::AssertionFailure() << "table presence " << r << c;
                    continue;
                }
                for (size_t i = 0; i < n; ++i)
                    if (x.tables[r][c][i] != y.tables[r][c][i])
                        return ::testing::AssertionFailure() << "entry " << e << " cell " << r << "," << c << " sample " << i
                                                             << ": " << x.tables[r][c][i] << " vs " << y.tables[r][c][i];
            }
    }
    return ::testing::AssertionSuccess();
}

// The result of init without calibration, with slot 54 corrected by the kernels composed by hand: the
// upscaling that record 17's method names (arguments from slot 54 and record 17), then the correction
// with record 2's layout and record 17's Bayer order (its status in *status). Release with
// oz_cmc_parser_deinit.
inline cmc_data *expected_merge(const MergeScene &s, const Blob &container, const Blob &calibration,
                                uint32_t *status = nullptr) {
    cmc_data *ref = parse_container(container.get(), nullptr, nullptr);
    EXPECT_NE(ref, nullptr);
    nvm_data *nvm = nullptr;
    oz_nvm_parse(calibration.get(), &nvm);
    EXPECT_NE(nvm, nullptr);
    auto *lens = static_cast<cmc_lens_shading4x4 *>(ref->slot[CMC_SLOT_LENS_SHADING]);
    auto *ratio = static_cast<cmc_lens_shading_ratio *>(ref->slot[CMC_SLOT_LENS_SHADING_RATIO]);
    EXPECT_NE(lens, nullptr);
    EXPECT_NE(ratio, nullptr);
    upscaled_lsc_tables *t = s.method == 3
                                 ? compute_upscaled_lsc_tables_polynom4th_valid_area(lens->width, lens->height, nvm, s.flip, ref)
                                 : compute_upscaled_lsc_tables_polynom4th(lens->width, lens->height, nvm, s.flip, s.method == 2);
    EXPECT_NE(t, nullptr);
    const uint32_t code = ratio_based_sample_to_sample_correction(lens, ratio, t, s.cfa, s.bayer);
    if (status) *status = code;
    deinit_computed_upscale_lsc_tables(t);
    oz_nvm_deinit(nvm);
    return ref;
}

}  // namespace oz::test
