// Matrix primitives: strided views, products and their summation order, the grid-interior and masked
// products, the LU factorisation, and what each kernel does with empty, mismatched or invalid shapes.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "oz_linalg.h"
#include "tests/kit/shading.h"

namespace oz::test {
namespace {

constexpr float kSentinel = -77.0f;

TEST(Linalg, TransposeReadsAndWritesByByteSteps) {
    // A 3 x 5 source stored column-major (row step 4, column step 12) lands dense 5 x 3... transposed.
    const int rows = 3, cols = 5;
    std::vector<float> src(rows * cols);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) src[j * rows + i] = float(10 * i + j);
    std::vector<float> dst(rows * cols, kSentinel);
    // Destination: dense cols x rows, row step 4 * rows.
    EXPECT_EQ(transpose_m(src.data(), 4, 4 * rows, cols, rows, dst.data(), 4 * rows, 4), 0u);
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) EXPECT_EQ(dst[j * rows + i], float(10 * i + j)) << i << "," << j;

    // No row or no column: nothing written.
    std::vector<float> untouched(4, kSentinel);
    EXPECT_EQ(transpose_m(src.data(), 4, 4, 2, 0, untouched.data(), 4, 4), 0u);
    EXPECT_EQ(transpose_m(src.data(), 4, 4, 0, 2, untouched.data(), 4, 4), 0u);
    for (float v : untouched) EXPECT_EQ(v, kSentinel);

    std::vector<double> sd = {1, 2, 3, 4, 5, 6}, dd(6, 0);
    EXPECT_EQ(transpose_m_double(sd.data(), 24, 8, 3, 2, dd.data(), 16, 8), 0u);
    EXPECT_EQ(dd, (std::vector<double>{1, 4, 2, 5, 3, 6}));
}

TEST(Linalg, ProductSumsAscendingWithRoundedProducts) {
    // Row (1e8, 1, -1e8) times a column of ones: ascending order gives (1e8 + 1) - 1e8 = 0 in float;
    // any other order gives 1.
    const float a[3] = {1e8f, 1.0f, -1e8f}, b[3] = {1, 1, 1};
    float c = kSentinel;
    EXPECT_EQ(mul_mm(a, 12, 4, 3, 1, b, 4, 4, 1, 3, &c, 4, 4), 0u);
    EXPECT_EQ(c, 0.0f);

    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24 rounds to 1 + 2^-11 before -1 - 2^-11 is added: exactly 0. A
    // fused multiply-add would keep 2^-24.
    const float e = 1.0f + std::ldexp(1.0f, -12);
    const float a2[2] = {e, 1.0f}, b2[2] = {e, -(1.0f + std::ldexp(1.0f, -11))};
    EXPECT_EQ(mul_mm(a2, 8, 4, 2, 1, b2, 4, 4, 1, 2, &c, 4, 4), 0u);
    EXPECT_EQ(c, 0.0f);

    std::vector<double> Ad = {1, 2, 3, 4}, Bd = {5, 6, 7, 8}, Cd(4);
    EXPECT_EQ(mul_mm_double(Ad.data(), 16, 8, 2, 2, Bd.data(), 16, 8, 2, 2, Cd.data(), 16, 8), 0u);
    EXPECT_EQ(Cd, (std::vector<double>{19, 22, 43, 50}));
}

