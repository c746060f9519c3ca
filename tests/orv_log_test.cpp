// The process log: its ring, the exact console and file bytes, settings,
// rotation and concurrent writers. The log and the root belong to the
// process, so each case runs in a forked child whose root is a scratch
// installation tree, and checks there.
#include "orvsys/orv_log.h"

#include <fcntl.h>

#include <atomic>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "internal/log.h"
#include "orvsys/orv_safestr.h"
#include "support/orv_test.h"

namespace {

using orv_test::read_file;
using orv_test::Tree;

const char *const kColour[] = {"36;40;1m", "37;40;1m", "33;40;1m", "31;40;1m"};
const char *const kTag[] = {"dbg", "inf", "war", "err"};
int style(int level) { return level >= 0 && level <= 3 ? level : 1; }

std::string stamp(const orv_datetime_t &t) {
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, t.millisecond);
    return text;
}

std::string file_line(const orv_log_entry_t &e) {
    return "[" + stamp(e.time) + "(" + kTag[style(e.level)] + ")]" + e.message + "\r\n";
}

// The messages of a log file's lines, space-separated; "-" without a file.
std::string messages(const std::string &path) {
    std::string text, out;
    if (!orv_test::read_file(path, &text)) return "-";
    for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2) {
        const std::string line = text.substr(at, end - at);
        const size_t head = line.find(")]");
        out += (out.empty() ? "" : " ") + (head == std::string::npos ? line : line.substr(head + 2));
    }
    return out;
}

// What the body writes to stdout, caught in a file ("/dev/null" drops it).
template <class Body>
std::string console_of(const std::string &path, Body body) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(fd, STDOUT_FILENO);
    close(fd);
    body();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    return read_file(path);
}

// Runs body(tree) in a forked child rooted at a fresh tree with run/log and
// these settings (null: no file), after orv_log_init("t").
template <class Body>
void in_log_child(const char *ini, Body body, const char *old1 = "", const char *old2 = "") {
    Tree tree;
    ASSERT_TRUE(tree.ready() && tree.mkdirs("run/log") && (ini == nullptr || tree.write_ini(ini)));
    const char *const old[] = {old1, old2};
    for (int i = 0; i < 2; ++i) {
        const std::string name = "run/log/t_" + std::to_string(i + 1) + ".txt";
        if (*old[i] != '\0') {
            ASSERT_TRUE(orv_test::write_file(tree / name, old[i] + std::string("\r\n")));
        }
    }
    const auto child = orv_test::run_in_child([&] {
        tree.use();
        ASSERT_EQ(orv_log_init("t"), 1);
        body(tree);
    });
    EXPECT_TRUE(child.ok()) << child;
}

