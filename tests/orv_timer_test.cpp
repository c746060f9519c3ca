// The timer service: start and stop, the arguments of a timer, ticks on one
// and on several workers, the overrun and exit log lines, and freeing while
// ticks and callbacks are under way.
//
// The service is process-wide, so every case that starts it runs in a
// forked child that blocks the timer and exit signals before any thread
// exists, as a service process does. The child's own GoogleTest failures
// become its exit code; an alarm turns a hang into a failure. Under ASan the
// child ends with a leak check, so a timer that teardown forgets shows up.
//
// The settings cases run a probe program from a scratch installation tree,
// since the root (and so <root>/ini/orv.ini) is that of the executable.
#include "orvsys/orv_timer.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "orvsys/orv_list.h"
#include "orvsys/orv_log.h"
#include "support/orv_test_time.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using std::chrono::milliseconds;

constexpr int kSigNo = 50;

double NowMs() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) * 1000.0 + static_cast<double>(ts.tv_nsec) / 1e6;
}

void SleepMs(long ms) { std::this_thread::sleep_for(milliseconds(ms)); }

long Scaled(long ms) { return orv_test::tolerance(milliseconds(ms)).count(); }

// Polls until done() holds or a scaled bound passes; the final answer.
template <class Done>
bool WaitFor(Done done, long bound_ms) {
    const double deadline = NowMs() + static_cast<double>(Scaled(bound_ms));
    while (!done() && NowMs() < deadline) SleepMs(1);
    return done();
}

// Threads of this process now: the workers show up here and must be gone
// after teardown.
int TaskCount() {
    DIR *dir = opendir("/proc/self/task");
    if (dir == nullptr) return -1;
    int count = 0;
    while (struct dirent *entry = readdir(dir)) {
        if (entry->d_name[0] != '.') ++count;
    }
    closedir(dir);
    return count;
}

// A joined thread can stay listed for a moment while it is torn down (for
// long moments under an emulator), so counts are compared once they settle.
bool TasksBackTo(int tasks) {
    return WaitFor([tasks] { return TaskCount() == tasks; }, 1000);
}

// The thread count before the service starts, once no thread is leaving.
int SettledTaskCount() {
    int count = TaskCount();
    for (int steady = 0, rounds = 0; steady < 3 && rounds < 200; ++rounds) {
        SleepMs(10);
        const int now = TaskCount();
        steady = now == count ? steady + 1 : 0;
        count = now;
    }
    return count;
}

void BlockTimerSignals(int signo) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signo);
    sigaddset(&set, signo + 1);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

// Runs body in a forked child with the signals of the service on signo
// blocked. The parent checks that the child neither died by a signal (a
// sanitizer abort, an unblocked signal, the alarm) nor failed a check.
template <class Body>
void RunInChild(Body body, int signo = kSigNo, long bound_s = 30) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0) << "fork failed";
    if (pid == 0) {
        alarm(static_cast<unsigned>(bound_s * orv_test::time_scale()));
        BlockTimerSignals(signo);
        // ThreadSanitizer starts a helper thread of its own at the first
        // thread; one started and joined here keeps the thread counts of
        // the cases about the workers alone.
        std::thread([] {}).join();
        body();
        int code = ::testing::Test::HasFailure() ? 1 : 0;
#if defined(__SANITIZE_ADDRESS__)
        if (code == 0 && __lsan_do_recoverable_leak_check() != 0) code = 2;
#endif
        std::fflush(nullptr);
        _exit(code);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_FALSE(WIFSIGNALED(status))
        << "the child died by signal " << WTERMSIG(status)
        << (WTERMSIG(status) == SIGALRM ? " (it hung)" : "");
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0)
        << (WEXITSTATUS(status) == 2 ? "the child leaked memory" : "the child's checks failed");
}

// ---- Callbacks ---------------------------------------------------------------

struct Counter {
    std::atomic<int> calls{0};
};

void *CountTick(void *arg) {
    static_cast<Counter *>(arg)->calls.fetch_add(1);
    return nullptr;
}

int Calls(const Counter &counter) { return counter.calls.load(); }

int ListCount() { return orv_list_count(&g_timer_ctrl->timers); }

// ---- Log reading -------------------------------------------------------------

// Starts the log in a child and gives a cursor at its write slot. Each log
// call reads the zone with tzset; with TZ unset the C library renews its zone
// text on every call, under a lock of its own that ThreadSanitizer cannot
// see. A fixed TZ keeps that text unchanged while workers and the main
// thread log at the same time.
bool StartLog(int32_t *cursor) {
    setenv("TZ", "UTC0", 1);
    if (orv_log_init("orv_timer_test") != 1) return false;
    orv_log_sync(cursor);
    return true;
}

std::vector<orv_log_entry_t> ReadLog(int32_t *cursor) {
    std::vector<orv_log_entry_t> entries;
    while (orv_log_entry_t *entry = orv_log_get(cursor)) entries.push_back(*entry);
    return entries;
}

