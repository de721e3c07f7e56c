// Stand-in NVM library: parses a module calibration blob ("OZNV" format) into an nvm_data.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "oz_nvm.h"

namespace {

constexpr std::array<uint32_t, 256> make_crc_table() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}
constexpr std::array<uint32_t, 256> kCrcTable = make_crc_table();

uint32_t crc32(const uint8_t *data, uint32_t size) {
    uint32_t c = 0xFFFFFFFFu;
    for (uint32_t i = 0; i < size; ++i) c = kCrcTable[(c ^ data[i]) & 0xFF] ^ (c >> 8);
    return ~c;
}

// Bounded little-endian cursor over the blob's bytes before the CRC.
class Cursor {
  public:
    Cursor(const uint8_t *data, uint32_t end) : data_(data), end_(end) {}
    bool take(uint64_t n, const uint8_t **out) {
        if (n > end_ - pos_) return false;
        *out = data_ + pos_;
        pos_ += n;
        return true;
    }
    bool u8(uint8_t *v) {
        const uint8_t *p;
        if (!take(1, &p)) return false;
        *v = *p;
        return true;
    }
    uint64_t pos() const { return pos_; }

  private:
    const uint8_t *data_;
    uint64_t end_;
    uint64_t pos_ = 0;
};

uint16_t le16(const uint8_t *p) { return uint16_t(p[0] | p[1] << 8); }
uint32_t le32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void free_nvm(nvm_data *nvm) {
    if (nvm == nullptr) return;
    if (nvm->lsc_tables != nullptr) {
        for (uint32_t t = 0; t < nvm->lsc_table_count; ++t)
            for (void *grid : nvm->lsc_tables[t].channel_grids) std::free(grid);
        std::free(nvm->lsc_tables);
    }
    if (nvm->phase_difference != nullptr) {
        std::free(nvm->phase_difference->pd_values);
        std::free(nvm->phase_difference);
    }
    std::free(nvm);
}

// Converts `count` little-endian samples of `width` bytes into a new host-order array; null when
// count is 0. Sets *ok to false when the allocation fails.
void *copy_samples(const uint8_t *src, uint64_t count, unsigned width, bool *ok) {
    if (count == 0) return nullptr;
    void *dst = std::malloc(size_t(count * width));
    if (dst == nullptr) {
        *ok = false;
        return nullptr;
    }
    for (uint64_t i = 0; i < count; ++i) {
        if (width == 1) static_cast<uint8_t *>(dst)[i] = src[i];
        else if (width == 2) static_cast<uint16_t *>(dst)[i] = le16(src + 2 * i);
        else static_cast<int32_t *>(dst)[i] = int32_t(le32(src + 4 * i));
    }
    return dst;
}

int32_t parse(const binary_data *blob, nvm_data **out) {
    if (blob == nullptr || blob->data == nullptr || out == nullptr) return OZ_NVM_BAD_ARGUMENT;
    const uint8_t *b = blob->data;
    const uint32_t size = blob->size;
    if (size < 16 + 4) return OZ_NVM_TRUNCATED;
    if (std::memcmp(b, "OZNV", 4) != 0) return OZ_NVM_BAD_MAGIC;
    if (le16(b + 4) != 1) return OZ_NVM_BAD_VERSION;
    if (le16(b + 6) != 16) return OZ_NVM_BAD_HEADER_SIZE;
    if (le32(b + 8) != size) return OZ_NVM_BAD_TOTAL_SIZE;
    const uint8_t tables = b[12], width = b[13], height = b[14], flags = b[15];
    if (flags & ~1u) return OZ_NVM_BAD_FLAGS;
    if (crc32(b, size - 4) != le32(b + size - 4)) return OZ_NVM_BAD_CRC;

    nvm_data *nvm = static_cast<nvm_data *>(std::calloc(1, sizeof(nvm_data)));
    if (nvm == nullptr) return OZ_NVM_NO_MEMORY;
    nvm->lsc_table_count = tables;
    nvm->lsc_grid_width = width;
    nvm->lsc_grid_height = height;

    int32_t status = OZ_NVM_OK;
    bool ok = true;
    Cursor cur(b, size - 4);
    const uint8_t *skip;
    cur.take(16, &skip);
    const uint64_t samples = uint64_t(width) * height;
    if (tables != 0) {
        nvm->lsc_tables = static_cast<nvm_lsc_table *>(std::calloc(tables, sizeof(nvm_lsc_table)));
        if (nvm->lsc_tables == nullptr) status = OZ_NVM_NO_MEMORY;
    }
    for (uint32_t t = 0; status == OZ_NVM_OK && t < tables; ++t) {
        nvm_lsc_table &table = nvm->lsc_tables[t];
        if (!cur.u8(&table.fraction_bits)) status = OZ_NVM_TRUNCATED;
        else if (table.fraction_bits > 16) status = OZ_NVM_BAD_FRACTION;
        const unsigned sample_width = table.fraction_bits <= 8 ? 1 : 2;
        for (int c = 0; status == OZ_NVM_OK && c < 4; ++c) {
            const uint8_t *grid;
            if (!cur.take(samples * sample_width, &grid)) status = OZ_NVM_TRUNCATED;
            else table.channel_grids[c] = copy_samples(grid, samples, sample_width, &ok);
            if (!ok) status = OZ_NVM_NO_MEMORY;
        }
    }
    if (status == OZ_NVM_OK && (flags & 1)) {
        uint8_t nw = 0, nh = 0, bits = 0;
        const uint8_t *values;
        if (!cur.u8(&nw) || !cur.u8(&nh) || !cur.u8(&bits) || !cur.take(uint64_t(nw) * nh * 4, &values)) {
            status = OZ_NVM_TRUNCATED;
        } else {
            nvm->has_phase_difference = 1;
            nvm->phase_difference =
                static_cast<nvm_phase_difference *>(std::calloc(1, sizeof(nvm_phase_difference)));
            if (nvm->phase_difference == nullptr) {
                status = OZ_NVM_NO_MEMORY;
            } else {
                nvm->phase_difference->pd_grid_width = nw;
                nvm->phase_difference->pd_grid_height = nh;
                nvm->phase_difference->pd_fraction_bits = bits;
                nvm->phase_difference->pd_values =
                    static_cast<int32_t *>(copy_samples(values, uint64_t(nw) * nh, 4, &ok));
                if (!ok) status = OZ_NVM_NO_MEMORY;
            }
        }
    }
    if (status == OZ_NVM_OK && cur.pos() != uint64_t(size) - 4) status = OZ_NVM_BAD_LAYOUT;
    if (status != OZ_NVM_OK) {
        free_nvm(nvm);
        return status;
    }
    *out = nvm;
    return OZ_NVM_OK;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int32_t oz_nvm_parse(const binary_data *blob, nvm_data **out) {
    return parse(blob, out);
}

__attribute__((visibility("default"))) void oz_nvm_deinit(nvm_data *nvm) { free_nvm(nvm); }

}  // extern "C"
