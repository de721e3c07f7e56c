// Bicubic kernels: the padded border buffer, the upscaling to float, the resize to u16p10 and the
// bicubic upscaling of module shading tables. Worked examples, invariants (constants stay constant,
// ramps stay ramps), the drivers against the per-sample definitions, argument errors (nothing
// written), the decisions on sizes of 1, oversized sources, null pointers and unknown flip modes,
// and the release of everything on allocation failure.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/status.h"
#include "oz_lsc.h"
#include "oz_resample.h"
#include "resample/bicubic_buffer.h"
#include "resample/bicubic_resize_rows.h"
#include "resample/bicubic_rows.h"
#include "tests/kit/fault_sweep.h"

namespace oz::test {
namespace {

constexpr float kCanaryF = -12345.5f;
constexpr uint16_t kCanary16 = 0xA5A5;

std::vector<float> buffer_of_u16(const std::vector<uint16_t> &src, uint16_t w, uint16_t h,
                                 uint32_t shift = 0) {
    std::vector<float> b(bicubic_buffer_floats(w, h), kCanaryF);
    create_buffer_for_bicubic_uint16(src.data(), b.data(), w, h, shift);
    return b;
}

// ---- Padded buffer ----

TEST(BicubicBuffer, BorderRuleAndCornerOrder) {
    // 3 x 2 source; expected buffer worked by hand from the extrapolation rule. The last corner of
    // each side depends on the corner computed before it.
    const std::vector<uint16_t> src = {1, 2, 4, 3, 7, 5};
    const float expected[5][6] = {
        {1, -1, -3, 3, 9, 15}, {0, 1, 2, 4, 6, 8},      {-1, 3, 7, 5, 3, 1},
        {-2, 5, 12, 6, 0, -6}, {-3, 7, 17, 7, -3, -13},
    };
    const std::vector<float> b = buffer_of_u16(src, 3, 2);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 6; ++j)
            EXPECT_EQ(b[i * 6 + j], expected[i][j]) << "B[" << i << "][" << j << "]";
    for (size_t k = 30; k < b.size(); ++k) EXPECT_EQ(b[k], 0.0f) << "slack " << k;
}

TEST(BicubicBuffer, RampIsExtendedExactly) {
    // f(r, c) = 10 + 3 c + 7 r continues over the whole border, corners included.
    const uint16_t w = 5, h = 4;
    std::vector<uint16_t> src(w * h);
    for (int r = 0; r < h; ++r)
        for (int c = 0; c < w; ++c) src[r * w + c] = uint16_t(10 + 3 * c + 7 * r);
    const std::vector<float> b = buffer_of_u16(src, w, h);
    for (int i = 0; i < h + 3; ++i)
        for (int j = 0; j < w + 3; ++j)
            EXPECT_EQ(b[i * (w + 3) + j], float(10 + 3 * (j - 1) + 7 * (i - 1))) << i << "," << j;
}

TEST(BicubicBuffer, ShiftScalesSamples) {
    const struct {
        uint32_t shift;
        float factor;
    } cases[] = {{0, 1.0f},  {4, 1.0f / 16}, {11, 1.0f / 2048}, {31, 1.0f / 2147483648.0f},
                 {32, 1.0f}, {36, 1.0f / 16}};
    const std::vector<uint16_t> src = {16, 32, 65535, 48};
    for (const auto &k : cases) {
        EXPECT_EQ(bicubic_shift_factor(k.shift), k.factor) << "shift " << k.shift;
        const std::vector<float> b = buffer_of_u16(src, 2, 2, k.shift);
        EXPECT_EQ(b[1 * 5 + 1], 16.0f * k.factor) << "shift " << k.shift;
        EXPECT_EQ(b[2 * 5 + 1], 65535.0f * k.factor) << "shift " << k.shift;
    }
}

TEST(BicubicBuffer, SingleRowOrColumnIsRepeated) {
    // w == 1: every buffer row constant; h == 1: every buffer column constant.
    const std::vector<float> col = buffer_of_u16({5, 9, 20}, 1, 3);
    const float rows[6] = {1,  5,  9,
                           20, 31, 42};  // top and bottom rows still extrapolate the column
    for (int i = 0; i < 6; ++i)
        for (int j = 0; j < 4; ++j) EXPECT_EQ(col[i * 4 + j], rows[i]) << i << "," << j;

    const std::vector<float> row = buffer_of_u16({5, 9, 20}, 3, 1);
    const float cols[6] = {1, 5, 9, 20, 31, 42};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 6; ++j) EXPECT_EQ(row[i * 6 + j], cols[j]) << i << "," << j;

