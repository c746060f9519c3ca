// The console trace printers: a time-stamped text line and a hex dump.
#include "orvsys/orv_trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "internal/trace.h"
#include "orvsys/orv_numtext.h"
#include "orvsys/orv_safestr.h"

namespace {

constexpr int kTextSize = 512;   // a text of orv_tprintf, terminator included
constexpr int32_t kChunk = 512;  // bytes of one hex line
constexpr int kLineSize = 2048;  // the hex text of one line: 3 characters a byte
constexpr int kLabelSize = 64;   // a chunk label, terminator included

}  // namespace

namespace orv::internal {

void orv_bprintf_line(const uint8_t *data, int32_t length, uint8_t tx, const char *label) {
    char text[kLineSize] = {};
    const int32_t count = length < 0 ? 0 : length < kChunk ? length : kChunk;
    orv_hex_to_ascii_str(text, kLineSize - 1, data, static_cast<uint32_t>(count), 0);
    const char *direction = tx != 0 ? "Tx >>>" : "Rx <<<";
    if (label != nullptr)
        std::printf("%s : %s : %s\n", label, direction, text);
    else
        std::printf("%s : %s\n", direction, text);
}

}  // namespace orv::internal

extern "C" {

ORV_API void orv_tprintf(const char *format, ...) {
    const time_t now = std::time(nullptr);
    struct tm tm {};
    localtime_r(&now, &tm);
    char text[kTextSize];
    va_list args;
    va_start(args, format);
    const int32_t written = orv_vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (written <= 0) return;  // empty, failed or too long: nothing, not a cut line
    char when[32];
    orv_snprintf(when, sizeof when, "%04d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900,
                 tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    std::printf("[%s] %s\n", when, text);
}

ORV_API void orv_bprintf(const uint8_t *data, int32_t length, uint8_t tx, const char *label) {
    const int32_t chunks = length / kChunk + 1;
    if (chunks == 1) return orv::internal::orv_bprintf_line(data, length, tx, label);
    const char *name = label != nullptr ? label : "";
    for (int32_t i = 0; i < chunks; ++i) {
        // The label cut so that its number stays whole within the buffer.
        char number[16];
        const int digits = std::snprintf(number, sizeof number, "[%d]", static_cast<int>(i + 1));
        char chunk_label[kLabelSize];
        std::snprintf(chunk_label, sizeof chunk_label, "%.*s%s", kLabelSize - 1 - digits, name,
                      number);
        const int32_t bytes = i < chunks - 1 ? kChunk : length - kChunk * i;
        orv::internal::orv_bprintf_line(data + kChunk * i, bytes, tx, chunk_label);
    }
}

}  // extern "C"
