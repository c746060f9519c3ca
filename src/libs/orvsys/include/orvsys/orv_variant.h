/* orvsys: the tagged variant value.
 *
 * orv_variant_t is a plain record the caller owns and fills. `type` is the
 * caller's statement of what the record is: no operation ever changes it.
 * orv_variant_to_<type> reads the record into a plain value whatever the
 * tag; orv_variant_from_<type> stores a plain value converted to the tag.
 *
 * Holding rules:
 * - INT8/INT16/INT32 and UINT8/UINT16/UINT32 all hold a whole 32-bit word in
 *   as_int32; nothing narrows on store (an INT8 record can hold 300).
 * - DATE, TIME, DATETIME and TIMESTAMP all hold an orv_timestamp_t.
 * - STRING and TEXT behave alike everywhere except orv_variant_is_equal.
 * - STRING, TEXT and BINARY point at the caller's buffer: `data`, `cap` its
 *   size in bytes (1..65535), `len` the bytes used. The library never
 *   allocates, resizes or frees it; copying a record shares the buffer.
 * - BINARY is read only by orv_variant_to_binary and stored only by
 *   orv_variant_from_binary (directly or through orv_variant_from_other).
 * - A tag outside 0..17 makes every conversion fail without effect, but
 *   counts as basic for the predicates.
 *
 * Setting up a text or binary record: set `type`, point `data` at a buffer,
 * set `cap` to its size and `len` to 0; orv_variant_is_valid then gives 1.
 *
 * No state and no locks: records on different threads need nothing; a
 * record or buffer shared between threads is the caller's to guard.
 */
#ifndef ORVSYS_ORV_VARIANT_H
#define ORVSYS_ORV_VARIANT_H

#include "orvsys/orv_base.h"
#include "orvsys/orv_calendar.h"

ORV_BEGIN_DECLS

enum {
    ORV_VT_BOOL = 0,
    ORV_VT_INT8 = 1,
    ORV_VT_INT16 = 2,
    ORV_VT_INT32 = 3,
    ORV_VT_INT64 = 4,
    ORV_VT_UINT8 = 5,
    ORV_VT_UINT16 = 6,
    ORV_VT_UINT32 = 7,
    ORV_VT_UINT64 = 8,
    ORV_VT_FLOAT = 9,
    ORV_VT_DOUBLE = 10,
    ORV_VT_DATE = 11,
    ORV_VT_TIME = 12,
    ORV_VT_DATETIME = 13,
    ORV_VT_STRING = 14,
    ORV_VT_TEXT = 15,
    ORV_VT_BINARY = 16,
    ORV_VT_TIMESTAMP = 17
};

typedef struct orv_variant_t {
    int8_t type;
    union {
        uint8_t as_bool;              /* BOOL: 0 false, anything else true */
        int32_t as_int32;             /* INT8..INT32, UINT8..UINT32 */
        int64_t as_int64;             /* INT64, UINT64 */
        float as_float;               /* FLOAT */
        double as_double;             /* DOUBLE */
        orv_timestamp_t as_timestamp; /* DATE, TIME, DATETIME, TIMESTAMP */
        ORV_EXTENSION struct {        /* STRING, TEXT, BINARY */
            void *data;
            uint16_t len;
            uint16_t cap;
        };
    } value;
} orv_variant_t;

/* 1 when the record's value lies wholly in the record: 0 for STRING, TEXT,
 * BINARY and for a null pointer; unknown tags count as basic. */
ORV_API int orv_variant_is_btype(const orv_variant_t *v);

/* 0 for the tags STRING, TEXT and BINARY, 1 for every other value. */
ORV_API int orv_variant_is_btype_type(int8_t type);

/* 0 for null. Basic tags: 1 whatever the value. STRING, TEXT, BINARY: 1 when
 * `data` is set and `cap` is not 0 (`len` plays no part). */
ORV_API int orv_variant_is_valid(const orv_variant_t *v);

