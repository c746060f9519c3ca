// Tick delivery latency of the timer service against a timerfd + epoll loop.
//
//   orv, 1 worker     100 timers from orv_timer_create, first tick and period
//                     10 ms, ticks taken by the service's one worker
//   orv, 2 workers    the same with two workers, for information
//   timerfd+epoll     100 timerfds armed the same way, one thread in
//                     epoll_wait that reads each expiry
//
// Every tick stamps the time into a per-timer array allocated and touched
// before the run: the callback (or the loop, after its read) takes the
// clock and one atomic index, nothing else. A tick's latency is its stamp
// minus its scheduled time, creation + first tick + k periods, where the
// creation time is taken just before the call that creates the timer. Both
// the schedule and the stamps are read from CLOCK_REALTIME, the clock the
// service's timers are created on. Relative timers on it advance with the
// monotonic clock, so the two agree as long as nobody steps the clock: each
// round checks the realtime-monotonic offset and refuses a step.
//
// k is found from the stamps: going back from a timer's last tick, each tick
// is matched to the latest schedule point it can belong to, the last one due
// by its stamp and before the next tick's point. While every tick comes
// less than a period late that is its own point, so the figures are exact.
// A point left without a tick was lost, or its tick came a period late or
// more (the stamps cannot tell which); it counts as missed and enters the
// distribution as one period late, the least it can have been. So a late or
// lost tick raises the tail and never shifts a timer's later ticks.
//
// Each configuration runs for the given time in total, split into rounds
// that take turns (orv 1 worker, orv 2 workers, timerfd, then again), so
// that load from other processes falls on all three alike. Each round starts
// its timers afresh; the latencies of a configuration's rounds are pooled.
//
// Before the figures are printed, each round is checked: every timer ticked
// within 10 % of round length / period times, none ticked more often than its
// schedule allows, and no tick came before its time; and each configuration
// missed at most 1 % of its scheduled ticks (beyond that even p99 would only
// be a missed tick's floor). A timer's last tick before its round stops may be
// cut off by the disarm and does not count as missed. A failed check prints an
// error and exits 1. Meeting the p99 target or not does not change the exit
// code.
//
// On a shared machine the tail is mostly periods in which the consuming
// thread did not run at all: every timer's tick is then late together. Each
// line counts the periods whose earliest tick came over 1 ms late, and the
// ratio is marked disturbed when they reach 0.5 % of the periods, enough to
// own the 1 % tail by themselves.
//
// Run: orv_timer_bench [seconds [rounds]]
//   seconds  per configuration, default 10
//   rounds   default 5; 1 runs each configuration in one piece

#include <signal.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "orvsys/orv_timer.h"

namespace {

constexpr int kTimers = 100;
constexpr int kFirstMs = 10;
constexpr int kPeriodMs = 10;
constexpr double kDefaultSeconds = 10.0;
constexpr int kDefaultRounds = 5;
constexpr double kMinRoundSeconds = 0.5;
constexpr double kMaxSeconds = 3600.0;
constexpr double kTickCountMargin = 0.10;    // each timer: round length / period, +- 10 %
constexpr double kMissedBound = 0.01;        // missed ticks over scheduled ticks
constexpr int64_t kMaxClockStepNs = 100000;  // realtime-monotonic drift during a round
constexpr int kEpollBatch = 128;
constexpr double kTargetP99Ratio = 1.50;
// A period whose earliest tick, of all timers, came this late found the
// consuming thread off the CPU: the whole batch waited for the scheduler.
constexpr int64_t kStallNs = 1000000;
// Each stalled period puts every timer's tick into the tail; from this share
// of stalled periods on, p99 tells more about the machine than the code.
constexpr double kDisturbedShare = 0.005;

constexpr int64_t kNsPerMs = 1000000;
constexpr int64_t kNsPerSec = 1000000000;
constexpr int64_t kPeriodNs = kPeriodMs * kNsPerMs;
// The timerfds are armed with nanoseconds alone.
static_assert(kFirstMs < 1000 && kPeriodMs < 1000);

int64_t clock_ns(clockid_t clock) {
    struct timespec ts;
    clock_gettime(clock, &ts);
    return static_cast<int64_t>(ts.tv_sec) * kNsPerSec + ts.tv_nsec;
}

int64_t now_ns() { return clock_ns(CLOCK_REALTIME); }

int64_t realtime_offset_ns() { return clock_ns(CLOCK_REALTIME) - clock_ns(CLOCK_MONOTONIC); }

// One timer's ticks. Only the index is shared between threads; each stamp
// slot is written once, by the thread that claimed it, and read after the
// round has ended (the workers joined, or the loop returned).
struct TickLog {
    int64_t first_due_ns = 0;  // creation time + first tick
    int64_t *stamps = nullptr;
    uint32_t capacity = 0;
    std::atomic<uint32_t> count{0};
    uint64_t kernel_lost = 0;  // timerfd only: expirations beyond one per read
};

void stamp(TickLog *log) {
    const int64_t t = now_ns();
    const uint32_t i = log->count.fetch_add(1, std::memory_order_relaxed);
    if (i < log->capacity) log->stamps[i] = t;
}

void *on_tick(void *arg) {
    stamp(static_cast<TickLog *>(arg));
    return nullptr;
}

// The arrays for all timers, allocated and zeroed (so touched) before any
// round, and cleared again between rounds.
class TickLogs {
public:
    explicit TickLogs(double round_seconds)
        : capacity_(static_cast<uint32_t>(round_seconds * 1000.0 / kPeriodMs) + 64),
          storage_(static_cast<size_t>(capacity_) * kTimers, 0),
          logs_(kTimers) {
        reset();
    }

