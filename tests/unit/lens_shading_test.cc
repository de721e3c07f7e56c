// Lens-shading records 10 (legacy, kept in slots 13 to 16 and converted into slot 54) and 28 (4x4,
// slot 54): decoded values, exact size boundaries, version gating of the legacy extension, the
// replacement rules between the two kinds in both orders, and counts that would wrap 32-bit lengths.
#include <algorithm>
#include <array>

#include "common/heap.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

using Map = std::array<int8_t, 16>;
constexpr Map kQuad = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};
constexpr Map kTables0And2 = {0, -1, -1, -1, 2, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
constexpr Map kNoTables = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

uint16_t sample(uint32_t entry, int table, uint32_t s) { return uint16_t(1000 * entry + 100 * table + s); }

int max_table(const Map &map) { return *std::max_element(map.begin(), map.end()); }

uint32_t record28_length(const Map &map, uint32_t n, uint32_t w, uint32_t h) {
    return round8(32 + n * (22 + uint32_t(max_table(map) + 1) * 2 * w * h));
}

// Record 28 with light_source 0xA000 + i, params (i + 1, i + 2, i + 3, i + 4) and table k of block i
// holding sample(i, k, s).
RecordBuilder record28(const Map &map, uint16_t n, uint16_t w, uint16_t h, uint16_t integer_bits = 4,
                       uint32_t id_tag = 0xA000) {
    RecordBuilder r(28, 100);
    for (int c = 0; c < 16; ++c) r.u8(8 + c, uint8_t(map[c]));
    r.u16(24, n).u16(28, w).u16(30, h);
    const uint32_t T = 2u * w * h;
    const uint32_t block = 22 + uint32_t(max_table(map) + 1) * T;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t off = 32 + i * block;
        r.u32(off, id_tag + i).u16(off + 20, integer_bits);
        for (int p = 0; p < 4; ++p) r.f32(off + 4 + 4 * p, float(i + 1 + p));
        for (int k = 0; k <= max_table(map); ++k)
            for (uint32_t s = 0; s < uint32_t(w) * h; ++s) r.u16(off + 22 + k * T + 2 * s, sample(i, k, s));
    }
    return r.length(record28_length(map, n, w, h));
}

uint32_t record10_end(uint32_t n, uint32_t w, uint32_t h) { return 16 + 8 * n * (w * h + 1); }

// Record 10 with light_source 0x10 + i, pair (32768 + i, 16384), four tables of sample(i, k, s) and,
// when asked, the extension ((i + 1) * 256 + 128, 64).
RecordBuilder record10(uint8_t version, uint16_t n, uint16_t w, uint16_t h, bool extension,
                       uint16_t id_tag = 0x10) {
    RecordBuilder r(10, version);
    r.u16(10, n).u16(12, w).u16(14, h);
    const uint32_t samples = uint32_t(w) * h;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t off = 16 + 8 * (samples + 1) * i;
        r.u16(off, uint16_t(id_tag + i)).u16(off + 4, uint16_t(32768 + i)).u16(off + 6, 16384);
        for (int k = 0; k < 4; ++k)
            for (uint32_t s = 0; s < samples; ++s) r.u16(off + 8 + 2 * (k * samples + s), sample(i, k, s));
    }
    const uint32_t end = record10_end(n, w, h);
    if (!extension) return r.length(end);
    for (uint32_t i = 0; i < n; ++i) r.u16(end + 4 * i, uint16_t((i + 1) * 256 + 128)).u16(end + 4 * i + 2, 64);
    return r.length(round8(end + 4 * n));
}

// Every cell of entry `e` holds its own copy of the table its map names.
void expect_cell_tables(const cmc_lens_shading4x4 *lsc, uint32_t e, uint32_t entry_tag) {
    const cmc_lens_shading_light_source &ls = lsc->light_sources[e];
    const uint32_t samples = uint32_t(lsc->width) * lsc->height;
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            SCOPED_TRACE(testing::Message() << "entry " << e << " cell " << r << "," << c);
            const int k = lsc->channel_map[r][c];
            if (k < 0) {
                EXPECT_EQ(ls.tables[r][c], nullptr);
                continue;
            }
            ASSERT_NE(ls.tables[r][c], nullptr);
            for (uint32_t s = 0; s < samples; ++s) ASSERT_EQ(ls.tables[r][c][s], sample(entry_tag, k, s)) << s;
        }
    }
}

