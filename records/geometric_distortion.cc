// Decoder of the geometric distortion record (id 22) into cmc_geometric_distortion2 (slot 43): two-plane
// grids, and by version a table set, value lists and trailing settings, all copied uninterpreted.
#include <algorithm>

#include "records/correction.h"
#include "records/decoders.h"
#include "records/slots.h"

namespace oz {

// Record 22 (no padding anywhere; N = grid_size_a * grid_size_b):
//   off                 size          type   field
//     0                    8                 record_header
//     8                    4          u32    head_value_a
//    12                    2          i16    grid_size_a
//    14                    2          i16    grid_size_b
//    16                    4          u32    head_value_b
//    20                    2          u16    num_grids (G)
//    22        G * (2 + 8*N)                 grids: u16 grid_key, N 4-byte values of plane a, N of plane b
// Section 1, version 101 and up, at o1 = 22 + G * (2 + 8*N):
//    o1                    4          u32    table_set_value
//    o1 + 4                4          i32    num_tables (K), used only when positive
//    o1 + 8       1040 * max(K, 0)           tables
//    ...                1040                 current_table
// Section 2, version 102 and up, at o2 = end of section 1:
//    o2                    4          u32    list_set_value
//    o2 + 4                4          i32    num_lists (L)
//    o2 + 8                                  L entries: 8 bytes list_origin, u32 list_kind,
//                                              u32 num_values (V), V 4-byte values
//    ...              L * 24                 list extras
// Trailing fields at o3 = end of section 2:
//    o3                    4          u32    trailer_word   (version 103 and up)
//    o3 + 4                1          u8     trailer_byte   (version 104 and up)
//    o3 + 5                8          u32[2] trailer_pair   (version 105 and up)
//    o3 + 13               1          u8     trailer_flag   (version 106 and up)
// Versions above 106 are decoded as 106.
//
// The record carries no size field of its own for these sections, so the decoder checks each part
// against the record's size as it reaches it:
//   - the fixed part and the grids must lie inside the record; otherwise the record is rejected
//     (slot 43 null). So is a record with a negative grid size (N would be negative or meaningless).
//   - a later section that runs past the record ends the decoding with the sections before it kept,
//     exactly as a failed table allocation does (section 1) or as a dropped list section does
//     (section 2); trailing fields that do not lie inside the record are 0.
//   - when section 2 is dropped, the trailing fields are read after it where its extent is known (it
//     lies inside the record: it was dropped for an empty list or for lack of memory), and are 0 when
//     it is not (a negative list count, or entries running past the record).
namespace {

constexpr uint32_t kTableBytes = 1040;
constexpr uint32_t kListExtraBytes = 24;

// End offset of section 2 starting at o2, walked through the entry lengths without allocating, or
// false when it does not lie inside the record (or the list count is negative).
bool list_section_end(RecordBytes &r, uint64_t o2, int32_t num_lists, uint64_t *end) {
    if (num_lists < 0) return false;
    uint64_t p = o2 + 8;
    for (int32_t e = 0; e < num_lists; ++e) {
        if (!r.has(p, 16)) return false;
        const uint64_t values = r.u32(p + 12);
        if (!r.has(p + 16, 4 * values)) return false;
        p += 16 + 4 * values;
    }
    if (!r.has(p, uint64_t(kListExtraBytes) * uint64_t(num_lists))) return false;
    *end = p + uint64_t(kListExtraBytes) * uint64_t(num_lists);
    return true;
}

// Drops section 2: every values buffer and the list array are released, the extras left out, and
// list_set_value reset; num_lists keeps the record's count.
void drop_lists(cmc_geometric_distortion2 *gd) {
    if (gd->lists != nullptr) {
        for (int32_t i = 0; i < gd->num_lists; ++i) heap_free(gd->lists[i].values);
        heap_free(gd->lists);
    }
    heap_free(gd->list_extras);
    gd->lists = nullptr;
    gd->list_extras = nullptr;
    gd->list_set_value = 0;
}

// Copies the L entries and the extras of a section 2 that lies inside the record. Returns the rule
// that made the section drop, or null when it was read whole.
const char *read_lists(RecordBytes &r, uint64_t o2, cmc_geometric_distortion2 *gd, const Diag &diag) {
    const int32_t count = gd->num_lists;
    gd->lists = heap_array_zeroed<cmc_geometric_distortion_list>(size_t(count)).release();
    if (gd->lists == nullptr) {
        report_no_memory(diag, "allocation failed: value lists", uint64_t(count) * 24);
        return "allocation of the list entries";
    }
    uint64_t p = o2 + 8;
    for (int32_t e = 0; e < count; ++e) {
        cmc_geometric_distortion_list &list = gd->lists[e];
        r.bytes(p + 0, 8, list.list_origin);
        list.list_kind = r.u32(p + 8);
        list.num_values = r.u32(p + 12);
        if (list.num_values == 0) return "list num_values != 0";
        list.values = copy_array<uint32_t>(r, p + 16, list.num_values).release();
        if (list.values == nullptr) {
            report_no_memory(diag, "allocation failed: list values", 4 * uint64_t(list.num_values));
            return "allocation of list values";
        }
        p += 16 + 4 * uint64_t(list.num_values);
    }
    gd->list_extras = copy_array<uint8_t>(r, p, uint64_t(kListExtraBytes) * uint64_t(count)).release();
    if (gd->list_extras == nullptr) {
        report_no_memory(diag, "allocation failed: list extras", uint64_t(kListExtraBytes) * uint64_t(count));
        return "allocation of the list extras";
    }
    return nullptr;
}

// Trailing fields of versions 103 and up at o3; a field that does not lie inside the record is 0.
void read_trailer(RecordBytes &r, uint64_t o3, unsigned version, cmc_geometric_distortion2 *gd,
                  const Diag &diag) {
    struct Field {
        unsigned from_version;
        uint64_t off;
        uint64_t width;
        const char *name;
    };
    const Field fields[] = {
        {103, o3 + 0, 4, "trailer_word (past the record end)"},
        {104, o3 + 4, 1, "trailer_byte (past the record end)"},
        {105, o3 + 5, 8, "trailer_pair (past the record end)"},
        {106, o3 + 13, 1, "trailer_flag (past the record end)"},
    };
    for (const Field &f : fields) {
        if (version < f.from_version) break;
        if (!r.has(f.off, f.width)) {
            diag.default_taken(f.name, 0);
            continue;
        }
        switch (f.from_version) {
            case 103: gd->trailer_word = r.u32(f.off); break;
            case 104: gd->trailer_byte = r.u8(f.off); break;
            case 105:
                gd->trailer_pair[0] = r.u32(f.off);
                gd->trailer_pair[1] = r.u32(f.off + 4);
                break;
            case 106: gd->trailer_flag = r.u8(f.off); break;
        }
    }
}

}  // namespace

cmc_geometric_distortion2 *cmc_geometric_distortion2_parse(RecordBytes &r, uint8_t record_version,
                                                           const Diag &diag) {
    const uint32_t size = r.size();
    const unsigned version = std::min<unsigned>(record_version, 106);

    auto gd = owned_zeroed<cmc_geometric_distortion2, cmc_geometric_distortion2_release>();
    if (!gd) {
        report_no_memory(diag, "allocation failed: cmc_geometric_distortion2", sizeof(cmc_geometric_distortion2));
        return nullptr;
    }
    gd->head_value_a = r.u32(8);
    gd->grid_size_a = r.i16(12);
    gd->grid_size_b = r.i16(14);
    gd->head_value_b = r.u32(16);
    gd->num_grids = r.u16(20);
    if (!r.ok()) {
        diag.refused("size >= 22 (fixed part)", 22, size);
        return nullptr;
    }
    if (gd->grid_size_a < 0 || gd->grid_size_b < 0) {
        diag.refused("grid sizes >= 0", 0, uint64_t(int64_t(std::min(gd->grid_size_a, gd->grid_size_b))));
        return nullptr;
    }
    const uint64_t N = uint64_t(gd->grid_size_a) * uint64_t(gd->grid_size_b);
    const uint64_t G = gd->num_grids;
    const uint64_t grid_length = 2 + 8 * N;
    const uint64_t o1 = 22 + G * grid_length;
    if (!r.has(0, o1)) {
        diag.refused("size >= 22 + G * (2 + 8 * N) (grids)", o1, size);
        return nullptr;
    }
    if (G != 0) {
        HeapArray<cmc_geometric_distortion_grid> grids = heap_array_zeroed<cmc_geometric_distortion_grid>(G);
        HeapArray<uint32_t> planes = heap_array<uint32_t>(G * 2 * N);
        if (!grids || !planes) {
            report_no_memory(diag, "allocation failed: grids", G * 8 * N);
            return nullptr;
        }
        for (uint64_t g = 0; g < G; ++g) {
            const uint64_t p = 22 + g * grid_length;
            uint32_t *plane_a = planes.get() + g * 2 * N;
            grids[g].grid_key = r.u16(p);
            r.bytes(p + 2, 8 * N, plane_a);
            grids[g].plane_a = plane_a;
            grids[g].plane_b = plane_a + N;
        }
        planes.release();  // owned through grids[0].plane_a from here
        gd->grids = grids.release();
    }
    if (version <= 100) {
        diag.decoded("slot 43: cmc_geometric_distortion2 (grids)");
        return gd.release();
    }

    // Section 1.
    if (!r.has(o1, 8)) {
        diag.dropped("section 1: size >= o1 + 8", o1 + 8, size);
        return gd.release();
    }
    gd->table_set_value = r.u32(o1);
    gd->num_tables = r.i32(o1 + 4);
    const uint64_t K = uint64_t(std::max(gd->num_tables, 0));
    const uint64_t current_off = o1 + 8 + kTableBytes * K;
    const uint64_t o2 = current_off + kTableBytes;
    if (!r.has(0, o2)) {
        diag.dropped("section 1: size >= o1 + 8 + 1040 * K + 1040", o2, size);
        return gd.release();
    }
    if (K > 0) {
        gd->tables = copy_array<uint8_t>(r, o1 + 8, kTableBytes * K).release();
        if (gd->tables == nullptr) {
            diag.dropped("allocation failed: tables (decoding ends here)", kTableBytes * K, 0);
            return gd.release();
        }
    }
    r.bytes(current_off, kTableBytes, gd->current_table);
    if (version == 101) {
        gd->trailer_word = 32;
        diag.default_taken("trailer_word (version 101)", 32);
        diag.decoded("slot 43: cmc_geometric_distortion2 (grids, tables)");
        return gd.release();
    }

    // Section 2.
    uint64_t o3 = 0;
    bool o3_known = false;
    if (!r.has(o2, 8)) {
        diag.dropped("section 2: size >= o2 + 8", o2 + 8, size);
    } else {
        gd->list_set_value = r.u32(o2);
        gd->num_lists = r.i32(o2 + 4);
        o3_known = list_section_end(r, o2, gd->num_lists, &o3);
        const char *drop_rule = o3_known ? read_lists(r, o2, gd.get(), diag)
                                         : "section 2: num_lists >= 0 and entries and extras within size";
        if (drop_rule != nullptr) {
            drop_lists(gd.get());
            diag.dropped(drop_rule, o3_known ? o3 : 0, size);
        }
    }

    // Trailing fields.
    if (version == 102) {
        gd->trailer_word = 32;
        diag.default_taken("trailer_word (version 102)", 32);
    } else if (o3_known) {
        read_trailer(r, o3, version, gd.get(), diag);
    } else {
        diag.default_taken("trailer fields (end of section 2 unknown)", 0);
    }
    diag.decoded("slot 43: cmc_geometric_distortion2");
    return gd.release();
}

uint32_t decode_record_22_geometric_distortion(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_GEOMETRIC_DISTORTION});
    ctx.cmc->slot[CMC_SLOT_GEOMETRIC_DISTORTION] =
        cmc_geometric_distortion2_parse(rec.bytes(), rec.version(), ctx.diag);
    return kStatusDone;  // the copy is released when `rec` goes out of scope
}

}  // namespace oz
