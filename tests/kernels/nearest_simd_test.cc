// Nearest-neighbour scaling: every vector row set this CPU runs against the scalar rows for the
// stepping kernels (1 to 5 channels), the footprint-end kernels and the footprint maximum, on random
// planes with sizes around the vector widths and extreme ratios; byte-identical destinations, buffers
// flush against a guard page.
#include <gtest/gtest.h>

#include "resample/nearest_rows.h"
#include "common/faultsim.h"
#include "tests/kernels/guarded.h"

namespace oz {
namespace {

struct Size4 {
    uint32_t sw, sh, dw, dh;
};

std::vector<Size4> nearest_sizes() {
    std::vector<Size4> sizes;
    const uint32_t widths[] = {2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 23, 24, 25, 31, 33};
    for (uint32_t dw : widths) {
        sizes.push_back({dw, 3, dw * 2 + 1, 5});    // enlargement
        sizes.push_back({dw * 3 + 2, 7, dw, 2});   // reduction
        sizes.push_back({dw + 1, 2, dw, 9});       // near 1
        sizes.push_back({2, 2, dw * 40 + 3, 3});   // extreme enlargement: positions step past the source
        sizes.push_back({dw * 300 + 7, 3, dw + 1, 2});  // extreme reduction
    }
    sizes.push_back({1920 / 8, 1080 / 8, 3840 / 8, 2160 / 8});
    sizes.push_back({4032 / 8, 3024 / 8, 1920 / 8, 1080 / 8});
    sizes.push_back({65535, 2, 9, 2});
    return sizes;
}

}  // namespace
namespace test {
// Refuses every heap allocation of the library while alive (when `on`).
class RefuseAllocations {
  public:
    explicit RefuseAllocations(bool on) : on_(on) {
        if (on_) faultsim::arm(1, true);
    }
    ~RefuseAllocations() {
        if (on_) faultsim::disarm();
    }

  private:
    bool on_;
};
}  // namespace test
namespace {

template <class T>
void fill_random(test::Guarded<T> &buf, test::Rng &rng) {
    for (size_t i = 0; i < buf.size(); ++i) buf[i] = T(rng());
    if (buf.size() > 4) {  // edge values
        buf[0] = T(0);
        buf[buf.size() - 1] = T(~T(0));
        buf[buf.size() / 2] = std::is_signed_v<T> ? T(T(1) << (sizeof(T) * 8 - 1)) : T(0);
    }
}

template <class Dst, class Run>
void compare_rows(const char *what, const Size4 &s, size_t dst_count, Run run) {
    test::Guarded<Dst> ref(dst_count), opt(dst_count);
    ref.fill_bytes(2);
    ASSERT_EQ(run(ref.data(), nearest_c_rows()), 0u) << what;
    for (const auto &isa : test::supported_rows(nearest_sse41_rows, nearest_avx2_rows)) {
        opt.fill_bytes(3);
        ASSERT_EQ(run(opt.data(), *isa.rows), 0u) << what;
        EXPECT_EQ(test::differing_bytes(ref, opt), 0u)
            << what << " " << isa.name << ": " << s.sw << "x" << s.sh << " -> " << s.dw << "x" << s.dh;
    }
}

TEST(NearestSimd, SteppingRowsMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(11);
    for (const Size4 &s : nearest_sizes()) {
        for (uint32_t channels : {1u, 2u, 3u, 4u, 5u}) {
            if (size_t(s.sw) * s.sh * channels > (1u << 22)) continue;
            test::Guarded<int32_t> src(size_t(s.sw) * s.sh * channels);
            fill_random(src, rng);
            compare_rows<int32_t>("interleaved", s, size_t(s.dw) * s.dh * channels,
                                  [&](int32_t *dst, const nearest_rows &rows) {
                                      return nearest_scale_interleaved_int32_impl(src.data(), s.sw, s.sh, channels,
                                                                                  dst, s.dw, s.dh, rows);
                                  });
        }
        test::Guarded<uint32_t> src(size_t(s.sw) * s.sh);
        fill_random(src, rng);
        compare_rows<uint32_t>("uint32", s, size_t(s.dw) * s.dh, [&](uint32_t *dst, const nearest_rows &rows) {
            return nearest_scale_uint32_impl(src.data(), int32_t(s.sw), int32_t(s.sh), dst, int32_t(s.dw),
                                             int32_t(s.dh), rows);
        });
    }
}

// The footprint-end kernels take their samples through a column map computed once per call; when the
// map cannot be allocated their rows compute the columns themselves. Both ways are checked: the second
// with every allocation refused.
TEST(NearestSimd, FootprintRowsMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(12);
    for (const bool refuse : {false, true})
    for (const Size4 &s : nearest_sizes()) {
        const test::RefuseAllocations scope(refuse);
        if (s.sw > 65535 || s.dw > 65535) continue;
        test::Guarded<uint16_t> src16(size_t(s.sw) * s.sh);
        fill_random(src16, rng);
        compare_rows<uint16_t>("uint16", s, size_t(s.dw) * s.dh, [&](uint16_t *dst, const nearest_rows &rows) {
            return upscale_nearest_uint16_impl(src16.data(), dst, uint16_t(s.sw), uint16_t(s.sh), uint16_t(s.dw),
                                               uint16_t(s.dh), rows);
        });
        test::Guarded<int32_t> src32(size_t(s.sw) * s.sh);
        fill_random(src32, rng);
        for (uint8_t use_max : {uint8_t(0), uint8_t(1), uint8_t(255)}) {
            compare_rows<int32_t>(use_max ? "int32 max" : "int32", s, size_t(s.dw) * s.dh,
                                  [&](int32_t *dst, const nearest_rows &rows) {
                                      return downscale_nearest_int32_impl(src32.data(), dst, uint16_t(s.sw),
                                                                          uint16_t(s.sh), uint16_t(s.dw),
                                                                          uint16_t(s.dh), use_max, rows);
                                  });
        }
    }
}

}  // namespace
}  // namespace oz
