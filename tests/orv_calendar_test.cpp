// Calendar records, the clock reads and the zone difference.
//
// Zone-dependent cases set TZ to POSIX rules that need no zoneinfo files
// and call tzset themselves, since only the local clock reads do. Outputs
// are pre-filled with a sentinel byte so that "left untouched" is checked
// byte for byte.
//
// orv_get_timezone fixes its value once per process, so it is only ever
// called in forked children: nothing in this file calls it in the test
// process, and each child starts with g_orv_timezone still unset.
#include "orvsys/orv_calendar.h"

#include <gtest/gtest.h>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr int32_t kMin32 = INT32_MIN;
constexpr int32_t kMax32 = INT32_MAX;
constexpr int32_t kOutSentinel = 0x5A5A5A5A;
constexpr uint16_t kReservedSentinel = 0xBEEF;

template <class T>
T Filled() {
    T record;
    std::memset(&record, 0xA5, sizeof record);
    return record;
}

template <class T>
bool SameBytes(const T &a, const T &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::string Fields(const orv_datetime_t &d) {
    char text[96];
    std::snprintf(text, sizeof text, "%d-%02d-%02d w%d %02d:%02d:%02d.%03d", d.year, d.month,
                  d.day, d.weekday, d.hour, d.minute, d.second, d.millisecond);
    return text;
}

std::string Fields(const orv_date_t &d) {
    return Fields(orv_datetime_t{d.year, d.month, d.day, d.weekday, 0, 0, 0, 0});
}

std::string Fields(const orv_time_t &t) {
    return Fields(orv_datetime_t{0, 0, 0, 0, t.hour, t.minute, t.second, t.millisecond});
}

orv_date_t DateOf(const orv_datetime_t &d) { return {d.year, d.month, d.day, d.weekday}; }
orv_time_t TimeOf(const orv_datetime_t &d) { return {d.hour, d.minute, d.second, d.millisecond}; }

// The record the library should give for a struct tm, with millisecond ms.
orv_datetime_t FromTm(const std::tm &tm, int32_t ms) {
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_wday,
            tm.tm_hour,        tm.tm_min,     tm.tm_sec,  ms};
}

orv_datetime_t UtcFields(time_t t, int32_t ms = 0) {
    std::tm tm{};
    gmtime_r(&t, &tm);
    return FromTm(tm, ms);
}

orv_datetime_t LocalFields(time_t t, int32_t ms = 0) {
    std::tm tm{};
    localtime_r(&t, &tm);
    return FromTm(tm, ms);
}

// Runs `read` between two reads of the system clock and reports the
// bracketing instants; retries while a second boundary falls inside, so a
// caller can compare whole seconds exactly.
struct Bracket {
    timeval before;
    timeval after;
};

template <class Read>
bool ReadWithinOneSecond(Read read, Bracket &bracket) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        gettimeofday(&bracket.before, nullptr);
        read();
        gettimeofday(&bracket.after, nullptr);
        if (bracket.before.tv_sec == bracket.after.tv_sec) return true;
    }
    return false;
}

