// The timer service: POSIX timers whose signal a pool of workers takes with
// sigwaitinfo.
//
// A signal's value is a bare pointer to a timer record, and a tick can be
// taken while another thread frees that timer. So a worker checks, under
// the service lock, that the record is still on the list and notes it as
// in flight; orv_timer_free takes the record off the list and then waits,
// on the same lock, until no worker has it in flight. The service lock is
// never held while a timer's own lock is, nor across a callback.
#include "orvsys/orv_timer.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "orvsys/orv_ini.h"
#include "orvsys/orv_log.h"
#include "orvsys/orv_path.h"
#include "orvsys/orv_safestr.h"

extern "C" {
ORV_API orv_timer_ctrl_t *g_timer_ctrl = nullptr;
}

namespace {

constexpr int kDefaultSigNo = 50;
constexpr int kDefaultThreadNum = 1;
constexpr int kDefaultFirstMs = 1000;
constexpr int32_t kPathSize = 128;
constexpr char kSection[] = "ORVCOM";

// What each worker is running; one slot per worker, claimed at its start.
// Lives beside the service record, whose layout is fixed.
struct InFlight {
    orv_timer_t *timer;
    pthread_t thread;
    bool release_after;  // the callback freed its own timer
};

InFlight *g_in_flight = nullptr;
int g_slots_claimed = 0;
pthread_cond_t g_in_flight_done = PTHREAD_COND_INITIALIZER;

struct Settings {
    int signo;
    int thread_num;
};

Settings read_settings() {
    char path[kPathSize];
    orv_snprintf(path, sizeof path, "%s/ini/%s", orv_rootdir(), "orv.ini");
    int signo = orv_ini_get_long(kSection, "TimerSigNo", kDefaultSigNo, path);
    if (signo < 1) signo = kDefaultSigNo;
    int thread_num = orv_ini_get_long(kSection, "TimerThreadNum", kDefaultThreadNum, path);
    if (thread_num < 1) thread_num = kDefaultThreadNum;
    return {signo, thread_num};
}

struct timespec from_ms(int ms) {
    struct timespec ts;
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    return ts;
}

void disarm(orv_timer_t *timer) {
    struct itimerspec stop;
    std::memset(&stop, 0, sizeof stop);
    timer_settime(timer->timer_id, 0, &stop, nullptr);
}

void release_timer(orv_timer_t *timer) {
    pthread_mutex_destroy(&timer->lock);
    timer_delete(timer->timer_id);
    std::free(timer);
}

bool in_flight_elsewhere(const orv_timer_ctrl_t &ctrl, const orv_timer_t *timer, pthread_t self) {
    for (int i = 0; i < ctrl.thread_num; ++i) {
        if (g_in_flight[i].timer == timer && !pthread_equal(g_in_flight[i].thread, self)) {
            return true;
        }
    }
    return false;
}

InFlight *own_slot_running(const orv_timer_ctrl_t &ctrl, const orv_timer_t *timer, pthread_t self) {
    for (int i = 0; i < ctrl.thread_num; ++i) {
        if (g_in_flight[i].timer == timer && pthread_equal(g_in_flight[i].thread, self)) {
            return &g_in_flight[i];
        }
    }
    return nullptr;
}

// Takes the timer off the list and releases it once no other worker runs
// it; freed from inside its own callback, it is released by that worker
// when the callback returns. Called with the service lock held.
void retire_locked(orv_timer_ctrl_t *ctrl, orv_timer_t *timer) {
    orv_list_remove(&ctrl->timers, timer);
    disarm(timer);
    const pthread_t self = pthread_self();
    while (in_flight_elsewhere(*ctrl, timer, self)) {
        pthread_cond_wait(&g_in_flight_done, &ctrl->lock);
    }
    if (InFlight *own = own_slot_running(*ctrl, timer, self)) {
        own->release_after = true;
        return;
    }
    release_timer(timer);
}

// Runs one tick of timer, which the worker has in flight.
void run_tick(const orv_timer_ctrl_t &ctrl, orv_timer_t *timer, int overrun) {
    if (__atomic_load_n(&ctrl.running, __ATOMIC_RELAXED) <= 1) {
        timer->callback(timer->arg);
        if (overrun > 0) {
            orv_log_error("syslog(sys) : timer (%p) is called,overrun=%d", static_cast<void *>(timer),
                          overrun);
        }
        return;
    }
    // A tick that finds the callback still running on another worker is lost.
    if (pthread_mutex_trylock(&timer->lock) != 0) return;
    timer->callback(timer->arg);
    if (overrun > 0) {
        orv_log_error("syslog(sys) : timer (%p) is called in %lu,overrun=%d,signo=%d",
                      static_cast<void *>(timer), static_cast<unsigned long>(pthread_self()), overrun,
                      ctrl.signo);
    }
    pthread_mutex_unlock(&timer->lock);
}

// A tick's timer is used only while it is on the list; the slot keeps
// orv_timer_free from releasing it meanwhile.
void handle_tick(orv_timer_ctrl_t *ctrl, InFlight *slot, orv_timer_t *timer) {
    pthread_mutex_lock(&ctrl->lock);
    const bool runnable =
        timer != nullptr && orv_list_find(&ctrl->timers, timer) && timer->callback != nullptr;
    if (runnable) slot->timer = timer;
    pthread_mutex_unlock(&ctrl->lock);
    if (!runnable) return;
    run_tick(*ctrl, timer, timer_getoverrun(timer->timer_id));

    pthread_mutex_lock(&ctrl->lock);
    slot->timer = nullptr;
    if (slot->release_after) {
        slot->release_after = false;
        release_timer(timer);
    }
    pthread_cond_broadcast(&g_in_flight_done);
    pthread_mutex_unlock(&ctrl->lock);
}

void *orv_timer_thread(void *) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (ctrl == nullptr) return nullptr;
    pthread_mutex_lock(&ctrl->lock);
    InFlight *slot = &g_in_flight[g_slots_claimed++];
    slot->thread = pthread_self();
    pthread_mutex_unlock(&ctrl->lock);

    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, ctrl->signo);
    sigaddset(&set, ctrl->signo + 1);
    for (;;) {
        siginfo_t info;
        const int signo = sigwaitinfo(&set, &info);
        if (signo == ctrl->signo) {
            handle_tick(ctrl, slot, static_cast<orv_timer_t *>(info.si_value.sival_ptr));
        } else if (signo == ctrl->signo + 1) {
            break;
        }
    }
    orv_log_warn("syslog(sys) : timer thread catch exit signal");
    orv_log_warn("syslog(sys) : timer thread exit");
    return nullptr;
}

