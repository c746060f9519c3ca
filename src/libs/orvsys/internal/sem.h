// The deadline of a timed semaphore wait, apart from the clock, so that
// tests can give it any start.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <ctime>

namespace orv::internal {

// now + timeout milliseconds: the microseconds summed in signed 32 bits and
// carried into the seconds above 999,999.
timespec sem_deadline(const timeval &now, int32_t timeout);

}  // namespace orv::internal
