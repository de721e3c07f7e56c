// Record layouts, one function per record kind, each reading like the record's table: fields in byte
// order at the offsets the comment gives (offsets from the record's first byte, header included).
// Bytes the library does not interpret are shown as hex under a neutral name; 4-byte values that are
// "copied as they are" are shown as signed 32-bit integers.
#include "layouts.h"

#include <algorithm>

namespace ozcmc {
namespace {

using Item = Codec &;

//   8  u16 text record: 16 bytes not read, text at 24, pair count at 25+L (v101+), pairs
void record_1(Codec &c, uint8_t version) {
    c.hex("not_read", 16);
    c.cstring("text");
    if (version >= 101) {
        uint64_t pairs = c.u16("pair_count");
        c.list("pairs", pairs, [](Item p, uint64_t) {
            p.cstring("key");
            p.cstring("value");
        });
    }
}

//   8 u16 frame_width, 10 u16 frame_height, 12 u16 base_value, 14 u16 cfa_pattern,
//  16 u16 value_v101 (v101+), 18 16 bytes opaque_v102 (v102+), 34 u16 value_v103 (v103+)
void record_2(Codec &c, uint8_t version) {
    c.u16("frame_width");
    c.u16("frame_height");
    c.u16("base_value");
    c.u16("cfa_pattern");
    if (version >= 101) c.u16("value_v101");
    if (version >= 102) c.hex("opaque_v102", 16);
    if (version >= 103) c.u16("value_v103");
}

//   8 u32 n; 12 n x 16: u32 value0, u32 value1 (q16), u16 value2..value5 (q8)
void record_3(Codec &c, uint8_t) {
    uint64_t n = c.u32("num_entries");
    c.list("entries", n, [](Item e, uint64_t) {
        e.u32("value0");
        e.u32("value1_q16");
        e.u16("value2_q8");
        e.u16("value3_q8");
        e.u16("value4_q8");
        e.u16("value5_q8");
    });
}

//   8 4 bytes, 12 u8 counts c0..c3, 16 (c0+c1+c2+c3) u16 in four sections
void record_6(Codec &c, uint8_t) {
    c.hex("leading", 4);
    std::vector<int64_t> counts = c.u8s("counts", 4);
    c.u16s("section_0", counts[0]);
    c.u16s("section_1", counts[1]);
    c.u16s("section_2", counts[2]);
    c.u16s("section_3", counts[3]);
}

//   8 62 bytes, 70 u16 n, 72 n u16 array, then A (v101+), B, C, D (v102+) where the size has room
void record_13(Codec &c, uint8_t version) {
    c.hex("leading", 62);
    uint64_t n = c.u16("array_length");
    c.u16s("array", n);
    if (version >= 101 && c.has("value_a", 2)) c.u16("value_a");
    if (version >= 102 && c.has("value_b", 6)) {
        c.u16("value_b");
        c.u16("value_c");
        c.u16("value_d");
    }
}

//   8 u16 first, 10 u16 last, 12 u16 step, 14 entries of 8 bytes ((last - first) / step + 1)
void record_14(Codec &c, uint8_t) {
    uint64_t first = c.u16("first");
    uint64_t last = c.u16("last");
    uint64_t step = c.u16("step");
    uint64_t count = (step != 0 && last >= first) ? (last - first) / step + 1 : 0;
    c.hexes("entries", count, 8);
}

//   8 u16 n, 10 u16 m, 12 tables A, B, C (n x 8 each), D (m x 8); P: u16 k and k sample entries
//   (v101+); Q: u8 flag and, when it is 1, table E of n x 16 (v102+)
void record_15(Codec &c, uint8_t version) {
    uint64_t n = c.u16("n");
    uint64_t m = c.u16("m");
    c.hexes("table_a", n, 8);
    c.hexes("table_b", n, 8);
    c.hexes("table_c", n, 8);
    c.hexes("table_d", m, 8);
    if (version >= 101 && c.has("num_samples", 2)) {
        uint64_t k = c.u16("num_samples");
        c.list("samples", k, [](Item s, uint64_t) {
            s.hex("head", 10);
            uint64_t length = s.u16("length");
            s.u16s("series1", length);
            s.u16s("series2", length);
        });
    }
    if (version >= 102 && c.has("flag", 1)) {
        uint64_t flag = c.u8("flag");
        if (flag == 1) c.hexes("table", n, 16);
    }
}

//   8 4 bytes, 12 u16 n, 14 n entries of 4 bytes
void record_16(Codec &c, uint8_t) {
    c.hex("leading", 4);
    uint64_t n = c.u16("num_entries");
    c.i32s("entries", n);
}

//   8 2 bytes, 10 u16 module_bayer_order, 12 u16 flip_mode, 14 u16 upscaling_method (v101+)
void record_17(Codec &c, uint8_t version) {
    c.hex("leading", 2);
    c.u16("module_bayer_order");
    c.u16("flip_mode");
    if (version >= 101) c.u16("upscaling_method");
}

//   8 u16 n, 10 n entries of 84 bytes, then the trailing section (v101+, left in the record's tail)
void record_18(Codec &c, uint8_t) {
    uint64_t n = c.u16("num_entries");
    c.hexes("entries", n, 84);
}

//   8 u16 value, 10 2 bytes, 12 u16 b, 14 u16 a, 16 b x 28-byte items, then a x 8-byte pairs
void record_19(Codec &c, uint8_t) {
    c.u16("value");
    c.hex("unused_10", 2);
    uint64_t b = c.u16("b");
    uint64_t a = c.u16("a");
    c.list("first_table", b, [](Item e, uint64_t) {
        e.u32("value0_q16");
        e.u32("value1_q16");
        e.hex("bytes8", 8);
        e.hex("bytes16", 4);
        e.hex("bytes20", 8);
    });
    c.list("second_table", a, [](Item e, uint64_t) {
        e.u32("value_q16");
        e.u32("raw");
    });
}

//   8 u16, 10 u16, 12 u8, 13 u8 (4 values), 14 u16 table_kind, 16 u16 n, 20 n x 8-byte pairs (v102+)
void record_20(Codec &c, uint8_t version) {
    c.u16("value_8");
    c.u16("value_10");
    c.u8("value_12");
    c.u8("value_13");
    if (version >= 102 && c.has("table_kind", 6)) {
        c.u16("table_kind");
        uint64_t n = c.u16("num_entries");
        c.hex("unused_18", 2);
        c.list("table", n, [](Item e, uint64_t) {
            e.u32("value_q16");
            e.u32("raw");
        });
    }
}

//  Record 22: head (8..21), grids, section 1 (v101+), section 2 (v102+), trailing fields (v103+).
void record_22(Codec &c, uint8_t version) {
    c.u32("head_value_a");
    int64_t a = c.i16("grid_size_a");
    int64_t b = c.i16("grid_size_b");
    c.u32("head_value_b");
    uint64_t g = c.u16("num_grids");
    if (a < 0 || b < 0) throw CodecError("negative grid size");
    c.list("grids", g, [&](Item grid, uint64_t) {
        grid.u16("grid_key");
        grid.grid_i32("plane_a", uint64_t(a), uint64_t(b));
        grid.grid_i32("plane_b", uint64_t(a), uint64_t(b));
    });
    if (version <= 100) return;
    c.u32("table_set_value");
    int64_t k = c.i32("num_tables");
    c.hexes("tables", k > 0 ? uint64_t(k) : 0, 1040);
    c.hex("current_table", 1040);
    if (version <= 101) return;
    c.u32("list_set_value");
    int64_t l = c.i32("num_lists");
    if (l < 0) throw CodecError("negative list count");
    c.list("lists", uint64_t(l), [](Item e, uint64_t) {
        e.i32s("list_origin", 2);
        e.u32("list_kind");
        uint64_t v = e.u32("num_values");
        e.i32s("values", v);
    });
    c.hexes("list_extras", uint64_t(l), 24);
    if (version >= 103) c.u32("trailer_word");
    if (version >= 104) c.u8("trailer_byte");
    if (version >= 105) c.u32s("trailer_pair", 2);
    if (version >= 106) c.u8("trailer_flag");
}

//   8 6 bytes, 14 u16 c, 16 c entries: 16-byte head (u16 K at head byte 2), K x 4 data bytes
void record_24(Codec &c, uint8_t) {
    c.hex("opaque8", 6);
    uint64_t n = c.u16("entry_count");
    c.list("entries", n, [](Item e, uint64_t) {
        e.hex("head_0", 2);
        uint64_t k = e.u16("data_count");
        e.hex("head_4", 12);
        e.i32s("data", k);
    });
}

//   8 u16 n, 10 u16 m, 12 m x 4 leading table, n entries: head (20 bytes, 24 from v101), 36 bytes,
//   m x 36 bytes
void record_25(Codec &c, uint8_t version) {
    uint64_t n = c.u16("num_entries");
    uint64_t m = c.u16("m");
    c.i32s("leading_table", m);
    c.list("entries", n, [&](Item e, uint64_t) {
        e.hex("head", version >= 101 ? 24 : 20);
        e.hex("block", 36);
        e.hexes("items", m, 36);
    });
}

//   8 f32, 12 f32, 16 12 f32 in two groups of six (v101+ with size >= 64)
void record_26(Codec &c, uint8_t version) {
    c.f32("value0");
    c.f32("value1");
    if (version >= 101 && c.has("group0", 48)) {
        c.f32s("group0", 6);
        c.f32s("group1", 6);
    }
}

//  24 u16 c, 26 u16 P, 28 u16 H, 30 u16 W, 32 c entries (20-byte head, P planes of W x H u16),
//  then c x 16 trailing table (v101+)
void record_27(Codec &c, uint8_t version) {
    c.hex("leading", 16);
    uint64_t n = c.u16("num_entries");
    uint64_t planes = c.u16("num_planes");
    uint64_t h = c.u16("height");
    uint64_t w = c.u16("width");
    c.list("entries", n, [&](Item e, uint64_t) {
        e.hex("head", 20);
        e.grids_u16("planes", planes, w, h);
    });
    if (version >= 101) c.hexes("trailing_table", n, 16);
}

//  Record 10, legacy lens shading: 10 u16 n, 12 u16 w, 14 u16 h, blocks (u16 light_source, 2 bytes,
//  u16 params[2] and params[3] in q16, four w x h tables), extension n x (params[0], params[1] q8)
void record_10(Codec &c, uint8_t version) {
    c.hex("not_read", 2);
    uint64_t n = c.u16("num_light_sources");
    uint64_t w = c.u16("width");
    uint64_t h = c.u16("height");
    c.list("light_sources", n, [&](Item b, uint64_t) {
        b.u16("light_source");
        b.hex("not_read", 2);
        b.u16("params_2_q16");
        b.u16("params_3_q16");
        b.grids_u16("tables", 4, w, h);
    });
    if (version > 100 && c.has("extension", 4 * n)) {
        c.list("extension", n, [](Item e, uint64_t) {
            e.u16("params_0_q8");
            e.u16("params_1_q8");
        });
    }
}

//  Record 11, legacy shading ratio: 8 u16 n, 10 u16 w, 12 u16 h, blocks (u16 nvm_source_index,
//  u16 light_source, 2 bytes, u16 params[2], params[3] in q16, four tables), extension (v101+)
void record_11(Codec &c, uint8_t version) {
    uint64_t n = c.u16("num_light_sources");
    uint64_t w = c.u16("width");
    uint64_t h = c.u16("height");
    c.list("light_sources", n, [&](Item b, uint64_t) {
        b.u16("nvm_source_index");
        b.u16("light_source");
        b.hex("not_read", 2);
        b.u16("params_2_q16");
        b.u16("params_3_q16");
        b.grids_u16("tables", 4, w, h);
    });
    if (version > 100 && c.has("extension", 4 * n)) {
        c.list("extension", n, [](Item e, uint64_t) {
            e.u16("params_0_q8");
            e.u16("params_1_q8");
        });
    }
}

// Records 28 and 33: 8 channel_map (4 x 4 i8), 24 u16 n, 26 2 bytes, 28 u16 w, 30 u16 h, 32 blocks
// of a 22-byte head and (m + 1) tables, m the largest table number of the map.
void record_4x4(Codec &c, bool ratio) {
    int64_t m = -1;
    for (int64_t v : c.grid_i8("channel_map", 4, 4)) m = std::max(m, v);
    uint64_t n = c.u16("num_light_sources");
    c.hex("not_read", 2);
    uint64_t w = c.u16("width");
    uint64_t h = c.u16("height");
    c.list("light_sources", n, [&](Item b, uint64_t) {
        if (ratio) {
            b.u16("light_source");
            b.u16("module_light_source_index");
        } else {
            b.u32("light_source");
        }
        b.f32s("params", 4);
        b.u16("integer_bits");
        b.grids_u16("tables", uint64_t(m + 1), w, h);
    });
}

//   8 4 bytes leading_word, 12 u16 grid_width, 14 u16 grid_height, 16 4 bytes trailing_word,
//  20 four planes of a x b 4-byte values
void record_29(Codec &c, uint8_t) {
    c.hex("leading_word", 4);
    uint64_t a = c.u16("grid_width");
    uint64_t b = c.u16("grid_height");
    c.hex("trailing_word", 4);
    c.list("planes", 4, [&](Item p, uint64_t) { p.grid_i32("values", a, b); });
}

//   8 8 bytes, 16 u16 A, 18 4 bytes, 22 u16 W1, 24 H1, 26 W2, 28 H2, 30 A x 6 bytes,
//  f32 blend_weight (v102+), primary grid (u16 to v100, i32 from v101), secondary grid (4-byte values)
void record_30(Codec &c, uint8_t version) {
    c.hex("leading_values", 8);
    uint64_t a = c.u16("num_entries");
    c.hex("middle_value", 4);
    uint64_t w1 = c.u16("primary_grid_width");
    uint64_t h1 = c.u16("primary_grid_height");
    uint64_t w2 = c.u16("secondary_grid_width");
    uint64_t h2 = c.u16("secondary_grid_height");
    c.hexes("entries", a, 6);
    if (version >= 102) c.f32("blend_weight");
    if (version <= 100) c.grid_u16("primary_grid", w1, h1);
    else c.grid_i32("primary_grid", w1, h1);
    c.grid_i32("secondary_grid", w2, h2);
}

//   8 u32 n, 12 u32 zero, 16 u64 first-entry offset (24), 24 n x 72-byte entries
void record_31(Codec &c, uint8_t) {
    uint64_t n = c.u32("entry_count");
    c.u32("zero12");
    c.u64("first_entry_offset");
    c.list("entries", n, [](Item e, uint64_t) {
        e.u32("value0");
        e.f32("value1");
        e.f32("value2");
        e.f32("value3");
        e.hex("zero16", 8);
        e.f32("value4");
        e.f32("value5");
        e.hex("zero32", 40);
    });
}

//   8 16 bytes, 24 u16 centre_x, 26 u16 centre_y, 28 u32 radius
void record_32(Codec &c, uint8_t) {
    c.hex("leading", 16);
    c.u16("centre_x");
    c.u16("centre_y");
    c.u32("radius");
}

//   8 u32 E, 12 u32 zero, 16 u64 first-entry offset (32), 24 8 bytes, 32 E x 40-byte entries, data
void record_34(Codec &c, uint8_t) {
    uint64_t e = c.u32("entry_count");
    c.u32("zero12");
    c.u64("first_entry_offset");
    c.hex("zero24", 8);
    c.list("entries", e, [](Item it, uint64_t) {
        it.u32("source");
        it.u32("value");
        it.u32("item_count");
        it.u32("pair_count");
        it.u64("items_offset");
        it.u64("pairs_offset");
        it.u64("block_offset");
    });
}

//   8 u8 control_byte, 9 u32 control_word, 13 u8 n, 14 (n+1) u32 wide points, (n+1) u16 narrow
//  points, n u16 compand segment values, n u32 decompand segment values
void record_35(Codec &c, uint8_t) {
    c.u8("control_byte");
    c.u32("control_word");
    uint64_t n = c.u8("num_segments");
    c.u32s("wide_points", n + 1);
    c.u16s("narrow_points", n + 1);
    c.u16s("compand_segment_values", n);
    c.u32s("decompand_segment_values", n);
}

//   8 u8 control_byte, 9 u16 control_value, 11 u8 first_setting, 12 u8 second_setting,
//  13 u8 n, 14 n u16 input points, n u32 output points
void record_36(Codec &c, uint8_t) {
    c.u8("control_byte");
    c.u16("control_value");
    c.u8("first_setting");
    c.u8("second_setting");
    uint64_t n = c.u8("num_points");
    c.u16s("input_points", n);
    c.u32s("output_points", n);
}

//   8 u8 control_byte, 9 u8 n, 10 n x 4 first table, n x 4 second table
void record_38(Codec &c, uint8_t) {
    c.u8("control_byte");
    uint64_t n = c.u8("num_values");
    c.i32s("first_table", n);
    c.i32s("second_table", n);
}

//  Record 40: fields by the version that adds them; m = blob_length.
void record_40(Codec &c, uint8_t version) {
    c.hex("base_word", 4);
    if (version < 101) return;
    c.hex("first_word", 4);
    c.hex("first_half", 2);
    c.hex("first_block", 128);
    if (version < 102) return;
    c.hex("middle_block", 16);
    uint64_t m = c.u8("blob_length");
    c.hex("blob", m);
    if (version < 103) return;
    c.u8("tail_byte");
    if (version < 104) return;
    c.hex("tail_fields", 6);
    c.hex("second_block", 128);
}

//  Record 722, others: 8 u32 first_value, 12 u32 count, 16 entries of 8 bytes (at most 16 kept),
//  then the trailing value (v102+)
void record_722(Codec &c, uint8_t version) {
    c.u32("first_value");
    uint64_t count = c.u32("entry_count");
    c.hexes("entries", std::min<uint64_t>(count, 16), 8);
    if (version >= 102) c.u32("trailing_value");
}

}  // namespace

const char *record_kind_name(uint16_t id) {
    switch (id) {
        case 1: return "text";
        case 2: return "sensor frame";
        case 3: return "record-31 legacy form";
        case 5: case 7: case 8: case 21: case 23: return "kept whole";
        case 6: return "four value sections";
        case 9: return "container-decoded";
        case 10: return "lens shading (legacy)";
        case 11: return "lens shading ratio (legacy)";
        case 13: return "value array";
        case 14: return "stepped table";
        case 15: return "sample tables";
        case 16: return "entry list";
        case 17: return "module orientation";
        case 18: return "84-byte entries";
        case 19: return "response tables";
        case 20: return "response values";
        case 22: return "geometric distortion";
        case 24: return "data entries";
        case 25: return "entry table";
        case 26: return "float groups";
        case 27: return "sample planes";
        case 28: return "lens shading 4x4";
        case 29: return "four-plane grid";
        case 30: return "phase difference";
        case 31: return "record-31 entries";
        case 32: return "valid area";
        case 33: return "lens shading ratio 4x4";
        case 34: return "response curves";
        case 35: return "pipe compand/decompand";
        case 36: return "sensor decompand";
        case 37: case 39: return "kept whole";
        case 38: return "cbd tables";
        case 40: return "block settings";
        case 41: return "fixed 28 bytes";
        case 42: return "fixed 276 bytes";
        case 722: return "others";
        default: return "unknown";
    }
}

bool describe_payload(uint16_t id, uint8_t version, Codec &c) {
    switch (id) {
        case 1: record_1(c, version); return true;
        case 2: record_2(c, version); return true;
        case 3: record_3(c, version); return true;
        case 6: record_6(c, version); return true;
        case 10: record_10(c, version); return true;
        case 11: record_11(c, version); return true;
        case 13: record_13(c, version); return true;
        case 14: record_14(c, version); return true;
        case 15: record_15(c, version); return true;
        case 16: record_16(c, version); return true;
        case 17: record_17(c, version); return true;
        case 18: record_18(c, version); return true;
        case 19: record_19(c, version); return true;
        case 20: record_20(c, version); return true;
        case 22: record_22(c, version); return true;
        case 24: record_24(c, version); return true;
        case 25: record_25(c, version); return true;
        case 26: record_26(c, version); return true;
        case 27: record_27(c, version); return true;
        case 28: record_4x4(c, false); return true;
        case 29: record_29(c, version); return true;
        case 30: record_30(c, version); return true;
        case 31: record_31(c, version); return true;
        case 32: record_32(c, version); return true;
        case 33: record_4x4(c, true); return true;
        case 34: record_34(c, version); return true;
        case 35: record_35(c, version); return true;
        case 36: record_36(c, version); return true;
        case 38: record_38(c, version); return true;
        case 40: record_40(c, version); return true;
        case 722: record_722(c, version); return true;
        default: return false;
    }
}

}  // namespace ozcmc
