/* Stand-in NVM library (liboz_nvm.so): parses a module calibration blob into an nvm_data.
 * C99 and C++. */
#ifndef OZ_NVM_H
#define OZ_NVM_H

#include <stdint.h>

#include "oz_cmc_types.h"
#include "oz_nvm_data.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Return codes of oz_nvm_parse. */
enum oz_nvm_status {
    OZ_NVM_OK = 0,
    OZ_NVM_BAD_ARGUMENT = 1,    /* null blob, data or output pointer */
    OZ_NVM_TRUNCATED = 2,       /* shorter than a header and CRC, or a section runs past the end */
    OZ_NVM_BAD_MAGIC = 3,       /* not "OZNV" */
    OZ_NVM_BAD_VERSION = 4,     /* format version other than 1 */
    OZ_NVM_BAD_HEADER_SIZE = 5, /* header size other than 16 */
    OZ_NVM_BAD_TOTAL_SIZE = 6,  /* total size different from the descriptor's size */
    OZ_NVM_BAD_FLAGS = 7,       /* a flag bit other than bit 0 */
    OZ_NVM_BAD_FRACTION = 8,    /* a table's fraction_bits above 16 */
    OZ_NVM_BAD_LAYOUT = 9,      /* the sections do not end exactly 4 bytes before the end */
    OZ_NVM_BAD_CRC = 10,        /* CRC-32 mismatch */
    OZ_NVM_NO_MEMORY = 11       /* an allocation failed */
};

/* Blob layout (little-endian, no padding): "OZNV", u16 version 1, u16 header size 16, u32 total size,
 * u8 table count T, u8 grid width W, u8 grid height H, u8 flags (bit 0: phase-difference section);
 * then T tables (u8 fraction_bits 0..16, then 4 channel grids of W x H samples, u8 when
 * fraction_bits <= 8, else u16); then, with flag bit 0, the phase-difference section (u8 NW, u8 NH,
 * u8 fraction bits, NW x NH i32); then the CRC-32 (zlib/PNG) of every byte before it.
 *
 * On success stores a new nvm_data in *out and returns 0. On failure leaves *out untouched, frees
 * everything it allocated and returns one of the codes above. */
int32_t oz_nvm_parse(const binary_data *blob, nvm_data **out);

/* Frees everything oz_nvm_parse produced. Null does nothing. */
void oz_nvm_deinit(nvm_data *nvm);

#ifdef __cplusplus
}
#endif

#endif /* OZ_NVM_H */
