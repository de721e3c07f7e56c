// Vector rows against the scalar rows for the shading computations: the polynomial evaluation (float
// and double), the plane minimum and normalisation, the green averaging and the ratio product, each row
// and each driver run once with the scalar table and once with every vector table the CPU supports, on
// random inputs and edge values, with destinations flush against a guard page. Every bit must agree.
// Set OZ_TEST_REPEAT=n to print scalar and vector times of the drivers.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/cpu.h"
#include "linalg/poly_rows.h"
#include "linalg/polyfit.h"
#include "lsc/gain_rows.h"
#include "lsc/ratio_correction.h"
#include "lsc/upscale_polynom.h"
#include "tests/kernels/guarded.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

struct IsaCase {
    const char *name;
    Isa isa;
    const poly_rows &(*poly)();
    const gain_rows &(*gain)();
};
const IsaCase kIsas[] = {
    {"sse41", Isa::kSse41, sse41_poly_rows, sse41_gain_rows},
    {"avx2", Isa::kAvx2, avx2_poly_rows, avx2_gain_rows},
};

void PrintTo(const IsaCase &c, std::ostream *os) { *os << c.name; }

class VectorRows : public ::testing::TestWithParam<IsaCase> {
  protected:
    void SetUp() override {
        if (!cpu_supports(GetParam().isa)) GTEST_SKIP() << GetParam().name << " not supported by this CPU";
    }
    const poly_rows &poly() const { return GetParam().poly(); }
    const gain_rows &gain() const { return GetParam().gain(); }
};

// Widths 1 .. 2W+1 and k*W +- 1 for W = 4 and 8, and the sizes the library meets.
std::vector<size_t> widths(size_t limit) {
    std::vector<size_t> w;
    for (size_t i = 1; i <= 17; ++i) w.push_back(i);
    for (size_t W : {4, 8})
        for (size_t k : {3, 4, 8, 16, 32})
            for (long d : {-1L, 0L, 1L}) w.push_back(k * W + d);
    for (size_t n : {64, 255, 256, 257, 3072, 3073}) w.push_back(n);
    std::vector<size_t> out;
    for (size_t n : w)
        if (n <= limit) out.push_back(n);
    return out;
}

// The x86 default NaN: every NaN the computations create has these bits, so an injected NaN cannot
// differ from a created one by payload.
float default_nan() { return -std::numeric_limits<float>::quiet_NaN(); }

const float kEdges[] = {0.0f, -0.0f, 1.0f, -1.0f, 65535.0f, 1023.0f, 1e30f, -1e30f, 1e-40f, -1e-40f,
                        std::numeric_limits<float>::max(), std::numeric_limits<float>::infinity(),
                        -std::numeric_limits<float>::infinity(), 0.5f, 2.0f};

// Random values in [lo, hi) with an edge value at every `edge_every`-th position (0: none).
std::vector<float> values(size_t n, uint32_t seed, float lo, float hi, size_t edge_every, bool with_nan) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(lo, hi);
    std::vector<float> v(n);
    for (size_t i = 0; i < n; ++i) {
        v[i] = u(rng);
        if (edge_every && rng() % edge_every == 0) v[i] = kEdges[rng() % std::size(kEdges)];
        if (with_nan && rng() % 97 == 0) v[i] = default_nan();
    }
    return v;
}

size_t differing_bytes(const void *a, const void *b, size_t bytes) {
    const uint8_t *x = static_cast<const uint8_t *>(a), *y = static_cast<const uint8_t *>(b);
    size_t d = 0;
    for (size_t i = 0; i < bytes; ++i) d += x[i] != y[i];
    return d;
}

// ---- Polynomial evaluation rows ----

template <class T>
void fill_columns(PolyColumns<T> &c, uint32_t seed, bool edges) {
    T *arrays[10] = {c.lead, c.a3, c.a4, c.a6, c.a7, c.a8, c.a10, c.a11, c.a12, c.a13};
    for (int a = 0; a < 10; ++a) {
        const std::vector<float> v = values(kPolyChunk, seed + a, -4.0f, 4.0f, edges ? 13 : 0, edges);
        for (size_t i = 0; i < kPolyChunk; ++i) arrays[a][i] = T(v[i]);
    }
}

