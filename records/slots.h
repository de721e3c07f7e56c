// Ownership of the slots of cmc_data: how each owning slot is released, the release order of
// oz_cmc_parser_deinit, and the replacement helpers that decoders use ("last one wins").
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "oz_cmc_parser.h"

namespace oz {

// Releases what an owning slot holds, the way oz_cmc_parser_deinit does, and sets the slot (and any
// slot it owns together with, such as slot 49 with slot 47) to null. Non-owning slots are only nulled.
void release_slot(cmc_data *cmc, int slot);

// Clears every slot of a record kind before a later record of that kind is decoded: owning slots are
// released (in the order given), non-owning and value slots are set to null / 0.
void clear_slots(cmc_data *cmc, std::initializer_list<int> slots);

// Releases every owning slot in the release order of oz_cmc_parser_deinit (not the cmc_data itself).
void release_all_slots(cmc_data *cmc);

// Typed slot access.
template <class T>
inline T *slot_ptr(const cmc_data *cmc, int slot) {
    return static_cast<T *>(cmc->slot[slot]);
}
inline void set_slot(cmc_data *cmc, int slot, void *p) { cmc->slot[slot] = p; }

// Value slots (2 and 19) hold 16-bit numbers in the slot's own bytes, the rest zero.
inline void set_slot_u16s(cmc_data *cmc, int slot, const uint16_t *values, int count) {
    cmc->slot[slot] = nullptr;
    std::memcpy(&cmc->slot[slot], values, sizeof(uint16_t) * size_t(count));
}
inline uint16_t slot_u16(const cmc_data *cmc, int slot, int index) {
    uint16_t v;
    std::memcpy(&v, reinterpret_cast<const uint8_t *>(&cmc->slot[slot]) + 2 * index, sizeof v);
    return v;
}

}  // namespace oz
