// The renderer: builds pages of tiles from parse results and writes them as PNG files.
#include "render.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "findings.h"
#include "lsc/upscale_polynom.h"
#include "image.h"
#include "oz_cmc.h"
#include "oz_nvm.h"

namespace ozcmc {
namespace {

constexpr int kText = 2;            // font scale
constexpr int kChar = 4 * kText;    // character advance
constexpr int kLine = 6 * kText;    // line height
constexpr int kMargin = 12;
constexpr int kValueChars = 10;     // "TL 1.23456"
constexpr Rgb kBackground{255, 255, 255};
constexpr Rgb kInk{20, 20, 20};

struct Tile {
    std::string label;
    unsigned width = 0, height = 0;
    std::vector<double> values;  // row-major
    double at(unsigned r, unsigned q) const { return values[size_t(r) * width + q]; }
};

struct Page {
    std::string file, title;
    std::vector<Tile> tiles;
    int columns = 2;
    bool diverging = false;
};

std::string format_value(double v) {
    char buf[32];
    if (std::fabs(v) < 10) std::snprintf(buf, sizeof buf, "%.4f", v);
    else std::snprintf(buf, sizeof buf, "%.1f", v);
    return buf;
}

// Pixels per sample: tables of up to 160 samples a side are drawn at least 160 pixels wide.
int pixel_scale(const std::vector<Tile> &tiles) {
    unsigned side = 1;
    for (const Tile &t : tiles) side = std::max({side, t.width, t.height});
    return std::clamp(int(160 / side), 1, 16);
}

void range_of(const std::vector<Page> &pages, double *lo, double *hi) {
    *lo = INFINITY;
    *hi = -INFINITY;
    for (const Page &p : pages)
        for (const Tile &t : p.tiles)
            for (double v : t.values) {
                *lo = std::min(*lo, v);
                *hi = std::max(*hi, v);
            }
    if (!(*lo <= *hi)) *lo = *hi = 0;
}

Image draw_page(const Page &page, double lo, double hi, int k) {
    unsigned max_w = 1, max_h = 1;
    for (const Tile &t : page.tiles) {
        max_w = std::max(max_w, t.width);
        max_h = std::max(max_h, t.height);
    }
    const int block_w = int(max_w) * k + kChar + kValueChars * kChar + kMargin;
    const int block_h = kLine + 2 + std::max(int(max_h) * k, 5 * kLine) + kMargin;
    const int columns = std::max(1, std::min(page.columns, int(page.tiles.size())));
    const int rows = int((page.tiles.size() + size_t(columns) - 1) / size_t(columns));
    const int bar_w = 20, bar_h = std::max(5 * kLine, std::min(240, rows * block_h - kMargin));
    const int grid_top = kMargin + 2 * kLine;
    const int width = kMargin + columns * block_w + bar_w + kChar + kValueChars * kChar + kMargin;
    const int height = std::max(grid_top + rows * block_h, grid_top + bar_h + kLine) + kMargin;
    Image img(width, height, kBackground);
    draw_text(img, kMargin, kMargin, page.title, kInk, kText);

    auto colour = [&](double v) {
        const double t = hi > lo ? (v - lo) / (hi - lo) : 0.5;
        return page.diverging ? diverging_colour(t) : sequential_colour(t);
    };
    for (size_t i = 0; i < page.tiles.size(); ++i) {
        const Tile &t = page.tiles[i];
        const int x0 = kMargin + int(i % size_t(columns)) * block_w;
        const int y0 = grid_top + int(i / size_t(columns)) * block_h;
        draw_text(img, x0, y0, t.label, kInk, kText);
        const int top = y0 + kLine + 2;
        for (unsigned r = 0; r < t.height; ++r)
            for (unsigned q = 0; q < t.width; ++q) img.fill(x0 + int(q) * k, top + int(r) * k, k, k, colour(t.at(r, q)));
        if (t.width == 0 || t.height == 0) continue;
        const int tx = x0 + int(t.width) * k + kChar;
        const unsigned rb = t.height - 1, qb = t.width - 1;
        const std::pair<const char *, double> values[] = {
            {"TL ", t.at(0, 0)}, {"TR ", t.at(0, qb)}, {"BL ", t.at(rb, 0)}, {"BR ", t.at(rb, qb)},
            {"C  ", t.at(t.height / 2, t.width / 2)}};
        for (int l = 0; l < 5; ++l)
            draw_text(img, tx, top + l * kLine, values[l].first + format_value(values[l].second), kInk, kText);
    }
    // Colour bar: maximum at the top, minimum at the bottom.
    const int bx = kMargin + columns * block_w, by = grid_top + kLine / 2;
    for (int y = 0; y < bar_h; ++y) {
        const double t = bar_h > 1 ? 1.0 - double(y) / (bar_h - 1) : 0.5;
        img.fill(bx, by + y, bar_w, 1, page.diverging ? diverging_colour(t) : sequential_colour(t));
    }
    draw_text(img, bx + bar_w + kChar, by, format_value(hi), kInk, kText);
    draw_text(img, bx + bar_w + kChar, by + bar_h / 2 - kLine / 2, format_value((lo + hi) / 2), kInk, kText);
    draw_text(img, bx + bar_w + kChar, by + bar_h - 5 * kText, format_value(lo), kInk, kText);
    return img;
}

const char *kCellNames[4][4] = {{"00", "01", "02", "03"}, {"10", "11", "12", "13"},
                                {"20", "21", "22", "23"}, {"30", "31", "32", "33"}};

// Colour of a cell of the table pattern for the colour-filter layouts with one colour per cell
// (record 2's cfa_pattern 0 to 3 and 128 to 131), or null.
const char *cell_colour(int cfa, int r, int c) {
    static const char *const k2x2[4][2][2] = {{{"GR", "R"}, {"B", "GB"}},
                                              {{"R", "GR"}, {"GB", "B"}},
                                              {{"B", "GB"}, {"GR", "R"}},
                                              {{"GB", "B"}, {"R", "GR"}}};
    if (cfa >= 0 && cfa <= 3 && r < 2 && c < 2) return k2x2[cfa][r][c];
    if (cfa >= 128 && cfa <= 131 && r < 2) return k2x2[cfa - 128][r][c / 2];
    return nullptr;
}

// Tables of one lens-shading or ratio entry as gains (sample / 2^fraction_bits), one tile per cell.
template <class Entry>
std::vector<Tile> entry_tiles(const Entry &e, unsigned w, unsigned h, int cfa) {
    std::vector<Tile> tiles;
    const double scale = std::ldexp(1.0, -int(e.fraction_bits));
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            if (e.tables[r][c] == nullptr) continue;
            Tile t{std::string("CELL ") + kCellNames[r][c], w, h, {}};
            if (const char *colour = cell_colour(cfa, r, c)) t.label += std::string(" ") + colour;
            t.values.resize(size_t(w) * h);
            for (size_t i = 0; i < t.values.size(); ++i) t.values[i] = e.tables[r][c][i] * scale;
            tiles.push_back(std::move(t));
        }
    return tiles;
}

int map_columns(const int8_t (&map)[4][4]) {
    int cols = 1;
    for (const auto &row : map)
        for (int c = 0; c < 4; ++c)
            if (row[c] >= 0) cols = std::max(cols, c + 1);
    return cols;
}

template <class Shading>
std::vector<Page> shading_pages(const Shading *s, const std::string &stem, const std::string &what, int cfa) {
    std::vector<Page> pages;
    for (unsigned i = 0; s && s->light_sources && i < s->num_light_sources; ++i) {
        Page p;
        p.file = stem + "_ls" + std::to_string(i) + ".png";
        p.title = what + " LIGHT SOURCE " + std::to_string(i) + " (ID " +
                  std::to_string(s->light_sources[i].light_source) + ")";
        p.tiles = entry_tiles(s->light_sources[i], s->width, s->height, cfa);
        p.columns = map_columns(s->channel_map);
        pages.push_back(std::move(p));
    }
    return pages;
}

// The module's grids as gains 1 + s / 2^fraction_bits, in the orientation they are stored in.
std::vector<Page> module_pages(const nvm_data *nvm) {
    std::vector<Page> pages;
    const unsigned w = nvm->lsc_grid_width, h = nvm->lsc_grid_height;
    for (unsigned t = 0; nvm->lsc_tables && t < nvm->lsc_table_count; ++t) {
        const nvm_lsc_table &table = nvm->lsc_tables[t];
        Page p;
        p.file = "module_table" + std::to_string(t) + ".png";
        p.title = "MODULE TABLE " + std::to_string(t) + " GAINS";
        p.columns = 2;
        const double scale = std::ldexp(1.0, -int(table.fraction_bits));
        for (int c = 0; c < 4; ++c) {
            Tile tile{"CHANNEL " + std::to_string(c), w, h, {}};
            tile.values.resize(size_t(w) * h);
            for (size_t i = 0; i < tile.values.size(); ++i) {
                const double s = table.fraction_bits <= 8 ? static_cast<const uint8_t *>(table.channel_grids[c])[i]
                                                          : static_cast<const uint16_t *>(table.channel_grids[c])[i];
                tile.values[i] = 1.0 + s * scale;
            }
            if (table.channel_grids[c] == nullptr) tile.width = tile.height = 0, tile.values.clear();
            p.tiles.push_back(std::move(tile));
        }
        pages.push_back(std::move(p));
    }
    return pages;
}

// Module gains as floats per channel, in the stored orientation: 1 + s / 2^fraction_bits.
std::vector<float> module_gains(const nvm_data *nvm, const nvm_lsc_table &table, int channel) {
    const size_t cells = size_t(nvm->lsc_grid_width) * nvm->lsc_grid_height;
    std::vector<float> g(cells, 1.0f);
    if (table.channel_grids[channel] == nullptr || table.fraction_bits >= 32) return g;
    const float scale = float(uint32_t(1) << table.fraction_bits);
    for (size_t i = 0; i < cells; ++i) {
        const uint32_t s = table.fraction_bits <= 8 ? static_cast<const uint8_t *>(table.channel_grids[channel])[i]
                                                    : static_cast<const uint16_t *>(table.channel_grids[channel])[i];
        g[i] = float(s) / scale + 1.0f;
    }
    return g;
}

// How well the 15-term polynomial surface of the shading upscaling fits each module grid: the surface
// is fitted as the upscaling fits it (over the whole grid, without a 2-sample margin for method 2, in
// double over the cells of the valid circle for method 3) and evaluated back at the grid points; RMS and
// largest absolute difference per table and channel over the cells the fit used ("cells").
Json fit_report(const nvm_data *nvm, uint16_t method, const cmc_data *cmc) {
    Json rows = Json::array();
    const uint16_t w = nvm->lsc_grid_width, h = nvm->lsc_grid_height;
    const size_t cells = size_t(w) * h;
    if (cells == 0 || nvm->lsc_tables == nullptr) return rows;
    const bool margins = method == 2;
    const uint16_t margin = margins ? 2 : 0;
    // Cells that take part in the fit: all, the interior, or the valid circle.
    std::vector<uint32_t> used(cells, 1);
    if (margins) {
        for (size_t i = 0; i < cells; ++i) {
            const size_t r = i / w, c = i % w;
            used[i] = r >= margin && r + margin < h && c >= margin && c + margin < w;
        }
    }
    uint32_t valid_count = 0;
    oz::ValidCircle circle;
    const bool valid_area = method == 3;
    if (valid_area) {
        if (!oz::read_valid_circle(cmc, &circle)) return rows;  // no circle: the merge computes nothing either
        valid_count = oz::mark_valid_cells(circle, uint8_t(w), uint8_t(h), used.data());
    }
    std::vector<float> design(cells * 15), transposed(cells * 15), lu(15 * 15), compaction(cells);
    std::vector<double> design_d(valid_area ? cells * 15 : 0), transposed_d(design_d.size()), lu_d(valid_area ? 225 : 0);
    std::vector<uint32_t> permutation(15);
    const uint32_t fit =
        valid_area ? lu_decomposition_lsc_valid_area(design_d.data(), transposed_d.data(), lu_d.data(),
                                                     permutation.data(), w, h, 15, valid_count, used.data())
        : margins  ? lu_decomposition_lsc(design.data(), transposed.data(), lu.data(), permutation.data(), w, h, 15,
                                          margin, margin)
                   : lu_decomposition(design.data(), transposed.data(), lu.data(), permutation.data(), w, h, 15);
    if (fit != 0) return rows;
    for (unsigned t = 0; t < nvm->lsc_table_count; ++t) {
        std::vector<float> in[4], out[4];
        const float *in_planes[4];
        float *out_planes[4];
        for (int c = 0; c < 4; ++c) {
            in[c] = module_gains(nvm, nvm->lsc_tables[t], c);
            out[c].assign(cells, 0.0f);
            in_planes[c] = in[c].data();
            out_planes[c] = out[c].data();
        }
        const uint32_t status =
            valid_area ? lsc_polynomial_upscale_float_valid_area(transposed_d.data(), lu_d.data(), permutation.data(),
                                                                 in_planes, out_planes, w, h, w, h, 15, valid_count,
                                                                 compaction.data(), used.data())
                       : lsc_polynomial_upscale_float(transposed.data(), lu.data(), permutation.data(), in_planes,
                                                      out_planes, w, h, w, h, 15, margin, margin, margins);
        if (status != 0) continue;
        for (int c = 0; c < 4; ++c) {
            double sum = 0, worst = 0;
            size_t n = 0;
            for (size_t i = 0; i < cells; ++i) {
                if (used[i] != 1) continue;
                const double d = double(out[c][i]) - double(in[c][i]);
                sum += d * d;
                worst = std::max(worst, std::fabs(d));
                ++n;
            }
            rows.push_back({{"table", t}, {"channel", c}, {"cells", n}, {"rms", n ? std::sqrt(sum / double(n)) : 0.0},
                            {"max", worst}});
        }
    }
    return rows;
}

// The module's gains upscaled to the characterization's grid the way init does it for this container.
upscaled_lsc_tables *upscale_like_init(const cmc_data *cmc, const nvm_data *nvm, uint16_t width, uint16_t height) {
    const void *r17 = cmc->slot[CMC_SLOT_RECORD17];
    const void *ext = cmc->slot[CMC_SLOT_RECORD17_EXTENSION];
    uint16_t flip = 0, method = 0;
    if (r17) std::memcpy(&flip, static_cast<const uint8_t *>(r17) + 12, 2);
    if (ext) std::memcpy(&method, ext, 2);
    if (method == 3) return compute_upscaled_lsc_tables_polynom4th_valid_area(width, height, nvm, flip, cmc);
    return compute_upscaled_lsc_tables_polynom4th(width, height, nvm, flip, method == 2 ? 1 : 0);
}

// The upscaled module gains, one page per module table, planes labelled with the module's colours.
std::vector<Page> upscaled_pages(const upscaled_lsc_tables *t, unsigned w, unsigned h, uint16_t bayer_order) {
    static const char *const kPlanes[4][4] = {
        {"GR", "R", "B", "GB"}, {"R", "GR", "GB", "B"}, {"B", "GB", "GR", "R"}, {"GB", "B", "R", "GR"}};
    std::vector<Page> pages;
    for (unsigned i = 0; t && t->tables && i < t->table_count; ++i) {
        Page p;
        p.file = "module_upscaled" + std::to_string(i) + ".png";
        p.title = "MODULE TABLE " + std::to_string(i) + " UPSCALED GAINS";
        p.columns = 2;
        for (int c = 0; c < 4; ++c) {
            Tile tile{"PLANE " + std::to_string(c), w, h, {}};
            if (bayer_order < 4) tile.label += std::string(" ") + kPlanes[bayer_order][c];
            const float *plane = t->tables[i] + size_t(c) * w * h;
            tile.values.assign(plane, plane + size_t(w) * h);
            p.tiles.push_back(std::move(tile));
        }
        pages.push_back(std::move(p));
    }
    return pages;
}

bool write_pages(const std::vector<Page> &pages, double lo, double hi, const std::string &dir,
                 RenderReport *report, std::string *error) {
    if (pages.empty()) return true;
    std::vector<Tile> all;
    for (const Page &p : pages) all.insert(all.end(), p.tiles.begin(), p.tiles.end());
    const int k = pixel_scale(all);
    for (const Page &p : pages) {
        Image img = draw_page(p, lo, hi, k);
        const std::vector<std::pair<std::string, std::string>> text = {
            {"Title", p.title}, {"Scale-Min", format_value(lo)}, {"Scale-Max", format_value(hi)},
            {"Software", "ozcmc"}};
        if (!write_png(dir + "/" + p.file, img, text, error)) return false;
        report->pages.push_back({p.file, p.title, img.width, img.height, lo, hi, p.tiles.size()});
    }
    return true;
}

}  // namespace