// Every shape through both the dense-row paths and the generic strided paths (the same matrices stored
// column-major), compared with the definition written out here.
TEST(Linalg, DenseAndStridedViewsAgreeWithTheDefinition) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> u(-2, 2);
    for (int rows = 1; rows <= 18; rows += 1) {
        for (int cols : {1, 2, 3, 4, 5, 7, 8, 15, 16, 17, 33}) {
            const int inner = 1 + (rows * 7 + cols) % 23;
            std::vector<float> a(rows * inner), a_cm(rows * inner), b(inner * cols), b_cm(inner * cols), x(inner);
            for (int i = 0; i < rows; ++i)
                for (int k = 0; k < inner; ++k) a_cm[k * rows + i] = a[i * inner + k] = u(rng);
            for (int k = 0; k < inner; ++k) {
                x[k] = u(rng);
                for (int j = 0; j < cols; ++j) b_cm[j * inner + k] = b[k * cols + j] = u(rng);
            }
            std::vector<float> c1(rows * cols, kSentinel), c2(rows * cols, kSentinel), y1(rows, kSentinel), y2(rows, kSentinel);
            ASSERT_EQ(mul_mm(a.data(), 4 * inner, 4, inner, rows, b.data(), 4 * cols, 4, cols, inner, c1.data(), 4 * cols, 4), 0u);
            ASSERT_EQ(mul_mm(a_cm.data(), 4, 4 * rows, inner, rows, b_cm.data(), 4, 4 * inner, cols, inner, c2.data(), 4 * cols, 4), 0u);
            ASSERT_EQ(mul_mv(a.data(), 4 * inner, 4, inner, rows, x.data(), 4, inner, y1.data(), 4), 0u);
            ASSERT_EQ(mul_mv(a_cm.data(), 4, 4 * rows, inner, rows, x.data(), 4, inner, y2.data(), 4), 0u);
            for (int i = 0; i < rows; ++i) {
                float sy = 0;
                for (int k = 0; k < inner; ++k) sy = sy + a[i * inner + k] * x[k];
                ASSERT_EQ(y1[i], sy) << rows << "x" << inner;
                ASSERT_EQ(y2[i], sy) << rows << "x" << inner;
                for (int j = 0; j < cols; ++j) {
                    float s = 0;
                    for (int k = 0; k < inner; ++k) s = s + a[i * inner + k] * b[k * cols + j];
                    ASSERT_EQ(c1[i * cols + j], s) << rows << "x" << inner << "x" << cols;
                    ASSERT_EQ(c2[i * cols + j], s) << rows << "x" << inner << "x" << cols;
                }
            }
            // Double: the product and the masked product (every third element left out).
            std::vector<double> ad(a.begin(), a.end()), ad_cm(a_cm.begin(), a_cm.end()), bd(b.begin(), b.end());
            std::vector<double> cd(rows * cols), yd1(rows), yd2(rows);
            ASSERT_EQ(mul_mm_double(ad.data(), 8 * inner, 8, inner, rows, bd.data(), 8 * cols, 8, cols, inner, cd.data(), 8 * cols, 8), 0u);
            std::vector<uint32_t> mask;
            std::vector<float> xm;
            for (int k = 0; k < inner * 3 / 2; ++k) {
                mask.push_back(k % 3 == 2 ? 0 : 1);
                xm.push_back(u(rng));
            }
            std::vector<float> compaction(xm.size());
            int valid = 0;
            for (uint32_t f : mask) valid += f;
            std::vector<double> am(rows * valid), am_cm(rows * valid);
            for (int i = 0; i < rows; ++i)
                for (int k = 0; k < valid; ++k) am_cm[k * rows + i] = am[i * valid + k] = u(rng);
            ASSERT_EQ(mul_mv_lsc_valid_area(am.data(), 8 * valid, 8, valid, rows, xm.data(), 4, int(xm.size()), yd1.data(), 8,
                                            mask.data(), compaction.data()),
                      0u);
            ASSERT_EQ(mul_mv_lsc_valid_area(am_cm.data(), 8, 8 * rows, valid, rows, xm.data(), 4, int(xm.size()), yd2.data(), 8,
                                            mask.data(), compaction.data()),
                      0u);
            for (int i = 0; i < rows; ++i) {
                double s = 0;
                for (int k = 0, m = 0; k < int(xm.size()); ++k)
                    if (mask[k] == 1) s = s + double(xm[k]) * am[i * valid + m++];
                ASSERT_EQ(yd1[i], s) << rows << "x" << valid;
                ASSERT_EQ(yd2[i], s) << rows << "x" << valid;
                for (int j = 0; j < cols; ++j) {
                    double t = 0;
                    for (int k = 0; k < inner; ++k) t = t + ad[i * inner + k] * bd[k * cols + j];
                    ASSERT_EQ(cd[i * cols + j], t);
                }
            }
        }
    }
}