// Sets TZ for the test and restores the previous setting afterwards.
class Calendar : public ::testing::Test {
protected:
    void SetUp() override {
        const char *old = std::getenv("TZ");
        had_tz_ = old != nullptr;
        if (had_tz_) saved_tz_ = old;
    }
    void TearDown() override {
        if (had_tz_) {
            setenv("TZ", saved_tz_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    static void UseZone(const char *tz) {
        setenv("TZ", tz, 1);
        tzset();
    }

private:
    bool had_tz_ = false;
    std::string saved_tz_;
};

// ---- From seconds to fields -----------------------------------------------

TEST_F(Calendar, SecondsToFieldsUtc) {
    struct Row {
        int32_t t;
        orv_datetime_t want;
    };
    const Row rows[] = {
        {0, {1970, 1, 1, 4, 0, 0, 0, 0}},             // Thursday
        {1577923200, {2020, 1, 2, 4, 0, 0, 0, 0}},    // Thursday
        {1578182400, {2020, 1, 5, 0, 0, 0, 0, 0}},    // Sunday is 0
        {1578096000, {2020, 1, 4, 6, 0, 0, 0, 0}},    // Saturday is 6
        {951827696, {2000, 2, 29, 2, 12, 34, 56, 0}}, // leap day
        {-1, {1969, 12, 31, 3, 23, 59, 59, 0}},
        {kMax32, {2038, 1, 19, 2, 3, 14, 7, 0}},
        {kMin32, {1901, 12, 13, 5, 20, 45, 52, 0}},
    };
    UseZone("UTC0");
    for (const Row &row : rows) {
        SCOPED_TRACE(row.t);
        const std::string want = Fields(row.want);

        orv_datetime_t dt = Filled<orv_datetime_t>();
        EXPECT_EQ(orv_time_t_to_datetime_utc(row.t, &dt), 1);
        EXPECT_EQ(Fields(dt), want);
        dt = Filled<orv_datetime_t>();
        EXPECT_EQ(orv_time_t_to_datetime(row.t, &dt), 1);
        EXPECT_EQ(Fields(dt), want) << "local conversion at UTC";

        orv_date_t date = Filled<orv_date_t>();
        EXPECT_EQ(orv_time_t_to_date_utc(row.t, &date), 1);
        EXPECT_EQ(Fields(date), Fields(DateOf(row.want)));
        date = Filled<orv_date_t>();
        EXPECT_EQ(orv_time_t_to_date(row.t, &date), 1);
        EXPECT_EQ(Fields(date), Fields(DateOf(row.want)));

        orv_time_t time = Filled<orv_time_t>();
        EXPECT_EQ(orv_time_t_to_time_utc(row.t, &time), 1);
        EXPECT_EQ(Fields(time), Fields(TimeOf(row.want)));
        time = Filled<orv_time_t>();
        EXPECT_EQ(orv_time_t_to_time(row.t, &time), 1);
        EXPECT_EQ(Fields(time), Fields(TimeOf(row.want)));
    }
}

TEST_F(Calendar, SecondsToFieldsLocalFollowsZone) {
    struct Row {
        const char *tz;
        int32_t t;
        orv_datetime_t local;
    };
    const Row rows[] = {
        {"CST-8", 0, {1970, 1, 1, 4, 8, 0, 0, 0}},
        {"CST-8", -28800, {1970, 1, 1, 4, 0, 0, 0, 0}},
        {"CST-8", 1577923200 + 16 * 3600, {2020, 1, 3, 5, 0, 0, 0, 0}},  // next day, Friday
        {"EST5EDT,M3.2.0,M11.1.0", 1593622800, {2020, 7, 1, 3, 13, 0, 0, 0}},  // summer
        {"EST5EDT,M3.2.0,M11.1.0", 1577923200, {2020, 1, 1, 3, 19, 0, 0, 0}},  // winter
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << row.tz << " t=" << row.t);
        UseZone(row.tz);
        orv_datetime_t dt = Filled<orv_datetime_t>();
        EXPECT_EQ(orv_time_t_to_datetime(row.t, &dt), 1);
        EXPECT_EQ(Fields(dt), Fields(row.local));
        orv_date_t date = Filled<orv_date_t>();
        EXPECT_EQ(orv_time_t_to_date(row.t, &date), 1);
        EXPECT_EQ(Fields(date), Fields(DateOf(row.local)));
        orv_time_t time = Filled<orv_time_t>();
        EXPECT_EQ(orv_time_t_to_time(row.t, &time), 1);
        EXPECT_EQ(Fields(time), Fields(TimeOf(row.local)));

        dt = Filled<orv_datetime_t>();
        EXPECT_EQ(orv_time_t_to_datetime_utc(row.t, &dt), 1);
        EXPECT_EQ(Fields(dt), Fields(UtcFields(row.t))) << "the _utc twin ignores the zone";
    }
}

TEST_F(Calendar, TimestampToFieldsBringsMilliseconds) {
    struct Row {
        const char *tz;
        orv_timestamp_t ts;
        orv_datetime_t local;
        orv_datetime_t utc;
    };
    const Row rows[] = {
        {"UTC0", {0, 250, 0}, {1970, 1, 1, 4, 0, 0, 0, 250}, {1970, 1, 1, 4, 0, 0, 0, 250}},
        {"UTC0", {0, 65535, 7}, {1970, 1, 1, 4, 0, 0, 0, 65535}, {1970, 1, 1, 4, 0, 0, 0, 65535}},
        {"CST-8", {0, 999, 0}, {1970, 1, 1, 4, 8, 0, 0, 999}, {1970, 1, 1, 4, 0, 0, 0, 999}},
        {"CST-8", {1578096000, 1, 0}, {2020, 1, 4, 6, 8, 0, 0, 1}, {2020, 1, 4, 6, 0, 0, 0, 1}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << row.tz << " " << row.ts.seconds << "." << row.ts.milliseconds);
        UseZone(row.tz);
        orv_datetime_t dt = Filled<orv_datetime_t>();
        EXPECT_EQ(orv_timestamp_to_datetime(&row.ts, &dt), 1);
        EXPECT_EQ(Fields(dt), Fields(row.local));
        dt = Filled<orv_datetime_t>();
        EXPECT_EQ(orv_timestamp_to_datetime_utc(&row.ts, &dt), 1);
        EXPECT_EQ(Fields(dt), Fields(row.utc));
    }
}

// ---- From fields to seconds -------------------------------------------------

TEST_F(Calendar, FieldsToSecondsByLocalRules) {
    struct Row {
        const char *tz;
        orv_datetime_t dt;  // weekday and millisecond hold junk: they are not read
        int32_t want;
    };
    const Row rows[] = {
        {"UTC0", {1970, 1, 1, 9, 0, 0, 0, 777}, 0},
        {"UTC0", {2020, 1, 2, -3, 0, 0, 0, 70000}, 1577923200},
        {"UTC0", {2020, 2, 31, 0, 0, 0, 0, 0}, 1583107200},  // normalised to 03-02
        {"UTC0", {2000, 2, 29, 6, 12, 34, 56, 999}, 951827696},
        {"UTC0", {1970, 1, 1, 0, 0, 0, -1, 0}, -1},  // normalised to the second before
        // -1 from mktime is stored like any value: these three cannot be told apart.
        {"UTC0", {1969, 12, 31, 3, 23, 59, 59, 0}, -1},
        {"UTC0", {2038, 1, 19, 2, 3, 14, 7, 0}, kMax32},
        {"UTC0", {2038, 1, 19, 2, 3, 14, 8, 0}, -1},
        {"UTC0", {2100, 1, 1, 0, 0, 0, 0, 0}, -1},
        {"UTC0", {1901, 12, 13, 5, 20, 45, 52, 0}, kMin32},
        {"UTC0", {1901, 12, 13, 5, 20, 45, 51, 0}, -1},
        {"CST-8", {1970, 1, 1, 4, 8, 0, 0, 0}, 0},
        {"CST-8", {1970, 1, 1, 4, 0, 0, 0, 0}, -28800},
        {"CST-8", {2038, 1, 19, 2, 11, 14, 7, 0}, kMax32},
        {"CST-8", {2038, 1, 19, 2, 11, 14, 8, 0}, -1},
        // Fields are read as standard time even while summer time is in force.
        {"EST5EDT,M3.2.0,M11.1.0", {2020, 7, 1, 0, 12, 0, 0, 0}, 1593622800},
        {"EST5EDT,M3.2.0,M11.1.0", {2020, 1, 1, 0, 19, 0, 0, 0}, 1577923200},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << row.tz << " " << Fields(row.dt));
        UseZone(row.tz);
        const orv_datetime_t before = row.dt;
        int32_t t = kOutSentinel;
        EXPECT_EQ(orv_datetime_to_time_t(&row.dt, &t), 1);
        EXPECT_EQ(t, row.want);
        EXPECT_TRUE(SameBytes(before, row.dt));

        orv_timestamp_t ts{kOutSentinel, 0, kReservedSentinel};
        EXPECT_EQ(orv_datetime_to_timestamp(&row.dt, &ts), 1);
        EXPECT_EQ(ts.seconds, row.want);
        EXPECT_EQ(ts.reserved, kReservedSentinel);
    }
}

TEST_F(Calendar, FieldsRoundTripThroughSeconds) {
    const int32_t instants[] = {0, 1, 86399, 951827696, 1577923200, 1700000000, kMax32, kMin32};
    for (const char *tz : {"UTC0", "CST-8", "EST5"}) {
        UseZone(tz);
        for (int32_t t : instants) {
            SCOPED_TRACE(::testing::Message() << tz << " t=" << t);
            orv_datetime_t dt{};
            ASSERT_EQ(orv_time_t_to_datetime(t, &dt), 1);
            int32_t back = kOutSentinel;
            EXPECT_EQ(orv_datetime_to_time_t(&dt, &back), 1);
            EXPECT_EQ(back, t);
        }
    }
}

TEST_F(Calendar, DateToSecondsIsLocalMidnight) {
    struct Row {
        const char *tz;
        orv_date_t date;
        int32_t want;
    };
    const Row rows[] = {
        {"UTC0", {1970, 1, 1, 0}, 0},
        {"UTC0", {2020, 1, 2, 0}, 1577923200},
        {"UTC0", {2020, 2, 31, 0}, 1583107200},
        {"UTC0", {1969, 12, 31, 0}, -86400},
        {"UTC0", {2038, 1, 20, 0}, -1},
        {"CST-8", {2020, 1, 2, 0}, 1577923200 - 28800},
        {"CST-8", {1970, 1, 1, 0}, -28800},
    };
    for (const Row &row : rows) {
        UseZone(row.tz);
        for (int32_t weekday : {0, 4, 6, -1, 7, kMax32}) {
            SCOPED_TRACE(::testing::Message() << row.tz << " " << Fields(row.date) << " weekday " << weekday);
            orv_date_t date = row.date;
            date.weekday = weekday;
            int32_t t = kOutSentinel;
            EXPECT_EQ(orv_date_to_time_t(&date, &t), 1);
            EXPECT_EQ(t, row.want);
        }
    }
}

TEST_F(Calendar, TimeToSecondsIsOnTheEpochDay) {
    struct Row {
        const char *tz;
        orv_time_t time;  // millisecond is not read
        int32_t want;
    };
    const Row rows[] = {
        {"UTC0", {1, 0, 0, 0}, 3600},
        {"UTC0", {0, 0, 0, 999}, 0},
        {"UTC0", {23, 59, 59, 500}, 86399},
        {"UTC0", {24, 0, 0, 0}, 86400},  // normalised into the next day
        {"CST-8", {0, 0, 0, 0}, -28800},
        {"CST-8", {8, 0, 0, 0}, 0},
        {"CST-8", {23, 59, 59, 0}, 86399 - 28800},
        {"EST5", {0, 0, 0, 0}, 18000},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << row.tz << " " << Fields(row.time));
        UseZone(row.tz);
        int32_t t = kOutSentinel;
        EXPECT_EQ(orv_time_to_time_t(&row.time, &t), 1);
        EXPECT_EQ(t, row.want);
    }
}

