// Bicubic vector rows against the scalar rows: every row set this CPU supports must give
// byte-identical destinations, through the drivers (upscaling to float, resize to u16p10) and row by
// row (with irregular cell and column steps that reach the fallbacks). Destinations start from
// different sentinels so unwritten samples show; inputs and outputs end flush against a PROT_NONE
// page so overreads fault. OZ_TEST_REPEAT=n prints scalar and vector times of a full-size call.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "common/cpu.h"
#include "common/status.h"
#include "resample/bicubic_resize_rows.h"
#include "resample/bicubic_rows.h"
#include "tests/kernels/guarded.h"

namespace oz::test {
namespace {

struct IsaCase {
    const char *name;
    Isa isa;
    const bicubic_rows &(*rows)();
    const bicubic_resize_rows &(*resize_rows)();
};

void PrintTo(const IsaCase &c, std::ostream *os) { *os << c.name; }

const IsaCase kIsas[] = {
    {"sse41", Isa::kSse41, bicubic_rows_sse41, bicubic_resize_rows_sse41},
    {"avx2", Isa::kAvx2, bicubic_rows_avx2, bicubic_resize_rows_avx2},
    {"avx512", Isa::kAvx512, bicubic_rows_avx512, bicubic_resize_rows_avx2},
};

class BicubicSimd : public ::testing::TestWithParam<IsaCase> {
  protected:
    void SetUp() override {
        if (!cpu_supports(GetParam().isa)) GTEST_SKIP() << "this CPU has no " << GetParam().name;
    }
    const bicubic_rows &rows() const { return GetParam().rows(); }
    const bicubic_resize_rows &resize_rows() const { return GetParam().resize_rows(); }
    std::mt19937 rng{20240607};
};

// Widths 1 .. 2W+1 and k W +- 1 for W = 4 and 8.
std::vector<int> widths() {
    std::vector<int> w;
    for (int n = 1; n <= 17; ++n) w.push_back(n);
    for (int n : {23, 24, 25, 31, 32, 33, 63, 64, 65}) w.push_back(n);
    return w;
}

template <class Sample>
void random_samples(std::mt19937 &rng, Sample *s, size_t n, uint32_t max) {
    for (size_t k = 0; k < n; ++k) {
        const uint32_t pick = rng() % 8;
        s[k] = Sample(pick == 0 ? 0 : pick == 1 ? max : rng() % (max + 1));
    }
}

// ---- Upscaling to float, through the driver ----

struct UpscaleCase {
    uint16_t sw, sh, dw, dh, planes;
};

std::vector<UpscaleCase> upscale_cases() {
    std::vector<UpscaleCase> cases;
    const uint16_t heights[][2] = {{1, 1}, {1, 3}, {2, 2}, {2, 5}, {3, 4}};
    int k = 0;
    for (int w : widths()) {
        for (int dw : {w, w + 1, 2 * w + 1, 3 * w + 5, 9 * w})
            cases.push_back({uint16_t(w), heights[k % 5][0], uint16_t(dw), heights[k % 5][1],
                             uint16_t(1 + k % 3)}),
                ++k;
    }
    // Extreme ratios and minimum sizes.
    cases.push_back({2, 2, 1000, 3, 1});
    cases.push_back({2, 2, 3, 700, 1});
    cases.push_back({1, 1, 37, 9, 2});
    cases.push_back({300, 2, 301, 2, 1});
    cases.push_back({41, 17, 529, 65, 1});
    return cases;
}

template <class Sample>
void check_upscale(std::mt19937 &rng, const bicubic_rows &opt, const UpscaleCase &k, uint32_t max) {
    std::vector<std::unique_ptr<Guarded<Sample>>> src;
    std::vector<std::unique_ptr<Guarded<float>>> dst_c, dst_o;
    std::vector<const Sample *> s;
    std::vector<float *> dc, dopt;
    for (int p = 0; p < k.planes; ++p) {
        src.push_back(std::make_unique<Guarded<Sample>>(size_t(k.sw) * k.sh));
        random_samples(rng, src.back()->data(), src.back()->size(), max);
        dst_c.push_back(std::make_unique<Guarded<float>>(size_t(k.dw) * k.dh));
        dst_o.push_back(std::make_unique<Guarded<float>>(size_t(k.dw) * k.dh));
        dst_c.back()->fill_bytes(2);
        dst_o.back()->fill_bytes(3);
        s.push_back(src.back()->data());
        dc.push_back(dst_c.back()->data());
        dopt.push_back(dst_o.back()->data());
    }
    uint32_t sc, so;
    if constexpr (sizeof(Sample) == 1) {
        sc = bicubic_upscale_u8_impl(s.data(), dc.data(), k.sw, k.sh, k.dw, k.dh, k.planes,
                                     bicubic_rows_c());
        so = bicubic_upscale_u8_impl(s.data(), dopt.data(), k.sw, k.sh, k.dw, k.dh, k.planes, opt);
    } else {
        sc = bicubic_upscale_u16_impl(s.data(), dc.data(), k.sw, k.sh, k.dw, k.dh, k.planes,
                                      bicubic_rows_c());
        so = bicubic_upscale_u16_impl(s.data(), dopt.data(), k.sw, k.sh, k.dw, k.dh, k.planes, opt);
    }
    ASSERT_EQ(sc, kStatusDone);
    ASSERT_EQ(so, kStatusDone);
    for (int p = 0; p < k.planes; ++p)
        ASSERT_EQ(differing_bytes(*dst_c[p], *dst_o[p]), 0u)
            << sizeof(Sample) * 8 << "-bit " << k.sw << "x" << k.sh << " -> " << k.dw << "x" << k.dh
            << " plane " << p;
}

TEST_P(BicubicSimd, UpscaleU8MatchesScalar) {
    for (const UpscaleCase &k : upscale_cases()) check_upscale<uint8_t>(rng, rows(), k, 255);
}

TEST_P(BicubicSimd, UpscaleU16MatchesScalar) {
    for (const UpscaleCase &k : upscale_cases()) check_upscale<uint16_t>(rng, rows(), k, 65535);
}

// ---- Resize to u16p10, through the driver ----

struct ResizeCase {
    uint16_t sh, sw, dh, dw;
};

std::vector<ResizeCase> resize_cases() {
    std::vector<ResizeCase> cases;
    int k = 0;
    for (int w : widths()) {
        // Destination widths around the vector widths, from sources up to 40 times wider.
        for (int sw : {w, 2 * w + 1, 3, 40 * w + 1})
            cases.push_back(
                {uint16_t(2 + k % 4), uint16_t(sw), uint16_t(2 + k % 3), uint16_t(w < 2 ? 2 : w)}),
                ++k;
    }
    cases.push_back({2, 2, 300, 1000});  // large upscale
    cases.push_back({700, 3, 2, 2});     // extreme downscale
    cases.push_back({5, 900, 4, 17});    // wide steps: gathered columns
    cases.push_back({7, 40, 5, 17});     // steps of about 2.4: two windows
    cases.push_back({1, 1, 3, 19});      // one source sample
    cases.push_back({45, 67, 31, 45});   // downscale 1.5
    return cases;
}

// Random values of the u16p10 range with the edge values the conversion must treat alike.
void random_floats(std::mt19937 &rng, float *s, size_t n) {
    const float edges[] = {0.0f,
                           -0.0f,
                           63.999f,
                           65535.0f / 1024,
                           -1.5f,
                           1e30f,
                           -1e30f,
                           2097152.0f,  // times 1024 is 2^31: out of range
                           std::numeric_limits<float>::denorm_min(),
                           std::numeric_limits<float>::quiet_NaN(),
                           std::numeric_limits<float>::infinity()};
    std::uniform_real_distribution<float> value(-2.0f, 66.0f);
    for (size_t k = 0; k < n; ++k)
        s[k] = rng() % 16 == 0 ? edges[rng() % (sizeof edges / sizeof edges[0])] : value(rng);
}

TEST_P(BicubicSimd, ResizeF32MatchesScalar) {
    for (const ResizeCase &k : resize_cases()) {
        Guarded<float> src(size_t(k.sw) * k.sh);
        random_floats(rng, src.data(), src.size());
        Guarded<uint16_t> dc(size_t(k.dw) * k.dh), dopt(size_t(k.dw) * k.dh);
        dc.fill_bytes(2);
        dopt.fill_bytes(3);
        ASSERT_EQ(bicubic_resize_f32_impl(src.data(), k.sh, k.sw, dc.data(), k.dh, k.dw,
                                          bicubic_resize_rows_c()),
                  kStatusDone);
        ASSERT_EQ(
            bicubic_resize_f32_impl(src.data(), k.sh, k.sw, dopt.data(), k.dh, k.dw, resize_rows()),
            kStatusDone);
        ASSERT_EQ(differing_bytes(dc, dopt), 0u)
            << k.sw << "x" << k.sh << " -> " << k.dw << "x" << k.dh;
    }
}

TEST_P(BicubicSimd, ResizeU16MatchesScalar) {
    const uint32_t shifts[] = {0, 4, 10, 16, 31, 33};
    int n = 0;
    for (const ResizeCase &k : resize_cases()) {
        const uint32_t shift = shifts[n++ % 6];
        Guarded<uint16_t> src(size_t(k.sw) * k.sh);
        random_samples(rng, src.data(), src.size(), 65535);
        Guarded<uint16_t> dc(size_t(k.dw) * k.dh), dopt(size_t(k.dw) * k.dh);
        dc.fill_bytes(2);
        dopt.fill_bytes(3);
        ASSERT_EQ(bicubic_resize_u16_impl(src.data(), k.sh, k.sw, shift, dc.data(), k.dh, k.dw,
                                          bicubic_resize_rows_c()),
                  kStatusDone);
        ASSERT_EQ(bicubic_resize_u16_impl(src.data(), k.sh, k.sw, shift, dopt.data(), k.dh, k.dw,
                                          resize_rows()),
                  kStatusDone);
        ASSERT_EQ(differing_bytes(dc, dopt), 0u)
            << "shift " << shift << " " << k.sw << "x" << k.sh << " -> " << k.dw << "x" << k.dh;
    }
}

// ---- Row by row ----

// Finite values of every magnitude (no NaN inputs: which of two NaN operands propagates is not part
// of the definition), with infinities, signed zeros and denormals.
void random_row_floats(std::mt19937 &rng, float *s, size_t n) {
    const float edges[] = {0.0f,   -0.0f,  std::numeric_limits<float>::denorm_min(), -1e-40f,
                           3e38f,  -3e38f, std::numeric_limits<float>::infinity(),   65535.0f,
                           -255.0f};
    std::uniform_real_distribution<float> value(-70000.0f, 70000.0f);
    for (size_t k = 0; k < n; ++k)
        s[k] = rng() % 16 == 0 ? edges[rng() % (sizeof edges / sizeof edges[0])] : value(rng);
}

// Non-decreasing indices from 0 with steps drawn up to max_step.
void random_steps(std::mt19937 &rng, int32_t *v, int n, int max_step) {
    int32_t at = int32_t(rng() % 3);
    for (int k = 0; k < n; ++k) {
        v[k] = at;
        at += int32_t(rng() % (max_step + 1));
    }
}

TEST_P(BicubicSimd, FillRowsMatchScalar) {
    for (int n : widths()) {
        Guarded<uint8_t> s8(n);
        Guarded<uint16_t> s16(n);
        random_samples(rng, s8.data(), n, 255);
        random_samples(rng, s16.data(), n, 65535);
        Guarded<float> a(n), b(n);
        a.fill_bytes(2);
        b.fill_bytes(3);
        bicubic_fill_row_u8_f32_c(s8.data(), a.data(), n);
        rows().fill_u8(s8.data(), b.data(), n);
        ASSERT_EQ(differing_bytes(a, b), 0u) << "u8 n " << n;
        for (float scale : {1.0f, 1.0f / 1024, 1.0f / 2147483648.0f}) {
            a.fill_bytes(2);
            b.fill_bytes(3);
            bicubic_fill_row_u16_f32_c(s16.data(), a.data(), n, scale);
            rows().fill_u16(s16.data(), b.data(), n, scale);
            ASSERT_EQ(differing_bytes(a, b), 0u) << "u16 n " << n << " scale " << scale;
        }
    }
}

TEST_P(BicubicSimd, BasisRowsMatchScalar) {
    // Four separate rows (down the patch columns) and one row read at four offsets (along it, which
    // reads p[0 .. n + 2] and no further).
    for (int n : widths()) {
        Guarded<float> p0(n), p1(n), p2(n), p3(n), row(size_t(n) + 3);
        for (Guarded<float> *p : {&p0, &p1, &p2, &p3, &row})
            random_row_floats(rng, p->data(), p->size());
        for (bool shifted : {false, true}) {
            Guarded<float> c[2][3] = {{Guarded<float>(n), Guarded<float>(n), Guarded<float>(n)},
                                      {Guarded<float>(n), Guarded<float>(n), Guarded<float>(n)}};
            for (int q = 0; q < 3; ++q) {
                c[0][q].fill_bytes(2);
                c[1][q].fill_bytes(3);
            }
            if (shifted) {
                bicubic_shift_basis_row_f32_c(row.data(), c[0][0].data(), c[0][1].data(),
                                              c[0][2].data(), n);
                rows().shift_basis(row.data(), c[1][0].data(), c[1][1].data(), c[1][2].data(), n);
            } else {
                bicubic_basis_row_f32_c(p0.data(), p1.data(), p2.data(), p3.data(), c[0][0].data(),
                                        c[0][1].data(), c[0][2].data(), n);
                rows().basis(p0.data(), p1.data(), p2.data(), p3.data(), c[1][0].data(), c[1][1].data(),
                             c[1][2].data(), n);
            }
            for (int q = 0; q < 3; ++q)
                ASSERT_EQ(differing_bytes(c[0][q], c[1][q]), 0u)
                    << "n " << n << (shifted ? " along" : " down") << " c" << q + 1;
        }
    }
}

TEST_P(BicubicSimd, EvalRowMatchesScalar) {
    // Cell steps of 0 .. 1 (upscaling) and up to 3 (groups spanning more cells than lanes); batches
    // of 1 .. kBicubicBatchRows rows; ranges starting at 0 and inside the row.
    std::uniform_real_distribution<float> frac(0.0f, 1.0f);
    for (int max_step : {1, 3}) {
        for (int n : widths()) {
            Guarded<int32_t> cell(n);
            random_steps(rng, cell.data(), n, max_step);
            // Each coefficient array holds the last cell and the 8 elements after it, no more.
            const size_t len = size_t(cell[n - 1]) + 8;
            std::vector<std::unique_ptr<Guarded<float>>> arrays;
            bicubic_cell_coefs coefs;
            for (int q = 0; q < 16; ++q) {
                arrays.push_back(std::make_unique<Guarded<float>>(len));
                std::uniform_real_distribution<float> v(-40000.0f, 40000.0f);
                for (size_t k = 0; k < len; ++k) (*arrays.back())[k] = v(rng);
                coefs.coef[q] = arrays.back()->data();
            }
            Guarded<float> t1(n), t2(n), t3(n);
            for (int k = 0; k < n; ++k) {
                t1[k] = k % 5 == 0 ? 0.0f : frac(rng);
                t2[k] = t1[k] * t1[k];
                t3[k] = t2[k] * t1[k];
            }
            for (int count = 1; count <= kBicubicBatchRows; ++count) {
                const int begin = (count % 2) * std::min(n - 1, 3);
                std::vector<std::unique_ptr<Guarded<float>>> out[2];
                bicubic_dst_rows batch[2];
                for (int side = 0; side < 2; ++side) {
                    batch[side].count = count;
                    for (int k = 0; k < count; ++k) {
                        out[side].push_back(std::make_unique<Guarded<float>>(n));
                        out[side].back()->fill_bytes(uint8_t(2 + side));
                        batch[side].dst[k] = out[side].back()->data();
                    }
                }
                for (int k = 0; k < count; ++k) {
                    const float ty = k == 0 ? 0.0f : frac(rng);
                    for (bicubic_dst_rows &r : batch) {
                        r.ty[k][0] = ty;
                        r.ty[k][1] = ty * ty;
                        r.ty[k][2] = ty * ty * ty;
                    }
                }
                bicubic_eval_row_f32_c(coefs, cell.data(), t1.data(), t2.data(), t3.data(), batch[0],
                                       begin, n);
                rows().eval(coefs, cell.data(), t1.data(), t2.data(), t3.data(), batch[1], begin, n);
                for (int k = 0; k < count; ++k) {
                    // The range is identical; before it both keep their sentinels.
                    const float *c = out[0][k]->data(), *o = out[1][k]->data();
                    ASSERT_EQ(std::memcmp(c + begin, o + begin, (n - begin) * sizeof(float)), 0)
                        << "n " << n << " max step " << max_step << " rows " << count << " row "
                        << k;
                    for (int x = 0; x < 4 * begin; ++x) {
                        ASSERT_EQ(reinterpret_cast<const uint8_t *>(c)[x], 2);
                        ASSERT_EQ(reinterpret_cast<const uint8_t *>(o)[x], 3);
                    }
                }
            }
        }
    }
}

TEST_P(BicubicSimd, ResizeHorizontalRowMatchesScalar) {
    // Column steps within one window, within two windows, and beyond (gathered).
    for (int max_step : {1, 2, 4, 40}) {
        for (int n : widths()) {
            Guarded<int32_t> ix(n);
            random_steps(rng, ix.data(), n, max_step);
            // The row holds the last patch and the slack the vector rows may read after it.
            Guarded<float> row(size_t(ix[n - 1]) + 4 + kBicubicBufferSlack);
            random_row_floats(rng, row.data(), row.size());
            Guarded<float> tx(n), htx(n);
            std::uniform_real_distribution<float> frac(0.0f, 1.0f);
            for (int k = 0; k < n; ++k) {
                tx[k] = frac(rng);
                htx[k] = tx[k] * 0.5f;
            }
            Guarded<float> a(n), b(n);
            a.fill_bytes(2);
            b.fill_bytes(3);
            bicubic_resize_h_row_f32_c(row.data(), ix.data(), tx.data(), htx.data(), a.data(), n);
            resize_rows().horizontal(row.data(), ix.data(), tx.data(), htx.data(), b.data(), n);
            ASSERT_EQ(differing_bytes(a, b), 0u) << "n " << n << " max step " << max_step;
        }
    }
}

TEST_P(BicubicSimd, ResizeVerticalRowMatchesScalar) {
    for (int n : widths()) {
        Guarded<float> r0(n), r1(n), r2(n), r3(n);
        for (Guarded<float> *r : {&r0, &r1, &r2, &r3}) random_floats(rng, r->data(), n);
        for (float ty : {0.0f, 0.3f, 0.999999f}) {
            Guarded<uint16_t> a(n), b(n);
            a.fill_bytes(2);
            b.fill_bytes(3);
            bicubic_resize_v_row_f32_u16p10_c(r0.data(), r1.data(), r2.data(), r3.data(), ty, a.data(),
                                              n);
            resize_rows().vertical(r0.data(), r1.data(), r2.data(), r3.data(), ty, b.data(), n);
            ASSERT_EQ(differing_bytes(a, b), 0u) << "n " << n << " ty " << ty;
        }
    }
}

// ---- Opt-in timing ----

template <class F>
double best_microseconds(int repeat, F f) {
    double best = 1e300;
    for (int r = 0; r < repeat; ++r) {
        const auto t0 = std::chrono::steady_clock::now();
        f();
        const auto t1 = std::chrono::steady_clock::now();
        best = std::min(best, std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    return best;
}

TEST_P(BicubicSimd, Opt) {
    const char *env = std::getenv("OZ_TEST_REPEAT");
    if (env == nullptr) GTEST_SKIP() << "set OZ_TEST_REPEAT to time the rows";
    const int repeat = std::max(1, std::atoi(env));
    std::vector<uint8_t> s8(1920 * 1080);
    std::vector<uint16_t> s16(1920 * 1080);
    random_samples(rng, s8.data(), s8.size(), 255);
    random_samples(rng, s16.data(), s16.size(), 65535);
    std::vector<float> up(3840 * 2160);
    std::vector<uint16_t> out(3840 * 2160);
    const uint8_t *s[1] = {s8.data()};
    float *d[1] = {up.data()};
    for (const bicubic_rows *r : {&bicubic_rows_c(), &rows()}) {
        const double us = best_microseconds(
            repeat, [&] { bicubic_upscale_u8_impl(s, d, 1920, 1080, 3840, 2160, 1, *r); });
        std::printf("upscale u8 1920x1080->3840x2160 %s: %.0f us\n",
                    r == &bicubic_rows_c() ? "c" : GetParam().name, us);
    }
    for (const bicubic_resize_rows *r : {&bicubic_resize_rows_c(), &resize_rows()}) {
        for (int dw : {1280, 3840}) {
            const int dh = dw * 9 / 16;
            const double us = best_microseconds(repeat, [&] {
                bicubic_resize_u16_impl(s16.data(), 1080, 1920, 4, out.data(), uint16_t(dh),
                                        uint16_t(dw), *r);
            });
            std::printf("resize u16 1920x1080->%dx%d %s: %.0f us\n", dw, dh,
                        r == &bicubic_resize_rows_c() ? "c" : GetParam().name, us);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Isa, BicubicSimd, ::testing::ValuesIn(kIsas),
                         [](const ::testing::TestParamInfo<IsaCase> &info) {
                             return std::string(info.param.name);
                         });

}  // namespace
}  // namespace oz::test
