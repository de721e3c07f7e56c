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
            }, m.name);
            EXPECT_GE(sweep.points, 1u) << m.name << ": the working buffer comes from the heap";
        }
    }
}

// The nearest-neighbour kernels allocate a column map (footprint-end kernels) and, for calls large
// enough to stream their destination, a row buffer. Refusing either must change no sample: calls of
// both sizes, enlarged and reduced.
TEST(ResampleFault, NearestWithoutBuffersWritesTheSameSamples) {
    struct Call {
        const char *name;
        uint32_t sw, sh, dw, dh;
        size_t pixel_bytes;  // of source and destination pixels
        std::function<uint32_t(const void *, void *)> run;
    };
    std::vector<Call> calls;
    const uint32_t sizes[][4] = {{1100, 1100, 2200, 2200}, {2500, 2400, 900, 700}, {37, 5, 80, 11}};
    for (const auto &z : sizes) {
        const uint32_t sw = z[0], sh = z[1], dw = z[2], dh = z[3];
        calls.push_back({"uint32", sw, sh, dw, dh, 4, [=](const void *s, void *d) {
                             return image_nearest_neighbor_scale_uint32(static_cast<const uint32_t *>(s), int32_t(sw),
                                                                        int32_t(sh), static_cast<uint32_t *>(d),
                                                                        int32_t(dw), int32_t(dh));
                         }});
        calls.push_back({"interleaved x2", sw / 2, sh, dw / 2, dh, 8, [=](const void *s, void *d) {
                             return image_nearest_neighbor_scale_interleaved_int32(
                                 static_cast<const int32_t *>(s), sw / 2, sh, 2, static_cast<int32_t *>(d), dw / 2, dh);
                         }});
        calls.push_back({"footprint u16", sw * 3 / 2, sh, dw * 3 / 2, dh, 2, [=](const void *s, void *d) {
                             return image_upscale_nearest_neighbor_uint16(static_cast<const uint16_t *>(s),
                                                                          static_cast<uint16_t *>(d),
                                                                          uint16_t(sw * 3 / 2), uint16_t(sh),
                                                                          uint16_t(dw * 3 / 2), uint16_t(dh));
                         }});
        for (uint8_t use_max : {uint8_t(0), uint8_t(1)})
            calls.push_back({use_max ? "footprint int32 max" : "footprint int32", sw, sh, dw, dh, 4,
                             [=](const void *s, void *d) {
                                 return image_downscale_nearest_neighbor_int32(
                                     static_cast<const int32_t *>(s), static_cast<int32_t *>(d), uint16_t(sw),
                                     uint16_t(sh), uint16_t(dw), uint16_t(dh), use_max);
                             }});
    }
    std::mt19937 rng(62);
    for (const Call &c : calls) {
        std::vector<uint8_t> src(size_t(c.sw) * c.sh * c.pixel_bytes);
        for (uint8_t &b : src) b = uint8_t(rng());
        const size_t dst_bytes = size_t(c.dw) * c.dh * c.pixel_bytes;
        std::vector<uint8_t> expected(dst_bytes, 0xA5);
        ASSERT_EQ(c.run(src.data(), expected.data()), 0u) << c.name;
        fault_sweep([&] {
            std::vector<uint8_t> got(dst_bytes, 0x5A);
            EXPECT_EQ(c.run(src.data(), got.data()), 0u) << c.name;
            EXPECT_EQ(std::memcmp(got.data(), expected.data(), dst_bytes), 0)
                << c.name << " " << c.sw << "x" << c.sh << " -> " << c.dw << "x" << c.dh
                << (fault_injected() ? " with an allocation refused" : "");
        }, c.name);
    }
}

}  // namespace
}  // namespace oz::test
