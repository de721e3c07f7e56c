/* Basic types shared by every public header of liboz_cmc_parser: the export macro, blob descriptors
 * and the record header of the tuning container. C99 and C++. */
#ifndef OZ_CMC_TYPES_H
#define OZ_CMC_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define OZ_API __attribute__((visibility("default")))
#else
#define OZ_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Descriptor of a blob handed to the library (a tuning container or a module calibration blob).
 * The caller owns the descriptor and the bytes behind it. 16 bytes on x86-64 (tail padding). */
typedef struct binary_data {
    const uint8_t *data; /* first byte of the blob */
    uint32_t size;       /* number of bytes */
} binary_data;

/* The 8-byte header that opens every record of a tuning container. Little-endian on file. */
typedef struct record_header {
    uint32_t size;    /* size of the whole record in bytes, this header included */
    uint8_t version;  /* format version of the record kind (100, 101, ...) */
    uint8_t reserved; /* not read; 0 in records the library builds */
    uint16_t id;      /* record kind; 0..63 are characterization records */
} record_header;

#ifdef __cplusplus
}
#endif

#endif /* OZ_CMC_TYPES_H */
