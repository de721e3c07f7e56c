// Shading computations: the polynomial upscalings of a 17 x 13 module grid with 4 tables to a 64 x 48
// target, the ratio correction of 4 light sources of a full 4 x 4 layout at 64 x 48, each with the rows
// the CPU runs best and with the scalar rows; and init_v1 on a typical container with and without a
// calibration blob, against init without calibration.
#include <sys/resource.h>

#include <cstring>

#include "bench/bench_ratio.h"
#include "linalg/poly_rows.h"
#include "lsc/gain_rows.h"
#include "lsc/ratio_correction.h"
#include "lsc/upscale_polynom.h"
#include "oz_cmc_parser.h"
#include "tests/kit/builder.h"
#include "tests/kit/shading.h"

namespace {

using namespace oz;
using namespace oz::test;

constexpr uint16_t kOutW = 64, kOutH = 48;

ModuleCalibration &module() {
    static ModuleCalibration cal = [] {
        ModuleCalibration c(17, 13);
        for (int i = 0; i < 4; ++i) c.smooth_table(i % 2 ? 10 : 8, i);
        return c;
    }();
    return cal;
}

// Record 2 (frame 4000 x 3000) and record 32 (centre 2000, 1500, radius 2500) as their slots hold them.
cmc_data *characterization() {
    static std::vector<uint8_t> rec2 = [] {
        std::vector<uint8_t> r(36, 0);
        r[8] = 0xA0, r[9] = 0x0F, r[10] = 0xB8, r[11] = 0x0B;
        return r;
    }();
    static std::vector<uint8_t> rec32 = [] {
        std::vector<uint8_t> r(32, 0);
        r[0] = 32, r[24] = 0xD0, r[25] = 0x07, r[26] = 0xDC, r[27] = 0x05, r[28] = 0xC4, r[29] = 0x09;
        return r;
    }();
    static cmc_data cmc = [] {
        cmc_data c{};
        c.slot[CMC_SLOT_RECORD2] = rec2.data();
        c.slot[CMC_SLOT_VALID_AREA] = rec32.data();
        return c;
    }();
    return &cmc;
}

// Minor page faults of this process so far. glibc hands the top of an otherwise idle heap back to the
// system when a large free leaves it above its trim threshold; the next call then faults those pages
// in again. The counter shows how much of a loop's time is that.
long minor_faults() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_minflt;
}

void report_faults(benchmark::State &state, long before) {
    state.counters["faults/call"] =
        benchmark::Counter(double(minor_faults() - before) / double(state.iterations()));
}

template <bool kScalar>
void BM_Polynom4th(benchmark::State &state) {
    nvm_data *nvm = module().get();
    const uint8_t margins = uint8_t(state.range(0));
    const poly_rows &p = kScalar ? c_poly_rows() : best_poly_rows();
    const gain_rows &g = kScalar ? c_gain_rows() : best_gain_rows();
    const long faults = minor_faults();
    for (auto _ : state) {
        upscaled_lsc_tables *t = upscale_polynom4th(kOutW, kOutH, nvm, 1, margins, p, g);
        benchmark::DoNotOptimize(t);
        deinit_computed_upscale_lsc_tables(t);
    }
    report_faults(state, faults);
}

template <bool kScalar>
void BM_Polynom4thValidArea(benchmark::State &state) {
    nvm_data *nvm = module().get();
    const poly_rows &p = kScalar ? c_poly_rows() : best_poly_rows();
    const gain_rows &g = kScalar ? c_gain_rows() : best_gain_rows();
    const long faults = minor_faults();
    for (auto _ : state) {
        upscaled_lsc_tables *t = upscale_polynom4th_valid_area(kOutW, kOutH, nvm, 1, characterization(), p, g);
        benchmark::DoNotOptimize(t);
        deinit_computed_upscale_lsc_tables(t);
    }
    report_faults(state, faults);
}

// Four light sources of a 4 x 4 layout (RGB-IR phase 256, 12 gain cells each) with ratios of 12
// fractional bits near 1.0, corrected in place again on every iteration (the result does not change
// the work).
template <bool kScalar>
void BM_RatioCorrection(benchmark::State &state) {
    const size_t n = size_t(kOutW) * kOutH;
    ShadingPair pair(4, kOutW, kOutH);
    for (int e = 0; e < 4; ++e) {
        pair.ratio_entry(e).nvm_source_index = uint16_t(e + 1);
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c)
                for (size_t i = 0; i < n; ++i) pair.ratio_table(e, r, c)[i] = uint16_t(3800 + (i * 37 + r * 11 + c) % 600);
    }
    upscaled_lsc_tables *tables = compute_upscaled_lsc_tables_polynom4th(kOutW, kOutH, module().get(), 0, 0);
    const gain_rows &g = kScalar ? c_gain_rows() : best_gain_rows();
    for (auto _ : state) {
        benchmark::DoNotOptimize(ratio_correction(pair.lens(), pair.ratio(), tables, 256, 1, g));
        benchmark::ClobberMemory();
    }
    deinit_computed_upscale_lsc_tables(tables);
}

