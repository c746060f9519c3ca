// The timer service. It is process-wide, so every case runs in a forked
// child that blocks the timer and exit signals before any thread exists, as
// a service process does; the child's alarm turns a hang into a failure, and
// under ASan its leak check catches a record that teardown forgot.
#include "orvsys/orv_timer.h"

#include <atomic>
#include <climits>
#include <vector>

#include "internal/raii.h"
#include "orvsys/orv_log.h"
#include "support/orv_test.h"  // also threads, signals, strings

namespace {

using namespace orv_test;

constexpr int kSigNo = 50;

template <class Body>
void InChild(int signo, Body body) {
    ChildResult r = run_in_child(body, 20, signo);
    EXPECT_TRUE(r.ok()) << r;
}

// Threads of this process, compared once steady: a sanitizer may start a
// helper at the first thread, and under an emulator a joined thread stays
// listed a while.
int TaskCount() {
    const std::string status = read_file("/proc/self/status");
    return std::atoi(status.c_str() + status.find("Threads:") + 8);
}

int TasksBefore() {
    std::thread([] {}).join();
    int count = -1, was = 0;  // steady once two reads 20 ms apart agree
    wait_for([&] { return was = count, sleep_ms(20), (count = TaskCount()) == was; }, 3000);
    return count;
}

int ListCount() {  // under the service lock, since workers may change the list
    orv::internal::mutex_guard lock(&g_timer_ctrl->lock);
    return orv_list_count(&g_timer_ctrl->timers);
}

void *Count(void *arg) { return ++*static_cast<std::atomic<int> *>(arg), nullptr; }

int PosixTimers() {  // the process's POSIX timers as the kernel lists them; 0 without the list
    const std::string text = read_file("/proc/self/timers");
    int count = 0;
    for (size_t at = 0; (at = text.find("ID:", at)) != std::string::npos; ++at) ++count;
    return count;
}

// The log in the child, at the root of a scratch tree, read from its end.
struct ChildLog {
    Tree tree;
    int32_t cursor = 0;
    std::vector<std::pair<int, std::string>> seen;  // level and message
    ChildLog() {
        tree.use();
        EXPECT_EQ(orv_log_init("timer"), 1);
        orv_log_sync(&cursor);
    }
    ~ChildLog() { orv_log_uninit(); }
    // Every message so far of the level that starts with prefix.
    std::vector<std::string> Lines(int level, const std::string &prefix) {
        while (orv_log_entry_t *e = orv_log_get(&cursor)) seen.emplace_back(e->level, e->message);
        std::vector<std::string> lines;
        for (const auto &[at, text] : seen)
            if (at == level && text.starts_with(prefix)) lines.push_back(text);
        return lines;
    }
};

TEST(Timer, InitRefusalsLeaveNoServiceAndNeverHang) {
    InChild(kSigNo, [] {
        const int tasks = TasksBefore();
        // clang-format off
        const int rows[][2] = {{0, 1}, {32, 1}, {31, 1}, {64, 1}, {SIGRTMAX, 1}, {-1, 1}, {65, 1},
            {INT_MAX, 1}, {kSigNo, 0}, {kSigNo, -3}};
        // clang-format on
        for (const auto &row : rows) {
            EXPECT_TRUE(orv_timer_init(row[0], row[1]) == 0 && g_timer_ctrl == nullptr &&
                        TaskCount() == tasks)
                << row[0] << ", " << row[1];
        }
        orv_timer_uninit();
    });
}

TEST(Timer, CreateRefusesOrArmsFromItsArguments) {
    InChild(kSigNo, [] {
        std::atomic<int> calls{0};
        EXPECT_EQ(orv_timer_create(10, 10, Count, &calls), nullptr) << "without a service";
        ASSERT_EQ(orv_timer_init(kSigNo, 1), 1);
        orv_timer_free(reinterpret_cast<orv_timer_t *>(&calls));  // not a timer: nothing happens
        // clang-format off
        struct Row { int first, period; orv_timer_callback_t callback; int stored; long s, ns; };
        const Row rows[] = {{10, 0, Count, -1, 0, 0}, {10, -1, Count, -1, 0, 0},  // -1: refused
            {10, 10, nullptr, -1, 0, 0}, {60000, 1500, Count, 60000, 1, 500000000},
            {60000, 1, Count, 60000, 0, 1000000}, {2500, 2000, Count, 2500, 2, 0},
            {0, 60000, Count, 1000, 60, 0}, {-5, 200, Count, 1000, 0, 200000000}};
        // clang-format on
        for (const Row &row : rows) {
            SCOPED_TRACE(std::to_string(row.first) + " " + std::to_string(row.period));
            orv_timer_t *timer = orv_timer_create(row.first, row.period, row.callback, &calls);
            ASSERT_EQ(timer != nullptr, row.stored >= 0);
            if (timer == nullptr) continue;
            struct itimerspec armed;
            ASSERT_EQ(timer_gettime(timer->timer_id, &armed), 0);
            EXPECT_EQ(std::make_tuple(timer->first_ms, timer->period_ms, armed.it_interval.tv_sec,
                                      armed.it_interval.tv_nsec),
                      std::make_tuple(row.stored, row.period, row.s, row.ns));
            const long left_ms = armed.it_value.tv_sec * 1000 + armed.it_value.tv_nsec / 1000000;
            EXPECT_TRUE(left_ms <= row.stored && left_ms >= row.stored - scaled_ms(100)) << left_ms;
            orv_timer_free(timer);
        }
        EXPECT_TRUE(ListCount() == 0 && calls == 0);
        orv_timer_uninit();
    });
}

// A callback slower than its period never runs on two workers at once, and
// the ticks behind it are logged as overruns, in the form of the worker
// count. With two workers a blocker keeps the other one busy at first, so
// the slow timer's signals pile up instead of being taken and dropped.
struct Probe {
    std::atomic<orv_timer_t *> timer{nullptr};  // set while ticks may run
    std::atomic<int> inside{0}, overlaps{0}, calls{0}, finished{0};
    long first_sleep_ms = 100;
    bool free_own = false;
};

void *ProbeTick(void *arg) {
    auto *p = static_cast<Probe *>(arg);
    if (++p->inside > 1) ++p->overlaps;
    if (p->free_own) orv_timer_free(p->timer);
    sleep_ms(p->calls++ == 0 ? p->first_sleep_ms : 10);
    ++p->finished;
    --p->inside;
    return nullptr;
}

TEST(Timer, SlowCallbackRunsAloneAndLogsOverruns) {
    for (int workers : {1, 2}) {
        SCOPED_TRACE(std::to_string(workers) + " workers");
        InChild(kSigNo, [workers] {
            ChildLog log;
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            Probe blocker{.first_sleep_ms = 150}, slow;
            ASSERT_TRUE(workers == 1 || orv_timer_create(1, 60000, ProbeTick, &blocker) != nullptr);
            orv_timer_t *timer = orv_timer_create(5, 5, ProbeTick, &slow);
            ASSERT_NE(timer, nullptr);
            EXPECT_TRUE(wait_for([&] { return slow.calls >= 8; }, 3000));
            orv_timer_free(timer);
            EXPECT_EQ(slow.overlaps, 0);

            std::vector<std::string> lines = log.Lines(ORV_LOG_ERROR, "syslog(sys) : timer (");
            ASSERT_FALSE(lines.empty()) << "no overrun line";
            void *named = nullptr;
            unsigned long self = 0;
            int overrun = 0, signo = kSigNo, used = 0;
            const char *line = lines.front().c_str();
            const char *one = "syslog(sys) : timer (%p) is called,overrun=%d%n";
            const char *many = "syslog(sys) : timer (%p) is called in %lu,overrun=%d,signo=%d%n";
            const int fields =
                workers == 1 ? std::sscanf(line, one, &named, &overrun, &used)
                             : std::sscanf(line, many, &named, &self, &overrun, &signo, &used);
            EXPECT_TRUE(fields == (workers == 1 ? 2 : 4) && line[used] == '\0' && named == timer &&
                        overrun > 0 && signo == kSigNo)
                << line;
            orv_timer_uninit();
            for (const char *text : {"syslog(sys) : timer thread catch exit signal",
                                     "syslog(sys) : timer thread exit"}) {
                EXPECT_EQ(log.Lines(ORV_LOG_WARN, text).size(), size_t(workers)) << text;
            }
        });
    }
}

// Teardown ends and joins every worker while ticks outlast their periods,
// releasing the timers still listed; a standard exit signal does not queue,
// so each worker must get its own. A second init changes nothing, and a
// restart starts with an empty list.
TEST(Timer, TeardownEndsEveryWorkerAndRestartStartsEmpty) {
    for (int signo : {kSigNo, SIGUSR2}) {
        SCOPED_TRACE("signo " + std::to_string(signo));
        InChild(signo, [signo] {
            const int tasks = TasksBefore(), timers = PosixTimers();
            ASSERT_EQ(orv_timer_init(signo, 4), 1);
            orv_timer_ctrl_t *first = g_timer_ctrl;
            EXPECT_EQ(orv_timer_init(signo + 2, 3), 1);
            EXPECT_TRUE(g_timer_ctrl == first && first->signo == signo && first->running == 4);
            Probe probe{.first_sleep_ms = 10};
            for (int i = 0; i < 8; ++i)
                ASSERT_NE(orv_timer_create(1, 1, ProbeTick, &probe), nullptr);
            EXPECT_TRUE(wait_for([&] { return probe.calls >= 20; }, 3000));
            orv_timer_uninit();
            EXPECT_EQ(g_timer_ctrl, nullptr);
            EXPECT_TRUE(wait_for([&] { return TaskCount() == tasks; }, 2000)) << "not joined";
            EXPECT_EQ(PosixTimers(), timers) << "a POSIX timer outlived its record";
            const int after = probe.calls;
            sleep_ms(30);
            EXPECT_EQ(probe.calls, after) << "a callback ran after teardown";
            orv_timer_free(nullptr);
            orv_timer_uninit();

            ASSERT_EQ(orv_timer_init(signo, 1), 1);
            EXPECT_EQ(ListCount(), 0);
            ASSERT_NE(orv_timer_create(5, 5, Count, &probe.calls), nullptr);
            EXPECT_TRUE(wait_for([&] { return probe.calls >= after + 3; }, 2000));
            orv_timer_uninit();
        });
    }
}

// Two timers whose callbacks meet, then each frees the other's timer, which
// is running on the other worker: neither may wait for the other.
struct Pair {
    std::atomic<orv_timer_t *> timer[2] = {nullptr, nullptr};  // set while ticks may run
    orv_timer_t *idle = nullptr;  // never ticks; freed from a callback all the same
    std::atomic<int> arrived{0}, freed{0};
};

template <int Mine>
void *FreeTheOther(void *arg) {
    auto *pair = static_cast<Pair *>(arg);
    if (pair->timer[0] == nullptr || pair->timer[1] == nullptr) return nullptr;
    ++pair->arrived;
    wait_for([pair] { return pair->arrived >= 2; }, 2000);
    orv_timer_free(pair->timer[1 - Mine]);
    if (Mine == 0) orv_timer_free(pair->idle);
    return ++pair->freed, nullptr;
}

TEST(TimerFree, CallbacksFreeEachOthersTimersWithoutWaiting) {
    for (int workers : {2, 4}) {
        SCOPED_TRACE(std::to_string(workers) + " workers");
        InChild(kSigNo, [workers] {
            const int timers = PosixTimers();
            ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
            Pair pair;
            std::atomic<int> idle_ticks{0};
            pair.idle = orv_timer_create(100000, 100000, Count, &idle_ticks);
            pair.timer[0] = orv_timer_create(20, 20, FreeTheOther<0>, &pair);
            pair.timer[1] = orv_timer_create(20, 20, FreeTheOther<1>, &pair);
            ASSERT_TRUE(pair.timer[0] != nullptr && pair.timer[1] != nullptr);
            EXPECT_TRUE(wait_for([&] { return pair.freed >= 2; }, 3000)) << "a free waited";
            EXPECT_TRUE(wait_for([] { return ListCount() == 0; }, 1000));  // one may free twice
            orv_timer_uninit();
            EXPECT_EQ(PosixTimers(), timers) << "the idle timer was never released";
        });
    }
}

// A callback that frees its own timer never runs again; a plain thread's
// free returns only once the running callback has finished.
TEST(TimerFree, FromOwnCallbackOrPlainThread) {
    for (int workers : {1, 3}) {
        for (bool free_own : {true, false}) {
            SCOPED_TRACE(std::to_string(workers) + " workers, " + (free_own ? "own" : "plain"));
            InChild(kSigNo, [workers, free_own] {
                ASSERT_EQ(orv_timer_init(kSigNo, workers), 1);
                Probe probe{.first_sleep_ms = free_own ? 0 : 150, .free_own = free_own};
                probe.timer = orv_timer_create(50, 5, ProbeTick, &probe);
                ASSERT_NE(probe.timer, nullptr);
                ASSERT_TRUE(wait_for([&] { return probe.calls >= 1; }, 2000));
                if (!free_own) {
                    orv_timer_free(probe.timer);
                    EXPECT_EQ(probe.calls, probe.finished) << "returned while the callback ran";
                }
                const int calls = probe.calls;
                sleep_ms(50);
                EXPECT_EQ(probe.calls, calls) << "ran after the free";
                EXPECT_EQ(ListCount(), 0);
                orv_timer_uninit();
            });
        }
    }
}

// Creates and frees from several threads while short ticks run, around idle
// timers that fill the live set: each must still be found when freed (else
// it stays listed), and under the sanitizers a worker touching a released
// record shows up. An emulated target may allow as few as 32 timers.
TEST(TimerFree, ChurnFromSeveralThreadsWhileTicksRun) {
    InChild(kSigNo, [] {
        ASSERT_EQ(orv_timer_init(kSigNo, 4), 1);
        std::atomic<int> calls{0};
        std::vector<orv_timer_t *> idle;
        for (int i = 0; i < 24; ++i) idle.push_back(orv_timer_create(60000, 60000, Count, &calls));
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([&calls] {
                for (int i = 0; i < 150; ++i) {
                    orv_timer_t *timer = orv_timer_create(1, 1, Count, &calls);
                    ASSERT_NE(timer, nullptr);
                    if (i % 3 == 0) sleep_ms(1);
                    orv_timer_free(timer);
                }
            });
        }
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(ListCount(), 24);
        for (size_t i = 0; i < idle.size(); i += 2) orv_timer_free(idle[i]);
        for (size_t i = 1; i < idle.size(); i += 2) orv_timer_free(idle[i]);
        EXPECT_EQ(ListCount(), 0);
        orv_timer_uninit();
    });
}

