// The installation root, the log ring, and the log's console and file
// output.
//
// The root is fixed once per process from the running executable, and the
// log is process-wide, so every case runs the tree probe (support/
// orv_tree_probe.cpp) as a process of its own from a scratch installation
// tree: <tree>/bin/probe.bin, <tree>/ini/orv.ini, <tree>/run/log/. The
// probe is a copy, not a link, since /proc/self/exe resolves links. The
// test then checks the probe's stdout (console lines and "@key=value"
// results) and the log files byte for byte.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "support/orv_test_time.h"

#ifndef ORV_TREE_PROBE
#error "ORV_TREE_PROBE must name the probe binary"
#endif
#ifndef ORV_TEST_EMULATOR
#define ORV_TEST_EMULATOR ""
#endif

namespace {

constexpr char kProbeRel[] = "bin/probe.bin";
constexpr size_t kTimeTextLength = 23;  // "YYYY-MM-DD hh:mm:ss.mmm"
constexpr char kEsc = '\033';

// ---- Files ---------------------------------------------------------------------

bool ReadFile(const std::string &path, std::string *content) {
    FILE *fp = std::fopen(path.c_str(), "rb");
    if (fp == nullptr) return false;
    content->clear();
    char block[65536];
    size_t n;
    while ((n = std::fread(block, 1, sizeof block, fp)) > 0) content->append(block, n);
    std::fclose(fp);
    return true;
}

bool WriteFile(const std::string &path, const std::string &content, mode_t mode = 0644) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
    if (fd < 0) return false;
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    return close(fd) == 0 && done == content.size();
}

bool Exists(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

// Makes every directory of path (absolute) below an existing prefix.
bool MakeDirs(const std::string &path) {
    for (size_t pos = path.find('/', 1);; pos = path.find('/', pos + 1)) {
        const std::string part = path.substr(0, pos);
        if (mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
        if (pos == std::string::npos) return true;
    }
}

// readdir64: on the 32-bit target the plain readdir fails with EOVERFLOW on
// file systems whose directory offsets need 64 bits.
std::vector<std::string> ListDir(const std::string &dir) {
    std::vector<std::string> names;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr) return names;
    while (const dirent64 *e = readdir64(d)) {
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0) {
            names.push_back(e->d_name);
        }
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

std::string Join(const std::vector<std::string> &items) {
    std::string text;
    for (const std::string &item : items) text += (text.empty() ? "" : " ") + item;
    return text;
}

// prefix followed by n, as the probe names its numbered results.
std::string Key(const char *prefix, long n) {
    std::string key(prefix);
    key += std::to_string(n);
    return key;
}

// ---- Output formats ------------------------------------------------------------

bool IsTimeText(const std::string &text) {
    if (text.size() != kTimeTextLength) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        bool ok;
        switch (i) {
        case 4:
        case 7: ok = c == '-'; break;
        case 10: ok = c == ' '; break;
        case 13:
        case 16: ok = c == ':'; break;
        case 19: ok = c == '.'; break;
        default: ok = c >= '0' && c <= '9';
        }
        if (!ok) return false;
    }
    return true;
}

struct FileLine {
    std::string time;
    std::string tag;  // dbg, inf, war, err
    std::string message;
};

// Splits a log file into its lines, each "[<time>(<tag>)]<message>\r\n";
// anything else, including an unterminated last line, is a failure.
testing::AssertionResult ParseLogFile(const std::string &content, std::vector<FileLine> *lines) {
    lines->clear();
    size_t pos = 0;
    while (pos < content.size()) {
        const size_t end = content.find("\r\n", pos);
        if (end == std::string::npos) {
            return testing::AssertionFailure() << "unterminated line at byte " << pos;
        }
        const std::string line = content.substr(pos, end - pos);
        const size_t head = 1 + kTimeTextLength + 6;  // "[" time "(tag)]"
        if (line.size() < head || line[0] != '[' || line[1 + kTimeTextLength] != '(' ||
            line[head - 2] != ')' || line[head - 1] != ']' ||
            !IsTimeText(line.substr(1, kTimeTextLength))) {
            return testing::AssertionFailure() << "malformed line at byte " << pos << ": " << line;
        }
        const std::string tag = line.substr(2 + kTimeTextLength, 3);
        if (tag != "dbg" && tag != "inf" && tag != "war" && tag != "err") {
            return testing::AssertionFailure() << "unknown tag in: " << line;
        }
        lines->push_back({line.substr(1, kTimeTextLength), tag, line.substr(head)});
        pos = end + 2;
    }
    return testing::AssertionSuccess();
}

struct ConsoleLine {
    std::string colour;
    std::string time;
    std::string message;
};

// ESC "[" colour "[" time "]" message ESC "[0m" CR LF, line by line.
testing::AssertionResult ParseConsole(const std::string &console, std::vector<ConsoleLine> *lines) {
    lines->clear();
    const std::string reset = std::string(1, kEsc) + "[0m\r\n";
    size_t pos = 0;
    while (pos < console.size()) {
        const size_t end = console.find('\n', pos);
        if (end == std::string::npos) {
            return testing::AssertionFailure() << "unterminated console line";
        }
        const std::string line = console.substr(pos, end + 1 - pos);
        pos = end + 1;
        const size_t colour_end = line.find('m');
        if (line.size() < 2 || line[0] != kEsc || line[1] != '[' ||
            colour_end == std::string::npos ||
            line.size() < colour_end + 3 + kTimeTextLength + reset.size() ||
            line[colour_end + 1] != '[' || line[colour_end + 2 + kTimeTextLength] != ']' ||
            line.compare(line.size() - reset.size(), reset.size(), reset) != 0) {
            return testing::AssertionFailure() << "malformed console line: " << line;
        }
        const std::string time = line.substr(colour_end + 2, kTimeTextLength);
        if (!IsTimeText(time)) return testing::AssertionFailure() << "bad time in: " << line;
        const size_t message_at = colour_end + 3 + kTimeTextLength;
        lines->push_back({line.substr(2, colour_end - 1), time,
                          line.substr(message_at, line.size() - reset.size() - message_at)});
    }
    return testing::AssertionSuccess();
}

// One ring entry as the probe prints it.
struct Entry {
    int level = 0;
    int ext = 0;
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
    std::string message;

    std::string TimeText() const {
        char text[64];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", year, month, day,
                      hour, minute, second, millisecond);
        return text;
    }
};

