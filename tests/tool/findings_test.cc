// What info and check report, computed in process: the status of each record (decoded, refused with
// the library's code, skipped, lost a section), the walk stopping early, the checksum form or the
// rule that refused the container, the calibration's parse status and whether the merge ran.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "findings.h"
#include "oz_nvm.h"
#include "tests/kit/builder.h"

namespace {

using oz::test::Bytes;
using oz::test::Checksum;
using oz::test::ContainerBuilder;
using oz::test::NvmBuilder;
using oz::test::RecordBuilder;

RecordBuilder text() { return RecordBuilder(1, 100).text(24, "abc").length(32); }

TEST(Findings, RecordStatusesAndVerdict) {
    struct Case {
        const char *name;
        Bytes container;
        std::vector<std::string> statuses;
        bool clean;
    };
    const std::vector<Case> cases = {
        {"decoded and foreign", ContainerBuilder().add(text()).add(RecordBuilder(900, 100).length(16)).build(),
         {"decoded", "skipped"}, true},
        {"no decoder for id 4", ContainerBuilder().add(RecordBuilder(4, 100).length(16)).add(text()).build(),
         {"refused", "decoded"}, false},
        {"text without its NUL", ContainerBuilder().add(RecordBuilder(1, 100).bytes(24, Bytes(8, 'x'))).build(),
         {"refused"}, false},
        {"sample section dropped", ContainerBuilder().add(RecordBuilder(15, 101).u16(12, 1).length(16)).build(),
         {"decoded"}, false},
        {"walk stops at size 4", ContainerBuilder().add(text()).add(RecordBuilder(5, 100).size_field(4).length(16)).build(),
         {"decoded"}, false},
        {"empty container", ContainerBuilder().build(), {}, true},
    };
    for (const Case &c : cases) {
        ozcmc::Analysis a = ozcmc::analyse(c.container, nullptr);
        const ozcmc::Findings &f = a.findings;
        ASSERT_TRUE(f.accepted) << c.name;
        ASSERT_EQ(f.records.size(), c.statuses.size()) << c.name;
        for (size_t i = 0; i < c.statuses.size(); ++i) EXPECT_EQ(f.records[i].status, c.statuses[i]) << c.name << " #" << i;
        EXPECT_EQ(f.clean(), c.clean) << c.name << "\n" << ozcmc::findings_text(f);
    }
    // A record without a decoder carries the library's code and the rule's values.
    ozcmc::Analysis a = ozcmc::analyse(cases[1].container, nullptr);
    const ozcmc::Event &refusal = a.findings.records[0].events.at(0);
    EXPECT_EQ(refusal.code, 8u);
    EXPECT_EQ(refusal.actual, 4u);
    EXPECT_NE(ozcmc::findings_text(a.findings).find("REFUSED: no decoder for this id"), std::string::npos);
    // The walk's stop names where and why.
    ozcmc::Analysis w = ozcmc::analyse(cases[4].container, nullptr);
    ASSERT_TRUE(w.findings.walk_stopped.has_value());
    EXPECT_EQ(w.findings.walk_stopped->what, "record size >= 8");
    EXPECT_EQ(w.findings.walk_stopped->offset, 56u);
}

TEST(Findings, ContainerVerdicts) {
    ozcmc::Analysis b = ozcmc::analyse(ContainerBuilder().header_word(2, 5).add(text()).checksum(Checksum::kFormB).build(), nullptr);
    EXPECT_TRUE(b.findings.accepted);
    EXPECT_EQ(b.findings.checksum_form, "B");

    struct Case {
        const char *name;
        Bytes container;
        const char *rule;
    };
    const std::vector<Case> cases = {
        {"checksum", ContainerBuilder().add(text()).corrupt_checksum().build(), "checksum matches form A or form B"},
        {"total size", ContainerBuilder().add(text()).total_size(99).build(), "total_size == descriptor size"},
        {"short", Bytes(12, 0), "descriptor size >= 24 (header)"},
    };
    for (const Case &c : cases) {
        ozcmc::Analysis a = ozcmc::analyse(c.container, nullptr);
        EXPECT_FALSE(a.findings.accepted) << c.name;
        EXPECT_EQ(a.result, nullptr) << c.name;
        ASSERT_TRUE(a.findings.rejection.has_value()) << c.name;
        EXPECT_EQ(a.findings.rejection->what, c.rule) << c.name;
        EXPECT_FALSE(a.findings.clean()) << c.name;
        EXPECT_TRUE(a.findings.records.empty()) << c.name;
    }
}

TEST(Findings, CalibrationAndMerge) {
    std::ifstream in(std::string(OZ_EXAMPLE_DIR) + "/example_container.bin", std::ios::binary);
    const Bytes example((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::ifstream cin(std::string(OZ_EXAMPLE_DIR) + "/example_calibration.bin", std::ios::binary);
    const Bytes calibration((std::istreambuf_iterator<char>(cin)), std::istreambuf_iterator<char>());

    ozcmc::Analysis merged = ozcmc::analyse(example, &calibration);
    EXPECT_EQ(merged.findings.calibration_status, 0);
    EXPECT_TRUE(merged.findings.merge_inputs);
    EXPECT_TRUE(merged.findings.merge_ran);
    EXPECT_EQ(merged.findings.upscaling_method, 3);
    EXPECT_TRUE(merged.findings.clean()) << ozcmc::findings_text(merged.findings);
    // The others record is decoded by its own call: no trace of the walk's skip remains.
    ASSERT_EQ(merged.findings.records.back().id, 722);
    EXPECT_EQ(merged.findings.records.back().status, "decoded");
    EXPECT_EQ(merged.findings.records.back().events.size(), 1u);

    const Bytes bad_crc = NvmBuilder(4, 4).table(8, [](int, int, int) { return uint16_t(3); }).corrupt_crc().build();
    ozcmc::Analysis refused = ozcmc::analyse(example, &bad_crc);
    EXPECT_EQ(refused.findings.calibration_status, OZ_NVM_BAD_CRC);
    EXPECT_STREQ(ozcmc::nvm_status_name(refused.findings.calibration_status), "CRC-32 mismatch");
    EXPECT_FALSE(refused.findings.merge_ran);

    // Without record 17 there is nothing to merge into, whatever the calibration.
    ozcmc::Analysis bare = ozcmc::analyse(ContainerBuilder().add(text()).build(), &calibration);
    EXPECT_EQ(bare.findings.calibration_status, 0);
    EXPECT_FALSE(bare.findings.merge_inputs);
    EXPECT_FALSE(bare.findings.merge_ran);
    EXPECT_NE(ozcmc::findings_text(bare.findings).find("merge: not run"), std::string::npos);
}

}  // namespace
