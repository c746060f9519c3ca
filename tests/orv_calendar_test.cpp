// Calendar records, the clock reads and the zone difference. Each zone-dependent case runs in a
// forked child with a POSIX TZ rule: the test keeps its zone, the zone difference starts unset.
#include "orvsys/orv_calendar.h"

#include <sys/time.h>

#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "support/orv_test.h"

namespace {

using orv_test::DateOf;
using orv_test::Fields;
using orv_test::TimeOf;

constexpr int32_t kFill = 0x5A5A5A5A;
constexpr uint16_t kReserved = 0xBEEF;
const orv_datetime_t kFilled{kFill, kFill, kFill, kFill, kFill, kFill, kFill, kFill};
const char *const kSummer = "EST5EDT,M3.2.0,M11.1.0";

// The local (0) and UTC (1) forms of each conversion to fields.
struct Way {
    int (*to_dt)(int32_t, orv_datetime_t *), (*to_date)(int32_t, orv_date_t *),
        (*to_time)(int32_t, orv_time_t *), (*from_ts)(const orv_timestamp_t *, orv_datetime_t *);
};
// clang-format off
const Way kWays[2] = {
    {orv_time_t_to_datetime, orv_time_t_to_date, orv_time_t_to_time, orv_timestamp_to_datetime},
    {orv_time_t_to_datetime_utc, orv_time_t_to_date_utc, orv_time_t_to_time_utc,
     orv_timestamp_to_datetime_utc}};
// clang-format on

// What the C library makes of t, as the record the library should give.
orv_datetime_t Expected(time_t t, int32_t ms, bool utc) {
    std::tm tm{};
    utc ? gmtime_r(&t, &tm) : localtime_r(&t, &tm);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_wday,
            tm.tm_hour,        tm.tm_min,     tm.tm_sec,  ms};
}
// The zone difference of UTC+12 and UTC-12, which turns at noon UTC.
int AtNoon(time_t t) { return Expected(t, 0, true).hour < 12 ? 12 : -12; }