bool ParseEntry(const std::string &value, Entry *e) {
    int used = -1;
    if (std::sscanf(value.c_str(), "%d,%d,%d,%d,%d,%d,%d,%d,%d,%n", &e->level, &e->ext, &e->year,
                    &e->month, &e->day, &e->hour, &e->minute, &e->second, &e->millisecond,
                    &used) != 9 ||
        used < 0) {
        return false;
    }
    e->message = value.substr(static_cast<size_t>(used));
    return true;
}

// ---- The tree and the probe ----------------------------------------------------

struct ProbeRun {
    int exit_code = -1;  // -1 when it did not exit normally
    std::string console;
    std::map<std::string, std::string> results;

    std::string operator[](const std::string &key) const {
        auto it = results.find(key);
        return it != results.end() ? it->second : "<missing " + key + ">";
    }

    // The ring as printed by the probe ("@entries" and "@e<i>").
    std::vector<Entry> Ring() const {
        std::vector<Entry> entries;
        const int count = std::atoi((*this)["entries"].c_str());
        for (int i = 0; i < count; ++i) {
            Entry e;
            if (ParseEntry((*this)[Key("e", i)], &e)) entries.push_back(e);
        }
        return entries;
    }
};

std::vector<std::string> EmulatorCommand() {
    std::vector<std::string> words;
    std::string text = ORV_TEST_EMULATOR;
    size_t pos = 0;
    while (pos <= text.size() && !text.empty()) {
        const size_t end = std::min(text.find(';', pos), text.size());
        if (end > pos) words.push_back(text.substr(pos, end - pos));
        pos = end + 1;
    }
    return words;
}

