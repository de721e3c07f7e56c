// Image helpers of the renderer.
#include "image.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace ozcmc {

Image::Image(int w, int h, Rgb background) : width(w), height(h), rgb(size_t(w) * size_t(h) * 3) {
    fill(0, 0, w, h, background);
}

void Image::set(int x, int y, Rgb c) {
    if (x < 0 || y < 0 || x >= width || y >= height) return;
    uint8_t *p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
}

Rgb Image::get(int x, int y) const {
    const uint8_t *p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
    return {p[0], p[1], p[2]};
}

void Image::fill(int x, int y, int w, int h, Rgb c) {
    for (int j = y; j < y + h; ++j)
        for (int i = x; i < x + w; ++i) set(i, j, c);
}

namespace {

Rgb blend(const Rgb *stops, int count, double t) {
    if (!(t >= 0)) t = 0;  // NaN too
    if (t > 1) t = 1;
    const double pos = t * (count - 1);
    const int i = std::min(int(pos), count - 2);
    const double f = pos - i;
    auto mix = [&](uint8_t a, uint8_t b) { return uint8_t(std::lround(a + (b - a) * f)); };
    return {mix(stops[i].r, stops[i + 1].r), mix(stops[i].g, stops[i + 1].g), mix(stops[i].b, stops[i + 1].b)};
}

// 3 x 5 glyphs, one string of 15 bits per character, rows top to bottom.
struct Glyph {
    char ch;
    const char *bits;
};
constexpr Glyph kFont[] = {
    {'0', "111101101101111"}, {'1', "010110010010111"}, {'2', "111001111100111"},
    {'3', "111001111001111"}, {'4', "101101111001001"}, {'5', "111100111001111"},
    {'6', "111100111101111"}, {'7', "111001001001001"}, {'8', "111101111101111"},
    {'9', "111101111001111"}, {'.', "000000000000010"}, {'-', "000000111000000"},
    {'+', "000010111010000"}, {':', "000010000010000"}, {'/', "001001010100100"},
    {'=', "000111000111000"}, {'_', "000000000000111"}, {'(', "010100100100010"},
    {')', "010001001001010"}, {'%', "101001010100101"}, {',', "000000000010100"},
    {'A', "010101111101101"}, {'B', "110101110101110"}, {'C', "011100100100011"},
    {'D', "110101101101110"}, {'E', "111100110100111"}, {'F', "111100110100100"},
    {'G', "011100101101011"}, {'H', "101101111101101"}, {'I', "111010010010111"},
    {'J', "001001001101010"}, {'K', "101101110101101"}, {'L', "100100100100111"},
    {'M', "101111111101101"}, {'N', "110101101101101"}, {'O', "010101101101010"},
    {'P', "110101110100100"}, {'Q', "010101101110011"}, {'R', "110101110101101"},
    {'S', "011100010001110"}, {'T', "111010010010010"}, {'U', "101101101101111"},
    {'V', "101101101101010"}, {'W', "101101111111101"}, {'X', "101101010101101"},
    {'Y', "101101010010010"}, {'Z', "111001010100111"},
};

const char *glyph(char ch) {
    if (ch >= 'a' && ch <= 'z') ch = char(ch - 'a' + 'A');
    for (const Glyph &g : kFont)
        if (g.ch == ch) return g.bits;
    return nullptr;
}

}  // namespace

Rgb sequential_colour(double t) {
    static const Rgb stops[] = {{68, 1, 84}, {59, 82, 139}, {33, 145, 140}, {94, 201, 98}, {253, 231, 37}};
    return blend(stops, 5, t);
}

Rgb diverging_colour(double t) {
    static const Rgb stops[] = {{59, 76, 192}, {221, 221, 221}, {180, 4, 38}};
    return blend(stops, 3, t);
}

void draw_text(Image &img, int x, int y, const std::string &text, Rgb colour, int scale) {
    for (size_t i = 0; i < text.size(); ++i) {
        const char *bits = glyph(text[i]);
        if (bits == nullptr) continue;
        for (int r = 0; r < 5; ++r)
            for (int c = 0; c < 3; ++c)
                if (bits[r * 3 + c] == '1')
                    img.fill(x + int(i) * 4 * scale + c * scale, y + r * scale, scale, scale, colour);
    }
}

namespace {

// The libpng part of write_png. libpng reports errors by longjmp, so nothing here may own resources
// or hold C++ objects across the setjmp: only plain pointers and integers.
bool encode_png(FILE *file, const uint8_t *rgb, int width, int height, png_text *text, int text_count) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, png_uint_32(width), png_uint_32(height), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (text_count > 0) png_set_text(png, info, text, text_count);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y) png_write_row(png, const_cast<png_bytep>(rgb + size_t(y) * size_t(width) * 3));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

bool write_png(const std::string &path, const Image &img,
               const std::vector<std::pair<std::string, std::string>> &text, std::string *error) {
    std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "wb"), &std::fclose);
    if (!file) {
        *error = "cannot write " + path;
        return false;
    }
    std::vector<png_text> chunks(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        chunks[i].compression = PNG_TEXT_COMPRESSION_NONE;
        chunks[i].key = const_cast<char *>(text[i].first.c_str());
        chunks[i].text = const_cast<char *>(text[i].second.c_str());
        chunks[i].text_length = text[i].second.size();
    }
    if (!encode_png(file.get(), img.rgb.data(), img.width, img.height, chunks.data(), int(chunks.size()))) {
        *error = "libpng failed writing " + path;
        return false;
    }
    return true;
}

}  // namespace ozcmc
