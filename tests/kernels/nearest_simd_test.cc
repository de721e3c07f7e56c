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
    // Whole-number enlargements (and the same size) map their columns periodically, eight at a time;
    // widths that end a period short of the row end, exactly at it, and with tails.
    for (uint32_t k : {1u, 2u, 4u, 8u, 3u})
        for (uint32_t sw : {2u, 4u, 5u, 8u, 9u, 16u, 17u, 61u})
            if (sw * k <= 600) sizes.push_back({sw, 3, sw * k, 3 * k});
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

// Calls large enough to stream their destination: whole-number enlargements with rows of an odd
// number of samples, so that destination rows start at every 4-byte offset of a 32-byte boundary.
TEST(NearestSimd, StreamedEnlargementsMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(14);
    for (const Size4 &s : {Size4{1023, 1100, 2046, 2200}, Size4{1023, 600, 4092, 1200}}) {
        test::Guarded<int32_t> src(size_t(s.sw) * s.sh);
        fill_random(src, rng);
        compare_rows<int32_t>("interleaved x1", s, size_t(s.dw) * s.dh, [&](int32_t *dst, const nearest_rows &rows) {
            return nearest_scale_interleaved_int32_impl(src.data(), s.sw, s.sh, 1, dst, s.dw, s.dh, rows);
        });
        compare_rows<int32_t>("footprint int32", s, size_t(s.dw) * s.dh, [&](int32_t *dst, const nearest_rows &rows) {
            return downscale_nearest_int32_impl(src.data(), dst, uint16_t(s.sw), uint16_t(s.sh), uint16_t(s.dw),
                                                uint16_t(s.dh), 0, rows);
        });
    }
}

// The periodic row with streaming stores writes around 32- and 16-byte boundaries: destinations at
// every 4-byte offset, against the scalar row (which stores plainly), nothing written outside.
TEST(NearestSimd, StreamingPeriodicRowsMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(13);
    const PeriodicMap maps[] = {
        {{0, 0, 1, 1, 2, 2, 3, 3}, 4, 37},  {{0, 1, 2, 3, 4, 5, 6, 7}, 8, 20}, {{0, 0, 0, 0, 1, 1, 1, 1}, 2, 9},
        {{0, 0, 0, 0, 0, 0, 0, 0}, 1, 3},   {{1, 2, 2, 4, 5, 6, 7, 7}, 5, 2},  {{0, 0, 1, 1, 2, 2, 3, 3}, 4, 1},
        {{3, 3, 3, 3, 3, 3, 3, 3}, 0, 17},
    };
    for (const PeriodicMap &map : maps) {
        const size_t count = 8 * size_t(map.blocks);
        test::Guarded<int32_t> src(size_t(map.blocks - 1) * map.advance + 8);
        fill_random(src, rng);
        for (uint32_t shift = 0; shift < 8; ++shift) {
            test::Guarded<int32_t> ref(count + 7), opt(count + 7);  // shift 7 ends at the guard page
            ref.fill_bytes(2);
            periodic_row_x32_c(src.data(), ref.data() + shift, map, false);
            for (const auto &isa : test::supported_rows(nearest_sse41_rows, nearest_avx2_rows))
                for (const bool stream : {false, true}) {
                    opt.fill_bytes(2);
                    isa.rows->periodic_x32(src.data(), opt.data() + shift, map, stream);
                    EXPECT_EQ(test::differing_bytes(ref, opt), 0u) << isa.name << " stream " << stream << " shift "
                                                                   << shift << " blocks " << map.blocks;
                }
        }
    }
}

}  // namespace
}  // namespace oz