TEST_P(VectorRows, PolynomialRowsMatchScalar) {
    for (bool edges : {false, true}) {
        auto cf = std::make_unique<PolyColumnsF32>();
        auto cd = std::make_unique<PolyColumnsF64>();
        fill_columns(*cf, 1, edges);
        fill_columns(*cd, 2, edges);
        const PolyRowF32 rf{-1.5f, 2.25f, 1e-3f, edges ? 1e30f : 3.0f, 1.5f, 2.25f, 3.375f};
        const PolyRowF64 rd{-1.5, 2.25, 1e-3, edges ? 1e300 : 3.0, 1.5, 2.25, 3.375};
        for (size_t n : widths(kPolyChunk)) {
            for (size_t begin : {size_t(0), size_t(1)}) {
                if (begin >= n) continue;
                Guarded<float> c_out(n), v_out(n);
                c_out.fill(2.0f);
                v_out.fill(3.0f);
                poly_eval_row_f32_c(*cf, rf, c_out.data(), begin, n);
                poly().eval_f32(*cf, rf, v_out.data(), begin, n);
                EXPECT_EQ(differing_bytes(c_out.data() + begin, v_out.data() + begin, (n - begin) * 4), 0u) << "f32 n " << n;
                c_out.fill(2.0f);
                v_out.fill(3.0f);
                poly_eval_row_f64_c(*cd, rd, c_out.data(), begin, n);
                poly().eval_f64(*cd, rd, v_out.data(), begin, n);
                EXPECT_EQ(differing_bytes(c_out.data() + begin, v_out.data() + begin, (n - begin) * 4), 0u) << "f64 n " << n;
                if (begin == 1) {
                    EXPECT_EQ(v_out[0], 3.0f) << "wrote before begin";
                }
            }
        }
    }
}

// The evaluation drivers with every output shape: the same planes bit for bit, and the same untouched
// planes where nothing is to be written.
TEST_P(VectorRows, EvaluationDriversMatchScalar) {
    const uint16_t iw = 17, ih = 13;
    std::vector<float> in[4];
    const float *inputs[4];
    for (int p = 0; p < 4; ++p) {
        in[p] = values(iw * ih, 40 + p, 1.0f, 2.0f, 0, false);
        inputs[p] = in[p].data();
    }
    std::vector<float> design(iw * ih * 15), transposed(design.size()), lu(225);
    std::vector<double> design_d(design.size()), transposed_d(design.size()), lu_d(225);
    std::vector<uint32_t> perm(15), mask(iw * ih);
    uint32_t count = 0;
    for (size_t i = 0; i < mask.size(); ++i) count += mask[i] = (i % 7) != 3;
    ASSERT_EQ(fit_polynomial(design.data(), transposed.data(), lu.data(), perm.data(), iw, ih, 15, nullptr, c_poly_rows()), 0u);
    ASSERT_EQ(fit_polynomial_valid_area(design_d.data(), transposed_d.data(), lu_d.data(), perm.data(), iw, ih, 15, count,
                                        mask.data(), c_poly_rows()),
              0u);
    std::vector<float> compaction(iw * ih);
    std::vector<uint32_t> cells;
    for (uint32_t i = 0; i < mask.size(); ++i)
        if (mask[i] == 1) cells.push_back(i);
    const uint16_t heights[] = {1, 2, 3, 7};
    for (size_t w : widths(300)) {
        for (uint16_t h : heights) {
            const size_t P = w * h;
            for (int variant = 0; variant < 3; ++variant) {
                Guarded<float> c_out(4 * P), v_out(4 * P);
                c_out.fill(2.0f);
                v_out.fill(2.0f);
                float *cp[4] = {c_out.data(), c_out.data() + P, c_out.data() + 2 * P, c_out.data() + 3 * P};
                float *vp[4] = {v_out.data(), v_out.data() + P, v_out.data() + 2 * P, v_out.data() + 3 * P};
                uint32_t sc, sv;
                if (variant < 2) {
                    sc = polynomial_upscale(transposed.data(), lu.data(), inputs, cp, iw, ih, uint16_t(w), h, 15, 2, 2,
                                            uint8_t(variant), c_poly_rows());
                    sv = polynomial_upscale(transposed.data(), lu.data(), inputs, vp, iw, ih, uint16_t(w), h, 15, 2, 2,
                                            uint8_t(variant), poly());
                } else {
                    sc = polynomial_upscale_valid_area(transposed_d.data(), lu_d.data(), inputs, cp, iw, ih, uint16_t(w),
                                                       h, 15, count, compaction.data(), mask.data(), c_poly_rows());
                    sv = polynomial_upscale_valid_area(transposed_d.data(), lu_d.data(), inputs, vp, iw, ih, uint16_t(w),
                                                       h, 15, count, compaction.data(), mask.data(), poly());
                }
                EXPECT_EQ(sc, 0u);
                EXPECT_EQ(sv, 0u);
                EXPECT_EQ(differing_bytes(c_out.data(), v_out.data(), 4 * P * 4), 0u) << w << "x" << h << " variant " << variant;
                // The upscaling's own path (design matrix, planes side by side) with the vector rows.
                Guarded<float> t_out(4 * P);
                t_out.fill(2.0f);
                float *tp[4] = {t_out.data(), t_out.data() + P, t_out.data() + 2 * P, t_out.data() + 3 * P};
                const FitMargins margins{2, 2};
                const uint32_t st =
                    variant < 2 ? upscale_table(design.data(), lu.data(), inputs, tp, iw, ih, uint16_t(w), h,
                                                variant == 1 ? &margins : nullptr, poly())
                                : upscale_table_valid_area(design_d.data(), lu_d.data(), inputs, tp, iw, ih, uint16_t(w),
                                                           h, cells.data(), count, poly());
                EXPECT_EQ(st, 0u);
                EXPECT_EQ(differing_bytes(c_out.data(), t_out.data(), 4 * P * 4), 0u)
                    << "table path " << w << "x" << h << " variant " << variant;
            }
        }
    }
}

