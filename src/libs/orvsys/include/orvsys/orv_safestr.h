/* orvsys: safe strings and bounded formatting.
 *
 * The string operations the rest of the library uses instead of the bare C
 * functions: a guaranteed terminator, defined results on the null pointers
 * named below, one failure value (-1) for formatting, and case-insensitive
 * comparison that folds only "A".."Z", whatever the locale.
 *
 * No operation keeps state between calls or takes a lock: all are safe to
 * call from any thread at once. None logs or sets errno on purpose.
 */
#ifndef ORVSYS_ORV_SAFESTR_H
#define ORVSYS_ORV_SAFESTR_H

#include <stdarg.h>

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Copies at most n-1 bytes of src into dest and always terminates: strncpy
 * with n (so a short source zero-fills the n bytes), then dest[n-1] = 0.
 * n == 0 still writes dest[0] = 0, so dest needs one byte even then.
 * dest or src null, or n negative: nothing happens. A cut copy is not
 * reported; compare orv_strlen_safe against the size to tell. */
ORV_API void orv_strncpy_safe(char *dest, const char *src, int32_t n);

/* Re-entrant tokeniser. *cursor points into the text to split, which is
 * modified in place. Skips delimiters, returns the next token (its ending
 * delimiter overwritten with 0) and moves *cursor past it; returns null when
 * no token is left, leaving *cursor on the terminator, and on every later
 * call. Runs of delimiters give no empty tokens. delims may change per call.
 * cursor, *cursor and delims must be valid. */
ORV_API char *orv_strtok_safe(char **cursor, const char *delims);

/* Bytes before the first zero byte, looking at no more than maxlen bytes
 * (maxlen if none is met). maxlen 0 gives 0 without reading s. */
ORV_API uint32_t orv_strlen_safe(const char *s, uint32_t maxlen);

/* New zero-filled copy of s, to be released with free(). Null for null s
 * or when the allocation fails. The one allocating text operation. */
ORV_API char *orv_strdup(const char *s);

/* Appends src to dest so that dest holds at most maxlen characters: dest
 * must have maxlen+1 bytes. Returns 0 and leaves dest alone when it already
 * holds maxlen characters or more; otherwise appends (cutting src if need
 * be, always terminating) and returns 1. dest and src must be valid. */
ORV_API int orv_strncat_safe(char *dest, const char *src, uint32_t maxlen);

/* Case-insensitive comparison folding "A".."Z" only (bytes taken unsigned):
 * 0 when equal, else the folded byte of a minus the folded byte of b at the
 * first difference (-255..255). a and b must be valid. */
ORV_API int32_t orv_strcasecmp(const char *a, const char *b);

/* As orv_strcasecmp over at most n bytes; n == 0 gives 0 without reading
 * either string. */
ORV_API int32_t orv_strncasecmp(const char *a, const char *b, uint32_t n);

/* vsnprintf with one failure value. Returns the length written (without
 * the terminator) when the whole text fits in size bytes. Otherwise -1:
 * a text of size characters or more is cut, dest holds its first size-1
 * characters and a terminator. -1 without storing anything when dest or
 * format is null, or size is 0. */
ORV_API int32_t orv_vsnprintf(char *dest, uint32_t size, const char *format, va_list args);

/* orv_vsnprintf with the format's arguments in place. */
ORV_API int32_t orv_snprintf(char *dest, uint32_t size, const char *format, ...)
    ORV_PRINTF_LIKE(3, 4);

/* orv_vsnprintf without a practical bound (size 4294967295): the caller
 * answers for the room in dest. -1 only for a null dest or format, or a
 * failure of the C library's formatter. */
ORV_API int32_t orv_vsprintf(char *dest, const char *format, va_list args);

/* orv_vsprintf with the format's arguments in place. */
ORV_API int32_t orv_sprintf(char *dest, const char *format, ...) ORV_PRINTF_LIKE(2, 3);

ORV_END_DECLS

#endif /* ORVSYS_ORV_SAFESTR_H */
