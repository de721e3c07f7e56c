// Lens-shading ratio records 11 (legacy) and 33 (4x4) into slot 57: decoded values, the 16-bit module
// index, exact size boundaries with and without the version-101 extension, and the replacement rules
// (record 33 always replaces, a record 11 only fills an empty slot) in both orders.
#include <array>

#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

uint16_t sample(uint32_t entry, int table, uint32_t s) { return uint16_t(2000 * entry + 100 * table + s); }

uint32_t record11_blocks_end(uint32_t n, uint32_t w, uint32_t h) { return 14 + n * (10 + 4 * 2 * w * h); }

// Record 11: block i has nvm_source_index i, light_source 0x30 + i (or `tag` + i), pair (16384, 49152),
// tables sample(i, k, s); the extension (when asked) holds ((i + 2) * 256, 128).
RecordBuilder record11(uint8_t version, uint16_t n, uint16_t w, uint16_t h, bool extension, uint16_t tag = 0x30) {
    RecordBuilder r(11, version);
    r.u16(8, n).u16(10, w).u16(12, h);
    const uint32_t samples = uint32_t(w) * h;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t off = 14 + i * (10 + 8 * samples);
        r.u16(off, uint16_t(i)).u16(off + 2, uint16_t(tag + i)).u16(off + 6, 16384).u16(off + 8, 49152);
        for (int k = 0; k < 4; ++k)
            for (uint32_t s = 0; s < samples; ++s) r.u16(off + 10 + 2 * (k * samples + s), sample(i, k, s));
    }
    const uint32_t end = record11_blocks_end(n, w, h);
    if (!extension) return r.length(round8(end));
    for (uint32_t i = 0; i < n; ++i) r.u16(end + 4 * i, uint16_t((i + 2) * 256)).u16(end + 4 * i + 2, 128);
    return r.length(round8(end + 4 * n));
}

// Record 33 with the quad map (tables 0 to 3), light_source `tag` + i and module index `module_index`.
RecordBuilder record33(uint16_t n, uint16_t w, uint16_t h, uint16_t module_index, uint16_t tag = 0x50) {
    const int8_t map[16] = {0, 1, -1, -1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1, -1, 3};
    RecordBuilder r(33, 100);
    for (int c = 0; c < 16; ++c) r.u8(8 + c, uint8_t(map[c]));
    r.u16(24, n).u16(28, w).u16(30, h);
    const uint32_t T = 2u * w * h;
    const uint32_t block = 22 + 4 * T;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t off = 32 + i * block;
        r.u16(off, uint16_t(tag + i)).u16(off + 2, module_index).u16(off + 20, 6);
        for (int p = 0; p < 4; ++p) r.f32(off + 4 + 4 * p, -float(p) - 0.5f);
        for (int k = 0; k < 4; ++k)
            for (uint32_t s = 0; s < uint32_t(w) * h; ++s) r.u16(off + 22 + k * T + 2 * s, sample(i, k, s));
    }
    return r.length(round8(32 + n * block));
}

TEST(LensShadingRatioLegacy, DecodesBlocksAndExtension) {
    Parsed p({record11(101, 2, 3, 1, true)});
    auto *ratio = p.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO);
    ASSERT_NE(ratio, nullptr);
    EXPECT_EQ(ratio->header.id, 11);
    EXPECT_EQ(ratio->header.version, 101);
    EXPECT_EQ(ratio->header.size, round8(record11_blocks_end(2, 3, 1) + 8));
    const int8_t legacy_map[16] = {0, 1, -1, -1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    EXPECT_EQ(0, std::memcmp(ratio->channel_map, legacy_map, 16));
    EXPECT_EQ(ratio->width, 3);
    EXPECT_EQ(ratio->height, 1);
    for (uint32_t e = 0; e < 2; ++e) {
        SCOPED_TRACE(e);
        const cmc_lens_shading_ratio_light_source &ls = ratio->light_sources[e];
        EXPECT_EQ(ls.nvm_source_index, e);  // stored as it is: 0 means no module light source
        EXPECT_EQ(ls.light_source, 0x30 + e);
        EXPECT_EQ(ls.params[0], float(e + 2));
        EXPECT_EQ(ls.params[1], 0.5f);
        EXPECT_EQ(ls.params[2], 0.25f);
        EXPECT_EQ(ls.params[3], 0.75f);
        EXPECT_EQ(ls.fraction_bits, 12);
        // Tables 0, 1, 2, 3 land in cells (0,0), (0,1), (1,0), (1,1); the other twelve stay null.
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                EXPECT_EQ(ls.tables[r][c] != nullptr, r < 2 && c < 2) << "cell " << r << "," << c;
        for (int k = 0; k < 4; ++k)
            for (uint32_t s = 0; s < 3; ++s) EXPECT_EQ(ls.tables[k / 2][k % 2][s], sample(e, k, s));
    }
}

