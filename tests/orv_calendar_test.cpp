// Calendar records, the clock reads and the zone difference.
//
// Every case that depends on the zone runs in a forked child that sets TZ
// to a POSIX rule (no zoneinfo files needed): the test process keeps its
// own zone, and each child starts with the zone difference still unset.
#include "orvsys/orv_calendar.h"

#include <sys/time.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "support/orv_test.h"

namespace {

constexpr int32_t kMin32 = INT32_MIN;
constexpr int32_t kMax32 = INT32_MAX;
constexpr int32_t kFill = 0x5A5A5A5A;
constexpr uint16_t kReserved = 0xBEEF;
const char *const kSummer = "EST5EDT,M3.2.0,M11.1.0";

std::string Fields(const orv_datetime_t &d) {
    char text[96];
    std::snprintf(text, sizeof text, "%d-%02d-%02d w%d %02d:%02d:%02d.%03d", d.year, d.month,
                  d.day, d.weekday, d.hour, d.minute, d.second, d.millisecond);
    return text;
}
std::string Fields(const orv_date_t &d) { return Fields({d.year, d.month, d.day, d.weekday, 0, 0, 0, 0}); }
std::string Fields(const orv_time_t &t) { return Fields({0, 0, 0, 0, t.hour, t.minute, t.second, t.millisecond}); }
orv_date_t DateOf(const orv_datetime_t &d) { return {d.year, d.month, d.day, d.weekday}; }
orv_time_t TimeOf(const orv_datetime_t &d) { return {d.hour, d.minute, d.second, d.millisecond}; }

// What the C library makes of t, as the record the library should give.
orv_datetime_t Expected(time_t t, int32_t ms, bool utc) {
    std::tm tm{};
    utc ? gmtime_r(&t, &tm) : localtime_r(&t, &tm);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_wday,
            tm.tm_hour,        tm.tm_min,     tm.tm_sec,  ms};
}

// Runs body in a child with TZ set to tz and expects every check there to hold.
template <class Body>
void InZone(const char *tz, Body body) {
    const orv_test::ChildResult child = orv_test::run_in_child([&] {
        setenv("TZ", tz, 1);
        tzset();
        body();
    });
    EXPECT_TRUE(child.ok()) << "TZ=" << tz << ": " << child;
}

// Runs read between two reads of the system clock, retrying while a second
// boundary falls inside, so whole seconds compare exactly.
template <class Read>
bool ReadWithinOneSecond(Read read, timeval *before, timeval *after) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        gettimeofday(before, nullptr);
        read();
        gettimeofday(after, nullptr);
        if (before->tv_sec == after->tv_sec) return true;
    }
    return false;
}

TEST(Calendar, SecondsToFields) {
    struct Row {
        const char *tz;
        int32_t t;
        uint16_t ms;  // of the timestamp form
        orv_datetime_t local;
    };
    const Row rows[] = {
        {"UTC0", 0, 250, {1970, 1, 1, 4, 0, 0, 0, 0}},  // Thursday
        {"UTC0", 1578182400, 0, {2020, 1, 5, 0, 0, 0, 0, 0}},  // Sunday is 0
        {"UTC0", 1578096000, 65535, {2020, 1, 4, 6, 0, 0, 0, 0}},  // Saturday is 6
        {"UTC0", 951827696, 999, {2000, 2, 29, 2, 12, 34, 56, 0}},
        {"UTC0", -1, 1, {1969, 12, 31, 3, 23, 59, 59, 0}},
        {"UTC0", kMax32, 0, {2038, 1, 19, 2, 3, 14, 7, 0}},
        {"UTC0", kMin32, 0, {1901, 12, 13, 5, 20, 45, 52, 0}},
        {"CST-8", 0, 999, {1970, 1, 1, 4, 8, 0, 0, 0}},
        {"CST-8", 1577923200 + 16 * 3600, 1, {2020, 1, 3, 5, 0, 0, 0, 0}},
        {kSummer, 1593622800, 0, {2020, 7, 1, 3, 13, 0, 0, 0}},
        {kSummer, 1577923200, 0, {2020, 1, 1, 3, 19, 0, 0, 0}},
    };
    for (const Row &row : rows) {
        InZone(row.tz, [&row] {
            SCOPED_TRACE(::testing::Message() << row.tz << " t=" << row.t);
            const orv_datetime_t utc = Expected(row.t, 0, true);
            const orv_datetime_t fill{kFill, kFill, kFill, kFill, kFill, kFill, kFill, kFill};
            orv_datetime_t dt = fill;
            orv_date_t date = DateOf(fill);
            orv_time_t time = TimeOf(fill);
            EXPECT_EQ(orv_time_t_to_datetime(row.t, &dt), 1);
            EXPECT_EQ(Fields(dt), Fields(row.local));
            EXPECT_EQ(orv_time_t_to_date(row.t, &date), 1);
            EXPECT_EQ(Fields(date), Fields(DateOf(row.local)));
            EXPECT_EQ(orv_time_t_to_time(row.t, &time), 1);
            EXPECT_EQ(Fields(time), Fields(TimeOf(row.local)));
            dt = fill, date = DateOf(fill), time = TimeOf(fill);
            EXPECT_EQ(orv_time_t_to_datetime_utc(row.t, &dt), 1);
            EXPECT_EQ(Fields(dt), Fields(utc));
            EXPECT_EQ(orv_time_t_to_date_utc(row.t, &date), 1);
            EXPECT_EQ(Fields(date), Fields(DateOf(utc)));
            EXPECT_EQ(orv_time_t_to_time_utc(row.t, &time), 1);
            EXPECT_EQ(Fields(time), Fields(TimeOf(utc)));

            const orv_timestamp_t ts{row.t, row.ms, kReserved};
            orv_datetime_t want = row.local;
            want.millisecond = row.ms;
            EXPECT_EQ(orv_timestamp_to_datetime(&ts, &dt), 1);
            EXPECT_EQ(Fields(dt), Fields(want));
            want = utc;
            want.millisecond = row.ms;
            EXPECT_EQ(orv_timestamp_to_datetime_utc(&ts, &dt), 1);
            EXPECT_EQ(Fields(dt), Fields(want));
        });
    }
}

