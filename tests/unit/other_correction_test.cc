// Other correction records: the four-plane grid (29), the valid-area record decoded by the container
// library (32), records kept whole (37, 39), the versioned settings block (40, decoded up to its last
// complete field) and the fixed-length copies (41, 42), each at its exact boundaries.
#include "tests/unit/correction_records.h"
#include "tests/unit/correction_util.h"

namespace oz::test {
namespace {

TEST(FourPlaneGrid, PlanesShareOneBuffer) {
    Parsed p({record29(1, 2, 56)});  // 24 + 16 * 2 = 56: accepted, planes in bytes 20 to 51
    auto *grid = p.at<cmc_four_plane_grid>(CMC_SLOT_FOUR_PLANE_GRID);
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->header.id, 29);
    EXPECT_EQ(le32(grid->leading_word), 0xAABBCCDDu);
    EXPECT_EQ(grid->grid_width, 1);
    EXPECT_EQ(grid->grid_height, 2);
    EXPECT_EQ(le32(grid->trailing_word), 0x11223344u);
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(grid->planes[k], grid->planes[0] + 2 * k);
        EXPECT_EQ(grid->planes[k][1], 0x6000u + 2 * k + 1);
    }
}

TEST(FourPlaneGrid, AcceptanceRules) {
    struct Case {
        const char *name;
        RecordBuilder record;
        bool accepted;
        const char *rule;
    };
    const std::vector<Case> cases = {
        {"56 bytes for a 2 x 2 grid that needs 88", record29(2, 2, 56), false, "size >= 24 + 16 * a * b (u32)"},
        {"2 x 2 in exactly 88", record29(2, 2, 88), true, ""},
        {"3 x 1 in 71 of 72", record29(3, 1, 71), false, "size >= 24 + 16 * a * b (u32)"},
        {"below 56", record29(1, 1, 55), false, "size >= 56"},
        {"zero width", record29(0, 2, 64), false, "grid_width != 0 and grid_height != 0"},
        {"zero height", record29(2, 0, 64), false, "grid_width != 0 and grid_height != 0"},
        // 16 * 16384 * 16384 = 2^32 wraps to 0: the u32 test passes, the planes are not there.
        {"product wrapping 32 bits", record29(16384, 16384, 64), false,
         "planes within size: 20 + 16 * a * b (the u32 product wrapped)"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Parsed p({c.record});
        EXPECT_EQ(p.at(CMC_SLOT_FOUR_PLANE_GRID) != nullptr, c.accepted);
        EXPECT_EQ(p.rule(DiagKind::kRecordRefused, 29), c.rule);
    }
}

TEST(ValidArea, KeptWhenTheContainerLibraryAcceptsIt) {
    const RecordBuilder first = RecordBuilder(32, 100).u16(24, 640).length(32);
    const RecordBuilder second = RecordBuilder(32, 100).u16(24, 320).length(40);
    Parsed one({first});
    ASSERT_NE(one.at(CMC_SLOT_VALID_AREA), nullptr);
    EXPECT_EQ(le16(one.at<uint8_t>(CMC_SLOT_VALID_AREA) + 24), 640);

    Parsed replaced({first, second});
    EXPECT_EQ(le16(replaced.at<uint8_t>(CMC_SLOT_VALID_AREA) + 24), 320);

    // 31 bytes: the container library refuses it with 1; the earlier record stays.
    Parsed refused({first, RecordBuilder(32, 100).u16(24, 99).length(31)});
    ASSERT_NE(refused.at(CMC_SLOT_VALID_AREA), nullptr);
    EXPECT_EQ(le16(refused.at<uint8_t>(CMC_SLOT_VALID_AREA) + 24), 640);
    const DiagRecorder::Entry *e = refused.diag.find(DiagKind::kRecordRefused, 32);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(e->event.code, 1u);
}

TEST(KeptAndFixedCopies, Boundaries) {
    struct Case {
        uint16_t id;
        int slot;
        uint32_t need;
        uint32_t kept_bytes;  // 0: the whole record is kept
    };
    const Case cases[] = {
        {37, CMC_SLOT_RECORD37, 16, 0},
        {39, CMC_SLOT_RECORD39, 16, 0},
        {41, CMC_SLOT_RECORD41, 32, 28},
        {42, CMC_SLOT_RECORD42, 280, 276},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.id);
        RecordBuilder r(c.id, 100);
        for (uint32_t i = 8; i < c.need + 8; ++i) r.u8(i, uint8_t(i));
        Parsed exact({RecordBuilder(r).length(c.need)});
        auto *kept = exact.at<uint8_t>(c.slot);
        ASSERT_NE(kept, nullptr);
        const uint32_t bytes = c.kept_bytes ? c.kept_bytes : c.need;
        EXPECT_EQ(kept[bytes - 1], uint8_t(bytes - 1));
        // One byte below: refused, and an earlier record of the kind is released.
        Parsed below({RecordBuilder(r).length(c.need), RecordBuilder(r).length(c.need - 1)});
        EXPECT_EQ(below.at(c.slot), nullptr);
        EXPECT_NE(below.diag.find(DiagKind::kRecordRefused, c.id), nullptr);
    }
}

