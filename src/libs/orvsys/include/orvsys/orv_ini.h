/* orvsys: INI settings files, read and rewritten in place.
 *
 * Syntax. Lines are read in pieces of at most 511 bytes. Bytes 1..32 are
 * blanks. "[name]" opens a section (blanks inside the brackets belong to the
 * name); a section runs to the next line starting with "[". Lines before the
 * first "[" form a section without a name, reached with a null or empty
 * section. ";" and "#" start comment lines, and cut a value where they stand
 * outside quotes. A key line is "key = value" (or "key: value" when the line
 * has no "="). One pair of outer double quotes is removed from a value, and
 * \" or "" inside quotes is one double quote. Names compare without regard to
 * case ("A".."Z" only); the first matching section and the first matching key
 * in it win.
 *
 * Reads open the file, scan it from the top and close it; they may run on any
 * thread. Writes rewrite the whole file through a temporary file beside it
 * (the name with its last character replaced by "~"), copying every untouched
 * byte, in constant memory; calls for one file must be serialised by the
 * caller. A reader racing a rewrite sees the old content, the new content, or
 * (while the file is being replaced) its default.
 */
#ifndef ORVSYS_ORV_INI_H
#define ORVSYS_ORV_INI_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Copies the value of key in section into buffer (at most size-1 bytes and a
 * terminator) and returns its length. A key present with an empty value
 * gives the empty text. With no file (or a null filename) or no match,
 * default is copied instead; a null default acts as "". Returns 0 and leaves
 * buffer alone when buffer or key is null or size is below 1. */
ORV_API int32_t orv_ini_get_string(const char *section, const char *key, const char *def,
                                   char *buffer, int32_t size, const char *filename);

/* The value as a signed 32-bit number: hexadecimal when its second character
 * is "x" or "X" ("0x1F"), else decimal; leading digits only ("1x" is 1), a
 * text without a number is 0, and beyond the 32-bit range the limit. The
 * default only for an absent key or an empty value. */
ORV_API int32_t orv_ini_get_long(const char *section, const char *key, int32_t def,
                                 const char *filename);

/* By the value's first character: "Y", "1", "T" give 1, "N", "0", "F" give
 * 0 (either case); anything else, an empty value or an absent key gives
 * def unchanged. */
ORV_API uint8_t orv_ini_get_bool(const char *section, const char *key, uint8_t def,
                                 const char *filename);

/* The value read by strtod and narrowed to float; def for an absent key or
 * an empty value. */
ORV_API float orv_ini_get_float(const char *section, const char *key, float def,
                                const char *filename);

/* Sets key in section to value (key and value given), deletes the key (null
 * value) or deletes the whole section up to the next header (null key).
 * A set writes "key=value" with a lone line feed, quoting the value when it
 * holds a double quote, ";" or "#" or ends in a space; a replaced key takes
 * the old line's place, a new key goes directly before the next section's
 * header, a new section at the end of the file. Setting the value a key
 * already has leaves the file untouched.
 *
 * Returns 1 when done (also when there was nothing to delete) and 0 on
 * failure. A failure never damages the file: every write to the temporary
 * file is checked before the old file is removed, and on any failure the
 * temporary file is removed and the old file stays as it was. Refused with
 * 0 before anything is written: a null or empty filename, one ending in "~"
 * or of 512 bytes or more. The call also fails, leaving the old file, when
 * the file changes length under the rewrite or holds a zero byte inside a
 * line, which the line copy could not carry over. */
ORV_API int32_t orv_ini_put_string(const char *section, const char *key, const char *value,
                                   const char *filename);

/* orv_ini_put_string with the decimal text of value. */
ORV_API int32_t orv_ini_put_long(const char *section, const char *key, int32_t value,
                                 const char *filename);

/* orv_ini_put_string with value formatted by "%f" (2 writes "2.000000"). */
ORV_API int32_t orv_ini_put_float(const char *section, const char *key, float value,
                                  const char *filename);

ORV_END_DECLS

#endif /* ORVSYS_ORV_INI_H */