    const std::vector<float> one = buffer_of_u16({77}, 1, 1);
    for (int k = 0; k < 16; ++k) EXPECT_EQ(one[k], 77.0f) << k;
}

// ---- Upscaling to float ----

// The per-sample definition, written independently of the rows: A = M P M^T with M applied as a
// sparse matrix product (non-zero terms in ascending order), then the 16 terms j outer, i inner.
float reference_sample(const std::vector<float> &b, size_t stride, int r, int c, float ty,
                       float tx) {
    static const float M[4][4] = {
        {0, 1, 0, 0}, {-0.5f, 0, 0.5f, 0}, {1, -2.5f, 2, -0.5f}, {-0.5f, 1.5f, -1.5f, 0.5f}};
    auto product = [](const float m[4], const float v[4]) {
        float s = 0;
        bool first = true;
        for (int k = 0; k < 4; ++k) {
            if (m[k] == 0) continue;
            s = first ? m[k] * v[k] : s + m[k] * v[k];
            first = false;
        }
        return s;
    };
    float P[4][4], MP[4][4], A[4][4];
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) P[j][i] = b[(r + j) * stride + c + i];
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) {
            const float column[4] = {P[0][i], P[1][i], P[2][i], P[3][i]};
            MP[j][i] = product(M[j], column);
        }
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) A[j][i] = product(M[i], MP[j]);
    const float typ[4] = {1, ty, ty * ty, ty * ty * ty};
    const float txp[4] = {1, tx, tx * tx, tx * tx * tx};
    float v = 0;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i)
            v = (j == 0 && i == 0) ? A[0][0] : v + A[j][i] * typ[j] * txp[i];
    if (v <= -255.0f) v = -255.0f;
    if (v >= 65535.0f) v = 65535.0f;
    return v;
}

std::vector<float> reference_upscale(const std::vector<uint16_t> &src, uint16_t sw, uint16_t sh,
                                     uint16_t dw, uint16_t dh) {
    const std::vector<float> b = buffer_of_u16(src, sw, sh);
    const float fx = sw == 1 ? 0.0f : (float(sw) - 1.0f) / (float(dw) - 1.0f);
    const float fy = sh == 1 ? 0.0f : (float(sh) - 1.0f) / (float(dh) - 1.0f);
    std::vector<float> out(size_t(dw) * dh);
    for (int y = 0; y < dh; ++y)
        for (int x = 0; x < dw; ++x) {
            const float px = float(x) * fx, py = float(y) * fy;
            const int c = int(px), r = int(py);
            out[y * dw + x] = reference_sample(b, sw + 3, r, c, py - float(r), px - float(c));
        }
    return out;
}

uint32_t upscale16(const std::vector<uint16_t> &src, uint16_t sw, uint16_t sh,
                   std::vector<float> &dst, uint16_t dw, uint16_t dh) {
    dst.assign(size_t(dw) * dh, kCanaryF);
    const uint16_t *s[1] = {src.data()};
    float *d[1] = {dst.data()};
    return image_bicubic_upscale_uint16_to_float(s, d, sw, sh, dw, dh, 1);
}

TEST(BicubicUpscale, DriverMatchesPerSampleDefinition) {
    const struct {
        uint16_t sw, sh, dw, dh;
    } cases[] = {{2, 2, 3, 3},          {4, 3, 11, 7},  {7, 5, 7, 5},  {5, 6, 23, 17},
                 {3, 3, 64, 2 * 3 + 1}, {9, 4, 10, 40}, {1, 5, 6, 12}, {6, 1, 13, 4},
                 {1, 1, 3, 2},          {16, 9, 37, 29}};
    std::mt19937 rng(7);
    for (const auto &k : cases) {
        std::vector<uint16_t> src(size_t(k.sw) * k.sh);
        for (auto &s : src) s = uint16_t(rng() % 4 == 0 ? (rng() % 2) * 65535 : rng() % 65536);
        std::vector<float> dst;
        ASSERT_EQ(upscale16(src, k.sw, k.sh, dst, k.dw, k.dh), kStatusDone);
        const std::vector<float> ref = reference_upscale(src, k.sw, k.sh, k.dw, k.dh);
        ASSERT_EQ(std::memcmp(dst.data(), ref.data(), ref.size() * sizeof(float)), 0)
            << k.sw << "x" << k.sh << " -> " << k.dw << "x" << k.dh;
    }
}

