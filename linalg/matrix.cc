// Matrix primitives: transposition, products (full, grid-interior and masked inner dimension) and the
// LU factorisation without pivoting, in float and double.
#include "linalg/matrix.h"

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

// C(i, j) = sum over the inner indices k, ascending, of A(i, k) * B(k, j): the sum starts at +0 and
// adds each product after it has been rounded to T.
template <class T>
uint32_t multiply(Strided<const T> a, int32_t a_cols, int32_t a_rows, Strided<const T> b, int32_t b_cols,
                  int32_t b_rows, Strided<T> c, const InnerRange &inner) {
    if (a_cols != b_rows) return kStatusInvalidArgs;
    if (a_rows < 1 || b_cols < 1) return kStatusDone;
    const bool reads = inner.count(a_cols) > 0;
    if (c.null() || (reads && (a.null() || b.null())) || !inner.fits(a_cols)) return kStatusInvalidArgs;
    for (int64_t i = 0; i < a_rows; ++i) {
        for (int64_t j0 = 0; j0 < b_cols; j0 += kGroup) {
            const int64_t n = min64(kGroup, b_cols - j0);
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

// y(i) = sum over the inner indices k, ascending, of A(i, k) * x(k), in float.
uint32_t multiply_vector(Strided<const float> a, int32_t a_cols, int32_t a_rows, Strided<const float> x,
                         int32_t x_length, Strided<float> y, const InnerRange &inner) {
    if (a_cols != x_length) return kStatusInvalidArgs;
    if (a_rows < 1) return kStatusDone;
    const bool reads = inner.count(a_cols) > 0;
    if (y.null() || (reads && (a.null() || x.null())) || !inner.fits(a_cols)) return kStatusInvalidArgs;
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
