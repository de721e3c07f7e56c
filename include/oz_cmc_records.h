/* liboz_cmc_parser: general characterization records (ids 2, 3, 5 to 9, 13 to 21, 23 to 27, 31, 34): the structures built from them and the in-memory forms of records 31 and 34.
 * C99 and C++. */
#ifndef OZ_CMC_RECORDS_H
#define OZ_CMC_RECORDS_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* OZ_CMC_RECORDS_H */
