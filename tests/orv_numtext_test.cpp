// Number and hex text: readers, writers and hex conversion.
//
// The 32-bit ranges are those of the target on every platform, so the
// same rows hold on a 64-bit host. Outputs are pre-filled with a sentinel
// so that "left alone" and "set to 0" can be told apart.
#include "orvsys/orv_numtext.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "internal/numtext.h"

namespace {

constexpr char kSentinel = '#';
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// True when every byte of buf from `from` to `size` still holds the sentinel.
bool untouched_from(const char *buf, size_t from, size_t size) {
    for (size_t i = from; i < size; ++i) {
        if (buf[i] != kSentinel) return false;
    }
    return true;
}

TEST(Numtext, AllIsspace) {
    struct Row {
        const char *text;
        int result;
    };
    const Row rows[] = {
        {"", 1},     {" \t\n", 1}, {"\v\f\r ", 1}, {" x", 0},
        {"x ", 0},   {"0", 0},     {nullptr, 0},
        {"\xA1\xA1", 0},  // the GB2312 double-byte space is no blank here
    };
    for (const Row &row : rows) {
        EXPECT_EQ(orv_all_isspace(row.text), row.result)
            << "text '" << (row.text ? row.text : "(null)") << "'";
    }
}

// ---- Readers: one table for all twelve members -------------------------

struct Reading {
    int result;
    bool out_matches;
    std::string out;  // what the reader left in out, for the failure message
};

// Calls one reader with out pre-filled by a sentinel pattern and compares
// out with `expected` converted to the reader's own type (NaN matches NaN).
template <class T, int (*Read)(const char *, T *)>
Reading read_with(const char *text, double expected) {
    T out;
    std::memset(&out, 0xA5, sizeof out);
    Reading reading{};
    reading.result = Read(text, &out);
    const T want = static_cast<T>(expected);
    if constexpr (std::is_floating_point_v<T>) {
        reading.out_matches = std::isnan(want) ? std::isnan(out) : out == want;
    } else {
        reading.out_matches = out == want;
    }
    reading.out = ::testing::PrintToString(+out);
    return reading;
}

struct Reader {
    const char *name;
    Reading (*read)(const char *text, double expected);
};

constexpr Reader kLong{"long", read_with<int32_t, orv_ascii_to_long>};
constexpr Reader kUlong{"ulong", read_with<uint32_t, orv_ascii_to_ulong>};
constexpr Reader kInt{"int", read_with<int32_t, orv_ascii_to_int>};
constexpr Reader kInt32{"int32", read_with<int32_t, orv_ascii_to_int32>};
constexpr Reader kUint{"uint", read_with<uint32_t, orv_ascii_to_uint>};
constexpr Reader kUint32{"uint32", read_with<uint32_t, orv_ascii_to_uint32>};
constexpr Reader kInt16{"int16", read_with<int16_t, orv_ascii_to_int16>};
constexpr Reader kUint16{"uint16", read_with<uint16_t, orv_ascii_to_uint16>};
constexpr Reader kInt8{"int8", read_with<int8_t, orv_ascii_to_int8>};
constexpr Reader kUint8{"uint8", read_with<uint8_t, orv_ascii_to_uint8>};
constexpr Reader kFloat{"float", read_with<float, orv_ascii_to_float>};
constexpr Reader kDouble{"double", read_with<double, orv_ascii_to_double>};

struct ReaderRow {
    Reader reader;
    const char *text;
    int result;
    double out;  // out after the call, success or failure
};

// Texts that no reader accepts, and that leave 0 in every out.
const char *const kNoNumber[] = {"", "   ", "abc", "-", "+", "\xA1\xA1" "1"};

const ReaderRow kReaderRows[] = {
    // long: out keeps strtol's value, clamped to 32 bits on a range error.
    {kLong, "42", 1, 42}, {kLong, " 42 ", 1, 42}, {kLong, "+42", 1, 42}, {kLong, "42\n", 1, 42},
    {kLong, "-2147483648", 1, -2147483648.0}, {kLong, "2147483647", 1, 2147483647},
    {kLong, "2147483648", 0, 2147483647}, {kLong, "-2147483649", 0, -2147483648.0},
    {kLong, "4294967296", 0, 2147483647},
    {kLong, "99999999999999999999", 0, 2147483647},
    {kLong, "-99999999999999999999", 0, -2147483648.0},
    {kLong, "12abc", 0, 12}, {kLong, "4 2", 0, 4}, {kLong, "0x10", 0, 0}, {kLong, "1.5", 0, 1},
    // ulong: 0 once the text holds a "-", else strtoul's value clamped to 32 bits.
    {kUlong, "0", 1, 0}, {kUlong, "4294967295", 1, 4294967295.0}, {kUlong, " +7\t", 1, 7},
    {kUlong, "4294967296", 0, 4294967295.0},
    {kUlong, "99999999999999999999", 0, 4294967295.0},
    {kUlong, "-1", 0, 0}, {kUlong, "-0", 0, 0}, {kUlong, "1-", 0, 0}, {kUlong, "12 -", 0, 0},
    {kUlong, "12abc", 0, 12}, {kUlong, "4 2", 0, 4},
    // int and int32: 0 after every failure.
    {kInt, " 42 ", 1, 42}, {kInt, "+42", 1, 42}, {kInt, "42\n", 1, 42},
    {kInt, "-2147483648", 1, -2147483648.0}, {kInt, "2147483647", 1, 2147483647},
    {kInt, "2147483648", 0, 0}, {kInt, "-2147483649", 0, 0},
    {kInt, "99999999999999999999", 0, 0}, {kInt, "12abc", 0, 0}, {kInt, "4 2", 0, 0},
    {kInt, "0x10", 0, 0},
    {kInt32, "-7", 1, -7}, {kInt32, "-2147483648", 1, -2147483648.0},
    {kInt32, "2147483648", 0, 0}, {kInt32, "12abc", 0, 0},
    // uint and uint32
    {kUint, "4294967295", 1, 4294967295.0}, {kUint, " 0 ", 1, 0},
    {kUint, "4294967296", 0, 0}, {kUint, "-1", 0, 0}, {kUint, "12abc", 0, 0},
    {kUint32, "4294967295", 1, 4294967295.0}, {kUint32, "4294967296", 0, 0},
    {kUint32, "-1", 0, 0}, {kUint32, "1-", 0, 0}, {kUint32, "-0", 0, 0},
    {kUint32, "99999999999999999999", 0, 0},
    // int16
    {kInt16, "-32768", 1, -32768}, {kInt16, "32767", 1, 32767}, {kInt16, " -5 ", 1, -5},
    {kInt16, "-32769", 0, 0}, {kInt16, "32768", 0, 0}, {kInt16, "2147483648", 0, 0},
    {kInt16, "12abc", 0, 0},
    // uint16
    {kUint16, "65535", 1, 65535}, {kUint16, "0", 1, 0}, {kUint16, "65536", 0, 0},
    {kUint16, "-1", 0, 0}, {kUint16, "4294967296", 0, 0}, {kUint16, "12abc", 0, 0},
    // int8 accepts 0..255 and keeps the low 8 bits.
    {kInt8, "0", 1, 0}, {kInt8, "127", 1, 127}, {kInt8, "128", 1, -128}, {kInt8, "200", 1, -56},
    {kInt8, "255", 1, -1}, {kInt8, "-1", 0, 0}, {kInt8, "-128", 0, 0}, {kInt8, "256", 0, 0},
    {kInt8, "12abc", 0, 0},
    // uint8
    {kUint8, "255", 1, 255}, {kUint8, " 9 ", 1, 9}, {kUint8, "256", 0, 0}, {kUint8, "-1", 0, 0},
    {kUint8, "12abc", 0, 0},
    // float: magnitude limit of the largest 32-bit float, 0.0 after a failure.
    {kFloat, "1.5", 1, 1.5}, {kFloat, " -2.25\n", 1, -2.25}, {kFloat, "1e38", 1, 1e38},
    {kFloat, "3.4028234663852886e38", 1, FLT_MAX},
    {kFloat, "-3.4028234663852886e38", 1, -FLT_MAX},
    {kFloat, "1e-50", 1, 0},  // in double range; narrowing to float is no failure
    {kFloat, "nan", 1, kNan}, {kFloat, "3.5e38", 0, 0}, {kFloat, "1e39", 0, 0},
    {kFloat, "-1e39", 0, 0}, {kFloat, "inf", 0, 0}, {kFloat, "-inf", 0, 0},
    {kFloat, "1e999", 0, 0}, {kFloat, "1e-400", 0, 0}, {kFloat, "12abc", 0, 0},
    // double: out keeps strtod's value.
    {kDouble, "2.5", 1, 2.5}, {kDouble, " 2.5\t", 1, 2.5}, {kDouble, "1e39", 1, 1e39},
    {kDouble, "inf", 1, kInf}, {kDouble, "-inf", 1, -kInf}, {kDouble, "nan", 1, kNan},
    {kDouble, "1e999", 0, kInf}, {kDouble, "-1e999", 0, -kInf}, {kDouble, "1e-400", 0, 0},
    {kDouble, "12abc", 0, 12}, {kDouble, "4 2", 0, 4},
};

TEST(Numtext, ReadersFollowTheTable) {
    for (const ReaderRow &row : kReaderRows) {
        const Reading reading = row.reader.read(row.text, row.out);
        EXPECT_EQ(reading.result, row.result) << row.reader.name << " of '" << row.text << "'";
        EXPECT_TRUE(reading.out_matches) << row.reader.name << " of '" << row.text
                                         << "' left out = " << reading.out;
    }
}

TEST(Numtext, ReadersRefuseTextsWithoutANumber) {
    const Reader readers[] = {kLong, kUlong, kInt,  kInt32, kUint,  kUint32,
                              kInt16, kUint16, kInt8, kUint8, kFloat, kDouble};
    for (const Reader &reader : readers) {
        for (const char *text : kNoNumber) {
            const Reading reading = reader.read(text, 0);
            EXPECT_EQ(reading.result, 0) << reader.name << " of '" << text << "'";
            EXPECT_TRUE(reading.out_matches)
                << reader.name << " of '" << text << "' left out = " << reading.out;
        }
    }
}

TEST(Numtext, ReadersLeaveErrnoAsTheConversionLeftIt) {
    int32_t value = 0;
    errno = EINVAL;
    EXPECT_EQ(orv_ascii_to_int("5", &value), 1);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(orv_ascii_to_int("99999999999999999999", &value), 0);
    EXPECT_EQ(errno, ERANGE);
    double real = 0;
    errno = 0;
    EXPECT_EQ(orv_ascii_to_double("1e-400", &real), 0);  // underflow fails by errno
    EXPECT_EQ(errno, ERANGE);
}

// ---- Writers -------------------------------------------------------------

template <class T, char *(*Write)(T, char *)>
char *write_with(int64_t value, char *dest) {
    return Write(static_cast<T>(value), dest);
}

struct WriterRow {
    const char *name;
    char *(*write)(int64_t value, char *dest);
    int64_t value;
    const char *expected;
};

#define ORV_WRITER(fn, type) #fn, write_with<type, fn>

TEST(Numtext, WritersFollowTheTable) {
    const WriterRow rows[] = {
        {ORV_WRITER(orv_int8_to_ascii, int8_t), -128, "-128"},
        {ORV_WRITER(orv_int8_to_ascii, int8_t), 127, "127"},
        {ORV_WRITER(orv_int8_to_ascii, int8_t), -1, "-1"},
        {ORV_WRITER(orv_int8_to_ascii, int8_t), 0, "0"},
        {ORV_WRITER(orv_uint8_to_ascii, uint8_t), 255, "255"},
        {ORV_WRITER(orv_uint8_to_ascii, uint8_t), 200, "200"},
        {ORV_WRITER(orv_uint8_to_ascii, uint8_t), 0, "0"},
        {ORV_WRITER(orv_int16_to_ascii, int16_t), -32768, "-32768"},
        {ORV_WRITER(orv_int16_to_ascii, int16_t), 32767, "32767"},
        {ORV_WRITER(orv_int16_to_ascii, int16_t), 0, "0"},
        {ORV_WRITER(orv_uint16_to_ascii, uint16_t), 65535, "65535"},
        {ORV_WRITER(orv_uint16_to_ascii, uint16_t), 10, "10"},
        {ORV_WRITER(orv_uint16_to_ascii, uint16_t), 0, "0"},
        {ORV_WRITER(orv_int32_to_ascii, int32_t), INT32_MIN, "-2147483648"},
        {ORV_WRITER(orv_int32_to_ascii, int32_t), INT32_MAX, "2147483647"},
        {ORV_WRITER(orv_int32_to_ascii, int32_t), 1000000000, "1000000000"},
        {ORV_WRITER(orv_int32_to_ascii, int32_t), -10, "-10"},
        {ORV_WRITER(orv_int32_to_ascii, int32_t), 0, "0"},
        {ORV_WRITER(orv_int_to_ascii, int32_t), INT32_MIN, "-2147483648"},
        {ORV_WRITER(orv_int_to_ascii, int32_t), INT32_MAX, "2147483647"},
        {ORV_WRITER(orv_int_to_ascii, int32_t), 0, "0"},
        {ORV_WRITER(orv_long_to_ascii, int32_t), INT32_MIN, "-2147483648"},
        {ORV_WRITER(orv_long_to_ascii, int32_t), INT32_MAX, "2147483647"},
        {ORV_WRITER(orv_long_to_ascii, int32_t), 0, "0"},
        {ORV_WRITER(orv_uint32_to_ascii, uint32_t), UINT32_MAX, "4294967295"},
        {ORV_WRITER(orv_uint32_to_ascii, uint32_t), 2147483648u, "2147483648"},
        {ORV_WRITER(orv_uint32_to_ascii, uint32_t), 100, "100"},
        {ORV_WRITER(orv_uint32_to_ascii, uint32_t), 0, "0"},
        {ORV_WRITER(orv_uint_to_ascii, uint32_t), UINT32_MAX, "4294967295"},
        {ORV_WRITER(orv_uint_to_ascii, uint32_t), 0, "0"},
        {ORV_WRITER(orv_ulong_to_ascii, uint32_t), UINT32_MAX, "4294967295"},
        {ORV_WRITER(orv_ulong_to_ascii, uint32_t), 0, "0"},
    };
    for (const WriterRow &row : rows) {
        char buf[24];
        std::memset(buf, kSentinel, sizeof buf);
        EXPECT_EQ(row.write(row.value, buf), buf) << row.name << " of " << row.value;
        EXPECT_STREQ(buf, row.expected) << row.name << " of " << row.value;
        EXPECT_TRUE(untouched_from(buf, std::strlen(row.expected) + 1, sizeof buf))
            << row.name << " of " << row.value << " wrote past its terminator";
    }
}

#undef ORV_WRITER

TEST(Numtext, WriteDecimalReturnsTheTerminator) {
    struct Row {
        uint32_t value;
        int radix;
        const char *expected;
    };
    const Row rows[] = {
        {0, 10, "0"},
        {0, -10, "0"},
        {7, -10, "7"},
        {4294967295u, 10, "4294967295"},
        {2147483648u, 10, "2147483648"},  // unsigned first division
        {2147483647u, -10, "2147483647"},
        {2147483648u, -10, "-2147483648"},  // INT32_MIN negates to 2147483648
        {4294967295u, -10, "-1"},
        {4294967286u, -10, "-10"},
        {1000000000u, 10, "1000000000"},
        {255, 16, "255"},  // only the sign of radix counts: base is ten
        {4294967295u, -2, "-1"},
        {4294967295u, 1, "4294967295"},
    };
    for (const Row &row : rows) {
        char buf[24];
        std::memset(buf, kSentinel, sizeof buf);
        char *end = orv_write_decimal(row.value, buf, row.radix);
        EXPECT_STREQ(buf, row.expected) << row.value << " radix " << row.radix;
        EXPECT_EQ(end, buf + std::strlen(row.expected)) << row.value << " radix " << row.radix;
        EXPECT_TRUE(untouched_from(buf, std::strlen(row.expected) + 1, sizeof buf))
            << row.value << " radix " << row.radix;
    }
}

// ---- Hex text --------------------------------------------------------------

TEST(Numtext, HexToAsciiStr) {
    struct Row {
        std::vector<uint8_t> data;
        int32_t maxchars;
        uint8_t compact;
        const char *expected;
    };
    const std::vector<uint8_t> abcd = {171, 205};
    const Row rows[] = {
        {abcd, 16, 0, "AB CD"},
        {abcd, 16, 1, "ABCD"},
        {abcd, 16, 2, "AB CD"},  // any compact other than 1 acts like 0
        {abcd, 16, 255, "AB CD"},
        {abcd, 5, 0, "AB CD"},
        {abcd, 4, 0, "AB C"},  // cut inside a byte
        {abcd, 3, 0, "AB "},   // cut on the separating blank
        {abcd, 2, 0, "AB"},
        {abcd, 1, 0, "A"},
        {abcd, 0, 0, ""},
        {abcd, 3, 1, "ABC"},
        {abcd, 2, 1, "AB"},
        {abcd, 0, 1, ""},
        {{}, 16, 0, ""},
        {{}, 16, 1, ""},
        {{0x00, 0x0F, 0xF0, 0xFF, 0x5A, 0x19}, 32, 0, "00 0F F0 FF 5A 19"},
        {{0x00, 0x0F, 0xF0, 0xFF, 0x5A, 0x19}, 32, 1, "000FF0FF5A19"},
        {{0x01}, 32, 0, "01"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("maxchars " + std::to_string(row.maxchars) + " compact " +
                     std::to_string(row.compact) + " expected '" + row.expected + "'");
        char buf[40];
        std::memset(buf, kSentinel, sizeof buf);
        orv_hex_to_ascii_str(buf, row.maxchars, row.data.data(),
                             static_cast<uint32_t>(row.data.size()), row.compact);
        EXPECT_STREQ(buf, row.expected);
        EXPECT_TRUE(untouched_from(buf, std::strlen(row.expected) + 1, sizeof buf));
    }
}

TEST(Numtext, HexToAsciiStrReadsOnlyLenBytes) {
    const uint8_t data[] = {0xAB, 0xCD};
    char buf[16];
    std::memset(buf, kSentinel, sizeof buf);
    orv_hex_to_ascii_str(buf, 15, data, 1, 0);
    EXPECT_STREQ(buf, "AB");
}

TEST(Numtext, AsciiToHexStr) {
    struct Row {
        const char *text;
        uint32_t capacity;
        int result;
        std::vector<uint8_t> bytes;  // count is its size
    };
    const Row rows[] = {
        {"ab CD", 2, 1, {171, 205}},
        {"A B", 4, 1, {171}},  // a blank between the two digits of a byte
        {"\tab\n", 1, 1, {171}},
        {"", 4, 1, {}},
        {"", 0, 1, {}},
        {"  \n", 0, 1, {}},
        {"0123456789abcdefABCDEF", 11, 1,
         {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}},
        {"ABC", 4, 0, {171}},      // odd number of digits
        {"A", 4, 0, {}},
        {"AB C", 4, 0, {171}},
        {"ABCD", 1, 0, {171}},     // beyond capacity
        {"AB CD EF", 2, 0, {171, 205}},
        {"AB", 0, 0, {}},
        {"AG", 4, 0, {}},          // not a hex digit
        {"AB-CD", 4, 0, {171}},
        {"0xAB", 4, 0, {}},
        {"AB\xA1\xA1" "CD", 4, 0, {171}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string("text '") + row.text + "' capacity " +
                     std::to_string(row.capacity));
        uint8_t dest[16];
        std::memset(dest, 0xEE, sizeof dest);
        uint32_t count = 12345;
        EXPECT_EQ(orv_ascii_to_hex_str(dest, &count, row.capacity, row.text), row.result);
        EXPECT_EQ(count, row.bytes.size());
        for (size_t i = 0; i < row.bytes.size() && i < sizeof dest; ++i) {
            EXPECT_EQ(dest[i], row.bytes[i]) << "byte " << i;
        }
        for (size_t i = row.capacity; i < sizeof dest; ++i) {
            EXPECT_EQ(dest[i], 0xEE) << "wrote beyond capacity at " << i;
        }
    }
}

// The integer readers scan decimal text themselves, with strtol's and
// strtoul's rules at 32 bits. Hold them to the C library: the wide
// conversion clamped to 32 bits is what the target's own strtol gives.
const char *const kScanTexts[] = {
    "0", "7", "+7", "-7", "  42", "\t\n\v\f\r 42", "42  \n", "0042", "-0",
    "2147483647", "2147483648", "-2147483648", "-2147483649", "4294967295",
    "4294967296", "99999999999999999999999", "-99999999999999999999999",
    "00000000000000000002147483647", "", " ", "+", "-", "+-1", "-+1", "- 1",
    "1 2", "12abc", "abc", "0x10", "1e3", "1.5", "\xa0" "5", "9\xff",
};

TEST(Numtext, LongAndUlongAgreeWithTheCLibrary) {
    for (const char *text : kScanTexts) {
        SCOPED_TRACE(std::string("text '") + text + "'");
        char *end = nullptr;
        errno = 0;
        long long wide = std::strtoll(text, &end, 10);
        int expected_errno = errno;
        if (wide > INT32_MAX || wide < INT32_MIN) {
            wide = wide > 0 ? INT32_MAX : INT32_MIN;
            expected_errno = ERANGE;
        }
        int expected_ok = end != text && expected_errno == 0 && orv_all_isspace(end);
        int32_t out = 99;
        errno = 0;
        EXPECT_EQ(orv_ascii_to_long(text, &out), expected_ok);
        EXPECT_EQ(out, static_cast<int32_t>(wide));
        EXPECT_EQ(errno, expected_errno);

        if (std::strchr(text, '-') != nullptr) continue;
        errno = 0;
        unsigned long long uwide = std::strtoull(text, &end, 10);
        expected_errno = errno;
        if (uwide > UINT32_MAX) {
            uwide = UINT32_MAX;
            expected_errno = ERANGE;
        }
        expected_ok = end != text && expected_errno == 0 && orv_all_isspace(end);
        uint32_t uout = 99;
        errno = 0;
        EXPECT_EQ(orv_ascii_to_ulong(text, &uout), expected_ok);
        EXPECT_EQ(uout, static_cast<uint32_t>(uwide));
        EXPECT_EQ(errno, expected_errno);
    }
}

}  // namespace