TEST(BicubicUpscale, EqualSizesReproduceTheSource) {
    const std::vector<uint8_t> s8 = {0, 255, 17, 3, 99, 128, 254, 1, 60};
    std::vector<float> d8(9, kCanaryF);
    const uint8_t *src8[1] = {s8.data()};
    float *dst8[1] = {d8.data()};
    ASSERT_EQ(image_bicubic_upscale_uint8_to_float(src8, dst8, 3, 3, 3, 3, 1), kStatusDone);
    for (int k = 0; k < 9; ++k) EXPECT_EQ(d8[k], float(s8[k])) << k;

    const std::vector<uint16_t> s16 = {0, 65535, 1, 40000, 2, 65534};
    std::vector<float> d16;
    ASSERT_EQ(upscale16(s16, 2, 3, d16, 2, 3), kStatusDone);
    for (int k = 0; k < 6; ++k) EXPECT_EQ(d16[k], float(s16[k])) << k;
}

TEST(BicubicUpscale, TwoByTwoToThreeByThreeCentre) {
    // The border of a 2 x 2 source continues its bilinear surface, which the cubic reproduces: the
    // centre is the mean of the four samples, the edge midpoints the means of their two samples.
    std::vector<float> d;
    ASSERT_EQ(upscale16({0, 4, 8, 20}, 2, 2, d, 3, 3), kStatusDone);
    const float expected[9] = {0, 2, 4, 4, 8, 12, 8, 14, 20};
    for (int k = 0; k < 9; ++k) EXPECT_EQ(d[k], expected[k]) << k;
}

TEST(BicubicUpscale, ConstantsAndRampsArePreserved) {
    const struct {
        uint16_t sw, sh, dw, dh;
    } sizes[] = {{2, 2, 5, 9}, {5, 4, 13, 9}, {8, 8, 29, 31}, {3, 7, 3, 20}};
    for (const auto &k : sizes) {
        std::vector<uint16_t> flat(size_t(k.sw) * k.sh, 777), ramp(flat.size());
        for (int r = 0; r < k.sh; ++r)
            for (int c = 0; c < k.sw; ++c) ramp[r * k.sw + c] = uint16_t(100 + 40 * c + 25 * r);
        std::vector<float> d;
        ASSERT_EQ(upscale16(flat, k.sw, k.sh, d, k.dw, k.dh), kStatusDone);
        for (float v : d) ASSERT_EQ(v, 777.0f);
        ASSERT_EQ(upscale16(ramp, k.sw, k.sh, d, k.dw, k.dh), kStatusDone);
        const float fx = (float(k.sw) - 1) / (float(k.dw) - 1),
                    fy = (float(k.sh) - 1) / (float(k.dh) - 1);
        for (int y = 0; y < k.dh; ++y)
            for (int x = 0; x < k.dw; ++x)
                EXPECT_NEAR(d[y * k.dw + x], 100 + 40 * (x * fx) + 25 * (y * fy), 1e-3)
                    << k.sw << "x" << k.sh << " at " << x << "," << y;
    }
}

TEST(BicubicUpscale, ClampsOvershootAndUndershoot) {
    // Full scale everywhere stays full scale; a step from 0 to 65535 overshoots on both sides.
    std::vector<float> d;
    ASSERT_EQ(upscale16(std::vector<uint16_t>(12, 65535), 4, 3, d, 9, 7), kStatusDone);
    for (float v : d) ASSERT_EQ(v, 65535.0f);
    std::vector<uint16_t> step;
    for (int r = 0; r < 2; ++r) step.insert(step.end(), {0, 0, 65535, 65535});
    ASSERT_EQ(upscale16(step, 4, 2, d, 31, 2), kStatusDone);
    const std::vector<float> ref = reference_upscale(step, 4, 2, 31, 2);
    float lo = 0, hi = 0;
    for (size_t k = 0; k < d.size(); ++k) {
        lo = std::min(lo, d[k]);
        hi = std::max(hi, d[k]);
    }
    EXPECT_EQ(lo, -255.0f);
    EXPECT_EQ(hi, 65535.0f);
    EXPECT_EQ(std::memcmp(d.data(), ref.data(), d.size() * sizeof(float)), 0);
}

TEST(BicubicUpscale, SourceOfOneIsConstantAcross) {
    // One source column gives rows that are constant and equal to the upscaled column; one sample
    // fills the destination.
    std::vector<float> col, two;
    ASSERT_EQ(upscale16({10, 50, 20, 90}, 1, 4, col, 5, 9), kStatusDone);
    ASSERT_EQ(upscale16({10, 10, 50, 50, 20, 20, 90, 90}, 2, 4, two, 2, 9), kStatusDone);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 5; ++x) EXPECT_EQ(col[y * 5 + x], two[y * 2]) << x << "," << y;
    std::vector<float> one;
    ASSERT_EQ(upscale16({321}, 1, 1, one, 1, 1), kStatusDone);
    EXPECT_EQ(one[0], 321.0f);
    ASSERT_EQ(upscale16({321}, 1, 1, one, 4, 3), kStatusDone);
    for (float v : one) EXPECT_EQ(v, 321.0f);
}

