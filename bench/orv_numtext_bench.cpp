// Number and hex text: orvsys against the C library and <charconv>.
//
// Every competitor works on the same deterministic input set and is checked
// for the right answer before it is timed, so a fast but wrong routine shows
// up as an error, not as a win. The C library and <charconv> competitors sit
// behind an out-of-line function each, as orvsys's own entry points do, so
// that both sides pay one call and the ratios compare the work, not whether
// the compiler could inline one side into the loop. After the run the time
// ratios are printed with their targets:
//   reading  orv_ascii_to_int32 no slower than strtol with the same checks,
//   writing  orv_int32_to_ascii within 10% of std::to_chars.
// The program exits 0 whether or not a target is met; only a benchmark that
// errored makes it exit 1.
//
// Run: orv_numtext_bench [--benchmark_repetitions=N ...]; with repetitions
// the ratios use the medians.

#include <benchmark/benchmark.h>

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>
#include <vector>

#include "orv_bench_report.h"
#include "orv_bench_rng.h"
#include "orvsys/orv_numtext.h"

namespace {

constexpr std::size_t kTextCount = 1024;
constexpr std::size_t kHexBytes = 4096;
// Longest int32 text, "-2147483648", plus its terminator.
constexpr std::size_t kInt32Slot = 12;

// Decimal texts of 1 to 10 digits in equal shares, about half negative, with
// the int32 limits and 0 always present. Plain "-?digits": the form that all
// three readers accept, so each does the whole job on every text.
struct DecimalSet {
    std::vector<std::int32_t> values;
    std::vector<char> storage;             // the texts, each zero-ended
    std::vector<const char *> texts;
    std::vector<std::size_t> lengths;      // for std::from_chars
};

std::int32_t random_value(SplitMix64 &rng)
{
    const unsigned digits = 1 + static_cast<unsigned>(rng.below(10));
    std::int64_t magnitude;
    if (digits == 1) {
        magnitude = static_cast<std::int64_t>(rng.below(10));
    } else {
        std::int64_t low = 1;
        for (unsigned i = 1; i < digits; ++i)
            low *= 10;
        const std::int64_t high = digits == 10 ? std::int64_t{INT32_MAX} : low * 10 - 1;
        magnitude = low + static_cast<std::int64_t>(rng.below(static_cast<std::uint64_t>(high - low + 1)));
    }
    return static_cast<std::int32_t>(rng.below(2) ? -magnitude : magnitude);
}

const DecimalSet &decimal_set()
{
    static const DecimalSet set = [] {
        DecimalSet s;
        SplitMix64 rng(0x6F72766E756D7478ull);
        s.values = {INT32_MIN, INT32_MAX, 0};
        while (s.values.size() < kTextCount)
            s.values.push_back(random_value(rng));

        std::vector<std::size_t> offsets;
        for (std::int32_t v : s.values) {
            char buf[kInt32Slot];
            const int n = std::snprintf(buf, sizeof buf, "%" PRId32, v);
            offsets.push_back(s.storage.size());
            s.lengths.push_back(static_cast<std::size_t>(n));
            s.storage.insert(s.storage.end(), buf, buf + n + 1);
        }
        for (std::size_t off : offsets)
            s.texts.push_back(s.storage.data() + off);
        return s;
    }();
    return set;
}

// --- Reading -------------------------------------------------------------

// What a careful caller writes around strtol to get the same strict answer
// as orv_ascii_to_int32: a number was found, no range error, nothing but
// blanks after it, and the value fits 32 bits even where long is wider.
[[gnu::noinline]] bool strtol_checked(const char *text, std::int32_t *out)
{
    char *end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, 10);
    if (end == text || errno != 0)
        return false;
    for (const char *p = end; *p != '\0'; ++p)
        if (!std::isspace(static_cast<unsigned char>(*p)))
            return false;
    if (v < INT32_MIN || v > INT32_MAX)
        return false;
    *out = static_cast<std::int32_t>(v);
    return true;
}

