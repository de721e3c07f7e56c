// Lens-shading records 10 and 28 (slots 13 to 16 and 54) and shading-ratio records 11 and 33 (slot 57):
// decoded values and cell tables, the legacy extension by version, exact size boundaries and counts
// that would wrap 32-bit lengths, and the replacement rules between the kinds in both orders.
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

// Every cell of `e` holds its own copy of the table the map names, and nothing where it names none.
template <class Entry>
void expect_cells(const Entry &e, const int8_t (&map)[4][4], uint32_t samples, uint32_t entry) {
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 4; ++c) {
            SCOPED_TRACE(testing::Message() << "entry " << entry << " cell " << r << "," << c);
            ASSERT_EQ(e.tables[r][c] != nullptr, map[r][c] >= 0);
            for (uint32_t s = 0; map[r][c] >= 0 && s < samples; ++s)
                ASSERT_EQ(e.tables[r][c][s], sample(entry, map[r][c], s)) << s;
        }
    }
}

TEST(LensShading, Record28CopiesEveryCellTable) {
    Parsed p({record4x4(28, kQuadMap, 2, 3, 2, 0xA000)});
    auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    EXPECT_EQ(lsc->header.size, 176u);
    EXPECT_EQ(lsc->header.id, 28);
    EXPECT_EQ(0, std::memcmp(lsc->channel_map, kQuadMap.data(), 16));
    EXPECT_EQ(lsc->num_light_sources * 10000 + lsc->width * 100 + lsc->height, 20302);
    for (uint32_t e = 0; e < 2; ++e) {
        const cmc_lens_shading_light_source &ls = lsc->light_sources[e];
        EXPECT_EQ(ls.light_source, 0xA000 + e);
        EXPECT_EQ(ls.params[3], float(e + 4));
        EXPECT_EQ(ls.fraction_bits, 12);  // 16 - integer_bits 4
        expect_cells(ls, lsc->channel_map, 6, e);
        EXPECT_NE(ls.tables[0][0], ls.tables[0][1]);  // one table, separate copies
    }
    // Only tables 0 and 2 named: every block still holds table 1, so block 1 starts 22 + 3 * T on.
    const CellMap sparse = {0, -1, -1, -1, 2, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    Parsed q({record4x4(28, sparse, 2, 2, 2, 0xA000, 20)});
    lsc = q.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    expect_cells(lsc->light_sources[1], lsc->channel_map, 4, 1);
    EXPECT_EQ(lsc->light_sources[1].fraction_bits, 65532);  // 16 - 20 in 16 bits
}

TEST(LensShading, Record10IsKeptAndConverted) {
    Parsed p({record_legacy(10, 101, 2, 2, 2, true, 0x10)});
    auto *record = p.at<uint8_t>(CMC_SLOT_LSC_LEGACY);
    ASSERT_NE(record, nullptr);
    const auto *view = reinterpret_cast<const cmc_parsed_lens_shading *>(&p.cmc->slot[CMC_SLOT_LSC_LEGACY]);
    EXPECT_EQ(view->light_source_data, record + 16);
    EXPECT_EQ(view->first_table, record + 24);
    EXPECT_EQ(view->extension, record + legacy_blocks_end(10, 2, 2, 2));
    auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
    ASSERT_NE(lsc, nullptr);
    EXPECT_EQ(lsc->header.size, 2u * 2 * 2 * 176 + 32);
    EXPECT_EQ(lsc->header.version * 100 + lsc->header.reserved, 10000);
    EXPECT_EQ(lsc->header.id, 28);
    EXPECT_EQ(0, std::memcmp(lsc->channel_map, kLegacyMap.data(), 16));
    for (uint32_t e = 0; e < 2; ++e) {
        const cmc_lens_shading_light_source &ls = lsc->light_sources[e];
        EXPECT_EQ(ls.light_source, 0x10 + e);
        EXPECT_EQ(ls.fraction_bits, 12);
        EXPECT_EQ(ls.params[0], float(e + 1) + 0.5f);  // ((e + 1) * 256 + 128) / 256
        EXPECT_EQ(ls.params[1], 0.25f);
        EXPECT_EQ(ls.params[2], float(32768 + e) / 65536.0f);
        EXPECT_EQ(ls.params[3], 0.25f);
        expect_cells(ls, lsc->channel_map, 4, e);
    }
}

TEST(LensShading, LegacyExtensionByVersion) {
    struct Case {
        const char *name;
        uint16_t id;
        uint8_t version;
        uint32_t cut;      // bytes cut from the built record (which has the extension)
        bool kept;         // the record is accepted
        bool extension;    // params[0] and [1] come from it
    };
    const Case cases[] = {
        {"10, version 100 ignores it", 10, 100, 0, true, false},
        {"10, version 101", 10, 101, 0, true, true},
        {"10, version 101, extension short: kept without it", 10, 101, 1, true, false},
        {"11, version 100 ignores it", 11, 100, 0, true, false},
        {"11, version 101", 11, 101, 0, true, true},
        {"11, version 101, extension short: rejected whole", 11, 101, 1, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RecordBuilder r = record_legacy(c.id, c.version, 1, 2, 2, true, 0x10);
        Parsed p({r.length(r.length() - c.cut)});
        const float *params = nullptr;
        if (c.id == 10) {
            EXPECT_EQ(p.at(CMC_SLOT_LSC_LEGACY_3) != nullptr, c.extension);
            if (auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING)) params = lsc->light_sources[0].params;
        } else if (auto *ratio = p.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO)) {
            params = ratio->light_sources[0].params;
        }
        ASSERT_EQ(params != nullptr, c.kept);
        EXPECT_EQ(params ? params[0] + params[1] : -1.0f, !c.kept ? -1.0f : c.extension ? 1.75f : 0.0f);
    }
}

