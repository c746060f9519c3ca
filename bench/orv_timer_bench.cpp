// The timer service, through its public interface, with one worker.
//
// timer/latency: 100 timers, first tick and period 10 ms, against 100
// timerfds armed alike and read by one thread in epoll_wait; 6 rounds of
// 0.5 s each, taking turns so that load from other processes falls on both
// alike. A tick's latency is its time past the latest point its schedule had
// due (creation + first tick + k periods), read on CLOCK_MONOTONIC, which
// relative timers follow; a missing tick counts as a period late. Checked:
// no tick before its first point and none more than the schedule allows.
// Target: p99 at most 1.5 times that of timerfd+epoll.
//
// timer/tick_cost/N: N armed timers, N - 1 idle (period an hour) and one of
// 1 ms whose callback counts; the process CPU time over 1000 of its ticks,
// per tick. Target: with 10,000 timers at most 1.2 times the cost with 1.

#include "orv_bench.h"

#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <atomic>
#include <vector>

#include "orvsys/orv_timer.h"

namespace {

constexpr int kTimers = 100;
constexpr int64_t kPeriodNs = 10'000'000;
constexpr int kRounds = 6;
constexpr int64_t kRoundNs = 500'000'000;
constexpr int kCostTicks = 1000;

int64_t clock_ns(clockid_t clock) {
    struct timespec ts;
    clock_gettime(clock, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

// The service's contract: the timer signal and the exit signal above it are
// blocked before it starts a worker. The timer signal, or 0 on failure.
int block_timer_signals() {
    const int signo = orv_timer_signo();
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signo);
    sigaddset(&set, signo + 1);
    return pthread_sigmask(SIG_BLOCK, &set, nullptr) == 0 ? signo : 0;
}

struct Timer {
    int64_t first_due = 0;
    std::atomic<int64_t> ticks{0};
};

// All latencies of one configuration, room made before the first round.
struct Series {
    std::vector<int64_t> latencies = std::vector<int64_t>(kRounds * kTimers * 64);
    std::atomic<std::size_t> count{0};
    int64_t due = 0;
    int64_t missed = 0;
};

Series *g_series = nullptr;

// A tick: the callback of the service's timers, called by the timerfd loop.
void *record(void *arg) {
    auto *t = static_cast<Timer *>(arg);
    const int64_t since = clock_ns(CLOCK_MONOTONIC) - t->first_due;
    t->ticks.fetch_add(1, std::memory_order_relaxed);
    const std::size_t i = g_series->count.fetch_add(1, std::memory_order_relaxed);
    if (i < g_series->latencies.size())
        g_series->latencies[i] = since < 0 ? since : since % kPeriodNs;  // < 0: early
    return nullptr;
}

// Counts the points due before the timers began to stop and checks each
// timer's ticks against those due by the time all had stopped.
std::string end_round(Series &s, std::vector<Timer> &timers, int64_t stopping, int64_t stopped) {
    for (Timer &t : timers) {
        const int64_t due = (stopping - t.first_due) / kPeriodNs + 1, got = t.ticks.load();
        if (got > (stopped - t.first_due) / kPeriodNs + 1)
            return "a timer ticked more often than its schedule allows";
        s.due += due;
        s.missed += std::max<int64_t>(0, due - 1 - got);  // the last one may be cut off
    }
    return {};
}

std::string orv_round(Series &s, int signo) {
    std::vector<Timer> timers(kTimers);
    if (orv_timer_init(signo, 1) != 1) return "orv_timer_init failed";
    const int64_t end = clock_ns(CLOCK_MONOTONIC) + kRoundNs;
    for (Timer &t : timers) {
        t.first_due = clock_ns(CLOCK_MONOTONIC) + kPeriodNs;
        if (orv_timer_create(10, 10, record, &t) == nullptr) {
            orv_timer_uninit();
            return "orv_timer_create failed";
        }
    }
    const struct timespec until = {static_cast<time_t>(end / 1'000'000'000),
                                   static_cast<long>(end % 1'000'000'000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
    }
    const int64_t stopping = clock_ns(CLOCK_MONOTONIC);
    orv_timer_uninit();  // disarms, lets the worker finish, joins it
    return end_round(s, timers, stopping, clock_ns(CLOCK_MONOTONIC));
}

std::string timerfd_round(Series &s) {
    std::vector<Timer> timers(kTimers);
    std::vector<int> fds;
    const int epoll = epoll_create1(EPOLL_CLOEXEC);
    const struct timespec period = {0, static_cast<long>(kPeriodNs)};
    const struct itimerspec arm = {period, period};
    const int64_t end = clock_ns(CLOCK_MONOTONIC) + kRoundNs;
    std::string error;
    for (int i = 0; i < kTimers && error.empty(); ++i) {
        timers[i].first_due = clock_ns(CLOCK_MONOTONIC) + kPeriodNs;
        fds.push_back(timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC));
        struct epoll_event ev = {EPOLLIN, {.u32 = static_cast<uint32_t>(i)}};
        if (fds[i] < 0 || epoll_ctl(epoll, EPOLL_CTL_ADD, fds[i], &ev) != 0 ||
            timerfd_settime(fds[i], 0, &arm, nullptr) != 0)
            error = "cannot arm a timerfd";
    }
    struct epoll_event events[kTimers];
    for (int64_t left; error.empty() && (left = end - clock_ns(CLOCK_MONOTONIC)) > 0;) {
        const int n = epoll_wait(epoll, events, kTimers, static_cast<int>(left / 1'000'000 + 1));
        for (int e = 0; e < n; ++e) {
            uint64_t expirations = 0;
            const uint32_t i = events[e].data.u32;
            if (read(fds[i], &expirations, sizeof expirations) == sizeof expirations)
                record(&timers[i]);
        }
    }
    const int64_t stop = clock_ns(CLOCK_MONOTONIC);
    for (int fd : fds) close(fd);
    close(epoll);
    return error.empty() ? end_round(s, timers, stop, stop) : error;
}

// p50 and p99 in microseconds into the counters; empty when the figures hold.
// A missing tick was lost or came a period late or more (the two look
// alike): it counts as a period late, the least it can have been.
std::string summarise(Series &s, const char *name, benchmark::State &state) {
    if (s.count.load() == 0 || s.count.load() > s.latencies.size())
        return std::string(name) + ": no ticks, or more than the schedule allows";
    s.latencies.resize(s.count.load());
    s.latencies.insert(s.latencies.end(), static_cast<std::size_t>(s.missed), kPeriodNs);
    std::sort(s.latencies.begin(), s.latencies.end());
    const std::size_t n = s.latencies.size();
    if (s.latencies[0] < 0) return std::string(name) + ": a tick came before its first point";
    state.counters[std::string("p50_") + name + "_us"] = s.latencies[n / 2] / 1e3;
    state.counters[std::string("p99_") + name + "_us"] = s.latencies[(n * 99 - 1) / 100] / 1e3;
    state.counters[std::string("missed_") + name] = static_cast<double>(s.missed);
    return {};
}

void latency_bench(benchmark::State &state) {
    const int signo = block_timer_signals();
    Series orv, timerfd;
    std::string error = signo > 0 ? "" : "cannot block the timer signals";
    for (auto _ : state) {
        for (int r = 0; r < kRounds && error.empty(); ++r) {
            g_series = &orv;
            error = orv_round(orv, signo);
            g_series = &timerfd;
            if (error.empty()) error = timerfd_round(timerfd);
        }
    }
    if (error.empty()) error = summarise(orv, "orv", state);
    if (error.empty()) error = summarise(timerfd, "timerfd", state);
    if (!error.empty()) state.SkipWithError(error.c_str());
}

struct Counting {
    std::atomic<int> ticks{0};
    sem_t reached;
};

void *count_tick(void *arg) {
    auto *c = static_cast<Counting *>(arg);
    const int n = c->ticks.fetch_add(1) + 1;
    if (n == 10 || n == 10 + kCostTicks) sem_post(&c->reached);
    return nullptr;
}

void *idle_tick(void *) { return nullptr; }

bool wait_reached(Counting &c) {
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 30;
    while (sem_timedwait(&c.reached, &deadline) != 0)
        if (errno != EINTR) return false;
    return true;
}

void tick_cost_bench(benchmark::State &state) {
    const int armed = static_cast<int>(state.range(0));
    struct rlimit limit;  // each POSIX timer holds a queued-signal slot
    if (getrlimit(RLIMIT_SIGPENDING, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_SIGPENDING, &limit);
    }
    const int signo = block_timer_signals();
    if (signo == 0 || orv_timer_init(signo, 1) != 1)
        return state.SkipWithError("cannot start the timer service");
    Counting counting;
    sem_init(&counting.reached, 0, 0);
    std::string error;
    for (int i = 1; i < armed && error.empty(); ++i)
        if (orv_timer_create(3'600'000, 3'600'000, idle_tick, nullptr) == nullptr)
            error = "orv_timer_create failed at timer " + std::to_string(i) + " of " +
                    std::to_string(armed) + " (RLIMIT_SIGPENDING " +
                    std::to_string(getrlimit(RLIMIT_SIGPENDING, &limit) == 0 ? limit.rlim_cur : 0) +
                    ")";
    if (error.empty() && orv_timer_create(1, 1, count_tick, &counting) == nullptr)
        error = "orv_timer_create failed for the counting timer";
    if (!error.empty()) state.SkipWithError(error.c_str());
    for (auto _ : state) {
        const bool started = wait_reached(counting);
        const int64_t cpu = clock_ns(CLOCK_PROCESS_CPUTIME_ID);
        const int first = counting.ticks.load();
        if (!started || !wait_reached(counting)) {
            state.SkipWithError("the counting timer does not tick");
            break;
        }
        const int64_t used = clock_ns(CLOCK_PROCESS_CPUTIME_ID) - cpu;
        state.counters["cpu_us_per_tick"] = used / 1e3 / (counting.ticks.load() - first);
    }
    orv_timer_uninit();
    sem_destroy(&counting.reached);
}

BENCHMARK(latency_bench)->Name("timer/latency")->Iterations(1)->UseRealTime();
BENCHMARK(tick_cost_bench)->Name("timer/tick_cost")->Arg(1)->Arg(100)->Arg(10000)->Iterations(1);

using orv_bench::Better;
const bool kCompared =
    orv_bench::compare({"p99 timer latency orv / timerfd+epoll", "timer/latency@p99_orv_us",
                        "timer/latency@p99_timerfd_us", 1.50, Better::Lower}) &&
    orv_bench::compare({"CPU per tick timer 10,000 armed / 1 armed",
                        "timer/tick_cost/10000@cpu_us_per_tick",
                        "timer/tick_cost/1@cpu_us_per_tick", 1.20, Better::Lower});

}  // namespace
