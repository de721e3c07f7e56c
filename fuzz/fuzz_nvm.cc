// Fuzz target: a calibration blob through the stand-in NVM parser. Byte 0 bit 0 fixes the envelope
// (magic, version, sizes, CRC) so that mutations reach the sections.
#include "fuzz/fuzz_support.h"
#include "oz_nvm.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 || size > (1u << 20)) return 0;
    oz::fuzz::ExactBuffer blob(data + 1, size - 1);
    if (data[0] & 1) oz::fuzz::fix_calibration(blob);
    binary_data desc{blob.bytes.get(), blob.size};
    nvm_data *nvm = nullptr;
    if (oz_nvm_parse(&desc, &nvm) == 0) {
        // Touch everything the parse produced.
        uint32_t sum = 0;
        const size_t samples = size_t(nvm->lsc_grid_width) * nvm->lsc_grid_height;
        for (uint32_t t = 0; t < nvm->lsc_table_count; ++t)
            for (void *grid : nvm->lsc_tables[t].channel_grids)
                for (size_t i = 0; i < samples; ++i)
                    sum += nvm->lsc_tables[t].fraction_bits <= 8 ? static_cast<uint8_t *>(grid)[i]
                                                                  : static_cast<uint16_t *>(grid)[i];
        if (nvm->phase_difference && nvm->phase_difference->pd_values)
            for (size_t i = 0; i < size_t(nvm->phase_difference->pd_grid_width) * nvm->phase_difference->pd_grid_height; ++i)
                sum += uint32_t(nvm->phase_difference->pd_values[i]);
        asm volatile("" : : "r"(sum));  // keep the reads
        oz_nvm_deinit(nvm);
    } else if (nvm != nullptr) {
        __builtin_trap();  // a failed parse must leave the output untouched
    }
    return 0;
}
