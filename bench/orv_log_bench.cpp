// Log calls: orv_log_info as a service makes it, against the plain C
// library writing the same line to a file it keeps open:
//   info/ring+console       "SaveSysInfo=0": the entry goes to the ring and
//                           the console only.
//   info/ring+console+file  "SaveSysInfo=1": also appended to the numbered
//                           file, which the log opens, examines, writes and
//                           closes on every call. "MaxFileSize=1" with
//                           "MaxFileCount=2" lets it rotate through two files
//                           of 1 MiB: the disk use stays bounded and the
//                           rotations are part of the time.
//   info/fprintf            the caller's own line: gettimeofday, localtime_r
//                           and one fprintf of
//                           "[YYYY-MM-DD hh:mm:ss.mmm(inf)]text\r\n" to a
//                           FILE* opened once, rewound every 1 MiB.
// All three format the same message from the same 256 argument sets.
//
// The console is stdout on /dev/null while the benchmarks run, so it is
// fully buffered, as for a service started with its output discarded; the
// table goes to the original stdout through a stream of its own.
//
// The log takes its root from the running executable (the directory above
// the executable's directory) and its settings from <root>/ini/orv.ini. So
// the program first lays out a tree in a new directory under $TMPDIR, else
// /tmp -- bin/ with a copy of itself, ini/orv.ini, run/log/ -- runs that
// copy, waits for it and removes the tree. The copy writes the settings
// afresh before each log benchmark starts the log.
//
// Before timing, each log benchmark logs one entry and checks it in the
// ring, on the console (stdout caught in a file for that one call) and in
// the numbered file, or, with the file output off, that no file was made;
// the fprintf line is read back likewise. A failed check errors the
// benchmark, and the program then exits 1.
//
// After the run: entries per second of ring+console with its target of at
// least 1 M on one thread, and the time ratios of both log benchmarks to
// the fprintf line, for information. The program exits 0 whether or not the
// target is met.
//
// Run: orv_log_bench [--benchmark_repetitions=N ...]; with repetitions the
// figures use the medians.

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <ftw.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "orv_bench_files.h"
#include "orv_bench_report.h"
#include "orv_bench_rng.h"
#include "orvsys/orv_log.h"
#include "orvsys/orv_path.h"

// The message of every timed line; a macro so that the fprintf side can
// join it to its time stamp in one literal format.
#define LINK_MESSAGE_FORMAT "link %d: sent %u frames, queue %d, last %ld us"

