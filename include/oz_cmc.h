/* liboz_cmc_parser: every public header. C99 and C++. */
#ifndef OZ_CMC_H
#define OZ_CMC_H

#include "oz_cmc_types.h"
#include "oz_cmc_parser.h"
#include "oz_cmc_records.h"
#include "oz_cmc_correction.h"
#include "oz_nvm_data.h"
#include "oz_lsc.h"
#include "oz_linalg.h"
#include "oz_resample.h"

#endif /* OZ_CMC_H */
