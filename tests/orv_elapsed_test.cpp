// The elapsed-time counters against our own raw clock reads; their arithmetic at any "now".
#include "orvsys/orv_elapsed.h"

#include <sys/syscall.h>

#include "internal/elapsed.h"
#include "support/orv_test.h"

namespace {

using orv::internal::millisecond_count, orv::internal::seconds_count;

TEST(Elapsed, CountersAndTimeouts) {
    timespec before{}, after{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC_RAW, &before);
    const uint32_t sec = orv_get_sec(), msec = orv_get_msec();
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC_RAW, &after);
    EXPECT_LE(sec - seconds_count(before), seconds_count(after) - seconds_count(before));
    EXPECT_LE(msec - millisecond_count(before),
              millisecond_count(after) - millisecond_count(before));
    // clang-format off
    struct Count { int32_t sec; long nsec; uint32_t seconds, milliseconds; };
    const Count counts[] = {{0, 0, 946656000u, 0}, {0, 999999999, 946656000u, 999},
        {4294967, 295000000, 950950967u, 0}, {4294967, 294999999, 950950967u, 0xFFFFFFFE},
        {4294968, 0, 950950968u, 704}, {2147483647, 0, 3094139647u, 4294966296u}};
    struct Diff { uint32_t start, now, diff; };
    const Diff diffs[] = {{5, 5, 0}, {5, 15, 10}, {6, 5, 0xFFFFFFFE}, {0xFFFFFFFE, 0, 1},
        {0xFFFFFFFE, 1, 2}, {0, 0xFFFFFFFE, 0xFFFFFFFE}};
    // clang-format on
    for (const Count &row : counts) {
        timespec clock{};
        clock.tv_sec = row.sec, clock.tv_nsec = row.nsec;
        EXPECT_TRUE(seconds_count(clock) == row.seconds &&
                    millisecond_count(clock) == row.milliseconds)
            << row.sec << "." << row.nsec;
    }
    for (const Diff &row : diffs)
        EXPECT_EQ(orv::internal::msec_diff(row.start, row.now), row.diff) << row.start;
    // A limit of 0 has passed; a start of 0 is long ago; an hour has not passed.
    EXPECT_EQ(orv_timeout_sec(orv_get_sec(), 0) + orv_timeout_sec(0, 946656000u), 2);
    EXPECT_EQ(orv_timeout_sec(orv_get_sec(), 3600) + orv_timeout_msec(orv_get_msec(), 3600000) +
                  orv_timeout_sec_sync(nullptr, 0) + orv_timeout_msec_sync(nullptr, 0),
              0);
    uint32_t last = 0;
    EXPECT_TRUE(orv_timeout_sec_sync(&last, 946656000u) == 1 && orv_get_sec() - last <= 1);
    const uint32_t stored = last;
    EXPECT_TRUE(orv_timeout_sec_sync(&last, 3600) == 0 && last == stored);
    // Milliseconds: one fire per limit, restarted from the moment it fires.
    const uint32_t start = last = orv_get_msec();
    EXPECT_EQ(orv_timeout_msec_sync(&last, 50), 0);
    orv_test::sleep_ms(60);
    EXPECT_TRUE(orv_get_msec_diff(start) >= 50 && orv_timeout_msec(start, 50) == 1);
    EXPECT_TRUE(orv_timeout_msec_sync(&last, 50) == 1 && last - start >= 50);
}

}  // namespace
