// The two-way record codec: little-endian fields to JSON and back.
#include "codec.h"

#include <cmath>
#include <cstring>

namespace ozcmc {

std::string to_hex(const uint8_t *data, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    s.reserve(2 * size);
    for (size_t i = 0; i < size; ++i) {
        s.push_back(digits[data[i] >> 4]);
        s.push_back(digits[data[i] & 15]);
    }
    return s;
}

Bytes from_hex(const std::string &hex) {
    Bytes out;
    int high = -1;
    for (char ch : hex) {
        int v;
        if (ch >= '0' && ch <= '9') v = ch - '0';
        else if (ch >= 'a' && ch <= 'f') v = ch - 'a' + 10;
        else if (ch >= 'A' && ch <= 'F') v = ch - 'A' + 10;
        else if (ch == ' ' || ch == '\n' || ch == '\t') continue;
        else throw CodecError(std::string("not a hex digit: '") + ch + "'");
        if (high < 0) {
            high = v;
        } else {
            out.push_back(uint8_t(high << 4 | v));
            high = -1;
        }
    }
    if (high >= 0) throw CodecError("odd number of hex digits");
    return out;
}

Codec::Codec(bool reading, const uint8_t *data, size_t size, size_t pos, Json *out, const Json *in,
             Bytes *bytes, size_t base)
    : reading_(reading), data_(data), size_(size), pos_(pos), out_(out), in_(in), bytes_(bytes),
      base_(base) {}

Codec Codec::reader(const uint8_t *data, size_t size, size_t start, Json &out) {
    if (!out.is_object()) out = Json::object();
    return Codec(true, data, size, start, &out, nullptr, nullptr, 0);
}

Codec Codec::writer(const Json &in, Bytes &out, size_t base) {
    if (!in.is_object()) throw CodecError("expected a JSON object");
    return Codec(false, nullptr, 0, 0, nullptr, &in, &out, base);
}

size_t Codec::offset() const { return reading_ ? pos_ : bytes_->size() - base_; }

size_t Codec::remaining() const { return reading_ ? size_ - pos_ : 0; }

bool Codec::has(const char *name, size_t width) const {
    return reading_ ? size_ - pos_ >= width : in_->contains(name);
}

void Codec::fail(const std::string &what) const {
    throw CodecError(path_ + what);  // path_ is empty or ends with '.'; `what` starts with the field
}

const Json &Codec::field(const char *name) const {
    auto it = in_->find(name);
    if (it == in_->end()) fail(std::string("missing field \"") + name + "\"");
    return *it;
}

uint64_t Codec::take(int width) {
    if (size_ - pos_ < size_t(width)) fail("record ends at byte " + std::to_string(size_) +
                                           ", inside a field at byte " + std::to_string(pos_));
    uint64_t v = 0;
    for (int i = 0; i < width; ++i) v |= uint64_t(data_[pos_ + i]) << (8 * i);
    pos_ += width;
    return v;
}

void Codec::put(uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes_->push_back(uint8_t(value >> (8 * i)));
}

namespace {

uint64_t mask(int width) { return width == 8 ? ~uint64_t(0) : (uint64_t(1) << (8 * width)) - 1; }

// A JSON integer in the range of a field of `width` bytes; signed fields also take negative values.
uint64_t json_int(const Json &v, int width, bool is_signed, const std::string &name) {
    if (v.is_number_unsigned() || (v.is_number_integer() && v.get<int64_t>() >= 0)) {
        uint64_t u = v.get<uint64_t>();
        uint64_t limit = is_signed ? mask(width) >> 1 : mask(width);
        if (u > limit) throw CodecError(name + ": " + std::to_string(u) + " does not fit in " +
                                        std::to_string(width) + " bytes");
        return u;
    }
    if (v.is_number_integer()) {
        int64_t s = v.get<int64_t>();
        int64_t low = width == 8 ? INT64_MIN : -(int64_t(1) << (8 * width - 1));
        if (!is_signed || s < low)
            throw CodecError(name + ": " + std::to_string(s) + " is out of range");
        return uint64_t(s) & mask(width);
    }
    throw CodecError(name + ": expected an integer, got " + v.dump());
}

int64_t sign_extend(uint64_t v, int width) {
    if (width == 8) return int64_t(v);
    const uint64_t sign = uint64_t(1) << (8 * width - 1);
    return int64_t((v ^ sign) - sign);
}

// Floats are numbers when finite (printed with enough digits to come back exact) and "f32:xxxxxxxx"
// bit strings otherwise, since JSON has no NaN or infinity.
Json float_json(uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, 4);
    if (std::isfinite(f)) return double(f);
    char buf[16];
    std::snprintf(buf, sizeof buf, "f32:%08x", bits);
    return buf;
}

uint32_t float_bits(const Json &v, const std::string &name) {
    if (v.is_number()) {
        float f = float(v.get<double>());
        uint32_t bits;
        std::memcpy(&bits, &f, 4);
        return bits;
    }
    if (v.is_string()) {
        const std::string s = v.get<std::string>();
        if (s.size() == 12 && s.rfind("f32:", 0) == 0) return uint32_t(std::stoul(s.substr(4), nullptr, 16));
    }
    throw CodecError(name + ": expected a number or \"f32:xxxxxxxx\", got " + v.dump());
}

}  // namespace

