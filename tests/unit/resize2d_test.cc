// 2-D array resize family: the worked examples of each member, identity and constant arrays, the
// rounding of the signed member, the sample step, the crop margins, the float member's width handling,
// and every argument error returning 32 before anything is written.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "oz_resample.h"

namespace {

TEST(Resize2d, TwoByTwoToThreeByThreeInterpolates) {
    const uint16_t src[4] = {0, 100, 200, 300};
    uint16_t dst[9];
    ASSERT_EQ(resize_2d_array_uint16(src, 2, 2, dst, 3, 3), 0u);
    const uint16_t expected[9] = {0, 50, 100, 100, 150, 200, 200, 250, 300};
    for (int i = 0; i < 9; ++i) EXPECT_EQ(dst[i], expected[i]) << i;
}

TEST(Resize2d, TruncatedStepEndsJustBeforeTheLastSample) {
    // Rows of 5 to 4: step 341, last position 1023 = 3 * 256 + 255: 255/256 of sample 4, 1/256 of sample 3.
    const uint16_t src[10] = {0, 0, 0, 0, 512, 0, 0, 0, 0, 512};
    uint16_t dst[8];
    ASSERT_EQ(resize_2d_array_uint16(src, 5, 2, dst, 4, 2), 0u);
    EXPECT_EQ(dst[3], 510);  // 512 * 255 / 256
    EXPECT_EQ(dst[7], 510);
    EXPECT_EQ(dst[0], 0);
}

TEST(Resize2d, SignedMemberRoundsHalvesUpward) {
    const int32_t src[4] = {-1, -2, -1, -2};
    int32_t dst[6];
    ASSERT_EQ(resize_2d_array_int32(src, 2, 2, dst, 3, 2), 0u);
    const int32_t expected[6] = {-1, -1, -2, -1, -1, -2};  // -1.5 becomes -1
    for (int i = 0; i < 6; ++i) EXPECT_EQ(dst[i], expected[i]) << i;
    const int32_t src2[4] = {-2, -3, -2, -3};
    ASSERT_EQ(resize_2d_array_int32(src2, 2, 2, dst, 3, 2), 0u);
    EXPECT_EQ(dst[1], -2);  // -2.5 becomes -2
    const int32_t extremes[4] = {INT32_MIN, INT32_MAX, INT32_MIN, INT32_MAX};
    ASSERT_EQ(resize_2d_array_int32(extremes, 2, 2, dst, 3, 2), 0u);
    EXPECT_EQ(dst[0], INT32_MIN);
    EXPECT_EQ(dst[1], 0);  // (-2^31 + 2^31 - 1) / 2 = -0.5, rounded up to 0
    EXPECT_EQ(dst[2], INT32_MAX);
}

TEST(Resize2d, UnsignedMembersInterpolate) {
    const uint32_t src[4] = {300, 500, 300, 500};
    uint32_t dst[6];
    ASSERT_EQ(resize_2d_array_uint32(src, 2, 2, dst, 3, 2), 0u);
    EXPECT_EQ(dst[1], 400u);
    EXPECT_EQ(dst[4], 400u);
    const uint32_t big[4] = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
    ASSERT_EQ(resize_2d_array_uint32(big, 2, 2, dst, 3, 2), 0u);
    for (uint32_t v : dst) EXPECT_EQ(v, 0xFFFFFFFFu);  // 64-bit sums: no wrap
    const uint8_t s8[4] = {0, 255, 255, 0};
    uint8_t d8[9];
    ASSERT_EQ(resize_2d_array_uint8(s8, 2, 2, d8, 3, 3), 0u);
    EXPECT_EQ(d8[4], 128);  // 127.5 rounds up
    EXPECT_EQ(d8[1], 128);
    EXPECT_EQ(d8[8], 0);
}

TEST(Resize2d, IdentityAndConstantArraysAreKept) {
    std::mt19937 rng(3);
    const int sizes[][4] = {{7, 5, 7, 5}, {2, 2, 2, 2}, {33, 3, 33, 3}, {5, 9, 17, 4}, {40, 30, 3, 2}};
    for (const auto &sz : sizes) {
        const bool identity = sz[0] == sz[2] && sz[1] == sz[3];
        const size_t n = size_t(sz[0]) * sz[1], m = size_t(sz[2]) * sz[3];
        std::vector<int32_t> s32(n);
        std::vector<uint32_t> su32(n);
        std::vector<uint16_t> s16(n);
        std::vector<uint8_t> s8(n);
        const uint32_t constant = rng();
        for (size_t i = 0; i < n; ++i) {
            const uint32_t v = identity ? uint32_t(rng()) : constant;
            s32[i] = int32_t(v);
            su32[i] = v;
            s16[i] = uint16_t(v);
            s8[i] = uint8_t(v);
        }
        std::vector<int32_t> d32(m);
        std::vector<uint32_t> du32(m);
        std::vector<uint16_t> d16(m);
        std::vector<uint8_t> d8(m);
        ASSERT_EQ(resize_2d_array_int32(s32.data(), sz[0], sz[1], d32.data(), sz[2], sz[3]), 0u);
        ASSERT_EQ(resize_2d_array_uint32(su32.data(), sz[0], sz[1], du32.data(), sz[2], sz[3]), 0u);
        ASSERT_EQ(resize_2d_array_uint16(s16.data(), sz[0], sz[1], d16.data(), sz[2], sz[3]), 0u);
        ASSERT_EQ(resize_2d_array_uint8(s8.data(), sz[0], sz[1], d8.data(), sz[2], sz[3]), 0u);
        for (size_t i = 0; i < m; ++i) {
            const size_t k = identity ? i : 0;
            EXPECT_EQ(d32[i], s32[k]) << sz[0] << "x" << sz[1] << " -> " << sz[2] << "x" << sz[3];
            EXPECT_EQ(du32[i], su32[k]);
            EXPECT_EQ(d16[i], s16[k]);
            EXPECT_EQ(d8[i], s8[k]);
        }
    }
}

TEST(Resize2d, LinearRampStaysLinearOnTheGrid) {
    // 5 samples 0, 256, ..., 1024 to 9: step 128, every position a half sample: the midpoints.
    const uint16_t src[10] = {0, 256, 512, 768, 1024, 0, 256, 512, 768, 1024};
    uint16_t dst[18];
    ASSERT_EQ(resize_2d_array_uint16(src, 5, 2, dst, 9, 2), 0u);
    for (int i = 0; i < 9; ++i) EXPECT_EQ(dst[i], 128 * i) << i;
}

TEST(Resize2d, SampleStepWritesOnlyEveryStepThSample) {
    const uint8_t src[4] = {0, 100, 200, 300 - 256};
    std::vector<uint8_t> dst(3 * 3 * 3, 0xEE);
    ASSERT_EQ(resize_2d_array_uint8_v1(src, 2, 2, dst.data(), 3, 3, 3), 0u);
    std::vector<uint8_t> plain(9);
    ASSERT_EQ(resize_2d_array_uint8(src, 2, 2, plain.data(), 3, 3), 0u);
    for (size_t i = 0; i < dst.size(); ++i) {
        if (i % 3 == 0)
            EXPECT_EQ(dst[i], plain[i / 3]) << i;
        else
            EXPECT_EQ(dst[i], 0xEE) << i;
    }
    const uint16_t s16[4] = {0, 100, 200, 300};
    std::vector<uint16_t> d16(9 * 2, 0xEEEE);
    ASSERT_EQ(resize_2d_array_uint16_v1(s16, 2, 2, d16.data(), 3, 3, 2), 0u);
    EXPECT_EQ(d16[8], 150);
    EXPECT_EQ(d16[9], 0xEEEE);
}

TEST(Resize2d, CropWithoutMarginsEqualsPlainResize) {
    std::mt19937 rng(5);
    std::vector<uint16_t> src(13 * 7);
    for (uint16_t &v : src) v = uint16_t(rng());
    std::vector<uint16_t> a(20 * 9), b(20 * 9);
    ASSERT_EQ(resize_2d_array_uint16(src.data(), 13, 7, a.data(), 20, 9), 0u);
    ASSERT_EQ(crop_resize_2d_array_uint16(src.data(), 13, 7, {0, 0}, {0, 0}, b.data(), 20, 9), 0u);
    EXPECT_EQ(a, b);
    // Margins: the area (2 .. 10) x (1 .. 5) resized equals the plain resize of that area.
    std::vector<uint16_t> area(9 * 5);
    for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 9; ++c) area[r * 9 + c] = src[(r + 1) * 13 + c + 2];
    ASSERT_EQ(resize_2d_array_uint16(area.data(), 9, 5, a.data(), 20, 9), 0u);
    ASSERT_EQ(crop_resize_2d_array_uint16(src.data(), 13, 7, {2, 1}, {2, 1}, b.data(), 20, 9), 0u);
    EXPECT_EQ(a, b);
}