TEST(LogOutput, ExactBytesByLevelExtAndFlag) {
    void (*const plain[])(const char *, ...) = {orv_log_debug, orv_log_info, orv_log_warn,
                                                orv_log_error};
    void (*const with_ext[])(int32_t, const char *, ...) = {orv_log_debug2, orv_log_info2,
                                                            orv_log_warn2, orv_log_error2};
    struct Row {
        int level;
        int ext;
        char call;  // 'p' plain, 'x' with ext, 'w'/'u' the write path with save 1/0
        char file;  // 'n' numbered, 'e' ext, '-' none
    };
    // Debug and errors are saved, info and warnings not; ext above 0 always.
    const Row rows[] = {
        {0, -1, 'p', 'n'}, {1, -1, 'p', '-'}, {2, -1, 'p', '-'}, {3, -1, 'p', 'n'},
        {2, 1, 'x', 'e'},  {2, 0, 'x', '-'},  {2, -5, 'x', '-'}, {1, 2, 'x', 'e'},
        {0, 1, 'x', 'e'},  {3, 0, 'x', 'n'},  {3, 3, 'x', 'e'},
        {7, -1, 'w', 'n'}, {-1, -1, 'u', '-'},  // no entry point has these: shown as info
    };
    in_log_child("[LOG]\nSaveSysDebug=1\nSaveSysWarn=0\n", [&](const Tree &tree) {
        orv_datetime_t before, after;
        orv_get_datetime(&before);
        const std::string console = console_of(tree / "console", [&] {
            for (size_t i = 0; i < std::size(rows); ++i) {
                const Row &r = rows[i];
                if (r.call == 'p') plain[r.level]("m%zu", i);
                if (r.call == 'x') with_ext[r.level](r.ext, "m%zu", i);
                if (r.call != 'p' && r.call != 'x') {
                    orv_log_entry_t e{r.level, r.ext, {}, {}};
                    orv_get_datetime(&e.time);
                    std::snprintf(e.message, sizeof e.message, "m%zu", i);
                    EXPECT_EQ(orv_log_write(&e, r.call == 'w'), 1);
                }
            }
        });
        orv_get_datetime(&after);
        std::string want_console, want[3];  // numbered, ext, none
        int32_t cursor = 0;
        for (size_t i = 0; i < std::size(rows); ++i) {
            SCOPED_TRACE("row " + std::to_string(i));
            const orv_log_entry_t *e = orv_log_get(&cursor);
            ASSERT_NE(e, nullptr);
            EXPECT_EQ(e->level, rows[i].level);
            EXPECT_EQ(e->ext, rows[i].ext);
            EXPECT_EQ(e->message, "m" + std::to_string(i));
            EXPECT_TRUE(stamp(before) <= stamp(e->time) && stamp(e->time) <= stamp(after));
            want_console += std::string("\033[") + kColour[style(e->level)] + "[" +
                            stamp(e->time) + "]" + e->message + "\033[0m\r\n";
            want[rows[i].file == 'n' ? 0 : rows[i].file == 'e' ? 1 : 2] += file_line(*e);
        }
        EXPECT_EQ(console, want_console);
        EXPECT_EQ(read_file(tree / "run/log/t_1.txt"), want[0]);
        EXPECT_EQ(read_file(tree / "run/log/t_ext_1.txt"), want[1]);
        EXPECT_FALSE(orv_test::exists(tree / "run/log/t_2.txt"));
        EXPECT_FALSE(orv_test::exists(tree / "run/log/t_ext_2.txt"));
    });
}

TEST(LogMessage, CutAt127AndNullFormat) {
    in_log_child("", [](const Tree &) {
        const std::string a(127, 'a'), b(128, 'b');
        const char *volatile no_format = nullptr;
        orv_log_info("%s", a.c_str());
        orv_log_info("%s", b.c_str());
        orv_log_info(no_format);
        orv_log_info("%d-%s", 42, "x");
        orv_log_info("%s", "100% %d %s");
        int32_t cursor = 0;
        for (const std::string &m : {a, b.substr(0, 127), std::string(), std::string("42-x"),
                                    std::string("100% %d %s")}) {
            const orv_log_entry_t *e = orv_log_get(&cursor);
            ASSERT_NE(e, nullptr);
            EXPECT_EQ(e->message, m);
        }
        EXPECT_EQ(orv_log_get(&cursor), nullptr);
        EXPECT_EQ(orv_log_get(nullptr), nullptr);
    });
}

TEST(LogRing, CursorsCountAndWrap) {
    in_log_child("", [](const Tree &) {
        for (int i = 0; i < 5; ++i) orv_log_info("w%d", i);
        const int32_t rows[][2] = {{250, 11}, {5, 0},  {3, 2},  {6, 255},       {0, 5},
                                   {4, 1},    {255, 6}, {256, 0}, {-1, 0}, {INT32_MIN, 0}};
        for (const auto &[cursor, count] : rows) {
            EXPECT_EQ(orv_log_count(cursor), count) << "cursor " << cursor << ", write slot 5";
            EXPECT_EQ(orv_log_has(cursor), count > 0 ? 1 : 0) << "cursor " << cursor;
        }
        for (int i = 5; i < ORV_LOG_CAPACITY; ++i) orv_log_info("w%d", i);
        // A full ring looks empty from slot 0, and each slot holds its entry.
        int32_t cursor = 0;
        EXPECT_EQ(orv_log_get(&cursor), nullptr);
        EXPECT_EQ(cursor, 0);
        for (int i = 0; i < ORV_LOG_CAPACITY; ++i) {
            EXPECT_EQ(g_orv_log_ctrl->entries[i].message, std::to_string(i).insert(0, "w"));
        }
        orv_log_info("w256");
        EXPECT_EQ(orv_log_count(255), 2);
        cursor = 255;
        for (const char *m : {"w255", "w256"}) {
            const orv_log_entry_t *e = orv_log_get(&cursor);
            ASSERT_NE(e, nullptr);
            EXPECT_STREQ(e->message, m);
        }
        EXPECT_EQ(orv_log_get(&cursor), nullptr);
        EXPECT_EQ(cursor, 1);
        cursor = 200;
        orv_log_sync(&cursor);
        EXPECT_EQ(cursor, 1);
    });
}

