// The text record (id 1) and the bounded copy memcpy_s with its two messages.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "oz_cmc_parser.h"
#include "oz_log.h"
#include "parser/parser.h"
#include "records/memcpy_s.h"
#include "records/slots.h"
#include "tests/kit/builder.h"
#include "tests/kit/fault_sweep.h"

namespace oz::test {
namespace {

struct Result {
    Blob blob;
    DiagRecorder diag;
    cmc_data *cmc;
    explicit Result(const ContainerBuilder &c) : blob(c.build()), cmc(parse_container(blob.get(), nullptr, &diag)) {}
    ~Result() { oz_cmc_parser_deinit(cmc); }
    const char *text() const { return static_cast<const char *>(cmc->slot[CMC_SLOT_TEXT]); }
    uint16_t pair_count() const { return slot_u16(cmc, CMC_SLOT_TEXT_PAIR_COUNT, 0); }
    const cmc_text_pair *pairs() const { return static_cast<const cmc_text_pair *>(cmc->slot[CMC_SLOT_TEXT_PAIRS]); }
    bool rejected() const {
        return !cmc->slot[CMC_SLOT_TEXT_RECORD] && !cmc->slot[CMC_SLOT_TEXT] && !cmc->slot[CMC_SLOT_TEXT_PAIRS] &&
               !cmc->slot[CMC_SLOT_TEXT_PAIR_COUNT];
    }
};

// Text "hello" (L = 5): NUL at 29, pair count at 30, pairs from 32.
RecordBuilder with_pairs(uint16_t count) { return RecordBuilder(1, 101).text(24, "hello").u16(30, count); }

TEST(TextRecord, Version100KeepsTheTextWhenItExactlyFills) {
    Result r(ContainerBuilder().add(RecordBuilder(1, 100).text(24, "hello")));  // size = L + 25 = 30
    ASSERT_NE(r.cmc->slot[CMC_SLOT_TEXT_RECORD], nullptr);
    EXPECT_STREQ(r.text(), "hello");
    EXPECT_EQ(r.text(), static_cast<char *>(r.cmc->slot[CMC_SLOT_TEXT_RECORD]) + 24);
    EXPECT_EQ(r.pair_count(), 0);
    EXPECT_EQ(r.pairs(), nullptr);
}

TEST(TextRecord, PairsPointIntoTheRecord) {
    Result r(ContainerBuilder().add(with_pairs(2).text(32, "k1").text(35, "").text(36, "key2").text(41, "v2")));
    ASSERT_NE(r.pairs(), nullptr);
    EXPECT_EQ(r.pair_count(), 2);
    EXPECT_STREQ(r.pairs()[0].key, "k1");
    EXPECT_STREQ(r.pairs()[0].value, "");
    EXPECT_STREQ(r.pairs()[1].key, "key2");
    EXPECT_STREQ(r.pairs()[1].value, "v2");
    EXPECT_EQ(r.diag.find(DiagKind::kRecordDecoded, 1)->what, "slots 0-3: text and key/value pairs");
}

TEST(TextRecord, ZeroPairsKeepAnEmptyTable) {
    Result r(ContainerBuilder().add(with_pairs(0)));
    EXPECT_NE(r.pairs(), nullptr);
    EXPECT_EQ(r.pair_count(), 0);
}

// Each bound of the record: the record is cut one byte short of what it needs (so the NUL or the
// count lies outside `size`) and is rejected as a whole, slots 0 to 3 null and 0.
TEST(TextRecord, EveryBoundRejectsTheWholeRecord) {
    struct Case {
        const char *name;
        RecordBuilder record;
        const char *rule;
    };
    const Case cases[] = {
        {"text without NUL", RecordBuilder(1, 100).text(24, "hello").length(29), "text NUL within size"},
        {"no room for the text", RecordBuilder(1, 100).length(24), "text NUL within size"},
        {"count cut", RecordBuilder(1, 101).text(24, "hello").length(31), "size >= L + 27 (pair count)"},
        {"key without NUL", with_pairs(1).text(32, "k").length(33), "pair key NUL within size"},
        {"value without NUL", with_pairs(1).text(32, "k").text(34, "v").length(35), "pair value NUL within size"},
        {"value missing", with_pairs(1).text(32, "k").length(34), "pair value NUL within size"},
        {"second pair missing", with_pairs(2).text(32, "k").text(34, "v"), "pair key NUL within size"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Result r(ContainerBuilder().add(c.record));
        EXPECT_TRUE(r.rejected());
        const DiagRecorder::Entry *e = r.diag.find(DiagKind::kRecordRefused, 1);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, c.rule);
    }
}

TEST(TextRecord, TheLastRecordWinsAndTheFirstIsReleased) {
    // The second record is rejected: it still clears what the first one stored.
    Result r(ContainerBuilder().add(with_pairs(1).text(32, "a").text(34, "b")).add(RecordBuilder(1, 100).length(24)));
    EXPECT_TRUE(r.rejected());
    Result r2(ContainerBuilder().add(with_pairs(1).text(32, "a").text(34, "b")).add(RecordBuilder(1, 100).text(24, "two")));
    EXPECT_STREQ(r2.text(), "two");
    EXPECT_EQ(r2.pairs(), nullptr);
    EXPECT_EQ(r2.pair_count(), 0);
}

TEST(TextRecord, PairTableAllocationFailureKeepsTextAndCount) {
    Blob blob(ContainerBuilder().add(with_pairs(1).text(32, "a").text(34, "b")).build());
    // Allocations: result, record copy, pair table.
    faultsim::reset_counters();
    faultsim::arm(3, false);
    cmc_data *cmc = oz_cmc_parser_init(blob.get());
    faultsim::disarm();
    ASSERT_NE(cmc, nullptr);
    EXPECT_EQ(faultsim::failures(), 1u);
    EXPECT_STREQ(static_cast<const char *>(cmc->slot[CMC_SLOT_TEXT]), "hello");
    EXPECT_EQ(slot_u16(cmc, CMC_SLOT_TEXT_PAIR_COUNT, 0), 1);
    EXPECT_EQ(cmc->slot[CMC_SLOT_TEXT_PAIRS], nullptr);
    oz_cmc_parser_deinit(cmc);
}

// Captures oz_log output.
struct LogCapture {
    std::string text;
    int32_t level = -1;
    LogCapture() {
        oz_log_set_sink([](void *user, int32_t level, const char *t) {
            auto *self = static_cast<LogCapture *>(user);
            self->text += t;
            self->level = level;
        }, this);
    }
    ~LogCapture() { oz_log_set_sink(nullptr, nullptr); }
};

TEST(MemcpyS, ShortensOversizedCopiesAndSaysSo) {
    LogCapture log;
    uint8_t src[40], dst[40];
    for (int i = 0; i < 40; ++i) src[i] = uint8_t(i + 1);
    std::memset(dst, 0xEE, sizeof dst);
    memcpy_s(dst, 36, src, 40);
    EXPECT_EQ(log.text, "memcpy_s: count(40) > destsz(36), downsizing count to destsz\n");
    EXPECT_EQ(log.level, 0);
    EXPECT_EQ(std::memcmp(dst, src, 36), 0);
    EXPECT_EQ(dst[36], 0xEE);
}

TEST(MemcpyS, NullSourceZeroFillsAndNullDestinationLogs) {
    LogCapture log;
    uint8_t dst[40];
    std::memset(dst, 0xEE, sizeof dst);
    memcpy_s(dst, 36, nullptr, 36);
    EXPECT_EQ(log.text, "");
    for (int i = 0; i < 36; ++i) ASSERT_EQ(dst[i], 0) << i;
    EXPECT_EQ(dst[36], 0xEE);
    memcpy_s(nullptr, 36, dst, 4);
    EXPECT_EQ(log.text, "memcpy_s: nullptr received\n");
}

}  // namespace
}  // namespace oz::test