TEST(LensShading4x4, CopiesHeaderMapParamsAndOneTableCopyPerCell) {
    Parsed p({record28(kQuad, 2, 3, 2)});
    auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    EXPECT_EQ(lsc->header.size, record28_length(kQuad, 2, 3, 2));
    EXPECT_EQ(lsc->header.version, 100);
    EXPECT_EQ(lsc->header.id, 28);
    EXPECT_EQ(0, std::memcmp(lsc->channel_map, kQuad.data(), 16));
    EXPECT_EQ(lsc->num_light_sources, 2);
    EXPECT_EQ(lsc->width, 3);
    EXPECT_EQ(lsc->height, 2);
    for (uint32_t e = 0; e < 2; ++e) {
        const cmc_lens_shading_light_source &ls = lsc->light_sources[e];
        EXPECT_EQ(ls.light_source, 0xA000 + e);
        for (int k = 0; k < 4; ++k) EXPECT_EQ(ls.params[k], float(e + 1 + k));
        EXPECT_EQ(ls.fraction_bits, 12);  // integer_bits 4
        expect_cell_tables(lsc, e, e);
        EXPECT_NE(ls.tables[0][0], ls.tables[0][1]);  // same table, separate copies
    }
    EXPECT_EQ(p.rule(DiagKind::kRecordDecoded, 28), "slot 54: cmc_lens_shading4x4");
}

TEST(LensShading4x4, BlocksHoldEveryTableUpToTheLargestNumber) {
    // Tables 0 and 2 named: each block still holds table 1, so block 1 starts 22 + 3 * T bytes on.
    Parsed p({record28(kTables0And2, 2, 2, 2)});
    auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    expect_cell_tables(lsc, 1, 1);
    EXPECT_EQ(lsc->light_sources[1].tables[1][0][0], sample(1, 2, 0));
}

TEST(LensShading4x4, MapWithoutTablesAndZeroLightSources) {
    Parsed none({record28(kNoTables, 2, 4, 4)});
    auto *lsc = none.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    EXPECT_EQ(lsc->header.size, 80u);  // round8(32 + 2 * 22)
    for (int e = 0; e < 2; ++e) expect_cell_tables(lsc, e, e);
    EXPECT_EQ(lsc->light_sources[1].light_source, 0xA001u);

    Parsed empty({record28(kQuad, 0, 5, 5)});
    lsc = empty.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    EXPECT_EQ(lsc->num_light_sources, 0);
    EXPECT_NE(lsc->light_sources, nullptr);  // zero-length array
}

TEST(LensShading4x4, FractionBitsAreSixteenMinusIntegerBitsIn16Bits) {
    for (auto [integer_bits, fraction_bits] : {std::pair<uint16_t, uint16_t>{4, 12}, {0, 16}, {16, 0}, {20, 65532}}) {
        Parsed p({record28(kQuad, 1, 1, 1, integer_bits)});
        auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
        ASSERT_NE(lsc, nullptr);
        EXPECT_EQ(lsc->light_sources[0].fraction_bits, fraction_bits) << integer_bits;
    }
}

TEST(LensShading4x4, SizeBoundaries) {
    struct Case {
        const char *name;
        Map map;
        uint16_t n, w, h;
    };
    const Case cases[] = {
        {"four tables", kQuad, 2, 3, 2},        // round8(32 + 2 * (22 + 4 * 12)) = 176
        {"tables 0 to 2", kTables0And2, 3, 2, 1},  // round8(32 + 3 * 34) = 136
        {"no tables", kNoTables, 1, 9, 9},     // round8(54) = 56
        {"no light source", kQuad, 0, 9, 9},   // 32
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const uint32_t need = record28_length(c.map, c.n, c.w, c.h);
        Parsed exact({record28(c.map, c.n, c.w, c.h).length(need)});
        EXPECT_NE(exact.at(CMC_SLOT_LENS_SHADING), nullptr);
        Parsed below({record28(c.map, c.n, c.w, c.h).length(need - 1)});
        EXPECT_EQ(below.at(CMC_SLOT_LENS_SHADING), nullptr);
        const DiagRecorder::Entry *e = below.diag.find(DiagKind::kRecordRefused, 28);
        ASSERT_NE(e, nullptr);
        if (c.n != 0) {
            EXPECT_EQ(e->what, "size >= round8(32 + n * (22 + (m + 1) * 2 * w * h))");
            EXPECT_EQ(e->event.expected, need);
        }
        EXPECT_EQ(e->event.actual, need - 1);
    }
}

