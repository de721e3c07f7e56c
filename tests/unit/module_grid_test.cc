// Module shading grid conversion: fixed-point samples to gains and the four orientations.
#include <gtest/gtest.h>

#include <vector>

#include "lsc/module_grid.h"

namespace oz {
namespace {

TEST(ModuleGrid, SamplesBecomeGains) {
    const uint8_t s8[3] = {0, 128, 255};
    const uint8_t *src8[4] = {s8, s8, s8, s8};
    float out[4][3] = {};
    float *dst[4] = {out[0], out[1], out[2], out[3]};
    copy_and_flip_nvm_data(src8, 0, dst, 3, 1, 1 << 8);
    EXPECT_EQ(out[3][0], 1.0f);
    EXPECT_EQ(out[3][1], 1.5f);
    EXPECT_EQ(out[3][2], 1.99609375f);

    const uint16_t s16[1] = {1024};
    const uint16_t *src16[4] = {s16, s16, s16, s16};
    copy_and_flip_nvm_data_16(src16, 0, dst, 1, 1, 1u << 10);
    EXPECT_EQ(out[0][0], 2.0f);
}

TEST(ModuleGrid, FlipModesMirrorEachChannelInPlace) {
    // A 3 x 2 grid with samples 0..5, scale 1: gains are sample + 1. Channel c is offset by 10 c so a
    // channel mix-up shows.
    uint8_t src[4][6];
    for (int c = 0; c < 4; ++c)
        for (int i = 0; i < 6; ++i) src[c][i] = uint8_t(10 * c + i);
    const uint8_t *srcs[4] = {src[0], src[1], src[2], src[3]};
    const struct {
        uint32_t flip;
        int order[6];
    } cases[] = {
        {0, {0, 1, 2, 3, 4, 5}},
        {1, {2, 1, 0, 5, 4, 3}},
        {2, {3, 4, 5, 0, 1, 2}},
        {3, {5, 4, 3, 2, 1, 0}},
    };
    for (const auto &k : cases) {
        float out[4][6];
        float *dst[4] = {out[0], out[1], out[2], out[3]};
        copy_and_flip_nvm_data(srcs, k.flip, dst, 3, 2, 1);
        for (int c = 0; c < 4; ++c)
            for (int i = 0; i < 6; ++i)
                EXPECT_EQ(out[c][i], float(10 * c + k.order[i]) + 1.0f) << "flip " << k.flip << " c " << c;
    }
}

TEST(ModuleGrid, UnknownFlipOrEmptyGridWritesNothing) {
    uint16_t src[4] = {1, 2, 3, 4};
    const uint16_t *srcs[4] = {src, src, src, src};
    float out[4][4];
    float *dst[4] = {out[0], out[1], out[2], out[3]};
    for (auto &row : out)
        for (float &v : row) v = -7.0f;
    copy_and_flip_nvm_data_16(srcs, 4, dst, 2, 2, 16);
    copy_and_flip_nvm_data_16(srcs, 0, dst, 0, 2, 16);
    copy_and_flip_nvm_data_16(srcs, 0, dst, 2, 0, 16);
    for (auto &row : out)
        for (float v : row) EXPECT_EQ(v, -7.0f);
}

}  // namespace
}  // namespace oz
