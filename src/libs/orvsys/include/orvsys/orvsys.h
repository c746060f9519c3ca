/* orvsys: the whole public interface. */
#ifndef ORVSYS_ORVSYS_H
#define ORVSYS_ORVSYS_H

#include "orvsys/orv_base.h"
#include "orvsys/orv_safestr.h"
#include "orvsys/orv_numtext.h"
#include "orvsys/orv_calendar.h"
#include "orvsys/orv_variant.h"
#include "orvsys/orv_datetext.h"
#include "orvsys/orv_ini.h"
#include "orvsys/orv_path.h"
#include "orvsys/orv_log.h"
#include "orvsys/orv_list.h"
#include "orvsys/orv_timer.h"
#include "orvsys/orv_buffer.h"
#include "orvsys/orv_roundbuf.h"
#include "orvsys/orv_map.h"
#include "orvsys/orv_elapsed.h"
#include "orvsys/orv_sem.h"
#include "orvsys/orv_trace.h"
#include "orvsys/orv_clockset.h"
#include "orvsys/orv_md5.h"
#include "orvsys/orv_process.h"
#include "orvsys/orv_file.h"
#include "orvsys/orv_search.h"
#include "orvsys/orv_scan.h"
#include "orvsys/orv_charset.h"
#include "orvsys/orv_getopt.h"

#endif /* ORVSYS_ORVSYS_H */
