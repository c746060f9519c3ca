// INI files: lookup and rewrite of a settings file of about 1 MB against the
// plain file work that no line-by-line reader or file copier goes below:
//   lookup   orv_ini_get_string of the last key of the last section, so the
//            whole file is scanned, against a bare fgets loop over the same
//            file (open "rb", every line into a 512-byte buffer, close).
//   rewrite  orv_ini_put_string of a key in the middle of the file, switching
//            between two values so that every call really rewrites, against
//            cp of the same file (the command, as a service would run it).
//            For information also against the bare copy underneath: an
//            in-process copy in 128 KiB blocks into a new file, as the
//            rewrite makes a new file, and one onto the existing target,
//            truncating it. A line-by-line rewrite cannot come near the bare
//            block copy: the fgets pass alone costs several times as much.
//
// The file is the same on every run (SplitMix64 from a fixed start) and is
// made in a fresh temporary directory, removed at the end: sections of
// varied keys, comments, blank lines, indented and quoted lines, and
// comments behind values. Every competitor is checked before it is timed:
// the lookup must give the key's value, the fgets loop must see every line,
// the copy must reproduce the file, and the rewrite must leave exactly the
// old file with the one line replaced, read back by orv_ini_get_string.
//
// After the run the time ratios (real time, lower is faster) are printed
// with their targets:
//   lookup / fgets loop     at most 1.00: the lookup scans at least as fast,
//   rewrite / cp            at most 2.50 (cp through system(), fork and
//                           exec included, best of a few runs),
// together with the scan speeds and the ratios to the bare copies. The program exits 0
// whether or not a target is met; only a benchmark that errored, or a setup
// that failed, makes it exit 1.
//
// Everything goes through the page cache, and the files are replaced or
// removed long before they would be written back: the figures show the CPU
// cost of the work, not the speed of the disk (except for the truncating
// copy, see copy_to_new_file). The directory is made in $TMPDIR, else /tmp,
// so the file system there is the one measured.
//
// Run: orv_ini_bench [--benchmark_repetitions=N ...]; with repetitions the
// ratios use the medians.

#include <benchmark/benchmark.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "orv_bench_files.h"
#include "orv_bench_report.h"
#include "orv_bench_rng.h"
#include "orvsys/orv_ini.h"

