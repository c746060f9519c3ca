// The arithmetic of the elapsed-time counters, apart from the clock, so that
// tests can give it any "now".
#pragma once

#include <cstdint>
#include <ctime>

namespace orv::internal {

// The seconds counter of a clock reading.
uint32_t seconds_count(const timespec &clock);

// The millisecond counter of a clock reading, 0xFFFFFFFF turned into 0.
uint32_t millisecond_count(const timespec &clock);

// Milliseconds from start to now, one less across a wrap, as the counter
// skips 0xFFFFFFFF.
uint32_t msec_diff(uint32_t start, uint32_t now);

}  // namespace orv::internal
