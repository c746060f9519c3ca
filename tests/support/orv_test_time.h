// Time tolerances for tests that wait on the clock, in one place. Each is
// multiplied by ORV_TEST_TIME_SCALE (default 1), which the armhf run under
// qemu raises, so the same test passes on a slow emulated target without
// loosening the native run.
#pragma once

#include <chrono>
#include <cstdlib>

namespace orv_test {

inline double time_scale() {
    const char *text = std::getenv("ORV_TEST_TIME_SCALE");
    if (text == nullptr) return 1.0;
    char *end = nullptr;
    double scale = std::strtod(text, &end);
    return (end != text && scale >= 1.0) ? scale : 1.0;
}

// A tolerance of `base` on a native run, scaled on a slow target.
inline std::chrono::milliseconds tolerance(std::chrono::milliseconds base) {
    return std::chrono::milliseconds(static_cast<long long>(base.count() * time_scale()));
}

}  // namespace orv_test
