// ozcmc: shows what liboz_cmc_parser makes of a tuning container and a module calibration blob.
//
//   ozcmc info FILE [--nvm CAL]            summary: validation, every record, calibration merge
//   ozcmc check FILE [--nvm CAL] [--json]  the same as a verdict: exit 0 clean, 1 not, 2 usage
//   ozcmc dump FILE [--nvm CAL] [--json]   every slot of the result, structures expanded
//   ozcmc unpack FILE [-o OUT.json]        container or calibration blob to readable JSON
//   ozcmc pack IN.json [-o FILE]           and back, with sizes, checksum and CRC recomputed
//   ozcmc render FILE [--nvm CAL] [-o DIR] PNG heatmaps of the lens-shading data
//
// Data goes to standard output, diagnostics to standard error; "-" reads standard input or writes
// standard output.
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include <unistd.h>

#include "container_json.h"
#include "dump.h"
#include "findings.h"
#include "json_text.h"
#include "ozcmc_version.h"
#include "render.h"

namespace {

using namespace ozcmc;

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

// A failure the user has to act on: printed as "ozcmc: <message>", exit status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

Bytes read_input(const std::string &path) {
    if (path == "-") {
        std::cin >> std::noskipws;
        return Bytes(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    }
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) throw Failure("cannot read " + path + ": it is a directory");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Failure("cannot read " + path + ": " + std::strerror(errno));
    try {
        Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (in.bad()) throw Failure("cannot read " + path);
        return bytes;
    } catch (const std::ios_base::failure &e) {
        throw Failure("cannot read " + path + ": " + e.what());
    }
}

void write_output(const std::string &path, const std::string &data) {
    if (path == "-") {
        std::cout.write(data.data(), std::streamsize(data.size()));
        std::cout.flush();
        if (!std::cout) throw Failure("cannot write to standard output");
        return;
    }
    std::ofstream out(path, std::ios::binary);
    out.write(data.data(), std::streamsize(data.size()));
    if (!out) throw Failure("cannot write " + path + ": " + std::strerror(errno));
}

std::string version_text() {
    return std::string("ozcmc ") + OZCMC_LIBRARY_VERSION + " (liboz_cmc_parser " + OZCMC_LIBRARY_VERSION +
           ", SONAME " + OZCMC_LIBRARY_SONAME + ")";
}

// Container and optional calibration, read and analysed.
struct Loaded {
    Bytes container;
    Bytes calibration;
    bool has_calibration = false;
    Analysis analysis;
};

Loaded load(const std::string &file, const std::string &nvm) {
    Loaded l;
    l.container = read_input(file);
    if (!nvm.empty()) {
        if (nvm == "-" && file == "-") throw Failure("standard input can feed only one of FILE and --nvm");
        l.calibration = read_input(nvm);
        l.has_calibration = true;
    }
    l.analysis = analyse(l.container, l.has_calibration ? &l.calibration : nullptr);
    return l;
}

int run_info(const std::string &file, const std::string &nvm) {
    Loaded l = load(file, nvm);
    std::ostringstream out;
    out << version_text() << "\n";
    out << "file: " << (file == "-" ? "(standard input)" : file) << "\n";
    if (l.has_calibration) out << "calibration: " << (nvm == "-" ? "(standard input)" : nvm) << ", "
                               << l.calibration.size() << " bytes\n";
    out << findings_text(l.analysis.findings);
    write_output("-", out.str());
    if (!l.analysis.findings.accepted) {
        std::cerr << "ozcmc: " << file << ": the container is refused"
                  << (is_calibration_blob(l.container) ? " (this is a module calibration blob: give it with --nvm)" : "")
                  << "\n";
        return kExitFailed;
    }
    return kExitOk;
}

int run_check(const std::string &file, const std::string &nvm, bool json) {
    Loaded l = load(file, nvm);
    const Findings &f = l.analysis.findings;
    if (json) {
        Json j = Json::object();
        j["tool"] = {{"name", "ozcmc"}, {"version", OZCMC_LIBRARY_VERSION}};
        j["library"] = {{"version", OZCMC_LIBRARY_VERSION}, {"soname", OZCMC_LIBRARY_SONAME}};
        j["file"] = file;
        const Json report = findings_json(f);
        for (auto &[k, v] : report.items()) j[k] = v;
        write_output("-", to_readable_json(j));
    } else {
        write_output("-", findings_text(f) + (f.clean() ? "check: clean\n" : "check: NOT clean\n"));
    }
    return f.clean() ? kExitOk : kExitFailed;
}

int run_dump(const std::string &file, const std::string &nvm, bool json) {
    Loaded l = load(file, nvm);
    if (l.analysis.result == nullptr)
        throw Failure(file + ": the container is refused; run `ozcmc info` for the reason");
    Json d = dump_result(l.analysis.result);
    write_output("-", json ? to_readable_json(d) : dump_text(d));
    return kExitOk;
}

int run_unpack(const std::string &file, const std::string &out) {
    Bytes bytes = read_input(file);
    Json j;
    try {
        j = unpack_any(bytes);
    } catch (const CodecError &e) {
        throw Failure(file + ": " + e.what());
    }
    write_output(out, to_readable_json(j));
    return kExitOk;
}

int run_pack(const std::string &file, const std::string &out) {
    Bytes text = read_input(file);
    Json j;
    try {
        j = Json::parse(text.begin(), text.end());
    } catch (const nlohmann::json::parse_error &e) {
        throw Failure(file + ": not JSON: " + e.what());
    }
    Bytes packed;
    try {
        packed = pack_any(j);
    } catch (const CodecError &e) {
        throw Failure(file + ": " + e.what());
    } catch (const nlohmann::json::exception &e) {
        throw Failure(file + ": " + e.what());
    }
    if (out == "-" && isatty(STDOUT_FILENO))
        throw Failure("not writing binary data to a terminal: give -o FILE or redirect standard output");
    write_output(out, std::string(packed.begin(), packed.end()));
    return kExitOk;
}

int run_render(const std::string &file, const std::string &nvm, const std::string &dir) {
    Bytes container = read_input(file);
    Bytes calibration;
    if (!nvm.empty()) calibration = read_input(nvm);
    RenderReport report;
    std::string error;
    if (!render(container, nvm.empty() ? nullptr : &calibration, dir, &report, &error)) throw Failure(file + ": " + error);
    std::ostringstream out;
    out << "rendered " << report.pages.size() << " images into " << dir << "/\n";
    for (const RenderedPage &p : report.pages)
        out << "  " << p.file << "  " << p.width << "x" << p.height << "  scale " << p.scale_min << " .. "
            << p.scale_max << "  " << p.title << "\n";
    for (const std::string &n : report.notes) out << "note: " << n << "\n";
    if (!report.fit.empty()) {
        out << "fit report (polynomial surface at the module grid points the fit uses):\n";
        for (const Json &row : report.fit)
            out << "  table " << row["table"] << " channel " << row["channel"] << ": " << row["cells"] << " cells, rms "
                << row["rms"].get<double>() << ", max " << row["max"].get<double>() << "\n";
    }
    write_output("-", out.str());
    return kExitOk;
}

}  // namespace

