// Geometric distortion record 22 (slot 43): grids and planes, version gating of the sections and
// trailing fields, the rules that drop section 2, negative grid sizes, and the decoder's handling of a
// record that announces more than it holds (rejected when its grids do not fit, otherwise decoded up to
// its last complete section, with trailing fields outside the record read as 0).
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

struct GdSpec {
    uint8_t version = 106;
    int16_t a = 3, b = 5;
    uint16_t grids = 2;
    int32_t tables = 2;
    std::vector<uint32_t> lists = {2, 1};  // num_values per list
    int32_t num_lists_field = -100;       // overrides the list count written when > -100
    uint32_t extra = 0;                   // bytes after the last field
};

struct GdRecord {
    RecordBuilder r{22, 100};
    uint32_t o1 = 0, o2 = 0, o3 = 0, end = 0;
};

uint32_t plane_value(uint32_t g, uint32_t i) { return 0x1000u * (g + 1) + i; }
uint8_t table_byte(uint32_t i) { return uint8_t(i * 7 + 3); }

GdRecord gd_record(const GdSpec &s) {
    GdRecord out;
    RecordBuilder &r = out.r = RecordBuilder(22, s.version);
    r.u32(8, 0x11111111).i16(12, s.a).i16(14, s.b).u32(16, 0x22222222).u16(20, s.grids);
    const uint32_t N = uint32_t(int32_t(s.a) * s.b);
    uint32_t p = 22;
    for (uint32_t g = 0; g < s.grids; ++g) {
        r.u16(p, uint16_t(0x100 + g));
        for (uint32_t i = 0; i < 2 * N; ++i) r.u32(p + 2 + 4 * i, plane_value(g, i));
        p += 2 + 8 * N;
    }
    out.o1 = p;
    if (s.version >= 101) {
        r.u32(p, 0x33333333).i32(p + 4, s.tables);
        p += 8;
        const uint32_t K = uint32_t(std::max(s.tables, 0));
        for (uint32_t i = 0; i < 1040 * K; ++i) r.u8(p + i, table_byte(i));
        p += 1040 * K;
        for (uint32_t i = 0; i < 1040; ++i) r.u8(p + i, uint8_t(0xC0 ^ i));
        p += 1040;
    }
    out.o2 = p;
    if (s.version >= 102) {
        r.u32(p, 0x44444444).i32(p + 4, s.num_lists_field > -100 ? s.num_lists_field : int32_t(s.lists.size()));
        p += 8;
        for (uint32_t e = 0; e < s.lists.size(); ++e) {
            for (uint32_t i = 0; i < 8; ++i) r.u8(p + i, uint8_t(0x80 + 8 * e + i));
            r.u32(p + 8, 0x70 + e).u32(p + 12, s.lists[e]);
            for (uint32_t v = 0; v < s.lists[e]; ++v) r.u32(p + 16 + 4 * v, 0x9000 + 100 * e + v);
            p += 16 + 4 * s.lists[e];
        }
        for (uint32_t i = 0; i < 24 * s.lists.size(); ++i) r.u8(p + i, uint8_t(0xE0 + i));
        p += 24 * uint32_t(s.lists.size());
    }
    out.o3 = p;
    if (s.version >= 103) r.u32(p, 0x12345678), p += 4;
    if (s.version >= 104) r.u8(p, 0x9A), p += 1;
    if (s.version >= 105) r.u32(p, 0xAAAA0001).u32(p + 4, 0xBBBB0002), p += 8;
    if (s.version >= 106) r.u8(p, 0x5C), p += 1;
    out.end = p + s.extra;
    r.length(out.end);
    return out;
}

const cmc_geometric_distortion2 *gd_of(const Parsed &p) {
    return p.at<const cmc_geometric_distortion2>(CMC_SLOT_GEOMETRIC_DISTORTION);
}

TEST(GeometricDistortion, GridsShareOnePlaneBufferInRecordOrder) {
    GdSpec spec;
    spec.version = 100;
    Parsed p({gd_record(spec).r});
    const cmc_geometric_distortion2 *gd = gd_of(p);
    ASSERT_NE(gd, nullptr);
    EXPECT_EQ(gd->head_value_a, 0x11111111u);
    EXPECT_EQ(gd->grid_size_a, 3);
    EXPECT_EQ(gd->grid_size_b, 5);
    EXPECT_EQ(gd->head_value_b, 0x22222222u);
    ASSERT_EQ(gd->num_grids, 2);
    const uint32_t *buffer = gd->grids[0].plane_a;
    EXPECT_EQ(gd->grids[1].grid_key, 0x101);
    EXPECT_EQ(reinterpret_cast<const uint8_t *>(gd->grids[1].plane_a) - reinterpret_cast<const uint8_t *>(buffer), 120);
    for (uint32_t g = 0; g < 2; ++g) {
        EXPECT_EQ(gd->grids[g].plane_b, gd->grids[g].plane_a + 15);
        for (uint32_t i = 0; i < 15; ++i) {
            ASSERT_EQ(gd->grids[g].plane_a[i], plane_value(g, i));
            ASSERT_EQ(gd->grids[g].plane_b[i], plane_value(g, 15 + i));
        }
    }
    // Version 100 carries nothing else.
    EXPECT_EQ(gd->tables, nullptr);
    EXPECT_EQ(gd->lists, nullptr);
    EXPECT_EQ(gd->table_set_value, 0u);
    EXPECT_EQ(gd->trailer_word, 0u);

    spec.grids = 0;
    Parsed none({gd_record(spec).r});
    ASSERT_NE(gd_of(none), nullptr);
    EXPECT_EQ(gd_of(none)->grids, nullptr);
}

