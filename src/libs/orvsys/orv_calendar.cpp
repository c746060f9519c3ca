// Calendar records and reading the clock.
//
// Seconds are the target's signed 32-bit time_t at the interface. Where the
// host's time_t is wider, inputs widen losslessly and mktime results beyond
// the 32-bit range are refused as the target's mktime refuses them: -1.
#include "orvsys/orv_calendar.h"

#include <pthread.h>
#include <sys/time.h>

#include <ctime>
#include <type_traits>

extern "C" {
ORV_API int32_t g_orv_timezone = 0;
}

namespace {

constexpr int kTmYearBase = 1900;
constexpr int kHoursPerDay = 24;
constexpr int kMaxZoneHours = 12;
constexpr int kMicrosPerMilli = 1000;

enum class Zone { Local, Utc };

template <Zone Z>
bool broken_down(time_t seconds, struct tm *tm) {
    if constexpr (Z == Zone::Local) {
        return localtime_r(&seconds, tm) != nullptr;
    } else {
        return gmtime_r(&seconds, tm) != nullptr;
    }
}

void fill_datetime(const struct tm &tm, int32_t millisecond, orv_datetime_t *out) {
    out->year = tm.tm_year + kTmYearBase;
    out->month = tm.tm_mon + 1;
    out->day = tm.tm_mday;
    out->weekday = tm.tm_wday;
    out->hour = tm.tm_hour;
    out->minute = tm.tm_min;
    out->second = tm.tm_sec;
    out->millisecond = millisecond;
}

// The date half and the time half of a datetime, field by field.
void copy_part(const orv_datetime_t &dt, orv_date_t *out) {
    out->year = dt.year;
    out->month = dt.month;
    out->day = dt.day;
    out->weekday = dt.weekday;
}

void copy_part(const orv_datetime_t &dt, orv_time_t *out) {
    out->hour = dt.hour;
    out->minute = dt.minute;
    out->second = dt.second;
    out->millisecond = dt.millisecond;
}

// The local zone is re-read (tzset) on every local clock read, and only
// there, so a changed zone setting takes effect at the next read. False,
// with *out untouched, when the C library cannot break the clock down.
template <Zone Z>
bool read_clock(orv_datetime_t *out) {
    struct timeval now;
    gettimeofday(&now, nullptr);
    if constexpr (Z == Zone::Local) tzset();
    struct tm tm;
    if (!broken_down<Z>(now.tv_sec, &tm)) return false;
    fill_datetime(tm, static_cast<int32_t>(now.tv_usec / kMicrosPerMilli), out);
    return true;
}

// A mktime result in the target's 32-bit time_t: beyond its range the
// target's mktime fails with -1, and so does this.
template <class Time>
int32_t to_seconds32(Time seconds) {
    if constexpr (sizeof(Time) > sizeof(int32_t)) {
        if (seconds < INT32_MIN || seconds > INT32_MAX) return -1;
    }
    return static_cast<int32_t>(seconds);
}

template <Zone Z>
int seconds_to_datetime(int32_t t, orv_datetime_t *out) {
    if (out == nullptr) return 0;
    struct tm tm;
    if (!broken_down<Z>(t, &tm)) return 0;
    fill_datetime(tm, 0, out);
    return 1;
}

template <Zone Z, class Part>
int seconds_to_part(int32_t t, Part *out) {
    orv_datetime_t dt;
    if (out == nullptr || !seconds_to_datetime<Z>(t, &dt)) return 0;
    copy_part(dt, out);
    return 1;
}

template <Zone Z, class Part>
void read_part(Part *out) {
    if (out == nullptr) return;
    orv_datetime_t now;
    if (read_clock<Z>(&now)) copy_part(now, out);
}

template <Zone Z>
int timestamp_to_datetime(const orv_timestamp_t *ts, orv_datetime_t *out) {
    if (ts == nullptr || out == nullptr) return 0;
    if (!seconds_to_datetime<Z>(ts->seconds, out)) return 0;
    out->millisecond = ts->milliseconds;
    return 1;
}

// Both timestamp reads convert with the local rules: see the header on
// what that makes of the UTC read.
template <Zone Z>
void read_timestamp(orv_timestamp_t *out) {
    if (out == nullptr) return;
    orv_datetime_t now;
    if (!read_clock<Z>(&now)) return;
    orv_datetime_to_time_t(&now, &out->seconds);
    out->milliseconds = static_cast<uint16_t>(now.millisecond);
}

pthread_once_t g_timezone_once = PTHREAD_ONCE_INIT;

// Compares only the hours of one instant; folding the difference back into
// -12..12 carries it across a day boundary.
void compute_timezone() {
    time_t now = time(nullptr);
    struct tm local;
    struct tm utc;
    if (localtime_r(&now, &local) == nullptr || gmtime_r(&now, &utc) == nullptr) return;
    int32_t hours = local.tm_hour - utc.tm_hour;
    if (hours < -kMaxZoneHours) {
        hours += kHoursPerDay;
    } else if (hours > kMaxZoneHours) {
        hours -= kHoursPerDay;
    }
    g_orv_timezone = hours;
}

}  // namespace