TEST(BicubicUpscale, ArgumentErrorsWriteNothing) {
    std::vector<uint16_t> src(70000, 1);
    const uint16_t *good[2] = {src.data(), src.data()};
    const uint16_t *holey[2] = {src.data(), nullptr};
    std::vector<float> d(64, kCanaryF), d2(64, kCanaryF);
    float *dst[2] = {d.data(), d2.data()};
    float *dst_holey[2] = {d.data(), nullptr};
    const struct {
        const char *what;
        const uint16_t *const *src;
        float *const *dst;
        uint16_t sw, sh, dw, dh, planes;
        uint32_t status;
    } cases[] = {
        {"one column narrower", good, dst, 4, 4, 3, 8, 1, kStatusInvalidArgs},
        {"one row shorter", good, dst, 4, 4, 8, 3, 1, kStatusInvalidArgs},
        {"source above 65532", good, dst, 65533, 1, 65535, 1, 1, kStatusInvalidArgs},
        {"source height above 65532", good, dst, 1, 65533, 1, 65533, 1, kStatusInvalidArgs},
        {"no source columns", good, dst, 0, 2, 4, 4, 1, kStatusInvalidArgs},
        {"no source rows", good, dst, 2, 0, 4, 4, 1, kStatusInvalidArgs},
        {"null source list", nullptr, dst, 2, 2, 4, 4, 1, kStatusInvalidArgs},
        {"null destination list", good, nullptr, 2, 2, 4, 4, 1, kStatusInvalidArgs},
        {"null source plane", holey, dst, 2, 2, 4, 4, 2, kStatusInvalidArgs},
        {"null destination plane", good, dst_holey, 2, 2, 4, 4, 2, kStatusInvalidArgs},
        {"empty destination", good, dst, 0, 0, 0, 0, 1, kStatusDone},
        {"empty destination rows", good, dst, 0, 3, 0, 4, 1, kStatusDone},
        {"no planes", nullptr, nullptr, 2, 2, 4, 4, 0, kStatusDone},
    };
    for (const auto &k : cases) {
        EXPECT_EQ(
            image_bicubic_upscale_uint16_to_float(k.src, k.dst, k.sw, k.sh, k.dw, k.dh, k.planes),
            k.status)
            << k.what;
        const uint8_t *s8[2] = {reinterpret_cast<const uint8_t *>(k.src ? k.src[0] : nullptr),
                                reinterpret_cast<const uint8_t *>(k.src ? k.src[1] : nullptr)};
        EXPECT_EQ(image_bicubic_upscale_uint8_to_float(k.src ? s8 : nullptr, k.dst, k.sw, k.sh,
                                                       k.dw, k.dh, k.planes),
                  k.status)
            << k.what;
        for (float v : d) ASSERT_EQ(v, kCanaryF) << k.what;
        for (float v : d2) ASSERT_EQ(v, kCanaryF) << k.what;
    }
}

TEST(BicubicUpscale, AllocationFailureWritesNothing) {
    const std::vector<uint8_t> src(6 * 5, 200);
    std::vector<float> d(12 * 9);
    fault_sweep([&] {
        std::fill(d.begin(), d.end(), kCanaryF);
        const uint8_t *s[1] = {src.data()};
        float *o[1] = {d.data()};
        const uint32_t status = image_bicubic_upscale_uint8_to_float(s, o, 6, 5, 12, 9, 1);
        if (fault_injected()) {
            EXPECT_EQ(status, kStatusNoMemory);
            for (float v : d) ASSERT_EQ(v, kCanaryF);
        } else {
            EXPECT_EQ(status, kStatusDone);
            for (float v : d) ASSERT_EQ(v, 200.0f);
        }
    }, "image_bicubic_upscale_uint8_to_float");
}

// ---- Resize to u16p10 ----

std::vector<uint16_t> reference_resize(const std::vector<float> &b, uint16_t sh, uint16_t sw,
                                       uint16_t dh, uint16_t dw) {
    std::vector<uint16_t> out(size_t(dw) * dh);
    for (int y = 0; y < dh; ++y) {
        const float fy = (float(y) / (float(dh) - 1.0f)) * (float(sh) - 1.0f);
        const int iy = int(std::floor(fy));
        for (int x = 0; x < dw; ++x) {
            const float fx = (float(x) / (float(dw) - 1.0f)) * (float(sw) - 1.0f);
            const int ix = int(std::floor(fx));
            float patch[16];
            for (int j = 0; j < 4; ++j)
                for (int i = 0; i < 4; ++i) patch[4 * j + i] = b[(iy + j) * (sw + 3) + ix + i];
            out[y * dw + x] = uint16_t(bicubicInterpolate_32f_to_u16p10(patch, fy - iy, fx - ix));
        }
    }
    return out;
}

