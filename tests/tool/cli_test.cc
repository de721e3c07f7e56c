// ozcmc run as a program: every subcommand on the bundled example, on refused, truncated and missing
// inputs and on usage errors (exit status, where the message goes and what it says), standard input
// and output through "-", and the rendered images (sizes, scales, colours).
#include <gtest/gtest.h>
#include <png.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sys/wait.h>

#include "container_json.h"
#include "tests/kit/builder.h"

namespace {

using ozcmc::Json;
using oz::test::Bytes;
using oz::test::ContainerBuilder;
using oz::test::RecordBuilder;

const std::string kTool = OZCMC_PATH;
const std::string kExample = std::string(OZ_EXAMPLE_DIR) + "/example_container.bin";
const std::string kCalibration = std::string(OZ_EXAMPLE_DIR) + "/example_calibration.bin";

std::string scratch(const std::string &name) {
    const std::string dir = std::string(OZ_TOOL_TEST_DIR) + "/scratch";
    std::filesystem::create_directories(dir);
    return dir + "/" + name;
}

std::string slurp(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

void write_file(const std::string &path, const std::string &data) {
    std::ofstream(path, std::ios::binary).write(data.data(), std::streamsize(data.size()));
}

struct Outcome {
    int status;
    std::string out, err;
};

// Runs the tool with `args` (shell words), optionally feeding `input` on standard input.
Outcome run(const std::string &args, const std::string &input = "") {
    static int counter = 0;
    const std::string stem = scratch(std::to_string(::getpid()) + "_" + std::to_string(counter++));
    std::string cmd = kTool + " " + args + " >" + stem + ".out 2>" + stem + ".err";
    if (!input.empty()) {
        write_file(stem + ".in", input);
        cmd += " <" + stem + ".in";
    }
    const int raw = std::system(cmd.c_str());
    Outcome r{WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, slurp(stem + ".out"), slurp(stem + ".err")};
    return r;
}

std::string as_string(const Bytes &b) { return std::string(b.begin(), b.end()); }

bool contains(const std::string &s, const std::string &part) { return s.find(part) != std::string::npos; }

TEST(Cli, ExitStatusAndMessages) {
    const std::string truncated = scratch("truncated.bin");
    write_file(truncated, slurp(kExample).substr(0, 1000));
    const std::string text_refused = scratch("text_refused.bin");
    // A text record whose text has no NUL inside the record.
    write_file(text_refused, as_string(ContainerBuilder().add(RecordBuilder(1, 100).bytes(24, Bytes(8, 'x'))).build()));
    const std::string tiny = scratch("tiny.bin");
    write_file(tiny, "0123456789");
    const std::string missing = scratch("does_not_exist.bin");

    struct Case {
        std::string args;
        int status;
        std::string out;  // expected in standard output ("" for nothing in particular)
        std::string err;  // expected in standard error
    };
    const std::vector<Case> cases = {
        {"--version", 0, "liboz_cmc_parser 1.0.0, SONAME liboz_cmc_parser.so.1", ""},
        {"info --version", 0, "SONAME liboz_cmc_parser.so.1", ""},
        {"--help", 0, "info", ""},
        {"check --help", 0, "Exit 0 when the container is accepted", ""},
        {"", 2, "", "subcommand"},
        {"frobnicate x", 2, "", "subcommand"},
        {"info", 2, "", "FILE is required"},
        {"check --bogus " + kExample, 2, "", "bogus"},
        {"info " + kExample, 0, "accepted, checksum form A", ""},
        {"info " + kExample + " --nvm " + kCalibration, 0, "calibration: parsed", ""},
        {"info " + kExample + " --nvm " + kCalibration, 0, "  ratio correction (cfa_pattern 1)\n", ""},
        {"info " + truncated, 1, "refused: total_size == descriptor size (expected 1000, actual ", "refused"},
        {"info " + tiny, 1, "refused: descriptor size >= 24 (header) (expected 24, actual 10)", "refused"},
        {"info " + missing, 1, "", "cannot read " + missing},
        {"info " + std::string(OZ_TOOL_TEST_DIR), 1, "", "it is a directory"},
        {"unpack " + std::string(OZ_TOOL_TEST_DIR), 1, "", "it is a directory"},
        {"check " + truncated, 1, "check: NOT clean", ""},
        {"check " + text_refused, 1, "REFUSED: text NUL within size", ""},
        {"check " + missing, 1, "", "cannot read"},
        {"dump " + truncated, 1, "", "the container is refused"},
        {"dump " + kExample, 0, "slot 65 others:", ""},
        {"unpack " + tiny, 1, "", "fewer than the 24-byte header"},
        {"unpack " + missing, 1, "", "cannot read"},
        {"pack " + tiny, 1, "", "not JSON"},
        {"render " + truncated + " -o " + scratch("render_refused"), 1, "", "the container is refused"},
        {"info " + kExample + " --nvm " + missing, 1, "", "cannot read"},
        {"info " + kCalibration, 1, "refused", "this is a module calibration blob: give it with --nvm"},
    };
    for (const Case &c : cases) {
        Outcome r = run(c.args);
        EXPECT_EQ(r.status, c.status) << c.args << "\nstdout: " << r.out << "\nstderr: " << r.err;
        if (!c.out.empty()) {
            EXPECT_TRUE(contains(r.out, c.out)) << c.args << "\nstdout: " << r.out;
        }
        if (!c.err.empty()) {
            EXPECT_TRUE(contains(r.err, c.err)) << c.args << "\nstderr: " << r.err;
        }
    }
}

TEST(Cli, CheckReportHasStableKeys) {
    Outcome r = run("check --json " + kExample + " --nvm " + kCalibration);
    Json j = Json::parse(r.out);
    for (const char *key : {"tool", "library", "file", "size", "accepted", "checksum_form", "rejection", "records",
                            "walk_stopped", "calibration", "clean"})
        EXPECT_TRUE(j.contains(key)) << key;
    EXPECT_EQ(j["library"]["soname"], "liboz_cmc_parser.so.1");
    EXPECT_EQ(j["accepted"], true);
    EXPECT_EQ(j["calibration"]["parsed"], true);
    // Every record of the example is one the library decodes: none may be refused by a decoder. A record
    // whose decoder is not part of this build is refused as having no decoder, and only then.
    bool refused = false;
    for (const Json &rec : j["records"]) {
        ASSERT_TRUE(rec.contains("status"));
        if (rec["status"] == "refused") {
            refused = true;
            EXPECT_EQ(rec["events"][0]["what"], "no decoder for this id") << rec.dump();
        }
    }
    EXPECT_EQ(r.status, refused ? 1 : 0);
    EXPECT_EQ(j["clean"], !refused);
    EXPECT_EQ(j["records"].back()["id"], 722);
    EXPECT_EQ(j["records"].back()["status"], "decoded");
}

TEST(Cli, StandardInputAndOutput) {
    const std::string example = slurp(kExample);
    Outcome unpacked = run("unpack -", example);
    ASSERT_EQ(unpacked.status, 0) << unpacked.err;
    Outcome packed = run("pack - -o -", unpacked.out);
    ASSERT_EQ(packed.status, 0) << packed.err;
    EXPECT_TRUE(packed.out == example) << "pack(unpack(example)) differs";
    Outcome info = run("info -", example);
    EXPECT_EQ(info.status, 0);
    EXPECT_TRUE(contains(info.out, "file: (standard input)"));
    Outcome both = run("info - --nvm -", example);
    EXPECT_EQ(both.status, 1);
    EXPECT_TRUE(contains(both.err, "standard input can feed only one"));
    const std::string json_out = scratch("example.json");
    EXPECT_EQ(run("unpack " + kExample + " -o " + json_out).status, 0);
    EXPECT_EQ(slurp(json_out), unpacked.out);
}

TEST(Cli, DumpIsDeterministicJson) {
    Outcome a = run("dump --json " + kExample + " --nvm " + kCalibration);
    Outcome b = run("dump --json " + kExample + " --nvm " + kCalibration);
    ASSERT_EQ(a.status, 0) << a.err;
    EXPECT_EQ(a.out, b.out);
    Json j = Json::parse(a.out);
    ASSERT_EQ(j["slots"].size(), 70u);
    for (int i = 0; i < 70; ++i) EXPECT_EQ(j["slots"][i]["slot"], i);
    EXPECT_EQ(j["slots"][0]["record"]["fields"]["text"], "OZ-IMX-4K module characterization, lab run 2026-11-02");
    EXPECT_EQ(j["slots"][3]["structure"][1]["key"], "lens");
    EXPECT_EQ(j["slots"][65]["structure"]["first_value"], 9);
    EXPECT_EQ(j["slots"][69]["descriptor"]["size"], slurp(kExample).size());
    // Structures are expanded with their tables: the lens shading of four light sources, the ratios,
    // the compand curves, the distortion grids, the block settings' blob, the built record 34.
    const Json &lsc = j["slots"][54]["structure"];
    EXPECT_EQ(lsc["num_light_sources"], 4);
    ASSERT_EQ(lsc["light_sources"].size(), 4u);
    EXPECT_EQ(lsc["light_sources"][0]["tables"].size(), 4u);
    EXPECT_EQ(lsc["light_sources"][0]["tables"][0]["samples"].size(), lsc["height"].get<size_t>());
    EXPECT_EQ(lsc["light_sources"][0]["tables"][0]["samples"][0].size(), lsc["width"].get<size_t>());
    EXPECT_EQ(j["slots"][57]["structure"]["light_sources"][1]["nvm_source_index"], 2);
    EXPECT_EQ(j["slots"][59]["structure"]["input_points"], Json({0, 4096, 65536, 262144, 1048575}));
    EXPECT_EQ(j["slots"][60]["structure"]["input_points"], Json({0, 1024, 2048, 3072, 4095}));
    EXPECT_EQ(j["slots"][43]["structure"]["grids"].size(), 2u);
    EXPECT_EQ(j["slots"][43]["structure"]["lists"][1]["values"], Json({-5, 5}));
    EXPECT_EQ(j["slots"][66]["structure"]["blob"], "6f7a636d63");
    EXPECT_EQ(j["slots"][58]["structure"]["entries"][1]["block"], Json({1200, 800, 3, 8}));
}

// Size, text chunks and pixels of a PNG file.
struct Png {
    int width = 0, height = 0;
    std::map<std::string, std::string> text;
    std::vector<uint8_t> rgb;
    uint8_t at(int x, int y, int c) const { return rgb[(size_t(y) * width + x) * 3 + c]; }
};

uint32_t be32(const std::string &s, size_t at) {
    return uint32_t(uint8_t(s[at])) << 24 | uint32_t(uint8_t(s[at + 1])) << 16 | uint32_t(uint8_t(s[at + 2])) << 8 |
           uint32_t(uint8_t(s[at + 3]));
}

// The size from IHDR and the text from the tEXt chunks are read from the file's chunks; the pixels
// through libpng's simplified reader.
Png read_png(const std::string &path) {
    Png p;
    const std::string file = slurp(path);
    if (file.size() < 8 || file.compare(1, 3, "PNG") != 0) return p;
    for (size_t at = 8; at + 12 <= file.size();) {
        const uint32_t length = be32(file, at);
        const std::string type = file.substr(at + 4, 4);
        if (at + 12 + length > file.size()) break;
        const std::string data = file.substr(at + 8, length);
        if (type == "IHDR") {
            p.width = int(be32(data, 0));
            p.height = int(be32(data, 4));
        } else if (type == "tEXt") {
            const size_t nul = data.find('\0');
            p.text[data.substr(0, nul)] = data.substr(nul + 1);
        }
        at += 12 + length;
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, file.data(), file.size())) {
        image.format = PNG_FORMAT_RGB;
        p.rgb.resize(PNG_IMAGE_SIZE(image));
        if (!png_image_finish_read(&image, nullptr, p.rgb.data(), 0, nullptr)) p.rgb.clear();
    }
    return p;
}

TEST(Cli, RenderedImages) {
    const std::string dir = scratch("render");
    std::filesystem::remove_all(dir);
    Outcome r = run("render " + kExample + " --nvm " + kCalibration + " -o " + dir);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(contains(r.out, "into " + dir));

    // The module's 12 x 9 grids, 13 pixels a sample, two tiles a row: 12 + 2 * 256 + 120 wide,
    // and 36 + 2 * 143 + 12 high.
    for (const char *name : {"module_table0.png", "module_table1.png"}) {
        Png p = read_png(dir + "/" + name);
        EXPECT_EQ(p.width, 644) << name;
        EXPECT_EQ(p.height, 334) << name;
        // Module gains are 1 + s / 2^10 with s from 2 to 1288 in the example: one scale for both tables.
        EXPECT_EQ(p.text["Scale-Min"], "1.0020") << name;
        EXPECT_EQ(p.text["Scale-Max"], "2.2578") << name;
    }
    // Table 0 channel 0 reaches the maximum in its top-left corner: the top colour of the map.
    Png t0 = read_png(dir + "/module_table0.png");
    EXPECT_EQ(t0.at(12, 50, 0), 253);
    EXPECT_EQ(t0.at(12, 50, 1), 231);
    EXPECT_EQ(t0.at(12, 50, 2), 37);

    // Four light sources: lens-shading, ratio, merged and difference pages for each, two module tables.
    std::map<std::string, int> pages;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        std::string stem = entry.path().stem().string();
        while (!stem.empty() && std::isdigit(static_cast<unsigned char>(stem.back()))) stem.pop_back();
        ++pages[stem];
    }
    EXPECT_EQ(pages["lens_shading_ls"], 4);
    EXPECT_EQ(pages["ratio_ls"], 4);
    EXPECT_EQ(pages["merged_ls"], 4);
    EXPECT_EQ(pages["difference_ls"], 4);
    EXPECT_EQ(pages["module_table"], 2);
    EXPECT_EQ(pages["module_upscaled"], 2);