TEST(LogInit, LifecycleAndSettingsReadOnce) {
    Tree tree;  // without run/log: saved entries go nowhere and make nothing
    ASSERT_TRUE(tree.ready());
    const auto child = orv_test::run_in_child([&] {
        tree.use();
        orv_log_error("before");
        orv_log_warn2(1, "before");
        orv_log_entry_t entry{};
        EXPECT_EQ(orv_log_write(&entry, 1), 0);
        int32_t cursor = 77;
        EXPECT_EQ(orv_log_get(&cursor), nullptr);
        orv_log_sync(&cursor);
        EXPECT_EQ(cursor, 77);
        EXPECT_EQ(orv_log_has(0) + orv_log_count(0) + orv_log_lang(), 0);
        EXPECT_EQ(orv_log_init(nullptr), 0);
        EXPECT_EQ(g_orv_log_ctrl, nullptr);
        ASSERT_EQ(orv_log_init("first"), 1);
        const orv_log_ctrl_t *first = g_orv_log_ctrl;
        EXPECT_EQ(orv_log_count(0), 0);
        EXPECT_EQ(orv_log_init("second"), 1);
        EXPECT_EQ(orv_log_init(nullptr), 1);
        EXPECT_EQ(g_orv_log_ctrl, first);
        EXPECT_STREQ(g_orv_log_ctrl->name, "first");
        ASSERT_TRUE(tree.write_ini("[LOG]\nLang=1\n"));
        orv_log_error("kept");
        orv_log_warn2(1, "kept");
        EXPECT_EQ(orv_log_lang(), 0) << "a running log read the settings again";
        orv_log_uninit();
        EXPECT_EQ(g_orv_log_ctrl, nullptr);
        EXPECT_EQ(orv_log_lang(), 0);
        orv_log_info("dropped");
        ASSERT_EQ(orv_log_init("again"), 1);
        EXPECT_EQ(orv_log_lang(), 1) << "a new start did not read the settings";
        EXPECT_EQ(orv_log_count(0), 0);
    });
    EXPECT_TRUE(child.ok()) << child;
    EXPECT_EQ(child.output.find("before"), std::string::npos);
    EXPECT_EQ(child.output.find("dropped"), std::string::npos);
    EXPECT_NE(child.output.find("kept"), std::string::npos);
    EXPECT_FALSE(orv_test::exists(tree / "run"));
}

TEST(LogSettings, ValuesAndDefaults) {
    struct Row {
        const char *ini;       // null: no settings file
        const char *expected;  // lang,error,warn,debug,info,count,size
    };
    const Row rows[] = {
        {nullptr, "0,1,1,0,0,2,2097152"},
        {"[OTHER]\nLang=1\nSaveSysInfo=1\nMaxFileCount=9\n[LOG]\n", "0,1,1,0,0,2,2097152"},
        {"[LOG]\nLang=2\nSaveSysError=N\nSaveSysWarn=0\nSaveSysDebug=Y\nSaveSysInfo=1\n"
         "MaxFileCount=7\nMaxFileSize=0x10\n",
         "1,0,0,1,1,7,16777216"},
        {"[LOG]\nLang=-3\nSaveSysError=F\nSaveSysWarn=false\n", "1,0,0,0,0,2,2097152"},
        {"[LOG]\nMaxFileCount=0\nMaxFileSize=0\n", "0,1,1,0,0,0,0"},
        {"[LOG]\nMaxFileCount=-4\nMaxFileSize=1\n", "0,1,1,0,0,-4,1048576"},
        {"[LOG]\nMaxFileSize=2047\n", "0,1,1,0,0,2,2146435072"},
        {"[LOG]\nMaxFileSize=2048\n", "0,1,1,0,0,2,2097152"},
        {"[LOG]\nMaxFileSize=-1\n", "0,1,1,0,0,2,2097152"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.ini != nullptr ? row.ini : "(no file)");
        in_log_child(row.ini, [&](const Tree &) {
            const orv_log_ctrl_t &c = *g_orv_log_ctrl;
            char text[96];
            std::snprintf(text, sizeof text, "%d,%u,%u,%u,%u,%d,%lld", c.lang, c.save_error,
                          c.save_warn, c.save_debug, c.save_info, c.max_file_count,
                          static_cast<long long>(c.max_file_size));
            EXPECT_STREQ(text, row.expected);
            EXPECT_EQ(orv_log_lang(), c.lang);
            EXPECT_EQ(c.capacity, ORV_LOG_CAPACITY);
            EXPECT_EQ(c.file_index, 1);
        });
    }
}