namespace {

constexpr char kProgram[] = "orv_log_bench";
// First argument of the copy inside the tree, followed by the root.
constexpr char kRootMarker[] = "--orv-log-bench-root=";
constexpr char kLogName[] = "bench";
constexpr int kFileCount = 2;
constexpr int kFileSizeMiB = 1;
constexpr long kWrapBytes = kFileSizeMiB * 1048576L;
// The log cuts its paths at 127 characters; the longest it forms here is
// the root and "/run/log/bench_2.txt".
constexpr std::size_t kRootLengthMax = 96;
constexpr std::size_t kArgCount = 256; // a power of two: picked by mask
// Room for any int fields, not only those of a real clock.
constexpr int kTimeTextSize = 80;
constexpr int kMessageSize = 128;
constexpr int kTmYearBase = 1900;
constexpr long kMicrosPerMilli = 1000;
constexpr std::size_t kCopyBlock = 64 * 1024;
constexpr int kTreeDepthFds = 16;

constexpr double kEntriesTarget = 1e6; // ring+console entries/s, at least

struct MessageArgs {
    int link;
    unsigned frames;
    int queue;
    long micros;
};

const std::vector<MessageArgs> &message_args()
{
    static const std::vector<MessageArgs> args = [] {
        std::vector<MessageArgs> v;
        SplitMix64 rng(0x6F72766C6F676231ull);
        while (v.size() < kArgCount)
            v.push_back({rng.below(16), rng.below(1000000u), rng.below(256),
                         rng.below(100000L)});
        return v;
    }();
    return args;
}

std::string format_message(const MessageArgs &a)
{
    char text[kMessageSize];
    std::snprintf(text, sizeof text, LINK_MESSAGE_FORMAT, a.link, a.frames, a.queue, a.micros);
    return text;
}

// --- The tree ----------------------------------------------------------------

struct Tree {
    std::string root;
    int devnull = -1; // stdout during the run
};

Tree g_tree;

std::string in_root(const char *relative) { return g_tree.root + "/" + relative; }

std::string numbered_file(int n)
{
    return in_root("run/log/") + kLogName + "_" + std::to_string(n) + ".txt";
}

using orv_bench::read_file;
using orv_bench::write_file;

bool write_settings(bool save_info)
{
    const std::string text = std::string("[LOG]\n") + "SaveSysInfo=" + (save_info ? "1" : "0") +
                             "\nMaxFileCount=" + std::to_string(kFileCount) +
                             "\nMaxFileSize=" + std::to_string(kFileSizeMiB) + "\n";
    return write_file(in_root("ini/orv.ini"), text);
}

bool copy_executable(const std::string &to)
{
    const int in = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return false;
    const int out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0755);
    if (out < 0) {
        close(in);
        return false;
    }
    std::vector<char> block(kCopyBlock);
    bool ok = true;
    for (;;) {
        const ssize_t n = read(in, block.data(), block.size());
        if (n == 0)
            break;
        if (n < 0 || write(out, block.data(), static_cast<std::size_t>(n)) != n) {
            ok = false;
            break;
        }
    }
    close(in);
    return close(out) == 0 && ok;
}

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    if (remove(path) != 0)
        std::fprintf(stderr, "remove %s: %s\n", path, std::strerror(errno));
    return 0;
}

void remove_tree(const std::string &root)
{
    nftw(root.c_str(), remove_entry, kTreeDepthFds, FTW_DEPTH | FTW_PHYS);
}

// Lays out the tree, runs the copy in it with the marker and the caller's
// arguments, waits for it and removes the tree; the copy's exit code.
int run_in_tree(int argc, char **argv)
{
    const char *tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") +
                          "/orv_log_bench.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::fprintf(stderr, "mkdtemp %s: %s\n", pattern.c_str(), std::strerror(errno));
        return 1;
    }
    // The root as the executable's resolved path will give it.
    char resolved[PATH_MAX];
    g_tree.root = realpath(pattern.c_str(), resolved) != nullptr ? resolved : pattern;
    if (g_tree.root.size() > kRootLengthMax) {
        std::fprintf(stderr, "%s: path too long for the log's paths; set TMPDIR shorter\n",
                     g_tree.root.c_str());
        remove_tree(g_tree.root);
        return 1;
    }
    const std::string copy = in_root("bin/") + kProgram;
    bool ok = true;
    for (const char *dir : {"bin", "ini", "run", "run/log"})
        ok = ok && mkdir(in_root(dir).c_str(), 0755) == 0;
    ok = ok && copy_executable(copy) && write_settings(false);
    if (!ok) {
        std::fprintf(stderr, "laying out %s failed: %s\n", g_tree.root.c_str(),
                     std::strerror(errno));
        remove_tree(g_tree.root);
        return 1;
    }

    const std::string marker = kRootMarker + g_tree.root;
    std::vector<char *> args = {const_cast<char *>(copy.c_str()),
                                const_cast<char *>(marker.c_str())};
    for (int i = 1; i < argc; ++i)
        args.push_back(argv[i]);
    args.push_back(nullptr);

    const pid_t child = fork();
    if (child == 0) {
        execv(copy.c_str(), args.data());
        std::fprintf(stderr, "execv %s: %s\n", copy.c_str(), std::strerror(errno));
        _exit(127);
    }
    int code = 1;
    if (child < 0) {
        std::fprintf(stderr, "fork: %s\n", std::strerror(errno));
    } else {
        // A ^C reaches the copy too; the tree is removed once it has gone.
        signal(SIGINT, SIG_IGN);
        signal(SIGQUIT, SIG_IGN);
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        code = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
        if (WIFSIGNALED(status))
            std::fprintf(stderr, "%s ended by signal %d\n", kProgram, WTERMSIG(status));
    }
    remove_tree(g_tree.root);
    return code;
}

