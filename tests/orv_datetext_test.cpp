// Free-form date and time text: the scanner, the two store operations, the
// drivers and the orv_string_to_ wrappers.
//
// Rows that hold for every date order run for 1, 2, 3 and for values that
// act as 1. Outputs are pre-filled with a sentinel so that a failure can be
// seen to leave the caller's record alone.
#include "orvsys/orv_datetext.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "internal/datetext.h"

namespace {

using Orders = std::vector<int>;
const Orders kAny = {1, 2, 3, 0, 7, -1};
const Orders kFirst = {1, 0, 7};  // month first, and values that act as it
const Orders kFirstOrYear = {1, 3, 0, 7};
const Orders kFirstOrDay = {1, 2, 0, 7};
const Orders kDay = {2};
const Orders kYear = {3};

constexpr int32_t kSentinel = -7;

const char *Show(const char *text) { return text != nullptr ? text : "(null)"; }

orv_datetime_text_t FilledResult() {
    orv_datetime_text_t result;
    std::memset(&result, 0xA5, sizeof result);
    return result;
}

bool SameResult(const orv_datetime_text_t &a, const orv_datetime_text_t &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

orv_date_token_t Tok(int32_t digits, int32_t value, char delim, const char *text = "") {
    orv_date_token_t token{};
    token.digits = digits;
    token.value = value;
    token.scale = 1;
    token.delim = delim;
    std::strncpy(token.text, text, sizeof token.text - 1);
    return token;
}

// ---- Dates --------------------------------------------------------------------

TEST(Datetext, AcceptedDates) {
    struct Row {
        const char *text;
        const Orders &orders;
        int32_t year, month, day;
    };
    const Row rows[] = {
        {"2020-01-02", kAny, 2020, 1, 2},
        {"2020/1/2", kAny, 2020, 1, 2},
        {"12-25-2020", kFirstOrYear, 2020, 12, 25},
        {"25-12-2020", kDay, 2020, 12, 25},
        {"12/25/99", kFirst, 1999, 12, 25},
        {"12/25/68", kFirst, 2068, 12, 25},
        {"12/25/69", kFirst, 1969, 12, 25},
        {"1-2-3", kFirst, 2003, 1, 2},
        {"1-2-3", kDay, 2003, 2, 1},
        {"1-2-3", kYear, 2001, 2, 3},
        {"20-01-02", kDay, 2002, 1, 20},
        {"20-01-02", kYear, 2020, 1, 2},
        {"JAN-02-2020", kAny, 2020, 1, 2},
        {"jan/02/20", kAny, 2020, 1, 2},
        {"02-Feb-2020", kAny, 2020, 2, 2},
        {"02/JAN/2020", kAny, 2020, 1, 2},
        {"2020-MAR-05", kAny, 2020, 3, 5},
        {"20-MAR-05", kFirstOrDay, 2005, 3, 20},
        {"20-MAR-05", kYear, 2020, 3, 5},
        {"2020-02-31", kAny, 2020, 2, 31},
        {"  2020-12-31  ", kAny, 2020, 12, 31},
        {"12:30:45 2020-01-02", kAny, 2020, 1, 2},
        {"12:30-2020-01-02", kAny, 2020, 1, 2},
        {"99:99 2020-01-02", kAny, 2020, 1, 2},  // the time is not read
        {"2020-01-02 99:99", kAny, 2020, 1, 2},
        {"2020-01-02 xyz", kAny, 2020, 1, 2},
        {"2020-01-02 (remark)", kAny, 2020, 1, 2},
        {"2020-01-02T", kAny, 2020, 1, 2},     // the failed last token keeps its "T"
        {"12JAN-02-2020", kAny, 2020, 1, 2},   // digits before a month name are dropped
    };
    for (const Row &row : rows) {
        for (int order : row.orders) {
            SCOPED_TRACE(::testing::Message() << "'" << row.text << "' order " << order);
            orv_date_t out{kSentinel, kSentinel, kSentinel, kSentinel};
            ASSERT_EQ(orv_string_to_date(row.text, order, &out), 1);
            EXPECT_EQ(out.year, row.year);
            EXPECT_EQ(out.month, row.month);
            EXPECT_EQ(out.day, row.day);
            EXPECT_EQ(out.weekday, 0);
        }
    }
}

TEST(Datetext, RejectedDates) {
    struct Row {
        const char *text;
        const Orders &orders;
    };
    const Row rows[] = {
        {"2020.01.02", kAny},   {"2020-01", kAny},      {"2020", kAny},
        {"20-01-02", kFirst},   {"12-25-2020", kDay},   {"25-12-2020", kFirstOrYear},
        {"123-01-02", kAny},    {"12345-01-02", kAny},  {"1968-1-2", kAny},
        {"1-2-1968", kAny},     {"12/25/1968", kAny},   {"2020-13-01", kAny},
        {"2020-00-10", kAny},   {"2020-01-00", kAny},   {"2020-01-32", kAny},
        {"JANUARY-2-2020", kAny}, {"FOO-02-2020", kAny}, {"JAN 02 2020", kAny},
        {"2020-01-02Z", kAny},  {"2020-01-02X", kAny},  {"2020-01-02(c)", kAny},
        {"2020-01-02-03", kAny}, {"12APR-02-2020", kAny},  // "A" taken for a clock marker
        {"", kAny},             {"   ", kAny},          {nullptr, kAny},
        {"12:30:45", kAny},     {"12:30 1-2", kAny},    // no date found behind the time
    };
    for (const Row &row : rows) {
        for (int order : row.orders) {
            SCOPED_TRACE(::testing::Message() << "'" << Show(row.text) << "' order " << order);
            orv_date_t out{kSentinel, kSentinel, kSentinel, kSentinel};
            EXPECT_EQ(orv_string_to_date(row.text, order, &out), 0);
            EXPECT_EQ(out.year, kSentinel);
            EXPECT_EQ(out.month, kSentinel);
            EXPECT_EQ(out.day, kSentinel);
            EXPECT_EQ(out.weekday, kSentinel);
        }
    }
    EXPECT_EQ(orv_string_to_date("2020-01-02", 1, nullptr), 0);
}

// ---- Times --------------------------------------------------------------------

TEST(Datetext, AcceptedTimes) {
    struct Row {
        const char *text;
        int32_t hour, minute, second, millisecond;
    };
    const Row rows[] = {
        {"12:30", 12, 30, 0, 0},
        {"1:2:3", 1, 2, 3, 0},
        {"0:00", 0, 0, 0, 0},
        {"23:59:59.999", 23, 59, 59, 999},
        {"0012:30", 12, 30, 0, 0},  // any digit count passes for an hour ended by ":"
        {"12:30:45.5", 12, 30, 45, 500},
        {"12:30:45.123456789", 12, 30, 45, 123},
        {"12:30:45.000000001", 12, 30, 45, 0},
        {"12:30:45.", 12, 30, 45, 0},
        {"12:30:45Z", 12, 30, 45, 0},
        {"12:30:45z", 12, 30, 45, 0},
        {"12:30:45+08:00", 12, 30, 45, 0},
        {"12:30:45-08:30", 12, 30, 45, 0},
        {"12:30:45+0800", 12, 30, 45, 0},
        {"12:30:45+8:00", 12, 30, 45, 0},
        {"12:30:45+9999", 12, 30, 45, 0},
        {"12:30:45+23:59", 12, 30, 45, 0},
        {"1:02PM", 13, 2, 0, 0},
        {"1:02pm", 13, 2, 0, 0},
        {"1:02P", 13, 2, 0, 0},
        {"1:02P.M.", 13, 2, 0, 0},
        {"1:02AM", 1, 2, 0, 0},
        {"12:02AM", 0, 2, 0, 0},
        {"12:02PM", 12, 2, 0, 0},
        {"11:59PM", 23, 59, 0, 0},
        {"1:02:03PM", 13, 2, 3, 0},
        {"2020-01-02 12:30:45", 12, 30, 45, 0},
        {"2020-01-02T12:30:45", 12, 30, 45, 0},
        {"9999-99-99 12:30:45", 12, 30, 45, 0},  // the date is not read
        {"2020-01-02 12 30", 12, 30, 0, 0},
        {"12:30:45(x)", 12, 30, 45, 0},
        {"12:30:45 (x)", 12, 30, 45, 0},
        {"12:30:45Z(x)", 12, 30, 45, 0},
        {"12:30:45:", 12, 30, 45, 0},
        {"1:2:3:4", 1, 2, 3, 0},
        {"12:30:45 trailing", 12, 30, 45, 0},
        // Accepted, but part of what they say has no effect.
        {"1:02 PM", 1, 2, 0, 0},          // the marker does not touch the digits
        {"1:02:03.5PM", 1, 2, 3, 500},    // no marker behind a fraction
        {"12:30:45 +0800", 12, 30, 45, 0},
        {"12:30:45AMX", 0, 30, 45, 0},    // the failed token keeps its "A"
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "'");
        orv_time_t out{kSentinel, kSentinel, kSentinel, kSentinel};
        ASSERT_EQ(orv_string_to_time(row.text, &out), 1);
        EXPECT_EQ(out.hour, row.hour);
        EXPECT_EQ(out.minute, row.minute);
        EXPECT_EQ(out.second, row.second);
        EXPECT_EQ(out.millisecond, row.millisecond);
    }
}

TEST(Datetext, RejectedTimes) {
    const char *const rows[] = {
        "12:30:",         "12:30.5",        "12:30T",         "12:30T45",
        "12:30A1",        "12:30AMX",       "13:02PM",        "0:02PM",
        "0:02AM",         "24:00:00",       "23:60:00",       "23:59:60",
        "2020:30:00",     "123:00",         "12:345",         "12.30.45",
        "12 30 45",       "12-30-45",       "2020-01-02 12",  "12:30:45.1234567890",
        "12:30:45+08",    "12:30:45+08:0",  "12:30:45+24:00", "12:30:45+23:60",
        "12:30:45+0",     "12:30:45+000",   "2020-01-02Z12:30:45",
        "",               "   ",            nullptr,
    };
    for (const char *text : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << Show(text) << "'");
        orv_time_t out{kSentinel, kSentinel, kSentinel, kSentinel};
        EXPECT_EQ(orv_string_to_time(text, &out), 0);
        EXPECT_EQ(out.hour, kSentinel);
        EXPECT_EQ(out.minute, kSentinel);
        EXPECT_EQ(out.second, kSentinel);
        EXPECT_EQ(out.millisecond, kSentinel);
    }
    EXPECT_EQ(orv_string_to_time("12:30", nullptr), 0);
}

