// Readable JSON and text renderings of a JSON tree.
#include "json_text.h"

namespace ozcmc {
namespace {

bool is_flat(const Json &v) {
    if (!v.is_array()) return false;
    for (const Json &e : v)
        if (e.is_structured()) return false;
    return true;
}

void write_json(const Json &v, int indent, std::string &out) {
    const std::string pad(size_t(indent + 2), ' ');
    if (v.is_object() && !v.empty()) {
        out += "{\n";
        size_t i = 0;
        for (auto it = v.begin(); it != v.end(); ++it, ++i) {
            out += pad + Json(it.key()).dump() + ": ";
            write_json(it.value(), indent + 2, out);
            out += i + 1 < v.size() ? ",\n" : "\n";
        }
        out += std::string(size_t(indent), ' ') + "}";
    } else if (v.is_array() && !v.empty() && !is_flat(v)) {
        out += "[\n";
        for (size_t i = 0; i < v.size(); ++i) {
            out += pad;
            write_json(v[i], indent + 2, out);
            out += i + 1 < v.size() ? ",\n" : "\n";
        }
        out += std::string(size_t(indent), ' ') + "]";
    } else if (v.is_array()) {
        out += "[";
        for (size_t i = 0; i < v.size(); ++i) out += (i ? ", " : "") + v[i].dump();
        out += "]";
    } else {
        out += v.dump();
    }
}

std::string scalar_text(const Json &v) { return v.is_string() ? v.get<std::string>() : v.dump(); }

void write_text(const Json &v, int indent, std::string &out) {
    const std::string pad(size_t(indent), ' ');
    if (v.is_object()) {
        for (auto it = v.begin(); it != v.end(); ++it) {
            const Json &e = it.value();
            if (e.is_object() || (e.is_array() && !is_flat(e))) {
                out += pad + it.key() + ":\n";
                write_text(e, indent + 2, out);
            } else if (e.is_array()) {
                out += pad + it.key() + ": [";
                for (size_t i = 0; i < e.size(); ++i) out += (i ? " " : "") + scalar_text(e[i]);
                out += "]\n";
            } else {
                out += pad + it.key() + ": " + scalar_text(e) + "\n";
            }
        }
    } else if (v.is_array()) {
        for (size_t i = 0; i < v.size(); ++i) {
            const Json &e = v[i];
            if (is_flat(e)) {
                out += pad + "[";
                for (size_t k = 0; k < e.size(); ++k) out += (k ? " " : "") + scalar_text(e[k]);
                out += "]\n";
            } else if (e.is_structured()) {
                out += pad + "- [" + std::to_string(i) + "]\n";
                write_text(e, indent + 2, out);
            } else {
                out += pad + "- " + scalar_text(e) + "\n";
            }
        }
    } else {
        out += pad + scalar_text(v) + "\n";
    }
}

}  // namespace

std::string to_readable_json(const Json &value) {
    std::string out;
    write_json(value, 0, out);
    out += "\n";
    return out;
}

std::string to_text(const Json &value) {
    std::string out;
    write_text(value, 0, out);
    return out;
}

}  // namespace ozcmc
