// Nearest-neighbour kernels: the worked mappings of the stepping and footprint-end kernels, the
// footprint maximum, the boundary tolerance, positions that step past the source, and argument errors
// returning their status before anything is written.
#include <gtest/gtest.h>

#include <vector>

#include "oz_resample.h"

namespace {

TEST(NearestStepping, FourToEightRepeatsEveryColumn) {
    const uint32_t src[4] = {10, 11, 12, 13};
    uint32_t dst[8];
    ASSERT_EQ(image_nearest_neighbor_scale_uint32(src, 4, 1, dst, 8, 1), 0u);  // step 32769
    const uint32_t expected[8] = {10, 10, 11, 11, 12, 12, 13, 13};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(dst[i], expected[i]) << i;
}

TEST(NearestStepping, InterleavedPixelsMoveAsBlocks) {
    // 3 x 2 pixels of 3 channels to 6 x 3: columns 0 0 1 1 2 2 (step 32769), rows 0 0 1 (step 43691).
    std::vector<int32_t> src(3 * 2 * 3);
    for (size_t i = 0; i < src.size(); ++i) src[i] = int32_t(i) - 5;
    std::vector<int32_t> dst(6 * 3 * 3, 99);
    ASSERT_EQ(image_nearest_neighbor_scale_interleaved_int32(src.data(), 3, 2, 3, dst.data(), 6, 3), 0u);
    const int cols[6] = {0, 0, 1, 1, 2, 2}, rows[3] = {0, 0, 1};
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(dst[(y * 6 + x) * 3 + c], src[(rows[y] * 3 + cols[x]) * 3 + c]) << y << "," << x;
}

TEST(NearestStepping, PositionsPastTheSourceTakeTheLastSample) {
    // 2 -> 600: step = 2 * 65536 / 600 + 1 = 219; 599 * 219 = 131181 >> 16 = 2 would read past the row.
    const uint32_t src[2] = {7, 8};
    std::vector<uint32_t> dst(600);
    ASSERT_EQ(image_nearest_neighbor_scale_uint32(src, 2, 1, dst.data(), 600, 1), 0u);
    for (uint32_t x = 0; x < 600; ++x) {
        const uint32_t col = (x * 219u) >> 16;
        EXPECT_EQ(dst[x], src[col < 2 ? col : 1]) << x;
    }
}

TEST(NearestStepping, SourcesUpTo65535AreStepped) {
    // 40000 columns (above 32768) to 3: step = 40000 * 65536 / 3 + 1, columns 0, 13333, 26666.
    std::vector<uint32_t> src(40000);
    for (uint32_t i = 0; i < 40000; ++i) src[i] = i;
    uint32_t dst[3];
    ASSERT_EQ(image_nearest_neighbor_scale_uint32(src.data(), 40000, 1, dst, 3, 1), 0u);
    EXPECT_EQ(dst[0], 0u);
    EXPECT_EQ(dst[1], 13333u);
    EXPECT_EQ(dst[2], 26666u);
    int32_t s32[4] = {}, d32[4] = {};
    EXPECT_EQ(image_nearest_neighbor_scale_interleaved_int32(s32, 65536, 1, 1, d32, 1, 1), 32u);
    EXPECT_EQ(image_nearest_neighbor_scale_uint32(reinterpret_cast<uint32_t *>(s32), 1, 65536,
                                                  reinterpret_cast<uint32_t *>(d32), 1, 1), 32u);
}

TEST(NearestStepping, ArgumentErrorsAndEmptyDestinations) {
    int32_t src[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    int32_t dst[8];
    const struct {
        const char *what;
        const int32_t *src;
        uint32_t sw, sh, ch;
        int32_t *dst;
        uint32_t dw, dh, status;
    } cases[] = {
        {"src_width 0", src, 0, 2, 1, dst, 2, 2, 32},
        {"dst_height 0", src, 2, 2, 1, dst, 2, 0, 32},
        {"null src", nullptr, 2, 2, 1, dst, 2, 2, 32},
        {"null dst", src, 2, 2, 1, nullptr, 2, 2, 32},
        {"src_height 0", src, 2, 0, 1, dst, 2, 2, 32},
        {"dst_width 0", src, 2, 2, 3, dst, 0, 2, 0},
        {"channels 0", src, 2, 2, 0, dst, 2, 2, 0},
    };
    for (const auto &k : cases) {
        for (int32_t &v : dst) v = -77;
        EXPECT_EQ(image_nearest_neighbor_scale_interleaved_int32(k.src, k.sw, k.sh, k.ch, k.dst, k.dw, k.dh), k.status)
            << k.what;
        for (int32_t v : dst) EXPECT_EQ(v, -77) << k.what;
    }
    uint32_t u[4] = {1, 2, 3, 4}, out[4] = {9, 9, 9, 9};
    const int32_t dims[][4] = {{0, 2, 2, 2}, {2, -1, 2, 2}, {2, 2, 0, 2}, {2, 2, 2, -5}};
    for (const auto &dm : dims) EXPECT_EQ(image_nearest_neighbor_scale_uint32(u, dm[0], dm[1], out, dm[2], dm[3]), 32u);
    EXPECT_EQ(image_nearest_neighbor_scale_uint32(nullptr, 2, 2, out, 2, 2), 32u);
    EXPECT_EQ(image_nearest_neighbor_scale_uint32(u, 2, 2, nullptr, 2, 2), 32u);
    for (uint32_t v : out) EXPECT_EQ(v, 9u);
}

TEST(NearestFootprint, TwoByTwoUpscaleMakesBlocks) {
    const uint16_t src[4] = {1, 2, 3, 4};
    uint16_t dst[16];
    ASSERT_EQ(image_upscale_nearest_neighbor_uint16(src, dst, 2, 2, 4, 4), 0u);
    const uint16_t expected[16] = {1, 1, 2, 2, 1, 1, 2, 2, 3, 3, 4, 4, 3, 3, 4, 4};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(dst[i], expected[i]) << i;
}

TEST(NearestFootprint, DownscalePicksLastSampleOrMaximum) {
    int32_t src[16];
    for (int i = 0; i < 16; ++i) src[i] = i * 3 - 20;
    int32_t dst[4];
    ASSERT_EQ(image_downscale_nearest_neighbor_int32(src, dst, 4, 4, 2, 2, 0), 0u);
    EXPECT_EQ(dst[0], src[1 * 4 + 1]);
    EXPECT_EQ(dst[1], src[1 * 4 + 3]);
    EXPECT_EQ(dst[2], src[3 * 4 + 1]);
    EXPECT_EQ(dst[3], src[3 * 4 + 3]);
    ASSERT_EQ(image_downscale_nearest_neighbor_int32(src, dst, 4, 4, 2, 2, 1), 0u);
    EXPECT_EQ(dst[0], 0);  // block of -20, -17, -8, -5: the maximum is floored at 0
    EXPECT_EQ(dst[1], 1);   // -14, -11, -2, 1
    EXPECT_EQ(dst[2], 19);  // 4, 7, 16, 19
    EXPECT_EQ(dst[3], 25);  // 10, 13, 22, 25
    // With a 2 x 3 source to 2 x 4 some footprints end inside the previous span: those are 0.
    const int32_t small[6] = {5, 6, 7, 8, 9, 10};
    int32_t out[8];
    ASSERT_EQ(image_downscale_nearest_neighbor_int32(small, out, 2, 3, 2, 4, 1), 0u);
    // Rows: p = 0.75 (row 0), 1.5 (row 1), 2.25 (row 2), 3.0 (row 2, empty span).
    const int32_t expected[8] = {5, 6, 7, 8, 9, 10, 0, 0};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(out[i], expected[i]) << i;
}

TEST(NearestFootprint, BoundaryToleranceDiffersBetweenKernels) {
    // 4 -> 28 columns: destination column 21 (from 1) ends at p = 3.00000024. The 16-bit kernel
    // counts that as the boundary 3 (sample 2), the int32 kernel as inside sample 3.
    uint16_t s16[8] = {0, 1, 2, 3, 0, 1, 2, 3};
    int32_t s32[8] = {0, 1, 2, 3, 0, 1, 2, 3};
    uint16_t d16[56];
    int32_t d32[56];
    ASSERT_EQ(image_upscale_nearest_neighbor_uint16(s16, d16, 4, 2, 28, 2), 0u);
    ASSERT_EQ(image_downscale_nearest_neighbor_int32(s32, d32, 4, 2, 28, 2, 0), 0u);
    EXPECT_EQ(d16[20], 2);
    EXPECT_EQ(d32[20], 3);
    // 3 -> 21: the last end rounds to 3.00000024, past the source: the last sample.
    ASSERT_EQ(image_downscale_nearest_neighbor_int32(s32, d32, 3, 2, 21, 2, 0), 0u);
    EXPECT_EQ(d32[20], 2);
}

TEST(NearestFootprint, ArgumentErrorsWriteNothing) {
    uint16_t s16[4] = {1, 2, 3, 4}, d16[4] = {7, 7, 7, 7};
    int32_t s32[4] = {1, 2, 3, 4}, d32[4] = {7, 7, 7, 7};
    const uint16_t dims[][4] = {{1, 2, 2, 2}, {2, 1, 2, 2}, {2, 2, 1, 2}, {2, 2, 2, 1}, {0, 2, 2, 2}};
    for (const auto &dm : dims) {
        EXPECT_EQ(image_upscale_nearest_neighbor_uint16(s16, d16, dm[0], dm[1], dm[2], dm[3]), 32u);
        EXPECT_EQ(image_downscale_nearest_neighbor_int32(s32, d32, dm[0], dm[1], dm[2], dm[3], 1), 32u);
    }
    EXPECT_EQ(image_upscale_nearest_neighbor_uint16(nullptr, d16, 2, 2, 2, 2), 32u);
    EXPECT_EQ(image_upscale_nearest_neighbor_uint16(s16, nullptr, 2, 2, 2, 2), 32u);
    EXPECT_EQ(image_downscale_nearest_neighbor_int32(nullptr, d32, 2, 2, 2, 2, 0), 32u);
    EXPECT_EQ(image_downscale_nearest_neighbor_int32(s32, nullptr, 2, 2, 2, 2, 0), 32u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(d16[i], 7);
        EXPECT_EQ(d32[i], 7);
    }
}

}  // namespace