TEST(Linalg, ProductShapes) {
    std::vector<float> a(15 * 4, 1.0f), b(4 * 15, 1.0f), c(15 * 15, kSentinel);
    // Inner dimension 0: the 15 x 15 result is all zeros.
    EXPECT_EQ(mul_mm(a.data(), 0, 4, 0, 15, b.data(), 60, 4, 15, 0, c.data(), 60, 4), 0u);
    for (float v : c) EXPECT_EQ(v, 0.0f);
    // Mismatched inner dimensions: 32, C untouched.
    std::fill(c.begin(), c.end(), kSentinel);
    EXPECT_EQ(mul_mm(a.data(), 12, 4, 3, 2, b.data(), 8, 4, 2, 4, c.data(), 8, 4), 32u);
    EXPECT_EQ(c[0], kSentinel);
    // No row in A, or no column in B: 0, nothing written.
    EXPECT_EQ(mul_mm(a.data(), 16, 4, 4, 0, b.data(), 8, 4, 2, 4, c.data(), 8, 4), 0u);
    EXPECT_EQ(mul_mm(a.data(), 16, 4, 4, 2, b.data(), 8, 4, 0, 4, c.data(), 8, 4), 0u);
    EXPECT_EQ(c[0], kSentinel);
    // A null operand where elements are needed: 32.
    EXPECT_EQ(mul_mm(nullptr, 16, 4, 4, 2, b.data(), 8, 4, 2, 4, c.data(), 8, 4), 32u);
    EXPECT_EQ(mul_mm(a.data(), 16, 4, 4, 2, b.data(), 8, 4, 2, 4, nullptr, 8, 4), 32u);
}

// The grid-interior products sum over rows my..H-1-my, columns mx..W-1-mx only, in ascending order.
TEST(Linalg, InteriorProductsSumInteriorCellsOnly) {
    const int H = 9, W = 9, K = H * W;
    std::vector<float> a(2 * K), b(K * 3), x(K);
    for (int k = 0; k < K; ++k) {
        a[k] = float(k + 1);
        a[K + k] = 1.0f;
        for (int j = 0; j < 3; ++j) b[k * 3 + j] = float(j + 1);
        x[k] = 1.0f;
    }
    float s_interior = 0, s_all = 0;
    int interior = 0;
    for (int r = 2; r <= 6; ++r)
        for (int q = 2; q <= 6; ++q) {
            s_interior = s_interior + a[r * W + q] * 2.0f;
            ++interior;
        }
    ASSERT_EQ(interior, 25);
    for (int k = 0; k < K; ++k) s_all = s_all + a[k] * 2.0f;

    std::vector<float> c(2 * 3, kSentinel);
    EXPECT_EQ(mul_mm_lsc(a.data(), 4 * K, 4, K, 2, b.data(), 12, 4, 3, K, c.data(), 12, 4, H, W, 2, 2), 0u);
    EXPECT_EQ(c[1], s_interior);
    EXPECT_EQ(c[3 + 2], 25.0f * 3.0f);
    EXPECT_EQ(mul_mm(a.data(), 4 * K, 4, K, 2, b.data(), 12, 4, 3, K, c.data(), 12, 4), 0u);
    EXPECT_EQ(c[1], s_all);

    std::vector<float> y(2, kSentinel);
    EXPECT_EQ(mul_mv_lsc(a.data(), 4 * K, 4, K, 2, x.data(), 4, K, y.data(), 4, H, W, 2, 2), 0u);
    EXPECT_EQ(y[0], s_interior / 2.0f);
    EXPECT_EQ(y[1], 25.0f);

    // Margins that leave no interior row or column (also both at once, whose signed product would be
    // positive): the result is zeroed.
    const struct {
        uint16_t my, mx;
    } empty[] = {{5, 2}, {2, 5}, {5, 0}, {5, 5}, {9, 9}};
    for (const auto &m : empty) {
        std::fill(c.begin(), c.end(), kSentinel);
        std::fill(y.begin(), y.end(), kSentinel);
        EXPECT_EQ(mul_mm_lsc(a.data(), 4 * K, 4, K, 2, b.data(), 12, 4, 3, K, c.data(), 12, 4, H, W, m.my, m.mx), 0u);
        EXPECT_EQ(mul_mv_lsc(a.data(), 4 * K, 4, K, 2, x.data(), 4, K, y.data(), 4, H, W, m.my, m.mx), 0u);
        for (float v : c) EXPECT_EQ(v, 0.0f) << m.my << " " << m.mx;
        for (float v : y) EXPECT_EQ(v, 0.0f) << m.my << " " << m.mx;
    }
    // A grid whose interior reaches beyond the inner dimension is refused rather than read.
    EXPECT_EQ(mul_mv_lsc(a.data(), 4 * K, 4, K, 2, x.data(), 4, K, y.data(), 4, 10, 10, 1, 1), 32u);
}

