/* orvsys: file operations.
 *
 * An advisory lock in the library's own operation numbers, a paced block
 * copy, a backup by renaming, the MD5 of a whole file and the synchronous-
 * write flag of an open stream. No state, any thread; nothing logs but the
 * messages named (on the console, through orv_tprintf) and orv_system's.
 */
#ifndef ORVSYS_ORV_FILE_H
#define ORVSYS_ORV_FILE_H

#include <stdio.h>

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Operation numbers of orv_file_lock: a bit set of its own. */
enum {
    ORV_FILE_UNLOCK = 0,
    ORV_FILE_SHARED = 1,
    ORV_FILE_EXCLUSIVE = 2,
    ORV_FILE_NO_WAIT = 4 /* with SHARED or EXCLUSIVE: 5 or 6 */
};

/* flock on fd: 0 unlock, 1 shared, 2 exclusive, 5 and 6 the same without
 * waiting; 3, 4 and 7 hand flock -1 (the system answers, no message). A number
 * with bits above the lowest three prints "orv_file_lock: improper operation
 * type: 0x%x" and returns -1, no lock changed. Otherwise flock's 0 or -1. */
ORV_API int orv_file_lock(int32_t fd, int32_t operation);

/* Copies source to destination in blocks of 16384 bytes, flushing and
 * sleeping 10 ms after each (the destination opened with O_SYNC). 1 when
 * copied (an empty source too); 0 for a null path, when no_overwrite is set
 * and destination exists, when either cannot be opened, on a read error or a
 * write that stores nothing (the partial destination stays), and, before
 * the destination is opened, when both name the same file (same device and
 * inode, also by another path). */
ORV_API int orv_file_copy(const char *source, const char *destination, uint8_t no_overwrite);

/* Renames path to path.bak (replacing one) with "mv <path> <path>.bak" through
 * orv_system: 1 when that returns 0. A path holding anything but letters,
 * digits and /._+-,:@% goes into the command in single quotes, so blanks and
 * shell characters are safe. 0 for a null path or one longer than 251 bytes
 * (or whose quoted command would not fit 512 bytes). */
ORV_API int orv_file_backup(const char *path);

/* The 32-digit MD5 of the whole file (read at once into memory) into text,
 * cut to size - 1 characters; *length (if given) the file's size, and 0 on
 * every failure. 1; 0 for a null path or text, an empty or unreadable file,
 * or when memory runs out. */
ORV_API int orv_file_get_md5(const char *path, char *text, int32_t size, int32_t *length);

/* Adds O_SYNC to the stream's descriptor flags when it is not there; null
 * does nothing. */
ORV_API void orv_file_set_sync_flag(FILE *stream);

ORV_END_DECLS

#endif /* ORVSYS_ORV_FILE_H */
