// The process log: its ring, exact console and file bytes, settings, rotation and concurrent
// writers. The log and the root belong to the process, so each case runs in a forked child.
#include "orvsys/orv_log.h"

#include <atomic>
#include <map>
#include <regex>
#include <vector>

#include "internal/log.h"
#include "support/orv_test.h"

namespace {

using namespace orv_test;

const char *const kColour[] = {"36;40;1m", "37;40;1m", "33;40;1m", "31;40;1m"};
const char *const kTag[] = {"dbg", "inf", "war", "err"};
int style(int level) { return level >= 0 && level <= 3 ? level : 1; }

std::string stamp(const orv_datetime_t &t) {
    char s[48];
    std::snprintf(s, sizeof s, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month, t.day, t.hour,
                  t.minute, t.second, t.millisecond);
    return s;
}

// The messages of a log file's lines, space-separated; "-" without a file.
std::string messages(const std::string &path) {
    if (!exists(path)) return "-";
    const std::regex line("(?:\\[[^\\]]*\\])?([^\r\n]*)\r\n");
    std::string text = std::regex_replace(read_file(path), line, " $1");
    return text.substr(text.empty() ? 0 : 1);
}

// What the body writes to stdout, caught in a file ("/dev/null" drops it).
template <class Body>
std::string console_of(const std::string &path, Body body) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), STDOUT_FILENO);
    body();
    std::fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(saved);
    return read_file(path);
}

// Runs body(tree) after orv_log_init("t") in a forked child, in a tree with run/log and ini.
template <class Body>
void in_log_child(const char *ini, Body body) {
    Tree tree;
    ASSERT_TRUE(tree.ready() && tree.mkdirs("run/log") && (ini == nullptr || tree.write_ini(ini)));
    const auto child = run_in_child([&] {
        tree.use();
        ASSERT_EQ(orv_log_init("t"), 1);
        body(tree);
    });
    EXPECT_TRUE(child.ok()) << child;
}

// Each entry lands in the ring, on the console and in the file it belongs to, its message
// formatted, cut at 127 characters, empty for no format.
TEST(LogOutput, ExactBytesByLevelExtAndFlag) {
    void (*const plain[])(const char *, ...) = {orv_log_debug, orv_log_info, orv_log_warn,
                                                orv_log_error};
    void (*const with_ext[])(int32_t, const char *, ...) = {orv_log_debug2, orv_log_info2,
                                                            orv_log_warn2, orv_log_error2};
    const std::string b(128, 'b');
    const char *const b128 = b.c_str(), *const b127 = b128 + 1;
    // call: 'p' plain, 'x' with ext, 'w'/'u' the write path with save 1/0 (for levels no
    // call has); file: 'n' numbered, 'e' ext, '-' none.
    struct Row {
        int level, ext;
        char call, file;
        const char *format, *message;
    } const rows[] = {
        // Debug and errors are saved, info and warnings not; ext above 0 always.
        {0, -1, 'p', 'n', "%d-%s", "42-x"}, {2, 0, 'x', '-', "m", "m"},
        {1, 2, 'x', 'e', "m", "m"},         {1, -1, 'p', '-', b127, b127},
        {2, -1, 'p', '-', nullptr, ""},     {3, 0, 'x', 'n', "m", "m"},
        {3, -1, 'p', 'n', b128, b127},      {0, 1, 'x', 'e', "m", "m"},
        {7, -1, 'w', 'n', "", "m"},         {2, 1, 'x', 'e', "%%%d", "%42"},
        {3, 3, 'x', 'e', "m", "m"},         {-1, -1, 'u', '-', "", "m"},
    };
    in_log_child("[LOG]\nSaveSysDebug=1\nSaveSysWarn=0\n", [&](const Tree &tree) {
        orv_log_entry_t raw{0, -1, {}, "m"}, after;  // raw: for orv_log_write, and the start time
        orv_get_datetime(&raw.time);
        const std::string console = console_of(tree / "console", [&] {
            for (const Row &r : rows) {
                if (r.call == 'p') plain[r.level](r.format, 42, "x");
                if (r.call == 'x') with_ext[r.level](r.ext, r.format, 42, "x");
                raw.level = r.level;
                EXPECT_TRUE(r.call == 'p' || r.call == 'x' ||
                            orv::internal::orv_log_write(&raw, r.call == 'w'));
            }
        });
        orv_get_datetime(&after.time);
        std::string want_console;
        std::map<char, std::string> want;  // by file
        int32_t cursor = 0;
        for (const Row &r : rows) {
            const orv_log_entry_t *e = orv_log_get(&cursor);
            ASSERT_NE(e, nullptr);
            EXPECT_TRUE(e->level == r.level && e->ext == r.ext && !strcmp(e->message, r.message))
                << "level " << r.level << ", ext " << r.ext << ": " << e->message;
            EXPECT_TRUE(stamp(raw.time) <= stamp(e->time) && stamp(e->time) <= stamp(after.time))
                << stamp(e->time);
            want_console += std::string("\033[") + kColour[style(e->level)] + "[" + stamp(e->time) +
                            "]" + e->message + "\033[0m\r\n";
            want[r.file] +=
                "[" + stamp(e->time) + "(" + kTag[style(e->level)] + ")]" + e->message + "\r\n";
        }
        EXPECT_TRUE(orv_log_get(&cursor) == nullptr && orv_log_get(nullptr) == nullptr);
        EXPECT_EQ(console, want_console);
        EXPECT_EQ(read_file(tree / "run/log/t_1.txt"), want['n']);
        EXPECT_EQ(read_file(tree / "run/log/t_ext_1.txt"), want['e']);
    });
}

