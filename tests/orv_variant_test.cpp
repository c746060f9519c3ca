// The variant record, its predicates and the int32 pair of conversions.
// Records are pre-filled with a sentinel byte so that "left untouched" is
// checked byte for byte, and so that an operation that reads or compares
// more of the union than its tag owns shows up.
#include "orvsys/orv_variant.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <limits>

namespace {

constexpr unsigned char kFill = 0xA5;
constexpr unsigned char kOtherFill = 0x5A;
constexpr int32_t kOutSentinel = 12345;
constexpr int8_t kWordTags[] = {1, 2, 3, 5, 6, 7};
constexpr int8_t kWideTags[] = {4, 8};
constexpr int8_t kCalendarTags[] = {11, 12, 13, 17};
constexpr int8_t kTextTags[] = {14, 15};
constexpr int8_t kBufferTags[] = {14, 15, 16};
constexpr int8_t kUnknownTags[] = {18, 127, -1, -128};
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

// Every byte of the record at `fill`, then the tag.
void Prefill(orv_variant_t &v, int8_t type, unsigned char fill = kFill) {
    std::memset(&v, fill, sizeof v);
    v.type = type;
}

void SetBuffer(orv_variant_t &v, int8_t type, void *data, uint16_t cap, uint16_t len) {
    Prefill(v, type);
    v.value.data = data;
    v.value.cap = cap;
    v.value.len = len;
}

struct Snapshot {
    unsigned char bytes[sizeof(orv_variant_t)];
    explicit Snapshot(const orv_variant_t &v) { std::memcpy(bytes, &v, sizeof v); }
    bool Same(const orv_variant_t &v) const { return std::memcmp(bytes, &v, sizeof v) == 0; }
};

// to_int32 takes a const record: it must not write it, whatever the tag.
int ToInt32(const orv_variant_t &v, int32_t *out) {
    const Snapshot before(v);
    const int result = orv_variant_to_int32(&v, out);
    EXPECT_TRUE(before.Same(v)) << "orv_variant_to_int32 wrote the record";
    return result;
}

// No operation changes the tag.
int FromInt32(orv_variant_t &v, int32_t value) {
    const int8_t type = v.type;
    const int result = orv_variant_from_int32(&v, value);
    EXPECT_EQ(v.type, type) << "orv_variant_from_int32 changed the tag";
    return result;
}

bool AllFill(const unsigned char *p, size_t n) {
    return std::all_of(p, p + n, [](unsigned char c) { return c == kFill; });
}

// Stores n in the member that the tag owns: as_bool, as_int32 or as_int64.
void SetInteger(orv_variant_t &v, int64_t n) {
    if (v.type == ORV_VT_BOOL) v.value.as_bool = static_cast<uint8_t>(n);
    else if (v.type == ORV_VT_INT64 || v.type == ORV_VT_UINT64) v.value.as_int64 = n;
    else v.value.as_int32 = static_cast<int32_t>(n);
}

int64_t GetInteger(const orv_variant_t &v) {
    if (v.type == ORV_VT_BOOL) return v.value.as_bool;
    if (v.type == ORV_VT_INT64 || v.type == ORV_VT_UINT64) return v.value.as_int64;
    return v.value.as_int32;
}

// Table rows built in loops. A plain array rather than std::vector: rows
// with 64-bit members make GCC's armhf build print ABI notes for vector.
template <class Row>
struct RowList {
    Row items[64];
    size_t count = 0;
    RowList(std::initializer_list<Row> rows) {
        for (const Row &r : rows) push_back(r);
    }
    void push_back(const Row &r) {
        if (count < std::size(items)) items[count++] = r;
        else ADD_FAILURE() << "RowList is full";
    }
    const Row *begin() const { return items; }
    const Row *end() const { return items + count; }
};

int BasicExpected(int tag) { return (tag == 14 || tag == 15 || tag == 16) ? 0 : 1; }

}  // namespace

