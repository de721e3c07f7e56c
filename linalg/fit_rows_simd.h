// Fit rows (normal matrix and right-hand sides read from the design matrix), written once over the
// vector operations of an ISA and instantiated in that ISA's file. Lanes hold independent sums: the
// terms j of one design row for the normal matrix, the terms i of one plane for a right-hand side. Every
// lane adds its rounded products in ascending k, exactly as the scalar rows do, so the sums are the
// scalar sums bit for bit; the vectors only keep several of them in flight.
//
// The 15 terms of a row are covered by M vectors of L lanes at element offsets min(m * L, 15 - L): the
// last vector overlaps the one before it when L does not divide 15, and an overlapping lane computes
// its sum exactly as the other lane does, so both store the same value. No load reaches past the 15
// elements of a design row.
#pragma once

#include <cstddef>
#include <cstdint>

#include "linalg/poly_rows.h"

namespace oz {
namespace {

template <class V>
struct FitShape {
    static constexpr int kLanes = V::kLanes;
    static constexpr int kVectors = (15 + kLanes - 1) / kLanes;
    // Rows of the normal matrix (or planes) whose sums are kept in flight together: about eight vector
    // accumulators, which leaves registers for the row being read.
    static constexpr int kGroup = kVectors >= 8 ? 1 : 8 / kVectors;
    static constexpr int offset(int m) { return m * kLanes < 15 - kLanes ? m * kLanes : 15 - kLanes; }
};

// Adds, for k = 0 .. count-1 in order, the products of design row k with one multiplier per group
// member to the sums of kGroup rows of a sums block: acc[g][lanes] += product(multiplier(row, g, k),
// row lanes). members[g] is the block row of group member g.
template <class V, size_t kRows, class Multiplier, class Product>
void accumulate_group(const typename V::T *design, size_t count, typename V::T (&block)[kRows][16],
                      const int *members, Multiplier multiplier, Product product) {
    using S = FitShape<V>;
    typename V::Vec acc[S::kGroup][S::kVectors];
#pragma GCC unroll 8
    for (int g = 0; g < S::kGroup; ++g)
#pragma GCC unroll 8
        for (int m = 0; m < S::kVectors; ++m) acc[g][m] = V::load(&block[members[g]][S::offset(m)]);
    for (size_t k = 0; k < count; ++k) {
        const typename V::T *row = design + k * 15;
        typename V::Vec r[S::kVectors];
#pragma GCC unroll 8
        for (int m = 0; m < S::kVectors; ++m) r[m] = V::load(row + S::offset(m));
#pragma GCC unroll 8
        for (int g = 0; g < S::kGroup; ++g) {
            const typename V::Vec a = V::set1(multiplier(row, g, k));
#pragma GCC unroll 8
            for (int m = 0; m < S::kVectors; ++m) acc[g][m] = V::add(acc[g][m], product(a, r[m]));
        }
    }
#pragma GCC unroll 8
    for (int g = 0; g < S::kGroup; ++g)
#pragma GCC unroll 8
        for (int m = 0; m < S::kVectors; ++m) V::store(&block[members[g]][S::offset(m)], acc[g][m]);
}

// normal[i][j] += design(k, i) * design(k, j); rows i in groups of kGroup (the last group repeats row 14
// where it runs out, recomputing the same sums).
template <class V>
void fit_normal_rows(const typename V::T *design, size_t count, NormalSums<typename V::T> &normal) {
    using S = FitShape<V>;
    using T = typename V::T;
    for (int i0 = 0; i0 < 15; i0 += S::kGroup) {
        int rows[S::kGroup];
        for (int g = 0; g < S::kGroup; ++g) rows[g] = i0 + g < 15 ? i0 + g : 14;
        accumulate_group<V>(
            design, count, normal, rows, [&](const T *row, int g, size_t) { return row[rows[g]]; },
            [](typename V::Vec a, typename V::Vec r) { return V::mul(a, r); });
    }
}

// The sample of plane p for design row k: x[p][k] for the float fit, x[p][cells[k]] widened to double
// for the valid-area fit.
struct DirectSamples {
    float operator()(const float *x, size_t k) const { return x[k]; }
};
struct CellSamples {
    const uint32_t *cells;
    double operator()(const float *x, size_t k) const { return double(x[cells[k]]); }
};

// sums[p][i] += design(k, i) * sample (float) or sample * design(k, i) (double), the operand order of
// the scalar rows; planes in groups of kGroup (a last group repeats the last plane).
template <class V, class Samples>
void fit_rhs_rows(const typename V::T *design, const float *const x[4], int planes, Samples samples, size_t count,
                  PlaneSums<typename V::T> &sums) {
    using S = FitShape<V>;
    using T = typename V::T;
    for (int p0 = 0; p0 < planes; p0 += S::kGroup) {
        int plane[S::kGroup];
        for (int g = 0; g < S::kGroup; ++g) plane[g] = p0 + g < planes ? p0 + g : planes - 1;
        accumulate_group<V>(
            design, count, sums, plane, [&](const T *, int g, size_t k) { return T(samples(x[plane[g]], k)); },
            [](typename V::Vec sample, typename V::Vec r) { return V::rhs_product(r, sample); });
    }
}

}  // namespace
}  // namespace oz

// Vector operations of the fit rows for one element type of an ISA (prefix _mm or _mm256, suffix ps or
// pd). The right-hand-side product keeps the scalar rows' operand order: design * sample in float,
// sample * design in double.
#define OZ_FIT_VECTOR_OPS(Name, Elem, Vector, lanes, prefix, suffix, sample_first)                              \
    struct Name {                                                                                              \
        using T = Elem;                                                                                        \
        using Vec = Vector;                                                                                    \
        static constexpr int kLanes = lanes;                                                                   \
        static Vec load(const Elem *p) { return prefix##_loadu_##suffix(p); }                                  \
        static void store(Elem *p, Vec v) { prefix##_storeu_##suffix(p, v); }                                  \
        static Vec set1(Elem v) { return prefix##_set1_##suffix(v); }                                          \
        static Vec add(Vec a, Vec b) { return prefix##_add_##suffix(a, b); }                                   \
        static Vec mul(Vec a, Vec b) { return prefix##_mul_##suffix(a, b); }                                   \
        static Vec rhs_product(Vec design, Vec sample) {                                                       \
            return sample_first ? mul(sample, design) : mul(design, sample);                                   \
        }                                                                                                      \
    };

// Defines the four fit rows of one ISA from its float and double vector operations.
#define OZ_DEFINE_FIT_ROWS(isa, VF, VD)                                                                         \
    void fit_normal_f32_##isa(const float *design, size_t count, NormalSums<float> &normal) {                  \
        fit_normal_rows<VF>(design, count, normal);                                                             \
    }                                                                                                           \
    void fit_normal_f64_##isa(const double *design, size_t count, NormalSums<double> &normal) {                \
        fit_normal_rows<VD>(design, count, normal);                                                             \
    }                                                                                                           \
    void fit_rhs_f32_##isa(const float *design, const float *const x[4], int planes, size_t count,             \
                           PlaneSums<float> &sums) {                                                            \
        fit_rhs_rows<VF>(design, x, planes, DirectSamples{}, count, sums);                                      \
    }                                                                                                           \
    void fit_rhs_f64_##isa(const double *design, const float *const x[4], int planes, const uint32_t *cells,   \
                           size_t count, PlaneSums<double> &sums) {                                             \
        fit_rhs_rows<VD>(design, x, planes, CellSamples{cells}, count, sums);                                   \
    }
