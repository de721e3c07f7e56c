// This file checks the correction-table decoders in an out-of-memory situation: a container holding one
// record of every correction kind (with a calibration blob carrying a phase-difference map) is parsed
// with every allocation failing in turn, once and from then on. Every run must release everything it
// allocated, and every slot must hold either what the unfailed run decoded or nothing at all; the
// structures that may end early by their own rules (geometric distortion, phase difference) may only lose
// whole sections.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "tests/kit/fault_sweep.h"
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

std::string hex(const void *p, size_t n) {
    std::ostringstream s;
    const auto *b = static_cast<const uint8_t *>(p);
    for (size_t i = 0; i < n; ++i) s << std::hex << int(b[i]) << '.';
    return s.str();
}

template <class Entry>
std::string dump_shading(const record_header &h, const int8_t (&map)[4][4], uint16_t n, uint16_t w, uint16_t hh,
                         const Entry *entries) {
    std::ostringstream s;
    s << hex(&h, 8) << hex(map, 16) << n << 'x' << w << 'x' << hh << ';';
    for (uint16_t i = 0; i < n; ++i) {
        const Entry &e = entries[i];
        s << e.light_source << hex(e.params, 16) << e.fraction_bits << ':';
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) s << (e.tables[r][c] ? hex(e.tables[r][c], 2u * w * hh) : "-") << '|';
    }
    return s.str();
}

std::string dump_block(const void *p, size_t n) { return p ? hex(p, n) : std::string("null"); }

// The deep content of every slot of whole-or-nothing kind ("" when null).
std::string dump_slot(const cmc_data *cmc, int slot) {
    const void *p = cmc->slot[slot];
    if (p == nullptr) return "";
    switch (slot) {
        case CMC_SLOT_LENS_SHADING: {
            auto *l = static_cast<const cmc_lens_shading4x4 *>(p);
            return dump_shading(l->header, l->channel_map, l->num_light_sources, l->width, l->height, l->light_sources);
        }
        case CMC_SLOT_LENS_SHADING_RATIO: {
            auto *l = static_cast<const cmc_lens_shading_ratio *>(p);
            std::string s = dump_shading(l->header, l->channel_map, l->num_light_sources, l->width, l->height,
                                         l->light_sources);
            for (uint16_t i = 0; i < l->num_light_sources; ++i) s += std::to_string(l->light_sources[i].nvm_source_index);
            return s;
        }
        case CMC_SLOT_PIPE_COMPAND:
        case CMC_SLOT_PIPE_DECOMPAND: {
            auto *c = static_cast<const cmc_pipe_compand_decompand *>(p);
            const bool compand = slot == CMC_SLOT_PIPE_COMPAND;
            const size_t n = c->num_segments;
            return hex(c, 24) + hex(c->input_points, (n + 1) * (compand ? 4 : 2)) +
                   hex(c->output_points, (n + 1) * (compand ? 2 : 4)) + hex(c->segment_values, n * (compand ? 2 : 4));
        }
        case CMC_SLOT_SENSOR_DECOMPAND: {
            auto *c = static_cast<const cmc_sensor_decompand *>(p);
            return hex(c, 16) + hex(c->input_points, 2u * c->num_points) + hex(c->output_points, 4u * c->num_points);
        }
        case CMC_SLOT_CBD: {
            auto *c = static_cast<const cmc_cbd *>(p);
            return hex(c, 16) + hex(c->first_table, 4u * c->num_values) + hex(c->second_table, 4u * c->num_values);
        }
        case CMC_SLOT_FOUR_PLANE_GRID: {
            auto *g = static_cast<const cmc_four_plane_grid *>(p);
            return hex(g, 20) + hex(g->planes[0], 16u * g->grid_width * g->grid_height);
        }
        case CMC_SLOT_BLOCK_SETTINGS: {
            auto *b = static_cast<const cmc_block_settings *>(p);
            return hex(b, 163) + dump_block(b->blob, b->blob_length) + hex(&b->tail_byte, 135);
        }
        case CMC_SLOT_RECORD41: return hex(p, 28);
        case CMC_SLOT_RECORD42: return hex(p, 276);
        default: {  // record copies kept whole
            uint32_t size;
            std::memcpy(&size, p, 4);
            return hex(p, size);
        }
    }
}

