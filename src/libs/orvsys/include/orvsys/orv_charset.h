/* orvsys: conversion between GB2312 and UTF-8 through iconv.
 *
 * "ansi" is GB2312, "utf8" and "unicode" (as a result) are UTF-8. Each call
 * opens its own iconv descriptor and converts with one iconv call into a
 * 1024-byte scratch area: the text converted before a bad or incomplete
 * sequence, or before the area filled, is the result as if all went well
 * (only the count shows it). Results are the bytes written, without the
 * terminator, or 0 with the destination untouched: for a null pointer, a
 * size below 1, a source of size bytes or more (its own length, not the
 * converted one), an unknown charset, an empty source or a bad first
 * sequence, and when the converted text and its terminator do not fit size.
 * No state: any thread.
 */
#ifndef ORVSYS_ORV_CHARSET_H
#define ORVSYS_ORV_CHARSET_H

#include <stddef.h>
#include <wchar.h>

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* length bytes of source from one charset to another (names as iconv_open
 * takes them) into destination, never past size. */
ORV_API int use_iconv(const char *from, const char *to, char *destination, int size,
                      const char *source, uint32_t length);

ORV_API int orv_ansi_to_unicode(char *destination, int size, const char *source);
ORV_API int orv_ansi_to_utf8(char *destination, int size, const char *source);
ORV_API int orv_utf8_to_ansi(char *destination, int size, const char *source);
ORV_API int orv_utf8_to_unicode(char *destination, int size, const char *source);
/* From a wide string in the platform's wchar_t encoding ("WCHAR_T"), with
 * the same guards, counted in wide characters against size, and the same
 * result as the four above. */
ORV_API int orv_unicode_to_ansi(char *destination, int size, const wchar_t *source);
ORV_API int orv_unicode_to_utf8(char *destination, int size, const wchar_t *source);

ORV_END_DECLS

#endif /* ORVSYS_ORV_CHARSET_H */
