// Parse cost: oz_cmc_parser_init + oz_cmc_parser_deinit on a ~4 MB container of large records that
// are kept whole, against a memcpy of the same bytes in the same run. Init must copy every record
// once; the checksum pass and the walk should add little on top.
#include <cstring>
#include <memory>

#include "bench/bench_ratio.h"
#include "oz_cmc_parser.h"
#include "tests/kit/builder.h"

namespace {

using oz::test::Blob;
using oz::test::ContainerBuilder;
using oz::test::RecordBuilder;

const Blob &container() {
    static const Blob blob([] {
        ContainerBuilder c;
        // 16 records of 256 KiB (record 8 is kept whole), with distinct contents.
        for (int i = 0; i < 16; ++i) {
            RecordBuilder r(8, 100);
            r.length(256 * 1024);
            for (uint32_t off = 8; off + 4 <= 256 * 1024; off += 4096) r.u32(off, off * 2654435761u + i);
            c.add(r);
        }
        return c.build();
    }());
    return blob;
}

void BM_InitDeinit(benchmark::State &state) {
    const Blob &blob = container();
    for (auto _ : state) {
        cmc_data *cmc = oz_cmc_parser_init(blob.get());
        benchmark::DoNotOptimize(cmc);
        oz_cmc_parser_deinit(cmc);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(blob.bytes.size()));
}

void BM_Memcpy(benchmark::State &state) {
    const Blob &blob = container();
    // A fresh destination per iteration, like init's per-record copies.
    for (auto _ : state) {
        std::unique_ptr<uint8_t[]> dst(new uint8_t[blob.bytes.size()]);
        std::memcpy(dst.get(), blob.bytes.data(), blob.bytes.size());
        benchmark::DoNotOptimize(dst.get());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(blob.bytes.size()));
}

BENCHMARK(BM_Memcpy)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_InitDeinit)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    oz::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_ratio("BM_InitDeinit", "BM_Memcpy");
    benchmark::Shutdown();
    return 0;
}
