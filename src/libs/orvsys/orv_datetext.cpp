// Free-form date and time text.
//
// One scanner cuts the text into at most ten tokens; three drivers tell a
// date-first from a time-first text and pick the token slices; two store
// operations decide which token is which field and check the ranges.
// Everything works on the caller's stack.
#include "orvsys/orv_datetext.h"

#include <cctype>
#include <cstring>

#include "internal/datetext.h"

const char *const g_month_names[13] = {"",    "JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                       "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

namespace {

constexpr int kMaxTokens = 10;
constexpr int kMaxDigits = 10;       // a token reaching this many digits fails
constexpr int kMonthNameDigits = 9;  // the digit count that marks a month name
constexpr int kTwoDigitYearPivot = 68;
constexpr int kMinYear = 1969;
constexpr int kDefaultOrder = 1;
constexpr int kDayFirst = 2;
constexpr int kYearFirst = 3;

bool is_space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool is_digit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool is_alnum(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }
char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

void reset_token(orv_date_token_t *token) {
    token->digits = 0;
    token->value = 0;
    token->scale = 1;
    token->delim = ' ';
    std::memset(token->text, 0, sizeof token->text);
}

// Characters behind a number that make a "." a full stop, not a fraction.
bool ends_sentence(char c) {
    return c == '\0' || c == ' ' || c == '+' || c == '-' || c == 'T' || c == 'Z';
}

// Three letters at position, then "-" or "/": a month name ends the token.
const char *scan_month_name(const char *position, orv_date_token_t *token) {
    for (int i = 0; i < 3; ++i) {
        if (position[i] == '\0') return nullptr;
    }
    if (position[3] != '-' && position[3] != '/') return nullptr;
    for (int i = 0; i < 3; ++i) token->text[i] = upper(position[i]);
    token->text[3] = '\0';
    for (int month = 1; month <= 12; ++month) {
        if (std::strcmp(token->text, g_month_names[month]) == 0) {
            token->delim = '-';
            token->value = month;
            token->digits = kMonthNameDigits;
            return position + 4;
        }
    }
    return nullptr;
}

// What ends a token of digits. Returns the position behind the delimiter,
// or null to try a month name at position (delim as set) when
// *try_month_name is set, else to fail the token.
const char *scan_delimiter(const char *position, orv_date_token_t *token, bool *try_month_name) {
    *try_month_name = false;
    token->delim = upper(*position);
    if (*position == '\0') {
        token->delim = ' ';
        return position;
    }
    if (is_space(*position)) {
        token->delim = ' ';
        return position + 1;
    }
    switch (token->delim) {
    case ':':
    case '.':
    case '-':
    case '+': return position + 1;
    case '/': token->delim = '-'; return position + 1;
    case 'T':
        if (is_digit(position[1])) return position + 1;
        break;
    case 'Z':
        if (static_cast<unsigned char>(position[1]) <= ' ' || position[1] == '(') return position + 1;
        break;
    case 'A':
    case 'P':
        // A clock marker must touch the digits and end there: "P", "PM".
        if (!is_alnum(position[1])) return position + 1;
        if (upper(position[1]) == 'M' && !is_alnum(position[2])) return position + 2;
        return nullptr;
    default: break;
    }
    *try_month_name = true;
    return nullptr;
}

// The token slice of a date: the key is the three digit counts.
enum class Field : char { Month = 'M', Day = 'D', Year = 'Y', ShortYear = 'y' };

struct DateLayout {
    const char *counts[3];  // digit counts each token may have
    const char *by_order[3];  // meaning of the three tokens for order 1, 2, 3
};

// Two-digit fields ("1" or "2" digits) are ambiguous; a four-digit field is
// the year and a month name the month, and the order settles the rest.
constexpr DateLayout kDateLayouts[] = {
    {{"12", "12", "12"}, {"MDy", "DMy", "yMD"}},
    {{"12", "12", "4"}, {"MDY", "DMY", "MDY"}},
    {{"12", "9", "12"}, {"DMy", "DMy", "yMD"}},
    {{"12", "9", "4"}, {"DMY", "DMY", "DMY"}},
    {{"4", "12", "12"}, {"YMD", "YMD", "YMD"}},
    {{"4", "9", "12"}, {"YMD", "YMD", "YMD"}},
    {{"9", "12", "12"}, {"MDy", "MDy", "MDy"}},
    {{"9", "12", "4"}, {"MDY", "MDY", "MDY"}},
};

bool count_matches(const char *allowed, int32_t digits) {
    for (; *allowed != '\0'; ++allowed) {
        if (digits == *allowed - '0') return true;
    }
    return false;
}

// The meanings of three date tokens for the order, or null for a key the
// table does not have.
const char *date_meaning(const orv_date_token_t *tokens, int order) {
    const int column = order == kDayFirst ? 1 : order == kYearFirst ? 2 : 0;
    for (const DateLayout &layout : kDateLayouts) {
        if (count_matches(layout.counts[0], tokens[0].digits) &&
            count_matches(layout.counts[1], tokens[1].digits) &&
            count_matches(layout.counts[2], tokens[2].digits)) {
            return layout.by_order[column];
        }
    }
    return nullptr;
}

int32_t widen_year(int32_t two_digits) {
    return two_digits + (two_digits > kTwoDigitYearPivot ? 1900 : 2000);
}

// The fraction's first `width` characters, right-padded with "0"; text that
// is not digits reads as 0. Cut, never rounded.
int32_t fraction_digits(const char *text, int width) {
    int32_t value = 0;
    for (int i = 0; i < width; ++i) {
        const char c = *text != '\0' ? *text++ : '0';
        if (!is_digit(c)) return 0;
        value = value * 10 + (c - '0');
    }
    return value;
}

bool one_or_two_digits(const orv_date_token_t &token) {
    return token.digits == 1 || token.digits == 2;
}

// An hour-like token: two digits at most, or anything ended by ":".
bool hour_token(const orv_date_token_t &token) {
    return token.delim == ':' || one_or_two_digits(token);
}

struct ZoneOffset {
    int32_t hour = 0;
    int32_t minute = 0;
};

// The zone designator behind the time; i is on the token whose delim
// announced it. The sign goes to result at once (a later failure leaves it
// there); the offset only into *zone. Returns false when malformed.
bool read_zone(const orv_date_token_t *tokens, int i, orv_datetime_text_t *result,
               ZoneOffset *zone) {
    const char sign = tokens[i].delim;
    if (sign == 'Z') {
        result->zone_sign = 'Z';
        return true;
    }
    if (sign != '+' && sign != '-') return true;
    result->zone_sign = sign;
    const orv_date_token_t &hours = tokens[++i];
    if (hours.delim == ' ' || hours.delim == 'T') {
        // "+hhmm", with no range check.
        if (hours.digits != 4) return false;
        zone->hour = hours.value / 100;
        zone->minute = hours.value % 100;
        return true;
    }
    if (!hour_token(hours)) return false;
    const orv_date_token_t &minutes = tokens[++i];
    if (minutes.digits != 2) return false;
    zone->hour = hours.value;
    zone->minute = minutes.value;
    return hours.value >= 0 && hours.value <= 23 && minutes.value >= 0 && minutes.value <= 59;
}

// The parse result into the caller's fields; weekday is never worked out.
void copy_date(const orv_datetime_text_t &parsed, int32_t *year, int32_t *month, int32_t *day,
               int32_t *weekday) {
    *year = parsed.year;
    *month = parsed.month;
    *day = parsed.day;
    *weekday = 0;
}

void copy_time(const orv_datetime_text_t &parsed, int32_t *hour, int32_t *minute,
               int32_t *second, int32_t *millisecond) {
    *hour = parsed.hour;
    *minute = parsed.minute;
    *second = parsed.second;
    *millisecond = parsed.msec;
}

// The token array and what the scan found.
struct Scan {
    orv_date_token_t tokens[kMaxTokens];
    int count;
    orv_datetime_text_t result;
};

enum class Shape { Unknown, DateFirst, TimeFirst };

// The common front of the drivers. A null position from the scanner does
// not end the loop: the remaining tokens come out reset. A "(" behind a
// token ends it and leaves the remaining tokens all zero.
void scan_text(const char *text, Scan *scan) {
    const char *position = text;
    char prev = ' ';
    for (int i = 0; i < kMaxTokens; ++i) {
        position = nextDateToken(position, prev, &scan->tokens[i]);
        if (position == nullptr) continue;
        prev = scan->tokens[i].delim;
        ++scan->count;
        if (*position == '(') {
            scan->result.tail = position;
            break;
        }
    }
}

Shape shape_of(const Scan &scan) {
    const char first = scan.tokens[0].delim;
    const char second = scan.tokens[1].delim;
    if (first == '-' && second == '-') return Shape::DateFirst;
    if (first == ':' && std::strchr(" :Z+-AP", second) != nullptr && second != '\0') {
        return Shape::TimeFirst;
    }
    return Shape::Unknown;
}

// In a time-first text, the first pair of "-" tokens from index 2 on.
int find_date(const Scan &scan) {
    for (int i = 2; i < scan.count - 1; ++i) {
        if (scan.tokens[i].delim == '-' && scan.tokens[i + 1].delim == '-') return i;
    }
    return -1;
}

// A date-first text with a time: the date ends in " " or "T".
bool time_follows_date(const Scan &scan) {
    return scan.tokens[2].delim == ' ' || scan.tokens[2].delim == 'T';
}

enum Parts { kDate = 1, kTime = 2 };

// The three drivers in one: which parts to store decides the least count
// and the token slices. result is written only on success.
int parse_tokens(const char *text, int order, int parts, orv_datetime_text_t *result) {
    Scan scan;
    std::memset(&scan, 0, sizeof scan);
    if (text == nullptr || result == nullptr) return 1;
    scan_text(text, &scan);

    const Shape shape = shape_of(scan);
    const bool wants_time = (parts & kTime) != 0;
    const bool wants_date = (parts & kDate) != 0;
    int date_at = -1;
    int time_at = -1;
    if (shape == Shape::DateFirst) {
        // A time behind the date needs the date and at least two time tokens.
        if (wants_time) {
            if (scan.count < 5 || !time_follows_date(scan)) return 1;
            time_at = 3;
        } else if (scan.count < 2) {
            return 1;
        }
        date_at = 0;
    } else if (shape == Shape::TimeFirst) {
        if (scan.count < (wants_date && wants_time ? 5 : 2)) return 1;
        time_at = 0;
        if (wants_date) {
            date_at = find_date(scan);
            if (date_at < 0) return 1;
        }
    } else {
        return 1;
    }

    if (wants_date && storeDateValue(&scan.tokens[date_at], order, &scan.result) != 0) return 1;
    if (wants_time && storeTimeValue(&scan.tokens[time_at], &scan.result) != 0) return 1;
    *result = scan.result;
    return 0;
}

bool ascii_digits(const char *text, int count) {
    for (int i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    return true;
}

int32_t two_digits(const char *text) { return (text[0] - '0') * 10 + (text[1] - '0'); }

// The machine-written form "YYYY-MM-DD HH:MM:SS" (or with "T"), alone in
// the text, read in one pass. The token scan reads exactly these six
// tokens from it (key 422, so year-month-day in every order, no marker,
// fraction or zone) and applies exactly these range checks, so the result
// is the same; any other text takes the scan.
enum class Fast { NotThisForm, Done, Failed };

Fast parse_iso_datetime(const char *text, orv_datetime_text_t *result) {
    // The digit and mark tests stop at a terminator, so text[19] is read
    // only when the 19 bytes before it are there.
    if (!ascii_digits(text, 4) || text[4] != '-' || !ascii_digits(text + 5, 2) ||
        text[7] != '-' || !ascii_digits(text + 8, 2) ||
        (text[10] != 'T' && text[10] != 't' && text[10] != ' ') || !ascii_digits(text + 11, 2) ||
        text[13] != ':' || !ascii_digits(text + 14, 2) || text[16] != ':' ||
        !ascii_digits(text + 17, 2) || text[19] != '\0') {
        return Fast::NotThisForm;
    }
    const int32_t year = (text[0] - '0') * 1000 + (text[1] - '0') * 100 + two_digits(text + 2);
    const int32_t month = two_digits(text + 5);
    const int32_t day = two_digits(text + 8);
    const int32_t hour = two_digits(text + 11);
    const int32_t minute = two_digits(text + 14);
    const int32_t second = two_digits(text + 17);
    if (month < 1 || month > 12 || day < 1 || day > 31 || year < kMinYear || hour > 23 ||
        minute > 59 || second > 59) {
        return Fast::Failed;
    }
    *result = orv_datetime_text_t{month, day, year, hour, minute, second, 0, 0, 0, 0, 0, 0,
                                  1, 1, nullptr};
    return Fast::Done;
}

}  // namespace

const char *nextDateToken(const char *position, char prev, orv_date_token_t *token) {
    if (token == nullptr) return nullptr;
    reset_token(token);
    if (position == nullptr) return nullptr;
    while (is_space(*position)) ++position;
    if (*position == '\0') return nullptr;

    // Unsigned steps: a tenth digit may wrap before the token is refused.
    while (is_digit(*position)) {
        token->text[token->digits] = *position;
        token->value = static_cast<int32_t>(static_cast<uint32_t>(token->value) * 10u +
                                            static_cast<uint32_t>(*position - '0'));
        token->scale = static_cast<int32_t>(static_cast<uint32_t>(token->scale) * 10u);
        ++position;
        if (++token->digits == kMaxDigits) return nullptr;
    }

    if (token->digits != 0) {
        if (prev == '.') {
            // Nine digits of a fraction count as eight, leaving 9 to month
            // names; text keeps all nine.
            if (token->digits == kMonthNameDigits) token->digits = 8;
        } else {
            // Outside a fraction only 1, 2 and 4 digits stand.
            if (token->digits == 3 || token->digits > 4) return nullptr;
            if (*position == '.' && ends_sentence(position[1])) ++position;
        }
        bool try_month_name = false;
        const char *next = scan_delimiter(position, token, &try_month_name);
        if (!try_month_name) return next;
    }
    return scan_month_name(position, token);
}

int parseDateText(const char *text, int order, orv_datetime_text_t *result) {
    return parse_tokens(text, order, kDate, result);
}

int parseTimeText(const char *text, orv_datetime_text_t *result) {
    return parse_tokens(text, kDefaultOrder, kTime, result);
}

int parseDateTimeText(const char *text, int order, orv_datetime_text_t *result) {
    if (text != nullptr && result != nullptr) {
        const Fast fast = parse_iso_datetime(text, result);
        if (fast != Fast::NotThisForm) return fast == Fast::Done ? 0 : 1;
    }
    return parse_tokens(text, order, kDate | kTime, result);
}

int parseDateTimeTextScanned(const char *text, int order, orv_datetime_text_t *result) {
    return parse_tokens(text, order, kDate | kTime, result);
}

extern "C" {

ORV_API int getDateOrder(void) { return kDefaultOrder; }

ORV_API int storeDateValue(orv_date_token_t *tokens, int order, orv_datetime_text_t *result) {
    if (result == nullptr) return 1;
    result->month = 0;
    result->day = 0;
    result->year = 0;
    result->has_date = 0;
    if (tokens == nullptr || tokens[0].delim != '-' || tokens[1].delim != '-') return 1;
    if (tokens[2].delim != 'T' && tokens[2].delim != ' ') return 1;

    const char *meaning = date_meaning(tokens, order);
    if (meaning == nullptr) return 1;
    int32_t month = 0;
    int32_t day = 0;
    int32_t year = 0;
    for (int i = 0; i < 3; ++i) {
        switch (static_cast<Field>(meaning[i])) {
        case Field::Month: month = tokens[i].value; break;
        case Field::Day: day = tokens[i].value; break;
        case Field::Year: year = tokens[i].value; break;
        case Field::ShortYear: year = widen_year(tokens[i].value); break;
        }
    }
    // The length of the month is not checked: February 31 passes.
    if (month < 1 || month > 12 || day < 1 || day > 31 || year < kMinYear) return 1;
    result->month = month;
    result->day = day;
    result->year = year;
    result->has_date = 1;
    return 0;
}

ORV_API int storeTimeValue(orv_date_token_t *tokens, orv_datetime_text_t *result) {
    if (result == nullptr) return 1;
    result->hour = result->minute = result->second = 0;
    result->msec = result->usec = result->nsec = 0;
    result->has_time = 0;
    result->zone_hour = result->zone_minute = 0;
    result->zone_sign = 0;
    if (tokens == nullptr) return 1;

    int i = 0;
    if (!hour_token(tokens[i])) return 1;
    int32_t hour = tokens[i++].value;
    if (!one_or_two_digits(tokens[i])) return 1;
    const int32_t minute = tokens[i].value;
    int32_t second = 0;
    if (tokens[i].delim == ':') {
        ++i;
        if (!one_or_two_digits(tokens[i])) return 1;
        second = tokens[i].value;
    }

    // A clock marker counts only where it touches the minutes or seconds.
    const char marker = tokens[i].delim;
    if (marker == 'A' || marker == 'P') {
        if (hour < 1 || hour > 12) return 1;
        if (marker == 'A' && hour == 12) hour = 0;
        if (marker == 'P' && hour < 12) hour += 12;
    }

    // A full stop with no digits behind it ends the time.
    if (tokens[i].delim == '.' && tokens[i + 1].digits == 0) tokens[i].delim = ' ';
    int32_t msec = 0;
    int32_t usec = 0;
    int32_t nsec = 0;
    if (tokens[i].delim == '.') {
        const orv_date_token_t &fraction = tokens[++i];
        if (fraction.digits > 9) return 1;
        msec = fraction_digits(fraction.text, 3);
        usec = fraction_digits(fraction.text, 6);
        nsec = fraction_digits(fraction.text, 9);
    }

    ZoneOffset zone;
    if (!read_zone(tokens, i, result, &zone)) return 1;
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) return 1;
    result->hour = hour;
    result->minute = minute;
    result->second = second;
    result->msec = msec;
    result->usec = usec;
    result->nsec = nsec;
    result->has_time = 1;
    result->zone_hour = zone.hour;
    result->zone_minute = zone.minute;
    return 0;
}

ORV_API int orv_string_to_date(const char *text, int order, orv_date_t *out) {
    orv_datetime_text_t parsed;
    if (text == nullptr || out == nullptr || parseDateText(text, order, &parsed) != 0) return 0;
    copy_date(parsed, &out->year, &out->month, &out->day, &out->weekday);
    return 1;
}

ORV_API int orv_string_to_time(const char *text, orv_time_t *out) {
    orv_datetime_text_t parsed;
    if (text == nullptr || out == nullptr || parseTimeText(text, &parsed) != 0) return 0;
    copy_time(parsed, &out->hour, &out->minute, &out->second, &out->millisecond);
    return 1;
}

ORV_API int orv_string_to_datetime(const char *text, int order, orv_datetime_t *out) {
    orv_datetime_text_t parsed;
    if (text == nullptr || out == nullptr || parseDateTimeText(text, order, &parsed) != 0) return 0;
    copy_date(parsed, &out->year, &out->month, &out->day, &out->weekday);
    copy_time(parsed, &out->hour, &out->minute, &out->second, &out->millisecond);
    return 1;
}

}  // extern "C"