TEST(Linalg, MatrixVectorShapes) {
    const float a[6] = {1, 2, 3, 4, 5, 6}, x[3] = {1, 10, 100};
    float y[2] = {kSentinel, kSentinel};
    EXPECT_EQ(mul_mv(a, 12, 4, 3, 2, x, 4, 3, y, 4), 0u);
    EXPECT_EQ(y[0], 321.0f);
    EXPECT_EQ(y[1], 654.0f);
    EXPECT_EQ(mul_mv(a, 12, 4, 3, 2, x, 4, 2, y, 4), 32u);
    y[0] = y[1] = kSentinel;
    EXPECT_EQ(mul_mv(a, 0, 4, 0, 2, x, 4, 0, y, 4), 0u);  // no column: zeros
    EXPECT_EQ(y[0], 0.0f);
    EXPECT_EQ(y[1], 0.0f);
    // A strided vector: every other element of x2, result into every other element of y2.
    const float x2[6] = {1, -1, 10, -1, 100, -1};
    float y2[4] = {kSentinel, kSentinel, kSentinel, kSentinel};
    EXPECT_EQ(mul_mv(a, 12, 4, 3, 2, x2, 8, 3, y2, 8), 0u);
    EXPECT_EQ(y2[0], 321.0f);
    EXPECT_EQ(y2[1], kSentinel);
    EXPECT_EQ(y2[2], 654.0f);
}

TEST(Linalg, MaskedProductCompactsValidElements) {
    const float x[5] = {1, 2, 3, 4, 5};
    const uint32_t mask[5] = {1, 0, 1, 2, 1};  // only flags equal to 1 count
    const double a[6] = {1, 10, 100, 2, 20, 200};
    float compaction[5] = {kSentinel, kSentinel, kSentinel, kSentinel, kSentinel};
    double y[2] = {-1, -1};
    EXPECT_EQ(mul_mv_lsc_valid_area(a, 24, 8, 3, 2, x, 4, 5, y, 8, mask, compaction), 0u);
    EXPECT_EQ(compaction[0], 1.0f);
    EXPECT_EQ(compaction[1], 3.0f);
    EXPECT_EQ(compaction[2], 5.0f);
    EXPECT_EQ(compaction[3], kSentinel);
    EXPECT_EQ(y[0], 1 + 30 + 500);
    EXPECT_EQ(y[1], 2 + 60 + 1000);

    // Three valid flags against a matrix of four columns: 32.
    const double a4[8] = {};
    EXPECT_EQ(mul_mv_lsc_valid_area(a4, 32, 8, 4, 2, x, 4, 5, y, 8, mask, compaction), 32u);
    // A mask of zeros and a matrix of no column: y is zeroed.
    const uint32_t none[5] = {};
    EXPECT_EQ(mul_mv_lsc_valid_area(a, 0, 8, 0, 2, x, 4, 5, y, 8, none, compaction), 0u);
    EXPECT_EQ(y[0], 0.0);
    EXPECT_EQ(y[1], 0.0);
}

