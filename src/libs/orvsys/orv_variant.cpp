// The tagged variant value: predicates and the conversion matrix.
//
// Every conversion is one switch on how the record's tag holds its value.
// The numeric reads and stores are templates over the plain type, and the
// number a record holds is handed to them by one visitor, so each rule of
// the matrix (truncation and saturation, the magnitude test, seconds with
// fraction, text through the 32-bit parsers, the integer text room) is
// written once. Nothing here allocates, locks or logs.
#include "orvsys/orv_variant.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <type_traits>

#include "orvsys/orv_datetext.h"
#include "orvsys/orv_numtext.h"
#include "orvsys/orv_safestr.h"

namespace {

// How a tag holds its value. Several tags share one holding (INT8..INT32
// and UINT8..UINT32 a 32-bit word, the four calendar tags a timestamp,
// STRING and TEXT a text buffer), and every conversion works by holding.
enum class Holding { Bool, Word32, Word64, Float, Double, Calendar, Text, Binary, Unknown };

constexpr Holding holding_of(int8_t type) {
    switch (type) {
    case ORV_VT_BOOL: return Holding::Bool;
    case ORV_VT_INT8:
    case ORV_VT_INT16:
    case ORV_VT_INT32:
    case ORV_VT_UINT8:
    case ORV_VT_UINT16:
    case ORV_VT_UINT32: return Holding::Word32;
    case ORV_VT_INT64:
    case ORV_VT_UINT64: return Holding::Word64;
    case ORV_VT_FLOAT: return Holding::Float;
    case ORV_VT_DOUBLE: return Holding::Double;
    case ORV_VT_DATE:
    case ORV_VT_TIME:
    case ORV_VT_DATETIME:
    case ORV_VT_TIMESTAMP: return Holding::Calendar;
    case ORV_VT_STRING:
    case ORV_VT_TEXT: return Holding::Text;
    case ORV_VT_BINARY: return Holding::Binary;
    default: return Holding::Unknown;
    }
}

// The signedness of a word holding: INT8..INT64 signed, UINT8..UINT64 not.
constexpr bool signed_tag(int8_t type) { return type >= ORV_VT_INT8 && type <= ORV_VT_INT64; }

// Two floating values are equal, and a floating value is false, below this.
constexpr double kFloatTolerance = 1e-6;

// Room the decimal text of any 32-bit integer needs, terminator included.
// The writers take no size, so a smaller buffer is refused outright.
constexpr uint32_t kSignedTextRoom = 12, kUnsignedTextRoom = 11;

// The date order the byte stores hand the free-form parser: year first.
constexpr int kYearFirst = 3;

bool below_tolerance(double value) { return std::fabs(value) < kFloatTolerance; }

bool bytes_equal(const orv_variant_t &a, const orv_variant_t &b) {
    if (a.value.len != b.value.len) return false;
    if (a.value.len == 0) return true;
    if (a.value.data == nullptr || b.value.data == nullptr) return false;
    return std::memcmp(a.value.data, b.value.data, a.value.len) == 0;
}

// Truncates toward zero into an integer type, saturating at its limits
// (any negative value gives 0 for an unsigned type); NaN gives 0. At and
// above 2^63 a signed 64-bit target saturates too.
template <class Int>
Int truncate_saturating(double value) {
    using limits = std::numeric_limits<Int>;
    // 2^digits: the first value above the maximum, exact in a double.
    constexpr double kAboveMax = static_cast<double>(limits::max() / 2 + 1) * 2.0;
    constexpr double kMin = static_cast<double>(limits::min());
    if (value != value) return 0;
    if (value >= kAboveMax) return limits::max();
    if (value <= kMin) return limits::min();
    return static_cast<Int>(value);
}

// A number as another numeric type: reals truncate and saturate into
// integers; otherwise as C converts (integers keep their low bits and take
// the sign or zero extension of their type, reals take the nearest value).
template <class T, class S>
T convert(S value) {
    if constexpr (std::is_floating_point_v<S> && std::is_integral_v<T>)
        return truncate_saturating<T>(value);
    else
        return static_cast<T>(value);
}

// The truth of a number: an integer is true when not 0, a real unless its
// magnitude is below the tolerance (so a NaN is true).
template <class S>
uint8_t truth(S value) {
    if constexpr (std::is_floating_point_v<S>)
        return below_tolerance(value) ? 0 : 1;
    else
        return value != 0 ? 1 : 0;
}

// Calls f with the number a record holds, typed by its tag: the BOOL byte
// as unsigned 32-bit, a word with the signedness of its tag, FLOAT widened
// to double. 0 for the holdings that hold no number.
template <class F>
int visit_number(const orv_variant_t &v, F f) {
    const auto &x = v.value;
    const bool is_signed = signed_tag(v.type);
    switch (holding_of(v.type)) {
    case Holding::Bool: return f(static_cast<uint32_t>(x.as_bool));
    case Holding::Word32: return is_signed ? f(x.as_int32) : f(static_cast<uint32_t>(x.as_int32));
    case Holding::Word64: return is_signed ? f(x.as_int64) : f(static_cast<uint64_t>(x.as_int64));
    case Holding::Float: return f(static_cast<double>(x.as_float));
    case Holding::Double: return f(x.as_double);
    default: return 0;
    }
}

// Number text at dest: "%f" of a real (0 when cut, the cut text stays);
// the decimal text of an integer's low 32 bits with the integer's
// signedness, refused before anything is written when room is below the
// longest such text.
template <class S>
bool write_number_text(char *dest, uint32_t room, S value) {
    if (dest == nullptr) return false;
    if constexpr (std::is_floating_point_v<S>) {
        return orv_snprintf(dest, room, "%f", static_cast<double>(value)) > 0;
    } else if constexpr (std::is_signed_v<S>) {
        if (room < kSignedTextRoom) return false;
        orv_int32_to_ascii(static_cast<int32_t>(value), dest);
    } else {
        if (room < kUnsignedTextRoom) return false;
        orv_uint32_to_ascii(static_cast<uint32_t>(value), dest);
    }
    return true;
}

// The parsers text reads and stores go through: 32 bits at most, so
// '5000000000' is no 64-bit number either.
int parse(const char *text, int32_t *out) { return orv_ascii_to_int32(text, out); }
int parse(const char *text, uint32_t *out) { return orv_ascii_to_uint32(text, out); }
int parse(const char *text, float *out) { return orv_ascii_to_float(text, out); }
int parse(const char *text, double *out) { return orv_ascii_to_double(text, out); }

// A text read into T. The 32-bit integer reads hand out the parser's own
// failure value (0); the wider ones parse into a local and write out only
// on success.
template <class T>
int read_text(const char *text, T *out) {
    if constexpr (std::is_integral_v<T> && sizeof(T) == 4) {
        return parse(text, out);
    } else {
        using Parsed =
            std::conditional_t<std::is_floating_point_v<T>, double,
                               std::conditional_t<std::is_signed_v<T>, int32_t, uint32_t>>;
        Parsed value{};
        if (!parse(text, &value)) return 0;
        *out = static_cast<T>(value);
        return 1;
    }
}

// The seconds of a timestamp as a real: unsigned seconds plus milliseconds
// times the integer 1000 times 1e-6, computed exactly this way (never a
// division by 1000), as the low bits of the result depend on it.
double seconds_with_fraction(const orv_timestamp_t &ts) {
    return static_cast<double>(static_cast<uint32_t>(ts.seconds)) + ts.milliseconds * 1000 * 1e-6;
}

// A real as a timestamp: the whole part in unsigned seconds, the fraction
// in whole microseconds cut to milliseconds, both truncated and saturated
// as unsigned 32-bit (so a negative value is 0 and 0).
orv_timestamp_t timestamp_of_real(double value) {
    double whole = 0;
    const double fraction = std::modf(value, &whole);
    const uint32_t microseconds = truncate_saturating<uint32_t>(fraction * 1000000.0);
    return {static_cast<int32_t>(truncate_saturating<uint32_t>(whole)),
            static_cast<uint16_t>(microseconds / 1000), 0};
}

// Calendar seconds as T: refused as signed 32-bit, unsigned otherwise,
// with the fraction for a real.
template <class T>
int read_seconds(const orv_timestamp_t &ts, T *out) {
    if constexpr (std::is_same_v<T, int32_t>) {
        return 0;
    } else if constexpr (std::is_floating_point_v<T>) {
        *out = seconds_with_fraction(ts);
    } else {
        *out = static_cast<T>(static_cast<uint32_t>(ts.seconds));
    }
    return 1;
}

// The numeric reads with a table of their own: int32, uint32, int64,
// uint64 and double. out is written only on success, except the parser's
// failure value of the 32-bit text reads.
template <class T>
int read_number(const orv_variant_t *v, T *out) {
    if (v == nullptr || out == nullptr) return 0;
    const auto &x = v->value;
    switch (holding_of(v->type)) {
    case Holding::Calendar: return read_seconds(x.as_timestamp, out);
    case Holding::Text:
        // Up to the zero byte, not up to len.
        return x.data != nullptr && read_text(static_cast<const char *>(x.data), out);
    default: return visit_number(*v, [out](auto value) { return *out = convert<T>(value), 1; });
    }
}

// The narrow reads: the wider read into a local, then its low bits.
template <class Wide, class Narrow>
int read_narrow(const orv_variant_t *v, Narrow *out) {
    Wide wide{};
    if (out == nullptr || !read_number(v, &wide)) return 0;
    *out = static_cast<Narrow>(wide);
    return 1;
}

// The numeric stores with a table of their own: int32, uint32, int64,
// uint64 and double (float parses store through this too). The record is
// written only on success, but for the cut text of a real.
template <class S>
int store_number(orv_variant_t *v, S value) {
    if (v == nullptr) return 0;
    auto &x = v->value;
    const bool is_signed = signed_tag(v->type);
    switch (holding_of(v->type)) {
    case Holding::Bool: x.as_bool = truth(value); return 1;
    case Holding::Word32:
        x.as_int32 =
            is_signed ? convert<int32_t>(value) : static_cast<int32_t>(convert<uint32_t>(value));
        return 1;
    case Holding::Word64:
        x.as_int64 =
            is_signed ? convert<int64_t>(value) : static_cast<int64_t>(convert<uint64_t>(value));
        return 1;
    case Holding::Float: x.as_float = static_cast<float>(value); return 1;
    case Holding::Double: x.as_double = static_cast<double>(value); return 1;
    case Holding::Calendar:
        // A signed 32-bit number is the one source the calendar refuses.
        if constexpr (std::is_same_v<S, int32_t>) {
            return 0;
        } else if constexpr (std::is_floating_point_v<S>) {
            x.as_timestamp = timestamp_of_real(value);
        } else {
            x.as_timestamp = {static_cast<int32_t>(value), 0, 0};
        }
        return 1;
    case Holding::Text:
        // len stays as it was: only the text and byte stores set it.
        return write_number_text(static_cast<char *>(x.data), x.cap, value);
    default: return 0;
    }
}

// The fixed grammar of date and time text in a record (not the free-form
// parser): all five forms always run on the whole text into one set of
// fields, and the longest that matched fills dt. Nothing after a form is
// checked and no field is range-checked.
bool scan_datetime_text(const char *text, orv_datetime_t *dt) {
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, ms = 0;
    const int date = std::sscanf(text, "%04d-%02d-%02d", &y, &mo, &d);
    const int hms = std::sscanf(text, "%02d:%02d:%02d", &h, &mi, &s);
    const int hms_ms = std::sscanf(text, "%02d:%02d:%02d.%03d", &h, &mi, &s, &ms);
    const int full = std::sscanf(text, "%04d-%02d-%02d %02d:%02d:%02d", &y, &mo, &d, &h, &mi, &s);
    const int full_ms =
        std::sscanf(text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", &y, &mo, &d, &h, &mi, &s, &ms);
    if (full_ms == 7)
        *dt = {y, mo, d, 0, h, mi, s, ms};
    else if (full == 6)
        *dt = {y, mo, d, 0, h, mi, s, 0};
    else if (hms_ms == 4)
        *dt = {1970, 1, 1, 0, h, mi, s, ms};
    else if (hms == 3)
        *dt = {1970, 1, 1, 0, h, mi, s, 0};
    else if (date == 3)
        *dt = {y, mo, d, 0, 0, 0, 0, 0};
    else
        return false;
    return true;
}

// The one text of a calendar value: local date and time to the millisecond.
bool print_timestamp(const orv_timestamp_t &ts, char *dest, uint32_t size) {
    orv_datetime_t dt{};
    return orv_timestamp_to_datetime(&ts, &dt) &&
           orv_snprintf(dest, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d", dt.year, dt.month, dt.day,
                        dt.hour, dt.minute, dt.second, dt.millisecond) > 0;
}

// A date at local midnight; a time on 1970-01-01.
orv_datetime_t datetime_of(const orv_date_t &d) {
    return {d.year, d.month, d.day, d.weekday, 0, 0, 0, 0};
}
orv_datetime_t datetime_of(const orv_time_t &t) {
    return {1970, 1, 1, 0, t.hour, t.minute, t.second, t.millisecond};
}

// The calendar reads: the record's timestamp converted by convert, then
// the part of the fields that Out holds. out is written only on success.
template <class Out>
int read_calendar(const orv_variant_t *v, Out *out,
                  int (*convert)(const orv_timestamp_t *, orv_datetime_t *)) {
    orv_timestamp_t ts{};
    orv_datetime_t dt{};
    if (out == nullptr || !orv_variant_to_timestamp(v, &ts) || !convert(&ts, &dt)) return 0;
    if constexpr (std::is_same_v<Out, orv_date_t>)
        *out = {dt.year, dt.month, dt.day, dt.weekday};
    else if constexpr (std::is_same_v<Out, orv_time_t>)
        *out = {dt.hour, dt.minute, dt.second, dt.millisecond};
    else
        *out = dt;
    return 1;
}

// The first sizeof(T) bytes of data, in the host's order, into member.
template <class T, class Member>
int32_t take(Member &member, const void *data) {
    T value;
    std::memcpy(&value, data, sizeof value);
    member = static_cast<Member>(value);
    return sizeof value;
}

// Date or time text through the free-form parser into a calendar record;
// the width of the parsed record, or 0.
template <class Parsed>
int32_t take_calendar(orv_timestamp_t &member, const char *text) {
    Parsed parsed{};
    int ok = 0;
    if constexpr (std::is_same_v<Parsed, orv_time_t>)
        ok = orv_string_to_time(text, &parsed);
    else if constexpr (std::is_same_v<Parsed, orv_date_t>)
        ok = orv_string_to_date(text, kYearFirst, &parsed);
    else
        ok = orv_string_to_datetime(text, kYearFirst, &parsed);
    if (!ok) return 0;
    if constexpr (std::is_same_v<Parsed, orv_datetime_t>)
        orv_datetime_to_timestamp(&parsed, &member);
    else {
        const orv_datetime_t dt = datetime_of(parsed);
        orv_datetime_to_timestamp(&dt, &member);
    }
    return sizeof parsed;
}

}  // namespace

extern "C" {

ORV_API int orv_variant_is_btype_type(int8_t type) {
    const Holding holding = holding_of(type);
    return holding == Holding::Text || holding == Holding::Binary ? 0 : 1;
}

ORV_API int orv_variant_is_btype(const orv_variant_t *v) {
    return v != nullptr && orv_variant_is_btype_type(v->type);
}

ORV_API int orv_variant_is_valid(const orv_variant_t *v) {
    if (v == nullptr) return 0;
    if (orv_variant_is_btype_type(v->type)) return 1;
    return v->value.data != nullptr && v->value.cap != 0;
}

ORV_API int orv_variant_is_equal(const orv_variant_t *a, const orv_variant_t *b) {
    if (a == nullptr || b == nullptr || a->type != b->type) return 0;
    const auto &x = a->value, &y = b->value;
    switch (holding_of(a->type)) {
    case Holding::Bool: return x.as_bool == y.as_bool;
    case Holding::Word32: return x.as_int32 == y.as_int32;
    case Holding::Word64: return x.as_int64 == y.as_int64;
    case Holding::Float: {
        // The difference is worked in 32 bits, then widened; a NaN equals nothing.
        const float difference = x.as_float - y.as_float;
        return below_tolerance(static_cast<double>(difference));
    }
    case Holding::Double: return below_tolerance(x.as_double - y.as_double);
    case Holding::Calendar:
        return x.as_timestamp.seconds == y.as_timestamp.seconds &&
               x.as_timestamp.milliseconds == y.as_timestamp.milliseconds;
    case Holding::Text:
    case Holding::Binary: return bytes_equal(*a, *b);
    case Holding::Unknown: return 0;
    }
    return 0;
}

// Reads as numbers.

ORV_API int orv_variant_to_bool(const orv_variant_t *v, uint8_t *out) {
    if (v == nullptr || out == nullptr) return 0;
    const auto &x = v->value;
    switch (holding_of(v->type)) {
    case Holding::Bool: *out = x.as_bool; return 1;
    case Holding::Text:
        // Any prefix of "true" over len bytes, the empty one too, is true.
        if (x.data == nullptr) return 0;
        *out = orv_strncasecmp(static_cast<const char *>(x.data), "true", x.len) == 0 ? 1 : 0;
        return 1;
    default: return visit_number(*v, [out](auto value) { return *out = truth(value), 1; });
    }
}

ORV_API int orv_variant_to_int8(const orv_variant_t *v, int8_t *out) {
    return read_narrow<int32_t>(v, out);
}
ORV_API int orv_variant_to_int16(const orv_variant_t *v, int16_t *out) {
    return read_narrow<int32_t>(v, out);
}
ORV_API int orv_variant_to_int32(const orv_variant_t *v, int32_t *out) {
    return read_number(v, out);
}
ORV_API int orv_variant_to_int64(const orv_variant_t *v, int64_t *out) {
    return read_number(v, out);
}
ORV_API int orv_variant_to_uint8(const orv_variant_t *v, uint8_t *out) {
    return read_narrow<uint32_t>(v, out);
}
ORV_API int orv_variant_to_uint16(const orv_variant_t *v, uint16_t *out) {
    return read_narrow<uint32_t>(v, out);
}
ORV_API int orv_variant_to_uint32(const orv_variant_t *v, uint32_t *out) {
    return read_number(v, out);
}
ORV_API int orv_variant_to_uint64(const orv_variant_t *v, uint64_t *out) {
    return read_number(v, out);
}
ORV_API int orv_variant_to_float(const orv_variant_t *v, float *out) {
    return read_narrow<double>(v, out);
}
ORV_API int orv_variant_to_double(const orv_variant_t *v, double *out) {
    return read_number(v, out);
}

// Reads as calendar values, text and bytes.

ORV_API int orv_variant_to_timestamp(const orv_variant_t *v, orv_timestamp_t *out) {
    if (v == nullptr || out == nullptr) return 0;
    const auto &x = v->value;
    switch (holding_of(v->type)) {
    case Holding::Word32:
        // The unsigned words are seconds; the signed ones are refused.
        if (signed_tag(v->type)) return 0;
        *out = {x.as_int32, 0, 0};
        return 1;
    case Holding::Word64: *out = {static_cast<int32_t>(x.as_int64), 0, 0}; return 1;
    case Holding::Float: *out = timestamp_of_real(x.as_float); return 1;
    case Holding::Double: *out = timestamp_of_real(x.as_double); return 1;
    case Holding::Calendar: *out = x.as_timestamp; return 1;
    case Holding::Text: {
        orv_datetime_t dt{};
        return x.data != nullptr && scan_datetime_text(static_cast<const char *>(x.data), &dt) &&
               orv_datetime_to_timestamp(&dt, out);
    }
    default: return 0;
    }
}

ORV_API int orv_variant_to_datetime(const orv_variant_t *v, orv_datetime_t *out) {
    return read_calendar(v, out, orv_timestamp_to_datetime);
}
ORV_API int orv_variant_to_datetime_utc(const orv_variant_t *v, orv_datetime_t *out) {
    return read_calendar(v, out, orv_timestamp_to_datetime_utc);
}
ORV_API int orv_variant_to_date(const orv_variant_t *v, orv_date_t *out) {
    return read_calendar(v, out, orv_timestamp_to_datetime);
}
ORV_API int orv_variant_to_date_utc(const orv_variant_t *v, orv_date_t *out) {
    return read_calendar(v, out, orv_timestamp_to_datetime_utc);
}
ORV_API int orv_variant_to_time(const orv_variant_t *v, orv_time_t *out) {
    return read_calendar(v, out, orv_timestamp_to_datetime);
}
ORV_API int orv_variant_to_time_utc(const orv_variant_t *v, orv_time_t *out) {
    return read_calendar(v, out, orv_timestamp_to_datetime_utc);
}

ORV_API char *orv_variant_to_string(const orv_variant_t *v, char *dest, int32_t size) {
    if (v == nullptr || dest == nullptr || size <= 0) return nullptr;
    const auto room = static_cast<uint32_t>(size);
    const auto &x = v->value;
    bool written = false;
    switch (holding_of(v->type)) {
    case Holding::Bool:
        written = orv_snprintf(dest, room, "%s", x.as_bool != 0 ? "true" : "false") > 0;
        break;
    case Holding::Calendar: written = print_timestamp(x.as_timestamp, dest, room); break;
    case Holding::Text:
        // Up to the zero byte, cut to size with no report.
        if (x.data != nullptr) orv_strncpy_safe(dest, static_cast<const char *>(x.data), size);
        written = x.data != nullptr;
        break;
    default:
        written = visit_number(
            *v, [dest, room](auto value) { return write_number_text(dest, room, value) ? 1 : 0; });
    }
    return written ? dest : nullptr;
}

ORV_API int32_t orv_variant_to_binary(const orv_variant_t *v, void *dest, int32_t size) {
    if (v == nullptr || dest == nullptr || size <= 0 || v->type != ORV_VT_BINARY) return 0;
    if (v->value.data == nullptr) return 0;
    // The whole capacity as far as dest holds it, not len.
    const int32_t n = size < v->value.cap ? size : v->value.cap;
    std::memmove(dest, v->value.data, static_cast<size_t>(n));
    return n;
}

// Stores of numbers.

ORV_API int orv_variant_from_bool(orv_variant_t *v, uint8_t value) {
    return store_number<uint32_t>(v, value);
}
ORV_API int orv_variant_from_int8(orv_variant_t *v, int8_t value) {
    return store_number<int32_t>(v, value);
}
ORV_API int orv_variant_from_int16(orv_variant_t *v, int16_t value) {
    return store_number<int32_t>(v, value);
}
ORV_API int orv_variant_from_int32(orv_variant_t *v, int32_t value) {
    return store_number(v, value);
}
ORV_API int orv_variant_from_int64(orv_variant_t *v, int64_t value) {
    return store_number(v, value);
}
ORV_API int orv_variant_from_uint8(orv_variant_t *v, uint8_t value) {
    return store_number<uint32_t>(v, value);
}
ORV_API int orv_variant_from_uint16(orv_variant_t *v, uint16_t value) {
    return store_number<uint32_t>(v, value);
}
ORV_API int orv_variant_from_uint32(orv_variant_t *v, uint32_t value) {
    return store_number(v, value);
}
ORV_API int orv_variant_from_uint64(orv_variant_t *v, uint64_t value) {
    return store_number(v, value);
}
ORV_API int orv_variant_from_float(orv_variant_t *v, float value) {
    return store_number<double>(v, value);
}
ORV_API int orv_variant_from_double(orv_variant_t *v, double value) {
    return store_number(v, value);
}

// Stores of calendar values, text, bytes and other records.

ORV_API int orv_variant_from_timestamp(orv_variant_t *v, const orv_timestamp_t *ts) {
    if (v == nullptr || ts == nullptr) return 0;
    auto &x = v->value;
    const auto seconds = static_cast<uint32_t>(ts->seconds);
    switch (holding_of(v->type)) {
    case Holding::Word32:
        if (signed_tag(v->type)) return 0;
        x.as_int32 = ts->seconds;
        return 1;
    case Holding::Word64: x.as_int64 = seconds; return 1;
    case Holding::Float:
        // Each part narrowed on its own, the sum taken in 32 bits.
        x.as_float =
            static_cast<float>(seconds) + static_cast<float>(ts->milliseconds * 1000 * 1e-6);
        return 1;
    case Holding::Double: x.as_double = seconds_with_fraction(*ts); return 1;
    case Holding::Calendar: x.as_timestamp = *ts; return 1;
    case Holding::Text:
        return x.data != nullptr && print_timestamp(*ts, static_cast<char *>(x.data), x.cap);
    default: return 0;
    }
}

ORV_API int orv_variant_from_datetime(orv_variant_t *v, const orv_datetime_t *dt) {
    orv_timestamp_t ts{};
    return v != nullptr && dt != nullptr && orv_datetime_to_timestamp(dt, &ts) &&
           orv_variant_from_timestamp(v, &ts);
}

ORV_API int orv_variant_from_date(orv_variant_t *v, const orv_date_t *date) {
    if (date == nullptr) return 0;
    const orv_datetime_t dt = datetime_of(*date);
    return orv_variant_from_datetime(v, &dt);
}

ORV_API int orv_variant_from_time(orv_variant_t *v, const orv_time_t *time) {
    if (time == nullptr) return 0;
    const orv_datetime_t dt = datetime_of(*time);
    return orv_variant_from_datetime(v, &dt);
}

ORV_API int orv_variant_from_string(orv_variant_t *v, const char *text, int32_t size) {
    if (v == nullptr || text == nullptr || size <= 0) return 0;
    auto &x = v->value;
    // A number through the parser of the tag's kind; the record only on success.
    const auto parse_and_store = [v, text](auto parsed) {
        return parse(text, &parsed) && store_number(v, parsed);
    };
    switch (holding_of(v->type)) {
    case Holding::Bool: {
        // Only size bytes are compared: 'tomato' of size 1 is true.
        const auto n = static_cast<uint32_t>(size);
        if (orv_strncasecmp(text, "true", n) == 0)
            x.as_bool = 1;
        else if (orv_strncasecmp(text, "false", n) == 0)
            x.as_bool = 0;
        else
            return 0;
        return 1;
    }
    case Holding::Word32:
    case Holding::Word64:
        return signed_tag(v->type) ? parse_and_store(int32_t{}) : parse_and_store(uint32_t{});
    case Holding::Float: return parse_and_store(float{});
    case Holding::Double: return parse_and_store(double{});
    case Holding::Calendar: {
        orv_datetime_t dt{};
        return scan_datetime_text(text, &dt) && orv_datetime_to_timestamp(&dt, &x.as_timestamp);
    }
    case Holding::Text: {
        if (x.data == nullptr || x.cap == 0) return 0;
        char *dest = static_cast<char *>(x.data);
        orv_strncpy_safe(dest, text, x.cap);
        x.len = static_cast<uint16_t>(orv_strlen_safe(dest, x.cap));
        return 1;
    }
    default: return 0;
    }
}

ORV_API int32_t orv_variant_from_binary(orv_variant_t *v, const void *data, int32_t size) {
    if (v == nullptr || data == nullptr || size <= 0) return 0;
    auto &x = v->value;
    const char *text = static_cast<const char *>(data);
    switch (v->type) {
    case ORV_VT_BOOL: x.as_bool = *text != 0 ? 1 : 0; return 1;
    case ORV_VT_INT8: return take<int8_t>(x.as_int32, data);
    case ORV_VT_INT16: return take<int16_t>(x.as_int32, data);
    case ORV_VT_UINT8: return take<uint8_t>(x.as_int32, data);
    case ORV_VT_UINT16: return take<uint16_t>(x.as_int32, data);
    case ORV_VT_INT32:
    case ORV_VT_UINT32: return take<int32_t>(x.as_int32, data);
    case ORV_VT_INT64:
    case ORV_VT_UINT64: return take<int64_t>(x.as_int64, data);
    case ORV_VT_FLOAT: return take<float>(x.as_float, data);
    case ORV_VT_DOUBLE: return take<double>(x.as_double, data);
    case ORV_VT_DATE: return take_calendar<orv_date_t>(x.as_timestamp, text);
    case ORV_VT_TIME: return take_calendar<orv_time_t>(x.as_timestamp, text);
    case ORV_VT_DATETIME:
    case ORV_VT_TIMESTAMP: return take_calendar<orv_datetime_t>(x.as_timestamp, text);
    case ORV_VT_STRING:
    case ORV_VT_TEXT:
    case ORV_VT_BINARY: {
        if (x.data == nullptr || x.cap == 0) return 0;
        // len is n even when the text copy, bounded by cap and its zero
        // byte, stored less.
        const auto n = static_cast<uint16_t>(size < x.cap ? size : x.cap);
        x.len = n;
        if (v->type == ORV_VT_BINARY)
            std::memmove(x.data, data, n);
        else
            orv_strncpy_safe(static_cast<char *>(x.data), text, x.cap);
        return n;
    }
    default: return 0;
    }
}

ORV_API uint8_t orv_variant_from_other(orv_variant_t *v, const orv_variant_t *source) {
    if (v == nullptr || source == nullptr) return 0;
    const auto &x = source->value;
    switch (holding_of(source->type)) {
    case Holding::Calendar:
        return static_cast<uint8_t>(orv_variant_from_timestamp(v, &x.as_timestamp));
    case Holding::Text:
        return static_cast<uint8_t>(
            orv_variant_from_string(v, static_cast<const char *>(x.data), x.len));
    case Holding::Binary:
        // One byte wide: a count of 256 comes back as 0.
        return static_cast<uint8_t>(orv_variant_from_binary(v, x.data, x.len));
    default:
        return static_cast<uint8_t>(
            visit_number(*source, [v](auto value) { return store_number(v, value); }));
    }
}

}  // extern "C"
