// The bounds-checked reader: little-endian decoding, 64-bit bounds arithmetic, sticky failure,
// bounded string scans and carved-out sub-readers.
#include <gtest/gtest.h>

#include <cstdint>

#include "common/byte_reader.h"

namespace oz {
namespace {

TEST(ByteReader, DecodesLittleEndianAtAnyOffset) {
    const uint8_t b[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x00, 0x00, 0x80, 0x3F};
    ByteReader r(b, sizeof b);
    EXPECT_EQ(r.u8(0), 0x01);
    EXPECT_EQ(r.u16(1), 0x0302);
    EXPECT_EQ(r.u32(1), 0x05040302u);
    EXPECT_EQ(r.u64(1), 0x0908070605040302ull);
    EXPECT_EQ(r.i16(8), 0x0009);
    EXPECT_EQ(r.f32(9), 1.0f);
    EXPECT_TRUE(r.ok());
}

TEST(ByteReader, OutOfRangeReadsFailStickyAndReturnZero) {
    const uint8_t b[4] = {1, 2, 3, 4};
    struct Case {
        uint64_t off;
        int width;
    };
    for (Case c : {Case{3, 2}, Case{4, 1}, Case{0, 8}, Case{UINT64_MAX, 1}, Case{UINT64_MAX - 1, 4},
                   Case{uint64_t(1) << 32, 2}}) {
        ByteReader r(b, sizeof b);
        uint64_t v = c.width == 1 ? r.u8(c.off) : c.width == 2 ? r.u16(c.off) : c.width == 4 ? r.u32(c.off) : r.u64(c.off);
        EXPECT_EQ(v, 0u) << c.off;
        EXPECT_FALSE(r.ok()) << c.off;
        EXPECT_EQ(r.u8(0), 1);  // later in-range reads still work, the flag stays down
        EXPECT_FALSE(r.ok());
    }
    ByteReader r(b, sizeof b);
    EXPECT_TRUE(r.has(4, 0));
    EXPECT_FALSE(r.has(5, 0));
    EXPECT_FALSE(r.has(1, UINT64_MAX));
    EXPECT_TRUE(r.ok());  // has() is a question, not a read
}

TEST(ByteReader, StringScansStopAtTheEnd) {
    const uint8_t b[] = {'a', 'b', 0, 'c', 'd'};
    ByteReader r(b, sizeof b);
    uint64_t len = 99;
    EXPECT_TRUE(r.string_length(0, &len));
    EXPECT_EQ(len, 2u);
    EXPECT_TRUE(r.string_length(2, &len));
    EXPECT_EQ(len, 0u);
    EXPECT_FALSE(r.string_length(3, &len));  // "cd" has no NUL inside the bytes
    EXPECT_FALSE(r.ok());
    ByteReader past(b, sizeof b);
    EXPECT_FALSE(past.string_length(5, &len));
}

TEST(ByteReader, ArraysSubReadersAndWrites) {
    uint8_t b[10] = {0, 0, 1, 0, 2, 0, 3, 0, 0xFF, 0xFF};
    RecordBytes r(b, sizeof b);
    uint16_t out[4] = {};
    EXPECT_TRUE(r.u16s(2, 3, out));
    EXPECT_EQ(out[2], 3);
    EXPECT_FALSE(r.u16s(6, 3, out));
    EXPECT_FALSE(r.u16s(0, UINT64_MAX / 2, out));  // count x 2 would wrap
    RecordBytes ok(b, sizeof b);
    RecordBytes sub = ok.sub(4, 4);
    EXPECT_EQ(sub.size(), 4u);
    EXPECT_EQ(sub.u16(0), 2);
    EXPECT_EQ(sub.u16(4), 0);
    EXPECT_FALSE(sub.ok());
    EXPECT_FALSE(ok.sub(8, 3).ok());
    EXPECT_TRUE(ok.put_u16(8, 0x1234));
    EXPECT_EQ(b[8], 0x34);
    EXPECT_FALSE(ok.put_u32(8, 0));
    EXPECT_EQ(b[9], 0x12);  // a failed write leaves the bytes as they were
}

TEST(ByteReader, Round8FollowsTheFormatsU32Arithmetic) {
    EXPECT_EQ(round8(0), 0u);
    EXPECT_EQ(round8(1), 8u);
    EXPECT_EQ(round8(36), 40u);
    EXPECT_EQ(round8(40), 40u);
    EXPECT_EQ(round8(0xFFFFFFF9u), 0u);  // wraps like the format's own computation
}

}  // namespace
}  // namespace oz
