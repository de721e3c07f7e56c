// This file checks init_v1 with a calibration blob in an out-of-memory situation: every allocation of
// the parse and of the merge is failed in turn (once, and from then on). Init returns null only when
// its result could not be allocated; otherwise slot 54 is either absent (its record could not be
// decoded), exactly the tables the merge produces, or exactly the tables of init without calibration,
// never anything in between; and deinit leaves no block behind.
#include <gtest/gtest.h>

#include "common/faultsim.h"
#include "tests/kit/fault_sweep.h"
#include "tests/kit/merge_scene.h"

namespace oz::test {
namespace {

TEST(MergeFaults, InitWithCalibration) {
    for (uint16_t method : {0, 2, 3}) {
        MergeScene s;
        s.method = method;
        s.width = 16, s.height = 12;
        const Blob container(s.container()), calibration(s.calibration());
        cmc_data *merged = expected_merge(s, container, calibration);
        cmc_data *plain = parse_container(container.get(), nullptr, nullptr);
        const auto *want = static_cast<const cmc_lens_shading4x4 *>(merged->slot[CMC_SLOT_LENS_SHADING]);
        const auto *as_parsed = static_cast<const cmc_lens_shading4x4 *>(plain->slot[CMC_SLOT_LENS_SHADING]);
        ASSERT_FALSE(same_lens_shading(want, as_parsed));

        uint64_t corrected = 0, kept = 0, absent = 0;
        const SweepResult r = fault_sweep([&] {
            cmc_data *cmc = oz_cmc_parser_init_v1(container.get(), calibration.get());
            if (cmc == nullptr) {
                EXPECT_TRUE(fault_injected());
                EXPECT_EQ(faultsim::allocations(), 1u) << "null although the result was allocated";
                return;
            }
            const auto *lens = static_cast<const cmc_lens_shading4x4 *>(cmc->slot[CMC_SLOT_LENS_SHADING]);
            if (lens == nullptr) {
                ++absent;
            } else if (same_lens_shading(lens, want)) {
                ++corrected;
            } else {
                EXPECT_TRUE(same_lens_shading(lens, as_parsed)) << "slot 54 partly corrected";
                ++kept;
            }
            EXPECT_TRUE(fault_injected() || lens != nullptr);
            oz_cmc_parser_deinit(cmc);
        }, "oz_cmc_parser_init_v1");
        EXPECT_GT(r.points, 100u);
        EXPECT_GT(corrected, 0u);
        EXPECT_GT(kept, 0u) << "no failure hit the merge";
        EXPECT_GT(absent, 0u);
        oz_cmc_parser_deinit(merged);
        oz_cmc_parser_deinit(plain);
    }
}

}  // namespace
}  // namespace oz::test
