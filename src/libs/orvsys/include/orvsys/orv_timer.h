/* orvsys: periodic timers run by signal-waiting workers.
 *
 * Each timer is a POSIX per-process timer that queues the timer signal with
 * the timer's record as its value. A pool of worker threads takes the
 * signal with sigwaitinfo and runs the callback as ordinary thread code; the
 * exit signal, one above the timer signal, ends a worker. One service per
 * process, configured from section "ORVCOM" of <root>/ini/orv.ini:
 *   TimerSigNo      50  the timer signal (a value below 1 counts as 50)
 *   TimerThreadNum  1   number of workers (a value below 1 counts as 1)
 *
 * What the process must do: block the timer signal and the exit signal in
 * every thread, before the service starts any worker and for as long as it
 * runs (orv_timer_signo tells the number before any thread exists). The
 * library changes no signal mask; the workers inherit the starting thread's.
 *
 * Callbacks: with one worker they run one after another, and a tick waits
 * behind a running callback. With several, a timer's callback never runs on
 * two workers at once: a tick that finds it still running is dropped. Missed
 * ticks are not made up; an overrun is logged at error level.
 *
 * Freeing. orv_timer_free may be called from any thread, also while ticks
 * run; after it returns no callback of that timer starts (one already
 * running may finish), and no worker ever touches a released record.
 *  - From a callback (any worker): it never waits. A timer that a worker is
 *    running, its own included, is taken off the list and disarmed at once,
 *    and released by that worker when the callback returns. So two
 *    callbacks may free each other's timers.
 *  - From any other thread: it returns only once no worker runs that
 *    timer's callback, so the callback's argument may be released right
 *    after. Hence, as with kernel timer APIs: never call it while holding a
 *    lock that the callback takes; the free would wait for the callback,
 *    and the callback for the lock.
 * A callback must not call orv_timer_uninit. orv_timer_init and
 * orv_timer_uninit belong to the one thread that starts and stops the
 * process. A handle must not be used after it was freed.
 *
 * Signals: orv_timer_init refuses, with an error-level log line, a timer
 * signal that it or its successor cannot hold in a signal set: 0, numbers
 * beyond the last signal, and those the C library's threads reserve (32
 * and 33 on Linux). So a bad "TimerSigNo" fails the start instead of
 * hanging the stop.
 */
#ifndef ORVSYS_ORV_TIMER_H
#define ORVSYS_ORV_TIMER_H

#include <pthread.h>
/* timer_t from its POSIX home, which declares it whatever feature macros
 * the includer set; <time.h> declares it only for a POSIX build, not for a
 * strict C11 one. It is the same typedef either way. */
#include <sys/types.h>

#include "orvsys/orv_base.h"
#include "orvsys/orv_list.h"

ORV_BEGIN_DECLS

typedef void *(*orv_timer_callback_t)(void *arg);

/* One timer, a handle owned by the library. A caller may read first_ms,
 * period_ms and arg (as orv_timer_create stored them) until it frees the
 * timer; every other field is private, and no field is the caller's to
 * write. */
typedef struct orv_timer_t {
    orv_list_node_t node;          /* links on the service's list */
    int32_t first_ms;              /* delay of the first tick */
    int32_t period_ms;             /* distance of the following ticks */
    orv_timer_callback_t callback; /* what a tick runs; result ignored */
    void *arg;                     /* the callback's argument, the caller's */
    timer_t timer_id;              /* the POSIX timer */
    pthread_mutex_t lock;          /* held by the worker running the callback */
} orv_timer_t;

/* The service, owned by the library. While it runs a caller may read
 * signo, thread_num and running; the other fields are private and no field
 * is the caller's to write. */
typedef struct orv_timer_ctrl_t {
    orv_list_t timers;    /* all timers; must come first */
    int32_t signo;        /* the timer signal; signo + 1 is the exit signal */
    pthread_mutex_t lock; /* guards timers */
    pthread_t *threads;   /* the started workers */
    int32_t thread_num;   /* workers asked for */
    int32_t running;      /* workers started */
} orv_timer_ctrl_t;

/* The service, or null while it does not run. */
ORV_API extern orv_timer_ctrl_t *g_timer_ctrl;

/* The timer signal the settings name now; needs no running service. */
ORV_API int orv_timer_signo(void);

/* Starts the service on signo (signo and signo + 1 must be valid signal
 * numbers) with thread_num workers. 1 when it runs, also when it already
 * ran (the first arguments then stand); 0 when a signal is unusable or no
 * worker could start (thread_num below 1 included), g_timer_ctrl then
 * null. */
ORV_API int orv_timer_init(int signo, int thread_num);
/* orv_timer_init with the settings of section "ORVCOM". */
ORV_API int orv_timer_init_ini(void);
/* Stops every timer, ends and joins every worker and releases all timers.
 * Leaves the timer signal's action at SIG_IGN; a later orv_timer_init
 * works again. */
ORV_API void orv_timer_uninit(void);

/* A periodic timer: first tick after first_ms (below 1: 1000 ms), then
 * every period_ms. The first tick may run before this returns. Null when
 * the service does not run, period_ms is below 1, callback is null, or the
 * system refuses the timer. */
ORV_API orv_timer_t *orv_timer_create(int first_ms, int period_ms, orv_timer_callback_t callback,
                                      void *arg);
/* Stops and releases a timer (see "Freeing" above for when it waits); does
 * nothing for null, without a service, or for a timer being freed or freed
 * already. */
ORV_API void orv_timer_free(orv_timer_t *timer);

ORV_END_DECLS

#endif /* ORVSYS_ORV_TIMER_H */
