/* orvsys: the short-option scanner, with its own process-wide state.
 *
 * Single-letter options, clusters ("-ab"), arguments joined ("-b5") or in the
 * next word (taken whatever it looks like). No long options, no reordering:
 * the scan stops at the first word that is no option, at a lone "-" (left
 * unread) and after "--" (consumed). State is process-wide and unguarded:
 * one thread scans, typically at start-up.
 */
#ifndef ORVSYS_ORV_GETOPT_H
#define ORVSYS_ORV_GETOPT_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* The current option's argument, or null. */
ORV_API extern char *orv_optarg;
/* The index of the next word to read; 0 is read as 1 (argv[0] is the
 * program's name). After -1 it is the first word that is no option. */
ORV_API extern int32_t orv_optind;

/* Forgets the position inside a word; orv_optind and orv_optarg stay. To scan
 * again from the start, also set orv_optind to 0. */
ORV_API void orv_getopt_init(void);

/* The next option's character (an unsigned byte value), -1 when there are no
 * more, or 63 ('?') after printing "<argv[0]>: unknown option -<c>\n" (also for
 * ':') or "<argv[0]>: -<c> argument missing\n" on standard output. optstring
 * holds the letters, each followed by ':' when it takes an argument. */
ORV_API int orv_getopt(int argc, char *const argv[], const char *optstring);

ORV_END_DECLS

#endif /* ORVSYS_ORV_GETOPT_H */