// ---- Fit rows and fit drivers ----

// The normal-matrix and right-hand-side rows on random design rows with edge values, every row count
// from 1 up past the vector widths, accumulators that start nonzero (the drivers carry them from one
// run of cells to the next), and the design matrix flush against a guard page.
TEST_P(VectorRows, FitRowsMatchScalar) {
    for (size_t count : widths(257)) {
        const std::vector<float> d = values(count * 15, uint32_t(count), -3.0f, 3.0f, 17, true);
        Guarded<float> design(count * 15);
        Guarded<double> design_d(count * 15);
        for (size_t i = 0; i < d.size(); ++i) design[i] = d[i], design_d[i] = double(d[i]) * 1.25;
        const std::vector<float> start = values(4 * 16, 9, -1.0f, 1.0f, 0, false);

        NormalSums<float> nc, nv;
        NormalSums<double> ndc, ndv;
        for (int i = 0; i < 15; ++i)
            for (int j = 0; j < 16; ++j) nc[i][j] = nv[i][j] = start[(i * 16 + j) % 64], ndc[i][j] = ndv[i][j] = start[j];
        fit_normal_f32_c(design.data(), count, nc);
        poly().normal_f32(design.data(), count, nv);
        fit_normal_f64_c(design_d.data(), count, ndc);
        poly().normal_f64(design_d.data(), count, ndv);
        for (int i = 0; i < 15; ++i) {
            EXPECT_EQ(differing_bytes(nc[i], nv[i], 15 * 4), 0u) << "normal f32 count " << count << " row " << i;
            EXPECT_EQ(differing_bytes(ndc[i], ndv[i], 15 * 8), 0u) << "normal f64 count " << count << " row " << i;
        }

        std::vector<float> x[4];
        const float *xs[4];
        for (int p = 0; p < 4; ++p) {
            x[p] = values(2 * count + 1, uint32_t(count * 4 + p), 0.5f, 2.0f, 13, true);
            xs[p] = x[p].data();
        }
        std::vector<uint32_t> cells(count);
        for (size_t k = 0; k < count; ++k) cells[k] = uint32_t(2 * k + (k % 3 == 0));
        for (int planes = 1; planes <= 4; ++planes) {
            PlaneSums<float> rc, rv;
            PlaneSums<double> rdc, rdv;
            for (int p = 0; p < 4; ++p)
                for (int i = 0; i < 16; ++i) rc[p][i] = rv[p][i] = start[p * 16 + i], rdc[p][i] = rdv[p][i] = -start[i];
            fit_rhs_f32_c(design.data(), xs, planes, count, rc);
            poly().rhs_f32(design.data(), xs, planes, count, rv);
            fit_rhs_f64_c(design_d.data(), xs, planes, cells.data(), count, rdc);
            poly().rhs_f64(design_d.data(), xs, planes, cells.data(), count, rdv);
            for (int p = 0; p < 4; ++p) {
                // Planes beyond `planes` keep their sums.
                EXPECT_EQ(differing_bytes(rc[p], rv[p], 15 * 4), 0u) << "rhs f32 count " << count << " planes " << planes;
                EXPECT_EQ(differing_bytes(rdc[p], rdv[p], 15 * 8), 0u) << "rhs f64 count " << count << " planes " << planes;
                if (p >= planes) {
                    EXPECT_EQ(rv[p][0], start[p * 16]);
                }
            }
        }
    }
}

