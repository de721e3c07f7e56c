// The polynomial surface fit: design rows, the normal matrix over all, interior or valid cells, and the
// evaluation, each compared bit for bit with the definitions written out in tests/kit/shading.h;
// accuracy on exact polynomial data; the shapes that write nothing and the failures.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "oz_linalg.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

constexpr float kSentinelValue() { return -77.0f; }

// Buffers of one fit over a w x h grid.
template <class T>
struct Fit {
    std::vector<T> design, transposed, lu;
    std::vector<uint32_t> perm;
    Fit(int w, int h) : design(size_t(w) * h * kTerms + 1, T(-7)), transposed(design.size(), T(-7)), lu(kTerms * kTerms, T(-7)), perm(kTerms, 99) {}
};

std::vector<float> plane_of(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(1.0f, 2.5f);
    std::vector<float> p(size_t(w) * h);
    for (float &v : p) v = u(rng);
    return p;
}

TEST(PolyFit, DesignRowsAndNormalMatrixFollowTheDefinition) {
    Fit<float> f(17, 13);
    ASSERT_EQ(lu_decomposition(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), 17, 13, 15), 0u);
    // Cell (row 2, column 1): x = 2, y = 3.
    const float *row = &f.design[(2 * 17 + 1) * kTerms];
    EXPECT_EQ(std::vector<float>(row, row + kTerms),
              (std::vector<float>{1, 2, 3, 4, 6, 9, 8, 12, 18, 27, 16, 24, 36, 54, 81}));
    // Transpose: element (i, k) = design (k, i).
    for (int k : {0, 5, 220})
        for (int i = 0; i < kTerms; ++i) EXPECT_EQ(f.transposed[size_t(i) * 221 + k], f.design[size_t(k) * kTerms + i]);
    const ReferenceFit<float> ref = reference_fit<float>(17, 13, 0, 0, {});
    EXPECT_TRUE(same_bits(f.lu.data(), ref.lu.data(), kTerms * kTerms));
    for (uint32_t i = 0; i < kTerms; ++i) EXPECT_EQ(f.perm[i], i);
    // Large coordinates: x^3 of a 255-wide grid is formed as an exact integer before conversion.
    Fit<float> g(255, 1);
    ASSERT_EQ(lu_decomposition(g.design.data(), g.transposed.data(), g.lu.data(), g.perm.data(), 255, 1, 15), 0u);
    EXPECT_EQ(g.design[254 * kTerms + 6], float(255u * 255u * 255u));
    EXPECT_EQ(g.design[254 * kTerms + 10], 255.0f * float(255u * 255u * 255u));
}

TEST(PolyFit, InteriorFitSumsOnlyInteriorCells) {
    Fit<float> f(17, 13);
    ASSERT_EQ(lu_decomposition_lsc(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), 17, 13, 15, 2, 2), 0u);
    const ReferenceFit<float> ref = reference_fit<float>(17, 13, 2, 2, {});
    ASSERT_EQ(ref.sum_cells.size(), 117u);  // 13 x 9 of 221
    EXPECT_TRUE(same_bits(f.lu.data(), ref.lu.data(), kTerms * kTerms));
    // The design and its transpose still hold every cell.
    EXPECT_EQ(f.design[0 * kTerms + 1], 1.0f);
    EXPECT_EQ(f.design[220 * kTerms + 2], 13.0f);
}

TEST(PolyFit, EvaluationMatchesTheDefinitionBitForBit) {
    const int iw = 17, ih = 13;
    std::vector<float> in[4];
    const float *inputs[4];
    for (int p = 0; p < 4; ++p) {
        in[p] = plane_of(iw, ih, 10 + p);
        inputs[p] = in[p].data();
    }
    const struct {
        int ow, oh;
        bool margins;
    } cases[] = {{64, 48, false}, {64, 48, true}, {17, 13, false}, {2, 2, false}, {300, 3, true}, {257, 5, false}};
    for (const auto &k : cases) {
        Fit<float> f(iw, ih);
        if (k.margins)
            ASSERT_EQ(lu_decomposition_lsc(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), iw, ih, 15, 2, 2), 0u);
        else
            ASSERT_EQ(lu_decomposition(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), iw, ih, 15), 0u);
        std::vector<float> out[4];
        float *outputs[4];
        for (int p = 0; p < 4; ++p) {
            out[p].assign(size_t(k.ow) * k.oh, kSentinelValue());
            outputs[p] = out[p].data();
        }
        ASSERT_EQ(lsc_polynomial_upscale_float(f.transposed.data(), f.lu.data(), f.perm.data(), inputs, outputs, iw, ih,
                                               k.ow, k.oh, 15, 2, 2, k.margins ? 1 : 0),
                  0u);
        const ReferenceFit<float> ref = reference_fit<float>(iw, ih, k.margins ? 2 : 0, k.margins ? 2 : 0, {});
        for (int p = 0; p < 4; ++p) {
            const std::vector<float> c = reference_solve(ref.lu.data(), reference_rhs(ref, inputs[p]));
            const std::vector<float> expected = reference_evaluate<float>(c, iw, ih, k.ow, k.oh);
            EXPECT_TRUE(same_bits(out[p].data(), expected.data(), expected.size()))
                << k.ow << "x" << k.oh << " margins " << k.margins << " plane " << p;
        }
    }
}