int CountLines(const std::vector<orv_log_entry_t> &entries, int level, const std::string &text) {
    int count = 0;
    for (const orv_log_entry_t &entry : entries) {
        if (entry.level == level && text == entry.message) ++count;
    }
    return count;
}

std::string Format(const char *format, const void *pointer) {
    char text[128];
    std::snprintf(text, sizeof text, format, pointer);
    return text;
}

// The number that follows `prefix` at the start of text, with `rest` set
// behind it; false when text does not start that way or holds no number.
bool NumberAfter(const std::string &text, const std::string &prefix, unsigned long *number,
                 std::string *rest) {
    if (text.compare(0, prefix.size(), prefix) != 0) return false;
    const char *start = text.c_str() + prefix.size();
    char *end = nullptr;
    *number = std::strtoul(start, &end, 10);
    if (end == start) return false;
    *rest = end;
    return true;
}

// ---- Start and stop ----------------------------------------------------------

TEST(Timer, InitWithoutWorkersFailsAndLeavesNoService) {
    RunInChild([] {
        const int tasks = SettledTaskCount();
        for (int workers : {0, -1}) {
            SCOPED_TRACE("thread_num " + std::to_string(workers));
            EXPECT_EQ(orv_timer_init(kSigNo, workers), 0);
            EXPECT_EQ(g_timer_ctrl, nullptr);
            EXPECT_TRUE(TasksBackTo(tasks));
        }
        // A failed start leaves nothing in the way of a good one.
        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        EXPECT_NE(g_timer_ctrl, nullptr);
        orv_timer_uninit();
        EXPECT_EQ(g_timer_ctrl, nullptr);
    });
}

TEST(Timer, SecondInitKeepsTheFirstSignalAndWorkers) {
    RunInChild([] {
        const int tasks = SettledTaskCount();
        ASSERT_EQ(orv_timer_init(kSigNo, 2), 1);
        orv_timer_ctrl_t *const first = g_timer_ctrl;
        EXPECT_EQ(orv_timer_init(kSigNo - 5, 4), 1);
        EXPECT_EQ(orv_timer_init(kSigNo, 0), 1);
        ASSERT_EQ(g_timer_ctrl, first);
        EXPECT_EQ(first->signo, kSigNo);
        EXPECT_EQ(first->thread_num, 2);
        EXPECT_EQ(first->running, 2);
        EXPECT_EQ(TaskCount(), tasks + 2) << "a second init started workers";

        Counter counter;
        orv_timer_t *timer = orv_timer_create(5, 5, CountTick, &counter);
        ASSERT_NE(timer, nullptr);
        EXPECT_TRUE(WaitFor([&] { return Calls(counter) >= 3; }, 2000))
            << "no ticks on the first signal";
        orv_timer_uninit();
        EXPECT_TRUE(TasksBackTo(tasks));
    });
}

TEST(Timer, UninitAndFreeWithoutServiceDoNothing) {
    RunInChild([] {
        orv_timer_uninit();
        EXPECT_EQ(g_timer_ctrl, nullptr);
        orv_timer_free(nullptr);

        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        Counter counter;
        orv_timer_t *timer = orv_timer_create(60000, 60000, CountTick, &counter);
        ASSERT_NE(timer, nullptr);
        orv_timer_free(nullptr);
        EXPECT_EQ(ListCount(), 1);
        EXPECT_EQ(orv_list_find(&g_timer_ctrl->timers, timer), 1);
        orv_timer_uninit();
        // The record went with the service; a free now must not touch it
        // (ASan reports the use after free if it does).
        orv_timer_free(timer);
        orv_timer_uninit();
        EXPECT_EQ(g_timer_ctrl, nullptr);
    });
}

// ---- Creating a timer --------------------------------------------------------

TEST(Timer, CreateRefusesWithoutServiceOrWithBadArguments) {
    RunInChild([] {
        Counter counter;
        EXPECT_EQ(orv_timer_create(10, 10, CountTick, &counter), nullptr) << "without a service";
        EXPECT_EQ(orv_timer_create(0, 0, nullptr, nullptr), nullptr) << "without a service";

        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        struct Row {
            int first_ms;
            int period_ms;
            orv_timer_callback_t callback;
        };
        const Row rows[] = {
            {10, 0, CountTick}, {10, -1, CountTick}, {0, 0, CountTick}, {10, 10, nullptr},
        };
        for (const Row &row : rows) {
            SCOPED_TRACE("first " + std::to_string(row.first_ms) + ", period " +
                         std::to_string(row.period_ms) +
                         (row.callback == nullptr ? ", null callback" : ""));
            EXPECT_EQ(orv_timer_create(row.first_ms, row.period_ms, row.callback, &counter),
                      nullptr);
            EXPECT_EQ(ListCount(), 0) << "a refused timer was left on the list";
        }
        SleepMs(30);
        EXPECT_EQ(Calls(counter), 0) << "a refused timer ticked";
        orv_timer_uninit();
    });
}

