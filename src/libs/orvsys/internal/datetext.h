// The date-text scanner and parse drivers behind orv_string_to_date, _time
// and _datetime. No other family uses them; they are declared here so that
// the unit tests reach them through the static build.
#pragma once

#include "orvsys/orv_datetext.h"

namespace orv::internal {

// "JAN".."DEC" at 1..12; entry 0 is empty and never compared.
extern const char *const g_month_names[13];

// Scans one token at position into *token, which is reset first. Returns
// the position behind the token, or null when the token is incomplete or
// the text has ended; a failed token keeps what it had read. prev is the
// delimiter of the token before ("." makes this one a fraction).
const char *nextDateToken(const char *position, char prev, orv_date_token_t *token);

// The three drivers: 0 on success with *result filled, 1 on failure with
// *result left as it was.
int parseDateText(const char *text, int order, orv_datetime_text_t *result);
int parseTimeText(const char *text, orv_datetime_text_t *result);
int parseDateTimeText(const char *text, int order, orv_datetime_text_t *result);

}  // namespace orv::internal