uint64_t Codec::unsigned_field(const char *name, int width) {
    if (reading_) {
        uint64_t v = take(width);
        (*out_)[name] = v;
        return v;
    }
    uint64_t v = json_int(field(name), width, false, path_ + name);
    put(v, width);
    return v;
}

int64_t Codec::signed_field(const char *name, int width) {
    if (reading_) {
        int64_t v = sign_extend(take(width), width);
        (*out_)[name] = v;
        return v;
    }
    uint64_t v = json_int(field(name), width, true, path_ + name);
    put(v, width);
    return sign_extend(v, width);
}

float Codec::f32(const char *name) {
    uint32_t bits;
    if (reading_) {
        bits = uint32_t(take(4));
        (*out_)[name] = float_json(bits);
    } else {
        bits = float_bits(field(name), path_ + name);
        put(bits, 4);
    }
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
}

void Codec::hex(const char *name, size_t length) {
    if (reading_) {
        if (size_ - pos_ < length)
            fail(std::string(name) + ": " + std::to_string(length) + " bytes do not fit in the " +
                 std::to_string(size_ - pos_) + " bytes left");
        (*out_)[name] = to_hex(data_ + pos_, length);
        pos_ += length;
        return;
    }
    const Json &v = field(name);
    if (!v.is_string()) fail(std::string(name) + ": expected a hex string");
    Bytes b = from_hex(v.get<std::string>());
    if (b.size() != length)
        fail(std::string(name) + ": expected " + std::to_string(length) + " bytes, got " +
             std::to_string(b.size()));
    bytes_->insert(bytes_->end(), b.begin(), b.end());
}

std::string Codec::cstring(const char *name) {
    if (reading_) {
        const void *nul = std::memchr(data_ + pos_, 0, size_ - pos_);
        if (nul == nullptr) fail(std::string(name) + ": no NUL before the end of the record");
        size_t len = static_cast<const uint8_t *>(nul) - (data_ + pos_);
        std::string s(reinterpret_cast<const char *>(data_ + pos_), len);
        pos_ += len + 1;
        // Bytes that are not printable ASCII would not survive a UTF-8 round trip; such strings are
        // refused so that the record falls back to its raw bytes.
        for (unsigned char ch : s)
            if (ch < 0x20 || ch > 0x7e) fail(std::string(name) + ": not printable ASCII");
        (*out_)[name] = s;
        return s;
    }
    const Json &v = field(name);
    if (!v.is_string()) fail(std::string(name) + ": expected a string");
    std::string s = v.get<std::string>();
    if (s.find('\0') != std::string::npos) fail(std::string(name) + ": contains a NUL");
    bytes_->insert(bytes_->end(), s.begin(), s.end());
    bytes_->push_back(0);
    return s;
}