// Always by local rules, with the fields read as standard time. Rows at
// midnight go through orv_date_to_time_t too, rows on 1970-01-01 through
// orv_time_to_time_t; weekday and millisecond hold junk, as they are not read.
TEST(Calendar, FieldsToSeconds) {
    struct Row {
        const char *tz;
        orv_datetime_t dt;
        int32_t want;
        uint16_t ms;  // the timestamp keeps the low 16 bits
    };
    const Row rows[] = {
        {"UTC0", {1970, 1, 1, 9, 0, 0, 0, 777}, 0, 777},
        {"UTC0", {2020, 1, 2, -3, 0, 0, 0, 70000}, 1577923200, 4464},
        {"UTC0", {2020, 2, 31, kMax32, 0, 0, 0, -1}, 1583107200, 65535},  // normalised to 03-02
        {"UTC0", {2000, 2, 29, 6, 12, 34, 56, 65536}, 951827696, 0},
        {"UTC0", {1970, 1, 1, 0, 0, 0, -1, 0}, -1, 0},
        // A refused conversion stores -1 as well: the two cannot be told apart.
        {"UTC0", {1969, 12, 31, 3, 23, 59, 59, 0}, -1, 0},
        {"UTC0", {1969, 12, 31, 7, 0, 0, 0, 0}, -86400, 0},
        {"UTC0", {2038, 1, 19, 2, 3, 14, 7, 0}, kMax32, 0},
        {"UTC0", {2038, 1, 19, 2, 3, 14, 8, 0}, -1, 0},
        {"UTC0", {2038, 1, 20, 2, 0, 0, 0, 0}, -1, 0},
        {"UTC0", {1901, 12, 13, 5, 20, 45, 52, 0}, kMin32, 0},
        {"UTC0", {1901, 12, 13, 5, 20, 45, 51, 0}, -1, 0},
        {"UTC0", {1970, 1, 1, 0, 1, 0, 0, 999}, 3600, 999},
        {"UTC0", {1970, 1, 1, 0, 24, 0, 0, 0}, 86400, 0},
        {"CST-8", {1970, 1, 1, 4, 8, 0, 0, 0}, 0, 0},
        {"CST-8", {1970, 1, 1, 4, 0, 0, 0, 0}, -28800, 0},
        {"CST-8", {1970, 1, 1, 4, 23, 59, 59, 0}, 86399 - 28800, 0},
        {"CST-8", {2020, 1, 2, 0, 0, 0, 0, 0}, 1577923200 - 28800, 0},
        {"CST-8", {2038, 1, 19, 2, 11, 14, 7, 0}, kMax32, 0},
        {"CST-8", {2038, 1, 19, 2, 11, 14, 8, 0}, -1, 0},
        {"EST5", {1970, 1, 1, 0, 0, 0, 0, 0}, 18000, 0},
        {kSummer, {2020, 7, 1, 0, 12, 0, 0, 0}, 1593622800, 0},
        {kSummer, {2020, 1, 1, 0, 19, 0, 0, 0}, 1577923200, 0},
    };
    for (const Row &row : rows) {
        InZone(row.tz, [&row] {
            const orv_datetime_t &d = row.dt;
            SCOPED_TRACE(::testing::Message() << row.tz << " " << Fields(d));
            int32_t t = kFill;
            EXPECT_EQ(orv_datetime_to_time_t(&d, &t), 1);
            EXPECT_EQ(t, row.want);
            orv_timestamp_t ts{kFill, 0xA5A5, kReserved};
            EXPECT_EQ(orv_datetime_to_timestamp(&d, &ts), 1);
            EXPECT_EQ(ts.seconds, row.want);
            EXPECT_EQ(ts.milliseconds, row.ms);
            EXPECT_EQ(ts.reserved, kReserved);
            if (d.hour == 0 && d.minute == 0 && d.second == 0) {
                t = kFill;
                const orv_date_t date = DateOf(d);
                EXPECT_EQ(orv_date_to_time_t(&date, &t), 1);
                EXPECT_EQ(t, row.want) << "as a date";
            }
            if (d.year == 1970 && d.month == 1 && d.day == 1) {
                t = kFill;
                const orv_time_t time = TimeOf(d);
                EXPECT_EQ(orv_time_to_time_t(&time, &t), 1);
                EXPECT_EQ(t, row.want) << "as a time";
            }
        });
    }
}

