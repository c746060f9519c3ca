// The process log: the ring and its entry points, and the console and file
// outputs that the write path calls under the log's lock.
#include "orvsys/orv_log.h"

#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "internal/log.h"
#include "orvsys/orv_ini.h"
#include "orvsys/orv_path.h"
#include "orvsys/orv_safestr.h"

extern "C" {
ORV_API orv_log_ctrl_t *g_orv_log_ctrl = nullptr;
}

namespace {

constexpr int32_t kPathSize = 128;       // settings and log file paths, cut to fit
constexpr int32_t kTimeTextSize = 32;
constexpr int64_t kBytesPerMiB = 1048576;
constexpr int32_t kDefaultFileCount = 2;
constexpr int32_t kDefaultFileSizeMiB = 2;
// From here on the size in bytes no longer fits the 32-bit product.
constexpr int32_t kFileSizeLimitMiB = 2048;
constexpr char kSection[] = "LOG";

// Colour text and file line format by level; any other level shows as info.
struct LevelStyle {
    const char *colour;
    const char *file_format;
};

constexpr LevelStyle kStyles[] = {
    {"36;40;1m", "[%s(dbg)]%s\r\n"},
    {"37;40;1m", "[%s(inf)]%s\r\n"},
    {"33;40;1m", "[%s(war)]%s\r\n"},
    {"31;40;1m", "[%s(err)]%s\r\n"},
};

const LevelStyle &style_of(int32_t level) {
    return level >= ORV_LOG_DEBUG && level <= ORV_LOG_ERROR ? kStyles[level] : kStyles[ORV_LOG_INFO];
}

uint8_t save_flag(const orv_log_ctrl_t &ctrl, int32_t level) {
    switch (level) {
    case ORV_LOG_DEBUG: return ctrl.save_debug;
    case ORV_LOG_INFO: return ctrl.save_info;
    case ORV_LOG_WARN: return ctrl.save_warn;
    default: return ctrl.save_error;
    }
}

// Writes value as exactly `width` digits at p; false when it does not fit.
bool put_digits(char *p, int32_t value, int width) {
    if (value < 0) return false;
    for (int i = width - 1; i >= 0; --i) {
        p[i] = static_cast<char>('0' + value % 10);
        value /= 10;
    }
    return value == 0;
}

// "%04d-%02d-%02d %02d:%02d:%02d.%03d" of the time. Every clock reading
// fits the fixed widths and is written digit by digit, which a log call
// does twice per entry with the file on; anything else takes the format.
void format_time(const orv_datetime_t &t, char *text) {
    char fixed[] = "0000-00-00 00:00:00.000";
    if (put_digits(fixed, t.year, 4) && put_digits(fixed + 5, t.month, 2) &&
        put_digits(fixed + 8, t.day, 2) && put_digits(fixed + 11, t.hour, 2) &&
        put_digits(fixed + 14, t.minute, 2) && put_digits(fixed + 17, t.second, 2) &&
        put_digits(fixed + 20, t.millisecond, 3)) {
        std::memcpy(text, fixed, sizeof fixed);
        return;
    }
    orv_snprintf(text, kTimeTextSize, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day,
                 t.hour, t.minute, t.second, t.millisecond);
}

void read_settings(orv_log_ctrl_t *ctrl) {
    char path[kPathSize];
    orv_snprintf(path, sizeof path, "%s/ini/orv.ini", orv_rootdir());
    ctrl->lang = orv_ini_get_long(kSection, "Lang", 0, path) != 0 ? 1 : 0;
    ctrl->save_error = orv_ini_get_bool(kSection, "SaveSysError", 1, path);
    ctrl->save_warn = orv_ini_get_bool(kSection, "SaveSysWarn", 1, path);
    ctrl->save_debug = orv_ini_get_bool(kSection, "SaveSysDebug", 0, path);
    ctrl->save_info = orv_ini_get_bool(kSection, "SaveSysInfo", 0, path);
    ctrl->max_file_count = orv_ini_get_long(kSection, "MaxFileCount", kDefaultFileCount, path);
    int32_t mib = orv_ini_get_long(kSection, "MaxFileSize", kDefaultFileSizeMiB, path);
    if (mib < 0 || mib >= kFileSizeLimitMiB) mib = kDefaultFileSizeMiB;
    ctrl->max_file_size = mib * kBytesPerMiB;
}

// Builds the entry on the caller's stack, outside the lock, and hands it to
// the write path.
void log_entry(int32_t level, int32_t ext, const char *format, va_list args) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr) return;
    orv_log_entry_t entry;
    entry.level = level;
    entry.ext = ext;
    orv_get_datetime(&entry.time);
    // A cut or failed format still leaves a terminated message.
    entry.message[0] = '\0';
    if (format != nullptr) orv_vsnprintf(entry.message, sizeof entry.message, format, args);
    orv_log_write(&entry, save_flag(*ctrl, level));
}

