// RGB images for the rendered heatmaps: a colour map, a small bitmap font, and PNG output (libpng).
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ozcmc {

struct Rgb {
    uint8_t r, g, b;
};

struct Image {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> rgb;  // row-major, 3 bytes per pixel

    Image(int w, int h, Rgb background);
    void set(int x, int y, Rgb c);
    Rgb get(int x, int y) const;
    void fill(int x, int y, int w, int h, Rgb c);
};

// Sequential map (dark violet to yellow) for t in [0, 1]; diverging map (blue, white, red) for the
// difference maps. Values outside [0, 1] are clamped.
Rgb sequential_colour(double t);
Rgb diverging_colour(double t);

// Text in a 3 x 5 pixel font drawn `scale` times larger; each character takes 4 * scale pixels.
// Lower-case letters are drawn as capitals; characters without a glyph as blanks.
void draw_text(Image &img, int x, int y, const std::string &text, Rgb colour, int scale);
inline int text_width(const std::string &text, int scale) { return int(text.size()) * 4 * scale; }

// Writes an 8-bit RGB PNG with tEXt chunks. Returns false with a message in `error` on failure.
bool write_png(const std::string &path, const Image &img,
               const std::vector<std::pair<std::string, std::string>> &text, std::string *error);

}  // namespace ozcmc