TEST(LensShading, SizeBoundaries) {
    const CellMap none = {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
    struct Case {
        const char *name;
        RecordBuilder record;
        int slot;
        uint32_t need;
        const char *rule;
    };
    const char *rule10 = "size >= 16 + 8 * n * (w * h + 1)";
    const char *rule11 = "size >= round8(14 + n * (10 + 4 * 2 * w * h))";
    const char *rule4x4 = "size >= round8(32 + n * (22 + (m + 1) * 2 * w * h))";
    const std::vector<Case> cases = {
        {"10: 1 x 2 x 2", record_legacy(10, 100, 1, 2, 2, false, 1), CMC_SLOT_LSC_LEGACY, 56, rule10},
        {"10: 3 x 1 x 5", record_legacy(10, 100, 3, 1, 5, false, 1), CMC_SLOT_LSC_LEGACY, 160, rule10},
        {"10: no light source", record_legacy(10, 100, 0, 7, 7, false, 1), CMC_SLOT_LSC_LEGACY, 16, rule10},
        {"11: 2 x 2 x 1", record_legacy(11, 100, 2, 2, 1, false, 1), CMC_SLOT_LENS_SHADING_RATIO, 72, rule11},
        {"11: no light source", record_legacy(11, 101, 0, 4, 4, true, 1), CMC_SLOT_LENS_SHADING_RATIO, 16, rule11},
        {"11: extension", record_legacy(11, 101, 3, 1, 1, true, 1), CMC_SLOT_LENS_SHADING_RATIO, 80,
         "extension: size >= round8(14 + n * (10 + 4 * 2 * w * h) + 4 * n)"},
        {"28: four tables", record4x4(28, kQuadMap, 2, 3, 2, 1), CMC_SLOT_LENS_SHADING, 176, rule4x4},
        {"28: no tables", record4x4(28, none, 1, 9, 9, 1), CMC_SLOT_LENS_SHADING, 56, rule4x4},
        {"28: no light source", record4x4(28, kQuadMap, 0, 9, 9, 1), CMC_SLOT_LENS_SHADING, 32, "size >= 32 (fixed fields)"},
        {"33: two light sources", record4x4(33, kLegacyMap, 2, 3, 1, 1), CMC_SLOT_LENS_SHADING_RATIO, 128, rule4x4},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed exact({RecordBuilder(c.record).length(c.need)});
        EXPECT_NE(exact.at(c.slot), nullptr);
        Parsed below({RecordBuilder(c.record).length(c.need - 1)});
        EXPECT_EQ(below.at(c.slot), nullptr);
        const uint16_t id = le16(c.record.build().data() + 6);
        const DiagRecorder::Entry *e = below.diag.find(DiagKind::kRecordRefused, id);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, c.rule);
        EXPECT_EQ(e->event.actual, c.need - 1);
    }
    // Lengths are 64-bit: 8 * 8192 * (65535 + 1) is 2^32 (16 in u32), and 65535 blocks of 65535 x 65535.
    Parsed wrap10({RecordBuilder(10, 100).u16(10, 8192).u16(12, 65535).u16(14, 1).length(64)});
    EXPECT_EQ(wrap10.at(CMC_SLOT_LSC_LEGACY), nullptr);
    EXPECT_EQ(wrap10.diag.find(DiagKind::kRecordRefused, 10)->event.expected, (uint64_t(1) << 32) + 16);
    Parsed huge28({RecordBuilder(28, 100).u16(24, 65535).u16(28, 65535).u16(30, 65535).length(64)});
    EXPECT_EQ(huge28.at(CMC_SLOT_LENS_SHADING), nullptr);
    EXPECT_GT(huge28.diag.find(DiagKind::kRecordRefused, 28)->event.expected, uint64_t(1) << 32);
}