namespace {

constexpr std::size_t kFileBytes = 1024 * 1024;  // generation stops here
constexpr int kLineSize = 512;                   // the line buffer of the fgets loop
constexpr std::size_t kCopyBlock = 128 * 1024;   // cp's block size on most systems
constexpr int kValueSize = 512;                  // buffer for values read back
constexpr int kCpRuns = 5;                       // system("cp") runs, best one shown

// The two values the rewrite switches between; of equal length, so the file
// keeps its size from one call to the next.
constexpr const char *kPutValues[2] = {"rewritten-value-a", "rewritten-value-b"};

// --- The file --------------------------------------------------------------

struct KeyRef {
    std::string section;
    std::string key;
    std::string value;      // as orv_ini_get_string gives it back
    std::size_t offset = 0; // of its line in the text
    std::size_t length = 0; // of its line, line feed included
};

struct IniText {
    std::string text;
    std::size_t lines = 0;
    KeyRef last;   // the last key of the last section, the file's last line
    KeyRef middle; // a key in the middle of the middle section
};

const char *const kSectionStems[] = {"network", "logging", "storage", "modem", "display",
                                     "watchdog", "serial", "power", "timers", "update"};
const char *const kKeyStems[] = {"timeout_ms", "retries", "path", "level", "port", "name",
                                 "mode", "limit", "interval", "enabled", "address", "format"};
const char *const kCommentWords[] = {"the", "default", "is", "used", "when", "unset", "see",
                                     "manual", "units", "seconds", "bytes", "restart", "needed"};

// A value without blanks, quotes, separators or comment marks.
std::string random_word(SplitMix64 &rng, std::size_t min_length, std::size_t max_length)
{
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyz0123456789_./-";
    const std::size_t length = min_length + rng.below(max_length - min_length + 1);
    std::string word;
    for (std::size_t i = 0; i < length; ++i)
        word += kChars[rng.below(sizeof kChars - 1)];
    return word;
}

std::string random_comment(SplitMix64 &rng)
{
    std::string text = rng.below(2) ? ";" : "#";
    const unsigned words = 2 + rng.below(10u);
    for (unsigned i = 0; i < words; ++i) {
        text += ' ';
        text += kCommentWords[rng.below(std::size(kCommentWords))];
    }
    return text + "\n";
}

// One key line in one of the forms a hand-edited file has, and the value a
// lookup gives back for it.
std::string random_key_line(SplitMix64 &rng, const std::string &key, std::string *value)
{
    std::string word = random_word(rng, 1, 40);
    std::string written = word;
    switch (rng.below(5)) {
    case 0: // a comment behind the value
        written += rng.below(2) ? " ; was " : "  # ";
        written += random_word(rng, 1, 12);
        break;
    case 1: // quoted, a comment mark inside the quotes
        word += ';';
        word += random_word(rng, 1, 8);
        written.assign(1, '"').append(word).push_back('"');
        break;
    default:
        break;
    }
    *value = word;
    static const char *const kSeparators[] = {"=", " = ", " =", ": ", "  =  "};
    const char *indent = rng.below(8) == 0 ? "\t" : (rng.below(8) == 0 ? "  " : "");
    return indent + key + kSeparators[rng.below(std::size(kSeparators))] + written + "\n";
}

IniText make_ini_text()
{
    SplitMix64 rng(0x6F7276696E696265ull);
    IniText ini;
    std::vector<KeyRef> middles; // the middle key of every section
    ini.text = "; service settings, generated for the benchmark\n\n";
    for (std::size_t s = 0; ini.text.size() < kFileBytes; ++s) {
        if (rng.below(3) == 0)
            ini.text += random_comment(rng);
        char name[48];
        const char *stem = kSectionStems[rng.below(std::size(kSectionStems))];
        std::snprintf(name, sizeof name, "%s_%04zu", stem, s);
        ini.text += std::string("[") + name + "]\n";
        const unsigned keys = 6 + rng.below(15u);
        for (unsigned k = 0; k < keys; ++k) {
            if (rng.below(5) == 0)
                ini.text += random_comment(rng);
            if (rng.below(12) == 0)
                ini.text += "\n";
            char key[48];
            std::snprintf(key, sizeof key, "%s_%u", kKeyStems[rng.below(std::size(kKeyStems))], k);
            KeyRef ref{name, key, {}, ini.text.size(), 0};
            ini.text += random_key_line(rng, key, &ref.value);
            ref.length = ini.text.size() - ref.offset;
            if (k == keys / 2)
                middles.push_back(ref);
            ini.last = ref;
        }
        ini.text += "\n";
    }
    // The file ends with the last key's line, so a lookup of it reads all.
    ini.text.resize(ini.last.offset + ini.last.length);
    ini.middle = middles[middles.size() / 2];
    for (char c : ini.text)
        ini.lines += c == '\n';
    return ini;
}

// --- Files and the temporary directory -------------------------------------

struct Paths {
    std::string dir;
    std::string lookup;  // read only
    std::string rewrite; // changed by orv_ini_put_string
    std::string copy;    // target of the in-process copy
    std::string cp;      // target of the cp command
};

Paths g_paths;
IniText g_ini;

using orv_bench::read_file;
using orv_bench::write_file;

bool make_files()
{
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                          "/orv_ini_bench.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::fprintf(stderr, "mkdtemp %s: %s\n", pattern.c_str(), std::strerror(errno));
        return false;
    }
    g_paths.dir = pattern;
    g_paths.lookup = pattern + "/lookup.ini";
    g_paths.rewrite = pattern + "/rewrite.ini";
    g_paths.copy = pattern + "/copy.ini";
    g_paths.cp = pattern + "/cp.ini";
    g_ini = make_ini_text();
    if (!write_file(g_paths.lookup, g_ini.text) || !write_file(g_paths.rewrite, g_ini.text)) {
        std::fprintf(stderr, "writing the INI files in %s failed\n", pattern.c_str());
        return false;
    }
    return true;
}

