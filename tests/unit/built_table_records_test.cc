// Records with built tables (15, 24, 25, 26, 27): every size test at the exact required size and one
// byte below, the sample walk and flag block of record 15, record 24's return codes and partial
// entries, the bounds of the record 25 and 27 walks, record 26's defaults, and replacement with the
// nested structures released (the fixture checks that no block stays behind).
#include "tests/unit/general_records_fixture.h"

namespace oz::test {
namespace {

// Record 15 with n = 1, m = 1 (P = 44); from version 101 k samples of lengths `lengths` from byte 46,
// then (version 102) the flag byte and table E.
RecordBuilder record15(uint8_t version, std::vector<uint16_t> lengths = {}, uint8_t flag = 0) {
    RecordBuilder r(15, version);
    r.u16(8, 1).u16(10, 1);
    for (uint32_t i = 12; i < 44; ++i) r.u8(i, uint8_t(i));
    r.u16(44, uint16_t(lengths.size()));
    uint32_t at = 46;
    for (uint16_t l : lengths) {
        r.u8(at, 0xA0).u16(at + 10, l);
        for (uint32_t i = 0; i < 2u * l; ++i) r.u16(at + 12 + 2 * i, uint16_t(at + i));
        at += 12 + 4 * l;
    }
    r.u8(at, flag);
    for (uint32_t i = 0; i < 16; ++i) r.u8(at + 1 + i, uint8_t(0xE0 + i));
    return r;
}

TEST(BuiltTableRecords, Record15TablesSamplesAndFlagBlock) {
    const struct {
        const char *name;
        RecordBuilder record;
        bool kept, samples, flags, table_e;
    } cases[] = {
        {"v100 at round8(P)", record15(100).length(48), true, false, false, false},
        {"v100 one below", record15(100).length(47), false, false, false, false},
        {"v101 k = 0", record15(101).length(48), true, false, false, false},
        {"v101 samples L 1, 2", record15(101, {1, 2}).length(88), true, true, false, false},
        {"v101 last sample one below", record15(101, {1, 2}).length(87), true, false, false, false},
        {"v101 L 0: head at round8(58)", record15(101, {0}).length(64), true, true, false, false},
        {"v101 L 0: one below", record15(101, {0}).length(63), true, false, false, false},
        {"v102 flag 0", record15(102, {1, 2}, 0).length(88), true, true, true, false},
        {"v102 flag 1, table E at round8(99)", record15(102, {1, 2}, 1).length(104), true, true, true, true},
        {"v102 flag 1, table E one below", record15(102, {1, 2}, 1).length(103), true, true, false, false},
        {"v102 failed walk: no flag block", record15(102, {1, 2}, 0).length(87), true, false, false, false},
        {"v102 k = 0: flag at 46", record15(102, {}, 1).length(64), true, false, true, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p({c.record});
        ASSERT_EQ(p.slot(CMC_SLOT_RECORD15) != nullptr, c.kept);
        const long tables[] = {12, 20, 28, 36};
        for (int t = 0; t < 4; ++t) EXPECT_EQ(p.offset(CMC_SLOT_RECORD15_TABLE_A + t, CMC_SLOT_RECORD15), c.kept ? tables[t] : -1);
        EXPECT_EQ(p.slot(CMC_SLOT_RECORD15_UNUSED), nullptr);
        const auto *samples = p.as<cmc_record15_sample_table>(CMC_SLOT_RECORD15_SAMPLES);
        ASSERT_EQ(samples != nullptr, c.samples);
        const uint8_t *rec = p.as<uint8_t>(CMC_SLOT_RECORD15);
        for (uint32_t i = 0, at = 46; samples && i < samples->count; ++i) {
            const cmc_record15_sample &s = samples->samples[i];
            const uint16_t l = le16(s.head + 10);
            EXPECT_EQ(std::memcmp(s.head, rec + at, 12), 0);
            EXPECT_EQ(s.series1 == nullptr, l == 0);
            for (uint32_t v = 0; v < l; ++v) {
                EXPECT_EQ(s.series1[v], at + v);
                EXPECT_EQ(s.series2[v], at + l + v);
            }
            at += 12 + 4 * l;
        }
        const auto *flags = p.as<cmc_record15_flag_block>(CMC_SLOT_RECORD15_FLAGS);
        ASSERT_EQ(flags != nullptr, c.flags);
        ASSERT_EQ(flags && flags->table, c.table_e);
        if (c.table_e) {
            EXPECT_EQ(flags->table[15], 0xEF);
        }
    }
}

// Record 24 with c entries of data lengths K (words).
RecordBuilder record24(std::vector<uint16_t> ks) {
    RecordBuilder r(24, 100);
    r.u8(8, 0x42).u16(14, uint16_t(ks.size()));
    uint32_t at = 16;
    for (uint16_t k : ks) {
        r.u8(at, 0xB0).u16(at + 2, k);
        for (uint32_t i = 0; i < 4u * k; ++i) r.u8(at + 16 + i, uint8_t(at + i));
        at += 16 + 4 * k;
    }
    return r;
}

TEST(BuiltTableRecords, Record24ReturnCodesAndPartialEntries) {
    const struct {
        const char *name;
        RecordBuilder record;
        uint32_t code;
        int complete;  // entries with their data; the next one (if any) has its head only
    } cases[] = {
        {"c 0 at 16", record24({}).length(16), 0, 0},
        {"size 15", record24({}).length(15), 8, 0},
        {"K 1, 2 at R = 60", record24({1, 2}).length(60), 0, 2},
        {"second entry one below", record24({1, 2}).length(59), 0, 1},
        {"second entry at R of the first", record24({1, 2}).length(52), 0, 1},
        {"first entry one below", record24({1, 2}).length(51), 8, 0},
        {"K 0, 0 at 16 * (c + 1)", record24({0, 0}).length(48), 0, 2},
        {"16 * (c + 1) one below", record24({0, 0}).length(47), 8, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p({c.record});
        const DiagRecorder::Entry *refused = p.refused(24);
        EXPECT_EQ(refused ? refused->event.code : 0u, c.code);
        const cmc_record24 *s = p.as<cmc_record24>(CMC_SLOT_RECORD24);
        ASSERT_EQ(s != nullptr, c.code == 0);
        if (!s) continue;
        EXPECT_EQ(std::memcmp(s, p.blob.bytes.data() + 24, 16), 0);
        ASSERT_EQ(s->entries != nullptr, s->entry_count != 0);
        for (int i = 0; i < s->entry_count; ++i) {
            const cmc_record24_entry &e = s->entries[i];
            const uint16_t k = le16(e.head + 2);
            EXPECT_EQ(e.head[0], i <= c.complete ? 0xB0 : 0) << i;
            EXPECT_EQ(e.data != nullptr, i < c.complete && k != 0) << i;
            if (e.data) {
                EXPECT_EQ(e.data[4 * k - 1], uint8_t((i == 0 ? 16 : 36) + 4 * k - 1));
            }
        }
    }
}

TEST(BuiltTableRecords, Record25WalkIsBoundedByTheRecordSize) {
    const struct {
        const char *name;
        uint8_t version;
        uint16_t n;
        uint32_t length;
        bool kept;
    } cases[] = {{"v100 n 2 at 12 + 4 + 2 * 92", 100, 2, 200, true}, {"v100 one below", 100, 2, 199, false},
                 {"v101 n 2 at 12 + 4 + 2 * 96", 101, 2, 208, true}, {"v101 one below", 101, 2, 207, false},
                 {"n 0", 100, 0, 16, true}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        RecordBuilder r(25, c.version);
        r.u16(8, c.n).u16(10, 1);
        for (uint32_t i = 12; i < c.length; ++i) r.u8(i, uint8_t(i));
        ParsedRecords p({r.length(c.length)});
        ASSERT_EQ(p.slot(CMC_SLOT_RECORD25) != nullptr, c.kept);
        EXPECT_EQ(p.offset(CMC_SLOT_RECORD25_LEADING, CMC_SLOT_RECORD25), c.kept ? 12 : -1);
        const auto *items = p.as<cmc_record25_item>(CMC_SLOT_RECORD25_TABLE);
        ASSERT_EQ(items != nullptr, c.kept && c.n != 0);
        const uint8_t *rec = p.as<uint8_t>(CMC_SLOT_RECORD25);
        const uint32_t head = c.version >= 101 ? 24 : 20;
        for (uint32_t i = 0, at = 16; items && i < c.n; ++i, at += head + 72) {
            EXPECT_EQ(items[i].head, rec + at);
            EXPECT_EQ(std::memcmp(items[i].values, rec + at + head, 36), 0);
            EXPECT_EQ(items[i].blocks, rec + at + head + 36);
        }
    }
}

TEST(BuiltTableRecords, Record26GroupsOrTheirDefaults) {
    const std::array<float, 6> defaults = {2, 3, 1, 1, 1, 1};
    const struct {
        uint8_t version;
        uint32_t length;
        bool kept, copied;
    } cases[] = {{100, 16, true, false}, {100, 15, false, false}, {100, 64, true, false},
                 {101, 64, true, true},  {101, 63, true, false}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "version " << int(c.version) << " size " << c.length);
        RecordBuilder r(26, c.version);
        r.f32(8, 2).f32(12, 3);
        for (uint32_t i = 0; i < 12; ++i) r.f32(16 + 4 * i, 10.0f + float(i));
        ParsedRecords p({r.length(c.length)});
        const cmc_record26 *s = p.as<cmc_record26>(CMC_SLOT_RECORD26);
        ASSERT_EQ(s != nullptr, c.kept);
        if (!s) continue;
        EXPECT_EQ(s->header.size, c.length);
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(s->group0[i], c.copied ? 10.0f + float(i) : defaults[i]) << i;
            EXPECT_EQ(s->group1[i], c.copied ? 16.0f + float(i) : defaults[i]) << i;
        }
    }
}

// Record 27 with c = 2 entries of P planes of W = 2 by H = 1.
RecordBuilder record27(uint8_t version, uint16_t planes) {
    RecordBuilder r(27, version);
    r.u16(24, 2).u16(26, planes).u16(28, 1).u16(30, 2);
    for (uint32_t i = 32; i < 32 + 2 * (20 + 4u * planes) + 32; ++i) r.u8(i, uint8_t(i));
    return r;
}

TEST(BuiltTableRecords, Record27EntriesTrailingTableAndPlaneCount) {
    const struct {
        const char *name;
        RecordBuilder record;
        bool kept;
    } cases[] = {
        {"v100 entries end at 88", record27(100, 2).length(88), true},
        {"v100 one below", record27(100, 2).length(87), false},
        {"v101 trailing table at round8(88 + 32)", record27(101, 2).length(120), true},
        {"v101 one below", record27(101, 2).length(119), false},
        {"P 3", record27(100, 3).length(104), true},
        {"P 4", record27(100, 4).length(512), false},
        {"P 0", record27(100, 0).length(512), false},
        {"size 31", record27(100, 1).length(31), false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p({c.record});
        const cmc_record27 *s = p.as<cmc_record27>(CMC_SLOT_RECORD27);
        ASSERT_EQ(s != nullptr, c.kept);
        if (!s) continue;
        const uint16_t planes = le16(s->record + 26);
        EXPECT_EQ(std::memcmp(s->record, p.blob.bytes.data() + 24, 32), 0);
        for (uint32_t i = 0, at = 32; i < 2; ++i, at += 20 + 4 * planes) {
            EXPECT_EQ(std::memcmp(s->entries[i].head, s->record + at, 20), 0);
            for (uint32_t v = 0; v < 6; ++v)
                EXPECT_EQ(s->entries[i].samples[v], v < 2u * planes ? le16(s->record + at + 20 + 2 * v) : 0) << v;
        }
        EXPECT_EQ(s->trailing_table, s->record[4] >= 101 ? s->record + 88 : nullptr);
    }
}

TEST(BuiltTableRecords, ALaterRecordReleasesTheNestedStructuresOfTheEarlierOne) {
    const struct {
        RecordBuilder full, refused;
        std::vector<int> slots;
    } kinds[] = {
        {record15(102, {1, 2}, 1).length(104), record15(102).length(40),
         {CMC_SLOT_RECORD15, CMC_SLOT_RECORD15_SAMPLES, CMC_SLOT_RECORD15_FLAGS, CMC_SLOT_RECORD15_TABLE_A}},
        {record24({1, 2}).length(60), record24({}).length(15), {CMC_SLOT_RECORD24}},
        {RecordBuilder(25, 100).u16(8, 2).u16(10, 1).length(200), RecordBuilder(25, 100).u16(8, 2).u16(10, 1).length(199),
         {CMC_SLOT_RECORD25, CMC_SLOT_RECORD25_LEADING, CMC_SLOT_RECORD25_TABLE}},
        {RecordBuilder(26, 101).length(64), RecordBuilder(26, 101).length(15), {CMC_SLOT_RECORD26}},
        {record27(101, 2).length(120), record27(101, 2).length(119), {CMC_SLOT_RECORD27}},
    };
    for (const auto &k : kinds) {
        SCOPED_TRACE(k.slots[0]);
        {
            ParsedRecords p({k.full, k.full, k.full});
            for (int s : k.slots) EXPECT_NE(p.slot(s), nullptr) << "slot " << s;
        }
        ParsedRecords p({k.full, k.refused});
        for (int s : k.slots) EXPECT_EQ(p.slot(s), nullptr) << "slot " << s;
    }
}

// Every shorter size of a valid record of each general kind is refused or decoded without reading or
// writing outside the record (checked by the sanitizer build) and without leaking.
TEST(GeneralRecords, TruncationSweep) {
    for (uint16_t id : kGeneralRecordIds) {
        const RecordBuilder full = general_record(id);
        for (uint32_t length = 8; length < full.length(); ++length) {
            RecordBuilder cut = full;
            ParsedRecords p({cut.length(length)});
        }
    }
}

}  // namespace
}  // namespace oz::test
