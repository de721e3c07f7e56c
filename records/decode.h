// The record decoder frame: the record copy a decoder receives, the context it decodes into, and the
// dispatch entry point cmc_parse.
#pragma once

#include <cstdint>

#include "common/byte_reader.h"
#include "common/diag.h"
#include "common/heap.h"
#include "common/status.h"
#include "oz_cmc_parser.h"
#include "oz_nvm_data.h"

namespace oz {

// A private heap copy of one container record, owned by this object until a decoder keeps it in a
// slot. Precondition (guaranteed by the record walk): the buffer holds exactly `size` bytes, where
// `size` is the header's own size field, and `size` is at least 8.
class RecordCopy {
  public:
    explicit RecordCopy(uint8_t *owned);
    ~RecordCopy() { heap_free(data_); }
    RecordCopy(const RecordCopy &) = delete;
    RecordCopy &operator=(const RecordCopy &) = delete;

    uint32_t size() const { return size_; }
    uint8_t version() const { return version_; }
    uint16_t id() const { return id_; }

    // Bounds-checked access to the record's `size` bytes (header included, offsets from byte 0).
    RecordBytes &bytes() { return bytes_; }
    // The record's first byte, for slots that hold the record or point into it (non-owning here).
    uint8_t *data() const { return data_; }

    // Hands ownership over (to a slot, or back to the caller of cmc_parse). Returns the buffer.
    uint8_t *release() {
        uint8_t *p = data_;
        data_ = nullptr;
        return p;
    }

  private:
    uint8_t *data_;
    uint32_t size_;
    uint8_t version_;
    uint16_t id_;
    RecordBytes bytes_;
};

// What a decoder decodes into.
struct DecodeContext {
    cmc_data *cmc;
    const nvm_data *nvm;  // parsed calibration or null; read only by the phase-difference decoder
    const Diag &diag;
};

// Every decoder has this shape. It returns 0 when the record has been dealt with (kept in a slot, or
// released by the RecordCopy owner when it goes out of scope), or a non-zero code when the record was
// not consumed; cmc_parse then hands the copy back to its caller untouched.
using DecoderFn = uint32_t (*)(RecordCopy &rec, DecodeContext &ctx);

// Decodes one record copy into `cmc`. `record` is a heap block of exactly the header's `size` bytes
// (size >= 8). Returns 0 when the copy has been dealt with (kept by the result or already released;
// the caller must not touch it again), 8 for an unknown or unusable record, 4 when an allocation failed
// while building record 24, or the container decoder's code for records 9, 31, 32 and 34. On non-zero
// the caller releases the copy.
uint32_t cmc_parse(uint8_t *record, cmc_data *cmc, const nvm_data *nvm, const Diag &diag);

}  // namespace oz
