// Commands, dynamic loading and System V shared memory.
#include "orvsys/orv_process.h"

#include <dlfcn.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "internal/process.h"
#include "orvsys/orv_log.h"
#include "orvsys/orv_trace.h"

namespace {

constexpr int kCreateFlags = IPC_CREAT | IPC_EXCL | 0777;  // 03777
constexpr int kAttachFlags = 0777;                         // no SHM_RDONLY, no SHM_RND

}  // namespace

namespace orv::internal {

int run_with_default_sigchld(int (*run)(const char *), const char *command) {
    const auto old_action = std::signal(SIGCHLD, SIG_DFL);
    const int status = run(command);
    std::signal(SIGCHLD, old_action);
    return status;
}

}  // namespace orv::internal

extern "C" {

ORV_API int orv_system(const char *command) {
    if (command == nullptr) return 0;
    const int status = orv::internal::run_with_default_sigchld(std::system, command);
    orv_log_debug("exec cmd:%s", command);
    if (status != 0) orv_tprintf("execute command '%s'error: %s\n", command, std::strerror(errno));
    return status;
}

ORV_API void *orv_dlopen(const char *filename, int flag) {
    void *handle = dlopen(filename, flag);
    if (handle == nullptr) orv_tprintf("orv_dlopen error : %s", dlerror());
    return handle;
}

ORV_API int orv_dlclose(void *handle) { return handle != nullptr ? dlclose(handle) : 1; }

ORV_API void *orv_dlsym(void *handle, const char *symbol) { return dlsym(handle, symbol); }

ORV_API int orv_shm_create(int key, uint32_t size) {
    const int id = shmget(key, size, kCreateFlags);
    return id < 0 ? 0 : id;
}

ORV_API int orv_shm_free(int shmid) {
    if (shmid <= 0) return 0;
    return shmctl(shmid, IPC_RMID, nullptr) == 0 ? 1 : 0;
}

ORV_API void *orv_shm_attach(int key) {
    const int id = shmget(key, 0, 0);
    if (id < 0) return nullptr;
    void *addr = shmat(id, nullptr, kAttachFlags);
    return addr == reinterpret_cast<void *>(-1) ? nullptr : addr;
}

ORV_API int orv_shm_detach(void *addr) { return addr != nullptr && shmdt(addr) == 0 ? 1 : 0; }

}  // extern "C"