    // The module grids are smooth quartic falloffs: the 15-term surface fits them to within the
    // samples' rounding (1/1024), for each of 2 tables x 4 channels.
    Json fit = Json::parse(slurp(dir + "/fit_report.json"));
    ASSERT_EQ(fit.size(), 8u);
    // The example selects the valid-area fit: every row is measured over the circle's cells, fewer than
    // the 12 x 9 grid.
    for (const Json &row : fit) {
        EXPECT_EQ(row["cells"], fit[0]["cells"]);
        EXPECT_LT(row["cells"].get<int>(), 108);
        EXPECT_GT(row["cells"].get<int>(), 15);
        EXPECT_LT(row["rms"].get<double>(), 1.0 / 1024) << row.dump();
        EXPECT_LT(row["max"].get<double>(), 2.0 / 1024) << row.dump();
    }
    EXPECT_TRUE(contains(r.out, "fit report"));
    // Light source A's red cell reaches 2.3289 in its bottom-left corner; the merged tables share the
    // scale of the characterization's, so the scale reaches at least that.
    Png a = read_png(dir + "/lens_shading_ls0.png");
    EXPECT_GE(std::stod(a.text["Scale-Max"]), 2.3289);
    EXPECT_EQ(a.text["Scale-Max"], read_png(dir + "/merged_ls3.png").text["Scale-Max"]);