// Each line "[<23-character time>(inf)]rNN\r\n" is 35 bytes. The limit is
// checked before a write, so a file may pass it by a line; at it, it is full.
TEST(LogFile, RotationTable) {
    struct Row {
        int max_count, limit, entries;
        const char *old1, *old2;  // lines already there at the start
        std::vector<std::string> files;
        int index;
    };
    const Row rows[] = {
        {2, 100, 6, "", "", {"r00 r01 r02", "r03 r04 r05"}, 2},
        {2, 100, 8, "", "", {"r06 r07", "r03 r04 r05"}, 1},  // file 1 emptied
        {2, 100, 10, "", "", {"r06 r07 r08", "r09"}, 2},
        {3, 0, 5, "", "", {"r02", "r03", "r04"}, 3},  // every entry moves on and empties
        {0, 100, 7, "", "", {"r06"}, 1},              // with 0 or 1 files the number stays
        {1, 100, 6, "", "", {"r03 r04 r05"}, 1},
        {2, 36, 3, "", "", {"r00 r01", "r02"}, 2},
        {2, 35, 3, "", "", {"r02", "r01"}, 1},
        {2, 10, 1, "old and full", "old", {"old and full", "old r00"}, 2},  // a restart
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("MaxFileCount " + std::to_string(row.max_count) + ", limit " +
                     std::to_string(row.limit) + ", " + std::to_string(row.entries) + " entries");
        const std::string ini = "[LOG]\nSaveSysInfo=1\nMaxFileCount=" + std::to_string(row.max_count);
        in_log_child(ini.c_str(), [&](const Tree &tree) {
            g_orv_log_ctrl->max_file_size = row.limit;
            for (int i = 0; i < row.entries; ++i) orv_log_info("r%02d", i);
            EXPECT_EQ(g_orv_log_ctrl->file_index, row.index);
            for (size_t n = 1; n <= row.files.size() + 1; ++n) {
                const std::string name = "t_" + std::to_string(n) + ".txt";
                EXPECT_EQ(messages(tree / ("run/log/" + name)),
                          n <= row.files.size() ? row.files[n - 1] : "-") << name;
            }
        }, row.old1, row.old2);
    }
}

