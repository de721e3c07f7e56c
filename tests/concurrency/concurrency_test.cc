// Reentrancy: several threads create and destroy results from the same read-only container and
// calibration blobs at once, and run kernels on private buffers. Run under ThreadSanitizer (make test), any shared mutable state inside
// the library shows as a data race.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "oz_cmc_parser.h"
#include "oz_lsc.h"
#include "oz_nvm.h"
#include "oz_resample.h"
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

// Kernels share nothing but their read-only inputs and the run-time choice of vector rows: each thread
// resamples and upscales into private buffers from one shared source and one shared calibration.
TEST(Concurrency, ParallelKernelsOnPrivateBuffers) {
    std::vector<uint16_t> src(64 * 48);
    for (size_t i = 0; i < src.size(); ++i) src[i] = uint16_t(i * 37);
    const Blob blob(NvmBuilder(9, 7).table(8, [](int c, int r, int q) { return uint16_t(40 + c + r * r + q * q); }).build());
    nvm_data *nvm = nullptr;
    ASSERT_EQ(oz_nvm_parse(blob.get(), &nvm), 0);
    constexpr int kThreads = 4;
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            std::vector<uint16_t> resized(97 * 71), reference(97 * 71);
            std::vector<float> upscaled(128 * 96);
            for (int i = 0; i < 20; ++i) {
                failures[size_t(t)] += resize_2d_array_uint16(src.data(), 64, 48, resized.data(), 97, 71) != 0;
                if (i == 0) reference = resized;
                failures[size_t(t)] += resized != reference;
                const uint16_t *in[1] = {src.data()};
                float *out[1] = {upscaled.data()};
                failures[size_t(t)] += image_bicubic_upscale_uint16_to_float(in, out, 64, 48, 128, 96, 1) != 0;
                upscaled_lsc_tables *tables = compute_upscaled_lsc_tables_polynom4th(32, 24, nvm, uint32_t(t % 4), 0);
                failures[size_t(t)] += tables == nullptr;
                deinit_computed_upscale_lsc_tables(tables);
            }
        });
    }
    for (std::thread &th : threads) th.join();
    oz_nvm_deinit(nvm);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(failures[size_t(t)], 0) << "thread " << t;
}

}  // namespace
}  // namespace oz::test