    // Every page is a proper image with its scale. The characterization's gains and the merged ones
    // (ratios near 1 times module gains) stay within (0.9, 16); the upscaled module gains are
    // normalised to a minimum of exactly 1.
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        const std::string name = entry.path().filename().string();
        if (name.size() < 4 || name.substr(name.size() - 4) != ".png") continue;
        Png p = read_png(entry.path().string());
        EXPECT_GT(p.width, 0) << name;
        EXPECT_EQ(p.rgb.size(), size_t(p.width) * p.height * 3) << name;
        ASSERT_TRUE(p.text.count("Scale-Min") && p.text.count("Scale-Max")) << name;
        const double lo = std::stod(p.text["Scale-Min"]), hi = std::stod(p.text["Scale-Max"]);
        EXPECT_LE(lo, hi) << name;
        if (name.rfind("lens_shading", 0) == 0 || name.rfind("merged", 0) == 0) {
            EXPECT_GT(lo, 0.9) << name;
            EXPECT_LE(hi, 16.0) << name;
        }
        if (name.rfind("module_upscaled", 0) == 0) {
            EXPECT_EQ(p.text["Scale-Min"], "1.0000") << name;
            EXPECT_LT(hi, 2.3) << name;
        }
        if (name.rfind("difference", 0) == 0) {
            EXPECT_DOUBLE_EQ(lo, -hi) << name;
        }
    }
}

}  // namespace