TEST(PolyFit, ValidAreaFitAndEvaluationMatchTheDefinitionBitForBit) {
    const int iw = 17, ih = 13;
    std::vector<uint32_t> mask(iw * ih);
    uint32_t count = 0;
    for (int i = 0; i < iw * ih; ++i) {
        mask[i] = (i * 7) % 5 != 0 ? 1 : (i % 2 ? 0 : 3);  // some cells out, some with flags other than 1
        count += mask[i] == 1;
    }
    Fit<double> f(iw, ih);
    ASSERT_EQ(lu_decomposition_lsc_valid_area(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), iw, ih,
                                              15, count, mask.data()),
              0u);
    const ReferenceFit<double> ref = reference_fit<double>(iw, ih, 0, 0, mask);
    EXPECT_EQ(std::memcmp(f.lu.data(), ref.lu.data(), sizeof(double) * kTerms * kTerms), 0);
    EXPECT_EQ(std::memcmp(f.design.data(), ref.design.data(), sizeof(double) * ref.design.size()), 0);

    std::vector<float> in[4], out[4], compaction(iw * ih);
    const float *inputs[4];
    float *outputs[4];
    for (int p = 0; p < 4; ++p) {
        in[p] = plane_of(iw, ih, 20 + p);
        inputs[p] = in[p].data();
        out[p].assign(64 * 48, 0.0f);
        outputs[p] = out[p].data();
    }
    ASSERT_EQ(lsc_polynomial_upscale_float_valid_area(f.transposed.data(), f.lu.data(), f.perm.data(), inputs, outputs, iw,
                                                      ih, 64, 48, 15, count, compaction.data(), mask.data()),
              0u);
    for (int p = 0; p < 4; ++p) {
        const std::vector<double> c = reference_solve(ref.lu.data(), reference_rhs(ref, inputs[p]));
        const std::vector<float> expected = reference_evaluate<double>(c, iw, ih, 64, 48);
        EXPECT_TRUE(same_bits(out[p].data(), expected.data(), expected.size())) << "plane " << p;
    }

    // 40 valid flags and a valid count of 41: 2.
    std::vector<uint32_t> forty(iw * ih, 0);
    for (int i = 0; i < 40; ++i) forty[i * 5] = 1;
    EXPECT_EQ(lu_decomposition_lsc_valid_area(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), iw, ih, 15,
                                              41, forty.data()),
              2u);
}

// The double fit of an exact degree-4 polynomial reproduces it at the grid cells; the float fit on the
// interior of a smooth surface stays close (its normal matrix is poorly conditioned in float).
TEST(PolyFit, FitsReproduceSmoothSurfaces) {
    const int iw = 17, ih = 13;
    auto surface = [](double x, double y) {
        return 1.5 + 0.01 * x - 0.02 * y + 0.003 * x * x + 0.001 * x * y + 0.002 * y * y + 1e-5 * x * x * x * x - 2e-5 * y * y * y * y;
    };
    std::vector<float> in(iw * ih);
    for (int r = 0; r < ih; ++r)
        for (int q = 0; q < iw; ++q) in[r * iw + q] = float(surface(q + 1, r + 1));
    const float *inputs[4] = {in.data(), in.data(), in.data(), in.data()};

    std::vector<uint32_t> all(iw * ih, 1);
    std::vector<float> compaction(iw * ih), outd(iw * ih), outf(iw * ih);
    float *od[4] = {outd.data(), outd.data(), outd.data(), outd.data()};
    float *of[4] = {outf.data(), outf.data(), outf.data(), outf.data()};
    Fit<double> fd(iw, ih);
    ASSERT_EQ(lu_decomposition_lsc_valid_area(fd.design.data(), fd.transposed.data(), fd.lu.data(), fd.perm.data(), iw, ih,
                                              15, iw * ih, all.data()),
              0u);
    ASSERT_EQ(lsc_polynomial_upscale_float_valid_area(fd.transposed.data(), fd.lu.data(), fd.perm.data(), inputs, od, iw,
                                                      ih, iw, ih, 15, iw * ih, compaction.data(), all.data()),
              0u);
    Fit<float> ff(iw, ih);
    ASSERT_EQ(lu_decomposition(ff.design.data(), ff.transposed.data(), ff.lu.data(), ff.perm.data(), iw, ih, 15), 0u);
    ASSERT_EQ(lsc_polynomial_upscale_float(ff.transposed.data(), ff.lu.data(), ff.perm.data(), inputs, of, iw, ih, iw, ih,
                                           15, 0, 0, 0),
              0u);
    for (int i = 0; i < iw * ih; ++i) {
        EXPECT_NEAR(outd[i], in[i], 1e-4) << i;
        EXPECT_NEAR(outf[i], in[i], 0.05) << i;
    }
}