TEST_F(Calendar, TimestampKeepsLow16BitsOfMilliseconds) {
    struct Row {
        int32_t millisecond;
        uint16_t want;
    };
    const Row rows[] = {
        {0, 0}, {999, 999}, {65535, 65535}, {65536, 0}, {70000, 4464}, {-1, 65535},
    };
    UseZone("UTC0");
    for (const Row &row : rows) {
        SCOPED_TRACE(row.millisecond);
        const orv_datetime_t dt{2020, 1, 2, 4, 0, 0, 0, row.millisecond};
        orv_timestamp_t ts{kOutSentinel, 0xA5A5, kReservedSentinel};
        EXPECT_EQ(orv_datetime_to_timestamp(&dt, &ts), 1);
        EXPECT_EQ(ts.seconds, 1577923200);
        EXPECT_EQ(ts.milliseconds, row.want);
        EXPECT_EQ(ts.reserved, kReservedSentinel);
    }
}

TEST_F(Calendar, NullPointersWriteNothing) {
    UseZone("UTC0");
    const orv_datetime_t dt_in{2020, 1, 2, 4, 3, 4, 5, 6};
    const orv_date_t date_in{2020, 1, 2, 4};
    const orv_time_t time_in{3, 4, 5, 6};
    const orv_timestamp_t ts_in{1577923200, 6, 0};

    int32_t t = kOutSentinel;
    EXPECT_EQ(orv_datetime_to_time_t(nullptr, &t), 0);
    EXPECT_EQ(orv_date_to_time_t(nullptr, &t), 0);
    EXPECT_EQ(orv_time_to_time_t(nullptr, &t), 0);
    EXPECT_EQ(t, kOutSentinel);
    EXPECT_EQ(orv_datetime_to_time_t(&dt_in, nullptr), 0);
    EXPECT_EQ(orv_date_to_time_t(&date_in, nullptr), 0);
    EXPECT_EQ(orv_time_to_time_t(&time_in, nullptr), 0);

    const orv_timestamp_t ts_fill = Filled<orv_timestamp_t>();
    orv_timestamp_t ts = ts_fill;
    EXPECT_EQ(orv_datetime_to_timestamp(nullptr, &ts), 0);
    EXPECT_TRUE(SameBytes(ts, ts_fill));
    EXPECT_EQ(orv_datetime_to_timestamp(&dt_in, nullptr), 0);

    const orv_datetime_t dt_fill = Filled<orv_datetime_t>();
    orv_datetime_t dt = dt_fill;
    EXPECT_EQ(orv_timestamp_to_datetime(nullptr, &dt), 0);
    EXPECT_EQ(orv_timestamp_to_datetime_utc(nullptr, &dt), 0);
    EXPECT_TRUE(SameBytes(dt, dt_fill));
    EXPECT_EQ(orv_timestamp_to_datetime(&ts_in, nullptr), 0);
    EXPECT_EQ(orv_timestamp_to_datetime_utc(&ts_in, nullptr), 0);

    EXPECT_EQ(orv_time_t_to_datetime(0, nullptr), 0);
    EXPECT_EQ(orv_time_t_to_datetime_utc(0, nullptr), 0);
    EXPECT_EQ(orv_time_t_to_date(0, nullptr), 0);
    EXPECT_EQ(orv_time_t_to_date_utc(0, nullptr), 0);
    EXPECT_EQ(orv_time_t_to_time(0, nullptr), 0);
    EXPECT_EQ(orv_time_t_to_time_utc(0, nullptr), 0);

    // The clock reads without a result do nothing for a null record.
    orv_get_date(nullptr);
    orv_get_date_utc(nullptr);
    orv_get_time(nullptr);
    orv_get_time_utc(nullptr);
    orv_get_timestamp(nullptr);
    orv_get_timestamp_utc(nullptr);
}

