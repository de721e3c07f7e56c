// Init and deinit of containers made of the general records: one small record of every kind (the
// per-record overhead of the walk, the copies and the slot bookkeeping), and records with large built
// tables (the cost of the copies behind records 15, 24 and 27 and of the record-34 synthesis).
#include <benchmark/benchmark.h>

#include <vector>

#include "oz_cmc.h"
#include "tests/kit/builder.h"

namespace oz::test {
namespace {

RecordBuilder sized(uint16_t id, uint8_t version, uint32_t length) { return RecordBuilder(id, version).length(length); }

Bytes small_container() {
    ContainerBuilder c;
    c.add(sized(2, 103, 40)).add(sized(3, 100, 48).u32(8, 2)).add(sized(5, 100, 16)).add(sized(6, 100, 24).u8(12, 4));
    c.add(sized(7, 100, 16)).add(sized(8, 100, 12)).add(sized(9, 100, 8)).add(sized(13, 102, 88).u16(70, 2));
    c.add(sized(14, 100, 40).u16(10, 2).u16(12, 1)).add(sized(16, 100, 24).u16(12, 1)).add(sized(17, 101, 16));
    c.add(sized(18, 101, 96).u16(8, 1)).add(sized(19, 100, 64).u16(12, 1).u16(14, 2));
    c.add(sized(20, 102, 48).u16(14, 1).u16(16, 3)).add(sized(21, 100, 16)).add(sized(23, 100, 24));
    c.add(sized(15, 102, 104).u16(8, 1).u16(10, 1).u16(44, 2).u16(56, 1).u16(72, 2).u8(82, 1));
    c.add(sized(24, 100, 60).u16(14, 2).u16(18, 1).u16(38, 2)).add(sized(25, 101, 208).u16(8, 2).u16(10, 1));
    c.add(sized(26, 101, 64)).add(sized(27, 101, 120).u16(24, 2).u16(26, 2).u16(28, 1).u16(30, 2));
    return c.build();
}

// Record 15 with 1000 samples of 64 values per series, record 24 with 1000 entries of 64 words,
// record 27 with 4 entries of 3 planes of 128 x 128, record 19 with 1000 items and pairs.
Bytes large_container() {
    ContainerBuilder c;
    RecordBuilder r15(15, 102);
    r15.u16(8, 1).u16(10, 1).u16(44, 1000);
    uint32_t at = 46;
    for (int i = 0; i < 1000; ++i, at += 12 + 4 * 64) r15.u16(at + 10, 64);
    c.add(r15.length(at + 1 + 16 + 7));
    RecordBuilder r24(24, 100);
    r24.u16(14, 1000);
    at = 16;
    for (int i = 0; i < 1000; ++i, at += 16 + 4 * 64) r24.u16(at + 2, 64);
    c.add(r24.length(at));
    c.add(sized(27, 101, 32 + 4 * (20 + 3 * 128 * 128 * 2) + 64).u16(24, 4).u16(26, 3).u16(28, 128).u16(30, 128));
    c.add(sized(19, 100, 16 + 28 * 1000 + 8 * 1000).u16(12, 1000).u16(14, 1000));
    return c.build();
}

void run(benchmark::State &state, const Bytes &bytes) {
    Blob blob(bytes);
    cmc_data *check = oz_cmc_parser_init(blob.get());
    const bool built = check && check->slot[CMC_SLOT_RECORD15_SAMPLES] && check->slot[CMC_SLOT_RECORD24] &&
                       check->slot[CMC_SLOT_RECORD27] && check->slot[CMC_SLOT_RECORD34];
    oz_cmc_parser_deinit(check);
    if (!built) state.SkipWithError("the container's records were not all decoded");
    for (auto _ : state) {
        cmc_data *cmc = oz_cmc_parser_init(blob.get());
        benchmark::DoNotOptimize(cmc);
        oz_cmc_parser_deinit(cmc);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes.size()));
}

void BM_InitEveryGeneralRecord(benchmark::State &state) { run(state, small_container()); }
void BM_InitLargeBuiltTables(benchmark::State &state) { run(state, large_container()); }

BENCHMARK(BM_InitEveryGeneralRecord);
BENCHMARK(BM_InitLargeBuiltTables);

}  // namespace
}  // namespace oz::test

BENCHMARK_MAIN();
