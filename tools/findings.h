// What the library did with a container: validation, every record the walk visited and what it
// became or why it was refused, and the calibration intake and merge, gathered from the diagnostics
// observer of the internal parser.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "codec.h"
#include "common/diag.h"
#include "oz_cmc_parser.h"

namespace ozcmc {

struct Event {
    oz::DiagKind kind;
    uint16_t id = 0;
    uint8_t version = 0;
    uint32_t offset = 0;
    uint32_t size = 0;
    std::string what;
    uint64_t expected = 0;
    uint64_t actual = 0;
    uint32_t code = 0;
};

struct RecordFinding {
    uint32_t offset = 0;
    uint16_t id = 0;
    uint8_t version = 0;
    uint32_t size = 0;
    // "decoded", "refused", "ignored", "skipped" or "unreported" (a decoder that said nothing).
    std::string status;
    std::vector<Event> events;  // everything reported about this record, in order
};

struct Findings {
    uint32_t size = 0;
    bool accepted = false;
    std::string checksum_form;          // "A" or "B" when accepted
    std::optional<Event> rejection;     // why the container was refused
    std::optional<Event> walk_stopped;  // where and why the walk stopped early
    std::vector<RecordFinding> records;
    bool calibration_given = false;
    int32_t calibration_status = -1;    // oz_nvm_parse's code (0 parsed), -1 when not given
    std::vector<Event> merge;           // calibration intake and merge steps
    bool merge_inputs = false;          // slots 54, 57 and 33 all filled
    bool merge_ran = false;             // the ratio correction rewrote the lens-shading tables
    std::optional<uint16_t> upscaling_method;  // record 17's, when it has one

    // Accepted, the walk reached the end, and no record was refused or lost a section.
    bool clean() const;
};

// The parse result together with what was reported while it was made. Owns the result.
struct Analysis {
    Findings findings;
    cmc_data *result = nullptr;
    // The container descriptor that slot 69 of the result points to.
    std::unique_ptr<binary_data> descriptor;
    Analysis() = default;
    Analysis(const Analysis &) = delete;
    Analysis &operator=(const Analysis &) = delete;
    Analysis(Analysis &&other) noexcept
        : findings(std::move(other.findings)), result(other.result), descriptor(std::move(other.descriptor)) {
        other.result = nullptr;
    }
    Analysis &operator=(Analysis &&other) noexcept {
        std::swap(findings, other.findings);
        std::swap(result, other.result);
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~Analysis();
};

// Parses `container` (with the calibration blob when given) through the internal parser with a
// diagnostics sink, then adds the others record. The container bytes must outlive the result.
Analysis analyse(const Bytes &container, const Bytes *calibration);

const char *upscaling_method_name(uint16_t method);
const char *nvm_status_name(int32_t status);

Json findings_json(const Findings &f);
std::string findings_text(const Findings &f);

}  // namespace ozcmc
