// The variant record. Records are filled with a sentinel byte before the member their
// tag owns is set, so reading, comparing or writing more of the union shows up.
#include "orvsys/orv_variant.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <vector>

#include "support/orv_test.h"

namespace {

constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX, kUntouched = 12345;

// A row names one tag of each holding; the tags held alike all get it.
std::vector<int> Alike(int tag) {
    // clang-format off
    static const std::map<int, std::vector<int>> alike = {
        {3, {1, 2, 3, 5, 6, 7}}, {4, {4, 8}}, {11, {11, 12, 13, 17}}, {14, {14, 15}},
        {18, {18, 127, -1, -128}}
    };
    // clang-format on
    return alike.count(tag) ? alike.at(tag) : std::vector<int>{tag};
}

// Every byte at fill but the member the tag owns: integers and seconds take n, the rest x.
orv_variant_t Make(int tag, int64_t n = 0, double x = 0, unsigned char fill = 0xA5) {
    orv_variant_t v;
    std::memset(&v, fill, sizeof v);
    v.type = static_cast<int8_t>(tag);
    auto held_as = [tag](int first) { return std::ranges::count(Alike(first), tag) > 0; };
    if (tag == ORV_VT_BOOL) v.value.as_bool = static_cast<uint8_t>(n);
    if (held_as(ORV_VT_INT32)) v.value.as_int32 = static_cast<int32_t>(n);
    if (held_as(ORV_VT_INT64)) v.value.as_int64 = n;
    if (tag == ORV_VT_FLOAT) v.value.as_float = static_cast<float>(x);
    if (tag == ORV_VT_DOUBLE) v.value.as_double = x;
    if (held_as(ORV_VT_DATE)) v.value.as_timestamp.seconds = static_cast<int32_t>(n);
    if (held_as(ORV_VT_DATE)) v.value.as_timestamp.milliseconds = static_cast<uint16_t>(x);
    return v;
}

orv_variant_t Buffer(int tag, const void *data, uint16_t cap, uint16_t len) {
    orv_variant_t v = Make(tag);
    v.value.data = const_cast<void *>(data), v.value.cap = cap, v.value.len = len;
    return v;
}

bool Same(const orv_variant_t &a, const orv_variant_t &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(Variant, PredicatesOverEveryTag) {
    for (int tag = -128; tag <= 127; ++tag) {
        const orv_variant_t v = Make(tag, 0, 0, 0);  // a null data for the buffer tags
        const int basic = tag == 14 || tag == 15 || tag == 16 ? 0 : 1;
        EXPECT_EQ(orv_variant_is_btype_type(static_cast<int8_t>(tag)), basic) << tag;
        EXPECT_EQ(orv_variant_is_btype(&v) + orv_variant_is_valid(&v), 2 * basic) << tag;
    }
    EXPECT_EQ(orv_variant_is_btype(nullptr) + orv_variant_is_valid(nullptr), 0);
    char buf[4];
    // clang-format off
    struct Row { char *data; uint16_t cap, len; int want; };  // len plays no part
    const Row rows[] = {{buf, 1, 0, 1}, {buf, 65535, 65535, 1}, {buf, 0, 0, 0}, {nullptr, 4, 0, 0}};
    // clang-format on
    for (const Row &row : rows)
        for (int tag : {14, 15, 16}) {
            const orv_variant_t v = Buffer(tag, row.data, row.cap, row.len);
            EXPECT_EQ(orv_variant_is_valid(&v), row.want) << "tag " << tag << " cap " << row.cap;
        }
}

// a and b differ in every byte the tag does not own; two tags or an unknown one are
// never equal; buffer tags compare len and the bytes, not cap.
TEST(Variant, IsEqualComparesWhatTheTagOwnsUnderOneKnownTag) {
    // clang-format off
    struct Row { int tag; int64_t na; double xa; int64_t nb; double xb; int want; };
    const Row rows[] = {{0, 1, 0, 2, 0, 0}, {0, 200, 0, 200, 0, 1}, {3, 5, 0, 5, 0, 1},
        {3, 300, 0, 44, 0, 0}, {3, 0, 0, kMin, 0, 0}, {4, -1, 0, -1, 0, 1},
        {4, 0x100000005, 0, 5, 0, 0}, {11, 1000, 250, 1000, 250, 1}, {11, 1000, 250, 1000, 251, 0},
        {11, 1000, 250, 1001, 250, 0},
        // FLOAT works the difference in floats, then widens it for the 1e-6 test.
        {9, 0, 1.0, 0, 1.0000001, 1}, {9, 0, 1.0, 0, 1.000001, 1}, {9, 0, 1.0000011, 0, 1.0, 0},
        {9, 0, 1e-6, 0, 0.0, 1}, {9, 0, 1e-6, 0, -5e-15, 1}, {9, 0, NAN, 0, NAN, 0},
        {10, 0, 1.0, 0, 1.0 + 5e-7, 1}, {10, 0, 0.0, 0, 1e-6, 0}, {10, 0, 1.0 + 2e-6, 0, 1.0, 0},
        {10, 0, -1.0, 0, 1.0, 0}, {10, 0, NAN, 0, NAN, 0}, {10, 0, INFINITY, 0, INFINITY, 0}};
    // clang-format on
    for (const Row &row : rows)
        for (int tag : Alike(row.tag)) {
            const orv_variant_t a = Make(tag, row.na, row.xa), b = Make(tag, row.nb, row.xb, 0x5A);
            EXPECT_EQ(orv_variant_is_equal(&a, &b), row.want) << tag << ": row " << &row - rows;
        }
    for (int ta = -1; ta <= 18; ++ta)
        for (int tb = -1; tb <= 18; ++tb) {
            const orv_variant_t a = Make(ta, 0, 0, 0), b = Make(tb, 0, 0, 0);
            EXPECT_EQ(orv_variant_is_equal(&a, &b), ta == tb && ta >= 0 && ta < 18)
                << ta << " vs " << tb;
        }
    const orv_variant_t v = Make(ORV_VT_INT32);
    EXPECT_EQ(orv_variant_is_equal(nullptr, &v) + orv_variant_is_equal(&v, nullptr), 0);
    // clang-format off
    struct Bufs { const char *x; uint16_t xlen, xcap; const char *y; uint16_t ylen, ycap; int eq; };
    const Bufs bufs[] = {{"abc", 3, 4, "abc", 3, 200, 1}, {"abc", 3, 4, "abc", 2, 4, 0},
        {"abc", 3, 4, "abd", 3, 4, 0}, {"abX", 2, 4, "abY", 2, 4, 1},
        {"a\0b", 3, 4, "a\0c", 3, 4, 0}, {"xyz", 0, 4, "abc", 0, 4, 1},
        {nullptr, 0, 0, "abc", 0, 4, 1}, {nullptr, 3, 0, "abc", 3, 4, 0},
        {nullptr, 3, 0, nullptr, 3, 0, 0}};
    // clang-format on
    for (const Bufs &row : bufs)
        for (int tag : {14, 15, 16}) {  // either way round
            const orv_variant_t a = Buffer(tag, row.x, row.xcap, row.xlen),
                                b = Buffer(tag, row.y, row.ycap, row.ylen);
            EXPECT_EQ(orv_variant_is_equal(&a, &b) + orv_variant_is_equal(&b, &a), 2 * row.eq)
                << tag << ": row " << &row - bufs;
        }
}

// Refused reads leave out at kUntouched; no read writes the record. After a
// store the whole record is compared: only the member the tag owns changed.
TEST(Variant, Int32PairByHoldingAndOnText) {
    // clang-format off
    struct Row { int tag; int64_t n; double x; int result; int32_t want; };
    const Row rows[] = {{0, 200, 0, 1, 200}, {3, 300, 0, 1, 300}, {3, kMin, 0, 1, kMin},
        {4, 0xFFFFFFFF, 0, 1, -1}, {4, 0x123456789, 0, 1, 0x23456789}, {4, 0x80000000, 0, 1, kMin},
        {9, 0, 2.9, 1, 2}, {9, 0, -2.9, 1, -2}, {9, 0, 2147483648.0, 1, kMax},
        {9, 0, -1e10, 1, kMin}, {9, 0, NAN, 1, 0}, {10, 0, 0.99, 1, 0},
        {10, 0, 2147483647.9, 1, kMax}, {10, 0, 2147483646.5, 1, 2147483646},
        {10, 0, -2147483648.9, 1, kMin}, {10, 0, -2147483649.0, 1, kMin},
        {10, 0, INFINITY, 1, kMax}, {10, 0, -INFINITY, 1, kMin}, {11, 1000, 0, 0, kUntouched},
        {16, 0, 0, 0, kUntouched}, {18, 7, 7, 0, kUntouched}};
    // clang-format on
    for (const Row &row : rows)
        for (int tag : Alike(row.tag)) {
            const orv_variant_t v = Make(tag, row.n, row.x), before = v;
            int32_t out = kUntouched;
            const int result = orv_variant_to_int32(&v, &out);
            EXPECT_TRUE(result == row.result && out == row.want && Same(v, before))
                << tag << ": " << row.n << "/" << row.x << " gave " << result << ", " << out;
        }
    const orv_variant_t v = Make(ORV_VT_INT32, 5);
    EXPECT_EQ(orv_variant_to_int32(nullptr, nullptr) + orv_variant_to_int32(&v, nullptr), 0);
    // clang-format off
    struct Store { int tag; int32_t in; int result; int64_t n; double x; };  // refused: n 77, x 77
    const Store stores[] = {{0, 256, 1, 1, 0}, {0, kMin, 1, 1, 0}, {0, 0, 1, 0, 0},
        {3, -1, 1, -1, 0}, {3, kMax, 1, kMax, 0}, {4, -1, 1, -1, 0}, {4, kMin, 1, kMin, 0},
        {9, 16777217, 1, 0, 16777216.0}, {9, kMax, 1, 0, 2147483648.0}, {10, kMin, 1, 0, kMin},
        {10, 16777217, 1, 0, 16777217.0}, {11, 42, 0, 77, 77}, {18, 42, 0, 77, 77}};
    // clang-format on
    for (const Store &row : stores)
        for (int tag : Alike(row.tag)) {
            orv_variant_t v = Make(tag, 77, 77);
            SCOPED_TRACE(testing::Message() << "tag " << tag << " value " << row.in);
            EXPECT_EQ(orv_variant_from_int32(&v, row.in), row.result);
            EXPECT_TRUE(Same(v, Make(tag, row.n, row.x)));
        }
    EXPECT_EQ(orv_variant_from_int32(nullptr, 1), 0);
    // Text needs data and a cap of 12; len stays as it was, and the text reads
    // back up to its zero byte, not up to len. BINARY refuses. A null want: refused.
    // clang-format off
    struct Text { int tag; bool data; uint16_t cap; int32_t in; const char *want; };
    const Text texts[] = {{14, true, 12, kMin, "-2147483648"}, {15, true, 12, kMax, "2147483647"},
        {14, true, 24, 0, "0"}, {15, true, 24, -7, "-7"}, {14, true, 11, 42, nullptr},
        {15, true, 0, 42, nullptr}, {14, false, 12, 42, nullptr}, {16, true, 24, 42, nullptr}};
    // clang-format on
    for (const Text &row : texts) {
        orv_test::Sentinel<24> buf;
        orv_variant_t v = Buffer(row.tag, row.data ? buf.bytes : nullptr, row.cap, 7);
        const orv_variant_t before = v;
        SCOPED_TRACE(testing::Message() << "tag " << row.tag << " cap " << row.cap);
        EXPECT_EQ(orv_variant_from_int32(&v, row.in), row.want ? 1 : 0);
        EXPECT_TRUE(Same(v, before)) << "the record changed";
        EXPECT_TRUE(buf.untouched(row.want ? std::strlen(row.want) + 1 : 0));
        if (row.want == nullptr) continue;
        EXPECT_STREQ(buf, row.want);
        int32_t back = 0;
        EXPECT_TRUE(orv_variant_to_int32(&v, &back) == 1 && back == row.in) << back;
    }
    // "12abc" is no number: out becomes 0; no data: out untouched.
    for (const char *data : {"12abc", static_cast<const char *>(nullptr)}) {
        const orv_variant_t v = Buffer(ORV_VT_TEXT, data, 6, 2);
        int32_t out = kUntouched;
        EXPECT_TRUE(orv_variant_to_int32(&v, &out) == 0 && out == (data ? 0 : kUntouched)) << out;
    }
}

}  // namespace
