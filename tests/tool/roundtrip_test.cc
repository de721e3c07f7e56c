// The JSON description of containers and calibration blobs: pack(unpack(x)) == x for containers the
// test kit builds (every record layout, truncated and malformed records, trailing bytes, both checksum
// forms, refused containers), records shown by field name when they follow their layout, and packing
// errors that name the field at fault.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "container_json.h"
#include "tests/kit/builder.h"

namespace {

using ozcmc::Json;
using oz::test::Bytes;
using oz::test::Checksum;
using oz::test::ContainerBuilder;
using oz::test::NvmBuilder;
using oz::test::RecordBuilder;

Bytes read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

RecordBuilder u16_table(RecordBuilder r, uint32_t off, uint32_t count, uint16_t base) {
    for (uint32_t i = 0; i < count; ++i) r.u16(off + 2 * i, uint16_t(base + 7 * i));
    return r;
}

// One record of each layout the tool knows, with counts that fill its sections.
std::vector<std::pair<std::string, RecordBuilder>> layout_records() {
    std::vector<std::pair<std::string, RecordBuilder>> r;
    r.push_back({"text v100", RecordBuilder(1, 100).text(24, "hello").length(32)});
    r.push_back({"text v101 pairs", RecordBuilder(1, 101).text(24, "t").u16(26, 1).text(28, "k").text(30, "v").length(32)});
    r.push_back({"record 2 v100", RecordBuilder(2, 100).u16(8, 640).u16(10, 480).u16(12, 5).u16(14, 1)});
    r.push_back({"record 2 v103", RecordBuilder(2, 103).u16(34, 9).length(40)});
    r.push_back({"record 3", RecordBuilder(3, 100).u32(8, 2).u32(16, 0x18000).length(48)});
    r.push_back({"record 6", RecordBuilder(6, 100).u8(12, 1).u8(13, 2).u8(14, 3).u8(15, 4).length(40)});
    r.push_back({"record 10 v101", u16_table(RecordBuilder(10, 101).u16(10, 1).u16(12, 2).u16(14, 2), 24, 16, 4096).length(64)});
    r.push_back({"record 11 v101", u16_table(RecordBuilder(11, 101).u16(8, 1).u16(10, 2).u16(12, 2), 24, 16, 4096).length(64)});
    r.push_back({"record 13 v102", RecordBuilder(13, 102).u16(70, 2).u16(72, 1).u16(74, 2).u16(76, 3).length(88)});
    r.push_back({"record 14", RecordBuilder(14, 100).u16(8, 0).u16(10, 20).u16(12, 10).length(40)});
    r.push_back({"record 14 step 0", RecordBuilder(14, 100).length(24)});
    r.push_back({"record 15 v102", RecordBuilder(15, 102).u16(8, 1).u16(10, 1).u16(36, 1).u16(48, 2).u8(58, 1).length(80)});
    r.push_back({"record 16", RecordBuilder(16, 100).u16(12, 2).length(24)});
    r.push_back({"record 17 v101", RecordBuilder(17, 101).u16(10, 1).u16(12, 3).u16(14, 2)});
    r.push_back({"record 18 v101", RecordBuilder(18, 101).u16(8, 1).length(104)});
    r.push_back({"record 19", RecordBuilder(19, 100).u16(12, 1).u16(14, 2).length(64)});
    r.push_back({"record 20 v102", RecordBuilder(20, 102).u16(14, 1).u16(16, 2).length(40)});
    r.push_back({"record 22 v106", RecordBuilder(22, 106).i16(12, 2).i16(14, 1).u16(20, 1).u32(44, 0).length(40 + 8 + 1040 + 8 + 14)});
    r.push_back({"record 24", RecordBuilder(24, 100).u16(14, 1).u16(18, 2).length(40)});
    r.push_back({"record 25 v101", RecordBuilder(25, 101).u16(8, 1).u16(10, 1).length(12 + 4 + 24 + 36 + 36)});
    r.push_back({"record 26 v101", RecordBuilder(26, 101).f32(8, 2.0f).f32(12, 3.0f).length(64)});
    r.push_back({"record 27 v101", RecordBuilder(27, 101).u16(24, 1).u16(26, 1).u16(28, 2).u16(30, 2).length(32 + 28 + 16)});
    r.push_back({"record 28", u16_table(RecordBuilder(28, 100).bytes(8, Bytes(16, 0xFF)).u8(8, 0).u8(9, 1).u16(24, 1).u16(28, 2).u16(30, 1), 54, 4, 4096).length(64)});
    r.push_back({"record 29", RecordBuilder(29, 100).u16(12, 1).u16(14, 2).length(56)});
    r.push_back({"record 30 v102", RecordBuilder(30, 102).u16(16, 1).u16(22, 2).u16(24, 1).u16(26, 1).u16(28, 1).f32(36, 0.5f).length(56)});
    r.push_back({"record 31", RecordBuilder(31, 100).u32(8, 1).u64(16, 24).f32(28, 1.5f).length(96)});
    r.push_back({"record 32", RecordBuilder(32, 100).u16(24, 2000).u16(26, 1500).u32(28, 2400)});
    r.push_back({"record 33", RecordBuilder(33, 100).bytes(8, Bytes(16, 0xFF)).u8(8, 0).u16(24, 1).u16(28, 1).u16(30, 1).length(56)});
    r.push_back({"record 34", RecordBuilder(34, 100).u32(8, 1).u64(16, 32).u32(40, 0).length(80)});
    r.push_back({"record 35", RecordBuilder(35, 100).u8(13, 2).u32(14, 1).length(44)});
    r.push_back({"record 36", RecordBuilder(36, 100).u8(13, 2).length(32)});
    r.push_back({"record 38", RecordBuilder(38, 100).u8(9, 2).length(32)});
    r.push_back({"record 40 v104", RecordBuilder(40, 104).u8(162, 2).length(300)});
    r.push_back({"others v102", RecordBuilder(722, 102).u32(12, 2).length(40)});
    return r;
}

TEST(RoundTrip, EveryLayoutByNameAndBack) {
    for (const auto &[name, rec] : layout_records()) {
        Bytes c = ContainerBuilder().add(rec).build();
        Json j = ozcmc::unpack_container(c);
        ASSERT_EQ(j["records"].size(), 1u) << name;
        EXPECT_TRUE(j["records"][0].contains("fields")) << name << ": not shown by its layout: " << j["records"][0].dump();
        EXPECT_EQ(ozcmc::pack_container(j), c) << name;
        // Through text too, as the tool writes and reads it.
        EXPECT_EQ(ozcmc::pack_container(Json::parse(j.dump())), c) << name;
    }
}

TEST(RoundTrip, TruncatedAndMalformedContainersComeBackByteForByte) {
    std::vector<std::pair<std::string, Bytes>> cases;
    // Every shorter size of every record: the layouts that no longer fit fall back to raw bytes.
    for (const auto &[name, rec] : layout_records()) {
        const Bytes full = rec.build();
        for (uint32_t len = 8; len < full.size(); len += (full.size() > 200 ? 37 : 1)) {
            RecordBuilder cut = rec;
            cut.length(len);
            cases.push_back({name + " cut to " + std::to_string(len), ContainerBuilder().add(cut).build()});
        }
    }
    RecordBuilder text = RecordBuilder(1, 100).text(24, "abc").length(32);
    cases.push_back({"form B", ContainerBuilder().header_word(2, 77).add(text).checksum(Checksum::kFormB).build()});
    cases.push_back({"bad checksum", ContainerBuilder().add(text).corrupt_checksum(5).build()});
    cases.push_back({"total size lies", ContainerBuilder().add(text).total_size(1000).build()});
    cases.push_back({"trailing bytes", ContainerBuilder().add(text).trailing({1, 2, 3}).build()});
    cases.push_back({"size below 8", ContainerBuilder().add(text).add(RecordBuilder(5, 100).size_field(4).length(16)).build()});
    cases.push_back({"size past the end", ContainerBuilder().add(RecordBuilder(5, 100).size_field(4000).length(16)).build()});
    cases.push_back({"reserved byte", ContainerBuilder().add(RecordBuilder(7, 100).reserved(9).length(16)).build()});
    cases.push_back({"unknown ids", ContainerBuilder().add(RecordBuilder(0, 1).length(8)).add(RecordBuilder(63, 200).length(12)).add(RecordBuilder(900, 100).length(9)).build()});
    cases.push_back({"empty", ContainerBuilder().build()});
    cases.push_back({"non-ASCII text", ContainerBuilder().add(RecordBuilder(1, 100).text(24, "\xC3\xA9t\xE9").length(32)).build()});
    cases.push_back({"lying count", ContainerBuilder().add(RecordBuilder(3, 100).u32(8, 0xFFFFFFFF).length(48)).build()});
    // 100 entries of 60000 empty planes: shown raw rather than as six million empty tables.
    cases.push_back({"empty planes", ContainerBuilder().add(RecordBuilder(27, 100).u16(24, 100).u16(26, 60000).length(32 + 2000)).build()});
    cases.push_back({"negative grid", ContainerBuilder().add(RecordBuilder(22, 100).i16(12, -3).i16(14, 5).length(24)).build()});
    cases.push_back({"NaN params", ContainerBuilder().add(RecordBuilder(26, 100).u32(8, 0x7FC00001).u32(12, 0xFF800000).length(16)).build()});
    for (const auto &[name, c] : cases) {
        Json j = ozcmc::unpack_container(c);
        EXPECT_EQ(ozcmc::pack_container(Json::parse(j.dump())), c) << name << "\n" << j.dump();
    }
}

TEST(RoundTrip, BundledExample) {
    for (const char *name : {"example_container.bin", "example_calibration.bin"}) {
        const Bytes blob = read_file(std::string(OZ_EXAMPLE_DIR) + "/" + name);
        ASSERT_FALSE(blob.empty()) << name;
        Json j = ozcmc::unpack_any(blob);
        EXPECT_EQ(ozcmc::pack_any(Json::parse(j.dump())), blob) << name;
        if (j["kind"] != "tuning container") continue;
        for (const Json &r : j["records"]) {
            if (r["kind"] != "kept whole" && r["id"] != 9 && r["id"] < 41) {
                EXPECT_TRUE(r.contains("fields")) << "record " << r["id"] << " not shown by its fields";
            }
        }
    }
}

// Every container that the library's own test suites build (collected by the test kit before this
// test runs): valid ones, refused ones, and records cut, lying or malformed in every way those tests
// try.
TEST(RoundTrip, EveryContainerOfTheTestSuites) {
    const char *dir = std::getenv("OZ_KIT_CONTAINERS");
    if (dir == nullptr) GTEST_SKIP() << "run through ctest, which collects the containers first";
    size_t count = 0;
    for (const auto &entry : std::filesystem::directory_iterator(dir)) {
        const Bytes c = read_file(entry.path().string());
        if (c.size() < 24) continue;  // not a container for the tool either; refused by unpack
        ++count;
        try {
            Json j = ozcmc::unpack_container(c);
            EXPECT_EQ(ozcmc::pack_container(Json::parse(j.dump())), c) << entry.path();
        } catch (const std::exception &e) {
            ADD_FAILURE() << entry.path() << ": " << e.what();
        }
    }
    EXPECT_GT(count, 10u);
    std::printf("%zu containers of the test suites round-tripped\n", count);
}

TEST(RoundTrip, CalibrationBlobs) {
    auto ramp = [](int c, int r, int q) { return uint16_t(c * 100 + r * 10 + q); };
    std::vector<std::pair<std::string, Bytes>> cases = {
        {"8-bit", NvmBuilder(3, 2).table(8, ramp).build()},
        {"16-bit and phase difference", NvmBuilder(4, 3).table(12, ramp).table(6, ramp).phase_difference(3, 2, 4, {1, -2, 3, -4, 5, -6}).build()},
        {"no tables", NvmBuilder(2, 2).build()},
        {"bad CRC", NvmBuilder(2, 2).table(8, ramp).corrupt_crc().build()},
        {"extra bytes", NvmBuilder(2, 2).table(8, ramp).extra_bytes(3).build()},
        {"lying total size", NvmBuilder(2, 2).total_size(99).build()},
    };
    for (const auto &[name, blob] : cases) {
        Json j = ozcmc::unpack_calibration(blob);
        EXPECT_EQ(ozcmc::pack_calibration(Json::parse(j.dump())), blob) << name << "\n" << j.dump();
    }
    Json j = ozcmc::unpack_calibration(cases[1].second);
    EXPECT_EQ(j["tables"][0]["channels"][1]["samples"][2][3], 123);
    EXPECT_EQ(j["phase_difference"]["values"][1][0], -4);
}

TEST(Pack, ErrorsNameTheField) {
    Bytes c = ContainerBuilder().add(RecordBuilder(28, 100).bytes(8, Bytes(16, 0xFF)).u8(8, 0).u16(24, 1).u16(28, 2).u16(30, 1).length(64)).build();
    const Json good = ozcmc::unpack_container(c);
    struct Case {
        const char *name;
        std::function<void(Json &)> edit;
        const char *message;
    };
    const std::vector<Case> cases = {
        {"missing field", [](Json &j) { j["records"][0]["fields"].erase("width"); }, "records[0]: missing field \"width\""},
        {"table size", [](Json &j) { j["records"][0]["fields"]["light_sources"][0]["tables"][0][0].push_back(1); }, "light_sources[0].tables: expected rows of 2 values"},
        {"value range", [](Json &j) { j["records"][0]["fields"]["light_sources"][0]["integer_bits"] = 70000; }, "70000 does not fit in 2 bytes"},
        {"count mismatch", [](Json &j) { j["records"][0]["fields"]["num_light_sources"] = 2; }, "light_sources: expected an array of 2 items"},
        {"bad hex", [](Json &j) { j["records"][0]["fields"]["not_read"] = "zz00"; }, "not a hex digit"},
        {"no id", [](Json &j) { j["records"][0].erase("id"); }, "record without \"id\""},
        {"bad checksum form", [](Json &j) { j["checksum"] = "C"; }, "\"checksum\" must be"},
    };
    for (const Case &k : cases) {
        Json j = good;
        k.edit(j);
        try {
            ozcmc::pack_container(j);
            ADD_FAILURE() << k.name << ": packed without complaint";
        } catch (const ozcmc::CodecError &e) {
            EXPECT_NE(std::string(e.what()).find(k.message), std::string::npos) << k.name << ": " << e.what();
        }
    }
}

}  // namespace
