/* orvsys: unnamed semaphores in milliseconds, and sleeping.
 *
 * Thin layers over the C library: a semaphore is the caller's sem_t, shared
 * between the threads of one process (pshared 0), and every result is the C
 * library's own (0, or -1 with errno: EINTR, ETIMEDOUT, EAGAIN), nothing
 * retried or logged. The semaphore must not be null. No lock of the
 * library's own.
 */
#ifndef ORVSYS_ORV_SEM_H
#define ORVSYS_ORV_SEM_H

#include <semaphore.h>

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* sem_init with pshared 0 and value. */
ORV_API int orv_pthread_sem_init(sem_t *sem, uint32_t value);
/* sem_destroy, once no thread waits. */
ORV_API void orv_pthread_sem_destroy(sem_t *sem);
/* sem_wait, without a timeout. */
ORV_API int orv_pthread_sem_wait(sem_t *sem);
/* sem_trywait: -1 with EAGAIN at a count of 0, without blocking. */
ORV_API int orv_pthread_sem_trywait(sem_t *sem);
/* sem_timedwait until the wall clock reaches now + timeout milliseconds
 * (timeout 0 returns at once); setting the clock meanwhile moves the
 * deadline. A timeout above 2,146,483 ms (about 35 minutes) is not
 * supported. */
ORV_API int orv_pthread_sem_timewait(sem_t *sem, int32_t timeout);
/* sem_post. */
ORV_API int orv_pthread_sem_post(sem_t *sem);
/* The count; 0 also when sem_getvalue fails. */
ORV_API int orv_pthread_sem_getvalue(sem_t *sem);
/* usleep of seconds * 1,000,000 / milliseconds * 1000, multiplied in 32 bits
 * (so at most 4294 s / 4,294,967 ms); a signal may end it early unseen. */
ORV_API void orv_sleep(uint32_t seconds);
ORV_API void orv_msleep(uint32_t milliseconds);

ORV_END_DECLS

#endif /* ORVSYS_ORV_SEM_H */
