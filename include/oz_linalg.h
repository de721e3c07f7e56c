/* liboz_cmc_parser: small dense linear algebra on strided matrix views and the least-squares polynomial surface fit.
 * C99 and C++. */
#ifndef OZ_LINALG_H
#define OZ_LINALG_H

#include "oz_cmc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif /* OZ_LINALG_H */
