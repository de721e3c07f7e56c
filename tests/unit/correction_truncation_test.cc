// Every correction record cut to every shorter length: each cut record is rejected or decoded as far
// as it holds, never read past its end (the sanitizer build checks the reads), and released.
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

TEST(CorrectionRecords, EveryRecordDecodesWhole) {
    Parsed p(every_correction_record(), calibration_with_phase_difference());
    ASSERT_NE(p.cmc, nullptr);
    for (int slot : {CMC_SLOT_LSC_LEGACY, CMC_SLOT_GEOMETRIC_DISTORTION, CMC_SLOT_PHASE_DIFFERENCE,
                     CMC_SLOT_FOUR_PLANE_GRID, CMC_SLOT_LENS_SHADING, CMC_SLOT_VALID_AREA,
                     CMC_SLOT_LENS_SHADING_RATIO, CMC_SLOT_PIPE_COMPAND, CMC_SLOT_PIPE_DECOMPAND,
                     CMC_SLOT_SENSOR_DECOMPAND, CMC_SLOT_RECORD37, CMC_SLOT_RECORD39, CMC_SLOT_CBD,
                     CMC_SLOT_BLOCK_SETTINGS, CMC_SLOT_RECORD41, CMC_SLOT_RECORD42})
        EXPECT_NE(p.at(slot), nullptr) << slot;
    for (const auto &e : p.diag.entries) {
        EXPECT_NE(e.event.kind, DiagKind::kRecordRefused) << e.event.id << ": " << e.what;
        EXPECT_NE(e.event.kind, DiagKind::kSectionDropped) << e.event.id << ": " << e.what;
    }
    auto *gd = p.at<cmc_geometric_distortion2>(CMC_SLOT_GEOMETRIC_DISTORTION);
    EXPECT_EQ(gd->trailer_flag, 0x5C);
    auto *pd = p.at<cmc_phase_difference>(CMC_SLOT_PHASE_DIFFERENCE);
    EXPECT_EQ(pd->primary_grid_width, 7);  // from the calibration map
    EXPECT_NE(pd->secondary_grid, nullptr);
}

TEST(CorrectionRecords, TruncatedRecordsNeverReadPastTheirEnd) {
    const Bytes calibration = calibration_with_phase_difference();
    for (const RecordBuilder &full : every_correction_record()) {
        const uint16_t id = le16(full.build().data() + 6);
        SCOPED_TRACE(id);
        for (uint32_t length = 8; length < full.length(); ++length) {
            Parsed p({RecordBuilder(full).length(length)}, calibration);
            ASSERT_NE(p.cmc, nullptr) << length;
        }
    }
}

}  // namespace
}  // namespace oz::test
