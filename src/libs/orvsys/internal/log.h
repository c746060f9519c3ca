// The log's write path and its two outputs, internal to the library.
#pragma once

#include <cstdio>

#include "orvsys/orv_log.h"

// Stores the entry in the ring and sends it to the outputs under the lock;
// save sends it to the numbered files. 1 when stored.
int orv_log_write(const orv_log_entry_t *entry, int save);
// The coloured console line.
void orv_log_console(const orv_log_entry_t *entry);
// Appends the entry's line to its file, rotating as needed.
void orv_log_file(const orv_log_entry_t *entry);
// The ext file to append to (the older one emptied when both are full).
FILE *orv_log_ext_file(void);