TEST(Timer, CreateArmsTheTimerFromItsArguments) {
    RunInChild([] {
        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        struct Row {
            int first_ms;
            int period_ms;
            int stored_first_ms;  // the first shot after the default
            long interval_s;
            long interval_ns;
        };
        const Row rows[] = {
            {60000, 1500, 60000, 1, 500000000},
            {60000, 200, 60000, 0, 200000000},
            {60000, 1, 60000, 0, 1000000},
            {60000, 2000, 60000, 2, 0},
            {2500, 60000, 2500, 60, 0},
            {0, 60000, 1000, 60, 0},  // below 1: the first shot is 1000 ms
            {-5, 60000, 1000, 60, 0},
            {1, 60000, 1, 60, 0},
        };
        Counter counter;
        std::vector<orv_timer_t *> created;
        for (const Row &row : rows) {
            SCOPED_TRACE("first " + std::to_string(row.first_ms) + ", period " +
                         std::to_string(row.period_ms));
            const double before = NowMs();
            orv_timer_t *timer = orv_timer_create(row.first_ms, row.period_ms, CountTick, &counter);
            ASSERT_NE(timer, nullptr);
            created.push_back(timer);
            EXPECT_EQ(timer->first_ms, row.stored_first_ms);
            EXPECT_EQ(timer->period_ms, row.period_ms);
            EXPECT_EQ(timer->callback, CountTick);
            EXPECT_EQ(timer->arg, &counter);

            struct itimerspec armed;
            ASSERT_EQ(timer_gettime(timer->timer_id, &armed), 0);
            EXPECT_EQ(armed.it_interval.tv_sec, row.interval_s);
            EXPECT_EQ(armed.it_interval.tv_nsec, row.interval_ns);
            if (row.stored_first_ms > 1) {
                const double left_ms = static_cast<double>(armed.it_value.tv_sec) * 1000.0 +
                                       static_cast<double>(armed.it_value.tv_nsec) / 1e6;
                const double spent_ms = NowMs() - before;
                EXPECT_LE(left_ms, row.stored_first_ms + 1.0);
                EXPECT_GE(left_ms, row.stored_first_ms - spent_ms - Scaled(100));
            }
        }
        // On the list in the order of creation.
        std::vector<orv_timer_t *> listed;
        for (void *e = orv_list_begin(&g_timer_ctrl->timers); e != nullptr;
             e = orv_list_next(&g_timer_ctrl->timers, e)) {
            listed.push_back(static_cast<orv_timer_t *>(e));
        }
        EXPECT_EQ(listed, created);
        for (orv_timer_t *timer : created) orv_timer_free(timer);
        EXPECT_EQ(ListCount(), 0);
        orv_timer_uninit();
    });
}

// ---- Ticks -------------------------------------------------------------------

struct Stamps {
    std::atomic<int> count{0};
    double at_ms[4] = {};
};

void *StampTick(void *arg) {
    auto *stamps = static_cast<Stamps *>(arg);
    const int n = stamps->count.load();
    if (n < 4) {
        stamps->at_ms[n] = NowMs();
        stamps->count.store(n + 1);
    }
    return nullptr;
}

TEST(Timer, FirstTickComesAfterOneSecondWhenFirstIsZero) {
    RunInChild([] {
        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        Stamps stamps;
        const double start = NowMs();
        orv_timer_t *timer = orv_timer_create(0, 200, StampTick, &stamps);
        ASSERT_NE(timer, nullptr);
        ASSERT_TRUE(WaitFor([&] { return stamps.count.load() >= 3; }, 3000));
        orv_timer_free(timer);
        const double first = stamps.at_ms[0] - start;
        EXPECT_GE(first, 990.0) << "the first tick came early";
        EXPECT_LE(first, 1000.0 + Scaled(250)) << "the first tick came late";
        for (int i = 1; i < 3; ++i) {
            const double gap = stamps.at_ms[i] - stamps.at_ms[i - 1];
            EXPECT_NEAR(gap, 200.0, static_cast<double>(Scaled(80))) << "gap before tick " << i;
        }
        orv_timer_uninit();
    });
}