// --- Checks before timing ------------------------------------------------------

std::string time_text(int year, int month, int day, int hour, int minute, int second,
                      int millisecond)
{
    char text[kTimeTextSize];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", year, month, day,
                  hour, minute, second, millisecond);
    return text;
}

std::string time_text(const orv_datetime_t &t)
{
    return time_text(t.year, t.month, t.day, t.hour, t.minute, t.second, t.millisecond);
}

// The line the numbered file gets for an info entry.
std::string file_line(const std::string &stamp, const std::string &message)
{
    std::string line("[");
    line += stamp;
    line += "(inf)]";
    line += message;
    line += "\r\n";
    return line;
}

// Runs log_once with stdout caught in a file; what it printed, or false when
// the file could not be had.
template <class Log>
bool catch_console(Log log_once, std::string *printed)
{
    const std::string path = in_root("run/console.txt");
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    std::fflush(stdout);
    dup2(fd, STDOUT_FILENO);
    log_once();
    std::fflush(stdout);
    dup2(g_tree.devnull, STDOUT_FILENO);
    close(fd);
    const bool read = read_file(path, printed);
    unlink(path.c_str());
    return read;
}

void remove_log_files()
{
    for (int n = 1; n <= kFileCount; ++n)
        unlink(numbered_file(n).c_str());
}

// Starts the log afresh with the settings and checks one entry through the
// ring, the console and the file (or that no file is made); empty when all
// is well, else what went wrong.
std::string start_and_check_log(bool save_info)
{
    orv_log_uninit();
    remove_log_files();
    if (!write_settings(save_info))
        return "cannot write the settings";
    if (orv_log_init(kLogName) != 1)
        return "orv_log_init failed";

    const MessageArgs &a = message_args()[0];
    const std::string message = format_message(a);
    int32_t cursor = 0;
    orv_log_sync(&cursor);
    std::string console;
    if (!catch_console([&] { orv_log_info(LINK_MESSAGE_FORMAT, a.link, a.frames, a.queue, a.micros); },
                       &console))
        return "cannot catch the console";

    if (orv_log_count(cursor) != 1)
        return "the entry is not in the ring";
    const orv_log_entry_t *entry = orv_log_get(&cursor);
    if (entry == nullptr || entry->level != ORV_LOG_INFO || entry->ext != -1 ||
        message != entry->message)
        return "wrong entry in the ring";
    const std::string stamp = time_text(entry->time);
    if (console != "\033[37;40;1m[" + stamp + "]" + message + "\033[0m\r\n")
        return "wrong console line: \"" + console + "\"";

    std::string file;
    const bool file_made = read_file(numbered_file(1), &file);
    if (save_info) {
        if (!file_made)
            return "no log file " + numbered_file(1);
        if (file != file_line(stamp, message))
            return "wrong log file text: \"" + file + "\"";
    } else if (file_made) {
        return "a log file was made with \"SaveSysInfo=0\"";
    }
    return {};
}

// --- The benchmarks ------------------------------------------------------------

template <bool SaveInfo>
void log_bench(benchmark::State &state)
{
    const std::string error = start_and_check_log(SaveInfo);
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        orv_log_uninit();
        return;
    }
    const std::vector<MessageArgs> &args = message_args();
    std::size_t i = 0;
    for (auto _ : state) {
        const MessageArgs &a = args[i++ & (kArgCount - 1)];
        orv_log_info(LINK_MESSAGE_FORMAT, a.link, a.frames, a.queue, a.micros);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
    orv_log_uninit();
    remove_log_files();
}