TEST(LensShading4x4, CountsThatWouldWrap32BitLengthsAreRefused) {
    // 32 + n * (22 + 4 * 2 * w * h) with n = 65535, w = h = 65535 is far beyond 2^32; in u32 it could
    // land anywhere. The record holds 64 bytes.
    Parsed p({RecordBuilder(28, 100).bytes(8, Bytes(kQuad.begin(), kQuad.end())).u16(24, 65535).u16(28, 65535).u16(30, 65535).length(64)});
    EXPECT_EQ(p.at(CMC_SLOT_LENS_SHADING), nullptr);
    EXPECT_GT(p.diag.find(DiagKind::kRecordRefused, 28)->event.expected, uint64_t(1) << 32);
}

TEST(LensShadingLegacy, KeepsTheRecordAndConvertsIt) {
    Parsed p({record10(101, 2, 2, 2, true)});
    auto *record = p.at<uint8_t>(CMC_SLOT_LSC_LEGACY);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(p.at<uint8_t>(CMC_SLOT_LSC_LEGACY_1), record + 16);
    EXPECT_EQ(p.at<uint8_t>(CMC_SLOT_LSC_LEGACY_2), record + 24);
    EXPECT_EQ(p.at<uint8_t>(CMC_SLOT_LSC_LEGACY_3), record + record10_end(2, 2, 2));
    const auto *view = reinterpret_cast<const cmc_parsed_lens_shading *>(&p.cmc->slot[CMC_SLOT_LSC_LEGACY]);
    EXPECT_EQ(le16(view->first_table), sample(0, 0, 0));

    auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    EXPECT_EQ(lsc->header.size, 2u * 2 * 2 * 176 + 32);
    EXPECT_EQ(lsc->header.version, 100);
    EXPECT_EQ(lsc->header.reserved, 0);
    EXPECT_EQ(lsc->header.id, 28);
    const int8_t legacy_map[16] = {0, 1, -1, -1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    EXPECT_EQ(0, std::memcmp(lsc->channel_map, legacy_map, 16));
    for (uint32_t e = 0; e < 2; ++e) {
        const cmc_lens_shading_light_source &ls = lsc->light_sources[e];
        EXPECT_EQ(ls.light_source, 0x10 + e);
        EXPECT_EQ(ls.fraction_bits, 12);
        EXPECT_EQ(ls.params[0], float((e + 1) * 256 + 128) / 256.0f);
        EXPECT_EQ(ls.params[1], 0.25f);
        EXPECT_EQ(ls.params[2], float(32768 + e) / 65536.0f);
        EXPECT_EQ(ls.params[3], 0.25f);
        expect_cell_tables(lsc, e, e);
    }
}

TEST(LensShadingLegacy, ExtensionIsReadAboveVersion100WhenItFits) {
    struct Case {
        const char *name;
        uint8_t version;
        bool extension;
        uint32_t length_delta;  // subtracted from the built length
        bool has_extension;
    };
    const Case cases[] = {
        {"version 100 ignores it", 100, true, 0, false},
        {"version 101 with it", 101, true, 0, true},
        {"version 101, extension one byte short", 101, true, 1, false},
        {"version 101 without it", 101, false, 0, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RecordBuilder r = record10(c.version, 1, 2, 2, c.extension);
        Parsed p({r.length(r.length() - c.length_delta)});
        ASSERT_NE(p.at(CMC_SLOT_LSC_LEGACY), nullptr);  // the record is accepted either way
        EXPECT_EQ(p.at(CMC_SLOT_LSC_LEGACY_3) != nullptr, c.has_extension);
        auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
        ASSERT_NE(lsc, nullptr);
        EXPECT_EQ(lsc->light_sources[0].params[0], c.has_extension ? 1.5f : 0.0f);
        EXPECT_EQ(lsc->light_sources[0].params[1], c.has_extension ? 0.25f : 0.0f);
        if (c.version > 100 && !c.has_extension) {
            EXPECT_EQ(p.rule(DiagKind::kSectionDropped, 10),
                      "extension: size >= round8(16 + 8 * n * (w * h + 1) + 4 * n)");
        }
    }
}

TEST(LensShadingLegacy, SizeBoundaries) {
    for (auto [n, w, h] : {std::array<uint16_t, 3>{1, 2, 2}, {3, 1, 5}, {0, 7, 7}}) {
        SCOPED_TRACE(testing::Message() << n << " x " << w << " x " << h);
        const uint32_t need = record10_end(n, w, h);
        Parsed exact({record10(100, n, w, h, false).length(need)});
        ASSERT_NE(exact.at(CMC_SLOT_LSC_LEGACY), nullptr);
        auto *lsc = exact.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
        ASSERT_NE(lsc, nullptr);
        EXPECT_EQ(lsc->num_light_sources, n);

        Parsed below({record10(100, n, w, h, false).length(need - 1)});
        for (int slot = CMC_SLOT_LSC_LEGACY; slot <= CMC_SLOT_LSC_LEGACY_3; ++slot) EXPECT_EQ(below.at(slot), nullptr);
        EXPECT_EQ(below.at(CMC_SLOT_LENS_SHADING), nullptr);
        const DiagRecorder::Entry *e = below.diag.find(DiagKind::kRecordRefused, 10);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, "size >= 16 + 8 * n * (w * h + 1)");
        EXPECT_EQ(e->event.expected, need);
    }
    // No light source: 16 bytes hold the whole record; the first table lies past its end.
    Parsed p({record10(100, 0, 3, 3, false).length(16)});
    EXPECT_NE(p.at(CMC_SLOT_LSC_LEGACY), nullptr);
    EXPECT_EQ(p.at(CMC_SLOT_LSC_LEGACY_2), nullptr);
    EXPECT_EQ(p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING)->header.size, 32u);
}