TEST(Timer, TickCountFollowsThePeriod) {
    for (int workers : {1, 4}) {
        SCOPED_TRACE("workers: " + std::to_string(workers));
        RunInChild([workers] {
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            ASSERT_EQ(g_timer_ctrl->running, workers);
            constexpr int kPeriodMs = 20;
            constexpr int kWindowMs = 400;
            Counter counter;
            const double start = NowMs();
            orv_timer_t *timer = orv_timer_create(kPeriodMs, kPeriodMs, CountTick, &counter);
            ASSERT_NE(timer, nullptr);
            SleepMs(kWindowMs);
            orv_timer_free(timer);
            const double elapsed = NowMs() - start;
            const int calls = Calls(counter);
            // No more ticks than periods have passed; most of them arrive.
            EXPECT_LE(calls, static_cast<int>(elapsed / kPeriodMs) + 1);
            const int expected = kWindowMs / kPeriodMs;
            EXPECT_GE(calls, std::max(1, static_cast<int>(expected / (2 * orv_test::time_scale()))));
            SleepMs(3 * kPeriodMs);
            EXPECT_EQ(Calls(counter), calls) << "ticks after orv_timer_free returned";
            orv_timer_uninit();
        });
    }
}

// A callback that takes longer than its period.
struct Slow {
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    std::atomic<int> calls{0};
    long sleep_ms = 30;
};

void *SlowTick(void *arg) {
    auto *slow = static_cast<Slow *>(arg);
    if (slow->inside.fetch_add(1) != 0) slow->overlaps.fetch_add(1);
    SleepMs(slow->sleep_ms);
    slow->inside.fetch_sub(1);
    slow->calls.fetch_add(1);
    return nullptr;
}

TEST(Timer, SlowCallbackNeverRunsOnTwoWorkersAtOnce) {
    for (int workers : {1, 4}) {
        SCOPED_TRACE("workers: " + std::to_string(workers));
        RunInChild([workers] {
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            Slow slow;
            const double start = NowMs();
            orv_timer_t *timer = orv_timer_create(5, 5, SlowTick, &slow);
            ASSERT_NE(timer, nullptr);
            SleepMs(300);
            orv_timer_free(timer);
            const double elapsed = NowMs() - start;
            EXPECT_EQ(slow.overlaps.load(), 0);
            EXPECT_GE(slow.calls.load(), 2);
            // Missed ticks are not made up.
            EXPECT_LE(slow.calls.load(), static_cast<int>(elapsed / slow.sleep_ms) + 1);
            orv_timer_uninit();
        });
    }
}

// Blocks the worker that runs it on the first call until released.
struct Gate {
    std::atomic<int> blocked{0};
    std::atomic<int> release{0};
};

void *GateTick(void *arg) {
    auto *gate = static_cast<Gate *>(arg);
    if (gate->blocked.exchange(1) == 0) {
        WaitFor([gate] { return gate->release.load() != 0; }, 5000);
    }
    return nullptr;
}

TEST(Timer, BlockedCallbackHoldsUpOtherTimersOnlyOnOneWorker) {
    for (int workers : {1, 4}) {
        SCOPED_TRACE("workers: " + std::to_string(workers));
        RunInChild([workers] {
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            Gate gate;
            Counter fast;
            orv_timer_t *blocker = orv_timer_create(5, 60000, GateTick, &gate);
            ASSERT_NE(blocker, nullptr);
            ASSERT_TRUE(WaitFor([&] { return gate.blocked.load() != 0; }, 2000));
            orv_timer_t *timer = orv_timer_create(5, 5, CountTick, &fast);
            ASSERT_NE(timer, nullptr);
            SleepMs(150);
            const int while_blocked = Calls(fast);
            gate.release.store(1);
            if (workers == 1) {
                EXPECT_EQ(while_blocked, 0) << "a tick ran beside the blocked callback";
            } else {
                EXPECT_GE(while_blocked, 3) << "other workers did not run the fast timer";
            }
            // Released, the fast timer ticks on one worker too.
            EXPECT_TRUE(WaitFor([&] { return Calls(fast) >= while_blocked + 3; }, 2000));
            orv_timer_uninit();
        });
    }
}

// ---- Log lines ---------------------------------------------------------------

// A callback that sleeps on its first call only, so the ticks behind it
// pile up as overruns.
struct SlowOnce {
    std::atomic<int> calls{0};
    long first_sleep_ms = 100;
};

void *SlowOnceTick(void *arg) {
    auto *slow = static_cast<SlowOnce *>(arg);
    if (slow->calls.fetch_add(1) == 0) SleepMs(slow->first_sleep_ms);
    return nullptr;
}

TEST(Timer, OverrunIsLoggedBehindTheCallbackOnOneWorker) {
    RunInChild([] {
        int32_t cursor = 0;
        ASSERT_TRUE(StartLog(&cursor));
        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        SlowOnce slow;
        orv_timer_t *timer = orv_timer_create(10, 10, SlowOnceTick, &slow);
        ASSERT_NE(timer, nullptr);
        ASSERT_TRUE(WaitFor([&] { return slow.calls.load() >= 3; }, 3000));
        orv_timer_free(timer);

        const std::string prefix = Format("syslog(sys) : timer (%p) is called,overrun=", timer);
        int lines = 0;
        for (const orv_log_entry_t &entry : ReadLog(&cursor)) {
            unsigned long overrun = 0;
            std::string rest;
            if (std::strstr(entry.message, " is called in ") != nullptr) {
                ADD_FAILURE() << "several-worker form on one worker: " << entry.message;
            }
            if (!NumberAfter(entry.message, prefix, &overrun, &rest)) continue;
            ++lines;
            EXPECT_EQ(entry.level, ORV_LOG_ERROR) << entry.message;
            EXPECT_GT(overrun, 0u) << entry.message;
            EXPECT_EQ(rest, "") << entry.message;
        }
        EXPECT_GE(lines, 1) << "no overrun line; expected one starting " << prefix;
        orv_timer_uninit();
        orv_log_uninit();
    });
}