// ---- Reading the clock --------------------------------------------------------

TEST_F(Calendar, ClockReadsMatchSystemClock) {
    UseZone("CST-8");
    orv_datetime_t local{}, utc{};
    orv_date_t date{}, date_utc{};
    orv_time_t time{}, time_utc{};
    Bracket b{};
    ASSERT_TRUE(ReadWithinOneSecond(
        [&] {
            orv_get_datetime(&local);
            orv_get_datetime_utc(&utc);
            orv_get_date(&date);
            orv_get_date_utc(&date_utc);
            orv_get_time(&time);
            orv_get_time_utc(&time_utc);
        },
        b));
    const time_t now = b.before.tv_sec;
    // Milliseconds are tv_usec / 1000 of the moment of each read.
    const int32_t ms_lo = static_cast<int32_t>(b.before.tv_usec / 1000);
    const int32_t ms_hi = static_cast<int32_t>(b.after.tv_usec / 1000);
    for (int32_t ms : {local.millisecond, utc.millisecond, time.millisecond, time_utc.millisecond}) {
        EXPECT_GE(ms, ms_lo);
        EXPECT_LE(ms, ms_hi);
    }
    EXPECT_EQ(Fields(local), Fields(LocalFields(now, local.millisecond)));
    EXPECT_EQ(Fields(utc), Fields(UtcFields(now, utc.millisecond)));
    EXPECT_EQ((utc.hour + 8) % 24, local.hour);
    EXPECT_EQ(Fields(date), Fields(DateOf(LocalFields(now))));
    EXPECT_EQ(Fields(date_utc), Fields(DateOf(UtcFields(now))));
    EXPECT_EQ(Fields(time), Fields(TimeOf(LocalFields(now, time.millisecond))));
    EXPECT_EQ(Fields(time_utc), Fields(TimeOf(UtcFields(now, time_utc.millisecond))));
}

