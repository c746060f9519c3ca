// Setting the wall clock and copying it to the hardware clock.
#include "orvsys/orv_clockset.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "internal/clockset.h"
#include "internal/process.h"
#include "orvsys/orv_log.h"

namespace {

int real_set_time(const timeval *time) { return settimeofday(time, nullptr); }

orv::internal::ClockSystem g_system{real_set_time, std::system};

// Steps 2 on of both setters: the clock at seconds plus dt's milliseconds,
// then the hardware clock with SIGCHLD at its default while the command runs.
int set_clock(int32_t seconds, const orv_datetime_t &dt, uint8_t sync_hw) {
    timeval time{};
    time.tv_sec = seconds;
    time.tv_usec = static_cast<suseconds_t>(dt.millisecond) * 1000;
    if (g_system.set_time(&time) != 0) return 0;
    if (sync_hw == 0) return 1;
    if (orv::internal::run_with_default_sigchld(g_system.run, "hwclock -w") == 0) return 1;
    orv_log_error("syslog(sys) : set hardware clock failed,time=%04d-%02d-%02d %02d:%02d:%02d",
                  dt.year, dt.month, dt.day, dt.hour, dt.minute, dt.second);
    return 0;
}

// A process that puts stand-ins in place also gives up the right to set
// clocks (CAP_SYS_TIME), so that no fault between the seam and its callers
// can reach the machine's clock or its hardware clock.
void give_up_clock_rights() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct caps[2]{};
    if (syscall(SYS_capget, &header, caps) != 0) return;
    caps[0].effective &= ~(1u << CAP_SYS_TIME);
    caps[0].permitted &= ~(1u << CAP_SYS_TIME);
    syscall(SYS_capset, &header, caps);
}

}  // namespace

namespace orv::internal {

void clockset_seam(const ClockSystem &system) {
    if (system.set_time != nullptr || system.run != nullptr) give_up_clock_rights();
    g_system.set_time = system.set_time != nullptr ? system.set_time : real_set_time;
    g_system.run = system.run != nullptr ? system.run : std::system;
}

}  // namespace orv::internal

extern "C" {

ORV_API int orv_set_datetime(const orv_datetime_t *dt, uint8_t sync_hw) {
    int32_t seconds = 0;
    if (orv_datetime_to_time_t(dt, &seconds) == 0) return 0;
    return set_clock(seconds, *dt, sync_hw);
}

ORV_API int orv_set_datetime_utc(const orv_datetime_t *dt, uint8_t sync_hw) {
    // mktime, localtime_r and mktime again: the second the first mktime gave.
    int32_t seconds = 0;
    orv_datetime_to_time_t(dt, &seconds);
    time_t first = seconds;
    struct tm tm {};
    if (localtime_r(&first, &tm) != nullptr) seconds = static_cast<int32_t>(mktime(&tm));
    return set_clock(seconds, *dt, sync_hw);
}

}  // extern "C"
