// INI lookup against the file work that no line-by-line reader goes below:
// orv_ini_get_string of the last key of the last section of a settings file
// of about 1 MB, so the whole file is scanned, against a bare fgets loop over
// the same file (open "rb", every line into a 512-byte buffer, close).
// Target: the lookup scans at least as fast (time ratio <= 1.00).
//
// The file is the same on every run: sections of varied keys, comments,
// blank lines, indented and quoted lines and comments behind values. It goes
// through the page cache, so the figures show CPU cost, not the disk.

#include "orv_bench.h"

#include <fstream>
#include <iterator>

#include "orvsys/orv_ini.h"

namespace {

constexpr std::size_t kFileBytes = 1024 * 1024;

struct IniFile {
    std::string path;
    std::size_t bytes = 0;
    std::size_t lines = 0;
    std::string section, key, value;  // the last key, the file's last line
};

std::string random_word(orv_bench::SplitMix64 &rng, std::size_t longest) {
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyz0123456789_./-";
    std::string word(1 + rng.below(longest), ' ');
    for (char &c : word) c = kChars[rng.below(sizeof kChars - 1)];
    return word;
}

// Written into the shared root on first use; an empty path if that failed.
const IniFile &ini_file() {
    static const IniFile file = [] {
        orv_bench::SplitMix64 rng(0x6F7276696E696265ull);
        static const char *const kSeparators[] = {"=", " = ", " =", ": ", "  =  "};
        IniFile f;
        std::string text = "; service settings\n\n";
        for (unsigned s = 0; text.size() < kFileBytes; ++s) {
            f.section = "section_" + std::to_string(s);
            text += "[" + f.section + "]\n";
            for (unsigned k = 0, keys = 6 + rng.below(15u); k < keys; ++k) {
                if (rng.below(5) == 0)
                    text += (rng.below(2) ? "; " : "# ") + random_word(rng, 60) + "\n";
                if (rng.below(12) == 0) text += "\n";
                f.key = "key_" + std::to_string(k);
                f.value = random_word(rng, 40);
                std::string written = f.value;
                if (k + 1 < keys && rng.below(4) == 0) {
                    written += " ; was " + random_word(rng, 12);
                } else if (k + 1 < keys && rng.below(4) == 0) {
                    f.value += ';' + random_word(rng, 8);
                    written.assign(1, '"').append(f.value).push_back('"');
                }
                text += (rng.below(8) == 0 ? "\t" : "") + f.key +
                        kSeparators[rng.below(std::size(kSeparators))] + written + "\n";
            }
        }
        f.bytes = text.size();
        for (char c : text) f.lines += c == '\n';
        f.path = orv_bench::root() + "/run/lookup.ini";
        if (!(std::ofstream(f.path, std::ios::binary) << text)) f.path.clear();
        return f;
    }();
    return file;
}

[[gnu::noinline]] std::size_t fgets_lines(const char *path) {
    FILE *fp = std::fopen(path, "rb");
    if (fp == nullptr) return 0;
    char line[512];
    std::size_t lines = 0;
    while (std::fgets(line, sizeof line, fp) != nullptr) ++lines;
    std::fclose(fp);
    return lines;
}

void fgets_bench(benchmark::State &state) {
    const IniFile &f = ini_file();
    if (f.path.empty() || fgets_lines(f.path.c_str()) != f.lines)
        return state.SkipWithError("the fgets loop did not see every line");
    for (auto _ : state) benchmark::DoNotOptimize(fgets_lines(f.path.c_str()));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.bytes));
}

void lookup_bench(benchmark::State &state) {
    const IniFile &f = ini_file();
    char value[512] = "";
    const auto lookup = [&] {
        return orv_ini_get_string(f.section.c_str(), f.key.c_str(), "(absent)", value, sizeof value,
                                  f.path.c_str());
    };
    if (f.path.empty() || lookup() != static_cast<int32_t>(f.value.size()) || f.value != value)
        return state.SkipWithError(("lookup of [" + f.section + "] " + f.key + " gave \"" + value +
                                    "\", not \"" + f.value + "\"")
                                       .c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(lookup());
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.bytes));
}

BENCHMARK(lookup_bench)->Name("ini/lookup/orv_ini_get_string")->UseRealTime();
BENCHMARK(fgets_bench)->Name("ini/lookup/fgets_loop")->UseRealTime();

const bool kCompared =
    orv_bench::compare({"time ini lookup orv / fgets loop", "ini/lookup/orv_ini_get_string",
                        "ini/lookup/fgets_loop", 1.00, orv_bench::Better::Lower});

}  // namespace
