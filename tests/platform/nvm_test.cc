// The stand-in NVM library: a well-formed blob parses into the documented nvm_data layout; every
// malformed blob is rejected with *out untouched (leaks show under LeakSanitizer).
#include <gtest/gtest.h>

#include "oz_nvm.h"
#include "tests/kit/builder.h"

namespace oz::test {
namespace {

uint16_t sample(int c, int r, int q) { return uint16_t(1000 * c + 10 * r + q); }

NvmBuilder two_tables() {
    return NvmBuilder(3, 2).table(8, [](int c, int r, int q) { return uint16_t(sample(c, r, q) & 0xFF); }).table(12, sample);
}

TEST(NvmParse, ParsesTablesAndPhaseDifference) {
    Blob blob(two_tables().phase_difference(2, 1, 4, {-5, 70000}).build());
    nvm_data *nvm = nullptr;
    ASSERT_EQ(oz_nvm_parse(blob.get(), &nvm), OZ_NVM_OK);
    ASSERT_NE(nvm, nullptr);
    EXPECT_EQ(nvm->lsc_table_count, 2);
    EXPECT_EQ(nvm->lsc_grid_width, 3);
    EXPECT_EQ(nvm->lsc_grid_height, 2);
    EXPECT_EQ(nvm->lsc_tables[0].fraction_bits, 8);
    EXPECT_EQ(static_cast<uint8_t *>(nvm->lsc_tables[0].channel_grids[1])[4], uint8_t(sample(1, 1, 1) & 0xFF));
    EXPECT_EQ(nvm->lsc_tables[1].fraction_bits, 12);
    for (int c = 0; c < 4; ++c)
        for (int i = 0; i < 6; ++i)
            EXPECT_EQ(static_cast<uint16_t *>(nvm->lsc_tables[1].channel_grids[c])[i], sample(c, i / 3, i % 3));
    EXPECT_EQ(nvm->has_phase_difference, 1);
    ASSERT_NE(nvm->phase_difference, nullptr);
    EXPECT_EQ(nvm->phase_difference->pd_grid_width, 2);
    EXPECT_EQ(nvm->phase_difference->pd_grid_height, 1);
    EXPECT_EQ(nvm->phase_difference->pd_fraction_bits, 4);
    EXPECT_EQ(nvm->phase_difference->pd_values[0], -5);
    EXPECT_EQ(nvm->phase_difference->pd_values[1], 70000);
    oz_nvm_deinit(nvm);
    oz_nvm_deinit(nullptr);
}

TEST(NvmParse, EmptySectionsGiveNullPointers) {
    Blob blob(NvmBuilder(0, 0).phase_difference(0, 5, 0, {}).build());
    nvm_data *nvm = nullptr;
    ASSERT_EQ(oz_nvm_parse(blob.get(), &nvm), OZ_NVM_OK);
    EXPECT_EQ(nvm->lsc_tables, nullptr);
    EXPECT_EQ(nvm->phase_difference->pd_values, nullptr);
    oz_nvm_deinit(nvm);
}

TEST(NvmParse, RejectsEveryMalformedBlob) {
    struct Case {
        const char *name;
        Bytes bytes;
        int32_t code;
    };
    Bytes good = two_tables().build();
    Bytes wrong_total = good;
    wrong_total[8] += 1;  // the CRC stays valid for the changed header: recompute it
    const std::vector<Case> cases = {
        {"magic", two_tables().magic("OZNW").build(), OZ_NVM_BAD_MAGIC},
        {"version", two_tables().version(2).build(), OZ_NVM_BAD_VERSION},
        {"header size", two_tables().header_size(20).build(), OZ_NVM_BAD_HEADER_SIZE},
        {"total size", two_tables().total_size(uint32_t(good.size() + 1)).build(), OZ_NVM_BAD_TOTAL_SIZE},
        {"flags", two_tables().flags(2).build(), OZ_NVM_BAD_FLAGS},
        {"fraction bits 17", NvmBuilder(3, 2).table(17, sample).build(), OZ_NVM_BAD_FRACTION},
        {"sections end early", two_tables().extra_bytes(1).build(), OZ_NVM_BAD_LAYOUT},
        {"more tables announced", two_tables().table_count(3).build(), OZ_NVM_TRUNCATED},
        {"fewer tables announced", two_tables().table_count(1).build(), OZ_NVM_BAD_LAYOUT},
        {"flag without section", two_tables().flags(1).build(), OZ_NVM_TRUNCATED},
        {"crc", two_tables().corrupt_crc().build(), OZ_NVM_BAD_CRC},
        {"too short", Bytes(19, 0), OZ_NVM_TRUNCATED},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Blob blob(c.bytes);
        nvm_data *sentinel = reinterpret_cast<nvm_data *>(uintptr_t(0x1));
        nvm_data *out = sentinel;
        EXPECT_EQ(oz_nvm_parse(blob.get(), &out), c.code);
        EXPECT_EQ(out, sentinel);
    }
    nvm_data *out = nullptr;
    EXPECT_EQ(oz_nvm_parse(nullptr, &out), OZ_NVM_BAD_ARGUMENT);
    binary_data null_data{nullptr, 20};
    EXPECT_EQ(oz_nvm_parse(&null_data, &out), OZ_NVM_BAD_ARGUMENT);
    Blob blob(good);
    EXPECT_EQ(oz_nvm_parse(blob.get(), nullptr), OZ_NVM_BAD_ARGUMENT);
}

// Every shorter blob, with its header's total size and CRC made consistent with the cut, is refused:
// the sections then never end exactly before the CRC.
TEST(NvmParse, TruncationAnywhereIsRefused) {
    const Bytes full = two_tables().phase_difference(2, 2, 0, {1, 2, 3, 4}).build();
    for (size_t n = 0; n + 1 < full.size(); ++n) {
        Bytes cut(full.begin(), full.begin() + n);
        if (n >= 20) {
            cut[8] = uint8_t(n);
            cut[9] = uint8_t(n >> 8);
            const uint32_t crc = crc32(cut.data(), n - 4);
            for (int i = 0; i < 4; ++i) cut[n - 4 + i] = uint8_t(crc >> (8 * i));
        }
        auto heap = std::make_unique<uint8_t[]>(n ? n : 1);
        std::copy(cut.begin(), cut.end(), heap.get());
        binary_data desc{heap.get(), uint32_t(n)};
        nvm_data *out = nullptr;
        EXPECT_NE(oz_nvm_parse(&desc, &out), OZ_NVM_OK) << n;
        EXPECT_EQ(out, nullptr) << n;
    }
}

}  // namespace
}  // namespace oz::test