TEST(Timer, OverrunOnSeveralWorkersNamesTheWorkerAndSignal) {
    RunInChild([] {
        int32_t cursor = 0;
        ASSERT_TRUE(StartLog(&cursor));
        ASSERT_EQ(orv_timer_init(kSigNo, 2), 1);
        ASSERT_EQ(g_timer_ctrl->running, 2);
        const unsigned long workers[2] = {static_cast<unsigned long>(g_timer_ctrl->threads[0]),
                                          static_cast<unsigned long>(g_timer_ctrl->threads[1])};
        // The blocker keeps one worker busy, the slow first call of `timer`
        // the other, so the ticks of `timer` queue up as overruns.
        SlowOnce blocking;
        blocking.first_sleep_ms = 300;
        orv_timer_t *blocker = orv_timer_create(5, 60000, SlowOnceTick, &blocking);
        ASSERT_NE(blocker, nullptr);
        ASSERT_TRUE(WaitFor([&] { return blocking.calls.load() >= 1; }, 2000));
        SlowOnce slow;
        orv_timer_t *timer = orv_timer_create(10, 10, SlowOnceTick, &slow);
        ASSERT_NE(timer, nullptr);
        ASSERT_TRUE(WaitFor([&] { return slow.calls.load() >= 3; }, 3000));
        orv_timer_free(timer);
        orv_timer_free(blocker);

        const std::string prefix = Format("syslog(sys) : timer (%p) is called in ", timer);
        const std::string plain = Format("syslog(sys) : timer (%p) is called,", timer);
        int lines = 0;
        for (const orv_log_entry_t &entry : ReadLog(&cursor)) {
            EXPECT_NE(std::string(entry.message).rfind(plain, 0), 0u)
                << "one-worker form on two workers: " << entry.message;
            unsigned long thread = 0;
            unsigned long overrun = 0;
            std::string rest;
            std::string tail;
            if (!NumberAfter(entry.message, prefix, &thread, &rest)) continue;
            ++lines;
            EXPECT_EQ(entry.level, ORV_LOG_ERROR) << entry.message;
            EXPECT_TRUE(thread == workers[0] || thread == workers[1])
                << "not a worker's thread: " << entry.message;
            ASSERT_TRUE(NumberAfter(rest, ",overrun=", &overrun, &tail)) << entry.message;
            EXPECT_GT(overrun, 0u) << entry.message;
            EXPECT_EQ(tail, ",signo=" + std::to_string(kSigNo)) << entry.message;
        }
        EXPECT_GE(lines, 1) << "no overrun line; expected one starting " << prefix;
        orv_timer_uninit();
        orv_log_uninit();
    });
}

TEST(Timer, EveryWorkerLogsItsStartAndItsTwoExitLines) {
    for (int workers : {1, 3}) {
        SCOPED_TRACE("workers: " + std::to_string(workers));
        RunInChild([workers] {
            int32_t cursor = 0;
            ASSERT_TRUE(StartLog(&cursor));
            const int tasks = SettledTaskCount();
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            orv_timer_uninit();
            EXPECT_TRUE(TasksBackTo(tasks)) << "a worker was left running";

            const std::vector<orv_log_entry_t> entries = ReadLog(&cursor);
            for (int i = 0; i < workers; ++i) {
                const std::string started =
                    "syslog(sys) : timer thread[" + std::to_string(i) + "] is started!!!";
                EXPECT_EQ(CountLines(entries, ORV_LOG_DEBUG, started), 1) << started;
            }
            EXPECT_EQ(CountLines(entries, ORV_LOG_DEBUG, "kill " + std::to_string(kSigNo + 1)), 1);
            const std::string caught = "syslog(sys) : timer thread catch exit signal";
            const std::string gone = "syslog(sys) : timer thread exit";
            EXPECT_EQ(CountLines(entries, ORV_LOG_WARN, caught), workers);
            EXPECT_EQ(CountLines(entries, ORV_LOG_WARN, gone), workers);
            // Each worker says that it caught the signal before it says it exits.
            int open = 0;
            for (const orv_log_entry_t &entry : entries) {
                if (caught == entry.message) ++open;
                if (gone == entry.message) {
                    EXPECT_GT(open, 0) << "an exit line before its catch line";
                    --open;
                }
            }
            orv_log_uninit();
        });
    }
}

