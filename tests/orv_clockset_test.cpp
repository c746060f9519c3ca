// The clock setters through the seam (the machine's clock is never set), in children at UTC+8.
#include "orvsys/orv_clockset.h"

#include <csignal>
#include <string>

#include "internal/clockset.h"
#include "orvsys/orv_log.h"
#include "support/orv_test.h"

namespace {

int g_set_result, g_run_status, g_sets;
timeval g_time;
std::string g_command;  // with "+default" when SIGCHLD was at its default while it ran

int SetTime(const timeval *time) { return g_time = *time, ++g_sets, g_set_result; }
int RunCommand(const char *command) {
    struct sigaction now {};
    sigaction(SIGCHLD, nullptr, &now);
    return g_command = command + std::string(now.sa_handler == SIG_DFL ? "+default" : ""),
           g_run_status;
}
void Handler(int) {}

TEST(ClockSet, SetsTheSecondThenTheHardwareClock) {
    // 2020-01-02 12:30:45 at UTC+8 is 1577939445; February 31 is March 2.
    // clang-format off
    struct Row { orv_datetime_t dt; uint8_t sync_hw; int set_result, run_status, result;
                 int32_t seconds; const char *command, *logged; };
    const Row rows[] = {{{2020, 1, 2, 0, 12, 30, 45, 250}, 0, 0, 0, 1, 1577939445, "", ""},
        {{2020, 1, 2, 9, 12, 30, 45, 0}, 1, 0, 0, 1, 1577939445, "hwclock -w+default", ""},
        {{2020, 2, 31, 0, 0, 0, 0, 0}, 1, 0, 1, 0, 1583078400, "hwclock -w+default",
         "syslog(sys) : set hardware clock failed,time=2020-02-31 00:00:00"},
        {{2020, 1, 2, 0, 12, 30, 45, 1000}, 1, -1, 0, 0, 1577939445, "", ""}};
    // clang-format on
    for (const Row &row : rows)
        for (auto set : {orv_set_datetime, orv_set_datetime_utc}) {
            orv_test::Tree tree;
            orv_test::in_zone("XXX-8", [&] {
                ASSERT_EQ((tree.use(), orv_log_init("t")), 1);
                orv::internal::clockset_seam({SetTime, RunCommand});
                timeval now{};  // the seam took the right to set clocks from this child
                ASSERT_NE((gettimeofday(&now, nullptr), settimeofday(&now, nullptr)), 0);
                signal(SIGCHLD, Handler), g_set_result = row.set_result,
                                          g_run_status = row.run_status;
                int32_t cursor = 0;  // the error line is the log's first entry
                EXPECT_EQ(set(&row.dt, row.sync_hw) + orv_set_datetime(nullptr, 1), row.result);
                EXPECT_TRUE(g_sets == 1 && g_time.tv_sec == row.seconds &&
                            g_time.tv_usec == row.dt.millisecond * 1000 &&
                            g_command == row.command);
                EXPECT_EQ(signal(SIGCHLD, SIG_DFL), &Handler);  // put back
                const orv_log_entry_t *entry = orv_log_get(&cursor);
                EXPECT_EQ(entry != nullptr ? std::string(entry->message) : "", row.logged);
            });
        }
}

}  // namespace
