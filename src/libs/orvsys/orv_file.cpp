// File operations: lock numbers, a paced copy, backup, MD5 of a file, O_SYNC.
#include "orvsys/orv_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "internal/raii.h"
#include "orvsys/orv_md5.h"
#include "orvsys/orv_process.h"
#include "orvsys/orv_safestr.h"
#include "orvsys/orv_sem.h"
#include "orvsys/orv_trace.h"

namespace {

// flock's operation for each number; -1 where the number has no meaning.
constexpr int kFlockOf[8] = {LOCK_UN, LOCK_SH,           LOCK_EX,           -1,
                             -1,      LOCK_SH | LOCK_NB, LOCK_EX | LOCK_NB, -1};

constexpr size_t kCopyBlock = 16384;
constexpr uint32_t kCopyPauseMs = 10;
constexpr size_t kCommandSize = 512;
constexpr size_t kMaxBackupPath = 251;  // "mv P P.bak" fits 512 bytes

// The same file: same device and inode.
bool same_file(const char *a, const char *b) {
    struct stat sa {
    }, sb{};
    return stat(a, &sa) == 0 && stat(b, &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

// Writes a whole block, in as many turns as fwrite needs; false when a turn
// stores nothing.
bool write_all(const char *block, size_t count, FILE *out) {
    while (count > 0) {
        const size_t written = std::fwrite(block, 1, count, out);
        if (written == 0) return false;
        block += written, count -= written;
    }
    return true;
}

// path as one shell word: as it is when it holds only safe characters, else
// in single quotes with each ' written as '\''.
bool shell_word(const char *path, char *out, size_t size) {
    const bool safe = std::strspn(path,
                                  "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                  "0123456789/._+-,:@%") == std::strlen(path);
    size_t n = 0;
    const auto put = [&](char c) { return n + 1 < size ? (out[n++] = c, true) : false; };
    bool fits = safe || put('\'');
    for (const char *p = path; *p != '\0' && fits; ++p)
        fits = *p != '\'' || safe ? put(*p) : put('\'') && put('\\') && put('\'') && put('\'');
    fits = fits && (safe || put('\''));
    out[n] = '\0';
    return fits;
}

}  // namespace

extern "C" {

ORV_API int orv_file_lock(int32_t fd, int32_t operation) {
    if ((operation & ~7) != 0) {
        orv_tprintf("orv_file_lock: improper operation type: 0x%x",
                    static_cast<unsigned>(operation));
        return -1;
    }
    return flock(fd, kFlockOf[operation]);
}

ORV_API int orv_file_copy(const char *source, const char *destination, uint8_t no_overwrite) {
    if (source == nullptr || destination == nullptr) return 0;
    if (no_overwrite != 0 && access(destination, F_OK) == 0) return 0;
    // Opening the destination empties it: a copy onto itself would lose the file.
    if (same_file(source, destination)) return 0;
    orv::internal::unique_file in(source, "rb");
    if (!in) return 0;
    orv::internal::unique_file out(destination, "wb");
    if (!out) return 0;
    orv_file_set_sync_flag(out.get());
    char block[kCopyBlock];
    for (size_t got; (got = std::fread(block, 1, sizeof block, in.get())) > 0;) {
        if (!write_all(block, got, out.get())) return 0;
        std::fflush(out.get());
        orv_msleep(kCopyPauseMs);
    }
    return std::ferror(in.get()) ? 0 : 1;
}

ORV_API int orv_file_backup(const char *path) {
    if (path == nullptr || std::strlen(path) > kMaxBackupPath) return 0;
    char word[kCommandSize];
    char command[kCommandSize];
    if (!shell_word(path, word, sizeof word) ||
        orv_snprintf(command, sizeof command, "mv %s %s.bak", word, word) < 0)
        return 0;
    return orv_system(command) == 0 ? 1 : 0;
}

ORV_API int orv_file_get_md5(const char *path, char *text, int32_t size, int32_t *length) {
    if (path == nullptr || text == nullptr) return 0;
    if (length != nullptr) *length = 0;
    orv::internal::unique_file in(path, "rb");
    struct stat st {};
    if (!in || fstat(fileno(in.get()), &st) != 0) return 0;
    const auto bytes = static_cast<size_t>(st.st_size);
    void *block = std::calloc(bytes != 0 ? bytes : 1, 1);
    if (block == nullptr) return 0;
    // One item of the file's size: a short read, an empty file too, is 0 items.
    const size_t items = std::fread(block, bytes, 1, in.get());
    in.close();
    char digest[33];
    const bool ok = items == 1 && MD5FromBuf(static_cast<const uint8_t *>(block),
                                             static_cast<int>(bytes), digest) != 0;
    std::free(block);
    if (!ok) return 0;
    orv_strncpy_safe(text, digest, size);
    if (length != nullptr) *length = static_cast<int32_t>(bytes);
    return 1;
}

ORV_API void orv_file_set_sync_flag(FILE *stream) {
    if (stream == nullptr) return;
    const int fd = fileno(stream);
    const int flags = fcntl(fd, F_GETFL);
    if (flags == -1 || (flags & O_SYNC) != 0) return;
    fcntl(fd, F_SETFL, flags | O_SYNC);
}

}  // extern "C"
