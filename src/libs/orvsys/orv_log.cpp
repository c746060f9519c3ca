// The process log: the ring and its entry points, and the console and file
// outputs that the write path calls under the log's lock.
#include "orvsys/orv_log.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "internal/log.h"
#include "internal/numtext.h"
#include "internal/path.h"
#include "internal/raii.h"
#include "orvsys/orv_ini.h"
#include "orvsys/orv_safestr.h"

extern "C" {
ORV_API orv_log_ctrl_t *g_orv_log_ctrl = nullptr;
}

namespace {

using orv::internal::kLogTimeTextSize;
using orv::internal::kPathSize;
using orv::internal::mutex_guard;
using orv::internal::root_path;
using orv::internal::unique_file;

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
    return level >= ORV_LOG_DEBUG && level <= ORV_LOG_ERROR ? kStyles[level]
                                                            : kStyles[ORV_LOG_INFO];
}

uint8_t save_flag(const orv_log_ctrl_t &ctrl, int32_t level) {
    switch (level) {
    case ORV_LOG_DEBUG: return ctrl.save_debug;
    case ORV_LOG_INFO: return ctrl.save_info;
    case ORV_LOG_WARN: return ctrl.save_warn;
    default: return ctrl.save_error;
    }
}

// write_index is read without the lock by the ring's readers: its store
// after both outputs is what makes a new entry visible.
std::atomic_ref<int32_t> write_index_of(const orv_log_ctrl_t &ctrl) {
    return std::atomic_ref<int32_t>(const_cast<int32_t &>(ctrl.write_index));
}

// "%04d-%02d-%02d %02d:%02d:%02d.%03d" of the time, once per entry for
// both outputs. A field beyond its width (never one from the clock) takes
// the format, cut to the buffer as it is.
void format_time(const orv_datetime_t &t, char *text) {
    const int32_t fields[] = {t.year, t.month, t.day, t.hour, t.minute, t.second, t.millisecond};
    constexpr int kWidths[] = {4, 2, 2, 2, 2, 2, 3};
    constexpr int32_t kLimits[] = {10000, 100, 100, 100, 100, 100, 1000};
    constexpr char kBehind[] = "-- ::.";  // the last field is followed by the terminator
    char *p = text;
    for (int i = 0; i < 7; ++i) {
        if (fields[i] < 0 || fields[i] >= kLimits[i]) {
            orv_snprintf(text, kLogTimeTextSize, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year,
                         t.month, t.day, t.hour, t.minute, t.second, t.millisecond);
            return;
        }
        p = orv::internal::write_decimal_padded(static_cast<uint32_t>(fields[i]), p, kWidths[i]);
        *p++ = kBehind[i];
    }
}

void read_settings(orv_log_ctrl_t *ctrl) {
    char path[kPathSize];
    orv::internal::settings_path(path);
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
    orv::internal::orv_log_write(&entry, save_flag(*ctrl, level));
}

// Opens a log file for appending while it is below the size limit. A file
// at or above it is closed again and reported through *full, with its
// status in *st, so that the caller can move on; a file that cannot be
// opened or examined gives nothing and is not full.
unique_file open_below_limit(const char *path, const orv_log_ctrl_t &ctrl, struct stat *st,
                             bool *full) {
    *full = false;
    unique_file fp(path, "a+");
    if (!fp || fstat(fileno(fp.get()), st) != 0) return {};
    if (static_cast<int64_t>(st->st_size) < ctrl.max_file_size) return fp;
    *full = true;
    return {};
}

void numbered_path(const orv_log_ctrl_t &ctrl, char *path) {
    root_path(path, kPathSize, "run/log/%s_%d.txt", ctrl.name, ctrl.file_index);
}