constexpr int kWholeOrNothing[] = {CMC_SLOT_LSC_LEGACY,    CMC_SLOT_LENS_SHADING,     CMC_SLOT_LENS_SHADING_RATIO,
                                   CMC_SLOT_PIPE_COMPAND,  CMC_SLOT_PIPE_DECOMPAND,   CMC_SLOT_SENSOR_DECOMPAND,
                                   CMC_SLOT_CBD,           CMC_SLOT_FOUR_PLANE_GRID,  CMC_SLOT_BLOCK_SETTINGS,
                                   CMC_SLOT_RECORD41,      CMC_SLOT_RECORD42,         CMC_SLOT_RECORD37,
                                   CMC_SLOT_RECORD39,      CMC_SLOT_VALID_AREA};

// Geometric distortion: the head and grids whole; the table section whole or ended (tables null, no
// current table, nothing after it); the list section whole or dropped; the trailer as decoded.
void expect_distortion_sections(const cmc_geometric_distortion2 *gd, const cmc_geometric_distortion2 *ref) {
    if (gd == nullptr) return;
    EXPECT_EQ(hex(gd, 14), hex(ref, 14));
    ASSERT_NE(gd->grids, nullptr);
    const size_t plane_bytes = 8u * uint32_t(ref->grid_size_a * ref->grid_size_b) * ref->num_grids;
    EXPECT_EQ(hex(gd->grids[0].plane_a, plane_bytes), hex(ref->grids[0].plane_a, plane_bytes));
    EXPECT_EQ(gd->table_set_value, ref->table_set_value);
    EXPECT_EQ(gd->num_tables, ref->num_tables);
    if (gd->tables == nullptr) {  // decoding ended at the tables
        EXPECT_EQ(gd->current_table[0], 0);
        EXPECT_EQ(gd->lists, nullptr);
        EXPECT_EQ(gd->trailer_word, 0u);
        return;
    }
    EXPECT_EQ(hex(gd->current_table, 1040), hex(ref->current_table, 1040));
    EXPECT_EQ(gd->num_lists, ref->num_lists);
    if (gd->lists == nullptr) {
        EXPECT_EQ(gd->list_extras, nullptr);
        EXPECT_EQ(gd->list_set_value, 0u);
    } else {
        EXPECT_EQ(gd->list_set_value, ref->list_set_value);
        for (int32_t i = 0; i < gd->num_lists; ++i)
            EXPECT_EQ(hex(gd->lists[i].values, 4u * gd->lists[i].num_values),
                      hex(ref->lists[i].values, 4u * ref->lists[i].num_values));
        EXPECT_EQ(hex(gd->list_extras, 24u * gd->num_lists), hex(ref->list_extras, 24u * ref->num_lists));
    }
    EXPECT_EQ(gd->trailer_word, ref->trailer_word);  // the section's extent is known either way
    EXPECT_EQ(gd->trailer_flag, ref->trailer_flag);
}

// Phase difference: the head whole; entries, primary and secondary grids each as decoded or null, and
// nothing after the first one missing.
void expect_phase_difference_prefix(const cmc_phase_difference *pd, const cmc_phase_difference *ref) {
    if (pd == nullptr) return;
    EXPECT_EQ(hex(pd, 22), hex(ref, 22));
    const std::string parts[3] = {dump_block(pd->entries, 6u * ref->num_entries),
                                  dump_block(pd->primary_grid, 4u * ref->primary_grid_width * ref->primary_grid_height),
                                  dump_block(pd->secondary_grid, 4u * ref->secondary_grid_width * ref->secondary_grid_height)};
    const std::string want[3] = {dump_block(ref->entries, 6u * ref->num_entries),
                                 dump_block(ref->primary_grid, 4u * ref->primary_grid_width * ref->primary_grid_height),
                                 dump_block(ref->secondary_grid, 4u * ref->secondary_grid_width * ref->secondary_grid_height)};
    bool ended = false;
    for (int k = 0; k < 3; ++k) {
        if (parts[k] == "null") ended = true;
        EXPECT_EQ(parts[k], ended ? "null" : want[k]) << "part " << k;
    }
}