bool orv_read(const DecimalSet &s, std::size_t i, std::int32_t *out)
{
    return orv_ascii_to_int32(s.texts[i], out) == 1;
}

bool strtol_read(const DecimalSet &s, std::size_t i, std::int32_t *out)
{
    return strtol_checked(s.texts[i], out);
}

// from_chars is told the length and must consume all of it: the same "one
// number and nothing else" rule, less the blanks it cannot skip.
[[gnu::noinline]] bool from_chars_read(const DecimalSet &s, std::size_t i, std::int32_t *out)
{
    const char *first = s.texts[i];
    const char *last = first + s.lengths[i];
    const auto r = std::from_chars(first, last, *out);
    return r.ec == std::errc{} && r.ptr == last;
}

template <bool (*Read)(const DecimalSet &, std::size_t, std::int32_t *)>
void read_bench(benchmark::State &state)
{
    const DecimalSet &s = decimal_set();
    for (std::size_t i = 0; i < kTextCount; ++i) {
        std::int32_t v = 0;
        if (!Read(s, i, &v) || v != s.values[i]) {
            const std::string msg = std::string("wrong result for \"") + s.texts[i] + "\"";
            state.SkipWithError(msg.c_str());
            return;
        }
    }

    for (auto _ : state) {
        for (std::size_t i = 0; i < kTextCount; ++i) {
            std::int32_t v = 0;
            const bool ok = Read(s, i, &v);
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(v);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kTextCount));
}

// --- Writing -------------------------------------------------------------

// Each writer leaves a zero-ended text, as orv_int32_to_ascii does.
char *orv_write(std::int32_t v, char *dest)
{
    return orv_int32_to_ascii(v, dest);
}

[[gnu::noinline]] char *snprintf_write(std::int32_t v, char *dest)
{
    std::snprintf(dest, kInt32Slot, "%" PRId32, v);
    return dest;
}

[[gnu::noinline]] char *to_chars_write(std::int32_t v, char *dest)
{
    char *end = std::to_chars(dest, dest + kInt32Slot - 1, v).ptr;
    *end = '\0';
    return dest;
}

template <char *(*Write)(std::int32_t, char *)>
void write_bench(benchmark::State &state)
{
    const DecimalSet &s = decimal_set();
    std::vector<char> out(kTextCount * kInt32Slot, '\x7f');

    for (std::size_t i = 0; i < kTextCount; ++i) {
        char *dest = out.data() + i * kInt32Slot;
        Write(s.values[i], dest);
        if (std::strcmp(dest, s.texts[i]) != 0) {
            const std::string msg = std::string("wrong text for ") + s.texts[i];
            state.SkipWithError(msg.c_str());
            return;
        }
    }

    for (auto _ : state) {
        for (std::size_t i = 0; i < kTextCount; ++i) {
            char *r = Write(s.values[i], out.data() + i * kInt32Slot);
            benchmark::DoNotOptimize(r);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kTextCount));
}

// --- Bytes to hex text ---------------------------------------------------

const std::vector<std::uint8_t> &hex_data()
{
    static const std::vector<std::uint8_t> data = [] {
        std::vector<std::uint8_t> d(kHexBytes);
        SplitMix64 rng(0x6865787465787421ull);
        for (auto &b : d)
            b = static_cast<std::uint8_t>(rng.next());
        return d;
    }();
    return data;
}

bool hex_text_matches(const char *text, const std::vector<std::uint8_t> &data, bool compact)
{
    static const char digits[] = "0123456789ABCDEF";
    const std::size_t stride = compact ? 2 : 3;
    const std::size_t expected_len = data.size() * stride - (compact ? 0 : 1);
    if (std::strlen(text) != expected_len)
        return false;
    for (std::size_t i = 0; i < data.size(); ++i) {
        const char *p = text + i * stride;
        if (p[0] != digits[data[i] >> 4] || p[1] != digits[data[i] & 0xF])
            return false;
        if (!compact && i + 1 < data.size() && p[2] != ' ')
            return false;
    }
    return true;
}

