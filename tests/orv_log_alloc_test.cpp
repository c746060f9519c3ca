// A log call allocates nothing: the entry is built on the caller's stack and
// copied into the ring.
//
// This executable replaces the allocator entry points with counting
// forwarders to the C library's own, so it is not built under the
// sanitizers, which replace them too. The log is process-wide, so the
// calls run in a forked child, with the build tree as the installation
// root: there is no settings file there, and the file outputs are switched
// off after the start so that only the ring and the console are measured.
//
// Every local clock read calls tzset, and the C library's tzset frees and
// duplicates its copy of the zone name on each call while TZ is unset. That
// allocation is the C library's, not the log's: the child names the zone
// file in TZ (the same zone as with TZ unset) so that only the log's own
// work counts.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orvsys/orv_log.h"

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *ptr, size_t size);
void __libc_free(void *ptr);
void *__libc_memalign(size_t alignment, size_t size);
}

namespace {

std::atomic<bool> g_counting{false};
std::atomic<long> g_allocations{0};
std::atomic<long> g_releases{0};

void CountAllocation() {
    if (g_counting.load(std::memory_order_relaxed)) g_allocations.fetch_add(1);
}

}  // namespace

extern "C" {

void *malloc(size_t size) noexcept {
    CountAllocation();
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) noexcept {
    CountAllocation();
    return __libc_calloc(count, size);
}

void *realloc(void *ptr, size_t size) noexcept {
    CountAllocation();
    return __libc_realloc(ptr, size);
}

void free(void *ptr) noexcept {
    if (ptr != nullptr && g_counting.load(std::memory_order_relaxed)) g_releases.fetch_add(1);
    __libc_free(ptr);
}

void *memalign(size_t alignment, size_t size) noexcept {
    CountAllocation();
    return __libc_memalign(alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size) noexcept {
    CountAllocation();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void **out, size_t alignment, size_t size) noexcept {
    CountAllocation();
    void *p = __libc_memalign(alignment, size);
    if (p == nullptr) return 12;  // ENOMEM
    *out = p;
    return 0;
}

}  // extern "C"

namespace {

struct Counts {
    long allocations;
    long releases;
    int32_t write_index;
    int started;
};

constexpr int kCalls = 200;

void LogEveryEntryPoint(int round) {
    const char *text = "text with %d and %s";
    orv_log_debug("debug %d %s", round, text);
    orv_log_info("info %d %x", round, round);
    orv_log_warn("warn %d %s", round, "a longer message to fill the buffer up to its end, "
                                      "well beyond the 127 characters that fit in one entry");
    orv_log_error("error %d", round);
    orv_log_debug2(0, "debug2 %d", round);
    orv_log_info2(-1, "info2 %d", round);
    orv_log_warn2(0, "warn2 %d", round);
    orv_log_error2(-3, "error2 %d", round);
}

// In the child: start the log, warm up, then count over kCalls rounds.
Counts MeasureInChild() {
    Counts counts{-1, -1, -1, 0};
    setenv("TZ", ":/etc/localtime", 0);
    if (orv_log_init("alloc") != 1) return counts;
    counts.started = 1;
    // Only the ring and the console: no file outputs.
    g_orv_log_ctrl->save_debug = 0;
    g_orv_log_ctrl->save_info = 0;
    g_orv_log_ctrl->save_warn = 0;
    g_orv_log_ctrl->save_error = 0;
    std::fflush(stdout);
    const int null_fd = open("/dev/null", O_WRONLY);
    if (null_fd < 0 || dup2(null_fd, STDOUT_FILENO) < 0) return counts;
    // The first calls may set up the stream buffer and the zone data.
    LogEveryEntryPoint(-1);

    g_counting.store(true);
    for (int round = 0; round < kCalls; ++round) LogEveryEntryPoint(round);
    g_counting.store(false);

    counts.allocations = g_allocations.load();
    counts.releases = g_releases.load();
    counts.write_index = g_orv_log_ctrl->write_index;
    return counts;
}

TEST(LogAlloc, LogCallAllocatesNothing) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::fflush(nullptr);
    const pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        close(fds[0]);
        const Counts counts = MeasureInChild();
        const bool sent = write(fds[1], &counts, sizeof counts) == sizeof counts;
        _exit(sent ? 0 : 1);
    }
    close(fds[1]);
    Counts counts{};
    const ssize_t got = read(fds[0], &counts, sizeof counts);
    close(fds[0]);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    ASSERT_EQ(got, static_cast<ssize_t>(sizeof counts));
    ASSERT_EQ(counts.started, 1);
    // Proof that the calls were made and stored: 8 per round, warm-up included.
    EXPECT_EQ(counts.write_index, (8 * (kCalls + 1)) % ORV_LOG_CAPACITY);
    EXPECT_EQ(counts.allocations, 0);
    EXPECT_EQ(counts.releases, 0);
}

// The counter itself works: otherwise a zero above proves nothing.
TEST(LogAlloc, CounterSeesAllocations) {
    g_allocations.store(0);
    g_counting.store(true);
    // Volatile, so that the compiler cannot drop the unused pair.
    void *volatile p = malloc(32);
    void *volatile q = calloc(4, 8);
    g_counting.store(false);
    const long seen = g_allocations.load();
    free(p);
    free(q);
    EXPECT_EQ(seen, 2);
}

}  // namespace
