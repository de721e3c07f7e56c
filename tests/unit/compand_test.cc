// Compand/decompand pair (record 35, slots 59 and 60), sensor decompand curve (record 36, slot 61) and
// cbd tables (record 38, slot 64): field offsets, zero-length arrays, the exact length each count
// requires (a record one byte shorter is rejected whole), and replacement by a later record.
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

TEST(PipeCompand, BothCurvesFromOneKneeTable) {
    Parsed p({record35(2)});
    auto *compand = p.at<cmc_pipe_compand_decompand>(CMC_SLOT_PIPE_COMPAND);
    auto *decompand = p.at<cmc_pipe_compand_decompand>(CMC_SLOT_PIPE_DECOMPAND);
    ASSERT_NE(compand, nullptr);
    ASSERT_NE(decompand, nullptr);
    for (auto *curve : {compand, decompand}) {
        EXPECT_EQ(curve->header.size, 44u);
        EXPECT_EQ(curve->header.id, 35);
        EXPECT_EQ(curve->control_byte, 0xC1);
        EXPECT_EQ(curve->control_word, 0xDEADBEEFu);
        EXPECT_EQ(curve->num_segments, 2);
    }
    // Wide points at 14, 18, 22; narrow at 26, 28, 30; compand segments at 32, 34; decompand at 36, 40.
    const auto *wide_in = static_cast<const uint32_t *>(compand->input_points);
    const auto *narrow_out = static_cast<const uint16_t *>(compand->output_points);
    const auto *narrow_in = static_cast<const uint16_t *>(decompand->input_points);
    const auto *wide_out = static_cast<const uint32_t *>(decompand->output_points);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(wide_in[i], 0x10000u * (i + 1));
        EXPECT_EQ(wide_out[i], 0x10000u * (i + 1));
        EXPECT_EQ(narrow_in[i], 0x100 + i);
        EXPECT_EQ(narrow_out[i], 0x100 + i);
    }
    EXPECT_NE(compand->input_points, decompand->output_points);  // each structure owns its copies
    EXPECT_EQ(static_cast<const uint16_t *>(compand->segment_values)[1], 0x201);
    EXPECT_EQ(static_cast<const uint32_t *>(decompand->segment_values)[1], 0x300001u);
}

TEST(PipeCompand, NoSegments) {
    Parsed p({record35(0)});
    auto *compand = p.at<cmc_pipe_compand_decompand>(CMC_SLOT_PIPE_COMPAND);
    ASSERT_NE(compand, nullptr);
    EXPECT_EQ(compand->header.size, 20u);
    EXPECT_EQ(static_cast<const uint32_t *>(compand->input_points)[0], 0x10000u);
    EXPECT_EQ(static_cast<const uint16_t *>(compand->output_points)[0], 0x100);
    EXPECT_NE(compand->segment_values, nullptr);  // zero-length allocation
}