// Every value of the signed 8-bit tag: 0..17 and all the unknown ones.
TEST(Variant, PredicatesOverEveryTag) {
    for (int tag = -128; tag <= 127; ++tag) {
        orv_variant_t v;
        Prefill(v, static_cast<int8_t>(tag));
        const int basic = BasicExpected(tag);
        EXPECT_EQ(orv_variant_is_btype_type(static_cast<int8_t>(tag)), basic) << "tag " << tag;
        EXPECT_EQ(orv_variant_is_btype(&v), basic) << "tag " << tag;
        if (basic) {
            EXPECT_EQ(orv_variant_is_valid(&v), 1) << "tag " << tag << ", whatever the value";
        }
    }
    EXPECT_EQ(orv_variant_is_btype(nullptr), 0);
    EXPECT_EQ(orv_variant_is_valid(nullptr), 0);
}

TEST(Variant, IsValidBufferTagsNeedDataAndCapNotLen) {
    char buf[4];
    struct Row { bool has_data; uint16_t cap; uint16_t len; int want; };
    const Row rows[] = {{true, 1, 0, 1}, {true, 4, 65535, 1}, {true, 65535, 0, 1},
                        {true, 0, 0, 0}, {false, 4, 0, 0}, {false, 0, 0, 0}};
    for (int8_t tag : kBufferTags)
        for (const Row &r : rows) {
            orv_variant_t v;
            SetBuffer(v, tag, r.has_data ? buf : nullptr, r.cap, r.len);
            EXPECT_EQ(orv_variant_is_valid(&v), r.want)
                << "tag " << int{tag} << " data " << r.has_data << " cap " << r.cap << " len " << r.len;
        }
}

TEST(Variant, IsEqualRefusesNullAndEveryPairOfDifferentTags) {
    orv_variant_t a, b;
    Prefill(a, ORV_VT_INT32, 0);
    EXPECT_EQ(orv_variant_is_equal(nullptr, &a), 0);
    EXPECT_EQ(orv_variant_is_equal(&a, nullptr), 0);
    EXPECT_EQ(orv_variant_is_equal(nullptr, nullptr), 0);
    // Identical all-zero values: only the tags differ.
    for (int ta = -1; ta <= 18; ++ta)
        for (int tb = -1; tb <= 18; ++tb) {
            if (ta == tb) continue;
            Prefill(a, static_cast<int8_t>(ta), 0);
            Prefill(b, static_cast<int8_t>(tb), 0);
            EXPECT_EQ(orv_variant_is_equal(&a, &b), 0) << "tags " << ta << " and " << tb;
        }
    char text[] = "5";
    SetBuffer(a, ORV_VT_STRING, text, sizeof text, 1);
    SetBuffer(b, ORV_VT_TEXT, text, sizeof text, 1);
    EXPECT_EQ(orv_variant_is_equal(&a, &b), 0) << "STRING and TEXT of the same buffer";
    Prefill(a, ORV_VT_INT32);
    Prefill(b, ORV_VT_UINT32);
    a.value.as_int32 = b.value.as_int32 = 5;
    EXPECT_EQ(orv_variant_is_equal(&a, &b), 0) << "INT32 5 and UINT32 5";
    for (int8_t tag : kUnknownTags) {  // same tag, same bytes, still unequal
        Prefill(a, tag);
        Prefill(b, tag);
        EXPECT_EQ(orv_variant_is_equal(&a, &b), 0) << "tag " << int{tag};
        EXPECT_EQ(orv_variant_is_equal(&a, &a), 0) << "tag " << int{tag} << " with itself";
    }
}

