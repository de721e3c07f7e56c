// Records decoded by the container library (9, 31, 34) and record 3's conversion to record 31's form:
// exact conversion constants, size and count-wrap boundaries, which of records 3 and 31 wins, the
// container library's refusal code leaving the slot as it was, and record 34's count bound.
#include "tests/unit/general_records_fixture.h"

namespace oz::test {
namespace {

// Record 3 with n entries of (value 0, value 1, values 2 to 5).
RecordBuilder record3(uint32_t n, const std::vector<std::array<uint32_t, 6>> &entries = {}) {
    RecordBuilder r(3, 100);
    r.u32(8, n);
    for (size_t i = 0; i < entries.size(); ++i) {
        const uint32_t at = 12 + 16 * uint32_t(i);
        r.u32(at, entries[i][0]).u32(at + 4, entries[i][1]);
        for (int k = 2; k < 6; ++k) r.u16(at + 8 + 2 * (k - 2), uint16_t(entries[i][k]));
    }
    return r.length(16 + 16 * uint32_t(entries.size()));
}

RecordBuilder record31(uint8_t mark, uint64_t first_entry = 24) {
    return RecordBuilder(31, 105).reserved(mark).u32(8, 1).u64(16, first_entry).length(24 + 72);
}

RecordBuilder record34(uint8_t mark, uint32_t entries, uint64_t first_entry = 32) {
    return RecordBuilder(34, 105).reserved(mark).u32(8, entries).u64(16, first_entry).length(32 + 40 * entries);
}

TEST(ContainerDecodedRecords, Record3ConvertsWithExactConstants) {
    ParsedRecords p({record3(2, {{7, 0x00018000, 0x0180, 0xFFFF, 1, 0}, {0xFFFFFFFF, 0xFFFFFFFF, 0x0100, 0, 0, 2}})});
    const cmc_record31 *form = p.as<cmc_record31>(CMC_SLOT_RECORD31);
    ASSERT_NE(form, nullptr);
    EXPECT_EQ(form->header.size, 24u + 72 * 2);
    EXPECT_EQ(form->header.version, 100);
    EXPECT_EQ(form->header.reserved, 0);
    EXPECT_EQ(form->header.id, 31);
    EXPECT_EQ(form->entry_count, 2u);
    ASSERT_EQ(reinterpret_cast<const uint8_t *>(form->entries), reinterpret_cast<const uint8_t *>(form) + 24);
    const cmc_record31_entry &a = form->entries[0], &b = form->entries[1];
    EXPECT_EQ(a.value0, 7u);
    EXPECT_EQ(float_bits(a.value1), float_bits(1.5f));
    EXPECT_EQ(float_bits(a.value2), float_bits(1.5f));
    EXPECT_EQ(float_bits(a.value3), float_bits(255.99609375f));
    EXPECT_EQ(float_bits(a.value4), 0x3B800000u);  // 1/256
    EXPECT_EQ(float_bits(a.value5), 0u);
    EXPECT_EQ(b.value0, 0xFFFFFFFFu);
    EXPECT_EQ(float_bits(b.value1), float_bits(65536.0f));  // nearest float to 0xFFFFFFFF / 65536
    EXPECT_EQ(float_bits(b.value2), float_bits(1.0f));
    EXPECT_EQ(float_bits(b.value5), float_bits(2.0f / 256));
    for (const cmc_record31_entry *e : {&a, &b}) {
        for (uint8_t z : e->zero16) EXPECT_EQ(z, 0);
        for (uint8_t z : e->zero32) EXPECT_EQ(z, 0);
    }
}

TEST(ContainerDecodedRecords, Record3SizeAndCountBoundaries) {
    const struct {
        const char *name;
        uint32_t n, length;
        bool kept;
        const char *rule;
    } cases[] = {
        {"n 0, size 16", 0, 16, true, nullptr},
        {"n 0, size 15", 0, 15, false, "size >= 16 + 16n"},
        {"n 2, size 48", 2, 48, true, nullptr},
        {"n 2, size 47", 2, 47, false, "size >= 16 + 16n"},
        {"16 + 16n wraps to 0", 0x0FFFFFFF, 64, false, "16 + 16n and 24 + 72n within 32 bits"},
        {"24 + 72n above 32 bits", 0x04000000, 64, false, "16 + 16n and 24 + 72n within 32 bits"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p({RecordBuilder(3, 100).u32(8, c.n).length(c.length)});
        const cmc_record31 *form = p.as<cmc_record31>(CMC_SLOT_RECORD31);
        ASSERT_EQ(form != nullptr, c.kept);
        if (form) {
            EXPECT_EQ(form->header.size, 24 + 72 * c.n);
        }
        if (c.rule) {
            ASSERT_NE(p.refused(3), nullptr);
            EXPECT_EQ(p.refused(3)->what, c.rule);
        }
    }
}

// Slot 55 after a sequence of records: a record 31 always wins, the first record 3 wins over a later
// one, and a record 31 the container library refuses leaves the slot as it was.
TEST(ContainerDecodedRecords, Record31And3Precedence) {
    const RecordBuilder conv1 = record3(1, {{1, 0, 0, 0, 0, 0}}), conv2 = record3(1, {{2, 0, 0, 0, 0, 0}});
    const struct {
        const char *name;
        std::vector<RecordBuilder> records;
        int version;  // of slot 55: 105 = the record 31, 100 = a conversion
        uint32_t mark;  // reserved byte of the record 31, or value 0 of the conversion
    } cases[] = {
        {"31, 3", {record31(1), conv1}, 105, 1},
        {"3, 31", {conv1, record31(1)}, 105, 1},
        {"3, 3", {conv1, conv2}, 100, 1},
        {"31, 31", {record31(1), record31(2)}, 105, 2},
        {"31, refused 31", {record31(1), record31(2, 0)}, 105, 1},
        {"3, refused 31", {conv1, record31(2, 0)}, 100, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p(c.records);
        const cmc_record31 *form = p.as<cmc_record31>(CMC_SLOT_RECORD31);
        ASSERT_NE(form, nullptr);
        EXPECT_EQ(form->header.version, c.version);
        EXPECT_EQ(c.version == 105 ? form->header.reserved : form->entries[0].value0, c.mark);
        EXPECT_EQ(reinterpret_cast<const uint8_t *>(form->entries), reinterpret_cast<const uint8_t *>(form) + 24);
        if (std::string(c.name).find("refused") != std::string::npos) {
            ASSERT_NE(p.refused(31), nullptr);
            EXPECT_EQ(p.refused(31)->event.code, 1u);
        }
    }
}

TEST(ContainerDecodedRecords, Record9And34KeepTheLastAcceptedCopy) {
    {
        ParsedRecords p({RecordBuilder(9, 100).reserved(1), RecordBuilder(9, 100).reserved(2)});
        ASSERT_NE(p.slot(CMC_SLOT_RECORD9), nullptr);
        EXPECT_EQ(p.as<record_header>(CMC_SLOT_RECORD9)->reserved, 2);
    }
    ParsedRecords p({record34(1, 1), record34(2, 1), record34(3, 1, 0)});
    const cmc_record34 *form = p.as<cmc_record34>(CMC_SLOT_RECORD34);
    ASSERT_NE(form, nullptr);
    EXPECT_EQ(form->header.reserved, 2);
    EXPECT_EQ(p.refused(34)->event.code, 1u);
}

TEST(ContainerDecodedRecords, Record34CountIsBoundedTo4AndItsPointersResolved) {
    for (uint32_t count : {4u, 5u, 9u}) {
        ParsedRecords p({record34(0, count)});
        const cmc_record34 *form = p.as<cmc_record34>(CMC_SLOT_RECORD34);
        ASSERT_NE(form, nullptr);
        EXPECT_EQ(form->entry_count, 4u) << count;
        EXPECT_EQ(reinterpret_cast<const uint8_t *>(form->entries), reinterpret_cast<const uint8_t *>(form) + 32);
    }
    // One entry with one item at byte 72: the item pointer leads into the kept copy.
    ParsedRecords p({record34(0, 1).u32(40, 1).u64(48, 72).f32(72, 2.5f).length(104)});
    const cmc_record34 *form = p.as<cmc_record34>(CMC_SLOT_RECORD34);
    ASSERT_NE(form, nullptr);
    ASSERT_EQ(reinterpret_cast<const uint8_t *>(form->entries[0].items), reinterpret_cast<const uint8_t *>(form) + 72);
    EXPECT_EQ(form->entries[0].items[0].value0, 2.5f);
    EXPECT_EQ(form->entries[0].pairs, nullptr);
}

}  // namespace
}  // namespace oz::test
