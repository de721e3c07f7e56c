// This file attempts to check the general record decoders, the synthesized record 34 and the others
// record in an out-of-memory situation: every allocation of init (and of oz_kovb_others_parser_init) on
// a container holding every general record kind fails in turn, once and from then on. Each slot must
// then be either empty or exactly what the unarmed run decoded (record 27's head and sample copies may
// be missing, as the format allows), and deinit must release every block.
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "oz_log.h"
#include "tests/unit/general_records_fixture.h"

namespace oz::test {
namespace {

using Image = std::vector<std::string>;

std::string raw(const void *p, size_t n) { return std::string(static_cast<const char *>(p), n); }
std::string record_raw(const void *rec) { return raw(rec, le32(rec)); }
std::string buffer_or_null(const void *p, size_t n) { return p ? raw(p, n) : "null"; }
std::string at(const void *base, const void *p) {
    return p ? "@" + std::to_string(static_cast<const uint8_t *>(p) - static_cast<const uint8_t *>(base)) : "null";
}
const void *pointer_at(const void *base, size_t off) {
    const void *p;
    std::memcpy(&p, static_cast<const uint8_t *>(base) + off, sizeof p);
    return p;
}

// Slots that point into a record copy, with their owner.
const std::map<int, int> kInto = {
    {CMC_SLOT_RECORD6_VALUES, CMC_SLOT_RECORD6},          {CMC_SLOT_RECORD14_ENTRIES, CMC_SLOT_RECORD14},
    {CMC_SLOT_RECORD15_TABLE_A, CMC_SLOT_RECORD15},       {CMC_SLOT_RECORD15_TABLE_B, CMC_SLOT_RECORD15},
    {CMC_SLOT_RECORD15_TABLE_C, CMC_SLOT_RECORD15},       {CMC_SLOT_RECORD15_TABLE_D, CMC_SLOT_RECORD15},
    {CMC_SLOT_RECORD16_ENTRIES, CMC_SLOT_RECORD16},       {CMC_SLOT_RECORD17_EXTENSION, CMC_SLOT_RECORD17},
    {CMC_SLOT_RECORD18_ENTRIES, CMC_SLOT_RECORD18},       {CMC_SLOT_RECORD18_TRAILER, CMC_SLOT_RECORD18},
    {CMC_SLOT_RECORD19_TABLE1, CMC_SLOT_RECORD19},        {CMC_SLOT_RECORD19_TABLE2, CMC_SLOT_RECORD19},
    {CMC_SLOT_RECORD20_TABLE_HEADER, CMC_SLOT_RECORD20},  {CMC_SLOT_RECORD20_TABLE, CMC_SLOT_RECORD20},
    {CMC_SLOT_RECORD25_LEADING, CMC_SLOT_RECORD25},
};

// What a slot holds, followed through its pointers (pointers shown as offsets into their buffer).
Image image(const cmc_data *cmc, int slot) {
    const void *p = cmc->slot[slot];
    if (p == nullptr) return {};
    if (slot == CMC_SLOT_RECORD13_VALUES) return {raw(&cmc->slot[slot], 8)};
    if (kInto.count(slot)) return {at(cmc->slot[kInto.at(slot)], p)};
    switch (slot) {
        case CMC_SLOT_RECORD2: return {raw(p, 36)};
        case CMC_SLOT_RECORD13_ARRAY: return {raw(p, 2 * 2)};  // n = 2 in the containers below
        case CMC_SLOT_RECORD26: return {raw(p, 64)};
        case CMC_SLOT_OTHERS: return {raw(p, sizeof(others_data))};
        case CMC_SLOT_CONTAINER: return {"container"};
        case CMC_SLOT_RECORD15_SAMPLES: {
            const auto *t = static_cast<const cmc_record15_sample_table *>(p);
            Image out{std::to_string(t->count)};
            for (int i = 0; i < t->count; ++i) {
                const cmc_record15_sample &s = t->samples[i];
                const size_t l = le16(s.head + 10);
                out.insert(out.end(), {raw(s.head, 12), buffer_or_null(s.series1, 2 * l), buffer_or_null(s.series2, 2 * l)});
            }
            return out;
        }
        case CMC_SLOT_RECORD15_FLAGS: {
            const auto *f = static_cast<const cmc_record15_flag_block *>(p);
            return {std::to_string(f->flag), buffer_or_null(f->table, 16)};  // n = 1
        }
        case CMC_SLOT_RECORD24: {
            const auto *s = static_cast<const cmc_record24 *>(p);
            Image out{raw(s, 16)};
            for (int i = 0; i < s->entry_count; ++i)
                out.insert(out.end(), {raw(s->entries[i].head, 16), buffer_or_null(s->entries[i].data, 4 * le16(s->entries[i].head + 2))});
            return out;
        }
        case CMC_SLOT_RECORD25_TABLE: {
            const auto *items = static_cast<const cmc_record25_item *>(p);
            Image out;
            for (int i = 0; i < 2; ++i)  // n = 2
                out.insert(out.end(), {at(cmc->slot[CMC_SLOT_RECORD25], items[i].head), raw(items[i].values, 40),
                                       at(cmc->slot[CMC_SLOT_RECORD25], items[i].blocks)});
            return out;
        }
        case CMC_SLOT_RECORD27: {
            const auto *s = static_cast<const cmc_record27 *>(p);
            const size_t plane = 2 * size_t(le16(s->record + 28)) * le16(s->record + 30);
            Image out{record_raw(s->record), at(s->record, s->trailing_table)};
            for (int i = 0; i < le16(s->record + 24); ++i)
                out.insert(out.end(), {buffer_or_null(s->entries[i].head, 20), buffer_or_null(s->entries[i].samples, 3 * plane)});
            return out;
        }
        case CMC_SLOT_RECORD31: {
            const uint32_t size = le32(p);
            return {raw(p, 16), at(p, pointer_at(p, 16)), raw(static_cast<const uint8_t *>(p) + 24, size - 24)};
        }
        case CMC_SLOT_RECORD34: {
            const uint32_t size = le32(p), entries = le32(static_cast<const uint8_t *>(p) + 8);
            Image out{raw(p, 16), at(p, pointer_at(p, 16))};
            for (uint32_t e = 0; e < entries; ++e) {
                const size_t base = 32 + 40 * size_t(e);
                out.push_back(raw(static_cast<const uint8_t *>(p) + base, 16));
                for (size_t k = 16; k < 40; k += 8) out.push_back(at(p, pointer_at(p, base + k)));
            }
            out.push_back(raw(static_cast<const uint8_t *>(p) + 32 + 40 * entries, size - 32 - 40 * entries));
            return out;
        }
        default: return {record_raw(p)};  // a record copy
    }
}

// Record 27's copies are allowed to be missing (their allocation failed); everything else is exact.
bool same(int slot, const Image &ref, const Image &got) {
    if (got.empty()) return true;
    if (got.size() != ref.size()) return false;
    for (size_t i = 0; i < ref.size(); ++i)
        if (got[i] != ref[i] && !(slot == CMC_SLOT_RECORD27 && i >= 2 && got[i] == "null")) return false;
    return true;
}

void sweep(std::vector<RecordBuilder> records, const std::function<bool(const cmc_data *, int)> &compare_slot) {
    ContainerBuilder b;
    for (const RecordBuilder &r : records) b.add(r);
    Blob blob(b.build());
    std::vector<Image> reference;
    cmc_data *cmc = parse_container(blob.get(), nullptr, nullptr);
    oz_kovb_others_parser_init(blob.get(), cmc);
    for (int s = 0; s < CMC_SLOT_COUNT; ++s) reference.push_back(image(cmc, s));
    for (int s : {CMC_SLOT_RECORD15_SAMPLES, CMC_SLOT_RECORD15_FLAGS, CMC_SLOT_RECORD24, CMC_SLOT_RECORD25_TABLE,
                  CMC_SLOT_RECORD26, CMC_SLOT_RECORD27, CMC_SLOT_RECORD31, CMC_SLOT_RECORD34, CMC_SLOT_OTHERS})
        EXPECT_FALSE(reference[s].empty()) << "the unarmed run must fill slot " << s;
    oz_cmc_parser_deinit(cmc);

    // memcpy_s reports each record-27 copy whose buffer could not be allocated; keep the output quiet.
    oz_log_set_sink([](void *, int32_t, const char *) {}, nullptr);
    SweepResult r = fault_sweep([&] {
        const uint64_t before = faultsim::allocations();
        cmc_data *got = parse_container(blob.get(), nullptr, nullptr);
        if (got == nullptr) {  // only the result itself may fail init
            EXPECT_TRUE(fault_injected());
            EXPECT_EQ(faultsim::allocations() - before, 1u);
            return;
        }
        oz_kovb_others_parser_init(blob.get(), got);
        for (int s = 0; s < CMC_SLOT_COUNT; ++s) {
            if (compare_slot(got, s)) {
                EXPECT_TRUE(same(s, reference[s], image(got, s))) << "slot " << s;
            }
        }
        oz_cmc_parser_deinit(got);
    }, "oz_cmc_parser_init + oz_kovb_others_parser_init");
    oz_log_set_sink(nullptr, nullptr);
    EXPECT_GT(r.points, 40u);
}

TEST(GeneralRecordsFault, EveryKindWithRecords31And34) {
    std::vector<RecordBuilder> records = common_general_records();
    records.push_back(general_record(31));
    records.push_back(general_record(34));
    sweep(records, [](const cmc_data *, int) { return true; });
}

TEST(GeneralRecordsFault, EveryKindWithRecord3AndTheSynthesizedRecord34) {
    std::vector<RecordBuilder> records = common_general_records();
    for (uint16_t id : {3, 19, 20}) records.push_back(general_record(id));
    // Record 34 is built from what records 19 and 20 left; it is compared only when both were kept.
    sweep(records, [](const cmc_data *cmc, int slot) {
        return slot != CMC_SLOT_RECORD34 || (cmc->slot[CMC_SLOT_RECORD19] && cmc->slot[CMC_SLOT_RECORD20]);
    });
}

}  // namespace
}  // namespace oz::test
