// The paths the library forms under its installation root, and the root's
// test seam. Internal: reachable by the unit tests through the static
// build, never exported.
#pragma once

#include <cstdint>

namespace orv::internal {

// Size, terminator included, of every path the library forms under the
// root for itself: the settings file and the log files.
inline constexpr uint32_t kPathSize = 128;

// Forms "<root>/" and then format's text into dest, at most size bytes with
// the terminator. A path that does not fit is cut at size - 1 bytes and the
// result is false; the callers use the cut path all the same, which then
// names a file that is normally missing: the settings read take their
// defaults and a log line finds no file to go to.
bool root_path(char *dest, uint32_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

// "<root>/ini/orv.ini", the library's own settings file, into kPathSize
// bytes as root_path forms it.
bool settings_path(char (&dest)[kPathSize]);

// Fixes the root for the rest of the process as if the running executable
// lay in exe_dir (so "<tree>/bin" gives "<tree>"), cut by the same rule as
// the real first use. Only before the first orv_rootdir call of the
// process; afterwards the root stays as it is. A test calls it in a forked
// child, since the root is per process.
void orv_rootdir_seam(const char *exe_dir);

}  // namespace orv::internal