// A typical container: the lens-shading record 28 (4 light sources, 4 x 4 map at 64 x 48), the ratio
// record 33, records 2, 17 (version 101) and 32, and a few hundred kilobytes of other records.
Blob &container() {
    static Blob blob([] {
        ContainerBuilder c;
        RecordBuilder r2(2, 100);
        r2.u16(8, 4000).u16(10, 3000).u16(14, 256).length(40);
        c.add(r2);
        RecordBuilder r17(17, 101);
        r17.u16(10, 1).u16(12, 1).u16(14, 0).length(16);
        c.add(r17);
        RecordBuilder r32(32, 100);
        r32.u16(24, 2000).u16(26, 1500).u32(28, 2500).length(32);
        c.add(r32);
        const uint32_t T = 2u * kOutW * kOutH;
        // Records 28 and 33: header, channel map (cell k names table k), n, w, h, then per light source
        // a 22-byte block header and the 16 tables.
        for (uint16_t id : {uint16_t(28), uint16_t(33)}) {
            RecordBuilder r(id, 100);
            for (int k = 0; k < 16; ++k) r.u8(8 + k, uint8_t(k));
            r.u16(24, 4).u16(28, kOutW).u16(30, kOutH);
            uint32_t off = 32;
            for (int e = 0; e < 4; ++e) {
                if (id == 28)
                    r.u32(off, uint32_t(e + 1)).u16(off + 20, 4);  // light source, 12 fractional bits
                else
                    r.u16(off, uint16_t(900 + e)).u16(off + 2, uint16_t(e)).u16(off + 20, 4);  // module table e
                for (int k = 0; k < 16; ++k)
                    for (uint32_t i = 0; i < T; i += 2) r.u16(off + 22 + k * T + i, uint16_t(3800 + (i + k) % 600));
                off += 22 + 16 * T;
            }
            r.length((off + 7) & ~7u);
            c.add(r);
        }
        for (int i = 0; i < 4; ++i) {
            RecordBuilder r(8, 100);
            r.length(64 * 1024);
            c.add(r);
        }
        return c.build();
    }());
    return blob;
}

Blob &calibration() {
    static Blob blob([] {
        NvmBuilder n(17, 13);
        for (int t = 0; t < 4; ++t)
            n.table(10, [t](int c, int r, int q) { return uint16_t(200 + 30 * c + 10 * t + (r - 6) * (r - 6) * 8 + (q - 8) * (q - 8) * 6); });
        return n.build();
    }());
    return blob;
}

// True when init_v1 with the calibration rewrites slot 54 of the benchmark container (else the merge
// benchmark would time a merge that does not happen).
bool container_merges() {
    cmc_data *with = oz_cmc_parser_init_v1(container().get(), calibration().get());
    cmc_data *without = oz_cmc_parser_init_v1(container().get(), nullptr);
    const auto *a = static_cast<const cmc_lens_shading4x4 *>(with ? with->slot[CMC_SLOT_LENS_SHADING] : nullptr);
    const auto *b = static_cast<const cmc_lens_shading4x4 *>(without ? without->slot[CMC_SLOT_LENS_SHADING] : nullptr);
    const bool merged = a && b && a->light_sources[0].light_source != b->light_sources[0].light_source &&
                        a->light_sources[0].tables[0][0][0] != b->light_sources[0].tables[0][0][0];
    oz_cmc_parser_deinit(with);
    oz_cmc_parser_deinit(without);
    return merged;
}

void BM_InitWithoutCalibration(benchmark::State &state) {
    for (auto _ : state) {
        cmc_data *cmc = oz_cmc_parser_init_v1(container().get(), nullptr);
        benchmark::DoNotOptimize(cmc);
        oz_cmc_parser_deinit(cmc);
    }
}

void BM_InitWithCalibration(benchmark::State &state) {
    if (!container_merges()) {
        state.SkipWithError("the benchmark container is not merged");
        return;
    }
    for (auto _ : state) {
        cmc_data *cmc = oz_cmc_parser_init_v1(container().get(), calibration().get());
        benchmark::DoNotOptimize(cmc);
        oz_cmc_parser_deinit(cmc);
    }
}

BENCHMARK(BM_Polynom4th<false>)->Name("BM_Polynom4th")->Arg(0)->Arg(1);
BENCHMARK(BM_Polynom4th<true>)->Name("BM_Polynom4th_scalar")->Arg(0)->Arg(1);
BENCHMARK(BM_Polynom4thValidArea<false>)->Name("BM_Polynom4thValidArea");
BENCHMARK(BM_Polynom4thValidArea<true>)->Name("BM_Polynom4thValidArea_scalar");
BENCHMARK(BM_RatioCorrection<false>)->Name("BM_RatioCorrection");
BENCHMARK(BM_RatioCorrection<true>)->Name("BM_RatioCorrection_scalar");
BENCHMARK(BM_InitWithoutCalibration);
BENCHMARK(BM_InitWithCalibration);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    oz::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_ratio("BM_InitWithCalibration", "BM_InitWithoutCalibration");
    benchmark::Shutdown();
    return 0;
}
