/* orvsys: in-place scanners of lines, tokens and blanks.
 *
 * They work in the caller's writable, zero-terminated text. A cursor is the
 * caller's char *, passed by address: it points at what is still to scan,
 * and null means the text is used up; there is no hidden state. Blanks are
 * the space, the tab and the GB2312 double-byte space 0xA1 0xA1 (looked for
 * byte by byte). The cursor's address, the delimiters and the strings of the
 * trims must not be null.
 */
#ifndef ORVSYS_ORV_SCAN_H
#define ORVSYS_ORV_SCAN_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* The next line, cut in place: a line feed ends it (carriage returns right
 * before it dropped), a backslash right before the line end (carriage
 * returns may stand between) joins the next line on, the backslash and line
 * end removed. A last line without a line feed comes whole and nulls the
 * cursor, as does the empty line after a final line feed; then null. */
ORV_API char *orv_getline(char **cursor);
/* Removes every blank, inside the text too; the string. */
ORV_API char *orv_trim(char *s);
/* Removes the blanks at both ends only; the string. */
ORV_API char *orv_trim2(char *s);
/* Copies source to destination without the (non-overlapping, left to right)
 * occurrences of pattern, piece by piece while a piece and its terminator
 * fit size; returns the stored length modulo 256, or 255 for a null or
 * empty source or pattern, a null destination or a size of 0. */
ORV_API uint8_t orv_strip(const char *source, const char *pattern, char *destination,
                          uint32_t size);
/* The next token up to any of the delimiter bytes (adjacent delimiters give
 * an empty token). A token starting with a double quote runs to the next
 * one and must be followed by a delimiter (else null); without a closing
 * quote it is the rest of the text. */
ORV_API char *orv_next_string(char **cursor, const char *delimiters);
/* The next token up to a separator of length bytes, which is zeroed; null
 * for a null cursor or separator or a length below 1 (cursor left). */
ORV_API char *orv_next_string_2(char **cursor, const char *separator, int length);

ORV_END_DECLS

#endif /* ORVSYS_ORV_SCAN_H */
