// The installation root's seam, internal to the library: reachable by the
// unit tests through the static build, never exported.
#pragma once

// Fixes the root for the rest of the process as if the running executable
// lay in exe_dir (so "<tree>/bin" gives "<tree>"), cut by the same rule as
// the real first use. Only before the first orv_rootdir call of the
// process; afterwards the root stays as it is. A test calls it in a forked
// child, since the root is per process.
void orv_rootdir_seam(const char *exe_dir);