/* 1 when both records have the same tag and equal values; never across tags
 * (INT32 5 and UINT32 5 differ, as do STRING and TEXT of the same text).
 * BOOL compares the stored byte (1 and 2 differ); FLOAT and DOUBLE are equal
 * when the difference is below 1e-6 (a NaN equals nothing); STRING, TEXT,
 * BINARY when `len` and the first `len` bytes match (`cap` plays no part;
 * a null `data` with `len` above 0 compares unequal). Beyond the plain
 * table, two calendar records (DATE, TIME, DATETIME, TIMESTAMP) are equal
 * when their as_timestamp fields are: `seconds` and `milliseconds`, as
 * `reserved` has no meaning. 0 for null pointers and unknown tags. */
ORV_API int orv_variant_is_equal(const orv_variant_t *a, const orv_variant_t *b);

/* Reading a record as a number.
 *
 * Each read returns 1 when *out received a value, 0 when not (a null
 * pointer, BINARY, an unknown tag, a text record with a null `data`, and
 * the cells named refused); after a 0, *out is untouched unless said.
 * The record is never written. By source:
 * - BOOL: the stored byte (to_bool copies it, so 2 reads as 2).
 * - INT8..INT32: the word, sign-extended to 64 bits; UINT8..UINT32 the
 *   word, zero-extended. 32-bit targets take it bit for bit.
 * - INT64/UINT64: 32-bit targets take the low 32 bits; DOUBLE the nearest.
 * - FLOAT/DOUBLE into integers: truncated toward zero and saturated at the
 *   target's limits (unsigned targets give 0 for any negative value); NaN
 *   gives 0. A magnitude of 2^63 or more read as int64 saturates too.
 * - Calendar tags: refused by to_bool and the signed 8..32-bit reads; the
 *   unsigned reads and both 64-bit reads take `seconds` as unsigned;
 *   to_double adds milliseconds * 1000 * 1e-6 (so 100 s 250 ms is 100.25).
 * - STRING/TEXT: the text up to its zero byte (not `len`) through the
 *   32-bit parsers of orvsys/orv_numtext.h, or orv_ascii_to_double for the
 *   floating reads, so '5000000000' is no int64. The int32 and uint32 reads
 *   leave the parser's 0 in *out on a failure.
 * to_bool: a number is true when not 0, a float or double unless its
 * magnitude is below 1e-6 (a NaN is true; the float nearest 1e-6 is just
 * below it); a text is true when its first `len` bytes match the start of
 * "true" ignoring case (so 't' and an empty text are true, "false" and
 * 'trueish' false), with result 1 either way.
 * The narrow reads go through the 32-bit ones and keep the low bits: INT32
 * 300 reads as 44 through to_int8; to_float narrows to_double's value. */
ORV_API int orv_variant_to_bool(const orv_variant_t *v, uint8_t *out);
ORV_API int orv_variant_to_int8(const orv_variant_t *v, int8_t *out);
ORV_API int orv_variant_to_int16(const orv_variant_t *v, int16_t *out);
ORV_API int orv_variant_to_int32(const orv_variant_t *v, int32_t *out);
ORV_API int orv_variant_to_int64(const orv_variant_t *v, int64_t *out);
ORV_API int orv_variant_to_uint8(const orv_variant_t *v, uint8_t *out);
ORV_API int orv_variant_to_uint16(const orv_variant_t *v, uint16_t *out);
ORV_API int orv_variant_to_uint32(const orv_variant_t *v, uint32_t *out);
ORV_API int orv_variant_to_uint64(const orv_variant_t *v, uint64_t *out);
ORV_API int orv_variant_to_float(const orv_variant_t *v, float *out);
ORV_API int orv_variant_to_double(const orv_variant_t *v, double *out);

/* Reading a record as a point in time. UINT8..UINT32: the word as seconds;
 * INT64/UINT64: the low 32 bits (milliseconds and reserved 0). FLOAT and
 * DOUBLE: the whole part as unsigned seconds and the fraction in whole
 * microseconds cut to milliseconds, both saturated as unsigned 32-bit (a
 * negative value gives 0 and 0). Calendar tags: a copy of as_timestamp.
 * STRING/TEXT: the first form of the text that matches, longest first,
 * "YYYY-MM-DD HH:MM:SS.mmm", "YYYY-MM-DD HH:MM:SS", "HH:MM:SS.mmm",
 * "HH:MM:SS" (on 1970-01-01), "YYYY-MM-DD" (at midnight), read as local
 * time by orv_datetime_to_timestamp; nothing after the form and no range
 * is checked ('2024-01-02T03:04' is midnight, ".7" is 7 ms). BOOL,
 * INT8..INT32, BINARY, unknown tags: refused. 0 leaves *out untouched. */
