// Area downscale: every vector row set this CPU runs against the scalar rows, on random and edge-value
// planes of many sizes, ratios and crops; destinations must be byte-identical, with sources and
// destinations flush against a guard page.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "resample/area_rows.h"
#include "tests/kernels/guarded.h"

namespace oz {
namespace {

struct AreaCase {
    uint16_t sw, sh, dw, dh;
    bool crop;
    crop_rect rect;
    uint32_t src_bits, dst_bits;
};

std::vector<AreaCase> area_cases() {
    std::vector<AreaCase> cases;
    // Destination widths 3 .. 17 and around multiples of 4 and 8, at ratios from just above 1 to
    // beyond the 16-column vector spans (which fall back to the scalar row).
    const uint16_t widths[] = {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 23, 24, 25, 31, 33};
    const uint16_t ratio_num[] = {4, 8, 21, 40, 130, 200};  // sw = dw * num / 4 + 1
    for (uint16_t dw : widths)
        for (uint16_t num : ratio_num) {
            const uint16_t sw = uint16_t(dw * num / 4 + 1);
            cases.push_back({sw, 7, dw, 3, false, {}, 8, 10});
        }
    // Heights and vertical ratios, the minimum destination, exact integer ratios.
    cases.push_back({4, 4, 3, 3, false, {}, 0, 10});
    cases.push_back({6, 6, 3, 3, false, {}, 16, 0});
    cases.push_back({4032 / 8, 3024 / 8, 1008 / 8, 756 / 8, false, {}, 10, 10});
    cases.push_back({4032 / 8, 3024 / 8, 1920 / 8, 1080 / 8, false, {}, 12, 16});
    cases.push_back({100, 90, 33, 3, false, {}, 31, 31});
    cases.push_back({20, 200, 9, 3, false, {}, 40, 3});
    cases.push_back({65535, 4, 3, 3, false, {}, 0, 0});  // extreme footprint
    cases.push_back({9, 9, 8, 8, false, {}, 1, 2});      // ratio just above 1
    // Whole-number footprints (integer sums), up to and past 256 samples per span.
    cases.push_back({64, 16, 16, 4, false, {}, 10, 10});
    cases.push_back({45, 9, 9, 3, false, {}, 0, 0});
    cases.push_back({8 * 33, 32 * 3, 33, 3, false, {}, 16, 16});
    cases.push_back({9 * 33, 32 * 3, 33, 3, false, {}, 16, 16});
    cases.push_back({3 * 4000, 6, 4000, 3, false, {}, 8, 8});  // several chunks of column sums
    // Footprints of 2 and 4 columns (summed eight destination columns at a time): widths with and
    // without tails, whole and fractional row footprints, spans of exactly 256 samples and past them.
    for (uint16_t k : {2, 4})
        for (uint16_t dw : {3, 7, 8, 9, 16, 17, 33})
            for (uint16_t fy : {2, 3, 5})
                cases.push_back({uint16_t(dw * k), uint16_t(3 * fy + (fy == 5 ? 1 : 0)), dw, 3, false, {}, 10, 10});
    cases.push_back({4 * 24, 64 * 3, 24, 3, false, {}, 16, 16});
    cases.push_back({4 * 24, 65 * 3, 24, 3, false, {}, 16, 16});
    cases.push_back({2 * 40, 128 * 3, 40, 3, false, {}, 16, 0});
    cases.push_back({64, 20, 8, 4, true, {5, 2, 32, 16}, 8, 10});   // crop: rows longer than the rectangle
    cases.push_back({50, 12, 9, 3, true, {32, 6, 18, 6}, 10, 12});  // crop ending at the row end
    // Crops: at the right edge (reads end at the row end), in the middle, and as wide as the destination.
    cases.push_back({64, 20, 9, 4, true, {23, 3, 41, 17}, 8, 10});
    cases.push_back({64, 20, 9, 4, true, {5, 1, 30, 9}, 8, 10});
    cases.push_back({64, 20, 17, 5, true, {47, 15, 17, 5}, 8, 10});
    cases.push_back({37, 11, 8, 3, true, {0, 0, 36, 10}, 2, 14});
    return cases;
}

template <class T>
void fill_plane(test::Guarded<T> &plane, test::Rng &rng) {
    if constexpr (std::is_same_v<T, float>) {
        std::uniform_real_distribution<float> value(0.0f, 70.0f);
        for (size_t i = 0; i < plane.size(); ++i) plane[i] = value(rng);
        // Edge values: zeros of both signs, a denormal, a large value, negatives, infinities and NaN.
        const float edges[] = {0.0f, -0.0f, 1e-40f, 1e30f, -5.0f, 63.9995f,
                               std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                               std::numeric_limits<float>::quiet_NaN(), 1.0f};
        for (size_t k = 0; k < 10 && plane.size() > 40; ++k) plane[rng() % plane.size()] = edges[k];
    } else {
        std::uniform_int_distribution<int> value(0, 65535);
        for (size_t i = 0; i < plane.size(); ++i) plane[i] = T(value(rng));
        const T edges[] = {0, 65535, 1023, 1024};
        for (size_t k = 0; k < 4 && plane.size() > 40; ++k) plane[rng() % plane.size()] = edges[k];
    }
}

template <class T>
void run_area_case(const AreaCase &c, test::Rng &rng) {
    constexpr int kPlanes = 2;
    std::unique_ptr<test::Guarded<T>> src[kPlanes];
    std::unique_ptr<test::Guarded<uint16_t>> ref[kPlanes], opt[kPlanes];
    const T *src_ptr[kPlanes];
    uint16_t *ref_ptr[kPlanes], *opt_ptr[kPlanes];
    for (int p = 0; p < kPlanes; ++p) {
        src[p] = std::make_unique<test::Guarded<T>>(size_t(c.sw) * c.sh);
        fill_plane(*src[p], rng);
        src_ptr[p] = src[p]->data();
        ref[p] = std::make_unique<test::Guarded<uint16_t>>(size_t(c.dw) * c.dh);
        opt[p] = std::make_unique<test::Guarded<uint16_t>>(size_t(c.dw) * c.dh);
        ref_ptr[p] = ref[p]->data();
        opt_ptr[p] = opt[p]->data();
    }
    const crop_rect *crop = c.crop ? &c.rect : nullptr;
    auto run = [&](uint16_t *const *dst, const area_rows &rows) {
        if constexpr (std::is_same_v<T, float>)
            return image_downscale_32f_to_u16p10_impl(src_ptr, dst, c.sw, c.sh, c.dw, c.dh, kPlanes, crop, rows);
        else
            return image_downscale_u16_to_u16_impl(src_ptr, dst, c.sw, c.sh, c.src_bits, c.dw, c.dh, c.dst_bits,
                                                   kPlanes, crop, rows);
    };
    for (int p = 0; p < kPlanes; ++p) ref[p]->fill_bytes(2);
    ASSERT_EQ(run(ref_ptr, area_c_rows()), 0u);
    for (const auto &isa : test::supported_rows(area_sse41_rows, area_avx2_rows)) {
        for (int p = 0; p < kPlanes; ++p) opt[p]->fill_bytes(3);
        ASSERT_EQ(run(opt_ptr, *isa.rows), 0u);
        for (int p = 0; p < kPlanes; ++p)
            EXPECT_EQ(test::differing_bytes(*ref[p], *opt[p]), 0u)
                << isa.name << " plane " << p << ": " << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh
                << (c.crop ? " cropped" : "");
    }
}

TEST(AreaSimd, FloatRowsMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(1234);
    for (const AreaCase &c : area_cases()) run_area_case<float>(c, rng);
}

TEST(AreaSimd, U16RowsMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(5678);
    for (const AreaCase &c : area_cases()) run_area_case<uint16_t>(c, rng);
}

}  // namespace
}  // namespace oz
