// Fuzz target: a tuning container through oz_cmc_parser_init, then the others record (twice, so the
// second call replaces the first), then deinit. Input byte 0 selects whether the container header is
// fixed up (size and checksum recomputed, so mutations reach the record decoders) or taken as it is
// (so validation itself is fuzzed).
#include <cstdlib>

#include "fuzz/fuzz_support.h"
#include "oz_cmc_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1 || size > (1u << 20)) return 0;
    const uint8_t mode = data[0];
    oz::fuzz::ExactBuffer container(data + 1, size - 1);
    if (mode & 1) oz::fuzz::fix_container(container);
    binary_data desc{container.bytes.get(), container.size};
    cmc_data *cmc = oz_cmc_parser_init(&desc);
    if (cmc != nullptr) {
        oz_kovb_others_parser_init(&desc, cmc);
        oz_kovb_others_parser_init(&desc, cmc);
        oz_cmc_parser_deinit(cmc);
    } else {
        // The others parser runs without validation: it must be safe on any container. The fuzz
        // build links the library with the C heap, so a calloc'd result is released by deinit.
        cmc_data *empty = static_cast<cmc_data *>(std::calloc(1, sizeof(cmc_data)));
        oz_kovb_others_parser_init(&desc, empty);
        oz_cmc_parser_deinit(empty);
    }
    return 0;
}
