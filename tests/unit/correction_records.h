// One valid record of every correction kind (ids 10, 11, 22, 28 to 30, 32, 33, 35 to 42) and a
// calibration blob with a phase-difference map, for the sweeps that run over all of them.
#pragma once

#include <vector>

#include "tests/kit/builder.h"

namespace oz::test {

inline std::vector<RecordBuilder> every_correction_record() {
    std::vector<RecordBuilder> out;
    {  // 10: version 101, two light sources of 2 x 2, with the extension
        RecordBuilder r(10, 101);
        r.u16(10, 2).u16(12, 2).u16(14, 2);
        for (uint32_t i = 0; i < 2; ++i) {
            const uint32_t off = 16 + 40 * i;
            r.u16(off, uint16_t(0x10 + i)).u16(off + 4, 1000).u16(off + 6, 2000);
            for (uint32_t s = 0; s < 16; ++s) r.u16(off + 8 + 2 * s, uint16_t(100 * i + s));
        }
        r.u16(96, 256).u16(98, 512).u16(100, 768).u16(102, 1024);
        out.push_back(r.length(104));
    }
    {  // 11: version 101, one light source of 2 x 1, with the extension
        RecordBuilder r(11, 101);
        r.u16(8, 1).u16(10, 2).u16(12, 1);
        r.u16(14, 1).u16(16, 0x30).u16(20, 100).u16(22, 200);
        for (uint32_t s = 0; s < 8; ++s) r.u16(24 + 2 * s, uint16_t(4096 + s));
        r.u16(40, 256).u16(42, 128);
        out.push_back(r.length(48));
    }
    {  // 22: version 106, two 2 x 3 grids, one table, lists of 2 and 1 values, every trailing field
        RecordBuilder r(22, 106);
        r.u32(8, 1).i16(12, 2).i16(14, 3).u32(16, 2).u16(20, 2);
        uint32_t p = 22;
        for (uint32_t g = 0; g < 2; ++g, p += 50) {
            r.u16(p, uint16_t(g));
            for (uint32_t i = 0; i < 12; ++i) r.u32(p + 2 + 4 * i, 100 * g + i);
        }
        r.u32(p, 7).i32(p + 4, 1);
        p += 8;
        for (uint32_t i = 0; i < 2080; ++i) r.u8(p + i, uint8_t(i));
        p += 2080;
        r.u32(p, 9).i32(p + 4, 2);
        p += 8;
        for (uint32_t v : {2u, 1u}) {
            r.u32(p + 8, 5).u32(p + 12, v);
            for (uint32_t i = 0; i < v; ++i) r.u32(p + 16 + 4 * i, 60 + i);
            p += 16 + 4 * v;
        }
        for (uint32_t i = 0; i < 48; ++i) r.u8(p + i, uint8_t(0xE0 + i));
        p += 48;
        r.u32(p, 0x12345678).u8(p + 4, 1).u32(p + 5, 2).u32(p + 9, 3).u8(p + 13, 4);
        out.push_back(r.length(p + 14));
    }
    {  // 28: two light sources of 3 x 2 with four tables each
        const int8_t map[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};
        RecordBuilder r(28, 100);
        for (int c = 0; c < 16; ++c) r.u8(8 + c, uint8_t(map[c]));
        r.u16(24, 2).u16(28, 3).u16(30, 2);
        for (uint32_t i = 0; i < 2; ++i) {
            const uint32_t off = 32 + 70 * i;
            r.u32(off, 0xA000 + i).f32(off + 4, 1.5f).u16(off + 20, 4);
            for (uint32_t s = 0; s < 24; ++s) r.u16(off + 22 + 2 * s, uint16_t(s + 1));
        }
        out.push_back(r.length(176));
    }
    {  // 29: a 2 x 2 four-plane grid
        RecordBuilder r(29, 100);
        r.u16(12, 2).u16(14, 2);
        for (uint32_t i = 0; i < 16; ++i) r.u32(20 + 4 * i, i);
        out.push_back(r.length(88));
    }
    {  // 30: version 102, one entry, 3 x 3 primary grid with centre 10, 2 x 1 secondary grid
        RecordBuilder r(30, 102);
        r.u16(16, 1).u16(22, 3).u16(24, 3).u16(26, 2).u16(28, 1).f32(36, 0.5f);
        for (uint32_t k = 0; k < 9; ++k) r.i32(40 + 4 * k, k == 4 ? 10 : int32_t(k));
        r.u32(76, 1).u32(80, 2);
        out.push_back(r.length(88));
    }
    out.push_back(RecordBuilder(32, 100).u16(24, 320).u16(26, 240).u32(28, 100).length(32));
    {  // 33: one light source of 2 x 2, tables 0 and 1
        const int8_t map[16] = {0, 1, -1, -1, 1, 0, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
        RecordBuilder r(33, 100);
        for (int c = 0; c < 16; ++c) r.u8(8 + c, uint8_t(map[c]));
        r.u16(24, 1).u16(28, 2).u16(30, 2);
        r.u16(32, 0x50).u16(34, 0).u16(52, 4);
        for (uint32_t s = 0; s < 8; ++s) r.u16(54 + 2 * s, uint16_t(4096 + s));
        out.push_back(r.length(72));
    }
    {  // 35: two segments
        RecordBuilder r(35, 100);
        r.u8(13, 2);
        for (uint32_t i = 0; i < 3; ++i) r.u32(14 + 4 * i, 1000 * i).u16(26 + 2 * i, uint16_t(10 * i));
        out.push_back(r.length(44));
    }
    out.push_back(RecordBuilder(36, 100).u8(13, 3).u16(14, 1).u32(20, 2).length(32));
    out.push_back(RecordBuilder(37, 100).u32(8, 37).length(24));
    out.push_back(RecordBuilder(38, 100).u8(9, 2).u32(10, 1).u32(18, 3).length(26));
    out.push_back(RecordBuilder(39, 100).u32(8, 39).length(16));
    out.push_back(RecordBuilder(40, 104).u32(8, 40).u8(162, 3).u8(163, 1).u8(166, 0x7E).length(301));
    out.push_back(RecordBuilder(41, 100).u32(8, 41).length(32));
    out.push_back(RecordBuilder(42, 100).u32(8, 42).length(280));
    return out;
}

// A calibration blob with one shading table and a 7 x 5 phase-difference map.
inline Bytes calibration_with_phase_difference() {
    std::vector<int32_t> map(35, 100);
    map[0] = 120;
    map[34] = 1000;
    return NvmBuilder(3, 2)
        .table(8, [](int c, int r, int q) { return uint16_t(c + r + q); })
        .phase_difference(7, 5, 0, map)
        .build();
}

}  // namespace oz::test
