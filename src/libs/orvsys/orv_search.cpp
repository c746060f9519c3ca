// Reverse comparison, single-pass searches and case mapping.
#include "orvsys/orv_search.h"

#include <cctype>
#include <cstring>

#include "internal/safestr.h"

namespace {

using Byte = unsigned char;

inline Byte same(Byte c) { return c; }
inline Byte folded(Byte c) { return static_cast<Byte>(orv::internal::orv_casefold_table[c]); }

template <int (*Map)(int)>
char *map_n(char *s, int count) {
    if (s == nullptr) return nullptr;
    for (char *p = s; *p != '\0' && count != 0; ++p, --count)
        *p = static_cast<char>(Map(static_cast<Byte>(*p)));
    return s;
}

template <int (*Map)(int)>
char *map_copy(const char *source, char *destination, uint32_t size) {
    if (source == nullptr || *source == '\0' || destination == nullptr) return nullptr;
    uint32_t n = 0;
    for (; n + 1 < size && source[n] != '\0'; ++n)
        destination[n] = static_cast<char>(Map(static_cast<Byte>(source[n])));
    destination[n] = '\0';
    return destination;
}

template <Byte (*Fold)(Byte)>
int32_t reverse_compare(const char *a, const char *b, int count) {
    if (count == 0) return 0;
    const auto *start_a = reinterpret_cast<const Byte *>(a);
    const auto *start_b = reinterpret_cast<const Byte *>(b);
    if (*start_a == 0) return *start_b == 0 ? 0 : -static_cast<int32_t>(*start_b);
    if (*start_b == 0) return *start_a;
    const Byte *pa = start_a + std::strlen(a) - 1, *pb = start_b + std::strlen(b) - 1;
    for (;;) {
        if (Fold(*pa) != Fold(*pb)) return Fold(*pa) - Fold(*pb);
        if (pa == start_a) return pb == start_b || count == 1 ? 0 : -Fold(pb[-1]);
        if (pb == start_b) return count == 1 ? 0 : Fold(pa[-1]);
        if (--count == 0) return 0;
        --pa, --pb;
    }
}

// One pass over text, forward from its first byte or backward from its last,
// with a position in the pattern; a broken partial match is dropped and only
// the byte that broke it may start a new one.
template <Byte (*Fold)(Byte), bool Backward>
char *search(const char *text, const char *pattern) {
    if (text == nullptr || pattern == nullptr || *text == '\0' || *pattern == '\0') return nullptr;
    const auto *t = reinterpret_cast<const Byte *>(text);
    const auto *p = reinterpret_cast<const Byte *>(pattern);
    const long tlen = static_cast<long>(std::strlen(text)),
               plen = static_cast<long>(std::strlen(pattern));
    const long step = Backward ? -1 : 1, first = Backward ? plen - 1 : 0,
               last = Backward ? 0 : plen - 1;
    long begin = -1, next = 0;  // where the partial match began, the pattern byte it waits for
    for (long i = Backward ? tlen - 1 : 0; i >= 0 && i < tlen; i += step) {
        if (begin >= 0) {
            if (Fold(t[i]) != Fold(p[next])) {
                begin = -1;
            } else if (next == last) {
                return const_cast<char *>(text + (Backward ? i : begin));
            } else {
                next += step;
            }
        }
        if (begin < 0 && Fold(t[i]) == Fold(p[first])) {
            if (first == last) return const_cast<char *>(text + i);
            begin = i, next = first + step;
        }
    }
    return nullptr;
}

int to_lower(int c) { return std::tolower(c); }
int to_upper(int c) { return std::toupper(c); }

}  // namespace

extern "C" {

ORV_API char *orv_strtolower(char *s) { return map_n<to_lower>(s, -1); }
ORV_API char *orv_strtolower_n(char *s, int count) { return map_n<to_lower>(s, count); }
ORV_API char *orv_strtoupper(char *s) { return map_n<to_upper>(s, -1); }
ORV_API char *orv_strtoupper_n(char *s, int count) { return map_n<to_upper>(s, count); }
ORV_API char *orv_strtolower_copy(const char *source, char *destination, uint32_t size) {
    return map_copy<to_lower>(source, destination, size);
}
ORV_API char *orv_strtoupper_copy(const char *source, char *destination, uint32_t size) {
    return map_copy<to_upper>(source, destination, size);
}

ORV_API int32_t orv_strrncmp(const char *a, const char *b, int count) {
    return reverse_compare<same>(a, b, count);
}
ORV_API int32_t orv_strrncasecmp(const char *a, const char *b, int count) {
    return reverse_compare<folded>(a, b, count);
}

ORV_API char *orv_strrstr(const char *text, const char *pattern) {
    return search<same, true>(text, pattern);
}
ORV_API char *orv_strcasestr(const char *text, const char *pattern) {
    return search<folded, false>(text, pattern);
}
ORV_API char *orv_strrcasestr(const char *text, const char *pattern) {
    return search<folded, true>(text, pattern);
}

}  // extern "C"
