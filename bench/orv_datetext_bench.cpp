// Date and time text: orv_string_to_datetime against the C library's
// strptime on three shapes of text:
//   iso   "2020-01-02T12:30:45"            strptime "%Y-%m-%dT%H:%M:%S"
//   us    "JAN-02-2020 01:02:03PM"         strptime "%b-%d-%Y %I:%M:%S%p"
//   zone  "2020-01-02 12:30:45.123+08:00"  strptime "%Y-%m-%d %H:%M:%S", the
//         fraction read by the caller, then strptime "%z" (see strptime_zone)
//
// Each shape is a fixed set of texts of the same layout with varied fields
// (the first is the example above), so that neither side is timed on one
// text its branches have learnt by heart. Every competitor is checked
// against the fields each text was made from before it is timed: a fast
// but wrong parse shows up as an error, not as a win. Both sides pay one
// out-of-line call per text and fill the same orv_datetime_t record, the
// strptime side through the conversion a caller would write.
//
// After the run each shape prints the calls-per-second ratio orvsys /
// strptime; the target is at least 3.00 on the iso texts, the other two are
// for information. The program exits 0 whether or not the target is met;
// only a benchmark that errored makes it exit 1.
//
// Run: orv_datetext_bench [--benchmark_repetitions=N ...]; with repetitions
// the ratios use the medians.

#include <benchmark/benchmark.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "orv_bench_report.h"
#include "orv_bench_rng.h"
#include "orvsys/orv_datetext.h"

namespace {

constexpr std::size_t kTextCount = 256;
constexpr int kMonthFirst = 1; // order; the texts here are not ambiguous
constexpr int kTmYearBase = 1900;
constexpr int kFractionDigitsMax = 9;
constexpr int kMillisecondDigits = 3;
constexpr long kSecondsPerHour = 3600;
constexpr long kSecondsPerMinute = 60;

// What a text says. zone_seconds is east of UTC; orv_string_to_datetime
// parses and checks a zone but does not return it, so only the strptime
// side can be checked on it.
struct Fields {
    int year, month, day, hour, minute, second, millisecond;
    long zone_seconds;
};

// What a parse gives back.
struct Parsed {
    orv_datetime_t dt;
    long zone_seconds;
};

struct TextSet {
    std::vector<std::string> texts;
    std::vector<Fields> fields;
};

enum class Shape { Iso, Us, Zone };

const char *const kMonthNames[12] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                     "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

Fields random_fields(SplitMix64 &rng)
{
    Fields f{};
    f.year = 1970 + rng.below(68);
    f.month = 1 + rng.below(12);
    f.day = 1 + rng.below(28);
    f.hour = rng.below(24);
    f.minute = rng.below(60);
    f.second = rng.below(60);
    return f;
}

std::string format_text(Shape shape, Fields *f, SplitMix64 *rng)
{
    char buf[64];
    switch (shape) {
    case Shape::Iso:
        std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02d", f->year, f->month, f->day,
                      f->hour, f->minute, f->second);
        break;
    case Shape::Us: {
        const int hour12 = f->hour % 12 == 0 ? 12 : f->hour % 12;
        std::snprintf(buf, sizeof buf, "%s-%02d-%04d %02d:%02d:%02d%s", kMonthNames[f->month - 1],
                      f->day, f->year, hour12, f->minute, f->second, f->hour < 12 ? "AM" : "PM");
        break;
    }
    case Shape::Zone: {
        static const int kZoneMinutes[] = {0, 30, 45};
        const int zone_hour = rng != nullptr ? rng->below(15) : 8;
        const int zone_minute = rng != nullptr ? kZoneMinutes[rng->below(3)] : 0;
        const bool west = rng != nullptr && rng->below(2) == 1;
        f->zone_seconds = (west ? -1 : 1) * (zone_hour * kSecondsPerHour + zone_minute * kSecondsPerMinute);
        std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d%c%02d:%02d", f->year,
                      f->month, f->day, f->hour, f->minute, f->second, f->millisecond,
                      west ? '-' : '+', zone_hour, zone_minute);
        break;
    }
    }
    return buf;
}

