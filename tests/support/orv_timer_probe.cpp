// A service process in miniature for the timer settings. The timer tests
// copy it into a scratch installation tree, <tmp>/bin/, so that the
// <tmp>/ini/orv.ini they write is the one it reads, and check what it
// prints, one "key=value" a line.
//
//   orv_timer_probe               start the service from the settings and
//                                 report what runs
//   orv_timer_probe signo TEXT    report orv_timer_signo, replace the
//                                 settings file by TEXT, report it again
#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <atomic>
#include <cstdio>
#include <cstring>

#include "orvsys/orv_path.h"
#include "orvsys/orv_timer.h"

namespace {

std::atomic<int> g_ticks{0};

void *count_tick(void *) {
    g_ticks.fetch_add(1);
    return nullptr;
}

void sleep_ms(long ms) {
    struct timespec ts = {ms / 1000, (ms % 1000) * 1000000L};
    nanosleep(&ts, nullptr);
}

int report_rereads(const char *text) {
    std::printf("signo=%d\n", orv_timer_signo());
    char path[512];
    std::snprintf(path, sizeof path, "%s/ini/orv.ini", orv_rootdir());
    FILE *fp = std::fopen(path, "w");
    if (fp == nullptr) return 2;
    std::fputs(text, fp);
    std::fclose(fp);
    std::printf("signo_after=%d\n", orv_timer_signo());
    return 0;
}

// The start order a service follows: the signals are blocked before any
// thread exists, then the service starts from the settings.
int report_service() {
    const int signo = orv_timer_signo();
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signo);
    sigaddset(&set, signo + 1);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    std::printf("signo=%d\n", signo);

    const int started = orv_timer_init_ini();
    std::printf("init=%d\n", started);
    if (started != 1 || g_timer_ctrl == nullptr) return 0;
    std::printf("running_signo=%d\n", g_timer_ctrl->signo);
    std::printf("thread_num=%d\n", g_timer_ctrl->thread_num);
    std::printf("running=%d\n", g_timer_ctrl->running);

    // Ticks arrive on the signal that the service runs on.
    orv_timer_t *timer = orv_timer_create(5, 5, count_tick, nullptr);
    for (int waited = 0; timer != nullptr && g_ticks.load() < 3 && waited < 20000; waited += 5) {
        sleep_ms(5);
    }
    orv_timer_free(timer);
    std::printf("ticks=%d\n", g_ticks.load() >= 3 ? 3 : g_ticks.load());
    orv_timer_uninit();
    std::printf("stopped=%d\n", g_timer_ctrl == nullptr ? 1 : 0);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc == 3 && std::strcmp(argv[1], "signo") == 0) return report_rereads(argv[2]);
    return report_service();
}
