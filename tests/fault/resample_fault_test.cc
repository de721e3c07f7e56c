// This file attempts to check the 2-D array resize members in an out-of-memory situation: their
// whole-width working buffer is an optimisation, so when its allocation fails they must still return 0
// and write exactly what the unarmed run wrote (in strips of columns), and release everything.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "oz_resample.h"
#include "tests/kit/fault_sweep.h"

namespace oz::test {
namespace {

struct Member {
    const char *name;
    size_t sample_bytes;
    // Runs the member on `src` into `dst` (both large enough) and returns its status.
    std::function<uint32_t(const void *src, void *dst, int32_t sw, int32_t sh, int32_t dw, int32_t dh)> run;
};

std::vector<Member> members() {
    return {
        {"int32", 4,
         [](const void *s, void *d, int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
             return resize_2d_array_int32(static_cast<const int32_t *>(s), sw, sh, static_cast<int32_t *>(d), dw, dh);
         }},
        {"uint32", 4,
         [](const void *s, void *d, int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
             return resize_2d_array_uint32(static_cast<const uint32_t *>(s), sw, sh, static_cast<uint32_t *>(d), dw,
                                           dh);
         }},
        {"uint16", 2,
         [](const void *s, void *d, int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
             return resize_2d_array_uint16(static_cast<const uint16_t *>(s), sw, sh, static_cast<uint16_t *>(d), dw,
                                           dh);
         }},
        {"uint8_v1", 1,
         [](const void *s, void *d, int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
             // Step 1: the same layout as the plain member, through the stepped path.
             return resize_2d_array_uint8_v1(static_cast<const uint8_t *>(s), sw, sh, static_cast<uint8_t *>(d), dw,
                                             dh, 1);
         }},
        {"crop", 2,
         [](const void *s, void *d, int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
             return crop_resize_2d_array_uint16(static_cast<const uint16_t *>(s), uint32_t(sw), uint32_t(sh),
                                                margin_pair{3, 0}, margin_pair{2, 1}, static_cast<uint16_t *>(d),
                                                uint32_t(dw), uint32_t(dh));
         }},
        {"float", 4,
         [](const void *s, void *d, int32_t sw, int32_t sh, int32_t dw, int32_t dh) {
             return resize_2d_array_float(static_cast<const float *>(s), sw, sh, static_cast<float *>(d), dw, dh);
         }},
    };
}

TEST(ResampleFault, ResizeWithoutWorkingBufferWritesTheSameSamples) {
    // Destinations wider than one strip of columns, enlarged and reduced.
    struct Size {
        int32_t sw, sh, dw, dh;
    };
    const Size sizes[] = {{1500, 3, 2600, 5}, {3100, 5, 1100, 3}};
    std::mt19937 rng(61);
    for (const Member &m : members()) {
        for (const Size &z : sizes) {
            std::vector<uint8_t> src(size_t(z.sw) * z.sh * m.sample_bytes);
            for (uint8_t &b : src) b = uint8_t(rng());
            if (std::string(m.name) == "float")  // finite samples: bytes of small floats
                for (size_t i = 0; i < src.size(); i += 4) src[i + 3] = uint8_t(src[i + 3] & 0x3F);
            const size_t dst_bytes = size_t(z.dw) * z.dh * m.sample_bytes;
            std::vector<uint8_t> expected(dst_bytes, 0xA5);
            ASSERT_EQ(m.run(src.data(), expected.data(), z.sw, z.sh, z.dw, z.dh), 0u) << m.name;
            const SweepResult sweep = fault_sweep([&] {
                std::vector<uint8_t> got(dst_bytes, 0x5A);
                EXPECT_EQ(m.run(src.data(), got.data(), z.sw, z.sh, z.dw, z.dh), 0u) << m.name;
                EXPECT_EQ(std::memcmp(got.data(), expected.data(), dst_bytes), 0)
                    << m.name << " " << z.sw << "x" << z.sh << " -> " << z.dw << "x" << z.dh
                    << (fault_injected() ? " with the working buffer refused" : "");
            });
            EXPECT_GE(sweep.points, 1u) << m.name << ": the working buffer comes from the heap";
        }
    }
}

}  // namespace
}  // namespace oz::test
