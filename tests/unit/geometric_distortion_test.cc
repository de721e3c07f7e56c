// Geometric distortion record 22 (slot 43): grids and planes, version gating of the sections and the
// trailing fields, the rules that drop section 2, negative grid sizes, and records that announce more
// than they hold (rejected when the grids do not fit, otherwise decoded up to the last complete
// section, trailing fields outside the record read as 0), at each exact boundary.
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

const cmc_geometric_distortion2 *gd_of(const Parsed &p) {
    return p.at<const cmc_geometric_distortion2>(CMC_SLOT_GEOMETRIC_DISTORTION);
}

TEST(GeometricDistortion, GridsShareOnePlaneBufferInRecordOrder) {
    GdLayout layout;
    layout.version = 100;
    Parsed p({gd_record(layout).r});
    const cmc_geometric_distortion2 *gd = gd_of(p);
    ASSERT_NE(gd, nullptr);
    EXPECT_EQ(gd->head_value_a, 0x11111111u);
    EXPECT_EQ(gd->grid_size_a * 10 + gd->grid_size_b, 35);
    EXPECT_EQ(gd->head_value_b, 0x22222222u);
    ASSERT_EQ(gd->num_grids, 2);
    EXPECT_EQ(gd->grids[1].grid_key, 0x101);
    // 3 x 5 planes of 15 values: grid 1's plane a is 120 bytes into the one buffer.
    EXPECT_EQ(gd->grids[1].plane_a - gd->grids[0].plane_a, 30);
    for (uint32_t g = 0; g < 2; ++g) {
        EXPECT_EQ(gd->grids[g].plane_b, gd->grids[g].plane_a + 15);
        for (uint32_t i = 0; i < 30; ++i) ASSERT_EQ(gd->grids[g].plane_a[i], plane_value(g, i));
    }
    EXPECT_EQ(gd->tables, nullptr);  // version 100 carries nothing else
    EXPECT_EQ(gd->table_set_value | gd->trailer_word, 0u);

    layout.grids = 0;
    Parsed none({gd_record(layout).r});
    ASSERT_NE(gd_of(none), nullptr);
    EXPECT_EQ(gd_of(none)->grids, nullptr);
}

TEST(GeometricDistortion, VersionGatesSectionsAndTrailingFields) {
    struct Case {
        uint8_t version;
        int32_t tables;
        uint32_t trailer_word;
        uint8_t trailer_byte;
        uint32_t trailer_pair0;
        uint8_t trailer_flag;
    };
    const Case cases[] = {
        {101, 0, 32, 0, 0, 0},  // no tables: the current table right after the two words
        {102, 2, 32, 0, 0, 0},
        {103, -3, 0x12345678, 0, 0, 0},  // a negative table count means no tables
        {104, 2, 0x12345678, 0x9A, 0, 0},
        {105, 2, 0x12345678, 0x9A, 0xAAAA0001, 0},
        {106, 2, 0x12345678, 0x9A, 0xAAAA0001, 0x5C},
        {107, 2, 0x12345678, 0x9A, 0xAAAA0001, 0x5C},  // decoded as 106; the extra byte is not read
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(int(c.version));
        GdLayout layout;
        layout.version = c.version;
        layout.tables = c.tables;
        GdRecord rec = gd_record(layout);
        Parsed p({rec.r.length(rec.end + (c.version > 106))});
        const cmc_geometric_distortion2 *gd = gd_of(p);
        ASSERT_NE(gd, nullptr);
        EXPECT_EQ(gd->table_set_value, 0x33333333u);
        EXPECT_EQ(gd->num_tables, c.tables);
        EXPECT_EQ(gd->tables != nullptr, c.tables > 0);
        EXPECT_EQ(gd->tables ? gd->tables[2079] : 0, c.tables > 0 ? uint8_t(2079 * 7 + 3) : 0);
        EXPECT_EQ(gd->current_table[1039], uint8_t(0xC0 ^ 1039));
        EXPECT_EQ(gd->lists != nullptr, c.version >= 102);
        if (c.version >= 102) {
            EXPECT_EQ(gd->list_set_value, 0x44444444u);
            ASSERT_EQ(gd->num_lists, 2);
            EXPECT_EQ(gd->lists[1].list_origin[0], 0x88);
            EXPECT_EQ(gd->lists[1].list_kind, 0x71u);
            ASSERT_EQ(gd->lists[1].num_values, 1u);
            EXPECT_EQ(gd->lists[1].values[0], 0x9064u);
            EXPECT_EQ(gd->lists[0].values[1], 0x9001u);
            EXPECT_EQ(gd->list_extras[47], uint8_t(0xE0 + 47));
        }
        EXPECT_EQ(gd->trailer_word, c.trailer_word);
        EXPECT_EQ(gd->trailer_byte, c.trailer_byte);
        EXPECT_EQ(gd->trailer_pair[0], c.trailer_pair0);
        EXPECT_EQ(gd->trailer_flag, c.trailer_flag);
    }
}

