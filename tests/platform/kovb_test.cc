// The stand-in container decoder: records 9 and 32 are accepted by size, records 31 and 34 have their
// offsets turned into pointers, and every offset or count reaching outside the record is rejected
// with the record left unchanged.
#include <gtest/gtest.h>

#include <cstring>

#include "oz_kovb.h"
#include "tests/kit/builder.h"

namespace oz::test {
namespace {

void *pointer_at(const Bytes &b, size_t off) {
    void *p;
    std::memcpy(&p, b.data() + off, sizeof p);
    return p;
}

TEST(KovbParse, AcceptsRecords9And32BySize) {
    Bytes r9 = RecordBuilder(9, 100).build();
    EXPECT_EQ(oz_kovb_parse_record(r9.data()), 0u);
    Bytes r32 = RecordBuilder(32, 100).length(32).build();
    EXPECT_EQ(oz_kovb_parse_record(r32.data()), 0u);
    Bytes short32 = RecordBuilder(32, 100).length(31).build();
    EXPECT_EQ(oz_kovb_parse_record(short32.data()), 1u);
    Bytes other = RecordBuilder(8, 100).length(64).build();
    EXPECT_EQ(oz_kovb_parse_record(other.data()), 1u);
}

TEST(KovbParse, Record31OffsetBecomesAPointer) {
    Bytes r = RecordBuilder(31, 100).u32(8, 2).u64(16, 24).length(24 + 144).build();
    ASSERT_EQ(oz_kovb_parse_record(r.data()), 0u);
    EXPECT_EQ(pointer_at(r, 16), r.data() + 24);

    for (const Bytes &bad : {RecordBuilder(31, 100).u32(8, 2).u64(16, 24).length(24 + 143).build(),
                             RecordBuilder(31, 100).u32(8, 0).u64(16, 32).length(24).build(),
                             RecordBuilder(31, 100).u32(8, 0xFFFFFFFF).u64(16, 24).length(24).build()}) {
        Bytes copy = bad;
        EXPECT_EQ(oz_kovb_parse_record(copy.data()), 1u);
        EXPECT_EQ(copy, bad);
    }
}

// One entry with a 1-item 32-byte table at 72, a 2-item 8-byte table at 104 and a block at 120.
RecordBuilder record34() {
    return RecordBuilder(34, 100).u32(8, 1).u64(16, 32).u32(40, 1).u32(44, 2).u64(48, 72).u64(56, 104).u64(64, 120).length(128);
}

TEST(KovbParse, Record34OffsetsBecomePointers) {
    Bytes r = record34().build();
    ASSERT_EQ(oz_kovb_parse_record(r.data()), 0u);
    EXPECT_EQ(pointer_at(r, 16), r.data() + 32);
    EXPECT_EQ(pointer_at(r, 48), r.data() + 72);
    EXPECT_EQ(pointer_at(r, 56), r.data() + 104);
    EXPECT_EQ(pointer_at(r, 64), r.data() + 120);

    Bytes none = record34().u64(56, 0).u64(64, 0).build();
    ASSERT_EQ(oz_kovb_parse_record(none.data()), 0u);
    EXPECT_EQ(pointer_at(none, 56), nullptr);
}

TEST(KovbParse, Record34RejectsEveryOffsetOutsideTheRecord) {
    const struct {
        const char *name;
        RecordBuilder record;
    } cases[] = {
        {"block ends past size", record34().u64(64, 121)},
        {"table inside the entries", record34().u64(48, 71)},
        {"table count past size", record34().u32(44, 4)},
        {"huge count", record34().u32(40, 0xFFFFFFFF)},
        {"offset near 2^64", record34().u64(64, ~uint64_t(0) - 4)},
        {"first entry not at 32", record34().u64(16, 40)},
        {"entries past size", record34().u32(8, 3)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const Bytes bad = c.record.build();
        Bytes copy = bad;
        EXPECT_EQ(oz_kovb_parse_record(copy.data()), 1u);
        EXPECT_EQ(copy, bad);
    }
}

}  // namespace
}  // namespace oz::test
