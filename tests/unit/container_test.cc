// Container validation (size field, both checksum forms, trailing bytes), the record walk and its
// bounds, and the lifecycle of a result: init, init_v1 with and without calibration, deinit.
#include <gtest/gtest.h>

#include "oz_cmc_parser.h"
#include "parser/parser.h"
#include "tests/kit/builder.h"
#include "tests/kit/fault_sweep.h"

namespace oz::test {
namespace {

// A record kept whole by no decoder is refused with 8; id 1 (text) is the spine's own decoder.
RecordBuilder text_record(std::string_view text, uint8_t version = 100) {
    return RecordBuilder(1, version).text(24, text);
}

bool only_slot_69(const cmc_data *cmc) {
    for (int i = 0; i < CMC_SLOT_CONTAINER; ++i)
        if (cmc->slot[i] != nullptr) return false;
    return true;
}

struct Parsed {
    Blob blob;
    DiagRecorder diag;
    cmc_data *cmc;
    explicit Parsed(Bytes b) : blob(std::move(b)), cmc(parse_container(blob.get(), nullptr, &diag)) {}
    ~Parsed() { oz_cmc_parser_deinit(cmc); }
};

TEST(Container, EmptyContainerAcceptedInBothForms) {
    // 24 bytes: form A when the checksum is the sum of words 0..4, form B when it is 0.
    Parsed a(ContainerBuilder().header_word(0, 7).header_word(2, 9).build());
    ASSERT_NE(a.cmc, nullptr);
    EXPECT_TRUE(only_slot_69(a.cmc));
    EXPECT_EQ(a.cmc->slot[CMC_SLOT_CONTAINER], a.blob.get());
    EXPECT_EQ(a.diag.find(DiagKind::kContainerAccepted)->what, "A");

    Parsed b(ContainerBuilder().header_word(0, 7).checksum_value(0).build());
    ASSERT_NE(b.cmc, nullptr);
    EXPECT_EQ(b.diag.find(DiagKind::kContainerAccepted)->what, "B");
}

TEST(Container, FormBIgnoresHeaderWords) {
    Parsed p(ContainerBuilder().header_word(3, 0xDEADBEEF).add(text_record("abc")).checksum(Checksum::kFormB).build());
    ASSERT_NE(p.cmc, nullptr);
    EXPECT_EQ(p.diag.find(DiagKind::kContainerAccepted)->what, "B");
    EXPECT_STREQ(static_cast<const char *>(p.cmc->slot[CMC_SLOT_TEXT]), "abc");
}

TEST(Container, TrailingBytesTakePartInNeitherSum) {
    for (Checksum form : {Checksum::kFormA, Checksum::kFormB}) {
        // total_size 27: three trailing bytes after the header.
        Bytes c = ContainerBuilder().checksum(form).trailing({0x11, 0x22, 0x33}).build();
        ASSERT_EQ(c.size(), 27u);
        Blob blob(c);
        cmc_data *cmc = oz_cmc_parser_init(blob.get());
        EXPECT_NE(cmc, nullptr);
        oz_cmc_parser_deinit(cmc);
    }
    // A checksum that only matches when the trailing bytes are counted as a padded word is refused.
    Bytes c = ContainerBuilder().trailing({0x01, 0x00, 0x00}).build();
    c[20] += 1;  // form A sum plus the trailing word's value 1
    Blob blob(c);
    EXPECT_EQ(oz_cmc_parser_init(blob.get()), nullptr);
}

TEST(Container, RejectionsReturnNullAndSayWhy) {
    struct Case {
        const char *name;
        Bytes bytes;
        uint32_t descriptor_size;
        const char *rule;
    };
    Bytes good = ContainerBuilder().add(text_record("x")).build();
    Bytes bad_sum = ContainerBuilder().add(text_record("x")).corrupt_checksum().build();
    std::vector<Case> cases = {
        {"total_size one larger", ContainerBuilder().add(text_record("x")).total_size(uint32_t(good.size() + 1)).build(),
         uint32_t(good.size()), "total_size == descriptor size"},
        {"total_size one smaller", ContainerBuilder().add(text_record("x")).total_size(uint32_t(good.size() - 1)).build(),
         uint32_t(good.size()), "total_size == descriptor size"},
        {"checksum off by one", bad_sum, uint32_t(bad_sum.size()), "checksum matches form A or form B"},
        {"descriptor below 24", Bytes(good.begin(), good.begin() + 23), 23, "descriptor size >= 24 (header)"},
        {"empty descriptor", Bytes(1, 0), 0, "descriptor size >= 24 (header)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        // The descriptor covers exactly the given bytes, so an overread shows under AddressSanitizer.
        auto heap = std::make_unique<uint8_t[]>(c.descriptor_size ? c.descriptor_size : 1);
        std::copy(c.bytes.begin(), c.bytes.begin() + c.descriptor_size, heap.get());
        binary_data desc{heap.get(), c.descriptor_size};
        DiagRecorder diag;
        EXPECT_EQ(parse_container(&desc, nullptr, &diag), nullptr);
        const DiagRecorder::Entry *e = diag.find(DiagKind::kContainerRejected);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, c.rule);
    }
    binary_data null_data{nullptr, 24};
    EXPECT_EQ(oz_cmc_parser_init(nullptr), nullptr);
    EXPECT_EQ(oz_cmc_parser_init(&null_data), nullptr);
    EXPECT_EQ(oz_cmc_parser_init_v1(nullptr, nullptr), nullptr);
}

TEST(Container, WalkVisitsIdsBelow64AndSkipsTheRest) {
    Parsed p(ContainerBuilder()
                 .add(RecordBuilder(64, 100).length(16))
                 .add(RecordBuilder(63, 100).length(16))
                 .add(RecordBuilder(722, 100).length(16))
                 .add(text_record("after"))
                 .build());
    ASSERT_NE(p.cmc, nullptr);
    EXPECT_STREQ(static_cast<const char *>(p.cmc->slot[CMC_SLOT_TEXT]), "after");
    int visited = 0, skipped = 0;
    for (const auto &e : p.diag.entries) {
        visited += e.event.kind == DiagKind::kRecordVisited;
        skipped += e.event.kind == DiagKind::kRecordSkipped;
    }
    EXPECT_EQ(visited, 4);
    EXPECT_EQ(skipped, 2);  // 64 and 722
    const DiagRecorder::Entry *refused = p.diag.find(DiagKind::kRecordRefused, 63);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->event.code, 8u);
    EXPECT_EQ(refused->event.offset, 24u + 16u);
}

TEST(Container, UnknownIdsAreRefusedWith8AndTheWalkGoesOn) {
    for (uint16_t id : {0, 4, 12, 43, 50}) {
        SCOPED_TRACE(id);
        Parsed p(ContainerBuilder().add(RecordBuilder(id, 100).length(64)).add(text_record("t")).build());
        ASSERT_NE(p.cmc, nullptr);
        const DiagRecorder::Entry *e = p.diag.find(DiagKind::kRecordRefused, id);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->event.code, 8u);
        EXPECT_NE(p.cmc->slot[CMC_SLOT_TEXT_RECORD], nullptr);
    }
}

