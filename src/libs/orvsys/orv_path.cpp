// Paths and the installation root.
#include "orvsys/orv_path.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "internal/path.h"
#include "orvsys/orv_safestr.h"

extern "C" {
ORV_API char g_orv_rootdir[256];
ORV_API char g_orv_dll_dir[512];
}

namespace {

constexpr int32_t kSelfPathSize = 256;  // private buffer of orv_filename / orv_extname
constexpr char kSelfLink[] = "/proc/self/exe";

pthread_once_t orv_rootdir_once = PTHREAD_ONCE_INIT;

bool bad_buffer(const char *buf, int32_t size) { return buf == nullptr || size < 1; }

// The executable's path into buf; false when it cannot be read or needs
// size bytes or more.
bool read_self_path(char *buf, int32_t size) {
    const ssize_t length = readlink(kSelfLink, buf, static_cast<size_t>(size));
    if (length < 0 || length >= size) return false;
    buf[length] = '\0';
    return true;
}

bool is_slash(char c) { return c == '/'; }
bool is_separator(char c) { return c == '/' || c == '\\'; }

// Drops the last element of the first length bytes of text (everything
// behind the last separator) and the separator before it; with whole_run,
// every separator of the run before it. A text that ends in a separator
// loses only that run (or that one separator), and a text without one ends
// up empty.
template <bool (*IsSeparator)(char)>
void drop_last_element(char *text, size_t length, bool whole_run) {
    size_t i = length;
    while (i > 0 && !IsSeparator(text[i - 1])) text[--i] = '\0';
    if (i == 0) return;
    text[--i] = '\0';
    while (whole_run && i > 0 && IsSeparator(text[i - 1])) text[--i] = '\0';
}

// The directory of a path: its last element dropped with all the slashes
// before it.
void cut_to_directory(char *text) { drop_last_element<is_slash>(text, std::strlen(text), true); }

// The file name behind path's last "/", without its last extension.
char *filename_of(const char *path, char *buf, int32_t size) {
    const char *slash = std::strrchr(path, '/');
    if (slash == nullptr) return nullptr;
    orv_snprintf(buf, static_cast<uint32_t>(size), "%s", slash + 1);
    char *dot = std::strrchr(buf, '.');
    if (dot != nullptr) *dot = '\0';
    return buf;
}

char *extension_of(const char *path, char *buf, int32_t size) {
    const char *dot = std::strrchr(path, '.');
    if (dot == nullptr) return nullptr;
    orv_snprintf(buf, static_cast<uint32_t>(size), "%s", dot);
    return buf;
}

// The root is the executable's directory less its last element, cut at a
// "/" or a backslash, with that one separator. A path that cannot be read or
// does not fit leaves the field empty, never holding what readlink wrote
// without a terminator.
void cut_to_root(const char *exe_dir) {
    if (exe_dir == nullptr) {
        g_orv_rootdir[0] = '\0';
        return;
    }
    orv_strncpy_safe(g_orv_rootdir, exe_dir, sizeof g_orv_rootdir);
    drop_last_element<is_separator>(
        g_orv_rootdir, static_cast<size_t>(orv_strlen_safe(g_orv_rootdir, sizeof g_orv_rootdir)),
        false);
}

void orv_rootdir_init() {
    char dir[sizeof g_orv_rootdir];
    cut_to_root(orv_path(dir, sizeof dir));
}

// A directory that would not fit is refused, as orv_path refuses it.
const char *g_seam_dir = nullptr;
void seam_init() {
    const bool fits = g_seam_dir != nullptr && std::strlen(g_seam_dir) < sizeof g_orv_rootdir;
    cut_to_root(fits ? g_seam_dir : nullptr);
}

// One directory of the path, cut at its end: fine when it is a directory
// afterwards.
bool ensure_directory(const char *dir, mode_t mode) {
    struct stat st;
    if (stat(dir, &st) == 0) return S_ISDIR(st.st_mode);
    if (errno != ENOENT) return false;
    if (mkdir(dir, mode) == 0) return true;
    if (errno != EEXIST) return false;
    return stat(dir, &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

extern "C" {

ORV_API int orv_mkpath(const char *path, mode_t mode) {
    if (path == nullptr) return -1;
    char *copy = orv_strdup(path);
    if (copy == nullptr) return -1;
    int result = -1;
    char *cursor = copy;
    while (*cursor == '/') ++cursor;
    // "/" alone names no directory to make.
    if (*cursor == '\0' && cursor != copy) result = 0;
    while (*cursor != '\0') {
        cursor += std::strcspn(cursor, "/");
        const bool at_slash = *cursor == '/';
        if (at_slash) *cursor = '\0';
        if (!ensure_directory(copy, mode)) break;
        if (!at_slash) {
            result = 0;
            break;
        }
        *cursor = '/';
        while (*cursor == '/') ++cursor;
        if (*cursor == '\0') result = 0;
    }
    std::free(copy);
    return result;
}

ORV_API char *orv_fullpath(char *buf, int32_t size) {
    if (bad_buffer(buf, size)) return nullptr;
    return read_self_path(buf, size) ? buf : nullptr;
}

ORV_API char *orv_path(char *buf, int32_t size) {
    if (bad_buffer(buf, size) || !read_self_path(buf, size)) return nullptr;
    cut_to_directory(buf);
    return buf;
}

ORV_API char *orv_path2(const char *path, char *buf, int32_t size) {
    if (path == nullptr || bad_buffer(buf, size)) return nullptr;
    orv_snprintf(buf, static_cast<uint32_t>(size), "%s", path);
    cut_to_directory(buf);
    return buf;
}

ORV_API char *orv_filename(char *buf, int32_t size) {
    char self[kSelfPathSize];
    if (bad_buffer(buf, size) || !read_self_path(self, sizeof self)) return nullptr;
    return filename_of(self, buf, size);
}

ORV_API char *orv_filename2(const char *path, char *buf, int32_t size) {
    if (path == nullptr || bad_buffer(buf, size)) return nullptr;
    return filename_of(path, buf, size);
}

ORV_API char *orv_extname(char *buf, int32_t size) {
    char self[kSelfPathSize];
    if (bad_buffer(buf, size) || !read_self_path(self, sizeof self)) return nullptr;
    return extension_of(self, buf, size);
}

ORV_API char *orv_extname2(const char *path, char *buf, int32_t size) {
    if (path == nullptr || bad_buffer(buf, size)) return nullptr;
    return extension_of(path, buf, size);
}

ORV_API char *orv_getcwd(char *buf, size_t size) { return getcwd(buf, size); }

ORV_API const char *orv_rootdir(void) {
    pthread_once(&orv_rootdir_once, orv_rootdir_init);
    return g_orv_rootdir;
}

ORV_API char *orv_dll_dir(void) {
    if (orv_strlen_safe(g_orv_dll_dir, sizeof g_orv_dll_dir - 1) == 0) {
        orv::internal::root_path(g_orv_dll_dir, sizeof g_orv_dll_dir, "dll");
    }
    return g_orv_dll_dir;
}

}  // extern "C"

namespace orv::internal {

bool root_path(char *dest, uint32_t size, const char *format, ...) {
    const int32_t root_length = orv_snprintf(dest, size, "%s/", orv_rootdir());
    if (root_length < 0) return false;
    va_list args;
    va_start(args, format);
    const int32_t rest =
        orv_vsnprintf(dest + root_length, size - static_cast<uint32_t>(root_length), format, args);
    va_end(args);
    return rest >= 0;
}

bool settings_path(char (&dest)[kPathSize]) { return root_path(dest, kPathSize, "ini/orv.ini"); }

void orv_rootdir_seam(const char *exe_dir) {
    g_seam_dir = exe_dir;
    pthread_once(&orv_rootdir_once, seam_init);
}

}  // namespace orv::internal
