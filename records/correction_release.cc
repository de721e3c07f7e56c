// Release of the structures built from the correction-table records: one routine per structure, used
// by slot replacement, by decoder error paths, by oz_cmc_parser_deinit (through the slot routines of
// the release order) and behind the exported *_deinit functions. Every routine frees children before
// their parent and accepts a partly built structure (null pointers are skipped).
#include "records/correction.h"

namespace oz {
namespace {

// The 16 cell tables of each of the first `count` entries, then the entry array.
template <class Entry>
void release_shading_entries(Entry *entries, uint16_t count) {
    if (entries == nullptr) return;
    for (uint32_t i = 0; i < count; ++i) {
        for (auto &row : entries[i].tables) {
            for (uint16_t *&table : row) {
                heap_free(table);
                table = nullptr;
            }
        }
    }
    heap_free(entries);
}

template <class T, void (*Release)(T *)>
void release_slot_with(cmc_data *cmc, int slot) {
    Release(static_cast<T *>(cmc->slot[slot]));
    cmc->slot[slot] = nullptr;
}

}  // namespace

void cmc_lens_shading4x4_release(cmc_lens_shading4x4 *lsc) {
    if (lsc == nullptr) return;
    release_shading_entries(lsc->light_sources, lsc->num_light_sources);
    heap_free(lsc);
}

void cmc_lens_shading_ratio_release(cmc_lens_shading_ratio *ratio) {
    if (ratio == nullptr) return;
    release_shading_entries(ratio->light_sources, ratio->num_light_sources);
    heap_free(ratio);
}

// The plane buffer (owned through the first grid's plane_a), each list's values and the list array,
// the list extras, the grid array, the tables, the structure.
void cmc_geometric_distortion2_release(cmc_geometric_distortion2 *gd) {
    if (gd == nullptr) return;
    if (gd->grids != nullptr) heap_free(gd->grids[0].plane_a);
    if (gd->lists != nullptr) {
        for (int32_t i = 0; i < gd->num_lists; ++i) heap_free(gd->lists[i].values);
        heap_free(gd->lists);
    }
    heap_free(gd->list_extras);
    heap_free(gd->grids);
    heap_free(gd->tables);
    heap_free(gd);
}

void cmc_phase_difference_release(cmc_phase_difference *pd) {
    if (pd == nullptr) return;
    heap_free(pd->entries);
    heap_free(pd->primary_grid);
    heap_free(pd->secondary_grid);
    heap_free(pd);
}

void cmc_pipe_compand_decompand_release(cmc_pipe_compand_decompand *curve) {
    if (curve == nullptr) return;
    heap_free(curve->input_points);
    heap_free(curve->output_points);
    heap_free(curve->segment_values);
    heap_free(curve);
}

void cmc_sensor_decompand_release(cmc_sensor_decompand *curve) {
    if (curve == nullptr) return;
    heap_free(curve->input_points);
    heap_free(curve->output_points);
    heap_free(curve);
}

void cmc_cbd_release(cmc_cbd *cbd) {
    if (cbd == nullptr) return;
    heap_free(cbd->first_table);
    heap_free(cbd->second_table);
    heap_free(cbd);
}

// The four planes share one buffer, owned through planes[0].
void cmc_four_plane_grid_release(cmc_four_plane_grid *grid) {
    if (grid == nullptr) return;
    heap_free(grid->planes[0]);
    heap_free(grid);
}

void cmc_block_settings_release(cmc_block_settings *settings) {
    if (settings == nullptr) return;
    heap_free(settings->blob);
    heap_free(settings);
}

void release_lens_shading4x4(cmc_data *cmc, int slot) {
    release_slot_with<cmc_lens_shading4x4, cmc_lens_shading4x4_release>(cmc, slot);
}
void release_lens_shading_ratio(cmc_data *cmc, int slot) {
    release_slot_with<cmc_lens_shading_ratio, cmc_lens_shading_ratio_release>(cmc, slot);
}
void release_geometric_distortion2(cmc_data *cmc, int slot) {
    release_slot_with<cmc_geometric_distortion2, cmc_geometric_distortion2_release>(cmc, slot);
}
void release_phase_difference(cmc_data *cmc, int slot) {
    release_slot_with<cmc_phase_difference, cmc_phase_difference_release>(cmc, slot);
}
void release_pipe_curve(cmc_data *cmc, int slot) {
    release_slot_with<cmc_pipe_compand_decompand, cmc_pipe_compand_decompand_release>(cmc, slot);
}
void release_sensor_decompand(cmc_data *cmc, int slot) {
    release_slot_with<cmc_sensor_decompand, cmc_sensor_decompand_release>(cmc, slot);
}
void release_cbd(cmc_data *cmc, int slot) { release_slot_with<cmc_cbd, cmc_cbd_release>(cmc, slot); }
void release_four_plane_grid(cmc_data *cmc, int slot) {
    release_slot_with<cmc_four_plane_grid, cmc_four_plane_grid_release>(cmc, slot);
}
void release_block_settings(cmc_data *cmc, int slot) {
    release_slot_with<cmc_block_settings, cmc_block_settings_release>(cmc, slot);
}

}  // namespace oz

extern "C" {

OZ_API void cmc_lens_shading4x4_deinit(cmc_lens_shading4x4 *lsc) { oz::cmc_lens_shading4x4_release(lsc); }

OZ_API void cmc_lens_shading_ratio_deinit(cmc_lens_shading_ratio *ratio) {
    oz::cmc_lens_shading_ratio_release(ratio);
}

OZ_API void cmc_pipe_compand_decompand_deinit(cmc_pipe_compand_decompand *compand,
                                              cmc_pipe_compand_decompand *decompand) {
    oz::cmc_pipe_compand_decompand_release(compand);
    oz::cmc_pipe_compand_decompand_release(decompand);
}

OZ_API void cmc_sensor_decompand_deinit(cmc_sensor_decompand *curve) { oz::cmc_sensor_decompand_release(curve); }

OZ_API void cmc_cbd_deinit(cmc_cbd *cbd) { oz::cmc_cbd_release(cbd); }

}  // extern "C"