TEST_F(Calendar, LocalReadFollowsZoneChangeWithoutTzset) {
    UseZone("CST-8");
    // The local read calls tzset itself: a changed TZ takes effect at once.
    setenv("TZ", "UTC0", 1);
    orv_datetime_t dt{};
    Bracket b{};
    ASSERT_TRUE(ReadWithinOneSecond([&] { orv_get_datetime(&dt); }, b));
    EXPECT_EQ(Fields(dt), Fields(UtcFields(b.before.tv_sec, dt.millisecond)));
}

TEST_F(Calendar, TimestampReads) {
    struct Row {
        const char *tz;
        int32_t east;  // seconds east of UTC
    };
    const Row rows[] = {{"UTC0", 0}, {"CST-8", 8 * 3600}, {"EST5", -5 * 3600}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.tz);
        UseZone(row.tz);
        orv_timestamp_t local{kOutSentinel, 0xA5A5, kReservedSentinel};
        orv_timestamp_t utc{kOutSentinel, 0xA5A5, kReservedSentinel};
        Bracket b{};
        ASSERT_TRUE(ReadWithinOneSecond(
            [&] {
                orv_get_timestamp(&local);
                orv_get_timestamp_utc(&utc);
            },
            b));
        const int32_t now = static_cast<int32_t>(b.before.tv_sec);
        EXPECT_EQ(local.seconds, now);
        // The UTC fields read as local: below the true seconds east of UTC.
        EXPECT_EQ(utc.seconds, now - row.east);
        for (const orv_timestamp_t &ts : {local, utc}) {
            EXPECT_GE(ts.milliseconds, b.before.tv_usec / 1000);
            EXPECT_LE(ts.milliseconds, b.after.tv_usec / 1000);
            EXPECT_EQ(ts.reserved, kReservedSentinel);
        }
        // The local conversion gives the UTC fields back from such a value.
        orv_datetime_t back{};
        ASSERT_EQ(orv_timestamp_to_datetime(&utc, &back), 1);
        EXPECT_EQ(Fields(back), Fields(UtcFields(now, utc.milliseconds)));
    }
}