uint32_t resize_f(const std::vector<float> &src, uint16_t sh, uint16_t sw,
                  std::vector<uint16_t> &dst, uint16_t dh, uint16_t dw) {
    dst.assign(size_t(dw) * dh, kCanary16);
    return bicubic_resize_32f_to_u16p10(src.data(), sh, sw, dst.data(), dh, dw);
}

TEST(BicubicResize, InterpolateWorkedValues) {
    // A patch whose rows are ramps 0, 1, 2, 3 (plus 10 per row): the cubic reproduces the ramp.
    float patch[16];
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) patch[4 * j + i] = float(i + 10 * j);
    EXPECT_EQ(bicubicInterpolate_32f_to_u16p10(patch, 0.0f, 0.0f), 11 * 1024);
    EXPECT_EQ(bicubicInterpolate_32f_to_u16p10(patch, 0.5f, 0.5f), int32_t(16.5f * 1024));
    EXPECT_EQ(bicubicInterpolate_32f_to_u16p10(patch, 0.25f, 0.75f), int32_t(14.25f * 1024));
    // Truncation toward zero, not clamped; unrepresentable and NaN give INT32_MIN.
    for (float &p : patch) p = -0.0009765625f * 1.5f;  // -1.5 / 1024
    EXPECT_EQ(bicubicInterpolate_32f_to_u16p10(patch, 0.0f, 0.0f), -1);
    for (float &p : patch) p = 3e9f;
    EXPECT_EQ(bicubicInterpolate_32f_to_u16p10(patch, 0.0f, 0.0f), INT32_MIN);
    for (float &p : patch) p = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(bicubicInterpolate_32f_to_u16p10(patch, 0.5f, 0.5f), INT32_MIN);
}

TEST(BicubicResize, DriverMatchesPerSampleDefinition) {
    const struct {
        uint16_t sh, sw, dh, dw;
    } cases[] = {{2, 2, 2, 2},   {4, 4, 2, 2}, {5, 7, 13, 3}, {9, 31, 4, 17},   {40, 3, 7, 33},
                 {3, 100, 3, 7}, {1, 6, 5, 9}, {6, 1, 2, 11}, {17, 23, 41, 37}, {64, 64, 5, 6}};
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> value(-4.0f, 70.0f);
    for (const auto &k : cases) {
        std::vector<float> src(size_t(k.sw) * k.sh);
        for (float &s : src) s = value(rng);
        std::vector<uint16_t> dst;
        ASSERT_EQ(resize_f(src, k.sh, k.sw, dst, k.dh, k.dw), kStatusDone);
        std::vector<float> b(bicubic_buffer_floats(k.sw, k.sh));
        create_buffer_for_bicubic_float(src.data(), b.data(), k.sw, k.sh);
        EXPECT_EQ(dst, reference_resize(b, k.sh, k.sw, k.dh, k.dw))
            << k.sw << "x" << k.sh << " -> " << k.dw << "x" << k.dh;

        std::vector<uint16_t> src16(src.size());
        for (auto &s : src16) s = uint16_t(rng());
        dst.assign(size_t(k.dw) * k.dh, kCanary16);
        ASSERT_EQ(bicubic_resize_u16_to_u16(src16.data(), k.sh, k.sw, 11, dst.data(), k.dh, k.dw),
                  kStatusDone);
        create_buffer_for_bicubic_uint16(src16.data(), b.data(), k.sw, k.sh, 11);
        EXPECT_EQ(dst, reference_resize(b, k.sh, k.sw, k.dh, k.dw))
            << "u16 " << k.sw << "x" << k.sh << " -> " << k.dw << "x" << k.dh;
    }
}