TEST(LogFile, ExtFileChoice) {
    const std::string full = std::string(98, 'F') + "\r\n";  // 100 bytes: at the limit
    const std::string below = std::string(97, 'b') + "\r\n";
    const time_t t = 1700000000;
    struct Row {
        const char *what;
        const std::string *old[2];  // null: no file
        timespec mtime[2];          // {0, 0}: as written
        const char *target;         // file that gets the line, "!" when emptied first
    };
    const Row rows[] = {
        {"no files", {nullptr, nullptr}, {}, "1"},
        {"first below", {&below, nullptr}, {}, "1"},
        {"first full", {&full, nullptr}, {}, "2"},
        {"first full, second below", {&full, &below}, {}, "2"},
        {"both full, first newer", {&full, &full}, {{t + 10, 0}, {t, 0}}, "2!"},
        {"both full, second newer", {&full, &full}, {{t, 0}, {t + 10, 0}}, "1!"},
        {"both full, same time", {&full, &full}, {{t, 0}, {t, 0}}, "1!"},
        {"both full, first later in the second", {&full, &full}, {{t, 900000000}, {t, 0}}, "1!"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        in_log_child("", [&](const Tree &tree) {
            const std::string names[] = {tree / "run/log/t_ext_1.txt", tree / "run/log/t_ext_2.txt"};
            for (int i = 0; i < 2; ++i) {
                if (row.old[i] == nullptr) continue;
                ASSERT_TRUE(orv_test::write_file(names[i], *row.old[i]));
                const timespec times[2] = {row.mtime[i], row.mtime[i]};
                if (row.mtime[i].tv_sec != 0) {
                    ASSERT_EQ(utimensat(AT_FDCWD, names[i].c_str(), times, 0), 0);
                }
            }
            g_orv_log_ctrl->max_file_size = 100;
            orv_log_warn2(1, "new");
            const std::string line = file_line(g_orv_log_ctrl->entries[0]);
            for (int i = 0; i < 2; ++i) {
                const bool gets = row.target[0] == '1' + i, emptied = gets && row.target[1] == '!';
                const std::string old = row.old[i] != nullptr && !emptied ? *row.old[i] : "";
                EXPECT_EQ(read_file(names[i]), gets ? old + line : row.old[i] ? old : "<no file>")
                    << names[i];
            }
            EXPECT_FALSE(orv_test::exists(tree / "run/log/t_1.txt"));
        });
    }
}

// "t<thread> n<seq>" from a writer, checked against each thread's next number.
bool in_order(const std::string &message, std::vector<long> &next) {
    int t = -1, used = 0;
    long n = -1;
    if (std::sscanf(message.c_str(), "t%d n%ld%n", &t, &n, &used) != 2 ||
        used != static_cast<int>(message.size()) || t < 0 || t >= static_cast<int>(next.size()) ||
        n != next[t]) {
        return false;
    }
    ++next[t];
    return true;
}

// A reader follows the ring with its own cursor while four threads write
// and save to small rotating files. Writers hold back while the reader is
// 128 entries behind, so it is never overtaken: it must see every entry,
// whole and in each thread's order, and so must the files.
TEST(LogRing, ReaderFollowsFourWriters) {
    constexpr int kThreads = 4;
    constexpr long kLimit = 8192;
    const long per_thread = std::max(300L, static_cast<long>(3000 / orv_test::time_scale()));
    setenv("TZ", ":/etc/localtime", 0);  // keeps tzset from rewriting the C library's zone name
    in_log_child("[LOG]\nSaveSysInfo=1\nMaxFileCount=1000\n", [&](const Tree &tree) {
        g_orv_log_ctrl->max_file_size = kLimit;
        std::atomic<long> issued{0}, consumed{0};
        std::vector<long> next(kThreads, 0);
        int32_t cursor = 0;
        console_of("/dev/null", [&] {
            std::vector<std::thread> writers;
            for (int t = 0; t < kThreads; ++t) {
                writers.emplace_back([&, t] {
                    for (long n = 0; n < per_thread; ++n) {
                        const long ticket = issued.fetch_add(1);
                        while (ticket - consumed.load() >= 128) std::this_thread::yield();
                        orv_log_info("t%d n%ld", t, n);
                    }
                });
            }
            for (long seen = 0; seen < kThreads * per_thread;) {
                if (!orv_log_has(cursor)) {
                    std::this_thread::yield();
                    continue;
                }
                const int32_t waiting = orv_log_count(cursor);
                EXPECT_TRUE(waiting >= 1 && waiting <= 128) << waiting;
                const orv_log_entry_t entry = *orv_log_get(&cursor);
                consumed.store(++seen);
                EXPECT_TRUE(entry.level == ORV_LOG_INFO && entry.ext == -1 &&
                            in_order(entry.message, next)) << entry.message;
            }
            for (std::thread &w : writers) w.join();
        });
        EXPECT_EQ(orv_log_has(cursor), 0);
        std::vector<long> next_in_files(kThreads, 0);
        int files = 0;
        for (std::string text; orv_test::read_file(tree / ("run/log/t_" + std::to_string(files + 1) + ".txt"), &text);) {
            ++files;
            ASSERT_TRUE(text.size() >= 2 && text.compare(text.size() - 2, 2, "\r\n") == 0);
            size_t last = 0;
            for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2) {
                const std::string line = text.substr(at, end - at);
                ASSERT_TRUE(line.size() > 30 && line[0] == '[' && line.compare(24, 6, "(inf)]") == 0 &&
                            in_order(line.substr(30), next_in_files)) << line;
                last = at;
            }
            EXPECT_LT(last, static_cast<size_t>(kLimit)) << "written to a full file";
            if (files < g_orv_log_ctrl->file_index) {
                EXPECT_GE(text.size(), static_cast<size_t>(kLimit)) << "left before it was full";
            }
        }
        EXPECT_GT(files, 1) << "never rotated";
        EXPECT_EQ(files, g_orv_log_ctrl->file_index);
        EXPECT_EQ(next_in_files, std::vector<long>(kThreads, per_thread));
    });
}

}  // namespace
