// The timer service: POSIX timers whose signal a pool of workers takes with
// sigwaitinfo.
//
// A signal's value is a bare pointer to a timer record, and a tick can be
// taken while another thread frees that timer, or after. So the service
// keeps a set of its live records, keyed by address, beside the fixed
// service record: a worker dereferences a tick's pointer only once it has
// found it there under the service lock, and counts itself in flight on the
// record. A record in flight is released by the last worker to leave it
// (freed from a worker) or by the thread that freed it, which waits (freed
// from any other thread). Lookups are constant time, so a tick costs the
// same with one timer or ten thousand. The service lock is never held
// while a timer's own lock is, nor across a callback.
#include "orvsys/orv_timer.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "internal/path.h"
#include "internal/raii.h"
#include "orvsys/orv_ini.h"
#include "orvsys/orv_log.h"

extern "C" {
ORV_API orv_timer_ctrl_t *g_timer_ctrl = nullptr;
}

namespace {

using orv::internal::mutex_guard;

constexpr int kDefaultSigNo = 50;
constexpr int kDefaultThreadNum = 1;
constexpr int kDefaultFirstMs = 1000;
constexpr char kSection[] = "ORVCOM";
constexpr uint32_t kMinSetCapacity = 16;

// Who releases a record that orv_timer_free took off the list while a
// worker still had it in flight.
enum class Fate : int32_t { kLive, kReleaseByWorker, kReleaseByWaiter };

struct LiveEntry {
    orv_timer_t *timer;  // null: the slot is empty
    int32_t in_flight;   // workers between taking a tick and finishing it
    Fate fate;
};

// Open-addressed set of the service's records: linear probing, at most
// half full, erased by shifting the rest of the run back (no tombstones,
// so lookups stay short however many timers came and went). Used under the
// service lock only.
class LiveSet {
  public:
    LiveEntry *find(const orv_timer_t *timer) const {
        if (capacity_ == 0) return nullptr;
        for (uint32_t i = home(timer); slots_[i].timer != nullptr; i = next(i)) {
            if (slots_[i].timer == timer) return &slots_[i];
        }
        return nullptr;
    }

    // Room for one more record; false when the larger table cannot be had,
    // the set then unchanged.
    bool reserve_one() {
        if ((count_ + 1) * 2 <= capacity_) return true;
        const uint32_t capacity = capacity_ == 0 ? kMinSetCapacity : capacity_ * 2;
        auto *slots = static_cast<LiveEntry *>(std::calloc(capacity, sizeof(LiveEntry)));
        if (slots == nullptr) return false;
        LiveEntry *old = slots_;
        const uint32_t old_capacity = capacity_;
        slots_ = slots;
        capacity_ = capacity;
        count_ = 0;
        for (uint32_t i = 0; i < old_capacity; ++i) {
            if (old[i].timer != nullptr) *place(old[i].timer) = old[i];
        }
        std::free(old);
        return true;
    }

    // Adds a live record; reserve_one must have made room.
    void insert(orv_timer_t *timer) { *place(timer) = LiveEntry{timer, 0, Fate::kLive}; }

    void erase(LiveEntry *entry) {
        uint32_t hole = static_cast<uint32_t>(entry - slots_);
        for (uint32_t i = next(hole); slots_[i].timer != nullptr; i = next(i)) {
            // An entry moves into the hole unless its home lies cyclically
            // in (hole, i]: then the hole does not break its probe run.
            const uint32_t h = home(slots_[i].timer);
            const bool stays = hole < i ? (hole < h && h <= i) : (hole < h || h <= i);
            if (stays) continue;
            slots_[hole] = slots_[i];
            hole = i;
        }
        slots_[hole] = LiveEntry{};
        --count_;
    }

    void release() {
        std::free(slots_);
        slots_ = nullptr;
        capacity_ = count_ = 0;
    }

  private:
    uint32_t next(uint32_t i) const { return (i + 1) & (capacity_ - 1); }

    uint32_t home(const orv_timer_t *timer) const {
        uint64_t x = reinterpret_cast<uintptr_t>(timer);
        x ^= x >> 33;
        x *= 0xff51afd7ed558ccdULL;
        x ^= x >> 33;
        return static_cast<uint32_t>(x) & (capacity_ - 1);
    }

