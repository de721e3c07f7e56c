// 2-D array resize: every vector row set this CPU runs against the scalar rows for every member
// (int32, uint32, uint16 and uint8 with and without a sample step, float, crop), on random and
// edge-value arrays with widths around the vector widths, strips and extreme ratios; byte-identical
// destinations, buffers flush against a guard page.
#include <gtest/gtest.h>

#include <cmath>
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
    std::vector<test::IsaRows<resize2d_rows>> sets = test::supported_rows(resize2d_sse41_rows, resize2d_avx2_rows);
    streaming.clear();
    streaming.reserve(sets.size());
    for (const auto &isa : sets) {
        resize2d_rows r = *isa.rows;
        r.v_u8 = r.v_u8_stream;
        r.v_u16 = r.v_u16_stream;
        r.v_i32 = r.v_i32_stream;
        r.v_u32 = r.v_u32_stream;
        r.v_f32 = r.v_f32_stream;
        streaming.push_back(r);
    }
    const size_t plain = sets.size();
    static const char *const names[] = {"sse41 streaming", "avx2 streaming"};
    for (size_t k = 0; k < plain; ++k)
        sets.push_back({names[std::string(sets[k].name) == "avx2" ? 1 : 0], &streaming[k]});
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