// ---- The zone difference, in children ------------------------------------------

// Runs body in a forked child and returns its exit code, or -1 if it did
// not exit normally.
template <class Body>
int RunInChild(Body body) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) _exit(body());
    if (pid < 0) return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Exit code of a child that reports a zone value: 100 + hours.
constexpr int kValueBase = 100;

void SetZoneInChild(const char *tz) {
    setenv("TZ", tz, 1);
    tzset();
}

TEST_F(Calendar, TimezoneByZone) {
    using Expect = int (*)(const std::tm &utc);
    struct Row {
        const char *tz;
        Expect expect;  // the value for a first call at this UTC moment
    };
    const Row rows[] = {
        {"UTC0", [](const std::tm &) { return 0; }},
        {"CST-8", [](const std::tm &) { return 8; }},
        {"EST5", [](const std::tm &) { return -5; }},
        {"XXX-11", [](const std::tm &) { return 11; }},
        {"XXX11", [](const std::tm &) { return -11; }},
        {"XXX-13", [](const std::tm &) { return -11; }},
        {"XXX-14", [](const std::tm &) { return -10; }},
        {"XXX-12", [](const std::tm &u) { return u.tm_hour < 12 ? 12 : -12; }},
        {"XXX12", [](const std::tm &u) { return u.tm_hour >= 12 ? -12 : 12; }},
        {"XXX-5:30", [](const std::tm &u) { return u.tm_min < 30 ? 5 : 6; }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.tz);
        // The child reports 0 when the value fits the moment of the call
        // (either side of it, should the hour or minute turn), else 100 + value.
        const int code = RunInChild([&row] {
            SetZoneInChild(row.tz);
            const time_t t0 = time(nullptr);
            const int32_t value = orv_get_timezone();
            const time_t t1 = time(nullptr);
            std::tm u0{}, u1{};
            gmtime_r(&t0, &u0);
            gmtime_r(&t1, &u1);
            if (value == row.expect(u0) || value == row.expect(u1)) return 0;
            return kValueBase + value;
        });
        EXPECT_EQ(code, 0) << "value " << code - kValueBase;
    }
}