TEST(Calendar, NullPointersAreRefused) {
    const orv_datetime_t dt{2020, 1, 2, 4, 3, 4, 5, 6};
    const orv_date_t date = DateOf(dt);
    const orv_time_t time = TimeOf(dt);
    const orv_timestamp_t ts{1577923200, 6, 0};
    int32_t t = kFill;
    orv_timestamp_t ts_out{kFill, 0xA5A5, kReserved};
    orv_datetime_t dt_out = dt;
    const int results[] = {
        orv_datetime_to_time_t(nullptr, &t),     orv_date_to_time_t(nullptr, &t),
        orv_time_to_time_t(nullptr, &t),         orv_datetime_to_time_t(&dt, nullptr),
        orv_date_to_time_t(&date, nullptr),      orv_time_to_time_t(&time, nullptr),
        orv_datetime_to_timestamp(nullptr, &ts_out), orv_datetime_to_timestamp(&dt, nullptr),
        orv_timestamp_to_datetime(nullptr, &dt_out), orv_timestamp_to_datetime_utc(nullptr, &dt_out),
        orv_timestamp_to_datetime(&ts, nullptr), orv_timestamp_to_datetime_utc(&ts, nullptr),
        orv_time_t_to_datetime(0, nullptr),      orv_time_t_to_datetime_utc(0, nullptr),
        orv_time_t_to_date(0, nullptr),          orv_time_t_to_date_utc(0, nullptr),
        orv_time_t_to_time(0, nullptr),          orv_time_t_to_time_utc(0, nullptr),
    };
    for (size_t i = 0; i < sizeof results / sizeof results[0]; ++i) EXPECT_EQ(results[i], 0) << "call " << i;
    EXPECT_EQ(t, kFill);
    EXPECT_EQ(ts_out.seconds, kFill);
    EXPECT_EQ(ts_out.milliseconds, 0xA5A5);
    EXPECT_EQ(Fields(dt_out), Fields(dt));
    // The clock reads without a result do nothing for a null record.
    orv_get_date(nullptr);
    orv_get_date_utc(nullptr);
    orv_get_time(nullptr);
    orv_get_time_utc(nullptr);
    orv_get_timestamp(nullptr);
    orv_get_timestamp_utc(nullptr);
}

