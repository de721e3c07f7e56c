// Fuzz target: a container plus a module calibration blob through oz_cmc_parser_init_v1. Input:
// byte 0 mode (bit 0: fix the container header, bit 1: fix the calibration envelope), bytes 1-2 the
// calibration length (little-endian, taken modulo what is left), then the calibration, then the
// container.
#include "fuzz/fuzz_support.h"
#include "oz_cmc_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3 || size > (1u << 20)) return 0;
    const uint8_t mode = data[0];
    const size_t rest = size - 3;
    const size_t cal_len = rest ? (size_t(data[1]) | size_t(data[2]) << 8) % (rest + 1) : 0;
    oz::fuzz::ExactBuffer calibration(data + 3, cal_len);
    oz::fuzz::ExactBuffer container(data + 3 + cal_len, rest - cal_len);
    if (mode & 1) oz::fuzz::fix_container(container);
    if (mode & 2) oz::fuzz::fix_calibration(calibration);
    binary_data c{container.bytes.get(), container.size};
    binary_data n{calibration.bytes.get(), calibration.size};
    cmc_data *cmc = oz_cmc_parser_init_v1(&c, &n);
    oz_cmc_parser_deinit(cmc);
    return 0;
}