    void reset() {
        std::fill(storage_.begin(), storage_.end(), 0);
        for (int i = 0; i < kTimers; ++i) {
            TickLog &log = logs_[i];
            log.first_due_ns = 0;
            log.stamps = &storage_[static_cast<size_t>(i) * capacity_];
            log.capacity = capacity_;
            log.count.store(0, std::memory_order_relaxed);
            log.kernel_lost = 0;
        }
    }

    TickLog &operator[](int i) { return logs_[i]; }
    const TickLog &operator[](int i) const { return logs_[i]; }

private:
    uint32_t capacity_;
    std::vector<int64_t> storage_;
    std::vector<TickLog> logs_;
};

// Schedule points of a timer at or before t.
int64_t due_by(const TickLog &log, int64_t t) {
    if (t < log.first_due_ns) return 0;
    return (t - log.first_due_ns) / kPeriodNs + 1;
}

// One configuration's rounds, pooled.
struct Series {
    explicit Series(const char *n) : name(n) {}

    const char *name;
    std::vector<int64_t> latencies;  // ns; sorted by summarise()
    int64_t scheduled = 0;
    int64_t missed = 0;
    int timers_with_missed = 0;      // summed over rounds
    uint64_t kernel_lost = 0;
    double armed_over_us = 0.0;      // widest spread of creation times in a round
    int64_t periods = 0;             // summed over rounds
    int64_t stalled_periods = 0;
    double p50_us = 0.0;
    double p99_us = 0.0;
    double max_us = 0.0;
};

// Schedule point a tick stamped at t belongs to at the latest: the last one
// due at or before t (-1 before the first).
int64_t slot_of(const TickLog &log, int64_t t) {
    const int64_t d = t - log.first_due_ns;
    return d >= 0 ? d / kPeriodNs : -((-d + kPeriodNs - 1) / kPeriodNs);
}

// Checks one timer's ticks in a round and adds their latencies; false on a
// failed check. points is scratch of the logs' capacity; earliest[k] keeps
// the least latency of any timer's tick at point k.
bool add_timer(Series &series, const TickLog &log, int index, int64_t stopping, int64_t stopped,
               double nominal, std::vector<int64_t> &points, std::vector<int64_t> &earliest) {
    const uint32_t got = log.count.load(std::memory_order_relaxed);
    const int64_t most = due_by(log, stopped);
    if (got > log.capacity || got > most) {
        std::fprintf(stderr, "error: %s: timer %d ticked %" PRIu32 " times, its schedule allows %" PRId64 "\n",
                     series.name, index, got, most);
        return false;
    }
    if (std::fabs(got - nominal) > nominal * kTickCountMargin) {
        std::fprintf(stderr, "error: %s: timer %d ticked %" PRIu32 " times, expected about %.0f\n",
                     series.name, index, got, nominal);
        return false;
    }
    // Matched from the last tick back, each to the latest point it can have:
    // due by its stamp and before the next tick's point.
    int64_t next = INT64_MAX;
    for (uint32_t j = got; j-- > 0;) {
        const int64_t point = std::min(slot_of(log, log.stamps[j]), next - 1);
        if (point < 0) {
            std::fprintf(stderr,
                         "error: %s: timer %d tick %" PRIu32 " came before its time (more ticks than points "
                         "due by its stamp)\n",
                         series.name, index, j);
            return false;
        }
        points[j] = next = point;
    }
    // Points no tick was matched to were lost (or, what the stamps cannot
    // tell apart, their tick came a period late or more). The last point due
    // before the stop may have been cut off by the disarm.
    const int64_t due = std::max<int64_t>(0, due_by(log, stopping) - 1);
    int64_t skipped = 0;
    int64_t previous = -1;
    for (uint32_t j = 0; j < got; ++j) {
        const int64_t point = points[j];
        skipped += point - previous - 1;
        previous = point;
        const int64_t latency = log.stamps[j] - (log.first_due_ns + point * kPeriodNs);
        series.latencies.push_back(latency);
        if (static_cast<size_t>(point) < earliest.size()) {
            earliest[point] = std::min(earliest[point], latency);
        }
    }
    skipped += std::max<int64_t>(0, due - 1 - previous);
    series.latencies.insert(series.latencies.end(), static_cast<size_t>(skipped), kPeriodNs);
    series.scheduled += due;
    series.missed += skipped;
    series.kernel_lost += log.kernel_lost;
    if (skipped > 0) ++series.timers_with_missed;
    return true;
}

// Checks a round and adds it to its series. stopping is the time the timers
// began to be stopped, stopped the time all were.
bool add_round(Series &series, const TickLogs &logs, int64_t stopping, int64_t stopped,
               int64_t clock_offset, double round_seconds) {
    const int64_t drift = realtime_offset_ns() - clock_offset;
    if (std::llabs(drift) > kMaxClockStepNs) {
        std::fprintf(stderr, "error: %s: CLOCK_REALTIME was stepped by %.3f ms during a round\n",
                     series.name, static_cast<double>(drift) / 1e6);
        return false;
    }
    const double nominal = round_seconds * 1000.0 / kPeriodMs;
    std::vector<int64_t> points(logs[0].capacity);
    std::vector<int64_t> earliest(logs[0].capacity, INT64_MAX);
    for (int i = 0; i < kTimers; ++i) {
        if (!add_timer(series, logs[i], i, stopping, stopped, nominal, points, earliest)) return false;
    }
    for (const int64_t first : earliest) {
        if (first == INT64_MAX) continue;
        ++series.periods;
        if (first > kStallNs) ++series.stalled_periods;
    }
    const double spread = static_cast<double>(logs[kTimers - 1].first_due_ns - logs[0].first_due_ns) / 1000.0;
    series.armed_over_us = std::max(series.armed_over_us, spread);
    return true;
}

double percentile_us(const std::vector<int64_t> &sorted, double p) {
    const size_t rank = static_cast<size_t>(std::ceil(p * static_cast<double>(sorted.size())));
    const size_t index = rank == 0 ? 0 : rank - 1;
    return static_cast<double>(sorted[std::min(index, sorted.size() - 1)]) / 1000.0;
}

// Checks the losses over all rounds and computes the figures.
bool summarise(Series &series) {
    if (series.latencies.empty()) {
        std::fprintf(stderr, "error: %s: no ticks\n", series.name);
        return false;
    }
    if (static_cast<double>(series.missed) > kMissedBound * static_cast<double>(series.scheduled)) {
        std::fprintf(stderr,
                     "error: %s: %" PRId64 " of %" PRId64 " ticks missed (lost or a period late), bound %.1f %%\n",
                     series.name, series.missed, series.scheduled, kMissedBound * 100.0);
        return false;
    }
    std::sort(series.latencies.begin(), series.latencies.end());
    series.p50_us = percentile_us(series.latencies, 0.50);
    series.p99_us = percentile_us(series.latencies, 0.99);
    series.max_us = static_cast<double>(series.latencies.back()) / 1000.0;
    return true;
}

void sleep_until_monotonic(int64_t deadline_ns) {
    struct timespec ts;
    ts.tv_sec = deadline_ns / kNsPerSec;
    ts.tv_nsec = deadline_ns % kNsPerSec;
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
    }
}