void remove_files()
{
    if (g_paths.dir.empty())
        return;
    std::string temporary = g_paths.rewrite;
    temporary.back() = '~'; // left behind only by a failed rewrite
    for (const std::string *path : {&g_paths.lookup, &g_paths.rewrite, &g_paths.copy, &g_paths.cp,
                                    &temporary})
        unlink(path->c_str());
    if (rmdir(g_paths.dir.c_str()) != 0)
        std::fprintf(stderr, "rmdir %s: %s\n", g_paths.dir.c_str(), std::strerror(errno));
}

// --- Lookup ------------------------------------------------------------------

[[gnu::noinline]] std::size_t fgets_lines(const char *path)
{
    FILE *fp = std::fopen(path, "rb");
    if (fp == nullptr)
        return 0;
    char line[kLineSize];
    std::size_t lines = 0;
    while (std::fgets(line, sizeof line, fp) != nullptr)
        ++lines;
    std::fclose(fp);
    return lines;
}

void fgets_bench(benchmark::State &state)
{
    const char *path = g_paths.lookup.c_str();
    if (fgets_lines(path) != g_ini.lines) {
        state.SkipWithError("the fgets loop did not see every line");
        return;
    }
    for (auto _ : state) {
        const std::size_t lines = fgets_lines(path);
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * g_ini.text.size()));
}

void lookup_bench(benchmark::State &state)
{
    const KeyRef &ref = g_ini.last;
    const char *path = g_paths.lookup.c_str();
    char value[kValueSize];
    const int32_t length = orv_ini_get_string(ref.section.c_str(), ref.key.c_str(), "(absent)",
                                              value, sizeof value, path);
    if (ref.value != value || static_cast<std::size_t>(length) != ref.value.size()) {
        const std::string msg = "lookup of [" + ref.section + "] " + ref.key + " gave \"" + value +
                                "\", not \"" + ref.value + "\"";
        state.SkipWithError(msg.c_str());
        return;
    }
    for (auto _ : state) {
        const int32_t n = orv_ini_get_string(ref.section.c_str(), ref.key.c_str(), "(absent)",
                                             value, sizeof value, path);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * g_ini.text.size()));
}

// --- Rewrite -----------------------------------------------------------------