// Opens path with "a+" and reads its status; null (closed) on a failure.
FILE *open_with_status(const char *path, struct stat *st) {
    FILE *fp = std::fopen(path, "a+");
    if (fp == nullptr) return nullptr;
    if (fstat(fileno(fp), st) != 0) {
        std::fclose(fp);
        return nullptr;
    }
    return fp;
}

bool below_limit(const struct stat &st, const orv_log_ctrl_t &ctrl) {
    return static_cast<int64_t>(st.st_size) < ctrl.max_file_size;
}

void numbered_path(const orv_log_ctrl_t &ctrl, char *path) {
    orv_snprintf(path, kPathSize, "%s/run/log/%s_%d.txt", orv_rootdir(), ctrl.name,
                 ctrl.file_index);
}

// The current numbered file while it is below the limit; else the next
// number (wrapping after max_file_count), emptied when it is full too.
FILE *open_numbered_file(orv_log_ctrl_t *ctrl) {
    char path[kPathSize];
    struct stat st;
    numbered_path(*ctrl, path);
    FILE *fp = open_with_status(path, &st);
    if (fp == nullptr) return nullptr;
    if (below_limit(st, *ctrl)) return fp;
    std::fclose(fp);
    if (++ctrl->file_index > ctrl->max_file_count) ctrl->file_index = 1;
    numbered_path(*ctrl, path);
    fp = open_with_status(path, &st);
    if (fp == nullptr || below_limit(st, *ctrl)) return fp;
    std::fclose(fp);
    return std::fopen(path, "w+");
}

}  // namespace

int orv_log_write(const orv_log_entry_t *entry, int save) {
    orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (entry == nullptr || ctrl == nullptr || ctrl->entries == nullptr) return 0;
    if (pthread_mutex_lock(&ctrl->lock) != 0) return 0;
    orv_log_entry_t *slot = &ctrl->entries[ctrl->write_index];
    *slot = *entry;
    orv_log_console(slot);
    if (save != 0 || slot->ext > 0) orv_log_file(slot);
    // Readers take no lock: the new entry becomes visible with this store,
    // after both outputs.
    __atomic_store_n(&ctrl->write_index, (ctrl->write_index + 1) % ctrl->capacity,
                     __ATOMIC_RELEASE);
    pthread_mutex_unlock(&ctrl->lock);
    return 1;
}

void orv_log_console(const orv_log_entry_t *entry) {
    if (entry == nullptr) return;
    char time_text[kTimeTextSize];
    format_time(entry->time, time_text);
    std::printf("%s%s[%s]%s%s\r\n", "\033[", style_of(entry->level).colour, time_text,
                entry->message, "\033[0m");
}

void orv_log_file(const orv_log_entry_t *entry) {
    orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (entry == nullptr || ctrl == nullptr) return;
    FILE *fp = entry->ext > 0 ? orv_log_ext_file() : open_numbered_file(ctrl);
    if (fp == nullptr) return;
    char time_text[kTimeTextSize];
    format_time(entry->time, time_text);
    std::fprintf(fp, style_of(entry->level).file_format, time_text, entry->message);
    std::fclose(fp);
}

