// Area downscale kernels: worked examples, rounding and the low-16-bit store, crops, and every argument
// error returning 32 before anything is written.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "oz_resample.h"

namespace {

constexpr uint16_t kCanary = 0xABCD;

uint32_t down_f32(const std::vector<float> &src, uint16_t sw, uint16_t sh, std::vector<uint16_t> &dst, uint16_t dw,
                  uint16_t dh, const crop_rect *crop = nullptr) {
    dst.assign(size_t(dw) * dh, kCanary);
    const float *s[1] = {src.data()};
    uint16_t *d[1] = {dst.data()};
    return image_downscale_32f_to_u16p10(s, d, sw, sh, dw, dh, 1, crop);
}

TEST(AreaDownscale, TwoByTwoBlocksAreAveragedAndRounded) {
    // 6 x 6 to 3 x 3: every result is the mean of a 2 x 2 block, times 1024, to the nearest step.
    std::vector<float> src(36);
    for (int i = 0; i < 36; ++i) src[i] = float(i % 6) * 0.25f + float(i / 6) * 0.125f;
    std::vector<uint16_t> dst;
    ASSERT_EQ(down_f32(src, 6, 6, dst, 3, 3), 0u);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            const double mean = (src[(2 * r) * 6 + 2 * c] + src[(2 * r) * 6 + 2 * c + 1] +
                                 src[(2 * r + 1) * 6 + 2 * c] + src[(2 * r + 1) * 6 + 2 * c + 1]) / 4.0;
            EXPECT_EQ(dst[r * 3 + c], uint16_t(std::floor(mean * 1024.0 + 0.5))) << r << "," << c;
        }
    std::vector<float> ones(36, 1.0f);
    ASSERT_EQ(down_f32(ones, 6, 6, dst, 3, 3), 0u);
    for (uint16_t v : dst) EXPECT_EQ(v, 1024);
}

TEST(AreaDownscale, PartlyCoveredColumnsAreShared) {
    // 10 x 10 to 4 x 4 (footprint 2.5): the first span is columns 0, 1 and half of 2, the second the
    // other half of 2, then 3 and 4. Only column 2 holds 4.0: both spans see 0.5 * 4 over 2.5 = 0.8.
    std::vector<float> src(100, 0.0f);
    for (int r = 0; r < 10; ++r) src[r * 10 + 2] = 4.0f;
    std::vector<uint16_t> dst;
    ASSERT_EQ(down_f32(src, 10, 10, dst, 4, 4), 0u);
    for (int r = 0; r < 4; ++r) {
        EXPECT_EQ(dst[r * 4 + 0], 819) << r;  // 0.8 * 1024 = 819.2
        EXPECT_EQ(dst[r * 4 + 1], 819) << r;
        EXPECT_EQ(dst[r * 4 + 2], 0) << r;
        EXPECT_EQ(dst[r * 4 + 3], 0) << r;
    }
}

TEST(AreaDownscale, FixedPointFormatsConvert) {
    const struct {
        uint32_t src_bits, dst_bits;
        uint16_t sample, expected;
    } cases[] = {
        {8, 10, 256, 1024},    // 1.0 in both formats
        {10, 8, 1024, 256},
        {0, 0, 7, 7},          // plain integers stay
        {40, 42, 256, 1024},   // counts are taken modulo 32
        {0, 12, 20, 16386},    // (20 + 1/2048) * 4096 = 81922: the low 16 bits are stored, not saturated
    };
    for (const auto &k : cases) {
        std::vector<uint16_t> src(8 * 6, k.sample), dst(4 * 3, kCanary);
        const uint16_t *s[1] = {src.data()};
        uint16_t *d[1] = {dst.data()};
        ASSERT_EQ(image_downscale_u16_to_u16(s, d, 8, 6, k.src_bits, 4, 3, k.dst_bits, 1, nullptr), 0u);
        for (uint16_t v : dst) EXPECT_EQ(v, k.expected) << k.src_bits << " -> " << k.dst_bits;
    }
}

TEST(AreaDownscale, ResultsBeyond16BitsAndNonFiniteStoreDefinedValues) {
    const struct {
        float sample;
        uint16_t expected;
    } cases[] = {
        {64.0f, 0},                // 65536: low 16 bits
        {100.0f, 36864},           // 102400 & 0xFFFF
        {-1.0f, 64513},            // (-1 + 1/2048) * 1024 = -1023.5 truncates to -1023: its low 16 bits
        {std::numeric_limits<float>::quiet_NaN(), 0},    // no integer: stored as 0
        {std::numeric_limits<float>::infinity(), 0},
        {1e12f, 0},                // outside 32-bit integers: 0
    };
    for (const auto &k : cases) {
        std::vector<float> src(36, k.sample);
        std::vector<uint16_t> dst;
        ASSERT_EQ(down_f32(src, 6, 6, dst, 3, 3), 0u);
        for (uint16_t v : dst) EXPECT_EQ(v, k.expected) << k.sample;
    }
}