// Every malformed record size stops the walk at that record: nothing is read or copied past the
// container, the records before it stay decoded, and init still returns a result.
TEST(Container, WalkStopsAtRecordsThatCannotBeWalked) {
    struct Case {
        const char *name;
        uint32_t size_field;
        const char *rule;
    };
    const Case cases[] = {
        {"size 0", 0, "record size >= 8"},
        {"size 7", 7, "record size >= 8"},
        {"reaches past total_size", 200, "record end <= total_size"},
        {"wraps past 2^32", 0xFFFFFFF0u, "record end <= total_size"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Bytes bytes = ContainerBuilder()
                          .add(text_record("first"))
                          .add(RecordBuilder(1, 100).text(24, "bad").size_field(c.size_field))
                          .build();
        auto heap = std::make_unique<uint8_t[]>(bytes.size());
        std::copy(bytes.begin(), bytes.end(), heap.get());
        binary_data desc{heap.get(), uint32_t(bytes.size())};
        DiagRecorder diag;
        cmc_data *cmc = parse_container(&desc, nullptr, &diag);
        ASSERT_NE(cmc, nullptr);
        EXPECT_STREQ(static_cast<const char *>(cmc->slot[CMC_SLOT_TEXT]), "first");
        const DiagRecorder::Entry *e = diag.find(DiagKind::kWalkStopped);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, c.rule);
        oz_cmc_parser_deinit(cmc);
    }
}

