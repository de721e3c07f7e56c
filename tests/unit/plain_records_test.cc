// Plain general records (ids 2, 5 to 8, 13, 14, 16 to 21, 23): every size test at the exact required
// size and one byte below, version gating of the section slots, record 2's versioned copy and record
// 13's defaults, and replacement of an earlier record of a kind by a later one, kept or refused.
#include <array>
#include <functional>

#include "records/slots.h"
#include "tests/unit/general_records_fixture.h"

namespace oz::test {
namespace {

struct SizeCase {
    const char *name;
    std::function<RecordBuilder()> make;       // the record with its counts, any length
    uint32_t required;                         // smallest size that is kept
    int owner;                                 // slot holding the record copy
    std::vector<std::pair<int, long>> points;  // section slots and their offsets when kept
};

TEST(PlainRecords, KeptAtTheRequiredSizeAndRefusedOneByteBelow) {
    const SizeCase cases[] = {
        {"5", [] { return RecordBuilder(5, 100); }, 16, CMC_SLOT_RECORD5, {}},
        {"7", [] { return RecordBuilder(7, 100); }, 16, CMC_SLOT_RECORD7, {}},
        {"21", [] { return RecordBuilder(21, 100); }, 16, CMC_SLOT_RECORD21, {}},
        {"23", [] { return RecordBuilder(23, 100); }, 24, CMC_SLOT_RECORD23, {}},
        {"17 v101", [] { return RecordBuilder(17, 101); }, 16, CMC_SLOT_RECORD17, {{CMC_SLOT_RECORD17_EXTENSION, 14}}},
        {"20 v100", [] { return RecordBuilder(20, 100); }, 16, CMC_SLOT_RECORD20, {}},
        {"6 counts 1,2,3,4: round8(36)", [] { return RecordBuilder(6, 100).u8(12, 1).u8(13, 2).u8(14, 3).u8(15, 4); },
         40, CMC_SLOT_RECORD6, {{CMC_SLOT_RECORD6_VALUES, 16}}},
        {"13 n=3: round8(78)", [] { return RecordBuilder(13, 100).u16(70, 3); }, 80, CMC_SLOT_RECORD13, {}},
        {"14 10..30 step 5: 24 + 8*4", [] { return RecordBuilder(14, 100).u16(8, 10).u16(10, 30).u16(12, 5); },
         56, CMC_SLOT_RECORD14, {{CMC_SLOT_RECORD14_ENTRIES, 14}}},
        {"14 10..29 step 5: quotient 3", [] { return RecordBuilder(14, 100).u16(8, 10).u16(10, 29).u16(12, 5); },
         48, CMC_SLOT_RECORD14, {{CMC_SLOT_RECORD14_ENTRIES, 14}}},
        {"16 n=3: round8(26)", [] { return RecordBuilder(16, 100).u16(12, 3); }, 32, CMC_SLOT_RECORD16,
         {{CMC_SLOT_RECORD16_ENTRIES, 14}}},
        {"18 v101 n=1: round8(94)", [] { return RecordBuilder(18, 101).u16(8, 1); }, 96, CMC_SLOT_RECORD18,
         {{CMC_SLOT_RECORD18_ENTRIES, 10}, {CMC_SLOT_RECORD18_TRAILER, 94}}},
        {"19 b=1 a=2: round8(60)", [] { return RecordBuilder(19, 100).u16(12, 1).u16(14, 2); }, 64,
         CMC_SLOT_RECORD19, {{CMC_SLOT_RECORD19_TABLE1, 16}, {CMC_SLOT_RECORD19_TABLE2, 44}}},
    };
    for (const SizeCase &c : cases) {
        SCOPED_TRACE(c.name);
        {
            ParsedRecords p({c.make().length(c.required)});
            ASSERT_NE(p.slot(c.owner), nullptr);
            for (auto [slot, off] : c.points) EXPECT_EQ(p.offset(slot, c.owner), off) << "slot " << slot;
        }
        ParsedRecords p({c.make().length(c.required - 1)});
        EXPECT_EQ(p.slot(c.owner), nullptr);
        for (auto [slot, off] : c.points) EXPECT_EQ(p.slot(slot), nullptr) << "slot " << slot;
        const DiagRecorder::Entry *e = p.refused(le16(&p.blob.bytes[30]));
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->event.expected, c.required);
        EXPECT_EQ(e->event.actual, c.required - 1);
    }
}

TEST(PlainRecords, Record14RefusesZeroStepAndLastBelowFirst) {
    const struct {
        uint16_t first, last, step;
        const char *rule;
    } cases[] = {{0, 8, 0, "step != 0"}, {9, 8, 1, "last >= first"}, {0xFFFF, 0, 1, "last >= first"}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.rule);
        ParsedRecords p({RecordBuilder(14, 100).u16(8, c.first).u16(10, c.last).u16(12, c.step).length(4096)});
        EXPECT_EQ(p.slot(CMC_SLOT_RECORD14), nullptr);
        EXPECT_EQ(p.slot(CMC_SLOT_RECORD14_ENTRIES), nullptr);
        ASSERT_NE(p.refused(14), nullptr);
        EXPECT_EQ(p.refused(14)->what, c.rule);
    }
}

