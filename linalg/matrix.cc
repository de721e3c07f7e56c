// Matrix primitives: transposition, products (full, grid-interior and masked inner dimension) and the
// LU factorisation without pivoting, in float and double.
#include "linalg/matrix.h"

#include <emmintrin.h>
#include <xmmintrin.h>

#include "common/heap.h"
#include "common/status.h"

namespace oz {
namespace {

// Outputs computed side by side: every output keeps its own ascending sum, and keeping a group of them
// in flight lets independent additions overlap instead of waiting on one long dependency chain. The
// shading fit has 15 terms, so one group covers a whole row of the normal matrix.
constexpr int64_t kGroup = 16;

int64_t min64(int64_t a, int64_t b) { return a < b ? a : b; }

}  // namespace

template <class T>
uint32_t transpose(Strided<const T> src, int32_t src_cols, int32_t src_rows, Strided<T> dst) {
    if (src_rows < 1 || src_cols < 1) return kStatusDone;
    if (src.null() || dst.null()) return kStatusInvalidArgs;
    for (int64_t i = 0; i < src_rows; ++i)
        for (int64_t j = 0; j < src_cols; ++j) dst.set(j, i, src.get(i, j));
    return kStatusDone;
}

namespace {

// Baseline SSE2 lanes for the dense paths below. Lanes hold independent outputs; each lane performs
// exactly the scalar operations of its output in the scalar order (one multiply, then one add).
template <class T>
struct Lanes;

template <>
struct Lanes<float> {
    using V = __m128;
    static constexpr int64_t kWidth = 4;
    static V zero() { return _mm_setzero_ps(); }
    static V splat(float x) { return _mm_set1_ps(x); }
    static V load(const float *p) { return _mm_loadu_ps(p); }
    static void store(float *p, V v) { _mm_storeu_ps(p, v); }
    static V mul(V a, V b) { return _mm_mul_ps(a, b); }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
};

template <>
struct Lanes<double> {
    using V = __m128d;
    static constexpr int64_t kWidth = 2;
    static V zero() { return _mm_setzero_pd(); }
    static V splat(double x) { return _mm_set1_pd(x); }
    static V load(const double *p) { return _mm_loadu_pd(p); }
    static void store(double *p, V v) { _mm_storeu_pd(p, v); }
    static V mul(V a, V b) { return _mm_mul_pd(a, b); }
    static V add(V a, V b) { return _mm_add_pd(a, b); }
};

// Adds A(i, k) * B(k, j0 + offset[m] + lane) over k in [begin, end) to the accumulators of one row of
// C, when B's rows are dense. Free of captures and fully unrolled, so that the accumulators stay in
// registers.
template <class T, int kVectors>
void accumulate_row_dense(Strided<const T> a, Strided<const T> b, int64_t i, int64_t j0, const int64_t *offset,
                          int64_t begin, int64_t end, typename Lanes<T>::V *acc) {
    using L = Lanes<T>;
    typename L::V v[kVectors];
#pragma GCC unroll 8
    for (int m = 0; m < kVectors; ++m) v[m] = acc[m];
    for (int64_t k = begin; k < end; ++k) {
        const typename L::V av = L::splat(a.get(i, k));
        const T *brow = b.element(k, j0);
#pragma GCC unroll 8
        for (int m = 0; m < kVectors; ++m) v[m] = L::add(v[m], L::mul(av, L::load(brow + offset[m])));
    }
#pragma GCC unroll 8
    for (int m = 0; m < kVectors; ++m) acc[m] = v[m];
}

// accumulate_row_dense for a vector count known only at run time (1 .. K).
template <class T, int K>
void accumulate_row_dense_n(int vectors, Strided<const T> a, Strided<const T> b, int64_t i, int64_t j0,
                            const int64_t *offset, int64_t begin, int64_t end, typename Lanes<T>::V *acc) {
    if constexpr (K >= 1) {
        if (vectors == K)
            accumulate_row_dense<T, K>(a, b, i, j0, offset, begin, end, acc);
        else
            accumulate_row_dense_n<T, K - 1>(vectors, a, b, i, j0, offset, begin, end, acc);
    }
}

// One row of C, columns j0 .. j0+n-1 (W <= n <= kGroup, W the lane count), when B's rows are dense:
// every lane accumulates one output column. When n is not a multiple of W the last vector is placed to
// end at column n-1 and overlaps the one before it; an overlapping lane computes its column exactly as
// the other lane does, so both write the same value.
template <class T>
void multiply_row_dense(Strided<const T> a, Strided<const T> b, Strided<T> c, int64_t i, int64_t j0, int64_t n,
                        int32_t a_cols, const InnerRange &inner) {
    using L = Lanes<T>;
    constexpr int64_t kMaxVectors = kGroup / L::kWidth;
    const int vectors = int((n + L::kWidth - 1) / L::kWidth);
    int64_t offset[kMaxVectors];
    for (int m = 0; m < vectors; ++m) offset[m] = min64(m * L::kWidth, n - L::kWidth);
    typename L::V acc[kMaxVectors];
    for (auto &v : acc) v = L::zero();
    const int64_t runs = inner.run_count(a_cols), length = inner.run_length(a_cols);
    for (int64_t r = 0; r < runs; ++r) {
        const int64_t begin = inner.run_begin(r), end = begin + length;
        accumulate_row_dense_n<T, int(kMaxVectors)>(vectors, a, b, i, j0, offset, begin, end, acc);
    }
    T out[kGroup];
    for (int m = 0; m < vectors; ++m) L::store(out + offset[m], acc[m]);
    for (int64_t jj = 0; jj < n; ++jj) c.set(i, j0 + jj, out[jj]);
}

}  // namespace

// C(i, j) = sum over the inner indices k, ascending, of A(i, k) * B(k, j): the sum starts at +0 and
// adds each product after it has been rounded to T.
template <class T>
uint32_t multiply(Strided<const T> a, int32_t a_cols, int32_t a_rows, Strided<const T> b, int32_t b_cols,
                  int32_t b_rows, Strided<T> c, const InnerRange &inner) {
    if (a_cols != b_rows) return kStatusInvalidArgs;
    if (a_rows < 1 || b_cols < 1) return kStatusDone;
    const bool reads = inner.count(a_cols) > 0;
    if (c.null() || (reads && (a.null() || b.null())) || !inner.fits(a_cols)) return kStatusInvalidArgs;
    const bool dense = reads && b.dense_rows() && b_cols >= Lanes<T>::kWidth;
    for (int64_t i = 0; i < a_rows; ++i) {
        for (int64_t j0 = 0; j0 < b_cols; j0 += kGroup) {
            int64_t n = min64(kGroup, b_cols - j0);
            if (dense) {
                // A last group narrower than one vector is widened to the left; its lanes recompute
                // columns of the group before, with the same result.
                if (n < Lanes<T>::kWidth) {
                    j0 -= Lanes<T>::kWidth - n;
                    n = Lanes<T>::kWidth;
                }
                multiply_row_dense(a, b, c, i, j0, n, a_cols, inner);
                continue;
            }
            T acc[kGroup] = {};
            inner.each(a_cols, [&](int64_t k) {
                const T aik = a.get(i, k);
                for (int64_t jj = 0; jj < n; ++jj) {
                    const T product = aik * b.get(k, j0 + jj);
                    acc[jj] = acc[jj] + product;
                }
            });
            for (int64_t jj = 0; jj < n; ++jj) c.set(i, j0 + jj, acc[jj]);
        }
    }
    return kStatusDone;
}

namespace {

// Up to 16 rows of y = A x when A's rows are dense: groups of four rows are read four columns at a time
// and transposed in registers, so that each lane accumulates one row's sum in ascending k; the four
// groups advance together, which keeps four independent add chains in flight. Missing rows of the last
// group read the group's last row again and are discarded.
void accumulate_rows_dense(const float *const *r, const unsigned char *x, int64_t x_step, int64_t begin,
                           int64_t end, __m128 acc[4]) {
    auto xk = [x, x_step](int64_t k) {
        float v;
        std::memcpy(&v, x + k * x_step, sizeof v);
        return _mm_set1_ps(v);
    };
    __m128 a0 = acc[0], a1 = acc[1], a2 = acc[2], a3 = acc[3];
    int64_t k = begin;
    for (; k + 4 <= end; k += 4) {
        const __m128 x0 = xk(k), x1 = xk(k + 1), x2 = xk(k + 2), x3 = xk(k + 3);
        __m128 *const accs[4] = {&a0, &a1, &a2, &a3};
#pragma GCC unroll 4
        for (int g = 0; g < 4; ++g) {
            __m128 c0 = _mm_loadu_ps(r[4 * g] + k), c1 = _mm_loadu_ps(r[4 * g + 1] + k);
            __m128 c2 = _mm_loadu_ps(r[4 * g + 2] + k), c3 = _mm_loadu_ps(r[4 * g + 3] + k);
            _MM_TRANSPOSE4_PS(c0, c1, c2, c3);  // c_m = (A(i, k+m), A(i+1, k+m), ...)
            __m128 s = *accs[g];
            s = _mm_add_ps(s, _mm_mul_ps(c0, x0));
            s = _mm_add_ps(s, _mm_mul_ps(c1, x1));
            s = _mm_add_ps(s, _mm_mul_ps(c2, x2));
            s = _mm_add_ps(s, _mm_mul_ps(c3, x3));
            *accs[g] = s;
        }
    }
    for (; k < end; ++k) {
        const __m128 xv = xk(k);
        a0 = _mm_add_ps(a0, _mm_mul_ps(_mm_setr_ps(r[0][k], r[1][k], r[2][k], r[3][k]), xv));
        a1 = _mm_add_ps(a1, _mm_mul_ps(_mm_setr_ps(r[4][k], r[5][k], r[6][k], r[7][k]), xv));
        a2 = _mm_add_ps(a2, _mm_mul_ps(_mm_setr_ps(r[8][k], r[9][k], r[10][k], r[11][k]), xv));
        a3 = _mm_add_ps(a3, _mm_mul_ps(_mm_setr_ps(r[12][k], r[13][k], r[14][k], r[15][k]), xv));
    }
    acc[0] = a0, acc[1] = a1, acc[2] = a2, acc[3] = a3;
}

void multiply_vector_rows_dense(Strided<const float> a, int64_t i0, int64_t rows, const float *x, int32_t x_step,
                                int32_t a_cols, const InnerRange &inner, float out[kGroup]) {
    const float *r[kGroup];
    for (int64_t ii = 0; ii < kGroup; ++ii) r[ii] = a.element(i0 + (ii < rows ? ii : rows - 1), 0);
    const unsigned char *xb = reinterpret_cast<const unsigned char *>(x);
    __m128 acc[4] = {_mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps(), _mm_setzero_ps()};
    const int64_t runs = inner.run_count(a_cols), length = inner.run_length(a_cols);
    for (int64_t q = 0; q < runs; ++q)
        accumulate_rows_dense(r, xb, x_step, inner.run_begin(q), inner.run_begin(q) + length, acc);
    for (int g = 0; g < 4; ++g) _mm_storeu_ps(out + 4 * g, acc[g]);
}

}  // namespace

// y(i) = sum over the inner indices k, ascending, of A(i, k) * x(k), in float.
uint32_t multiply_vector(Strided<const float> a, int32_t a_cols, int32_t a_rows, const float *x_data,
                         int32_t x_step, int32_t x_length, Strided<float> y, const InnerRange &inner) {
    const Strided<const float> x(x_data, x_step, 0);
    if (a_cols != x_length) return kStatusInvalidArgs;
    if (a_rows < 1) return kStatusDone;
    const bool reads = inner.count(a_cols) > 0;
    if (y.null() || (reads && (a.null() || x.null())) || !inner.fits(a_cols)) return kStatusInvalidArgs;
    if (reads && a.dense_rows()) {
        for (int64_t i0 = 0; i0 < a_rows; i0 += kGroup) {
            const int64_t n = min64(kGroup, a_rows - i0);
            float out[kGroup];
            multiply_vector_rows_dense(a, i0, n, x_data, x_step, a_cols, inner, out);
            for (int64_t ii = 0; ii < n; ++ii) y.set(i0 + ii, 0, out[ii]);
        }
        return kStatusDone;
    }
    for (int64_t i0 = 0; i0 < a_rows; i0 += kGroup) {
        const int64_t n = min64(kGroup, a_rows - i0);
        float acc[kGroup] = {};
        inner.each(a_cols, [&](int64_t k) {
            const float xk = x.get(k, 0);
            for (int64_t ii = 0; ii < n; ++ii) {
                const float product = a.get(i0 + ii, k) * xk;
                acc[ii] = acc[ii] + product;
            }
        });
        for (int64_t ii = 0; ii < n; ++ii) y.set(i0 + ii, 0, acc[ii]);
    }
    return kStatusDone;
}

namespace {

// Up to 16 rows of the masked product when A's rows are dense: pairs of rows are read two columns at a
// time and transposed in registers (one row per lane), the eight pairs advancing together so that eight
// independent add chains are in flight. Missing rows read the last row again and are discarded.
void multiply_valid_rows_dense(Strided<const double> a, int64_t i0, int64_t rows, Strided<const float> xt,
                               int64_t valid, double out[kGroup]) {
    const double *r[kGroup];
    for (int64_t ii = 0; ii < kGroup; ++ii) r[ii] = a.element(i0 + (ii < rows ? ii : rows - 1), 0);
    __m128d acc[kGroup / 2];
    for (auto &v : acc) v = _mm_setzero_pd();
    int64_t k = 0;
    for (; k + 2 <= valid; k += 2) {
        const __m128d x0 = _mm_set1_pd(double(xt.get(k, 0))), x1 = _mm_set1_pd(double(xt.get(k + 1, 0)));
#pragma GCC unroll 8
        for (int g = 0; g < kGroup / 2; ++g) {
            const __m128d p = _mm_loadu_pd(r[2 * g] + k), q = _mm_loadu_pd(r[2 * g + 1] + k);
            acc[g] = _mm_add_pd(acc[g], _mm_mul_pd(x0, _mm_unpacklo_pd(p, q)));
            acc[g] = _mm_add_pd(acc[g], _mm_mul_pd(x1, _mm_unpackhi_pd(p, q)));
        }
    }
    for (; k < valid; ++k) {
        const __m128d xv = _mm_set1_pd(double(xt.get(k, 0)));
#pragma GCC unroll 8
        for (int g = 0; g < kGroup / 2; ++g) acc[g] = _mm_add_pd(acc[g], _mm_mul_pd(xv, _mm_setr_pd(r[2 * g][k], r[2 * g + 1][k])));
    }
    for (int g = 0; g < kGroup / 2; ++g) _mm_storeu_pd(out + 2 * g, acc[g]);
}

}  // namespace

// Appends the elements of x (read densely) whose flag is 1 to the compaction buffer, then
// y(i) = sum over k ascending of (double)x~(k) * A(i, k), reading x~ with x's step.
uint32_t multiply_vector_valid_area(Strided<const double> a, int32_t a_cols, int32_t a_rows, const float *x,
                                    int32_t x_step, int32_t x_length, Strided<double> y, const uint32_t *mask,
                                    float *compaction_buffer) {
    if (x_length > 0 && (x == nullptr || mask == nullptr || compaction_buffer == nullptr))
        return kStatusInvalidArgs;
    int64_t valid = 0;
    for (int64_t k = 0; k < x_length; ++k)
        if (mask[k] == 1) compaction_buffer[valid++] = x[k];
    if (a_cols != valid) return kStatusInvalidArgs;
    if (a_rows < 1) return kStatusDone;
    if (y.null() || (valid > 0 && a.null())) return kStatusInvalidArgs;
    const Strided<const float> xt(compaction_buffer, x_step, 0);
    if (valid > 0 && a.dense_rows()) {
        for (int64_t i0 = 0; i0 < a_rows; i0 += kGroup) {
            const int64_t n = min64(kGroup, a_rows - i0);
            double out[kGroup];
            multiply_valid_rows_dense(a, i0, n, xt, valid, out);
            for (int64_t ii = 0; ii < n; ++ii) y.set(i0 + ii, 0, out[ii]);
        }
        return kStatusDone;
    }
    for (int64_t i0 = 0; i0 < a_rows; i0 += kGroup) {
        const int64_t n = min64(kGroup, a_rows - i0);
        double acc[kGroup] = {};
        for (int64_t k = 0; k < valid; ++k) {
            const double xk = double(xt.get(k, 0));
            for (int64_t ii = 0; ii < n; ++ii) {
                const double product = xk * a.get(i0 + ii, k);
                acc[ii] = acc[ii] + product;
            }
        }
        for (int64_t ii = 0; ii < n; ++ii) y.set(i0 + ii, 0, acc[ii]);
    }
    return kStatusDone;
}

namespace {

// The working copy of the factorisation holds the n*n source elements in memory order and is addressed
// with the source's steps. True when those steps keep every element (i, j), i, j < n, inside the copy:
// both steps whole elements, and the four corners (the extremes of a linear map) within n*n elements.
template <class T>
bool steps_address_dense_block(int32_t row_step, int32_t col_step, int32_t n) {
    if (n == 1) return true;
    const int64_t size = int64_t(sizeof(T));
    if (row_step % size != 0 || col_step % size != 0) return false;
    const int64_t last = int64_t(n) - 1;
    const int64_t corners[4] = {0, last * row_step, last * col_step, last * row_step + last * col_step};
    const int64_t limit = (int64_t(n) * n - 1) * size;
    for (int64_t c : corners)
        if (c < 0 || c > limit) return false;
    return true;
}

}  // namespace

// Gaussian elimination without pivoting (Doolittle form, right-looking) on a zeroed working copy.
template <class T>
uint32_t lu_factor(const T *src, int32_t src_row_step, int32_t src_col_step, uint32_t *permutation,
                   Strided<T> dst, int32_t n) {
    if (n < 1) return kStatusDone;
    if (dst.null() || permutation == nullptr || !steps_address_dense_block<T>(src_row_step, src_col_step, n))
        return kStatusInvalidArgs;
    const size_t elements = size_t(n) * size_t(n);
    HeapArray<T> copy = heap_array_zeroed<T>(elements);
    if (!copy) return kStatusNoMemory;
    if (src != nullptr) std::memcpy(copy.get(), src, elements * sizeof(T));
    const Strided<T> work(copy.get(), src_row_step, src_col_step);

    dst.set(0, 0, work.get(0, 0));
    for (int64_t k = 0; k + 1 < n; ++k) {
        const T pivot = work.get(k, k);
        for (int64_t i = k + 1; i < n; ++i) {
            dst.set(i, k, work.get(i, k) / pivot);  // a division, not a multiplication by 1/pivot
            dst.set(k, i, work.get(k, i));
        }
        for (int64_t i = k + 1; i < n; ++i) {
            const T lik = dst.get(i, k);
            for (int64_t j = k + 1; j < n; ++j) {
                const T product = lik * dst.get(k, j);
                work.set(i, j, work.get(i, j) - product);
            }
        }
        permutation[k] = uint32_t(k);
        dst.set(k + 1, k + 1, work.get(k + 1, k + 1));
    }
    permutation[n - 1] = uint32_t(n - 1);
    return kStatusDone;
}

template uint32_t transpose<float>(Strided<const float>, int32_t, int32_t, Strided<float>);
template uint32_t transpose<double>(Strided<const double>, int32_t, int32_t, Strided<double>);
template uint32_t multiply<float>(Strided<const float>, int32_t, int32_t, Strided<const float>, int32_t, int32_t,
                                  Strided<float>, const InnerRange &);
template uint32_t multiply<double>(Strided<const double>, int32_t, int32_t, Strided<const double>, int32_t,
                                   int32_t, Strided<double>, const InnerRange &);
template uint32_t lu_factor<float>(const float *, int32_t, int32_t, uint32_t *, Strided<float>, int32_t);
template uint32_t lu_factor<double>(const double *, int32_t, int32_t, uint32_t *, Strided<double>, int32_t);

}  // namespace oz