// Milliseconds are tv_usec / 1000 at the read. The UTC timestamp is the UTC
// fields read as local time: it lies the zone's distance east below the
// true seconds, and the local conversion gives the UTC fields back from it.
TEST(Calendar, ClockReadsMatchSystemClock) {
    struct Row {
        const char *tz;
        int32_t east;  // seconds east of UTC
    };
    for (const Row &row : {Row{"UTC0", 0}, Row{"CST-8", 8 * 3600}, Row{"EST5", -5 * 3600}}) {
        InZone(row.tz, [&row] {
            orv_datetime_t local{}, utc{};
            orv_date_t date{}, date_utc{};
            orv_time_t time{}, time_utc{};
            orv_timestamp_t ts{kFill, 0xA5A5, kReserved}, ts_utc = ts;
            timeval before, after;
            ASSERT_TRUE(ReadWithinOneSecond([&] {
                orv_get_datetime(&local);
                orv_get_datetime_utc(&utc);
                orv_get_date(&date);
                orv_get_date_utc(&date_utc);
                orv_get_time(&time);
                orv_get_time_utc(&time_utc);
                orv_get_timestamp(&ts);
                orv_get_timestamp_utc(&ts_utc);
            }, &before, &after));
            const int32_t now = static_cast<int32_t>(before.tv_sec);
            for (int32_t ms : {local.millisecond, utc.millisecond, time.millisecond,
                               time_utc.millisecond, int32_t{ts.milliseconds}, int32_t{ts_utc.milliseconds}}) {
                EXPECT_GE(ms, before.tv_usec / 1000);
                EXPECT_LE(ms, after.tv_usec / 1000);
            }
            EXPECT_EQ(Fields(local), Fields(Expected(now, local.millisecond, false)));
            EXPECT_EQ(Fields(utc), Fields(Expected(now, utc.millisecond, true)));
            EXPECT_EQ(Fields(date), Fields(DateOf(Expected(now, 0, false))));
            EXPECT_EQ(Fields(date_utc), Fields(DateOf(Expected(now, 0, true))));
            EXPECT_EQ(Fields(time), Fields(TimeOf(Expected(now, time.millisecond, false))));
            EXPECT_EQ(Fields(time_utc), Fields(TimeOf(Expected(now, time_utc.millisecond, true))));
            EXPECT_EQ(ts.seconds, now);
            EXPECT_EQ(ts_utc.seconds, now - row.east);
            EXPECT_EQ(ts.reserved, kReserved);
            EXPECT_EQ(ts_utc.reserved, kReserved);
            orv_datetime_t back{};
            ASSERT_EQ(orv_timestamp_to_datetime(&ts_utc, &back), 1);
            EXPECT_EQ(Fields(back), Fields(Expected(now, ts_utc.milliseconds, true)));

            // The local read re-reads the zone itself: a changed TZ counts at once.
            setenv("TZ", "XXX-3", 1);
            ASSERT_TRUE(ReadWithinOneSecond([&] { orv_get_datetime(&local); }, &before, &after));
            EXPECT_EQ(Fields(local), Fields(Expected(before.tv_sec + 3 * 3600, local.millisecond, true)));
        });
    }
}

int UtcHour(time_t t) { return Expected(t, 0, true).hour; }
int UtcMinute(time_t t) { return Expected(t, 0, true).minute; }

// The value is fixed at the first call: a later change of zone does not reach it.
TEST(Calendar, TimezoneByZone) {
    struct Row {
        const char *tz;
        int (*expect)(time_t first_call);
    };
    const Row rows[] = {
        {"UTC0", [](time_t) { return 0; }},
        {"CST-8", [](time_t) { return 8; }},
        {"EST5", [](time_t) { return -5; }},
        {"XXX-11", [](time_t) { return 11; }},
        {"XXX11", [](time_t) { return -11; }},
        {"XXX-13", [](time_t) { return -11; }},
        {"XXX-14", [](time_t) { return -10; }},
        {"XXX-12", [](time_t t) { return UtcHour(t) < 12 ? 12 : -12; }},
        {"XXX12", [](time_t t) { return UtcHour(t) >= 12 ? -12 : 12; }},
        {"XXX-5:30", [](time_t t) { return UtcMinute(t) < 30 ? 5 : 6; }},
        // Summer time in force at the call counts: -4 in summer, -5 in winter.
        {kSummer, [](time_t t) {
             std::tm local{};
             localtime_r(&t, &local);
             return static_cast<int>(local.tm_gmtoff / 3600);
         }},
    };
    for (const Row &row : rows) {
        InZone(row.tz, [&row] {
            EXPECT_EQ(g_orv_timezone, 0) << "set before the first call";
            const time_t t0 = time(nullptr);
            const int32_t value = orv_get_timezone();
            const time_t t1 = time(nullptr);
            // Either side of the call, should the hour or minute turn.
            EXPECT_TRUE(value == row.expect(t0) || value == row.expect(t1)) << value;
            EXPECT_EQ(g_orv_timezone, value);
            setenv("TZ", "XXX-3", 1);
            tzset();
            EXPECT_EQ(orv_get_timezone(), value);
            EXPECT_EQ(g_orv_timezone, value);
        });
    }
}

TEST(Calendar, TimezoneSameOnConcurrentFirstCalls) {
    InZone("CST-8", [] {
        std::vector<int32_t> seen(8, -100);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < seen.size(); ++i) {
            threads.emplace_back([&seen, i] { seen[i] = orv_get_timezone(); });
        }
        for (std::thread &thread : threads) thread.join();
        for (int32_t value : seen) EXPECT_EQ(value, 8);
    });
}

}  // namespace