// The caller's own line: the local time with milliseconds and one fprintf.
// The broken-down time and the milliseconds are left in *tm and *ms for the
// check. The number of bytes written, or below 0 on an error.
[[gnu::noinline]] int fprintf_line(FILE *fp, const MessageArgs &a, struct tm *tm, int *ms)
{
    struct timeval now;
    gettimeofday(&now, nullptr);
    localtime_r(&now.tv_sec, tm);
    *ms = static_cast<int>(now.tv_usec / kMicrosPerMilli);
    return std::fprintf(fp, "[%04d-%02d-%02d %02d:%02d:%02d.%03d(inf)]" LINK_MESSAGE_FORMAT "\r\n",
                        tm->tm_year + kTmYearBase, tm->tm_mon + 1, tm->tm_mday, tm->tm_hour,
                        tm->tm_min, tm->tm_sec, *ms, a.link, a.frames, a.queue, a.micros);
}

std::string check_fprintf_line(FILE *fp, const std::string &path)
{
    const MessageArgs &a = message_args()[0];
    struct tm tm;
    int ms = 0;
    if (fprintf_line(fp, a, &tm, &ms) < 0 || std::fflush(fp) != 0)
        return "fprintf failed";
    std::string file;
    if (!read_file(path, &file))
        return "cannot read " + path;
    const std::string stamp = time_text(tm.tm_year + kTmYearBase, tm.tm_mon + 1, tm.tm_mday,
                                        tm.tm_hour, tm.tm_min, tm.tm_sec, ms);
    if (file != file_line(stamp, format_message(a)))
        return "wrong fprintf line: \"" + file + "\"";
    std::rewind(fp);
    return {};
}

void fprintf_bench(benchmark::State &state)
{
    const std::string path = in_root("run/fprintf.txt");
    FILE *fp = std::fopen(path.c_str(), "w");
    if (fp == nullptr) {
        state.SkipWithError(("cannot open " + path).c_str());
        return;
    }
    const std::string error = check_fprintf_line(fp, path);
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        std::fclose(fp);
        return;
    }
    const std::vector<MessageArgs> &args = message_args();
    std::size_t i = 0;
    long written = 0;
    struct tm tm;
    int ms = 0;
    for (auto _ : state) {
        const MessageArgs &a = args[i++ & (kArgCount - 1)];
        written += fprintf_line(fp, a, &tm, &ms);
        if (written >= kWrapBytes) {
            std::rewind(fp);
            written = 0;
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
    std::fclose(fp);
    unlink(path.c_str());
}

// --- Names, figures and the reporter -------------------------------------------

constexpr const char *kRingConsole = "info/ring+console";
constexpr const char *kRingConsoleFile = "info/ring+console+file";
constexpr const char *kFprintf = "info/fprintf";

void register_benchmarks()
{
    benchmark::RegisterBenchmark(kRingConsole, log_bench<false>)->UseRealTime();
    benchmark::RegisterBenchmark(kRingConsoleFile, log_bench<true>)->UseRealTime();
    benchmark::RegisterBenchmark(kFprintf, fprintf_bench)->UseRealTime();
}

using orv_bench::RatioReporter;

// The name a benchmark timed in real time is reported under.
std::string run_name(const char *name) { return std::string(name) + "/real_time"; }

void print_rate(const RatioReporter &r, const char *name, double target)
{
    const double s = r.seconds(run_name(name));
    if (s <= 0.0) {
        std::printf("entries/s %s: n/a (not run or errored)\n", name);
        return;
    }
    const double rate = 1.0 / s;
    std::printf("entries/s %s: %.0f (%.0f ns per call)", name, rate, s * 1e9);
    if (target > 0.0)
        std::printf(" (target >= %.0f on one thread) %s", target, rate >= target ? "met" : "MISSED");
    else
        std::printf(" (for information)");
    if (r.disturbed(run_name(name)))
        std::printf(" [disturbed: real time above CPU time, rerun on a quiet machine]");
    std::printf("\n");
}

void print_ratio(const RatioReporter &r, const char *ours, const char *theirs)
{
    const std::string label = std::string("time ratio ") + orv_bench::short_name(ours) + " / " +
                              orv_bench::short_name(theirs);
    orv_bench::print_ratio(r, label, run_name(ours).c_str(), run_name(theirs).c_str(), 0.0,
                           orv_bench::Better::Lower);
}

// An output stream buffer on a file descriptor: the table reaches the
// original stdout while stdout itself, and std::cout with it, goes to
// /dev/null.
class FdStreamBuf : public std::streambuf {
public:
    explicit FdStreamBuf(int fd) : fd_(fd) { setp(buffer_, buffer_ + sizeof buffer_); }
    ~FdStreamBuf() override { sync(); }

protected:
    int_type overflow(int_type c) override
    {
        if (sync() != 0)
            return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            *pptr() = traits_type::to_char_type(c);
            pbump(1);
        }
        return traits_type::not_eof(c);
    }

    int sync() override
    {
        const char *p = pbase();
        bool ok = true;
        while (p < pptr()) {
            const ssize_t n = write(fd_, p, static_cast<std::size_t>(pptr() - p));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                ok = false;
                break;
            }
            p += n;
        }
        setp(buffer_, buffer_ + sizeof buffer_);
        return ok ? 0 : -1;
    }

