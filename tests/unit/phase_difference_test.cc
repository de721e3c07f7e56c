// Phase-difference record 30 (slot 52): the primary grid computed from a module map on small
// hand-checked maps for every flip mode (interior mean, outlier band, clipped 7 x 7 means, sign, the
// float operation order and truncation), maps of every size, the record path by version, short records
// at every step, and the calibration path end to end.
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "records/correction.h"
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

struct Map {
    uint8_t width, height, fraction_bits;
    std::vector<int32_t> values;
    int32_t &at(int i, int j) { return values[size_t(i) * width + j]; }
    PhaseDifferenceMap view() const { return {width, height, fraction_bits, values.data()}; }
};

Map constant_map(uint8_t w, uint8_t h, int32_t v, uint8_t bits = 0) {
    return {w, h, bits, std::vector<int32_t>(size_t(w) * h, v)};
}

// The shared 7 x 5 map: every value 100 except 120 at (0,0) and the outlier 1000 at (4,6). The
// interior is the single value at (2,3): m = 100, band (50, 150). With weight 0.5, k = 1 and centre 10
// (b = 5):
//   (0,0): rows 0-3, cols 0-3, 16 in band, t = 1620, r = 810 / 16 = 50.625 -> 56 or (negated) -45
//   (0,1): rows 0-3, cols 0-4, 20 in band, t = 2020, r = 50.5          -> 56 or -45
//   (0,6), (4,0): 16 values of 100, r = 50                               -> 55 or -44
//   (4,6): rows 1-4, cols 3-6, the outlier left out: 15 in band, r = 50  -> 55 or -44
//   (2,3): all 35, 34 in band, t = 3420, r = 1710 / 34 = 50.29...        -> 55 or -44
Map marked_map() { return {7, 5, 0, marked_map_values()}; }

std::vector<int32_t> compute(const Map &map, int32_t centre, float weight, uint32_t flip, int32_t fill = 0) {
    std::vector<int32_t> grid(size_t(map.width) * map.height, fill);
    compute_phase_difference_grid(map.view(), centre, weight, flip, grid.data());
    return grid;
}

TEST(PhaseDifferenceGrid, HandCheckedMapInEveryFlipMode) {
    struct Cell {
        int i, j;
        int32_t value;
    };
    struct Case {
        uint32_t flip;
        std::vector<Cell> cells;
    };
    const std::vector<Case> cases = {
        {0, {{0, 0, 56}, {0, 1, 56}, {0, 6, 55}, {4, 0, 55}, {4, 6, 55}, {2, 3, 55}}},
        // Mirrored left-right and negated: computed (i, j) lands at (i, 6 - j).
        {1, {{0, 6, -45}, {0, 5, -45}, {0, 0, -44}, {4, 6, -44}, {4, 0, -44}, {2, 3, -44}}},
        // Flipped top-bottom: computed (i, j) lands at (4 - i, j), sign kept.
        {2, {{4, 0, 56}, {4, 1, 56}, {4, 6, 55}, {0, 0, 55}, {0, 6, 55}, {2, 3, 55}}},
        // Both: (4 - i, 6 - j), negated.
        {3, {{4, 6, -45}, {4, 5, -45}, {4, 0, -44}, {0, 6, -44}, {0, 0, -44}, {2, 3, -44}}},
        // Any other mode is no flip.
        {7, {{0, 0, 56}, {0, 1, 56}, {4, 6, 55}}},
    };
    const Map map = marked_map();
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << "flip " << c.flip);
        const std::vector<int32_t> grid = compute(map, 10, 0.5f, c.flip);
        for (const Cell &cell : c.cells)
            EXPECT_EQ(grid[size_t(cell.i) * 7 + cell.j], cell.value) << "at " << cell.i << "," << cell.j;
    }
}

