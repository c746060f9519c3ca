// Number and hex text. The 32-bit ranges are the target's on every host. Outputs
// start at a sentinel, so "left alone" and "set to 0" can be told apart.
#include "orvsys/orv_numtext.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/orv_test.h"

namespace {

// A reader into its own type, out at a sentinel first, widened to a double.
template <class T, int (*Read)(const char *, T *)>
int read_as_double(const char *text, double *out) {
    T value = static_cast<T>(0xA5A5A5A5u);
    const int result = Read(text, &value);
    *out = static_cast<double>(value);
    return result;
}

// What a reader leaves in out when its text has a number and more: the raw
// value for long, ulong and double, 0 for the others.
struct Reader {
    const char *name;
    int (*read)(const char *, double *);
    double left_on_partial;
};
// clang-format off
#define R(T, name, left) Reader{#name, read_as_double<T, orv_ascii_to_##name>, left}
constexpr Reader kLong = R(int32_t, long, 12), kUlong = R(uint32_t, ulong, 12),
    kInt = R(int32_t, int, 0), kUint = R(uint32_t, uint, 0), kInt32 = R(int32_t, int32, 0),
    kUint32 = R(uint32_t, uint32, 0), kInt16 = R(int16_t, int16, 0),
    kUint16 = R(uint16_t, uint16, 0), kInt8 = R(int8_t, int8, 0), kUint8 = R(uint8_t, uint8, 0),
    kFloat = R(float, float, 0), kDouble = R(double, double, 12);
#undef R
// clang-format on

// The scan itself is held to the C library below; these rows are each member's
// own range, what it leaves in out after a failure, and the whole-text rule.
TEST(Numtext, ReadersKeepTheirRangeAndOutOnFailureAndTakeWholeTexts) {
    // clang-format off
    struct Row { Reader reader; const char *text; int result; double out; };
    const Row rows[] = {
        {kUlong, "-1", 0, 0}, {kUlong, "-0", 0, 0}, {kUlong, "12 -", 0, 0}, {kInt, " 42 ", 1, 42},
        {kInt, "2147483648", 0, 0}, {kInt32, "-2147483648", 1, INT32_MIN},
        {kInt32, "-2147483649", 0, 0}, {kUint, "4294967295", 1, UINT32_MAX}, {kUint, "-1", 0, 0},
        {kUint32, "4294967296", 0, 0}, {kUint32, "1-", 0, 0}, {kUint32, "+7", 1, 7},
        {kInt16, "-32768", 1, -32768}, {kInt16, "32767", 1, 32767}, {kInt16, "-32769", 0, 0},
        {kInt16, "32768", 0, 0}, {kUint16, "65535", 1, 65535}, {kUint16, "65536", 0, 0},
        {kInt8, "0", 1, 0}, {kInt8, "127", 1, 127}, {kInt8, "128", 1, -128}, {kInt8, "255", 1, -1},
        {kInt8, "-1", 0, 0}, {kInt8, "256", 0, 0}, {kUint8, "255", 1, 255}, {kUint8, "256", 0, 0},
        {kFloat, " -2.25\n", 1, -2.25}, {kFloat, "3.5e38", 0, 0},
        {kFloat, "3.4028234663852886e38", 1, FLT_MAX},
        {kFloat, "-3.4028234663852886e38", 1, -FLT_MAX}, {kFloat, "-1e39", 0, 0},
        {kFloat, "inf", 0, 0}, {kFloat, "nan", 1, NAN}, {kFloat, "1e-400", 0, 0},
        {kDouble, "1e39", 1, 1e39}, {kDouble, "-inf", 1, -INFINITY}, {kDouble, "nan", 1, NAN},
        {kDouble, "1e999", 0, INFINITY}, {kDouble, "1e-400", 0, 0},
    };
    // clang-format on
    for (const Row &row : rows) {
        double out = 0;
        SCOPED_TRACE(testing::Message() << row.reader.name << " " << row.text);
        EXPECT_EQ(row.reader.read(row.text, &out), row.result);
        EXPECT_TRUE(out == row.out || (std::isnan(out) && std::isnan(row.out))) << out;
    }
    for (const Reader &reader : {kLong, kUlong, kInt, kInt32, kUint, kUint32, kInt16, kUint16,
                                 kInt8, kUint8, kFloat, kDouble})
        for (const char *text : {"", "   ", "abc", "-", "+", "\241\2411", "12abc"}) {
            double out = -1;
            const double left = text[0] == '1' ? reader.left_on_partial : 0;
            EXPECT_TRUE(reader.read(text, &out) == 0 && out == left) << reader.name << " " << text;
        }
    // clang-format off
    struct Blank { const char *text; int result; };
    const Blank blanks[] = {{"", 1}, {" \t\n\v\f\r", 1}, {" x", 0}, {"x ", 0}, {nullptr, 0},
        {"\xA1\xA1", 0}};
    // clang-format on
    for (const Blank &row : blanks)
        EXPECT_EQ(orv_all_isspace(row.text), row.result) << (row.text ? row.text : "(null)");
}

// The integer readers scan with strtol's and strtoul's rules at 32 bits: the wide C
// conversion, clamped, is the oracle for result, out and errno (which a call clears).
template <class T, class Wide>
void ExpectLikeTheCLibrary(const char *text, Wide (*c_read)(const char *, char **, int),
                           int (*read)(const char *, T *)) {
    using Limits = std::numeric_limits<T>;
    SCOPED_TRACE(text);
    char *end = nullptr;
    errno = 0;
    const Wide wide = c_read(text, &end, 10);
    const int want_errno = wide > Limits::max() || wide < Limits::min() ? ERANGE : errno;
    T out = 99;
    errno = ERANGE;
    EXPECT_EQ(read(text, &out), int{end != text && want_errno == 0 && orv_all_isspace(end)});
    EXPECT_EQ(out, static_cast<T>(std::clamp<Wide>(wide, Limits::min(), Limits::max())));
    EXPECT_EQ(errno, want_errno);
}

TEST(Numtext, LongAndUlongAgreeWithTheCLibrary) {
    // clang-format off
    const char *const texts[] = {"0", "+7", "-7", "\t\n\v\f\r 42", "42  \n", "0042", "-0",
        "2147483647", "2147483648", "-2147483648", "-2147483649", "4294967295", "4294967296",
        "99999999999999999999999", "-99999999999999999999999", "00000000000000000002147483647",
        "", " ", "+", "-", "+-1", "-+1", "- 1", "1 2", "12abc", "0x10", "1e3", "1.5", "\2405",
        "9\xff"};
    // clang-format on
    for (const char *text : texts) {
        ExpectLikeTheCLibrary(text, std::strtoll, orv_ascii_to_long);
        if (std::strchr(text, '-') != nullptr) continue;  // ulong refuses every "-" before it scans
        ExpectLikeTheCLibrary(text, std::strtoull, orv_ascii_to_ulong);
    }
}

// Each writer widens by its own sign; the rows walk the digit counts. Hex text is
// cut at maxchars; read back to bytes, only finished ones count.
TEST(Numtext, DecimalWritersAndHexTextBothWays) {
    // clang-format off
    struct Row { const char *name; char *(*write)(int64_t, char *); std::vector<int64_t> values; };
#define W(fn, type) #fn, [](int64_t v, char *dest) { return fn(static_cast<type>(v), dest); }
    const Row rows[] = {
        {W(orv_int8_to_ascii, int8_t), {-128, -1}}, {W(orv_uint8_to_ascii, uint8_t), {200}},
        {W(orv_int16_to_ascii, int16_t), {-32768}}, {W(orv_uint16_to_ascii, uint16_t), {65535}},
        {W(orv_int32_to_ascii, int32_t), {INT32_MIN, INT32_MAX, 0, 7, -10}},
        {W(orv_int_to_ascii, int32_t), {99}}, {W(orv_long_to_ascii, int32_t), {-100}},
        {W(orv_uint32_to_ascii, uint32_t), {UINT32_MAX, 2147483648u}},
        {W(orv_uint_to_ascii, uint32_t), {12345}}, {W(orv_ulong_to_ascii, uint32_t), {1000000000}}
    };
    // clang-format on
#undef W
    for (const Row &row : rows)
        for (int64_t value : row.values) {
            orv_test::Sentinel<24> buf;
            const std::string want = std::to_string(value);
            const bool written = row.write(value, buf) == buf.bytes && want == buf.bytes;
            EXPECT_TRUE(written && buf.untouched(want.size() + 1)) << row.name << " of " << value;
        }
    // clang-format off
    struct Hex { std::vector<uint8_t> data; int32_t maxchars; uint8_t compact; const char *want; };
    const std::vector<uint8_t> abcd = {171, 205}, six = {0x00, 0x0F, 0xF0, 0xFF, 0x5A, 0x19};
    const Hex hexes[] = {{abcd, 16, 0, "AB CD"}, {abcd, 16, 1, "ABCD"}, {abcd, 16, 2, "AB CD"},
        {abcd, 5, 0, "AB CD"}, {abcd, 4, 0, "AB C"}, {abcd, 3, 0, "AB "}, {abcd, 2, 0, "AB"},
        {abcd, 1, 0, "A"}, {abcd, 0, 0, ""}, {abcd, 3, 1, "ABC"}, {abcd, 2, 1, "AB"},
        {{}, 16, 0, ""}, {six, 32, 0, "00 0F F0 FF 5A 19"}, {six, 32, 1, "000FF0FF5A19"}};
    // clang-format on
    for (const Hex &row : hexes) {
        orv_test::Sentinel<40> buf;
        orv_hex_to_ascii_str(buf, row.maxchars, row.data.data(),
                             static_cast<uint32_t>(row.data.size()), row.compact);
        EXPECT_STREQ(buf, row.want) << "maxchars " << row.maxchars << " compact " << +row.compact;
        EXPECT_TRUE(buf.untouched(std::strlen(row.want) + 1)) << row.want;
    }
    // clang-format off
    struct Back { const char *text; int capacity; int result; std::vector<uint8_t> bytes; };
    const Back backs[] = {{"ab CD", 2, 1, {171, 205}}, {"A B", 4, 1, {171}},
        {"\tab\n", 1, 1, {171}}, {"", 0, 1, {}},
        {"0123456789abcdefABCDEF", 11, 1,
         {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}},
        {"ABC", 4, 0, {171}}, {"A", 4, 0, {}}, {"ABCD", 1, 0, {171}}, {"AB", 0, 0, {}},
        {"AG", 4, 0, {}}, {"AB-CD", 4, 0, {171}}, {"AB\xA1\xA1" "CD", 4, 0, {171}}};
    // clang-format on
    for (const Back &row : backs) {
        SCOPED_TRACE(row.text);
        std::vector<uint8_t> dest(16, 0xEE);  // nothing at or past capacity is written
        uint32_t count = 12345;
        EXPECT_EQ(orv_ascii_to_hex_str(dest.data(), &count, row.capacity, row.text), row.result);
        EXPECT_EQ(std::vector<uint8_t>(dest.begin(), dest.begin() + std::min(count, 16u)),
                  row.bytes);
        EXPECT_EQ(std::count(dest.begin() + row.capacity, dest.end(), 0xEE), 16 - row.capacity);
    }
}

}  // namespace
