// Semaphores with millisecond timeouts, and sleeping.
#include "orvsys/orv_sem.h"

#include <unistd.h>

#include "internal/sem.h"

namespace orv::internal {

timespec sem_deadline(const timeval &now, int32_t timeout) {
    // Signed 32-bit as written; done in unsigned so that a sum beyond the
    // supported timeout wraps instead of being undefined.
    auto micros = static_cast<int32_t>(static_cast<uint32_t>(now.tv_usec) +
                                       static_cast<uint32_t>(timeout) * 1000u);
    time_t seconds = now.tv_sec;
    if (micros > 999999) {
        seconds += micros / 1000000;
        micros %= 1000000;
    }
    timespec deadline{};
    deadline.tv_sec = seconds;
    deadline.tv_nsec = static_cast<long>(micros) * 1000;
    return deadline;
}

}  // namespace orv::internal

extern "C" {

ORV_API int orv_pthread_sem_init(sem_t *sem, uint32_t value) { return sem_init(sem, 0, value); }

ORV_API void orv_pthread_sem_destroy(sem_t *sem) { sem_destroy(sem); }

ORV_API int orv_pthread_sem_wait(sem_t *sem) { return sem_wait(sem); }

ORV_API int orv_pthread_sem_trywait(sem_t *sem) { return sem_trywait(sem); }

ORV_API int orv_pthread_sem_timewait(sem_t *sem, int32_t timeout) {
    timeval now{};
    gettimeofday(&now, nullptr);
    const timespec deadline = orv::internal::sem_deadline(now, timeout);
    return sem_timedwait(sem, &deadline);
}

ORV_API int orv_pthread_sem_post(sem_t *sem) { return sem_post(sem); }

ORV_API int orv_pthread_sem_getvalue(sem_t *sem) {
    int value = 0;
    return sem_getvalue(sem, &value) == 0 ? value : 0;
}

ORV_API void orv_sleep(uint32_t seconds) { usleep(seconds * 1000000u); }

ORV_API void orv_msleep(uint32_t milliseconds) { usleep(milliseconds * 1000u); }

}  // extern "C"