bool render(const Bytes &container, const Bytes *calibration, const std::string &dir, RenderReport *report,
            std::string *error) {
    Analysis plain = analyse(container, nullptr);
    if (plain.result == nullptr) {
        *error = "the container is refused; run `ozcmc info` for the reason";
        return false;
    }
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        *error = "cannot create " + dir + ": " + ec.message();
        return false;
    }
    const auto *before = static_cast<const cmc_lens_shading4x4 *>(plain.result->slot[CMC_SLOT_LENS_SHADING]);
    // Cells are labelled with their colour when record 2 gives a one-colour-per-cell layout.
    const auto *record2 = static_cast<const cmc_record2 *>(plain.result->slot[CMC_SLOT_RECORD2]);
    const int cfa = record2 ? record2->cfa_pattern : -1;
    std::vector<Page> shading = shading_pages(before, "lens_shading", "LENS SHADING", cfa);
    if (before == nullptr) report->notes.push_back("no lens-shading tables (slot 54 is empty)");

    if (calibration == nullptr) {
        double lo, hi;
        range_of(shading, &lo, &hi);
        return write_pages(shading, lo, hi, dir, report, error);
    }

    Analysis merged = analyse(container, calibration);
    binary_data cal{calibration->data(), uint32_t(calibration->size())};
    nvm_data *nvm = nullptr;
    if (oz_nvm_parse(&cal, &nvm) != 0 || nvm == nullptr) {
        report->notes.push_back("the calibration blob is refused by the NVM library: no module pages");
    } else {
        std::vector<Page> module = module_pages(nvm);
        double lo, hi;
        range_of(module, &lo, &hi);
        bool ok = write_pages(module, lo, hi, dir, report, error);
        // The gains as the merge upscales them for this container's grid, and how well the surface fits.
        const cmc_data *cmc = plain.result;
        uint16_t method = 0, bayer_order = 0xFFFF;
        if (cmc->slot[CMC_SLOT_RECORD17_EXTENSION]) std::memcpy(&method, cmc->slot[CMC_SLOT_RECORD17_EXTENSION], 2);
        if (cmc->slot[CMC_SLOT_RECORD17]) std::memcpy(&bayer_order, static_cast<const uint8_t *>(cmc->slot[CMC_SLOT_RECORD17]) + 10, 2);
        if (ok && before != nullptr) {
            upscaled_lsc_tables *up = upscale_like_init(cmc, nvm, before->width, before->height);
            if (up == nullptr) report->notes.push_back("the module's gains could not be upscaled to the lens-shading grid");
            std::vector<Page> upscaled = upscaled_pages(up, before->width, before->height, bayer_order);
            deinit_computed_upscale_lsc_tables(up);
            range_of(upscaled, &lo, &hi);
            ok = write_pages(upscaled, lo, hi, dir, report, error);
        }
        report->fit = fit_report(nvm, method, cmc);
        oz_nvm_deinit(nvm);
        if (!ok) return false;
        std::ofstream(dir + "/fit_report.json") << report->fit.dump(2) << "\n";
    }

    const auto *ratio = static_cast<const cmc_lens_shading_ratio *>(merged.result->slot[CMC_SLOT_LENS_SHADING_RATIO]);
    std::vector<Page> ratios = shading_pages(ratio, "ratio", "RATIO", cfa);
    if (ratio == nullptr) report->notes.push_back("no shading ratios (slot 57 is empty)");
    double lo, hi;
    range_of(ratios, &lo, &hi);
    if (!write_pages(ratios, lo, hi, dir, report, error)) return false;

    // Before and after share one scale so that the two read alike.
    const auto *after = static_cast<const cmc_lens_shading4x4 *>(merged.result->slot[CMC_SLOT_LENS_SHADING]);
    std::vector<Page> merged_pages = shading_pages(after, "merged", "MERGED", cfa);
    std::vector<Page> both = shading;
    both.insert(both.end(), merged_pages.begin(), merged_pages.end());
    range_of(both, &lo, &hi);
    if (!write_pages(shading, lo, hi, dir, report, error)) return false;
    if (!write_pages(merged_pages, lo, hi, dir, report, error)) return false;

    // Differences, merged minus before, on a scale symmetric around zero.
    std::vector<Page> diffs;
    for (size_t i = 0; i < shading.size() && i < merged_pages.size(); ++i) {
        Page d;
        d.file = "difference_ls" + std::to_string(i) + ".png";
        d.title = "MERGED - BEFORE LIGHT SOURCE " + std::to_string(i);
        d.columns = shading[i].columns;
        d.diverging = true;
        for (size_t t = 0; t < shading[i].tiles.size() && t < merged_pages[i].tiles.size(); ++t) {
            Tile tile = shading[i].tiles[t];
            for (size_t k = 0; k < tile.values.size(); ++k) tile.values[k] = merged_pages[i].tiles[t].values[k] - tile.values[k];
            d.tiles.push_back(std::move(tile));
        }
        diffs.push_back(std::move(d));
    }
    range_of(diffs, &lo, &hi);
    const double m = std::max(std::fabs(lo), std::fabs(hi));
    return write_pages(diffs, -m, m, dir, report, error);
}

}  // namespace ozcmc
