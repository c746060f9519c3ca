/* orvsys: paths and the installation root.
 *
 * A service process lives in an installation tree as <root>/<dir>/<program>;
 * the root is found from the running executable alone ("/proc/self/exe"),
 * once per process. The settings are <root>/ini/orv.ini, the logs
 * <root>/run/log/, the plug-ins <root>/dll.
 *
 * Buffer operations take the buffer's size in bytes, terminator included,
 * and return null at once, leaving the buffer alone, for a null pointer or
 * a size below 1. "/" is the separator.
 */
#ifndef ORVSYS_ORV_PATH_H
#define ORVSYS_ORV_PATH_H

#include <sys/types.h>

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* The installation root without a trailing slash: empty until the first
 * orv_rootdir, then fixed for the life of the process. Empty also when the
 * executable's path cannot be read or does not fit in 255 bytes. */
ORV_API extern char g_orv_rootdir[256];
/* The plug-in directory, filled by the first orv_dll_dir. */
ORV_API extern char g_orv_dll_dir[512];

/* Makes path and its missing parents with mode (a directory made by another
 * process meanwhile is fine). 0 when every directory exists afterwards, -1
 * otherwise (also for a null or empty path); directories made stay. */
ORV_API int orv_mkpath(const char *path, mode_t mode);

/* The executable's full path; null when it does not fit in size-1 bytes. */
ORV_API char *orv_fullpath(char *buf, int32_t size);
/* The executable's directory; null when its path does not fit. */
ORV_API char *orv_path(char *buf, int32_t size);
/* The directory part of path: the last element and the slashes before it
 * dropped ("/usr/lib/x.so" and "/usr/lib/" give "/usr/lib"; "abc" gives "").
 * path is copied in first and cut to size; the result is buf. */
ORV_API char *orv_path2(const char *path, char *buf, int32_t size);
/* The executable's file name without its last extension (its path may be
 * at most 255 bytes); cut to size. */
ORV_API char *orv_filename(char *buf, int32_t size);
/* path's file name without its last extension ("/a/b.tar.gz" gives
 * "b.tar"); null when path has no "/". Cut to size. */
ORV_API char *orv_filename2(const char *path, char *buf, int32_t size);
/* The last extension of the executable's path, dot included; cut to size. */
ORV_API char *orv_extname(char *buf, int32_t size);
/* The last extension of path from its last "." on, dot included, looked for
 * in the whole path ("/a.d/b" gives ".d/b"); null without a ".". */
ORV_API char *orv_extname2(const char *path, char *buf, int32_t size);
/* getcwd with the same arguments and result. */
ORV_API char *orv_getcwd(char *buf, size_t size);

/* The installation root, worked out once on the first call from any thread
 * (the directory above the executable's directory); never null. */
ORV_API const char *orv_rootdir(void);
/* The plug-in directory "<root>/dll", or whatever text the field already
 * holds. Takes no lock: make the first call before threads share it. */
ORV_API char *orv_dll_dir(void);

ORV_END_DECLS

#endif /* ORVSYS_ORV_PATH_H */
