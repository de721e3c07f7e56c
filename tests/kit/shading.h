// Test kit for the shading computations: module calibrations and lens-shading / ratio structures built
// in test-owned memory, and reference forms of the fit and the evaluation written straight from their
// definitions (per-element powers, no hoisting), against which the library's results are compared bit
// for bit.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "oz_cmc_correction.h"
#include "oz_linalg.h"
#include "oz_lsc.h"
#include "oz_nvm_data.h"

namespace oz::test {

// Bit-exact comparison of two float arrays (NaN payloads and the sign of zero included).
inline bool same_bits(const float *a, const float *b, size_t n) { return std::memcmp(a, b, n * sizeof(float)) == 0; }

// ---- A module calibration as the NVM library would hand it over ----

class ModuleCalibration {
  public:
    ModuleCalibration(uint8_t grid_width, uint8_t grid_height) {
        nvm_.lsc_grid_width = grid_width;
        nvm_.lsc_grid_height = grid_height;
    }

    // A table whose channel c holds sample(c, r, q); u8 samples when fraction_bits <= 8, else u16.
    ModuleCalibration &table(uint8_t fraction_bits, const std::function<uint16_t(int, int, int)> &sample) {
        auto t = std::make_unique<Table>();
        t->fraction_bits = fraction_bits;
        const int w = nvm_.lsc_grid_width, h = nvm_.lsc_grid_height;
        for (int c = 0; c < 4; ++c) {
            t->u8[c].resize(size_t(w) * h + 1);
            t->u16[c].resize(size_t(w) * h + 1);
            for (int r = 0; r < h; ++r)
                for (int q = 0; q < w; ++q) {
                    t->u8[c][size_t(r) * w + q] = uint8_t(sample(c, r, q));
                    t->u16[c][size_t(r) * w + q] = sample(c, r, q);
                }
        }
        tables_.push_back(std::move(t));
        return *this;
    }

    // A smooth, strictly positive vignetting-like table: gain excess grows towards the corners.
    ModuleCalibration &smooth_table(uint8_t fraction_bits, int seed) {
        const int w = nvm_.lsc_grid_width, h = nvm_.lsc_grid_height;
        const double top = fraction_bits > 8 ? 60000.0 : 250.0;
        return table(fraction_bits, [=](int c, int r, int q) {
            const double dx = (q - (w - 1) / 2.0) / (w > 1 ? w : 2), dy = (r - (h - 1) / 2.0) / (h > 1 ? h : 2);
            const double v = (0.2 + 0.05 * c + 0.01 * seed) + 2.2 * (dx * dx + dy * dy) + 0.1 * dx * dy;
            return uint16_t(std::lround(std::fmin(v, 1.0) * top));
        });
    }

    nvm_data *get() {
        entries_.assign(tables_.size(), nvm_lsc_table{});
        for (size_t i = 0; i < tables_.size(); ++i) {
            entries_[i].fraction_bits = tables_[i]->fraction_bits;
            for (int c = 0; c < 4; ++c)
                entries_[i].channel_grids[c] = tables_[i]->fraction_bits > 8
                                                   ? static_cast<void *>(tables_[i]->u16[c].data())
                                                   : static_cast<void *>(tables_[i]->u8[c].data());
        }
        nvm_.lsc_table_count = uint8_t(tables_.size());
        nvm_.lsc_tables = entries_.empty() ? nullptr : entries_.data();
        return &nvm_;
    }

    // Entries after get(), for deliberate defects.
    std::vector<nvm_lsc_table> &entries() { return entries_; }