TEST(PhaseDifferenceGrid, EmptyBandUsesTheInteriorMean) {
    // 8 x 5: interior (2,3) = 0 and (2,4) = 200, so m = 100 and the band (50, 150) holds no value at all.
    // r = ((100 * 0.5) * 0.5) * s = 25 s with fraction bits 1; b = 5: 30, or -19 when negated
    // (-25 + 5 + 0.5 = -19.5 truncates toward zero). Fraction bits 33 count as 1.
    for (uint8_t bits : {uint8_t(1), uint8_t(33)}) {
        Map map = constant_map(8, 5, 1000, bits);
        map.at(2, 3) = 0;
        map.at(2, 4) = 200;
        for (uint32_t flip : {0u, 1u, 2u, 3u}) {
            SCOPED_TRACE(testing::Message() << "bits " << int(bits) << " flip " << flip);
            const std::vector<int32_t> grid = compute(map, 10, 0.5f, flip);
            for (int32_t v : grid) ASSERT_EQ(v, flip & 1 ? -19 : 30);
        }
    }
}

TEST(PhaseDifferenceGrid, MapsOfEverySize) {
    // Centre -19 with weight 0.75: b = -4.75, and trunc(-4.75 + 0.5) = -4 (toward zero).
    struct Case {
        uint8_t w, h;
        bool written;      // false: D = 0 or an empty map, the grid keeps what it held
        int32_t expected;  // every value when written
    };
    const Case cases[] = {
        {0, 0, false, 0},  {0, 5, false, 0}, {7, 0, false, 0},
        {6, 5, false, 0},                 // D = 0
        {7, 4, false, 0},                 // D = 0
        {1, 1, true, -4},                 // S = 0, D = 15: m = 0, empty band
        {3, 3, true, -4},                 // D = 3
        {5, 5, true, -4},                 // D = -1: m = -0
        {2, 7, true, -4},                 // D = -12
        {7, 5, true, 70},                 // all in band: r = 75, trunc(75 - 4.75 + 0.5)
        {255, 255, true, 70},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.w) << " x " << int(c.h));
        const Map map = constant_map(c.w, c.h, 100);
        const std::vector<int32_t> grid = compute(map, -19, 0.75f, 0, 0x7777);
        for (int32_t v : grid) ASSERT_EQ(v, c.written ? c.expected : 0x7777);
    }
    // A centre value of 0 leaves the grid as it was.
    const Map map = marked_map();
    for (int32_t v : compute(map, 0, 0.5f, 0, 0x7777)) ASSERT_EQ(v, 0x7777);
}

TEST(PhaseDifferenceGrid, BandLimitsOutOfRangeBecomeIntMin) {
    // Interior 2^31 - 1: m = 2^31 as a float, 1.5 m is out of range, so high = INT32_MIN and the band
    // is empty (a saturating conversion would let every 2^31 - 2 in). n = 0 everywhere:
    // r = ((2^31 * 0.5) * 2^-30) * s = s; b = 5: trunc(6.5) = 6.
    Map map = constant_map(7, 5, INT32_MAX - 1, 30);
    map.at(2, 3) = INT32_MAX;
    for (int32_t v : compute(map, 10, 0.5f, 0)) ASSERT_EQ(v, 6);
}

// The definition evaluated term by term: each position's clipped 7 x 7 window summed directly in
// ascending order. The library slides its sums instead; both must agree bit for bit, also when the
// in-band sums wrap 32 bits.
std::vector<int32_t> direct_definition(const Map &map, int32_t c, float w, uint32_t flip) {
    const int NW = map.width, NH = map.height;
    std::vector<int32_t> grid(size_t(NW) * NH, 0);
    uint32_t S = 0;
    for (int i = 2; NH >= 5 && NW >= 7 && i <= NH - 3; ++i)
        for (int j = 3; j <= NW - 4; ++j) S += uint32_t(map.values[size_t(i) * NW + j]);
    const int32_t D = (NW - 6) * (NH - 4);
    if (c == 0 || D == 0 || NW == 0 || NH == 0) return grid;
    const float m = float(int32_t(S)) / float(D);
    const int32_t low = truncate_to_i32(std::min(0.5f * m, 1.5f * m)), high = truncate_to_i32(std::max(0.5f * m, 1.5f * m));
    const float k = 1.0f / float(uint32_t(1) << (map.fraction_bits % 32)), b = float(c) * (1.0f - w);
    const float s = flip == 1 || flip == 3 ? -1.0f : 1.0f;
    for (int i = 0; i < NH; ++i) {
        for (int j = 0; j < NW; ++j) {
            uint32_t t = 0;
            int32_t n = 0;
            for (int y = std::max(i - 3, 0); y <= std::min(i + 3, NH - 1); ++y)
                for (int x = std::max(j - 3, 0); x <= std::min(j + 3, NW - 1); ++x) {
                    const int32_t v = map.values[size_t(y) * NW + x];
                    if (low < v && v < high) t += uint32_t(v), ++n;
                }
            const float r = n > 0 ? (((float(int32_t(t)) * w) * k) * s) / float(n) : ((m * w) * k) * s;
            const int oi = flip == 2 || flip == 3 ? NH - 1 - i : i, oj = flip == 1 || flip == 3 ? NW - 1 - j : j;
            grid[size_t(oi) * NW + oj] = truncate_to_i32((r + b) + 0.5f);
        }
    }
    return grid;
}

