// Number and hex text. The 32-bit ranges are the target's on every host. Outputs
// start at a sentinel, so "left alone" and "set to 0" can be told apart.
#include "orvsys/orv_numtext.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "support/orv_test.h"

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN(),
                 kInf = std::numeric_limits<double>::infinity();

// A reader into its own type, out at a sentinel first, widened to a double.
template <class T, int (*Read)(const char *, T *)>
int read_as_double(const char *text, double *out) {
    T value = static_cast<T>(0xA5A5A5A5u);
    const int result = Read(text, &value);
    *out = static_cast<double>(value);
    return result;
}

struct Reader {
    const char *name;
    int (*read)(const char *, double *);
};
// clang-format off
#define R(T, name) Reader{#name, read_as_double<T, orv_ascii_to_##name>}
// clang-format on
constexpr Reader kLong = R(int32_t, long), kUlong = R(uint32_t, ulong), kInt = R(int32_t, int),
                 kUint = R(uint32_t, uint);
constexpr Reader kInt32 = R(int32_t, int32), kUint32 = R(uint32_t, uint32),
                 kInt16 = R(int16_t, int16);
constexpr Reader kUint16 = R(uint16_t, uint16), kInt8 = R(int8_t, int8), kUint8 = R(uint8_t, uint8);
constexpr Reader kFloat = R(float, float), kDouble = R(double, double);
#undef R

// The scan itself is held to the C library below; these rows are each member's
// own range, what it leaves in out after a failure, and the whole-text rule.
TEST(Numtext, ReadersKeepTheirRangeAndOutOnFailureAndTakeWholeTexts) {
    // clang-format off
    struct Row { Reader reader; const char *text; int result; double out; };
    const Row rows[] = {
        {kDouble, "12abc", 0, 12}, {kUlong, "-1", 0, 0}, {kUlong, "-0", 0, 0},
        {kUlong, "12 -", 0, 0}, {kInt, " 42 ", 1, 42}, {kInt, "12abc", 0, 0},
        {kInt, "2147483648", 0, 0}, {kInt32, "-2147483648", 1, INT32_MIN}, {kInt32, "12abc", 0, 0},
        {kInt32, "-2147483649", 0, 0}, {kUint, "4294967295", 1, UINT32_MAX}, {kUint, "12abc", 0, 0},
        {kUint, "-1", 0, 0}, {kUint32, "4294967296", 0, 0}, {kUint32, "1-", 0, 0},
        {kUint32, "+7", 1, 7}, {kInt16, "-32768", 1, -32768}, {kInt16, "32767", 1, 32767},
        {kInt16, "-32769", 0, 0}, {kInt16, "32768", 0, 0}, {kInt16, "12abc", 0, 0},
        {kUint16, "65535", 1, 65535}, {kUint16, "65536", 0, 0}, {kUint16, "12abc", 0, 0},
        {kInt8, "0", 1, 0}, {kInt8, "127", 1, 127}, {kInt8, "128", 1, -128}, {kInt8, "255", 1, -1},
        {kInt8, "-1", 0, 0}, {kInt8, "256", 0, 0}, {kUint8, "255", 1, 255}, {kUint8, "256", 0, 0},
        {kFloat, " -2.25\n", 1, -2.25}, {kFloat, "3.5e38", 0, 0},
        {kFloat, "3.4028234663852886e38", 1, FLT_MAX},
        {kFloat, "-3.4028234663852886e38", 1, -FLT_MAX}, {kFloat, "-1e39", 0, 0},
        {kFloat, "inf", 0, 0}, {kFloat, "nan", 1, kNan}, {kFloat, "1e-400", 0, 0},
        {kFloat, "12abc", 0, 0}, {kDouble, "1e39", 1, 1e39}, {kDouble, "-inf", 1, -kInf},
        {kDouble, "nan", 1, kNan}, {kDouble, "1e999", 0, kInf}, {kDouble, "1e-400", 0, 0},
    };
    // clang-format on
    for (const Row &row : rows) {
        double out = 0;
        EXPECT_EQ(row.reader.read(row.text, &out), row.result)
            << row.reader.name << " of '" << row.text << "'";
        EXPECT_TRUE(out == row.out || (std::isnan(out) && std::isnan(row.out)))
            << row.reader.name << " left " << out;
    }
    const Reader all[] = {kLong,  kUlong,  kInt,  kInt32, kUint,  kUint32,
                          kInt16, kUint16, kInt8, kUint8, kFloat, kDouble};
    for (const Reader &reader : all)
        for (const char *text : {"", "   ", "abc", "-", "+",
                                 "\xA1\xA1"
                                 "1"}) {
            double out = -1;
            EXPECT_TRUE(reader.read(text, &out) == 0 && out == 0)
                << reader.name << " of '" << text << "' left " << out;
        }
    for (auto [text, result] : {std::pair<const char *, int>{"", 1},
                                {" \t\n\v\f\r", 1},
                                {" x", 0},
                                {"x ", 0},
                                {nullptr, 0},
                                {"\xA1\xA1", 0}})
        EXPECT_EQ(orv_all_isspace(text), result) << (text ? text : "(null)");
}

