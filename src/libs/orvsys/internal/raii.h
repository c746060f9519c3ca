// Owners of the C resources the library holds for the length of a scope:
// an open stream and a locked mutex. Header-only, no exceptions, so the
// library still needs nothing of the C++ runtime.
#pragma once

#include <pthread.h>

#include <cstdio>

namespace orv::internal {

// Owns a FILE*: closes it when it goes out of scope unless it was released
// or closed first. close() is for the writers, who must know whether the
// last buffered bytes reached the file.
class unique_file {
  public:
    unique_file() = default;
    explicit unique_file(FILE *fp) : fp_(fp) {}
    unique_file(const char *path, const char *mode) : fp_(std::fopen(path, mode)) {}
    unique_file(unique_file &&other) noexcept : fp_(other.release()) {}
    unique_file &operator=(unique_file &&other) noexcept {
        reset(other.release());
        return *this;
    }
    unique_file(const unique_file &) = delete;
    unique_file &operator=(const unique_file &) = delete;
    ~unique_file() { reset(); }

    FILE *get() const { return fp_; }
    explicit operator bool() const { return fp_ != nullptr; }

    FILE *release() {
        FILE *fp = fp_;
        fp_ = nullptr;
        return fp;
    }
    void reset(FILE *fp = nullptr) {
        if (fp_ != nullptr) std::fclose(fp_);
        fp_ = fp;
    }
    // Closes now; false when fclose failed. Nothing open counts as closed.
    bool close() {
        FILE *fp = release();
        return fp == nullptr || std::fclose(fp) == 0;
    }

  private:
    FILE *fp_ = nullptr;
};

// Holds a pthread mutex for the length of a scope. A null mutex is not
// locked, for code that takes a lock only in some configurations; a lock
// that fails is not held either, and owns() tells the two from success.
class mutex_guard {
  public:
    // Asks for the lock only if it is free at once (trylock).
    enum TryOnly { kTry };

    explicit mutex_guard(pthread_mutex_t *mutex)
        : mutex_(mutex != nullptr && pthread_mutex_lock(mutex) == 0 ? mutex : nullptr) {}
    mutex_guard(pthread_mutex_t *mutex, TryOnly)
        : mutex_(mutex != nullptr && pthread_mutex_trylock(mutex) == 0 ? mutex : nullptr) {}
    mutex_guard(const mutex_guard &) = delete;
    mutex_guard &operator=(const mutex_guard &) = delete;
    ~mutex_guard() { unlock(); }

    bool owns() const { return mutex_ != nullptr; }
    // Releases before the end of the scope.
    void unlock() {
        if (mutex_ != nullptr) pthread_mutex_unlock(mutex_);
        mutex_ = nullptr;
    }

  private:
    pthread_mutex_t *mutex_;
};

}  // namespace orv::internal