ORV_API int orv_variant_to_timestamp(const orv_variant_t *v, orv_timestamp_t *out);
/* orv_variant_to_timestamp, then the local (or UTC) fields of that moment;
 * the date and time reads copy their half of them. */
ORV_API int orv_variant_to_datetime(const orv_variant_t *v, orv_datetime_t *out);
ORV_API int orv_variant_to_datetime_utc(const orv_variant_t *v, orv_datetime_t *out);
ORV_API int orv_variant_to_date(const orv_variant_t *v, orv_date_t *out);
ORV_API int orv_variant_to_date_utc(const orv_variant_t *v, orv_date_t *out);
ORV_API int orv_variant_to_time(const orv_variant_t *v, orv_time_t *out);
ORV_API int orv_variant_to_time_utc(const orv_variant_t *v, orv_time_t *out);

/* The record as text at dest, size bytes with the terminator; dest, or
 * null when nothing fit or the tag has no text. BOOL "true"/"false";
 * INT8..INT32 and INT64 the signed decimal of the (low) 32 bits, UINT8..
 * UINT32 and UINT64 the unsigned one (there is no 64-bit text); FLOAT and
 * DOUBLE "%f"; calendar tags the local "YYYY-MM-DD HH:MM:SS.mmm" whatever
 * the tag; STRING/TEXT a copy up to the zero byte, cut to size-1 with no
 * report. The integer tags need size 12 (signed) or 11 (unsigned) and give
 * null below it, writing nothing; the formatted tags give null when their
 * text was cut, and dest holds the cut text. Null for a null pointer,
 * size 0 or less, a null `data`, BINARY and unknown tags. */
ORV_API char *orv_variant_to_string(const orv_variant_t *v, char *dest, int32_t size);

/* BINARY only: copies the smaller of size and `cap` bytes (not `len`) to
 * dest and returns that count; 0 for any other tag, a null pointer or
 * `data`, or size 0 or less. */
ORV_API int32_t orv_variant_to_binary(const orv_variant_t *v, void *dest, int32_t size);

/* Storing a number in a record, converted to the record's tag, which never
 * changes. 1 when stored; 0 with the record untouched for a null record,
 * BINARY, unknown tags, a text record with a null `data`, and the cells
 * named refused. By tag of the record:
 * - BOOL: 1 when the number is not 0 (all 64 bits tested); a float or
 *   double by the magnitude test of to_bool (a NaN stores 1).
 * - INT8..INT32, UINT8..UINT32: the low 32 bits, no range test; a float or
 *   double truncated toward zero and saturated at the signed or unsigned
 *   32-bit limits of the tag, NaN 0.
 * - INT64/UINT64: the number sign- or zero-extended by its own type; a
 *   float or double truncated and saturated at the tag's 64-bit limits (a
 *   magnitude of 2^63 or more saturates INT64), NaN 0.
 * - FLOAT: the nearest float; DOUBLE: the value, exact or nearest.
 * - Calendar tags: refused by from_int32 (and so from_int8, from_int16);
 *   otherwise the low 32 bits as seconds, `milliseconds` and `reserved` 0;
 *   a float or double as the seconds and milliseconds to_timestamp reads
 *   from it, `reserved` 0.
 * - STRING/TEXT: the decimal text of the low 32 bits with the number's
 *   signedness, which needs `cap` of 12 (signed) or 11 (unsigned) and is
 *   refused below it, writing nothing; a float or double as "%f" in `cap`
 *   bytes, 0 when cut, and the cut text stays. `len` does not change.
 * from_bool stores its byte as from_uint32 (5 stays 5 outside BOOL);
 * from_int8 and from_int16 go through from_int32 (refused by the calendar
 * tags), from_uint8 and from_uint16 through from_uint32, and from_float
 * through from_double with the value widened exactly. */
