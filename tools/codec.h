// A two-way codec between record bytes and their readable JSON description. One layout function per
// record kind describes the fields in byte order (`c.u16("width")`, `c.grid_u16("table", w, h)`, ...);
// run with a reading codec it turns bytes into JSON (unpack), run with a writing codec it turns the
// same JSON back into the same bytes (pack). Because both directions run the very same calls, the
// round trip pack(unpack(x)) == x holds by construction for every record the layout accepts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace ozcmc {

using Json = nlohmann::ordered_json;
using Bytes = std::vector<uint8_t>;

// Thrown when bytes end before the layout does (unpack) or the JSON lacks or mistypes a field (pack).
struct CodecError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string to_hex(const uint8_t *data, size_t size);
Bytes from_hex(const std::string &hex);  // whitespace is ignored; throws CodecError on bad digits

class Codec {
  public:
    // Reads `size` bytes starting at `start` into `out` (an object).
    static Codec reader(const uint8_t *data, size_t size, size_t start, Json &out);
    // Appends the bytes described by `in` (an object) to `out`; offsets count from out[base].
    static Codec writer(const Json &in, Bytes &out, size_t base = 0);

    bool unpacking() const { return reading_; }
    // Offset of the next field, counted like the record's own offsets (from the record's first byte).
    size_t offset() const;
    // Bytes left in the record (unpack only; 0 when packing).
    size_t remaining() const;
    // Whether an optional field is there: in the bytes when unpacking (at least `width` left), in the
    // JSON when packing.
    bool has(const char *name, size_t width) const;

    uint64_t u8(const char *name) { return unsigned_field(name, 1); }
    uint64_t u16(const char *name) { return unsigned_field(name, 2); }
    uint64_t u32(const char *name) { return unsigned_field(name, 4); }
    uint64_t u64(const char *name) { return unsigned_field(name, 8); }
    int64_t i8(const char *name) { return signed_field(name, 1); }
    int64_t i16(const char *name) { return signed_field(name, 2); }
    int64_t i32(const char *name) { return signed_field(name, 4); }
    float f32(const char *name);
    // Fixed-length bytes shown as a hex string.
    void hex(const char *name, size_t length);
    // A NUL-terminated string (the NUL is part of the field).
    std::string cstring(const char *name);

    // Arrays of `count` values of one type.
    std::vector<int64_t> u8s(const char *name, uint64_t count) { return ints(name, count, 1, false); }
    std::vector<int64_t> i8s(const char *name, uint64_t count) { return ints(name, count, 1, true); }
    std::vector<int64_t> u16s(const char *name, uint64_t count) { return ints(name, count, 2, false); }
    std::vector<int64_t> u32s(const char *name, uint64_t count) { return ints(name, count, 4, false); }
    std::vector<int64_t> i32s(const char *name, uint64_t count) { return ints(name, count, 4, true); }
    void f32s(const char *name, uint64_t count);
    void hexes(const char *name, uint64_t count, size_t length);  // `count` hex strings of `length`
    // Row-major grids shown as `height` rows of `width` values; the values are returned row-major.
    std::vector<int64_t> grid_u16(const char *name, uint64_t width, uint64_t height) {
        return grid(name, width, height, 2, false);
    }
    std::vector<int64_t> grid_i32(const char *name, uint64_t width, uint64_t height) {
        return grid(name, width, height, 4, true);
    }
    std::vector<int64_t> grid_u8(const char *name, uint64_t width, uint64_t height) {
        return grid(name, width, height, 1, false);
    }
    std::vector<int64_t> grid_i8(const char *name, uint64_t width, uint64_t height) {
        return grid(name, width, height, 1, true);
    }
    // `count` u16 grids of the same size, shown as an array of grids.
    void grids_u16(const char *name, uint64_t count, uint64_t width, uint64_t height);

    // An array of `count` objects, each described by fn(item codec, index).
    void list(const char *name, uint64_t count, const std::function<void(Codec &, uint64_t)> &fn);
    // A nested object.
    void object(const char *name, const std::function<void(Codec &)> &fn);

    // The remaining bytes of the record (unpack), or the JSON's `name` hex (pack), when non-empty.
    void rest(const char *name);

  private:
    Codec(bool reading, const uint8_t *data, size_t size, size_t pos, Json *out, const Json *in,
          Bytes *bytes, size_t base);
    uint64_t unsigned_field(const char *name, int width);
    int64_t signed_field(const char *name, int width);
    std::vector<int64_t> ints(const char *name, uint64_t count, int width, bool is_signed);
    std::vector<int64_t> grid(const char *name, uint64_t width, uint64_t height, int bytes, bool is_signed);
    Json read_grid(const char *name, uint64_t width, uint64_t height, int bytes, bool is_signed,
                   std::vector<int64_t> *values);
    void write_grid(const char *name, const Json &rows, uint64_t width, uint64_t height, int bytes,
                    bool is_signed, std::vector<int64_t> *values);
    uint64_t take(int width);                      // reading: next little-endian value
    void put(uint64_t value, int width);           // writing
    const Json &field(const char *name) const;     // writing: the JSON value of a field
    [[noreturn]] void fail(const std::string &what) const;
    uint64_t check_count(const char *name, uint64_t count, uint64_t width) const;

    bool reading_;
    const uint8_t *data_ = nullptr;
    size_t size_ = 0;
    size_t pos_ = 0;
    Json *out_ = nullptr;
    const Json *in_ = nullptr;
    Bytes *bytes_ = nullptr;
    size_t base_ = 0;  // writing: where this record starts in bytes_
    std::string path_;
};

}  // namespace ozcmc