// A scratch installation tree with the probe in it, removed afterwards.
class Tree {
  public:
    Tree() {
        const char *base = std::getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/orvtree-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) return;
        char resolved[PATH_MAX];
        if (realpath(pattern.c_str(), resolved) == nullptr) return;
        root_ = resolved;
        probe_ = Path(kProbeRel);
        std::string binary;
        if (!MakeDirs(probe_.substr(0, probe_.rfind('/'))) || !MakeDirs(Path("ini")) ||
            !ReadFile(ORV_TREE_PROBE, &binary) || !WriteFile(probe_, binary, 0755)) {
            probe_.clear();
        }
    }
    ~Tree() {
        if (root_.empty()) return;
        nftw(
            root_.c_str(),
            [](const char *p, const struct stat *, int, struct FTW *) { return ::remove(p); }, 16,
            FTW_DEPTH | FTW_PHYS);
    }
    Tree(const Tree &) = delete;
    Tree &operator=(const Tree &) = delete;

    bool ok() const { return !root_.empty() && !probe_.empty(); }
    const std::string &root() const { return root_; }
    const std::string &probe() const { return probe_; }
    std::string Path(const std::string &rel) const { return root_ + "/" + rel; }
    std::string LogPath(const std::string &file) const { return Path("run/log/" + file); }

    // Moves the probe to rel below the root, for a deeper or odd location.
    bool MoveProbe(const std::string &rel) {
        const std::string to = Path(rel);
        if (!MakeDirs(to.substr(0, to.rfind('/'))) || rename(probe_.c_str(), to.c_str()) != 0) {
            return false;
        }
        probe_ = to;
        return true;
    }

    bool WriteIni(const std::string &text) const { return WriteFile(Path("ini/orv.ini"), text); }
    bool MakeLogDir() const { return MakeDirs(Path("run/log")); }

    // Runs the probe with args and collects what it printed.
    ProbeRun Run(const std::vector<std::string> &args) const {
        ProbeRun run;
        std::vector<std::string> words = EmulatorCommand();
        words.push_back(probe_);
        words.insert(words.end(), args.begin(), args.end());
        std::vector<char *> argv;
        for (std::string &w : words) argv.push_back(w.data());
        argv.push_back(nullptr);

        int fds[2];
        if (pipe(fds) != 0) return run;
        std::fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            dup2(fds[1], STDOUT_FILENO);
            close(fds[0]);
            close(fds[1]);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(fds[1]);
        std::string out;
        char block[65536];
        ssize_t n;
        while ((n = read(fds[0], block, sizeof block)) != 0) {
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) break;
            out.append(block, static_cast<size_t>(n));
        }
        close(fds[0]);
        int status = 0;
        if (pid < 0 || waitpid(pid, &status, 0) != pid) return run;
        run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;

        size_t pos = 0;
        while (pos < out.size()) {
            size_t end = out.find('\n', pos);
            end = end == std::string::npos ? out.size() : end + 1;
            const std::string piece = out.substr(pos, end - pos);
            pos = end;
            if (piece[0] != '@') {
                run.console += piece;
                continue;
            }
            const size_t eq = piece.find('=');
            const std::string value = piece.substr(eq + 1);
            run.results[piece.substr(1, eq - 1)] =
                !value.empty() && value.back() == '\n' ? value.substr(0, value.size() - 1) : value;
        }
        return run;
    }

    // The lines of one log file; a missing or malformed file fails.
    testing::AssertionResult LogLines(const std::string &file, std::vector<FileLine> *lines) const {
        std::string content;
        if (!ReadFile(LogPath(file), &content)) {
            return testing::AssertionFailure() << file << " is missing";
        }
        return ParseLogFile(content, lines);
    }

  private:
    std::string root_;
    std::string probe_;
};

std::string Messages(const std::vector<FileLine> &lines) {
    std::vector<std::string> items;
    for (const FileLine &line : lines) items.push_back(line.tag + ":" + line.message);
    return Join(items);
}

// ---- The installation root -----------------------------------------------------