  private:
    struct Table {
        uint8_t fraction_bits;
        std::vector<uint8_t> u8[4];
        std::vector<uint16_t> u16[4];
    };
    nvm_data nvm_{};
    std::vector<std::unique_ptr<Table>> tables_;
    std::vector<nvm_lsc_table> entries_;
};

// ---- Reference fit and evaluation, from the definitions ----

constexpr int kTerms = 15;

// Design row of cell (x, y) in T: squares and cubes as u32 products, the rest as products in T.
template <class T>
std::vector<T> reference_design_row(uint32_t x, uint32_t y) {
    const T fx = T(x), fy = T(y), x2 = T(x * x), x3 = T(x * x * x), y2 = T(y * y), y3 = T(y * y * y);
    return {T(1), fx, fy, x2, fx * fy, y2, x3, fy * x2, fx * y2, y3, fx * x3, x3 * fy, x2 * y2, fx * y3, fy * y3};
}

// The surface c at (x, y), written exactly as the evaluation defines it: c1*x + c0, then each term in
// order, products left to right.
template <class T>
T reference_surface(const T *c, T x, T y) {
    const T x2 = x * x, x3 = x2 * x, y2 = y * y, y3 = y * y2;
    T s = c[1] * x + c[0];
    s = s + c[2] * y;
    s = s + c[3] * x2;
    s = s + c[4] * x * y;
    s = s + c[5] * y2;
    s = s + c[6] * x3;
    s = s + c[7] * x2 * y;
    s = s + c[8] * x * y2;
    s = s + c[9] * y3;
    s = s + c[10] * x3 * x;
    s = s + c[11] * x3 * y;
    s = s + c[12] * x2 * y2;
    s = s + c[13] * x * y3;
    s = s + c[14] * y3 * y;
    return s;
}

// Solve with stored unit-lower / upper factors (dense 15 x 15).
template <class T>
std::vector<T> reference_solve(const T *lu, const std::vector<T> &rhs) {
    std::vector<T> z(kTerms), c(kTerms);
    z[0] = rhs[0];
    for (int i = 1; i < kTerms; ++i) {
        T s = 0;
        for (int k = 0; k < i; ++k) s = s + lu[i * kTerms + k] * z[k];
        z[i] = rhs[i] - s;
    }
    for (int i = kTerms - 1; i >= 0; --i) {
        T s = 0;
        for (int k = i + 1; k < kTerms; ++k) s = s + lu[i * kTerms + k] * c[k];
        c[i] = (z[i] - s) / lu[i * kTerms + i];
    }
    return c;
}

// Evaluates c on an ow x oh grid spanning an iw x ih input grid; T is the evaluation's precision.
template <class T>
std::vector<float> reference_evaluate(const std::vector<T> &c, int iw, int ih, int ow, int oh) {
    std::vector<float> out(size_t(ow) * oh);
    const T sx = (T(iw) - T(1)) / (T(ow) - T(1)), sy = (T(ih) - T(1)) / (T(oh) - T(1));
    for (int r = 0; r < oh; ++r)
        for (int q = 0; q < ow; ++q) out[size_t(r) * ow + q] = float(reference_surface<T>(c.data(), T(q) * sx + T(1), T(r) * sy + T(1)));
    return out;
}

// The factors a fit over the cells with flag 1 (all cells when the mask is empty; the interior when
// margins are given) must produce: design rows, normal matrix summed in ascending cell order, then
// the factorisation by the library's lu kernel (tested on its own).
template <class T>
struct ReferenceFit {
    std::vector<T> design;      // rows of the cells taking part in the design (all, or the valid ones)
    std::vector<T> normal;      // 15 x 15
    std::vector<T> lu;          // 15 x 15
    std::vector<int> sum_cells; // design rows that enter the sums
    std::vector<size_t> cell_of_row;  // grid cell of each design row
};

template <class T>
ReferenceFit<T> reference_fit(int w, int h, int margin_rows, int margin_cols, const std::vector<uint32_t> &mask) {
    ReferenceFit<T> f;
    int row = 0;
    for (int y = 1; y <= h; ++y)
        for (int x = 1; x <= w; ++x) {
            const size_t cell = size_t(y - 1) * w + (x - 1);
            if (!mask.empty() && mask[cell] != 1) continue;
            const std::vector<T> d = reference_design_row<T>(uint32_t(x), uint32_t(y));
            f.design.insert(f.design.end(), d.begin(), d.end());
            f.cell_of_row.push_back(cell);
            const bool interior = y - 1 >= margin_rows && y - 1 <= h - 1 - margin_rows && x - 1 >= margin_cols &&
                                  x - 1 <= w - 1 - margin_cols;
            if (interior) f.sum_cells.push_back(row);
            ++row;
        }
    f.normal.assign(kTerms * kTerms, T(0));
    for (int i = 0; i < kTerms; ++i)
        for (int j = 0; j < kTerms; ++j) {
            T s = 0;
            for (int k : f.sum_cells) s = s + f.design[size_t(k) * kTerms + i] * f.design[size_t(k) * kTerms + j];
            f.normal[i * kTerms + j] = s;
        }
    f.lu.assign(kTerms * kTerms, T(0));
    std::vector<uint32_t> perm(kTerms);
    if constexpr (sizeof(T) == 4)
        lu_decomposition_m(f.normal.data(), 60, 4, perm.data(), f.lu.data(), 60, 4, kTerms);
    else
        lu_decomposition_m_double(f.normal.data(), 120, 8, perm.data(), f.lu.data(), 120, 8, kTerms);
    return f;
}

// Right-hand side of one plane: sum over the cells that enter the sums (ascending) of design * value.
template <class T>
std::vector<T> reference_rhs(const ReferenceFit<T> &f, const float *plane) {
    std::vector<T> rhs(kTerms);
    for (int i = 0; i < kTerms; ++i) {
        T s = 0;
        for (int k : f.sum_cells) {
            if constexpr (sizeof(T) == 4)
                s = s + f.design[size_t(k) * kTerms + i] * plane[f.cell_of_row[k]];
            else
                s = s + T(plane[f.cell_of_row[k]]) * f.design[size_t(k) * kTerms + i];
        }
        rhs[i] = s;
    }
    return rhs;
}

// Plane minimum and normalisation, from their definitions.
inline bool reference_normalise(float *v, size_t n) {
    float m = v[0];
    for (size_t i = 1; i < n; ++i)
        if (!(m < v[i])) m = v[i];
    if (!(m > 0.0f)) return false;
    for (size_t i = 0; i < n; ++i) {
        const float q = v[i] / m;
        v[i] = q > 1.0f ? q : 1.0f;
    }
    return true;
}

// ---- Lens-shading and ratio structures in test-owned memory ----

// Tables for `entries` light sources, all 16 cells present (cells can be dropped with drop()), every
// sample of lens-shading cell (r, c) of entry e equal to lens_value(e, r, c) and of the ratio table
// equal to ratio_value(e, r, c) unless set otherwise.
class ShadingPair {
  public:
    ShadingPair(int entries, uint16_t width, uint16_t height) : n_(size_t(width) * height) {
        lens_.num_light_sources = uint16_t(entries);
        lens_.width = width;
        lens_.height = height;
        ratio_.num_light_sources = uint16_t(entries);
        ratio_.width = width;
        ratio_.height = height;
        lens_entries_.assign(entries, cmc_lens_shading_light_source{});
        ratio_entries_.assign(entries, cmc_lens_shading_ratio_light_source{});
        storage_.resize(size_t(entries) * 32);
        for (int e = 0; e < entries; ++e) {
            ratio_entries_[e].light_source = 1000u + e;
            ratio_entries_[e].fraction_bits = uint16_t(10 + e);
            for (int p = 0; p < 4; ++p) ratio_entries_[e].params[p] = 0.5f * float(e * 4 + p + 1);
            ratio_entries_[e].nvm_source_index = 1;
            lens_entries_[e].light_source = 7;
            lens_entries_[e].fraction_bits = 3;
            for (int r = 0; r < 4; ++r)
                for (int c = 0; c < 4; ++c) {
                    auto &d = storage_[(size_t(e) * 16 + r * 4 + c) * 2];
                    auto &s = storage_[(size_t(e) * 16 + r * 4 + c) * 2 + 1];
                    d.assign(n_ + 1, lens_value(e, r, c));
                    s.assign(n_ + 1, ratio_value(e, r, c));
                    lens_entries_[e].tables[r][c] = d.data();
                    ratio_entries_[e].tables[r][c] = s.data();
                }
        }
        lens_.light_sources = lens_entries_.data();
        ratio_.light_sources = ratio_entries_.data();
    }

