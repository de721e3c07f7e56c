// Builders of the correction records (written like their record tables) shared by the family tests
// and the sweeps, and one valid record of every correction kind with a calibration blob carrying a
// phase-difference map.
#pragma once

#include <algorithm>
#include <array>
#include <vector>

#include "common/byte_reader.h"
#include "tests/kit/builder.h"

namespace oz::test {

using CellMap = std::array<int8_t, 16>;
inline constexpr CellMap kQuadMap = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};
inline constexpr CellMap kLegacyMap = {0, 1, -1, -1, 2, 3, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};

// Sample s of table k of light source i, in every shading builder.
inline uint16_t sample(uint32_t i, int k, uint32_t s) { return uint16_t(1000 * i + 100 * k + s); }
inline int max_table(const CellMap &map) { return *std::max_element(map.begin(), map.end()); }

// Records 28 and 33: light source `tag` + i, params (i + 1 .. i + 4), integer_bits, module index
// (33 only), tables 0 .. m of sample(i, k, s). Length round8(32 + n * block).
inline RecordBuilder record4x4(uint16_t id, const CellMap &map, uint16_t n, uint16_t w, uint16_t h,
                               uint32_t tag, uint16_t integer_bits = 4, uint16_t module_index = 0) {
    RecordBuilder r(id, 100);
    for (int c = 0; c < 16; ++c) r.u8(8 + c, uint8_t(map[c]));
    r.u16(24, n).u16(28, w).u16(30, h);
    const uint32_t T = 2u * w * h, block = 22 + uint32_t(max_table(map) + 1) * T;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t off = 32 + i * block;
        if (id == 28) r.u32(off, tag + i); else r.u16(off, uint16_t(tag + i)).u16(off + 2, module_index);
        r.u16(off + 20, integer_bits);
        for (int p = 0; p < 4; ++p) r.f32(off + 4 + 4 * p, float(i + 1 + p));
        for (int k = 0; k <= max_table(map); ++k)
            for (uint32_t s = 0; s < uint32_t(w) * h; ++s) r.u16(off + 22 + k * T + 2 * s, sample(i, k, s));
    }
    return r.length(round8(32 + n * block));
}

// Records 10 and 11: light source `tag` + i, fixed-point pair (32768 + i, 16384), record 11's module
// index i, four tables of sample(i, k, s) and, when asked, the extension ((i + 1) * 256 + 128, 64).
// Record 10 ends at its blocks (or round8 of its extension); record 11 at round8 of either.
inline uint32_t legacy_blocks_end(uint16_t id, uint32_t n, uint32_t w, uint32_t h) {
    return id == 10 ? 16 + 8 * n * (w * h + 1) : 14 + n * (10 + 8 * w * h);
}
inline RecordBuilder record_legacy(uint16_t id, uint8_t version, uint16_t n, uint16_t w, uint16_t h,
                                   bool extension, uint16_t tag) {
    RecordBuilder r(id, version);
    const uint32_t base = id == 10 ? 10 : 8, first = id == 10 ? 16 : 14, head = id == 10 ? 8 : 10;
    r.u16(base, n).u16(base + 2, w).u16(base + 4, h);
    const uint32_t samples = uint32_t(w) * h;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t off = first + i * (head + 8 * samples);
        if (id == 10) r.u16(off, uint16_t(tag + i)).u16(off + 4, uint16_t(32768 + i)).u16(off + 6, 16384);
        else r.u16(off, uint16_t(i)).u16(off + 2, uint16_t(tag + i)).u16(off + 6, uint16_t(32768 + i)).u16(off + 8, 16384);
        for (int k = 0; k < 4; ++k)
            for (uint32_t s = 0; s < samples; ++s) r.u16(off + head + 2 * (k * samples + s), sample(i, k, s));
    }
    const uint32_t end = legacy_blocks_end(id, n, w, h);
    if (!extension) return r.length(id == 10 ? end : round8(end));
    for (uint32_t i = 0; i < n; ++i) r.u16(end + 4 * i, uint16_t((i + 1) * 256 + 128)).u16(end + 4 * i + 2, 64);
    return r.length(round8(end + 4 * n));
}