TEST(PathRoot, DerivedFromExecutable) {
    Tree tree;
    ASSERT_TRUE(tree.ok());
    const ProbeRun run = tree.Run({"root"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["root"], tree.root());
    EXPECT_EQ(run["dll"], tree.root() + "/dll");
    EXPECT_EQ(run["root_is_field"], "1");
    EXPECT_EQ(run["dll_is_field"], "1");
    EXPECT_EQ(run["fullpath"], tree.probe());
    EXPECT_EQ(run["path"], tree.root() + "/bin");
    EXPECT_EQ(run["filename"], "probe");
    EXPECT_EQ(run["extname"], ".bin");
}

TEST(PathRoot, PresetPluginDirectoryKept) {
    Tree tree;
    ASSERT_TRUE(tree.ok());
    const ProbeRun run = tree.Run({"dll_preset", "/opt/plugins"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["dll"], "/opt/plugins");
    EXPECT_EQ(run["root"], tree.root());
}

// The root derivation also stops at a backslash: from "<tree>/top\bin" it
// removes "bin" alone.
TEST(PathRoot, BackslashEndsLastElement) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MoveProbe("top\\bin/probe.bin"));
    const ProbeRun run = tree.Run({"root"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["path"], tree.Path("top\\bin"));
    EXPECT_EQ(run["root"], tree.Path("top"));
    EXPECT_EQ(run["dll"], tree.Path("top/dll"));
}

// The root field holds at most 255 characters: an executable path of 255
// gives a root, one of 256 leaves it empty (plug-ins then at "/dll").
TEST(PathRoot, ExecutablePathAtFieldLimit) {
    struct Row {
        size_t path_length;
        bool fits;
    };
    const Row rows[] = {{255, true}, {256, false}};
    const std::string tail = std::string("/") + kProbeRel;
    for (const Row &row : rows) {
        SCOPED_TRACE("executable path of " + std::to_string(row.path_length) + " bytes");
        Tree tree;
        ASSERT_TRUE(tree.ok());
        // The probe one directory deeper than usual, in one of the right length.
        const size_t prefix = tree.root().size() + 1 + tail.size();
        ASSERT_LT(prefix, row.path_length) << "TMPDIR is too long for this test";
        const std::string pad(row.path_length - prefix, 'p');
        ASSERT_LE(pad.size(), 255u);
        ASSERT_TRUE(tree.MoveProbe(pad + tail));
        ASSERT_EQ(tree.probe().size(), row.path_length);

        const ProbeRun run = tree.Run({"root"});
        ASSERT_EQ(run.exit_code, 0);
        EXPECT_EQ(run["fullpath"], tree.probe());
        if (row.fits) {
            EXPECT_EQ(run["root"], tree.Path(pad));
            EXPECT_EQ(run["dll"], tree.Path(pad) + "/dll");
            EXPECT_EQ(run["filename"], "probe");
        } else {
            EXPECT_EQ(run["root"], "");
            EXPECT_EQ(run["dll"], "/dll");
            EXPECT_EQ(run["filename"], "(null)");
            EXPECT_EQ(run["extname"], "(null)");
        }
    }
}

// ---- Console and file lines ----------------------------------------------------

const char *ColourOf(int level) {
    switch (level) {
    case 0: return "36;40;1m";
    case 2: return "33;40;1m";
    case 3: return "31;40;1m";
    default: return "37;40;1m";
    }
}

const char *TagOf(int level) {
    switch (level) {
    case 0: return "dbg";
    case 2: return "war";
    case 3: return "err";
    default: return "inf";
    }
}

// The entry's time lies within the probe's run (a second of slack each side
// for the whole-second clock read).
testing::AssertionResult TimeWithin(const Entry &e, time_t from, time_t to) {
    std::tm tm{};
    tm.tm_year = e.year - 1900;
    tm.tm_mon = e.month - 1;
    tm.tm_mday = e.day;
    tm.tm_hour = e.hour;
    tm.tm_min = e.minute;
    tm.tm_sec = e.second;
    tm.tm_isdst = -1;
    const time_t t = std::mktime(&tm);
    if (e.millisecond < 0 || e.millisecond > 999 || t < from - 1 || t > to + 1) {
        return testing::AssertionFailure() << "time " << e.TimeText() << " outside the run";
    }
    return testing::AssertionSuccess();
}

TEST(LogConsole, ExactBytesPerLevel) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysDebug=1\nSaveSysInfo=1\n"));
    const time_t before = std::time(nullptr);
    const ProbeRun run = tree.Run({"console"});
    const time_t after = std::time(nullptr);
    ASSERT_EQ(run.exit_code, 0);

    struct Row {
        int level;
        const char *message;
    };
    // Levels 7 and -1 come in through the write path.
    const Row rows[] = {{0, "m0"}, {1, "m1"}, {2, "m2"}, {3, "m3"}, {7, "m7"}, {-1, "m-1"}};
    const std::vector<Entry> ring = run.Ring();
    ASSERT_EQ(ring.size(), std::size(rows));
    std::string expected;
    for (size_t i = 0; i < ring.size(); ++i) {
        SCOPED_TRACE("level " + std::to_string(rows[i].level));
        EXPECT_EQ(ring[i].level, rows[i].level);
        EXPECT_EQ(ring[i].ext, -1);
        EXPECT_EQ(ring[i].message, rows[i].message);
        EXPECT_TRUE(TimeWithin(ring[i], before, after));
        expected += std::string("\033[") + ColourOf(rows[i].level) + "[" + ring[i].TimeText() +
                    "]" + rows[i].message + "\033[0m\r\n";
    }
    EXPECT_EQ(run.console, expected);
}

TEST(LogFile, LineFormatPerLevel) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysDebug=1\nSaveSysInfo=1\n"));
    const ProbeRun run = tree.Run({"console"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["write"], "1");
    const std::vector<Entry> ring = run.Ring();
    ASSERT_EQ(ring.size(), 6u);

    // Every entry but the last (level -1, written with save off) is saved.
    std::string expected;
    for (size_t i = 0; i + 1 < ring.size(); ++i) {
        expected.append("[").append(ring[i].TimeText()).append("(").append(TagOf(ring[i].level));
        expected.append(")]").append(ring[i].message).append("\r\n");
    }
    std::string content;
    ASSERT_TRUE(ReadFile(tree.LogPath("probe_1.txt"), &content));
    EXPECT_EQ(content, expected);
    EXPECT_EQ(Join(ListDir(tree.Path("run/log"))), "probe_1.txt");
}

TEST(LogConsole, NothingBeforeInit) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    const ProbeRun run = tree.Run({"before_init"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["write_before"], "0");
    EXPECT_EQ(run["ctrl_before"], "null");
    EXPECT_EQ(run["lang_before"], "0");
    EXPECT_EQ(run["has_before"], "0");
    EXPECT_EQ(run["count_before"], "0");
    EXPECT_EQ(run["get_before"], "null");
    EXPECT_EQ(run["sync_before"], "77");
    // Nothing was kept for later either: the ring starts empty.
    EXPECT_EQ(run["count_after_init"], "0");

    std::vector<ConsoleLine> lines;
    ASSERT_TRUE(ParseConsole(run.console, &lines));
    ASSERT_EQ(lines.size(), 1u) << run.console;
    EXPECT_EQ(lines[0].message, "after");
    ASSERT_EQ(run.Ring().size(), 1u);

    std::vector<FileLine> file;
    ASSERT_TRUE(tree.LogLines("probe_1.txt", &file));
    EXPECT_EQ(Messages(file), "err:after");
    EXPECT_EQ(Join(ListDir(tree.Path("run/log"))), "probe_1.txt");
}

// ---- Start, settings and restart ------------------------------------------------

