/* Layouts of the scaling kernels' argument structures (crop rectangle, margin pair). */
#include <stddef.h>

#include "oz_resample.h"

#include "static_assert.h"

STATIC_ASSERT(sizeof(crop_rect) == 8, "crop_rect is four u16");
STATIC_ASSERT(offsetof(crop_rect, x) == 0, "crop_rect.x at 0");
STATIC_ASSERT(offsetof(crop_rect, y) == 2, "crop_rect.y at 2");
STATIC_ASSERT(offsetof(crop_rect, width) == 4, "crop_rect.width at 4");
STATIC_ASSERT(offsetof(crop_rect, height) == 6, "crop_rect.height at 6");
STATIC_ASSERT(sizeof(margin_pair) == 8, "margin_pair is two u32, passed by value");
STATIC_ASSERT(offsetof(margin_pair, x) == 0, "margin_pair.x (horizontal) first");
STATIC_ASSERT(offsetof(margin_pair, y) == 4, "margin_pair.y at 4");
