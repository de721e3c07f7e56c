// Dump of a cmc_data. Slot contents are read the way a caller reads them: record copies through the
// record layouts, structures through their public definitions.
#include "dump.h"

#include <cstring>

#include "container_json.h"
#include "json_text.h"
#include "layouts.h"
#include "oz_cmc.h"

namespace ozcmc {
namespace {

enum class SlotKind { kEmpty, kRecord, kInto, kValues, kStructure, kDescriptor };

struct SlotInfo {
    const char *name;
    SlotKind kind;
    int owner;  // kInto: the owning slot
};

// The 70 slots: name, what they hold, and for pointers into a record copy the slot that owns it.
constexpr SlotInfo kSlots[CMC_SLOT_COUNT] = {
    {"text_record", SlotKind::kRecord, -1},       {"text", SlotKind::kInto, 0},
    {"text_pair_count", SlotKind::kValues, -1},   {"text_pairs", SlotKind::kStructure, -1},
    {"record2", SlotKind::kStructure, -1},        {"unused_5", SlotKind::kEmpty, -1},
    {"unused_6", SlotKind::kEmpty, -1},           {"record5", SlotKind::kRecord, -1},
    {"record6", SlotKind::kRecord, -1},           {"record6_values", SlotKind::kInto, 8},
    {"record7", SlotKind::kRecord, -1},           {"record8", SlotKind::kRecord, -1},
    {"record9", SlotKind::kRecord, -1},           {"lsc_legacy", SlotKind::kRecord, -1},
    {"lsc_legacy_1", SlotKind::kInto, 13},        {"lsc_legacy_2", SlotKind::kInto, 13},
    {"lsc_legacy_3", SlotKind::kInto, 13},        {"record13", SlotKind::kRecord, -1},
    {"record13_array", SlotKind::kStructure, -1}, {"record13_values", SlotKind::kValues, -1},
    {"record14", SlotKind::kRecord, -1},          {"record14_entries", SlotKind::kInto, 20},
    {"record15", SlotKind::kRecord, -1},          {"record15_samples", SlotKind::kStructure, -1},
    {"record15_flags", SlotKind::kStructure, -1}, {"record15_unused", SlotKind::kEmpty, -1},
    {"record15_table_a", SlotKind::kInto, 22},    {"record15_table_b", SlotKind::kInto, 22},
    {"record15_table_c", SlotKind::kInto, 22},    {"record15_table_d", SlotKind::kInto, 22},
    {"record16", SlotKind::kRecord, -1},          {"record16_entries", SlotKind::kInto, 30},
    {"record17", SlotKind::kRecord, -1},          {"record17_extension", SlotKind::kInto, 32},
    {"record18", SlotKind::kRecord, -1},          {"record18_entries", SlotKind::kInto, 34},
    {"record18_trailer", SlotKind::kInto, 34},    {"record19", SlotKind::kRecord, -1},
    {"record19_table1", SlotKind::kInto, 37},     {"record19_table2", SlotKind::kInto, 37},
    {"record20", SlotKind::kRecord, -1},          {"record20_table_header", SlotKind::kInto, 40},
    {"record20_table", SlotKind::kInto, 40},      {"geometric_distortion", SlotKind::kStructure, -1},
    {"record23", SlotKind::kRecord, -1},          {"record24", SlotKind::kStructure, -1},
    {"record21", SlotKind::kRecord, -1},          {"record25", SlotKind::kRecord, -1},
    {"record25_leading", SlotKind::kInto, 47},    {"record25_table", SlotKind::kStructure, -1},
    {"record26", SlotKind::kStructure, -1},       {"record27", SlotKind::kStructure, -1},
    {"phase_difference", SlotKind::kStructure, -1}, {"four_plane_grid", SlotKind::kStructure, -1},
    {"lens_shading", SlotKind::kStructure, -1},   {"record31", SlotKind::kStructure, -1},
    {"valid_area", SlotKind::kRecord, -1},        {"lens_shading_ratio", SlotKind::kStructure, -1},
    {"record34", SlotKind::kStructure, -1},       {"pipe_compand", SlotKind::kStructure, -1},
    {"pipe_decompand", SlotKind::kStructure, -1}, {"sensor_decompand", SlotKind::kStructure, -1},
    {"record37", SlotKind::kRecord, -1},          {"record39", SlotKind::kRecord, -1},
    {"cbd", SlotKind::kStructure, -1},            {"others", SlotKind::kStructure, -1},
    {"block_settings", SlotKind::kStructure, -1}, {"record41", SlotKind::kStructure, -1},
    {"record42", SlotKind::kStructure, -1},       {"container", SlotKind::kDescriptor, -1},
};

uint32_t u32_at(const void *p, size_t off) {
    uint32_t v;
    std::memcpy(&v, static_cast<const uint8_t *>(p) + off, 4);
    return v;
}
uint16_t u16_at(const void *p, size_t off) {
    uint16_t v;
    std::memcpy(&v, static_cast<const uint8_t *>(p) + off, 2);
    return v;
}

Json hex_of(const void *p, size_t n) { return to_hex(static_cast<const uint8_t *>(p), n); }

Json header_json(const record_header &h) {
    Json j = Json::object();
    j["size"] = h.size;
    j["version"] = h.version;
    j["id"] = h.id;
    return j;
}

// A record copy kept in a slot: its header and its fields by the record's layout.
Json record_copy(const void *p) {
    const uint32_t size = u32_at(p, 0);
    Json j = unpack_record(static_cast<const uint8_t *>(p), size);
    Json out = Json::object();
    out["size"] = size;
    for (auto &[k, v] : j.items()) out[k] = v;
    return out;
}

Json u16_grid(const uint16_t *t, unsigned w, unsigned h) {
    if (t == nullptr) return nullptr;
    Json rows = Json::array();
    for (unsigned r = 0; r < h; ++r) {
        Json row = Json::array();
        for (unsigned q = 0; q < w; ++q) row.push_back(t[size_t(r) * w + q]);
        rows.push_back(std::move(row));
    }
    return rows;
}

Json channel_map_json(const int8_t (&map)[4][4]) {
    Json rows = Json::array();
    for (const auto &row : map) {
        Json r = Json::array();
        for (int8_t v : row) r.push_back(v);
        rows.push_back(std::move(r));
    }
    return rows;
}

// Lens shading (slot 54) and ratios (slot 57) share their shape; cells without a table are omitted.
template <class Shading, class Entry>
Json shading_json(const Shading *s, bool ratio) {
    Json j = Json::object();
    j["header"] = header_json(s->header);
    j["channel_map"] = channel_map_json(s->channel_map);
    j["num_light_sources"] = s->num_light_sources;
    j["width"] = s->width;
    j["height"] = s->height;
    Json entries = Json::array();
    for (unsigned i = 0; s->light_sources && i < s->num_light_sources; ++i) {
        const Entry &e = s->light_sources[i];
        Json ej = Json::object();
        ej["light_source"] = e.light_source;
        ej["params"] = {e.params[0], e.params[1], e.params[2], e.params[3]};
        ej["fraction_bits"] = e.fraction_bits;
        if constexpr (requires { e.nvm_source_index; }) ej["nvm_source_index"] = e.nvm_source_index;
        Json cells = Json::array();
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) {
                if (e.tables[r][c] == nullptr) continue;
                Json cell = Json::object();
                cell["cell"] = {r, c};
                cell["samples"] = u16_grid(e.tables[r][c], s->width, s->height);
                cells.push_back(std::move(cell));
            }
        ej["tables"] = std::move(cells);
        entries.push_back(std::move(ej));
    }
    j["light_sources"] = std::move(entries);
    (void)ratio;
    return j;
}

Json f32_array(const float *v, size_t n) {
    Json a = Json::array();
    for (size_t i = 0; i < n; ++i) a.push_back(v[i]);
    return a;
}

Json u16_array(const uint16_t *v, size_t n) {
    Json a = Json::array();
    for (size_t i = 0; v && i < n; ++i) a.push_back(v[i]);
    return a;
}

Json record2_json(const cmc_record2 *r) {
    return {{"header", header_json(r->header)}, {"frame_width", r->frame_width},
            {"frame_height", r->frame_height}, {"base_value", r->base_value}, {"cfa_pattern", r->cfa_pattern},
            {"value_v101", r->value_v101}, {"opaque_v102", hex_of(r->opaque_v102, 16)},
            {"value_v103", r->value_v103}};
}

Json record31_json(const cmc_record31 *r) {
    Json entries = Json::array();
    for (uint32_t i = 0; r->entries && i < r->entry_count; ++i) {
        const cmc_record31_entry &e = r->entries[i];
        entries.push_back({{"value0", e.value0}, {"value1", e.value1}, {"value2", e.value2}, {"value3", e.value3},
                           {"value4", e.value4}, {"value5", e.value5}});
    }
    return {{"header", header_json(r->header)}, {"entry_count", r->entry_count}, {"entries", entries}};
}

Json record34_json(const cmc_record34 *r) {
    Json entries = Json::array();
    for (uint32_t i = 0; r->entries && i < r->entry_count; ++i) {
        const cmc_record34_entry &e = r->entries[i];
        Json j = {{"source", e.source}, {"value", e.value}, {"item_count", e.item_count}, {"pair_count", e.pair_count}};
        if (e.items) {
            Json items = Json::array();
            for (uint32_t k = 0; k < e.item_count; ++k)
                items.push_back({{"value0", e.items[k].value0}, {"value1", e.items[k].value1},
                                 {"bytes8", hex_of(e.items[k].bytes8, 8)}, {"bytes16", hex_of(e.items[k].bytes16, 4)},
                                 {"bytes20", hex_of(e.items[k].bytes20, 8)}});
            j["items"] = std::move(items);
        }
        if (e.pairs) {
            Json pairs = Json::array();
            for (uint32_t k = 0; k < e.pair_count; ++k) pairs.push_back({{"value", e.pairs[k].value}, {"raw", e.pairs[k].raw}});
            j["pairs"] = std::move(pairs);
        }
        if (e.block) j["block"] = u16_array(e.block->values, 4);
        entries.push_back(std::move(j));
    }
    return {{"header", header_json(r->header)}, {"entry_count", r->entry_count}, {"entries", entries}};
}

Json record15_samples_json(const cmc_record15_sample_table *t) {
    Json samples = Json::array();
    for (uint16_t i = 0; t->samples && i < t->count; ++i) {
        const cmc_record15_sample &s = t->samples[i];
        const uint16_t length = u16_at(s.head, 10);
        samples.push_back({{"head", hex_of(s.head, 12)}, {"length", length}, {"series1", u16_array(s.series1, length)},
                           {"series2", u16_array(s.series2, length)}});
    }
    return {{"count", t->count}, {"samples", samples}};
}

Json record15_flags_json(const cmc_data *cmc, const cmc_record15_flag_block *b) {
    Json j = {{"flag", b->flag}};
    const void *record = cmc->slot[CMC_SLOT_RECORD15];
    if (b->table && record) {
        Json rows = Json::array();
        for (uint16_t i = 0; i < u16_at(record, 8); ++i) rows.push_back(hex_of(b->table + 16 * size_t(i), 16));
        j["table"] = std::move(rows);
    } else {
        j["table"] = nullptr;
    }
    return j;
}

Json record24_json(const cmc_record24 *r) {
    Json entries = Json::array();
    for (uint16_t i = 0; r->entries && i < r->entry_count; ++i) {
        const cmc_record24_entry &e = r->entries[i];
        const uint16_t k = u16_at(e.head, 2);
        Json data = nullptr;
        if (e.data) {
            data = Json::array();
            for (uint16_t d = 0; d < k; ++d) data.push_back(int32_t(u32_at(e.data, 4 * size_t(d))));
        }
        entries.push_back({{"head", hex_of(e.head, 16)}, {"data", data}});
    }
    return {{"header", header_json(r->header)}, {"opaque8", hex_of(r->opaque8, 6)}, {"entry_count", r->entry_count},
            {"entries", entries}};
}

Json record25_json(const cmc_data *cmc, const cmc_record25_item *items) {
    const uint8_t *record = static_cast<const uint8_t *>(cmc->slot[CMC_SLOT_RECORD25]);
    Json out = Json::array();
    if (record == nullptr) return out;
    const uint16_t n = u16_at(record, 8), m = u16_at(record, 10);
    for (uint16_t i = 0; i < n; ++i) {
        const cmc_record25_item &it = items[i];
        Json blocks = Json::array();
        for (uint16_t b = 0; it.blocks && b < m; ++b) blocks.push_back(hex_of(it.blocks + 36 * size_t(b), 36));
        out.push_back({{"head_at_byte", it.head ? Json(size_t(it.head - record)) : Json(nullptr)},
                       {"values", hex_of(it.values, 36)}, {"blocks", blocks}});
    }
    return out;
}

Json record26_json(const cmc_record26 *r) {
    return {{"header", header_json(r->header)}, {"value0", r->value0}, {"value1", r->value1},
            {"group0", f32_array(r->group0, 6)}, {"group1", f32_array(r->group1, 6)}};
}

Json record27_json(const cmc_record27 *r) {
    const uint16_t c = u16_at(r->record, 24), planes = u16_at(r->record, 26);
    const uint16_t h = u16_at(r->record, 28), w = u16_at(r->record, 30);
    Json entries = Json::array();
    for (uint16_t i = 0; r->entries && i < c; ++i) {
        const cmc_record27_entry &e = r->entries[i];
        Json grids = Json::array();
        for (uint16_t p = 0; e.samples && p < planes; ++p) grids.push_back(u16_grid(e.samples + size_t(p) * w * h, w, h));
        entries.push_back({{"head", e.head ? hex_of(e.head, 20) : Json(nullptr)}, {"planes", grids}});
    }
    Json trailing = nullptr;
    if (r->trailing_table) {
        trailing = Json::array();
        for (uint16_t i = 0; i < c; ++i) trailing.push_back(hex_of(r->trailing_table + 16 * size_t(i), 16));
    }
    return {{"record", record_copy(r->record)}, {"entries", entries}, {"trailing_table", trailing}};
}

Json u32_values(const uint32_t *v, size_t n, bool as_signed) {
    if (v == nullptr) return nullptr;
    Json a = Json::array();
    for (size_t i = 0; i < n; ++i) a.push_back(as_signed ? Json(int32_t(v[i])) : Json(v[i]));
    return a;
}

Json i32_grid(const int32_t *v, unsigned w, unsigned h) {
    if (v == nullptr) return nullptr;
    Json rows = Json::array();
    for (unsigned r = 0; r < h; ++r) {
        Json row = Json::array();
        for (unsigned q = 0; q < w; ++q) row.push_back(v[size_t(r) * w + q]);
        rows.push_back(std::move(row));
    }
    return rows;
}

Json geometric_distortion_json(const cmc_geometric_distortion2 *g) {
    Json j = Json::object();
    j["head_value_a"] = g->head_value_a;
    j["grid_size_a"] = g->grid_size_a;
    j["grid_size_b"] = g->grid_size_b;
    j["head_value_b"] = g->head_value_b;
    j["num_grids"] = g->num_grids;
    const unsigned a = g->grid_size_a > 0 ? unsigned(g->grid_size_a) : 0, b = g->grid_size_b > 0 ? unsigned(g->grid_size_b) : 0;
    Json grids = Json::array();
    for (unsigned i = 0; g->grids && i < g->num_grids; ++i) {
        const cmc_geometric_distortion_grid &e = g->grids[i];
        grids.push_back({{"grid_key", e.grid_key},
                         {"plane_a", i32_grid(reinterpret_cast<const int32_t *>(e.plane_a), a, b)},
                         {"plane_b", i32_grid(reinterpret_cast<const int32_t *>(e.plane_b), a, b)}});
    }
    j["grids"] = std::move(grids);
    j["table_set_value"] = g->table_set_value;
    j["num_tables"] = g->num_tables;
    Json tables = nullptr;
    if (g->tables) {
        tables = Json::array();
        for (int32_t i = 0; i < g->num_tables; ++i) tables.push_back(hex_of(g->tables + 1040 * size_t(i), 1040));
    }
    j["tables"] = std::move(tables);
    j["current_table"] = hex_of(g->current_table, 1040);
    j["list_set_value"] = g->list_set_value;
    j["num_lists"] = g->num_lists;
    Json lists = nullptr;
    if (g->lists) {
        lists = Json::array();
        for (int32_t i = 0; i < g->num_lists; ++i) {
            const cmc_geometric_distortion_list &l = g->lists[i];
            const Json origin = {int32_t(u32_at(l.list_origin, 0)), int32_t(u32_at(l.list_origin, 4))};
            lists.push_back({{"list_origin", origin}, {"list_kind", l.list_kind},
                             {"num_values", l.num_values}, {"values", u32_values(l.values, l.num_values, true)}});
        }
    }
    j["lists"] = std::move(lists);
    Json extras = nullptr;
    if (g->list_extras) {
        extras = Json::array();
        for (int32_t i = 0; i < g->num_lists; ++i) extras.push_back(hex_of(g->list_extras + 24 * size_t(i), 24));
    }
    j["list_extras"] = std::move(extras);
    j["trailer_word"] = g->trailer_word;
    j["trailer_byte"] = g->trailer_byte;
    j["trailer_pair"] = {g->trailer_pair[0], g->trailer_pair[1]};
    j["trailer_flag"] = g->trailer_flag;
    return j;
}

Json phase_difference_json(const cmc_phase_difference *p) {
    Json j = Json::object();
    j["header"] = header_json(p->header);
    j["leading_values"] = hex_of(p->leading_values, 8);
    j["num_entries"] = p->num_entries;
    j["middle_value"] = hex_of(p->middle_value, 4);
    j["primary_grid_width"] = p->primary_grid_width;
    j["primary_grid_height"] = p->primary_grid_height;
    j["secondary_grid_width"] = p->secondary_grid_width;
    j["secondary_grid_height"] = p->secondary_grid_height;
    Json entries = nullptr;
    if (p->entries) {
        entries = Json::array();
        for (unsigned i = 0; i < p->num_entries; ++i) entries.push_back(hex_of(p->entries + 6 * size_t(i), 6));
    }
    j["entries"] = std::move(entries);
    j["primary_grid"] = i32_grid(p->primary_grid, p->primary_grid_width, p->primary_grid_height);
    j["secondary_grid"] = i32_grid(reinterpret_cast<const int32_t *>(p->secondary_grid), p->secondary_grid_width,
                                   p->secondary_grid_height);
    return j;
}

// Slot 59 holds the compand curve (32-bit inputs, 16-bit outputs and segment values), slot 60 the
// decompand curve (16-bit inputs, 32-bit outputs and segment values).
Json compand_json(const cmc_pipe_compand_decompand *c, bool decompand) {
    const size_t n = c->num_segments;
    auto points = [](const void *p, size_t count, bool wide) -> Json {
        if (p == nullptr) return nullptr;
        Json a = Json::array();
        for (size_t i = 0; i < count; ++i)
            a.push_back(wide ? Json(static_cast<const uint32_t *>(p)[i]) : Json(static_cast<const uint16_t *>(p)[i]));
        return a;
    };
    return {{"header", header_json(c->header)}, {"control_byte", c->control_byte}, {"control_word", c->control_word},
            {"num_segments", c->num_segments}, {"input_points", points(c->input_points, n + 1, !decompand)},
            {"output_points", points(c->output_points, n + 1, decompand)},
            {"segment_values", points(c->segment_values, n, decompand)}};
}

Json sensor_decompand_json(const cmc_sensor_decompand *d) {
    return {{"header", header_json(d->header)}, {"control_byte", d->control_byte}, {"control_value", d->control_value},
            {"first_setting", d->first_setting}, {"second_setting", d->second_setting}, {"num_points", d->num_points},
            {"input_points", u16_array(d->input_points, d->num_points)},
            {"output_points", u32_values(d->output_points, d->num_points, false)}};
}

Json cbd_json(const cmc_cbd *c) {
    return {{"header", header_json(c->header)}, {"control_byte", c->control_byte}, {"num_values", c->num_values},
            {"first_table", u32_values(c->first_table, c->num_values, true)},
            {"second_table", u32_values(c->second_table, c->num_values, true)}};
}

Json four_plane_grid_json(const cmc_four_plane_grid *g) {
    Json planes = Json::array();
    for (int k = 0; k < 4; ++k)
        planes.push_back(i32_grid(reinterpret_cast<const int32_t *>(g->planes[k]), g->grid_width, g->grid_height));
    return {{"header", header_json(g->header)}, {"leading_word", hex_of(g->leading_word, 4)},
            {"grid_width", g->grid_width}, {"grid_height", g->grid_height},
            {"trailing_word", hex_of(g->trailing_word, 4)}, {"planes", planes}};
}

Json block_settings_json(const cmc_block_settings *b) {
    return {{"header", header_json(b->header)}, {"base_word", hex_of(b->base_word, 4)},
            {"first_word", hex_of(b->first_word, 4)}, {"first_half", hex_of(b->first_half, 2)},
            {"first_block", hex_of(b->first_block, 128)}, {"middle_block", hex_of(b->middle_block, 16)},
            {"blob_length", b->blob_length}, {"blob", b->blob ? hex_of(b->blob, b->blob_length) : Json(nullptr)},
            {"tail_byte", b->tail_byte}, {"tail_fields", hex_of(b->tail_fields, 6)},
            {"second_block", hex_of(b->second_block, 128)}};
}

Json others_json(const others_data *o) {
    Json j = Json::object();
    j["first_value"] = o->first_value;
    j["entry_count"] = o->entry_count;
    j["trailing_value"] = o->trailing_value;
    Json entries = Json::array();
    for (uint32_t i = 0; i < o->entry_count && i < 16; ++i) entries.push_back(hex_of(o->entries[i], 8));
    j["entries"] = std::move(entries);
    return j;
}

// Which owning slot a non-owning pointer points into, and where.
Json into_json(const cmc_data *cmc, int slot, int owner) {
    Json j = Json::object();
    j["into_slot"] = owner;
    const void *base = cmc->slot[owner];
    if (base != nullptr) {
        const uint32_t size = u32_at(base, 0);
        const auto *b = static_cast<const uint8_t *>(base);
        const auto *p = static_cast<const uint8_t *>(cmc->slot[slot]);
        if (p >= b && p <= b + size) j["at_byte"] = size_t(p - b);
    }
    return j;
}

Json structure_json(const cmc_data *cmc, int slot) {
    const void *p = cmc->slot[slot];
    switch (slot) {
        case CMC_SLOT_TEXT_PAIRS: {
            Json pairs = Json::array();
            const auto *t = static_cast<const cmc_text_pair *>(p);
            const uint16_t n = u16_at(&cmc->slot[CMC_SLOT_TEXT_PAIR_COUNT], 0);
            for (uint16_t i = 0; i < n; ++i) pairs.push_back({{"key", t[i].key}, {"value", t[i].value}});
            return pairs;
        }
        case CMC_SLOT_RECORD2: return record2_json(static_cast<const cmc_record2 *>(p));
        case CMC_SLOT_RECORD15_SAMPLES:
            return record15_samples_json(static_cast<const cmc_record15_sample_table *>(p));
        case CMC_SLOT_RECORD15_FLAGS:
            return record15_flags_json(cmc, static_cast<const cmc_record15_flag_block *>(p));
        case CMC_SLOT_RECORD24: return record24_json(static_cast<const cmc_record24 *>(p));
        case CMC_SLOT_RECORD25_TABLE: return record25_json(cmc, static_cast<const cmc_record25_item *>(p));
        case CMC_SLOT_RECORD27: return record27_json(static_cast<const cmc_record27 *>(p));
        case CMC_SLOT_RECORD13_ARRAY: {
            const uint32_t n = u16_at(cmc->slot[CMC_SLOT_RECORD13], 70);
            Json a = Json::array();
            for (uint32_t i = 0; i < n; ++i) a.push_back(u16_at(p, 2 * i));
            return a;
        }
        case CMC_SLOT_LENS_SHADING:
            return shading_json<cmc_lens_shading4x4, cmc_lens_shading_light_source>(
                static_cast<const cmc_lens_shading4x4 *>(p), false);
        case CMC_SLOT_LENS_SHADING_RATIO:
            return shading_json<cmc_lens_shading_ratio, cmc_lens_shading_ratio_light_source>(
                static_cast<const cmc_lens_shading_ratio *>(p), true);
        case CMC_SLOT_RECORD31: return record31_json(static_cast<const cmc_record31 *>(p));
        case CMC_SLOT_RECORD34: return record34_json(static_cast<const cmc_record34 *>(p));
        case CMC_SLOT_OTHERS: return others_json(static_cast<const others_data *>(p));
        case CMC_SLOT_RECORD26: return record26_json(static_cast<const cmc_record26 *>(p));
        case CMC_SLOT_GEOMETRIC_DISTORTION:
            return geometric_distortion_json(static_cast<const cmc_geometric_distortion2 *>(p));
        case CMC_SLOT_PHASE_DIFFERENCE: return phase_difference_json(static_cast<const cmc_phase_difference *>(p));
        case CMC_SLOT_FOUR_PLANE_GRID: return four_plane_grid_json(static_cast<const cmc_four_plane_grid *>(p));
        case CMC_SLOT_PIPE_COMPAND: return compand_json(static_cast<const cmc_pipe_compand_decompand *>(p), false);
        case CMC_SLOT_PIPE_DECOMPAND: return compand_json(static_cast<const cmc_pipe_compand_decompand *>(p), true);
        case CMC_SLOT_SENSOR_DECOMPAND: return sensor_decompand_json(static_cast<const cmc_sensor_decompand *>(p));
        case CMC_SLOT_CBD: return cbd_json(static_cast<const cmc_cbd *>(p));
        case CMC_SLOT_BLOCK_SETTINGS: return block_settings_json(static_cast<const cmc_block_settings *>(p));
        case CMC_SLOT_RECORD41: return {{"bytes", hex_of(p, 28)}};
        case CMC_SLOT_RECORD42: return {{"bytes", hex_of(p, 276)}};
        default:
            return {{"note", "structure not expanded by this build of ozcmc"}};
    }
}

}  // namespace