TEST(LogInit, SecondInitKeepsFirstName) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    const ProbeRun run = tree.Run({"reinit"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["init_null_first"], "0");
    EXPECT_EQ(run["ctrl_after_null"], "null");
    EXPECT_EQ(run["init_second"], "1");
    EXPECT_EQ(run["init_null_running"], "1");
    EXPECT_EQ(run["same_ctrl"], "1");
    EXPECT_EQ(run["name"], "first");
    std::vector<FileLine> file;
    ASSERT_TRUE(tree.LogLines("first_1.txt", &file));
    EXPECT_EQ(Messages(file), "err:kept");
    EXPECT_EQ(Join(ListDir(tree.Path("run/log"))), "first_1.txt");
}

TEST(LogInit, SettingsReadOncePerInit) {
    Tree tree;
    ASSERT_TRUE(tree.ok());
    const ProbeRun run = tree.Run({"reread"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["lang1"], "0");
    EXPECT_EQ(run["lang2"], "0") << "a running log read the changed file";
    EXPECT_EQ(run["ctrl_after_uninit"], "null");
    EXPECT_EQ(run["lang_after_uninit"], "0");
    EXPECT_EQ(run["lang3"], "1") << "a new init did not read the file again";
    EXPECT_EQ(run["write_index"], "0");
    EXPECT_EQ(run["count0"], "0");
    EXPECT_EQ(run.console.find("dropped"), std::string::npos);
}

TEST(LogSettings, ValuesAndDefaults) {
    struct Row {
        const char *ini;  // null: no settings file
        const char *expected;  // lang,error,warn,debug,info,count,size
    };
    const Row rows[] = {
        {nullptr, "0,1,1,0,0,2,2097152"},
        {"[LOG]\n", "0,1,1,0,0,2,2097152"},
        {"[OTHER]\nLang=1\nSaveSysInfo=1\nMaxFileCount=9\n[LOG]\n", "0,1,1,0,0,2,2097152"},
        {"[LOG]\nLang=2\nSaveSysError=N\nSaveSysWarn=0\nSaveSysDebug=Y\nSaveSysInfo=1\n"
         "MaxFileCount=7\nMaxFileSize=0x10\n",
         "1,0,0,1,1,7,16777216"},
        {"[LOG]\nLang=-3\n", "1,1,1,0,0,2,2097152"},
        {"[LOG]\nLang=0\nSaveSysError=F\nSaveSysWarn=false\n", "0,0,0,0,0,2,2097152"},
        {"[LOG]\nMaxFileCount=0\nMaxFileSize=0\n", "0,1,1,0,0,0,0"},
        {"[LOG]\nMaxFileCount=-4\nMaxFileSize=1\n", "0,1,1,0,0,-4,1048576"},
        {"[LOG]\nMaxFileSize=2047\n", "0,1,1,0,0,2,2146435072"},
        {"[LOG]\nMaxFileSize=2048\n", "0,1,1,0,0,2,2097152"},
        {"[LOG]\nMaxFileSize=-1\n", "0,1,1,0,0,2,2097152"},
        {"[LOG]\nMaxFileSize=\n", "0,1,1,0,0,2,2097152"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string("settings: ") + (row.ini != nullptr ? row.ini : "(no file)"));
        Tree tree;
        ASSERT_TRUE(tree.ok());
        if (row.ini != nullptr) {
            ASSERT_TRUE(tree.WriteIni(row.ini));
        }
        const ProbeRun run = tree.Run({"settings"});
        ASSERT_EQ(run.exit_code, 0);
        EXPECT_EQ(run["settings"], row.expected);
        EXPECT_EQ(run["lang"], std::string(1, row.expected[0]));
        EXPECT_EQ(run["capacity"], "256");
        EXPECT_EQ(run["file_index"], "1");
    }
}

// ---- The ring ------------------------------------------------------------------

TEST(LogRing, CountFromCursor) {
    struct Row {
        int cursor;
        int count;
    };
    // With write_index 5.
    const Row rows[] = {{250, 11}, {5, 0}, {3, 2}, {6, 255}, {256, 0}, {-1, 0},
                        {0, 5},    {4, 1}, {255, 6}, {INT32_MIN, 0}, {INT32_MAX, 0}};
    std::vector<std::string> args = {"count", "5"};
    for (const Row &row : rows) args.push_back(std::to_string(row.cursor));
    Tree tree;
    ASSERT_TRUE(tree.ok());
    const ProbeRun run = tree.Run(args);
    ASSERT_EQ(run.exit_code, 0);
    ASSERT_EQ(run["write_index"], "5");
    for (const Row &row : rows) {
        const std::string c = std::to_string(row.cursor);
        EXPECT_EQ(run["count" + c], std::to_string(row.count)) << "cursor " << c;
        EXPECT_EQ(run["has" + c], row.count > 0 ? "1" : "0") << "cursor " << c;
    }
}

TEST(LogRing, WrapsAfterCapacity) {
    Tree tree;
    ASSERT_TRUE(tree.ok());
    const ProbeRun run = tree.Run({"wrap"});
    ASSERT_EQ(run.exit_code, 0);
    // 256 entries from a fresh start: the ring is full and looks empty from 0.
    EXPECT_EQ(run["write_index"], "0");
    EXPECT_EQ(run["has0"], "0");
    EXPECT_EQ(run["count0"], "0");
    EXPECT_EQ(run["get0"], "null");
    EXPECT_EQ(run["cursor_after_get0"], "0");
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(run[Key("slot", i)], Key("w", i)) << "slot " << i;
    }
    // One more lands in slot 0; a reader at 255 reads 255, then 0, then stops.
    EXPECT_EQ(run["count255"], "2");
    EXPECT_EQ(run["step0"], "w255,0");
    EXPECT_EQ(run["step1"], "w256,1");
    EXPECT_EQ(run["step2"], "(null),1");
    EXPECT_EQ(run["synced"], "1");
}