TEST(RecordsCorrectionFault, EverySlotWholeOrEmptyAndNothingLeaks) {
    const Blob container(container_of(every_correction_record()));
    const Blob calibration(calibration_with_phase_difference());

    cmc_data *ref = parse_container(container.get(), calibration.get(), nullptr);
    ASSERT_NE(ref, nullptr);
    // When the copy of record 28 or 33 cannot be allocated the walk skips it, and slots 54 and 57 keep
    // what records 10 and 11 put there: the result of a container without records 28 and 33.
    std::vector<RecordBuilder> legacy_only;
    for (const RecordBuilder &r : every_correction_record()) {
        const uint16_t id = le16(r.build().data() + 6);
        if (id != 28 && id != 33) legacy_only.push_back(r);
    }
    const Blob legacy_container(container_of(legacy_only));
    cmc_data *legacy = parse_container(legacy_container.get(), calibration.get(), nullptr);
    ASSERT_NE(legacy, nullptr);
    std::vector<std::string> want, want_legacy;
    for (int slot : kWholeOrNothing) {
        want.push_back(dump_slot(ref, slot));
        want_legacy.push_back(dump_slot(legacy, slot));
        ASSERT_NE(want.back(), "") << "slot " << slot << " empty in the unfailed run";
    }
    EXPECT_NE(want_legacy[1], want[1]);  // slot 54 differs between the two
    oz_cmc_parser_deinit(legacy);

    uint64_t runs = 0, partial = 0;
    const SweepResult sweep = fault_sweep([&] {
        cmc_data *cmc = parse_container(container.get(), calibration.get(), nullptr);
        ++runs;
        if (cmc == nullptr) {
            EXPECT_TRUE(fault_injected()) << "null result without an injected failure";
            return;
        }
        bool all = true;
        for (size_t k = 0; k < std::size(kWholeOrNothing); ++k) {
            const std::string got = dump_slot(cmc, kWholeOrNothing[k]);
            if (got.empty()) {
                all = false;
                continue;
            }
            if (got != want_legacy[k]) {
                EXPECT_EQ(got, want[k]) << "slot " << kWholeOrNothing[k];
            }
        }
        EXPECT_EQ(cmc->slot[CMC_SLOT_PIPE_COMPAND] == nullptr, cmc->slot[CMC_SLOT_PIPE_DECOMPAND] == nullptr);
        // The legacy view points into the kept record 10 exactly as in the unfailed run.
        for (int slot : {CMC_SLOT_LSC_LEGACY_1, CMC_SLOT_LSC_LEGACY_2, CMC_SLOT_LSC_LEGACY_3}) {
            if (cmc->slot[CMC_SLOT_LSC_LEGACY] == nullptr) {
                EXPECT_EQ(cmc->slot[slot], nullptr);
            } else {
                EXPECT_EQ(static_cast<uint8_t *>(cmc->slot[slot]) - static_cast<uint8_t *>(cmc->slot[CMC_SLOT_LSC_LEGACY]),
                          static_cast<uint8_t *>(ref->slot[slot]) - static_cast<uint8_t *>(ref->slot[CMC_SLOT_LSC_LEGACY]));
            }
        }
        expect_distortion_sections(static_cast<const cmc_geometric_distortion2 *>(cmc->slot[CMC_SLOT_GEOMETRIC_DISTORTION]),
                                   static_cast<const cmc_geometric_distortion2 *>(ref->slot[CMC_SLOT_GEOMETRIC_DISTORTION]));
        expect_phase_difference_prefix(static_cast<const cmc_phase_difference *>(cmc->slot[CMC_SLOT_PHASE_DIFFERENCE]),
                                       static_cast<const cmc_phase_difference *>(ref->slot[CMC_SLOT_PHASE_DIFFERENCE]));
        partial += !all;
        oz_cmc_parser_deinit(cmc);
    }, "oz_cmc_parser_init_v1");
    oz_cmc_parser_deinit(ref);
    RecordProperty("allocation_points", std::to_string(sweep.points));
    EXPECT_GT(sweep.points, 100u);
    EXPECT_GT(partial, 0u);
    EXPECT_EQ(runs, sweep.trials + 1);
}

}  // namespace
}  // namespace oz::test
