// Shared by the general-record tests: a container of records parsed with a diagnostics recorder, and
// pointer arithmetic on the record copies kept in slots.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>

#include "common/faultsim.h"
#include "oz_cmc.h"
#include "parser/parser.h"
#include "tests/kit/builder.h"
#include "tests/kit/fault_sweep.h"

namespace oz::test {

// Parses the records in container order; the result is released (and checked for leaks: every block
// the parse allocated must be freed by deinit) when the object goes out of scope.
struct ParsedRecords {
    int64_t live_before = faultsim::live_blocks();
    Blob blob;
    DiagRecorder diag;
    cmc_data *cmc;

    explicit ParsedRecords(std::initializer_list<RecordBuilder> records) : blob(build(records)) {
        cmc = parse_container(blob.get(), nullptr, &diag);
        EXPECT_NE(cmc, nullptr);
    }
    ~ParsedRecords() {
        oz_cmc_parser_deinit(cmc);
        EXPECT_EQ(faultsim::live_blocks(), live_before) << "deinit left blocks behind";
    }
    static Bytes build(std::initializer_list<RecordBuilder> records) {
        ContainerBuilder c;
        for (const RecordBuilder &r : records) c.add(r);
        return c.build();
    }

    void *slot(int s) const { return cmc->slot[s]; }
    template <class T>
    const T *as(int s) const { return static_cast<const T *>(cmc->slot[s]); }
    // Offset of a pointer slot from the start of the record copy in `owner`, or -1 when null.
    long offset(int s, int owner) const {
        if (!cmc->slot[s] || !cmc->slot[owner]) return -1;
        return static_cast<const uint8_t *>(cmc->slot[s]) - static_cast<const uint8_t *>(cmc->slot[owner]);
    }
    // The first refusal of a record of this id, or null.
    const DiagRecorder::Entry *refused(uint16_t id) const { return diag.find(DiagKind::kRecordRefused, id); }
};

inline uint32_t float_bits(float f) {
    uint32_t b;
    std::memcpy(&b, &f, 4);
    return b;
}

}  // namespace oz::test
