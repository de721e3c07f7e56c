// Test kit builders: records, containers and calibration blobs.
#include "tests/kit/builder.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace oz::test {

namespace {
void put(Bytes &b, size_t off, uint64_t v, int width) {
    if (b.size() < off + width) b.resize(off + width, 0);
    for (int i = 0; i < width; ++i) b[off + i] = uint8_t(v >> (8 * i));
}

// When OZ_KIT_CONTAINER_DIR names a folder, every container built is also written there, named by a
// hash of its bytes, so that the tool's tests can run their JSON round trip on each of them.
void keep_for_round_trip(const Bytes &container) {
    const char *dir = std::getenv("OZ_KIT_CONTAINER_DIR");
    if (dir == nullptr || *dir == 0) return;
    uint64_t h = 1469598103934665603u;  // FNV-1a
    for (uint8_t b : container) h = (h ^ b) * 1099511628211u;
    char name[32];
    std::snprintf(name, sizeof name, "/%016llx.bin", static_cast<unsigned long long>(h));
    if (FILE *f = std::fopen((std::string(dir) + name).c_str(), "wb")) {
        std::fwrite(container.data(), 1, container.size(), f);
        std::fclose(f);
    }
}

}  // namespace

uint16_t le16(const void *p) {
    const uint8_t *b = static_cast<const uint8_t *>(p);
    return uint16_t(b[0] | b[1] << 8);
}
uint32_t le32(const void *p) {
    const uint8_t *b = static_cast<const uint8_t *>(p);
    return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
}

RecordBuilder::RecordBuilder(uint16_t id, uint8_t version) : bytes_(8, 0), id_(id), version_(version) {}

void RecordBuilder::ensure(uint32_t end) {
    if (bytes_.size() < end) bytes_.resize(end, 0);
}
RecordBuilder &RecordBuilder::u8(uint32_t off, uint8_t v) { put(bytes_, off, v, 1); return *this; }
RecordBuilder &RecordBuilder::u16(uint32_t off, uint16_t v) { put(bytes_, off, v, 2); return *this; }
RecordBuilder &RecordBuilder::u32(uint32_t off, uint32_t v) { put(bytes_, off, v, 4); return *this; }
RecordBuilder &RecordBuilder::u64(uint32_t off, uint64_t v) { put(bytes_, off, v, 8); return *this; }
RecordBuilder &RecordBuilder::f32(uint32_t off, float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    return u32(off, bits);
}
RecordBuilder &RecordBuilder::bytes(uint32_t off, const Bytes &b) {
    ensure(off + uint32_t(b.size()));
    std::copy(b.begin(), b.end(), bytes_.begin() + off);
    return *this;
}
RecordBuilder &RecordBuilder::text(uint32_t off, std::string_view s) {
    ensure(off + uint32_t(s.size()) + 1);
    std::memcpy(bytes_.data() + off, s.data(), s.size());
    bytes_[off + s.size()] = 0;
    return *this;
}
RecordBuilder &RecordBuilder::length(uint32_t n) {
    bytes_.resize(n, 0);  // below 8 the record is cut inside its own header
    return *this;
}
RecordBuilder &RecordBuilder::size_field(uint32_t s) {
    size_overridden_ = true;
    size_field_ = s;
    return *this;
}
RecordBuilder &RecordBuilder::reserved(uint8_t v) {
    reserved_ = v;
    return *this;
}
Bytes RecordBuilder::build() const {
    Bytes out = bytes_;
    Bytes header(8, 0);
    put(header, 0, size_overridden_ ? size_field_ : uint32_t(out.size()), 4);
    header[4] = version_;
    header[5] = reserved_;
    put(header, 6, id_, 2);
    for (size_t i = 0; i < 8 && i < out.size(); ++i) out[i] = header[i];
    return out;
}

