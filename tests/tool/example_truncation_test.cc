// Truncation sweep over the bundled example: every record of the example container is decoded with
// every shorter `size` (the record cut to that many bytes, in a container of its own), and every
// shorter prefix of the whole container is given to init, as it is and with its header made valid so
// that the walk reaches the cut. Each run must decode or refuse without an out-of-range access (the
// sanitizer build checks that) and without leaking.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include "common/faultsim.h"
#include "oz_cmc_parser.h"
#include "tests/kit/builder.h"

namespace oz::test {
namespace {

Bytes example_container() {
    std::ifstream in(std::string(OZ_EXAMPLE_DIR) + "/example_container.bin", std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs init (and the others record) on exactly these bytes, in a heap block of their own size.
void parse_exact(const uint8_t *bytes, size_t n) {
    std::unique_ptr<uint8_t[]> copy(new uint8_t[n ? n : 1]);
    if (n) std::memcpy(copy.get(), bytes, n);
    binary_data desc{copy.get(), uint32_t(n)};
    cmc_data *cmc = oz_cmc_parser_init(&desc);
    if (cmc) oz_kovb_others_parser_init(&desc, cmc);
    oz_cmc_parser_deinit(cmc);
}

void fix_header(Bytes &c) {
    const uint32_t n = uint32_t(c.size());
    for (int i = 0; i < 4; ++i) c[4 + i] = uint8_t(n >> (8 * i));
    const uint32_t sum = container_checksum(c, Checksum::kFormB);
    for (int i = 0; i < 4; ++i) c[20 + i] = uint8_t(sum >> (8 * i));
}

TEST(ExampleTruncation, EveryRecordAtEveryShorterSize) {
    const Bytes c = example_container();
    ASSERT_GT(c.size(), 24u) << "bundled example not found in " << OZ_EXAMPLE_DIR;
    const int64_t live = faultsim::live_blocks();
    size_t records = 0, runs = 0;
    for (size_t off = 24; off + 8 <= c.size();) {
        const uint32_t size = le32(&c[off]);
        ASSERT_GE(size, 8u);
        ASSERT_LE(off + size, c.size());
        for (uint32_t cut = 0; cut < size; ++cut) {
            // The record alone, cut to `cut` bytes with its size field saying so.
            Bytes one(24 + size_t(cut), 0);
            std::memcpy(one.data() + 24, c.data() + off, cut);
            if (cut >= 4)
                for (int i = 0; i < 4; ++i) one[24 + i] = uint8_t(cut >> (8 * i));
            fix_header(one);
            parse_exact(one.data(), one.size());
            ++runs;
        }
        ++records;
        off += size;
    }
    EXPECT_GT(records, 30u);
    EXPECT_EQ(faultsim::live_blocks(), live);
    std::printf("[truncation] %zu records of the example, %zu truncated decodes\n", records, runs);
}

TEST(ExampleTruncation, EveryShorterContainer) {
    const Bytes c = example_container();
    ASSERT_GT(c.size(), 24u);
    const int64_t live = faultsim::live_blocks();
    for (size_t n = 0; n < c.size(); ++n) {
        parse_exact(c.data(), n);  // refused: total_size no longer matches
        if (n >= 24) {
            Bytes prefix(c.begin(), c.begin() + long(n));
            fix_header(prefix);  // accepted: the walk meets the cut record
            parse_exact(prefix.data(), prefix.size());
        }
    }
    EXPECT_EQ(faultsim::live_blocks(), live);
}

}  // namespace
}  // namespace oz::test
