/* orvsys: elapsed-time counters and timeouts.
 *
 * Two unsigned 32-bit counters on the raw monotonic clock (CLOCK_MONOTONIC_RAW,
 * read by the clock_gettime system call), which neither setting the wall
 * clock nor its rate adjustment touches, so a date change disturbs no
 * timeout. The caller keeps a start value; nothing here keeps state, locks or
 * allocates, and any thread may call. The _sync forms read and write the
 * caller's variable without atomics.
 */
#ifndef ORVSYS_ORV_ELAPSED_H
#define ORVSYS_ORV_ELAPSED_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* The clock's seconds plus 946,656,000 (0x386CD300), wrapping at 32 bits, so
 * a start of 0 reads as long ago; 0 when the clock cannot be read. */
ORV_API uint32_t orv_get_sec(void);
/* 1 when at least limit seconds have passed since start (wrapping
 * subtraction; a limit of 0 has always passed), else 0. */
ORV_API int orv_timeout_sec(uint32_t start, uint32_t limit);
/* As orv_timeout_sec from *last, reading the clock once; when it fires *last
 * becomes the present count, so it fires once per limit from the moment of
 * the call. 0 for a null last. */
ORV_API int orv_timeout_sec_sync(uint32_t *last, uint32_t limit);

/* The clock's seconds * 1000 + milliseconds, wrapping at 32 bits (about every
 * 49.7 days); 0xFFFFFFFF never comes out (it reads 0), and 0 when the clock
 * cannot be read. */
ORV_API uint32_t orv_get_msec(void);
/* Milliseconds since start: now - start, or now - start - 1 when start is
 * above now (the counter wrapped, and skips 0xFFFFFFFF). */
ORV_API uint32_t orv_get_msec_diff(uint32_t start);
/* 1 when orv_get_msec_diff(start) is at least limit, else 0. */
ORV_API int orv_timeout_msec(uint32_t start, uint32_t limit);
/* As orv_timeout_sec_sync, in milliseconds and by the rule of
 * orv_get_msec_diff. */
ORV_API int orv_timeout_msec_sync(uint32_t *last, uint32_t limit);

ORV_END_DECLS

#endif /* ORVSYS_ORV_ELAPSED_H */