TEST(Datetext, FractionIsCutNeverRounded) {
    struct Row {
        const char *text;
        int32_t msec, usec, nsec;
    };
    const Row rows[] = {
        {"12:30:45", 0, 0, 0},
        {"12:30:45.", 0, 0, 0},
        {"12:30:45.5", 500, 500000, 500000000},
        {"12:30:45.12", 120, 120000, 120000000},
        {"12:30:45.123456789", 123, 123456, 123456789},  // nine digits, counted as eight
        {"12:30:45.999999999", 999, 999999, 999999999},
        {"12:30:45.000000001", 0, 0, 1},
        {"12:30:45.0000005", 0, 0, 500},
        {"12:30:45.5Z", 500, 500000, 500000000},
        {"1:02:03.25PM", 250, 250000, 250000000},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "'");
        orv_datetime_text_t result = FilledResult();
        ASSERT_EQ(parseTimeText(row.text, &result), 0);
        EXPECT_EQ(result.msec, row.msec);
        EXPECT_EQ(result.usec, row.usec);
        EXPECT_EQ(result.nsec, row.nsec);
    }
}

TEST(Datetext, ZoneIsStoredButNeverApplied) {
    struct Row {
        const char *text;
        char sign;
        int32_t zone_hour, zone_minute;
    };
    const Row rows[] = {
        {"12:30:45", 0, 0, 0},
        {"12:30:45Z", 'Z', 0, 0},
        {"12:30:45z", 'Z', 0, 0},
        {"12:30:45+08:00", '+', 8, 0},
        {"12:30:45-08:30", '-', 8, 30},
        {"12:30:45+0800", '+', 8, 0},
        {"12:30:45-0530", '-', 5, 30},
        {"12:30:45+8:00", '+', 8, 0},
        {"12:30:45+9999", '+', 99, 99},  // four digits get no range check
        {"12:30:45+23:59", '+', 23, 59},
        {"12:30:45.5-01:00", '-', 1, 0},
        {"12:30:45 +0800", 0, 0, 0},     // does not touch the time
        {"2020-01-02T12:30:45Z", 'Z', 0, 0},
    };
    orv_time_t plain{};
    ASSERT_EQ(orv_string_to_time("12:30:45", &plain), 1);
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "'");
        orv_datetime_text_t result = FilledResult();
        ASSERT_EQ(parseTimeText(row.text, &result), 0);
        EXPECT_EQ(result.zone_sign, row.sign);
        EXPECT_EQ(result.zone_hour, row.zone_hour);
        EXPECT_EQ(result.zone_minute, row.zone_minute);
        EXPECT_EQ(result.hour, 12);
        EXPECT_EQ(result.minute, 30);
        EXPECT_EQ(result.second, 45);

        orv_time_t out{kSentinel, kSentinel, kSentinel, kSentinel};
        ASSERT_EQ(orv_string_to_time(row.text, &out), 1);
        EXPECT_EQ(out.hour, plain.hour);
        EXPECT_EQ(out.minute, plain.minute);
        EXPECT_EQ(out.second, plain.second);
    }
}

