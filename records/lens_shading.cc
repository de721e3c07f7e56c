// Decoders of the lens-shading records: record 10 (legacy 2 x 2 form, kept whole in slots 13 to 16 and
// converted into slot 54 while that slot is empty) and record 28 (4 x 4 form, copied into slot 54,
// always replacing what was there).
#include "records/decoders.h"
#include "records/shading_tables.h"
#include "records/slots.h"

namespace oz {

// Record 10, legacy lens shading:
//   off                      size              type    field
//     0                         8                      record_header
//     8                         2                      not read
//    10                         2              u16     num_light_sources (n)
//    12                         2              u16     width (w)
//    14                         2              u16     height (h)
//    16          n * (8 + 8*w*h)                       light-source blocks, block i at 16 + i*8*(w*h+1)
//    16 + 8*n*(w*h+1)       n * 4                      extension (version above 100):
//                                                        u16 params[0]*256, u16 params[1]*256
// Light-source block:
//     0      2   u16      light_source
//     2      2            not read
//     4      2   u16      params[2] * 65536
//     6      2   u16      params[3] * 65536
//     8  4*w*h*2 u16[]    tables 0, 1, 2, 3 (h rows of w samples each)
//
// Lengths are computed in 64-bit arithmetic from the u16 counts, so they cannot wrap.
namespace {

uint64_t legacy_block_length(uint64_t w, uint64_t h) { return 8 * (w * h + 1); }

}  // namespace

cmc_lens_shading4x4 *cmc_parsed_lens_shading_to_4x4(const cmc_parsed_lens_shading *view) {
    // The record holds exactly `size` bytes (its own header field); every read below goes through
    // a reader over them at the offsets the view's pointers stand for.
    ByteReader header(view->record, 8);
    RecordBytes r(view->record, header.u32(0));
    const uint16_t n = r.u16(10), w = r.u16(12), h = r.u16(14);
    const uint64_t samples = uint64_t(w) * h;
    const uint64_t block_length = legacy_block_length(w, h);
    const uint64_t extension_off = 16 + n * block_length;
    if (!r.ok() || !r.has(0, extension_off)) return nullptr;

    auto lsc = owned_zeroed<cmc_lens_shading4x4, cmc_lens_shading4x4_release>();
    if (!lsc) return nullptr;
    // The converted header describes the 4x4 record this data would have been: size in u32
    // arithmetic, version 100, id 28.
    lsc->header.size = uint32_t(n) * w * h * 176u + 32u;
    lsc->header.version = 100;
    lsc->header.reserved = 0;
    lsc->header.id = 28;
    lsc->light_sources = heap_array_zeroed<cmc_lens_shading_light_source>(n).release();
    if (lsc->light_sources == nullptr) return nullptr;
    set_legacy_channel_map(lsc->channel_map);
    lsc->num_light_sources = n;
    lsc->width = w;
    lsc->height = h;

    const bool has_extension = view->extension != nullptr && r.has(extension_off, 4 * uint64_t(n));
    for (uint32_t i = 0; i < n; ++i) {
        cmc_lens_shading_light_source &e = lsc->light_sources[i];
        const uint64_t block = 16 + i * block_length;
        e.fraction_bits = 12;
        if (has_extension) {
            e.params[0] = q8_to_f32(r.u16(extension_off + 4 * i));
            e.params[1] = q8_to_f32(r.u16(extension_off + 4 * i + 2));
        }
        e.light_source = r.u16(block + 0);
        e.params[2] = q16_to_f32(r.u16(block + 4));
        e.params[3] = q16_to_f32(r.u16(block + 6));
        if (!copy_cell_tables(r, block + 8, kLegacyChannelMap, samples, e.tables)) return nullptr;
    }
    if (!r.ok()) return nullptr;
    return lsc.release();
}

uint32_t decode_record_10_lens_shading(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    // A later record 10 replaces the legacy view; slot 54 is not part of that replacement.
    clear_slots(cmc, {CMC_SLOT_LSC_LEGACY, CMC_SLOT_LSC_LEGACY_1, CMC_SLOT_LSC_LEGACY_2,
                      CMC_SLOT_LSC_LEGACY_3});

    RecordBytes &r = rec.bytes();
    const uint32_t size = rec.size();
    const uint64_t n = r.u16(10);  // a record too short for the counts reads them as 0
    const uint64_t w = r.u16(12);
    const uint64_t h = r.u16(14);
    const uint64_t need = 16 + n * legacy_block_length(w, h);
    if (size < need) {
        ctx.diag.refused("size >= 16 + 8 * n * (w * h + 1)", need, size);
        return kStatusDone;
    }

    // The extension is used only when the version carries it and the record holds it whole; without
    // it the record is still accepted.
    uint8_t *extension = nullptr;
    if (rec.version() > 100) {
        const uint64_t need_extension = round8_u64(need + 4 * n);
        if (size >= need_extension)
            extension = r.span(need, 4 * n);
        else
            ctx.diag.dropped("extension: size >= round8(16 + 8 * n * (w * h + 1) + 4 * n)",
                             need_extension, size);
    }

    // Slots 14 and 15 point at offsets 16 and 24; a pointer is only formed where it lies inside the
    // record or right at its end (with no light source there is no first table: slot 15 stays null
    // when the record ends before byte 24).
    cmc_parsed_lens_shading view{rec.data(), r.span(16, 0), r.span(24, 0), extension};
    cmc->slot[CMC_SLOT_LSC_LEGACY_1] = view.light_source_data;
    cmc->slot[CMC_SLOT_LSC_LEGACY_2] = view.first_table;
    cmc->slot[CMC_SLOT_LSC_LEGACY_3] = view.extension;
    cmc->slot[CMC_SLOT_LSC_LEGACY] = rec.release();

    if (cmc->slot[CMC_SLOT_LENS_SHADING] != nullptr) {
        ctx.diag.decoded("slots 13-16: legacy view; slot 54 already filled, kept");
        return kStatusDone;
    }
    cmc_lens_shading4x4 *lsc = cmc_parsed_lens_shading_to_4x4(&view);
    if (lsc == nullptr) {
        ctx.diag.dropped("slot 54: conversion to 4x4 could not be allocated", 1, 0);
        ctx.diag.decoded("slots 13-16: legacy view");
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_LENS_SHADING] = lsc;
    ctx.diag.decoded("slots 13-16: legacy view; slot 54: converted to 4x4");
    return kStatusDone;
}

// Record 28, 4x4 lens shading:
//   off  size  type      field
//     0     8            record_header
//     8    16  i8[4][4]  channel_map: table number of each cell, negative = no table
//    24     2  u16       num_light_sources (n)
//    26     2            not read
//    28     2  u16       width (w)
//    30     2  u16       height (h)
//    32                  n light-source blocks, back to back, each 22 + (m + 1) * 2*w*h bytes, where m
//                        is the largest table number in channel_map (-1: the block has no tables)
// Light-source block:
//     0     4  u32       light_source
//     4    16  f32[4]    params, copied as they are
//    20     2  u16       integer_bits (fraction_bits = 16 - integer_bits, in 16-bit arithmetic)
//    22   ...  u16[]     tables 0 .. m, table k at 22 + k * 2*w*h
//
// Acceptance: size >= round8(32 + n * block length), in 64-bit arithmetic. Every block has the same
// length, so this one test covers the per-block bounds as well.
uint32_t decode_record_28_lens_shading4x4(RecordCopy &rec, DecodeContext &ctx) {
    cmc_data *cmc = ctx.cmc;
    clear_slots(cmc, {CMC_SLOT_LENS_SHADING});  // record 28 always replaces slot 54

    RecordBytes &r = rec.bytes();
    Grid4x4 g;
    if (!read_grid4x4(r, rec.size(), ctx.diag, &g)) return kStatusDone;
    const uint16_t n = g.n;
    const uint64_t samples = g.samples, block_length = g.block_length;

    auto lsc = owned_zeroed<cmc_lens_shading4x4, cmc_lens_shading4x4_release>();
    if (!lsc) {
        report_no_memory(ctx.diag, "allocation failed: cmc_lens_shading4x4", sizeof(cmc_lens_shading4x4));
        return kStatusDone;
    }
    set_grid4x4_fields(lsc.get(), r, g);
    lsc->light_sources = heap_array_zeroed<cmc_lens_shading_light_source>(n).release();
    if (lsc->light_sources == nullptr) {
        report_no_memory(ctx.diag, "allocation failed: light-source entries",
                         uint64_t(n) * sizeof(cmc_lens_shading_light_source));
        return kStatusDone;
    }
    for (uint32_t i = 0; i < n; ++i) {
        cmc_lens_shading_light_source &e = lsc->light_sources[i];
        const uint64_t block = 32 + i * block_length;
        e.light_source = r.u32(block + 0);
        r.bytes(block + 4, sizeof e.params, e.params);
        e.fraction_bits = uint16_t(16 - r.u16(block + 20));
        if (!copy_cell_tables(r, block + 22, g.map, samples, e.tables)) {
            report_no_memory(ctx.diag, "allocation failed: lens-shading table", 2 * samples);
            return kStatusDone;
        }
    }
    if (!r.ok()) {  // cannot happen after the size test; kept as the memory-safety guard
        ctx.diag.refused("light-source blocks within size", 32 + n * block_length, rec.size());
        return kStatusDone;
    }
    cmc->slot[CMC_SLOT_LENS_SHADING] = lsc.release();
    ctx.diag.decoded("slot 54: cmc_lens_shading4x4");
    return kStatusDone;
}

}  // namespace oz