TEST(LogMessage, CutAt127AndNullFormat) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysInfo=1\n"));
    const ProbeRun run = tree.Run({"messages"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["get_null"], "null");

    const std::vector<std::string> expected = {
        std::string(127, 'a'), std::string(127, 'b'), "", "42-x", "100% %d %s"};
    const std::vector<Entry> ring = run.Ring();
    std::vector<ConsoleLine> console;
    ASSERT_TRUE(ParseConsole(run.console, &console));
    std::vector<FileLine> file;
    ASSERT_TRUE(tree.LogLines("probe_1.txt", &file));
    ASSERT_EQ(ring.size(), expected.size());
    ASSERT_EQ(console.size(), expected.size());
    ASSERT_EQ(file.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE("message " + std::to_string(i));
        EXPECT_EQ(ring[i].message, expected[i]);
        EXPECT_EQ(console[i].message, expected[i]);
        EXPECT_EQ(console[i].time, ring[i].TimeText());
        EXPECT_EQ(file[i].message, expected[i]);
        EXPECT_EQ(file[i].time, ring[i].TimeText());
    }
}

// ---- Numbered files and rotation ----------------------------------------------

// Each probe line is "[<23-char time>(inf)]rNN\r\n": 35 bytes.
TEST(LogFile, RotationTable) {
    struct Row {
        int max_count;
        int limit;
        int entries;
        std::vector<std::string> files;  // messages of file 1, 2, ...
        int file_index;
    };
    const Row rows[] = {
        // File 1 to 100 bytes or more, then file 2, then file 1 emptied.
        {2, 100, 6, {"r00 r01 r02", "r03 r04 r05"}, 2},
        {2, 100, 8, {"r06 r07", "r03 r04 r05"}, 1},
        {2, 100, 10, {"r06 r07 r08", "r09"}, 2},
        // A limit of 0 moves every entry on and empties what it lands in.
        {3, 0, 5, {"r02", "r03", "r04"}, 3},
        // With 0 or 1 files the number stays 1 and the full file is emptied.
        {0, 100, 6, {"r03 r04 r05"}, 1},
        {0, 100, 7, {"r06"}, 1},
        {1, 100, 7, {"r06"}, 1},
        // The limit is checked before writing, so a file may pass it by a
        // line; a file exactly at the limit is full.
        {2, 36, 3, {"r00 r01", "r02"}, 2},
        {2, 35, 3, {"r02", "r01"}, 1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("MaxFileCount " + std::to_string(row.max_count) + ", limit " +
                     std::to_string(row.limit) + ", " + std::to_string(row.entries) + " entries");
        Tree tree;
        ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
        ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysInfo=1\nMaxFileCount=" +
                                  std::to_string(row.max_count) + "\n"));
        const ProbeRun run = tree.Run(
            {"rotate", std::to_string(row.limit), std::to_string(row.entries)});
        ASSERT_EQ(run.exit_code, 0);
        EXPECT_EQ(run["file_index"], std::to_string(row.file_index));

        std::vector<std::string> names;
        for (size_t i = 0; i < row.files.size(); ++i) {
            const std::string name = "probe_" + std::to_string(i + 1) + ".txt";
            names.push_back(name);
            std::vector<FileLine> lines;
            ASSERT_TRUE(tree.LogLines(name, &lines));
            std::vector<std::string> messages;
            for (const FileLine &line : lines) messages.push_back(line.message);
            EXPECT_EQ(Join(messages), row.files[i]) << name;
        }
        std::sort(names.begin(), names.end());
        EXPECT_EQ(Join(ListDir(tree.Path("run/log"))), Join(names));
    }
}

