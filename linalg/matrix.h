// Matrix primitives on byte-stepped views, shared by the exported kernels and the polynomial fit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace oz {

// A matrix (or, with a zero column step, a vector) addressed by byte steps: element (i, j) lies at
// data + i * row_step + j * col_step bytes. Elements are read and written with memcpy, so steps that
// are not multiples of the element size stay well defined.
template <class T>
class Strided {
  public:
    Strided(T *data, int32_t row_step, int32_t col_step)
        : data_(data), row_step_(row_step), col_step_(col_step) {}

    std::remove_const_t<T> get(int64_t i, int64_t j) const {
        std::remove_const_t<T> v;
        std::memcpy(&v, address(i, j), sizeof v);
        return v;
    }
    void set(int64_t i, int64_t j, std::remove_const_t<T> v) const { std::memcpy(address(i, j), &v, sizeof v); }
    bool null() const { return data_ == nullptr; }
    int32_t row_step() const { return row_step_; }
    int32_t col_step() const { return col_step_; }

    // True when each row is a dense array of T at a T-aligned address (column step one element, row
    // step whole elements): the rows can then be read as T arrays.
    bool dense_rows() const {
        return col_step_ == int32_t(sizeof(T)) && row_step_ % int32_t(sizeof(T)) == 0 &&
               reinterpret_cast<uintptr_t>(data_) % alignof(T) == 0;
    }
    // Element (i, j) of a view with dense_rows().
    T *element(int64_t i, int64_t j) const { return reinterpret_cast<T *>(address(i, j)); }

  private:
    // SAFETY: the caller of each kernel guarantees that every (i, j) inside the declared shape addresses
    // an element of its buffer; the kernels only form addresses inside that shape.
    auto *address(int64_t i, int64_t j) const {
        using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
        return reinterpret_cast<Byte *>(data_) + i * int64_t(row_step_) + j * int64_t(col_step_);
    }

    T *data_;
    int32_t row_step_;
    int32_t col_step_;
};

// The inner indices that take part in a sum: all of 0 .. inner-1, or the interior cells of a grid
// stored row-major (rows first_row .. first_row+rows-1, columns first_col .. first_col+cols-1 of a grid
// `width` cells wide), visited row by row.
struct InnerRange {
    bool interior = false;
    int64_t first_row = 0, rows = 0, first_col = 0, cols = 0, width = 0;

    // The interior of a height x width grid without margin_rows rows at the top and bottom and
    // margin_cols columns at the left and right. An interior dimension of zero or less leaves no cell.
    static InnerRange grid_interior(uint16_t height, uint16_t width, uint16_t margin_rows, uint16_t margin_cols) {
        InnerRange r;
        r.interior = true;
        r.first_row = margin_rows;
        r.first_col = margin_cols;
        r.width = width;
        r.rows = int64_t(height) - 2 * int64_t(margin_rows);
        r.cols = int64_t(width) - 2 * int64_t(margin_cols);
        if (r.rows <= 0 || r.cols <= 0) r.rows = r.cols = 0;
        return r;
    }

    // Number of indices visited for an inner dimension of `inner`.
    int64_t count(int64_t inner) const { return interior ? rows * cols : (inner > 0 ? inner : 0); }

    // True when every visited index lies below `inner`.
    bool fits(int64_t inner) const {
        if (!interior || rows == 0) return true;
        return (first_row + rows - 1) * width + first_col + cols - 1 < inner;
    }

    // The visited indices as runs of consecutive indices, in ascending order: run_count() runs, run r
    // being [run_begin(r), run_begin(r) + run_length(inner)).
    int64_t run_count(int64_t inner) const { return interior ? rows : (inner > 0 ? 1 : 0); }
    int64_t run_begin(int64_t r) const { return interior ? (first_row + r) * width + first_col : 0; }
    int64_t run_length(int64_t inner) const { return interior ? cols : inner; }

    // Calls f(begin, end) for each run, in ascending order.
    template <class F>
    void each_run(int64_t inner, F &&f) const {
        const int64_t runs = run_count(inner), length = run_length(inner);
        for (int64_t r = 0; r < runs; ++r) f(run_begin(r), run_begin(r) + length);
    }

    // Calls f(k) for each visited index, in ascending order.
    template <class F>
    void each(int64_t inner, F &&f) const {
        each_run(inner, [&](int64_t begin, int64_t end) {
            for (int64_t k = begin; k < end; ++k) f(k);
        });
    }
};

// Each kernel returns a status of common/status.h. Preconditions on pointers and shapes are checked by
// these functions; the byte steps are the caller's.
template <class T>
uint32_t transpose(Strided<const T> src, int32_t src_cols, int32_t src_rows, Strided<T> dst);

template <class T>
uint32_t multiply(Strided<const T> a, int32_t a_cols, int32_t a_rows, Strided<const T> b, int32_t b_cols,
                  int32_t b_rows, Strided<T> c, const InnerRange &inner);

uint32_t multiply_vector(Strided<const float> a, int32_t a_cols, int32_t a_rows, const float *x, int32_t x_step,
                         int32_t x_length, Strided<float> y, const InnerRange &inner);

uint32_t multiply_vector_valid_area(Strided<const double> a, int32_t a_cols, int32_t a_rows, const float *x,
                                    int32_t x_step, int32_t x_length, Strided<double> y, const uint32_t *mask,
                                    float *compaction_buffer);

template <class T>
uint32_t lu_factor(const T *src, int32_t src_row_step, int32_t src_col_step, uint32_t *permutation,
                   Strided<T> dst, int32_t n);

}  // namespace oz
