// 2-D array resize: every vector row set this CPU runs against the scalar rows for every member
// (int32, uint32, uint16 and uint8 with and without a sample step, float, crop), on random and
// edge-value arrays with widths around the vector widths, strips and extreme ratios; byte-identical
// destinations, buffers flush against a guard page.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "resample/resize2d_rows.h"
#include "tests/kernels/guarded.h"

namespace oz {
namespace {

struct Size4 {
    int32_t sw, sh, dw, dh;
};

std::vector<Size4> resize_sizes() {
    std::vector<Size4> sizes;
    const int32_t widths[] = {2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 23, 24, 25, 31, 32, 33, 63, 65};
    for (int32_t dw : widths) {
        sizes.push_back({dw, 2, dw, 3});            // identity across
        sizes.push_back({dw / 2 + 2, 3, dw, 7});    // enlargement
        sizes.push_back({dw * 3 + 1, 9, dw, 4});    // reduction
        sizes.push_back({2, 2, dw * 50, 2});        // extreme enlargement
        sizes.push_back({dw * 200 + 3, 2, dw, 2});  // extreme reduction
    }
    sizes.push_back({1920 / 8, 1080 / 8, 3840 / 8, 2160 / 8});
    sizes.push_back({4032 / 8, 3024 / 8, 1920 / 8, 1080 / 8});
    sizes.push_back({3000, 3, 2500, 2});  // more than one strip of destination columns
    // Enlargements and mild reductions of a few groups of columns, with partial last groups.
    const int32_t grouped[][2] = {{16, 32}, {17, 64}, {40, 79}, {50, 96}, {64, 97}, {60, 100}, {128, 128},
                                  {100, 60}, {180, 100}, {3, 160}, {1919, 3839}};
    for (const auto &g : grouped) sizes.push_back({g[0], 5, g[1], 9});
    // Grouped columns under other vertical ratios: every other destination row on a source row, many
    // destination rows per source row, a mild enlargement and a mild reduction (source rows computed
    // two at a time, or one at a time when rows are skipped).
    const Size4 vertical[] = {{33, 17, 65, 33}, {64, 3, 97, 40}, {60, 7, 100, 8}, {40, 9, 79, 6}, {50, 2, 96, 5}};
    for (const Size4 &v : vertical) sizes.push_back(v);
    return sizes;
}

template <class T>
void fill_random(test::Guarded<T> &buf, test::Rng &rng) {
    if constexpr (std::is_same_v<T, float>) {
        std::uniform_real_distribution<float> value(-1000.0f, 1000.0f);
        for (size_t i = 0; i < buf.size(); ++i) buf[i] = value(rng);
        const float edges[] = {0.0f, -0.0f, 1e-40f, 3e38f, -3e38f, std::numeric_limits<float>::infinity(),
                               std::numeric_limits<float>::quiet_NaN()};
        for (size_t k = 0; k < 7 && buf.size() > 30; ++k) buf[rng() % buf.size()] = edges[k];
    } else {
        for (size_t i = 0; i < buf.size(); ++i) buf[i] = T(rng());
        const T edges[] = {T(0), T(~T(0)), std::numeric_limits<T>::min(), std::numeric_limits<T>::max()};
        for (size_t k = 0; k < 4 && buf.size() > 30; ++k) buf[rng() % buf.size()] = edges[k];
    }
}

// Samples at multiples of `step` are compared between the runs; the others must keep each run's sentinel.
// Float results are compared bit for bit (signed zeros, denormals, infinities), except that two NaNs
// count as equal: when both operands of an addition or multiplication are NaNs, which one's sign and
// payload survive depends on the operand order the compiler gives a commutative instruction, which
// C leaves open.
template <class T>
size_t step_mismatches(const test::Guarded<T> &ref, const test::Guarded<T> &opt, size_t step) {
    const uint8_t *a = reinterpret_cast<const uint8_t *>(ref.data());
    const uint8_t *b = reinterpret_cast<const uint8_t *>(opt.data());
    size_t n = 0;
    for (size_t i = 0; i < ref.bytes(); ++i) {
        if constexpr (std::is_same_v<T, float>) {
            const size_t k = i / sizeof(T);
            if (std::isnan(ref[k]) && std::isnan(opt[k])) continue;
        }
        if ((i / sizeof(T)) % step == 0)
            n += a[i] != b[i];
        else
            n += a[i] != 2 || b[i] != 3;
    }
    return n;
}

// The row sets to check: each vector set this CPU runs, and each again with its streaming vertical rows
// in place of the plain ones (the kernels pick those only for large calls).
std::vector<test::IsaRows<resize2d_rows>> row_sets() {
    static std::vector<resize2d_rows> streaming;  // stable storage for the derived sets
    std::vector<test::IsaRows<resize2d_rows>> sets = test::supported_rows(resize2d_sse41_rows, resize2d_avx2_rows, resize2d_avx512_rows);
    streaming.clear();
    streaming.reserve(sets.size());
    for (const auto &isa : sets) {
        resize2d_rows r = *isa.rows;
        r.v_u8 = r.v_u8_stream;
        r.v_u16 = r.v_u16_stream;
        r.v_i32 = r.v_i32_stream;
        r.v_u32 = r.v_u32_stream;
        r.v_f32 = r.v_f32_stream;
        r.v_u8_grouped = r.v_u8_grouped_stream;
        r.v_u16_grouped = r.v_u16_grouped_stream;
        r.vh_u8_grouped = r.vh_u8_grouped_stream;
        streaming.push_back(r);
    }
    const size_t plain = sets.size();
    static std::vector<std::string> names;  // stable storage for the derived names
    names.clear();
    names.reserve(plain);
    for (size_t k = 0; k < plain; ++k) names.push_back(std::string(sets[k].name) + " streaming");
    for (size_t k = 0; k < plain; ++k) sets.push_back({names[k].c_str(), &streaming[k]});
    return sets;
}

template <class T, class Run>
void compare_member(const char *what, const Size4 &s, size_t dst_count, test::Rng &rng, Run run, size_t step = 1) {
    test::Guarded<T> src(size_t(s.sw) * s.sh);
    fill_random(src, rng);
    test::Guarded<T> ref(dst_count), opt(dst_count);
    ref.fill_bytes(2);
    ASSERT_EQ(run(src.data(), ref.data(), resize2d_c_rows()), 0u) << what;
    for (const auto &isa : row_sets()) {
        opt.fill_bytes(3);
        ASSERT_EQ(run(src.data(), opt.data(), *isa.rows), 0u) << what;
        EXPECT_EQ(step_mismatches(ref, opt, step), 0u)
            << what << " " << isa.name << ": " << s.sw << "x" << s.sh << " -> " << s.dw << "x" << s.dh;
    }
}

TEST(Resize2dSimd, FixedPointMembersMatchScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(21);
    for (const Size4 &s : resize_sizes()) {
        const size_t n = size_t(s.dw) * s.dh;
        compare_member<int32_t>("int32", s, n, rng, [&](const int32_t *src, int32_t *dst, const resize2d_rows &r) {
            return resize_2d_int32_impl(src, s.sw, s.sh, dst, s.dw, s.dh, r);
        });
        compare_member<uint32_t>("uint32", s, n, rng,
                                 [&](const uint32_t *src, uint32_t *dst, const resize2d_rows &r) {
                                     return resize_2d_uint32_impl(src, s.sw, s.sh, dst, s.dw, s.dh, r);
                                 });
        compare_member<uint16_t>("uint16", s, n, rng,
                                 [&](const uint16_t *src, uint16_t *dst, const resize2d_rows &r) {
                                     return resize_2d_uint16_impl(src, s.sw, s.sh, dst, s.dw, s.dh, 1, false, r);
                                 });
        compare_member<uint8_t>("uint8", s, n, rng, [&](const uint8_t *src, uint8_t *dst, const resize2d_rows &r) {
            return resize_2d_uint8_impl(src, s.sw, s.sh, dst, s.dw, s.dh, 1, false, r);
        });
        // A sample step: the samples between the written ones keep each run's sentinel.
        compare_member<uint16_t>("uint16_v1", s, n * 3, rng,
                                 [&](const uint16_t *src, uint16_t *dst, const resize2d_rows &r) {
                                     return resize_2d_uint16_impl(src, s.sw, s.sh, dst, s.dw, s.dh, 3, true, r);
                                 }, 3);
        compare_member<uint8_t>("uint8_v1", s, n * 2 - 1, rng,
                                [&](const uint8_t *src, uint8_t *dst, const resize2d_rows &r) {
                                    return resize_2d_uint8_impl(src, s.sw, s.sh, dst, s.dw, s.dh, 2, true, r);
                                }, 2);
    }
}

// The column tables of n destination columns over a source row of sw samples.
void column_tables(uint32_t sw, uint32_t n, std::vector<int32_t> &kx, std::vector<uint32_t> &w01) {
    const uint32_t step = ((sw - 1) << 8) / (n - 1);
    kx.resize(n);
    w01.resize(n);
    for (uint32_t i = 0, px = 0; i < n; ++i, px += step) {
        const FixedTap t = fixed_tap(px, 8);
        kx[i] = int32_t(t.k);
        w01[i] = t.w0 | (t.w1 << 16);
    }
}

// Destination rows of the grouped rows (from their plan) against the plain scalar rows, for each
// vertical weight pair of interest and each destination start alignment: aligned, 16 bytes past (the
// streaming rows' split stores) and odd offsets (plain stores); the bytes around the row keep their
// sentinel.
// Enlargements large enough to stream their destination, at every 16-byte phase of a cache line: a
// destination starting off a line boundary has the lines that rows share assembled apart from the
// rest. Every row set must give the scalar bytes, and the bytes around the destination must stay.
TEST(Resize2dSimd, StreamedEnlargementsAtEveryLinePhase) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(25);
    // 2304 x 1824 bytes (above 4 MB, rows of 36 lines); 1153 -> 2304 puts every other column on the
    // grid, 913 -> 1824 two destination rows on most source rows. 1216 bytes a row is 19 lines with a
    // taller enlargement; 2240 bytes (35 lines) a row from a narrow source.
    const Size4 sizes[] = {{1153, 913, 2304, 1824}, {700, 900, 1216, 3456}, {97, 2000, 2240, 2000}};
    for (const Size4 &sz : sizes) {
        const size_t count = size_t(sz.dw) * sz.dh;
        std::vector<uint8_t> src(size_t(sz.sw) * sz.sh);
        for (uint8_t &v : src) v = uint8_t(rng());
        std::vector<uint8_t> ref(count);
        ASSERT_EQ(resize_2d_uint8_impl(src.data(), sz.sw, sz.sh, ref.data(), sz.dw, sz.dh, 1, false, resize2d_c_rows()),
                  0u);
        test::Guarded<uint8_t> buf(count + 128);
        for (const auto &isa : test::supported_rows(resize2d_sse41_rows, resize2d_avx2_rows, resize2d_avx512_rows)) {
            for (uintptr_t phase = 0; phase < 64; phase += 16) {
                const size_t lead = (phase - reinterpret_cast<uintptr_t>(buf.data())) % 64;
                uint8_t *dst = buf.data() + lead;
                buf.fill_bytes(0xA5);
                ASSERT_EQ(resize_2d_uint8_impl(src.data(), sz.sw, sz.sh, dst, sz.dw, sz.dh, 1, false, *isa.rows), 0u);
                EXPECT_EQ(std::memcmp(dst, ref.data(), count), 0)
                    << isa.name << " phase " << phase << ": " << sz.sw << "x" << sz.sh << " -> " << sz.dw << "x" << sz.dh;
                size_t outside = 0;
                for (size_t i = 0; i < buf.size(); ++i)
                    outside += (i < lead || i >= lead + count) && buf[i] != 0xA5;
                EXPECT_EQ(outside, 0u) << isa.name << " phase " << phase;
            }
        }
    }
}

TEST(Resize2dSimd, GroupedRowsMatchPlainRows) {
    std::vector<const resize2d_rows *> sets;
    for (const auto &isa : test::supported_rows(resize2d_sse41_rows, resize2d_avx2_rows, resize2d_avx512_rows))
        if (isa.rows->plan_u8_grouped != nullptr) sets.push_back(isa.rows);
    if (sets.empty()) GTEST_SKIP() << "no grouped rows on this CPU";
    test::Rng rng(24);
    const uint32_t shapes[][2] = {{16, 32}, {20, 33}, {33, 64}, {33, 65}, {48, 95}, {64, 128}, {90, 160}, {200, 113},
                                  {97, 97}};  // 33 -> 65: every other column on the grid (a weight of 256)
    const uint32_t weights[][2] = {{256, 0}, {0, 256}, {128, 128}, {1, 255}, {255, 1}, {77, 179}};
    for (const resize2d_rows *rows : sets) {
        for (const auto &shape : shapes) {
            const uint32_t sw = shape[0], n = shape[1];
            std::vector<int32_t> kx;
            std::vector<uint32_t> w01;
            column_tables(sw, n, kx, w01);
            std::vector<uint8_t> s8[2];
            std::vector<uint16_t> s16[2];
            for (int r = 0; r < 2; ++r) {
                s8[r].resize(sw);
                s16[r].resize(sw);
                for (uint32_t i = 0; i < sw; ++i) s8[r][i] = uint8_t(rng()), s16[r][i] = uint16_t(rng());
                s8[r][rng() % sw] = 255, s16[r][rng() % sw] = 65535;
            }
            alignas(64) uint8_t plan8[256 * kPlanU8Bytes], plan16[256 * kPlanU16Bytes];
            ASSERT_TRUE(rows->plan_u8_grouped(kx.data(), w01.data(), n, sw, plan8)) << sw << " -> " << n;
            // 16-bit windows hold 8 samples: enlargements only.
            const bool grouped16 = rows->plan_u16_grouped(kx.data(), w01.data(), n, sw, plan16);
            EXPECT_EQ(grouped16, sw < n) << sw << " -> " << n;
            std::vector<uint16_t> h8[2];
            std::vector<uint32_t> h16[2];
            std::vector<int16_t> g[2];
            std::vector<uint32_t> e[2];
            for (int r = 0; r < 2; ++r) {
                h8[r].resize(n), h16[r].resize(n), g[r].resize(n), e[r].resize(n);
                h_row_u8_c(s8[r].data(), kx.data(), w01.data(), 0, n, sw, h8[r].data());
                h_row_u16_c(s16[r].data(), kx.data(), w01.data(), 0, n, sw, h16[r].data());
                rows->h_u8_grouped(s8[r].data(), plan8, kx.data(), w01.data(), n, sw, g[r].data());
                if (grouped16) rows->h_u16_grouped(s16[r].data(), plan16, kx.data(), w01.data(), n, sw, e[r].data());
            }
            // Both source rows in one pass give the same stored rows.
            if (rows->h2_u8_grouped != nullptr) {
                std::vector<int16_t> g2[2] = {std::vector<int16_t>(n), std::vector<int16_t>(n)};
                rows->h2_u8_grouped(s8[0].data(), s8[1].data(), plan8, kx.data(), w01.data(), n, sw, g2[0].data(),
                                    g2[1].data());
                EXPECT_TRUE(g2[0] == g[0] && g2[1] == g[1]) << "u8 two rows " << sw << " -> " << n;
            }
            if (grouped16 && rows->h2_u16_grouped != nullptr) {
                std::vector<uint32_t> e2[2] = {std::vector<uint32_t>(n), std::vector<uint32_t>(n)};
                rows->h2_u16_grouped(s16[0].data(), s16[1].data(), plan16, kx.data(), w01.data(), n, sw, e2[0].data(),
                                     e2[1].data());
                EXPECT_TRUE(e2[0] == e[0] && e2[1] == e[1]) << "u16 two rows " << sw << " -> " << n;
            }
            for (const auto &w : weights) {
                std::vector<uint8_t> want8(n);
                std::vector<uint16_t> want16(n);
                v_row_u8_c(h8[0].data(), h8[1].data(), w[0], w[1], 0, n, want8.data());
                v_row_u16_c(h16[0].data(), h16[1].data(), w[0], w[1], 0, n, want16.data());
                for (const uint32_t offset : {0u, 1u, 16u, 34u}) {
                    for (const bool stream : {false, true}) {
                        alignas(64) uint8_t got8[256 + 128], got16[2 * 256 + 128];
                        std::memset(got8, 7, sizeof(got8));
                        std::memset(got16, 7, sizeof(got16));
                        (stream ? rows->v_u8_grouped_stream : rows->v_u8_grouped)(g[0].data(), g[1].data(), w[0],
                                                                                  w[1], n, got8 + 32 + offset);
                        uint16_t *d16 = reinterpret_cast<uint16_t *>(got16 + 32 + offset / 2 * 2);
                        if (grouped16)
                            (stream ? rows->v_u16_grouped_stream : rows->v_u16_grouped)(e[0].data(), e[1].data(),
                                                                                        w[0], w[1], n, d16);
                        else
                            std::memcpy(d16, want16.data(), 2 * n);
                        const std::string where = std::to_string(sw) + " -> " + std::to_string(n) + ", wy " +
                                                  std::to_string(w[0]) + "/" + std::to_string(w[1]) + ", offset " +
                                                  std::to_string(offset) + (stream ? " streaming" : "");
                        EXPECT_EQ(std::memcmp(got8 + 32 + offset, want8.data(), n), 0) << "u8 " << where;
                        EXPECT_EQ(std::memcmp(d16, want16.data(), 2 * n), 0) << "u16 " << where;
                        EXPECT_EQ(got8[31 + offset], 7) << where;
                        EXPECT_EQ(got8[32 + offset + n], 7) << where;
                        EXPECT_EQ(got16[31 + offset / 2 * 2], 7) << where;
                        EXPECT_EQ(got16[32 + offset / 2 * 2 + 2 * n], 7) << where;
                    }
                }
            }
        }
    }
}

// Reductions whose column pairs spread beyond a window are left to the other rows.
TEST(Resize2dSimd, GroupedPlansRefuseWideReductions) {
    for (const auto &isa : test::supported_rows(resize2d_sse41_rows, resize2d_avx2_rows, resize2d_avx512_rows)) {
        if (isa.rows->plan_u8_grouped == nullptr) continue;
        alignas(64) uint8_t plan[64 * kPlanU16Bytes];
        std::vector<int32_t> kx;
        std::vector<uint32_t> w01;
        column_tables(64 * 3, 64, kx, w01);  // 8 columns span 24 samples
        EXPECT_FALSE(isa.rows->plan_u8_grouped(kx.data(), w01.data(), 64, 64 * 3, plan));
        EXPECT_FALSE(isa.rows->plan_u16_grouped(kx.data(), w01.data(), 64, 64 * 3, plan));
        column_tables(64 + 8, 64, kx, w01);  // 8 columns span 9 samples: fits 16 bytes, not 8 samples
        EXPECT_TRUE(isa.rows->plan_u8_grouped(kx.data(), w01.data(), 64, 64 + 8, plan));
        EXPECT_FALSE(isa.rows->plan_u16_grouped(kx.data(), w01.data(), 64, 64 + 8, plan));
    }
}

TEST(Resize2dSimd, CropMemberMatchesScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(22);
    for (const Size4 &s : resize_sizes()) {
        if (s.sw < 5 || s.sh < 3) continue;
        const margin_pair tl = {uint32_t(s.sw / 4), 1}, br = {uint32_t(s.sw / 5), uint32_t(s.sh > 3 ? 1 : 0)};
        compare_member<uint16_t>("crop", s, size_t(s.dw) * s.dh, rng,
                                 [&](const uint16_t *src, uint16_t *dst, const resize2d_rows &r) {
                                     return crop_resize_2d_uint16_impl(src, uint32_t(s.sw), uint32_t(s.sh), tl, br,
                                                                       dst, uint32_t(s.dw), uint32_t(s.dh), r);
                                 });
    }
}

TEST(Resize2dSimd, FloatMemberMatchesScalar) {
    if (!cpu_has_sse41()) GTEST_SKIP() << "no SSE4.1 on this CPU";
    test::Rng rng(23);
    for (const Size4 &s : resize_sizes()) {
        if (s.sw > 65535 || s.dw > 65535) continue;
        compare_member<float>("float", s, size_t(s.dw) * s.dh, rng,
                              [&](const float *src, float *dst, const resize2d_rows &r) {
                                  return resize_2d_float_impl(src, s.sw, s.sh, dst, s.dw, s.dh, r);
                              });
    }
}

}  // namespace
}  // namespace oz
