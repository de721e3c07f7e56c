// Helpers shared by the fuzz targets: exact-size copies of the input (so AddressSanitizer sees any
// read past the blob) and header fix-ups that let mutated inputs reach the decoders.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "tests/kit/builder.h"

namespace oz::fuzz {

struct ExactBuffer {
    std::unique_ptr<uint8_t[]> bytes;
    uint32_t size;
    ExactBuffer(const uint8_t *data, size_t n) : bytes(new uint8_t[n ? n : 1]), size(uint32_t(n)) {
        if (n) std::memcpy(bytes.get(), data, n);
    }
};

inline void put_le32(uint8_t *p, uint32_t v) {
    for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}
inline uint32_t le32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Makes a container acceptable: total_size = the buffer's size, checksum in form B.
inline void fix_container(ExactBuffer &c) {
    if (c.size < 24) return;
    put_le32(c.bytes.get() + 4, c.size);
    uint32_t sum = 0;
    for (uint32_t off = 24; off + 4 <= c.size; off += 4) sum += le32(c.bytes.get() + off);
    put_le32(c.bytes.get() + 20, sum);
}

// Makes a calibration blob pass the NVM library's envelope checks: magic, version, header size,
// total size and CRC (the sections themselves stay as mutated).
inline void fix_calibration(ExactBuffer &b) {
    if (b.size < 20) return;
    uint8_t *p = b.bytes.get();
    std::memcpy(p, "OZNV", 4);
    p[4] = 1, p[5] = 0, p[6] = 16, p[7] = 0;
    put_le32(p + 8, b.size);
    p[15] &= 1;
    put_le32(p + b.size - 4, oz::test::crc32(p, b.size - 4));
}

}  // namespace oz::fuzz
