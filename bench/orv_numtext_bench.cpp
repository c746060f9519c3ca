// Number text against the C library and <charconv>, on 1024 decimal texts of
// 1 to 10 digits in equal shares, about half negative, with the int32 limits
// and 0. The competitors sit behind an out-of-line call each, as orvsys's
// own entry points do, so the ratios compare the work and not inlining.
//   read   orv_ascii_to_int32 against strtol with the checks a careful caller
//          writes for the same strict answer: no slower (ratio <= 1.00)
//   write  orv_int32_to_ascii against std::to_chars: within 10 %

#include "orv_bench.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <vector>

#include "orvsys/orv_numtext.h"

namespace {

constexpr std::size_t kTextCount = 1024;
constexpr std::size_t kSlot = 12;  // "-2147483648" and its terminator

struct DecimalSet {
    std::vector<std::int32_t> values;
    std::vector<std::string> texts;
};

const DecimalSet &decimal_set() {
    static const DecimalSet set = [] {
        DecimalSet s;
        orv_bench::SplitMix64 rng(0x6F72766E756D7478ull);
        s.values = {INT32_MIN, INT32_MAX, 0};
        while (s.values.size() < kTextCount) {
            std::int64_t low = 1;  // 10^digits, then 10^(digits - 1)
            for (unsigned i = 0, digits = 1 + rng.below(10u); i < digits; ++i) low *= 10;
            const std::int64_t high = std::min<std::int64_t>(low, std::int64_t{INT32_MAX} + 1);
            low /= 10;
            const std::int64_t magnitude = low + rng.below(high - low);
            s.values.push_back(static_cast<std::int32_t>(rng.below(2) ? -magnitude : magnitude));
        }
        for (std::int32_t v : s.values) s.texts.push_back(std::to_string(v));
        return s;
    }();
    return set;
}

bool orv_read(const char *text, std::int32_t *out) { return orv_ascii_to_int32(text, out) == 1; }

// A number was found, no range error, nothing but blanks after it, and the
// value fits 32 bits even where long is wider.
[[gnu::noinline]] bool strtol_read(const char *text, std::int32_t *out) {
    char *end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, 10);
    if (end == text || errno != 0 || v < INT32_MIN || v > INT32_MAX) return false;
    for (const char *p = end; *p != '\0'; ++p)
        if (!std::isspace(static_cast<unsigned char>(*p))) return false;
    *out = static_cast<std::int32_t>(v);
    return true;
}

template <bool (*Read)(const char *, std::int32_t *)>
void read_bench(benchmark::State &state) {
    const DecimalSet &s = decimal_set();
    for (std::size_t i = 0; i < kTextCount; ++i) {
        std::int32_t v = 0;
        if (!Read(s.texts[i].c_str(), &v) || v != s.values[i])
            return state.SkipWithError(("wrong result for \"" + s.texts[i] + "\"").c_str());
    }
    for (auto _ : state) {
        for (const std::string &text : s.texts) {
            std::int32_t v = 0;
            const bool ok = Read(text.c_str(), &v);
            benchmark::DoNotOptimize(ok);
            benchmark::DoNotOptimize(v);
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kTextCount));
}

char *orv_write(std::int32_t v, char *dest) { return orv_int32_to_ascii(v, dest); }

// Leaves a zero-ended text, as orv_int32_to_ascii does.
[[gnu::noinline]] char *to_chars_write(std::int32_t v, char *dest) {
    *std::to_chars(dest, dest + kSlot - 1, v).ptr = '\0';
    return dest;
}

template <char *(*Write)(std::int32_t, char *)>
void write_bench(benchmark::State &state) {
    const DecimalSet &s = decimal_set();
    std::vector<char> out(kTextCount * kSlot, '\x7f');
    for (std::size_t i = 0; i < kTextCount; ++i) {
        char *dest = out.data() + i * kSlot;
        Write(s.values[i], dest);
        if (s.texts[i] != dest)
            return state.SkipWithError(("wrong text for " + s.texts[i]).c_str());
    }
    for (auto _ : state) {
        for (std::size_t i = 0; i < kTextCount; ++i)
            benchmark::DoNotOptimize(Write(s.values[i], out.data() + i * kSlot));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kTextCount));
}

BENCHMARK(read_bench<orv_read>)->Name("numtext/read/orv_ascii_to_int32");
BENCHMARK(read_bench<strtol_read>)->Name("numtext/read/strtol+checks");
BENCHMARK(write_bench<orv_write>)->Name("numtext/write/orv_int32_to_ascii");
BENCHMARK(write_bench<to_chars_write>)->Name("numtext/write/std::to_chars");

using orv_bench::Better;
const bool kCompared =
    orv_bench::compare({"time numtext read orv / strtol+checks", "numtext/read/orv_ascii_to_int32",
                        "numtext/read/strtol+checks", 1.00, Better::Lower}) &&
    orv_bench::compare({"time numtext write orv / std::to_chars",
                        "numtext/write/orv_int32_to_ascii", "numtext/write/std::to_chars", 1.10,
                        Better::Lower});

}  // namespace
