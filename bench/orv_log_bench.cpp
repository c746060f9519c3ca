// Log calls: orv_log_info as a service makes it, with the default settings
// (info entries go to the ring and the console only), formatting one message
// from 256 argument sets. Target: at least 1,000,000 entries per second on
// one thread.
//
// The console is stdout on /dev/null and fully buffered while the calls are
// timed, as for a service started with its output discarded. Before timing,
// one entry is checked in the ring and on the console (stdout caught in a
// file for that one call).

#include "orv_bench.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "orvsys/orv_log.h"

#define LINK_FORMAT "link %d: sent %u frames, queue %d, last %ld us"

namespace {

struct Args {
    int link;
    unsigned frames;
    int queue;
    long micros;
};

const std::vector<Args> &message_args() {
    static const std::vector<Args> args = [] {
        std::vector<Args> v;
        orv_bench::SplitMix64 rng(0x6F72766C6F676231ull);
        while (v.size() < 256)
            v.push_back({rng.below(16), rng.below(1000000u), rng.below(256), rng.below(100000L)});
        return v;
    }();
    return args;
}

// Sends stdout to a file, fully buffered; the descriptor to give back to
// restore_stdout, or -1 on failure.
int stdout_to(const char *path) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool sent = saved >= 0 && fd >= 0 && dup2(fd, STDOUT_FILENO) >= 0;
    close(fd);
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    return sent ? saved : (close(saved), -1);
}

void restore_stdout(int saved) {
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::setvbuf(stdout, nullptr, isatty(STDOUT_FILENO) ? _IOLBF : _IOFBF, BUFSIZ);
}

// Logs one entry and checks it in the ring and on the console; empty when
// all is well, else what went wrong.
std::string log_and_check_one() {
    const Args &a = message_args()[0];
    char message[128];
    std::snprintf(message, sizeof message, LINK_FORMAT, a.link, a.frames, a.queue, a.micros);
    const std::string path = orv_bench::root() + "/run/console.txt";
    int32_t cursor = 0;
    orv_log_sync(&cursor);
    const int saved = stdout_to(path.c_str());
    if (saved < 0) return "cannot catch the console";
    orv_log_info(LINK_FORMAT, a.link, a.frames, a.queue, a.micros);
    restore_stdout(saved);
    const orv_log_entry_t *entry = orv_log_count(cursor) == 1 ? orv_log_get(&cursor) : nullptr;
    if (entry == nullptr || entry->level != ORV_LOG_INFO || entry->ext != -1 ||
        std::string(message) != entry->message)
        return "the entry is not in the ring as logged";
    const orv_datetime_t &t = entry->time;
    char stamp[80];
    std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.millisecond);
    std::ifstream in(path, std::ios::binary);
    const std::string console{std::istreambuf_iterator<char>(in), {}};
    if (console != std::string("\033[37;40;1m[") + stamp + "]" + message + "\033[0m\r\n")
        return "wrong console line: \"" + console + "\"";
    return {};
}

void log_bench(benchmark::State &state) {
    int saved = stdout_to("/dev/null");  // whatever the log says when it starts
    const bool started = saved >= 0 && orv_log_init("bench") == 1;
    restore_stdout(saved);
    if (!started) return state.SkipWithError("cannot start the log");
    const std::string error = log_and_check_one();
    if (!error.empty() || (saved = stdout_to("/dev/null")) < 0) {
        orv_log_uninit();
        return state.SkipWithError(error.empty() ? "cannot send stdout to /dev/null"
                                                 : error.c_str());
    }
    const std::vector<Args> &args = message_args();
    std::size_t i = 0;
    for (auto _ : state) {
        const Args &a = args[i++ & 255];
        orv_log_info(LINK_FORMAT, a.link, a.frames, a.queue, a.micros);
    }
    orv_log_uninit();
    restore_stdout(saved);
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

BENCHMARK(log_bench)->Name("log/info/ring+console")->UseRealTime();

const bool kCompared =
    orv_bench::compare({"entries/s log info ring+console on one thread", "log/info/ring+console",
                        "", 1e6, orv_bench::Better::Higher});

}  // namespace
