// Exported C entry points of the parser: thin adapters over the internal functions.
#include "oz_cmc_parser.h"
#include "parser/parser.h"

extern "C" {

OZ_API cmc_data *oz_cmc_parser_init_v1(const binary_data *container, const binary_data *calibration) {
    return oz::parse_container(container, calibration, nullptr);
}

OZ_API cmc_data *oz_cmc_parser_init(const binary_data *container) {
    return oz::parse_container(container, nullptr, nullptr);
}

OZ_API void oz_cmc_parser_deinit(cmc_data *cmc) { oz::release_result(cmc); }

OZ_API void oz_kovb_others_parser_init(const binary_data *container, cmc_data *cmc) {
    oz::parse_others_record(container, cmc, nullptr);
}

}  // extern "C"
