/* A small service process on orvsys: a heartbeat timer and a timer that
 * reads a value into a variant and logs it, for the number of seconds given
 * on the command line (default 3). It runs from an installation tree:
 *   <root>/bin/orv_demo, <root>/ini/orv.ini, <root>/run/log/
 */
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <orvsys/orvsys.h>

static volatile int g_beats;

static void *heartbeat(void *arg) {
    (void)arg;
    orv_log_info("heartbeat %d", ++g_beats);
    return NULL;
}

/* Reads a "sensor" value into a text variant and logs it as text. */
static void *sample(void *arg) {
    int32_t *reading = arg;
    char text[16];
    orv_variant_t value;
    int32_t back = 0;

    memset(&value, 0, sizeof value);
    value.type = ORV_VT_STRING;
    value.value.data = text;
    value.value.cap = sizeof text;
    *reading += 7;
    if (orv_variant_from_int32(&value, *reading) && orv_variant_to_int32(&value, &back)) {
        orv_log_warn("sample: variant holds \"%s\" (reads back %d)", text, (int)back);
    } else {
        orv_log_error("sample: variant store failed");
    }
    return NULL;
}

int main(int argc, char **argv) {
    int seconds = argc > 1 ? atoi(argv[1]) : 3;
    int32_t reading = 0;
    sigset_t signals;
    orv_timer_t *beat;
    orv_timer_t *probe;

    /* 1. Block the timer signal and the exit signal before any thread starts. */
    int signo = orv_timer_signo();
    sigemptyset(&signals);
    sigaddset(&signals, signo);
    sigaddset(&signals, signo + 1);
    pthread_sigmask(SIG_BLOCK, &signals, NULL);

    /* 2. The log, with the settings of <root>/ini/orv.ini. */
    if (!orv_log_init("orv_demo")) {
        fprintf(stderr, "orv_demo: the log cannot start\n");
        return 1;
    }
    orv_log_info("orv_demo starts in %s for %d s", orv_rootdir(), seconds);

    /* 3. The timer service and its timers. */
    if (!orv_timer_init_ini()) {
        orv_log_error("orv_demo: the timer service cannot start");
        orv_log_uninit();
        return 1;
    }
    beat = orv_timer_create(500, 1000, heartbeat, NULL);
    probe = orv_timer_create(250, 700, sample, &reading);
    if (beat == NULL || probe == NULL) orv_log_error("orv_demo: a timer could not be made");

    /* 4. Run. */
    sleep((unsigned)(seconds > 0 ? seconds : 0));

    /* 5. Stop in order. */
    orv_log_info("orv_demo stops after %d heartbeats", g_beats);
    orv_timer_uninit();
    orv_log_uninit();
    return 0;
}