    LiveEntry *place(const orv_timer_t *timer) {
        uint32_t i = home(timer);
        while (slots_[i].timer != nullptr) i = next(i);
        ++count_;
        return &slots_[i];
    }

    LiveEntry *slots_;
    uint32_t capacity_;
    uint32_t count_;
};

// The service record as allocated: the public part first, so g_timer_ctrl
// points at it, and what the workers need beside it, whose layout is ours.
struct Service {
    orv_timer_ctrl_t ctrl;
    pthread_cond_t tick_done;  // signalled when a record a free waits on leaves its last worker
    LiveSet live;
};
static_assert(offsetof(Service, ctrl) == 0, "g_timer_ctrl must point at the service record");

Service *service_of(orv_timer_ctrl_t *ctrl) { return reinterpret_cast<Service *>(ctrl); }

struct Settings {
    int signo;
    int thread_num;
};

Settings read_settings() {
    char path[orv::internal::kPathSize];
    orv::internal::settings_path(path);
    int signo = orv_ini_get_long(kSection, "TimerSigNo", kDefaultSigNo, path);
    if (signo < 1) signo = kDefaultSigNo;
    int thread_num = orv_ini_get_long(kSection, "TimerThreadNum", kDefaultThreadNum, path);
    if (thread_num < 1) thread_num = kDefaultThreadNum;
    return {signo, thread_num};
}

// A signal the C library lets a set hold: not 0, not beyond the last one,
// not one its threads reserve for themselves.
bool usable_signal(int signo) {
    sigset_t set;
    sigemptyset(&set);
    return sigaddset(&set, signo) == 0;
}

struct timespec from_ms(int ms) {
    struct timespec ts;
    ts.tv_sec = ms / 1000;
    ts.tv_nsec = static_cast<long>(ms % 1000) * 1000000L;
    return ts;
}

void disarm(orv_timer_t *timer) {
    const struct itimerspec stop {};
    timer_settime(timer->timer_id, 0, &stop, nullptr);
}

// The POSIX timer goes only here, so a worker in flight can still read its
// overrun count after the record was freed.
void release_record(orv_timer_t *timer) {
    pthread_mutex_destroy(&timer->lock);
    timer_delete(timer->timer_id);
    std::free(timer);
}

// The count of started workers, which workers already running read to
// choose their locking while the start goes on.
std::atomic_ref<int32_t> running_of(const orv_timer_ctrl_t &ctrl) {
    return std::atomic_ref<int32_t>(const_cast<int32_t &>(ctrl.running));
}

// A tick reads the callback without the service lock; a free clears it.
std::atomic_ref<orv_timer_callback_t> callback_ref(orv_timer_t *timer) {
    return std::atomic_ref<orv_timer_callback_t>(timer->callback);
}

bool called_from_worker(const orv_timer_ctrl_t &ctrl) {
    const pthread_t self = pthread_self();
    const int running = running_of(ctrl).load(std::memory_order_relaxed);
    for (int i = 0; i < running; ++i) {
        if (pthread_equal(ctrl.threads[i], self)) return true;
    }
    return false;
}

// The callback is read once the tick may run, with the timer's lock held
// when there are several workers: a free clears it, so a tick already taken
// when the timer was freed from a callback does not run after all.
orv_timer_callback_t callback_of(orv_timer_t *timer) {
    return callback_ref(timer).load(std::memory_order_acquire);
}

// With several workers the timer's lock keeps its callback on one of them:
// a tick that finds the callback still running on another worker is lost.
void run_tick(const orv_timer_ctrl_t &ctrl, orv_timer_t *timer, int overrun) {
    const bool several = running_of(ctrl).load(std::memory_order_relaxed) > 1;
    mutex_guard lock(several ? &timer->lock : nullptr, mutex_guard::kTry);
    if (several && !lock.owns()) return;
    if (orv_timer_callback_t callback = callback_of(timer)) {
        callback(timer->arg);
        if (overrun > 0 && several) {
            orv_log_error("syslog(sys) : timer (%p) is called in %lu,overrun=%d,signo=%d",
                          static_cast<void *>(timer), static_cast<unsigned long>(pthread_self()),
                          overrun, ctrl.signo);
        } else if (overrun > 0) {
            orv_log_error("syslog(sys) : timer (%p) is called,overrun=%d",
                          static_cast<void *>(timer), overrun);
        }
    }
}

void handle_tick(Service *service, orv_timer_t *timer) {
    orv_timer_ctrl_t *ctrl = &service->ctrl;
    {
        mutex_guard lock(&ctrl->lock);
        LiveEntry *entry = timer != nullptr ? service->live.find(timer) : nullptr;
        if (entry == nullptr || entry->fate != Fate::kLive || callback_of(timer) == nullptr) return;
        ++entry->in_flight;
    }

    run_tick(*ctrl, timer, timer_getoverrun(timer->timer_id));

    mutex_guard lock(&ctrl->lock);
    LiveEntry *entry = service->live.find(timer);  // kept in the set while in flight
    if (--entry->in_flight > 0) return;
    if (entry->fate == Fate::kReleaseByWorker) {
        service->live.erase(entry);
        lock.unlock();
        release_record(timer);
    } else if (entry->fate == Fate::kReleaseByWaiter) {
        pthread_cond_broadcast(&service->tick_done);
    }
}

void *orv_timer_thread(void *) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (ctrl == nullptr) return nullptr;
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, ctrl->signo);
    sigaddset(&set, ctrl->signo + 1);
    for (;;) {
        siginfo_t info;
        const int signo = sigwaitinfo(&set, &info);
        if (signo == ctrl->signo) {
            handle_tick(service_of(ctrl), static_cast<orv_timer_t *>(info.si_value.sival_ptr));
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
    if (ctrl->threads == nullptr) return false;
    for (int i = 0; i < ctrl->thread_num; ++i) {
        if (pthread_create(&ctrl->threads[ctrl->running], nullptr, orv_timer_thread, nullptr) !=
            0) {
            continue;
        }
        orv_log_debug("syslog(sys) : timer thread[%d] is started!!!", i);
        running_of(*ctrl).store(ctrl->running + 1, std::memory_order_relaxed);
    }
    return ctrl->running > 0;
}

void release_service(Service *service) {
    pthread_mutex_destroy(&service->ctrl.lock);
    pthread_cond_destroy(&service->tick_done);
    service->live.release();
    std::free(service->ctrl.threads);
    std::free(service);
}

// One exit signal per worker, all raised before the first join, since any
// worker may take any process-wide one. A real-time signal queues once per
// kill; a standard one would merge, so each worker then gets its own. A
// failed kill falls back to the worker's own signal. False when some worker
// cannot be told to exit.
bool raise_exit_signals(const orv_timer_ctrl_t &ctrl) {
    const int exit_signo = ctrl.signo + 1;
    bool all = true;
    for (int i = 0; i < ctrl.running; ++i) {
        if (exit_signo >= SIGRTMIN && kill(getpid(), exit_signo) == 0) continue;
        const int rc = pthread_kill(ctrl.threads[i], exit_signo);
        if (rc != 0) {
            orv_log_error("syslog(sys) : timer thread[%d] cannot get exit signal %d: %s", i,
                          exit_signo, std::strerror(rc));
            all = false;
        }
    }
    return all;
}

}  // namespace