TEST(PhaseDifferenceGrid, SlidingSumsEqualTheDirectDefinition) {
    std::mt19937 random(7);
    const std::pair<uint8_t, uint8_t> sizes[] = {{1, 1}, {3, 2}, {7, 5}, {8, 8}, {9, 13}, {31, 17}, {255, 9}};
    for (auto [w, h] : sizes) {
        for (int32_t base : {100, 1200000000, -900000000}) {
            SCOPED_TRACE(testing::Message() << int(w) << " x " << int(h) << " around " << base);
            Map map = constant_map(w, h, 0, uint8_t(random() % 40));
            std::uniform_int_distribution<int32_t> noise(-std::abs(base) / 2, std::abs(base) / 2);
            for (int32_t &v : map.values) v = random() % 11 == 0 ? int32_t(random()) : base + noise(random);
            for (uint32_t flip : {0u, 1u, 2u, 3u})
                ASSERT_EQ(compute(map, 7, 0.375f, flip), direct_definition(map, 7, 0.375f, flip)) << "flip " << flip;
        }
    }
}

TEST(PhaseDifferenceGrid, TruncationToInt32) {
    const std::pair<float, int32_t> cases[] = {
        {1.9f, 1}, {-4.25f, -4}, {2147483520.0f, 2147483520}, {2147483648.0f, INT32_MIN},
        {-2147483904.0f, INT32_MIN}, {std::numeric_limits<float>::quiet_NaN(), INT32_MIN}};
    for (auto [in, out] : cases) EXPECT_EQ(truncate_to_i32(in), out) << in;
}

const cmc_phase_difference *pd_of(const Parsed &p) { return p.at<const cmc_phase_difference>(CMC_SLOT_PHASE_DIFFERENCE); }

TEST(PhaseDifferenceRecord, RecordPathByVersion) {
    for (uint8_t version : {100, 101, 102}) {
        SCOPED_TRACE(int(version));
        Parsed p({record30(version, 2, 3, 2, 2, 1, 65535)});
        const cmc_phase_difference *pd = pd_of(p);
        ASSERT_NE(pd, nullptr);
        EXPECT_EQ(pd->header.id, 30);
        EXPECT_EQ(le32(pd->leading_values), 0x01020304u);
        EXPECT_EQ(le32(pd->middle_value), 0x0A0B0C0Du);
        EXPECT_EQ(pd->num_entries, 2);
        ASSERT_NE(pd->entries, nullptr);
        EXPECT_EQ(pd->entries[11], 0xEB);
        EXPECT_EQ(pd->primary_grid_width, 3);
        EXPECT_EQ(pd->primary_grid_height, 2);
        ASSERT_NE(pd->primary_grid, nullptr);
        EXPECT_EQ(pd->primary_grid[0], 1000);
        EXPECT_EQ(pd->primary_grid[5], 1005);
        EXPECT_EQ(pd->primary_grid[4], 65535);  // the centre: u16 widened without sign, or i32
        ASSERT_NE(pd->secondary_grid, nullptr);
        EXPECT_EQ(pd->secondary_grid[1], 0x5001u);
    }
}