// ---- Date and time --------------------------------------------------------------

TEST(Datetext, DateTimes) {
    struct Row {
        const char *text;
        const Orders &orders;
        int ok;
        orv_datetime_t want;  // weekday is always 0
    };
    const orv_datetime_t kNone{kSentinel, kSentinel, kSentinel, kSentinel,
                               kSentinel, kSentinel, kSentinel, kSentinel};
    const Row rows[] = {
        {"2020-01-02 12:30:45", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 0}},
        {"2020-01-02T12:30:45Z", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 0}},
        {"2020-01-02 12:30", kAny, 1, {2020, 1, 2, 0, 12, 30, 0, 0}},
        {"12:30:45 2020-01-02", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 0}},
        {"1:02PM 2020-01-02", kAny, 1, {2020, 1, 2, 0, 13, 2, 0, 0}},
        {"12:30:45.5+08:00 2020-01-02", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 500}},
        {"02/JAN/2020 12:30:45", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 0}},
        {"2020-01-02 12:30:45 (UTC)", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 0}},
        {"2020-01-02   12:30:45", kAny, 1, {2020, 1, 2, 0, 12, 30, 45, 0}},
        {"20-01-02 12:30", kDay, 1, {2002, 1, 20, 0, 12, 30, 0, 0}},
        {"20-01-02 12:30", kYear, 1, {2020, 1, 2, 0, 12, 30, 0, 0}},
        {"20-01-02 12:30", kFirst, 0, kNone},
        {"2020-01-02", kAny, 0, kNone},
        {"12:30:45", kAny, 0, kNone},
        {"2020-01-02 12", kAny, 0, kNone},
        {"2020-01-02+12:30:45", kAny, 0, kNone},
        {"2020-01-02Z12:30:45", kAny, 0, kNone},
        {"1:02 PM 2020-01-02", kAny, 0, kNone},
        {"2020-01-32 12:30", kAny, 0, kNone},
        {"2020-01-02 24:00", kAny, 0, kNone},
        {"", kAny, 0, kNone},
        {nullptr, kAny, 0, kNone},
    };
    for (const Row &row : rows) {
        for (int order : row.orders) {
            SCOPED_TRACE(::testing::Message() << "'" << Show(row.text) << "' order " << order);
            orv_datetime_t out = kNone;
            ASSERT_EQ(orv_string_to_datetime(row.text, order, &out), row.ok);
            EXPECT_EQ(0, std::memcmp(&out, &row.want, sizeof out))
                << out.year << "-" << out.month << "-" << out.day << " w" << out.weekday << " "
                << out.hour << ":" << out.minute << ":" << out.second << "." << out.millisecond;
        }
    }
    EXPECT_EQ(orv_string_to_datetime("2020-01-02 12:30", 1, nullptr), 0);
}