extern "C" {

ORV_API int orv_timer_signo(void) { return read_settings().signo; }

// Signals are checked before anything starts: a worker waiting on a set it
// could not build would never see its exit signal.
ORV_API int orv_timer_init(int signo, int thread_num) {
    if (g_timer_ctrl != nullptr) return 1;
    // The last usable number fails the second check before signo + 1 could overflow.
    if (!usable_signal(signo) || !usable_signal(signo + 1)) {
        orv_log_error(
            "syslog(sys) : timer signal %d cannot be used: it and the next must be signals", signo);
        return 0;
    }
    auto *service = static_cast<Service *>(std::calloc(1, sizeof(Service)));
    if (service == nullptr) return 0;
    orv_timer_ctrl_t *ctrl = &service->ctrl;
    ctrl->signo = signo;
    ctrl->thread_num = thread_num;
    // The lock comes into being before the workers, which use it on ticks.
    if (pthread_mutex_init(&ctrl->lock, nullptr) != 0) {
        std::free(service);
        return 0;
    }
    if (pthread_cond_init(&service->tick_done, nullptr) != 0) {
        pthread_mutex_destroy(&ctrl->lock);
        std::free(service);
        return 0;
    }
    g_timer_ctrl = ctrl;
    if (!start_threads(ctrl)) {
        g_timer_ctrl = nullptr;
        release_service(service);
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
// ticks would never see its exit signal.
ORV_API void orv_timer_uninit(void) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (ctrl == nullptr) return;
    Service *service = service_of(ctrl);
    signal(ctrl->signo, SIG_IGN);
    orv_log_debug("kill %d", ctrl->signo + 1);
    {
        mutex_guard lock(&ctrl->lock);
        for (void *t = orv_list_begin(&ctrl->timers); t != nullptr;
             t = orv_list_next(&ctrl->timers, t)) {
            disarm(static_cast<orv_timer_t *>(t));
        }
    }
    if (!raise_exit_signals(*ctrl)) {
        // Joining could wait forever, and a worker may still run: the
        // service and its timers stay allocated rather than freed under it.
        orv_log_error("syslog(sys) : timer service left running, %d workers", ctrl->running);
        g_timer_ctrl = nullptr;
        return;
    }
    for (int i = 0; i < ctrl->running; ++i) pthread_join(ctrl->threads[i], nullptr);

    // No worker is left, so nothing is in flight: every record still in the
    // set is on the list.
    void *t = orv_list_begin(&ctrl->timers);
    while (t != nullptr) {
        void *next = orv_list_next(&ctrl->timers, t);
        orv_list_remove(&ctrl->timers, t);
        release_record(static_cast<orv_timer_t *>(t));
        t = next;
    }
    g_timer_ctrl = nullptr;
    release_service(service);
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

    struct sigevent event {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = ctrl->signo;
    event.sigev_value.sival_ptr = timer;
    if (timer_create(CLOCK_REALTIME, &event, &timer->timer_id) != 0) {
        pthread_mutex_destroy(&timer->lock);
        std::free(timer);
        return nullptr;
    }
    // Live and listed before it is armed, so that a worker finds its first
    // tick, which may still run before this returns.
    Service *service = service_of(ctrl);
    bool room = false;
    {
        mutex_guard lock(&ctrl->lock);
        room = service->live.reserve_one();
        if (room) {
            service->live.insert(timer);
            orv_list_push_back(&ctrl->timers, timer);
        }
    }
    if (!room) {
        release_record(timer);
        return nullptr;
    }
    struct itimerspec schedule {};
    schedule.it_interval = from_ms(period_ms);
    schedule.it_value = from_ms(first_ms);
    if (timer_settime(timer->timer_id, 0, &schedule, nullptr) != 0) {
        {
            mutex_guard lock(&ctrl->lock);
            service->live.erase(service->live.find(timer));
            orv_list_remove(&ctrl->timers, timer);
        }
        release_record(timer);
        return nullptr;
    }
    return timer;
}

// Never waits on a worker: the worker that has the record in flight
// releases it. Any other thread waits until no worker has it in flight, so
// that the callback's argument may go as soon as this returns.
ORV_API void orv_timer_free(orv_timer_t *timer) {
    orv_timer_ctrl_t *ctrl = g_timer_ctrl;
    if (timer == nullptr || ctrl == nullptr) return;
    Service *service = service_of(ctrl);
    mutex_guard lock(&ctrl->lock);
    LiveEntry *entry = service->live.find(timer);
    if (entry == nullptr || entry->fate != Fate::kLive) return;  // not ours, or being freed
    orv_list_remove(&ctrl->timers, timer);
    disarm(timer);
    callback_ref(timer).store(nullptr, std::memory_order_release);
    if (entry->in_flight > 0 && called_from_worker(*ctrl)) {
        entry->fate = Fate::kReleaseByWorker;
        return;
    }
    entry->fate = Fate::kReleaseByWaiter;
    while (entry->in_flight > 0) {
        pthread_cond_wait(&service->tick_done, &ctrl->lock);
        entry = service->live.find(timer);
    }
    service->live.erase(entry);
    lock.unlock();
    release_record(timer);
}

}  // extern "C"