TEST(BicubicResize, WorkedExamples) {
    std::vector<uint16_t> d;
    // Constant planes.
    ASSERT_EQ(resize_f(std::vector<float>(35, 1.5f), 5, 7, d, 9, 4), kStatusDone);
    for (uint16_t v : d) ASSERT_EQ(v, 1536);
    std::vector<uint16_t> c16(35, 3072);
    d.assign(36, kCanary16);
    ASSERT_EQ(bicubic_resize_u16_to_u16(c16.data(), 5, 7, 11, d.data(), 9, 4), kStatusDone);
    for (uint16_t v : d) ASSERT_EQ(v, 1536);

    // Corners of the destination are the corners of the source; 4 x 4 to 2 x 2 takes exactly them.
    const std::vector<float> s = {1.25f, 2,  3,  4.5f, 5,      6,  7,  8,
                                  9,     10, 11, 12,   13.75f, 14, 15, 16.1f};
    ASSERT_EQ(resize_f(s, 4, 4, d, 2, 2), kStatusDone);
    EXPECT_EQ(d, (std::vector<uint16_t>{1280, 4608, 14080, uint16_t(16.1f * 1024)}));
    ASSERT_EQ(resize_f(s, 4, 4, d, 7, 5), kStatusDone);
    EXPECT_EQ(d[0], 1280);
    EXPECT_EQ(d[4], 4608);
    EXPECT_EQ(d[6 * 5], 14080);
    EXPECT_EQ(d[6 * 5 + 4], uint16_t(16.1f * 1024));

    // A ramp stays a ramp up to the truncation of the last bit.
    std::vector<float> ramp(6 * 5);
    for (int r = 0; r < 5; ++r)
        for (int c = 0; c < 6; ++c) ramp[r * 6 + c] = 2.0f + 0.5f * c + 0.25f * r;
    ASSERT_EQ(resize_f(ramp, 5, 6, d, 9, 11), kStatusDone);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 11; ++x) {
            const double expected = 1024.0 * (2.0 + 0.5 * (x * 5.0 / 10) + 0.25 * (y * 4.0 / 8));
            EXPECT_NEAR(d[y * 11 + x], expected, 1.0) << x << "," << y;
        }
}

TEST(BicubicResize, StoresLowSixteenBits) {
    const struct {
        float value;
        uint16_t stored;
    } cases[] = {
        {-1.5f, uint16_t(-1536)},      // negative: two's complement low bits
        {70.0f, uint16_t(70 * 1024)},  // 71680 wraps to 6144
        {63.999f, uint16_t(63.999f * 1024)},
        {3e30f, 0},  // not representable: INT32_MIN
        {-3e30f, 0},
        {std::numeric_limits<float>::quiet_NaN(), 0},
        {std::numeric_limits<float>::infinity(), 0},
    };
    for (const auto &k : cases) {
        std::vector<uint16_t> d;
        ASSERT_EQ(resize_f(std::vector<float>(9, k.value), 3, 3, d, 4, 5), kStatusDone);
        for (uint16_t v : d) ASSERT_EQ(v, k.stored) << k.value;
    }
}

TEST(BicubicResize, SourceOfOne) {
    // A single column or sample is repeated across: every destination column equals column 0.
    std::vector<uint16_t> d;
    ASSERT_EQ(resize_f({2.5f}, 1, 1, d, 3, 4), kStatusDone);
    for (uint16_t v : d) EXPECT_EQ(v, 2560);
    ASSERT_EQ(resize_f({1, 2, 4, 8}, 4, 1, d, 7, 3), kStatusDone);
    for (int y = 0; y < 7; ++y) {
        EXPECT_EQ(d[y * 3 + 1], d[y * 3]);
        EXPECT_EQ(d[y * 3 + 2], d[y * 3]);
    }
    EXPECT_EQ(d[0], 1024);
    EXPECT_EQ(d[6 * 3], 8192);
}

TEST(BicubicResize, ArgumentErrorsWriteNothing) {
    std::vector<float> src(70000, 1.0f);
    std::vector<uint16_t> src16(70000, 1);
    std::vector<uint16_t> d(64, kCanary16);
    const struct {
        const char *what;
        bool null_src, null_dst;
        uint16_t sh, sw, dh, dw;
        uint32_t status;
    } cases[] = {
        {"destination width 1", false, false, 4, 4, 4, 1, kStatusInvalidArgs},
        {"destination height 1", false, false, 4, 4, 1, 4, kStatusInvalidArgs},
        {"width 1 before empty height", false, false, 4, 4, 0, 1, kStatusInvalidArgs},
        {"no source columns", false, false, 4, 0, 4, 4, kStatusInvalidArgs},
        {"no source rows", false, false, 0, 4, 4, 4, kStatusInvalidArgs},
        {"source above 65532", false, false, 1, 65533, 2, 2, kStatusInvalidArgs},
        {"source height above 65532", false, false, 65533, 1, 2, 2, kStatusInvalidArgs},
        {"null source", true, false, 4, 4, 4, 4, kStatusInvalidArgs},
        {"null destination", false, true, 4, 4, 4, 4, kStatusInvalidArgs},
        {"empty destination", false, false, 4, 4, 0, 4, kStatusDone},
        {"empty destination, null planes", true, true, 0, 0, 4, 0, kStatusDone},
    };
    for (const auto &k : cases) {
        uint16_t *out = k.null_dst ? nullptr : d.data();
        EXPECT_EQ(bicubic_resize_32f_to_u16p10(k.null_src ? nullptr : src.data(), k.sh, k.sw, out,
                                               k.dh, k.dw),
                  k.status)
            << k.what;
        EXPECT_EQ(bicubic_resize_u16_to_u16(k.null_src ? nullptr : src16.data(), k.sh, k.sw, 3, out,
                                            k.dh, k.dw),
                  k.status)
            << k.what;
        for (uint16_t v : d) ASSERT_EQ(v, kCanary16) << k.what;
    }
}