// ---- Teardown and restart ----------------------------------------------------

void *SleepFiveTick(void *arg) {
    SleepMs(5);
    static_cast<Counter *>(arg)->calls.fetch_add(1);
    return nullptr;
}

TEST(Timer, TeardownWhileCallbacksOutlastTheirPeriods) {
    RunInChild([] {
        const int tasks = SettledTaskCount();
        ASSERT_EQ(orv_timer_init(kSigNo, 4), 1);
        Counter counter;
        for (int i = 0; i < 8; ++i) {
            ASSERT_NE(orv_timer_create(1, 1, SleepFiveTick, &counter), nullptr);
        }
        ASSERT_TRUE(WaitFor([&] { return Calls(counter) >= 20; }, 3000));
        SleepMs(50);
        const double start = NowMs();
        orv_timer_uninit();  // the timers are still on the list
        EXPECT_LT(NowMs() - start, static_cast<double>(Scaled(2000)));
        EXPECT_EQ(g_timer_ctrl, nullptr);
        EXPECT_TRUE(TasksBackTo(tasks)) << "not every worker was joined";
        const int calls = Calls(counter);
        SleepMs(30);
        EXPECT_EQ(Calls(counter), calls) << "a callback ran after teardown";
    });
}

// A standard exit signal does not queue: each worker needs its own.
TEST(Timer, TeardownWithAStandardExitSignalEndsEveryWorker) {
    RunInChild(
        [] {
            const int tasks = SettledTaskCount();
            ASSERT_EQ(orv_timer_init(SIGUSR2, 4), 1);
            Counter counter;
            ASSERT_NE(orv_timer_create(5, 5, CountTick, &counter), nullptr);
            EXPECT_TRUE(WaitFor([&] { return Calls(counter) >= 3; }, 2000));
            orv_timer_uninit();
            EXPECT_EQ(g_timer_ctrl, nullptr);
            EXPECT_TRUE(TasksBackTo(tasks)) << "not every worker was joined";
        },
        SIGUSR2);
}

TEST(Timer, RestartGivesAnEmptyListAndTicksAgain) {
    RunInChild([] {
        const int tasks = SettledTaskCount();
        Counter before;
        ASSERT_EQ(orv_timer_init(kSigNo, 2), 1);
        ASSERT_NE(orv_timer_create(5, 5, CountTick, &before), nullptr);
        ASSERT_NE(orv_timer_create(5, 5, CountTick, &before), nullptr);
        ASSERT_TRUE(WaitFor([&] { return Calls(before) >= 4; }, 2000));
        orv_timer_uninit();  // leaves the timer signal ignored
        const int calls_before = Calls(before);

        for (int round = 0; round < 3; ++round) {
            SCOPED_TRACE("restart " + std::to_string(round + 1));
            ASSERT_EQ(orv_timer_init(kSigNo, 2), 1);
            EXPECT_EQ(g_timer_ctrl->timers.first, nullptr);
            EXPECT_EQ(ListCount(), 0);
            EXPECT_EQ(g_timer_ctrl->running, 2);
            Counter after;
            ASSERT_NE(orv_timer_create(5, 5, CountTick, &after), nullptr);
            EXPECT_TRUE(WaitFor([&] { return Calls(after) >= 3; }, 2000))
                << "no ticks after a restart";
            orv_timer_uninit();
            EXPECT_TRUE(TasksBackTo(tasks));
        }
        EXPECT_EQ(Calls(before), calls_before) << "a timer of the first service ticked later";
    });
}

// ---- Freeing while ticks run -------------------------------------------------

struct SelfFreeing {
    std::atomic<orv_timer_t *> timer{nullptr};
    std::atomic<int> calls{0};
    std::atomic<int> freed{0};
    std::atomic<int> after_free{0};
    int free_on_call = 3;
};

void *SelfFreeingTick(void *arg) {
    auto *state = static_cast<SelfFreeing *>(arg);
    if (state->freed.load() != 0) state->after_free.fetch_add(1);
    const int call = state->calls.fetch_add(1) + 1;
    orv_timer_t *timer = state->timer.load();
    if (call >= state->free_on_call && timer != nullptr && state->freed.load() == 0) {
        orv_timer_free(timer);
        state->freed.store(1);
    }
    return nullptr;
}