TEST(GeometricDistortion, ListSectionDrops) {
    struct Case {
        const char *name;
        uint8_t version;
        std::vector<uint32_t> lists;
        int32_t num_lists_field;
        bool dropped;
        uint32_t trailer_word;
    };
    const std::vector<Case> cases = {
        // An empty list drops the section; its extent is known, so the trailer after it is read.
        {"list without values", 105, {2, 0, 1}, -100, true, 0x12345678},
        {"list without values, version 102", 102, {0}, -100, true, 32},
        // No lists: zero-length allocations, the trailer right after the two section words.
        {"no lists", 103, {}, -100, false, 0x12345678},
        // A negative count: the section's end is unknown, so the trailing fields stay 0.
        {"negative list count", 104, {}, -1, true, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        GdLayout layout;
        layout.version = c.version;
        layout.lists = c.lists;
        layout.num_lists_field = c.num_lists_field;
        Parsed p({gd_record(layout).r});
        const cmc_geometric_distortion2 *gd = gd_of(p);
        ASSERT_NE(gd, nullptr);
        EXPECT_EQ(gd->num_lists, c.num_lists_field > -100 ? c.num_lists_field : int32_t(c.lists.size()));
        EXPECT_EQ(gd->lists == nullptr, c.dropped);
        EXPECT_EQ(gd->list_extras == nullptr, c.dropped);
        EXPECT_EQ(gd->list_set_value, c.dropped ? 0u : 0x44444444u);
        EXPECT_EQ(gd->trailer_word, c.trailer_word);
        EXPECT_EQ(gd->trailer_byte, c.version >= 104 && c.trailer_word ? 0x9A : 0);
        EXPECT_EQ(p.diag.find(DiagKind::kSectionDropped, 22) != nullptr, c.dropped);
    }
}

TEST(GeometricDistortion, NegativeGridSizesAreRejected) {
    for (auto [a, b] : {std::pair<int16_t, int16_t>{-1, 3}, {3, -1}, {-2, -3}, {-32768, 1}}) {
        SCOPED_TRACE(testing::Message() << a << " x " << b);
        GdLayout layout;
        layout.version = 100;
        layout.grids = 0;
        GdRecord rec = gd_record(layout);
        Parsed p({rec.r.i16(12, a).i16(14, b)});
        EXPECT_EQ(gd_of(p), nullptr);
        EXPECT_EQ(p.rule(DiagKind::kRecordRefused, 22), "grid sizes >= 0");
    }
}

TEST(GeometricDistortion, ShortRecordsKeepTheirCompleteSections) {
    const GdRecord full = gd_record(GdLayout{});
    struct Case {
        const char *name;
        uint32_t length;
        bool decoded, tables, lists;
        uint32_t trailer_word;
        uint8_t trailer_flag;
        const char *rule;  // the dropped section, or the refusal
    };
    const Case cases[] = {
        {"whole", full.end, true, true, true, 0x12345678, 0x5C, ""},
        {"trailer_flag one byte short", full.end - 1, true, true, true, 0x12345678, 0, ""},
        {"trailer_word exactly", full.o3 + 4, true, true, true, 0x12345678, 0, ""},
        {"trailer_word one byte short", full.o3 + 3, true, true, true, 0, 0, ""},
        {"list extras one byte short", full.o3 - 1, true, true, false, 0, 0,
         "section 2: num_lists >= 0 and entries and extras within size"},
        {"list words one byte short", full.o2 + 7, true, true, false, 0, 0, "section 2: size >= o2 + 8"},
        {"current table one byte short", full.o2 - 1, true, false, false, 0, 0,
         "section 1: size >= o1 + 8 + 1040 * K + 1040"},
        {"grids exactly", full.o1, true, false, false, 0, 0, "section 1: size >= o1 + 8"},
        {"grids one byte short", full.o1 - 1, false, false, false, 0, 0, "size >= 22 + G * (2 + 8 * N) (grids)"},
        {"fixed part one byte short", 21, false, false, false, 0, 0, "size >= 22 (fixed part)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p({gd_record(GdLayout{}).r.length(c.length)});
        const cmc_geometric_distortion2 *gd = gd_of(p);
        ASSERT_EQ(gd != nullptr, c.decoded);
        if (!c.decoded) {
            EXPECT_EQ(p.rule(DiagKind::kRecordRefused, 22), c.rule);
            continue;
        }
        EXPECT_EQ(gd->tables != nullptr, c.tables);
        EXPECT_EQ(gd->current_table[0], c.tables ? 0xC0 : 0);
        // The two words of a section are kept whenever they lie inside the record.
        EXPECT_EQ(gd->num_tables, c.length >= full.o1 + 8 ? 2 : 0);
        EXPECT_EQ(gd->lists != nullptr, c.lists);
        EXPECT_EQ(gd->trailer_word, c.trailer_word);
        EXPECT_EQ(gd->trailer_flag, c.trailer_flag);
        EXPECT_EQ(p.rule(DiagKind::kSectionDropped, 22), c.rule);
    }
    // Counts far beyond the record are refused before anything is allocated for them.
    GdLayout small;
    small.version = 103;
    small.tables = 0;
    small.lists = {};
    GdRecord grids = gd_record(small), tables = gd_record(small), lists = gd_record(small);
    Parsed p1({grids.r.i16(12, 32767).i16(14, 32767).u16(20, 65535)});
    Parsed p2({tables.r.i32(tables.o1 + 4, INT32_MAX)});
    Parsed p3({lists.r.i32(lists.o2 + 4, INT32_MAX)});
    EXPECT_EQ(gd_of(p1), nullptr);
    ASSERT_NE(gd_of(p2), nullptr);
    EXPECT_EQ(gd_of(p2)->tables, nullptr);
    ASSERT_NE(gd_of(p3), nullptr);
    EXPECT_EQ(gd_of(p3)->lists, nullptr);
}

}  // namespace
}  // namespace oz::test