ContainerBuilder &ContainerBuilder::add(const Bytes &raw) {
    body_.insert(body_.end(), raw.begin(), raw.end());
    return *this;
}
ContainerBuilder &ContainerBuilder::header_word(int index, uint32_t v) {
    const int slot = index == 0 ? 0 : index - 1;  // words 0, 2, 3, 4 are free; 1 is total_size
    words_[size_t(slot)] = v;
    return *this;
}
ContainerBuilder &ContainerBuilder::trailing(const Bytes &b) { return add(b); }
ContainerBuilder &ContainerBuilder::checksum(Checksum form) {
    form_ = form;
    return *this;
}
ContainerBuilder &ContainerBuilder::checksum_value(uint32_t v) {
    value_set_ = true;
    value_ = v;
    return *this;
}
ContainerBuilder &ContainerBuilder::corrupt_checksum(uint32_t delta) {
    delta_ = delta;
    return *this;
}
ContainerBuilder &ContainerBuilder::total_size(uint32_t v) {
    total_set_ = true;
    total_ = v;
    return *this;
}

uint32_t container_checksum(const Bytes &c, Checksum form) {
    uint32_t sum = 0;
    const size_t words = c.size() / 4;
    for (size_t i = form == Checksum::kFormA ? 0 : 6; i < words; ++i)
        if (i != 5) sum += le32(&c[4 * i]);
    return sum;
}

Bytes ContainerBuilder::build() const {
    Bytes out(24, 0);
    put(out, 0, words_[0], 4);
    put(out, 8, words_[1], 4);
    put(out, 12, words_[2], 4);
    put(out, 16, words_[3], 4);
    out.insert(out.end(), body_.begin(), body_.end());
    put(out, 4, total_set_ ? total_ : uint32_t(out.size()), 4);
    const uint32_t sum = value_set_ ? value_ : container_checksum(out, form_) + delta_;
    put(out, 20, sum, 4);
    keep_for_round_trip(out);
    return out;
}

uint32_t crc32(const uint8_t *data, size_t size) {
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < size; ++i) {
        c ^= data[i];
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    }
    return ~c;
}

NvmBuilder::NvmBuilder(uint8_t w, uint8_t h) : width_(w), height_(h) {}

NvmBuilder &NvmBuilder::table(uint8_t fraction_bits, const std::function<uint16_t(int, int, int)> &s) {
    tables_.push_back(fraction_bits);
    const int width = fraction_bits <= 8 ? 1 : 2;
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < height_; ++r)
            for (int q = 0; q < width_; ++q) put(tables_, tables_.size(), s(c, r, q), width);
    ++count_;
    return *this;
}
NvmBuilder &NvmBuilder::phase_difference(uint8_t w, uint8_t h, uint8_t bits, const std::vector<int32_t> &v) {
    pd_ = {w, h, bits};
    for (int32_t x : v) put(pd_, pd_.size(), uint32_t(x), 4);
    return *this;
}
NvmBuilder &NvmBuilder::magic(const char (&m)[5]) {
    std::memcpy(magic_, m, 4);
    return *this;
}
NvmBuilder &NvmBuilder::version(uint16_t v) { version_ = v; return *this; }
NvmBuilder &NvmBuilder::header_size(uint16_t v) { header_size_ = v; return *this; }
NvmBuilder &NvmBuilder::total_size(uint32_t v) { total_set_ = true; total_ = v; return *this; }
NvmBuilder &NvmBuilder::flags(uint8_t v) { flags_set_ = true; flags_ = v; return *this; }
NvmBuilder &NvmBuilder::table_count(uint8_t v) { count_set_ = true; count_override_ = v; return *this; }
NvmBuilder &NvmBuilder::extra_bytes(uint32_t n) { extra_ = n; return *this; }
NvmBuilder &NvmBuilder::corrupt_crc() { corrupt_crc_ = true; return *this; }

Bytes NvmBuilder::build() const {
    Bytes out(16, 0);
    std::memcpy(out.data(), magic_, 4);
    put(out, 4, version_, 2);
    put(out, 6, header_size_, 2);
    out[12] = count_set_ ? count_override_ : count_;
    out[13] = width_;
    out[14] = height_;
    out[15] = flags_set_ ? flags_ : uint8_t(pd_.empty() ? 0 : 1);
    out.insert(out.end(), tables_.begin(), tables_.end());
    out.insert(out.end(), pd_.begin(), pd_.end());
    out.resize(out.size() + extra_, 0);
    const uint32_t total = uint32_t(out.size()) + 4;
    put(out, 8, total_set_ ? total_ : total, 4);
    uint32_t crc = crc32(out.data(), out.size());
    if (corrupt_crc_) crc ^= 1;
    put(out, out.size(), crc, 4);
    return out;
}

}  // namespace oz::test