TEST(LogFile, RestartAppendsToSecondFileBelowLimit) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysInfo=1\n"));
    const std::string full(120, '1');
    const std::string below = "old line\r\n";
    ASSERT_TRUE(WriteFile(tree.LogPath("probe_1.txt"), full));
    ASSERT_TRUE(WriteFile(tree.LogPath("probe_2.txt"), below));

    const ProbeRun run = tree.Run({"rotate", "100", "1"});
    ASSERT_EQ(run.exit_code, 0);
    EXPECT_EQ(run["file_index"], "2");
    std::string first;
    std::string second;
    ASSERT_TRUE(ReadFile(tree.LogPath("probe_1.txt"), &first));
    ASSERT_TRUE(ReadFile(tree.LogPath("probe_2.txt"), &second));
    EXPECT_EQ(first, full);
    ASSERT_EQ(second.compare(0, below.size(), below), 0) << second;
    std::vector<FileLine> added;
    ASSERT_TRUE(ParseLogFile(second.substr(below.size()), &added));
    EXPECT_EQ(Messages(added), "inf:r00");
}

// ---- The ext files -------------------------------------------------------------

TEST(LogFile, ExtFileChoice) {
    constexpr int kLimit = 100;
    const std::string full(kLimit, 'F');  // at the limit counts as full
    const std::string below(kLimit - 1, 'b');
    const time_t base = 1700000000;
    struct Side {
        const std::string *content;  // null: no file
        time_t seconds;
        long nanoseconds;
        bool gets_line;   // the new line is at its end
        bool emptied;     // and nothing else is left
    };
    struct Row {
        const char *what;
        Side first;
        Side second;
    };
    const Row rows[] = {
        {"no files", {nullptr, 0, 0, true, true}, {nullptr, 0, 0, false, false}},
        {"first below", {&below, 0, 0, true, false}, {nullptr, 0, 0, false, false}},
        {"first full", {&full, 0, 0, false, false}, {nullptr, 0, 0, true, true}},
        {"first full, second below", {&full, 0, 0, false, false}, {&below, 0, 0, true, false}},
        {"both full, first later",
         {&full, base + 10, 0, false, false},
         {&full, base, 0, true, true}},
        {"both full, second later",
         {&full, base, 0, true, true},
         {&full, base + 10, 0, false, false}},
        {"both full, same time", {&full, base, 0, true, true}, {&full, base, 0, false, false}},
        {"both full, same second, first later within it",
         {&full, base, 900000000, true, true},
         {&full, base, 100000000, false, false}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        Tree tree;
        ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
        const Side *sides[] = {&row.first, &row.second};
        const std::string names[] = {"probe_ext_1.txt", "probe_ext_2.txt"};
        for (int i = 0; i < 2; ++i) {
            if (sides[i]->content == nullptr) continue;
            ASSERT_TRUE(WriteFile(tree.LogPath(names[i]), *sides[i]->content));
            if (sides[i]->seconds != 0) {
                const timespec times[2] = {{sides[i]->seconds, sides[i]->nanoseconds},
                                           {sides[i]->seconds, sides[i]->nanoseconds}};
                ASSERT_EQ(utimensat(AT_FDCWD, tree.LogPath(names[i]).c_str(), times, 0), 0);
            }
        }
        const ProbeRun run = tree.Run({"ext", std::to_string(kLimit), "new"});
        ASSERT_EQ(run.exit_code, 0);
        EXPECT_EQ(run["file_index"], "1");
        for (int i = 0; i < 2; ++i) {
            SCOPED_TRACE(names[i]);
            const Side &side = *sides[i];
            std::string content;
            const bool exists = ReadFile(tree.LogPath(names[i]), &content);
            if (side.content == nullptr && !side.gets_line) {
                EXPECT_FALSE(exists);
                continue;
            }
            ASSERT_TRUE(exists);
            const std::string kept = side.emptied || side.content == nullptr ? "" : *side.content;
            if (!side.gets_line) {
                EXPECT_EQ(content, kept);
                continue;
            }
            ASSERT_EQ(content.compare(0, kept.size(), kept), 0) << content;
            std::vector<FileLine> added;
            ASSERT_TRUE(ParseLogFile(content.substr(kept.size()), &added));
            EXPECT_EQ(Messages(added), "war:new");
        }
        EXPECT_FALSE(Exists(tree.LogPath("probe_1.txt")));
    }
}

TEST(LogFile, RoutingByExtAndFlag) {
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysWarn=0\n"));
    const ProbeRun run = tree.Run({"routing"});
    ASSERT_EQ(run.exit_code, 0);

    struct Row {
        int level;
        int ext;
        const char *message;
    };
    const Row rows[] = {{2, 1, "w-ext1"},  {2, 0, "w-ext0"},  {2, -5, "w-ext-5"},
                        {2, -1, "w-plain"}, {1, 2, "i-ext2"},  {0, 1, "d-ext1"},
                        {3, 0, "e-ext0"},  {3, 3, "e-ext3"},  {1, -1, "i-plain"},
                        {0, -1, "d-plain"}};
    // Ring and console hold every entry, whatever the file.
    const std::vector<Entry> ring = run.Ring();
    std::vector<ConsoleLine> console;
    ASSERT_TRUE(ParseConsole(run.console, &console));
    ASSERT_EQ(ring.size(), std::size(rows));
    ASSERT_EQ(console.size(), std::size(rows));
    for (size_t i = 0; i < ring.size(); ++i) {
        SCOPED_TRACE(rows[i].message);
        EXPECT_EQ(ring[i].level, rows[i].level);
        EXPECT_EQ(ring[i].ext, rows[i].ext);
        EXPECT_EQ(ring[i].message, rows[i].message);
        EXPECT_EQ(console[i].message, rows[i].message);
        EXPECT_EQ(console[i].colour, ColourOf(rows[i].level));
    }

    std::vector<FileLine> ext;
    ASSERT_TRUE(tree.LogLines("probe_ext_1.txt", &ext));
    EXPECT_EQ(Messages(ext), "war:w-ext1 inf:i-ext2 dbg:d-ext1 err:e-ext3");
    std::vector<FileLine> numbered;
    ASSERT_TRUE(tree.LogLines("probe_1.txt", &numbered));
    EXPECT_EQ(Messages(numbered), "err:e-ext0");
    EXPECT_EQ(Join(ListDir(tree.Path("run/log"))), "probe_1.txt probe_ext_1.txt");
}

TEST(LogFile, MissingDirectoryMakesNothing) {
    Tree tree;
    ASSERT_TRUE(tree.ok());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysDebug=1\nSaveSysInfo=1\n"));
    const ProbeRun run = tree.Run({"no_log_dir"});
    ASSERT_EQ(run.exit_code, 0);
    std::vector<ConsoleLine> console;
    ASSERT_TRUE(ParseConsole(run.console, &console));
    std::vector<std::string> messages;
    for (const ConsoleLine &line : console) messages.push_back(line.message);
    EXPECT_EQ(Join(messages), "d i w e x");
    EXPECT_EQ(run.Ring().size(), 5u);
    EXPECT_EQ(Join(ListDir(tree.root())), "bin ini");
}

// ---- Many threads --------------------------------------------------------------

// Eight threads log at once with a small rotation limit and enough file
// numbers that nothing is ever emptied: every line must be whole, and every
// entry must be in the files exactly once, each thread's in its own order.
TEST(LogStress, ConcurrentLinesWholeAndComplete) {
    constexpr int kThreads = 8;
    constexpr int kLimit = 65536;
    const long per_thread = std::max(500L, static_cast<long>(20000 / orv_test::time_scale()));
    Tree tree;
    ASSERT_TRUE(tree.ok() && tree.MakeLogDir());
    ASSERT_TRUE(tree.WriteIni("[LOG]\nSaveSysInfo=1\nMaxFileCount=1000\n"));
    const ProbeRun run = tree.Run({"stress", std::to_string(kThreads), std::to_string(per_thread),
                                   std::to_string(kLimit)});
    ASSERT_EQ(run.exit_code, 0);
    ASSERT_EQ(run["started"], std::to_string(kThreads));
    const long total = kThreads * per_thread;
    EXPECT_EQ(run["write_index"], std::to_string(total % 256));

    const std::vector<std::string> names = ListDir(tree.Path("run/log"));
    const int files = static_cast<int>(names.size());
    ASSERT_GT(files, 1) << "the limit never rotated";
    ASSERT_LT(files, 1000) << "file numbers wrapped: lines may have been emptied";
    EXPECT_EQ(run["file_index"], std::to_string(files));

    std::vector<long> next(kThreads, 0);
    long lines_total = 0;
    for (int n = 1; n <= files; ++n) {
        const std::string name = "probe_" + std::to_string(n) + ".txt";
        SCOPED_TRACE(name);
        std::string content;
        ASSERT_TRUE(ReadFile(tree.LogPath(name), &content)) << "numbers are not contiguous";
        std::vector<FileLine> lines;
        ASSERT_TRUE(ParseLogFile(content, &lines));
        ASSERT_FALSE(lines.empty());
        // Below the limit before its last line; full when the next one began.
        const size_t last = 1 + kTimeTextLength + 6 + lines.back().message.size() + 2;
        EXPECT_LT(content.size() - last, static_cast<size_t>(kLimit));
        if (n < files) {
            EXPECT_GE(content.size(), static_cast<size_t>(kLimit));
        }
        for (const FileLine &line : lines) {
            int thread = -1;
            long seq = -1;
            int used = 0;
            ASSERT_EQ(std::sscanf(line.message.c_str(), "t%d n%ld%n", &thread, &seq, &used), 2)
                << line.message;
            ASSERT_EQ(static_cast<size_t>(used), line.message.size()) << line.message;
            ASSERT_EQ(line.tag, "inf");
            ASSERT_TRUE(thread >= 0 && thread < kThreads) << line.message;
            ASSERT_EQ(seq, next[thread]) << "out of order or lost: " << line.message;
            ++next[thread];
            ++lines_total;
        }
    }
    EXPECT_EQ(lines_total, total);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], per_thread) << "thread " << t;
}

}  // namespace