// The first text of each set is the plain example; the rest vary every field.
TextSet make_set(Shape shape, std::uint64_t start)
{
    TextSet s;
    SplitMix64 rng(start);
    Fields first{2020, 1, 2, 12, 30, 45, 0, 0};
    if (shape == Shape::Us) {
        first.hour = 13;
        first.minute = 2;
        first.second = 3;
    } else if (shape == Shape::Zone) {
        first.millisecond = 123;
    }
    s.texts.push_back(format_text(shape, &first, nullptr));
    s.fields.push_back(first);
    while (s.texts.size() < kTextCount) {
        Fields f = random_fields(rng);
        if (shape == Shape::Zone)
            f.millisecond = rng.below(1000);
        s.texts.push_back(format_text(shape, &f, &rng));
        s.fields.push_back(f);
    }
    return s;
}

const TextSet &text_set(Shape shape)
{
    static const TextSet iso = make_set(Shape::Iso, 0x6F72766461746531ull);
    static const TextSet us = make_set(Shape::Us, 0x6F72766461746532ull);
    static const TextSet zone = make_set(Shape::Zone, 0x6F72766461746533ull);
    switch (shape) {
    case Shape::Iso: return iso;
    case Shape::Us: return us;
    case Shape::Zone: break;
    }
    return zone;
}

// --- The competitors -------------------------------------------------------

// orvsys reads all three shapes with the one call.
bool orv_parse(const char *text, Parsed *out)
{
    return orv_string_to_datetime(text, kMonthFirst, &out->dt) == 1;
}

void copy_tm(const std::tm &tm, int millisecond, Parsed *out)
{
    out->dt.year = tm.tm_year + kTmYearBase;
    out->dt.month = tm.tm_mon + 1;
    out->dt.day = tm.tm_mday;
    out->dt.weekday = 0;
    out->dt.hour = tm.tm_hour;
    out->dt.minute = tm.tm_min;
    out->dt.second = tm.tm_sec;
    out->dt.millisecond = millisecond;
    out->zone_seconds = tm.tm_gmtoff;
}

// strptime leaves the fields its format does not set as they were, so a
// caller clears the record first.
template <const char *Format>
[[gnu::noinline]] bool strptime_plain(const char *text, Parsed *out)
{
    std::tm tm{};
    if (strptime(text, Format, &tm) == nullptr)
        return false;
    copy_tm(tm, 0, out);
    return true;
}

constexpr char kIsoFormat[] = "%Y-%m-%dT%H:%M:%S";
constexpr char kUsFormat[] = "%b-%d-%Y %I:%M:%S%p";
constexpr char kZoneFormat[] = "%Y-%m-%d %H:%M:%S";

// strptime has no conversion for a fraction of a second, so the caller
// reads ".ddd" itself as orvsys does (one to nine digits, cut to
// milliseconds), and hands the rest to strptime's "%z", which takes "Z",
// "+hh", "+hhmm" and "+hh:mm", refuses minutes above 59 but, unlike
// orvsys, any hour count. Together this is the same work on these texts:
// the date, the time, the fraction and a checked zone.
[[gnu::noinline]] bool strptime_zone(const char *text, Parsed *out)
{
    std::tm tm{};
    const char *p = strptime(text, kZoneFormat, &tm);
    if (p == nullptr)
        return false;
    int millisecond = 0;
    if (*p == '.') {
        int digits = 0;
        for (++p; std::isdigit(static_cast<unsigned char>(*p)); ++p, ++digits) {
            if (digits < kMillisecondDigits)
                millisecond = millisecond * 10 + (*p - '0');
        }
        if (digits == 0 || digits > kFractionDigitsMax)
            return false;
        for (; digits < kMillisecondDigits; ++digits)
            millisecond *= 10;
    }
    if (*p != '\0' && strptime(p, "%z", &tm) == nullptr)
        return false;
    copy_tm(tm, millisecond, out);
    return true;
}

