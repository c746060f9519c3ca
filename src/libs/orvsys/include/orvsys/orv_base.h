/* orvsys: definitions every family header shares.
 *
 * ORV_API marks the names that leave liborvsys.so; everything else in the
 * library is hidden. ORV_BEGIN_DECLS / ORV_END_DECLS give the declarations
 * C linkage when a C++ service includes the headers.
 *
 * Widths are those of the 32-bit target on every platform: where the
 * library speaks of `long` or `time_t` the interface uses int32_t.
 */
#ifndef ORVSYS_ORV_BASE_H
#define ORVSYS_ORV_BASE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define ORV_API __attribute__((visibility("default")))
#else
#define ORV_API
#endif

/* Lets the compiler check a printf-style format against its arguments. */
#if defined(__GNUC__) || defined(__clang__)
#define ORV_PRINTF_LIKE(fmt, first) __attribute__((format(printf, fmt, first)))
#else
#define ORV_PRINTF_LIKE(fmt, first)
#endif

#ifdef __cplusplus
#define ORV_BEGIN_DECLS extern "C" {
#define ORV_END_DECLS }
#else
#define ORV_BEGIN_DECLS
#define ORV_END_DECLS
#endif

ORV_BEGIN_DECLS

/* A point in time: seconds since the Epoch in the target's signed 32-bit
 * time_t, plus milliseconds. `reserved` has no meaning; the variant family
 * clears it when it stores seconds alone and copies it with the record. */
typedef struct orv_timestamp_t {
    int32_t seconds;
    uint16_t milliseconds;
    uint16_t reserved;
} orv_timestamp_t;

ORV_END_DECLS

#endif /* ORVSYS_ORV_BASE_H */
