// The others record (id 722) read by oz_kovb_others_parser_init: the search walk, the 16-entry limit,
// the version-dependent trailing value, records at exactly the size they need and one byte short,
// containers that hold no records, and replacement of an earlier structure without a leak.
#include "tests/unit/general_records_fixture.h"

namespace oz::test {
namespace {

// Others record with `count`, `stored` entries of 8 bytes (entry i holds i + 1 in both words) and, from
// version 102, the trailing u32 0x7777: exactly the bytes the record needs.
RecordBuilder others(uint8_t version, uint32_t count, uint32_t stored) {
    RecordBuilder r(722, version);
    r.u32(8, 0xF1F2F3F4).u32(12, count);
    for (uint32_t i = 0; i < stored; ++i) r.u32(16 + 8 * i, i + 1).u32(20 + 8 * i, i + 1);
    if (version >= 102) r.u32(16 + 8 * stored, 0x7777);
    return r.length(16 + 8 * stored + (version >= 102 ? 4 : 0));
}

struct Result {
    cmc_data *cmc;
    ~Result() { oz_cmc_parser_deinit(cmc); }
};

// One result takes every case in turn: each call replaces (and releases) the structure of the last.
TEST(OthersRecord, FindsTheFirstRecordAtItsExactSize) {
    const int64_t live = faultsim::live_blocks();
    {
        Blob empty(ContainerBuilder().build());
        Result res{oz_cmc_parser_init(empty.get())};
        const struct {
            const char *name;
            std::vector<RecordBuilder> records;
            uint32_t count, trailing;
        } cases[] = {
            {"v101, 3 entries in 40 bytes", {others(101, 3, 3)}, 3, 2},
            {"v102, 0 entries: trailing at 16", {others(102, 0, 0)}, 0, 0x7777},
            {"v102, count 20: trailing where entry 17 lies", {others(102, 20, 16)}, 16, 0x7777},
            {"v101, count 20 in 144 bytes", {others(101, 20, 16)}, 16, 2},
            {"after other records", {RecordBuilder(5, 100).length(16), RecordBuilder(900, 1).length(12), others(102, 1, 1)}, 1, 0x7777},
            {"two records: the first", {others(102, 2, 2), others(102, 5, 5)}, 2, 0x7777},
        };
        for (const auto &c : cases) {
            SCOPED_TRACE(c.name);
            Blob blob(ParsedRecords::build(c.records));
            oz_kovb_others_parser_init(blob.get(), res.cmc);
            const others_data *o = static_cast<const others_data *>(res.cmc->slot[CMC_SLOT_OTHERS]);
            ASSERT_NE(o, nullptr);
            EXPECT_EQ(o->first_value, 0xF1F2F3F4u);
            EXPECT_EQ(o->entry_count, c.count);
            EXPECT_EQ(o->trailing_value, c.trailing);
            for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(le32(o->entries[i]), i < c.count ? i + 1 : 0) << i;
        }
    }
    EXPECT_EQ(faultsim::live_blocks(), live) << "an earlier others_data was not released";
}

TEST(OthersRecord, NothingFoundOrOneByteShortLeavesTheSlotAsItWas) {
    Blob first(ContainerBuilder().add(others(101, 1, 1)).build());
    Result res{oz_cmc_parser_init(first.get())};
    oz_kovb_others_parser_init(first.get(), res.cmc);
    void *const held = res.cmc->slot[CMC_SLOT_OTHERS];
    ASSERT_NE(held, nullptr);

    const struct {
        const char *name;
        Bytes container;
    } cases[] = {
        {"total_size 24", ContainerBuilder().build()},
        {"no record 722", ContainerBuilder().add(RecordBuilder(723, 100).length(64)).build()},
        {"v101 count 3 one below 40", ContainerBuilder().add(others(101, 3, 3).length(39)).build()},
        {"v102 count 3 one below 44", ContainerBuilder().add(others(102, 3, 3).length(43)).build()},
        {"v102 count 0 one below 20", ContainerBuilder().add(others(102, 0, 0).length(19)).build()},
        {"v101 count 20 one below 144", ContainerBuilder().add(others(101, 20, 16).length(143)).build()},
        {"below the count field", ContainerBuilder().add(others(101, 0, 0).length(15)).build()},
        {"record past total_size", ContainerBuilder().add(others(101, 0, 0).size_field(4000)).build()},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        // The descriptor covers exactly the container's bytes, so any overread shows under the sanitizer.
        auto heap = std::make_unique<uint8_t[]>(c.container.size());
        std::copy(c.container.begin(), c.container.end(), heap.get());
        binary_data desc{heap.get(), uint32_t(c.container.size())};
        oz_kovb_others_parser_init(&desc, res.cmc);
        EXPECT_EQ(res.cmc->slot[CMC_SLOT_OTHERS], held);
    }
    // A descriptor shorter than total_size bounds the search: the record past it is not read.
    Bytes cut = ContainerBuilder().add(others(101, 0, 0)).build();
    binary_data shorter{cut.data(), 24 + 15};
    oz_kovb_others_parser_init(&shorter, res.cmc);
    EXPECT_EQ(res.cmc->slot[CMC_SLOT_OTHERS], held);
}

}  // namespace
}  // namespace oz::test