// The fits with the scalar and the vector rows give the same factors, with and without margins and
// over a mask, for grids around the vector widths.
TEST_P(VectorRows, FitsMatchScalar) {
    for (uint16_t w : {uint16_t(5), uint16_t(8), uint16_t(17), uint16_t(33)}) {
        for (uint16_t h : {uint16_t(4), uint16_t(13)}) {
            const size_t cells = size_t(w) * h;
            std::vector<float> design(cells * 15), transposed(cells * 15), lc(225), lv(225);
            std::vector<double> design_d(cells * 15), transposed_d(cells * 15), ldc(225), ldv(225);
            std::vector<uint32_t> perm(15), mask(cells);
            uint32_t count = 0;
            for (size_t i = 0; i < cells; ++i) count += mask[i] = (i * 5) % 11 != 2;
            for (int margins = 0; margins < 2; ++margins) {
                const FitMargins m{1, 2};
                const FitMargins *mp = margins ? &m : nullptr;
                ASSERT_EQ(fit_polynomial(design.data(), transposed.data(), lc.data(), perm.data(), w, h, 15, mp, c_poly_rows()), 0u);
                ASSERT_EQ(fit_polynomial(design.data(), transposed.data(), lv.data(), perm.data(), w, h, 15, mp, poly()), 0u);
                EXPECT_EQ(differing_bytes(lc.data(), lv.data(), 225 * 4), 0u) << w << "x" << h << " margins " << margins;
            }
            ASSERT_EQ(fit_polynomial_valid_area(design_d.data(), transposed_d.data(), ldc.data(), perm.data(), w, h, 15,
                                                count, mask.data(), c_poly_rows()), 0u);
            ASSERT_EQ(fit_polynomial_valid_area(design_d.data(), transposed_d.data(), ldv.data(), perm.data(), w, h, 15,
                                                count, mask.data(), poly()), 0u);
            EXPECT_EQ(differing_bytes(ldc.data(), ldv.data(), 225 * 8), 0u) << w << "x" << h << " valid area";
        }
    }
}

// ---- Gain rows ----

TEST_P(VectorRows, PlaneMinimumMatchesScalar) {
    for (size_t n : widths(3073)) {
        for (int kind = 0; kind < 6; ++kind) {
            std::vector<float> v = values(n, uint32_t(n * 10 + kind), 1.0f, 3.0f, 0, false);
            switch (kind) {
                case 1: v[n / 2] = default_nan(); break;                      // a NaN in the middle
                case 2: v[n - 1] = default_nan(); break;                      // a NaN last
                case 3: v[0] = default_nan(); break;                          // a NaN first
                case 4: v[n / 3] = 0.0f, v[n - 1 - n / 3] = -0.0f; break;     // both zeros
                case 5: v[(n * 2) / 3] = -5.0f; break;                        // a negative minimum
                default: break;
            }
            Guarded<float> g(n);
            std::copy(v.begin(), v.end(), g.data());
            const float a = plane_minimum_c(g.data(), n), b = gain().plane_minimum(g.data(), n);
            EXPECT_EQ(differing_bytes(&a, &b, 4), 0u) << "n " << n << " kind " << kind << ": " << a << " vs " << b;
        }
    }
}