uint64_t Codec::check_count(const char *name, uint64_t count, uint64_t width) const {
    if (reading_ && (width == 0 ? false : count > (size_ - pos_) / width))
        fail(std::string(name) + ": " + std::to_string(count) + " items of " + std::to_string(width) +
             " bytes do not fit in the " + std::to_string(size_ - pos_) + " bytes left");
    return count;
}

std::vector<int64_t> Codec::ints(const char *name, uint64_t count, int width, bool is_signed) {
    std::vector<int64_t> values;
    if (reading_) {
        check_count(name, count, width);
        Json arr = Json::array();
        for (uint64_t i = 0; i < count; ++i) {
            uint64_t raw = take(width);
            int64_t v = is_signed ? sign_extend(raw, width) : int64_t(raw);
            values.push_back(v);
            arr.push_back(v);
        }
        (*out_)[name] = std::move(arr);
        return values;
    }
    const Json &arr = field(name);
    if (!arr.is_array() || arr.size() != count)
        fail(std::string(name) + ": expected an array of " + std::to_string(count) + " values");
    for (const Json &v : arr) {
        uint64_t raw = json_int(v, width, is_signed, path_ + name);
        put(raw, width);
        values.push_back(is_signed ? sign_extend(raw, width) : int64_t(raw));
    }
    return values;
}

void Codec::f32s(const char *name, uint64_t count) {
    if (reading_) {
        check_count(name, count, 4);
        Json arr = Json::array();
        for (uint64_t i = 0; i < count; ++i) arr.push_back(float_json(uint32_t(take(4))));
        (*out_)[name] = std::move(arr);
        return;
    }
    const Json &arr = field(name);
    if (!arr.is_array() || arr.size() != count)
        fail(std::string(name) + ": expected an array of " + std::to_string(count) + " numbers");
    for (const Json &v : arr) put(float_bits(v, path_ + name), 4);
}

void Codec::hexes(const char *name, uint64_t count, size_t length) {
    if (reading_) {
        check_count(name, count, length);
        Json arr = Json::array();
        for (uint64_t i = 0; i < count; ++i) {
            arr.push_back(to_hex(data_ + pos_, length));
            pos_ += length;
        }
        (*out_)[name] = std::move(arr);
        return;
    }
    const Json &arr = field(name);
    if (!arr.is_array() || arr.size() != count)
        fail(std::string(name) + ": expected an array of " + std::to_string(count) + " hex strings");
    for (const Json &v : arr) {
        if (!v.is_string()) fail(std::string(name) + ": expected hex strings");
        Bytes b = from_hex(v.get<std::string>());
        if (b.size() != length)
            fail(std::string(name) + ": expected items of " + std::to_string(length) + " bytes");
        bytes_->insert(bytes_->end(), b.begin(), b.end());
    }
}