TEST(LensShadingRatio, ValuesAndModuleIndex) {
    Parsed p({record_legacy(11, 101, 2, 3, 1, true, 0x30)});
    auto *ratio = p.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO);
    ASSERT_NE(ratio, nullptr);
    EXPECT_EQ(ratio->header.id * 1000 + ratio->header.version, 11101);
    EXPECT_EQ(0, std::memcmp(ratio->channel_map, kLegacyMap.data(), 16));
    for (uint32_t e = 0; e < 2; ++e) {
        const cmc_lens_shading_ratio_light_source &ls = ratio->light_sources[e];
        EXPECT_EQ(ls.nvm_source_index, e);  // stored as it is: 0 means none
        EXPECT_EQ(ls.light_source, 0x30 + e);
        EXPECT_EQ(ls.params[0], float(e + 1) + 0.5f);
        EXPECT_EQ(ls.params[2], float(32768 + e) / 65536.0f);
        EXPECT_EQ(ls.fraction_bits, 12);
        expect_cells(ls, ratio->channel_map, 3, e);
    }
    // Record 33 stores its 0-based module index plus one, in 16 bits.
    for (auto [stored, index] : {std::pair<uint16_t, uint16_t>{0, 1}, {4, 5}, {65535, 0}}) {
        Parsed q({record4x4(33, kQuadMap, 1, 2, 2, 0x50, 6, stored)});
        auto *r33 = q.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO);
        ASSERT_NE(r33, nullptr);
        EXPECT_EQ(r33->light_sources[0].nvm_source_index, index) << stored;
        EXPECT_EQ(r33->light_sources[0].fraction_bits, 10);
        expect_cells(r33->light_sources[0], r33->channel_map, 4, 0);
    }
}

// Which record fills slots 54, 13 and 57, for every order of the kinds.
TEST(LensShading, ReplacementRulesInBothOrders) {
    const RecordBuilder r10a = record_legacy(10, 100, 1, 1, 1, false, 0x10);
    const RecordBuilder r10b = record_legacy(10, 100, 1, 1, 1, false, 0x20);
    const RecordBuilder r10_bad = RecordBuilder(r10a).length(20);
    const RecordBuilder r28a = record4x4(28, kQuadMap, 1, 1, 1, 0xA000);
    const RecordBuilder r28b = record4x4(28, kQuadMap, 1, 1, 1, 0xB000);
    const RecordBuilder r28_bad = RecordBuilder(r28a).length(40);
    const RecordBuilder r11a = record_legacy(11, 100, 1, 1, 1, false, 0x30);
    const RecordBuilder r11b = record_legacy(11, 100, 1, 1, 1, false, 0x40);
    const RecordBuilder r11_bad = RecordBuilder(r11a).length(20);
    const RecordBuilder r33a = record4x4(33, kQuadMap, 1, 1, 1, 0x50);
    const RecordBuilder r33b = record4x4(33, kQuadMap, 1, 1, 1, 0x60);
    const RecordBuilder r33_bad = RecordBuilder(r33a).length(40);
    struct Case {
        const char *name;
        std::vector<RecordBuilder> records;
        uint32_t slot54, slot13, slot57;  // light source of the entry each slot holds; 0: empty
        bool ignored;                     // a record 11 was ignored
    };
    const std::vector<Case> cases = {
        {"10, 28", {r10a, r28a}, 0xA000, 0x10, 0, false},
        {"28, 10", {r28a, r10a}, 0xA000, 0x10, 0, false},
        {"10, 10: the first conversion stays", {r10a, r10b}, 0x10, 0x20, 0, false},
        {"28, 28", {r28a, r28b}, 0xB000, 0, 0, false},
        {"10, rejected 28: slot 54 empties", {r10a, r28_bad}, 0, 0x10, 0, false},
        {"28, rejected 10", {r28a, r10_bad}, 0xA000, 0, 0, false},
        {"11, 33", {r11a, r33a}, 0, 0, 0x50, false},
        {"33, 11", {r33a, r11a}, 0, 0, 0x50, true},
        {"11, 11", {r11a, r11b}, 0, 0, 0x30, true},
        {"33, 33", {r33a, r33b}, 0, 0, 0x60, false},
        {"11, rejected 33", {r11a, r33_bad}, 0, 0, 0, false},
        {"rejected 11, 11", {r11_bad, r11b}, 0, 0, 0x40, false},
        {"rejected 33, 11", {r33_bad, r11a}, 0, 0, 0x30, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p(c.records);
        auto *lsc = p.at<cmc_lens_shading4x4>(CMC_SLOT_LENS_SHADING);
        auto *ratio = p.at<cmc_lens_shading_ratio>(CMC_SLOT_LENS_SHADING_RATIO);
        EXPECT_EQ(lsc ? lsc->light_sources[0].light_source : 0, c.slot54);
        EXPECT_EQ(ratio ? ratio->light_sources[0].light_source : 0, c.slot57);
        auto *block = p.at<uint8_t>(CMC_SLOT_LSC_LEGACY_1);
        EXPECT_EQ(block ? le16(block) : 0, c.slot13);
        EXPECT_EQ(p.at(CMC_SLOT_LSC_LEGACY) != nullptr, c.slot13 != 0);
        EXPECT_EQ(p.diag.find(DiagKind::kRecordIgnored, 11) != nullptr, c.ignored);
    }
}

}  // namespace
}  // namespace oz::test