TEST(PlainRecords, SectionSlotsFollowTheVersion) {
    const struct {
        const char *name;
        RecordBuilder record;
        std::vector<std::pair<int, long>> points;  // -1: null
    } cases[] = {
        {"17 v100: no extension", RecordBuilder(17, 100).length(16), {{CMC_SLOT_RECORD17_EXTENSION, -1}}},
        {"18 v100: no trailer", RecordBuilder(18, 100).u16(8, 1).length(96),
         {{CMC_SLOT_RECORD18_ENTRIES, 10}, {CMC_SLOT_RECORD18_TRAILER, -1}}},
        {"20 v101", RecordBuilder(20, 101).u16(14, 1).length(64),
         {{CMC_SLOT_RECORD20_TABLE_HEADER, -1}, {CMC_SLOT_RECORD20_TABLE, -1}}},
        {"20 v102 size 19", RecordBuilder(20, 102).length(19), {{CMC_SLOT_RECORD20_TABLE_HEADER, -1}}},
        {"20 v102 n=2 size 24 + 16", RecordBuilder(20, 102).u16(14, 1).u16(16, 2).length(40),
         {{CMC_SLOT_RECORD20_TABLE_HEADER, 14}, {CMC_SLOT_RECORD20_TABLE, 20}}},
        {"20 v102 n=2 size 39", RecordBuilder(20, 102).u16(14, 1).u16(16, 2).length(39),
         {{CMC_SLOT_RECORD20_TABLE_HEADER, 14}, {CMC_SLOT_RECORD20_TABLE, -1}}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        ParsedRecords p({c.record});
        const int owner = le16(&p.blob.bytes[30]) == 17 ? CMC_SLOT_RECORD17
                          : le16(&p.blob.bytes[30]) == 18 ? CMC_SLOT_RECORD18 : CMC_SLOT_RECORD20;
        ASSERT_NE(p.slot(owner), nullptr);
        for (auto [slot, off] : c.points) EXPECT_EQ(p.offset(slot, owner), off) << "slot " << slot;
    }
}

TEST(PlainRecords, Record20Byte13IsEightUpToVersion100) {
    for (uint8_t version : {99, 100, 101}) {
        ParsedRecords p({RecordBuilder(20, version).u8(13, 5).length(16)});
        ASSERT_NE(p.slot(CMC_SLOT_RECORD20), nullptr);
        EXPECT_EQ(p.as<uint8_t>(CMC_SLOT_RECORD20)[13], version <= 100 ? 8 : 5) << int(version);
    }
}

TEST(PlainRecords, Record2CopiesWhatItsVersionCarriesAndDerivesTheRest) {
    const struct {
        uint8_t version;
        uint32_t length;
        uint32_t copied;  // 0: the structure stays zeroed
    } cases[] = {{99, 40, 0},  {100, 16, 16}, {100, 15, 0},  {101, 24, 18}, {101, 23, 0}, {102, 40, 34},
                 {102, 32, 0}, {102, 39, 0},  {103, 40, 36}, {103, 39, 0},  {200, 40, 36}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "version " << int(c.version) << " size " << c.length);
        RecordBuilder r(2, c.version);
        for (uint32_t i = 8; i < 40; ++i) r.u8(i, uint8_t(i));
        ParsedRecords p({r.length(c.length)});
        ASSERT_NE(p.slot(CMC_SLOT_RECORD2), nullptr);
        uint8_t expected[36] = {};
        std::memcpy(expected, p.blob.bytes.data() + 24, c.copied);
        if (c.copied != 0 && c.version <= 100) std::memcpy(expected + 16, expected + 12, 2);
        if (c.copied != 0 && c.version <= 102) std::memcpy(expected + 34, expected + 12, 2);
        EXPECT_EQ(std::memcmp(p.slot(CMC_SLOT_RECORD2), expected, 36), 0);
        EXPECT_EQ(p.as<cmc_record2>(CMC_SLOT_RECORD2)->cfa_pattern, c.copied ? 0x0F0E : 0);
    }
}

