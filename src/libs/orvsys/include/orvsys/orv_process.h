/* orvsys: commands, dynamic loading and System V shared memory.
 *
 * Thin layers over the system calls, with their failures reported as each
 * operation says; errno is as the calls left it. No state and no lock.
 */
#ifndef ORVSYS_ORV_PROCESS_H
#define ORVSYS_ORV_PROCESS_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* Runs command with system, SIGCHLD at its default action for the whole
 * process meanwhile and then put back; logs "exec cmd:<command>" at debug
 * level after the run and, for a status other than 0, prints "execute
 * command '<command>'error: <strerror(errno)>" through orv_tprintf. Returns
 * system's wait status undecoded (exit 3 gives 768); 0, running nothing, for
 * a null command. Blocks until the command ends. */
ORV_API int orv_system(const char *command);

/* dlopen with both arguments as given; null, after printing "orv_dlopen error
 * : <dlerror()>" through orv_tprintf, when it fails. */
ORV_API void *orv_dlopen(const char *filename, int flag);
/* dlclose; 1 (a failure) for a null handle, which is not passed on. */
ORV_API int orv_dlclose(void *handle);
/* dlsym, with no report. */
ORV_API void *orv_dlsym(void *handle, const char *symbol);

/* A new segment of size bytes for key, created by exactly one process
 * (IPC_CREAT | IPC_EXCL, mode 0777): its id, or 0 when it fails (an id of 0
 * looks the same). */
ORV_API int orv_shm_create(int key, uint32_t size);
/* Marks the segment for removal (it goes with the last detach, and can no
 * longer be found by key): 1, or 0 on failure or for an id of 0 or below. */
ORV_API int orv_shm_free(int shmid);
/* The segment of key, attached for reading and writing at an address the
 * kernel picks; null when there is none or it cannot be attached. */
ORV_API void *orv_shm_attach(int key);
/* 1 when detached; 0 on failure or for null. */
ORV_API int orv_shm_detach(void *addr);

ORV_END_DECLS

#endif /* ORVSYS_ORV_PROCESS_H */