// The first ext file while it is below the limit, else the second; when
// both are full the older (by whole-second modification time; the first
// at equal times) is emptied.
FILE *orv_log_ext_file(void) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr) return nullptr;
    char first_path[kPathSize];
    char second_path[kPathSize];
    orv_snprintf(first_path, sizeof first_path, "%s/run/log/%s_ext_1.txt", orv_rootdir(), ctrl->name);
    orv_snprintf(second_path, sizeof second_path, "%s/run/log/%s_ext_2.txt", orv_rootdir(), ctrl->name);
    struct stat first;
    struct stat second;
    FILE *fp = open_with_status(first_path, &first);
    if (fp == nullptr || below_limit(first, *ctrl)) return fp;
    std::fclose(fp);
    fp = open_with_status(second_path, &second);
    if (fp == nullptr || below_limit(second, *ctrl)) return fp;
    std::fclose(fp);
    return std::fopen(first.st_mtime > second.st_mtime ? second_path : first_path, "w+");
}

extern "C" {

ORV_API int orv_log_init(const char *name) {
    if (g_orv_log_ctrl != nullptr) return 1;
    if (name == nullptr) return 0;
    auto *ctrl = static_cast<orv_log_ctrl_t *>(std::calloc(1, sizeof(orv_log_ctrl_t)));
    if (ctrl == nullptr) return 0;
    if (pthread_mutex_init(&ctrl->lock, nullptr) != 0) {
        std::free(ctrl);
        return 0;
    }
    ctrl->capacity = ORV_LOG_CAPACITY;
    ctrl->entries = static_cast<orv_log_entry_t *>(
        std::calloc(static_cast<size_t>(ctrl->capacity), sizeof(orv_log_entry_t)));
    if (ctrl->entries == nullptr) {
        pthread_mutex_destroy(&ctrl->lock);
        std::free(ctrl);
        return 0;
    }
    orv_strncpy_safe(ctrl->name, name, sizeof ctrl->name);
    ctrl->file_index = 1;
    read_settings(ctrl);
    g_orv_log_ctrl = ctrl;
    return 1;
}

ORV_API void orv_log_uninit(void) {
    orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr) return;
    g_orv_log_ctrl = nullptr;
    std::free(ctrl->entries);
    pthread_mutex_destroy(&ctrl->lock);
    std::free(ctrl);
}

#define ORV_LOG_ENTRY_POINTS(plain, with_ext, level)                        \
    ORV_API void plain(const char *format, ...) {                           \
        va_list args;                                                       \
        va_start(args, format);                                             \
        log_entry(level, -1, format, args);                                 \
        va_end(args);                                                       \
    }                                                                       \
    ORV_API void with_ext(int32_t ext, const char *format, ...) {           \
        va_list args;                                                       \
        va_start(args, format);                                             \
        log_entry(level, ext, format, args);                                \
        va_end(args);                                                       \
    }

ORV_LOG_ENTRY_POINTS(orv_log_debug, orv_log_debug2, ORV_LOG_DEBUG)
ORV_LOG_ENTRY_POINTS(orv_log_info, orv_log_info2, ORV_LOG_INFO)
ORV_LOG_ENTRY_POINTS(orv_log_warn, orv_log_warn2, ORV_LOG_WARN)
ORV_LOG_ENTRY_POINTS(orv_log_error, orv_log_error2, ORV_LOG_ERROR)

#undef ORV_LOG_ENTRY_POINTS

ORV_API int32_t orv_log_lang(void) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    return ctrl != nullptr ? ctrl->lang : 0;
}

ORV_API int orv_log_has(int32_t cursor) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr || cursor < 0 || cursor >= ctrl->capacity) return 0;
    return cursor != __atomic_load_n(&ctrl->write_index, __ATOMIC_ACQUIRE);
}

ORV_API int32_t orv_log_count(int32_t cursor) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr || cursor < 0 || cursor >= ctrl->capacity) return 0;
    const int32_t write_index = __atomic_load_n(&ctrl->write_index, __ATOMIC_ACQUIRE);
    if (cursor == write_index) return 0;
    return write_index > cursor ? write_index - cursor : ctrl->capacity - cursor + write_index;
}

ORV_API orv_log_entry_t *orv_log_get(int32_t *cursor) {
    orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (cursor == nullptr || !orv_log_has(*cursor)) return nullptr;
    const int32_t slot = *cursor;
    *cursor = (slot + 1) % ctrl->capacity;
    return &ctrl->entries[slot];
}

ORV_API void orv_log_sync(int32_t *cursor) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (cursor == nullptr || ctrl == nullptr) return;
    *cursor = __atomic_load_n(&ctrl->write_index, __ATOMIC_ACQUIRE);
}

}  // extern "C"
