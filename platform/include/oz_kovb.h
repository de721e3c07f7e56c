/* Stand-in container library (liboz_kovb.so): the generic in-place record decoder. C99 and C++. */
#ifndef OZ_KOVB_H
#define OZ_KOVB_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Decodes one record copy in place. The record starts with its record_header, whose `size` field is
 * the number of valid bytes (at least 8). Returns 0 on success and 1 for a malformed record, which is
 * then left unchanged. Never reads or writes outside `size` bytes.
 *   id 9:  accepted when size >= 8; nothing changes.
 *   id 32: accepted when size >= 32; nothing changes (valid-area centre x at 24, y at 26, radius at 28).
 *   id 31: u32 count n at 8, u64 first-entry offset at 16 (must be 24), n entries of 72 bytes from 24;
 *          accepted when size >= 24 + 72 n; the offset becomes a pointer to byte 24.
 *   id 34: u32 count E at 8, u64 first-entry offset at 16 (must be 32), E entries of 40 bytes from 32,
 *          each with three u64 offsets at entry bytes 16, 24, 32 (0 = none) of a table of (u32 at entry
 *          byte 8) items of 32 bytes, a table of (u32 at entry byte 12) items of 8 bytes, and an 8-byte
 *          block; accepted when size >= 32 + 40 E and every non-zero offset o with its length L has
 *          o >= 32 + 40 E and o + L <= size; every offset becomes a pointer into the record.
 *   any other id: 1. */
uint32_t oz_kovb_parse_record(void *record);

#ifdef __cplusplus
}
#endif

#endif /* OZ_KOVB_H */
