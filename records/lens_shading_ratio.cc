// Decoders of the lens-shading ratio records: record 11 (legacy 2 x 2 form; fills slot 57 only while
// it is empty) and record 33 (4 x 4 form; always replaces slot 57). Both copy what they need into a
// cmc_lens_shading_ratio and release the record.
#include "records/decoders.h"
#include "records/shading_tables.h"
#include "records/slots.h"

namespace oz {

// Record 11, legacy shading ratio (T = 2*w*h bytes per table):
//   off                   size            type   field
//     0                      8                   record_header
//     8                      2            u16    num_light_sources (n)
//    10                      2            u16    width (w)
//    12                      2            u16    height (h)
//    14        n * (10 + 4*T)                    light-source blocks, back to back
//    14 + n*(10 + 4*T)   n * 4                   extension, required when version is above 100:
//                                                  u16 params[0]*256, u16 params[1]*256
// Light-source block:
//     0      2   u16     nvm_source_index (1-based module light source, 0 = none), stored as it is
//     2      2   u16     light_source
//     4      2           not read
//     6      2   u16     params[2] * 65536
//     8      2   u16     params[3] * 65536
//    10    4*T   u16[]   tables 0, 1, 2, 3
//
// Acceptance, in 64-bit arithmetic: size >= round8(end of the blocks) and, above version 100,
// size >= round8(end of the blocks + 4*n). A record 11 that fails either test is rejected whole.
uint32_t decode_record_11_lens_shading_ratio(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    if (cmc->slot[CMC_SLOT_LENS_SHADING_RATIO] != nullptr) {
        ctx.diag.ignored("slot 57 already filled: record 11 does not replace it");
        return kStatusDone;
    }

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint16_t n = r.u16(8);  // a record too short for the counts reads them as 0
    const uint16_t w = r.u16(10);
    const uint16_t h = r.u16(12);
    const uint64_t samples = uint64_t(w) * h;
    const uint64_t table_bytes = 2 * samples;
    const uint64_t block_length = 10 + 4 * table_bytes;
    const uint64_t blocks_end = 14 + n * block_length;
    if (size < round8_u64(blocks_end)) {
        ctx.diag.refused("size >= round8(14 + n * (10 + 4 * 2 * w * h))", round8_u64(blocks_end), size);
        return kStatusDone;
    }
    const bool has_extension = rec.version() > 100;
    if (has_extension && size < round8_u64(blocks_end + 4 * uint64_t(n))) {
        ctx.diag.refused("extension: size >= round8(14 + n * (10 + 4 * 2 * w * h) + 4 * n)",
                         round8_u64(blocks_end + 4 * uint64_t(n)), size);
        return kStatusDone;
    }

    auto ratio = owned_zeroed<cmc_lens_shading_ratio, cmc_lens_shading_ratio_release>();
    if (!ratio) {
        report_no_memory(ctx.diag, "allocation failed: cmc_lens_shading_ratio", sizeof(cmc_lens_shading_ratio));
        return kStatusDone;
    }
    ratio->header = read_record_header(r);
    ratio->num_light_sources = n;
    ratio->width = w;
    ratio->height = h;
    ratio->light_sources = heap_array_zeroed<cmc_lens_shading_ratio_light_source>(n).release();
    if (ratio->light_sources == nullptr) {
        report_no_memory(ctx.diag, "allocation failed: ratio light-source entries",
                         uint64_t(n) * sizeof(cmc_lens_shading_ratio_light_source));
        return kStatusDone;
    }
    set_legacy_channel_map(ratio->channel_map);

    for (uint32_t i = 0; i < n; ++i) {
        cmc_lens_shading_ratio_light_source &e = ratio->light_sources[i];
        const uint64_t block = 14 + i * block_length;
        e.nvm_source_index = r.u16(block + 0);
        e.light_source = r.u16(block + 2);
        e.params[2] = q16_to_f32(r.u16(block + 6));
        e.params[3] = q16_to_f32(r.u16(block + 8));
        e.fraction_bits = 12;
        if (!copy_cell_tables(r, block + 10, kLegacyChannelMap, samples, e.tables)) {
            report_no_memory(ctx.diag, "allocation failed: ratio table", table_bytes);
            return kStatusDone;
        }
    }
    if (has_extension) {
        for (uint32_t i = 0; i < n; ++i) {
            ratio->light_sources[i].params[0] = q8_to_f32(r.u16(blocks_end + 4 * i));
            ratio->light_sources[i].params[1] = q8_to_f32(r.u16(blocks_end + 4 * i + 2));
        }
    }
    if (!r.ok()) {  // cannot happen after the size tests; kept as the memory-safety guard
        ctx.diag.refused("ratio blocks within size", blocks_end, size);
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_LENS_SHADING_RATIO] = ratio.release();
    ctx.diag.decoded("slot 57: cmc_lens_shading_ratio from record 11");
    return kStatusDone;
}

// Record 33, 4x4 shading ratio (T = 2*w*h bytes per table):
//   off  size  type      field
//     0     8            record_header
//     8    16  i8[4][4]  channel_map: table number of each cell, negative = no table
//    24     2  u16       num_light_sources (n)
//    26     2            not read
//    28     2  u16       width (w)
//    30     2  u16       height (h)
//    32                  n light-source blocks, back to back, each 22 + (m + 1) * T bytes, where m is
//                        the largest table number in channel_map (-1: the block has no tables)
// Light-source block:
//     0     2  u16       light_source
//     2     2  u16       module light-source index, counted from 0 (stored + 1, in 16-bit arithmetic)
//     4    16  f32[4]    params, copied as they are
//    20     2  u16       integer_bits (fraction_bits = 16 - integer_bits)
//    22   ...  u16[]     tables 0 .. m, table k at 22 + k * T
//
// Acceptance: size >= round8(32 + n * block length), in 64-bit arithmetic.
uint32_t decode_record_33_lens_shading_ratio4x4(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_LENS_SHADING_RATIO});  // record 33 always replaces slot 57

    RecordBytes &r = rec.bytes();
    Grid4x4 g;
    if (!read_grid4x4(r, rec.size(), ctx.diag, &g)) return kStatusDone;
    const uint16_t n = g.n;
    const uint64_t samples = g.samples, block_length = g.block_length;

    auto ratio = owned_zeroed<cmc_lens_shading_ratio, cmc_lens_shading_ratio_release>();
    if (!ratio) {
        report_no_memory(ctx.diag, "allocation failed: cmc_lens_shading_ratio", sizeof(cmc_lens_shading_ratio));
        return kStatusDone;
    }
    set_grid4x4_fields(ratio.get(), r, g);
    ratio->light_sources = heap_array_zeroed<cmc_lens_shading_ratio_light_source>(n).release();
    if (ratio->light_sources == nullptr) {
        report_no_memory(ctx.diag, "allocation failed: ratio light-source entries",
                         uint64_t(n) * sizeof(cmc_lens_shading_ratio_light_source));
        return kStatusDone;
    }
    for (uint32_t i = 0; i < n; ++i) {
        cmc_lens_shading_ratio_light_source &e = ratio->light_sources[i];
        const uint64_t block = 32 + i * block_length;
        e.light_source = r.u16(block + 0);
        e.nvm_source_index = uint16_t(r.u16(block + 2) + 1);
        r.bytes(block + 4, sizeof e.params, e.params);
        e.fraction_bits = uint16_t(16 - r.u16(block + 20));
        if (!copy_cell_tables(r, block + 22, g.map, samples, e.tables)) {
            report_no_memory(ctx.diag, "allocation failed: ratio table", 2 * samples);
            return kStatusDone;
        }
    }
    if (!r.ok()) {  // cannot happen after the size test; kept as the memory-safety guard
        ctx.diag.refused("ratio blocks within size", 32 + n * block_length, rec.size());
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_LENS_SHADING_RATIO] = ratio.release();
    ctx.diag.decoded("slot 57: cmc_lens_shading_ratio from record 33");
    return kStatusDone;
}

}  // namespace oz
