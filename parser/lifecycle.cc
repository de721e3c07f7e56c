// The life of a result: validation, calibration intake, the record walk, the merge, the synthesized
// response-curve record, and the release of everything.
#include <cstring>

#include "common/heap.h"
#include "oz_nvm.h"
#include "parser/container.h"
#include "parser/merge.h"
#include "parser/parser.h"
#include "parser/synth_record34.h"
#include "records/decode.h"
#include "records/slots.h"

namespace oz {
namespace {

// Calibration intake: a descriptor with a data pointer and a non-zero size is handed to the NVM
// library; anything else counts as no calibration. Success is judged by the pointer alone.
nvm_data *take_in_calibration(const binary_data *calibration, const Diag &diag) {
    nvm_data *nvm = nullptr;
    if (calibration == nullptr || calibration->data == nullptr || calibration->size == 0) return nullptr;
    oz_nvm_parse(calibration, &nvm);
    diag.emit(DiagKind::kMerge, nvm ? "calibration parsed" : "calibration not parsed", 0,
              calibration->size);
    return nvm;
}

// Copies one record (id below 64) into a zeroed heap block of its own and decodes it. A record that
// cannot be copied is skipped; one that is not consumed is released here.
void decode_record(const WalkRecord &rec, cmc_data *cmc, const nvm_data *nvm, const Diag &at) {
    // The copy overwrites every byte of the block, so it is not cleared first (a cleared block would
    // cost a second pass over large records when the allocator reuses memory).
    HeapArray<uint8_t> copy = heap_array<uint8_t>(rec.size);
    ByteReader bytes = rec.bytes;
    const uint8_t *src = bytes.span(0, rec.size);
    if (!copy || src == nullptr) {
        at.emit(DiagKind::kRecordSkipped, "record copy could not be allocated", rec.size, 0);
        return;
    }
    std::memcpy(copy.get(), src, rec.size);
    const uint32_t code = cmc_parse(copy.get(), cmc, nvm, at);
    if (code == kStatusDone) copy.release();  // the result keeps it, or the decoder released it
}

}  // namespace

cmc_data *parse_container(const binary_data *container, const binary_data *calibration,
                          DiagSink *sink) {
    const Diag diag(sink);
    if (validate_container(container, diag) == ChecksumForm::kNone) return nullptr;

    HeapPtr<cmc_data> owner = heap_new_zeroed<cmc_data>();
    if (!owner) return nullptr;
    cmc_data *cmc = owner.release();  // from here on init always returns the result
    // The descriptor stays the caller's; the slot only remembers it.
    cmc->slot[CMC_SLOT_CONTAINER] = const_cast<binary_data *>(container);

    nvm_data *nvm = take_in_calibration(calibration, diag);

    ByteReader bytes(container->data, container->size);
    walk_records(bytes, container->size, diag, [&](const WalkRecord &rec) {
        Diag at(sink);
        at.set_record(rec.offset, rec.id, rec.version, rec.size);
        at.emit(DiagKind::kRecordVisited, "");
        if (rec.id >= 64) {
            at.emit(DiagKind::kRecordSkipped, "id 64 and above belong to other consumers");
            return true;
        }
        decode_record(rec, cmc, nvm, at);
        return true;
    });

    merge_calibration(cmc, nvm, diag);
    if (nvm != nullptr) oz_nvm_deinit(nvm);
    synthesize_record34(cmc, diag);
    return cmc;
}

void release_result(cmc_data *cmc) {
    if (cmc == nullptr) return;
    release_all_slots(cmc);
    heap_free(cmc);
}

}  // namespace oz
