/* Stand-in platform logging library (liboz_log.so). C99 and C++. */
#ifndef OZ_LOG_H
#define OZ_LOG_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* printf-style message at `level`. By default the formatted text goes to standard error exactly as
 * formatted: no prefix, no added newline. */
void oz_log(int32_t level, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* Extension of this stand-in: redirects formatted messages to `sink` (null restores standard error).
 * Meant for tests; the sink is process-wide and set before logging threads start. */
typedef void (*oz_log_sink)(void *user, int32_t level, const char *text);
void oz_log_set_sink(oz_log_sink sink, void *user);

#ifdef __cplusplus
}
#endif

#endif /* OZ_LOG_H */