TEST(Container, WalkStopsExactlyAtTotalSizeAndOnAPartialHeader) {
    // The last record ends exactly at total_size: no stop event.
    Parsed exact(ContainerBuilder().add(text_record("a")).build());
    EXPECT_EQ(exact.diag.find(DiagKind::kWalkStopped), nullptr);
    // Four bytes after the last record: too few for a header.
    Parsed partial(ContainerBuilder().add(text_record("a")).trailing({1, 2, 3, 4}).build());
    ASSERT_NE(partial.cmc, nullptr);
    const DiagRecorder::Entry *e = partial.diag.find(DiagKind::kWalkStopped);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->what, "record header within total_size");
}

TEST(Lifecycle, InitAndInitV1WithoutCalibrationAgree) {
    Blob blob(ContainerBuilder().add(text_record("same", 101).u16(29, 0)).build());
    cmc_data *a = oz_cmc_parser_init(blob.get());
    cmc_data *b = oz_cmc_parser_init_v1(blob.get(), nullptr);
    binary_data empty{blob.bytes.data(), 0};
    cmc_data *c = oz_cmc_parser_init_v1(blob.get(), &empty);
    ASSERT_TRUE(a && b && c);
    for (int i = 0; i < CMC_SLOT_COUNT; ++i) {
        EXPECT_EQ(a->slot[i] == nullptr, b->slot[i] == nullptr) << "slot " << i;
        EXPECT_EQ(a->slot[i] == nullptr, c->slot[i] == nullptr) << "slot " << i;
    }
    oz_cmc_parser_deinit(a);
    oz_cmc_parser_deinit(b);
    oz_cmc_parser_deinit(c);
    oz_cmc_parser_deinit(nullptr);
}

TEST(Lifecycle, CalibrationIsParsedAndReleased) {
    Blob container(ContainerBuilder().add(text_record("t")).build());
    Blob good(NvmBuilder(3, 2).table(8, [](int c, int r, int q) { return uint16_t(c + r + q); }).build());
    Blob bad(NvmBuilder(3, 2).corrupt_crc().build());
    for (const Blob *cal : {&good, &bad}) {
        DiagRecorder diag;
        cmc_data *cmc = parse_container(container.get(), cal->get(), &diag);
        ASSERT_NE(cmc, nullptr);
        const DiagRecorder::Entry *e = diag.find(DiagKind::kMerge);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, cal == &good ? "calibration parsed" : "calibration not parsed");
        oz_cmc_parser_deinit(cmc);
    }
}

TEST(Lifecycle, AllocationFailuresLeaveNothingBehind) {
    Blob blob(ContainerBuilder()
                  .add(text_record("k", 101).u16(26, 2).text(28, "a").text(30, "b").text(32, "c").text(34, "d"))
                  .add(RecordBuilder(8, 100).length(64))
                  .add(text_record("second"))
                  .build());
    SweepResult r = fault_sweep([&] {
        cmc_data *cmc = oz_cmc_parser_init(blob.get());
        // Null only when the result itself could not be allocated (the first allocation).
        if (cmc == nullptr) {
            EXPECT_TRUE(fault_injected());
        }
        oz_cmc_parser_deinit(cmc);
    }, "oz_cmc_parser_init");
    EXPECT_GE(r.points, 3u);
}

}  // namespace
}  // namespace oz::test