TEST(Linalg, LuFactorsWithoutPivoting) {
    // [[4,3,2],[8,7,9],[4,6,5]] = L U with L = [[1],[2,1],[1,3,1]], U = [[4,3,2],[0,1,5],[0,0,-12]].
    const float m[9] = {4, 3, 2, 8, 7, 9, 4, 6, 5};
    float lu[9];
    uint32_t perm[3] = {9, 9, 9};
    EXPECT_EQ(lu_decomposition_m(m, 12, 4, perm, lu, 12, 4, 3), 0u);
    EXPECT_EQ(std::vector<float>(lu, lu + 9), (std::vector<float>{4, 3, 2, 2, 1, 5, 1, 3, -12}));
    EXPECT_EQ(std::vector<uint32_t>(perm, perm + 3), (std::vector<uint32_t>{0, 1, 2}));

    // Read with exchanged steps, the same memory is the transpose.
    double md[9], lud[9];
    for (int i = 0; i < 9; ++i) md[i] = m[(i % 3) * 3 + i / 3];
    EXPECT_EQ(lu_decomposition_m_double(md, 8, 24, perm, lud, 24, 8, 3), 0u);
    EXPECT_EQ(std::vector<double>(lud, lud + 9), (std::vector<double>{4, 3, 2, 2, 1, 5, 1, 3, -12}));

    // 1 x 1: the element is copied.
    float one = 5.0f, out = 0;
    EXPECT_EQ(lu_decomposition_m(&one, 4, 4, perm, &out, 4, 4, 1), 0u);
    EXPECT_EQ(out, 5.0f);
    EXPECT_EQ(perm[0], 0u);

    // A zero leading element, or a null source (the zero matrix): non-finite multipliers, status 0.
    const float z[4] = {0, 1, 1, 1};
    float f[4];
    EXPECT_EQ(lu_decomposition_m(z, 8, 4, perm, f, 8, 4, 2), 0u);
    EXPECT_TRUE(std::isinf(f[2]));
    EXPECT_EQ(lu_decomposition_m(nullptr, 8, 4, perm, f, 8, 4, 2), 0u);
    EXPECT_TRUE(std::isnan(f[2]));

    // The permutation is the identity for any n.
    std::vector<float> big(20 * 20, 1.0f), bigf(20 * 20);
    for (int i = 0; i < 20; ++i) big[i * 21] = 30.0f;
    std::vector<uint32_t> bp(20, 99);
    EXPECT_EQ(lu_decomposition_m(big.data(), 80, 4, bp.data(), bigf.data(), 80, 4, 20), 0u);
    for (uint32_t i = 0; i < 20; ++i) EXPECT_EQ(bp[i], i);
}

TEST(Linalg, LuRefusesStepsOutsideTheDenseBlock) {
    const float m[9] = {4, 3, 2, 8, 7, 9, 4, 6, 5};
    float lu[9] = {kSentinel};
    uint32_t perm[3];
    EXPECT_EQ(lu_decomposition_m(m, 16, 4, perm, lu, 12, 4, 3), 32u);  // row step of 4 elements
    EXPECT_EQ(lu_decomposition_m(m, -12, 4, perm, lu, 12, 4, 3), 32u);
    EXPECT_EQ(lu_decomposition_m(m, 6, 4, perm, lu, 12, 4, 3), 32u);  // not whole elements
    EXPECT_EQ(lu_decomposition_m(m, 12, 4, nullptr, lu, 12, 4, 3), 32u);
    EXPECT_EQ(lu_decomposition_m(m, 12, 4, perm, nullptr, 12, 4, 3), 32u);
    EXPECT_EQ(lu[0], kSentinel);
    EXPECT_EQ(lu_decomposition_m(m, 12, 4, perm, lu, 12, 4, 0), 0u);
    EXPECT_EQ(lu_decomposition_m(m, 12, 4, perm, lu, 12, 4, -3), 0u);
    EXPECT_EQ(lu[0], kSentinel);
}

}  // namespace
}  // namespace oz::test
