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
#define IS_TYPE(expr, T) _Generic((expr), T: 1, default: 0)

/* orv_timestamp_t { int32_t seconds; uint16_t milliseconds; uint16_t reserved; } */
_Static_assert(sizeof(orv_timestamp_t) == 8, "orv_timestamp_t size");
_Static_assert(_Alignof(orv_timestamp_t) == 4, "orv_timestamp_t alignment");
_Static_assert(offsetof(orv_timestamp_t, seconds) == 0, "seconds offset");
_Static_assert(offsetof(orv_timestamp_t, milliseconds) == 4, "milliseconds offset");
_Static_assert(offsetof(orv_timestamp_t, reserved) == 6, "reserved offset");
_Static_assert(IS_TYPE(FIELD(orv_timestamp_t, seconds), int32_t), "seconds is int32_t");
_Static_assert(IS_TYPE(FIELD(orv_timestamp_t, milliseconds), uint16_t), "milliseconds is uint16_t");
_Static_assert(IS_TYPE(FIELD(orv_timestamp_t, reserved), uint16_t), "reserved is uint16_t");

/* orv_variant_t { int8_t type; union { ... } value; }: int64_t and double
 * align to 8 on x86-64 and on armhf EABI, so value starts at 8. */
#define VALUE_AT(member) (offsetof(orv_variant_t, value.member) - offsetof(orv_variant_t, value))
#define BUFFER_FIELDS_SIZE (sizeof(void *) == 8 ? 16u : 8u)

_Static_assert(offsetof(orv_variant_t, type) == 0, "type offset");
_Static_assert(offsetof(orv_variant_t, value) == 8, "value offset");
_Static_assert(sizeof(FIELD(orv_variant_t, value)) == BUFFER_FIELDS_SIZE, "value size");
_Static_assert(sizeof(orv_variant_t) == 8 + BUFFER_FIELDS_SIZE, "orv_variant_t size");
_Static_assert(_Alignof(orv_variant_t) == 8, "orv_variant_t alignment");

_Static_assert(VALUE_AT(as_bool) == 0, "as_bool offset");
_Static_assert(VALUE_AT(as_int32) == 0, "as_int32 offset");
_Static_assert(VALUE_AT(as_int64) == 0, "as_int64 offset");
_Static_assert(VALUE_AT(as_float) == 0, "as_float offset");
_Static_assert(VALUE_AT(as_double) == 0, "as_double offset");
_Static_assert(VALUE_AT(as_timestamp) == 0, "as_timestamp offset");
_Static_assert(VALUE_AT(data) == 0, "data offset");
_Static_assert(VALUE_AT(len) == sizeof(void *), "len offset");
_Static_assert(VALUE_AT(cap) == sizeof(void *) + 2, "cap offset");

_Static_assert(sizeof(FIELD(orv_variant_t, type)) == 1, "type size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.as_bool)) == 1, "as_bool size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.as_int32)) == 4, "as_int32 size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.as_int64)) == 8, "as_int64 size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.as_float)) == 4, "as_float size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.as_double)) == 8, "as_double size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.as_timestamp)) == 8, "as_timestamp size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.data)) == sizeof(void *), "data size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.len)) == 2, "len size");
_Static_assert(sizeof(FIELD(orv_variant_t, value.cap)) == 2, "cap size");

_Static_assert(IS_TYPE(FIELD(orv_variant_t, type), int8_t), "type is int8_t");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.as_bool), uint8_t), "as_bool is uint8_t");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.as_int32), int32_t), "as_int32 is int32_t");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.as_int64), int64_t), "as_int64 is int64_t");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.as_float), float), "as_float is float");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.as_double), double), "as_double is double");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.as_timestamp), orv_timestamp_t), "as_timestamp type");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.data), void *), "data is void *");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.len), uint16_t), "len is uint16_t");
_Static_assert(IS_TYPE(FIELD(orv_variant_t, value.cap), uint16_t), "cap is uint16_t");

