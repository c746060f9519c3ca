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
 * a null `data` with `len` above 0 compares unequal). The calendar tags
 * compare `seconds` and `milliseconds` of their timestamps; `reserved`,
 * which has no meaning, plays no part. 0 for null pointers and unknown
 * tags. */
ORV_API int orv_variant_is_equal(const orv_variant_t *a, const orv_variant_t *b);

/* Reads the record as a signed 32-bit number into *out. BOOL gives 0/1;
 * the 32-bit tags the word bit for bit; the 64-bit tags the low 32 bits;
 * FLOAT/DOUBLE truncate toward zero, saturate at the 32-bit limits, NaN
 * gives 0. STRING/TEXT read their text up to its zero byte as
 * orv_ascii_to_int32 does: the result is its result, and *out is 0 when the
 * text is no number. Calendar tags, BINARY, unknown tags, a null `data` or
 * a null pointer: 0 and *out untouched. */
ORV_API int orv_variant_to_int32(const orv_variant_t *v, int32_t *out);

/* Stores value converted to the record's tag: BOOL 1 or 0; the 32-bit tags
 * the word bit for bit, no range test; the 64-bit tags the value
 * sign-extended; FLOAT the nearest float; DOUBLE exactly. STRING/TEXT write
 * the decimal text at `data` and leave `len` as it is; they need `cap` of 12
 * at the least (11 characters and the terminator) and refuse with 0, writing
 * nothing, below that or with a null `data`. Calendar tags, BINARY, unknown
 * tags and a null record: 0, record untouched. */
ORV_API int orv_variant_from_int32(orv_variant_t *v, int32_t value);

ORV_END_DECLS

#endif /* ORVSYS_ORV_VARIANT_H */