// Record 22: head values, G grids of a x b with plane values 0x1000 * (g + 1) + i, K tables, lists of
// the given value counts, and the trailing fields of the version.
struct GdLayout {
    uint8_t version = 106;
    int16_t a = 3, b = 5;
    uint16_t grids = 2;
    int32_t tables = 2;
    std::vector<uint32_t> lists = {2, 1};
    int32_t num_lists_field = -100;  // written instead of the list count when > -100
};
struct GdRecord {
    RecordBuilder r{22, 100};
    uint32_t o1 = 0, o2 = 0, o3 = 0, end = 0;
};
inline uint32_t plane_value(uint32_t g, uint32_t i) { return 0x1000u * (g + 1) + i; }
inline GdRecord gd_record(const GdLayout &s) {
    GdRecord out;
    RecordBuilder &r = out.r = RecordBuilder(22, s.version);
    r.u32(8, 0x11111111).i16(12, s.a).i16(14, s.b).u32(16, 0x22222222).u16(20, s.grids);
    const uint32_t N = uint32_t(int32_t(s.a) * s.b);
    uint32_t p = 22;
    for (uint32_t g = 0; g < s.grids; ++g, p += 2 + 8 * N) {
        r.u16(p, uint16_t(0x100 + g));
        for (uint32_t i = 0; i < 2 * N; ++i) r.u32(p + 2 + 4 * i, plane_value(g, i));
    }
    out.o1 = p;
    if (s.version >= 101) {
        const uint32_t K = uint32_t(std::max(s.tables, 0));
        r.u32(p, 0x33333333).i32(p + 4, s.tables);
        for (uint32_t i = 0; i < 1040 * K; ++i) r.u8(p + 8 + i, uint8_t(i * 7 + 3));
        p += 8 + 1040 * K;
        for (uint32_t i = 0; i < 1040; ++i) r.u8(p + i, uint8_t(0xC0 ^ i));
        p += 1040;
    }
    out.o2 = p;
    if (s.version >= 102) {
        r.u32(p, 0x44444444).i32(p + 4, s.num_lists_field > -100 ? s.num_lists_field : int32_t(s.lists.size()));
        p += 8;
        for (uint32_t e = 0; e < s.lists.size(); p += 16 + 4 * s.lists[e], ++e) {
            for (uint32_t i = 0; i < 8; ++i) r.u8(p + i, uint8_t(0x80 + 8 * e + i));
            r.u32(p + 8, 0x70 + e).u32(p + 12, s.lists[e]);
            for (uint32_t v = 0; v < s.lists[e]; ++v) r.u32(p + 16 + 4 * v, 0x9000 + 100 * e + v);
        }
        for (uint32_t i = 0; i < 24 * s.lists.size(); ++i) r.u8(p + i, uint8_t(0xE0 + i));
        p += 24 * uint32_t(s.lists.size());
    }
    out.o3 = p;
    if (s.version >= 103) r.u32(p, 0x12345678), p += 4;
    if (s.version >= 104) r.u8(p, 0x9A), p += 1;
    if (s.version >= 105) r.u32(p, 0xAAAA0001).u32(p + 4, 0xBBBB0002), p += 8;
    if (s.version >= 106) r.u8(p, 0x5C), p += 1;
    out.end = p;
    r.length(p);
    return out;
}

// Record 30: A entries of bytes 0xE0 + i, primary grid 1000 + k (u16 up to version 100, i32 from 101)
// with `centre` at (H1 / 2, W1 / 2), weight (from 102), secondary grid 0x5000 + k; padded to what the
// size tests require (they count 4 bytes per primary value in every version).
inline RecordBuilder record30(uint8_t version, uint16_t A, uint16_t W1, uint16_t H1, uint16_t W2, uint16_t H2,
                              int32_t centre = 10, float weight = 0.5f) {
    RecordBuilder r(30, version);
    r.u32(8, 0x01020304).u16(16, A).u32(18, 0x0A0B0C0D).u16(22, W1).u16(24, H1).u16(26, W2).u16(28, H2);
    uint32_t p = 30;
    for (uint32_t i = 0; i < 6u * A; ++i) r.u8(p + i, uint8_t(0xE0 + i));
    p += 6 * A;
    if (version >= 102) r.f32(p, weight), p += 4;
    const uint32_t cells = uint32_t(W1) * H1, centre_index = (H1 / 2) * W1 + W1 / 2;
    for (uint32_t k = 0; k < cells; ++k) {
        const int32_t v = k == centre_index ? centre : int32_t(1000 + k);
        if (version <= 100) r.u16(p + 2 * k, uint16_t(v)); else r.i32(p + 4 * k, v);
    }
    p += (version <= 100 ? 2 : 4) * cells;
    for (uint32_t k = 0; k < uint32_t(W2) * H2; ++k) r.u32(p + 4 * k, 0x5000 + k);
    p += 4 * W2 * H2;
    return r.length(std::max(round8(p), round8(30 + 6 * A + 4 * cells)));
}

