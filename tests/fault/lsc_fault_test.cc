// This file checks the shading computations in an out-of-memory situation: every allocation of the
// fit and evaluation kernels and of the upscaling functions is failed in turn (once, and from then on),
// and each run must return what a failed working buffer returns (4 from a fit's own buffer, 2 from a
// composite step, null from a compute function) and leave no block allocated.
#include <gtest/gtest.h>

#include <vector>

#include "oz_linalg.h"
#include "oz_lsc.h"
#include "tests/kit/fault_sweep.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

TEST(ShadingFaults, LuWorkingCopy) {
    const float m[4] = {4, 3, 6, 3};
    float lu[4];
    uint32_t perm[2];
    const SweepResult r = fault_sweep([&] {
        const uint32_t status = lu_decomposition_m(m, 8, 4, perm, lu, 8, 4, 2);
        EXPECT_EQ(status, fault_injected() ? 4u : 0u);
    }, "lu_decomposition_m");
    EXPECT_EQ(r.points, 1u);
    const double md[4] = {4, 3, 6, 3};
    double lud[4];
    fault_sweep([&] {
        const uint32_t status = lu_decomposition_m_double(md, 16, 8, perm, lud, 16, 8, 2);
        EXPECT_EQ(status, fault_injected() ? 4u : 0u);
    }, "lu_decomposition_m_double");
}

// The fit's own normal-matrix buffer is its first allocation (4); the factorisation's working copy
// failing is a failed composite step (2).
TEST(ShadingFaults, FitsAndEvaluations) {
    std::vector<float> design(221 * 15), transposed(221 * 15), lu(225), plane(221, 1.5f), out(4 * 64 * 48);
    std::vector<double> design_d(221 * 15), transposed_d(221 * 15), lu_d(225);
    std::vector<uint32_t> perm(15), mask(221, 1);
    std::vector<float> compaction(221);
    const float *in[4] = {plane.data(), plane.data(), plane.data(), plane.data()};
    float *outs[4] = {&out[0], &out[3072], &out[6144], &out[9216]};

    const SweepResult fit = fault_sweep([&] {
        const uint32_t status = lu_decomposition_lsc(design.data(), transposed.data(), lu.data(), perm.data(), 17, 13, 15, 2, 2);
        if (fault_injected()) {
            EXPECT_TRUE(status == 4u || status == 2u) << status;
        } else {
            EXPECT_EQ(status, 0u);
        }
    }, "lu_decomposition_lsc");
    EXPECT_EQ(fit.points, 2u);
    fault_sweep([&] {
        const uint32_t status = lu_decomposition(design.data(), transposed.data(), lu.data(), perm.data(), 17, 13, 15);
        if (fault_injected()) {
            EXPECT_TRUE(status == 4u || status == 2u) << status;
        } else {
            EXPECT_EQ(status, 0u);
        }
    }, "lu_decomposition");
    // First allocation: the fit's own buffer, 4. Second: the factorisation's copy, reported as 2.
    faultsim::arm(1, false);
    EXPECT_EQ(lu_decomposition(design.data(), transposed.data(), lu.data(), perm.data(), 17, 13, 15), 4u);
    faultsim::arm(2, false);
    EXPECT_EQ(lu_decomposition(design.data(), transposed.data(), lu.data(), perm.data(), 17, 13, 15), 2u);
    faultsim::disarm();
    ASSERT_EQ(lu_decomposition(design.data(), transposed.data(), lu.data(), perm.data(), 17, 13, 15), 0u);

    const SweepResult eval = fault_sweep([&] {
        const uint32_t status =
            lsc_polynomial_upscale_float(transposed.data(), lu.data(), perm.data(), in, outs, 17, 13, 64, 48, 15, 0, 0, 0);
        EXPECT_EQ(status, fault_injected() ? 2u : 0u);
    }, "lsc_polynomial_upscale_float");
    EXPECT_EQ(eval.points, 6u);  // right-hand side, coefficients, and one vector per plane

    fault_sweep([&] {
        const uint32_t status = lu_decomposition_lsc_valid_area(design_d.data(), transposed_d.data(), lu_d.data(), perm.data(),
                                                                17, 13, 15, 221, mask.data());
        if (fault_injected()) {
            EXPECT_TRUE(status == 4u || status == 2u) << status;
        } else {
            EXPECT_EQ(status, 0u);
        }
    }, "lu_decomposition_lsc_valid_area");
    ASSERT_EQ(lu_decomposition_lsc_valid_area(design_d.data(), transposed_d.data(), lu_d.data(), perm.data(), 17, 13, 15, 221,
                                              mask.data()),
              0u);
    fault_sweep([&] {
        const uint32_t status = lsc_polynomial_upscale_float_valid_area(transposed_d.data(), lu_d.data(), perm.data(), in, outs,
                                                                        17, 13, 64, 48, 15, 221, compaction.data(), mask.data());
        EXPECT_EQ(status, fault_injected() ? 2u : 0u);
    }, "lsc_polynomial_upscale_float_valid_area");
}

struct TablesDeleter {
    void operator()(upscaled_lsc_tables *t) const { deinit_computed_upscale_lsc_tables(t); }
};

// Every allocation of the upscaling functions failed in turn: null, nothing left behind; otherwise the
// same tables as an undisturbed run.
TEST(ShadingFaults, UpscalingFunctions) {
    ModuleCalibration cal(17, 13);
    for (int i = 0; i < 5; ++i) cal.smooth_table(i % 2 ? 9 : 8, i);
    nvm_data *nvm = cal.get();
    std::vector<uint8_t> rec2(36, 0), rec32(32, 0);
    rec2[8] = 0xA0, rec2[9] = 0x0F, rec2[10] = 0xB8, rec2[11] = 0x0B;  // 4000 x 3000
    rec32[0] = 32, rec32[24] = 0xD0, rec32[25] = 0x07, rec32[26] = 0xDC, rec32[27] = 0x05, rec32[28] = 0xE8, rec32[29] = 0x03;
    cmc_data cmc{};
    cmc.slot[CMC_SLOT_RECORD2] = rec2.data();
    cmc.slot[CMC_SLOT_VALID_AREA] = rec32.data();

    for (int variant = 0; variant < 3; ++variant) {
        auto compute = [&] {
            return variant < 2 ? compute_upscaled_lsc_tables_polynom4th(64, 48, nvm, 2, uint8_t(variant))
                               : compute_upscaled_lsc_tables_polynom4th_valid_area(64, 48, nvm, 2, &cmc);
        };
        std::unique_ptr<upscaled_lsc_tables, TablesDeleter> golden(compute());
        ASSERT_NE(golden, nullptr);
        const SweepResult r = fault_sweep([&] {
            std::unique_ptr<upscaled_lsc_tables, TablesDeleter> t(compute());
            if (fault_injected()) {
                EXPECT_EQ(t, nullptr);
                return;
            }
            ASSERT_NE(t, nullptr);
            ASSERT_EQ(t->table_count, 5);
            for (int i = 0; i < 5; ++i) EXPECT_TRUE(same_bits(t->tables[i], golden->tables[i], 4 * 64 * 48));
        }, variant < 2 ? "compute_upscaled_lsc_tables_polynom4th" : "compute_upscaled_lsc_tables_polynom4th_valid_area");
        // The result, its array and five blocks, eight working buffers and the fit's normal matrix; the
        // valid-area variant adds the valid-cell list and the mask.
        EXPECT_EQ(r.points, variant < 2 ? 17u : 19u) << "variant " << variant;
    }
}

}  // namespace
}  // namespace oz::test
