/* Pins the C signatures of the linear-algebra kernels and the shading computations: argument order and
 * widths. Each declaration is assigned to a pointer of the expected function type, which a C99 compiler
 * (-pedantic -Werror) refuses when any parameter differs. */
#include "oz_cmc.h"

#include "static_assert.h"

#define OZ_PIN_SIGNATURE(name, type) type const oz_pin_##name = name

typedef uint32_t (*transpose_fn)(const float *, int32_t, int32_t, int32_t, int32_t, float *, int32_t, int32_t);
typedef uint32_t (*transpose_double_fn)(const double *, int32_t, int32_t, int32_t, int32_t, double *, int32_t,
                                        int32_t);
typedef uint32_t (*mul_mm_fn)(const float *, int32_t, int32_t, int32_t, int32_t, const float *, int32_t, int32_t,
                              int32_t, int32_t, float *, int32_t, int32_t);
typedef uint32_t (*mul_mm_double_fn)(const double *, int32_t, int32_t, int32_t, int32_t, const double *, int32_t,
                                     int32_t, int32_t, int32_t, double *, int32_t, int32_t);
typedef uint32_t (*mul_mm_lsc_fn)(const float *, int32_t, int32_t, int32_t, int32_t, const float *, int32_t, int32_t,
                                  int32_t, int32_t, float *, int32_t, int32_t, uint16_t, uint16_t, uint16_t,
                                  uint16_t);
typedef uint32_t (*mul_mv_fn)(const float *, int32_t, int32_t, int32_t, int32_t, const float *, int32_t, int32_t,
                              float *, int32_t);
typedef uint32_t (*mul_mv_lsc_fn)(const float *, int32_t, int32_t, int32_t, int32_t, const float *, int32_t,
                                  int32_t, float *, int32_t, uint16_t, uint16_t, uint16_t, uint16_t);
typedef uint32_t (*mul_mv_lsc_valid_area_fn)(const double *, int32_t, int32_t, int32_t, int32_t, const float *,
                                             int32_t, int32_t, double *, int32_t, const uint32_t *, float *);
typedef uint32_t (*lu_m_fn)(const float *, int32_t, int32_t, uint32_t *, float *, int32_t, int32_t, int32_t);
typedef uint32_t (*lu_m_double_fn)(const double *, int32_t, int32_t, uint32_t *, double *, int32_t, int32_t,
                                   int32_t);
typedef uint32_t (*lu_fn)(float *, float *, float *, uint32_t *, uint16_t, uint16_t, uint16_t);
typedef uint32_t (*lu_lsc_fn)(float *, float *, float *, uint32_t *, uint16_t, uint16_t, uint16_t, uint16_t,
                              uint16_t);
typedef uint32_t (*lu_valid_area_fn)(double *, double *, double *, uint32_t *, uint16_t, uint16_t, uint16_t, uint32_t,
                                     const uint32_t *);
typedef uint32_t (*upscale_fn)(const float *, const float *, const uint32_t *, const float *const *, float *const *,
                               uint16_t, uint16_t, uint16_t, uint16_t, uint16_t, uint16_t, uint16_t, uint8_t);
typedef uint32_t (*upscale_valid_area_fn)(const double *, const double *, const uint32_t *, const float *const *,
                                          float *const *, uint16_t, uint16_t, uint16_t, uint16_t, uint16_t, uint32_t,
                                          float *, const uint32_t *);
typedef upscaled_lsc_tables *(*polynom4th_fn)(uint16_t, uint16_t, const nvm_data *, uint32_t, uint8_t);
typedef upscaled_lsc_tables *(*polynom4th_valid_area_fn)(uint16_t, uint16_t, const nvm_data *, uint32_t,
                                                         const cmc_data *);
typedef uint32_t (*ratio_correction_fn)(cmc_lens_shading4x4 *, const cmc_lens_shading_ratio *, upscaled_lsc_tables *,
                                        uint32_t, uint32_t);

OZ_PIN_SIGNATURE(transpose_m, transpose_fn);
OZ_PIN_SIGNATURE(transpose_m_double, transpose_double_fn);
OZ_PIN_SIGNATURE(mul_mm, mul_mm_fn);
OZ_PIN_SIGNATURE(mul_mm_double, mul_mm_double_fn);
OZ_PIN_SIGNATURE(mul_mm_lsc, mul_mm_lsc_fn);
OZ_PIN_SIGNATURE(mul_mv, mul_mv_fn);
OZ_PIN_SIGNATURE(mul_mv_lsc, mul_mv_lsc_fn);
OZ_PIN_SIGNATURE(mul_mv_lsc_valid_area, mul_mv_lsc_valid_area_fn);
OZ_PIN_SIGNATURE(lu_decomposition_m, lu_m_fn);
OZ_PIN_SIGNATURE(lu_decomposition_m_double, lu_m_double_fn);
OZ_PIN_SIGNATURE(lu_decomposition, lu_fn);
OZ_PIN_SIGNATURE(lu_decomposition_lsc, lu_lsc_fn);
OZ_PIN_SIGNATURE(lu_decomposition_lsc_valid_area, lu_valid_area_fn);
OZ_PIN_SIGNATURE(lsc_polynomial_upscale_float, upscale_fn);
OZ_PIN_SIGNATURE(lsc_polynomial_upscale_float_valid_area, upscale_valid_area_fn);
OZ_PIN_SIGNATURE(compute_upscaled_lsc_tables_polynom4th, polynom4th_fn);
OZ_PIN_SIGNATURE(compute_upscaled_lsc_tables_polynom4th_valid_area, polynom4th_valid_area_fn);
OZ_PIN_SIGNATURE(ratio_based_sample_to_sample_correction, ratio_correction_fn);

STATIC_ASSERT(sizeof(uint32_t) == 4, "statuses are 32-bit");
