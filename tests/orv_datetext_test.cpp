// Free-form date and time text, through the public reads wherever they show the behaviour;
// the parse drivers only for what they cannot.
#include "orvsys/orv_datetext.h"

#include <tuple>
#include <vector>

#include "internal/datetext.h"
#include "support/orv_test.h"

namespace {

using orv::internal::nextDateToken;
using orv_test::DateOf;
using orv_test::Fields;
using orv_test::TimeOf;

// Every field of a parse result, the tail as an offset into text.
std::string Fields(const orv_datetime_text_t &r, const char *text) {
    char out[160];
    std::snprintf(out, sizeof out, "%d-%d-%d %d:%d:%d.%d/%d/%d %c%d:%d %d%d @%ld", r.year, r.month,
                  r.day, r.hour, r.minute, r.second, r.msec, r.usec, r.nsec,
                  r.zone_sign == 0 ? '_' : r.zone_sign, r.zone_hour, r.zone_minute, r.has_date,
                  r.has_time, r.tail == nullptr ? -1L : long(r.tail - text));
    return out;
}

template <class Record>
Record Filled() {
    Record record;
    std::memcpy(&record, orv_test::Sentinel<sizeof record>().bytes, sizeof record);
    return record;
}

// Date orders: any; month first (1 and the values that act as it); day; year.
using Orders = std::vector<int>;
const Orders kAny = {1, 2, 3, 0, 7, -1}, kFirst = {1, 0, 7}, kDay = {2}, kYear = {3};
const Orders kFirstOrYear = {1, 3, 0, 7}, kFirstOrDay = {1, 2, 0, 7};

// Each text through the date read (year 0: refused) in each order, the time read (hour -1:
// refused) and both, which pass where both pass; a refusal leaves the record alone. A four-digit
// token is the year, a month name the month; the order settles the rest. A zone is never applied.
TEST(Datetext, PublicReads) {
    // clang-format off
    struct Row { const char *text;
                 struct { int32_t year = 0, month = 0, day = 0; } date = {};
                 struct { int32_t hour = -1, minute = 0, second = 0, millisecond = 0; } time = {};
                 const Orders &orders = kAny; };
    const Row rows[] = {
        {"1-2-3", {2003, 1, 2}, {}, kFirst}, {"1-2-3", {2003, 2, 1}, {}, kDay},
        {"1-2-3", {2001, 2, 3}, {}, kYear}, {"12-30-45", {2045, 12, 30}, {}, kFirst},
        {"20-01-02 12:30", {2002, 1, 20}, {12, 30}, kDay},
        {"20-01-02 12:30", {2020, 1, 2}, {12, 30}, kYear}, {"20-01-02 12:30", {}, {12, 30}, kFirst},
        {"12-25-2020", {2020, 12, 25}, {}, kFirstOrYear}, {"12-25-2020", {}, {}, kDay},
        {"12/25/68", {2068, 12, 25}, {}, kFirst}, {"12/25/69", {1969, 12, 25}, {}, kFirst},
        {"20-MAR-05", {2005, 3, 20}, {}, kFirstOrDay}, {"20-MAR-05", {2020, 3, 5}, {}, kYear},
        {"2020/1/2", {2020, 1, 2}}, {"jan/02/20", {2020, 1, 2}}, {"02-Feb-2020", {2020, 2, 2}},
        {"2020-MAR-05", {2020, 3, 5}}, {"2020-02-31", {2020, 2, 31}},
        {"12:30-2020-01-02", {2020, 1, 2}}, {"99:99 2020-01-02", {2020, 1, 2}},
        {"2020-01-02T", {2020, 1, 2}},  // the failed last token keeps its "T"
        {"12JAN-02-2020", {2020, 1, 2}},  // digits before a month name are dropped
        {"12APR-02-2020"},  // "A" taken for a clock marker
        {"2020.01.02"}, {"2020-01"}, {"123-01-02"}, {"12345-01-02"}, {"1968-1-2"}, {"2020-13-01"},
        {"2020-00-10"}, {"2020-01-00"}, {"JANUARY-2-2020"}, {"2020-01-02Z"}, {"2020-01-02-03"},
        {"1-2020-3"}, {"2020-MAR-2020"}, {"MAR-MAR-3"}, {""}, {nullptr},
        {"2020-01-32 12:30", {}, {12, 30}}, {"12:30 1-2", {}, {12, 30}}, {"1:2:3", {}, {1, 2, 3}},
        {"12:30 123 2020-01-02", {}, {12, 30}}, {"0012:30", {}, {12, 30}},  // no date past a stop
        {"12:30 12345 2020-01-02", {}, {12, 30}}, {"1:2 3 4 5 6 7 8 12-25-2020", {}, {1, 2}},
        {"23:59:59.999", {}, {23, 59, 59, 999}}, {"12:30:45.123456789", {}, {12, 30, 45, 123}},
        {"12:30:45. 2020-01-02", {2020, 1, 2}, {12, 30, 45}}, {"12:30:45+0800", {}, {12, 30, 45}},
        {"12:30:45+8:00", {}, {12, 30, 45}}, {"12:30:45+23:59", {}, {12, 30, 45}},
        {"1:02p", {}, {13, 2}}, {"1:02P.M.", {}, {13, 2}}, {"1:02AM", {}, {1, 2}},
        {"12:02AM", {}, {0, 2}}, {"12:02PM", {}, {12, 2}}, {"1:02:03PM", {}, {13, 2, 3}},
        {"9999-99-99 12:30:45", {}, {12, 30, 45}}, {"12:30:45 trailing", {}, {12, 30, 45}},
        {"1:02PM 2020-01-02", {2020, 1, 2}, {13, 2}}, {"2020-01-02 12 30", {2020, 1, 2}, {12, 30}},
        {"2020-01-02T12:30:45Z", {2020, 1, 2}, {12, 30, 45}},
        {"2020-01-02.T12:30:45", {2020, 1, 2}, {12, 30, 45}},  // a full stop, not a fraction
        {"DEC-25-20", {2020, 12, 25}, {}, kFirst},
        {"02/JAN/2020   12:30:45 (UTC)", {2020, 1, 2}, {12, 30, 45}},
        {"12:30:45.5+08:00 2020-01-02", {2020, 1, 2}, {12, 30, 45, 500}},
        {"12:30:45Z 2020-01-02", {2020, 1, 2}, {12, 30, 45}},
        // Accepted, but part of what they say has no effect.
        {"1:02 PM 2020-01-02", {}, {1, 2}},  // the marker does not touch the digits
        {"1:02:03.5PM", {}, {1, 2, 3, 500}},  // no marker behind a fraction
        {"12:30:45AMX", {}, {0, 30, 45}},  // the failed token keeps its "A"
        {"12:30:"}, {"12:30.5"}, {"12:30T"}, {"12:30A1"}, {"12:30AMZ"}, {"13:02PM"}, {"0:02AM"},
        {"24:00:00"}, {"23:60:00"}, {"23:59:60"}, {"2020:30:00"}, {"123:00"}, {"12:345"},
        {"12.30.45"}, {"12:30:45+08"}, {"12:30:45+08:0"}, {"12:30:45+24:00"}, {"12:30:45+23:60"},
        {"12:30:45+0"}, {"12:30:45+000"}, {"2020-01-02+12:30:45"}, {"2020-01-02Z12:30:45"},
        {"12:30:45.1234567890"}, {"2020-01-02 12", {2020, 1, 2}},
        {"2020-01-02 0012 30", {2020, 1, 2}}, {"2020-01-02 24:00", {2020, 1, 2}},
    };
    // clang-format on
    const orv_datetime_t none{-7, -7, -7, -7, -7, -7, -7, -7};
    for (const Row &row : rows) {
        const bool date_ok = row.date.year != 0, time_ok = row.time.hour >= 0;
        const orv_datetime_t want{
            row.date.year, row.date.month,  row.date.day,    0,
            row.time.hour, row.time.minute, row.time.second, row.time.millisecond};
        for (int order : row.orders) {
            SCOPED_TRACE(testing::Message() << (row.text ? row.text : "null") << " @" << order);
            orv_date_t date = DateOf(none);
            orv_time_t time = TimeOf(none);
            orv_datetime_t both = none;
            EXPECT_EQ(std::tuple(orv_string_to_date(row.text, order, &date),
                                 orv_string_to_time(row.text, &time),
                                 orv_string_to_datetime(row.text, order, &both)),
                      std::tuple(int{date_ok}, int{time_ok}, int{date_ok && time_ok}));
            EXPECT_EQ(Fields(date, time),
                      Fields(DateOf(date_ok ? want : none), TimeOf(time_ok ? want : none)));
            EXPECT_EQ(Fields(both), Fields(date_ok && time_ok ? want : none));
        }
    }
    EXPECT_EQ(0, orv_string_to_date("1-2-3", 1, nullptr) + orv_string_to_time("12:30", nullptr) +
                     orv_string_to_datetime("1-2-3 12:30", 1, nullptr));
    EXPECT_EQ(getDateOrder(), 1);
}

// What the public records drop: the fraction is cut, never rounded, to three, six and nine
// digits; the zone is kept as written; the tail is the "(" that stopped the scan. A part not
// asked for stays zero.
int Parse(char part, const char *text, orv_datetime_text_t *result) {
    return part == 'd'   ? orv::internal::parseDateText(text, 1, result)
           : part == 't' ? orv::internal::parseTimeText(text, result)
                         : orv::internal::parseDateTimeText(text, 1, result);
}
TEST(Datetext, Drivers) {
    // clang-format off
    const struct { const char *text; char part; const char *want; } rows[] = {
        {"12:30:45.0000005z", 't', "0-0-0 12:30:45.0/0/500 Z0:0 01 @-1"},
        {"1:02:03.25PM", 't', "0-0-0 1:2:3.250/250000/250000000 _0:0 01 @-1"},
        {"12:30:45-0530", 't', "0-0-0 12:30:45.0/0/0 -5:30 01 @-1"},
        {"12:30:45+9999", 't', "0-0-0 12:30:45.0/0/0 +99:99 01 @-1"},
        {"12:30:45Z(x)", 't', "0-0-0 12:30:45.0/0/0 Z0:0 01 @9"},
        {"2020-01-02 (remark) 12:30", 'd', "2020-1-2 0:0:0.0/0/0 _0:0 10 @11"},
        {"2020-01-02T12:30:45.5Z(UTC)", 'b', "2020-1-2 12:30:45.500/500000/500000000 Z0:0 11 @22"},
    };
    // clang-format on
    for (const auto &row : rows) {
        auto result = Filled<orv_datetime_text_t>();
        EXPECT_EQ(Parse(row.part, row.text, &result), 0) << row.text;
        EXPECT_EQ(Fields(result, row.text), row.want) << row.text;
    }
    auto r = Filled<orv_datetime_text_t>();
    EXPECT_EQ(6, Parse('d', nullptr, &r) + Parse('t', nullptr, &r) + Parse('b', nullptr, &r) +
                     Parse('d', "2020-01-02", nullptr) + Parse('t', "12:30", nullptr) +
                     Parse('b', "2020-01-02 12:30", nullptr));
    // The store operations refuse null tokens, after clearing their own fields.
    EXPECT_EQ(4, storeDateValue(nullptr, 1, &r) + storeTimeValue(nullptr, &r) +
                     storeDateValue(nullptr, 1, nullptr) + storeTimeValue(nullptr, nullptr));
}

// The scanner and the store operations as a caller drives them: a token is reset first; its text
// copies the digits, or the month name over them; ten digits fail at once, wrapped.
TEST(Datetext, CallerTokens) {
    // clang-format off
    const struct { const char *text; char prev; const char *want; } rows[] = {
        {" 2020-", ' ', "4 2020 10000 - 2020 @6"}, {"12jan/", ' ', "9 1 100 - JAN @6"},
        {"123456789Z", '.', "8 123456789 1000000000 Z 123456789 @10"}, {" ", ' ', "0 0 1    @-1"},
        {"9999999999", ' ', "10 1410065407 1410065408   9999999999 @-1"}};
    // clang-format on
    for (const auto &row : rows) {
        auto t = Filled<orv_date_token_t>();
        const char *next = nextDateToken(row.text, row.prev, &t);
        char got[80];
        std::snprintf(got, sizeof got, "%d %d %d %c %s @%d", t.digits, t.value, t.scale, t.delim,
                      t.text, next == nullptr ? -1 : int(next - row.text));
        EXPECT_STREQ(got, row.want) << row.text;
    }
    orv_date_token_t tokens[10];  // and read by the store operations, fraction text included
    const char *at = "JAN-02-20 12:30:45.5-01:00";
    char prev = ' ';
    for (orv_date_token_t &t : tokens) prev = (at = nextDateToken(at, prev, &t)) ? t.delim : prev;
    orv_datetime_text_t r{};
    EXPECT_EQ(storeDateValue(tokens, 1, &r) + storeTimeValue(tokens + 3, &r), 0);
    EXPECT_EQ(Fields(r, nullptr), "2020-1-2 12:30:45.500/500000/500000000 -1:0 11 @-1");
}

}  // namespace