// ---- Drivers ----------------------------------------------------------------------

TEST(Datetext, DriversFillOnlyWhatTheyRead) {
    const char *const text = "2020-01-02 12:30:45.5";
    orv_datetime_text_t r = FilledResult();
    ASSERT_EQ(parseDateText(text, 1, &r), 0);
    EXPECT_EQ(r.has_date, 1);
    EXPECT_EQ(r.has_time, 0);
    EXPECT_EQ(r.year, 2020);
    EXPECT_EQ(r.hour, 0);
    EXPECT_EQ(r.msec, 0);

    r = FilledResult();
    ASSERT_EQ(parseTimeText(text, &r), 0);
    EXPECT_EQ(r.has_date, 0);
    EXPECT_EQ(r.has_time, 1);
    EXPECT_EQ(r.year, 0);
    EXPECT_EQ(r.hour, 12);
    EXPECT_EQ(r.msec, 500);

    r = FilledResult();
    ASSERT_EQ(parseDateTimeText(text, 1, &r), 0);
    EXPECT_EQ(r.has_date, 1);
    EXPECT_EQ(r.has_time, 1);
    EXPECT_EQ(r.month, 1);
    EXPECT_EQ(r.day, 2);
    EXPECT_EQ(r.year, 2020);
    EXPECT_EQ(r.hour, 12);
    EXPECT_EQ(r.minute, 30);
    EXPECT_EQ(r.second, 45);
    EXPECT_EQ(r.usec, 500000);
    EXPECT_EQ(r.zone_sign, 0);
    EXPECT_EQ(r.tail, nullptr);
}

TEST(Datetext, DriverFailureLeavesResultAlone) {
    struct Row {
        const char *text;
        int (*parse)(const char *text, orv_datetime_text_t *result);
    };
    const Row rows[] = {
        {"2020-13-01", [](const char *t, orv_datetime_text_t *r) { return parseDateText(t, 1, r); }},
        {"2020-01", [](const char *t, orv_datetime_text_t *r) { return parseDateText(t, 1, r); }},
        {nullptr, [](const char *t, orv_datetime_text_t *r) { return parseDateText(t, 1, r); }},
        {"24:00", parseTimeText},
        {"12:30:45+08", parseTimeText},  // the zone is refused after the sign was seen
        {nullptr, parseTimeText},
        {"2020-01-02 12", [](const char *t, orv_datetime_text_t *r) { return parseDateTimeText(t, 1, r); }},
        {"2020-01-02 12:60", [](const char *t, orv_datetime_text_t *r) { return parseDateTimeText(t, 1, r); }},
        {nullptr, [](const char *t, orv_datetime_text_t *r) { return parseDateTimeText(t, 1, r); }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << Show(row.text) << "'");
        const orv_datetime_text_t before = FilledResult();
        orv_datetime_text_t result = before;
        EXPECT_EQ(row.parse(row.text, &result), 1);
        EXPECT_TRUE(SameResult(result, before));
    }
    EXPECT_EQ(parseDateText("2020-01-02", 1, nullptr), 1);
    EXPECT_EQ(parseTimeText("12:30", nullptr), 1);
    EXPECT_EQ(parseDateTimeText("2020-01-02 12:30", 1, nullptr), 1);
}