TEST_P(VectorRows, NormaliseAndAverageMatchScalar) {
    const float divisors[] = {1.0f, 1.37f, 0.5f, 1e-40f, 1e30f, std::numeric_limits<float>::infinity()};
    for (size_t n : widths(3073)) {
        const std::vector<float> v = values(n, uint32_t(n), -2.0f, 4.0f, 11, true);
        const std::vector<float> w = values(n, uint32_t(n + 7), -2.0f, 4.0f, 11, true);
        for (float m : divisors) {
            Guarded<float> c(n), s(n);
            std::copy(v.begin(), v.end(), c.data());
            std::copy(v.begin(), v.end(), s.data());
            normalise_c(c.data(), n, m);
            gain().normalise(s.data(), n, m);
            EXPECT_EQ(differing_bytes(c.data(), s.data(), n * 4), 0u) << "n " << n << " m " << m;
        }
        Guarded<float> c1(n), c2(n), s1(n), s2(n);
        // One NaN operand at most per sum: two NaNs of different payloads may combine either way.
        std::vector<float> w_no_nan = w;
        for (size_t i = 0; i < n; ++i)
            if (std::isnan(v[i]) && std::isnan(w[i])) w_no_nan[i] = 1.0f;
        std::copy(v.begin(), v.end(), c1.data());
        std::copy(v.begin(), v.end(), s1.data());
        std::copy(w_no_nan.begin(), w_no_nan.end(), c2.data());
        std::copy(w_no_nan.begin(), w_no_nan.end(), s2.data());
        average_greens_c(c1.data(), c2.data(), n);
        gain().average_greens(s1.data(), s2.data(), n);
        EXPECT_EQ(differing_bytes(c1.data(), s1.data(), n * 4), 0u) << "n " << n;
        EXPECT_EQ(differing_bytes(c2.data(), s2.data(), n * 4), 0u) << "n " << n;
    }
}

TEST_P(VectorRows, RatioProductMatchesScalar) {
    const uint16_t sample_edges[] = {0, 1, 1023, 1024, 32767, 32768, 65535};
    for (size_t n : widths(3073)) {
        std::mt19937 rng{uint32_t(n)};
        Guarded<uint16_t> s(n), c(n), v(n);
        Guarded<float> g(n);
        const std::vector<float> gains = values(n, uint32_t(n) + 3, 0.0f, 2.5f, 9, true);
        for (size_t i = 0; i < n; ++i) {
            s[i] = rng() % 5 == 0 ? sample_edges[rng() % std::size(sample_edges)] : uint16_t(rng());
            g[i] = gains[i];
        }
        c.fill(2);
        v.fill(3);
        ratio_product_c(s.data(), g.data(), c.data(), n);
        gain().ratio_product(s.data(), g.data(), v.data(), n);
        EXPECT_EQ(differing_bytes(c.data(), v.data(), n * 2), 0u) << "n " << n;
    }
}

// ---- Drivers ----

double microseconds(const std::function<void()> &f, int repeat) {
    const auto t0 = std::chrono::steady_clock::now();
    for (int i = 0; i < repeat; ++i) f();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - t0).count() / repeat;
}

int repeat_from_env() {
    const char *r = std::getenv("OZ_TEST_REPEAT");
    return r ? std::atoi(r) : 0;
}

