// In-place scanners: lines with continuations, quoted tokens, separators,
// blanks with the GB2312 double-byte space.
#include "orvsys/orv_scan.h"

#include <cstring>

#include "orvsys/orv_safestr.h"

namespace {

constexpr unsigned char kWideBlank = 0xA1;  // the GB2312 space is two of these

inline bool narrow_blank(char c) { return c == ' ' || c == '\t'; }
inline bool wide_blank(const char *p) {
    return static_cast<unsigned char>(p[0]) == kWideBlank &&
           static_cast<unsigned char>(p[1]) == kWideBlank;
}

}  // namespace

extern "C" {

ORV_API char *orv_getline(char **cursor) {
    char *start = *cursor;
    if (start == nullptr) return nullptr;
    int escape = 0, returns = 0;
    char *p = start;
    while (*p != '\0') {
        if (*p == '\n' && escape == 0) break;
        if (*p == '\n') {
            // A continuation: the line feed and the escape and carriage returns
            // right before it go, and the joined text is scanned in its turn.
            char *gap = p - escape - returns;
            std::memmove(gap, p + 1, std::strlen(p + 1) + 1);
            p = gap;
            escape = returns = 0;
            continue;
        }
        if (*p == '\r')
            ++returns;
        else if (*p == '\\')
            escape = 1;
        else
            escape = returns = 0;
        ++p;
    }
    if (*p == '\n') {
        p[-returns] = '\0';
        *cursor = p + 1;
    } else {
        *cursor = nullptr;  // carriage returns at the very end stay in the line
    }
    return start;
}

ORV_API char *orv_trim(char *s) {
    char *to = s;
    for (const char *from = s; *from != '\0';) {
        if (narrow_blank(*from)) {
            ++from;
        } else if (wide_blank(from)) {
            from += 2;
        } else {
            *to++ = *from++;
        }
    }
    *to = '\0';
    return s;
}

ORV_API char *orv_trim2(char *s) {
    const size_t length = std::strlen(s);
    size_t begin = 0, end = length;
    while (begin < end) {
        if (narrow_blank(s[begin]))
            begin += 1;
        else if (begin + 1 < end && wide_blank(s + begin))
            begin += 2;
        else
            break;
    }
    while (end > begin) {
        if (narrow_blank(s[end - 1]))
            end -= 1;
        else if (end >= begin + 2 && wide_blank(s + end - 2))
            end -= 2;
        else
            break;
    }
    if (begin == 0 && end == length) return s;
    std::memmove(s, s + begin, end - begin);
    s[end - begin] = '\0';
    return s;
}

ORV_API uint8_t orv_strip(const char *source, const char *pattern, char *destination,
                          uint32_t size) {
    if (source == nullptr || *source == '\0' || pattern == nullptr || *pattern == '\0' ||
        destination == nullptr || size == 0)
        return 255;
    const size_t skip = std::strlen(pattern);
    uint32_t room = size, stored = 0;
    for (const char *piece = source;;) {
        const char *hit = std::strstr(piece, pattern);
        const size_t n = hit != nullptr ? static_cast<size_t>(hit - piece) : std::strlen(piece);
        if (room <= n) break;  // the piece and its terminator do not fit: stop, none of it
        orv_strncpy_safe(destination, piece, static_cast<int32_t>(room));
        destination[n] = '\0';
        destination += n, room -= static_cast<uint32_t>(n), stored += static_cast<uint32_t>(n);
        if (hit == nullptr) break;
        piece = hit + skip;
    }
    return static_cast<uint8_t>(stored);
}

ORV_API char *orv_next_string(char **cursor, const char *delimiters) {
    char *p = *cursor;
    if (p == nullptr) return nullptr;
    if (*p == '"') {
        char *token = p + 1, *close = std::strchr(token, '"');
        if (close == nullptr) {
            *cursor = nullptr;
            return token;
        }
        *close = '\0';
        if (close[1] != '\0' && std::strchr(delimiters, close[1]) != nullptr) {
            *cursor = close + 2;
            return token;
        }
        *cursor = nullptr;
        return nullptr;
    }
    if (*p == '\0') {
        *cursor = nullptr;
        return nullptr;
    }
    char *end = std::strpbrk(p, delimiters);
    if (end != nullptr) *end = '\0';
    *cursor = end != nullptr ? end + 1 : nullptr;
    return p;
}

ORV_API char *orv_next_string_2(char **cursor, const char *separator, int length) {
    char *start = *cursor;
    if (start == nullptr || separator == nullptr || length < 1) return nullptr;
    if (*start == '\0') {
        *cursor = nullptr;
        return nullptr;
    }
    char *p = start;
    for (; *p != '\0'; ++p) {
        // Byte by byte, so a separator never matches across the terminator.
        int i = 0;
        while (i < length && p[i] != '\0' && p[i] == separator[i]) ++i;
        if (i == length) {
            std::memset(p, 0, static_cast<size_t>(length));
            *cursor = p + length;
            return start;
        }
    }
    *cursor = p;
    return start;
}

}  // extern "C"