    static uint16_t lens_value(int e, int r, int c) { return uint16_t(60000 + e * 16 + r * 4 + c); }
    static uint16_t ratio_value(int e, int r, int c) { return uint16_t(100 + e * 16 + r * 4 + c); }

    cmc_lens_shading4x4 *lens() { return &lens_; }
    cmc_lens_shading_ratio *ratio() { return &ratio_; }
    cmc_lens_shading_light_source &lens_entry(int e) { return lens_entries_[e]; }
    cmc_lens_shading_ratio_light_source &ratio_entry(int e) { return ratio_entries_[e]; }
    std::vector<uint16_t> &lens_table(int e, int r, int c) { return storage_[(size_t(e) * 16 + r * 4 + c) * 2]; }
    std::vector<uint16_t> &ratio_table(int e, int r, int c) { return storage_[(size_t(e) * 16 + r * 4 + c) * 2 + 1]; }
    size_t samples() const { return n_; }

  private:
    size_t n_;
    cmc_lens_shading4x4 lens_{};
    cmc_lens_shading_ratio ratio_{};
    std::vector<cmc_lens_shading_light_source> lens_entries_;
    std::vector<cmc_lens_shading_ratio_light_source> ratio_entries_;
    std::vector<std::vector<uint16_t>> storage_;
};

// Module tables in test-owned memory: `count` blocks of four planes of n floats, plane p of block b
// filled by gain(b, p, i).
class ModuleTables {
  public:
    ModuleTables(int count, size_t n, const std::function<float(int, int, size_t)> &gain) : n_(n) {
        blocks_.resize(count);
        pointers_.resize(count > 0 ? count : 1, nullptr);
        for (int b = 0; b < count; ++b) {
            blocks_[b].resize(4 * n + 1);
            for (int p = 0; p < 4; ++p)
                for (size_t i = 0; i < n; ++i) blocks_[b][p * n + i] = gain(b, p, i);
            pointers_[b] = blocks_[b].data();
        }
        tables_.table_count = uint8_t(count);
        tables_.tables = pointers_.data();
    }
    upscaled_lsc_tables *get() { return &tables_; }
    float *plane(int b, int p) { return blocks_[b].data() + p * n_; }
    void drop_block(int b) { pointers_[b] = nullptr; }

  private:
    size_t n_;
    std::vector<std::vector<float>> blocks_;
    std::vector<float *> pointers_;
    upscaled_lsc_tables tables_{};
};

}  // namespace oz::test
