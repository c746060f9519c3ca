/* orvsys: setting the system clock.
 *
 * Sets the kernel's wall clock from calendar fields and, on request, copies
 * it to the hardware clock with the command "hwclock -w". The counters of
 * orvsys/orv_elapsed.h do not follow the change. While the command runs,
 * SIGCHLD is at its default action for the whole process and then put back
 * as it was; the call blocks until the command ends. No lock.
 */
#ifndef ORVSYS_ORV_CLOCKSET_H
#define ORVSYS_ORV_CLOCKSET_H

#include "orvsys/orv_base.h"
#include "orvsys/orv_calendar.h"

ORV_BEGIN_DECLS

/* Sets the clock to dt read by local-time rules as orv_datetime_to_time_t
 * does (out-of-range fields normalised: February 31 is early March), with
 * millisecond as its microseconds; weekday is not read. With sync_hw not 0
 * it then runs "hwclock -w". 1 on success. 0 for a null dt or when
 * settimeofday refuses (no privilege, a millisecond of 1000 or more: the
 * clock untouched, the command not run); 0 also when the command fails,
 * with the wall clock already set and the error line "syslog(sys) : set
 * hardware clock failed,time=YYYY-MM-DD HH:MM:SS" (dt's fields) in the log. */
ORV_API int orv_set_datetime(const orv_datetime_t *dt, uint8_t sync_hw);
/* The same second as orv_set_datetime on the same fields (mktime, then
 * localtime_r and mktime again): no shift between UTC and local time takes
 * place. dt must not be null. */
ORV_API int orv_set_datetime_utc(const orv_datetime_t *dt, uint8_t sync_hw);

ORV_END_DECLS

#endif /* ORVSYS_ORV_CLOCKSET_H */