TEST(Timer, CallbackFreesItsOwnTimer) {
    for (int workers : {1, 4}) {
        SCOPED_TRACE("workers: " + std::to_string(workers));
        RunInChild([workers] {
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            Counter other;
            ASSERT_NE(orv_timer_create(2, 2, CountTick, &other), nullptr);
            SelfFreeing state;
            orv_timer_t *timer = orv_timer_create(20, 2, SelfFreeingTick, &state);
            ASSERT_NE(timer, nullptr);
            state.timer.store(timer);
            ASSERT_TRUE(WaitFor([&] { return state.freed.load() != 0; }, 3000));
            const int calls = state.calls.load();
            const int other_calls = Calls(other);
            SleepMs(50);
            EXPECT_EQ(state.after_free.load(), 0) << "the callback ran after it freed its timer";
            EXPECT_EQ(state.calls.load(), calls);
            EXPECT_GE(calls, state.free_on_call);
            EXPECT_EQ(ListCount(), 1) << "only the other timer should be left";
            EXPECT_EQ(orv_list_find(&g_timer_ctrl->timers, timer), 0);
            EXPECT_GT(Calls(other), other_calls) << "the service stopped ticking";
            orv_timer_uninit();
        });
    }
}

// The first call stays inside for a while; the test frees the timer then.
struct LongCall {
    std::atomic<int> calls{0};
    std::atomic<int> inside{0};
    std::atomic<int> finished{0};
};

void *LongCallTick(void *arg) {
    auto *state = static_cast<LongCall *>(arg);
    if (state->calls.fetch_add(1) == 0) {
        state->inside.store(1);
        SleepMs(200);
        state->inside.store(0);
        state->finished.store(1);
    }
    return nullptr;
}

TEST(Timer, FreeWaitsForTheCallbackRunningOnAWorker) {
    for (int workers : {1, 2, 4}) {
        SCOPED_TRACE("workers: " + std::to_string(workers));
        RunInChild([workers] {
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            LongCall state;
            orv_timer_t *timer = orv_timer_create(10, 5, LongCallTick, &state);
            ASSERT_NE(timer, nullptr);
            ASSERT_TRUE(WaitFor([&] { return state.inside.load() != 0; }, 2000));
            const double start = NowMs();
            orv_timer_free(timer);
            const double took = NowMs() - start;
            EXPECT_EQ(state.finished.load(), 1) << "orv_timer_free returned during the callback";
            EXPECT_EQ(state.inside.load(), 0);
            EXPECT_GE(took, 50.0) << "orv_timer_free did not wait";
            const int calls = state.calls.load();
            SleepMs(30);
            EXPECT_EQ(state.calls.load(), calls) << "a tick ran after orv_timer_free returned";
            EXPECT_EQ(ListCount(), 0);
            orv_timer_uninit();
        });
    }
}

// Per timer: its ticks, and whether a tick came after its free returned.
struct ChurnSlot {
    std::atomic<int> calls{0};
    std::atomic<int> freed{0};
    std::atomic<int> late{0};
};

void *ChurnTick(void *arg) {
    auto *slot = static_cast<ChurnSlot *>(arg);
    if (slot->freed.load() != 0) slot->late.fetch_add(1);
    slot->calls.fetch_add(1);
    return nullptr;
}

