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

/* Marks a member that strict ISO C++ rejects but GCC and Clang lay out as
 * C11 does (an anonymous struct in a union), so -pedantic stays quiet. */
#if defined(__GNUC__) || defined(__clang__)
#define ORV_EXTENSION __extension__
#else
#define ORV_EXTENSION
#endif

#ifdef __cplusplus
#define ORV_BEGIN_DECLS extern "C" {
#define ORV_END_DECLS }
#else
#define ORV_BEGIN_DECLS
#define ORV_END_DECLS
#endif

#endif /* ORVSYS_ORV_BASE_H */
