/* orvsys: free-form date and time text.
 *
 * Reads dates and times as people and other systems write them: numeric
 * dates in three field orders, month names ("JAN".."DEC", either case),
 * two-digit years (above 68 in the 1900s, else the 2000s), 12-hour markers
 * touching the digits ("1:02PM", "1:02p.m."), fractions of a second up to
 * nine digits (cut, never rounded), ISO "T" and "Z", zone designators
 * ("+08:00", "-0830"; parsed and checked but never applied), a time before
 * or after the date, and a trailing remark in parentheses.
 *
 * The date order settles a purely numeric date with an ambiguous field:
 * 1 month first, 2 day first, 3 year first; any other value acts as 1.
 * A four-digit field is always the year and a month name always the month.
 *
 * Nothing allocates, logs or looks at the system's zone; everything runs
 * on the caller's stack and any thread may parse at any time. Character
 * classes are those of the C locale, a process's locale until it calls
 * setlocale, from a fixed table: a byte above 127 is never a blank, digit
 * or letter, whatever locale the process has set.
 */
#ifndef ORVSYS_ORV_DATETEXT_H
#define ORVSYS_ORV_DATETEXT_H

#include "orvsys/orv_base.h"
#include "orvsys/orv_calendar.h"

ORV_BEGIN_DECLS

/* One token of the scanner. A caller of storeDateValue or storeTimeValue
 * fills digits, value, delim and text; scale is not read. */
typedef struct orv_date_token_t {
    int32_t digits; /* digits read; 9 on a month name; 0 without digits */
    int32_t value;  /* the digits as a number; a month name's index 1..12 */
    int32_t scale;  /* 10 to the power of digits; not read by anything */
    char delim;     /* what ended the token, upper case and normalised */
    char text[19];  /* the digits or the month name, zero-terminated */
} orv_date_token_t;

/* The result of storeDateValue and storeTimeValue; every field is the
 * caller's to read. */
typedef struct orv_datetime_text_t {
    int32_t month;
    int32_t day;
    int32_t year;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t msec; /* the fraction to 3 digits */
    int32_t usec; /* the fraction to 6 digits */
    int32_t nsec; /* the fraction to 9 digits */
    int32_t zone_hour;
    int32_t zone_minute;
    char zone_sign;   /* 'Z', '+', '-', or 0 without a designator */
    int32_t has_date; /* 1 once the date fields are stored */
    int32_t has_time; /* 1 once the time fields are stored */
    const char *tail; /* the "(" that stopped the scan, or null */
} orv_datetime_text_t;

/* Parse a date (weekday 0) / a time / both. 1 on success; 0 on failure or
 * a null pointer, and out is then untouched. A zone designator changes
 * nothing in the result. */
ORV_API int orv_string_to_date(const char *text, int order, orv_date_t *out);
ORV_API int orv_string_to_time(const char *text, orv_time_t *out);
ORV_API int orv_string_to_datetime(const char *text, int order, orv_datetime_t *out);

/* The default date order: always 1, month first. */
ORV_API int getDateOrder(void);

/* Reads three date tokens from tokens[0..2] into result's month, day and
 * year by the digit counts and the order; 0 on success, 1 on failure. */
ORV_API int storeDateValue(orv_date_token_t *tokens, int order, orv_datetime_text_t *result);

/* Reads the time tokens from tokens[0] on into result's time and zone
 * fields; 0 on success, 1 on failure. On a failure zone_sign may be set,
 * and a "." delimiter followed by no digits is changed to " " in place. */
ORV_API int storeTimeValue(orv_date_token_t *tokens, orv_datetime_text_t *result);

ORV_END_DECLS

#endif /* ORVSYS_ORV_DATETEXT_H */