TEST(Datetext, TailPointsAtTheParenthesis) {
    struct Row {
        const char *text;
        int (*parse)(const char *text, orv_datetime_text_t *result);
        long offset;  // of the "(", or -1 for no tail
    };
    auto date = [](const char *t, orv_datetime_text_t *r) { return parseDateText(t, 1, r); };
    auto both = [](const char *t, orv_datetime_text_t *r) { return parseDateTimeText(t, 1, r); };
    const Row rows[] = {
        {"2020-01-02 (remark)", date, 11},
        {"2020-01-02 12:30:45 (UTC)", both, 20},
        {"12:30:45 (x)", parseTimeText, 9},
        {"12:30:45Z(x)", parseTimeText, 9},
        {"12:30:45(x)", parseTimeText, -1},  // the scan ended on a failed token
        {"12:30:45", parseTimeText, -1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "'");
        orv_datetime_text_t result = FilledResult();
        ASSERT_EQ(row.parse(row.text, &result), 0);
        if (row.offset < 0) {
            EXPECT_EQ(result.tail, nullptr);
        } else {
            EXPECT_EQ(result.tail, row.text + row.offset);
        }
    }
}

// ---- The scanner -------------------------------------------------------------------

TEST(Datetext, NextDateToken) {
    struct Row {
        const char *text;
        char prev;
        long next;  // offset of the returned position, -1 for null
        int32_t digits, value;
        char delim;
        const char *token_text;  // null: not checked
    };
    const Row rows[] = {
        {"12:30", ' ', 3, 2, 12, ':', "12"},
        {"2020-01", ' ', 5, 4, 2020, '-', "2020"},
        {"2020/01", ' ', 5, 4, 2020, '-', "2020"},  // "/" reads as "-"
        {"  7 x", ' ', 4, 1, 7, ' ', "7"},
        {"7", ' ', 1, 1, 7, ' ', "7"},  // stays on the terminator
        {"7\t\tx", ' ', 2, 1, 7, ' ', "7"},
        {"5+", '.', 2, 1, 5, '+', "5"},
        // Only 1, 2 and 4 digits stand outside a fraction; 10 never do.
        {"123:", ' ', -1, 3, 123, ' ', "123"},
        {"12345:", ' ', -1, 5, 12345, ' ', "12345"},
        {"123456789", ' ', -1, 9, 123456789, ' ', "123456789"},
        {"1234567890", ' ', -1, 10, 1234567890, ' ', "1234567890"},
        {"1234567890", '.', -1, 10, 1234567890, ' ', "1234567890"},
        {"123", '.', 3, 3, 123, ' ', "123"},
        {"123456789", '.', 9, 8, 123456789, ' ', "123456789"},  // 9 is kept for month names
        {"12345678+", '.', 9, 8, 12345678, '+', "12345678"},
        {"5.", '.', 2, 1, 5, '.', "5"},
        // A full stop behind the digits is stepped over before these exact characters.
        {"45.", ' ', 3, 2, 45, ' ', "45"},
        {"45. x", ' ', 4, 2, 45, ' ', "45"},
        {"45.+1", ' ', 4, 2, 45, '+', "45"},
        {"45.T1", ' ', 4, 2, 45, 'T', "45"},
        {"45.Z", ' ', 4, 2, 45, 'Z', "45"},
        {"45.5", ' ', 3, 2, 45, '.', "45"},
        {"45.z", ' ', 3, 2, 45, '.', "45"},
        {"45.\t", ' ', 3, 2, 45, '.', "45"},
        {"12T30", ' ', 3, 2, 12, 'T', "12"},
        {"12t3", ' ', 3, 2, 12, 'T', "12"},
        {"12Tx", ' ', -1, 2, 12, 'T', "12"},
        {"12Z", ' ', 3, 2, 12, 'Z', "12"},
        {"12z ", ' ', 3, 2, 12, 'Z', "12"},
        {"12Z(", ' ', 3, 2, 12, 'Z', "12"},
        {"12Zx", ' ', -1, 2, 12, 'Z', "12"},
        {"02PM", ' ', 4, 2, 2, 'P', "02"},
        {"02pm ", ' ', 4, 2, 2, 'P', "02"},
        {"02Am", ' ', 4, 2, 2, 'A', "02"},
        {"02P", ' ', 3, 2, 2, 'P', "02"},
        {"02P.M.", ' ', 3, 2, 2, 'P', "02"},
        {"02AMX", ' ', -1, 2, 2, 'A', "02"},
        {"02A1", ' ', -1, 2, 2, 'A', "02"},
        {"02PX", ' ', -1, 2, 2, 'P', "02"},
        {"12(", ' ', -1, 2, 12, '(', "12"},
        {"12X-", ' ', -1, 2, 12, 'X', nullptr},
        // Month names.
        {"JAN-02", ' ', 4, 9, 1, '-', "JAN"},
        {"dec/5", ' ', 4, 9, 12, '-', "DEC"},
        {"12JAN-", ' ', 6, 9, 1, '-', "JAN"},
        {"JAN", ' ', -1, 0, 0, ' ', ""},
        {"JANUARY-", ' ', -1, 0, 0, ' ', ""},
        {"JAN 02", ' ', -1, 0, 0, ' ', ""},
        {"FOO-", ' ', -1, 0, 0, ' ', nullptr},
        {"xyz", ' ', -1, 0, 0, ' ', ""},
        {"", ' ', -1, 0, 0, ' ', ""},
        {"   ", ' ', -1, 0, 0, ' ', ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << "'" << row.text << "' prev '" << row.prev << "'");
        orv_date_token_t token;
        std::memset(&token, 0x5A, sizeof token);
        const char *next = nextDateToken(row.text, row.prev, &token);
        if (row.next < 0) {
            EXPECT_EQ(next, nullptr);
        } else {
            EXPECT_EQ(next, row.text + row.next);
        }
        EXPECT_EQ(token.digits, row.digits);
        EXPECT_EQ(token.value, row.value);
        EXPECT_EQ(token.delim, row.delim);
        if (row.token_text != nullptr) {
            EXPECT_STREQ(token.text, row.token_text);
        }
    }
}

