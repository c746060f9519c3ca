// The two system services the clock setters use, behind a seam, so that
// tests never set the machine's clock or run its commands.
#pragma once

#include <sys/time.h>

namespace orv::internal {

struct ClockSystem {
    int (*set_time)(const timeval *time);  // settimeofday with a null zone
    int (*run)(const char *command);       // system
};

// Replaces the services for the rest of the process; a null member puts
// the real one back. Installing a stand-in also drops the process's right to
// set clocks for good, so a test cannot reach the real clock by mistake.
void clockset_seam(const ClockSystem &system);

}  // namespace orv::internal