// The two records differ in every byte the tag does not own.
TEST(Variant, IsEqualBoolAndIntegerTagsCompareOnlyTheirOwnBytes) {
    struct Row { int8_t tag; int64_t x, y; int want; };
    RowList<Row> rows = {{ORV_VT_BOOL, 1, 2, 0}, {ORV_VT_BOOL, 0, 0, 1}, {ORV_VT_BOOL, 200, 200, 1},
                             {ORV_VT_BOOL, 0, 1, 0}};
    for (int8_t tag : kWordTags)
        for (Row r : {Row{0, 5, 5, 1}, Row{0, -1, -1, 1}, Row{0, 300, 44, 0}, Row{0, 0, kMin, 0}})
            rows.push_back({tag, r.x, r.y, r.want});
    for (int8_t tag : kWideTags)
        for (Row r : {Row{0, -1, -1, 1}, Row{0, 0x100000005LL, 5, 0}, Row{0, 1LL << 62, 1LL << 62, 1}})
            rows.push_back({tag, r.x, r.y, r.want});
    for (const Row &r : rows) {
        orv_variant_t a, b;
        Prefill(a, r.tag, kFill);
        Prefill(b, r.tag, kOtherFill);
        SetInteger(a, r.x);
        SetInteger(b, r.y);
        EXPECT_EQ(orv_variant_is_equal(&a, &b), r.want) << "tag " << int{r.tag} << ": " << r.x << ", " << r.y;
    }
}

// FLOAT works the difference in 32-bit floats, then widens it; both tags
// compare against the double 1e-6.
TEST(Variant, IsEqualFloatAndDoubleBelow1e6) {
    struct Row { int8_t tag; double x, y; int want; const char *why; };
    const Row rows[] = {
        {ORV_VT_FLOAT, 1.0, 1.0000001, 1, "one ulp apart"},
        {ORV_VT_FLOAT, 1.0, 1.000001, 1, "8 ulps: 9.54e-7"},
        {ORV_VT_FLOAT, 1.0000011, 1.0, 0, "9 ulps: 1.07e-6"},
        {ORV_VT_FLOAT, -1.0, 1.0, 0, "opposite signs"},
        {ORV_VT_FLOAT, 1e-6, 0.0, 1, "1e-6f is 9.99999997e-7, below the double 1e-6"},
        {ORV_VT_FLOAT, 1e-6, -5e-15, 1, "the float difference rounds to 1e-6f; exact is 1.0000000025e-6"},
        {ORV_VT_DOUBLE, 1.0, 1.0 + 5e-7, 1, ""}, {ORV_VT_DOUBLE, 1.0 + 2e-6, 1.0, 0, ""},
        {ORV_VT_DOUBLE, 0.0, 9.99e-7, 1, ""},    {ORV_VT_DOUBLE, 0.0, 1e-6, 0, "not below"},
        {ORV_VT_DOUBLE, -1.0, -1.0 - 9e-7, 1, ""}, {ORV_VT_DOUBLE, 1e300, -1e300, 0, ""},
    };
    RowList<Row> all = {};
    for (const Row &r : rows) all.push_back(r);
    for (int8_t tag : {int8_t{ORV_VT_FLOAT}, int8_t{ORV_VT_DOUBLE}}) {
        all.push_back({tag, 1.0, 1.0, 1, "same"});
        all.push_back({tag, kNaN, kNaN, 0, "NaN equals nothing, itself included"});
        all.push_back({tag, kNaN, 1.0, 0, "NaN"});
        all.push_back({tag, kInf, kInf, 0, "inf - inf is NaN, not below 1e-6"});
    }
    orv_variant_t a, b;
    for (const Row &r : all) {
        Prefill(a, r.tag, kFill);
        Prefill(b, r.tag, kOtherFill);
        if (r.tag == ORV_VT_FLOAT) {
            a.value.as_float = static_cast<float>(r.x);
            b.value.as_float = static_cast<float>(r.y);
        } else {
            a.value.as_double = r.x;
            b.value.as_double = r.y;
        }
        EXPECT_EQ(orv_variant_is_equal(&a, &b), r.want) << "tag " << int{r.tag} << ": " << r.x << " vs " << r.y
                                                        << " " << r.why;
    }
}