TEST(Datetext, NextDateTokenResetsAfterAStop) {
    orv_date_token_t token;
    std::memset(&token, 0x5A, sizeof token);
    EXPECT_EQ(nextDateToken(nullptr, ' ', &token), nullptr);
    EXPECT_EQ(token.digits, 0);
    EXPECT_EQ(token.value, 0);
    EXPECT_EQ(token.scale, 1);
    EXPECT_EQ(token.delim, ' ');
    EXPECT_STREQ(token.text, "");
    EXPECT_EQ(nextDateToken("12:30", ' ', nullptr), nullptr);

    ASSERT_NE(nextDateToken("2020-", ' ', &token), nullptr);
    EXPECT_EQ(token.scale, 10000);
}

TEST(Datetext, MonthNamesAndDefaultOrder) {
    const char *const names[] = {"",    "JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                 "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
    for (int i = 0; i < 13; ++i) {
        SCOPED_TRACE(i);
        ASSERT_NE(g_month_names[i], nullptr);
        EXPECT_STREQ(g_month_names[i], names[i]);
    }
    EXPECT_EQ(getDateOrder(), 1);
}

// ---- Storing a date -------------------------------------------------------------------

TEST(Datetext, StoreDateValueByKeyAndOrder) {
    // Roles of the three tokens: M month, D day, Y year as written, y two digits.
    struct Group {
        std::vector<int> keys;
        const char *order2, *order3, *order1;
    };
    const Group groups[] = {
        {{111, 112, 121, 122, 211, 212, 221, 222}, "DMy", "yMD", "MDy"},
        {{114, 124, 214, 224}, "DMY", "MDY", "MDY"},
        {{191, 192, 291, 292}, "DMy", "yMD", "DMy"},
        {{194, 294}, "DMY", "DMY", "DMY"},
        {{411, 412, 421, 422}, "YMD", "YMD", "YMD"},
        {{491, 492}, "YMD", "YMD", "YMD"},
        {{911, 912, 921, 922}, "MDy", "MDy", "MDy"},
        {{914, 924}, "MDY", "MDY", "MDY"},
        {{0, 11, 110, 113, 115, 119, 131, 141, 144, 199, 311, 419, 444, 449, 494, 499,
          919, 941, 944, 991, 999, 511},
         nullptr, nullptr, nullptr},
    };
    for (const Group &group : groups) {
        for (int key : group.keys) {
            orv_date_token_t tokens[3];
            const int digits[3] = {key / 100, key / 10 % 10, key % 10};
            int32_t values[3];
            const char delims[3] = {'-', '-', ' '};
            for (int i = 0; i < 3; ++i) {
                values[i] = digits[i] == 4 ? 2020 : digits[i] == 9 ? 3 : i + 1;
                tokens[i] = Tok(digits[i], values[i], delims[i]);
            }
            for (int order : {1, 2, 3, 0, 7}) {
                SCOPED_TRACE(::testing::Message() << "key " << key << " order " << order);
                const char *roles = order == 2 ? group.order2 : order == 3 ? group.order3 : group.order1;
                orv_datetime_text_t result = FilledResult();
                const int rc = storeDateValue(tokens, order, &result);
                if (roles == nullptr) {
                    EXPECT_EQ(rc, 1);
                    EXPECT_EQ(result.has_date, 0);
                    EXPECT_EQ(result.year, 0);
                    continue;
                }
                int32_t year = 0, month = 0, day = 0;
                for (int i = 0; i < 3; ++i) {
                    const int32_t v = values[i];
                    switch (roles[i]) {
                        case 'M': month = v; break;
                        case 'D': day = v; break;
                        case 'Y': year = v; break;
                        default: year = v > 68 ? 1900 + v : 2000 + v; break;
                    }
                }
                ASSERT_EQ(rc, 0);
                EXPECT_EQ(result.year, year);
                EXPECT_EQ(result.month, month);
                EXPECT_EQ(result.day, day);
                EXPECT_EQ(result.has_date, 1);
            }
        }
    }
}

TEST(Datetext, StoreDateValueChecks) {
    struct Row {
        orv_date_token_t t0, t1, t2;
        int rc;
        int32_t year, month, day;
    };
    const Row rows[] = {
        {Tok(2, 12, '-'), Tok(2, 31, '-'), Tok(2, 69, ' '), 0, 1969, 12, 31},
        {Tok(2, 12, '-'), Tok(2, 31, '-'), Tok(2, 68, ' '), 0, 2068, 12, 31},
        {Tok(2, 12, '-'), Tok(2, 31, '-'), Tok(2, 99, 'T'), 0, 1999, 12, 31},
        {Tok(1, 1, '-'), Tok(1, 2, '-'), Tok(1, 5, ' '), 0, 2005, 1, 2},
        {Tok(1, 2, '-'), Tok(2, 31, '-'), Tok(2, 0, ' '), 0, 2000, 2, 31},
        {Tok(4, 1969, '-'), Tok(1, 1, '-'), Tok(1, 1, ' '), 0, 1969, 1, 1},
        {Tok(4, 1968, '-'), Tok(2, 12, '-'), Tok(2, 31, ' '), 1, 0, 0, 0},
        {Tok(1, 0, '-'), Tok(1, 1, '-'), Tok(2, 20, ' '), 1, 0, 0, 0},
        {Tok(2, 13, '-'), Tok(1, 1, '-'), Tok(2, 20, ' '), 1, 0, 0, 0},
        {Tok(1, 1, '-'), Tok(1, 0, '-'), Tok(2, 20, ' '), 1, 0, 0, 0},
        {Tok(1, 1, '-'), Tok(2, 32, '-'), Tok(2, 20, ' '), 1, 0, 0, 0},
        // Delimiters: "-", "-", then " " or "T".
        {Tok(1, 1, '-'), Tok(1, 2, '-'), Tok(1, 3, '-'), 1, 0, 0, 0},
        {Tok(1, 1, '-'), Tok(1, 2, '-'), Tok(1, 3, 'Z'), 1, 0, 0, 0},
        {Tok(1, 1, '-'), Tok(1, 2, '-'), Tok(1, 3, ':'), 1, 0, 0, 0},
        {Tok(1, 1, ':'), Tok(1, 2, '-'), Tok(1, 3, ' '), 1, 0, 0, 0},
        {Tok(1, 1, '-'), Tok(1, 2, ' '), Tok(1, 3, ' '), 1, 0, 0, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(::testing::Message() << row.t0.value << row.t0.delim << row.t1.value << row.t1.delim
                                          << row.t2.value << " then '" << row.t2.delim << "'");
        orv_date_token_t tokens[3] = {row.t0, row.t1, row.t2};
        orv_datetime_text_t result = FilledResult();
        EXPECT_EQ(storeDateValue(tokens, 1, &result), row.rc);
        EXPECT_EQ(result.year, row.year);
        EXPECT_EQ(result.month, row.month);
        EXPECT_EQ(result.day, row.day);
        EXPECT_EQ(result.has_date, row.rc == 0 ? 1 : 0);
        EXPECT_EQ(result.hour, FilledResult().hour) << "time fields are not the date's to clear";
    }

    orv_date_token_t tokens[3] = {Tok(1, 1, '-'), Tok(1, 2, '-'), Tok(1, 3, ' ')};
    EXPECT_EQ(storeDateValue(tokens, 1, nullptr), 1);
    orv_datetime_text_t result = FilledResult();
    EXPECT_EQ(storeDateValue(nullptr, 1, &result), 1);
    EXPECT_EQ(result.month, 0);
    EXPECT_EQ(result.day, 0);
    EXPECT_EQ(result.year, 0);
    EXPECT_EQ(result.has_date, 0);
}

// ---- Storing a time -----------------------------------------------------------------

TEST(Datetext, StoreTimeValueDirect) {
    // A "." with no digits behind it ends the time and becomes " " in place.
    orv_date_token_t stop[] = {Tok(2, 12, ':'), Tok(2, 30, ':'), Tok(2, 45, '.'), Tok(0, 0, ' ')};
    orv_datetime_text_t result = FilledResult();
    ASSERT_EQ(storeTimeValue(stop, &result), 0);
    EXPECT_EQ(stop[2].delim, ' ');
    EXPECT_EQ(result.second, 45);
    EXPECT_EQ(result.msec, 0);
    EXPECT_EQ(result.has_time, 1);
    EXPECT_EQ(result.year, FilledResult().year) << "date fields are not the time's to clear";

    // Ten fraction digits are refused.
    orv_date_token_t wide[] = {Tok(2, 12, ':'), Tok(2, 30, ':'), Tok(2, 45, '.'),
                               Tok(10, 123456789, ' ', "1234567890")};
    result = FilledResult();
    EXPECT_EQ(storeTimeValue(wide, &result), 1);

    // A refused zone may leave its sign behind.
    orv_date_token_t zone[] = {Tok(2, 12, ':'), Tok(2, 30, ':'), Tok(2, 45, '+'), Tok(2, 8, ' ')};
    result = FilledResult();
    EXPECT_EQ(storeTimeValue(zone, &result), 1);
    EXPECT_EQ(result.zone_sign, '+');
    EXPECT_EQ(result.has_time, 0);

    // An hour of 1 or 2 digits needs no ":" behind it.
    orv_date_token_t spaced[] = {Tok(2, 12, ' '), Tok(2, 30, ' ')};
    result = FilledResult();
    ASSERT_EQ(storeTimeValue(spaced, &result), 0);
    EXPECT_EQ(result.hour, 12);
    EXPECT_EQ(result.minute, 30);
    orv_date_token_t long_hour[] = {Tok(4, 12, ' '), Tok(2, 30, ' ')};
    EXPECT_EQ(storeTimeValue(long_hour, &result), 1);

    EXPECT_EQ(storeTimeValue(stop, nullptr), 1);
    result = FilledResult();
    EXPECT_EQ(storeTimeValue(nullptr, &result), 1);
    for (int32_t field : {result.hour, result.minute, result.second, result.msec, result.usec,
                          result.nsec, result.has_time, result.zone_hour, result.zone_minute}) {
        EXPECT_EQ(field, 0);
    }
    EXPECT_EQ(result.zone_sign, 0);
}

// The plain "YYYY-MM-DD HH:MM:SS" form is read in one pass; it must give
// what the token scan gives, byte for byte, accepted or refused. Every
// field is walked through values around its limits, with both separators,
// and near misses of the form must still reach the scan.
TEST(Datetext, OnePassFormAgreesWithTheScan) {
    const char *const years[] = {"0000", "1968", "1969", "2020", "2038", "9999"};
    const char *const twos[] = {"00", "01", "09", "12", "13", "23", "24", "31", "32", "59", "60", "99"};
    const char separators[] = {' ', 'T', 't'};
    auto agree = [](const std::string &text) {
        orv_datetime_text_t fast;
        orv_datetime_text_t scanned;
        std::memset(&fast, 0x5A, sizeof fast);
        std::memset(&scanned, 0x5A, sizeof scanned);
        const int fast_result = parseDateTimeText(text.c_str(), 1, &fast);
        const int scan_result = parseDateTimeTextScanned(text.c_str(), 1, &scanned);
        EXPECT_EQ(fast_result, scan_result) << text;
        // Field by field: padding is no part of the result.
        const auto fields = [](const orv_datetime_text_t &r) {
            return std::vector<long long>{r.month, r.day, r.year, r.hour, r.minute, r.second,
                                          r.msec, r.usec, r.nsec, r.zone_hour, r.zone_minute,
                                          r.zone_sign, r.has_date, r.has_time,
                                          static_cast<long long>(reinterpret_cast<intptr_t>(r.tail))};
        };
        EXPECT_EQ(fields(fast), fields(scanned)) << text;
    };
    int checked = 0;
    for (const char *year : years) {
        for (const char *two : twos) {
            for (char separator : separators) {
                // Each two-digit field in turn takes the value; the others
                // stay valid.
                for (int field = 0; field < 5; ++field) {
                    const char *f[5] = {"01", "02", "12", "30", "45"};
                    f[field] = two;
                    agree(std::string(year) + "-" + f[0] + "-" + f[1] + separator + f[2] + ":" +
                          f[3] + ":" + f[4]);
                    ++checked;
                }
            }
        }
    }
    for (const char *near : {"2020-01-02T12:30:45Z", "2020-01-02T12:30:4", "2020-01-02 12:30:45 ",
                             "2020/01/02 12:30:45", "2020-01-02  12:30:45", "2020-01-02T12:30:45.5",
                             "2020-1-02T12:30:45", "2020-01-02X12:30:45", "+020-01-02T12:30:45",
                             "2020-01-02T12-30:45"}) {
        agree(near);
        ++checked;
    }
    EXPECT_EQ(checked, 6 * 12 * 3 * 5 + 10);
}

}  // namespace