// The current numbered file while it is below the limit; else the next
// number (wrapping after max_file_count), emptied when it is full too.
unique_file open_numbered_file(orv_log_ctrl_t *ctrl) {
    char path[kPathSize];
    struct stat st;
    bool full = false;
    numbered_path(*ctrl, path);
    unique_file fp = open_below_limit(path, *ctrl, &st, &full);
    if (!full) return fp;
    if (++ctrl->file_index > ctrl->max_file_count) ctrl->file_index = 1;
    numbered_path(*ctrl, path);
    fp = open_below_limit(path, *ctrl, &st, &full);
    if (!full) return fp;
    return unique_file(path, "w+");
}

}  // namespace

namespace orv::internal {

int orv_log_write(const orv_log_entry_t *entry, int save) {
    orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (entry == nullptr || ctrl == nullptr || ctrl->entries == nullptr) return 0;
    char time_text[kLogTimeTextSize];
    format_time(entry->time, time_text);
    mutex_guard lock(&ctrl->lock);
    if (!lock.owns()) return 0;
    orv_log_entry_t *slot = &ctrl->entries[ctrl->write_index];
    *slot = *entry;
    orv_log_console(slot, time_text);
    if (save != 0 || slot->ext > 0) orv_log_file(slot, time_text);
    // Readers take no lock: the new entry becomes visible with this store,
    // after both outputs.
    write_index_of(*ctrl).store((ctrl->write_index + 1) % ctrl->capacity,
                                std::memory_order_release);
    return 1;
}

void orv_log_console(const orv_log_entry_t *entry, const char *time_text) {
    if (entry == nullptr) return;
    std::printf("%s%s[%s]%s%s\r\n", "\033[", style_of(entry->level).colour, time_text,
                entry->message, "\033[0m");
}

void orv_log_file(const orv_log_entry_t *entry, const char *time_text) {
    orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (entry == nullptr || ctrl == nullptr) return;
    unique_file fp = entry->ext > 0 ? orv_log_ext_file() : open_numbered_file(ctrl);
    if (!fp) return;
    std::fprintf(fp.get(), style_of(entry->level).file_format, time_text, entry->message);
}

// The first ext file while it is below the limit, else the second; when
// both are full the older (by whole-second modification time; the first
// at equal times) is emptied.
unique_file orv_log_ext_file(void) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr) return {};
    char first_path[kPathSize];
    char second_path[kPathSize];
    root_path(first_path, kPathSize, "run/log/%s_ext_1.txt", ctrl->name);
    root_path(second_path, kPathSize, "run/log/%s_ext_2.txt", ctrl->name);
    struct stat first;
    struct stat second;
    bool full = false;
    unique_file fp = open_below_limit(first_path, *ctrl, &first, &full);
    if (!full) return fp;
    fp = open_below_limit(second_path, *ctrl, &second, &full);
    if (!full) return fp;
    return unique_file(first.st_mtime > second.st_mtime ? second_path : first_path, "w+");
}

}  // namespace orv::internal

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

#define ORV_LOG_ENTRY_POINTS(plain, with_ext, level)              \
    ORV_API void plain(const char *format, ...) {                 \
        va_list args;                                             \
        va_start(args, format);                                   \
        log_entry(level, -1, format, args);                       \
        va_end(args);                                             \
    }                                                             \
    ORV_API void with_ext(int32_t ext, const char *format, ...) { \
        va_list args;                                             \
        va_start(args, format);                                   \
        log_entry(level, ext, format, args);                      \
        va_end(args);                                             \
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
    return cursor != write_index_of(*ctrl).load(std::memory_order_acquire);
}

ORV_API int32_t orv_log_count(int32_t cursor) {
    const orv_log_ctrl_t *ctrl = g_orv_log_ctrl;
    if (ctrl == nullptr || cursor < 0 || cursor >= ctrl->capacity) return 0;
    const int32_t write_index = write_index_of(*ctrl).load(std::memory_order_acquire);
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
    *cursor = write_index_of(*ctrl).load(std::memory_order_acquire);
}

}  // extern "C"