TEST(Resize2d, FloatMemberInterpolatesAndTakesWidthsAs16Bit) {
    const float src[4] = {1.0f, 3.0f, 1.0f, 3.0f};
    float dst[6];
    ASSERT_EQ(resize_2d_array_float(src, 2, 2, dst, 3, 2), 0u);
    const float expected[6] = {1.0f, 2.0f, 3.0f, 1.0f, 2.0f, 3.0f};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(dst[i], expected[i]) << i;
    // Width 65538 is the 16-bit width 2: the same result as width 2.
    float wide[6];
    ASSERT_EQ(resize_2d_array_float(src, 65536 + 2, 2, wide, 65536 + 3, 2), 0u);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(wide[i], expected[i]) << i;
    EXPECT_EQ(resize_2d_array_float(src, 65536 + 1, 2, dst, 3, 2), 32u);  // 16-bit width 1
}

TEST(Resize2d, ArgumentErrorsWriteNothing) {
    const uint16_t s16[4] = {1, 2, 3, 4};
    const uint8_t s8[4] = {1, 2, 3, 4};
    const int32_t s32[4] = {1, 2, 3, 4};
    const float sf[4] = {1, 2, 3, 4};
    uint16_t d16[16];
    uint8_t d8[16];
    int32_t d32[16];
    float df[16];
    auto reset = [&] {
        for (int i = 0; i < 16; ++i) d16[i] = 0xABAB, d8[i] = 0xAB, d32[i] = -99, df[i] = -99.0f;
    };
    auto untouched = [&](const char *what) {
        for (int i = 0; i < 16; ++i) {
            ASSERT_EQ(d16[i], 0xABAB) << what;
            ASSERT_EQ(d8[i], 0xAB) << what;
            ASSERT_EQ(d32[i], -99) << what;
            ASSERT_EQ(df[i], -99.0f) << what;
        }
    };
    const int32_t dims[][4] = {{1, 2, 2, 2}, {2, 1, 2, 2}, {2, 2, 1, 2}, {2, 2, 2, 1}, {-2, 2, 2, 2}, {2, 2, 0, 2}};
    for (const auto &d : dims) {
        reset();
        EXPECT_EQ(resize_2d_array_int32(s32, d[0], d[1], d32, d[2], d[3]), 32u);
        EXPECT_EQ(resize_2d_array_uint32(reinterpret_cast<const uint32_t *>(s32), d[0], d[1],
                                         reinterpret_cast<uint32_t *>(d32), d[2], d[3]), 32u);
        EXPECT_EQ(resize_2d_array_uint16(s16, d[0], d[1], d16, d[2], d[3]), 32u);
        EXPECT_EQ(resize_2d_array_uint16_v1(s16, d[0], d[1], d16, d[2], d[3], 1), 32u);
        EXPECT_EQ(resize_2d_array_uint8(s8, d[0], d[1], d8, d[2], d[3]), 32u);
        EXPECT_EQ(resize_2d_array_uint8_v1(s8, d[0], d[1], d8, d[2], d[3], 1), 32u);
        // The float member reads widths as 16-bit values: -2 is the width 65534 there, not an error.
        if (d[0] >= 0) {
            EXPECT_EQ(resize_2d_array_float(sf, d[0], d[1], df, d[2], d[3]), 32u);
        }
        untouched("dimension below 2");
    }
    reset();
    EXPECT_EQ(resize_2d_array_uint16_v1(s16, 2, 2, d16, 2, 2, 0), 32u);
    EXPECT_EQ(resize_2d_array_uint8_v1(s8, 2, 2, d8, 2, 2, -3), 32u);
    untouched("step below 1");
    // Null pointers are refused by every member.
    EXPECT_EQ(resize_2d_array_uint16_v1(s16, 2, 2, nullptr, 2, 2, 1), 32u);
    EXPECT_EQ(resize_2d_array_uint8_v1(nullptr, 2, 2, d8, 2, 2, 1), 32u);
    EXPECT_EQ(resize_2d_array_int32(nullptr, 2, 2, d32, 2, 2), 32u);
    EXPECT_EQ(resize_2d_array_uint32(nullptr, 2, 2, reinterpret_cast<uint32_t *>(d32), 2, 2), 32u);
    EXPECT_EQ(resize_2d_array_uint16(s16, 2, 2, nullptr, 2, 2), 32u);
    EXPECT_EQ(resize_2d_array_uint8(nullptr, 2, 2, d8, 2, 2), 32u);
    EXPECT_EQ(resize_2d_array_float(sf, 2, 2, nullptr, 2, 2), 32u);
    EXPECT_EQ(resize_2d_array_float(nullptr, 2, 2, df, 2, 2), 32u);
    EXPECT_EQ(crop_resize_2d_array_uint16(nullptr, 2, 2, {0, 0}, {0, 0}, d16, 2, 2), 32u);
    untouched("null pointer");
    // Sources whose fixed-point positions would not fit 32 bits (checked before any sample is read).
    EXPECT_EQ(resize_2d_array_int32(s32, (1 << 20) + 1, 2, d32, 2, 2), 32u);
    EXPECT_EQ(resize_2d_array_uint16(s16, 2, (1 << 24) + 1, d16, 2, 2), 32u);
    EXPECT_EQ(crop_resize_2d_array_uint16(s16, (1u << 24) + 1, 2, {0, 0}, {(1u << 24) - 1, 0}, d16, 2, 2), 32u);
    untouched("source too large");
    // Crop margins that leave fewer than two samples, or exceed the source.
    const struct {
        margin_pair tl, br;
        uint32_t dw, dh;
    } crops[] = {
        {{1, 0}, {1, 0}, 2, 2},                // 3 - 2 = 1 column
        {{2, 0}, {0, 0}, 2, 2},
        {{0, 0}, {0, 2}, 2, 2},                // rows
        {{0xFFFFFFFFu, 0}, {4, 0}, 2, 2},      // margins past the source (no wrap)
        {{0, 0}, {0, 0}, 1, 2},                // destination width 1
        {{0, 0}, {0, 0}, 2, 0},
    };
    const uint16_t s9[9] = {};
    for (const auto &c : crops) EXPECT_EQ(crop_resize_2d_array_uint16(s9, 3, 3, c.tl, c.br, d16, c.dw, c.dh), 32u);
    untouched("crop");
}

}  // namespace