bool round_orv(Series &series, int signo, int workers, TickLogs &logs, double round_seconds) {
    logs.reset();
    if (orv_timer_init(signo, workers) != 1) {
        std::fprintf(stderr, "error: %s: orv_timer_init(%d, %d) failed\n", series.name, signo, workers);
        return false;
    }
    const int64_t offset = realtime_offset_ns();
    const int64_t end = clock_ns(CLOCK_MONOTONIC) + static_cast<int64_t>(round_seconds * 1e9);
    for (int i = 0; i < kTimers; ++i) {
        logs[i].first_due_ns = now_ns() + kFirstMs * kNsPerMs;
        if (orv_timer_create(kFirstMs, kPeriodMs, on_tick, &logs[i]) == nullptr) {
            std::fprintf(stderr, "error: %s: orv_timer_create failed for timer %d\n", series.name, i);
            orv_timer_uninit();
            return false;
        }
    }
    sleep_until_monotonic(end);
    const int64_t stopping = now_ns();
    orv_timer_uninit();  // disarms, lets the workers finish queued ticks, joins
    const int64_t stopped = now_ns();
    return add_round(series, logs, stopping, stopped, offset, round_seconds);
}

struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) close(fd);
    }
};

bool round_timerfd(Series &series, TickLogs &logs, double round_seconds) {
    logs.reset();
    Fd epoll;
    epoll.fd = epoll_create1(EPOLL_CLOEXEC);
    if (epoll.fd < 0) {
        std::fprintf(stderr, "error: %s: epoll_create1: %s\n", series.name, std::strerror(errno));
        return false;
    }
    std::vector<Fd> timers(kTimers);
    struct itimerspec arm;
    std::memset(&arm, 0, sizeof arm);
    arm.it_value.tv_nsec = kFirstMs * kNsPerMs;
    arm.it_interval.tv_nsec = kPeriodNs;

    const int64_t offset = realtime_offset_ns();
    const int64_t end = clock_ns(CLOCK_MONOTONIC) + static_cast<int64_t>(round_seconds * 1e9);
    for (int i = 0; i < kTimers; ++i) {
        logs[i].first_due_ns = now_ns() + kFirstMs * kNsPerMs;
        timers[i].fd = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
        struct epoll_event ev;
        ev.events = EPOLLIN;
        ev.data.u32 = static_cast<uint32_t>(i);
        if (timers[i].fd < 0 || epoll_ctl(epoll.fd, EPOLL_CTL_ADD, timers[i].fd, &ev) != 0 ||
            timerfd_settime(timers[i].fd, 0, &arm, nullptr) != 0) {
            std::fprintf(stderr, "error: %s: timer %d: %s\n", series.name, i, std::strerror(errno));
            return false;
        }
    }

    struct epoll_event events[kEpollBatch];
    for (;;) {
        const int64_t left = end - clock_ns(CLOCK_MONOTONIC);
        if (left <= 0) break;
        const int wait_ms = static_cast<int>((left + kNsPerMs - 1) / kNsPerMs);
        const int n = epoll_wait(epoll.fd, events, kEpollBatch, wait_ms);
        if (n < 0) {
            if (errno == EINTR) continue;
            std::fprintf(stderr, "error: %s: epoll_wait: %s\n", series.name, std::strerror(errno));
            return false;
        }
        for (int e = 0; e < n; ++e) {
            const uint32_t i = events[e].data.u32;
            uint64_t expirations = 0;
            if (read(timers[i].fd, &expirations, sizeof expirations) != sizeof expirations) continue;
            stamp(&logs[i]);
            logs[i].kernel_lost += expirations - 1;
        }
    }
    const int64_t stopping = now_ns();
    for (Fd &t : timers) {
        close(t.fd);
        t.fd = -1;
    }
    const int64_t stopped = now_ns();
    return add_round(series, logs, stopping, stopped, offset, round_seconds);
}