// The integer readers scan with strtol's and strtoul's rules at 32 bits: the wide C
// conversion, clamped, is the oracle for result, out and errno (which a call clears).
template <class T, class Wide>
void ExpectLikeTheCLibrary(const char *text, Wide (*c_read)(const char *, char **, int),
                           int (*read)(const char *, T *)) {
    char *end = nullptr;
    errno = 0;
    const Wide wide = c_read(text, &end, 10);
    const int want_errno =
        wide > std::numeric_limits<T>::max() || wide < std::numeric_limits<T>::min() ? ERANGE
                                                                                     : errno;
    T out = 99;
    errno = ERANGE;
    EXPECT_EQ(read(text, &out), int{end != text && want_errno == 0 && orv_all_isspace(end)})
        << text;
    EXPECT_EQ(out, static_cast<T>(std::clamp<Wide>(wide, std::numeric_limits<T>::min(),
                                                   std::numeric_limits<T>::max())))
        << text;
    EXPECT_EQ(errno, want_errno) << text;
}

TEST(Numtext, LongAndUlongAgreeWithTheCLibrary) {
    for (const char *text : {"0",
                             "+7",
                             "-7",
                             "\t\n\v\f\r 42",
                             "42  \n",
                             "0042",
                             "-0",
                             "2147483647",
                             "2147483648",
                             "-2147483648",
                             "-2147483649",
                             "4294967295",
                             "4294967296",
                             "99999999999999999999999",
                             "-99999999999999999999999",
                             "00000000000000000002147483647",
                             "",
                             " ",
                             "+",
                             "-",
                             "+-1",
                             "-+1",
                             "- 1",
                             "1 2",
                             "12abc",
                             "0x10",
                             "1e3",
                             "1.5",
                             "\xa0"
                             "5",
                             "9\xff"}) {
        ExpectLikeTheCLibrary<int32_t, long long>(text, std::strtoll, orv_ascii_to_long);
        if (std::strchr(text, '-') != nullptr) continue;  // ulong refuses every "-" before it scans
        ExpectLikeTheCLibrary<uint32_t, unsigned long long>(text, std::strtoull,
                                                            orv_ascii_to_ulong);
    }
}

// Each writer widens by its own sign; the rows walk the digit counts. Hex text is
// cut at maxchars; read back to bytes, only finished ones count.
TEST(Numtext, DecimalWritersAndHexTextBothWays) {
    struct Row {
        const char *name;
        char *(*write)(int64_t, char *);
        std::vector<int64_t> values;
    };
#define W(fn, type) #fn, [](int64_t v, char *dest) { return fn(static_cast<type>(v), dest); }
    // clang-format off
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
            EXPECT_TRUE(row.write(value, buf) == buf.bytes && want == buf.bytes)
                << row.name << " of " << value;
            EXPECT_TRUE(buf.untouched(want.size() + 1)) << row.name << " of " << value;
        }
    struct Hex {
        std::vector<uint8_t> data;
        int32_t maxchars;
        uint8_t compact;
        const char *want;
    };
    const std::vector<uint8_t> abcd = {171, 205}, six = {0x00, 0x0F, 0xF0, 0xFF, 0x5A, 0x19};
    // clang-format off
    const Hex hexes[] = {{abcd, 16, 0, "AB CD"}, {abcd, 16, 1, "ABCD"}, {abcd, 16, 2, "AB CD"},
        {abcd, 5, 0, "AB CD"}, {abcd, 4, 0, "AB C"}, {abcd, 3, 0, "AB "}, {abcd, 2, 0, "AB"},
        {abcd, 1, 0, "A"}, {abcd, 0, 0, ""}, {abcd, 3, 1, "ABC"}, {abcd, 2, 1, "AB"},
        {{}, 16, 0, ""}, {six, 32, 0, "00 0F F0 FF 5A 19"}, {six, 32, 1, "000FF0FF5A19"}};
    // clang-format on
    for (const Hex &row : hexes) {
        orv_test::Sentinel<40> buf;
        orv_hex_to_ascii_str(buf, row.maxchars, row.data.data(),
                             static_cast<uint32_t>(row.data.size()), row.compact);
        EXPECT_STREQ(buf, row.want)
            << "maxchars " << row.maxchars << " compact " << int{row.compact};
        EXPECT_TRUE(buf.untouched(std::strlen(row.want) + 1)) << row.want;
    }
    // clang-format off
    struct Back { const char *text; uint32_t capacity; int result; std::vector<uint8_t> bytes; };
    const Back backs[] = {{"ab CD", 2, 1, {171, 205}}, {"A B", 4, 1, {171}},
        {"\tab\n", 1, 1, {171}}, {"", 0, 1, {}},
        {"0123456789abcdefABCDEF", 11, 1,
         {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xAB, 0xCD, 0xEF}},
        {"ABC", 4, 0, {171}}, {"A", 4, 0, {}}, {"ABCD", 1, 0, {171}}, {"AB", 0, 0, {}},
        {"AG", 4, 0, {}}, {"AB-CD", 4, 0, {171}}, {"AB\xA1\xA1" "CD", 4, 0, {171}}};
    // clang-format on
    for (const Back &row : backs) {
        uint8_t dest[16];
        std::memset(dest, 0xEE, sizeof dest);
        uint32_t count = 12345;
        EXPECT_EQ(orv_ascii_to_hex_str(dest, &count, row.capacity, row.text), row.result)
            << row.text;
        EXPECT_EQ(count, row.bytes.size()) << row.text;
        EXPECT_EQ(std::vector<uint8_t>(dest, dest + std::min<size_t>(count, 16)), row.bytes)
            << row.text;
        for (size_t i = row.capacity; i < sizeof dest; ++i)
            EXPECT_EQ(dest[i], 0xEE) << row.text << " at " << i;
    }
}

}  // namespace
