/* C99 has no _Static_assert: a negative array size fails the build instead. */
#ifndef OZ_ABI_STATIC_ASSERT_H
#define OZ_ABI_STATIC_ASSERT_H
#include <stddef.h>
#define OZ_CAT_(a, b) a##b
#define OZ_CAT(a, b) OZ_CAT_(a, b)
#define STATIC_ASSERT(cond, msg) typedef char OZ_CAT(static_assert_line_, __LINE__)[(cond) ? 1 : -1]
#endif
