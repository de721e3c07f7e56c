// Helpers shared by the lens-shading (10, 28) and shading-ratio (11, 33) decoders: the fixed 2 x 2
// channel map of the legacy records and the per-cell copies of a light-source block's tables.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/diag.h"
#include "records/correction.h"

namespace oz {

// Legacy records carry four channel tables for a 2 x 2 cell: tables 0 and 1 on the top row, 2 and 3
// on the second row; every other cell of the 4 x 4 pattern has no table.
inline constexpr int8_t kLegacyChannelMap[4][4] = {
    {0, 1, -1, -1}, {2, 3, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}};

inline void set_legacy_channel_map(int8_t map[4][4]) {
    std::memcpy(map, kLegacyChannelMap, sizeof kLegacyChannelMap);
}

// The largest table number named by a channel map, -1 when no cell has a table. A 4x4 block holds
// tables 0 to this number, whether or not every one of them is named.
inline int max_table_number(const int8_t map[4][4]) {
    int m = -1;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            if (map[r][c] > m) m = map[r][c];
    return m;
}

// Copies `samples` u16 values at `off` into a new table. Null when it cannot be allocated.
inline uint16_t *copy_table(RecordBytes &r, uint64_t off, uint64_t samples) {
    return copy_array<uint16_t>(r, off, samples).release();
}

// Gives every cell with a table number k >= 0 its own copy of table k of a block whose tables start
// at `tables_off` (table k at tables_off + k * samples * 2), in row-major cell order. Returns false
// when an allocation fails; the tables copied so far stay in `tables` for the owner to release.
inline bool copy_cell_tables(RecordBytes &r, uint64_t tables_off, const int8_t map[4][4],
                             uint64_t samples, uint16_t *tables[4][4]) {
    for (int row = 0; row < 4; ++row) {
        for (int col = 0; col < 4; ++col) {
            const int k = map[row][col];
            if (k < 0) continue;
            tables[row][col] = copy_table(r, tables_off + uint64_t(k) * samples * 2, samples);
            if (tables[row][col] == nullptr) return false;
        }
    }
    return true;
}

// Fixed part of the 4x4 records 28 (lens shading) and 33 (shading ratios), which share it:
//   off  size  type      field
//     8    16  i8[4][4]  channel_map: table number of each cell, negative = no table
//    24     2  u16       num_light_sources (n)
//    28     2  u16       width (w)
//    30     2  u16       height (h)
//    32                  n light-source blocks of 22 + (m + 1) * 2*w*h bytes each (m: largest table
//                        number in channel_map)
struct Grid4x4 {
    int8_t map[4][4];
    uint16_t n, w, h;
    uint64_t samples;       // w * h
    uint64_t block_length;  // bytes of one light-source block
};

// Reads the fixed part and applies the size test, size >= round8(32 + n * block length) in 64-bit
// arithmetic (every block has the same length, so this covers the per-block bounds too). Returns
// false, after reporting the rule, when the record is refused.
inline bool read_grid4x4(RecordBytes &r, uint32_t size, const Diag &diag, Grid4x4 *g) {
    std::memset(g, 0, sizeof *g);
    r.bytes(8, 16, g->map);
    g->n = r.u16(24);
    g->w = r.u16(28);
    g->h = r.u16(30);
    if (!r.ok()) {
        diag.refused("size >= 32 (fixed fields)", 32, size);
        return false;
    }
    g->samples = uint64_t(g->w) * g->h;
    g->block_length = 22 + uint64_t(max_table_number(g->map) + 1) * 2 * g->samples;
    const uint64_t need = round8_u64(32 + g->n * g->block_length);
    if (size < need) {
        diag.refused("size >= round8(32 + n * (22 + (m + 1) * 2 * w * h))", need, size);
        return false;
    }
    return true;
}

// Copies the header and the fixed part into a cmc_lens_shading4x4 or cmc_lens_shading_ratio.
template <class Structure>
void set_grid4x4_fields(Structure *s, RecordBytes &r, const Grid4x4 &g) {
    s->header = read_record_header(r);
    std::memcpy(s->channel_map, g.map, sizeof g.map);
    s->num_light_sources = g.n;
    s->width = g.w;
    s->height = g.h;
}

}  // namespace oz
