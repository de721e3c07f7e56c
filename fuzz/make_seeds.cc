// Writes the seed corpora of the fuzz targets: containers and calibration blobs built with the test
// kit (every record id with small plausible counts, the text record with pairs, the others record),
// plus any files given on the command line (the bundled example), each with the mode byte the targets
// expect. Usage: oz_fuzz_seeds OUT_DIR [EXTRA_CONTAINER...] [--nvm EXTRA_CALIBRATION...]
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/kit/builder.h"

using oz::test::Bytes;
using oz::test::ContainerBuilder;
using oz::test::NvmBuilder;
using oz::test::RecordBuilder;

namespace {

void write(const std::string &path, uint8_t mode, const Bytes &a, const Bytes *b = nullptr) {
    std::ofstream out(path, std::ios::binary);
    out.put(char(mode));
    if (b) {  // init_v1 layout: length of the calibration, the calibration, the container
        out.put(char(a.size() & 0xFF));
        out.put(char((a.size() >> 8) & 0xFF));
    }
    out.write(reinterpret_cast<const char *>(a.data()), std::streamsize(a.size()));
    if (b) out.write(reinterpret_cast<const char *>(b->data()), std::streamsize(b->size()));
}

Bytes read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<Bytes> containers() {
    std::vector<Bytes> out;
    // Every characterization id, with small counts at the usual count offsets and room for them.
    for (uint16_t id = 1; id <= 42; ++id) {
        for (uint8_t version : {100, 101, 102, 103}) {
            RecordBuilder r(id, version);
            r.u16(8, 2).u16(10, 3).u16(12, 2).u16(14, 1).u16(16, 2).u32(8, 1).length(256);
            out.push_back(ContainerBuilder().add(r).build());
        }
    }
    out.push_back(ContainerBuilder()
                      .add(RecordBuilder(1, 101).text(24, "module").u16(31, 1).text(33, "k").text(35, "v"))
                      .add(RecordBuilder(722, 102).u32(8, 7).u32(12, 2).u64(16, 1).u64(24, 2).u32(32, 9))
                      .build());
    return out;
}

std::vector<Bytes> calibrations() {
    std::vector<Bytes> out;
    out.push_back(NvmBuilder(17, 13).table(8, [](int c, int r, int q) { return uint16_t((c * 7 + r * 3 + q) & 0xFF); }).build());
    out.push_back(NvmBuilder(5, 4)
                      .table(12, [](int c, int r, int q) { return uint16_t(c * 100 + r * 10 + q); })
                      .table(10, [](int, int r, int q) { return uint16_t(r + q); })
                      .phase_difference(8, 6, 4, std::vector<int32_t>(48, -3))
                      .build());
    return out;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s OUT_DIR [EXTRA_CONTAINER...] [--nvm EXTRA_CALIBRATION...]\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    std::vector<Bytes> cs = containers(), ns = calibrations();
    bool nvm = false;
    for (int i = 2; i < argc; ++i) {
        if (std::string(argv[i]) == "--nvm") nvm = true;
        else (nvm ? ns : cs).push_back(read_file(argv[i]));
    }
    int n = 0;
    for (const Bytes &c : cs) {
        write(dir + "/init/seed" + std::to_string(n), 1, c);
        write(dir + "/init/raw" + std::to_string(n), 0, c);
        for (size_t k = 0; k < ns.size(); ++k)
            write(dir + "/init_v1/seed" + std::to_string(n) + "_" + std::to_string(k), 3, ns[k], &c);
        ++n;
    }
    for (size_t k = 0; k < ns.size(); ++k) write(dir + "/nvm/seed" + std::to_string(k), 0, ns[k]);
    // Kernel seeds: one per kernel family selector, with mid-range sizes.
    for (uint8_t family = 0; family < 8; ++family) {
        Bytes args(64);
        for (size_t i = 0; i < args.size(); ++i) args[i] = uint8_t(7 + 13 * i + family);
        write(dir + "/kernels/seed" + std::to_string(family), family, args);
    }
    std::printf("%d containers, %zu calibrations\n", n, ns.size());
    return 0;
}