TEST(BicubicResize, AllocationFailureWritesNothing) {
    const std::vector<uint16_t> src(8 * 6, 2048);
    std::vector<uint16_t> d(5 * 11);
    fault_sweep([&] {
        std::fill(d.begin(), d.end(), kCanary16);
        const uint32_t status = bicubic_resize_u16_to_u16(src.data(), 6, 8, 1, d.data(), 5, 11);
        if (fault_injected()) {
            EXPECT_EQ(status, kStatusNoMemory);
            for (uint16_t v : d) ASSERT_EQ(v, kCanary16);
        } else {
            EXPECT_EQ(status, kStatusDone);
            for (uint16_t v : d) ASSERT_EQ(v, 1024 * 1024 & 0xFFFF);
        }
    }, "bicubic_resize_u16_to_u16");
}

// ---- Bicubic upscaling of module shading tables ----

// A calibration with one table per entry of fraction_bits, each of four w x h grids of random samples
// (8-bit when fraction_bits <= 8). Moving a grid vector keeps its storage, so the pointers stay
// valid.
struct Module {
    nvm_data nvm{};
    std::vector<nvm_lsc_table> tables;
    std::vector<std::vector<uint8_t>> grids8;
    std::vector<std::vector<uint16_t>> grids16;

    Module(uint8_t w, uint8_t h, std::vector<uint8_t> fraction_bits, uint32_t seed = 1) {
        std::mt19937 rng(seed);
        tables.resize(fraction_bits.size());
        for (size_t i = 0; i < fraction_bits.size(); ++i) {
            tables[i].fraction_bits = fraction_bits[i];
            for (int c = 0; c < 4; ++c) {
                if (fraction_bits[i] <= 8) {
                    grids8.emplace_back(size_t(w) * h);
                    for (auto &s : grids8.back()) s = uint8_t(rng());
                    tables[i].channel_grids[c] = grids8.back().data();
                } else {
                    grids16.emplace_back(size_t(w) * h);
                    for (auto &s : grids16.back()) s = uint16_t(rng() % 4096);
                    tables[i].channel_grids[c] = grids16.back().data();
                }
            }
        }
        nvm.lsc_table_count = uint8_t(tables.size());
        nvm.lsc_grid_width = w;
        nvm.lsc_grid_height = h;
        nvm.lsc_tables = tables.data();
    }
    uint32_t sample(size_t t, int c, size_t k) const {
        const void *g = tables[t].channel_grids[c];
        return tables[t].fraction_bits <= 8 ? static_cast<const uint8_t *>(g)[k]
                                            : static_cast<const uint16_t *>(g)[k];
    }
};

struct Tables {
    upscaled_lsc_tables *t;
    explicit Tables(upscaled_lsc_tables *p) : t(p) {}
    ~Tables() { deinit_computed_upscale_lsc_tables(t); }
};

TEST(BicubicShading, SameSizeGivesOrientedGains) {
    for (uint32_t flip = 0; flip < 4; ++flip) {
        Module m(5, 3, {8, 9, 12});
        Tables r(compute_upscaled_lsc_tables_bicubic(5, 3, &m.nvm, flip));
        ASSERT_NE(r.t, nullptr);
        ASSERT_EQ(r.t->table_count, 3);
        for (size_t t = 0; t < 3; ++t) {
            const float d = float(1u << m.tables[t].fraction_bits);
            for (int c = 0; c < 4; ++c)
                for (int row = 0; row < 3; ++row)
                    for (int q = 0; q < 5; ++q) {
                        const int rr = (flip & 2) ? 2 - row : row, qq = (flip & 1) ? 4 - q : q;
                        const float expected = float(m.sample(t, c, row * 5 + q)) / d + 1.0f;
                        ASSERT_EQ(r.t->tables[t][c * 15 + rr * 5 + qq], expected)
                            << "flip " << flip << " table " << t << " plane " << c;
                    }
        }
    }
}

