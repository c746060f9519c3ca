// A log call allocates nothing: the entry is built on the caller's stack and copied
// into the ring. This executable replaces the allocator with counting forwarders to
// the C library's own, so it is not built under the sanitizers, which replace it too.
#include <atomic>

#include "orvsys/orv_log.h"
#include "support/orv_test.h"

namespace {
std::atomic<bool> g_counting{false};
std::atomic<long> g_calls{0};  // allocations and releases while counting
void *counted(void *p) { return g_calls += g_counting.load(std::memory_order_relaxed), p; }
}  // namespace

extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *ptr, size_t size);
void __libc_free(void *ptr);
void *malloc(size_t size) noexcept { return counted(__libc_malloc(size)); }
void *calloc(size_t count, size_t size) noexcept { return counted(__libc_calloc(count, size)); }
void *realloc(void *ptr, size_t size) noexcept { return counted(__libc_realloc(ptr, size)); }
void free(void *ptr) noexcept { __libc_free(ptr != nullptr ? counted(ptr) : ptr); }
}  // extern "C"

namespace {
TEST(LogAlloc, LogCallAllocatesNothing) {
    orv_test::Tree tree;
    ASSERT_TRUE(tree.ready());
    const auto child = orv_test::run_in_child([&] {
        // With TZ unset, every tzset of a clock read reallocates the zone name.
        setenv("TZ", ":/etc/localtime", 1);
        tree.use();
        ASSERT_EQ(orv_log_init("alloc"), 1);
        g_orv_log_ctrl->save_error = g_orv_log_ctrl->save_warn = 0;  // ring and console only
        std::fflush(stdout);
        const int saved = dup(STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        const std::string long_text(200, 'x');
        for (int round = -1; round < 200; ++round) {  // round -1 sets up stream and zone
            g_counting.store(round >= 0);
            orv_log_debug("debug %d %s", round, "text");
            orv_log_info2(-1, "info2 %d %x", round, round);
            orv_log_warn("warn %d %s", round, long_text.c_str());  // cut at 127
            orv_log_error2(0, "error2 %d", round);
        }
        const long during_log = g_calls.exchange(0);
        void *volatile probe = malloc(32);  // the counter itself works
        free(probe);
        g_counting.store(false);
        std::fflush(stdout);
        dup2(saved, STDOUT_FILENO);
        EXPECT_TRUE(during_log == 0 && g_calls.load() == 2) << during_log << ", " << g_calls;
        EXPECT_EQ(g_orv_log_ctrl->write_index, 4 * 201 % ORV_LOG_CAPACITY) << "calls not stored";
    });
    EXPECT_TRUE(child.ok()) << child;
}

}  // namespace