TEST(GeometricDistortion, VersionGatesSectionsAndTrailingFields) {
    struct Case {
        uint8_t version;
        bool lists;
        uint32_t trailer_word;
        uint8_t trailer_byte;
        uint32_t trailer_pair0;
        uint8_t trailer_flag;
    };
    const Case cases[] = {
        {101, false, 32, 0, 0, 0},
        {102, true, 32, 0, 0, 0},
        {103, true, 0x12345678, 0, 0, 0},
        {104, true, 0x12345678, 0x9A, 0, 0},
        {105, true, 0x12345678, 0x9A, 0xAAAA0001, 0},
        {106, true, 0x12345678, 0x9A, 0xAAAA0001, 0x5C},
        {107, true, 0x12345678, 0x9A, 0xAAAA0001, 0x5C},  // decoded as 106
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(int(c.version));
        GdSpec spec;
        spec.version = c.version;
        spec.extra = c.version > 106 ? 16 : 0;
        Parsed p({gd_record(spec).r});
        const cmc_geometric_distortion2 *gd = gd_of(p);
        ASSERT_NE(gd, nullptr);
        EXPECT_EQ(gd->table_set_value, 0x33333333u);
        EXPECT_EQ(gd->num_tables, 2);
        ASSERT_NE(gd->tables, nullptr);
        EXPECT_EQ(gd->tables[2079], table_byte(2079));
        EXPECT_EQ(gd->current_table[0], 0xC0);
        EXPECT_EQ(gd->current_table[1039], uint8_t(0xC0 ^ 1039));
        EXPECT_EQ(gd->lists != nullptr, c.lists);
        if (c.lists) {
            EXPECT_EQ(gd->list_set_value, 0x44444444u);
            ASSERT_EQ(gd->num_lists, 2);
            EXPECT_EQ(gd->lists[1].list_origin[0], 0x88);
            EXPECT_EQ(gd->lists[1].list_kind, 0x71u);
            ASSERT_EQ(gd->lists[1].num_values, 1u);
            EXPECT_EQ(gd->lists[1].values[0], 0x9064u);
            EXPECT_EQ(gd->lists[0].values[1], 0x9001u);
            ASSERT_NE(gd->list_extras, nullptr);
            EXPECT_EQ(gd->list_extras[47], uint8_t(0xE0 + 47));
        }
        EXPECT_EQ(gd->trailer_word, c.trailer_word);
        EXPECT_EQ(gd->trailer_byte, c.trailer_byte);
        EXPECT_EQ(gd->trailer_pair[0], c.trailer_pair0);
        EXPECT_EQ(gd->trailer_pair[1], c.trailer_pair0 ? 0xBBBB0002u : 0u);
        EXPECT_EQ(gd->trailer_flag, c.trailer_flag);
    }
}

TEST(GeometricDistortion, NoTablesReadsTheCurrentTableRightAfterTheCount) {
    GdSpec spec;
    spec.version = 101;
    spec.tables = 0;
    Parsed p({gd_record(spec).r});
    ASSERT_NE(gd_of(p), nullptr);
    EXPECT_EQ(gd_of(p)->tables, nullptr);
    EXPECT_EQ(gd_of(p)->current_table[5], uint8_t(0xC0 ^ 5));
    EXPECT_EQ(gd_of(p)->trailer_word, 32u);

    spec.tables = -3;  // a negative count means no tables
    Parsed negative({gd_record(spec).r});
    ASSERT_NE(gd_of(negative), nullptr);
    EXPECT_EQ(gd_of(negative)->num_tables, -3);
    EXPECT_EQ(gd_of(negative)->tables, nullptr);
    EXPECT_EQ(gd_of(negative)->current_table[5], uint8_t(0xC0 ^ 5));
}