// Team decision (header): seconds and milliseconds compared, reserved not.
TEST(Variant, IsEqualCalendarTagsCompareSecondsAndMilliseconds) {
    struct Row { orv_timestamp_t x, y; int want; };
    const Row rows[] = {{{1000, 250, 0}, {1000, 250, 0}, 1}, {{1000, 250, 0}, {1000, 250, 7}, 1},
                        {{1000, 250, 0}, {1000, 251, 0}, 0}, {{1000, 250, 0}, {1001, 250, 0}, 0},
                        {{-1, 0, 0}, {-1, 0, 0}, 1}};
    orv_variant_t a, b;
    for (int8_t tag : kCalendarTags)
        for (const Row &r : rows) {
            Prefill(a, tag, kFill);
            Prefill(b, tag, kOtherFill);
            a.value.as_timestamp = r.x;
            b.value.as_timestamp = r.y;
            EXPECT_EQ(orv_variant_is_equal(&a, &b), r.want)
                << "tag " << int{tag} << ": " << r.x.seconds << "." << r.x.milliseconds << "/" << r.x.reserved
                << " vs " << r.y.seconds << "." << r.y.milliseconds << "/" << r.y.reserved;
        }
}

TEST(Variant, IsEqualBufferTagsCompareLenAndBytesNotCap) {
    struct Row { const char *x; uint16_t xlen, xcap; const char *y; uint16_t ylen, ycap; int want; const char *why; };
    const Row rows[] = {
        {"abc", 3, 4, "abc", 3, 200, 1, "cap plays no part"},
        {"abc", 3, 4, "abc", 2, 4, 0, "len differs"},
        {"abc", 3, 4, "abd", 3, 4, 0, "last byte differs"},
        {"abX", 2, 4, "abY", 2, 4, 1, "bytes beyond len play no part"},
        {"xyz", 0, 4, "abc", 0, 4, 1, "len 0"},
        {"a\0b", 3, 4, "a\0c", 3, 4, 0, "bytes past a zero byte count"},
        {nullptr, 0, 0, nullptr, 0, 0, 1, "null data, len 0"},
        {nullptr, 0, 0, "abc", 0, 4, 1, "null data against a buffer, len 0"},
        {nullptr, 3, 0, nullptr, 3, 0, 0, "null data with len above 0"},
        {nullptr, 3, 0, "abc", 3, 4, 0, "null data with len above 0 against a buffer"},
    };
    for (int8_t tag : kBufferTags)
        for (const Row &r : rows) {
            char xb[4] = {}, yb[4] = {};
            if (r.x) std::memcpy(xb, r.x, 4);
            if (r.y) std::memcpy(yb, r.y, 4);
            orv_variant_t a, b;
            SetBuffer(a, tag, r.x ? xb : nullptr, r.xcap, r.xlen);
            SetBuffer(b, tag, r.y ? yb : nullptr, r.ycap, r.ylen);
            EXPECT_EQ(orv_variant_is_equal(&a, &b), r.want) << "tag " << int{tag} << ": " << r.why;
            EXPECT_EQ(orv_variant_is_equal(&b, &a), r.want) << "tag " << int{tag} << " swapped: " << r.why;
        }
}

// BOOL reads its byte alone, as unsigned: the rest of the union holds the
// sentinel. The 32-bit tags pass the word on; the 64-bit tags the low bits.
TEST(Variant, ToInt32FromBoolAndIntegerTags) {
    struct Row { int8_t tag; int64_t in; int32_t want; };
    RowList<Row> rows = {{ORV_VT_BOOL, 0, 0}, {ORV_VT_BOOL, 1, 1}, {ORV_VT_BOOL, 200, 200},
                             {ORV_VT_BOOL, 255, 255}};
    for (int8_t tag : kWordTags)
        for (int32_t word : {0, 300, -1, kMin, kMax}) rows.push_back({tag, word, word});
    for (int8_t tag : kWideTags)
        for (Row r : {Row{0, 0x123456789LL, 0x23456789}, Row{0, 0x100000005LL, 5}, Row{0, -1, -1},
                      Row{0, 0xFFFFFFFFLL, -1}, Row{0, 0x80000000LL, kMin},
                      Row{0, std::numeric_limits<int64_t>::min(), 0}, Row{0, -5, -5}})
            rows.push_back({tag, r.in, r.want});
    for (const Row &r : rows) {
        orv_variant_t v;
        Prefill(v, r.tag);
        SetInteger(v, r.in);
        int32_t out = kOutSentinel;
        EXPECT_EQ(ToInt32(v, &out), 1) << "tag " << int{r.tag};
        EXPECT_EQ(out, r.want) << "tag " << int{r.tag} << " in " << r.in;
    }
}

