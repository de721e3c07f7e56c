// Tuning containers and calibration blobs to their JSON descriptions and back.
#include "container_json.h"

#include <cstring>

#include "layouts.h"

namespace ozcmc {
namespace {

uint32_t le32(const uint8_t *p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
void put32(Bytes &b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}

constexpr size_t kHeaderSize = 24;

}  // namespace

uint32_t crc32(const uint8_t *data, size_t size) {
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < size; ++i) {
        c ^= data[i];
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    }
    return ~c;
}

uint32_t container_checksum(const Bytes &container, char form) {
    uint32_t sum = 0;
    const size_t from = form == 'A' ? 0 : kHeaderSize;
    for (size_t at = from; at + 4 <= container.size(); at += 4)
        if (at != 20) sum += le32(&container[at]);
    return sum;
}

Json unpack_record(const uint8_t *record, uint32_t size) {
    Json j = Json::object();
    const uint8_t version = record[4];
    const uint16_t id = uint16_t(record[6] | record[7] << 8);
    j["id"] = id;
    j["version"] = version;
    if (record[5] != 0) j["reserved"] = record[5];
    j["kind"] = record_kind_name(id);
    Json fields = Json::object();
    try {
        Codec c = Codec::reader(record, size, 8, fields);
        if (describe_payload(id, version, c)) {
            c.rest("trailing_bytes");
            j["fields"] = std::move(fields);
            return j;
        }
    } catch (const CodecError &) {
        // The bytes do not follow the layout (a truncated or malformed record): shown raw.
    }
    j["payload"] = to_hex(record + 8, size - 8);
    return j;
}

void pack_record(const Json &record, Bytes &out) {
    const size_t start = out.size();
    auto get = [&](const char *key) -> const Json & {
        auto it = record.find(key);
        if (it == record.end()) throw CodecError(std::string("record without \"") + key + "\"");
        return *it;
    };
    const uint64_t id = get("id").get<uint64_t>();
    const uint64_t version = get("version").get<uint64_t>();
    if (id > 0xFFFF || version > 0xFF) throw CodecError("record id or version out of range");
    const uint64_t reserved = record.value("reserved", 0);
    out.insert(out.end(), {0, 0, 0, 0, uint8_t(version), uint8_t(reserved), uint8_t(id), uint8_t(id >> 8)});
    if (auto f = record.find("fields"); f != record.end()) {
        Codec c = Codec::writer(*f, out, start);  // offsets count from the record's first byte
        if (!describe_payload(uint16_t(id), uint8_t(version), c))
            throw CodecError("record id " + std::to_string(id) + " has no known layout; give \"payload\"");
        c.rest("trailing_bytes");
    } else {
        const Json &payload = get("payload");
        if (!payload.is_string()) throw CodecError("\"payload\" must be a hex string");
        Bytes b = from_hex(payload.get<std::string>());
        out.insert(out.end(), b.begin(), b.end());
    }
    const size_t size = out.size() - start;
    if (size > 0xFFFFFFFFu) throw CodecError("record larger than 4 GiB");
    put32(out, start, uint32_t(size));
}

Json unpack_container(const Bytes &container) {
    if (container.size() < kHeaderSize)
        throw CodecError("not a tuning container: " + std::to_string(container.size()) +
                         " bytes, fewer than the 24-byte header");
    Json j = Json::object();
    j["kind"] = "tuning container";
    Json header = Json::object();
    header["word_0"] = le32(&container[0]);
    header["word_2"] = le32(&container[8]);
    header["word_3"] = le32(&container[12]);
    header["word_4"] = le32(&container[16]);
    j["header"] = header;

    const uint32_t total_size = le32(&container[4]);
    const uint32_t checksum = le32(&container[20]);
    // A field that pack would not recompute to the same value is written out literally, so that any
    // container (valid or not) comes back byte for byte.
    if (total_size != container.size()) j["total_size"] = total_size;
    if (container_checksum(container, 'A') == checksum) j["checksum"] = "A";
    else if (container_checksum(container, 'B') == checksum) j["checksum"] = "B";
    else j["checksum"] = checksum;

    // The walk of the library: records back to back from byte 24 while their header fits and their
    // size is at least 8 and stays inside the bytes; whatever follows is kept as trailing bytes.
    Json records = Json::array();
    size_t offset = kHeaderSize;
    while (offset + 8 <= container.size()) {
        const uint32_t size = le32(&container[offset]);
        if (size < 8 || size > container.size() - offset) break;
        Json r = Json::object();
        r["offset"] = offset;
        Json described = unpack_record(&container[offset], size);
        for (auto &[k, v] : described.items()) r[k] = v;
        records.push_back(std::move(r));
        offset += size;
    }
    j["records"] = std::move(records);
    if (offset < container.size()) j["trailing"] = to_hex(&container[offset], container.size() - offset);
    return j;
}

Bytes pack_container(const Json &d) {
    if (!d.is_object()) throw CodecError("expected a JSON object");
    Bytes out(kHeaderSize, 0);
    const Json header = d.value("header", Json::object());
    auto word = [&](const char *key) -> uint32_t {
        const Json v = header.value(key, Json(0));
        if (!v.is_number_unsigned() || v.get<uint64_t>() > 0xFFFFFFFFu)
            throw CodecError(std::string("header.") + key + ": expected a u32");
        return uint32_t(v.get<uint64_t>());
    };
    put32(out, 0, word("word_0"));
    put32(out, 8, word("word_2"));
    put32(out, 12, word("word_3"));
    put32(out, 16, word("word_4"));
    const Json records = d.value("records", Json::array());
    if (!records.is_array()) throw CodecError("\"records\" must be an array");
    for (size_t i = 0; i < records.size(); ++i) {
        try {
            pack_record(records[i], out);
        } catch (const CodecError &e) {
            throw CodecError("records[" + std::to_string(i) + "]: " + e.what());
        } catch (const nlohmann::json::exception &e) {
            throw CodecError("records[" + std::to_string(i) + "]: " + e.what());
        }
    }
    if (auto t = d.find("trailing"); t != d.end()) {
        Bytes b = from_hex(t->get<std::string>());
        out.insert(out.end(), b.begin(), b.end());
    }
    if (out.size() > 0xFFFFFFFFu) throw CodecError("container larger than 4 GiB");
    put32(out, 4, d.contains("total_size") ? d["total_size"].get<uint32_t>() : uint32_t(out.size()));
    const Json form = d.value("checksum", Json("A"));
    if (form.is_number_unsigned()) {
        put32(out, 20, form.get<uint32_t>());
    } else if (form == "A" || form == "B") {
        put32(out, 20, container_checksum(out, form.get<std::string>()[0]));
    } else {
        throw CodecError("\"checksum\" must be \"A\", \"B\" or a number");
    }
    return out;
}

// ---- Module calibration blobs ("OZNV") ----

namespace {

//   0 "OZNV", 4 u16 format_version, 6 u16 header_size, 8 u32 total size, 12 u8 T, 13 u8 W, 14 u8 H,
//  15 u8 flags; T tables (u8 fraction_bits, four W x H grids of u8, or u16 above 8 fraction bits);
//  the phase-difference section (flag bit 0); u32 CRC-32 of everything before it.
void describe_calibration(Codec &c) {
    c.u16("format_version");
    c.u16("header_size");
    c.u32("total_size");  // pack writes the real size unless the description gives one
    uint64_t t = c.u8("table_count");
    uint64_t w = c.u8("grid_width");
    uint64_t h = c.u8("grid_height");
    uint64_t flags = c.u8("flags");
    c.list("tables", t, [&](Codec &tab, uint64_t) {
        uint64_t fraction_bits = tab.u8("fraction_bits");
        tab.list("channels", 4, [&](Codec &ch, uint64_t) {
            if (fraction_bits <= 8) ch.grid_u8("samples", w, h);
            else ch.grid_u16("samples", w, h);
        });
    });
    if (flags & 1) {
        c.object("phase_difference", [](Codec &pd) {
            uint64_t nw = pd.u8("grid_width");
            uint64_t nh = pd.u8("grid_height");
            pd.u8("fraction_bits");
            pd.grid_i32("values", nw, nh);
        });
    }
}

}  // namespace

bool is_calibration_blob(const Bytes &blob) {
    return blob.size() >= 4 && std::memcmp(blob.data(), "OZNV", 4) == 0;
}

Json unpack_calibration(const Bytes &blob) {
    if (!is_calibration_blob(blob) || blob.size() < 20)
        throw CodecError("not a module calibration blob (no \"OZNV\" header)");
    Json j = Json::object();
    j["kind"] = "module calibration";
    Json fields = Json::object();
    try {
        Codec c = Codec::reader(blob.data(), blob.size() - 4, 4, fields);
        describe_calibration(c);
        if (c.remaining() != 0) throw CodecError("bytes between the sections and the CRC");
        for (auto &[k, v] : fields.items()) j[k] = v;
        if (fields["total_size"] == blob.size()) j.erase("total_size");
    } catch (const CodecError &) {
        // Not in the layout: kept as bytes between the magic and the CRC.
        j["payload"] = to_hex(blob.data() + 4, blob.size() - 8);
    }
    const uint32_t crc = le32(&blob[blob.size() - 4]);
    if (crc != crc32(blob.data(), blob.size() - 4)) j["crc"] = crc;
    return j;
}

Bytes pack_calibration(const Json &d) {
    Bytes out = {'O', 'Z', 'N', 'V'};
    if (auto p = d.find("payload"); p != d.end()) {
        Bytes b = from_hex(p->get<std::string>());
        out.insert(out.end(), b.begin(), b.end());
    } else {
        Json fields = d;
        if (!fields.contains("total_size")) fields["total_size"] = 0;  // fixed below
        fields["format_version"] = d.value("format_version", Json(1));
        fields["header_size"] = d.value("header_size", Json(16));
        Codec c = Codec::writer(fields, out);
        describe_calibration(c);
        if (!d.contains("total_size")) put32(out, 8, uint32_t(out.size() + 4));
    }
    out.resize(out.size() + 4);
    const uint32_t crc = d.contains("crc") ? d["crc"].get<uint32_t>() : crc32(out.data(), out.size() - 4);
    put32(out, out.size() - 4, crc);
    return out;
}

Json unpack_any(const Bytes &blob) {
    return is_calibration_blob(blob) ? unpack_calibration(blob) : unpack_container(blob);
}

Bytes pack_any(const Json &d) {
    if (!d.is_object()) throw CodecError("expected a JSON object");
    const std::string kind = d.value("kind", std::string("tuning container"));
    if (kind == "module calibration") return pack_calibration(d);
    if (kind == "tuning container") return pack_container(d);
    throw CodecError("unknown \"kind\": " + kind);
}

}  // namespace ozcmc
