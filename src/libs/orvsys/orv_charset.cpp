// GB2312 and UTF-8 through iconv, one descriptor and one call per conversion.
#include "orvsys/orv_charset.h"

#include <iconv.h>

#include <cstring>
#include <cwchar>

namespace {

constexpr const char *kAnsi = "GB2312";
constexpr const char *kUtf8 = "UTF-8";
constexpr const char *kWide = "WCHAR_T";
constexpr size_t kScratch = 1024;

// The guards of the named conversions: pointers, size, and the source's own
// length (in its units) below size.
template <class Char>
int convert(const char *from, const char *to, char *destination, int size, const Char *source) {
    if (destination == nullptr || source == nullptr || size < 1) return 0;
    size_t count = 0;
    if constexpr (sizeof(Char) == 1)
        count = std::strlen(source);
    else
        count = std::wcslen(source);
    if (count + 1 > static_cast<size_t>(size)) return 0;
    return use_iconv(from, to, destination, size, reinterpret_cast<const char *>(source),
                     static_cast<uint32_t>(count * sizeof(Char)));
}

}  // namespace

extern "C" {

ORV_API int use_iconv(const char *from, const char *to, char *destination, int size,
                      const char *source, uint32_t length) {
    if (source == nullptr || destination == nullptr) return 0;
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) return 0;
    char scratch[kScratch];
    char *in = const_cast<char *>(source), *out = scratch;
    size_t in_left = length, out_left = sizeof scratch;
    iconv(cd, &in, &in_left, &out, &out_left);  // as far as it gets
    const size_t produced = sizeof scratch - out_left;
    int result = 0;
    // Never past size: a text that does not fit with its terminator is refused.
    if (produced > 0 && size > 0 && produced < static_cast<size_t>(size)) {
        std::memcpy(destination, scratch, produced);
        destination[produced] = '\0';
        result = static_cast<int>(produced);
    }
    iconv_close(cd);
    return result;
}

ORV_API int orv_ansi_to_unicode(char *destination, int size, const char *source) {
    return convert(kAnsi, kUtf8, destination, size, source);
}
ORV_API int orv_ansi_to_utf8(char *destination, int size, const char *source) {
    return convert(kAnsi, kUtf8, destination, size, source);
}
ORV_API int orv_utf8_to_ansi(char *destination, int size, const char *source) {
    return convert(kUtf8, kAnsi, destination, size, source);
}
ORV_API int orv_utf8_to_unicode(char *destination, int size, const char *source) {
    return convert(kUtf8, kUtf8, destination, size, source);
}
ORV_API int orv_unicode_to_ansi(char *destination, int size, const wchar_t *source) {
    return convert(kWide, kAnsi, destination, size, source);
}
ORV_API int orv_unicode_to_utf8(char *destination, int size, const wchar_t *source) {
    return convert(kWide, kUtf8, destination, size, source);
}

}  // extern "C"