TEST(GeometricDistortion, ListSectionDrops) {
    struct Case {
        const char *name;
        uint8_t version;
        std::vector<uint32_t> lists;
        int32_t num_lists_field;
        bool dropped;
        uint32_t trailer_word;  // where the trailing fields end up
    };
    const std::vector<Case> cases = {
        // An empty list drops the section; its extent is known, so the trailer after it is read.
        {"list without values", 105, {2, 0, 1}, -100, true, 0x12345678},
        {"list without values, version 102", 102, {0}, -100, true, 32},
        // No lists: zero-length allocations, and the trailer right after the two section words.
        {"no lists", 103, {}, -100, false, 0x12345678},
        // A negative count: the section's extent is unknown, so the trailing fields stay 0.
        {"negative list count", 104, {}, -1, true, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        GdSpec spec;
        spec.version = c.version;
        spec.lists = c.lists;
        spec.num_lists_field = c.num_lists_field;
        const GdRecord rec = gd_record(spec);
        Parsed p({rec.r});
        const cmc_geometric_distortion2 *gd = gd_of(p);
        ASSERT_NE(gd, nullptr);
        EXPECT_EQ(gd->num_lists, c.num_lists_field > -100 ? c.num_lists_field : int32_t(c.lists.size()));
        EXPECT_EQ(gd->lists == nullptr, c.dropped);
        EXPECT_EQ(gd->list_extras == nullptr, c.dropped);
        EXPECT_EQ(gd->list_set_value, c.dropped ? 0u : 0x44444444u);
        EXPECT_EQ(gd->trailer_word, c.trailer_word);
        EXPECT_EQ(p.diag.find(DiagKind::kSectionDropped, 22) != nullptr, c.dropped);
        if (c.version >= 104 && c.trailer_word != 0) {
            EXPECT_EQ(gd->trailer_byte, 0x9A);
        }
    }
}

TEST(GeometricDistortion, NegativeGridSizesAreRejected) {
    for (auto [a, b] : {std::pair<int16_t, int16_t>{-1, 3}, {3, -1}, {-2, -3}, {-32768, 1}}) {
        SCOPED_TRACE(testing::Message() << a << " x " << b);
        GdSpec spec;
        spec.version = 100;
        spec.a = 1;
        spec.b = 1;
        GdRecord rec = gd_record(spec);
        rec.r.i16(12, a).i16(14, b);
        Parsed p({rec.r});
        EXPECT_EQ(gd_of(p), nullptr);
        EXPECT_EQ(p.rule(DiagKind::kRecordRefused, 22), "grid sizes >= 0");
    }
}

// The decoder's choice for a record that announces more than it holds, at each exact boundary.
TEST(GeometricDistortion, ShortRecordsKeepTheirCompleteSections) {
    const GdRecord full = gd_record(GdSpec{});
    struct Case {
        const char *name;
        uint32_t length;
        bool decoded;
        bool tables;
        bool lists;
        uint32_t trailer_word;
        uint8_t trailer_flag;
        const char *rule;  // dropped section or refusal
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
        {"table words one byte short", full.o1 + 7, true, false, false, 0, 0, "section 1: size >= o1 + 8"},
        {"grids exactly", full.o1, true, false, false, 0, 0, "section 1: size >= o1 + 8"},
        {"grids one byte short", full.o1 - 1, false, false, false, 0, 0, "size >= 22 + G * (2 + 8 * N) (grids)"},
        {"fixed part one byte short", 21, false, false, false, 0, 0, "size >= 22 (fixed part)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        GdRecord rec = gd_record(GdSpec{});
        Parsed p({rec.r.length(c.length)});
        const cmc_geometric_distortion2 *gd = gd_of(p);
        ASSERT_EQ(gd != nullptr, c.decoded);
        if (!c.decoded) {
            EXPECT_EQ(p.rule(DiagKind::kRecordRefused, 22), c.rule);
            continue;
        }
        EXPECT_EQ(gd->tables != nullptr, c.tables);
        EXPECT_EQ(gd->current_table[0], c.tables ? 0xC0 : 0);
        EXPECT_EQ(gd->lists != nullptr, c.lists);
        EXPECT_EQ(gd->trailer_word, c.trailer_word);
        EXPECT_EQ(gd->trailer_flag, c.trailer_flag);
        EXPECT_EQ(p.rule(DiagKind::kSectionDropped, 22), c.rule);
        if (c.length == full.o2 - 1) {
            // The two section-1 words lie inside the record and are kept.
            EXPECT_EQ(gd->table_set_value, 0x33333333u);
            EXPECT_EQ(gd->num_tables, 2);
        }
    }
}

TEST(GeometricDistortion, HugeCountsAreRefusedBeforeAnythingIsAllocated) {
    // 65535 grids of 32767 x 32767 values; 2^31 - 1 tables; 2^31 - 1 lists: all in a record of a few
    // hundred bytes.
    GdSpec spec;
    spec.version = 100;
    GdRecord grids = gd_record(spec);
    grids.r.i16(12, 32767).i16(14, 32767).u16(20, 65535);
    Parsed p1({grids.r});
    EXPECT_EQ(gd_of(p1), nullptr);

    spec.version = 103;
    spec.tables = 0;
    spec.lists = {};
    GdRecord tables = gd_record(spec);
    tables.r.i32(tables.o1 + 4, INT32_MAX);
    Parsed p2({tables.r});
    ASSERT_NE(gd_of(p2), nullptr);
    EXPECT_EQ(gd_of(p2)->tables, nullptr);

    GdRecord lists = gd_record(spec);
    lists.r.i32(lists.o2 + 4, INT32_MAX);
    Parsed p3({lists.r});
    ASSERT_NE(gd_of(p3), nullptr);
    EXPECT_EQ(gd_of(p3)->lists, nullptr);
    EXPECT_EQ(gd_of(p3)->num_lists, INT32_MAX);
}

}  // namespace
}  // namespace oz::test