TEST(PlainRecords, Record13ValuesAndTheirDefaults) {
    const struct {
        uint8_t version;
        uint16_t n;
        uint32_t length;
        std::array<uint16_t, 4> values;
        bool kept;
    } cases[] = {
        {100, 2, 88, {0, 1, 250, 1000}, true},  {101, 2, 80, {11, 1, 250, 1000}, true},
        {102, 2, 80, {11, 1, 250, 1000}, true}, {102, 2, 87, {11, 1, 250, 1000}, true},
        {102, 2, 88, {11, 22, 33, 44}, true},   {102, 2, 79, {0, 1, 250, 1000}, false},
        {101, 4, 87, {0, 1, 250, 1000}, true},  {101, 4, 88, {11, 1, 250, 1000}, true},
        {102, 0, 72, {0, 1, 250, 1000}, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "version " << int(c.version) << " n " << c.n << " size " << c.length);
        RecordBuilder r(13, c.version);
        r.u16(70, c.n);
        for (uint16_t i = 0; i < c.n; ++i) r.u16(72 + 2 * i, uint16_t(500 + i));
        const uint32_t at = 72 + 2 * c.n;
        r.u16(at, 11).u16(at + 2, 22).u16(at + 4, 33).u16(at + 6, 44).length(c.length);
        ParsedRecords p({r});
        for (int i = 0; i < 4; ++i) EXPECT_EQ(slot_u16(p.cmc, CMC_SLOT_RECORD13_VALUES, i), c.values[i]) << i;
        EXPECT_EQ(p.slot(CMC_SLOT_RECORD13) != nullptr, c.kept);
        const uint16_t *array = p.as<uint16_t>(CMC_SLOT_RECORD13_ARRAY);
        ASSERT_EQ(array != nullptr, c.kept && c.n != 0);
        for (uint16_t i = 0; array && i < c.n; ++i) EXPECT_EQ(array[i], 500 + i);
    }
}

// A valid record of each plain kind (byte 5 marks which one of two) and a too-short one.
RecordBuilder valid(uint16_t id, uint8_t mark) {
    RecordBuilder r(id, id == 2 ? 100 : 101);
    r.reserved(mark).length(id == 13 ? 80 : id == 14 ? 24 : 40);
    if (id == 14) r.u16(12, 1);  // step 1, first = last = 0: one entry
    return r;
}

TEST(PlainRecords, ALaterRecordReplacesTheEarlierOneKeptOrRefused) {
    const struct {
        uint16_t id;
        int owner;
        std::vector<int> others;  // every other slot of the kind
    } kinds[] = {
        {2, CMC_SLOT_RECORD2, {}},
        {5, CMC_SLOT_RECORD5, {}},
        {6, CMC_SLOT_RECORD6, {CMC_SLOT_RECORD6_VALUES}},
        {7, CMC_SLOT_RECORD7, {}},
        {8, CMC_SLOT_RECORD8, {}},
        {13, CMC_SLOT_RECORD13, {CMC_SLOT_RECORD13_ARRAY}},
        {14, CMC_SLOT_RECORD14, {CMC_SLOT_RECORD14_ENTRIES}},
        {16, CMC_SLOT_RECORD16, {CMC_SLOT_RECORD16_ENTRIES}},
        {17, CMC_SLOT_RECORD17, {CMC_SLOT_RECORD17_EXTENSION}},
        {18, CMC_SLOT_RECORD18, {CMC_SLOT_RECORD18_ENTRIES, CMC_SLOT_RECORD18_TRAILER}},
        {19, CMC_SLOT_RECORD19, {CMC_SLOT_RECORD19_TABLE1, CMC_SLOT_RECORD19_TABLE2}},
        {20, CMC_SLOT_RECORD20, {CMC_SLOT_RECORD20_TABLE_HEADER, CMC_SLOT_RECORD20_TABLE}},
        {21, CMC_SLOT_RECORD21, {}},
        {23, CMC_SLOT_RECORD23, {}},
    };
    for (const auto &k : kinds) {
        SCOPED_TRACE(k.id);
        {
            RecordBuilder first = valid(k.id, 1);
            if (k.id == 13) first.u16(70, 4).length(80);  // an array copy that must be released
            ParsedRecords p({first, valid(k.id, 2)});
            ASSERT_NE(p.slot(k.owner), nullptr);
            EXPECT_EQ(p.as<uint8_t>(k.owner)[5], 2);
        }
        if (k.id == 8) continue;  // kept at any size
        ParsedRecords p({valid(k.id, 1), valid(k.id, 2).length(k.id == 2 ? 15 : 12)});
        if (k.id == 2) {  // a short record 2 still leaves a (zeroed) structure
            ASSERT_NE(p.slot(k.owner), nullptr);
            EXPECT_EQ(p.as<uint8_t>(k.owner)[5], 0);
            continue;
        }
        EXPECT_EQ(p.slot(k.owner), nullptr);
        for (int s : k.others) EXPECT_EQ(p.slot(s), nullptr) << "slot " << s;
        if (k.id == 13) {
            EXPECT_EQ(slot_u16(p.cmc, CMC_SLOT_RECORD13_VALUES, 3), 1000);
        }
    }
}

}  // namespace
}  // namespace oz::test