// Failed starts are passed over; the service runs on those that started.
bool start_threads(orv_timer_ctrl_t *ctrl) {
    if (ctrl->thread_num < 1) return false;
    ctrl->threads = static_cast<pthread_t *>(
        std::calloc(static_cast<size_t>(ctrl->thread_num), sizeof(pthread_t)));
    g_in_flight = static_cast<InFlight *>(
        std::calloc(static_cast<size_t>(ctrl->thread_num), sizeof(InFlight)));
    if (ctrl->threads == nullptr || g_in_flight == nullptr) return false;
    g_slots_claimed = 0;
    for (int i = 0; i < ctrl->thread_num; ++i) {
        if (pthread_create(&ctrl->threads[ctrl->running], nullptr, orv_timer_thread, nullptr) != 0) {
            continue;
        }
        orv_log_debug("syslog(sys) : timer thread[%d] is started!!!", i);
        // Workers already running read this to choose their locking.
        __atomic_store_n(&ctrl->running, ctrl->running + 1, __ATOMIC_RELAXED);
    }
    return ctrl->running > 0;
}

void release_service(orv_timer_ctrl_t *ctrl) {
    std::free(ctrl->threads);
    std::free(g_in_flight);
    g_in_flight = nullptr;
    std::free(ctrl);
}

}  // namespace

