// Commands, dynamic loading and shared memory, each case in a forked child: what it prints,
// logs and leaves of SIGCHLD and of the segments.
#include "orvsys/orv_process.h"

#include <dlfcn.h>
#include <sys/shm.h>

#include <csignal>
#include <cstring>

#include "orvsys/orv_log.h"
#include "support/orv_test.h"

namespace {

void Handler(int) {}

TEST(Process, CommandsKeepSigchldAndReport) {
    orv_test::Tree tree;
    const auto child = orv_test::run_in_child([&] {
        ASSERT_EQ((tree.use(), orv_log_init("t")), 1);
        signal(SIGCHLD, Handler);
        int32_t cursor = 0;
        EXPECT_TRUE(orv_system(nullptr) == 0 && orv_log_count(cursor) == 0);  // nothing ran
        EXPECT_EQ(orv_system("exit 3"), 3 << 8);  // a wait status, not decoded
        EXPECT_EQ(signal(SIGCHLD, SIG_DFL), &Handler);
        EXPECT_STREQ(orv_log_get(&cursor)->message, "exec cmd:exit 3");
        EXPECT_EQ(orv_system("true"), 0);
    });
    EXPECT_TRUE(child.ok()) << child;
    // Two log lines, and the message's own line feed behind the printer's.
    EXPECT_EQ(std::count(child.output.begin(), child.output.end(), '\n'), 2 + 2) << child.output;
    EXPECT_NE(child.output.find("] execute command 'exit 3'error: "), std::string::npos) << child;
}

TEST(Process, LoadingReportsOnlyAFailedOpen) {
    const auto child = orv_test::run_in_child([] {
        EXPECT_EQ(orv_dlopen("/nonexistent/libnothing.so", RTLD_NOW), nullptr);
        void *libc = orv_dlopen("libc.so.6", RTLD_NOW);
        ASSERT_TRUE(libc != nullptr && orv_dlsym(libc, "strlen") != nullptr);
        EXPECT_EQ(orv_dlsym(libc, "no_such_symbol_anywhere"), nullptr);
        EXPECT_EQ(orv_dlclose(libc) * 10 + orv_dlclose(nullptr), 1);
    });
    EXPECT_TRUE(child.ok()) << child;
    EXPECT_TRUE(child.output.find("] orv_dlopen error : /nonexistent/libnothing.so: ") !=
                    std::string::npos &&
                std::count(child.output.begin(), child.output.end(), '\n') == 1)
        << child.output;
}

// A segment is created once per key, found by key, and a freed one stays usable while attached.
TEST(Process, SharedMemoryByKey) {
    const int key = 0x4F520000 | (getpid() & 0xFFFF);
    const int spare = shmget(IPC_PRIVATE, 1, 0600);  // takes id 0 if free: 0 reads as a failure
    const int id = orv_shm_create(key, 4096);
    ASSERT_NE(id, 0);
    EXPECT_EQ(orv_shm_create(key, 4096), 0);
    auto *first = static_cast<char *>(orv_shm_attach(key));
    auto *second = static_cast<char *>(orv_shm_attach(key));
    ASSERT_TRUE(first != nullptr && second != nullptr && first != second);
    std::strcpy(first, "shared");
    EXPECT_STREQ(second, "shared");
    EXPECT_EQ(orv_shm_free(id), 1);
    EXPECT_TRUE(orv_shm_attach(key) == nullptr && std::strcmp(second, "shared") == 0);
    EXPECT_EQ(orv_shm_detach(first) + orv_shm_detach(second), 2);
    EXPECT_EQ(orv_shm_detach(nullptr) + orv_shm_free(0) + orv_shm_free(-1) + orv_shm_free(id), 0);
    shmctl(spare, IPC_RMID, nullptr);
}

}  // namespace