// Before the start every call does nothing; a second start keeps the first name; each start
// reads the settings, a running log never again. Then the cursors of a fresh ring, and its wrap.
TEST(LogRing, LifecycleSettingsCursorsAndWrap) {
    // ini: null for no settings file; expected: lang,error,warn,debug,info,count,size.
    // clang-format off
    struct Row { const char *ini, *expected; } const rows[] = {
        {"[LOG]\nLang=-3\nSaveSysError=F\nSaveSysWarn=false\n", "1,0,0,0,0,2,2097152"},
        {"[LOG]\nLang=2\nSaveSysError=N\nSaveSysWarn=0\nSaveSysDebug=Y\nSaveSysInfo=1\n"
         "MaxFileCount=7\nMaxFileSize=0x10\n", "1,0,0,1,1,7,16777216"},
        {"[LOG]\nMaxFileCount=0\nMaxFileSize=0\n", "0,1,1,0,0,0,0"},
        {"[LOG]\nMaxFileSize=2047\n", "0,1,1,0,0,2,2146435072"},  // 2048 and above overflow
        {"[LOG]\nMaxFileSize=2048\n", "0,1,1,0,0,2,2097152"}, {nullptr, "0,1,1,0,0,2,2097152"},
    };
    // clang-format on
    Tree tree;  // without run/log: saved entries go nowhere and make nothing
    ASSERT_TRUE(tree.ready());
    const auto child = run_in_child([&] {
        tree.use();
        orv_log_error("before");
        orv_log_warn2(1, "before");
        orv_log_entry_t entry{};
        int32_t cursor = 77;
        orv_log_sync(&cursor);
        EXPECT_TRUE(orv::internal::orv_log_write(&entry, 1) == 0 && !orv_log_get(&cursor) &&
                    cursor == 77);
        EXPECT_EQ(orv_log_has(0) + orv_log_count(0) + orv_log_lang() + orv_log_init(nullptr), 0);
        ASSERT_TRUE(g_orv_log_ctrl == nullptr && orv_log_init("first") == 1);
        const orv_log_ctrl_t *first = g_orv_log_ctrl;
        EXPECT_TRUE(orv_log_init("second") == 1 && orv_log_init(nullptr) == 1);
        EXPECT_TRUE(g_orv_log_ctrl == first && std::string(first->name) == "first");
        orv_log_error("kept");
        orv_log_warn2(1, "kept");
        char lang = '0';  // of the running log
        for (const Row &row : rows) {
            ASSERT_TRUE(row.ini ? tree.write_ini(row.ini) : std::remove(tree.ini().c_str()) == 0);
            EXPECT_EQ(orv_log_lang(), lang - '0') << "read again while running";
            lang = row.expected[0];
            orv_log_uninit();
            EXPECT_TRUE(g_orv_log_ctrl == nullptr && orv_log_lang() == 0);
            orv_log_info("dropped");
            ASSERT_EQ(orv_log_init("t"), 1);
            const orv_log_ctrl_t &c = *g_orv_log_ctrl;
            char text[96];
            std::snprintf(text, sizeof text, "%d,%u,%u,%u,%u,%d,%lld", c.lang, c.save_error,
                          c.save_warn, c.save_debug, c.save_info, c.max_file_count,
                          static_cast<long long>(c.max_file_size));
            EXPECT_STREQ(text, row.expected) << (row.ini ? row.ini : "(no file)");
            EXPECT_TRUE(orv_log_lang() == c.lang && c.capacity == 256 && c.file_index == 1 &&
                        orv_log_count(0) == 0);
        }
        for (int i = 0; i < 5; ++i) orv_log_info("w%d", i);
        // clang-format off
        const int32_t counts[][2] = {{250, 11}, {5, 0},   {3, 2},  {6, 255},      {0, 5},
                                     {255, 6},  {256, 0}, {-1, 0}, {INT32_MIN, 0}};  // write slot 5
        // clang-format on
        for (const auto &[from, count] : counts) {
            EXPECT_TRUE(orv_log_count(from) == count && orv_log_has(from) == (count > 0))
                << "cursor " << from << ": " << orv_log_count(from) << orv_log_has(from);
        }
        for (int i = 5; i < ORV_LOG_CAPACITY; ++i) orv_log_info("w%d", i);
        cursor = 0;  // a full ring looks empty from slot 0
        EXPECT_TRUE(orv_log_get(&cursor) == nullptr && cursor == 0);
        EXPECT_STREQ(g_orv_log_ctrl->entries[0].message, "w0");
        orv_log_info("w256");
        cursor = 255;
        for (const char *m : {"w255", "w256", "-"}) {
            const orv_log_entry_t *e = orv_log_get(&cursor);
            EXPECT_STREQ(e ? e->message : "-", m);
        }
        EXPECT_EQ(cursor, 1);
        cursor = 200;
        orv_log_sync(&cursor);
        EXPECT_EQ(cursor, 1);
    });
    EXPECT_TRUE(child.ok()) << child;
    const std::string &out = child.output;
    EXPECT_TRUE(out.find("before") == out.npos && out.find("dropped") == out.npos &&
                out.find("kept") != out.npos)
        << out;
    EXPECT_FALSE(exists(tree / "run"));
}

