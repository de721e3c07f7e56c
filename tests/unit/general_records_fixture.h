// Shared by the general-record tests: a container of records parsed with a diagnostics recorder, and
// pointer arithmetic on the record copies kept in slots.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <vector>

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

    explicit ParsedRecords(std::initializer_list<RecordBuilder> records)
        : ParsedRecords(std::vector<RecordBuilder>(records)) {}
    explicit ParsedRecords(const std::vector<RecordBuilder> &records) : blob(build(records)) {
        cmc = parse_container(blob.get(), nullptr, &diag);
        EXPECT_NE(cmc, nullptr);
    }
    ~ParsedRecords() {
        oz_cmc_parser_deinit(cmc);
        EXPECT_EQ(faultsim::live_blocks(), live_before) << "deinit left blocks behind";
    }
    static Bytes build(const std::vector<RecordBuilder> &records) {
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

// A fully populated record of every general kind (sizes exact, counts small, bytes patterned).
inline RecordBuilder pattern(uint16_t id, uint8_t version, uint32_t length) {
    RecordBuilder r(id, version);
    for (uint32_t i = 8; i < length; ++i) r.u8(i, uint8_t(i * 7));
    return r.length(length);
}

inline RecordBuilder general_record(uint16_t id) {
    switch (id) {
        case 2: return pattern(2, 103, 40);
        case 3: return pattern(3, 100, 48).u32(8, 2);
        case 5: return pattern(5, 100, 16);
        case 6: return pattern(6, 100, 24).u8(12, 1).u8(13, 1).u8(14, 0).u8(15, 0);
        case 7: return pattern(7, 100, 16);
        case 8: return pattern(8, 100, 12);
        case 9: return pattern(9, 100, 8);
        case 13: return pattern(13, 102, 88).u16(70, 2);
        case 14: return pattern(14, 100, 40).u16(8, 0).u16(10, 2).u16(12, 1);
        case 15: return pattern(15, 102, 104).u16(8, 1).u16(10, 1).u16(44, 2).u16(56, 1).u16(72, 2).u8(82, 1);
        case 16: return pattern(16, 100, 24).u16(12, 1);
        case 17: return pattern(17, 101, 16);
        case 18: return pattern(18, 101, 96).u16(8, 1);
        case 19: return pattern(19, 100, 64).u16(12, 1).u16(14, 2);
        case 20: return pattern(20, 102, 48).u16(14, 1).u16(16, 3);
        case 21: return pattern(21, 100, 16);
        case 23: return pattern(23, 100, 24);
        case 24: return pattern(24, 100, 60).u16(14, 2).u16(18, 1).u16(38, 2);
        case 25: return pattern(25, 101, 208).u16(8, 2).u16(10, 1);
        case 26: return pattern(26, 101, 64);
        case 27: return pattern(27, 101, 120).u16(24, 2).u16(26, 2).u16(28, 1).u16(30, 2);
        case 31: return pattern(31, 100, 96).u32(8, 1).u32(12, 0).u64(16, 24);
        case 34:  // one entry: one item at 72, two pairs at 104, a block at 120
            return pattern(34, 100, 128).u32(8, 1).u32(12, 0).u64(16, 32).u32(40, 1).u32(44, 2).u64(48, 72)
                .u64(56, 104).u64(64, 120);
        default: return RecordBuilder(id, 100);
    }
}

inline constexpr uint16_t kGeneralRecordIds[] = {2,  3,  5,  6,  7,  8,  9,  13, 14, 15, 16, 17,
                                                  18, 19, 20, 21, 23, 24, 25, 26, 27, 31, 34};

// Every kind except those that stand in for each other (3 / 31, 19 and 20 / 34), and an others record.
inline std::vector<RecordBuilder> common_general_records() {
    std::vector<RecordBuilder> out;
    for (uint16_t id : kGeneralRecordIds)
        if (id != 3 && id != 19 && id != 20 && id != 31 && id != 34) out.push_back(general_record(id));
    out.push_back(RecordBuilder(722, 102).u32(8, 9).u32(12, 2).u32(16, 1).u32(32, 3).length(36));
    return out;
}

}  // namespace oz::test