/* Calendar records: plain int32_t fields, four, four and eight of them. */
#define INT32_AT(rec, member, index) \
    _Static_assert(offsetof(rec, member) == 4 * (index), #rec "." #member " offset"); \
    _Static_assert(IS_TYPE(FIELD(rec, member), int32_t), #rec "." #member " is int32_t")

_Static_assert(sizeof(orv_date_t) == 16, "orv_date_t size");
INT32_AT(orv_date_t, year, 0);
INT32_AT(orv_date_t, month, 1);
INT32_AT(orv_date_t, day, 2);
INT32_AT(orv_date_t, weekday, 3);
_Static_assert(sizeof(orv_time_t) == 16, "orv_time_t size");
INT32_AT(orv_time_t, hour, 0);
INT32_AT(orv_time_t, minute, 1);
INT32_AT(orv_time_t, second, 2);
INT32_AT(orv_time_t, millisecond, 3);
_Static_assert(sizeof(orv_datetime_t) == 32, "orv_datetime_t size");
INT32_AT(orv_datetime_t, year, 0);
INT32_AT(orv_datetime_t, month, 1);
INT32_AT(orv_datetime_t, day, 2);
INT32_AT(orv_datetime_t, weekday, 3);
INT32_AT(orv_datetime_t, hour, 4);
INT32_AT(orv_datetime_t, minute, 5);
INT32_AT(orv_datetime_t, second, 6);
INT32_AT(orv_datetime_t, millisecond, 7);
_Static_assert(IS_TYPE(g_orv_timezone, int32_t), "g_orv_timezone is int32_t");

/* orv_date_token_t { int32_t digits, value, scale; char delim; char text[19]; } */
_Static_assert(sizeof(orv_date_token_t) == 32, "orv_date_token_t size");
INT32_AT(orv_date_token_t, digits, 0);
INT32_AT(orv_date_token_t, value, 1);
INT32_AT(orv_date_token_t, scale, 2);
_Static_assert(offsetof(orv_date_token_t, delim) == 12, "delim offset");
_Static_assert(IS_TYPE(FIELD(orv_date_token_t, delim), char), "delim is char");
_Static_assert(offsetof(orv_date_token_t, text) == 13, "text offset");
_Static_assert(sizeof(FIELD(orv_date_token_t, text)) == 19, "text size");

/* orv_datetime_text_t: eleven int32_t, then char zone_sign, two int32_t
 * and the tail pointer. */
INT32_AT(orv_datetime_text_t, month, 0);
INT32_AT(orv_datetime_text_t, day, 1);
INT32_AT(orv_datetime_text_t, year, 2);
INT32_AT(orv_datetime_text_t, hour, 3);
INT32_AT(orv_datetime_text_t, minute, 4);
INT32_AT(orv_datetime_text_t, second, 5);
INT32_AT(orv_datetime_text_t, msec, 6);
INT32_AT(orv_datetime_text_t, usec, 7);
INT32_AT(orv_datetime_text_t, nsec, 8);
INT32_AT(orv_datetime_text_t, zone_hour, 9);
INT32_AT(orv_datetime_text_t, zone_minute, 10);
_Static_assert(offsetof(orv_datetime_text_t, zone_sign) == 44, "zone_sign offset");
_Static_assert(IS_TYPE(FIELD(orv_datetime_text_t, zone_sign), char), "zone_sign is char");
INT32_AT(orv_datetime_text_t, has_date, 12);
INT32_AT(orv_datetime_text_t, has_time, 13);
_Static_assert(offsetof(orv_datetime_text_t, tail) == 56, "tail offset");
_Static_assert(IS_TYPE(FIELD(orv_datetime_text_t, tail), const char *), "tail is const char *");
_Static_assert(sizeof(orv_datetime_text_t) == 56 + sizeof(void *), "orv_datetime_text_t size");

/* orv_log_entry_t { int32_t level, ext; orv_datetime_t time; char message[128]; } */
INT32_AT(orv_log_entry_t, level, 0);
INT32_AT(orv_log_entry_t, ext, 1);
_Static_assert(offsetof(orv_log_entry_t, time) == 8, "time offset");
_Static_assert(IS_TYPE(FIELD(orv_log_entry_t, time), orv_datetime_t), "time is orv_datetime_t");
_Static_assert(offsetof(orv_log_entry_t, message) == 40, "message offset");
_Static_assert(sizeof(FIELD(orv_log_entry_t, message)) == 128, "message size");
_Static_assert(sizeof(orv_log_entry_t) == 168, "orv_log_entry_t size");

/* orv_log_ctrl_t: fields in order with natural alignment around the
 * platform's own pthread_mutex_t. */
_Static_assert(offsetof(orv_log_ctrl_t, capacity) == 0, "capacity offset");
_Static_assert(offsetof(orv_log_ctrl_t, entries) == sizeof(void *), "entries offset");
_Static_assert(offsetof(orv_log_ctrl_t, write_index) == 2 * sizeof(void *), "write_index offset");
_Static_assert(offsetof(orv_log_ctrl_t, lock) > offsetof(orv_log_ctrl_t, write_index), "lock after write_index");
_Static_assert(offsetof(orv_log_ctrl_t, name) == offsetof(orv_log_ctrl_t, lock) + sizeof(pthread_mutex_t), "name offset");
_Static_assert(sizeof(FIELD(orv_log_ctrl_t, name)) == 64, "name size");
_Static_assert(offsetof(orv_log_ctrl_t, file_index) == offsetof(orv_log_ctrl_t, name) + 64, "file_index offset");
_Static_assert(offsetof(orv_log_ctrl_t, lang) == offsetof(orv_log_ctrl_t, file_index) + 4, "lang offset");
_Static_assert(offsetof(orv_log_ctrl_t, save_error) == offsetof(orv_log_ctrl_t, lang) + 4, "save_error offset");
_Static_assert(offsetof(orv_log_ctrl_t, save_warn) == offsetof(orv_log_ctrl_t, save_error) + 1, "save_warn offset");
_Static_assert(offsetof(orv_log_ctrl_t, save_debug) == offsetof(orv_log_ctrl_t, save_error) + 2, "save_debug offset");
_Static_assert(offsetof(orv_log_ctrl_t, save_info) == offsetof(orv_log_ctrl_t, save_error) + 3, "save_info offset");
_Static_assert(offsetof(orv_log_ctrl_t, max_file_count) == offsetof(orv_log_ctrl_t, save_error) + 4, "max_file_count offset");
_Static_assert(offsetof(orv_log_ctrl_t, max_file_size) % 8 == 0, "max_file_size aligned");
_Static_assert(IS_TYPE(FIELD(orv_log_ctrl_t, max_file_size), int64_t), "max_file_size is int64_t");
_Static_assert(IS_TYPE(FIELD(orv_log_ctrl_t, save_info), uint8_t), "save_info is uint8_t");

/* The process-wide fields. */
_Static_assert(sizeof(g_orv_rootdir) == 256, "g_orv_rootdir size");
_Static_assert(sizeof(g_orv_dll_dir) == 512, "g_orv_dll_dir size");
_Static_assert(IS_TYPE(g_orv_log_ctrl, orv_log_ctrl_t *), "g_orv_log_ctrl type");

/* The 18 tags. */
_Static_assert(ORV_VT_BOOL == 0, "ORV_VT_BOOL");
_Static_assert(ORV_VT_INT8 == 1, "ORV_VT_INT8");
_Static_assert(ORV_VT_INT16 == 2, "ORV_VT_INT16");
_Static_assert(ORV_VT_INT32 == 3, "ORV_VT_INT32");
_Static_assert(ORV_VT_INT64 == 4, "ORV_VT_INT64");
_Static_assert(ORV_VT_UINT8 == 5, "ORV_VT_UINT8");
_Static_assert(ORV_VT_UINT16 == 6, "ORV_VT_UINT16");
_Static_assert(ORV_VT_UINT32 == 7, "ORV_VT_UINT32");
_Static_assert(ORV_VT_UINT64 == 8, "ORV_VT_UINT64");
_Static_assert(ORV_VT_FLOAT == 9, "ORV_VT_FLOAT");
_Static_assert(ORV_VT_DOUBLE == 10, "ORV_VT_DOUBLE");
_Static_assert(ORV_VT_DATE == 11, "ORV_VT_DATE");
_Static_assert(ORV_VT_TIME == 12, "ORV_VT_TIME");
_Static_assert(ORV_VT_DATETIME == 13, "ORV_VT_DATETIME");
_Static_assert(ORV_VT_STRING == 14, "ORV_VT_STRING");
_Static_assert(ORV_VT_TEXT == 15, "ORV_VT_TEXT");
_Static_assert(ORV_VT_BINARY == 16, "ORV_VT_BINARY");
_Static_assert(ORV_VT_TIMESTAMP == 17, "ORV_VT_TIMESTAMP");

static int failures = 0;

static void check(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "orv_abi_test: %s\n", what);
        ++failures;
    }
}