// Exact length accepted, one byte less rejected whole, for each curve record.
TEST(CompandRecords, SizeBoundaries) {
    struct Case {
        const char *name;
        RecordBuilder record;
        uint32_t need;
        std::vector<int> slots;
        const char *rule;
    };
    const std::vector<Case> cases = {
        {"35, n = 0", record35(0), 20, {CMC_SLOT_PIPE_COMPAND, CMC_SLOT_PIPE_DECOMPAND}, "size >= 20 + 12 * num_segments"},
        {"35, n = 255", record35(255), 20 + 12 * 255, {CMC_SLOT_PIPE_COMPAND, CMC_SLOT_PIPE_DECOMPAND},
         "size >= 20 + 12 * num_segments"},
        {"36, n = 0", RecordBuilder(36, 100).u8(13, 0).length(14), 14, {CMC_SLOT_SENSOR_DECOMPAND}, "size >= 14 + 6 * num_points"},
        {"36, n = 9", RecordBuilder(36, 100).u8(13, 9).length(68), 68, {CMC_SLOT_SENSOR_DECOMPAND}, "size >= 14 + 6 * num_points"},
        {"38, n = 0", RecordBuilder(38, 100).u8(9, 0).length(10), 10, {CMC_SLOT_CBD}, "size >= 10 + 8 * num_values"},
        {"38, n = 200", RecordBuilder(38, 100).u8(9, 200).length(1610), 1610, {CMC_SLOT_CBD}, "size >= 10 + 8 * num_values"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RecordBuilder exact_record = c.record;
        Parsed exact({exact_record.length(c.need)});
        for (int slot : c.slots) EXPECT_NE(exact.at(slot), nullptr) << slot;
        RecordBuilder short_record = c.record;
        Parsed below({short_record.length(c.need - 1)});
        for (int slot : c.slots) EXPECT_EQ(below.at(slot), nullptr) << slot;
        const DiagRecorder::Entry *e = below.diag.find(DiagKind::kRecordRefused, c.record.build()[6]);
        ASSERT_NE(e, nullptr);
        EXPECT_EQ(e->what, c.rule);
        EXPECT_EQ(e->event.expected, c.need);
    }
    // Records too short to hold their count are rejected the same way.
    Parsed tiny({RecordBuilder(35, 100).length(12), RecordBuilder(36, 100).length(13), RecordBuilder(38, 100).length(9)});
    EXPECT_EQ(tiny.at(CMC_SLOT_PIPE_COMPAND), nullptr);
    EXPECT_EQ(tiny.at(CMC_SLOT_SENSOR_DECOMPAND), nullptr);
    EXPECT_EQ(tiny.at(CMC_SLOT_CBD), nullptr);
}

TEST(SensorDecompand, FieldsAndPoints) {
    RecordBuilder r(36, 100);
    r.u8(8, 0x11).u16(9, 0x2233).u8(11, 0x44).u8(12, 0x55).u8(13, 3);
    for (uint32_t i = 0; i < 3; ++i) r.u16(14 + 2 * i, uint16_t(0x700 + i)).u32(20 + 4 * i, 0x80000 + i);
    Parsed p({r.length(32)});
    auto *curve = p.at<cmc_sensor_decompand>(CMC_SLOT_SENSOR_DECOMPAND);
    ASSERT_NE(curve, nullptr);
    EXPECT_EQ(curve->control_byte, 0x11);
    EXPECT_EQ(curve->control_value, 0x2233);
    EXPECT_EQ(curve->first_setting, 0x44);
    EXPECT_EQ(curve->second_setting, 0x55);
    EXPECT_EQ(curve->num_points, 3);
    EXPECT_EQ(curve->input_points[2], 0x702);
    EXPECT_EQ(curve->output_points[2], 0x80002u);

    Parsed empty({RecordBuilder(36, 100).length(14)});
    curve = empty.at<cmc_sensor_decompand>(CMC_SLOT_SENSOR_DECOMPAND);
    ASSERT_NE(curve, nullptr);
    EXPECT_NE(curve->input_points, nullptr);  // zero-length allocations
    EXPECT_NE(curve->output_points, nullptr);
}

TEST(Cbd, Tables) {
    RecordBuilder r(38, 100);
    r.u8(8, 0x99).u8(9, 2).u32(10, 1).u32(14, 2).u32(18, 3).u32(22, 4);
    Parsed p({r.length(26)});
    auto *cbd = p.at<cmc_cbd>(CMC_SLOT_CBD);
    ASSERT_NE(cbd, nullptr);
    EXPECT_EQ(cbd->control_byte, 0x99);
    EXPECT_EQ(cbd->num_values, 2);
    EXPECT_EQ(cbd->first_table[1], 2u);
    EXPECT_EQ(cbd->second_table[0], 3u);
    EXPECT_EQ(cbd->second_table[1], 4u);
}

TEST(CompandRecords, LaterRecordsReplaceEarlierOnes) {
    Parsed two({record35(1, 0), record35(1, 7)});
    EXPECT_EQ(static_cast<const uint32_t *>(two.at<cmc_pipe_compand_decompand>(CMC_SLOT_PIPE_COMPAND)->input_points)[0], 0x10007u);
    EXPECT_EQ(static_cast<const uint32_t *>(two.at<cmc_pipe_compand_decompand>(CMC_SLOT_PIPE_DECOMPAND)->output_points)[0], 0x10007u);
    // A rejected later record leaves the slots empty.
    Parsed rejected({record35(1), record35(3).length(40), RecordBuilder(36, 100).length(14),
                     RecordBuilder(36, 100).u8(13, 1).length(19), RecordBuilder(38, 100).length(10),
                     RecordBuilder(38, 100).u8(9, 1).length(17)});
    for (int slot : {CMC_SLOT_PIPE_COMPAND, CMC_SLOT_PIPE_DECOMPAND, CMC_SLOT_SENSOR_DECOMPAND, CMC_SLOT_CBD})
        EXPECT_EQ(rejected.at(slot), nullptr) << slot;
}

}  // namespace
}  // namespace oz::test
