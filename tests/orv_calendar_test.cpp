// Calendar records, the clock reads and the zone difference. Each case that
// depends on the zone runs in a forked child that sets TZ to a POSIX rule:
// the test process keeps its zone, and the zone difference starts unset.
#include "orvsys/orv_calendar.h"

#include <sys/time.h>

#include <iterator>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "support/orv_test.h"

namespace {

constexpr int32_t kFill = 0x5A5A5A5A;
constexpr uint16_t kReserved = 0xBEEF;
const char *const kSummer = "EST5EDT,M3.2.0,M11.1.0";

std::string Fields(const orv_datetime_t &d) {
    char text[96];
    std::snprintf(text, sizeof text, "%d-%02d-%02d w%d %02d:%02d:%02d.%03d", d.year, d.month,
                  d.day, d.weekday, d.hour, d.minute, d.second, d.millisecond);
    return text;
}
orv_date_t DateOf(const orv_datetime_t &d) { return {d.year, d.month, d.day, d.weekday}; }
orv_time_t TimeOf(const orv_datetime_t &d) { return {d.hour, d.minute, d.second, d.millisecond}; }
orv_datetime_t Join(const orv_date_t &d, const orv_time_t &t) {
    return {d.year, d.month, d.day, d.weekday, t.hour, t.minute, t.second, t.millisecond};
}
const orv_datetime_t kFilled{kFill, kFill, kFill, kFill, kFill, kFill, kFill, kFill};

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
    const orv_test::ChildResult child = orv_test::run_in_child([&] { setenv("TZ", tz, 1), tzset(), body(); });
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

// Seconds to fields (S), fields to seconds (F) or both ways (B). Fields go
// to seconds by local rules, read as standard time, with weekday set to junk
// and millisecond to ms_in, which the timestamp keeps the low 16 bits of.
// Rows at midnight also go through the date form, rows on 1970-01-01
// through the time form; -1 also stands for a refused conversion.
TEST(Calendar, SecondsAndFields) {
    struct Row { const char *tz; char way; int32_t t; orv_datetime_t local; int32_t ms_in = 0; uint16_t ms = 0; };
    const Row rows[] = {
        {"UTC0", 'B', 0, {1970, 1, 1, 4, 0, 0, 0, 0}, 777, 777},  // Thursday
        {"UTC0", 'B', 1578182400, {2020, 1, 5, 0, 0, 0, 0, 0}, 70000, 4464},  // Sunday is 0
        {"UTC0", 'B', 1578096000, {2020, 1, 4, 6, 0, 0, 0, 0}, -1, 65535},  // Saturday is 6
        {"UTC0", 'B', 951827696, {2000, 2, 29, 2, 12, 34, 56, 0}, 65536, 0},
        {"UTC0", 'B', -1, {1969, 12, 31, 3, 23, 59, 59, 0}},
        {"UTC0", 'B', INT32_MAX, {2038, 1, 19, 2, 3, 14, 7, 0}},
        {"UTC0", 'B', INT32_MIN, {1901, 12, 13, 5, 20, 45, 52, 0}},
        {"UTC0", 'F', 1583107200, {2020, 2, 31, 0, 0, 0, 0, 0}},  // normalised to 03-02
        {"UTC0", 'F', -1, {2038, 1, 19, 0, 3, 14, 8, 0}},
        {"UTC0", 'F', -1, {1901, 12, 13, 0, 20, 45, 51, 0}},
        {"CST-8", 'B', 0, {1970, 1, 1, 4, 8, 0, 0, 0}, 999, 999},
        {"CST-8", 'B', -28800, {1970, 1, 1, 4, 0, 0, 0, 0}},
        {"CST-8", 'B', 1577923200 + 16 * 3600, {2020, 1, 3, 5, 0, 0, 0, 0}, 1, 1},
        {kSummer, 'B', 1577923200, {2020, 1, 1, 3, 19, 0, 0, 0}},
        {kSummer, 'S', 1593622800, {2020, 7, 1, 3, 13, 0, 0, 0}},
        {kSummer, 'F', 1593622800, {2020, 7, 1, 3, 12, 0, 0, 0}},
    };
    for (const Row &row : rows) {
        InZone(row.tz, [&row] {
            SCOPED_TRACE(::testing::Message() << row.tz << " t=" << row.t << " " << Fields(row.local));
            const orv_timestamp_t ts{row.t, row.ms, kReserved};
            for (int utc = 0; utc < 2 && row.way != 'F'; ++utc) {
                orv_datetime_t want = utc ? Expected(row.t, 0, true) : row.local, dt = kFilled, stamped = kFilled;
                orv_date_t date = DateOf(kFilled);
                orv_time_t time = TimeOf(kFilled);
                EXPECT_EQ(utc ? orv_time_t_to_datetime_utc(row.t, &dt) + orv_time_t_to_date_utc(row.t, &date) +
                                    orv_time_t_to_time_utc(row.t, &time) + orv_timestamp_to_datetime_utc(&ts, &stamped)
                              : orv_time_t_to_datetime(row.t, &dt) + orv_time_t_to_date(row.t, &date) +
                                    orv_time_t_to_time(row.t, &time) + orv_timestamp_to_datetime(&ts, &stamped),
                          4);
                EXPECT_EQ(Fields(dt) + Fields(Join(date, time)), Fields(want) + Fields(want)) << "utc " << utc;
                want.millisecond = row.ms;
                EXPECT_EQ(Fields(stamped), Fields(want)) << "utc " << utc;
            }
            if (row.way == 'S') return;
            orv_datetime_t in = row.local;
            in.weekday = kFill, in.millisecond = row.ms_in;
            const orv_date_t date = DateOf(in);
            const orv_time_t time = TimeOf(in);
            int32_t t = kFill, t_date = kFill, t_time = kFill;
            orv_timestamp_t stamp{kFill, 0xA5A5, kReserved};
            EXPECT_EQ(orv_datetime_to_time_t(&in, &t) + orv_datetime_to_timestamp(&in, &stamp) +
                          orv_date_to_time_t(&date, &t_date) + orv_time_to_time_t(&time, &t_time), 4);
            EXPECT_EQ(std::tuple(t, stamp.seconds, stamp.milliseconds, stamp.reserved),
                      std::tuple(row.t, row.t, row.ms, kReserved));
            if (in.hour == 0 && in.minute == 0 && in.second == 0) { EXPECT_EQ(t_date, row.t) << "as a date"; }
            if (in.year == 1970 && in.month == 1 && in.day == 1) { EXPECT_EQ(t_time, row.t) << "as a time"; }
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
    orv_datetime_t dt_out = kFilled;
    const int results[] = {
        orv_datetime_to_time_t(nullptr, &t), orv_date_to_time_t(nullptr, &t), orv_time_to_time_t(nullptr, &t),
        orv_datetime_to_time_t(&dt, nullptr), orv_date_to_time_t(&date, nullptr), orv_time_to_time_t(&time, nullptr),
        orv_datetime_to_timestamp(nullptr, &ts_out), orv_datetime_to_timestamp(&dt, nullptr),
        orv_timestamp_to_datetime(nullptr, &dt_out), orv_timestamp_to_datetime_utc(nullptr, &dt_out),
        orv_timestamp_to_datetime(&ts, nullptr), orv_timestamp_to_datetime_utc(&ts, nullptr),
        orv_time_t_to_datetime(0, nullptr), orv_time_t_to_datetime_utc(0, nullptr), orv_time_t_to_date(0, nullptr),
        orv_time_t_to_date_utc(0, nullptr), orv_time_t_to_time(0, nullptr), orv_time_t_to_time_utc(0, nullptr)};
    for (size_t i = 0; i < std::size(results); ++i) EXPECT_EQ(results[i], 0) << "call " << i;
    EXPECT_EQ(std::tuple(t, ts_out.seconds, Fields(dt_out)), std::tuple(kFill, kFill, Fields(kFilled)));
    // The clock reads without a result do nothing for a null record.
    orv_get_date(nullptr), orv_get_date_utc(nullptr), orv_get_time(nullptr), orv_get_time_utc(nullptr);
    orv_get_timestamp(nullptr), orv_get_timestamp_utc(nullptr);
}

// Milliseconds are tv_usec / 1000 at the read. The UTC timestamp is the UTC
// fields read as local time: it lies the zone's distance east below the
// true seconds, and the local conversion gives the UTC fields back from it.
TEST(Calendar, ClockReadsMatchSystemClock) {
    for (const auto &[tz, east] : {std::pair{"UTC0", 0}, {"CST-8", 8 * 3600}, {"EST5", -5 * 3600}}) {
        InZone(tz, [east = east] {
            orv_datetime_t local{}, utc{};
            orv_date_t date{}, date_utc{};
            orv_time_t time{}, time_utc{};
            orv_timestamp_t ts{kFill, 0xA5A5, kReserved}, ts_utc = ts;
            timeval before, after;
            ASSERT_TRUE(ReadWithinOneSecond([&] {
                orv_get_datetime(&local), orv_get_datetime_utc(&utc), orv_get_date(&date), orv_get_date_utc(&date_utc);
                orv_get_time(&time), orv_get_time_utc(&time_utc), orv_get_timestamp(&ts), orv_get_timestamp_utc(&ts_utc);
            }, &before, &after));
            for (int32_t ms : {local.millisecond, utc.millisecond, time.millisecond, time_utc.millisecond,
                               int32_t{ts.milliseconds}, int32_t{ts_utc.milliseconds}})
                EXPECT_TRUE(ms >= before.tv_usec / 1000 && ms <= after.tv_usec / 1000) << ms;
            const time_t now = before.tv_sec;
            EXPECT_EQ(Fields(local) + Fields(Join(date, time)),
                      Fields(Expected(now, local.millisecond, false)) + Fields(Expected(now, time.millisecond, false)));
            EXPECT_EQ(Fields(utc) + Fields(Join(date_utc, time_utc)),
                      Fields(Expected(now, utc.millisecond, true)) + Fields(Expected(now, time_utc.millisecond, true)));
            EXPECT_EQ(std::tuple(ts.seconds, ts_utc.seconds, ts.reserved, ts_utc.reserved),
                      std::tuple(now, now - east, kReserved, kReserved));
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

// Worked out once, at the first call, and the same for concurrent first
// calls; a later change of zone does not reach it.
TEST(Calendar, TimezoneByZone) {
    struct Row { const char *tz; int (*expect)(time_t first_call); };
    const Row rows[] = {
        {"UTC0", [](time_t) { return 0; }},    {"CST-8", [](time_t) { return 8; }}, {"EST5", [](time_t) { return -5; }},
        {"XXX-11", [](time_t) { return 11; }}, {"XXX11", [](time_t) { return -11; }},
        {"XXX-13", [](time_t) { return -11; }}, {"XXX-14", [](time_t) { return -10; }},
        {"XXX-12", [](time_t t) { return UtcHour(t) < 12 ? 12 : -12; }},
        {"XXX12", [](time_t t) { return UtcHour(t) >= 12 ? -12 : 12; }},
        {"XXX-5:30", [](time_t t) { return UtcMinute(t) < 30 ? 5 : 6; }},
        // Summer time in force at the call counts: -4 in summer, -5 in winter.
        {kSummer, [](time_t t) { std::tm tm{}; return static_cast<int>(localtime_r(&t, &tm)->tm_gmtoff / 3600); }},
    };
    for (const Row &row : rows) {
        InZone(row.tz, [&row] {
            EXPECT_EQ(g_orv_timezone, 0) << "set before the first call";
            const time_t t0 = time(nullptr);
            int32_t seen[4] = {-100, -100, -100, -100};
            std::vector<std::thread> threads;
            for (int32_t &value : seen) threads.emplace_back([&value] { value = orv_get_timezone(); });
            for (std::thread &thread : threads) thread.join();
            const time_t t1 = time(nullptr);
            const int32_t value = seen[0];
            for (int32_t other : seen) EXPECT_EQ(other, value);
            // Either side of the call, should the hour or minute turn.
            EXPECT_TRUE(value == row.expect(t0) || value == row.expect(t1)) << value;
            EXPECT_EQ(g_orv_timezone, value);
            setenv("TZ", "XXX-3", 1);
            tzset();
            EXPECT_EQ(std::pair(orv_get_timezone(), g_orv_timezone), std::pair(value, value));
        });
    }
}

}  // namespace
