/* orvsys: calendar records and reading the clock.
 *
 * Plain records for a date, a time of day and both, read from the wall
 * clock in local time or UTC and converted to and from seconds since the
 * Epoch. Seconds are the target's signed 32-bit time_t on every platform,
 * so every conversion ends at 2038-01-19 03:14:07 UTC.
 *
 * Nothing here allocates, logs or locks; every operation may run on any
 * thread. The records belong to the caller and are written only on
 * success. No operation reads `weekday`.
 */
#ifndef ORVSYS_ORV_CALENDAR_H
#define ORVSYS_ORV_CALENDAR_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* A point in time: seconds since the Epoch in the target's signed 32-bit
 * time_t, plus milliseconds. `reserved` has no meaning; the variant family
 * clears it when it stores seconds alone and copies it with the record. */
typedef struct orv_timestamp_t {
    int32_t seconds;
    uint16_t milliseconds;
    uint16_t reserved;
} orv_timestamp_t;

typedef struct orv_date_t {
    int32_t year;    /* full year, as 2020 */
    int32_t month;   /* 1..12 */
    int32_t day;     /* 1..31 */
    int32_t weekday; /* 0 (Sunday)..6; 0 where none was worked out */
} orv_date_t;

typedef struct orv_time_t {
    int32_t hour;        /* 0..23 */
    int32_t minute;      /* 0..59 */
    int32_t second;      /* 0..59, 60 on a leap second */
    int32_t millisecond; /* 0..999 */
} orv_time_t;

/* An orv_date_t followed by an orv_time_t, field for field. */
typedef struct orv_datetime_t {
    int32_t year;
    int32_t month;
    int32_t day;
    int32_t weekday;
    int32_t hour;
    int32_t minute;
    int32_t second;
    int32_t millisecond;
} orv_datetime_t;

/* Hours east of UTC, set by the first orv_get_timezone; 0 before it. */
ORV_API extern int32_t g_orv_timezone;

/* Reading the clock. The local reads call tzset first, so a change of the
 * process's zone takes effect on the next read. out must not be null for
 * the two datetime reads; the others do nothing for a null out. */
ORV_API void orv_get_datetime(orv_datetime_t *out);
ORV_API void orv_get_datetime_utc(orv_datetime_t *out);
ORV_API void orv_get_date(orv_date_t *out);
ORV_API void orv_get_date_utc(orv_date_t *out);
ORV_API void orv_get_time(orv_time_t *out);
ORV_API void orv_get_time_utc(orv_time_t *out);
/* The local clock fields converted by orv_datetime_to_time_t. */
ORV_API void orv_get_timestamp(orv_timestamp_t *out);
/* The UTC clock fields converted by the local orv_datetime_to_time_t: below
 * the true seconds by the zone's distance east of UTC (equal at UTC), so
 * orv_timestamp_to_datetime, the local one, gives the UTC fields back. */
ORV_API void orv_get_timestamp_utc(orv_timestamp_t *out);

/* Fields to seconds by local-time rules through mktime, with summer time
 * taken as not in force; weekday and millisecond are not read, and
 * out-of-range fields are normalised (February 31 is March 2 or 3). A
 * result mktime cannot give, or one outside the 32-bit range, is stored
 * as -1 and still returns 1. 0 only for a null pointer. */
ORV_API int orv_datetime_to_time_t(const orv_datetime_t *dt, int32_t *out);
/* Local midnight at the start of the date. */
ORV_API int orv_date_to_time_t(const orv_date_t *date, int32_t *out);
/* The time on 1970-01-01 in the local zone: negative east of UTC for an
 * early time (00:00:00 at UTC+8 gives -28800). */
ORV_API int orv_time_to_time_t(const orv_time_t *time, int32_t *out);
/* seconds by orv_datetime_to_time_t, milliseconds the low 16 bits of
 * millisecond; reserved is left alone. */
ORV_API int orv_datetime_to_timestamp(const orv_datetime_t *dt, orv_timestamp_t *out);

/* Seconds to fields, by local time (plain names) or UTC (_utc names), with
 * weekday filled and millisecond 0. 0 for a null out or when the C library
 * cannot convert t; the record is then untouched. */
ORV_API int orv_time_t_to_datetime(int32_t t, orv_datetime_t *out);
ORV_API int orv_time_t_to_datetime_utc(int32_t t, orv_datetime_t *out);
ORV_API int orv_time_t_to_date(int32_t t, orv_date_t *out);
ORV_API int orv_time_t_to_date_utc(int32_t t, orv_date_t *out);
ORV_API int orv_time_t_to_time(int32_t t, orv_time_t *out);
ORV_API int orv_time_t_to_time_utc(int32_t t, orv_time_t *out);
/* As orv_time_t_to_datetime(_utc) on seconds, with millisecond taken from
 * milliseconds. 0 for a null pointer or when the seconds cannot convert. */
ORV_API int orv_timestamp_to_datetime(const orv_timestamp_t *ts, orv_datetime_t *out);
ORV_API int orv_timestamp_to_datetime_utc(const orv_timestamp_t *ts, orv_datetime_t *out);

/* The process's zone difference in whole hours east of UTC, -12..12, worked
 * out once at the first call (under a once-control) from the local and
 * UTC hours of that moment, and never again: later zone or summer-time
 * changes do not reach it. Zones with minutes round to a neighbouring hour
 * by the minute of the first call; UTC+13 and +14 give -11 and -10. */
ORV_API int32_t orv_get_timezone(void);

ORV_END_DECLS

#endif /* ORVSYS_ORV_CALENDAR_H */
