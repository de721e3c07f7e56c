// Stand-in container library: the generic in-place record decoder for records 9, 31, 32 and 34.
#include <cstdint>
#include <cstring>

#include "oz_kovb.h"

namespace {

uint32_t load_u32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint64_t load_u64(const uint8_t *p) { return uint64_t(load_u32(p)) | uint64_t(load_u32(p + 4)) << 32; }

void store_pointer(uint8_t *at, const void *p) { std::memcpy(at, &p, sizeof p); }

constexpr uint32_t kMalformed = 1;

// Record 31: u32 n at 8, u64 offset 24 at 16, n entries of 72 bytes from 24.
uint32_t decode_31(uint8_t *rec, uint32_t size) {
    if (size < 24) return kMalformed;
    const uint64_t n = load_u32(rec + 8);
    if (uint64_t(size) < 24 + 72 * n) return kMalformed;
    if (load_u64(rec + 16) != 24) return kMalformed;
    store_pointer(rec + 16, rec + 24);
    return 0;
}

// Record 34: u32 E at 8, u64 offset 32 at 16, E entries of 40 bytes from 32, each with three u64
// offsets (0 = none) at entry bytes 16, 24 and 32 of (count at 8) x 32 bytes, (count at 12) x 8 bytes
// and an 8-byte block. Everything is checked before anything is written.
uint32_t decode_34(uint8_t *rec, uint32_t size) {
    if (size < 32) return kMalformed;
    const uint64_t entries = load_u32(rec + 8);
    const uint64_t data_start = 32 + 40 * entries;
    if (uint64_t(size) < data_start) return kMalformed;
    if (load_u64(rec + 16) != 32) return kMalformed;
    for (uint64_t e = 0; e < entries; ++e) {
        const uint8_t *entry = rec + 32 + 40 * e;
        const uint64_t lengths[3] = {32 * uint64_t(load_u32(entry + 8)), 8 * uint64_t(load_u32(entry + 12)), 8};
        for (int k = 0; k < 3; ++k) {
            const uint64_t offset = load_u64(entry + 16 + 8 * k);
            if (offset == 0) continue;
            if (offset < data_start || offset > size || lengths[k] > size - offset) return kMalformed;
        }
    }
    store_pointer(rec + 16, rec + 32);
    for (uint64_t e = 0; e < entries; ++e) {
        uint8_t *entry = rec + 32 + 40 * e;
        for (int k = 0; k < 3; ++k) {
            const uint64_t offset = load_u64(entry + 16 + 8 * k);
            store_pointer(entry + 16 + 8 * k, offset ? rec + offset : nullptr);
        }
    }
    return 0;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) uint32_t oz_kovb_parse_record(void *record) {
    if (record == nullptr) return kMalformed;
    uint8_t *rec = static_cast<uint8_t *>(record);
    const uint32_t size = load_u32(rec);
    if (size < 8) return kMalformed;
    uint16_t id;
    std::memcpy(&id, rec + 6, sizeof id);  // little-endian host
    switch (id) {
        case 9: return 0;
        case 32: return size >= 32 ? 0 : kMalformed;
        case 31: return decode_31(rec, size);
        case 34: return decode_34(rec, size);
        default: return kMalformed;
    }
}
