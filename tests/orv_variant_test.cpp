// The variant record. Records are filled with a sentinel byte before the member their
// tag owns is set, so reading, comparing or writing more of the union shows up.
#include "orvsys/orv_variant.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>
#include <vector>

#include "support/orv_test.h"

namespace {

constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;

// A row names one tag of each holding; the tags held alike all get it.
std::vector<int> Alike(int tag) {
    // clang-format off
    static const std::map<int, std::vector<int>> alike = {
        {3, {1, 2, 3}}, {7, {5, 6, 7}}, {11, {11, 12, 13, 17}}, {14, {14, 15}},
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
    if (held_as(ORV_VT_INT32) || held_as(ORV_VT_UINT32)) v.value.as_int32 = static_cast<int32_t>(n);
    if (held_as(ORV_VT_INT64) || held_as(ORV_VT_UINT64)) v.value.as_int64 = n;
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
        {7, 300, 0, 44, 0, 0}, {3, 0, 0, kMin, 0, 0}, {4, -1, 0, -1, 0, 1},
        {8, 0x100000005, 0, 5, 0, 0}, {11, 1000, 250, 1000, 250, 1}, {11, 1000, 250, 1000, 251, 0},
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

constexpr double k2p63 = 9223372036854775808.0, k2p64 = 18446744073709551616.0;

// A read cell: "-" refused with out untouched, "!0" refused with the parser's 0 in out (the
// narrow reads leave out alone), "max"/"min" the limits of Wide, else the value read as Wide.
template <class T, class Wide = T>
void ExpectRead(int (*read)(const orv_variant_t *, T *), const orv_variant_t &v,
                const std::string &cell, const std::string &where) {
    using limits = std::numeric_limits<Wide>;
    T out, before;
    std::memset(&out, 0x5A, sizeof out), std::memcpy(&before, &out, sizeof out);
    const int result = read(&v, &out);
    const bool refused = cell == "-" || cell == "!0",
               zeroed = cell == "!0" && std::is_same_v<T, Wide>;
    const Wide want = cell == "max"   ? limits::max()
                      : cell == "min" ? limits::min()
                      : std::is_floating_point_v<Wide>
                          ? static_cast<Wide>(std::strtod(cell.c_str(), nullptr))
                          : static_cast<Wide>(std::strtoull(cell.c_str(), nullptr, 0));
    const T got = out, expected = static_cast<T>(want);
    EXPECT_TRUE(refused ? result == 0 && (zeroed ? out == 0 : !memcmp(&out, &before, sizeof out))
                        : result == 1 && (got == expected || (got != got && expected != expected)))
        << where << " cell " << cell << " read " << testing::PrintToString(out);
}

// The numeric reads and to_timestamp, one row per source with the cells of to_bool, to_int32,
// to_uint32, to_int64, to_uint64, to_double and to_timestamp (seconds.milliseconds); the narrow
// reads take the low bits of the 32-bit cells and to_float narrows the double one.
TEST(Variant, NumberReadsFollowTheMatrixBySourceTag) {
    // clang-format off
    struct Row { int tag; int64_t n; double x; const char *text, *cells; };
    const Row rows[] = {{0, 200, 0, 0, "200 200 200 200 200 200 -"},
        {7, 0, 0, 0, "0 0 0 0 0 0 0.0"}, {3, -1, 0, 0, "1 -1 max -1 max -1 -"},
        {3, 70000, 0, 0, "1 70000 70000 70000 70000 70000 -"},
        {7, -1, 0, 0, "1 -1 max 0xffffffff 0xffffffff 0xffffffff -1.0"},
        {4, 1LL << 32, 0, 0, "1 0 0 0x100000000 0x100000000 0x1p32 0.0"},
        {4, -1, 0, 0, "1 -1 max -1 max -1 -1.0"}, {8, -1, 0, 0, "1 -1 max -1 max 0x1p64 -1.0"},
        {4, (1LL << 53) + 1, 0, 0, "1 1 1 0x20000000000001 0x20000000000001 0x1p53 1.0"},
        {10, 0, 2.9, 0, "1 2 2 2 2 2.9 2.899"}, {10, 0, -2.9, 0, "1 -2 0 -2 0 -2.9 0.0"},
        {10, 0, 1e10, 0, "1 max max 10000000000 10000000000 1e10 -1.0"},
        {10, 0, NAN, 0, "1 0 0 0 0 nan 0.0"}, {10, 0, 1e-7, 0, "0 0 0 0 0 1e-7 0.0"},
        {10, 0, 1e-6, 0, "1 0 0 0 0 1e-6 0.0"}, {10, 0, 1.9996, 0, "1 1 1 1 1 1.9996 1.999"},
        {10, 0, k2p63, 0, "1 max max max 0x8000000000000000 0x1p63 -1.0"},
        {10, 0, -k2p64, 0, "1 min 0 min 0 -0x1p64 0.0"},
        {10, 0, k2p64, 0, "1 max max max max 0x1p64 -1.0"},
        {9, 0, 1e-6, 0, "0 0 0 0 0 0x1.0c6f7ap-20 0.0"},
        {9, 0, 0.1, 0, "1 0 0 0 0 0x1.99999ap-4 0.100"}, {9, 0, -1.5, 0, "1 -1 0 -1 0 -1.5 0.0"},
        {9, 0, 3e9, 0, "1 max 3000000000 3000000000 3000000000 3e9 -1294967296.0"},
        {11, 100, 250, 0, "- - 100 100 100 100.25 100.250"},
        {11, -1, 999, 0, "- - max 0xffffffff 0xffffffff 4294967295.999 -1.999"},
        {16, 1, 1, 0, "- - - - - - -"}, {18, 1, 1, 0, "- - - - - - -"},
        // Text: up to the zero byte through the 32-bit parsers; to_bool over len bytes.
        {14, 0, 0, "42", "0 42 42 42 42 42 -"}, {14, 0, 0, "-1", "0 -1 !0 -1 - -1 -"},
        {14, 0, 0, " 300 ", "0 300 300 300 300 300 -"},
        {14, 0, 0, "5000000000", "0 !0 !0 - - 5e9 -"}, {14, 0, 0, "12abc", "0 !0 !0 - - - -"},
        {14, 0, 0, "", "1 !0 !0 - - - -"}, {14, 0, 0, "tR", "1 !0 !0 - - - -"},
        {14, 0, 0, "trueish", "0 !0 !0 - - - -"}, {14, 0, 0, "1e39", "0 !0 !0 - - 1e39 -"},
        {14, 0, 0, 0, "- - - - - - -"}};
    // clang-format on
    for (const Row &row : rows)
        for (int tag : Alike(row.tag)) {
            orv_variant_t v = Make(tag, row.n, row.x);
            if (tag == 14 || tag == 15)
                v = Buffer(tag, row.text, 8, row.text ? std::strlen(row.text) : 3);
            const std::string at = std::to_string(tag) + " row " + std::to_string(&row - rows);
            std::istringstream cells(row.cells);
            std::string c[7];
            for (std::string &cell : c) cells >> cell;
            // A calendar record's timestamp is copied whole, reserved too; numbers clear it.
            orv_timestamp_t ts{-5, 5, 5}, want{-5, 5, 5};
            if (c[6] != "-")
                std::sscanf(c[6].c_str(), "%d.%hu", &want.seconds, &want.milliseconds),
                    want.reserved = tag >= 11 ? v.value.as_timestamp.reserved : uint16_t{0};
            EXPECT_EQ(orv_variant_to_timestamp(&v, &ts), c[6] != "-") << at;
            EXPECT_TRUE(!std::memcmp(&ts, &want, sizeof ts)) << at << ": " << ts.seconds;
            ExpectRead(orv_variant_to_bool, v, c[0], at);
            ExpectRead(orv_variant_to_int32, v, c[1], at);
            ExpectRead(orv_variant_to_uint32, v, c[2], at);
            ExpectRead(orv_variant_to_int64, v, c[3], at);
            ExpectRead(orv_variant_to_uint64, v, c[4], at);
            ExpectRead(orv_variant_to_double, v, c[5], at);
            ExpectRead<int8_t, int32_t>(orv_variant_to_int8, v, c[1], at);
            ExpectRead<int16_t, int32_t>(orv_variant_to_int16, v, c[1], at);
            ExpectRead<uint8_t, uint32_t>(orv_variant_to_uint8, v, c[2], at);
            ExpectRead<uint16_t, uint32_t>(orv_variant_to_uint16, v, c[2], at);
            ExpectRead<float, double>(orv_variant_to_float, v, c[5], at);
        }
    uint8_t out = 7;
    const orv_variant_t v = Make(ORV_VT_INT32, 5);
    orv_variant_t w = Make(ORV_VT_DATETIME);
    EXPECT_EQ(orv_variant_to_bool(nullptr, &out) + orv_variant_to_uint8(nullptr, &out) +
                  orv_variant_to_double(&v, nullptr) + orv_variant_to_float(&v, nullptr) +
                  orv_variant_from_double(nullptr, 1) + orv_variant_from_uint8(nullptr, 1) +
                  orv_variant_from_timestamp(&w, nullptr) + orv_variant_to_timestamp(&w, nullptr),
              0);
}

// Every store as one signature: the value n, or x for the real ones; a timestamp takes seconds
// n, milliseconds x and reserved 9.
template <class T, auto F>
int Via(orv_variant_t *v, int64_t n, double x) {
    return F(v, std::is_floating_point_v<T> ? static_cast<T>(x) : static_cast<T>(n));
}
int FromTs(orv_variant_t *v, int64_t n, double x) {
    const orv_timestamp_t ts{static_cast<int32_t>(n), static_cast<uint16_t>(x), 9};
    return orv_variant_from_timestamp(v, &ts);
}
using Op = int (*)(orv_variant_t *, int64_t, double);
const Op kI32 = Via<int32_t, orv_variant_from_int32>, kU32 = Via<uint32_t, orv_variant_from_uint32>,
         kI64 = Via<int64_t, orv_variant_from_int64>, kU64 = Via<uint64_t, orv_variant_from_uint64>,
         kDbl = Via<double, orv_variant_from_double>, kFlt = Via<float, orv_variant_from_float>,
         kBool = Via<uint8_t, orv_variant_from_bool>, kI8 = Via<int8_t, orv_variant_from_int8>,
         kU16 = Via<uint16_t, orv_variant_from_uint16>, kTs = FromTs;

constexpr int64_t kAll = -1;  // every bit set: UINT32_MAX or UINT64_MAX as the tag reads it

TEST(Variant, NumberStoresFollowTheMatrixByRecordTag) {
    constexpr double kU64Max = k2p64, kU32Max = 4294967295.0;  // as the nearest float/double
    // clang-format off
    struct Row { Op op; int tag; int64_t in; double xin; int result; int64_t n; double x; };
    const Row rows[] = {{kI64, 0, 1LL << 32, 0, 1, 1, 0}, {kI32, 0, 0, 0, 1, 0, 0},
        {kBool, 0, 5, 0, 1, 1, 0}, {kDbl, 0, 0, 1e-7, 1, 0, 0}, {kDbl, 0, 0, 1e-6, 1, 1, 0},
        {kDbl, 0, 0, NAN, 1, 1, 0}, {kFlt, 0, 0, 1e-6, 1, 0, 0}, {kU32, 0, 1LL << 31, 0, 1, 1, 0},
        {kI64, 3, 1LL << 32, 0, 1, 0, 0}, {kU32, 3, kAll, 0, 1, -1, 0}, {kDbl, 3, 0, 2.9, 1, 2, 0},
        {kDbl, 3, 0, -2.9, 1, -2, 0}, {kDbl, 3, 0, 1e10, 1, kMax, 0},
        {kDbl, 3, 0, -1e10, 1, kMin, 0}, {kDbl, 3, 0, NAN, 1, 0, 0}, {kBool, 3, 5, 0, 1, 5, 0},
        {kI8, 7, -1, 0, 1, -1, 0}, {kU16, 7, 65535, 0, 1, 65535, 0}, {kDbl, 7, 0, -2.9, 1, 0, 0},
        {kDbl, 7, 0, 1e10, 1, -1, 0}, {kDbl, 7, 0, 3e9, 1, 3000000000, 0},
        {kU32, 4, kAll, 0, 1, 4294967295, 0}, {kI32, 4, -1, 0, 1, -1, 0},
        {kI32, 8, -1, 0, 1, -1, 0}, {kDbl, 4, 0, -2.5, 1, -2, 0},
        {kDbl, 4, 0, k2p63, 1, INT64_MAX, 0}, {kDbl, 4, 0, -1e20, 1, INT64_MIN, 0},
        {kDbl, 8, 0, -1, 1, 0, 0}, {kDbl, 8, 0, k2p64, 1, kAll, 0}, {kDbl, 8, 0, NAN, 1, 0, 0},
        {kDbl, 8, 0, k2p63, 1, INT64_MIN, 0}, {kU16, 9, 65535, 0, 1, 0, 65535},
        {kI32, 9, 16777217, 0, 1, 0, 16777216}, {kU64, 9, kAll, 0, 1, 0, kU64Max},
        {kDbl, 9, 0, 0.1, 1, 0, 0.1f}, {kFlt, 10, 0, 0.1, 1, 0, 0.1f},
        {kU32, 10, kAll, 0, 1, 0, kU32Max}, {kI64, 10, (1LL << 53) + 1, 0, 1, 0, 0x1p53},
        {kU64, 10, kAll, 0, 1, 0, kU64Max}, {kI32, 11, 42, 0, 0, 77, 77},
        {kI8, 11, 42, 0, 0, 77, 77}, {kU32, 11, 100, 0, 1, 100, 0},
        {kI64, 11, (1LL << 32) + 100, 0, 1, 100, 0}, {kU64, 11, kAll, 0, 1, -1, 0},
        {kBool, 11, 1, 0, 1, 1, 0}, {kDbl, 11, 0, 1.5, 1, 1, 500}, {kDbl, 11, 0, -1.5, 1, 0, 0},
        {kDbl, 11, 0, 1.9996, 1, 1, 999}, {kDbl, 11, 0, 5e9, 1, -1, 0},
        {kFlt, 11, 0, 2.5, 1, 2, 500}, {kU32, 16, 1, 0, 0, 77, 77}, {kDbl, 16, 0, 1, 0, 77, 77},
        {kI64, 18, 1, 0, 0, 77, 77},
        // A timestamp (seconds n, milliseconds x): seconds or the real with its fraction.
        {kTs, 0, 1, 0, 0, 77, 77}, {kTs, 3, 100, 0, 0, 77, 77}, {kTs, 7, 100, 250, 1, 100, 0},
        {kTs, 4, -1, 0, 1, 4294967295, 0}, {kTs, 8, -1, 0, 1, 4294967295, 0},
        {kTs, 10, 100, 250, 1, 0, 100.25}, {kTs, 9, 100, 250, 1, 0, 100.25},
        {kTs, 9, 16777217, 500, 1, 0, 16777216.0}, {kTs, 10, -1, 1, 1, 0, 4294967295.001},
        {kTs, 11, 12, 34, 1, 12, 34}, {kTs, 16, 1, 1, 0, 77, 77}, {kTs, 18, 1, 1, 0, 77, 77}};
    // clang-format on
    for (const Row &row : rows)
        for (int tag : Alike(row.tag)) {
            orv_variant_t v = Make(tag, 77, 77), want = Make(tag, row.n, row.x);
            if (row.result && tag >= 11) want.value.as_timestamp.reserved = row.op == kTs ? 9 : 0;
            EXPECT_EQ(row.op(&v, row.in, row.xin), row.result) << &row - rows;
            EXPECT_TRUE(Same(v, want)) << "tag " << tag << " row " << &row - rows;
        }
    // Text: the low 32 bits with the source's signedness, cap 12 or 11 for integers, refused
    // below it; "%f" of reals into cap, the cut text left behind. len never moves.
    // clang-format off
    struct Text { Op op; int tag; uint16_t cap; int64_t n; double x; int ok; const char *want; };
    const Text texts[] = {{kI32, 14, 12, kMin, 0, 1, "-2147483648"}, {kI32, 15, 11, 42, 0, 0, ""},
        {kU32, 14, 11, kAll, 0, 1, "4294967295"}, {kU32, 15, 10, 4, 0, 0, ""},
        {kI64, 14, 12, 5000000000, 0, 1, "705032704"}, {kI64, 14, 12, -1, 0, 1, "-1"},
        {kU64, 15, 11, kAll, 0, 1, "4294967295"}, {kU64, 15, 10, 1, 0, 0, ""},
        {kBool, 14, 11, 7, 0, 1, "7"}, {kDbl, 14, 9, 0, 1.5, 1, "1.500000"},
        {kDbl, 15, 4, 0, 1.5, 0, "1.5"}, {kFlt, 14, 24, 0, 0.1, 1, "0.100000"},
        {kDbl, 14, 0, 0, 1.5, 0, ""}};
    // clang-format on
    for (const Text &row : texts) {
        orv_test::Sentinel<24> buf;
        orv_variant_t v = Buffer(row.tag, buf.bytes, row.cap, 3);
        EXPECT_EQ(row.op(&v, row.n, row.x), row.ok) << &row - texts;
        EXPECT_TRUE(Same(v, Buffer(row.tag, buf.bytes, row.cap, 3)) &&
                    std::string(buf.bytes, std::strlen(row.want)) == row.want);
        EXPECT_TRUE(buf.untouched(*row.want ? std::strlen(row.want) + 1 : 0)) << &row - texts;
        v.value.data = nullptr;
        EXPECT_EQ(row.op(&v, row.n, row.x), 0);
    }
}

TEST(Variant, StringAndBinaryReads) {
    // A null want: the result is null and dest holds left ("" for untouched). Text records
    // copy up to the zero byte, not len, cut to size with no report.
    // clang-format off
    struct Row { int tag; int64_t n; double x; int32_t size; const char *want, *left; };
    const Row rows[] = {{0, 2, 0, 8, "true", 0}, {0, 0, 0, 6, "false", 0}, {0, 1, 0, 3, 0, "tr"},
        {3, kMin, 0, 12, "-2147483648", 0}, {3, 5, 0, 11, 0, ""}, {7, -1, 0, 11, "4294967295", 0},
        {7, 5, 0, 10, 0, ""}, {4, 5000000000, 0, 12, "705032704", 0}, {4, -1, 0, 12, "-1", 0},
        {4, 5, 0, 11, 0, ""}, {8, 1LL << 32, 0, 11, "0", 0}, {8, -1, 0, 11, "4294967295", 0},
        {8, 5, 0, 10, 0, ""}, {9, 0, 1.5, 9, "1.500000", 0}, {10, 0, -0.5, 24, "-0.500000", 0},
        {10, 0, 1.5, 4, 0, "1.5"}, {10, 0, 1.5, 0, 0, ""}, {16, 1, 1, 24, 0, ""},
        {18, 1, 1, 24, 0, ""}, {14, 1, 0, 4, "abc", 0}, {15, 1, 0, 7, "abcdef", 0},
        {14, 0, 0, 8, 0, ""}};
    // clang-format on
    for (const Row &row : rows)
        for (int tag : Alike(row.tag)) {
            orv_test::Sentinel<24> dest;
            orv_variant_t v = Make(tag, row.n, row.x);
            if (tag == 14 || tag == 15) v = Buffer(tag, row.n ? "abcdef" : nullptr, 8, 1);
            const char *text = row.want ? row.want : row.left;
            SCOPED_TRACE(testing::Message() << "tag " << tag << " row " << &row - rows);
            EXPECT_EQ(orv_variant_to_string(&v, dest, row.size), row.want ? dest.bytes : nullptr);
            EXPECT_EQ(std::string(dest.bytes, std::strlen(text)), text);
            EXPECT_TRUE(dest.untouched(*text ? std::strlen(text) + 1 : 0));
        }
    EXPECT_EQ(orv_variant_to_string(nullptr, nullptr, 8), nullptr);
    // Bytes: the smaller of size and cap, not len; BINARY only.
    const char bytes[] = "abcdefghij";
    // clang-format off
    struct Bin { int tag; const char *data; uint16_t cap; int32_t size, want; };
    const Bin bins[] = {{16, bytes, 8, 10, 8}, {16, bytes, 8, 5, 5}, {16, bytes, 8, 0, 0},
        {16, nullptr, 8, 10, 0}, {14, bytes, 8, 10, 0}, {18, bytes, 8, 10, 0}};
    // clang-format on
    for (const Bin &row : bins) {
        orv_test::Sentinel<12> dest;
        const orv_variant_t v = Buffer(row.tag, row.data, row.cap, 3);
        EXPECT_EQ(orv_variant_to_binary(&v, dest, row.size) + orv_variant_to_binary(&v, 0, 8),
                  row.want);
        EXPECT_TRUE(!std::memcmp(dest, bytes, row.want) && dest.untouched(row.want));
    }
}

TEST(Variant, TextAndByteStores) {
    // Text through the parser of the tag's kind (bool over size bytes); bytes (a '#' row) in the
    // host's order, both targets being little-endian, as wide as the tag whatever size says.
    const uint8_t ints[] = {0xFF, 0xFE, 0xFD, 0x7F, 1, 2, 3, 4}, zero[8] = {};
    const float f15 = 1.5f;
    const double dm225 = -2.25;
    // clang-format off
    struct Row { char how; int tag; const void *in; int32_t size; int ok; int64_t n; double x; };
    const Row rows[] = {{'s', 0, "TRUE", 4, 1, 1, 0}, {'s', 0, "false", 5, 1, 0, 0},
        {'s', 0, "yes", 3, 0, 77, 77}, {'s', 0, "tomato", 1, 1, 1, 0},
        {'s', 0, "tomato", 6, 0, 77, 77}, {'s', 0, "f", 1, 1, 0, 0}, {'s', 0, "true", 0, 0, 77, 77},
        {'s', 3, "42", 1, 1, 42, 0}, {'s', 2, "42x", 3, 0, 77, 77}, {'s', 7, "-1", 2, 0, 77, 77},
        {'s', 1, "200", 3, 1, 200, 0}, {'s', 6, "70000", 5, 1, 70000, 0},
        {'s', 4, "-1", 2, 1, -1, 0}, {'s', 8, "-1", 2, 0, 77, 77},
        {'s', 8, "4294967295", 10, 1, 4294967295, 0}, {'s', 4, "5000000000", 10, 0, 77, 77},
        {'s', 9, "0.1", 3, 1, 0, 0.1f}, {'s', 9, "1e39", 4, 0, 77, 77},
        {'s', 10, "1e300", 5, 1, 0, 1e300}, {'s', 16, "1", 1, 0, 77, 77},
        {'s', 18, "1", 1, 0, 77, 77}, {'s', 3, nullptr, 4, 0, 77, 77}, {'#', 0, ints, 1, 1, 1, 0},
        {'#', 0, zero, 8, 1, 0, 0}, {'#', 1, ints, 1, 1, -1, 0}, {'#', 2, ints, 1, 2, -257, 0},
        {'#', 5, ints, 1, 1, 255, 0}, {'#', 6, ints, 1, 2, 65279, 0},
        {'#', 3, ints, 1, 4, 0x7FFDFEFF, 0}, {'#', 7, ints, 4, 4, 0x7FFDFEFF, 0},
        {'#', 4, ints, 1, 8, 0x040302017FFDFEFF, 0}, {'#', 8, ints, 8, 8, 0x040302017FFDFEFF, 0},
        {'#', 9, &f15, 1, 4, 0, 1.5}, {'#', 10, &dm225, 8, 8, 0, -2.25},
        {'#', 3, ints, 0, 0, 77, 77}, {'#', 3, nullptr, 4, 0, 77, 77},
        {'#', 18, ints, 8, 0, 77, 77}};
    // clang-format on
    for (const Row &row : rows) {
        orv_variant_t v = Make(row.tag, 77, 77);
        const auto *text = static_cast<const char *>(row.in);
        EXPECT_EQ(row.how == '#' ? orv_variant_from_binary(&v, row.in, row.size)
                                 : orv_variant_from_string(&v, text, row.size),
                  row.ok)
            << &row - rows;
        EXPECT_TRUE(Same(v, Make(row.tag, row.n, row.x))) << &row - rows;
    }
    // Buffers of 'z': from_string cuts to cap-1 (strncpy fills up to cap) and sets len to the
    // text's length; from_binary sets len to min(size, cap), its text copy ending at the zero.
    // clang-format off
    struct Buf { int tag; bool bytes; const char *in; int32_t size; uint16_t cap; int result, len;
                 const char *held; };
    const Buf bufs[] = {{14, false, "abcdef", 6, 4, 1, 3, "abc\0zzzzz"},
        {15, false, "abcdef", 1, 8, 1, 6, "abcdef\0\0z"},
        {14, false, "ab", 2, 0, 0, 9, "zzzzzzzzz"}, {16, false, "ab", 2, 8, 0, 9, "zzzzzzzzz"},
        {15, true, "abc", 3, 8, 3, 3, "abc\0\0\0\0\0z"},
        {14, true, "abc", 10, 8, 8, 8, "abc\0\0\0\0\0z"},
        {16, true, "abcdefghij", 3, 8, 3, 3, "abczzzzzz"},
        {16, true, "abcdefghij", 10, 8, 8, 8, "abcdefghz"},
        {16, true, "ab", 2, 0, 0, 9, "zzzzzzzzz"}};
    // clang-format on
    for (const Buf &row : bufs) {
        char held[10] = "zzzzzzzzz";
        orv_variant_t v = Buffer(row.tag, held, row.cap, 9);
        auto store = [&] {
            return row.bytes ? orv_variant_from_binary(&v, row.in, row.size)
                             : orv_variant_from_string(&v, row.in, row.size);
        };
        EXPECT_TRUE(store() == row.result && v.value.len == row.len) << &row - bufs;
        EXPECT_EQ(std::string(held, 9), std::string(row.held, 9)) << &row - bufs;
        v.value.data = nullptr;
        EXPECT_EQ(store(), 0);
    }
}

// The source's tag picks the store, the target's tag the cell; text and bytes pass on data
// and len (len 0 is refused), and a count keeps its low 8 bits.
TEST(Variant, FromOtherStoresBySourceTag) {
    static char block[300] = "42", wide[300];
    // clang-format off
    struct Row { int from; int64_t sn; double sx; uint16_t len; int to, ok; int64_t n; double x; };
    const Row rows[] = {{10, 0, 2.9, 0, 3, 1, 2, 0}, {0, 5, 0, 0, 3, 1, 5, 0},
        {9, 0, 0.1, 0, 10, 1, 0, 0.1f}, {11, 100, 250, 0, 10, 1, 0, 100.25},
        {8, -1, 0, 0, 4, 1, -1, 0}, {7, -1, 0, 0, 4, 1, 4294967295, 0}, {3, -1, 0, 0, 4, 1, -1, 0},
        {7, 100, 0, 0, 11, 1, 100, 0}, {3, 100, 0, 0, 11, 0, 77, 77}, {4, 100, 0, 0, 11, 1, 100, 0},
        {11, 100, 250, 0, 3, 0, 77, 77}, {18, 1, 1, 0, 3, 0, 77, 77}, {14, 0, 0, 2, 3, 1, 42, 0},
        {15, 0, 0, 0, 3, 0, 77, 77}, {16, 0, 0, 4, 3, 4, 0x3234, 0}};
    // clang-format on
    for (const Row &row : rows) {
        orv_variant_t v = Make(row.to, 77, 77), want = Make(row.to, row.n, row.x);
        if (row.ok && row.to == 11) want.value.as_timestamp.reserved = 0;
        const orv_variant_t source =
            row.from >= 14 ? Buffer(row.from, block, 8, row.len) : Make(row.from, row.sn, row.sx);
        EXPECT_EQ(orv_variant_from_other(&v, &source), row.ok) << &row - rows;
        EXPECT_TRUE(Same(v, want)) << &row - rows;
    }
    orv_variant_t bin = Buffer(ORV_VT_BINARY, wide, 300, 0);
    const orv_variant_t many = Buffer(ORV_VT_BINARY, block, 300, 256);
    EXPECT_TRUE(orv_variant_from_other(&bin, &many) == 0 && bin.value.len == 256);
    EXPECT_EQ(orv_variant_from_other(nullptr, &many) + orv_variant_from_other(&bin, nullptr), 0);
}

// Every calendar cell meets local time: at UTC and 8 hours east of it.
TEST(Variant, CalendarCellsInLocalTime) {
    for (const auto &[tz, east] : {std::pair{"UTC0", 0}, std::pair{"XXX-8", 28800}})
        orv_test::in_zone(tz, [east = east] {
            constexpr int32_t kDay = 1704153600;  // 2024-01-02 00:00:00 UTC
            // The five fixed forms, longest first; nothing behind them is looked at.
            // clang-format off
            struct Row { const char *text; int result; int32_t utc; uint16_t ms; };
            const Row rows[] = {{"2024-01-02 03:04:05.678", 1, kDay + 11045, 678},
                {"2024-01-02 03:04:05", 1, kDay + 11045, 0}, {"03:04:05.678", 1, 11045, 678},
                {"03:04:05", 1, 11045, 0}, {"03:04:05.7", 1, 11045, 7}, {"2024-01-02", 1, kDay, 0},
                {"2024-01-02T03:04:05", 1, kDay, 0}, {"2024-01-02 03:04", 1, kDay, 0},
                {"2023-13-32 junk", 1, kDay + 30 * 86400, 0}, {"03:04", 0, 0, 0},
                {"2024-01", 0, 0, 0}, {"hello", 0, 0, 0}, {"", 0, 0, 0}};
            // clang-format on
            for (const Row &row : rows) {
                const orv_variant_t text = Buffer(ORV_VT_TEXT, row.text, 30, 0);
                orv_timestamp_t out{-5, 5, 5}, want{row.utc - east, row.ms, 5};
                orv_variant_t v = Make(ORV_VT_TIME, 77, 77),
                              stored = Make(ORV_VT_TIME, want.seconds, row.ms);
                if (!row.result) want = {-5, 5, 5}, stored = v;
                EXPECT_EQ(orv_variant_to_timestamp(&text, &out), row.result) << row.text;
                EXPECT_EQ(orv_variant_from_string(&v, row.text, 1), row.result) << row.text;
                EXPECT_TRUE(!std::memcmp(&out, &want, sizeof out) && Same(v, stored)) << row.text;
            }
            // The free-form parser in the byte store: year first, T allowed, no date alone.
            orv_variant_t v = Make(ORV_VT_DATETIME), date = Make(ORV_VT_DATE),
                          time = Make(ORV_VT_TIME);
            EXPECT_EQ(orv_variant_from_binary(&v, "2024-01-02T03:04:05", 1) +
                          orv_variant_from_binary(&v, "2024-01-02", 1) +
                          orv_variant_from_binary(&date, "2024-1-2", 1) +
                          orv_variant_from_binary(&time, "03:04:05", 1),
                      32 + 16 + 16);
            EXPECT_TRUE(v.value.as_timestamp.seconds + east == kDay + 11045 &&
                        date.value.as_timestamp.seconds + east == kDay &&
                        time.value.as_timestamp.seconds + east == 11045);
            // 2024-01-01 23:00:00.005 UTC is 2024-01-02 07:00:00.005 eight hours east.
            const orv_timestamp_t late{kDay - 3600, 5, 0};
            const std::string local = east ? "2024-01-02 07:00:00.005" : "2024-01-01 23:00:00.005";
            char dest[24], held[24];
            orv_variant_t text = Buffer(ORV_VT_STRING, held, 24, 0);
            date.value.as_timestamp = late;
            EXPECT_TRUE(orv_variant_to_string(&date, dest, 24) == dest && dest == local);
            EXPECT_EQ(orv_variant_to_string(&date, dest, 23), nullptr);
            EXPECT_TRUE(orv_variant_from_timestamp(&text, &late) == 1 && held == local);
            text.value.cap = 10;
            EXPECT_TRUE(orv_variant_from_timestamp(&text, &late) == 0 &&
                        held == local.substr(0, 9));
            // The same moment as fields, local and UTC, whole and in halves.
            orv_datetime_t dt[2];
            orv_date_t day[2];
            orv_time_t hour[2];
            const orv_variant_t seconds = Make(ORV_VT_UINT32, kDay - 3600),
                                refused = Make(ORV_VT_INT16, 5);  // as every signed word
            EXPECT_EQ(orv_variant_to_datetime(&seconds, &dt[0]) +
                          orv_variant_to_date(&seconds, &day[0]) +
                          orv_variant_to_time(&seconds, &hour[0]) +
                          orv_variant_to_datetime_utc(&seconds, &dt[1]) +
                          orv_variant_to_date_utc(&seconds, &day[1]) +
                          orv_variant_to_time_utc(&seconds, &hour[1]),
                      6);
            const std::string utc = "2024-01-01 w1 23:00:00.000";
            EXPECT_EQ(orv_test::Fields(dt[0]), east ? "2024-01-02 w2 07:00:00.000" : utc);
            EXPECT_EQ(orv_test::Fields(day[0], hour[0]), orv_test::Fields(dt[0]));
            EXPECT_EQ(orv_test::Fields(dt[1]) + orv_test::Fields(day[1], hour[1]), utc + utc);
            EXPECT_EQ(orv_variant_to_time(&v, nullptr) + orv_variant_to_date(&refused, day), 0);
            // Fields stored as local time: a date at midnight, a time on 1970-01-01.
            const orv_date_t second_jan{2024, 1, 2, 6};
            const orv_time_t half_past{12, 30, 0, 250};
            orv_variant_t word = Make(ORV_VT_UINT32);
            EXPECT_TRUE(orv_variant_from_date(&date, &second_jan) &&
                        orv_variant_to_date(&date, day));
            EXPECT_EQ(orv_test::Fields(day[0], {}), "2024-01-02 w2 00:00:00.000");  // weekday set
            EXPECT_TRUE(orv_variant_from_date(&word, &second_jan) &&
                        orv_variant_from_time(&time, &half_past));
            EXPECT_TRUE(word.value.as_int32 + east == kDay &&
                        time.value.as_timestamp.seconds + east == 45000 &&
                        time.value.as_timestamp.milliseconds == 250);
            EXPECT_EQ(
                orv_variant_from_date(&text, &second_jan) + orv_variant_from_date(&date, nullptr),
                0);
        });
}

}  // namespace