// Seconds to fields (S), fields to seconds (F) or both (B): local rules as standard time, weekday
// junk, millisecond ms_in (the timestamp keeps its low 16 bits). Midnight rows also take the date
// form, 1970-01-01 rows the time form; -1 is also a refusal. Null pointers are refused.
TEST(Calendar, SecondsAndFields) {
    // clang-format off
    struct Row { const char *tz; char way; int32_t t; orv_datetime_t local; int32_t ms_in = 0;
        uint16_t ms = 0; };
    const char *const U = "UTC0", *const C = "CST-8", *const S = kSummer;
    const Row rows[] = {
        {U, 'B', 0, {1970, 1, 1, 4, 0, 0, 0, 0}, 777, 777},  // Thursday
        {U, 'B', 1578182400, {2020, 1, 5, 0, 0, 0, 0, 0}, 70000, 4464},  // Sunday is 0
        {U, 'B', 1578096000, {2020, 1, 4, 6, 0, 0, 0, 0}, -1, 65535},  // Saturday is 6
        {U, 'B', 951827696, {2000, 2, 29, 2, 12, 34, 56, 0}, 65536, 0},
        {U, 'B', -1, {1969, 12, 31, 3, 23, 59, 59, 0}},
        {U, 'B', INT32_MAX, {2038, 1, 19, 2, 3, 14, 7, 0}},
        {U, 'B', INT32_MIN, {1901, 12, 13, 5, 20, 45, 52, 0}},
        {U, 'F', 1583107200, {2020, 2, 31, 0, 0, 0, 0, 0}},  // normalised to 03-02
        {U, 'F', -1, {2038, 1, 19, 0, 3, 14, 8, 0}}, {U, 'F', -1, {1901, 12, 13, 0, 20, 45, 51, 0}},
        {C, 'B', 0, {1970, 1, 1, 4, 8, 0, 0, 0}, 999, 999},
        {C, 'B', -28800, {1970, 1, 1, 4, 0, 0, 0, 0}},
        {C, 'B', 1577923200 + 16 * 3600, {2020, 1, 3, 5, 0, 0, 0, 0}, 1, 1},
        {S, 'B', 1577923200, {2020, 1, 1, 3, 19, 0, 0, 0}},
        {S, 'S', 1593622800, {2020, 7, 1, 3, 13, 0, 0, 0}},
        {S, 'F', 1593622800, {2020, 7, 1, 3, 12, 0, 0, 0}},
    };
    // clang-format on
    for (const Row &row : rows) {
        orv_test::in_zone(row.tz, [&row, t = row.t] {
            SCOPED_TRACE(::testing::Message() << row.tz << " t=" << t << " " << Fields(row.local));
            const orv_timestamp_t ts{t, row.ms, kReserved};
            for (int utc = 0; utc < 2 && row.way != 'F'; ++utc) {
                const Way &w = kWays[utc];
                orv_datetime_t want = utc ? Expected(t, 0, true) : row.local, dt = kFilled, st = dt;
                orv_date_t date = DateOf(kFilled);
                orv_time_t time = TimeOf(kFilled);
                EXPECT_EQ(w.to_dt(t, &dt) + w.to_date(t, &date) + w.to_time(t, &time) +
                              w.from_ts(&ts, &st) + w.to_dt(t, nullptr) + w.to_date(t, nullptr) +
                              w.to_time(t, nullptr) + w.from_ts(nullptr, &st) +
                              w.from_ts(&ts, nullptr),
                          4);  // each null pointer refused
                EXPECT_EQ(Fields(dt) + Fields(date, time), Fields(want) + Fields(want)) << utc;
                want.millisecond = row.ms;
                EXPECT_EQ(Fields(st), Fields(want)) << "utc " << utc;
            }
            if (row.way == 'S') return;
            orv_datetime_t in = row.local;
            in.weekday = kFill, in.millisecond = row.ms_in;
            const orv_date_t date = DateOf(in);
            const orv_time_t time = TimeOf(in);
            int32_t got = kFill, t_d = kFill, t_t = kFill;
            orv_timestamp_t st{kFill, 0xA5A5, kReserved};
            EXPECT_EQ(orv_datetime_to_time_t(&in, &got) + orv_datetime_to_timestamp(&in, &st) +
                          orv_date_to_time_t(&date, &t_d) + orv_time_to_time_t(&time, &t_t),
                      4);
            EXPECT_EQ(orv_datetime_to_time_t(nullptr, &got) + orv_datetime_to_time_t(&in, nullptr) +
                          orv_date_to_time_t(nullptr, &t_d) + orv_date_to_time_t(&date, nullptr) +
                          orv_time_to_time_t(nullptr, &t_t) + orv_time_to_time_t(&time, nullptr) +
                          orv_datetime_to_timestamp(nullptr, &st) +
                          orv_datetime_to_timestamp(&in, nullptr),
                      0);
            EXPECT_EQ(std::tuple(got, st.seconds, st.milliseconds, st.reserved),
                      std::tuple(t, t, row.ms, kReserved));
            const bool midnight = in.hour == 0 && in.minute == 0 && in.second == 0;
            const bool epoch_day = in.year == 1970 && in.month == 1 && in.day == 1;
            EXPECT_TRUE((!midnight || t_d == t) && (!epoch_day || t_t == t)) << t_d << " " << t_t;
        });
    }
}