TEST(Variant, ToInt32FromFloatAndDoubleTruncatesAndSaturates) {
    // Rows marked `both` are exact or round harmlessly as a float too.
    struct Row { double in; int32_t want; bool both; };
    const Row rows[] = {{2.9, 2, true},          {-2.9, -2, true},           {0.99, 0, true},
                        {-0.5, 0, true},         {1e6, 1000000, true},       {1e10, kMax, true},
                        {-1e10, kMin, true},     {2147483648.0, kMax, true}, {-2147483648.0, kMin, true},
                        {kInf, kMax, true},      {-kInf, kMin, true},        {kNaN, 0, true},
                        {2147483647.9, kMax, false}, {2147483646.5, 2147483646, false},
                        {-2147483648.9, kMin, false}, {-2147483649.0, kMin, false}};
    orv_variant_t v;
    for (const Row &r : rows) {
        int32_t out = kOutSentinel;
        Prefill(v, ORV_VT_DOUBLE);
        v.value.as_double = r.in;
        EXPECT_EQ(ToInt32(v, &out), 1);
        EXPECT_EQ(out, r.want) << "double " << r.in;
        if (!r.both) continue;
        out = kOutSentinel;
        Prefill(v, ORV_VT_FLOAT);
        v.value.as_float = static_cast<float>(r.in);
        EXPECT_EQ(ToInt32(v, &out), 1);
        EXPECT_EQ(out, r.want) << "float " << r.in;
    }
}

TEST(Variant, ToInt32FromTextAsAsciiToInt32) {
    struct Row { const char *text; int32_t want; int result; };
    const Row rows[] = {{"42", 42, 1},   {" 42 ", 42, 1}, {"+42", 42, 1},   {"42\n", 42, 1},
                        {"-2147483648", kMin, 1},         {"2147483647", kMax, 1},
                        {"abc", 0, 0},   {"", 0, 0},      {"   ", 0, 0},    {"12abc", 0, 0},
                        {"4 2", 0, 0},   {"0x10", 0, 0},  {"2147483648", 0, 0}};
    for (int8_t tag : kTextTags)
        for (const Row &r : rows) {
            char buf[32];
            std::memset(buf, kFill, sizeof buf);
            std::strcpy(buf, r.text);
            orv_variant_t v;
            SetBuffer(v, tag, buf, sizeof buf, static_cast<uint16_t>(std::strlen(r.text)));
            int32_t out = kOutSentinel;
            EXPECT_EQ(ToInt32(v, &out), r.result) << "tag " << int{tag} << " text '" << r.text << "'";
            EXPECT_EQ(out, r.want) << "tag " << int{tag} << " text '" << r.text << "'";
        }
}

TEST(Variant, ToInt32ReadsTextToItsZeroByteNotToLen) {
    char buf[8] = {'4', '2', '\0', '9', '9', '\0', '\0', '\0'};
    for (int8_t tag : kTextTags)
        for (uint16_t len : {uint16_t{0}, uint16_t{1}, uint16_t{2}, uint16_t{5}}) {
            orv_variant_t v;
            SetBuffer(v, tag, buf, sizeof buf, len);
            int32_t out = kOutSentinel;
            EXPECT_EQ(ToInt32(v, &out), 1) << "tag " << int{tag} << " len " << len;
            EXPECT_EQ(out, 42) << "tag " << int{tag} << " len " << len;
        }
}

