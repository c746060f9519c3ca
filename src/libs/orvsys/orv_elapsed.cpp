// Elapsed-time counters on the raw monotonic clock.
#include "orvsys/orv_elapsed.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

#include "internal/elapsed.h"

namespace {

// The counters' offset: 1999-12-31 16:00:00 UTC, 2000-01-01 at UTC+8.
constexpr uint32_t kSecondsOffset = 946656000u;

// The raw clock through the system call itself, not the C library's wrapper.
bool read_raw_clock(timespec *clock) {
    return syscall(SYS_clock_gettime, CLOCK_MONOTONIC_RAW, clock) != -1;
}

// One clock read each: the counters of the present moment, 0 when unread.
uint32_t now_seconds() {
    timespec clock{};
    return read_raw_clock(&clock) ? orv::internal::seconds_count(clock) : 0;
}

uint32_t now_milliseconds() {
    timespec clock{};
    return read_raw_clock(&clock) ? orv::internal::millisecond_count(clock) : 0;
}

// Fires when elapsed(*last, now) reaches limit, and then restarts from now.
template <uint32_t (*Now)(), uint32_t (*Elapsed)(uint32_t, uint32_t)>
int timeout_sync(uint32_t *last, uint32_t limit) {
    if (last == nullptr) return 0;
    const uint32_t now = Now();
    if (Elapsed(*last, now) < limit) return 0;
    *last = now;
    return 1;
}

uint32_t seconds_diff(uint32_t start, uint32_t now) { return now - start; }

}  // namespace

namespace orv::internal {

uint32_t seconds_count(const timespec &clock) {
    return static_cast<uint32_t>(clock.tv_sec) + kSecondsOffset;
}

uint32_t millisecond_count(const timespec &clock) {
    const uint32_t count = static_cast<uint32_t>(clock.tv_sec) * 1000u +
                           static_cast<uint32_t>(clock.tv_nsec / 1000000);
    return count == 0xFFFFFFFFu ? 0 : count;
}

uint32_t msec_diff(uint32_t start, uint32_t now) {
    return start > now ? now - start - 1 : now - start;
}

}  // namespace orv::internal

extern "C" {

ORV_API uint32_t orv_get_sec(void) { return now_seconds(); }

ORV_API int orv_timeout_sec(uint32_t start, uint32_t limit) {
    return now_seconds() - start >= limit ? 1 : 0;
}

ORV_API int orv_timeout_sec_sync(uint32_t *last, uint32_t limit) {
    return timeout_sync<now_seconds, seconds_diff>(last, limit);
}

ORV_API uint32_t orv_get_msec(void) { return now_milliseconds(); }

ORV_API uint32_t orv_get_msec_diff(uint32_t start) {
    return orv::internal::msec_diff(start, now_milliseconds());
}

ORV_API int orv_timeout_msec(uint32_t start, uint32_t limit) {
    return orv_get_msec_diff(start) >= limit ? 1 : 0;
}

ORV_API int orv_timeout_msec_sync(uint32_t *last, uint32_t limit) {
    return timeout_sync<now_milliseconds, orv::internal::msec_diff>(last, limit);
}

}  // extern "C"