Json Codec::read_grid(const char *name, uint64_t width, uint64_t height, int bytes, bool is_signed,
                      std::vector<int64_t> *values) {
    if (width != 0 && height > UINT64_MAX / width) fail(std::string(name) + ": grid size overflows");
    check_count(name, width * height, bytes);
    Json rows = Json::array();
    for (uint64_t r = 0; r < height; ++r) {
        Json row = Json::array();
        for (uint64_t q = 0; q < width; ++q) {
            uint64_t raw = take(bytes);
            int64_t v = is_signed ? sign_extend(raw, bytes) : int64_t(raw);
            if (values) values->push_back(v);
            row.push_back(v);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

void Codec::write_grid(const char *name, const Json &rows, uint64_t width, uint64_t height, int bytes,
                       bool is_signed, std::vector<int64_t> *values) {
    if (!rows.is_array() || rows.size() != height)
        fail(std::string(name) + ": expected " + std::to_string(height) + " rows");
    for (const Json &row : rows) {
        if (!row.is_array() || row.size() != width)
            fail(std::string(name) + ": expected rows of " + std::to_string(width) + " values");
        for (const Json &v : row) {
            uint64_t raw = json_int(v, bytes, is_signed, path_ + name);
            put(raw, bytes);
            if (values) values->push_back(is_signed ? sign_extend(raw, bytes) : int64_t(raw));
        }
    }
}

std::vector<int64_t> Codec::grid(const char *name, uint64_t width, uint64_t height, int bytes,
                                 bool is_signed) {
    std::vector<int64_t> values;
    if (reading_) (*out_)[name] = read_grid(name, width, height, bytes, is_signed, &values);
    else write_grid(name, field(name), width, height, bytes, is_signed, &values);
    return values;
}

void Codec::grids_u16(const char *name, uint64_t count, uint64_t width, uint64_t height) {
    if (reading_) {
        if (width != 0 && height > UINT64_MAX / width) fail(std::string(name) + ": grid size overflows");
        if (width * height != 0) check_count(name, count, 2 * width * height);
        // Empty tables take no bytes, so the record cannot bound their count; no layout has more than
        // 128 tables of a kind.
        else if (count > 128) fail(std::string(name) + ": " + std::to_string(count) + " empty tables");
        Json grids = Json::array();
        for (uint64_t i = 0; i < count; ++i) grids.push_back(read_grid(name, width, height, 2, false, nullptr));
        (*out_)[name] = std::move(grids);
        return;
    }
    const Json &grids = field(name);
    if (!grids.is_array() || grids.size() != count)
        fail(std::string(name) + ": expected " + std::to_string(count) + " tables");
    for (const Json &g : grids) write_grid(name, g, width, height, 2, false, nullptr);
}

void Codec::list(const char *name, uint64_t count, const std::function<void(Codec &, uint64_t)> &fn) {
    if (reading_) {
        // Every item takes at least one byte, which bounds a lying count before anything is built.
        check_count(name, count, 1);
        Json arr = Json::array();
        for (uint64_t i = 0; i < count; ++i) {
            Json item = Json::object();
            Codec sub(true, data_, size_, pos_, &item, nullptr, nullptr, 0);
            sub.path_ = path_ + name + "[" + std::to_string(i) + "].";
            fn(sub, i);
            pos_ = sub.pos_;
            arr.push_back(std::move(item));
        }
        (*out_)[name] = std::move(arr);
        return;
    }
    const Json &arr = field(name);
    if (!arr.is_array() || arr.size() != count)
        fail(std::string(name) + ": expected an array of " + std::to_string(count) + " items");
    for (uint64_t i = 0; i < count; ++i) {
        if (!arr[i].is_object()) fail(std::string(name) + ": expected objects");
        Codec sub(false, nullptr, 0, 0, nullptr, &arr[i], bytes_, base_);
        sub.path_ = path_ + name + "[" + std::to_string(i) + "].";
        fn(sub, i);
    }
}

void Codec::object(const char *name, const std::function<void(Codec &)> &fn) {
    if (reading_) {
        Json item = Json::object();
        Codec sub(true, data_, size_, pos_, &item, nullptr, nullptr, 0);
        sub.path_ = path_ + name + ".";
        fn(sub);
        pos_ = sub.pos_;
        (*out_)[name] = std::move(item);
        return;
    }
    const Json &v = field(name);
    if (!v.is_object()) fail(std::string(name) + ": expected an object");
    Codec sub(false, nullptr, 0, 0, nullptr, &v, bytes_, base_);
    sub.path_ = path_ + name + ".";
    fn(sub);
}

void Codec::rest(const char *name) {
    if (reading_) {
        if (pos_ < size_) (*out_)[name] = to_hex(data_ + pos_, size_ - pos_);
        pos_ = size_;
        return;
    }
    auto it = in_->find(name);
    if (it == in_->end()) return;
    if (!it->is_string()) fail(std::string(name) + ": expected a hex string");
    Bytes b = from_hex(it->get<std::string>());
    bytes_->insert(bytes_->end(), b.begin(), b.end());
}

}  // namespace ozcmc
