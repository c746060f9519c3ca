/* orvsys: reverse comparison, search and case mapping.
 *
 * Zero-terminated byte strings, bytes taken as unsigned. The case-blind
 * comparison and searches fold through orv_casefold_table ("A" to "Z" only,
 * whatever the locale); the case mappers call tolower/toupper and so follow
 * the process locale. No state: any thread, each on its own strings.
 */
#ifndef ORVSYS_ORV_SEARCH_H
#define ORVSYS_ORV_SEARCH_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Map every byte in place (the _n forms at most count bytes; 0 maps nothing,
 * a negative count the whole string); the string, or null for null. */
ORV_API char *orv_strtolower(char *s);
ORV_API char *orv_strtolower_n(char *s, int count);
ORV_API char *orv_strtoupper(char *s);
ORV_API char *orv_strtoupper_n(char *s, int count);
/* Copy at most size-1 mapped bytes and a terminator into destination (size 1
 * gives ""); destination, or null with destination untouched for a null or
 * empty source or a null destination. */
ORV_API char *orv_strtolower_copy(const char *source, char *destination, uint32_t size);
ORV_API char *orv_strtoupper_copy(const char *source, char *destination, uint32_t size);

/* Compare at most count bytes from the ends towards the starts (a negative
 * count is unlimited, 0 gives 0 reading nothing): the first difference,
 * a - b; when one string runs out first, minus (or plus) the next byte of
 * the longer, unless count ends there too (then 0). So with count 3,
 * "xyzabc" and "pqrabc" are equal. The casecmp form folds both sides. */
ORV_API int32_t orv_strrncmp(const char *a, const char *b, int count);
ORV_API int32_t orv_strrncasecmp(const char *a, const char *b, int count);

/* The last / first / last match of pattern in text, case-blind but for
 * orv_strrstr; null for a null or empty text or pattern. Each makes one pass
 * and never goes back, so a match that begins inside a broken partial match
 * is missed ("aab" is not found in "aaab", backward "baa" not in "baaa"). */
ORV_API char *orv_strrstr(const char *text, const char *pattern);
ORV_API char *orv_strcasestr(const char *text, const char *pattern);
ORV_API char *orv_strrcasestr(const char *text, const char *pattern);

ORV_END_DECLS

#endif /* ORVSYS_ORV_SEARCH_H */
