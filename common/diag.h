// Diagnostics observer: how validation, the record walk, every decoder and the calibration merge say
// what they decided and why. The library writes no messages of its own; a caller of the internal API
// (the ozcmc tool, the tests) passes a DiagSink to learn which checksum form matched, what each record
// became, and for every refusal the rule that failed with its expected and actual values.
//
// Not exported. With no sink every report is a test of one null pointer.
#pragma once

#include <cstdint>

namespace oz {

enum class DiagKind : uint8_t {
    kContainerAccepted,  // what: checksum form ("A" or "B"); actual: the checksum word
    kContainerRejected,  // what: the rule; expected / actual: the values compared
    kRecordVisited,      // a record header was read by the walk (offset, id, version, size)
    kRecordSkipped,      // the walk passed a record without decoding it (what: why)
    kWalkStopped,        // the walk stopped early (what: rule; expected / actual)
    kRecordDecoded,      // the record was decoded; what: what it became (slots, structures)
    kRecordRefused,      // the record was rejected; what: the rule; expected / actual
    kDefaultTaken,       // a field the record lacks took its default; what: field; actual: value
    kSectionDropped,     // part of a record was dropped; what: the rule; expected / actual
    kRecordIgnored,      // a record was ignored by a replacement rule; what: the rule
    kMerge,              // calibration merge step; what: what happened; actual: a value (method...)
};

struct DiagEvent {
    DiagKind kind;
    uint16_t id = 0;        // record id (0 for container-level events)
    uint8_t version = 0;    // record version
    uint32_t offset = 0;    // record offset in the container
    uint32_t size = 0;      // record size field
    const char *what = "";  // static text: the rule, the decision, or what the record became
    uint64_t expected = 0;  // for comparisons: the value the rule required
    uint64_t actual = 0;    // for comparisons: the value found
    uint32_t code = 0;      // status code returned for the record, where one applies
};

class DiagSink {
  public:
    virtual void report(const DiagEvent &event) = 0;

  protected:
    ~DiagSink() = default;
};

// Reporter handed to the walk and the decoders. It carries the current record's identity, so a
// decoder reports a rule and its values in one line.
class Diag {
  public:
    Diag() = default;
    explicit Diag(DiagSink *sink) : sink_(sink) {}

    bool enabled() const { return sink_ != nullptr; }
    DiagSink *sink() const { return sink_; }

    void set_record(uint32_t offset, uint16_t id, uint8_t version, uint32_t size) {
        offset_ = offset;
        id_ = id;
        version_ = version;
        size_ = size;
    }

    void emit(DiagKind kind, const char *what, uint64_t expected = 0, uint64_t actual = 0,
              uint32_t code = 0) const {
        if (!sink_) return;
        DiagEvent e{kind, id_, version_, offset_, size_, what, expected, actual, code};
        sink_->report(e);
    }

    // Record-level shorthands.
    void decoded(const char *became) const { emit(DiagKind::kRecordDecoded, became); }
    void refused(const char *rule, uint64_t expected, uint64_t actual, uint32_t code = 0) const {
        emit(DiagKind::kRecordRefused, rule, expected, actual, code);
    }
    void default_taken(const char *field, uint64_t value) const {
        emit(DiagKind::kDefaultTaken, field, 0, value);
    }
    void dropped(const char *rule, uint64_t expected, uint64_t actual) const {
        emit(DiagKind::kSectionDropped, rule, expected, actual);
    }
    void ignored(const char *rule) const { emit(DiagKind::kRecordIgnored, rule); }

  private:
    DiagSink *sink_ = nullptr;
    uint32_t offset_ = 0;
    uint32_t size_ = 0;
    uint16_t id_ = 0;
    uint8_t version_ = 0;
};

}  // namespace oz