// The settings are read at each orv_timer_signo call and at the start; a
// signal that cannot be used fails the start with an error line.
TEST(TimerSettings, ServiceStartsFromTheSettingsFile) {
    // clang-format off
    struct Row { const char *ini; int signo, workers; };  // ini null: no file; workers 0: refused
    const Row rows[] = {{nullptr, 50, 1}, {"[ORVCOM]\nTimerSigNo=64\n", 64, 0},
        {"[ORVCOM]\nTimerSigNo=0\nTimerThreadNum=-1\n", 50, 1},
        {"[ORVCOM]\nTimerSigNo=40\nTimerThreadNum=3\n", 40, 3}};
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE(row.ini != nullptr ? row.ini : "no file");
        InChild(row.signo, [&row] {
            ChildLog log;
            ASSERT_TRUE(row.ini == nullptr || log.tree.write_ini(row.ini));
            const bool runs = row.workers > 0;
            EXPECT_EQ(orv_timer_signo(), row.signo);
            EXPECT_EQ(orv_timer_init_ini(), runs ? 1 : 0);
            const std::string refusal = "syslog(sys) : timer signal " + std::to_string(row.signo);
            EXPECT_EQ(log.Lines(ORV_LOG_ERROR, refusal + " cannot be used").size(), runs ? 0u : 1u);
            const std::string said = "syslog(sys) : sigNo=" + std::to_string(row.signo) + ",";
            EXPECT_EQ(log.Lines(ORV_LOG_DEBUG, said).size(), 1u);
            EXPECT_EQ(log.Lines(ORV_LOG_DEBUG, "syslog(sys) : timer thread[").size(), row.workers);
            ASSERT_EQ(g_timer_ctrl != nullptr, runs);
            if (!runs) return;
            EXPECT_TRUE(g_timer_ctrl->signo == row.signo && g_timer_ctrl->running == row.workers);
            ASSERT_TRUE(log.tree.write_ini("[ORVCOM]\nTimerSigNo=44\n"));
            EXPECT_EQ(orv_timer_signo(), 44);
            orv_timer_uninit();
        });
    }
}

}  // namespace