void hex_bench(benchmark::State &state)
{
    const std::uint8_t compact = static_cast<std::uint8_t>(state.range(0));
    const std::vector<std::uint8_t> &data = hex_data();
    // Room for the spaced form, the longer of the two: the whole input is
    // written and no stop is hit.
    const std::int32_t maxchars = static_cast<std::int32_t>(kHexBytes * 3);
    std::vector<char> dest(static_cast<std::size_t>(maxchars) + 1, '\x7f');

    orv_hex_to_ascii_str(dest.data(), maxchars, data.data(), static_cast<std::uint32_t>(data.size()),
                         compact);
    if (!hex_text_matches(dest.data(), data, compact == 1)) {
        state.SkipWithError("wrong hex text");
        return;
    }

    for (auto _ : state) {
        orv_hex_to_ascii_str(dest.data(), maxchars, data.data(),
                             static_cast<std::uint32_t>(data.size()), compact);
        benchmark::DoNotOptimize(dest.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kHexBytes));
}

// --- Names, ratios and the reporter ---------------------------------------

constexpr const char *kReadOrv = "read/orv_ascii_to_int32";
constexpr const char *kReadStrtol = "read/strtol+checks";
constexpr const char *kReadFromChars = "read/std::from_chars";
constexpr const char *kWriteOrv = "write/orv_int32_to_ascii";
constexpr const char *kWriteSnprintf = "write/snprintf";
constexpr const char *kWriteToChars = "write/std::to_chars";
constexpr const char *kHex = "hex/orv_hex_to_ascii_str";

void register_benchmarks()
{
    benchmark::RegisterBenchmark(kReadOrv, read_bench<orv_read>);
    benchmark::RegisterBenchmark(kReadStrtol, read_bench<strtol_read>);
    benchmark::RegisterBenchmark(kReadFromChars, read_bench<from_chars_read>);
    benchmark::RegisterBenchmark(kWriteOrv, write_bench<orv_write>);
    benchmark::RegisterBenchmark(kWriteSnprintf, write_bench<snprintf_write>);
    benchmark::RegisterBenchmark(kWriteToChars, write_bench<to_chars_write>);
    benchmark::RegisterBenchmark(kHex, hex_bench)->ArgName("compact")->Arg(1)->Arg(0);
}

using orv_bench::RatioReporter;

// Time ratio ours / theirs under the names without their group prefix.
void print_ratio(const RatioReporter &r, const char *ours, const char *theirs, double target)
{
    const std::string label = std::string("ratio ") + orv_bench::short_name(ours) + " / " +
                              orv_bench::short_name(theirs);
    orv_bench::print_ratio(r, label, ours, theirs, target, orv_bench::Better::Lower);
}

void print_throughput(const RatioReporter &r, const std::string &name)
{
    const double s = r.seconds(name);
    if (s <= 0.0)
        return;
    std::printf("throughput %s: %.0f MiB/s\n", name.c_str() + std::strlen("hex/"),
                static_cast<double>(kHexBytes) / s / (1024.0 * 1024.0));
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    register_benchmarks();

    RatioReporter reporter(orv_bench::console_options());
    orv_bench::run_benchmarks(reporter);
    print_ratio(reporter, kReadOrv, kReadStrtol, 1.00);
    print_ratio(reporter, kReadOrv, kReadFromChars, 0.0);
    print_ratio(reporter, kWriteOrv, kWriteToChars, 1.10);
    print_ratio(reporter, kWriteOrv, kWriteSnprintf, 0.0);
    print_throughput(reporter, std::string(kHex) + "/compact:1");
    print_throughput(reporter, std::string(kHex) + "/compact:0");

    return reporter.errored() ? 1 : 0;
}