Json dump_result(const cmc_data *cmc) {
    Json slots = Json::array();
    for (int i = 0; i < CMC_SLOT_COUNT; ++i) {
        const SlotInfo &info = kSlots[i];
        Json s = Json::object();
        s["slot"] = i;
        s["name"] = info.name;
        const void *p = cmc->slot[i];
        if (info.kind == SlotKind::kValues) {
            Json values = Json::array();
            const int n = i == CMC_SLOT_TEXT_PAIR_COUNT ? 1 : 4;
            for (int k = 0; k < n; ++k) values.push_back(u16_at(&cmc->slot[i], 2 * size_t(k)));
            s["values"] = std::move(values);
        } else if (p == nullptr) {
            s["empty"] = true;
        } else if (info.kind == SlotKind::kRecord) {
            s["record"] = record_copy(p);
        } else if (info.kind == SlotKind::kInto) {
            s["pointer"] = into_json(cmc, i, info.owner);
            if (i == CMC_SLOT_TEXT) s["text"] = static_cast<const char *>(p);
        } else if (info.kind == SlotKind::kDescriptor) {
            s["descriptor"] = {{"size", static_cast<const binary_data *>(p)->size}};
        } else {
            s["structure"] = structure_json(cmc, i);
        }
        slots.push_back(std::move(s));
    }
    Json j = Json::object();
    j["slots"] = std::move(slots);
    return j;
}

std::string dump_text(const Json &dump) {
    std::string out, empty;
    for (const Json &s : dump.at("slots")) {
        const std::string head = "slot " + std::to_string(s.at("slot").get<int>()) + " " + s.at("name").get<std::string>();
        if (s.contains("empty")) {
            empty += (empty.empty() ? "" : " ") + std::to_string(s.at("slot").get<int>());
            continue;
        }
        Json body = s;
        body.erase("slot");
        body.erase("name");
        out += head + ":\n";
        std::string text = to_text(body);
        size_t at = 0;
        while (at < text.size()) {
            size_t nl = text.find('\n', at);
            if (nl == std::string::npos) nl = text.size();
            out += "  " + text.substr(at, nl - at) + "\n";
            at = nl + 1;
        }
    }
    out += "empty slots: " + (empty.empty() ? std::string("none") : empty) + "\n";
    return out;
}

}  // namespace ozcmc