// Record 35: wide points 0x10000 * (i + 1) + tag, narrow 0x100 + i, segments 0x200 + i and 0x300000 + i.
inline RecordBuilder record35(uint8_t n, uint32_t tag = 0) {
    RecordBuilder r(35, 100);
    r.u8(8, 0xC1).u32(9, 0xDEADBEEF).u8(13, n);
    for (uint32_t i = 0; i <= n; ++i) r.u32(14 + 4 * i, 0x10000u * (i + 1) + tag).u16(18 + 4 * n + 2 * i, uint16_t(0x100 + i));
    for (uint32_t i = 0; i < n; ++i) r.u16(20 + 6 * n + 2 * i, uint16_t(0x200 + i)).u32(20 + 8 * n + 4 * i, 0x300000 + i);
    return r.length(20 + 12 * n);
}

// Record 40 of 298 + m bytes with every field of version 104.
inline RecordBuilder record40(uint8_t version, uint8_t m) {
    RecordBuilder r(40, version);
    r.u32(8, 0xBA5E0001).u32(12, 0xF1F2F3F4).u16(16, 0xABCD).u8(162, m).u8(163 + m, 0x7E).u32(164 + m, 0x0D0C0B0A)
        .u16(168 + m, 0x0F0E);
    for (uint32_t i = 0; i < 128; ++i) r.u8(18 + i, uint8_t(i)).u8(170 + m + i, uint8_t(0xFF - i));
    for (uint32_t i = 0; i < 16; ++i) r.u8(146 + i, uint8_t(0xA0 + i));
    for (uint32_t i = 0; i < m; ++i) r.u8(163 + i, uint8_t(0x30 + i));
    return r.length(298 + m);
}

inline RecordBuilder record29(uint16_t a, uint16_t b, uint32_t length) {
    RecordBuilder r(29, 100);
    r.u32(8, 0xAABBCCDD).u16(12, a).u16(14, b).u32(16, 0x11223344);
    for (uint32_t i = 0; 24 + 4 * i <= length && i < 4u * a * b; ++i) r.u32(20 + 4 * i, 0x6000 + i);
    return r.length(length);
}

inline std::vector<RecordBuilder> every_correction_record() {
    GdLayout gd;
    gd.a = 2;
    gd.b = 3;
    gd.tables = 1;
    return {record_legacy(10, 101, 2, 2, 2, true, 0x10), record_legacy(11, 101, 1, 2, 1, true, 0x30),
            gd_record(gd).r, record4x4(28, kQuadMap, 2, 3, 2, 0xA000), record29(2, 2, 88),
            record30(102, 1, 3, 3, 2, 1), RecordBuilder(32, 100).u16(24, 320).length(32),
            record4x4(33, kLegacyMap, 1, 2, 2, 0x50), record35(2),
            RecordBuilder(36, 100).u8(13, 3).u16(14, 1).u32(20, 2).length(32),
            RecordBuilder(37, 100).u32(8, 37).length(24),
            RecordBuilder(38, 100).u8(9, 2).u32(10, 1).u32(18, 3).length(26),
            RecordBuilder(39, 100).u32(8, 39).length(16), record40(104, 3),
            RecordBuilder(41, 100).u32(8, 41).length(32), RecordBuilder(42, 100).u32(8, 42).length(280)};
}

// The 7 x 5 map of every value 100, except 120 at (0,0) and the outlier 1000 at (4,6).
inline std::vector<int32_t> marked_map_values() {
    std::vector<int32_t> v(35, 100);
    v[0] = 120;
    v[34] = 1000;
    return v;
}

inline Bytes calibration_with_phase_difference() {
    return NvmBuilder(3, 2)
        .table(8, [](int c, int r, int q) { return uint16_t(c + r + q); })
        .phase_difference(7, 5, 0, marked_map_values())
        .build();
}

}  // namespace oz::test
