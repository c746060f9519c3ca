// Number and hexadecimal text.
//
// The integer readers scan with strtol's and strtoul's base-10 rules at the
// target's 32-bit width; the float readers stand on strtod. Blanks and signs
// are accepted exactly as those functions accept them; what this layer adds
// is the whole-text rule and range errors as failures.
#include "orvsys/orv_numtext.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "internal/numtext.h"

namespace {

// The largest finite 32-bit float; orv_ascii_to_float refuses anything
// of greater magnitude.
constexpr double kFloatMax = 3.4028234663852886e38;

bool is_blank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Base-10 scan with the rules of strtol (Signed) and strtoul (!Signed) at
// the target's 32-bit width, whatever the width of the host's long:
// leading blanks (isspace), one optional sign, then digits. Beyond the range
// the result is the limit and errno is ERANGE; *end is after the last digit,
// or text itself when there was none. Doing the scan here rather than in the
// C library keeps the 32-bit rules exact on every platform and avoids the
// library's generic base handling on a hot path.
template <bool Signed>
std::conditional_t<Signed, int32_t, uint32_t> scan_decimal(const char *text, char **end) {
    const char *p = text;
    while (is_blank(*p)) ++p;
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;

    // Largest magnitude that still fits: for a signed read it depends on
    // the sign, for an unsigned read a "-" negates the full range.
    const uint32_t limit = Signed ? (negative ? 2147483648u : 2147483647u) : 4294967295u;
    const char *digits = p;
    uint32_t magnitude = 0;
    bool overflow = false;
    for (; *p >= '0' && *p <= '9'; ++p) {
        const uint32_t digit = static_cast<uint32_t>(*p - '0');
        if (overflow || magnitude > (limit - digit) / 10) {
            overflow = true;
            continue;
        }
        magnitude = magnitude * 10 + digit;
    }
    if (p == digits) {
        *end = const_cast<char *>(text);
        return 0;
    }
    *end = const_cast<char *>(p);
    if (overflow) {
        errno = ERANGE;
        if constexpr (Signed) return negative ? INT32_MIN : INT32_MAX;
        return UINT32_MAX;
    }
    // Two's complement negation: for the signed read 2147483648 becomes
    // INT32_MIN, for the unsigned read "-n" wraps as strtoul's does.
    const uint32_t value = negative ? 0u - magnitude : magnitude;
    if constexpr (Signed) return static_cast<int32_t>(value);
    return value;
}

bool all_blank(const char *s) {
    for (; *s != '\0'; ++s) {
        if (!is_blank(*s)) return false;
    }
    return true;
}

// After a conversion that started at text and stopped at end: a number was
// found, it was in range, and nothing but blanks follows it.
bool whole_number(const char *text, const char *end) {
    return end != text && errno == 0 && all_blank(end);
}

// What out holds when a read fails: 0, or the raw value of the conversion.
enum class OnFailure { Zero, Raw };

// The signed readers: the 32-bit read, then the member's own range. Values
// in [Lo, Hi] are stored by plain conversion, which keeps the low bits
// (the 8-bit member accepts 0..255 into a signed byte).
template <class Out, int64_t Lo, int64_t Hi, OnFailure Failure>
int read_signed(const char *text, Out *out) {
    *out = 0;
    errno = 0;
    char *end = nullptr;
    int32_t value = scan_decimal<true>(text, &end);
    if constexpr (Failure == OnFailure::Raw) *out = static_cast<Out>(value);
    if (!whole_number(text, end)) return 0;
    if constexpr (Lo > INT32_MIN) {
        if (value < Lo) return 0;
    }
    if constexpr (Hi < INT32_MAX) {
        if (value > Hi) return 0;
    }
    *out = static_cast<Out>(value);
    return 1;
}

// The unsigned readers other than ulong: through orv_ascii_to_ulong into a
// local, so out is written only on success.
template <class Out, uint32_t Hi>
int read_unsigned(const char *text, Out *out) {
    *out = 0;
    uint32_t value = 0;
    if (!orv_ascii_to_ulong(text, &value)) return 0;
    if constexpr (Hi < UINT32_MAX) {
        if (value > Hi) return 0;
    }
    *out = static_cast<Out>(value);
    return 1;
}

// Decimal digits of value, at least one.
int decimal_digits(uint32_t value) {
    int digits = 1;
    for (uint32_t limit = 10; digits < 10 && value >= limit; limit *= 10) ++digits;
    return digits;
}

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Fills the count bytes before end with the lowest count digits of value,
// two per division from the right, zeros where value has no more digits.
void put_digits(char *end, uint32_t value, int count) {
    int left = count;
    for (; left >= 2; left -= 2) {
        end -= 2;
        std::memcpy(end, kDigitPairs + 2 * (value % 100), 2);
        value /= 100;
    }
    if (left == 1) end[-1] = static_cast<char>('0' + value % 10);
}

// Every writer widens its value to 32 bits (by sign or by zeros) and hands
// it to the one decimal writer with the matching radix.
template <class T>
char *to_ascii(T value, char *dest) {
    static_assert(std::is_integral_v<T> && sizeof(T) <= 4);
    if constexpr (std::is_signed_v<T>) {
        orv::internal::write_decimal(static_cast<uint32_t>(static_cast<int32_t>(value)), dest, -10);
    } else {
        orv::internal::write_decimal(static_cast<uint32_t>(value), dest, 10);
    }
    return dest;
}

int hex_value(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    return (c | 0x20) - 'a' + 10;  // either case of "a".."f"
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

}  // namespace

namespace orv::internal {

// The first division is unsigned, which is what makes values from
// 2147483648 up come out right.
char *write_decimal(uint32_t value, char *dest, int radix) {
    if (radix < 0 && static_cast<int32_t>(value) < 0) {
        *dest++ = '-';
        value = 0u - value;
    }
    char *end = dest + decimal_digits(value);
    *end = '\0';
    put_digits(end, value, static_cast<int>(end - dest));
    return end;
}

char *write_decimal_padded(uint32_t value, char *dest, int width) {
    const int digits = decimal_digits(value);
    char *end = dest + (digits > width ? digits : width);
    put_digits(end, value, static_cast<int>(end - dest));
    return end;
}

}  // namespace orv::internal

extern "C" {

ORV_API int orv_all_isspace(const char *s) { return s != nullptr && all_blank(s) ? 1 : 0; }

ORV_API int orv_ascii_to_long(const char *text, int32_t *out) {
    return read_signed<int32_t, INT32_MIN, INT32_MAX, OnFailure::Raw>(text, out);
}

ORV_API int orv_ascii_to_int(const char *text, int32_t *out) {
    return read_signed<int32_t, INT32_MIN, INT32_MAX, OnFailure::Zero>(text, out);
}

ORV_API int orv_ascii_to_int32(const char *text, int32_t *out) {
    return read_signed<int32_t, INT32_MIN, INT32_MAX, OnFailure::Zero>(text, out);
}

ORV_API int orv_ascii_to_int16(const char *text, int16_t *out) {
    return read_signed<int16_t, INT16_MIN, INT16_MAX, OnFailure::Zero>(text, out);
}

ORV_API int orv_ascii_to_int8(const char *text, int8_t *out) {
    return read_signed<int8_t, 0, UINT8_MAX, OnFailure::Zero>(text, out);
}

ORV_API int orv_ascii_to_ulong(const char *text, uint32_t *out) {
    *out = 0;
    if (std::strchr(text, '-') != nullptr) return 0;
    errno = 0;
    char *end = nullptr;
    *out = scan_decimal<false>(text, &end);
    return whole_number(text, end) ? 1 : 0;
}

ORV_API int orv_ascii_to_uint(const char *text, uint32_t *out) {
    return read_unsigned<uint32_t, UINT32_MAX>(text, out);
}

ORV_API int orv_ascii_to_uint32(const char *text, uint32_t *out) {
    return read_unsigned<uint32_t, UINT32_MAX>(text, out);
}

ORV_API int orv_ascii_to_uint16(const char *text, uint16_t *out) {
    return read_unsigned<uint16_t, UINT16_MAX>(text, out);
}

ORV_API int orv_ascii_to_uint8(const char *text, uint8_t *out) {
    return read_unsigned<uint8_t, UINT8_MAX>(text, out);
}

ORV_API int orv_ascii_to_float(const char *text, float *out) {
    *out = 0.0f;
    errno = 0;
    char *end = nullptr;
    double value = std::strtod(text, &end);
    if (!whole_number(text, end)) return 0;
    // NaN is above nothing, so it passes; infinities do not.
    if (value > kFloatMax || value < -kFloatMax) return 0;
    *out = static_cast<float>(value);
    return 1;
}

ORV_API int orv_ascii_to_double(const char *text, double *out) {
    *out = 0.0;
    errno = 0;
    char *end = nullptr;
    *out = std::strtod(text, &end);
    return whole_number(text, end) ? 1 : 0;
}

ORV_API char *orv_int8_to_ascii(int8_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_uint8_to_ascii(uint8_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_int16_to_ascii(int16_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_uint16_to_ascii(uint16_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_int32_to_ascii(int32_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_int_to_ascii(int32_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_long_to_ascii(int32_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_uint32_to_ascii(uint32_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_uint_to_ascii(uint32_t value, char *dest) { return to_ascii(value, dest); }
ORV_API char *orv_ulong_to_ascii(uint32_t value, char *dest) { return to_ascii(value, dest); }

// The position is checked with >= so that a negative maxchars writes the
// empty text, as 0 does, instead of running without a bound.
ORV_API void orv_hex_to_ascii_str(char *dest, int32_t maxchars, const uint8_t *data, uint32_t len,
                                  uint8_t compact) {
    int32_t pos = 0;
    for (uint32_t i = 0; i < len; ++i) {
        if (i != 0 && compact != 1) dest[pos++] = ' ';
        if (pos >= maxchars) break;
        dest[pos++] = kHexDigits[data[i] >> 4];
        if (pos >= maxchars) break;
        dest[pos++] = kHexDigits[data[i] & 0x0F];
        if (pos >= maxchars) break;
    }
    dest[pos] = '\0';
}

ORV_API int orv_ascii_to_hex_str(uint8_t *dest, uint32_t *count, uint32_t capacity,
                                 const char *text) {
    *count = 0;
    bool high_waiting = false;
    for (const char *p = text; *p != '\0'; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if (std::isxdigit(c)) {
            if (*count >= capacity) return 0;
            const int value = hex_value(c);
            if (!high_waiting) {
                dest[*count] = static_cast<uint8_t>(value << 4);
                high_waiting = true;
            } else {
                dest[*count] = static_cast<uint8_t>(dest[*count] | value);
                ++*count;
                high_waiting = false;
            }
        } else if (!std::isspace(c)) {
            return 0;
        }
    }
    return high_waiting ? 0 : 1;
}

}  // extern "C"