/* A caller-filled STRING record through the shared library and back. */
int main(void) {
    char buf[16];
    orv_variant_t v;
    orv_variant_t w;
    int32_t out = 0;

    memset(buf, 0x5A, sizeof buf);
    memset(&v, 0, sizeof v);
    v.type = ORV_VT_STRING;
    v.value.data = buf;
    v.value.cap = (uint16_t)sizeof buf;
    v.value.len = 0;

    check(orv_variant_is_valid(&v) == 1, "is_valid of a set-up STRING record is not 1");
    check(orv_variant_is_btype(&v) == 0, "is_btype of a STRING record is not 0");
    check(orv_variant_from_int32(&v, INT32_MIN) == 1, "from_int32 into STRING failed");
    check(memcmp(buf, "-2147483648", 12) == 0, "from_int32 did not write '-2147483648'");
    check(v.value.len == 0, "from_int32 changed len");
    check(v.type == ORV_VT_STRING, "from_int32 changed the tag");
    check(orv_variant_to_int32(&v, &out) == 1, "to_int32 of the STRING record failed");
    check(out == INT32_MIN, "to_int32 did not read back INT32_MIN");

    memset(&w, 0, sizeof w);
    w.type = ORV_VT_UINT64;
    check(orv_variant_from_int32(&w, -1) == 1, "from_int32 into UINT64 failed");
    check((uint64_t)w.value.as_int64 == UINT64_MAX, "UINT64 record does not hold 2^64-1");

    {
        orv_datetime_t dt;
        int32_t seconds = 0;
        memset(&dt, 0, sizeof dt);
        check(orv_string_to_datetime("2020-01-02T12:30:45.250", getDateOrder(), &dt) == 1,
              "parse of an ISO date-time failed");
        check(dt.year == 2020 && dt.month == 1 && dt.day == 2 && dt.hour == 12 &&
                  dt.minute == 30 && dt.second == 45 && dt.millisecond == 250,
              "ISO date-time parsed into the wrong fields");
        check(orv_time_t_to_datetime_utc(0, &dt) == 1 && dt.year == 1970 && dt.weekday == 4,
              "the Epoch is not a Thursday in 1970");
        check(orv_datetime_to_time_t(&dt, &seconds) == 1, "datetime_to_time_t refused a record");
    }

    if (failures != 0) {
        fprintf(stderr, "orv_abi_test: %d check(s) failed\n", failures);
        return 1;
    }
    printf("orv_abi_test: records and end-to-end call agree\n");
    return 0;
}
