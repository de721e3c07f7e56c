// The calibration merge on a result whose slots are filled directly: which upscaling each record-17
// method selects and with which arguments, the correction applied with record 2's layout and record 17's
// Bayer order, and every condition under which nothing is merged, each with what the merge reports.
#include <gtest/gtest.h>

#include <vector>

#include "parser/merge.h"
#include "tests/kit/fault_sweep.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

constexpr uint16_t kW = 24, kH = 18;

// A result holding lens-shading data, ratios, record 17 (version 101), record 2 and record 32, all in
// test-owned memory; merge_calibration never releases slots.
struct MergeFixture {
    ShadingPair pair{3, kW, kH};
    std::vector<uint8_t> rec17 = std::vector<uint8_t>(16, 0), rec2 = std::vector<uint8_t>(36, 0),
                         rec32 = std::vector<uint8_t>(32, 0);
    ModuleCalibration cal{17, 13};
    cmc_data cmc{};
    DiagRecorder diag;

    MergeFixture(uint16_t method, uint16_t flip, uint16_t bayer, uint16_t cfa) {
        rec17[0] = 16, rec17[4] = 101, rec17[6] = 17;
        rec17[10] = uint8_t(bayer), rec17[12] = uint8_t(flip), rec17[14] = uint8_t(method), rec17[15] = uint8_t(method >> 8);
        rec2[8] = 0xA0, rec2[9] = 0x0F, rec2[10] = 0xB8, rec2[11] = 0x0B;  // 4000 x 3000
        rec2[14] = uint8_t(cfa), rec2[15] = uint8_t(cfa >> 8);
        rec32[0] = 32, rec32[24] = 0xD0, rec32[25] = 0x07, rec32[26] = 0xDC, rec32[27] = 0x05, rec32[28] = 0xC4, rec32[29] = 0x09;
        for (int e = 0; e < 3; ++e) {
            pair.ratio_entry(e).nvm_source_index = uint16_t(1 + e % 2);
            for (int r = 0; r < 4; ++r)
                for (int c = 0; c < 4; ++c)
                    for (size_t i = 0; i < pair.samples(); ++i) pair.ratio_table(e, r, c)[i] = uint16_t(3000 + (i * 13 + r + c + e) % 2000);
        }
        cal.smooth_table(8, 0).smooth_table(10, 1);
        cmc.slot[CMC_SLOT_LENS_SHADING] = pair.lens();
        cmc.slot[CMC_SLOT_LENS_SHADING_RATIO] = pair.ratio();
        cmc.slot[CMC_SLOT_RECORD17] = rec17.data();
        cmc.slot[CMC_SLOT_RECORD17_EXTENSION] = rec17.data() + 14;
        cmc.slot[CMC_SLOT_RECORD2] = rec2.data();
        cmc.slot[CMC_SLOT_VALID_AREA] = rec32.data();
    }

    void merge() { merge_calibration(&cmc, cal.get(), Diag(&diag)); }

    std::vector<std::string> merge_reports() const {
        std::vector<std::string> out;
        for (const auto &e : diag.entries)
            if (e.event.kind == DiagKind::kMerge) out.push_back(e.what);
        return out;
    }
};

// What the merge must leave in slot 54: the named upscaling, then the correction, on a second copy.
std::vector<std::vector<uint16_t>> expected_tables(uint16_t method, uint16_t flip, uint16_t bayer, uint16_t cfa) {
    MergeFixture f(method, flip, bayer, cfa);
    upscaled_lsc_tables *t =
        method == 3 ? compute_upscaled_lsc_tables_polynom4th_valid_area(kW, kH, f.cal.get(), flip, &f.cmc)
                    : compute_upscaled_lsc_tables_polynom4th(kW, kH, f.cal.get(), flip, method == 2 ? 1 : 0);
    EXPECT_NE(t, nullptr);
    ratio_based_sample_to_sample_correction(f.pair.lens(), f.pair.ratio(), t, cfa, bayer);
    deinit_computed_upscale_lsc_tables(t);
    std::vector<std::vector<uint16_t>> out;
    for (int e = 0; e < 3; ++e)
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) out.push_back(f.pair.lens_table(e, r, c));
    return out;
}

std::vector<std::vector<uint16_t>> tables_of(MergeFixture &f) {
    std::vector<std::vector<uint16_t>> out;
    for (int e = 0; e < 3; ++e)
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) out.push_back(f.pair.lens_table(e, r, c));
    return out;
}

TEST(Merge, MethodSelectsTheUpscaling) {
    const struct {
        uint16_t method;
        const char *report;
    } cases[] = {
        {0, "upscaling: polynomial, whole grid"},   {1, "upscaling: polynomial, whole grid"},
        {2, "upscaling: polynomial, interior fit"}, {3, "upscaling: polynomial, valid-area fit"},
        {4, "upscaling: polynomial, whole grid"},   {0x0102, "upscaling: polynomial, whole grid"},
    };
    for (const auto &k : cases) {
        MergeFixture f(k.method, 1, 2, 258);
        const auto before = tables_of(f);
        f.merge();
        EXPECT_EQ(f.merge_reports(), (std::vector<std::string>{k.report, "ratio correction"})) << k.method;
        const auto *correction = f.diag.entries.back().event.kind == DiagKind::kMerge ? &f.diag.entries.back() : nullptr;
        ASSERT_NE(correction, nullptr);
        EXPECT_EQ(correction->event.code, 0u);
        EXPECT_EQ(correction->event.actual, 258u);  // the layout handed over
        const auto after = tables_of(f);
        EXPECT_NE(after, before) << k.method;
        EXPECT_EQ(after, expected_tables(k.method, 1, 2, 258)) << k.method;
        EXPECT_EQ(f.pair.lens_entry(2).light_source, 1002u);
    }
    // Distinct methods give distinct tables (the selection is not a no-op).
    EXPECT_NE(expected_tables(0, 0, 1, 1), expected_tables(2, 0, 1, 1));
    EXPECT_NE(expected_tables(0, 0, 1, 1), expected_tables(3, 0, 1, 1));
}

