// Shared test support: time tolerances, scratch directories, whole-file
// reads and writes, sentinel-filled buffers, and running a body in a forked
// child with its exit status and output collected. Every test file takes
// these from here rather than defining its own.
#pragma once

#include <gtest/gtest.h>

#include <fcntl.h>
#include <ftw.h>
#include <limits.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "internal/path.h"
#include "orvsys/orv_calendar.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace orv_test {

// Tolerances are multiplied by ORV_TEST_TIME_SCALE (default 1), which the
// armhf run under qemu raises, so a slow target passes without loosening
// the native run.
inline double time_scale() {
    const char *text = std::getenv("ORV_TEST_TIME_SCALE");
    return text != nullptr && std::atof(text) >= 1.0 ? std::atof(text) : 1.0;
}

inline long scaled_ms(long ms) { return static_cast<long>(static_cast<double>(ms) * time_scale()); }

inline double now_ms() {
    using ms = std::chrono::duration<double, std::milli>;
    return ms(std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline void sleep_ms(long ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Polls until done() holds or a scaled bound passes; the final answer.
template <class Done>
bool wait_for(Done done, long bound_ms) {
    const double deadline = now_ms() + static_cast<double>(scaled_ms(bound_ms));
    while (!done() && now_ms() < deadline) sleep_ms(1);
    return done();
}

// The whole file, or "<no file>" when it cannot be read.
inline std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "<no file>";
}

inline bool write_file(const std::string &path, const std::string &text) {
    std::ofstream out(path, std::ios::binary);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    return !out.fail();
}

inline bool exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

// The md5sum command's digest of the file at path, upper-case ("" when it cannot run).
inline std::string md5sum(const std::string &path) {
    FILE *pipe = popen(("md5sum '" + path + "'").c_str(), "r");
    char text[33] = {};
    if (pipe != nullptr) std::fread(text, 1, 32, pipe), pclose(pipe);
    for (char &c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

// A fresh directory under TMPDIR (or /tmp), resolved to its real path and
// removed with all it holds at the end of the scope.
class ScratchDir {
  public:
    ScratchDir() {
        const char *base = std::getenv("TMPDIR");
        std::string pattern = std::string(base != nullptr && *base ? base : "/tmp") + "/orv-XXXXXX";
        char resolved[PATH_MAX];
        if (mkdtemp(pattern.data()) != nullptr && realpath(pattern.c_str(), resolved) != nullptr) {
            path_ = resolved;
        }
    }
    ~ScratchDir() {
        auto remove = [](const char *p, const struct stat *, int, FTW *) { return ::remove(p); };
        if (!path_.empty()) nftw(path_.c_str(), remove, 16, FTW_DEPTH | FTW_PHYS);
    }
    ScratchDir(const ScratchDir &) = delete;
    ScratchDir &operator=(const ScratchDir &) = delete;

    bool ok() const { return !path_.empty(); }
    const std::string &path() const { return path_; }
    std::string operator/(const std::string &rel) const { return path_ + "/" + rel; }

    // Makes rel and its parents below the directory.
    bool mkdirs(const std::string &rel) const {
        for (size_t end = rel.find('/');; end = rel.find('/', end + 1)) {
            const std::string at = path_ + "/" + rel.substr(0, end);
            if (mkdir(at.c_str(), 0755) != 0 && errno != EEXIST) return false;
            if (end == std::string::npos) return true;
        }
    }

  private:
    std::string path_;
};

// An installation tree in a scratch directory: "bin" and "ini" exist, and
// use() makes it the root of this process (in a forked child only, since
// the root is fixed once per process).
class Tree : public ScratchDir {
  public:
    Tree() { ok_ = ok() && mkdirs("bin") && mkdirs("ini"); }
    bool ready() const { return ok_; }
    void use() const { orv::internal::orv_rootdir_seam((*this / "bin").c_str()); }
    std::string ini() const { return *this / "ini/orv.ini"; }
    bool write_ini(const std::string &text) const { return write_file(ini(), text); }

  private:
    bool ok_ = false;
};

// A buffer filled with a sentinel byte, to prove a refusal wrote nothing and
// a success wrote nothing past its bound.
template <size_t N, char Fill = '\x5A'>
struct Sentinel {
    char bytes[N];
    Sentinel() { std::memset(bytes, Fill, N); }
    // No byte at or after from was written.
    bool untouched(size_t from = 0) const {
        return std::all_of(bytes + std::min(from, N), bytes + N, [](char c) { return c == Fill; });
    }
    operator char *() { return bytes; }
};

// A record as one text, so a table row's mismatch shows every field.
inline std::string Fields(const orv_datetime_t &d) {
    char text[96];
    std::snprintf(text, sizeof text, "%d-%02d-%02d w%d %02d:%02d:%02d.%03d", d.year, d.month, d.day,
                  d.weekday, d.hour, d.minute, d.second, d.millisecond);
    return text;
}
inline std::string Fields(const orv_date_t &d, const orv_time_t &t) {
    return Fields({d.year, d.month, d.day, d.weekday, t.hour, t.minute, t.second, t.millisecond});
}
inline orv_date_t DateOf(const orv_datetime_t &d) { return {d.year, d.month, d.day, d.weekday}; }
inline orv_time_t TimeOf(const orv_datetime_t &d) {
    return {d.hour, d.minute, d.second, d.millisecond};
}

struct ChildResult {
    int exit_code = -1;  // the child's exit code, or -1 when it died by a signal
    int signal = 0;      // the signal that ended it, or 0
    std::string output;  // what it wrote to stdout and stderr
    bool ok() const { return exit_code == 0; }
};

inline std::ostream &operator<<(std::ostream &os, const ChildResult &r) {
    if (r.signal != 0) return os << "child died by signal " << r.signal << ":\n" << r.output;
    return os << "child exited with " << r.exit_code << ":\n" << r.output;
}

// Runs body in a forked child and collects how it ended and what it wrote.
// The child exits 1 if a GoogleTest check in it failed, 2 if it leaked
// (under ASan), else 0; an alarm of bound_s (scaled) turns a hang into
// SIGALRM. Timer cases pass the signals to block before any thread starts.
template <class Body>
ChildResult run_in_child(Body body, long bound_s = 30, int block_signo = 0) {
    ChildResult result;
    int pipe_fd[2];
    if (pipe(pipe_fd) != 0) return result;
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) return result;
    if (pid == 0) {
        close(pipe_fd[0]);
        dup2(pipe_fd[1], STDOUT_FILENO);
        dup2(pipe_fd[1], STDERR_FILENO);
        close(pipe_fd[1]);
        alarm(static_cast<unsigned>(static_cast<double>(bound_s) * time_scale()));
        if (block_signo > 0) {
            sigset_t set;
            sigemptyset(&set);
            sigaddset(&set, block_signo);
            sigaddset(&set, block_signo + 1);
            pthread_sigmask(SIG_BLOCK, &set, nullptr);
        }
        body();
        int code = ::testing::Test::HasFailure() ? 1 : 0;
#if defined(__SANITIZE_ADDRESS__)
        if (code == 0 && __lsan_do_recoverable_leak_check() != 0) code = 2;
#endif
        std::fflush(nullptr);
        _exit(code);
    }
    close(pipe_fd[1]);
    char block[4096];
    ssize_t n;
    while ((n = read(pipe_fd[0], block, sizeof block)) > 0 || (n < 0 && errno == EINTR)) {
        if (n > 0) result.output.append(block, static_cast<size_t>(n));
    }
    close(pipe_fd[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    } else if (WIFEXITED(status)) {
        result.exit_code = WEXITSTATUS(status);
    }
    return result;
}

// Runs body in a child with TZ set to tz and expects every check there to hold.
template <class Body>
void in_zone(const char *tz, Body body) {
    const auto child = run_in_child([&] { setenv("TZ", tz, 1), tzset(), body(); });
    EXPECT_TRUE(child.ok()) << "TZ=" << tz << ": " << child;
}

}  // namespace orv_test
