// A program for the log and root tests to run from inside a scratch
// installation tree (<tree>/bin/<probe>): the root and the log are fixed
// once per process, so every case gets a fresh process of its own.
//
// Usage: orv_tree_probe <scenario> [arguments...]
//
// The probe does the library calls of one scenario. What the test checks
// besides stdout and the log files is printed on stdout as "@key=value"
// lines; everything else on stdout is the log's console output, in the
// order it was written (both go through the one stdout stream).
#include <pthread.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "internal/log.h"
#include "orvsys/orv_calendar.h"
#include "orvsys/orv_log.h"
#include "orvsys/orv_path.h"

namespace {

void Result(const char *key, const char *format, ...) __attribute__((format(printf, 2, 3)));

void Result(const char *key, const char *format, ...) {
    std::printf("@%s=", key);
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::printf("\n");
}

// prefix followed by n: the key of one of a numbered series of results.
std::string Key(const char *prefix, long n) {
    std::string key(prefix);
    key += std::to_string(n);
    return key;
}

const char *OrNull(const char *text) { return text != nullptr ? text : "(null)"; }

long Arg(int argc, char **argv, int index, long fallback) {
    return index < argc ? std::strtol(argv[index], nullptr, 10) : fallback;
}

// level,ext,message,time fields of one entry.
void PrintEntry(const char *key, const orv_log_entry_t &e) {
    Result(key, "%d,%d,%d,%d,%d,%d,%d,%d,%d,%s", e.level, e.ext, e.time.year, e.time.month,
           e.time.day, e.time.hour, e.time.minute, e.time.second, e.time.millisecond,
           e.message);
}

// Every entry from slot 0 up to the write slot, as "@e<i>".
void PrintRing() {
    int32_t cursor = 0;
    int index = 0;
    while (const orv_log_entry_t *entry = orv_log_get(&cursor)) {
        PrintEntry(Key("e", index++).c_str(), *entry);
    }
    Result("entries", "%d", index);
}

bool Init(const char *name) {
    const int rc = orv_log_init(name);
    Result("init", "%d", rc);
    return rc == 1;
}

// Writes straight to the write path, for levels that no entry point has.
void WriteRaw(int32_t level, const char *message, int save) {
    orv_log_entry_t entry{};
    entry.level = level;
    entry.ext = -1;
    orv_get_datetime(&entry.time);
    std::snprintf(entry.message, sizeof entry.message, "%s", message);
    Result("write", "%d", orv_log_write(&entry, save));
}

// ---- Scenarios -----------------------------------------------------------------

int Root(int, char **) {
    // The plug-in directory first: it fixes the root on its own.
    Result("dll", "%s", orv_dll_dir());
    Result("dll_is_field", "%d", orv_dll_dir() == g_orv_dll_dir ? 1 : 0);
    Result("root", "%s", orv_rootdir());
    Result("root_is_field", "%d", orv_rootdir() == g_orv_rootdir ? 1 : 0);
    char buf[4096];
    Result("fullpath", "%s", OrNull(orv_fullpath(buf, sizeof buf)));
    Result("path", "%s", OrNull(orv_path(buf, sizeof buf)));
    Result("filename", "%s", OrNull(orv_filename(buf, sizeof buf)));
    Result("extname", "%s", OrNull(orv_extname(buf, sizeof buf)));
    return 0;
}

// argv[2]: a text stored in g_orv_dll_dir before the first orv_dll_dir.
int DllPreset(int argc, char **argv) {
    if (argc < 3) return 2;
    std::snprintf(g_orv_dll_dir, sizeof g_orv_dll_dir, "%s", argv[2]);
    Result("dll", "%s", orv_dll_dir());
    Result("root", "%s", orv_rootdir());
    return 0;
}

// All four levels through the entry points, then levels 7 and -1 through the
// write path (7 saved, -1 not).
int Console(int, char **) {
    if (!Init("probe")) return 1;
    orv_log_debug("m%d", 0);
    orv_log_info("m%d", 1);
    orv_log_warn("m%d", 2);
    orv_log_error("m%d", 3);
    WriteRaw(7, "m7", 1);
    WriteRaw(-1, "m-1", 0);
    PrintRing();
    return 0;
}

int BeforeInit(int, char **) {
    orv_log_debug("before %d", 0);
    orv_log_info("before %d", 1);
    orv_log_warn("before %d", 2);
    orv_log_error("before %d", 3);
    orv_log_debug2(1, "before %d", 4);
    orv_log_info2(1, "before %d", 5);
    orv_log_warn2(1, "before %d", 6);
    orv_log_error2(1, "before %d", 7);
    orv_log_entry_t entry{};
    entry.level = ORV_LOG_ERROR;
    Result("write_before", "%d", orv_log_write(&entry, 1));
    Result("ctrl_before", "%s", g_orv_log_ctrl == nullptr ? "null" : "set");
    Result("lang_before", "%d", orv_log_lang());
    Result("has_before", "%d", orv_log_has(0));
    Result("count_before", "%d", orv_log_count(0));
    int32_t cursor = 77;
    Result("get_before", "%s", orv_log_get(&cursor) == nullptr ? "null" : "entry");
    orv_log_sync(&cursor);
    Result("sync_before", "%d", cursor);
    if (!Init("probe")) return 1;
    Result("count_after_init", "%d", orv_log_count(0));
    orv_log_error("after");
    PrintRing();
    return 0;
}

int Reinit(int, char **) {
    Result("init_null_first", "%d", orv_log_init(nullptr));
    Result("ctrl_after_null", "%s", g_orv_log_ctrl == nullptr ? "null" : "set");
    if (!Init("first")) return 1;
    orv_log_ctrl_t *first = g_orv_log_ctrl;
    Result("init_second", "%d", orv_log_init("second"));
    Result("init_null_running", "%d", orv_log_init(nullptr));
    Result("same_ctrl", "%d", g_orv_log_ctrl == first ? 1 : 0);
    Result("name", "%s", g_orv_log_ctrl->name);
    orv_log_error("kept");
    PrintRing();
    return 0;
}

// Lang read once: a changed file counts only after uninit and a new init,
// which also starts an empty ring.
int Reread(int, char **) {
    if (!Init("probe")) return 1;
    Result("lang1", "%d", orv_log_lang());
    orv_log_info("one");
    orv_log_info("two");
    std::string ini = std::string(orv_rootdir()) + "/ini/orv.ini";
    FILE *fp = std::fopen(ini.c_str(), "w");
    if (fp == nullptr) return 3;
    std::fputs("[LOG]\nLang=1\n", fp);
    std::fclose(fp);
    Result("lang2", "%d", orv_log_lang());
    orv_log_uninit();
    Result("ctrl_after_uninit", "%s", g_orv_log_ctrl == nullptr ? "null" : "set");
    Result("lang_after_uninit", "%d", orv_log_lang());
    orv_log_info("dropped");
    if (!Init("probe")) return 1;
    Result("lang3", "%d", orv_log_lang());
    Result("write_index", "%d", g_orv_log_ctrl->write_index);
    Result("count0", "%d", orv_log_count(0));
    return 0;
}

int Settings(int, char **) {
    if (!Init("probe")) return 1;
    const orv_log_ctrl_t &c = *g_orv_log_ctrl;
    Result("settings", "%d,%u,%u,%u,%u,%d,%lld", c.lang, c.save_error, c.save_warn, c.save_debug,
           c.save_info, c.max_file_count, static_cast<long long>(c.max_file_size));
    Result("lang", "%d", orv_log_lang());
    Result("capacity", "%d", c.capacity);
    Result("file_index", "%d", c.file_index);
    return 0;
}

int Messages(int, char **) {
    if (!Init("probe")) return 1;
    const std::string a127(127, 'a');
    const std::string b127(127, 'b');
    orv_log_info("%s", a127.c_str());
    orv_log_info("%sc", b127.c_str());  // 128 characters
    const char *volatile no_format = nullptr;
    orv_log_info(no_format);
    orv_log_info("%d-%s", 42, "x");
    orv_log_info("%s", "100% %d %s");
    orv_log_sync(nullptr);
    Result("get_null", "%s", orv_log_get(nullptr) == nullptr ? "null" : "entry");
    PrintRing();
    return 0;
}

// argv[2]: entries to log; argv[3...]: cursors to ask about.
int Count(int argc, char **argv) {
    if (!Init("probe")) return 1;
    const long entries = Arg(argc, argv, 2, 0);
    for (long i = 0; i < entries; ++i) orv_log_info("c%ld", i);
    Result("write_index", "%d", g_orv_log_ctrl->write_index);
    for (int i = 3; i < argc; ++i) {
        const int32_t cursor = static_cast<int32_t>(std::strtol(argv[i], nullptr, 10));
        Result(("count" + std::string(argv[i])).c_str(), "%d", orv_log_count(cursor));
        Result(("has" + std::string(argv[i])).c_str(), "%d", orv_log_has(cursor));
    }
    return 0;
}

int Wrap(int, char **) {
    if (!Init("probe")) return 1;
    for (int i = 0; i < ORV_LOG_CAPACITY; ++i) orv_log_info("w%d", i);
    Result("write_index", "%d", g_orv_log_ctrl->write_index);
    Result("has0", "%d", orv_log_has(0));
    Result("count0", "%d", orv_log_count(0));
    int32_t cursor = 0;
    Result("get0", "%s", orv_log_get(&cursor) == nullptr ? "null" : "entry");
    Result("cursor_after_get0", "%d", cursor);
    for (int i = 0; i < ORV_LOG_CAPACITY; ++i) {
        Result(Key("slot", i).c_str(), "%s", g_orv_log_ctrl->entries[i].message);
    }
    orv_log_info("w%d", ORV_LOG_CAPACITY);
    Result("count255", "%d", orv_log_count(255));
    cursor = 255;
    for (int step = 0; step < 3; ++step) {
        const orv_log_entry_t *entry = orv_log_get(&cursor);
        Result(Key("step", step).c_str(), "%s,%d",
               entry != nullptr ? entry->message : "(null)", cursor);
    }
    cursor = 200;
    orv_log_sync(&cursor);
    Result("synced", "%d", cursor);
    return 0;
}

// argv[2]: size limit in bytes, argv[3]: info entries "r00".. to log.
int Rotate(int argc, char **argv) {
    if (!Init("probe")) return 1;
    g_orv_log_ctrl->max_file_size = Arg(argc, argv, 2, 100);
    const long entries = Arg(argc, argv, 3, 0);
    for (long i = 0; i < entries; ++i) orv_log_info("r%02ld", i);
    Result("file_index", "%d", g_orv_log_ctrl->file_index);
    return 0;
}

// argv[2]: size limit in bytes; one warning with ext 1, message argv[3].
int Ext(int argc, char **argv) {
    if (!Init("probe")) return 1;
    g_orv_log_ctrl->max_file_size = Arg(argc, argv, 2, 100);
    orv_log_warn2(1, "%s", argc > 3 ? argv[3] : "x");
    Result("file_index", "%d", g_orv_log_ctrl->file_index);
    return 0;
}

// Which entry goes to which file, by ext and the level's flag.
int Routing(int, char **) {
    if (!Init("probe")) return 1;
    orv_log_warn2(1, "w-ext1");
    orv_log_warn2(0, "w-ext0");
    orv_log_warn2(-5, "w-ext-5");
    orv_log_warn("w-plain");
    orv_log_info2(2, "i-ext2");
    orv_log_debug2(1, "d-ext1");
    orv_log_error2(0, "e-ext0");
    orv_log_error2(3, "e-ext3");
    orv_log_info("i-plain");
    orv_log_debug("d-plain");
    PrintRing();
    return 0;
}

// Every level with its file flag on, for a tree without run/log.
int NoLogDir(int, char **) {
    if (!Init("probe")) return 1;
    orv_log_debug("d");
    orv_log_info("i");
    orv_log_warn("w");
    orv_log_error("e");
    orv_log_warn2(1, "x");
    PrintRing();
    return 0;
}

// ---- Many threads at once ------------------------------------------------------

struct StressArgs {
    int thread;
    long entries;
};

void *StressThread(void *arg) {
    const auto *a = static_cast<const StressArgs *>(arg);
    for (long i = 0; i < a->entries; ++i) orv_log_info("t%d n%ld", a->thread, i);
    return nullptr;
}

// argv[2]: threads, argv[3]: entries per thread, argv[4]: size limit. The
// console goes to /dev/null meanwhile; only the files are checked.
int Stress(int argc, char **argv) {
    const int threads = static_cast<int>(Arg(argc, argv, 2, 8));
    const long entries = Arg(argc, argv, 3, 1000);
    // Each log call reads the local clock after tzset. With TZ unset the C
    // library replaces its saved zone name on every tzset, under a lock of
    // its own that the thread sanitizer cannot see; naming the same zone
    // file keeps the time unchanged and the C library's state untouched.
    setenv("TZ", ":/etc/localtime", 0);
    if (!Init("probe")) return 1;
    g_orv_log_ctrl->max_file_size = Arg(argc, argv, 4, 65536);
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    FILE *null_out = std::fopen("/dev/null", "w");
    if (saved < 0 || null_out == nullptr) return 3;
    dup2(fileno(null_out), STDOUT_FILENO);

    std::vector<pthread_t> ids(static_cast<size_t>(threads));
    std::vector<StressArgs> args(static_cast<size_t>(threads));
    int started = 0;
    for (int t = 0; t < threads; ++t) {
        args[t] = {t, entries};
        if (pthread_create(&ids[t], nullptr, StressThread, &args[t]) != 0) break;
        ++started;
    }
    for (int t = 0; t < started; ++t) pthread_join(ids[t], nullptr);

    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    std::fclose(null_out);
    Result("started", "%d", started);
    Result("write_index", "%d", g_orv_log_ctrl->write_index);
    Result("file_index", "%d", g_orv_log_ctrl->file_index);
    return 0;
}

struct Scenario {
    const char *name;
    int (*run)(int argc, char **argv);
};

const Scenario kScenarios[] = {
    {"root", Root},         {"dll_preset", DllPreset},   {"console", Console},
    {"before_init", BeforeInit}, {"reinit", Reinit},   {"reread", Reread},
    {"settings", Settings}, {"messages", Messages},    {"count", Count},
    {"wrap", Wrap},         {"rotate", Rotate},        {"ext", Ext},
    {"routing", Routing},   {"no_log_dir", NoLogDir},  {"stress", Stress},
};

}  // namespace

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s <scenario> [arguments...]\n", argv[0]);
        return 2;
    }
    for (const Scenario &s : kScenarios) {
        if (std::strcmp(s.name, argv[1]) == 0) {
            const int rc = s.run(argc, argv);
            std::fflush(stdout);
            return rc;
        }
    }
    std::fprintf(stderr, "unknown scenario %s\n", argv[1]);
    return 2;
}
