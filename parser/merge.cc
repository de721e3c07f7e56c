// The calibration merge: with calibration, lens-shading data (slot 54), shading ratios (slot 57) and
// record 17's upscaling field (slot 33), upscale the module tables by the method record 17 names,
// correct the lens-shading tables with them, and release them.
#include "parser/merge.h"

#include "common/byte_reader.h"
#include "oz_cmc_correction.h"
#include "oz_lsc.h"

namespace oz {
namespace {

// Record 17 fields the merge reads, from the record copy in slot 32.
struct Record17Fields {
    uint16_t module_bayer_order;
    uint16_t flip_mode;
    uint16_t upscaling_method;
};

// Record 17 (kept whole, its header's size is the copy's length):
//   off 0  u32 size
//   off 10 u16 module_bayer_order
//   off 12 u16 flip_mode
//   off 14 u16 upscaling_method (version 101 and up; slot 33 points at it)
bool read_record17(const cmc_data *cmc, Record17Fields *out) {
    const uint8_t *record = static_cast<const uint8_t *>(cmc->slot[CMC_SLOT_RECORD17]);
    if (record == nullptr) return false;
    ByteReader header(record, 8);
    ByteReader r(record, header.u32(0));
    out->module_bayer_order = r.u16(10);
    out->flip_mode = r.u16(12);
    out->upscaling_method = r.u16(14);
    return header.ok() && r.ok();
}

// Record-2 structure (36 bytes, the record's leading bytes):
//   off 14 u16 cfa_pattern
bool read_cfa_pattern(const cmc_data *cmc, uint16_t *cfa_pattern) {
    const uint8_t *record2 = static_cast<const uint8_t *>(cmc->slot[CMC_SLOT_RECORD2]);
    if (record2 == nullptr) return false;
    ByteReader r(record2, 36);
    *cfa_pattern = r.u16(14);
    return r.ok();
}

}  // namespace

void merge_calibration(cmc_data *cmc, const nvm_data *nvm, const Diag &diag) {
    if (nvm == nullptr) return;
    auto *lens_shading = static_cast<cmc_lens_shading4x4 *>(cmc->slot[CMC_SLOT_LENS_SHADING]);
    auto *ratio = static_cast<const cmc_lens_shading_ratio *>(cmc->slot[CMC_SLOT_LENS_SHADING_RATIO]);
    if (lens_shading == nullptr || ratio == nullptr || cmc->slot[CMC_SLOT_RECORD17_EXTENSION] == nullptr) {
        diag.emit(DiagKind::kMerge, "no merge: slot 54, 57 or 33 empty");
        return;
    }
    Record17Fields r17;
    if (!read_record17(cmc, &r17)) {
        diag.emit(DiagKind::kMerge, "no merge: record 17 copy too short");
        return;
    }
    // Without record 2 the correction has no colour layout for the lens-shading tables. Guessing one
    // would silently pair ratios with the wrong module colours, so the characterization's own tables
    // are kept, and no upscaling is computed for nothing.
    uint16_t cfa_pattern;
    if (!read_cfa_pattern(cmc, &cfa_pattern)) {
        diag.emit(DiagKind::kMerge, "no merge: record 2 missing, no cfa_pattern");
        return;
    }

    upscaled_lsc_tables *tables;
    switch (r17.upscaling_method) {
        case 2:
            diag.emit(DiagKind::kMerge, "upscaling: polynomial, interior fit", 0, r17.upscaling_method);
            tables = compute_upscaled_lsc_tables_polynom4th(lens_shading->width, lens_shading->height, nvm,
                                                            r17.flip_mode, 1);
            break;
        case 3:
            diag.emit(DiagKind::kMerge, "upscaling: polynomial, valid-area fit", 0, r17.upscaling_method);
            tables = compute_upscaled_lsc_tables_polynom4th_valid_area(lens_shading->width, lens_shading->height,
                                                                       nvm, r17.flip_mode, cmc);
            break;
        default:
            diag.emit(DiagKind::kMerge, "upscaling: polynomial, whole grid", 0, r17.upscaling_method);
            tables = compute_upscaled_lsc_tables_polynom4th(lens_shading->width, lens_shading->height, nvm,
                                                            r17.flip_mode, 0);
            break;
    }
    if (tables == nullptr) {
        diag.emit(DiagKind::kMerge, "no correction: upscaling failed");
        return;
    }
    // The status is reported, not acted on: the lens-shading data stays as far as it was corrected.
    const uint32_t status =
        ratio_based_sample_to_sample_correction(lens_shading, ratio, tables, cfa_pattern, r17.module_bayer_order);
    diag.emit(DiagKind::kMerge, "ratio correction", 0, cfa_pattern, status);
    deinit_computed_upscale_lsc_tables(tables);
}

}  // namespace oz
