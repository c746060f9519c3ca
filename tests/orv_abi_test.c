/* The records of ABI.md as a C11 compiler lays them out from the installed
 * headers, and one call through the shared library. The layout must be the
 * same on the 64-bit host and on armhf EABI; where the pointer width makes
 * a difference the expected value is worked from sizeof(void *). */
#include "orvsys/orvsys.h"

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

/* The exact type of a field, without evaluating the null pointer. */
#define FIELD(rec, member) (((rec *)0)->member)
#define IS_TYPE(expr, T) _Generic((expr), T : 1, default : 0)
/* The layout of one field: offset, size and exact type; of an array field:
 * offset, element type and count. A run: fields of one type that follow
 * each other with no gap. A record: size and alignment. */
#define FIELD_OK(rec, member, off, T)                                    \
    (offsetof(rec, member) == (off) && IS_TYPE(FIELD(rec, member), T) && \
     sizeof(FIELD(rec, member)) == sizeof(T))
#define AT(rec, member, off, T) \
    _Static_assert(FIELD_OK(rec, member, off, T), #rec "." #member " layout")
#define ARRAY_AT(rec, member, off, T, count)                                              \
    _Static_assert(offsetof(rec, member) == (off) && IS_TYPE(FIELD(rec, member)[0], T) && \
                       sizeof(FIELD(rec, member)) == sizeof(T) * (count),                 \
                   #rec "." #member " layout")
#define RECORD(rec, size, align) \
    _Static_assert(sizeof(rec) == (size) && _Alignof(rec) == (align), #rec " size or alignment")
#define RUN2_OK(rec, off, T, a, b) \
    (FIELD_OK(rec, a, off, T) && FIELD_OK(rec, b, (off) + sizeof(T), T))
#define RUN2(rec, off, T, a, b) _Static_assert(RUN2_OK(rec, off, T, a, b), #rec "." #a " run")
#define RUN3(rec, off, T, a, b, c)                                                           \
    _Static_assert(RUN2_OK(rec, off, T, a, b) && FIELD_OK(rec, c, (off) + 2 * sizeof(T), T), \
                   #rec "." #a " run")
#define RUN4(rec, off, T, a, b, c, d)                                                          \
    _Static_assert(RUN2_OK(rec, off, T, a, b) && RUN2_OK(rec, (off) + 2 * sizeof(T), T, c, d), \
                   #rec "." #a " run")
#define ALIGN_UP(n, a) (((n) + (a)-1) / (a) * (a))
#define PTR sizeof(void *)

/* orv_timestamp_t { int32_t seconds; uint16_t milliseconds; uint16_t reserved; } */
RECORD(orv_timestamp_t, 8, 4);
AT(orv_timestamp_t, seconds, 0, int32_t);
RUN2(orv_timestamp_t, 4, uint16_t, milliseconds, reserved);

/* orv_variant_t { int8_t type; union { ... } value; }: int64_t and double
 * align to 8 on x86-64 and on armhf EABI, so value starts at 8. */
#define BUFFER_FIELDS_SIZE (PTR == 8 ? 16u : 8u)
RECORD(orv_variant_t, 8 + BUFFER_FIELDS_SIZE, 8);
AT(orv_variant_t, type, 0, int8_t);
_Static_assert(offsetof(orv_variant_t, value) == 8, "value offset");
_Static_assert(sizeof(FIELD(orv_variant_t, value)) == BUFFER_FIELDS_SIZE, "value size");
AT(orv_variant_t, value.as_bool, 8, uint8_t);
AT(orv_variant_t, value.as_int32, 8, int32_t);
AT(orv_variant_t, value.as_int64, 8, int64_t);
AT(orv_variant_t, value.as_float, 8, float);
AT(orv_variant_t, value.as_double, 8, double);
AT(orv_variant_t, value.as_timestamp, 8, orv_timestamp_t);
AT(orv_variant_t, value.data, 8, void *);
RUN2(orv_variant_t, 8 + PTR, uint16_t, value.len, value.cap);

/* Calendar records: plain int32_t fields, four, four and eight of them. */
RECORD(orv_date_t, 16, 4);
RUN4(orv_date_t, 0, int32_t, year, month, day, weekday);
RECORD(orv_time_t, 16, 4);
RUN4(orv_time_t, 0, int32_t, hour, minute, second, millisecond);
RECORD(orv_datetime_t, 32, 4);
RUN4(orv_datetime_t, 0, int32_t, year, month, day, weekday);
RUN4(orv_datetime_t, 16, int32_t, hour, minute, second, millisecond);
_Static_assert(IS_TYPE(g_orv_timezone, int32_t), "g_orv_timezone is int32_t");

/* orv_date_token_t { int32_t digits, value, scale; char delim; char text[19]; } */
RECORD(orv_date_token_t, 32, 4);
RUN3(orv_date_token_t, 0, int32_t, digits, value, scale);
AT(orv_date_token_t, delim, 12, char);
ARRAY_AT(orv_date_token_t, text, 13, char, 19);

/* orv_datetime_text_t: eleven int32_t, then char zone_sign, two int32_t
 * and the tail pointer. */
RECORD(orv_datetime_text_t, 56 + PTR, PTR);
RUN4(orv_datetime_text_t, 0, int32_t, month, day, year, hour);
RUN4(orv_datetime_text_t, 16, int32_t, minute, second, msec, usec);
RUN3(orv_datetime_text_t, 32, int32_t, nsec, zone_hour, zone_minute);
AT(orv_datetime_text_t, zone_sign, 44, char);
RUN2(orv_datetime_text_t, 48, int32_t, has_date, has_time);
AT(orv_datetime_text_t, tail, 56, const char *);

/* orv_log_entry_t { int32_t level, ext; orv_datetime_t time; char message[128]; } */
RECORD(orv_log_entry_t, 168, 4);
RUN2(orv_log_entry_t, 0, int32_t, level, ext);
AT(orv_log_entry_t, time, 8, orv_datetime_t);
ARRAY_AT(orv_log_entry_t, message, 40, char, 128);

/* orv_log_ctrl_t: fields in order with natural alignment around the
 * platform's own pthread_mutex_t. */
#define LOCK_AT ALIGN_UP(2 * PTR + 4, _Alignof(pthread_mutex_t))
#define NAME_AT (LOCK_AT + sizeof(pthread_mutex_t))
AT(orv_log_ctrl_t, capacity, 0, int32_t);
AT(orv_log_ctrl_t, entries, PTR, orv_log_entry_t *);
AT(orv_log_ctrl_t, write_index, 2 * PTR, int32_t);
AT(orv_log_ctrl_t, lock, LOCK_AT, pthread_mutex_t);
ARRAY_AT(orv_log_ctrl_t, name, NAME_AT, char, 64);
RUN2(orv_log_ctrl_t, NAME_AT + 64, int32_t, file_index, lang);
RUN4(orv_log_ctrl_t, NAME_AT + 72, uint8_t, save_error, save_warn, save_debug, save_info);
AT(orv_log_ctrl_t, max_file_count, NAME_AT + 76, int32_t);
AT(orv_log_ctrl_t, max_file_size, ALIGN_UP(NAME_AT + 80, 8), int64_t);

/* The process-wide fields. */
_Static_assert(sizeof(g_orv_rootdir) == 256, "g_orv_rootdir size");
_Static_assert(sizeof(g_orv_dll_dir) == 512, "g_orv_dll_dir size");
_Static_assert(IS_TYPE(g_orv_log_ctrl, orv_log_ctrl_t *), "g_orv_log_ctrl type");

/* The 18 tags, six at a time from n. */
#define TAGS(n, a, b, c, d, e, f)                                                               \
    _Static_assert(ORV_VT_##a == (n) && ORV_VT_##b == (n) + 1 && ORV_VT_##c == (n) + 2 &&       \
                       ORV_VT_##d == (n) + 3 && ORV_VT_##e == (n) + 4 && ORV_VT_##f == (n) + 5, \
                   "tags from ORV_VT_" #a)
TAGS(0, BOOL, INT8, INT16, INT32, INT64, UINT8);
TAGS(6, UINT16, UINT32, UINT64, FLOAT, DOUBLE, DATE);
TAGS(12, TIME, DATETIME, STRING, TEXT, BINARY, TIMESTAMP);

static int failures = 0;
#define CHECK(ok) (void)((ok) || (fprintf(stderr, "orv_abi_test: failed: %s\n", #ok), ++failures))

/* A caller-filled STRING record through the shared library and back: the
 * library finds the buffer fields where a C caller put them. */
int main(void) {
    char buf[16];
    orv_variant_t v = {.type = ORV_VT_STRING, .value = {.data = buf, .cap = (uint16_t)sizeof buf}};
    int32_t out = 0;

    memset(buf, 0x5A, sizeof buf);
    CHECK(orv_variant_is_valid(&v) == 1 && orv_variant_is_btype(&v) == 0);
    CHECK(orv_variant_from_int32(&v, INT32_MIN) == 1);
    CHECK(memcmp(buf, "-2147483648", 12) == 0);
    CHECK(v.value.len == 0 && v.type == ORV_VT_STRING);
    CHECK(orv_variant_to_int32(&v, &out) == 1 && out == INT32_MIN);
    if (failures == 0) printf("orv_abi_test: records and end-to-end call agree\n");
    return failures != 0;
}
