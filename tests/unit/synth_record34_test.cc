// Init's synthesized record 34 (slot 58) from records 19 and 20: buffer size and layout for each mix
// of the two records and record 20's forms, the exact fixed-point conversions, the missing-table case,
// and that nothing is built when the container carries a record 34 or neither source record.
#include "tests/unit/general_records_fixture.h"

namespace oz::test {
namespace {

// Record 19 with value 0x77, b = 1 item and a = 2 pairs.
RecordBuilder record19() {
    RecordBuilder r(19, 100);
    r.u16(8, 0x77).u16(12, 1).u16(14, 2);
    r.u32(16, 0x00010000).u32(20, 0xFFFFFFFF);
    for (uint32_t i = 24; i < 44; ++i) r.u8(i, uint8_t(i));
    r.u32(44, 0x00020000).u32(48, 5).u32(52, 0x00008000).u32(56, 6);
    return r.length(64);
}

// Record 20 with its four values 0x1234, 0x5678, 9, 10 and (version 102) a table of kind `kind`.
RecordBuilder record20(uint8_t version, uint16_t kind = 0, uint16_t n = 0, uint32_t length = 16) {
    RecordBuilder r(20, version);
    r.u16(8, 0x1234).u16(10, 0x5678).u8(12, 9).u8(13, 10).u16(14, kind).u16(16, n);
    for (uint32_t i = 0; i < n; ++i) r.u32(20 + 8 * i, 0x00010000 * (i + 1)).u32(24 + 8 * i, 100 + i);
    return r.length(length);
}

struct Entry {
    uint32_t source, value, item_count, pair_count;
    long items, pairs, block;  // offsets in the buffer, -1: null
};

long offset_in(const void *base, const void *p) {
    return p ? static_cast<const uint8_t *>(p) - static_cast<const uint8_t *>(base) : -1;
}

TEST(SynthesizedRecord34, SizeAndLayoutForEachMix) {
    const struct {
        const char *name;
        std::vector<RecordBuilder> records;
        uint32_t size;
        std::vector<Entry> entries;
        uint16_t fourth = 10;  // the block's last value: record 20's byte 13
    } cases[] = {
        {"19 only: 32 + 40 + 32 + 16", {record19()}, 120, {{0, 0x77, 1, 2, 72, 104, -1}}},
        {"20 v100 only: byte 13 reads 8", {record20(100)}, 80, {{1, 3, 0, 0, -1, -1, 72}}, 8},
        {"both, 20 table of 3", {record19(), record20(102, 1, 3, 48)}, 192,
         {{0, 0x77, 1, 2, 112, 144, -1}, {1, 2, 0, 3, -1, 160, -1}}},
        {"20 table of 3 not in the record", {record20(102, 1, 3, 47)}, 104, {{1, 3, 0, 0, -1, -1, 72}}},
        {"20 kind 0 with n 3", {record20(102, 0, 3, 48)}, 104, {{1, 3, 0, 0, -1, -1, 72}}},
        {"20 table of 0", {record20(102, 1, 0, 24)}, 80, {{1, 2, 0, 0, -1, -1, -1}}},
        {"20 v101: no table header", {record20(101, 1, 3, 48)}, 80, {{1, 3, 0, 0, -1, -1, 72}}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p(c.records);
        const cmc_record34 *form = p.as<cmc_record34>(CMC_SLOT_RECORD34);
        ASSERT_NE(form, nullptr);
        EXPECT_EQ(form->header.size, c.size);
        EXPECT_EQ(form->header.version, 100);
        EXPECT_EQ(form->header.id, 34);
        ASSERT_EQ(form->entry_count, c.entries.size());
        EXPECT_EQ(offset_in(form, form->entries), 32);
        for (size_t i = 0; i < c.entries.size(); ++i) {
            const cmc_record34_entry &e = form->entries[i];
            const Entry &x = c.entries[i];
            EXPECT_EQ(e.source, x.source) << i;
            EXPECT_EQ(e.value, x.value) << i;
            EXPECT_EQ(e.item_count, x.item_count) << i;
            EXPECT_EQ(e.pair_count, x.pair_count) << i;
            EXPECT_EQ(offset_in(form, e.items), x.items) << i;
            EXPECT_EQ(offset_in(form, e.pairs), x.pairs) << i;
            EXPECT_EQ(offset_in(form, e.block), x.block) << i;
            if (e.block) {
                const uint16_t expected[4] = {0x1234, 0x5678, 9, c.fourth};
                EXPECT_EQ(std::memcmp(e.block->values, expected, 8), 0);
            }
        }
    }
}

TEST(SynthesizedRecord34, ConvertsSixteenFractionBitsExactly) {
    ParsedRecords p({record19(), record20(102, 1, 2, 40)});
    const cmc_record34 *form = p.as<cmc_record34>(CMC_SLOT_RECORD34);
    ASSERT_NE(form, nullptr);
    const cmc_record34_item &item = form->entries[0].items[0];
    EXPECT_EQ(float_bits(item.value0), float_bits(1.0f));
    EXPECT_EQ(float_bits(item.value1), float_bits(65536.0f));  // nearest float to 0xFFFFFFFF / 65536
    const uint8_t *rec19 = p.as<uint8_t>(CMC_SLOT_RECORD19);
    EXPECT_EQ(std::memcmp(item.bytes8, rec19 + 24, 8), 0);
    EXPECT_EQ(std::memcmp(item.bytes16, rec19 + 32, 4), 0);
    EXPECT_EQ(std::memcmp(item.bytes20, rec19 + 36, 8), 0);
    EXPECT_EQ(le32(item.zero28), 0u);
    const cmc_record34_pair *pairs19 = form->entries[0].pairs, *pairs20 = form->entries[1].pairs;
    EXPECT_EQ(pairs19[0].value, 2.0f);
    EXPECT_EQ(pairs19[0].raw, 5u);
    EXPECT_EQ(pairs19[1].value, 0.5f);
    EXPECT_EQ(pairs19[1].raw, 6u);
    EXPECT_EQ(pairs20[1].value, 2.0f);
    EXPECT_EQ(pairs20[1].raw, 101u);
    // Records 19 and 20 stay in their own slots.
    EXPECT_NE(p.slot(CMC_SLOT_RECORD19), nullptr);
    EXPECT_NE(p.slot(CMC_SLOT_RECORD20_TABLE), nullptr);
}

TEST(SynthesizedRecord34, NothingBuiltWithARecord34OrWithoutSources) {
    {
        RecordBuilder own34 = RecordBuilder(34, 105).u64(16, 32).length(32);
        ParsedRecords p({record19(), own34, record20(100)});
        ASSERT_NE(p.slot(CMC_SLOT_RECORD34), nullptr);
        EXPECT_EQ(p.as<cmc_record34>(CMC_SLOT_RECORD34)->header.version, 105);
        EXPECT_EQ(p.as<cmc_record34>(CMC_SLOT_RECORD34)->entry_count, 0u);
    }
    ParsedRecords none({RecordBuilder(19, 100).u16(12, 1).length(40), RecordBuilder(20, 100).length(15)});
    EXPECT_EQ(none.slot(CMC_SLOT_RECORD34), nullptr);
}

}  // namespace
}  // namespace oz::test
