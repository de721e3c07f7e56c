// Slot ownership: the release routine of every owning slot, in the order oz_cmc_parser_deinit releases
// them. This table is the one place that says how a slot's contents are freed; deinit, slot
// replacement by a later record, and decoder error paths all go through it.
#include "records/slots.h"

#include <cstddef>

#include "common/heap.h"
#include "records/decoders.h"
#include "records/correction.h"

namespace oz {
namespace {

using SlotReleaseFn = void (*)(cmc_data *cmc, int slot);

// A single heap block: a record copy, or a structure without nested buffers.
void release_block(cmc_data *cmc, int slot) {
    heap_free(cmc->slot[slot]);
    cmc->slot[slot] = nullptr;
}

struct SlotRelease {
    int slot;
    SlotReleaseFn release;
};

// Release order of oz_cmc_parser_deinit. One row per owning slot; non-owning slots (pointers into an
// owning slot, and the value slots 2 and 19) have no row. Nested structures name their own routine.
constexpr SlotRelease kReleaseOrder[] = {
    {CMC_SLOT_TEXT_PAIRS, release_block},            //  3  id 1: key/value table (first of all)
    {CMC_SLOT_TEXT_RECORD, release_block},           //  0  id 1: record copy
    {CMC_SLOT_RECORD2, release_block},               //  4  id 2: record-2 structure
    {CMC_SLOT_RECORD5, release_block},               //  7  id 5
    {CMC_SLOT_RECORD6, release_block},               //  8  id 6
    {CMC_SLOT_RECORD7, release_block},               // 10  id 7
    {CMC_SLOT_RECORD8, release_block},               // 11  id 8
    {CMC_SLOT_RECORD9, release_block},               // 12  id 9
    {CMC_SLOT_LSC_LEGACY, release_block},            // 13  id 10
    {CMC_SLOT_RECORD13, release_block},              // 17  id 13
    {CMC_SLOT_RECORD13_ARRAY, release_block},        // 18  id 13: array copy
    {CMC_SLOT_RECORD14, release_block},              // 20  id 14
    {CMC_SLOT_RECORD15_SAMPLES, release_record15_samples}, // 23  id 15: sample table (nested)
    {CMC_SLOT_RECORD15_FLAGS, release_record15_flags}, // 24  id 15: flag block (nested)
    {CMC_SLOT_RECORD15, release_block},              // 22  id 15
    {CMC_SLOT_RECORD16, release_block},              // 30  id 16
    {CMC_SLOT_RECORD17, release_block},              // 32  id 17
    {CMC_SLOT_RECORD18, release_block},              // 34  id 18
    {CMC_SLOT_RECORD19, release_block},              // 37  id 19
    {CMC_SLOT_RECORD20, release_block},              // 40  id 20
    {CMC_SLOT_GEOMETRIC_DISTORTION, release_geometric_distortion2},  // 43  id 22: cmc_geometric_distortion2 (nested)
    {CMC_SLOT_RECORD23, release_block},              // 44  id 23
    {CMC_SLOT_RECORD24, release_record24},           // 45  id 24: structure (nested)
    {CMC_SLOT_RECORD21, release_block},              // 46  id 21
    {CMC_SLOT_RECORD25, release_record25},           // 47  id 25: table (slot 49), then record
    {CMC_SLOT_RECORD26, release_block},              // 50  id 26
    {CMC_SLOT_RECORD27, release_record27},           // 51  id 27: structure (nested)
    {CMC_SLOT_PHASE_DIFFERENCE, release_phase_difference},  // 52  id 30: cmc_phase_difference (nested)
    {CMC_SLOT_FOUR_PLANE_GRID, release_four_plane_grid},  // 53  id 29: cmc_four_plane_grid (nested)
    {CMC_SLOT_LENS_SHADING, release_lens_shading4x4},  // 54  id 10/28: cmc_lens_shading4x4 (nested)
    {CMC_SLOT_RECORD31, release_block},              // 55  id 3/31
    {CMC_SLOT_VALID_AREA, release_block},            // 56  id 32
    {CMC_SLOT_RECORD34, release_block},              // 58  id 34 or built by init
    {CMC_SLOT_LENS_SHADING_RATIO, release_lens_shading_ratio},  // 57  id 11/33: cmc_lens_shading_ratio (nested)
    {CMC_SLOT_SENSOR_DECOMPAND, release_sensor_decompand},  // 61  id 36: cmc_sensor_decompand (nested)
    {CMC_SLOT_PIPE_COMPAND, release_pipe_curve},  // 59  id 35 (nested)
    {CMC_SLOT_PIPE_DECOMPAND, release_pipe_curve},  // 60  id 35 (nested)
    {CMC_SLOT_RECORD37, release_block},              // 62  id 37
    {CMC_SLOT_RECORD39, release_block},              // 63  id 39
    {CMC_SLOT_CBD, release_cbd},  // 64  id 38: cmc_cbd (nested)
    {CMC_SLOT_OTHERS, release_block},                // 65  id 722: others_data
    {CMC_SLOT_BLOCK_SETTINGS, release_block_settings},  // 66  id 40: cmc_block_settings (nested)
    {CMC_SLOT_RECORD41, release_block},              // 67  id 41
    {CMC_SLOT_RECORD42, release_block},              // 68  id 42
};

SlotReleaseFn release_fn(int slot) {
    for (const SlotRelease &row : kReleaseOrder)
        if (row.slot == slot) return row.release;
    return nullptr;  // non-owning
}

}  // namespace

void release_slot(cmc_data *cmc, int slot) {
    if (SlotReleaseFn fn = release_fn(slot)) {
        if (cmc->slot[slot]) fn(cmc, slot);
    }
    cmc->slot[slot] = nullptr;
}

void clear_slots(cmc_data *cmc, std::initializer_list<int> slots) {
    for (int slot : slots) release_slot(cmc, slot);
}

void release_all_slots(cmc_data *cmc) {
    for (const SlotRelease &row : kReleaseOrder)
        if (cmc->slot[row.slot]) row.release(cmc, row.slot);
}

}  // namespace oz