// What cp does for a regular file: open both, move the bytes in large
// blocks through one buffer, close both.
[[gnu::noinline]] bool copy_file(const char *from, const char *to, int flags,
                                 std::vector<char> &block)
{
    const int in = open(from, O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return false;
    const int out = open(to, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    if (out < 0) {
        close(in);
        return false;
    }
    bool ok = true;
    for (;;) {
        const ssize_t n = read(in, block.data(), block.size());
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        for (ssize_t done = 0; ok && done < n;) {
            const ssize_t w = write(out, block.data() + done, static_cast<std::size_t>(n - done));
            ok = w > 0;
            done += w;
        }
        if (!ok)
            break;
    }
    close(in);
    return close(out) == 0 && ok;
}

// The copy the rewrite is measured against makes a new file each time, as
// the rewrite does: the previous copy is removed first, as the rewrite
// removes the old file. cp onto an existing file truncates it instead;
// some file systems then start writing the new data back at the close and
// make the next truncation wait for the disk, which that variant, kept for
// information, shows as real time well above CPU time.
[[gnu::noinline]] bool copy_to_new_file(const char *from, const char *to, std::vector<char> &block)
{
    if (unlink(to) != 0 && errno != ENOENT)
        return false;
    return copy_file(from, to, O_EXCL, block);
}

[[gnu::noinline]] bool copy_onto_existing(const char *from, const char *to,
                                          std::vector<char> &block)
{
    return copy_file(from, to, O_TRUNC, block);
}

template <bool (*Copy)(const char *, const char *, std::vector<char> &)>
void copy_bench(benchmark::State &state)
{
    std::vector<char> block(kCopyBlock);
    std::string copied;
    if (!Copy(g_paths.lookup.c_str(), g_paths.copy.c_str(), block) ||
        !read_file(g_paths.copy, &copied) || copied != g_ini.text) {
        state.SkipWithError("the copy differs from the file");
        return;
    }
    for (auto _ : state) {
        if (!Copy(g_paths.lookup.c_str(), g_paths.copy.c_str(), block)) {
            state.SkipWithError("copy failed");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * g_ini.text.size()));
}

// The generated text with the middle key's line as the rewrite writes it.
std::string rewritten_text(const char *value)
{
    const KeyRef &ref = g_ini.middle;
    return g_ini.text.substr(0, ref.offset) + ref.key + "=" + value + "\n" +
           g_ini.text.substr(ref.offset + ref.length);
}

// Sets the middle key to value and checks that the file is the old one with
// that line replaced and that a lookup reads the value back.
bool put_checked(const char *value, std::string *error)
{
    const KeyRef &ref = g_ini.middle;
    const char *path = g_paths.rewrite.c_str();
    if (orv_ini_put_string(ref.section.c_str(), ref.key.c_str(), value, path) != 1) {
        *error = std::string("orv_ini_put_string of \"") + value + "\" failed";
        return false;
    }
    std::string text;
    if (!read_file(g_paths.rewrite, &text) || text != rewritten_text(value)) {
        *error = std::string("the file after setting \"") + value +
                 "\" is not the old one with the key's line replaced";
        return false;
    }
    char back[kValueSize];
    orv_ini_get_string(ref.section.c_str(), ref.key.c_str(), "(absent)", back, sizeof back, path);
    if (std::strcmp(back, value) != 0) {
        *error = std::string("after setting \"") + value + "\" the lookup gave \"" + back + "\"";
        return false;
    }
    return true;
}

void rewrite_bench(benchmark::State &state)
{
    const KeyRef &ref = g_ini.middle;
    const char *path = g_paths.rewrite.c_str();
    std::string error;
    if (!put_checked(kPutValues[0], &error) || !put_checked(kPutValues[1], &error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    const std::size_t size = rewritten_text(kPutValues[1]).size();

    // The file holds the second value, so the first call sets the first one.
    unsigned next = 0;
    for (auto _ : state) {
        if (orv_ini_put_string(ref.section.c_str(), ref.key.c_str(), kPutValues[next], path) != 1) {
            state.SkipWithError("orv_ini_put_string failed");
            break;
        }
        next ^= 1;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

// --- cp through the shell, for information -----------------------------------

// Best of a few runs of system("cp ..."), in seconds; negative when the
// command failed or the paths cannot be quoted simply.
double time_cp_command()
{
    if (g_paths.dir.find('\'') != std::string::npos)
        return -1.0;
    const std::string command = "cp '" + g_paths.lookup + "' '" + g_paths.cp + "'";
    double best = -1.0;
    for (int i = 0; i < kCpRuns; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const int status = std::system(command.c_str());
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        if (status != 0)
            return -1.0;
        if (best < 0.0 || took.count() < best)
            best = took.count();
    }
    std::string copied;
    if (!read_file(g_paths.cp, &copied) || copied != g_ini.text)
        return -1.0;
    return best;
}

// --- Names, ratios and the reporter ------------------------------------------

constexpr const char *kLookupOrv = "lookup/orv_ini_get_string";
constexpr const char *kLookupFgets = "lookup/fgets_loop";
constexpr const char *kRewriteOrv = "rewrite/orv_ini_put_string";
constexpr const char *kRewriteCopy = "rewrite/copy_to_new_file";
constexpr const char *kRewriteCopyOnto = "rewrite/copy_onto_existing";

constexpr double kLookupTarget = 1.00;  // time lookup / fgets loop, at most
constexpr double kRewriteTarget = 2.50; // time rewrite / cp, at most

// File work can wait for the disk: each benchmark runs and is reported on
// real time, and the reporter knows it under the name with this suffix.
std::string run_name(const char *name)
{
    return std::string(name) + "/real_time";
}

void register_benchmarks()
{
    benchmark::RegisterBenchmark(kLookupOrv, lookup_bench)->UseRealTime();
    benchmark::RegisterBenchmark(kLookupFgets, fgets_bench)->UseRealTime();
    benchmark::RegisterBenchmark(kRewriteOrv, rewrite_bench)->UseRealTime();
    benchmark::RegisterBenchmark(kRewriteCopy, copy_bench<copy_to_new_file>)->UseRealTime();
    benchmark::RegisterBenchmark(kRewriteCopyOnto, copy_bench<copy_onto_existing>)->UseRealTime();
}

using orv_bench::RatioReporter;

void print_ratio(const RatioReporter &r, const char *ours, const char *theirs, double target)
{
    const std::string label = std::string("time ratio ") + ours + " / " +
                              orv_bench::short_name(theirs);
    orv_bench::print_ratio(r, label, run_name(ours).c_str(), run_name(theirs).c_str(), target,
                           orv_bench::Better::Lower);
}

void print_throughput(const RatioReporter &r, const char *name)
{
    const double s = r.seconds(run_name(name));
    if (s <= 0.0)
        return;
    std::printf("scan speed %s: %.0f MiB/s (%.3f ms per call)\n", name,
                static_cast<double>(g_ini.text.size()) / s / (1024.0 * 1024.0), s * 1e3);
}

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (!make_files()) {
        remove_files();
        return 1;
    }
    std::printf("INI file: %zu bytes, %zu lines; lookup [%s] %s, rewrite [%s] %s\n",
                g_ini.text.size(), g_ini.lines, g_ini.last.section.c_str(),
                g_ini.last.key.c_str(), g_ini.middle.section.c_str(), g_ini.middle.key.c_str());
    std::fflush(stdout);
    register_benchmarks();

    RatioReporter reporter(orv_bench::console_options());
    orv_bench::run_benchmarks(reporter);
    print_ratio(reporter, kLookupOrv, kLookupFgets, kLookupTarget);
    print_ratio(reporter, kRewriteOrv, kRewriteCopy, 0.0);
    print_ratio(reporter, kRewriteOrv, kRewriteCopyOnto, 0.0);
    if (reporter.disturbed(run_name(kRewriteCopyOnto)))
        std::printf("  (the truncating copy waits for the disk by itself: its real time above\n"
                    "   CPU time is not a sign of a busy machine)\n");
    print_throughput(reporter, kLookupOrv);
    print_throughput(reporter, kLookupFgets);
    const double cp = time_cp_command();
    const double rewrite = reporter.seconds(run_name(kRewriteOrv));
    if (cp > 0.0 && rewrite > 0.0) {
        const double ratio = rewrite / cp;
        std::printf("time ratio %s / cp: %.2f (target <= %.2f) %s\n", kRewriteOrv, ratio,
                    kRewriteTarget, ratio <= kRewriteTarget ? "met" : "MISSED");
        std::printf("system(\"cp\"), fork and exec included: %.3f ms, best of %d\n", cp * 1e3,
                    kCpRuns);
    } else {
        std::printf("system(\"cp\"): n/a (the command failed or did not copy the file)\n");
    }

    remove_files();
    return reporter.errored() ? 1 : 0;
}