TEST_P(VectorRows, UpscalingMatchesScalar) {
    ModuleCalibration cal(17, 13);
    for (int i = 0; i < 4; ++i) cal.smooth_table(i % 2 ? 12 : 8, i);
    nvm_data *nvm = cal.get();
    std::vector<uint8_t> rec2(36, 0), rec32(32, 0);
    rec2[8] = 0xA0, rec2[9] = 0x0F, rec2[10] = 0xB8, rec2[11] = 0x0B;  // 4000 x 3000
    rec32[0] = 32, rec32[24] = 0xD0, rec32[25] = 0x07, rec32[26] = 0xDC, rec32[27] = 0x05, rec32[28] = 0xC4, rec32[29] = 0x09;
    cmc_data cmc{};
    cmc.slot[CMC_SLOT_RECORD2] = rec2.data();
    cmc.slot[CMC_SLOT_VALID_AREA] = rec32.data();
    const int repeat = repeat_from_env();
    for (auto size : {std::pair<uint16_t, uint16_t>{64, 48}, {33, 7}, {2, 2}, {250, 3}}) {
        const uint16_t w = size.first, h = size.second;
        for (int variant = 0; variant < 3; ++variant) {
            auto run = [&](const poly_rows &p, const gain_rows &g) {
                return variant < 2 ? upscale_polynom4th(w, h, nvm, 1, uint8_t(variant), p, g)
                                   : upscale_polynom4th_valid_area(w, h, nvm, 1, &cmc, p, g);
            };
            upscaled_lsc_tables *c = run(c_poly_rows(), c_gain_rows());
            upscaled_lsc_tables *v = run(poly(), gain());
            ASSERT_NE(c, nullptr);
            ASSERT_NE(v, nullptr);
            for (int i = 0; i < 4; ++i)
                EXPECT_EQ(differing_bytes(c->tables[i], v->tables[i], size_t(w) * h * 16), 0u) << w << "x" << h << " variant " << variant;
            deinit_computed_upscale_lsc_tables(c);
            deinit_computed_upscale_lsc_tables(v);
            if (repeat > 0 && w == 64) {
                const double tc = microseconds([&] { deinit_computed_upscale_lsc_tables(run(c_poly_rows(), c_gain_rows())); }, repeat);
                const double tv = microseconds([&] { deinit_computed_upscale_lsc_tables(run(poly(), gain())); }, repeat);
                std::printf("upscaling variant %d 64x48: C %.1f us, %s %.1f us\n", variant, tc, GetParam().name, tv);
            }
        }
    }
}

TEST_P(VectorRows, RatioCorrectionMatchesScalar) {
    const uint16_t w = 64, h = 48;
    const size_t n = size_t(w) * h;
    const int repeat = repeat_from_env();
    for (uint32_t cfa : {0u, 2u, 129u, 256u, 263u}) {
        for (uint32_t bayer = 0; bayer < 4; ++bayer) {
            ShadingPair pc(4, w, h), pv(4, w, h);
            std::mt19937 rng(cfa * 4 + bayer);
            for (int e = 0; e < 4; ++e) {
                pc.ratio_entry(e).nvm_source_index = pv.ratio_entry(e).nvm_source_index = uint16_t(1 + (e * 3) % 4);
                for (int r = 0; r < 4; ++r)
                    for (int c = 0; c < 4; ++c)
                        for (size_t i = 0; i < n; ++i) pc.ratio_table(e, r, c)[i] = pv.ratio_table(e, r, c)[i] = uint16_t(rng());
            }
            auto g = [](int b, int p, size_t i) { return 1.0f + 0.001f * float((i * 7 + size_t(b) * 13 + size_t(p) * 5) % 997); };
            ModuleTables mc(4, n, g), mv(4, n, g);
            ASSERT_EQ(ratio_correction(pc.lens(), pc.ratio(), mc.get(), cfa, bayer, c_gain_rows()), 0u);
            ASSERT_EQ(ratio_correction(pv.lens(), pv.ratio(), mv.get(), cfa, bayer, gain()), 0u);
            for (int e = 0; e < 4; ++e)
                for (int r = 0; r < 4; ++r)
                    for (int c = 0; c < 4; ++c)
                        ASSERT_EQ(pc.lens_table(e, r, c), pv.lens_table(e, r, c)) << cfa << " " << bayer << " " << e << r << c;
            for (int b = 0; b < 4; ++b)
                for (int p = 0; p < 4; ++p) EXPECT_EQ(differing_bytes(mc.plane(b, p), mv.plane(b, p), n * 4), 0u);
            if (repeat > 0 && cfa == 256 && bayer == 0) {
                const double tc = microseconds([&] { ratio_correction(pc.lens(), pc.ratio(), mc.get(), cfa, bayer, c_gain_rows()); }, repeat);
                const double tv = microseconds([&] { ratio_correction(pv.lens(), pv.ratio(), mv.get(), cfa, bayer, gain()); }, repeat);
                std::printf("ratio correction 4 light sources 64x48, layout 256: C %.1f us, %s %.1f us\n", tc, GetParam().name, tv);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Isa, VectorRows, ::testing::ValuesIn(kIsas),
                         [](const ::testing::TestParamInfo<IsaCase> &info) { return std::string(info.param.name); });

}  // namespace
}  // namespace oz::test
