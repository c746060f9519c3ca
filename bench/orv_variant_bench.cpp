// Variant conversions against the same conversions written by hand with the C library, on 1024
// items. One item is six conversions: an int32 to text and back, a double read as int32 and an
// int32 stored as a double, a timestamp to local date text and such a text back to a timestamp.
// Both sides sit behind out-of-line calls and are checked against each other before timing.
//   mixed  orvsys / by hand: reported, no target. The local-time conversions (localtime_r,
//          mktime) cost most on both sides; the difference is the five fixed sscanf forms
//          orvsys runs on every timestamp text (about 1 us here), where the hand-written side
//          reads the one form it knows with strtol.

#include "orv_bench.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "orvsys/orv_variant.h"

namespace {

constexpr std::size_t kItems = 1024;

struct Item {
    std::int32_t number;
    double real;
    orv_timestamp_t moment;
    char number_text[12];
    char moment_text[24];
};

// What one item's six conversions give, compared between the two sides.
struct Result {
    char number_text[12];
    std::int32_t number_back;
    std::int32_t truncated;
    double widened;
    char moment_text[96];  // room for any int fields, so the compiler sees no cut
    orv_timestamp_t moment_back;
};

const std::vector<Item> &items() {
    static const std::vector<Item> set = [] {
        std::vector<Item> s(kItems);
        orv_bench::SplitMix64 rng(0x6F72767661726e74ull);
        for (Item &item : s) {
            item.number = static_cast<std::int32_t>(rng.next());
            item.real = static_cast<double>(static_cast<std::int32_t>(rng.next())) / 7.0;
            item.moment = {static_cast<std::int32_t>(rng.below(2000000000u)),
                           static_cast<std::uint16_t>(rng.below(1000u)), 0};
            std::snprintf(item.number_text, sizeof item.number_text, "%d", item.number);
            orv_variant_t v{ORV_VT_TIMESTAMP, {}};
            v.value.as_timestamp = item.moment;
            orv_variant_to_string(&v, item.moment_text, sizeof item.moment_text);
        }
        return s;
    }();
    return set;
}

[[gnu::noinline]] void orv_convert(const Item &item, Result &r) {
    orv_variant_t number{ORV_VT_INT32, {}}, text{ORV_VT_TEXT, {}}, real{ORV_VT_DOUBLE, {}},
        moment{ORV_VT_TIMESTAMP, {}};
    number.value.as_int32 = item.number;
    orv_variant_to_string(&number, r.number_text, sizeof r.number_text);
    text.value.data = const_cast<char *>(item.number_text);
    orv_variant_to_int32(&text, &r.number_back);
    real.value.as_double = item.real;
    orv_variant_to_int32(&real, &r.truncated);
    orv_variant_from_int32(&real, item.number);
    r.widened = real.value.as_double;
    moment.value.as_timestamp = item.moment;
    orv_variant_to_string(&moment, r.moment_text, sizeof r.moment_text);
    text.value.data = const_cast<char *>(item.moment_text);
    orv_variant_to_timestamp(&text, &r.moment_back);
}

// strtol's answer when the text is a whole 32-bit number, else 0.
std::int32_t hand_read(const char *text, char **end) {
    errno = 0;
    const long v = std::strtol(text, end, 10);
    return errno == 0 && v >= INT32_MIN && v <= INT32_MAX ? static_cast<std::int32_t>(v) : 0;
}

[[gnu::noinline]] void hand_convert(const Item &item, Result &r) {
    std::snprintf(r.number_text, sizeof r.number_text, "%d", item.number);
    char *end = nullptr;
    r.number_back = hand_read(item.number_text, &end);
    const double x = item.real;
    r.truncated = std::isnan(x)        ? 0
                  : x >= 2147483648.0  ? INT32_MAX
                  : x <= -2147483648.0 ? INT32_MIN
                                       : static_cast<std::int32_t>(x);
    r.widened = item.number;
    struct tm tm {};
    const time_t t = item.moment.seconds;
    localtime_r(&t, &tm);
    std::snprintf(r.moment_text, sizeof r.moment_text, "%04d-%02d-%02d %02d:%02d:%02d.%03d",
                  tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                  item.moment.milliseconds);
    // "YYYY-MM-DD HH:MM:SS.mmm", one field after the other, as standard time.
    const char *p = item.moment_text;
    int field[7];
    for (int &f : field) f = hand_read(p, &end), p = end + 1;
    struct tm back {};
    back.tm_year = field[0] - 1900, back.tm_mon = field[1] - 1, back.tm_mday = field[2];
    back.tm_hour = field[3], back.tm_min = field[4], back.tm_sec = field[5];
    r.moment_back = {static_cast<std::int32_t>(mktime(&back)), static_cast<std::uint16_t>(field[6]),
                     0};
}

template <void (*Convert)(const Item &, Result &)>
void mixed_bench(benchmark::State &state) {
    const std::vector<Item> &s = items();
    for (const Item &item : s) {
        Result ours{}, theirs{};
        orv_convert(item, ours);
        hand_convert(item, theirs);
        if (std::memcmp(&ours, &theirs, sizeof ours) != 0)
            return state.SkipWithError(
                ("the sides differ on " + std::string(item.moment_text) + " / " + item.number_text)
                    .c_str());
    }
    Result r{};
    for (auto _ : state) {
        for (const Item &item : s) Convert(item, r);
        benchmark::DoNotOptimize(r);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kItems));
}

BENCHMARK(mixed_bench<orv_convert>)->Name("variant/mixed/orvsys");
BENCHMARK(mixed_bench<hand_convert>)->Name("variant/mixed/by-hand");

const bool kCompared =
    orv_bench::compare({"time variant mixed orv / by hand", "variant/mixed/orvsys",
                        "variant/mixed/by-hand", 0.0, orv_bench::Better::Lower});

}  // namespace