TEST(LensShadingRatioLegacy, SizeBoundariesWithAndWithoutExtension) {
    struct Case {
        const char *name;
        uint8_t version;
        uint16_t n, w, h;
        uint32_t need;
        const char *rule;
    };
    const Case cases[] = {
        {"no light source, version 100", 100, 0, 4, 4, 16, "size >= round8(14 + n * (10 + 4 * 2 * w * h))"},
        {"no light source, version 101", 101, 0, 4, 4, 16, "size >= round8(14 + n * (10 + 4 * 2 * w * h))"},
        {"blocks, version 100", 100, 2, 2, 1, round8(record11_blocks_end(2, 2, 1)),
         "size >= round8(14 + n * (10 + 4 * 2 * w * h))"},
        {"blocks and extension, version 101", 101, 3, 1, 1, round8(record11_blocks_end(3, 1, 1) + 12),
         "extension: size >= round8(14 + n * (10 + 4 * 2 * w * h) + 4 * n)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed exact({record11(c.version, c.n, c.w, c.h, c.version > 100).length(c.need)});
        EXPECT_NE(exact.at(CMC_SLOT_LENS_SHADING_RATIO), nullptr);
        Parsed below({record11(c.version, c.n, c.w, c.h, c.version > 100).length(c.need - 1)});
        EXPECT_EQ(below.at(CMC_SLOT_LENS_SHADING_RATIO), nullptr);
        const DiagRecorder::Entry *e = below.diag.find(DiagKind::kRecordRefused, 11);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, c.rule);
        EXPECT_EQ(e->event.expected, c.need);
    }
}

TEST(LensShadingRatio4x4, ModuleIndexIsStoredPlusOneIn16Bits) {
    for (auto [stored, index] : {std::pair<uint16_t, uint16_t>{0, 1}, {4, 5}, {65535, 0}}) {
        Parsed p({record33(1, 2, 2, stored)});
        auto *ratio = p.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO);
        ASSERT_NE(ratio, nullptr);
        const cmc_lens_shading_ratio_light_source &ls = ratio->light_sources[0];
        EXPECT_EQ(ls.nvm_source_index, index) << stored;
        EXPECT_EQ(ls.light_source, 0x50u);
        EXPECT_EQ(ls.fraction_bits, 10);
        EXPECT_EQ(float_bits(ls.params[3]), float_bits(-3.5f));
        EXPECT_EQ(ls.tables[3][3][2], sample(0, 3, 2));
        EXPECT_NE(ls.tables[3][3], ls.tables[1][1]);
    }
}

TEST(LensShadingRatio4x4, SizeBoundaries) {
    for (auto [n, w, h] : {std::array<uint16_t, 3>{1, 2, 2}, {2, 3, 1}, {0, 8, 8}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << w << " x " << h);
        const uint32_t need = round8(32 + n * (22 + 8u * w * h));
        Parsed exact({record33(n, w, h, 0).length(need)});
        EXPECT_NE(exact.at(CMC_SLOT_LENS_SHADING_RATIO), nullptr);
        Parsed below({record33(n, w, h, 0).length(need - 1)});
        EXPECT_EQ(below.at(CMC_SLOT_LENS_SHADING_RATIO), nullptr);
    }
}

TEST(LensShadingRatioReplacement, Record33ReplacesAndASecondRecord11IsIgnored) {
    const RecordBuilder r11a = record11(100, 1, 1, 1, false, 0x30);
    const RecordBuilder r11b = record11(100, 1, 1, 1, false, 0x40);
    const RecordBuilder r33a = record33(1, 1, 1, 0, 0x50);
    const RecordBuilder r33b = record33(1, 1, 1, 0, 0x60);
    const RecordBuilder r33_short = record33(1, 1, 1, 0).length(40);
    const RecordBuilder r11_short = record11(100, 1, 1, 1, false).length(20);
    struct Case {
        const char *name;
        std::vector<RecordBuilder> records;
        uint32_t light_source;  // 0: slot 57 empty
        bool ignored;           // a record 11 was ignored
    };
    const std::vector<Case> cases = {
        {"11 then 33", {r11a, r33a}, 0x50, false},
        {"33 then 11", {r33a, r11a}, 0x50, true},
        {"11 then 11", {r11a, r11b}, 0x30, true},
        {"33 then 33", {r33a, r33b}, 0x60, false},
        {"11 then a rejected 33", {r11a, r33_short}, 0, false},
        {"a rejected 11 then 11", {r11_short, r11b}, 0x40, false},
        {"a rejected 33 then 11", {r33_short, r11a}, 0x30, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p(c.records);
        auto *ratio = p.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO);
        if (c.light_source == 0) {
            EXPECT_EQ(ratio, nullptr);
        } else {
            ASSERT_NE(ratio, nullptr);
            EXPECT_EQ(ratio->light_sources[0].light_source, c.light_source);
        }
        EXPECT_EQ(p.rule(DiagKind::kRecordIgnored, 11),
                  c.ignored ? "slot 57 already filled: record 11 does not replace it" : "");
    }
}

}  // namespace
}  // namespace oz::test