TEST(Variant, ToInt32RefusesNullPointersNullDataCalendarBinaryAndUnknownTags) {
    orv_variant_t v;
    int32_t out = kOutSentinel;
    EXPECT_EQ(orv_variant_to_int32(nullptr, &out), 0);
    Prefill(v, ORV_VT_INT32);
    EXPECT_EQ(orv_variant_to_int32(&v, nullptr), 0);
    for (int8_t tag : kTextTags) {
        SetBuffer(v, tag, nullptr, 16, 2);
        EXPECT_EQ(ToInt32(v, &out), 0) << "tag " << int{tag} << " null data";
    }
    char text[] = "42";
    SetBuffer(v, ORV_VT_BINARY, text, sizeof text, 2);
    EXPECT_EQ(ToInt32(v, &out), 0) << "BINARY holding '42'";
    for (int8_t tag : kCalendarTags) {
        Prefill(v, tag);
        v.value.as_timestamp = orv_timestamp_t{1000, 0, 0};
        EXPECT_EQ(ToInt32(v, &out), 0) << "tag " << int{tag};
    }
    for (int8_t tag : kUnknownTags) {
        Prefill(v, tag);
        EXPECT_EQ(ToInt32(v, &out), 0) << "tag " << int{tag};
    }
    EXPECT_EQ(out, kOutSentinel) << "a refused read wrote out";
}

// BOOL stores 1 or 0 (256 and INT32_MIN have a zero low byte); the 32-bit
// tags the word; the 64-bit tags sign-extend over the sentinel high word.
TEST(Variant, FromInt32BoolAndIntegerTags) {
    struct Row { int8_t tag; int32_t in; int64_t want; };
    RowList<Row> rows = {};
    for (int32_t in : {7, 0, 1, -1, 256, kMin}) rows.push_back({ORV_VT_BOOL, in, in != 0 ? 1 : 0});
    for (int8_t tag : kWordTags)
        for (int32_t in : {0, 300, -1, kMin, kMax}) rows.push_back({tag, in, in});
    for (int8_t tag : kWideTags)
        for (int32_t in : {0, 42, -1, kMin, kMax}) rows.push_back({tag, in, in});
    for (const Row &r : rows) {
        orv_variant_t v;
        Prefill(v, r.tag);
        EXPECT_EQ(FromInt32(v, r.in), 1) << "tag " << int{r.tag};
        EXPECT_EQ(GetInteger(v), r.want) << "tag " << int{r.tag} << " value " << r.in;
    }
    orv_variant_t v;
    Prefill(v, ORV_VT_UINT64);
    EXPECT_EQ(FromInt32(v, -1), 1);
    EXPECT_EQ(static_cast<uint64_t>(v.value.as_int64), 18446744073709551615ULL);
}

TEST(Variant, FromInt32FloatNearestAndDoubleExact) {
    struct Row { int32_t in; float want; };
    const Row rows[] = {{-7, -7.0f}, {16777217, 16777216.0f}, {16777219, 16777220.0f},
                        {kMax, 2147483648.0f}, {kMin, -2147483648.0f}};
    orv_variant_t v;
    for (const Row &r : rows) {
        Prefill(v, ORV_VT_FLOAT);
        EXPECT_EQ(FromInt32(v, r.in), 1);
        EXPECT_EQ(v.value.as_float, r.want) << "value " << r.in;
    }
    for (int32_t in : {0, -7, 16777217, kMax, kMin}) {
        Prefill(v, ORV_VT_DOUBLE);
        EXPECT_EQ(FromInt32(v, in), 1);
        EXPECT_EQ(v.value.as_double, static_cast<double>(in)) << "value " << in;
    }
}