// Four threads create and free 1 ms timers on four workers for duration_ms,
// beside one timer that lives throughout.
void Churn(long duration_ms) {
    const int tasks = SettledTaskCount();
    ASSERT_EQ(orv_timer_init(kSigNo, 4), 1);
    Counter steady;
    orv_timer_t *steady_timer = orv_timer_create(1, 1, CountTick, &steady);
    ASSERT_NE(steady_timer, nullptr);

    struct Tally {
        std::deque<ChurnSlot> slots;  // stable addresses, kept to the end
        int failed_creates = 0;
    };
    std::vector<Tally> tallies(4);
    const double deadline = NowMs() + static_cast<double>(duration_ms);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&tallies, t, deadline] {
            Tally &tally = tallies[t];
            for (int i = 0; NowMs() < deadline; ++i) {
                ChurnSlot &slot = tally.slots.emplace_back();
                orv_timer_t *timer = orv_timer_create(1 + i % 3, 1, ChurnTick, &slot);
                if (timer == nullptr) {
                    ++tally.failed_creates;
                    continue;
                }
                if (i % 4 != 0) std::this_thread::sleep_for(std::chrono::microseconds(500 * (i % 4)));
                orv_timer_free(timer);
                slot.freed.store(1);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();

    int created = 0;
    int ticks = 0;
    for (const Tally &tally : tallies) {
        EXPECT_EQ(tally.failed_creates, 0);
        created += static_cast<int>(tally.slots.size());
        for (const ChurnSlot &slot : tally.slots) {
            EXPECT_EQ(slot.late.load(), 0) << "a tick ran after orv_timer_free returned";
            ticks += slot.calls.load();
        }
    }
    EXPECT_GT(created, 40);
    EXPECT_GT(ticks, 0) << "no churned timer ever ticked";
    EXPECT_GE(Calls(steady), 10) << "the lasting timer stopped ticking";
    EXPECT_EQ(ListCount(), 1) << "a freed timer was left on the list";
    EXPECT_EQ(orv_list_begin(&g_timer_ctrl->timers), steady_timer);
    orv_timer_uninit();
    EXPECT_TRUE(TasksBackTo(tasks)) << "not every worker was joined";
}

TEST(Timer, CreateAndFreeFromSeveralThreadsWhileTicksRun) {
    RunInChild([] { Churn(300); });
}

TEST(TimerSoak, ChurnOnFourWorkers) {
    const long duration_ms = Scaled(3000);
    RunInChild([duration_ms] { Churn(duration_ms); }, kSigNo, 30 + duration_ms / 1000);
}

// ---- Settings, through the probe in a scratch tree ---------------------------

class TimerSettings : public ::testing::Test {
protected:
    std::filesystem::path root_;

    void SetUp() override {
        const char *base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") +
                              "/orv_timer_XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        ASSERT_NE(mkdtemp(name.data()), nullptr) << pattern;
        root_ = name.data();
        std::filesystem::create_directories(root_ / "bin");
        std::filesystem::create_directories(root_ / "ini");
        std::filesystem::copy_file(ORV_TIMER_PROBE, Probe());
        std::filesystem::permissions(Probe(), std::filesystem::perms::owner_all);
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }

    std::filesystem::path Probe() const { return root_ / "bin" / "orv_timer_probe"; }
    std::filesystem::path Settings() const { return root_ / "ini" / "orv.ini"; }

    void WriteSettings(const std::string &text) {
        std::ofstream out(Settings(), std::ios::binary | std::ios::trunc);
        out << text;
    }

    // Runs the probe (under the emulator of a cross build) and gives its
    // "key=value" lines; an empty map when it did not exit with 0.
    std::map<std::string, std::string> RunProbe(const std::vector<std::string> &args) {
        std::vector<std::string> words;
        std::istringstream emulator(ORV_TEST_EMULATOR);
        for (std::string word; emulator >> word;) words.push_back(word);
        words.push_back(Probe().string());
        words.insert(words.end(), args.begin(), args.end());

        int fds[2];
        if (pipe(fds) != 0) return {};
        std::fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            alarm(static_cast<unsigned>(30 * orv_test::time_scale()));  // survives exec
            dup2(fds[1], STDOUT_FILENO);
            close(fds[0]);
            close(fds[1]);
            std::vector<char *> argv;
            for (std::string &word : words) argv.push_back(word.data());
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(fds[1]);
        std::string output;
        char chunk[256];
        for (ssize_t n; (n = read(fds[0], chunk, sizeof chunk)) > 0;) output.append(chunk, n);
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "probe status " << status << ", output:\n" << output;
        std::map<std::string, std::string> values;
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            const size_t equals = line.find('=');
            if (equals != std::string::npos) values[line.substr(0, equals)] = line.substr(equals + 1);
        }
        return values;
    }
};

TEST_F(TimerSettings, ServiceStartsFromTheSettingsFile) {
    struct Row {
        const char *text;  // null: no settings file
        const char *signo;
        const char *workers;
    };
    const Row rows[] = {
        {nullptr, "50", "1"},
        {"[ORVCOM]\nTimerSigNo=0\nTimerThreadNum=-1\n", "50", "1"},
        {"[ORVCOM]\nTimerSigNo=45\nTimerThreadNum=3\n", "45", "3"},
        {"[ORVCOM]\nTimerThreadNum=2\n", "50", "2"},
        {"[ORVCOM]\nTimerSigNo=40\n", "40", "1"},
        {"[OTHER]\nTimerSigNo=45\nTimerThreadNum=3\n", "50", "1"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text == nullptr ? std::string("no settings file") : row.text);
        std::error_code ignored;
        std::filesystem::remove(Settings(), ignored);
        if (row.text != nullptr) WriteSettings(row.text);
        std::map<std::string, std::string> out = RunProbe({});
        EXPECT_EQ(out["signo"], row.signo);
        EXPECT_EQ(out["init"], "1");
        EXPECT_EQ(out["running_signo"], row.signo);
        EXPECT_EQ(out["thread_num"], row.workers);
        EXPECT_EQ(out["running"], row.workers);
        EXPECT_EQ(out["ticks"], "3") << "no ticks on the configured signal";
        EXPECT_EQ(out["stopped"], "1");
    }
}

TEST_F(TimerSettings, SignoReadsTheFileAtEachCall) {
    WriteSettings("[ORVCOM]\nTimerSigNo=45\n");
    std::map<std::string, std::string> out = RunProbe({"signo", "[ORVCOM]\nTimerSigNo=47\n"});
    EXPECT_EQ(out["signo"], "45");
    EXPECT_EQ(out["signo_after"], "47");

    out = RunProbe({"signo", "[ORVCOM]\nTimerSigNo=-3\n"});
    EXPECT_EQ(out["signo"], "47");
    EXPECT_EQ(out["signo_after"], "50");
}

}  // namespace