void print_series(const Series &s) {
    std::printf("%-16s p50 %8.1f us   p99 %8.1f us   max %9.1f us   ticks %zu   missed %" PRId64
                " of %" PRId64 "   armed over <= %.0f us",
                s.name, s.p50_us, s.p99_us, s.max_us, s.latencies.size() - static_cast<size_t>(s.missed),
                s.missed, s.scheduled, s.armed_over_us);
    if (s.timers_with_missed > 0) std::printf(" (in %d timer-rounds)", s.timers_with_missed);
    std::printf("   periods begun > %.0f ms late %" PRId64 " of %" PRId64, static_cast<double>(kStallNs) / 1e6,
                s.stalled_periods, s.periods);
    if (s.kernel_lost > 0) std::printf("   expirations read in bulk %" PRIu64, s.kernel_lost);
    std::printf("\n");
}

bool disturbed(const Series &s) {
    return static_cast<double>(s.stalled_periods) >= kDisturbedShare * static_cast<double>(s.periods);
}

void print_ratio(const char *label, const Series &ours, const Series &theirs, double target) {
    const double ratio = ours.p99_us / theirs.p99_us;
    std::printf("%s: %.2f", label, ratio);
    if (target > 0.0) {
        std::printf(" (target <= %.2f) %s", target, ratio <= target ? "met" : "MISSED");
    } else {
        std::printf(" (for information)");
    }
    if (disturbed(ours) || disturbed(theirs)) {
        std::printf(" [disturbed: %.1f %% of periods or more began over %.0f ms late, rerun on a quiet "
                    "machine]",
                    kDisturbedShare * 100.0, static_cast<double>(kStallNs) / 1e6);
    }
    std::printf("\n");
}

