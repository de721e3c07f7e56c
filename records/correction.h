// Correction-table records: the release routine of every structure they build (one per structure,
// children first, tolerant of partly built structures, null does nothing), the slot release routines
// that oz_cmc_parser_deinit runs for their slots, RAII owners over them, and the small helpers their
// decoders share.
#pragma once

#include <bit>
#include <cstdint>
#include <memory>

#include "common/byte_reader.h"
#include "common/diag.h"
#include "common/fixed_point.h"
#include "common/heap.h"
#include "oz_cmc_correction.h"
#include "oz_cmc_parser.h"
#include "oz_nvm_data.h"

namespace oz {

// 4-byte values that the records carry uninterpreted are copied byte for byte; on the little-endian
// hosts this library is built for, that is also their value as a uint32_t.
static_assert(std::endian::native == std::endian::little, "record words are copied as host words");

// Structure release routines.
void cmc_lens_shading4x4_release(cmc_lens_shading4x4 *lsc);
void cmc_lens_shading_ratio_release(cmc_lens_shading_ratio *ratio);
void cmc_geometric_distortion2_release(cmc_geometric_distortion2 *gd);
void cmc_phase_difference_release(cmc_phase_difference *pd);
void cmc_pipe_compand_decompand_release(cmc_pipe_compand_decompand *curve);
void cmc_sensor_decompand_release(cmc_sensor_decompand *curve);
void cmc_cbd_release(cmc_cbd *cbd);
void cmc_four_plane_grid_release(cmc_four_plane_grid *grid);
void cmc_block_settings_release(cmc_block_settings *settings);

// Slot release routines (rows of the release order): release what the slot holds, set it to null.
void release_lens_shading4x4(cmc_data *cmc, int slot);
void release_lens_shading_ratio(cmc_data *cmc, int slot);
void release_geometric_distortion2(cmc_data *cmc, int slot);
void release_phase_difference(cmc_data *cmc, int slot);
void release_pipe_curve(cmc_data *cmc, int slot);
void release_sensor_decompand(cmc_data *cmc, int slot);
void release_cbd(cmc_data *cmc, int slot);
void release_four_plane_grid(cmc_data *cmc, int slot);
void release_block_settings(cmc_data *cmc, int slot);

// Builds the 4x4 lens-shading structure from the legacy view of a kept record 10 (slots 13 to 16):
// the fixed 2 x 2 channel map, fraction_bits 12, params from the extension (when the view has one)
// and the block's fixed-point pair. Null when an allocation fails. `view->record` must be non-null;
// `first_table` is not used.
cmc_lens_shading4x4 *cmc_parsed_lens_shading_to_4x4(const cmc_parsed_lens_shading *view);

// Record 22: the geometric distortion structure, or null when the record is rejected or the structure
// or its grids cannot be allocated. Reads only inside the record's bytes.
cmc_geometric_distortion2 *cmc_geometric_distortion2_parse(RecordBytes &record, uint8_t version,
                                                           const Diag &diag);

// Record 30: the phase-difference structure, filled as far as the record allows, or null when it
// cannot be allocated. `calibration` may be null; the sensor orientation comes from slot 32 of `cmc`.
cmc_phase_difference *cmc_phase_difference_parse(const cmc_data *cmc, ByteReader record,
                                                 const nvm_data *calibration, const Diag &diag);

// A module phase-difference map: width x height signed values, row-major.
struct PhaseDifferenceMap {
    uint8_t width;
    uint8_t height;
    uint8_t fraction_bits;
    const int32_t *values;
};

// Writes the primary grid computed from the map into `grid` (width x height values, zeroed by the
// caller), blended with the record's centre value by `weight`, in the orientation of `flip_mode`
// (0 none, 1 mirror left-right and negate, 2 flip top-bottom, 3 both). Leaves the grid zero when the
// centre value is 0 or the interior is degenerate.
void compute_phase_difference_grid(const PhaseDifferenceMap &map, int32_t centre, float weight,
                                   uint32_t flip_mode, int32_t *grid);

// The sensor orientation (flip_mode of the record-17 copy in slot 32); 0 when absent or unknown.
uint32_t sensor_flip_mode(const cmc_data *cmc);

// float to int32 by truncation toward zero; INT32_MIN when out of range or NaN.
int32_t truncate_to_i32(float x);

// The record's 8-byte header, field by field.
template <class Reader>
record_header read_record_header(Reader &r) {
    record_header h;
    h.size = r.u32(0);
    h.version = r.u8(4);
    h.reserved = r.u8(5);
    h.id = r.u16(6);
    return h;
}

// Heap copy of `count` elements of T stored back to back at `off`, byte for byte (for uint16_t the
// values are decoded little-endian). Null when the allocation fails or the bytes are not all inside
// the record; the decoders test the bounds first, so null means no memory.
template <class T, class Byte>
HeapArray<T> copy_array(BasicByteReader<Byte> &r, uint64_t off, uint64_t count) {
    if (count > (uint64_t(1) << 60) || !r.has(off, count * sizeof(T))) return HeapArray<T>();
    HeapArray<T> out = heap_array<T>(size_t(count));
    if (!out) return out;
    bool ok;
    if constexpr (sizeof(T) == 2)
        ok = r.u16s(off, count, reinterpret_cast<uint16_t *>(out.get()));
    else
        ok = r.bytes(off, count * sizeof(T), out.get());
    if (!ok) out.reset();
    return out;
}

// Reports a structure or buffer that could not be allocated (the record's slots stay null or the
// section is left out, as the decoder says).
inline void report_no_memory(const Diag &diag, const char *what, uint64_t bytes) {
    diag.emit(DiagKind::kRecordRefused, what, bytes, 0);
}

}  // namespace oz
