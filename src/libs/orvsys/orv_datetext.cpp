// Free-form date and time text.
//
// One scanner cuts the text into at most ten tokens; three drivers tell a
// date-first from a time-first text and pick the token slices; two store
// operations decide which token is which field and check the ranges.
// Everything works on the caller's stack.
//
// Every form takes the same path, so the path is kept short: the scan
// reads each character once and classifies it through one constant table
// of the C locale's classes (no locale changes a result); the drivers keep
// small tokens of their own in place of orv_date_token_t, with no copy of
// the text; the date layouts are a table worked out at compile time.
#include "orvsys/orv_datetext.h"

#include <array>
#include <cstdint>

#include "internal/datetext.h"

namespace orv::internal {

constexpr const char *const g_month_names[13] = {"",    "JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                 "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

}  // namespace orv::internal

namespace {

using orv::internal::g_month_names;

constexpr int kMaxTokens = 10;
constexpr int kMaxDigits = 10;       // a token reaching this many digits fails
constexpr int kMonthNameDigits = 9;  // the digit count that marks a month name
constexpr int kFractionDigits = 9;
constexpr int kTwoDigitYearPivot = 68;
constexpr int kMinYear = 1969;
constexpr int kDefaultOrder = 1;
constexpr int kDayFirst = 2;
constexpr int kYearFirst = 3;

// What a character does behind the digits of a token.
enum class Ends : uint8_t {
    Other,   // the token fails, unless a month name starts here
    Step,    // ":", ".", "-", "+", "/" or a blank: the token ends behind it
    Text,    // the terminator: the token ends, and the position stays on it
    T,       // the date and time split, with a digit next
    Z,       // the zone designator, with the end, a blank or "(" next
    Marker,  // "A" or "P" of a clock marker, in either case
};

enum CharClass : uint8_t { kSpace = 1, kDigit = 2, kLetter = 4, kLower = 8 };

struct CharInfo {
    uint8_t classes;
    Ends ends;
    char delim;  // as a token's delim: upper case, " " for blanks and the end, "-" for "/"
};

// The classes of the C locale, on the byte as unsigned (bytes above 127
// are in none), and what each character does behind a token's digits.
constexpr std::array<CharInfo, 256> kChars = [] {
    std::array<CharInfo, 256> chars{};
    for (int c = 0; c < 256; ++c) chars[c].delim = static_cast<char>(c);
    for (int c = '0'; c <= '9'; ++c) chars[c].classes = kDigit;
    for (int c = 'A'; c <= 'Z'; ++c) chars[c].classes = kLetter;
    for (int c = 'a'; c <= 'z'; ++c) {
        chars[c] = {kLetter | kLower, Ends::Other, static_cast<char>(c - 'a' + 'A')};
    }
    for (const char c : {' ', '\t', '\n', '\v', '\f', '\r'}) chars[c] = {kSpace, Ends::Step, ' '};
    for (const char c : {':', '.', '-', '+'}) chars[c].ends = Ends::Step;
    chars['/'] = {0, Ends::Step, '-'};
    chars['\0'] = {0, Ends::Text, ' '};
    for (const char c : {'T', 't'}) chars[c].ends = Ends::T;
    for (const char c : {'Z', 'z'}) chars[c].ends = Ends::Z;
    for (const char c : {'A', 'a', 'P', 'p'}) chars[c].ends = Ends::Marker;
    return chars;
}();

const CharInfo &info(char c) { return kChars[static_cast<unsigned char>(c)]; }
bool is_space(char c) { return (info(c).classes & kSpace) != 0; }
bool is_digit(char c) { return (info(c).classes & kDigit) != 0; }
bool is_alnum(char c) { return (info(c).classes & (kDigit | kLetter)) != 0; }
char upper(char c) { return (info(c).classes & kLower) != 0 ? info(c).delim : c; }

// Three upper-case letters as one number, so that a month name is found
// by twelve integer comparisons.
constexpr uint32_t pack3(char a, char b, char c) {
    return static_cast<uint32_t>(static_cast<unsigned char>(a)) |
           static_cast<uint32_t>(static_cast<unsigned char>(b)) << 8 |
           static_cast<uint32_t>(static_cast<unsigned char>(c)) << 16;
}

constexpr std::array<uint32_t, 13> kMonthKeys = [] {
    std::array<uint32_t, 13> keys{};
    for (int month = 1; month <= 12; ++month) {
        const char *name = g_month_names[month];
        keys[month] = pack3(name[0], name[1], name[2]);
    }
    return keys;
}();

// A token as the drivers keep it: the fields the store operations read,
// and how much of the text is digits, which a fraction needs.
struct ScanToken {
    int32_t digits;  // as orv_date_token_t.digits
    int32_t value;   // as orv_date_token_t.value
    char delim;      // as orv_date_token_t.delim
    int8_t length;   // digits in the text; 0 where month name letters took their place
};

// What the scan writes beyond digits, value and delim: the caller's token
// gets the scale and a copy of the characters, the drivers' token only
// their count.
void begin_token(ScanToken &token) { token = ScanToken{0, 0, ' ', 0}; }

void begin_token(orv_date_token_t &) {}  // nextDateToken has reset it

void keep_digits(ScanToken &token, const char *, int32_t digits, uint32_t value) {
    token = ScanToken{digits, static_cast<int32_t>(value), ' ', static_cast<int8_t>(digits)};
}

void keep_digits(orv_date_token_t &token, const char *start, int32_t digits, uint32_t value) {
    uint32_t scale = 1;
    for (int i = 0; i < digits; ++i) {
        token.text[i] = start[i];
        scale *= 10u;
    }
    token.digits = digits;
    token.value = static_cast<int32_t>(value);
    token.scale = static_cast<int32_t>(scale);
}

void keep_letters(ScanToken &token, const char *) { token.length = 0; }

void keep_letters(orv_date_token_t &token, const char *letters) {
    for (int i = 0; i < 3; ++i) token.text[i] = upper(letters[i]);
    token.text[3] = '\0';
}

// Characters behind a number that make a "." a full stop, not a fraction.
bool ends_sentence(char c) {
    return c == '\0' || c == ' ' || c == '+' || c == '-' || c == 'T' || c == 'Z';
}

// Three letters at position, then "-" or "/": a month name ends the token.
template <class Token>
const char *scan_month_name(const char *position, Token &token) {
    if (position[0] == '\0' || position[1] == '\0' || position[2] == '\0') return nullptr;
    if (position[3] != '-' && position[3] != '/') return nullptr;
    keep_letters(token, position);
    const uint32_t key = pack3(upper(position[0]), upper(position[1]), upper(position[2]));
    for (int month = 1; month <= 12; ++month) {
        if (key == kMonthKeys[month]) {
            token.delim = '-';
            token.value = month;
            token.digits = kMonthNameDigits;
            return position + 4;
        }
    }
    return nullptr;
}

// The scanner, of nextDateToken and of the drivers: one token from a
// non-null position. Returns the position behind it, or null when the token
// is incomplete or the text has ended; a failed token keeps what it had
// read. prev is the delimiter of the token before.
template <class Token>
[[gnu::always_inline]] inline const char *scan_token(const char *position, char prev,
                                                     Token &token) {
    while (is_space(*position)) ++position;
    const char *start = position;
    int32_t digits = 0;
    uint32_t value = 0;  // unsigned: a tenth digit may wrap before the token is refused
    for (; digits < kMaxDigits && is_digit(*position); ++position, ++digits) {
        value = value * 10u + static_cast<uint32_t>(*position - '0');
    }
    if (digits == 0) {
        begin_token(token);
        return *start == '\0' ? nullptr : scan_month_name(start, token);
    }
    keep_digits(token, start, digits, value);
    if (digits == kMaxDigits) return nullptr;

    if (prev == '.') {
        // Nine digits of a fraction count as eight, leaving 9 to month
        // names; the text keeps all nine.
        if (digits == kMonthNameDigits) token.digits = 8;
    } else {
        // Outside a fraction only 1, 2 and 4 digits stand.
        if (digits == 3 || digits > 4) return nullptr;
        if (*position == '.' && ends_sentence(position[1])) ++position;
    }

    // The delimiter: position is on the first character behind the digits.
    const CharInfo &behind = info(*position);
    token.delim = behind.delim;
    if (behind.ends == Ends::Step) [[likely]]
        return position + 1;
    switch (behind.ends) {
    case Ends::Step: return position + 1;
    case Ends::Text: return position;
    case Ends::T:
        if (is_digit(position[1])) return position + 1;
        break;
    case Ends::Z: {
        const char next = position[1];
        if (static_cast<unsigned char>(next) <= ' ' || next == '(') return position + 1;
        break;
    }
    case Ends::Marker:
        // A clock marker must touch the digits and end there: "P", "PM".
        if (!is_alnum(position[1])) return position + 1;
        if (upper(position[1]) == 'M' && !is_alnum(position[2])) return position + 2;
        return nullptr;
    case Ends::Other: break;
    }
    return scan_month_name(position, token);
}

// What a date token's digit count can make of it.
enum CountClass : uint8_t { kNoField, kShort, kLong, kName };

constexpr CountClass kCountClasses[10] = {kNoField, kShort,   kShort,   kNoField, kLong,
                                          kNoField, kNoField, kNoField, kNoField, kName};

// kCountClasses at two bits each: a shift in place of a load, since the
// date fields wait on the classes.
constexpr uint32_t kCountClassBits = [] {
    uint32_t bits = 0;
    for (uint32_t n = 0; n < 10; ++n) bits |= uint32_t{kCountClasses[n]} << 2 * n;
    return bits;
}();

CountClass count_class(int32_t digits) {
    const auto n = static_cast<uint32_t>(digits);
    return n < 10 ? static_cast<CountClass>(kCountClassBits >> 2 * n & 3) : kNoField;
}

// The meaning of three date tokens by their classes: M month, D day, Y a
// year as written, y a two-digit year, for order 1, 2 and 3. A four-digit
// field is the year and a month name the month; the order settles the rest.
struct DateLayout {
    CountClass counts[3];
    const char *by_order[3];
};

constexpr DateLayout kDateLayouts[] = {
    {{kShort, kShort, kShort}, {"MDy", "DMy", "yMD"}},
    {{kShort, kShort, kLong}, {"MDY", "DMY", "MDY"}},
    {{kShort, kName, kShort}, {"DMy", "DMy", "yMD"}},
    {{kShort, kName, kLong}, {"DMY", "DMY", "DMY"}},
    {{kLong, kShort, kShort}, {"YMD", "YMD", "YMD"}},
    {{kLong, kName, kShort}, {"YMD", "YMD", "YMD"}},
    {{kName, kShort, kShort}, {"MDy", "MDy", "MDy"}},
    {{kName, kShort, kLong}, {"MDY", "MDY", "MDY"}},
};

constexpr int layout_key(CountClass first, CountClass second, CountClass third) {
    return first * 16 + second * 4 + third;
}

// A meaning as the token index of each field; month_at is -1 for classes
// that make no date.
struct DateFields {
    int8_t month_at = -1;
    int8_t day_at = -1;
    int8_t year_at = -1;
    bool short_year = false;
};

constexpr DateFields fields_of(const char *meaning) {
    DateFields fields;
    for (int8_t i = 0; i < 3; ++i) {
        switch (meaning[i]) {
        case 'M': fields.month_at = i; break;
        case 'D': fields.day_at = i; break;
        case 'Y': fields.year_at = i; break;
        case 'y':
            fields.year_at = i;
            fields.short_year = true;
            break;
        }
    }
    return fields;
}

// kDateLayouts by key and order column.
constexpr std::array<std::array<DateFields, 3>, 64> kDateFields = [] {
    std::array<std::array<DateFields, 3>, 64> table{};
    for (const DateLayout &layout : kDateLayouts) {
        const int key = layout_key(layout.counts[0], layout.counts[1], layout.counts[2]);
        for (int column = 0; column < 3; ++column) {
            table[key][column] = fields_of(layout.by_order[column]);
        }
    }
    return table;
}();

int32_t widen_year(int32_t two_digits) {
    return two_digits + (two_digits > kTwoDigitYearPivot ? 1900 : 2000);
}

// The fraction to 3, 6 and 9 digits, right-padded with "0" and cut, never
// rounded.
struct Fraction {
    int32_t msec = 0;
    int32_t usec = 0;
    int32_t nsec = 0;
};

// From the caller's token: its text up to the terminator; a width whose
// characters are not all digits reads 0.
Fraction fraction_of(const orv_date_token_t &token) {
    Fraction fraction;
    int32_t value = 0;
    bool ended = false;
    for (int i = 0; i < kFractionDigits; ++i) {
        ended = ended || token.text[i] == '\0';
        const char c = ended ? '0' : token.text[i];
        if (!is_digit(c)) break;
        value = value * 10 + (c - '0');
        if (i == 2) fraction.msec = value;
        if (i == 5) fraction.usec = value;
        if (i == 8) fraction.nsec = value;
    }
    return fraction;
}

constexpr std::array<int32_t, kFractionDigits + 1> kPowersOfTen = [] {
    std::array<int32_t, kFractionDigits + 1> powers{};
    powers[0] = 1;
    for (int n = 1; n <= kFractionDigits; ++n) powers[n] = powers[n - 1] * 10;
    return powers;
}();

// From the drivers' token, whose value is the number its digits make:
// padding is a scaling. Month name letters in their place read 0, as they
// do from text.
Fraction fraction_of(const ScanToken &token) {
    if (token.length <= 0 || token.length > kFractionDigits) return Fraction{};
    const int32_t nsec = token.value * kPowersOfTen[kFractionDigits - token.length];
    return Fraction{nsec / 1000000, nsec / 1000, nsec};
}

template <class Token>
bool one_or_two_digits(const Token &token) {
    return token.digits == 1 || token.digits == 2;
}

// An hour-like token: two digits at most, or anything ended by ":".
template <class Token>
bool hour_token(const Token &token) {
    return token.delim == ':' || one_or_two_digits(token);
}

struct ZoneOffset {
    int32_t hour = 0;
    int32_t minute = 0;
};

// The store operations serve the caller's tokens and the drivers' own. They
// are inlined into the drivers so that the result stays in registers until
// it is copied out.

// The zone designator behind the time; i is on the token whose delim
// announced it. The sign goes to result at once (a later failure leaves it
// there); the offset only into *zone. Returns false when malformed.
template <class Token>
[[gnu::always_inline]] inline bool read_zone(const Token *tokens, int i,
                                             orv_datetime_text_t &result, ZoneOffset *zone) {
    const char sign = tokens[i].delim;
    if (sign == 'Z') {
        result.zone_sign = 'Z';
        return true;
    }
    if (sign != '+' && sign != '-') return true;
    result.zone_sign = sign;
    const Token &hours = tokens[++i];
    if (hours.delim == ' ' || hours.delim == 'T') {
        // "+hhmm", with no range check.
        if (hours.digits != 4) return false;
        zone->hour = hours.value / 100;
        zone->minute = hours.value % 100;
        return true;
    }
    if (!hour_token(hours)) return false;
    const Token &minutes = tokens[++i];
    if (minutes.digits != 2) return false;
    zone->hour = hours.value;
    zone->minute = minutes.value;
    return hours.value >= 0 && hours.value <= 23 && minutes.value >= 0 && minutes.value <= 59;
}

// True when the three tokens make a date.
template <class Token>
[[gnu::always_inline]] inline bool store_date(const Token *tokens, int order,
                                              orv_datetime_text_t &result) {
    result.month = 0;
    result.day = 0;
    result.year = 0;
    result.has_date = 0;
    if (tokens == nullptr || tokens[0].delim != '-' || tokens[1].delim != '-') return false;
    if (tokens[2].delim != 'T' && tokens[2].delim != ' ') return false;

    const int key = layout_key(count_class(tokens[0].digits), count_class(tokens[1].digits),
                               count_class(tokens[2].digits));
    const int column = order == kDayFirst ? 1 : order == kYearFirst ? 2 : 0;
    const DateFields &fields = kDateFields[key][column];
    if (fields.month_at < 0) return false;
    // Picked from the values rather than read through the index: one load
    // less on the way to the result.
    const int32_t values[3] = {tokens[0].value, tokens[1].value, tokens[2].value};
    const auto pick = [&values](int8_t at) {
        return at == 0 ? values[0] : at == 1 ? values[1] : values[2];
    };
    const int32_t month = pick(fields.month_at);
    const int32_t day = pick(fields.day_at);
    const int32_t written_year = pick(fields.year_at);
    const int32_t year = fields.short_year ? widen_year(written_year) : written_year;
    // The length of the month is not checked: February 31 passes.
    if (month < 1 || month > 12 || day < 1 || day > 31 || year < kMinYear) return false;
    result.month = month;
    result.day = day;
    result.year = year;
    result.has_date = 1;
    return true;
}

// True when the tokens from the first on make a time.
template <class Token>
[[gnu::always_inline]] inline bool store_time(Token *tokens, orv_datetime_text_t &result) {
    result.hour = result.minute = result.second = 0;
    result.msec = result.usec = result.nsec = 0;
    result.has_time = 0;
    result.zone_hour = result.zone_minute = 0;
    result.zone_sign = 0;
    if (tokens == nullptr) return false;

    int i = 0;
    if (!hour_token(tokens[i])) return false;
    int32_t hour = tokens[i++].value;
    if (!one_or_two_digits(tokens[i])) return false;
    const int32_t minute = tokens[i].value;
    int32_t second = 0;
    if (tokens[i].delim == ':') {
        ++i;
        if (!one_or_two_digits(tokens[i])) return false;
        second = tokens[i].value;
    }

    // A clock marker counts only where it touches the minutes or seconds.
    const char marker = tokens[i].delim;
    if (marker == 'A' || marker == 'P') {
        if (hour < 1 || hour > 12) return false;
        if (marker == 'A' && hour == 12) hour = 0;
        if (marker == 'P' && hour < 12) hour += 12;
    }

    // A full stop with no digits behind it ends the time.
    if (tokens[i].delim == '.' && tokens[i + 1].digits == 0) tokens[i].delim = ' ';
    Fraction fraction;
    if (tokens[i].delim == '.') {
        const Token &fraction_token = tokens[++i];
        if (fraction_token.digits > kFractionDigits) return false;
        fraction = fraction_of(fraction_token);
    }

    ZoneOffset zone;
    if (!read_zone(tokens, i, result, &zone)) return false;
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
        return false;
    }
    result.hour = hour;
    result.minute = minute;
    result.second = second;
    result.msec = fraction.msec;
    result.usec = fraction.usec;
    result.nsec = fraction.nsec;
    result.has_time = 1;
    result.zone_hour = zone.hour;
    result.zone_minute = zone.minute;
    return true;
}

// The drivers' tokens and what the scan found. scan_text writes every token
// before anything reads it. One token more than the scan fills: a date found
// at the last pair of tokens reads its third field there, which is never a
// field, rather than behind the array.
struct Scan {
    ScanToken tokens[kMaxTokens + 1];
    int count = 0;
    const char *tail = nullptr;
};

// The common front of the drivers. A failed token keeps what it read and
// the ones behind it come out reset, as the scanner leaves them when called
// past a stop; a "(" behind a token ends the scan and leaves the remaining
// tokens all zero.
void scan_text(const char *text, Scan &scan) {
    const char *position = text;
    char prev = ' ';
    int count = 0;
    while (count < kMaxTokens) {
        ScanToken &token = scan.tokens[count];
        position = scan_token(position, prev, token);
        if (position == nullptr) break;
        prev = token.delim;
        ++count;
        if (*position == '(') {
            scan.tail = position;
            break;
        }
    }
    scan.count = count;
    if (position == nullptr) {
        for (int i = count + 1; i <= kMaxTokens; ++i) scan.tokens[i] = {0, 0, ' ', 0};
    } else {
        for (int i = count; i <= kMaxTokens; ++i) scan.tokens[i] = {0, 0, 0, 0};
    }
}

enum class Shape { Unknown, DateFirst, TimeFirst };

Shape shape_of(const Scan &scan) {
    const char first = scan.tokens[0].delim;
    const char second = scan.tokens[1].delim;
    if (first == '-' && second == '-') return Shape::DateFirst;
    if (first != ':') return Shape::Unknown;
    switch (second) {
    case ' ':
    case ':':
    case 'Z':
    case '+':
    case '-':
    case 'A':
    case 'P': return Shape::TimeFirst;
    default: return Shape::Unknown;
    }
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
// and the token slices. True with result filled on success; on failure
// result holds whatever was stored.
[[gnu::always_inline]] inline bool parse_text(const char *text, int order, int parts,
                                              orv_datetime_text_t &result) {
    if (text == nullptr) return false;
    Scan scan;
    scan_text(text, scan);
    result.tail = scan.tail;

    const Shape shape = shape_of(scan);
    const bool wants_time = (parts & kTime) != 0;
    const bool wants_date = (parts & kDate) != 0;
    int date_at = -1;
    int time_at = -1;
    if (shape == Shape::DateFirst) {
        // A time behind the date needs the date and at least two time tokens.
        if (wants_time) {
            if (scan.count < 5 || !time_follows_date(scan)) return false;
            time_at = 3;
        } else if (scan.count < 2) {
            return false;
        }
        date_at = 0;
    } else if (shape == Shape::TimeFirst) {
        if (scan.count < (wants_date && wants_time ? 5 : 2)) return false;
        time_at = 0;
        if (wants_date) {
            date_at = find_date(scan);
            if (date_at < 0) return false;
        }
    } else {
        return false;
    }

    if (wants_date && !store_date(&scan.tokens[date_at], order, result)) return false;
    return !wants_time || store_time(&scan.tokens[time_at], result);
}

// A driver: result is written only on success.
int drive(const char *text, int order, int parts, orv_datetime_text_t *result) {
    orv_datetime_text_t parsed{};
    if (result == nullptr || !parse_text(text, order, parts, parsed)) return 1;
    *result = parsed;
    return 0;
}

// The parse result into the caller's fields; weekday is never worked out.
void copy_date(const orv_datetime_text_t &parsed, int32_t *year, int32_t *month, int32_t *day,
               int32_t *weekday) {
    *year = parsed.year;
    *month = parsed.month;
    *day = parsed.day;
    *weekday = 0;
}

void copy_time(const orv_datetime_text_t &parsed, int32_t *hour, int32_t *minute, int32_t *second,
               int32_t *millisecond) {
    *hour = parsed.hour;
    *minute = parsed.minute;
    *second = parsed.second;
    *millisecond = parsed.msec;
}

}  // namespace

namespace orv::internal {

const char *nextDateToken(const char *position, char prev, orv_date_token_t *token) {
    if (token == nullptr) return nullptr;
    *token = orv_date_token_t{0, 0, 1, ' ', {}};
    if (position == nullptr) return nullptr;
    return scan_token(position, prev, *token);
}

int parseDateText(const char *text, int order, orv_datetime_text_t *result) {
    return drive(text, order, kDate, result);
}

int parseTimeText(const char *text, orv_datetime_text_t *result) {
    return drive(text, kDefaultOrder, kTime, result);
}

int parseDateTimeText(const char *text, int order, orv_datetime_text_t *result) {
    return drive(text, order, kDate | kTime, result);
}

}  // namespace orv::internal

extern "C" {

ORV_API int getDateOrder(void) { return kDefaultOrder; }

ORV_API int storeDateValue(orv_date_token_t *tokens, int order, orv_datetime_text_t *result) {
    return result != nullptr && store_date(tokens, order, *result) ? 0 : 1;
}

ORV_API int storeTimeValue(orv_date_token_t *tokens, orv_datetime_text_t *result) {
    return result != nullptr && store_time(tokens, *result) ? 0 : 1;
}

ORV_API int orv_string_to_date(const char *text, int order, orv_date_t *out) {
    orv_datetime_text_t parsed{};
    if (out == nullptr || !parse_text(text, order, kDate, parsed)) return 0;
    copy_date(parsed, &out->year, &out->month, &out->day, &out->weekday);
    return 1;
}

ORV_API int orv_string_to_time(const char *text, orv_time_t *out) {
    orv_datetime_text_t parsed{};
    if (out == nullptr || !parse_text(text, kDefaultOrder, kTime, parsed)) return 0;
    copy_time(parsed, &out->hour, &out->minute, &out->second, &out->millisecond);
    return 1;
}

ORV_API int orv_string_to_datetime(const char *text, int order, orv_datetime_t *out) {
    orv_datetime_text_t parsed{};
    if (out == nullptr || !parse_text(text, order, kDate | kTime, parsed)) return 0;
    copy_date(parsed, &out->year, &out->month, &out->day, &out->weekday);
    copy_time(parsed, &out->hour, &out->minute, &out->second, &out->millisecond);
    return 1;
}

}  // extern "C"
