// Test kit: builders for records, tuning containers and module calibration blobs, written field by
// field so that a test reads like the record's table.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "oz_cmc_types.h"

namespace oz::test {

using Bytes = std::vector<uint8_t>;

// A record: header fields plus payload bytes at offsets counted from the record's first byte.
class RecordBuilder {
  public:
    RecordBuilder(uint16_t id, uint8_t version);

    RecordBuilder &u8(uint32_t off, uint8_t v);
    RecordBuilder &u16(uint32_t off, uint16_t v);
    RecordBuilder &u32(uint32_t off, uint32_t v);
    RecordBuilder &u64(uint32_t off, uint64_t v);
    RecordBuilder &i16(uint32_t off, int16_t v) { return u16(off, uint16_t(v)); }
    RecordBuilder &i32(uint32_t off, int32_t v) { return u32(off, uint32_t(v)); }
    RecordBuilder &f32(uint32_t off, float v);
    RecordBuilder &bytes(uint32_t off, const Bytes &b);
    // Writes the characters of `s` followed by a NUL.
    RecordBuilder &text(uint32_t off, std::string_view s);
    // Byte length of the record: pads with zeros or cuts.
    RecordBuilder &length(uint32_t n);
    // Header `size` field, independent of the byte length (for lying sizes).
    RecordBuilder &size_field(uint32_t s);
    // The reserved header byte.
    RecordBuilder &reserved(uint8_t v);

    uint32_t length() const { return uint32_t(bytes_.size()); }
    Bytes build() const;

  private:
    void ensure(uint32_t end);
    Bytes bytes_;
    uint16_t id_;
    uint8_t version_;
    uint8_t reserved_ = 0;
    bool size_overridden_ = false;
    uint32_t size_field_ = 0;
};

enum class Checksum { kFormA, kFormB };

// A tuning container: 24-byte header, records back to back, optional trailing bytes.
class ContainerBuilder {
  public:
    ContainerBuilder &add(const RecordBuilder &r) { return add(r.build()); }
    ContainerBuilder &add(const Bytes &raw);
    // Header words 0, 2, 3, 4 (not interpreted by the library; covered by form A).
    ContainerBuilder &header_word(int index, uint32_t v);
    // Bytes appended after the last record (count for the walk, not for whole-word sums when they
    // do not complete a word).
    ContainerBuilder &trailing(const Bytes &b);
    ContainerBuilder &checksum(Checksum form);
    // Overrides the computed checksum with a value.
    ContainerBuilder &checksum_value(uint32_t v);
    // Adds `delta` to the computed checksum (deliberate corruption).
    ContainerBuilder &corrupt_checksum(uint32_t delta = 1);
    // Overrides the total_size header field (the checksum is computed over the real bytes).
    ContainerBuilder &total_size(uint32_t v);

    Bytes build() const;

  private:
    std::array<uint32_t, 5> words_{0x4F5A4B56u, 0, 0, 0, 0};
    Bytes body_;
    Checksum form_ = Checksum::kFormA;
    bool value_set_ = false;
    uint32_t value_ = 0;
    uint32_t delta_ = 0;
    bool total_set_ = false;
    uint32_t total_ = 0;
};

// The checksum word a container of these bytes needs in the given form.
uint32_t container_checksum(const Bytes &container, Checksum form);

// A module calibration blob in the stand-in NVM format.
class NvmBuilder {
  public:
    NvmBuilder(uint8_t grid_width, uint8_t grid_height);

    // A shading table; sample(c, r, q) gives channel c's sample at row r, column q.
    NvmBuilder &table(uint8_t fraction_bits, const std::function<uint16_t(int, int, int)> &sample);
    NvmBuilder &phase_difference(uint8_t width, uint8_t height, uint8_t fraction_bits,
                                 const std::vector<int32_t> &values);

    // Deliberate defects.
    NvmBuilder &magic(const char (&m)[5]);
    NvmBuilder &version(uint16_t v);
    NvmBuilder &header_size(uint16_t v);
    NvmBuilder &total_size(uint32_t v);
    NvmBuilder &flags(uint8_t v);
    NvmBuilder &table_count(uint8_t v);
    NvmBuilder &extra_bytes(uint32_t n);  // bytes between the sections and the CRC
    NvmBuilder &corrupt_crc();

    Bytes build() const;

  private:
    uint8_t width_, height_;
    Bytes tables_;
    Bytes pd_;
    uint8_t count_ = 0;
    bool count_set_ = false;
    uint8_t count_override_ = 0;
    char magic_[4] = {'O', 'Z', 'N', 'V'};
    uint16_t version_ = 1, header_size_ = 16;
    bool total_set_ = false;
    uint32_t total_ = 0;
    bool flags_set_ = false;
    uint8_t flags_ = 0;
    uint32_t extra_ = 0;
    bool corrupt_crc_ = false;
};

uint32_t crc32(const uint8_t *data, size_t size);

// A blob with a descriptor that points at its bytes (keep the Blob alive while the descriptor is used).
struct Blob {
    Bytes bytes;
    binary_data desc;
    explicit Blob(Bytes b) : bytes(std::move(b)), desc{bytes.data(), uint32_t(bytes.size())} {}
    Blob(const Blob &) = delete;
    Blob &operator=(const Blob &) = delete;
    const binary_data *get() const { return &desc; }
};

// Little-endian reads for checking results.
uint16_t le16(const void *p);
uint32_t le32(const void *p);

}  // namespace oz::test