// A short record keeps what it holds and stops at the first step it fails. Version 102, A = 1,
// 2 x 2 primary, 1 x 3 secondary: entries end at 36, the weight at 40, the primary grid at 56, the
// secondary at 68; the tests are 32, round8(36) = 40, round8(36 + 16) = 56 and round8(68) = 72.
TEST(PhaseDifferenceRecord, ShortRecordsStopAtEveryStep) {
    const RecordBuilder r = record30(102, 1, 2, 2, 1, 3);
    const char *grid_test = "size >= round8(30 + 6 * A + 4 * W1 * H1)";
    const char *secondary_test = "size >= round8(end of primary grid + 4 * W2 * H2)";
    struct Case {
        const char *name;
        RecordBuilder record;
        bool entries, primary, secondary;
        const char *rule;
    };
    const std::vector<Case> cases = {
        {"24 bytes: the head as far as it goes", record30(102, 5, 7, 9, 1, 1).length(24), false, false, false, "size >= 32"},
        {"31", RecordBuilder(r).length(31), false, false, false, "size >= 32"},
        {"no entries", record30(102, 0, 2, 2, 1, 1), false, false, false, "num_entries != 0"},
        {"39", RecordBuilder(r).length(39), false, false, false, "size >= round8(30 + 6 * A)"},
        {"40", RecordBuilder(r).length(40), true, false, false, grid_test},
        {"55", RecordBuilder(r).length(55), true, false, false, grid_test},
        {"56", RecordBuilder(r).length(56), true, true, false, secondary_test},
        {"71", RecordBuilder(r).length(71), true, true, false, secondary_test},
        {"72", RecordBuilder(r).length(72), true, true, true, ""},
        // A = 3: round8(48 + 4 * 2) = 56 passes for 56 bytes, but the weight moves the grid to 52..60.
        {"weight moves the grid past the end", record30(102, 3, 2, 1, 0, 0).length(56), true, false, false,
         "weight and primary grid within size"},
        // 4 * 32768 * 32768 wraps to 0 in u32: the size tests pass, the grids are not there.
        {"primary grid size wraps u32", RecordBuilder(30, 101).u16(16, 1).u16(22, 32768).u16(24, 32768).length(48),
         true, false, false, "weight and primary grid within size"},
        {"secondary grid size wraps u32",
         RecordBuilder(30, 101).u16(16, 1).u16(22, 1).u16(24, 1).u16(26, 32768).u16(28, 32768).length(48), true, true,
         false, "secondary grid within size"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p({c.record});
        const cmc_phase_difference *pd = pd_of(p);
        ASSERT_NE(pd, nullptr);
        EXPECT_EQ(pd->entries != nullptr, c.entries);
        EXPECT_EQ(pd->primary_grid != nullptr, c.primary);
        EXPECT_EQ(pd->secondary_grid != nullptr, c.secondary);
        EXPECT_EQ(p.rule(DiagKind::kSectionDropped, 30), c.rule);
    }
    // The 24-byte record: bytes up to 23 are copied, byte 24 on reads as 0.
    Parsed p({cases[0].record});
    EXPECT_EQ(pd_of(p)->num_entries * 100 + pd_of(p)->primary_grid_width, 507);
    EXPECT_EQ(pd_of(p)->primary_grid_height, 0);
}

Bytes nvm_with_map(const Map &map) {
    return NvmBuilder(2, 2).phase_difference(map.width, map.height, map.fraction_bits, map.values).build();
}

TEST(PhaseDifferenceCalibration, ComputesTheGridFromTheModuleMap) {
    // 3 x 3 record grid whose centre (row 1, column 1) is 10; weight 0.5.
    Parsed p({record30(102, 1, 3, 3, 1, 2, 10, 0.5f)}, nvm_with_map(marked_map()));
    const cmc_phase_difference *pd = pd_of(p);
    ASSERT_NE(pd, nullptr);
    EXPECT_EQ(pd->primary_grid_width, 7);
    EXPECT_EQ(pd->primary_grid_height, 5);
    ASSERT_NE(pd->primary_grid, nullptr);
    EXPECT_EQ(pd->primary_grid[0], 56);
    EXPECT_EQ(pd->primary_grid[6], 55);
    EXPECT_EQ(pd->primary_grid[34], 55);
    // The secondary grid still follows the record's own primary grid.
    ASSERT_NE(pd->secondary_grid, nullptr);
    EXPECT_EQ(pd->secondary_grid[1], 0x5001u);
    EXPECT_EQ(p.rule(DiagKind::kRecordDecoded, 30), "slot 52: cmc_phase_difference, primary grid from the calibration map");
}

TEST(PhaseDifferenceCalibration, VersionsCentreAndMissingMaps) {
    // 3 x 3 map of 100: m = 0, the band is empty, every value is trunc(b + 0.5). Version 101 blends with
    // 0.6: b = 10 * (1 - 0.6f) = 3.9999998, giving 4 (0.5 would give 5).
    struct Case {
        const char *name;
        RecordBuilder record;
        Bytes nvm;
        uint16_t width, height;
        int32_t first_value;
    };
    const Map three = constant_map(3, 3, 100);
    const std::vector<Case> cases = {
        {"version 101 uses weight 0.6", record30(101, 1, 3, 3, 0, 0, 10), nvm_with_map(three), 3, 3, 4},
        {"version 102 uses its weight", record30(102, 1, 3, 3, 0, 0, 10, 0.5f), nvm_with_map(three), 3, 3, 5},
        {"version 100 keeps the map size, grid zero", record30(100, 1, 2, 2, 0, 0), nvm_with_map(three), 3, 3, 0},
        {"centre 0: grid zero", record30(102, 1, 3, 3, 0, 0, 0), nvm_with_map(three), 3, 3, 0},
        {"empty record grid: no centre, grid zero", record30(102, 1, 0, 3, 0, 0), nvm_with_map(three), 3, 3, 0},
        {"no map: record path", record30(102, 1, 2, 1, 0, 0), NvmBuilder(2, 2).build(), 2, 1, 1000},
        {"empty map (no values): record path", record30(102, 1, 2, 1, 0, 0),
         nvm_with_map(constant_map(0, 4, 0)), 2, 1, 1000},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p({c.record}, c.nvm);
        const cmc_phase_difference *pd = pd_of(p);
        ASSERT_NE(pd, nullptr);
        EXPECT_EQ(pd->primary_grid_width, c.width);
        EXPECT_EQ(pd->primary_grid_height, c.height);
        ASSERT_NE(pd->primary_grid, nullptr);
        // The record path copies the record's grid (1000, then the centre value 10).
        const bool record_path = c.first_value == 1000;
        for (uint32_t k = 0; k < uint32_t(c.width) * c.height; ++k)
            ASSERT_EQ(pd->primary_grid[k], record_path && k == 1 ? 10 : c.first_value) << k;
        EXPECT_EQ(p.rule(DiagKind::kRecordIgnored, 30),
                  record_path ? "calibration carries no phase-difference map: primary grid from the record" : "");
    }
}

// The orientation comes from the record-17 copy in slot 32: its u16 at byte 12.
TEST(PhaseDifferenceCalibration, FlipModeFromRecord17) {
    const Map map = marked_map();
    nvm_phase_difference pdm{};
    pdm.pd_grid_width = map.width;
    pdm.pd_grid_height = map.height;
    pdm.pd_values = const_cast<int32_t *>(map.values.data());
    nvm_data nvm{};
    nvm.has_phase_difference = 1;
    nvm.phase_difference = &pdm;
    const Bytes record = record30(102, 1, 3, 3, 0, 0, 10, 0.5f).build();
    struct Case {
        const char *name;
        Bytes record17;  // empty: slot 32 null
        int32_t at_0_0, at_0_6;
    };
    const std::vector<Case> cases = {
        {"no record 17", {}, 56, 55},
        {"flip 1", RecordBuilder(17, 100).u16(12, 1).length(16).build(), -44, -45},
        {"flip 2", RecordBuilder(17, 100).u16(12, 2).length(16).build(), 55, 55},
        {"flip 3", RecordBuilder(17, 100).u16(12, 3).length(16).build(), -44, -44},
        {"flip 4 is none", RecordBuilder(17, 100).u16(12, 4).length(16).build(), 56, 55},
        {"record 17 too short for the field", RecordBuilder(17, 100).length(13).build(), 56, 55},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        cmc_data cmc{};
        Bytes record17 = c.record17;
        cmc.slot[CMC_SLOT_RECORD17] = record17.empty() ? nullptr : record17.data();
        cmc_phase_difference *pd = cmc_phase_difference_parse(&cmc, ByteReader(record.data(), uint32_t(record.size())), &nvm, Diag());
        ASSERT_NE(pd, nullptr);
        ASSERT_NE(pd->primary_grid, nullptr);
        EXPECT_EQ(pd->primary_grid[0], c.at_0_0);
        EXPECT_EQ(pd->primary_grid[6], c.at_0_6);
        cmc_phase_difference_release(pd);
    }
}

}  // namespace
}  // namespace oz::test