TEST(BlockSettings, FieldsByVersion) {
    struct Case {
        uint8_t version;
        bool first, middle, tail_byte, tail;
    };
    const Case cases[] = {
        {100, false, false, false, false},
        {101, true, false, false, false},
        {102, true, true, false, false},
        {103, true, true, true, false},
        {104, true, true, true, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(int(c.version));
        Parsed p({record40(c.version, 3)});
        auto *s = p.at<cmc_block_settings>(CMC_SLOT_BLOCK_SETTINGS);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->header.version, c.version);
        EXPECT_EQ(le32(s->base_word), 0xBA5E0001u);
        EXPECT_EQ(le32(s->first_word), c.first ? 0xF1F2F3F4u : 0u);
        EXPECT_EQ(le16(s->first_half), c.first ? 0xABCD : 0);
        EXPECT_EQ(s->first_block[127], c.first ? 127 : 0);
        EXPECT_EQ(s->middle_block[15], c.middle ? 0xAF : 0);
        EXPECT_EQ(s->blob_length, c.middle ? 3 : 0);
        EXPECT_EQ(s->blob != nullptr, c.middle);
        if (s->blob) {
            EXPECT_EQ(s->blob[2], 0x32);
        }
        EXPECT_EQ(s->tail_byte, c.tail_byte ? 0x7E : 0);
        EXPECT_EQ(le32(s->tail_fields), c.tail ? 0x0D0C0B0Au : 0u);
        EXPECT_EQ(le16(s->tail_fields + 4), c.tail ? 0x0F0E : 0);
        EXPECT_EQ(s->second_block[0], c.tail ? 0xFF : 0);
    }
    // m = 0: a zero-length blob, and the tail at 163, 164 and 170.
    Parsed empty({record40(104, 0)});
    auto *s = empty.at<cmc_block_settings>(CMC_SLOT_BLOCK_SETTINGS);
    ASSERT_NE(s, nullptr);
    EXPECT_NE(s->blob, nullptr);
    EXPECT_EQ(s->tail_byte, 0x7E);
    EXPECT_EQ(s->second_block[127], 0x80);
}

// A record too short for its version keeps every field up to its last complete one.
TEST(BlockSettings, ShortRecordsKeepTheirCompleteFields) {
    struct Case {
        uint32_t length;
        bool base, first_block, middle, blob, tail_byte, tail_fields, second_block;
        const char *rule;
    };
    const uint8_t m = 4;
    const Case cases[] = {
        {298 + m, true, true, true, true, true, true, true, ""},
        {297 + m, true, true, true, true, true, true, false, "record ends before second_block"},
        {170 + m, true, true, true, true, true, true, false, "record ends before second_block"},
        {169 + m, true, true, true, true, true, false, false, "record ends before tail_fields"},
        {164 + m, true, true, true, true, true, false, false, "record ends before tail_fields"},
        {163 + m, true, true, true, true, false, false, false, "record ends before tail_byte"},
        {162 + m, true, true, true, false, false, false, false, "record ends before the end of blob_length and blob"},
        {162, true, true, true, false, false, false, false, "record ends before the end of blob_length and blob"},
        {161, true, true, false, false, false, false, false, "record ends before middle_block"},
        {146, true, true, false, false, false, false, false, "record ends before middle_block"},
        {145, true, false, false, false, false, false, false, "record ends before first_block"},
        {11, false, false, false, false, false, false, false, "record ends before base_word"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.length);
        Parsed p({record40(104, m).length(c.length)});
        auto *s = p.at<cmc_block_settings>(CMC_SLOT_BLOCK_SETTINGS);
        ASSERT_NE(s, nullptr);  // record 40 is always kept
        EXPECT_EQ(s->header.size, c.length);
        EXPECT_EQ(le32(s->base_word), c.base ? 0xBA5E0001u : 0u);
        EXPECT_EQ(s->first_block[0] == 0 && s->first_block[127] == 127, c.first_block);
        EXPECT_EQ(s->middle_block[0], c.middle ? 0xA0 : 0);
        EXPECT_EQ(s->blob != nullptr, c.blob);
        EXPECT_EQ(s->blob_length, c.blob ? m : 0);
        EXPECT_EQ(s->tail_byte, c.tail_byte ? 0x7E : 0);
        EXPECT_EQ(le32(s->tail_fields), c.tail_fields ? 0x0D0C0B0Au : 0u);
        EXPECT_EQ(s->second_block[0], c.second_block ? 0xFF : 0);
        EXPECT_EQ(p.rule(DiagKind::kSectionDropped, 40), c.rule);
    }
}

}  // namespace
}  // namespace oz::test