// Numbered files rotate through MaxFileCount names (0 or 1: the number stays); ext entries take
// the first ext file below the limit, else empty the older by whole-second mtime, the first at a
// tie. "[<time>(inf)]rNN\r\n" is 35 bytes; a file at the limit is full (at 0, each entry moves on).
TEST(LogFile, RotationTable) {
    const time_t t = 1700000000;
    const char *const F = "old full\r\n";  // 10 bytes: full at a limit of 10
    // files: the messages of files 1, 2, ..., "|" between; old: there at the start; mtime
    // {0, 0}: as written.
    // clang-format off
    struct Row { bool ext; int max_count, limit, entries, index; const char *files;
        const char *old[2] = {"", ""}; timespec mtime[2] = {}; } const rows[] = {
        {false, 2, 100, 6, 2, "r00 r01 r02|r03 r04 r05"}, {false, 2, 36, 3, 2, "r00 r01|r02"},
        {false, 2, 100, 8, 1, "r06 r07|r03 r04 r05"}, {false, 1, 100, 6, 1, "r03 r04 r05"},
        {false, 0, 100, 7, 1, "r06"}, {false, 3, 0, 5, 3, "r02|r03|r04"},
        {true, 2, 10, 3, 1, "r02|r01"}, {false, 2, 35, 3, 1, "r02|r01"}, {false, 2, 10, 1, 2, "old full|old r00", {F, "old\r\n"}},
        {true, 2, 10, 1, 1, "old full|old r00", {F, "old\r\n"}},
        {true, 2, 10, 1, 1, "old full|r00", {F, F}, {{t + 1, 0}, {t, 0}}},
        {true, 2, 10, 1, 1, "r00|old full", {F, F}, {{t, 9000}, {t, 0}}}};
    // clang-format on
    for (const Row &row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows));
        const char *const stem = row.ext ? "run/log/t_ext_" : "run/log/t_";
        const auto ini = "[LOG]\nSaveSysInfo=1\nMaxFileCount=" + std::to_string(row.max_count);
        in_log_child(ini.c_str(), [&](const Tree &tree) {
            const auto file = [&](int n) { return tree / stem + std::to_string(n) + ".txt"; };
            for (int n = 0; n < 2; ++n) {
                const std::string old = file(n + 1);
                const timespec times[2] = {row.mtime[n], row.mtime[n]};
                EXPECT_TRUE(!*row.old[n] ||
                            (write_file(old, row.old[n]) &&
                             (!times[0].tv_sec || !utimensat(AT_FDCWD, old.c_str(), times, 0))));
            }
            g_orv_log_ctrl->max_file_size = row.limit;
            for (int i = 0; i < row.entries; ++i) orv_log_info2(row.ext ? 1 : -1, "r%02d", i);
            EXPECT_EQ(g_orv_log_ctrl->file_index, row.index);
            std::string got;
            for (int n = 1; n <= 4; ++n) got.append(n > 1 ? "|" : "").append(messages(file(n)));
            while (got.ends_with("|-")) got.resize(got.size() - 2);
            EXPECT_EQ(got, row.files);
        });
    }
}

