// The calibration merge through init_v1: containers built record by record and calibration blobs in the
// NVM format; slot 54 after init compared sample by sample with the kernels composed by hand on a result
// parsed without calibration, for every upscaling method, both record generations and several layouts;
// and every condition under which init merges nothing.
#include <gtest/gtest.h>

#include "common/faultsim.h"
#include "tests/kit/fault_sweep.h"
#include "tests/kit/merge_scene.h"

namespace oz::test {
namespace {

struct InitRun {
    DiagRecorder diag;
    cmc_data *cmc;
    InitRun(const Blob &container, const binary_data *calibration) : cmc(parse_container(container.get(), calibration, &diag)) {}
    ~InitRun() { oz_cmc_parser_deinit(cmc); }
    const cmc_lens_shading4x4 *lens() const { return static_cast<const cmc_lens_shading4x4 *>(cmc->slot[CMC_SLOT_LENS_SHADING]); }
    std::vector<std::string> merge_reports() const {
        std::vector<std::string> out;
        for (const auto &e : diag.entries)
            if (e.event.kind == DiagKind::kMerge) out.push_back(e.what);
        return out;
    }
};

TEST(MergeEndToEnd, SlotFiftyFourIsTheComposedCorrection) {
    struct Case {
        const char *name;
        MergeScene scene;
    };
    std::vector<Case> cases;
    for (uint16_t method : {0, 1, 2, 3, 9}) {
        MergeScene s;
        s.method = method;
        cases.push_back({"method", s});
    }
    for (uint16_t cfa : {0, 3, 130, 256, 263}) {
        MergeScene s;
        s.cfa = cfa;
        s.bayer = uint16_t(cfa % 4);
        s.flip = uint16_t((cfa + 1) % 4);
        cases.push_back({"layout", s});
    }
    {
        MergeScene s;
        s.legacy = true;
        s.cfa = 1;
        s.method = 2;
        cases.push_back({"records 10 and 11", s});
    }
    {
        MergeScene s;
        s.width = 64, s.height = 48, s.light_sources = 4;
        cases.push_back({"64 x 48, four light sources", s});
    }
    // The correction's status is reported, not acted on: an unsupported Bayer order changes nothing; an
    // entry naming a module table that does not exist stops the correction there.
    {
        MergeScene s;
        s.bayer = 9;
        cases.push_back({"unsupported Bayer order", s});
    }
    {
        MergeScene s;
        s.unmatched_entry = 1;
        cases.push_back({"entry 1 names no module table", s});
    }
    for (const Case &k : cases) {
        const MergeScene &s = k.scene;
        const Blob container(s.container()), calibration(s.calibration());
        const int64_t live = faultsim::live_blocks();
        {
            InitRun got(container, calibration.get());
            uint32_t status = 0;
            cmc_data *want = expected_merge(s, container, calibration, &status);
            InitRun plain(container, nullptr);
            ASSERT_NE(got.lens(), nullptr) << k.name;
            EXPECT_TRUE(same_lens_shading(got.lens(), static_cast<cmc_lens_shading4x4 *>(want->slot[CMC_SLOT_LENS_SHADING])))
                << k.name << " method " << s.method << " cfa " << s.cfa;
            EXPECT_EQ(same_lens_shading(got.lens(), plain.lens()), s.bayer > 3) << k.name << ": corrected or not";
            EXPECT_EQ(got.lens()->light_sources[0].light_source, s.bayer > 3 ? 500u : 900u) << k.name;
            EXPECT_EQ(got.lens()->light_sources[1].light_source, s.bayer > 3 || s.unmatched_entry == 1 ? 501u : 901u) << k.name;
            const auto reports = got.merge_reports();
            ASSERT_EQ(reports.size(), 3u) << k.name;
            EXPECT_EQ(reports[0], "calibration parsed");
            EXPECT_EQ(reports[2], "ratio correction");
            const DiagRecorder::Entry *correction = nullptr;
            for (const auto &e : got.diag.entries)
                if (e.event.kind == DiagKind::kMerge) correction = &e;
            EXPECT_EQ(correction->event.code, status) << k.name;
            EXPECT_EQ(status, s.bayer > 3 || s.unmatched_entry >= 0 ? 8u : 0u) << k.name;
            oz_cmc_parser_deinit(want);
        }
        EXPECT_EQ(faultsim::live_blocks(), live) << k.name;
    }
}

// Each condition without merge: slot 54 is what init without calibration gives, and the reports say why.
TEST(MergeEndToEnd, ConditionsWithoutMerge) {
    struct Case {
        const char *name;
        MergeScene scene;
        int calibration;  // 0 the blob, 1 null data pointer, 2 size 0, 3 corrupt blob, 4 null descriptor, 5 2 x 2 grid
        std::vector<std::string> reports;
    };
    auto scene = [](auto change) {
        MergeScene s;
        change(s);
        return s;
    };
    const std::vector<Case> cases = {
        {"no record 17", scene([](MergeScene &s) { s.record17 = false; }), 0,
         {"calibration parsed", "no merge: slot 54, 57 or 33 empty"}},
        {"record 17 version 100", scene([](MergeScene &s) { s.record17_version = 100; }), 0,
         {"calibration parsed", "no merge: slot 54, 57 or 33 empty"}},
        {"no lens shading", scene([](MergeScene &s) { s.lens = false; }), 0,
         {"calibration parsed", "no merge: slot 54, 57 or 33 empty"}},
        {"no ratios", scene([](MergeScene &s) { s.ratio = false; }), 0,
         {"calibration parsed", "no merge: slot 54, 57 or 33 empty"}},
        {"no record 2", scene([](MergeScene &s) { s.record2 = false; }), 0,
         {"calibration parsed", "no merge: record 2 missing, no cfa_pattern"}},
        {"null data pointer", MergeScene{}, 1, {}},
        {"size 0", MergeScene{}, 2, {}},
        {"null descriptor", MergeScene{}, 4, {}},
        {"blob the NVM library refuses", MergeScene{}, 3, {"calibration not parsed"}},
        {"upscaling fails (singular fit)", scene([](MergeScene &s) { s.grid_width = 2, s.grid_height = 2; }), 0,
         {"calibration parsed", "upscaling: polynomial, whole grid", "no correction: upscaling failed"}},
        {"valid area without record 32", scene([](MergeScene &s) { s.record32 = false, s.method = 3; }), 0,
         {"calibration parsed", "upscaling: polynomial, valid-area fit", "no correction: upscaling failed"}},
    };
    for (const Case &k : cases) {
        const Blob container(k.scene.container());
        Bytes blob = k.scene.calibration();
        if (k.calibration == 3) blob[20] ^= 1;
        const Blob calibration(blob);
        binary_data desc = *calibration.get();
        if (k.calibration == 1) desc.data = nullptr;
        if (k.calibration == 2) desc.size = 0;
        InitRun got(container, k.calibration == 4 ? nullptr : &desc);
        InitRun plain(container, nullptr);
        EXPECT_EQ(got.merge_reports(), k.reports) << k.name;
        EXPECT_TRUE(same_lens_shading(got.lens(), plain.lens())) << k.name;
    }
}

}  // namespace
}  // namespace oz::test
