// Safe strings and bounded formatting.
#include "orvsys/orv_safestr.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/safestr.h"

namespace {

using orv::internal::orv_casefold_table;

// orv_vsprintf writes without a practical bound: the largest size there is.
constexpr uint32_t kUnboundedSize = 4294967295u;

// Walks both texts until the folded bytes differ or a ends; the bounded
// form also stops after n bytes and reads nothing when n is 0.
template <bool Bounded>
int32_t compare_folded(const char *a, const char *b, uint32_t n) {
    const auto *pa = reinterpret_cast<const unsigned char *>(a);
    const auto *pb = reinterpret_cast<const unsigned char *>(b);
    for (;; ++pa, ++pb) {
        if constexpr (Bounded) {
            if (n == 0) return 0;
            --n;
        }
        int fa = orv_casefold_table[*pa];
        int fb = orv_casefold_table[*pb];
        if (fa != fb) return fa - fb;
        if (*pa == 0) return 0;
    }
}

// The one formatting routine. A bounded call that does not fit (or whose
// formatter fails) ends dest at its last byte; an unbounded call has no
// last byte to end, so a formatter failure stores nothing.
int32_t format_into(char *dest, uint32_t size, bool bounded, const char *format, va_list args) {
    if (dest == nullptr || format == nullptr) return -1;
    // Size 0 leaves no room for even a terminator: fail without storing.
    if (size == 0) return -1;
        // The unbounded size is meant to exceed INT_MAX; the C library handles it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-truncation"
    int written = std::vsnprintf(dest, size, format, args);
#pragma GCC diagnostic pop
    // A negative result compares as a huge unsigned number, so it takes the
    // same path as a cut text.
    if (static_cast<uint32_t>(written) < size) return written;
    if (bounded) dest[size - 1] = '\0';
    return -1;
}

}  // namespace

extern "C" {

ORV_API void orv_strncpy_safe(char *dest, const char *src, int32_t n) {
    if (dest == nullptr || src == nullptr || n < 0) return;
    if (n == 0) {
        dest[0] = '\0';
        return;
    }
    std::strncpy(dest, src, static_cast<size_t>(n));
    dest[n - 1] = '\0';
}

ORV_API char *orv_strtok_safe(char **cursor, const char *delims) {
    char *text = *cursor + std::strspn(*cursor, delims);
    if (*text == '\0') {
        *cursor = text;
        return nullptr;
    }
    char *end = text + std::strcspn(text, delims);
    if (*end != '\0') {
        *end = '\0';
        *cursor = end + 1;
    } else {
        *cursor = end;
    }
    return text;
}

ORV_API uint32_t orv_strlen_safe(const char *s, uint32_t maxlen) {
    if (maxlen == 0) return 0;
    const void *zero = std::memchr(s, '\0', maxlen);
    return zero != nullptr ? static_cast<uint32_t>(static_cast<const char *>(zero) - s) : maxlen;
}

ORV_API char *orv_strdup(const char *s) {
    if (s == nullptr) return nullptr;
    size_t size = std::strlen(s) + 1;
    char *copy = static_cast<char *>(std::calloc(size, 1));
    if (copy != nullptr) std::memcpy(copy, s, size);
    return copy;
}

ORV_API int orv_strncat_safe(char *dest, const char *src, uint32_t maxlen) {
    size_t length = std::strlen(dest);
    if (length >= maxlen) return 0;
    std::strncat(dest, src, maxlen - length);
    return 1;
}

ORV_API int32_t orv_strcasecmp(const char *a, const char *b) {
    return compare_folded<false>(a, b, 0);
}

ORV_API int32_t orv_strncasecmp(const char *a, const char *b, uint32_t n) {
    return compare_folded<true>(a, b, n);
}

ORV_API int32_t orv_vsnprintf(char *dest, uint32_t size, const char *format, va_list args) {
    return format_into(dest, size, true, format, args);
}

ORV_API int32_t orv_snprintf(char *dest, uint32_t size, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int32_t result = orv_vsnprintf(dest, size, format, args);
    va_end(args);
    return result;
}

ORV_API int32_t orv_vsprintf(char *dest, const char *format, va_list args) {
    return format_into(dest, kUnboundedSize, false, format, args);
}

ORV_API int32_t orv_sprintf(char *dest, const char *format, ...) {
    va_list args;
    va_start(args, format);
    int32_t result = orv_vsprintf(dest, format, args);
    va_end(args);
    return result;
}

}  // extern "C"