TEST(LensShadingLegacy, CountsThatWrap32BitArithmeticAreRefused) {
    // 8 * 8192 * (65535 * 1 + 1) = 2^32: in u32 the required length would be 16.
    Parsed p({RecordBuilder(10, 100).u16(10, 8192).u16(12, 65535).u16(14, 1).length(64)});
    EXPECT_EQ(p.at(CMC_SLOT_LSC_LEGACY), nullptr);
    EXPECT_EQ(p.diag.find(DiagKind::kRecordRefused, 10)->event.expected, (uint64_t(1) << 32) + 16);
}

// Which record fills slot 54 and which one slots 13 to 16, for every order of the two kinds.
TEST(LensShadingReplacement, Record28WinsAndRecord10FillsOnlyAnEmptySlot) {
    const RecordBuilder r10a = record10(100, 1, 1, 1, false, 0x10);
    const RecordBuilder r10b = record10(100, 1, 1, 1, false, 0x20);
    const RecordBuilder r28a = record28(kQuad, 1, 1, 1, 4, 0xA000);
    const RecordBuilder r28b = record28(kQuad, 1, 1, 1, 4, 0xB000);
    const RecordBuilder r28_short = record28(kQuad, 1, 1, 1).length(40);
    const RecordBuilder r10_short = record10(100, 1, 1, 1, false).length(20);
    struct Case {
        const char *name;
        std::vector<RecordBuilder> records;
        uint32_t slot54_light_source;  // 0: slot 54 empty
        uint16_t slot13_light_source;  // 0: slots 13 to 16 empty
    };
    const std::vector<Case> cases = {
        {"10 then 28", {r10a, r28a}, 0xA000, 0x10},
        {"28 then 10", {r28a, r10a}, 0xA000, 0x10},
        {"10 then 10: the first conversion stays", {r10a, r10b}, 0x10, 0x20},
        {"28 then 28", {r28a, r28b}, 0xB000, 0},
        {"10 then a rejected 28 empties slot 54", {r10a, r28_short}, 0, 0x10},
        {"28 then a rejected 10 keeps slot 54", {r28a, r10_short}, 0xA000, 0},
        {"10 then a rejected 10", {r10a, r10_short}, 0x10, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p(c.records);
        auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
        if (c.slot54_light_source == 0) {
            EXPECT_EQ(lsc, nullptr);
        } else {
            ASSERT_NE(lsc, nullptr);
            EXPECT_EQ(lsc->light_sources[0].light_source, c.slot54_light_source);
        }
        auto *record = p.at<uint8_t>(CMC_SLOT_LSC_LEGACY);
        if (c.slot13_light_source == 0) {
            for (int slot = CMC_SLOT_LSC_LEGACY; slot <= CMC_SLOT_LSC_LEGACY_3; ++slot) EXPECT_EQ(p.at(slot), nullptr);
        } else {
            ASSERT_NE(record, nullptr);
            EXPECT_EQ(le16(p.at<uint8_t>(CMC_SLOT_LSC_LEGACY_1)), c.slot13_light_source);
        }
    }
}

TEST(LensShadingRelease, DeinitReleasesPartlyBuiltStructures) {
    cmc_lens_shading4x4_deinit(nullptr);
    auto *lsc = static_cast<cmc_lens_shading4x4 *>(heap_alloc_zeroed(1, sizeof(cmc_lens_shading4x4)));
    lsc->num_light_sources = 3;  // entry array missing: only the structure is released
    cmc_lens_shading4x4_deinit(lsc);
}

}  // namespace
}  // namespace oz::test