extern "C" {

ORV_API void orv_get_datetime(orv_datetime_t *out) { read_clock<Zone::Local>(out); }
ORV_API void orv_get_datetime_utc(orv_datetime_t *out) { read_clock<Zone::Utc>(out); }

ORV_API void orv_get_date(orv_date_t *out) { read_part<Zone::Local>(out); }
ORV_API void orv_get_date_utc(orv_date_t *out) { read_part<Zone::Utc>(out); }
ORV_API void orv_get_time(orv_time_t *out) { read_part<Zone::Local>(out); }
ORV_API void orv_get_time_utc(orv_time_t *out) { read_part<Zone::Utc>(out); }
ORV_API void orv_get_timestamp(orv_timestamp_t *out) { read_timestamp<Zone::Local>(out); }
ORV_API void orv_get_timestamp_utc(orv_timestamp_t *out) { read_timestamp<Zone::Utc>(out); }

// tm_isdst 0: the fields are always read as standard time.
ORV_API int orv_datetime_to_time_t(const orv_datetime_t *dt, int32_t *out) {
    if (dt == nullptr || out == nullptr) return 0;
    struct tm tm {};
    tm.tm_year = dt->year - kTmYearBase;
    tm.tm_mon = dt->month - 1;
    tm.tm_mday = dt->day;
    tm.tm_hour = dt->hour;
    tm.tm_min = dt->minute;
    tm.tm_sec = dt->second;
    *out = to_seconds32(mktime(&tm));
    return 1;
}

ORV_API int orv_date_to_time_t(const orv_date_t *date, int32_t *out) {
    if (date == nullptr || out == nullptr) return 0;
    const orv_datetime_t dt = {date->year, date->month, date->day, date->weekday, 0, 0, 0, 0};
    return orv_datetime_to_time_t(&dt, out);
}

ORV_API int orv_time_to_time_t(const orv_time_t *time, int32_t *out) {
    if (time == nullptr || out == nullptr) return 0;
    const orv_datetime_t dt = {
        1970, 1, 1, 0, time->hour, time->minute, time->second, time->millisecond};
    return orv_datetime_to_time_t(&dt, out);
}

ORV_API int orv_datetime_to_timestamp(const orv_datetime_t *dt, orv_timestamp_t *out) {
    if (dt == nullptr || out == nullptr) return 0;
    orv_datetime_to_time_t(dt, &out->seconds);
    out->milliseconds = static_cast<uint16_t>(dt->millisecond);
    return 1;
}

ORV_API int orv_time_t_to_datetime(int32_t t, orv_datetime_t *out) {
    return seconds_to_datetime<Zone::Local>(t, out);
}
ORV_API int orv_time_t_to_datetime_utc(int32_t t, orv_datetime_t *out) {
    return seconds_to_datetime<Zone::Utc>(t, out);
}
ORV_API int orv_time_t_to_date(int32_t t, orv_date_t *out) {
    return seconds_to_part<Zone::Local>(t, out);
}
ORV_API int orv_time_t_to_date_utc(int32_t t, orv_date_t *out) {
    return seconds_to_part<Zone::Utc>(t, out);
}
ORV_API int orv_time_t_to_time(int32_t t, orv_time_t *out) {
    return seconds_to_part<Zone::Local>(t, out);
}
ORV_API int orv_time_t_to_time_utc(int32_t t, orv_time_t *out) {
    return seconds_to_part<Zone::Utc>(t, out);
}
ORV_API int orv_timestamp_to_datetime(const orv_timestamp_t *ts, orv_datetime_t *out) {
    return timestamp_to_datetime<Zone::Local>(ts, out);
}
ORV_API int orv_timestamp_to_datetime_utc(const orv_timestamp_t *ts, orv_datetime_t *out) {
    return timestamp_to_datetime<Zone::Utc>(ts, out);
}

ORV_API int32_t orv_get_timezone(void) {
    pthread_once(&g_timezone_once, compute_timezone);
    return g_orv_timezone;
}

}  // extern "C"