// The zone difference is worked out once, at the first call, the same for concurrent first calls.
// The reads give the clock's fields, milliseconds tv_usec / 1000, and the timestamps those fields
// read as local standard time; a changed TZ reaches the next local read, not the zone difference.
TEST(Calendar, ClockReadsAndZone) {
    // clang-format off
    struct Row { const char *tz; int zone; int (*vary)(time_t first_call) = nullptr; };
    const Row rows[] = {
        {"UTC0", 0}, {"CST-8", 8}, {"EST5", -5}, {"XXX-11", 11}, {"XXX11", -11}, {"XXX-13", -11},
        {"XXX-14", -10}, {"XXX-12", 0, AtNoon}, {"XXX12", 0, AtNoon},
        {"XXX-5:30", 0, [](time_t t) { return Expected(t, 0, true).minute < 30 ? 5 : 6; }},
        // Summer time in force at the call counts: -4 in summer, -5 in winter.
        {kSummer, 0, [](time_t t) { std::tm tm{};
                                    return int(localtime_r(&t, &tm)->tm_gmtoff) / 3600; }},
    };
    // clang-format on
    for (const Row &row : rows) {
        orv_test::in_zone(row.tz, [&row] {
            EXPECT_EQ(g_orv_timezone, 0) << "set before the first call";
            const time_t t0 = time(nullptr);
            int32_t seen[4] = {-100, -100, -100, -100};
            std::vector<std::thread> threads;
            for (int32_t &zone : seen) threads.emplace_back([&zone] { zone = orv_get_timezone(); });
            for (std::thread &thread : threads) thread.join();
            const time_t t1 = time(nullptr);
            const int32_t zone = seen[0];
            for (int32_t other : seen) EXPECT_EQ(other, zone);
            // Either side of the call, should the hour or minute turn.
            auto expect = [&row](time_t t) { return row.vary ? row.vary(t) : row.zone; };
            EXPECT_TRUE(zone == expect(t0) || zone == expect(t1)) << zone;

            orv_datetime_t dt[2]{};
            orv_date_t ymd[2]{};
            orv_time_t hms[2]{};
            orv_timestamp_t ts[2] = {{kFill, 0xA5A5, kReserved}, {kFill, 0xA5A5, kReserved}};
            timeval before, after;
            orv_get_date(nullptr), orv_get_time(nullptr), orv_get_timestamp(nullptr);
            orv_get_date_utc(nullptr), orv_get_time_utc(nullptr), orv_get_timestamp_utc(nullptr);
            // Retried while a second boundary falls between before and after.
            for (int attempt = 0; attempt == 0 || (attempt < 5 && before.tv_sec != after.tv_sec);
                 ++attempt) {
                gettimeofday(&before, nullptr);
                orv_get_datetime(&dt[0]), orv_get_date(&ymd[0]), orv_get_time(&hms[0]);
                orv_get_datetime_utc(&dt[1]), orv_get_date_utc(&ymd[1]), orv_get_time_utc(&hms[1]);
                orv_get_timestamp(&ts[0]), orv_get_timestamp_utc(&ts[1]);
                gettimeofday(&after, nullptr);
            }
            ASSERT_EQ(before.tv_sec, after.tv_sec);
            const time_t now = before.tv_sec;
            for (int u : {0, 1}) {
                for (int32_t ms : {dt[u].millisecond, hms[u].millisecond, ts[u].milliseconds + 0})
                    EXPECT_TRUE(ms >= before.tv_usec / 1000 && ms <= after.tv_usec / 1000) << ms;
                EXPECT_EQ(Fields(dt[u]) + Fields(ymd[u], hms[u]),
                          Fields(Expected(now, dt[u].millisecond, u)) +
                              Fields(Expected(now, hms[u].millisecond, u)))
                    << "utc " << u;
            }
            // So the UTC one lies the zone's standard distance east below the true seconds.
            std::tm tm{};
            const long summer = localtime_r(&now, &tm)->tm_isdst > 0 ? 3600 : 0;
            const long east = tm.tm_gmtoff - summer;
            EXPECT_EQ(std::tuple(ts[0].seconds, ts[1].seconds, ts[0].reserved, ts[1].reserved),
                      std::tuple(now + summer, now - east, kReserved, kReserved));

            setenv("TZ", "XXX-3", 1);
            orv_get_datetime(&dt[0]), orv_get_datetime_utc(&dt[1]);
            EXPECT_EQ(dt[0].hour, (dt[1].hour + 3) % 24);
            EXPECT_EQ(std::pair(orv_get_timezone(), g_orv_timezone), std::pair(zone, zone));
        });
    }
}

}  // namespace