private:
    int fd_;
    char buffer_[4096];
};

// The copy inside the tree: runs the benchmarks and prints the figures.
int run_benchmarks(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (g_tree.root != orv_rootdir()) {
        std::fprintf(stderr, "the log's root is \"%s\", not the tree %s\n", orv_rootdir(),
                     g_tree.root.c_str());
        return 1;
    }

    // Nothing has been written to stdout yet: from here on it is /dev/null,
    // and stdio buffers it fully.
    const auto options = orv_bench::console_options();
    const int table_fd = dup(STDOUT_FILENO);
    g_tree.devnull = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (table_fd < 0 || g_tree.devnull < 0 || dup2(g_tree.devnull, STDOUT_FILENO) < 0) {
        std::fprintf(stderr, "cannot send stdout to /dev/null: %s\n", std::strerror(errno));
        return 1;
    }
    int code = 0;
    {
        FdStreamBuf table_buffer(table_fd);
        std::ostream table(&table_buffer);
        table.setf(std::ios::unitbuf);
        register_benchmarks();
        RatioReporter reporter(options);
        reporter.SetOutputStream(&table);
        benchmark::RunSpecifiedBenchmarks(&reporter);
        benchmark::Shutdown();
        table.flush();

        std::fflush(stdout);
        dup2(table_fd, STDOUT_FILENO);
        std::printf("\n");
        print_rate(reporter, kRingConsole, kEntriesTarget);
        print_rate(reporter, kRingConsoleFile, 0.0);
        print_rate(reporter, kFprintf, 0.0);
        print_ratio(reporter, kRingConsole, kFprintf);
        print_ratio(reporter, kRingConsoleFile, kFprintf);
        std::fflush(stdout);
        code = reporter.errored() ? 1 : 0;
    }
    close(table_fd);
    return code;
}

} // namespace

int main(int argc, char **argv)
{
    const std::size_t marker_length = std::strlen(kRootMarker);
    if (argc < 2 || std::strncmp(argv[1], kRootMarker, marker_length) != 0)
        return run_in_tree(argc, argv);
    g_tree.root = argv[1] + marker_length;
    // Drop the marker: the benchmark library sees the caller's arguments only.
    for (int i = 1; i + 1 <= argc; ++i)
        argv[i] = argv[i + 1];
    return run_benchmarks(argc - 1, argv);
}
