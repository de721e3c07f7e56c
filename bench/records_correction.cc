// Cost of the correction-table decoders: the phase-difference grid computed from a module map (the
// only decoder with real arithmetic: a clipped 7 x 7 band mean per position), a container holding one
// record of every correction kind with a calibration map, and a large 4x4 lens-shading record.
#include <benchmark/benchmark.h>

#include "oz_cmc_parser.h"
#include "parser/parser.h"
#include "records/correction.h"
#include "tests/unit/correction_records.h"

namespace oz::test {
namespace {

void BM_PhaseDifferenceGrid(benchmark::State &state) {
    const uint8_t w = uint8_t(state.range(0)), h = uint8_t(state.range(1));
    std::vector<int32_t> values(size_t(w) * h);
    for (size_t i = 0; i < values.size(); ++i) values[i] = int32_t(90 + (i * 37) % 25 + (i % 97 == 0 ? 500 : 0));
    std::vector<int32_t> grid(values.size());
    const PhaseDifferenceMap map{w, h, 4, values.data()};
    for (auto _ : state) {
        compute_phase_difference_grid(map, 10, 0.5f, 1, grid.data());
        benchmark::DoNotOptimize(grid.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(values.size()));
}
BENCHMARK(BM_PhaseDifferenceGrid)->Args({16, 12})->Args({64, 48})->Args({255, 255});

void parse_and_release(benchmark::State &state, const Bytes &container, const Bytes &calibration) {
    const Blob c(container), n(calibration);
    for (auto _ : state) {
        cmc_data *cmc = parse_container(c.get(), calibration.empty() ? nullptr : n.get(), nullptr);
        benchmark::DoNotOptimize(cmc);
        oz_cmc_parser_deinit(cmc);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(container.size()));
}

void BM_EveryCorrectionRecord(benchmark::State &state) {
    ContainerBuilder b;
    for (const RecordBuilder &r : every_correction_record()) b.add(r);
    parse_and_release(state, b.build(), calibration_with_phase_difference());
}
BENCHMARK(BM_EveryCorrectionRecord);

void BM_LensShading4x4(benchmark::State &state) {
    // Four light sources of 64 x 48 samples, four tables each copied into sixteen cells.
    parse_and_release(state, ContainerBuilder().add(record4x4(28, kQuadMap, 4, 64, 48, 1)).build(), {});
}
BENCHMARK(BM_LensShading4x4);

}  // namespace
}  // namespace oz::test

BENCHMARK_MAIN();