int main(int argc, char **argv) {
    CLI::App app{"ozcmc: what liboz_cmc_parser makes of a tuning container and a module calibration blob.\n"
                 "Data goes to standard output, diagnostics to standard error; FILE may be - for "
                 "standard input.\n"
                 "Exit status: 0 success, 1 a file is missing, unreadable or refused (check: the "
                 "container is refused, a record was refused, lost a section or the walk stopped "
                 "early), 2 usage errors."};
    app.set_version_flag("--version", version_text());
    app.require_subcommand(1);
    app.fallthrough();

    std::string file, nvm, out, dir = "ozcmc-render";
    bool json = false;

    auto add_file = [&](CLI::App *sub, const char *what) {
        sub->add_option("FILE", file, what)->required();
        sub->set_version_flag("--version", version_text());
    };
    CLI::App *info = app.add_subcommand("info", "Summary: library version and SONAME, container size, checksum "
                                                "form, one line per record (offset, id, version, size, what it "
                                                "became or why it was refused), the calibration merge.");
    add_file(info, "tuning container, or - for standard input");
    info->add_option("--nvm", nvm, "module calibration blob");

    CLI::App *check = app.add_subcommand("check", "The findings of info as a verdict. Exit 0 when the container is "
                                                  "accepted and every record decoded; 1 when the container is "
                                                  "refused, a record was refused or lost a section, or the walk "
                                                  "stopped early; 2 for usage errors. --json gives a report with "
                                                  "stable keys: size, accepted, checksum_form, rejection, records "
                                                  "[offset, id, version, size, status, events], walk_stopped, "
                                                  "calibration, clean.");
    add_file(check, "tuning container, or - for standard input");
    check->add_option("--nvm", nvm, "module calibration blob");
    check->add_flag("--json", json, "machine-readable report");

    CLI::App *dump = app.add_subcommand("dump", "Everything in the result, slot by slot, structures expanded with "
                                                "their tables as arrays, in slot order.");
    add_file(dump, "tuning container, or - for standard input");
    dump->add_option("--nvm", nvm, "module calibration blob");
    dump->add_flag("--json", json, "JSON instead of text");

    CLI::App *unpack = app.add_subcommand("unpack", "A tuning container or calibration blob as readable JSON: "
                                                    "header words, each record with id, version and its fields "
                                                    "by name (raw payload bytes where the layout is unknown or "
                                                    "does not fit).");
    add_file(unpack, "tuning container or calibration blob, or - for standard input");
    unpack->add_option("-o,--output", out, "output JSON file (default: standard output)");

    CLI::App *pack = app.add_subcommand("pack", "JSON from unpack back to bytes; record sizes, total size, checksum "
                                                "(form A or B as named) and CRC are recomputed.");
    add_file(pack, "JSON description, or - for standard input");
    pack->add_option("-o,--output", out, "output file (default: standard output)");

    CLI::App *render = app.add_subcommand("render", "PNG heatmaps of the lens-shading tables per light source and "
                                                    "colour cell on a shared scale, with a colour bar and the corner "
                                                    "and centre values; with --nvm also the module grids, the ratio "
                                                    "tables, the merged tables and the before/after differences.");
    add_file(render, "tuning container, or - for standard input");
    render->add_option("--nvm", nvm, "module calibration blob");
    render->add_option("-o,--output", dir, "output folder (created when missing)")->capture_default_str();

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp &e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion &e) {
        return app.exit(e);
    } catch (const CLI::ParseError &e) {
        app.exit(e);
        return kExitUsage;
    }

    if (out.empty()) out = "-";
    try {
        if (*info) return run_info(file, nvm);
        if (*check) return run_check(file, nvm, json);
        if (*dump) return run_dump(file, nvm, json);
        if (*unpack) return run_unpack(file, out);
        if (*pack) return run_pack(file, out);
        if (*render) return run_render(file, nvm, dir);
    } catch (const Failure &e) {
        std::cerr << "ozcmc: " << e.what() << "\n";
        return kExitFailed;
    } catch (const std::exception &e) {  // anything else the standard library throws (no memory...)
        std::cerr << "ozcmc: " << file << ": " << e.what() << "\n";
        return kExitFailed;
    }
    return kExitUsage;
}