TEST_F(Calendar, TimezoneSummerTimeInForce) {
    // With summer time rules the value is the offset in force at the call,
    // -4 in summer and -5 in winter.
    const int code = RunInChild([] {
        SetZoneInChild("EST5EDT,M3.2.0,M11.1.0");
        const time_t now = time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        const int32_t value = orv_get_timezone();
        return value == static_cast<int32_t>(local.tm_gmtoff / 3600) ? 0 : kValueBase + value;
    });
    EXPECT_EQ(code, 0) << "value " << code - kValueBase;
}

TEST_F(Calendar, TimezoneGlobalUnsetBeforeFirstCall) {
    const int code = RunInChild([] {
        SetZoneInChild("CST-8");
        if (g_orv_timezone != 0) return 1;
        if (orv_get_timezone() != 8) return 2;
        if (g_orv_timezone != 8) return 3;
        return 0;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(Calendar, TimezoneFixedAtFirstCall) {
    const int code = RunInChild([] {
        SetZoneInChild("CST-8");
        const int32_t first = orv_get_timezone();
        if (first != 8) return 1;
        SetZoneInChild("EST5");
        if (orv_get_timezone() != first) return 2;
        if (g_orv_timezone != first) return 3;
        // The clock read follows the new zone all the same.
        orv_datetime_t dt{};
        Bracket b{};
        if (!ReadWithinOneSecond([&dt] { orv_get_datetime(&dt); }, b)) return 5;
        return dt.hour == (UtcFields(b.before.tv_sec).hour + 19) % 24 ? 0 : 4;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(Calendar, TimezoneSameOnConcurrentFirstCalls) {
    const int code = RunInChild([] {
        SetZoneInChild("CST-8");
        std::vector<int32_t> seen(8, -100);
        std::vector<std::thread> threads;
        for (size_t i = 0; i < seen.size(); ++i) {
            threads.emplace_back([&seen, i] { seen[i] = orv_get_timezone(); });
        }
        for (std::thread &thread : threads) thread.join();
        for (int32_t value : seen) {
            if (value != 8) return kValueBase + value;
        }
        return 0;
    });
    EXPECT_EQ(code, 0) << "value " << code - kValueBase;
}

}  // namespace