TEST(Variant, FromInt32TextWritesDecimalAndLeavesLen) {
    struct Row { int32_t in; const char *want; };
    const Row rows[] = {{0, "0"}, {42, "42"}, {-7, "-7"}, {kMax, "2147483647"}, {kMin, "-2147483648"}};
    for (int8_t tag : kTextTags)
        for (uint16_t cap : {uint16_t{12}, uint16_t{24}})
            for (const Row &r : rows) {
                unsigned char buf[24];
                std::memset(buf, kFill, sizeof buf);
                orv_variant_t v;
                SetBuffer(v, tag, buf, cap, 7);
                EXPECT_EQ(FromInt32(v, r.in), 1);
                const size_t n = std::strlen(r.want) + 1;
                EXPECT_EQ(std::memcmp(buf, r.want, n), 0) << "tag " << int{tag} << " wrote '"
                                                          << reinterpret_cast<const char *>(buf) << "'";
                EXPECT_TRUE(AllFill(buf + n, sizeof buf - n)) << "wrote past the terminator";
                EXPECT_EQ(v.value.len, 7) << "len changed";
                EXPECT_EQ(v.value.cap, cap);
                EXPECT_EQ(v.value.data, static_cast<void *>(buf));
                int32_t back = 0;
                EXPECT_EQ(ToInt32(v, &back), 1);
                EXPECT_EQ(back, r.in);
            }
}

// Team decision (header): cap below 12 refuses and writes nothing.
TEST(Variant, FromInt32TextRefusesSmallCapAndNullData) {
    struct Row { bool has_data; uint16_t cap; };
    const Row rows[] = {{true, 0}, {true, 1}, {true, 3}, {true, 11}, {false, 12}, {false, 24}};
    for (int8_t tag : kTextTags)
        for (const Row &r : rows)
            for (int32_t in : {42, kMin}) {
                unsigned char buf[24];
                std::memset(buf, kFill, sizeof buf);
                orv_variant_t v;
                SetBuffer(v, tag, r.has_data ? buf : nullptr, r.cap, 0);
                const Snapshot before(v);
                EXPECT_EQ(FromInt32(v, in), 0)
                    << "tag " << int{tag} << " data " << r.has_data << " cap " << r.cap << " value " << in;
                EXPECT_TRUE(AllFill(buf, sizeof buf)) << "tag " << int{tag} << " cap " << r.cap;
                EXPECT_TRUE(before.Same(v)) << "record changed";
            }
}

TEST(Variant, FromInt32RefusesCalendarBinaryUnknownAndNull) {
    EXPECT_EQ(orv_variant_from_int32(nullptr, 1), 0);
    orv_variant_t v;
    auto refuses = [&v](const char *what) {
        const Snapshot before(v);
        EXPECT_EQ(FromInt32(v, 42), 0) << what;
        EXPECT_TRUE(before.Same(v)) << what << ": record changed";
    };
    for (int8_t tag : kCalendarTags) {
        Prefill(v, tag);
        refuses("calendar tag");
    }
    for (int8_t tag : kUnknownTags) {
        Prefill(v, tag);
        refuses("unknown tag");
    }
    unsigned char buf[16];
    std::memset(buf, kFill, sizeof buf);
    SetBuffer(v, ORV_VT_BINARY, buf, sizeof buf, 0);
    refuses("BINARY");
    EXPECT_TRUE(AllFill(buf, sizeof buf)) << "BINARY buffer written";
}

// End-to-end cases: a value stored and read back through each kind of tag.
TEST(Variant, RoundTripsOfThePart) {
    struct Row { int8_t tag; int32_t in; int32_t want; };
    const Row rows[] = {{ORV_VT_INT32, -1, -1}, {ORV_VT_UINT32, -1, -1}, {ORV_VT_INT8, 300, 300},
                        {ORV_VT_BOOL, 7, 1},    {ORV_VT_BOOL, 0, 0},     {ORV_VT_INT64, kMin, kMin},
                        {ORV_VT_UINT64, -1, -1}, {ORV_VT_FLOAT, -300, -300}, {ORV_VT_DOUBLE, kMax, kMax}};
    orv_variant_t v;
    for (const Row &r : rows) {
        Prefill(v, r.tag);
        int32_t out = kOutSentinel;
        EXPECT_EQ(FromInt32(v, r.in), 1) << "tag " << int{r.tag};
        EXPECT_EQ(ToInt32(v, &out), 1) << "tag " << int{r.tag};
        EXPECT_EQ(out, r.want) << "tag " << int{r.tag} << " value " << r.in;
    }
}
