// Semaphores and sleeping: the timed wait's deadline from any start, the C library's results.
#include "orvsys/orv_sem.h"

#include <cerrno>
#include <thread>

#include "internal/sem.h"
#include "support/orv_test.h"

namespace {

TEST(Sem, DeadlinesCountsWaitsAndTimeouts) {
    // clang-format off
    struct Row { long usec; int32_t timeout; time_t sec; long nsec; };
    const Row rows[] = {{999900, 1, 101, 900000}, {600000, 2500, 103, 100000000}, {0, 0, 100, 0},
        {999999, 0, 100, 999999000}, {1, 999, 100, 999001000}, {0, 2146483, 2246, 483000000}};
    // clang-format on
    for (const Row &row : rows) {
        const timeval now{100, static_cast<suseconds_t>(row.usec)};
        const timespec deadline = orv::internal::sem_deadline(now, row.timeout);
        EXPECT_TRUE(deadline.tv_sec == row.sec && deadline.tv_nsec == row.nsec) << row.usec;
    }
    sem_t sem;
    ASSERT_TRUE(orv_pthread_sem_init(&sem, 3) == 0 && orv_pthread_sem_getvalue(&sem) == 3);
    EXPECT_EQ(orv_pthread_sem_wait(&sem) + orv_pthread_sem_trywait(&sem), 0);
    EXPECT_TRUE(orv_pthread_sem_timewait(&sem, 0) == 0 && orv_pthread_sem_getvalue(&sem) == 0);
    EXPECT_TRUE(orv_pthread_sem_trywait(&sem) == -1 && errno == EAGAIN);
    const double start = orv_test::now_ms();
    EXPECT_TRUE(orv_pthread_sem_timewait(&sem, 0) == -1 && errno == ETIMEDOUT);
    errno = 0;
    EXPECT_TRUE(orv_pthread_sem_timewait(&sem, 40) == -1 && errno == ETIMEDOUT);
    EXPECT_GE(orv_test::now_ms() - start, 35);
    // A post from another thread ends a wait long before its timeout.
    std::thread poster([&sem] { orv_test::sleep_ms(20), orv_pthread_sem_post(&sem); });
    EXPECT_EQ(orv_pthread_sem_timewait(&sem, 10000), 0);
    poster.join();
    EXPECT_LT(orv_test::now_ms() - start, orv_test::scaled_ms(5000));
    EXPECT_TRUE(orv_pthread_sem_post(&sem) == 0 && orv_pthread_sem_getvalue(&sem) == 1);
    orv_pthread_sem_destroy(&sem);
    const double before = orv_test::now_ms();
    orv_sleep(0), orv_msleep(0);
    EXPECT_LT(orv_test::now_ms() - before, orv_test::scaled_ms(500));
    orv_msleep(30);
    EXPECT_GE(orv_test::now_ms() - before, 29);
}

}  // namespace
