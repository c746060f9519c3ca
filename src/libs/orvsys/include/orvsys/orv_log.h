/* orvsys: the process log.
 *
 * One log per process. A log call stamps a printf-style message (cut at 127
 * characters) with the local time, stores it in a ring of 256 entries,
 * prints it in colour on stdout and, by the settings, appends it to a file
 * under <root>/run/log/: the numbered files "<name>_<n>.txt", which rotate
 * through "MaxFileCount" names of at most "MaxFileSize" MiB (plus one line),
 * or, for an entry with ext above 0, the pair "<name>_ext_1.txt" and
 * "<name>_ext_2.txt", of which the older is emptied when both are full. The
 * directory must exist; the log does not make it.
 *
 * Settings, read once by orv_log_init from section "LOG" of
 * <root>/ini/orv.ini (a missing file or key gives the default):
 *   Lang          0   orv_log_lang gives 1 when it is not 0
 *   SaveSysError  1   error entries go to the numbered files
 *   SaveSysWarn   1   warnings likewise
 *   SaveSysDebug  0   debug entries likewise
 *   SaveSysInfo   0   info entries likewise
 *   MaxFileCount  2   highest number of a numbered file
 *   MaxFileSize   2   size limit of a log file in MiB; a value below 0 or of
 *                     2048 and more (which would overflow) counts as 2
 *
 * Threads: log calls may come from any thread; one lock serialises the ring
 * write and both outputs. A log call allocates nothing of its own. The time
 * stamp re-reads the zone setting (tzset) on every call; with TZ unset the
 * C library then looks at /etc/localtime and briefly allocates each time,
 * so a service that cares sets TZ (TZ=:/etc/localtime names the same zone). Readers
 * follow the ring without a lock, each with a cursor of its own; a slow
 * reader is overtaken silently. orv_log_init and orv_log_uninit belong to
 * the thread that starts and stops the process, before the first and after
 * the last log call. Before orv_log_init every call does nothing.
 */
#ifndef ORVSYS_ORV_LOG_H
#define ORVSYS_ORV_LOG_H

#include <pthread.h>

#include "orvsys/orv_base.h"
#include "orvsys/orv_calendar.h"

ORV_BEGIN_DECLS

enum { ORV_LOG_DEBUG = 0, ORV_LOG_INFO = 1, ORV_LOG_WARN = 2, ORV_LOG_ERROR = 3 };

/* Number of ring slots. */
#define ORV_LOG_CAPACITY 256

/* One log record; every field is the reader's to read. */
typedef struct orv_log_entry_t {
    int32_t level;       /* 0 debug, 1 info, 2 warn, 3 error */
    int32_t ext;         /* -1 from the plain calls; above 0: ext files */
    orv_datetime_t time; /* local time of the call */
    char message[128];   /* at most 127 characters, terminated */
} orv_log_entry_t;

/* The log's state, owned by the library. While the log runs a caller may
 * read the settings: capacity, name, lang, the save_ flags and the two
 * max_file_ limits. entries, write_index, lock and file_index are private
 * (the ring is read through orv_log_get). No field is the caller's to
 * write. */
typedef struct orv_log_ctrl_t {
    int32_t capacity;         /* always 256 */
    orv_log_entry_t *entries; /* the ring */
    int32_t write_index;      /* slot of the next write */
    pthread_mutex_t lock;     /* guards the ring write and both outputs */
    char name[64];            /* forms the log file names */
    int32_t file_index;       /* current numbered file, from 1 */
    int32_t lang;
    uint8_t save_error;
    uint8_t save_warn;
    uint8_t save_debug;
    uint8_t save_info;
    int32_t max_file_count;
    int64_t max_file_size; /* bytes */
} orv_log_ctrl_t;

/* The log, or null while it is not initialised. */
ORV_API extern orv_log_ctrl_t *g_orv_log_ctrl;

/* Starts the log under name (at most 63 characters) and reads the settings;
 * the root is fixed at this moment. 1 when the log exists afterwards (also
 * when it already ran: name and settings then stay), 0 for a null name or
 * when memory or the lock cannot be had. */
ORV_API int orv_log_init(const char *name);
/* Ends the log; later calls do nothing until the next orv_log_init. */
ORV_API void orv_log_uninit(void);

/* Log at one level. A null format stores an empty message. */
ORV_API void orv_log_debug(const char *format, ...) ORV_PRINTF_LIKE(1, 2);
ORV_API void orv_log_info(const char *format, ...) ORV_PRINTF_LIKE(1, 2);
ORV_API void orv_log_warn(const char *format, ...) ORV_PRINTF_LIKE(1, 2);
ORV_API void orv_log_error(const char *format, ...) ORV_PRINTF_LIKE(1, 2);
/* As above with ext: above 0 the entry goes to the ext files whatever the
 * level's setting; at 0 or below as the plain call. */
ORV_API void orv_log_debug2(int32_t ext, const char *format, ...) ORV_PRINTF_LIKE(2, 3);
ORV_API void orv_log_info2(int32_t ext, const char *format, ...) ORV_PRINTF_LIKE(2, 3);
ORV_API void orv_log_warn2(int32_t ext, const char *format, ...) ORV_PRINTF_LIKE(2, 3);
ORV_API void orv_log_error2(int32_t ext, const char *format, ...) ORV_PRINTF_LIKE(2, 3);

/* The "Lang" setting as 0 or 1; 0 without a log. */
ORV_API int32_t orv_log_lang(void);

/* Reading the ring. A cursor is a slot index 0..255 kept by the reader. */
/* 1 when an entry waits at cursor (cursor differs from the write slot). */
ORV_API int orv_log_has(int32_t cursor);
/* Entries from cursor up to the write slot, 0..255. */
ORV_API int32_t orv_log_count(int32_t cursor);
/* The entry at *cursor, the cursor moved on; null (cursor untouched) when
 * none waits or cursor is null. The slot may be overwritten by later
 * writers: copy it at once. */
ORV_API orv_log_entry_t *orv_log_get(int32_t *cursor);
/* Sets *cursor to the write slot: the reader sees what comes next. A null
 * cursor, or no log, leaves it alone. */
ORV_API void orv_log_sync(int32_t *cursor);

ORV_END_DECLS

#endif /* ORVSYS_ORV_LOG_H */
