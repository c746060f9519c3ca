/* orvsys: the MD5 digest of RFC 1321 and its text forms.
 *
 * MD5Init, any number of MD5Update, then MD5Final (digest first, context
 * second) give the digests of RFC 1321 for any input. The four one-call text
 * forms write upper-case hexadecimal: 32 digits of the digest, or 16 digits of
 * its folding (byte 2k XOR byte 2k+1 for k = 0..7, not a part of the 32-digit
 * text). No state outside the caller's context; nothing allocates.
 */
#ifndef ORVSYS_ORV_MD5_H
#define ORVSYS_ORV_MD5_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* The caller's context. Words are read from and written to bytes little-endian
 * by shifts, so results do not depend on the machine's byte order. */
typedef struct orv_md5_ctx_t {
    uint32_t state[4];  /* A, B, C, D */
    uint32_t count[2];  /* message bits modulo 2^64, low word first */
    uint8_t buffer[64]; /* input that has not yet filled a block */
} orv_md5_ctx_t;

/* Starts a digest. ctx must be valid. */
ORV_API void MD5Init(orv_md5_ctx_t *ctx);
/* Adds length bytes of input (any alignment; not read when length is 0). */
ORV_API void MD5Update(orv_md5_ctx_t *ctx, const uint8_t *input, uint32_t length);
/* Pads, writes the 16 digest bytes and zeroes the whole context, which then
 * needs MD5Init before it is used again. */
ORV_API void MD5Final(uint8_t digest[16], orv_md5_ctx_t *ctx);

/* The digest of a string up to its terminator (32 digits into text, which
 * holds 33 bytes) or of length bytes; 32, or 0 without touching text for a
 * null pointer, an empty string or a length below 1. */
ORV_API int MD5FromStr(const char *str, char *text);
ORV_API int MD5FromBuf(const uint8_t *data, int length, char *text);
/* As above, the 16-digit folding into text of 17 bytes; 16, or 0. */
ORV_API int MD5FromStr16(const char *str, char *text);
ORV_API int MD5FromBuf16(const uint8_t *data, int length, char *text);

ORV_END_DECLS

#endif /* ORVSYS_ORV_MD5_H */