// A reader follows the ring with its own cursor while four threads write and save to small
// rotating files. Writers hold back while the reader is 128 entries behind, so it is never
// overtaken: it must see every entry once, whole and in each thread's order; so must the files.
TEST(LogRing, ReaderFollowsFourWriters) {
    constexpr int kThreads = 4, kBehind = 128;
    constexpr size_t kLimit = 8192;
    const long per_thread = std::max(300L, static_cast<long>(3000 / time_scale()));
    const auto in_order = [](const std::string &message, std::vector<long> &next) {
        int t = -1, used = 0;
        long n = -1;  // of "t<thread>.<n>"
        return std::sscanf(message.c_str(), "t%d.%ld%n", &t, &n, &used) == 2 && t >= 0 &&
               t < kThreads && used == static_cast<int>(message.size()) && n == next[t]++;
    };
    in_log_child("[LOG]\nSaveSysInfo=1\nMaxFileCount=1000\n", [&](const Tree &tree) {
        setenv("TZ", ":/etc/localtime", 1);  // or every tzset rewrites the C library's zone name
        g_orv_log_ctrl->max_file_size = kLimit;
        std::atomic<long> issued{0}, consumed{0};
        std::vector<long> next(kThreads, 0), next_in_files(kThreads, 0);
        std::vector<std::thread> writers;
        console_of("/dev/null", [&] {
            for (int t = 0; t < kThreads; ++t) {
                writers.emplace_back([&, t] {
                    for (long n = 0, ticket; n < per_thread; ++n) {
                        ticket = issued++;
                        while (ticket - consumed >= kBehind) std::this_thread::yield();
                        orv_log_info("t%d.%ld", t, n);
                    }
                });
            }
            for (int32_t cursor = 0; consumed < kThreads * per_thread;) {
                while (!orv_log_has(cursor)) std::this_thread::yield();  // a next one will come
                const int32_t waiting = orv_log_count(cursor);
                const orv_log_entry_t entry = *orv_log_get(&cursor);
                ++consumed;
                EXPECT_TRUE(waiting >= 1 && waiting <= kBehind && entry.level == ORV_LOG_INFO &&
                            entry.ext == -1 && in_order(entry.message, next))
                    << waiting << " waiting at " << entry.message;
            }
            for (std::thread &w : writers) w.join();
        });
        const auto file = [&](int n) { return tree / ("run/log/t_" + std::to_string(n) + ".txt"); };
        int files = 1;
        for (std::string name; exists(name = file(files)); ++files) {
            const std::string text = read_file(name), lines = messages(name) + " ";
            // Below the limit before its last line; full when the next one began.
            EXPECT_LT(text.rfind('[', text.size() - 3), kLimit) << "written to a full file";
            EXPECT_TRUE(files == g_orv_log_ctrl->file_index || text.size() >= kLimit) << files;
            for (size_t at = 0, end; (end = lines.find(' ', at)) != lines.npos; at = end + 1) {
                ASSERT_TRUE(in_order(lines.substr(at, end - at), next_in_files)) << name;
            }
        }
        EXPECT_TRUE(files - 1 == g_orv_log_ctrl->file_index && files > 2) << files - 1 << " files";
        EXPECT_EQ(next, std::vector<long>(kThreads, per_thread));
        EXPECT_EQ(next_in_files, next);
    });
}

}  // namespace