ORV_API int orv_variant_from_bool(orv_variant_t *v, uint8_t value);
ORV_API int orv_variant_from_int8(orv_variant_t *v, int8_t value);
ORV_API int orv_variant_from_int16(orv_variant_t *v, int16_t value);
ORV_API int orv_variant_from_int32(orv_variant_t *v, int32_t value);
ORV_API int orv_variant_from_int64(orv_variant_t *v, int64_t value);
ORV_API int orv_variant_from_uint8(orv_variant_t *v, uint8_t value);
ORV_API int orv_variant_from_uint16(orv_variant_t *v, uint16_t value);
ORV_API int orv_variant_from_uint32(orv_variant_t *v, uint32_t value);
ORV_API int orv_variant_from_uint64(orv_variant_t *v, uint64_t value);
ORV_API int orv_variant_from_float(orv_variant_t *v, float value);
ORV_API int orv_variant_from_double(orv_variant_t *v, double value);

/* Storing a point in time. UINT8..UINT32: `seconds`; INT64/UINT64:
 * `seconds` as unsigned; FLOAT: unsigned seconds as a float plus
 * (float)(milliseconds * 1000 * 1e-6), summed in 32 bits; DOUBLE: the same
 * in 64 bits; calendar tags: a copy of the whole record; STRING/TEXT: the
 * local "YYYY-MM-DD HH:MM:SS.mmm" in `cap` bytes (0 when cut). BOOL,
 * INT8..INT32, BINARY, unknown tags: refused. */
ORV_API int orv_variant_from_timestamp(orv_variant_t *v, const orv_timestamp_t *ts);
/* The fields read as local time (a date at midnight, a time on 1970-01-01)
 * to a timestamp, then stored as orv_variant_from_timestamp does. */
ORV_API int orv_variant_from_datetime(orv_variant_t *v, const orv_datetime_t *dt);
ORV_API int orv_variant_from_date(orv_variant_t *v, const orv_date_t *date);
ORV_API int orv_variant_from_time(orv_variant_t *v, const orv_time_t *time);

/* Storing text, which must be zero-ended; size must be above 0 and is used
 * only at BOOL. BOOL: 1 when the first size bytes match "true" ignoring
 * case, 0 when they match "false", else refused ('t' of size 1 is true).
 * Number tags: the text through the parser of the tag's kind (int32 for
 * INT8..INT64, uint32 for UINT8..UINT64, float, double), stored as the
 * number stores do; a failed parse stores nothing. Calendar tags: the
 * forms of orv_variant_to_timestamp, into `seconds` and `milliseconds`
 * (`reserved` stays). STRING/TEXT: a copy cut to `cap`-1 bytes, and `len`
 * its length; refused for a null `data` or `cap` 0. BINARY, unknown: 0. */
ORV_API int orv_variant_from_string(orv_variant_t *v, const char *text, int32_t size);

/* Storing bytes, in the host's order; returns a count, 0 on failure (a
 * null pointer, size 0 or less, unknown tags). Number tags take the first
 * 1, 2, 4 or 8 bytes their tag names (sign-extended for INT8 and INT16,
 * zero-extended for UINT8 and UINT16; BOOL 1 when the byte is not 0)
 * whatever size says, and return that width. DATE, TIME: zero-ended text
 * through orv_string_to_date (year first) or orv_string_to_time, at local
 * midnight or on 1970-01-01, returning 16; DATETIME, TIMESTAMP: through
 * orv_string_to_datetime (year first), returning 32; 0 when the text does
 * not parse. STRING, TEXT, BINARY (refused for a null `data` or `cap` 0):
 * n is the smaller of size and `cap`, `len` becomes n and n returns;
 * BINARY copies n bytes, the text tags copy up to the first zero byte
 * within `cap`-1. */
ORV_API int32_t orv_variant_from_binary(orv_variant_t *v, const void *data, int32_t size);

/* Stores source's value into v by source's tag: BOOL through from_bool,
 * INT8..INT32 from_int32, INT64 from_int64, UINT8..UINT32 from_uint32,
 * UINT64 from_uint64, FLOAT from_float, DOUBLE from_double, calendar tags
 * from_timestamp, STRING/TEXT from_string with `len` (0 when `len` is 0),
 * BINARY from_binary with `len`. The result is one byte: that of the store,
 * a byte count cut to its low 8 bits (256 bytes return 0). 0 for a null
 * pointer or an unknown source tag. v and source must not share a buffer. */
ORV_API uint8_t orv_variant_from_other(orv_variant_t *v, const orv_variant_t *source);

ORV_END_DECLS

#endif /* ORVSYS_ORV_VARIANT_H */
