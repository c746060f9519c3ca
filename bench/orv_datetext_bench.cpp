// The date and time parser against strptime, form by form, on 256 texts of
// each form with varied fields, so that neither side is timed on one text
// its branches have learnt. Both sides pay one out-of-line call per text and
// fill the same orv_datetime_t record; strptime gets the form's own format
// and the conversion a caller writes, with the digits of a fraction read by
// hand since strptime has no conversion for them.
//
// The two sides take turns within each iteration, 256 texts at a time, and
// each keeps its own clock: on a shared machine both then see the same
// disturbances, which separate benchmarks a second apart do not. Target:
// every form at most the cost of strptime (ratio <= 1.00); the aim is half.

#include "orv_bench.h"

#include <array>
#include <chrono>
#include <ctime>
#include <vector>

#include "orvsys/orv_datetext.h"

namespace {

constexpr std::size_t kTextCount = 256;

// What follows the six fields in a form's text.
enum class Extra { None, Marker, Zone, Fraction };

struct Form {
    const char *name;
    const char *print;  // over year, month, day, hour, minute, second, then the extra text
    const char *scan;   // the strptime format
    Extra extra;
};

constexpr Form kForms[] = {
    {"iso-T", "%1$04d-%2$02d-%3$02dT%4$02d:%5$02d:%6$02d", "%Y-%m-%dT%H:%M:%S", Extra::None},
    {"iso-space", "%1$04d-%2$02d-%3$02d %4$02d:%5$02d:%6$02d", "%Y-%m-%d %H:%M:%S", Extra::None},
    {"slashes", "%1$04d/%2$02d/%3$02d %4$02d:%5$02d:%6$02d", "%Y/%m/%d %H:%M:%S", Extra::None},
    {"us-marker", "%2$02d/%3$02d/%1$04d %4$02d:%5$02d:%6$02d%7$s", "%m/%d/%Y %I:%M:%S %p",
     Extra::Marker},
    {"time-first", "%4$02d:%5$02d:%6$02d %1$04d-%2$02d-%3$02d", "%H:%M:%S %Y-%m-%d", Extra::None},
    {"zone", "%1$04d-%2$02d-%3$02d %4$02d:%5$02d:%6$02d%7$s", "%Y-%m-%d %H:%M:%S %z", Extra::Zone},
    {"fraction", "%1$04d-%2$02d-%3$02d %4$02d:%5$02d:%6$02d%7$s", "%Y-%m-%d %H:%M:%S",
     Extra::Fraction},
};
constexpr std::size_t kFormCount = std::size(kForms);

struct TextSet {
    std::vector<std::string> texts;
    std::vector<orv_datetime_t> fields;
};

// The parser reads a marker only where it touches the digits, so the
// marker form keeps to the hours that "AM" and "PM" leave as written
// (1 to 11 AM, 12 PM): both sides then read the same fields.
TextSet make_texts(const Form &form) {
    TextSet s;
    orv_bench::SplitMix64 rng(0x6F72766461746531ull);
    while (s.texts.size() < kTextCount) {
        orv_datetime_t f{};
        f.year = 1970 + rng.below(68);
        f.month = 1 + rng.below(12);
        f.day = 1 + rng.below(28);
        f.hour = form.extra == Extra::Marker ? 1 + rng.below(12) : rng.below(24);
        f.minute = rng.below(60);
        f.second = rng.below(60);
        char extra[16] = "";
        if (form.extra == Extra::Marker)
            std::snprintf(extra, sizeof extra, " %s", f.hour == 12 ? "PM" : "AM");
        if (form.extra == Extra::Zone)
            std::snprintf(extra, sizeof extra, " %c%02d:%02d", rng.below(2) ? '+' : '-',
                          rng.below(15), 15 * rng.below(4));
        if (form.extra == Extra::Fraction) {
            f.millisecond = rng.below(1000);
            std::snprintf(extra, sizeof extra, ".%03d", f.millisecond);
        }
        char text[64];
        std::snprintf(text, sizeof text, form.print, f.year, f.month, f.day, f.hour, f.minute,
                      f.second, extra);
        s.texts.push_back(text);
        s.fields.push_back(f);
    }
    return s;
}

bool orv_parse(const Form &, const char *text, orv_datetime_t *out) {
    return orv_string_to_datetime(text, 1, out) == 1;
}

// strptime leaves the fields its format does not set, so the caller clears
// the record first.
[[gnu::noinline]] bool strptime_parse(const Form &form, const char *text, orv_datetime_t *out) {
    std::tm tm{};
    const char *rest = strptime(text, form.scan, &tm);
    if (rest == nullptr) return false;
    *out = orv_datetime_t{};
    out->year = tm.tm_year + 1900;
    out->month = tm.tm_mon + 1;
    out->day = tm.tm_mday;
    out->hour = tm.tm_hour;
    out->minute = tm.tm_min;
    out->second = tm.tm_sec;
    if (form.extra == Extra::Fraction && *rest == '.')
        for (int scale = 100; *++rest >= '0' && *rest <= '9'; scale /= 10)
            out->millisecond += (*rest - '0') * scale;
    return true;
}

using Parse = bool (*)(const Form &, const char *, orv_datetime_t *);
constexpr Parse kSides[] = {orv_parse, strptime_parse};

// Counters "orv" and "strptime": nanoseconds per text.
void form_bench(benchmark::State &state, const Form *form) {
    const TextSet s = make_texts(*form);
    for (const Parse parse : kSides)
        for (std::size_t i = 0; i < kTextCount; ++i) {
            orv_datetime_t d{};
            const orv_datetime_t &f = s.fields[i];
            if (!parse(*form, s.texts[i].c_str(), &d) || d.year != f.year || d.month != f.month ||
                d.day != f.day || d.hour != f.hour || d.minute != f.minute ||
                d.second != f.second || d.millisecond != f.millisecond)
                return state.SkipWithError(("wrong result for \"" + s.texts[i] + "\"").c_str());
        }
    using Clock = std::chrono::steady_clock;
    Clock::duration spent[2] = {};
    orv_datetime_t d{};
    for (auto _ : state) {
        for (int side = 0; side < 2; ++side) {
            const Clock::time_point start = Clock::now();
            for (const std::string &text : s.texts) {
                const bool ok = kSides[side](*form, text.c_str(), &d);
                benchmark::DoNotOptimize(ok);
                benchmark::DoNotOptimize(d);
            }
            spent[side] += Clock::now() - start;
        }
    }
    const double texts = static_cast<double>(state.iterations() * kTextCount);
    for (int side = 0; side < 2; ++side)
        state.counters[side == 0 ? "orv" : "strptime"] =
            std::chrono::duration<double, std::nano>(spent[side]).count() / texts;
}

// The report keeps pointers to the names, so they live here.
struct Names {
    std::string bench, ours, theirs, label;
};
std::array<Names, kFormCount> g_names;

const bool kCompared = [] {
    for (std::size_t i = 0; i < kFormCount; ++i) {
        Names &n = g_names[i];
        n.bench = std::string("datetext/") + kForms[i].name;
        n.ours = n.bench + "@orv";
        n.theirs = n.bench + "@strptime";
        n.label = std::string("time datetext ") + kForms[i].name + " orv / strptime";
        benchmark::RegisterBenchmark(n.bench.c_str(), form_bench, &kForms[i]);
        orv_bench::compare(
            {n.label.c_str(), n.ours.c_str(), n.theirs.c_str(), 1.00, orv_bench::Better::Lower});
    }
    return true;
}();

}  // namespace