TEST(Merge, FlipAndBayerOrderComeFromRecord17) {
    for (uint16_t flip : {0, 3})
        for (uint16_t bayer : {0, 3}) {
            MergeFixture f(0, flip, bayer, 1);
            f.merge();
            EXPECT_EQ(tables_of(f), expected_tables(0, flip, bayer, 1)) << flip << " " << bayer;
        }
}

// Each condition that stops the merge leaves slot 54 as it was and says why.
TEST(Merge, ConditionsWithoutMerge) {
    struct Case {
        const char *name;
        std::function<void(MergeFixture &)> defect;
        std::vector<std::string> reports;
    };
    const std::vector<Case> cases = {
        {"no lens shading", [](MergeFixture &f) { f.cmc.slot[CMC_SLOT_LENS_SHADING] = nullptr; }, {"no merge: slot 54, 57 or 33 empty"}},
        {"no ratios", [](MergeFixture &f) { f.cmc.slot[CMC_SLOT_LENS_SHADING_RATIO] = nullptr; }, {"no merge: slot 54, 57 or 33 empty"}},
        {"record 17 version 100", [](MergeFixture &f) { f.cmc.slot[CMC_SLOT_RECORD17_EXTENSION] = nullptr; },
         {"no merge: slot 54, 57 or 33 empty"}},
        {"no record 2", [](MergeFixture &f) { f.cmc.slot[CMC_SLOT_RECORD2] = nullptr; }, {"no merge: record 2 missing, no cfa_pattern"}},
        {"lens-shading grid of one row", [](MergeFixture &f) { f.pair.lens()->height = 1; },
         {"upscaling: polynomial, whole grid", "no correction: upscaling failed"}},
        {"valid area without record 32", [](MergeFixture &f) { f.rec17[14] = 3, f.cmc.slot[CMC_SLOT_VALID_AREA] = nullptr; },
         {"upscaling: polynomial, valid-area fit", "no correction: upscaling failed"}},
        {"valid area with a zero frame", [](MergeFixture &f) { f.rec17[14] = 3, f.rec2[8] = f.rec2[9] = 0; },
         {"upscaling: polynomial, valid-area fit", "no correction: upscaling failed"}},
    };
    for (const Case &k : cases) {
        MergeFixture f(0, 0, 0, 0);
        k.defect(f);
        const auto before = tables_of(f);
        const int64_t live = faultsim::live_blocks();
        f.merge();
        EXPECT_EQ(faultsim::live_blocks(), live) << k.name;
        EXPECT_EQ(f.merge_reports(), k.reports) << k.name;
        EXPECT_EQ(tables_of(f), before) << k.name;
        EXPECT_EQ(f.pair.lens_entry(0).light_source, 7u) << k.name;
    }
    // Without calibration the merge does nothing and says nothing.
    MergeFixture f(0, 0, 0, 0);
    merge_calibration(&f.cmc, nullptr, Diag(&f.diag));
    EXPECT_TRUE(f.diag.entries.empty());
}

// The correction's status is reported, not acted on: an unsupported Bayer order leaves everything, a
// failing entry leaves the entries before it corrected.
TEST(Merge, CorrectionStatusIsReportedOnly) {
    MergeFixture f(0, 0, 9, 0);
    const auto before = tables_of(f);
    f.merge();
    ASSERT_EQ(f.merge_reports().back(), "ratio correction");
    EXPECT_EQ(f.diag.entries.back().event.code, 8u);
    EXPECT_EQ(tables_of(f), before);

    MergeFixture g(0, 0, 1, 1);
    g.pair.ratio_entry(1).nvm_source_index = 5;
    g.merge();
    EXPECT_EQ(g.diag.entries.back().event.code, 8u);
    EXPECT_EQ(g.pair.lens_entry(0).light_source, 1000u);
    EXPECT_EQ(g.pair.lens_entry(1).light_source, 7u);
}

// Allocation failures inside the merge: slot 54 is either fully corrected or untouched, nothing leaks.
TEST(Merge, AllocationFailuresLeaveTablesWholeOrUntouched) {
    const auto corrected = expected_tables(2, 1, 1, 256);
    MergeFixture original(2, 1, 1, 256);
    const auto untouched = tables_of(original);
    fault_sweep([&] {
        MergeFixture f(2, 1, 1, 256);
        f.merge();
        const auto now = tables_of(f);
        EXPECT_EQ(now, fault_injected() ? untouched : corrected);
    });
}

}  // namespace
}  // namespace oz::test
