// The log's write path and its two outputs: internal to the library, and
// reachable by the unit tests through the static build.
#pragma once

#include "internal/raii.h"
#include "orvsys/orv_log.h"

namespace orv::internal {

// Room for an entry's time text, "YYYY-MM-DD hh:mm:ss.mmm" and its terminator;
// a time whose fields do not fit their widths is cut to it.
inline constexpr int kLogTimeTextSize = 32;

// Stores the entry in the ring and sends it to the outputs under the lock;
// save sends it to the numbered files. 1 when stored.
int orv_log_write(const orv_log_entry_t *entry, int save);
// The coloured console line, with the entry's time already as text.
void orv_log_console(const orv_log_entry_t *entry, const char *time_text);
// Appends the entry's line to its file, rotating as needed.
void orv_log_file(const orv_log_entry_t *entry, const char *time_text);
// The ext file to append to (the older one emptied when both are full).
unique_file orv_log_ext_file(void);

}  // namespace orv::internal
