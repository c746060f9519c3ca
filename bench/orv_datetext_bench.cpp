// The date and time parser against strptime on 256 texts of the shape
// "2020-01-02T12:30:45" with varied fields, so that neither side is timed on
// one text its branches have learnt. Both sides pay one out-of-line call per
// text and fill the same orv_datetime_t record, strptime through the
// conversion a caller writes. Target: at least 3 times the calls per second.

#include "orv_bench.h"

#include <ctime>
#include <vector>

#include "orvsys/orv_datetext.h"

namespace {

constexpr std::size_t kTextCount = 256;

struct TextSet {
    std::vector<std::string> texts;
    std::vector<orv_datetime_t> fields;
};

const TextSet &text_set()
{
    static const TextSet set = [] {
        TextSet s;
        orv_bench::SplitMix64 rng(0x6F72766461746531ull);
        while (s.texts.size() < kTextCount) {
            orv_datetime_t f{};
            f.year = 1970 + rng.below(68);
            f.month = 1 + rng.below(12);
            f.day = 1 + rng.below(28);
            f.hour = rng.below(24);
            f.minute = rng.below(60);
            f.second = rng.below(60);
            char text[64];
            std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", f.year, f.month,
                          f.day, f.hour, f.minute, f.second);
            s.texts.push_back(text);
            s.fields.push_back(f);
        }
        return s;
    }();
    return set;
}

bool orv_parse(const char *text, orv_datetime_t *out)
{
    return orv_string_to_datetime(text, 1, out) == 1;
}

// strptime leaves the fields its format does not set, so the caller clears
// the record first.
[[gnu::noinline]] bool strptime_parse(const char *text, orv_datetime_t *out)
{
    std::tm tm{};
    if (strptime(text, "%Y-%m-%dT%H:%M:%S", &tm) == nullptr)
        return false;
    *out = orv_datetime_t{};
    out->year = tm.tm_year + 1900;
    out->month = tm.tm_mon + 1;
    out->day = tm.tm_mday;
    out->hour = tm.tm_hour;
    out->minute = tm.tm_min;
    out->second = tm.tm_sec;
    return true;
}

template <bool (*Parse)(const char *, orv_datetime_t *)>
void parse_bench(benchmark::State &state)
{
    const TextSet &s = text_set();
    for (std::size_t i = 0; i < kTextCount; ++i) {
        orv_datetime_t d{};
        const orv_datetime_t &f = s.fields[i];
        if (!Parse(s.texts[i].c_str(), &d) || d.year != f.year || d.month != f.month ||
            d.day != f.day || d.hour != f.hour || d.minute != f.minute || d.second != f.second ||
            d.millisecond != 0)
            return state.SkipWithError(("wrong result for \"" + s.texts[i] + "\"").c_str());
    }
    orv_datetime_t d{};
    for (auto _ : state) {
        for (const std::string &text : s.texts) {
            const bool ok = Parse(text.c_str(), &d);
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(d);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kTextCount));
}

BENCHMARK(parse_bench<orv_parse>)->Name("datetext/iso/orv_string_to_datetime");
BENCHMARK(parse_bench<strptime_parse>)->Name("datetext/iso/strptime");

const bool kCompared = orv_bench::compare(
    {"calls/s datetext iso orv / strptime", "datetext/iso/orv_string_to_datetime",
     "datetext/iso/strptime", 3.00, orv_bench::Better::Higher});

} // namespace