TEST(AreaDownscale, CropAveragesInsideTheRectangle) {
    // 8 x 8 source, crop (2, 2, 6, 6) to 3 x 3: 2 x 2 blocks starting at source (2, 2).
    std::vector<float> src(64);
    for (int i = 0; i < 64; ++i) src[i] = float(i);
    const crop_rect crop = {2, 2, 6, 6};
    std::vector<uint16_t> dst;
    ASSERT_EQ(down_f32(src, 8, 8, dst, 3, 3, &crop), 0u);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            const int y = 2 + 2 * r, x = 2 + 2 * c;
            const double mean = (src[y * 8 + x] + src[y * 8 + x + 1] + src[(y + 1) * 8 + x] + src[(y + 1) * 8 + x + 1]) / 4;
            EXPECT_EQ(dst[r * 3 + c], uint16_t(std::floor(mean * 1024.0 + 0.5))) << r << "," << c;
        }
    // A crop as large as the destination takes the samples one to one.
    const crop_rect exact = {5, 4, 3, 3};
    ASSERT_EQ(down_f32(src, 8, 8, dst, 3, 3, &exact), 0u);
    EXPECT_EQ(dst[0], uint16_t(src[4 * 8 + 5] * 1024));
    EXPECT_EQ(dst[8], uint16_t(src[6 * 8 + 7] * 1024));
}

TEST(AreaDownscale, ArgumentErrorsWriteNothing) {
    std::vector<float> src(64, 1.0f);
    std::vector<uint16_t> src16(64, 1);
    const float *s[2] = {src.data(), src.data()};
    const float *s_null[2] = {src.data(), nullptr};
    const uint16_t *s16[1] = {src16.data()};
    std::vector<uint16_t> dst(64, kCanary);
    uint16_t *d[2] = {dst.data(), dst.data()};
    uint16_t *d_null[2] = {dst.data(), nullptr};
    const crop_rect outside = {2, 2, 7, 6};      // x + width = 9 > 8
    const crop_rect empty = {2, 2, 0, 6};        // vanishing footprint
    const crop_rect narrow = {0, 0, 2, 6};       // narrower than the destination
    const crop_rect start_out = {8, 0, 0, 6};    // x not inside the source
    const struct {
        const char *what;
        const float *const *src;
        uint16_t *const *dst;
        uint16_t sw, sh, dw, dh, planes;
        const crop_rect *crop;
    } cases[] = {
        {"destination as wide as source", s, d, 3, 8, 3, 3, 1, nullptr},
        {"destination as high as source", s, d, 8, 4, 3, 4, 1, nullptr},
        {"destination wider than source", s, d, 4, 8, 5, 3, 1, nullptr},
        {"destination width 2", s, d, 8, 8, 2, 3, 1, nullptr},
        {"destination height 2", s, d, 8, 8, 3, 2, 1, nullptr},
        {"null source list", nullptr, d, 8, 8, 3, 3, 1, nullptr},
        {"null destination list", s, nullptr, 8, 8, 3, 3, 1, nullptr},
        {"null second source plane", s_null, d, 8, 8, 3, 3, 2, nullptr},
        {"null second destination plane", s, d_null, 8, 8, 3, 3, 2, nullptr},
        {"crop outside", s, d, 8, 8, 3, 3, 1, &outside},
        {"crop start outside", s, d, 8, 8, 3, 3, 1, &start_out},
        {"crop of width 0", s, d, 8, 8, 3, 3, 1, &empty},
        {"crop narrower than destination", s, d, 8, 8, 3, 3, 1, &narrow},
    };
    for (const auto &k : cases) {
        EXPECT_EQ(image_downscale_32f_to_u16p10(k.src, k.dst, k.sw, k.sh, k.dw, k.dh, k.planes, k.crop), 32u)
            << k.what;
        for (uint16_t v : dst) ASSERT_EQ(v, kCanary) << k.what;
    }
    EXPECT_EQ(image_downscale_u16_to_u16(s16, d, 3, 8, 0, 3, 3, 0, 1, nullptr), 32u);
    EXPECT_EQ(image_downscale_u16_to_u16(s16, d, 8, 8, 0, 3, 3, 0, 1, &outside), 32u);
    for (uint16_t v : dst) ASSERT_EQ(v, kCanary);
    // No planes: done, nothing to write.
    EXPECT_EQ(image_downscale_32f_to_u16p10(s, d, 8, 8, 3, 3, 0, nullptr), 0u);
    for (uint16_t v : dst) ASSERT_EQ(v, kCanary);
}

}  // namespace
