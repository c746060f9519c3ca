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

/* One field: offset, size and exact type; an array field: offset, element
 * type and count; a record: size and alignment. */
#define AT(rec, member, off, T)                                                        \
    _Static_assert(offsetof(rec, member) == (off) && IS_TYPE(FIELD(rec, member), T) && \
                       sizeof(FIELD(rec, member)) == sizeof(T),                        \
                   #rec "." #member " layout")
#define ARRAY_AT(rec, member, off, T, count)                                              \
    _Static_assert(offsetof(rec, member) == (off) && IS_TYPE(FIELD(rec, member)[0], T) && \
                       sizeof(FIELD(rec, member)) == sizeof(T) * (count),                 \
                   #rec "." #member " layout")
#define RECORD(rec, size, align) \
    _Static_assert(sizeof(rec) == (size) && _Alignof(rec) == (align), #rec " size or alignment")
#define I32(rec, member, index) AT(rec, member, 4 * (index), int32_t)
#define ALIGN_UP(n, a) (((n) + (a)-1) / (a) * (a))
#define PTR sizeof(void *)

/* orv_timestamp_t { int32_t seconds; uint16_t milliseconds; uint16_t reserved; } */
RECORD(orv_timestamp_t, 8, 4);
AT(orv_timestamp_t, seconds, 0, int32_t);
AT(orv_timestamp_t, milliseconds, 4, uint16_t);
AT(orv_timestamp_t, reserved, 6, uint16_t);

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
AT(orv_variant_t, value.len, 8 + PTR, uint16_t);
AT(orv_variant_t, value.cap, 8 + PTR + 2, uint16_t);

/* Calendar records: plain int32_t fields, four, four and eight of them. */
RECORD(orv_date_t, 16, 4);
I32(orv_date_t, year, 0);
I32(orv_date_t, month, 1);
I32(orv_date_t, day, 2);
I32(orv_date_t, weekday, 3);
RECORD(orv_time_t, 16, 4);
I32(orv_time_t, hour, 0);
I32(orv_time_t, minute, 1);
I32(orv_time_t, second, 2);
I32(orv_time_t, millisecond, 3);
RECORD(orv_datetime_t, 32, 4);
I32(orv_datetime_t, year, 0);
I32(orv_datetime_t, month, 1);
I32(orv_datetime_t, day, 2);
I32(orv_datetime_t, weekday, 3);
I32(orv_datetime_t, hour, 4);
I32(orv_datetime_t, minute, 5);
I32(orv_datetime_t, second, 6);
I32(orv_datetime_t, millisecond, 7);
_Static_assert(IS_TYPE(g_orv_timezone, int32_t), "g_orv_timezone is int32_t");

/* orv_date_token_t { int32_t digits, value, scale; char delim; char text[19]; } */
RECORD(orv_date_token_t, 32, 4);
I32(orv_date_token_t, digits, 0);
I32(orv_date_token_t, value, 1);
I32(orv_date_token_t, scale, 2);
AT(orv_date_token_t, delim, 12, char);
ARRAY_AT(orv_date_token_t, text, 13, char, 19);

/* orv_datetime_text_t: eleven int32_t, then char zone_sign, two int32_t
 * and the tail pointer. */
RECORD(orv_datetime_text_t, 56 + PTR, PTR);
I32(orv_datetime_text_t, month, 0);
I32(orv_datetime_text_t, day, 1);
I32(orv_datetime_text_t, year, 2);
I32(orv_datetime_text_t, hour, 3);
I32(orv_datetime_text_t, minute, 4);
I32(orv_datetime_text_t, second, 5);
I32(orv_datetime_text_t, msec, 6);
I32(orv_datetime_text_t, usec, 7);
I32(orv_datetime_text_t, nsec, 8);
I32(orv_datetime_text_t, zone_hour, 9);
I32(orv_datetime_text_t, zone_minute, 10);
AT(orv_datetime_text_t, zone_sign, 44, char);
I32(orv_datetime_text_t, has_date, 12);
I32(orv_datetime_text_t, has_time, 13);
AT(orv_datetime_text_t, tail, 56, const char *);

/* orv_log_entry_t { int32_t level, ext; orv_datetime_t time; char message[128]; } */
RECORD(orv_log_entry_t, 168, 4);
I32(orv_log_entry_t, level, 0);
I32(orv_log_entry_t, ext, 1);
AT(orv_log_entry_t, time, 8, orv_datetime_t);
ARRAY_AT(orv_log_entry_t, message, 40, char, 128);

/* orv_log_ctrl_t: fields in order with natural alignment around the
 * platform's own pthread_mutex_t. */
#define LOCK_AT ALIGN_UP(2 * PTR + 4, _Alignof(pthread_mutex_t))
#define FLAGS_AT (LOCK_AT + sizeof(pthread_mutex_t) + 72)
AT(orv_log_ctrl_t, capacity, 0, int32_t);
AT(orv_log_ctrl_t, entries, PTR, orv_log_entry_t *);
AT(orv_log_ctrl_t, write_index, 2 * PTR, int32_t);
AT(orv_log_ctrl_t, lock, LOCK_AT, pthread_mutex_t);
ARRAY_AT(orv_log_ctrl_t, name, LOCK_AT + sizeof(pthread_mutex_t), char, 64);
AT(orv_log_ctrl_t, file_index, LOCK_AT + sizeof(pthread_mutex_t) + 64, int32_t);
AT(orv_log_ctrl_t, lang, LOCK_AT + sizeof(pthread_mutex_t) + 68, int32_t);
AT(orv_log_ctrl_t, save_error, FLAGS_AT, uint8_t);
AT(orv_log_ctrl_t, save_warn, FLAGS_AT + 1, uint8_t);
AT(orv_log_ctrl_t, save_debug, FLAGS_AT + 2, uint8_t);
AT(orv_log_ctrl_t, save_info, FLAGS_AT + 3, uint8_t);
AT(orv_log_ctrl_t, max_file_count, FLAGS_AT + 4, int32_t);
AT(orv_log_ctrl_t, max_file_size, ALIGN_UP(FLAGS_AT + 8, 8), int64_t);

/* The process-wide fields. */
_Static_assert(sizeof(g_orv_rootdir) == 256, "g_orv_rootdir size");
_Static_assert(sizeof(g_orv_dll_dir) == 512, "g_orv_dll_dir size");
_Static_assert(IS_TYPE(g_orv_log_ctrl, orv_log_ctrl_t *), "g_orv_log_ctrl type");

/* The 18 tags. */
#define TAG(name, n) _Static_assert(ORV_VT_##name == (n), "ORV_VT_" #name)
TAG(BOOL, 0);
TAG(INT8, 1);
TAG(INT16, 2);
TAG(INT32, 3);
TAG(INT64, 4);
TAG(UINT8, 5);
TAG(UINT16, 6);
TAG(UINT32, 7);
TAG(UINT64, 8);
TAG(FLOAT, 9);
TAG(DOUBLE, 10);
TAG(DATE, 11);
TAG(TIME, 12);
TAG(DATETIME, 13);
TAG(STRING, 14);
TAG(TEXT, 15);
TAG(BINARY, 16);
TAG(TIMESTAMP, 17);

static int failures = 0;

static void check(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "orv_abi_test: %s\n", what);
        ++failures;
    }
}

/* A caller-filled STRING record through the shared library and back: the
 * library finds the buffer fields where a C caller put them. */
int main(void) {
    char buf[16];
    orv_variant_t v;
    int32_t out = 0;

    memset(buf, 0x5A, sizeof buf);
    memset(&v, 0, sizeof v);
    v.type = ORV_VT_STRING;
    v.value.data = buf;
    v.value.cap = (uint16_t)sizeof buf;

    check(orv_variant_is_valid(&v) == 1, "is_valid of a set-up STRING record is not 1");
    check(orv_variant_is_btype(&v) == 0, "is_btype of a STRING record is not 0");
    check(orv_variant_from_int32(&v, INT32_MIN) == 1, "from_int32 into STRING failed");
    check(memcmp(buf, "-2147483648", 12) == 0, "from_int32 did not write '-2147483648'");
    check(v.value.len == 0 && v.type == ORV_VT_STRING, "from_int32 changed len or the tag");
    check(orv_variant_to_int32(&v, &out) == 1 && out == INT32_MIN,
          "to_int32 did not read back INT32_MIN");

    if (failures != 0) {
        fprintf(stderr, "orv_abi_test: %d check(s) failed\n", failures);
        return 1;
    }
    printf("orv_abi_test: records and end-to-end call agree\n");
    return 0;
}
