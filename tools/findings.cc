// Collects the diagnostics of one parse and arranges them per record.
#include "findings.h"

#include <cstdio>
#include <map>

#include "oz_nvm.h"
#include "parser/parser.h"

namespace ozcmc {
namespace {

using oz::DiagKind;

class Collector : public oz::DiagSink {
  public:
    void report(const oz::DiagEvent &e) override {
        events.push_back({e.kind, e.id, e.version, e.offset, e.size, e.what ? e.what : "", e.expected,
                          e.actual, e.code});
    }
    std::vector<Event> events;
};

const char *kind_name(DiagKind k) {
    switch (k) {
        case DiagKind::kContainerAccepted: return "container accepted";
        case DiagKind::kContainerRejected: return "container refused";
        case DiagKind::kRecordVisited: return "visited";
        case DiagKind::kRecordSkipped: return "skipped";
        case DiagKind::kWalkStopped: return "walk stopped";
        case DiagKind::kRecordDecoded: return "decoded";
        case DiagKind::kRecordRefused: return "refused";
        case DiagKind::kDefaultTaken: return "default";
        case DiagKind::kSectionDropped: return "dropped";
        case DiagKind::kRecordIgnored: return "ignored";
        case DiagKind::kMerge: return "merge";
    }
    return "event";
}

bool has_kind(const RecordFinding &r, DiagKind k) {
    for (const Event &e : r.events)
        if (e.kind == k) return true;
    return false;
}

std::string status_of(const RecordFinding &r) {
    if (has_kind(r, DiagKind::kRecordRefused)) return "refused";
    if (has_kind(r, DiagKind::kRecordDecoded)) return "decoded";
    if (has_kind(r, DiagKind::kRecordIgnored)) return "ignored";
    if (has_kind(r, DiagKind::kRecordSkipped)) return "skipped";
    return "unreported";
}

uint16_t u16_at(const void *p, int off) {
    const uint8_t *b = static_cast<const uint8_t *>(p) + off;
    return uint16_t(b[0] | b[1] << 8);
}

Json event_json(const Event &e) {
    Json j = Json::object();
    j["event"] = kind_name(e.kind);
    j["what"] = e.what;
    switch (e.kind) {
        case DiagKind::kRecordRefused:
        case DiagKind::kSectionDropped:
        case DiagKind::kContainerRejected:
        case DiagKind::kWalkStopped:
        case DiagKind::kRecordSkipped:
            j["expected"] = e.expected;
            j["actual"] = e.actual;
            if (e.code) j["code"] = e.code;
            break;
        case DiagKind::kDefaultTaken:
        case DiagKind::kMerge:
            j["value"] = e.actual;
            break;
        default:
            break;
    }
    return j;
}

std::string event_text(const Event &e) {
    char buf[96];
    std::string s = e.what;
    switch (e.kind) {
        case DiagKind::kRecordRefused:
        case DiagKind::kSectionDropped:
        case DiagKind::kContainerRejected:
        case DiagKind::kWalkStopped:
            std::snprintf(buf, sizeof buf, " (expected %llu, actual %llu)", (unsigned long long)e.expected,
                          (unsigned long long)e.actual);
            s += buf;
            if (e.code) s += ", code " + std::to_string(e.code);
            break;
        case DiagKind::kDefaultTaken:
            s += " = " + std::to_string(e.actual);
            break;
        default:
            break;
    }
    return s;
}

}  // namespace

bool Findings::clean() const {
    if (!accepted || walk_stopped) return false;
    for (const RecordFinding &r : records)
        if (r.status == "refused" || has_kind(r, DiagKind::kSectionDropped)) return false;
    return true;
}

Analysis::~Analysis() { oz::release_result(result); }

// The number each merge report carries, named for the reader.
const char *merge_value_name(const std::string &what) {
    if (what.rfind("calibration", 0) == 0) return "bytes";
    if (what.rfind("upscaling:", 0) == 0) return "upscaling_method";
    if (what == "ratio correction") return "cfa_pattern";
    return "value";
}

const char *upscaling_method_name(uint16_t method) {
    switch (method) {
        case 2: return "polynomial fit with 2-sample margins";
        case 3: return "polynomial fit over the valid area";
        default: return "polynomial fit";
    }
}

const char *nvm_status_name(int32_t status) {
    switch (status) {
        case OZ_NVM_OK: return "parsed";
        case OZ_NVM_BAD_ARGUMENT: return "bad argument";
        case OZ_NVM_TRUNCATED: return "truncated";
        case OZ_NVM_BAD_MAGIC: return "bad magic (not OZNV)";
        case OZ_NVM_BAD_VERSION: return "unsupported format version";
        case OZ_NVM_BAD_HEADER_SIZE: return "bad header size";
        case OZ_NVM_BAD_TOTAL_SIZE: return "total size differs from the blob's size";
        case OZ_NVM_BAD_FLAGS: return "unknown flag bits";
        case OZ_NVM_BAD_FRACTION: return "fraction bits above 16";
        case OZ_NVM_BAD_LAYOUT: return "sections do not end at the CRC";
        case OZ_NVM_BAD_CRC: return "CRC-32 mismatch";
        case OZ_NVM_NO_MEMORY: return "out of memory";
        default: return "unknown status";
    }
}

Analysis analyse(const Bytes &container, const Bytes *calibration) {
    Analysis a;
    Findings &f = a.findings;
    f.size = uint32_t(container.size());
    a.descriptor = std::make_unique<binary_data>(binary_data{container.data(), uint32_t(container.size())});
    const binary_data &desc = *a.descriptor;
    binary_data cal{};
    if (calibration) {
        cal = {calibration->data(), uint32_t(calibration->size())};
        f.calibration_given = true;
        // The library only knows whether the blob parsed; the tool asks the NVM library itself for
        // the reason of a refusal.
        nvm_data *nvm = nullptr;
        f.calibration_status = oz_nvm_parse(&cal, &nvm);
        oz_nvm_deinit(nvm);
    }
    Collector sink;
    a.result = oz::parse_container(&desc, calibration ? &cal : nullptr, &sink);
    if (a.result) oz::parse_others_record(&desc, a.result, &sink);

    std::map<uint32_t, size_t> by_offset;
    for (const Event &e : sink.events) {
        switch (e.kind) {
            case DiagKind::kContainerAccepted:
                f.accepted = true;
                f.checksum_form = e.what;
                continue;
            case DiagKind::kContainerRejected:
                f.rejection = e;
                continue;
            case DiagKind::kWalkStopped:
                // The search walk of the others record repeats the stop of the main walk.
                if (!f.walk_stopped) f.walk_stopped = e;
                continue;
            case DiagKind::kMerge:
                f.merge.push_back(e);
                if (e.what.rfind("ratio correction", 0) == 0) f.merge_ran = true;
                continue;
            case DiagKind::kRecordVisited:
                if (!by_offset.count(e.offset)) {
                    by_offset[e.offset] = f.records.size();
                    f.records.push_back({e.offset, e.id, e.version, e.size, "", {}});
                }
                continue;
            default:
                break;
        }
        auto it = by_offset.find(e.offset);
        if (it == by_offset.end()) {  // a record event without a visit (cannot happen with the walk)
            by_offset[e.offset] = f.records.size();
            f.records.push_back({e.offset, e.id, e.version, e.size, "", {}});
            it = by_offset.find(e.offset);
        }
        RecordFinding &r = f.records[it->second];
        r.events.push_back(e);
    }
    for (RecordFinding &r : f.records) {
        r.status = status_of(r);
        // The others record is skipped by the walk (its id is not a characterization record) and then
        // decoded by its own call: the decode supersedes the skip.
        if (r.status == "decoded")
            std::erase_if(r.events, [](const Event &e) { return e.kind == DiagKind::kRecordSkipped; });
    }

    if (a.result) {
        const cmc_data *cmc = a.result;
        f.merge_inputs = cmc->slot[CMC_SLOT_LENS_SHADING] && cmc->slot[CMC_SLOT_LENS_SHADING_RATIO] &&
                         cmc->slot[CMC_SLOT_RECORD17_EXTENSION];
        if (cmc->slot[CMC_SLOT_RECORD17_EXTENSION])
            f.upscaling_method = u16_at(cmc->slot[CMC_SLOT_RECORD17_EXTENSION], 0);
    }
    return a;
}

Json findings_json(const Findings &f) {
    Json j = Json::object();
    j["size"] = f.size;
    j["accepted"] = f.accepted;
    j["checksum_form"] = f.accepted ? Json(f.checksum_form) : Json(nullptr);
    j["rejection"] = f.rejection ? event_json(*f.rejection) : Json(nullptr);
    Json records = Json::array();
    for (const RecordFinding &r : f.records) {
        Json rj = Json::object();
        rj["offset"] = r.offset;
        rj["id"] = r.id;
        rj["version"] = r.version;
        rj["size"] = r.size;
        rj["status"] = r.status;
        Json ev = Json::array();
        for (const Event &e : r.events) ev.push_back(event_json(e));
        rj["events"] = std::move(ev);
        records.push_back(std::move(rj));
    }
    j["records"] = std::move(records);
    j["walk_stopped"] = f.walk_stopped ? event_json(*f.walk_stopped) : Json(nullptr);
    Json cal = Json::object();
    cal["given"] = f.calibration_given;
    cal["parsed"] = f.calibration_status == 0;
    cal["status"] = f.calibration_given ? Json(nvm_status_name(f.calibration_status)) : Json(nullptr);
    cal["merge_inputs"] = f.merge_inputs;
    cal["merge_ran"] = f.merge_ran;
    cal["upscaling_method"] = f.upscaling_method ? Json(*f.upscaling_method) : Json(nullptr);
    cal["upscaling"] = f.upscaling_method ? Json(upscaling_method_name(*f.upscaling_method)) : Json(nullptr);
    Json merge = Json::array();
    for (const Event &e : f.merge) merge.push_back(event_json(e));
    cal["events"] = std::move(merge);
    j["calibration"] = std::move(cal);
    j["clean"] = f.clean();
    return j;
}

std::string findings_text(const Findings &f) {
    std::string s;
    char buf[160];
    std::snprintf(buf, sizeof buf, "container: %u bytes, ", f.size);
    s += buf;
    if (f.accepted) s += "accepted, checksum form " + f.checksum_form + "\n";
    else s += "refused: " + (f.rejection ? event_text(*f.rejection) : std::string("(no reason given)")) + "\n";
    if (!f.records.empty()) {
        s += "records:\n";
        s += "  offset      id  ver       size  result\n";
    }
    for (const RecordFinding &r : f.records) {
        std::snprintf(buf, sizeof buf, "  %8u  %4u  %3u  %9u  ", r.offset, r.id, r.version, r.size);
        s += buf;
        // The headline follows the record's status; every other report is a note below it.
        std::string head;
        std::vector<std::string> notes;
        const DiagKind headline = r.status == "refused"   ? DiagKind::kRecordRefused
                                  : r.status == "decoded" ? DiagKind::kRecordDecoded
                                  : r.status == "ignored" ? DiagKind::kRecordIgnored
                                                          : DiagKind::kRecordSkipped;
        for (const Event &e : r.events) {
            if (e.kind == headline && head.empty()) {
                head = e.kind == DiagKind::kRecordRefused   ? "REFUSED: " + event_text(e)
                       : e.kind == DiagKind::kRecordDecoded ? e.what
                       : e.kind == DiagKind::kRecordIgnored ? "ignored: " + e.what
                                                            : "skipped: " + e.what;
            } else {
                notes.push_back(std::string(kind_name(e.kind)) + ": " + event_text(e));
            }
        }
        if (head.empty()) head = "(no report from its decoder)";
        s += head + "\n";
        for (const std::string &n : notes) s += "                                    " + n + "\n";
    }
    if (f.walk_stopped) s += "walk stopped at byte " + std::to_string(f.walk_stopped->offset) + ": " +
                             event_text(*f.walk_stopped) + "\n";
    if (!f.calibration_given) {
        s += "calibration: none given, no merge\n";
    } else {
        s += std::string("calibration: ") + nvm_status_name(f.calibration_status) + "\n";
        for (const Event &e : f.merge) {
            s += "  " + e.what;
            if (e.actual) s += " (" + std::string(merge_value_name(e.what)) + " " + std::to_string(e.actual) + ")";
            if (e.code) s += ", status " + std::to_string(e.code);
            s += "\n";
        }
        if (f.merge_ran) {
            s += "  merge: ran, upscaling method " + std::to_string(f.upscaling_method.value_or(0)) + " (" +
                 upscaling_method_name(f.upscaling_method.value_or(0)) + ")\n";
        } else if (f.calibration_status == 0) {
            s += "  merge: not run";
            if (!f.merge_inputs)
                s += " (needs lens shading in slot 54, ratios in slot 57 and record 17 version 101+ in slot 33)";
            s += "\n";
        }
    }
    return s;
}

}  // namespace ozcmc
