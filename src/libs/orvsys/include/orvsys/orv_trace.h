/* orvsys: console trace printers.
 *
 * Two direct printers to standard output, apart from the log: no set-up, no
 * lock of their own, no ring entry and no file. Lines end in a lone line
 * feed and are not flushed; their lines may interleave with the log's.
 */
#ifndef ORVSYS_ORV_TRACE_H
#define ORVSYS_ORV_TRACE_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Prints "[YYYY-MM-DD HH:MM:SS] text\n" with the local time of the call
 * (whole seconds). The text is formatted into 512 bytes: an empty text, a
 * null format, or a text of 512 characters or more prints nothing (it is not
 * cut). */
ORV_API void orv_tprintf(const char *format, ...) ORV_PRINTF_LIKE(1, 2);

/* Prints length bytes of data as upper-case hex pairs separated by blanks,
 * as "label : Rx <<< : 01 AB\n" (tx 0) or "label : Tx >>> : ...\n" (tx not
 * 0), without "label : " for a null label. Blocks are cut into lines of 512
 * bytes labelled "label[1]", "label[2]"...: there are length / 512 + 1 of
 * them, so exactly 512 bytes also give an empty second line. A label is cut
 * to leave its chunk number whole within 63 characters; a null label at 512
 * bytes or more gives the chunk labels alone ("[1] : Rx <<< : ..."). A
 * length from -511 to -1 prints a line with no bytes, -512 or less nothing.
 * data must be valid for length bytes. */
ORV_API void orv_bprintf(const uint8_t *data, int32_t length, uint8_t tx, const char *label);

ORV_END_DECLS

#endif /* ORVSYS_ORV_TRACE_H */