TEST(PolyFit, ShapesThatWriteNothing) {
    // Width 0: no design row is written, the status is 0, the factors of the zero matrix are not finite.
    Fit<float> f(4, 4);
    ASSERT_EQ(lu_decomposition(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), 0, 4, 15), 0u);
    EXPECT_EQ(f.design[0], -7.0f);
    EXPECT_TRUE(std::isnan(f.lu[kTerms]));

    // An output of one row or column: 0, outputs untouched.
    ASSERT_EQ(lu_decomposition(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), 4, 4, 15), 0u);
    std::vector<float> in(16, 1.5f), out(64, kSentinelValue());
    const float *inputs[4] = {in.data(), in.data(), in.data(), in.data()};
    float *outputs[4] = {out.data(), out.data(), out.data(), out.data()};
    for (auto [ow, oh] : {std::pair{1, 8}, {8, 1}, {0, 8}, {8, 0}}) {
        EXPECT_EQ(lsc_polynomial_upscale_float(f.transposed.data(), f.lu.data(), f.perm.data(), inputs, outputs, 4, 4,
                                               uint16_t(ow), uint16_t(oh), 15, 0, 0, 0),
                  0u);
        for (float v : out) EXPECT_EQ(v, kSentinelValue());
    }
}

TEST(PolyFit, FailuresReturnTwo) {
    Fit<float> f(4, 4);
    ASSERT_EQ(lu_decomposition(f.design.data(), f.transposed.data(), f.lu.data(), f.perm.data(), 4, 4, 15), 0u);
    std::vector<float> in(16, 1.5f), out[4];
    for (auto &o : out) o.assign(64, kSentinelValue());
    float *outputs[4] = {out[0].data(), out[1].data(), out[2].data(), out[3].data()};

    // A null input plane at position 2: planes 0 and 1 are written, 2 and 3 are not.
    const float *with_null[4] = {in.data(), in.data(), nullptr, in.data()};
    EXPECT_EQ(lsc_polynomial_upscale_float(f.transposed.data(), f.lu.data(), f.perm.data(), with_null, outputs, 4, 4, 8, 8,
                                           15, 0, 0, 0),
              2u);
    EXPECT_NE(out[0][0], kSentinelValue());
    EXPECT_NE(out[1][63], kSentinelValue());
    EXPECT_EQ(out[2][0], kSentinelValue());
    EXPECT_EQ(out[3][0], kSentinelValue());

    // Any term count but 15 is refused before anything is written (the design rows hold 15 terms).
    Fit<float> g(4, 4);
    EXPECT_EQ(lu_decomposition(g.design.data(), g.transposed.data(), g.lu.data(), g.perm.data(), 4, 4, 14), 2u);
    EXPECT_EQ(lu_decomposition_lsc(g.design.data(), g.transposed.data(), g.lu.data(), g.perm.data(), 4, 4, 16, 1, 1), 2u);
    EXPECT_EQ(g.design[0], -7.0f);
    const float *inputs[4] = {in.data(), in.data(), in.data(), in.data()};
    EXPECT_EQ(lsc_polynomial_upscale_float(f.transposed.data(), f.lu.data(), f.perm.data(), inputs, outputs, 4, 4, 8, 8,
                                           14, 0, 0, 0),
              2u);
    // A null design while rows must be written, or null factors.
    EXPECT_EQ(lu_decomposition(nullptr, g.transposed.data(), g.lu.data(), g.perm.data(), 4, 4, 15), 2u);
    EXPECT_EQ(lu_decomposition(g.design.data(), g.transposed.data(), nullptr, g.perm.data(), 4, 4, 15), 2u);
    Fit<double> d(4, 4);
    std::vector<uint32_t> mask(16, 1);
    EXPECT_EQ(lu_decomposition_lsc_valid_area(nullptr, d.transposed.data(), d.lu.data(), d.perm.data(), 4, 4, 15, 16,
                                              mask.data()),
              2u);
    EXPECT_EQ(lu_decomposition_lsc_valid_area(d.design.data(), d.transposed.data(), d.lu.data(), d.perm.data(), 4, 4, 15,
                                              16, nullptr),
              2u);
}

}  // namespace
}  // namespace oz::test
