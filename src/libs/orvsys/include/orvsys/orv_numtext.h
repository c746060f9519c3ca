/* orvsys: number and hexadecimal text.
 *
 * Reading is strict: a text is a number only if it holds one base-10
 * number and nothing else but blanks (isspace in the process locale), and
 * a range error is a failure. Leading blanks and a sign are accepted as
 * strtol accepts them. Widths are those of the 32-bit target on every
 * platform: orv_ascii_to_long reads -2147483648..2147483647 and
 * orv_ascii_to_ulong 0..4294967295, even where the C library's long is
 * wider.
 *
 * Writing never fails and takes no size: dest must have room for the
 * longest text of the type (see each writer). No shared state; errno is
 * left as the C library's conversion left it.
 */
#ifndef ORVSYS_ORV_NUMTEXT_H
#define ORVSYS_ORV_NUMTEXT_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* 1 when every byte of s is blank (also for ""), 0 at the first that is
 * not, 0 for null s. */
ORV_API int orv_all_isspace(const char *s);

/* Readers. Result 1 on success, 0 on failure; text and out must be valid.
 * What out holds after a failure differs by member, as noted. */

/* -2147483648..2147483647. On failure out keeps what strtol gave (the
 * 32-bit limit on a range error, the number before junk: "12abc" leaves 12). */
ORV_API int orv_ascii_to_long(const char *text, int32_t *out);
/* 0..4294967295, no "-" anywhere in the text ("-0" fails). On failure out is
 * 0 when the text holds a "-", else what strtoul gave. */
ORV_API int orv_ascii_to_ulong(const char *text, uint32_t *out);
/* -2147483648..2147483647; out is 0 after a failure. */
ORV_API int orv_ascii_to_int(const char *text, int32_t *out);
ORV_API int orv_ascii_to_int32(const char *text, int32_t *out);
/* 0..4294967295 as orv_ascii_to_ulong; out is 0 after a failure. */
ORV_API int orv_ascii_to_uint(const char *text, uint32_t *out);
ORV_API int orv_ascii_to_uint32(const char *text, uint32_t *out);
/* -32768..32767; out is 0 after a failure. */
ORV_API int orv_ascii_to_int16(const char *text, int16_t *out);
/* 0..65535; out is 0 after a failure. */
ORV_API int orv_ascii_to_uint16(const char *text, uint16_t *out);
/* 0..255 (not -128..127): out holds the low 8 bits, so "200" gives -56 and
 * "-1" fails. out is 0 after a failure. */
ORV_API int orv_ascii_to_int8(const char *text, int8_t *out);
/* 0..255; out is 0 after a failure. */
ORV_API int orv_ascii_to_uint8(const char *text, uint8_t *out);
/* strtod, magnitude at most 3.4028234663852886e38 (so "inf" fails and
 * "nan" succeeds); out is 0.0 after a failure. */
ORV_API int orv_ascii_to_float(const char *text, float *out);
/* strtod without a magnitude limit ("inf" and "nan" succeed); overflow and
 * underflow fail. On failure out keeps what strtod gave. */
ORV_API int orv_ascii_to_double(const char *text, double *out);

/* Writers: plain decimal, no leading zeros, no "+", no grouping. Each
 * returns dest. Room needed in dest, terminator included: */
ORV_API char *orv_int8_to_ascii(int8_t value, char *dest);     /* 5  */
ORV_API char *orv_uint8_to_ascii(uint8_t value, char *dest);   /* 4  */
ORV_API char *orv_int16_to_ascii(int16_t value, char *dest);   /* 7  */
ORV_API char *orv_uint16_to_ascii(uint16_t value, char *dest); /* 6  */
ORV_API char *orv_int32_to_ascii(int32_t value, char *dest);   /* 12 */
ORV_API char *orv_int_to_ascii(int32_t value, char *dest);     /* 12 */
ORV_API char *orv_long_to_ascii(int32_t value, char *dest);    /* 12 */
ORV_API char *orv_uint32_to_ascii(uint32_t value, char *dest); /* 11 */
ORV_API char *orv_uint_to_ascii(uint32_t value, char *dest);   /* 11 */
ORV_API char *orv_ulong_to_ascii(uint32_t value, char *dest);  /* 11 */

/* Writes len bytes of data as upper-case hex, high digit first, digits run
 * together when compact is 1 and one blank between bytes otherwise. At most
 * maxchars characters are stored before the terminator, so dest needs
 * maxchars+1 bytes (1 at the least); the text may end inside a byte or on a
 * separating blank. All pointers must be valid. */
ORV_API void orv_hex_to_ascii_str(char *dest, int32_t maxchars, const uint8_t *data, uint32_t len,
                                  uint8_t compact);

/* Reads hex text (either case, blanks anywhere, even inside a byte) into at
 * most capacity bytes of dest. *count is the number of whole bytes stored.
 * 0 on a byte that is neither hex digit nor blank, on a byte beyond
 * capacity, or on an odd number of digits; *count and dest then hold the
 * bytes finished so far (and perhaps half of the next). All pointers must be
 * valid. */
ORV_API int orv_ascii_to_hex_str(uint8_t *dest, uint32_t *count, uint32_t capacity,
                                 const char *text);

ORV_END_DECLS

#endif /* ORVSYS_ORV_NUMTEXT_H */
