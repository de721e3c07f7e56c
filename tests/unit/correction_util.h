// Shared helpers of the correction-record tests: a parsed container with its diagnostics, and typed
// slot access.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "common/byte_reader.h"
#include "oz_cmc.h"
#include "parser/parser.h"
#include "tests/kit/builder.h"
#include "tests/kit/fault_sweep.h"

namespace oz::test {

inline Bytes container_of(const std::vector<RecordBuilder> &records) {
    ContainerBuilder c;
    for (const RecordBuilder &r : records) c.add(r);
    return c.build();
}

// A container parsed through the internal entry point (with a calibration blob when one is given),
// released at the end of the scope.
struct Parsed {
    Blob container;
    Blob calibration;
    DiagRecorder diag;
    cmc_data *cmc;

    explicit Parsed(const std::vector<RecordBuilder> &records, Bytes nvm = {})
        : container(container_of(records)),
          calibration(std::move(nvm)),
          cmc(parse_container(container.get(), calibration.bytes.empty() ? nullptr : calibration.get(), &diag)) {}
    ~Parsed() { oz_cmc_parser_deinit(cmc); }

    template <class T = void>
    T *at(int slot) const {
        return static_cast<T *>(cmc->slot[slot]);
    }
    // The rule of the first event of this kind for this record id ("" when there is none).
    std::string rule(DiagKind kind, uint16_t id) const {
        const DiagRecorder::Entry *e = diag.find(kind, id);
        return e ? e->what : std::string();
    }
};

}  // namespace oz::test