extern "C" {

ORV_API int orv_timer_signo(void) { return read_settings().signo; }

// The service lock comes into being before the workers, which use it to
// claim their slots and check their ticks.
ORV_API int orv_timer_init(int signo, int thread_num) {
    if (g_timer_ctrl != nullptr) return 1;
    auto *ctrl = static_cast<orv_timer_ctrl_t *>(std::calloc(1, sizeof(orv_timer_ctrl_t)));
    if (ctrl == nullptr) return 0;
    ctrl->signo = signo;
    ctrl->thread_num = thread_num;
    if (pthread_mutex_init(&ctrl->lock, nullptr) != 0) {
        std::free(ctrl);
        return 0;
    }
    g_timer_ctrl = ctrl;
    if (!start_threads(ctrl)) {
        g_timer_ctrl = nullptr;
        pthread_mutex_destroy(&ctrl->lock);
        release_service(ctrl);
        return 0;
    }
    return 1;
}

ORV_API int orv_timer_init_ini(void) {
    const Settings settings = read_settings();
    orv_log_debug("syslog(sys) : sigNo=%d,threadNum=%d", settings.signo, settings.thread_num);
    return orv_timer_init(settings.signo, settings.thread_num);
}

// Every timer is disarmed before the exit signals go out: queued real-time
// signals are taken lowest number first, so a worker that kept finding
// ticks would never see its exit signal. One exit signal per worker is
// raised before the first join, since any worker may take any of them.
ORV_API void orv_timer_uninit(void) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (ctrl == nullptr) return;
    signal(ctrl->signo, SIG_IGN);
    orv_log_debug("kill %d", ctrl->signo + 1);
    pthread_mutex_lock(&ctrl->lock);
    for (void *t = orv_list_begin(&ctrl->timers); t != nullptr; t = orv_list_next(&ctrl->timers, t)) {
        disarm(static_cast<orv_timer_t *>(t));
    }
    pthread_mutex_unlock(&ctrl->lock);
    // A real-time exit signal queues once per kill; a standard one would
    // merge, so each worker then gets its own, directed at it.
    const int exit_signo = ctrl->signo + 1;
    for (int i = 0; i < ctrl->running; ++i) {
        if (exit_signo >= SIGRTMIN) {
            kill(getpid(), exit_signo);
        } else {
            pthread_kill(ctrl->threads[i], exit_signo);
        }
    }
    for (int i = 0; i < ctrl->running; ++i) pthread_join(ctrl->threads[i], nullptr);

    pthread_mutex_lock(&ctrl->lock);
    void *t = orv_list_begin(&ctrl->timers);
    while (t != nullptr) {
        void *next = orv_list_next(&ctrl->timers, t);
        orv_list_remove(&ctrl->timers, t);
        release_timer(static_cast<orv_timer_t *>(t));
        t = next;
    }
    pthread_mutex_unlock(&ctrl->lock);
    pthread_mutex_destroy(&ctrl->lock);
    g_timer_ctrl = nullptr;
    release_service(ctrl);
}

ORV_API orv_timer_t *orv_timer_create(int first_ms, int period_ms, orv_timer_callback_t callback,
                                      void *arg) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (ctrl == nullptr) return nullptr;
    if (first_ms < 1) first_ms = kDefaultFirstMs;
    if (period_ms < 1 || callback == nullptr) return nullptr;
    auto *timer = static_cast<orv_timer_t *>(std::calloc(1, sizeof(orv_timer_t)));
    if (timer == nullptr) return nullptr;
    timer->first_ms = first_ms;
    timer->period_ms = period_ms;
    timer->callback = callback;
    timer->arg = arg;
    pthread_mutex_init(&timer->lock, nullptr);

    struct sigevent event;
    std::memset(&event, 0, sizeof event);
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = ctrl->signo;
    event.sigev_value.sival_ptr = timer;
    if (timer_create(CLOCK_REALTIME, &event, &timer->timer_id) != 0) {
        pthread_mutex_destroy(&timer->lock);
        std::free(timer);
        return nullptr;
    }
    // Listed before it is armed, so that a worker that checks a tick finds
    // it: the first tick may still run before this returns.
    pthread_mutex_lock(&ctrl->lock);
    orv_list_push_back(&ctrl->timers, timer);
    pthread_mutex_unlock(&ctrl->lock);
    struct itimerspec schedule;
    schedule.it_interval = from_ms(period_ms);
    schedule.it_value = from_ms(first_ms);
    if (timer_settime(timer->timer_id, 0, &schedule, nullptr) != 0) {
        pthread_mutex_lock(&ctrl->lock);
        orv_list_remove(&ctrl->timers, timer);
        pthread_mutex_unlock(&ctrl->lock);
        release_timer(timer);
        return nullptr;
    }
    return timer;
}

ORV_API void orv_timer_free(orv_timer_t *timer) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (timer == nullptr || ctrl == nullptr) return;
    pthread_mutex_lock(&ctrl->lock);
    // A timer already taken off (freed twice, or freed by its own callback
    // and not yet released) is not on the list: leave the list alone.
    if (orv_list_find(&ctrl->timers, timer)) retire_locked(ctrl, timer);
    pthread_mutex_unlock(&ctrl->lock);
}

}  // extern "C"