// --- The benchmark ---------------------------------------------------------

bool same_fields(const Parsed &p, const Fields &f, bool check_zone)
{
    const orv_datetime_t &d = p.dt;
    return d.year == f.year && d.month == f.month && d.day == f.day && d.hour == f.hour &&
           d.minute == f.minute && d.second == f.second && d.millisecond == f.millisecond &&
           (!check_zone || p.zone_seconds == f.zone_seconds);
}

template <Shape S, bool (*Parse)(const char *, Parsed *), bool CheckZone>
void parse_bench(benchmark::State &state)
{
    const TextSet &s = text_set(S);
    std::vector<const char *> texts;
    for (const std::string &t : s.texts)
        texts.push_back(t.c_str());

    for (std::size_t i = 0; i < kTextCount; ++i) {
        Parsed p{};
        if (!Parse(texts[i], &p) || !same_fields(p, s.fields[i], CheckZone)) {
            const std::string msg = "wrong result for \"" + s.texts[i] + "\"";
            state.SkipWithError(msg.c_str());
            return;
        }
    }

    Parsed p{};
    for (auto _ : state) {
        for (std::size_t i = 0; i < kTextCount; ++i) {
            const bool ok = Parse(texts[i], &p);
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(p);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kTextCount));
}

constexpr const char *kIsoOrv = "iso/orv_string_to_datetime";
constexpr const char *kIsoStrptime = "iso/strptime";
constexpr const char *kUsOrv = "us/orv_string_to_datetime";
constexpr const char *kUsStrptime = "us/strptime";
constexpr const char *kZoneOrv = "zone/orv_string_to_datetime";
constexpr const char *kZoneStrptime = "zone/strptime+fraction+%z";

// At least this many calls per second as strptime on the iso texts.
constexpr double kIsoTarget = 3.0;

void register_benchmarks()
{
    benchmark::RegisterBenchmark(kIsoOrv, parse_bench<Shape::Iso, orv_parse, false>);
    benchmark::RegisterBenchmark(kIsoStrptime,
                                 parse_bench<Shape::Iso, strptime_plain<kIsoFormat>, false>);
    benchmark::RegisterBenchmark(kUsOrv, parse_bench<Shape::Us, orv_parse, false>);
    benchmark::RegisterBenchmark(kUsStrptime,
                                 parse_bench<Shape::Us, strptime_plain<kUsFormat>, false>);
    benchmark::RegisterBenchmark(kZoneOrv, parse_bench<Shape::Zone, orv_parse, false>);
    benchmark::RegisterBenchmark(kZoneStrptime, parse_bench<Shape::Zone, strptime_zone, true>);
}

// "calls/s iso orv_string_to_datetime / strptime: 4.00 ...": higher is faster.
void print_speed(const orv_bench::RatioReporter &r, const char *ours, const char *theirs,
                 double target)
{
    const char *slash = std::strchr(ours, '/');
    const std::string group = slash ? std::string(ours, slash) + " " : std::string();
    const std::string label = "calls/s " + group + orv_bench::short_name(ours) + " / " +
                              orv_bench::short_name(theirs);
    orv_bench::print_ratio(r, label, ours, theirs, target, orv_bench::Better::Higher);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    register_benchmarks();

    orv_bench::RatioReporter reporter(orv_bench::console_options());
    orv_bench::run_benchmarks(reporter);
    print_speed(reporter, kIsoOrv, kIsoStrptime, kIsoTarget);
    print_speed(reporter, kUsOrv, kUsStrptime, 0.0);
    print_speed(reporter, kZoneOrv, kZoneStrptime, 0.0);

    return reporter.errored() ? 1 : 0;
}
