// Reentrancy: several threads create and destroy results from the same read-only container and
// calibration blobs at once. Run under ThreadSanitizer (make test), any shared mutable state inside
// the library shows as a data race.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "oz_cmc_parser.h"
#include "tests/kit/builder.h"

namespace oz::test {
namespace {

TEST(Concurrency, ParallelInitAndDeinitOnSharedInputs) {
    const Blob container(ContainerBuilder()
                             .add(RecordBuilder(1, 101).text(24, "shared").u16(31, 1).text(33, "k").text(35, "v"))
                             .add(RecordBuilder(8, 100).length(4096))
                             .add(RecordBuilder(722, 102).u32(12, 1).u64(16, 5).u32(24, 3))
                             .build());
    const Blob calibration(NvmBuilder(5, 4).table(8, [](int c, int r, int q) { return uint16_t(c + r + q); }).build());
    constexpr int kThreads = 4, kRounds = 200;
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                cmc_data *cmc = (i & 1) ? oz_cmc_parser_init_v1(container.get(), calibration.get())
                                        : oz_cmc_parser_init(container.get());
                if (cmc == nullptr) {
                    ++failures[size_t(t)];
                    continue;
                }
                oz_kovb_others_parser_init(container.get(), cmc);
                if (cmc->slot[CMC_SLOT_TEXT] == nullptr || cmc->slot[CMC_SLOT_OTHERS] == nullptr) ++failures[size_t(t)];
                oz_cmc_parser_deinit(cmc);
            }
        });
    }
    for (std::thread &th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[size_t(t)], 0) << "thread " << t;
}

}  // namespace
}  // namespace oz::test
