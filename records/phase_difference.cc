// Decoder of the phase-difference record (id 30) into cmc_phase_difference (slot 52). When the module
// calibration carries a phase-difference map, the primary grid is computed from that map in the
// sensor's orientation instead of being copied from the record.
#include <algorithm>

#include "records/correction.h"
#include "records/decoders.h"
#include "records/slots.h"

namespace oz {

int32_t truncate_to_i32(float x) {
    // In range: truncation toward zero. Out of range and NaN: INT32_MIN, the integer-indefinite value
    // that the x86-64 truncating conversion produces, so that the scalar code and any vector form
    // agree on every input.
    if (x >= -2147483648.0f && x < 2147483648.0f) return int32_t(x);
    return INT32_MIN;
}

uint32_t sensor_flip_mode(const cmc_data *cmc) {
    // flip_mode is the u16 at byte 12 of the kept record-17 copy (slot 32), which holds exactly its
    // header's `size` bytes. A missing record, one too short for the field, or a value other than
    // 1, 2 or 3 means no flip.
    const uint8_t *record17 = slot_ptr<uint8_t>(cmc, CMC_SLOT_RECORD17);
    if (record17 == nullptr) return 0;
    ByteReader header(record17, 8);
    ByteReader r(record17, header.u32(0));
    const uint16_t flip_mode = r.u16(12);
    return flip_mode <= 3 ? flip_mode : 0;
}

// Primary grid from the calibration map (versions 101 and up). All arithmetic is single precision in
// exactly the order written; integer sums are signed 32-bit and wrap (computed in uint32_t).
//   S   = sum of the interior values (rows 2 .. NH-3, columns 3 .. NW-4), 0 unless NH >= 5 and NW >= 7
//   D   = (NW - 6) * (NH - 4); nothing is computed when D, NW or NH is 0
//   m   = float(S) / float(D)
//   band: low = trunc(min(0.5m, 1.5m)) < v < high = trunc(max(0.5m, 1.5m))
//   k   = 1 / float(2^(fraction_bits mod 32)),  b = float(centre) * (1 - w),  s = -1 when mirrored
//   per position: n, t = count and sum of the in-band values of the 7 x 7 neighbourhood clipped to
//   the map; r = (((float(t) * w) * k) * s) / float(n), or ((m * w) * k) * s when n = 0;
//   value = trunc((r + b) + 0.5), stored at the flipped position.
// The neighbourhood sums slide: per column, the in-band count and sum over the rows of the current
// window (rows entering added, rows leaving subtracted), then along the row the same over the seven
// columns. Addition modulo 2^32 is associative and its subtraction exact, so every t equals the
// ascending-order wrapping sum of its 49 (or fewer) values bit for bit, at a fraction of the work. The
// column state lives on the stack (at most 255 columns): the computation allocates nothing and cannot
// fail.
void compute_phase_difference_grid(const PhaseDifferenceMap &map, int32_t centre, float weight,
                                   uint32_t flip_mode, int32_t *grid) {
    const int NW = map.width, NH = map.height;
    if (centre == 0) return;

    uint32_t interior = 0;
    if (NH >= 5 && NW >= 7) {
        for (int i = 2; i <= NH - 3; ++i)
            for (int j = 3; j <= NW - 4; ++j) interior += uint32_t(map.values[i * NW + j]);
    }
    const int32_t D = (NW - 6) * (NH - 4);
    if (D == 0 || NW == 0 || NH == 0) return;
    const float m = float(int32_t(interior)) / float(D);

    const float half = 0.5f * m;
    const float one_and_half = 1.5f * m;
    const int32_t low = truncate_to_i32(std::min(half, one_and_half));
    const int32_t high = truncate_to_i32(std::max(half, one_and_half));
    auto in_band = [low, high](int32_t v) { return low < v && v < high; };

    const float k = 1.0f / float(uint32_t(1) << (map.fraction_bits % 32));
    const float b = float(centre) * (1.0f - weight);
    const bool mirror_columns = flip_mode == 1 || flip_mode == 3;
    const bool mirror_rows = flip_mode == 2 || flip_mode == 3;
    const float s = mirror_columns ? -1.0f : 1.0f;
    const float empty_band = ((m * weight) * k) * s;

    uint32_t column_sum[256] = {};
    int32_t column_count[256] = {};
    auto add_row = [&](int y, int sign) {
        for (int x = 0; x < NW; ++x) {
            const int32_t v = map.values[y * NW + x];
            if (!in_band(v)) continue;
            column_sum[x] += sign > 0 ? uint32_t(v) : uint32_t(0) - uint32_t(v);
            column_count[x] += sign;
        }
    };
    for (int y = 0; y < std::min(3, NH); ++y) add_row(y, +1);  // rows 0 .. 2 of the first window

    for (int i = 0; i < NH; ++i) {
        if (i + 3 < NH) add_row(i + 3, +1);   // rows i - 3 .. i + 3, clipped to the map
        if (i - 4 >= 0) add_row(i - 4, -1);
        const int out_row = mirror_rows ? NH - 1 - i : i;
        uint32_t t = 0;
        int32_t n = 0;
        for (int x = 0; x < std::min(3, NW); ++x) t += column_sum[x], n += column_count[x];
        for (int j = 0; j < NW; ++j) {
            if (j + 3 < NW) t += column_sum[j + 3], n += column_count[j + 3];
            if (j - 4 >= 0) t -= column_sum[j - 4], n -= column_count[j - 4];
            const float r = n > 0 ? (((float(int32_t(t)) * weight) * k) * s) / float(n) : empty_band;
            const int out_col = mirror_columns ? NW - 1 - j : j;
            grid[out_row * NW + out_col] = truncate_to_i32((r + b) + 0.5f);
        }
    }
}

// Record 30:
//   off           size        type   field
//     0              8               record_header
//     8              8               leading_values
//    16              2        u16    num_entries (A)
//    18              4               middle_value
//    22              2        u16    primary_grid_width (W1)
//    24              2        u16    primary_grid_height (H1)
//    26              2        u16    secondary_grid_width (W2)
//    28              2        u16    secondary_grid_height (H2)
//    30          6 * A               entries
//    30 + 6A         4        f32    blend_weight (version 102 and up)
//    P         W1 * H1        u16 (up to version 100) or i32 (101 and up): primary grid, rows of W1;
//                                    P = 30 + 6A, or 34 + 6A from version 102
//    ...    4 * W2 * H2              secondary grid
//
// Size tests are the format's own, in unsigned 32-bit arithmetic:
//   size >= 32; A != 0 and size >= round8(30 + 6A); size >= round8(30 + 6A + 4*W1*H1);
//   size >= round8(end of the primary grid + 4*W2*H2).
// A failed test ends the decoding with what was decoded so far. The bytes actually read are checked
// again in 64-bit arithmetic before anything is allocated: the weight and the primary grid (which the
// third test does not fully cover from version 102 on, and which a wrapped u32 product can make look
// present), and the secondary grid. Any of them outside the record counts as the failed test of its
// step. The first 30 bytes are copied as far as the record holds them; the rest read as 0.
cmc_phase_difference *cmc_phase_difference_parse(const cmc_data *cmc, ByteReader record,
                                                 const nvm_data *calibration, const Diag &diag) {
    ByteReader &r = record;
    const uint32_t size = r.size();
    auto pd = owned_zeroed<cmc_phase_difference, cmc_phase_difference_release>();
    if (!pd) {
        report_no_memory(diag, "allocation failed: cmc_phase_difference", sizeof(cmc_phase_difference));
        return nullptr;
    }
    uint8_t head_bytes[30] = {};
    r.bytes(0, std::min<uint32_t>(size, 30), head_bytes);
    ByteReader head(head_bytes, sizeof head_bytes);
    pd->header = read_record_header(head);
    head.bytes(8, 8, pd->leading_values);
    pd->num_entries = head.u16(16);
    head.bytes(18, 4, pd->middle_value);
    pd->primary_grid_width = head.u16(22);
    pd->primary_grid_height = head.u16(24);
    pd->secondary_grid_width = head.u16(26);
    pd->secondary_grid_height = head.u16(28);

    if (size < 32) {
        diag.dropped("size >= 32", 32, size);
        return pd.release();
    }
    const uint32_t A = pd->num_entries;
    const uint32_t W1 = pd->primary_grid_width, H1 = pd->primary_grid_height;
    const uint32_t W2 = pd->secondary_grid_width, H2 = pd->secondary_grid_height;
    const uint32_t entries_end = 30 + 6 * A;
    if (A == 0) {
        diag.dropped("num_entries != 0", 1, 0);
        return pd.release();
    }
    if (size < round8(entries_end)) {
        diag.dropped("size >= round8(30 + 6 * A)", round8(entries_end), size);
        return pd.release();
    }
    pd->entries = copy_array<uint8_t>(r, 30, 6 * uint64_t(A)).release();
    if (pd->entries == nullptr) {
        diag.dropped("allocation failed: entries", 6 * uint64_t(A), 0);
        return pd.release();
    }

    const nvm_phase_difference *map = nullptr;
    if (calibration != nullptr) {
        if (calibration->has_phase_difference != 0 && calibration->phase_difference != nullptr &&
            calibration->phase_difference->pd_values != nullptr)
            map = calibration->phase_difference;
        else
            diag.ignored("calibration carries no phase-difference map: primary grid from the record");
    }

    const uint32_t grid_test = round8(entries_end + 4 * W1 * H1);
    if (size < grid_test) {
        diag.dropped("size >= round8(30 + 6 * A + 4 * W1 * H1)", grid_test, size);
        return pd.release();
    }
    const unsigned version = pd->header.version;
    const uint64_t cells = uint64_t(W1) * H1;
    const uint64_t P = version >= 102 ? 34 + 6 * uint64_t(A) : entries_end;
    const uint64_t value_width = version <= 100 ? 2 : 4;
    const uint64_t primary_end = P + value_width * cells;
    if (!r.has(0, primary_end)) {
        diag.dropped("weight and primary grid within size", primary_end, size);
        return pd.release();
    }
    const uint64_t grid_cells = map ? uint64_t(map->pd_grid_width) * map->pd_grid_height : cells;
    HeapArray<int32_t> grid = heap_array_zeroed<int32_t>(grid_cells);
    if (!grid) {
        diag.dropped("allocation failed: primary grid", 4 * grid_cells, 0);
        return pd.release();
    }

    if (map != nullptr) {
        pd->primary_grid_width = map->pd_grid_width;
        pd->primary_grid_height = map->pd_grid_height;
        if (version <= 100) {
            diag.default_taken("primary grid from the calibration map (version up to 100): zero", 0);
        } else if (cells == 0) {
            diag.default_taken("primary grid from the calibration map (record grid empty, no centre): zero", 0);
        } else {
            const float weight = version >= 102 ? r.f32(entries_end) : 0.6f;
            const int32_t centre = r.i32(P + 4 * (uint64_t(H1 / 2) * W1 + W1 / 2));
            const PhaseDifferenceMap m{map->pd_grid_width, map->pd_grid_height, map->pd_fraction_bits,
                                       map->pd_values};
            compute_phase_difference_grid(m, centre, weight, sensor_flip_mode(cmc), grid.get());
            if (centre == 0) diag.default_taken("primary grid from the calibration map (centre value 0): zero", 0);
        }
    } else if (version <= 100) {
        for (uint64_t i = 0; i < cells; ++i) grid[i] = int32_t(r.u16(P + 2 * i));
    } else {
        r.bytes(P, 4 * cells, grid.get());
    }
    pd->primary_grid = grid.release();

    const uint32_t primary_end_u32 = version <= 100   ? entries_end + 2 * W1 * H1
                                     : version == 101 ? entries_end + 4 * W1 * H1
                                                      : entries_end + 4 + 4 * W1 * H1;
    const uint32_t secondary_test = round8(primary_end_u32 + 4 * W2 * H2);
    const uint64_t secondary_cells = uint64_t(W2) * H2;
    if (size < secondary_test) {
        diag.dropped("size >= round8(end of primary grid + 4 * W2 * H2)", secondary_test, size);
        return pd.release();
    }
    if (!r.has(primary_end, 4 * secondary_cells)) {
        diag.dropped("secondary grid within size", primary_end + 4 * secondary_cells, size);
        return pd.release();
    }
    pd->secondary_grid = copy_array<uint32_t>(r, primary_end, secondary_cells).release();
    if (pd->secondary_grid == nullptr) {
        diag.dropped("allocation failed: secondary grid", 4 * secondary_cells, 0);
        return pd.release();
    }
    diag.decoded(map ? "slot 52: cmc_phase_difference, primary grid from the calibration map"
                     : "slot 52: cmc_phase_difference");
    return pd.release();
}

uint32_t decode_record_30_phase_difference(RecordCopy &rec, DecodeContext &ctx) {
    clear_slots(ctx.cmc, {CMC_SLOT_PHASE_DIFFERENCE});
    ctx.cmc->slot[CMC_SLOT_PHASE_DIFFERENCE] =
        cmc_phase_difference_parse(ctx.cmc, ByteReader(rec.data(), rec.size()), ctx.nvm, ctx.diag);
    return kStatusDone;  // the copy is released when `rec` goes out of scope
}

}  // namespace oz