TEST(BicubicShading, UpscaledPlanesAreTheKernelOutputAsGains) {
    // fraction_bits 8 goes through the 8-bit kernel, 9 through the 16-bit kernel; the gains are the
    // interpolated raw samples / 2^fraction_bits + 1, rows reversed for flip 2.
    Module m(4, 3, {8, 9});
    Tables r(compute_upscaled_lsc_tables_bicubic(11, 7, &m.nvm, 2));
    ASSERT_NE(r.t, nullptr);
    std::vector<float> up(11 * 7);
    float *dst[1] = {up.data()};
    for (size_t t = 0; t < 2; ++t)
        for (int c = 0; c < 4; ++c) {
            const void *g = m.tables[t].channel_grids[c];
            if (t == 0) {
                const uint8_t *s[1] = {static_cast<const uint8_t *>(g)};
                ASSERT_EQ(image_bicubic_upscale_uint8_to_float(s, dst, 4, 3, 11, 7, 1),
                          kStatusDone);
            } else {
                const uint16_t *s[1] = {static_cast<const uint16_t *>(g)};
                ASSERT_EQ(image_bicubic_upscale_uint16_to_float(s, dst, 4, 3, 11, 7, 1),
                          kStatusDone);
            }
            const float d = t == 0 ? 256.0f : 512.0f;
            for (int y = 0; y < 7; ++y)
                for (int x = 0; x < 11; ++x)
                    ASSERT_EQ(r.t->tables[t][c * 77 + (6 - y) * 11 + x], up[y * 11 + x] / d + 1.0f)
                        << t << "," << c << " at " << x << "," << y;
        }
}

TEST(BicubicShading, HalfTurnOfTwoByTwo) {
    Module m(2, 2, {0});
    Tables r(compute_upscaled_lsc_tables_bicubic(2, 2, &m.nvm, 3));
    ASSERT_NE(r.t, nullptr);
    for (int c = 0; c < 4; ++c)
        for (int k = 0; k < 4; ++k)
            EXPECT_EQ(r.t->tables[0][c * 4 + k], float(m.sample(0, c, 3 - k)) + 1.0f);
}

TEST(BicubicShading, NoTables) {
    Module m(3, 3, {});
    nvm_lsc_table unused{};
    m.nvm.lsc_tables = &unused;  // non-null array of zero entries
    Tables r(compute_upscaled_lsc_tables_bicubic(6, 6, &m.nvm, 0));
    ASSERT_NE(r.t, nullptr);
    EXPECT_EQ(r.t->table_count, 0);
    EXPECT_NE(r.t->tables, nullptr);
}

TEST(BicubicShading, RefusalsReturnNullAndLeakNothing) {
    const int64_t baseline = faultsim::live_blocks();
    Module m(4, 4, {8, 10});
    nvm_data no_tables = m.nvm;
    no_tables.lsc_tables = nullptr;
    Module holey(4, 4, {8});
    holey.tables[0].channel_grids[2] = nullptr;
    const struct {
        const char *what;
        const nvm_data *nvm;
        uint16_t w, h;
        uint32_t flip;
    } cases[] = {
        {"null nvm", nullptr, 8, 8, 0},
        {"null lsc_tables", &no_tables, 8, 8, 0},
        {"width 0", &m.nvm, 0, 8, 0},
        {"height 0", &m.nvm, 8, 0, 0},
        {"flip_mode 4", &m.nvm, 8, 8, 4},
        {"flip_mode 0xFFFFFFFF", &m.nvm, 8, 8, 0xFFFFFFFFu},
        {"target one column narrower", &m.nvm, 3, 8, 0},
        {"target one row shorter", &m.nvm, 8, 3, 1},
        {"null channel grid", &holey.nvm, 8, 8, 0},
    };
    for (const auto &k : cases) {
        EXPECT_EQ(compute_upscaled_lsc_tables_bicubic(k.w, k.h, k.nvm, k.flip), nullptr) << k.what;
        EXPECT_EQ(faultsim::live_blocks(), baseline) << k.what;
    }
}

TEST(BicubicShading, AllocationFailureReleasesEverything) {
    Module m(3, 4, {8, 11, 8});
    const SweepResult sweep = fault_sweep([&] {
        upscaled_lsc_tables *t = compute_upscaled_lsc_tables_bicubic(9, 10, &m.nvm, 1);
        if (fault_injected())
            EXPECT_EQ(t, nullptr);
        else
            EXPECT_NE(t, nullptr);
        deinit_computed_upscale_lsc_tables(t);
    }, "compute_upscaled_lsc_tables_bicubic");
    // working planes, result, array, three blocks and one kernel buffer per table
    EXPECT_EQ(sweep.points, 9u);
}

}  // namespace
}  // namespace oz::test