bool parse_number(const char *text, double low, double high, double *value) {
    char *end = nullptr;
    errno = 0;
    const double v = std::strtod(text, &end);
    if (errno != 0 || end == text || *end != '\0' || !(v >= low && v <= high)) return false;
    *value = v;
    return true;
}

bool parse_args(int argc, char **argv, double *seconds, int *rounds) {
    *seconds = kDefaultSeconds;
    *rounds = kDefaultRounds;
    if (argc > 3) return false;
    if (argc > 1 && !parse_number(argv[1], kMinRoundSeconds, kMaxSeconds, seconds)) return false;
    double r = kDefaultRounds;
    if (argc > 2 && (!parse_number(argv[2], 1, 1000, &r) || r != std::floor(r))) return false;
    *rounds = static_cast<int>(r);
    return *seconds / *rounds >= kMinRoundSeconds;
}

}  // namespace

int main(int argc, char **argv) {
    double seconds = 0.0;
    int rounds = 0;
    if (!parse_args(argc, argv, &seconds, &rounds)) {
        std::fprintf(stderr,
                     "usage: %s [seconds per configuration, default %.0f [rounds, default %d]]\n"
                     "       a round lasts at least %.1f s\n",
                     argv[0], kDefaultSeconds, kDefaultRounds, kMinRoundSeconds);
        return 1;
    }
    const double round_seconds = seconds / rounds;

    // The service's contract: the timer signal and the exit signal above it
    // are blocked before any thread starts, so every worker inherits the mask
    // and no thread ever takes them asynchronously.
    const int signo = orv_timer_signo();
    if (signo < SIGRTMIN || signo + 1 > SIGRTMAX) {
        std::fprintf(stderr, "error: timer signal %d is not a real-time signal pair\n", signo);
        return 1;
    }
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signo);
    sigaddset(&set, signo + 1);
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) {
        std::fprintf(stderr, "error: cannot block signals %d and %d\n", signo, signo + 1);
        return 1;
    }

    std::printf("%d timers, first tick and period %d ms, %.1f s per configuration in %d rounds, "
                "signal %d, latency from CLOCK_REALTIME\n",
                kTimers, kPeriodMs, seconds, rounds, signo);
    std::fflush(stdout);

    TickLogs logs(round_seconds);
    Series orv1("orv 1 worker");
    Series orv2("orv 2 workers");
    Series tfd("timerfd+epoll");
    const size_t most_ticks = static_cast<size_t>(seconds * 1000.0 / kPeriodMs + rounds) * kTimers;
    for (Series *s : {&orv1, &orv2, &tfd}) s->latencies.reserve(most_ticks);
    for (int r = 0; r < rounds; ++r) {
        if (!round_orv(orv1, signo, 1, logs, round_seconds)) return 1;
        if (!round_orv(orv2, signo, 2, logs, round_seconds)) return 1;
        if (!round_timerfd(tfd, logs, round_seconds)) return 1;
    }
    for (Series *s : {&orv1, &orv2, &tfd}) {
        if (!summarise(*s)) return 1;
        print_series(*s);
    }
    print_ratio("ratio p99 orv / timerfd", orv1, tfd, kTargetP99Ratio);
    print_ratio("ratio p99 orv 2 workers / timerfd", orv2, tfd, 0.0);
    return 0;
}
