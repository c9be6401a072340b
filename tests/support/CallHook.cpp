#include "tests/support/CallHook.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <utility>

namespace varnock::test {
namespace {

thread_local CallHook* hookOfThread = nullptr;

}  // namespace

CallHook::CallHook(unsigned int n, Calls calls, std::function<void()> action)
    : left_(n), calls_(calls), action_(std::move(action)) {
    hookOfThread = this;
}

CallHook::~CallHook() {
    hookOfThread = nullptr;
}

void beforeCall(bool isCancellable) {
    CallHook* const hook = hookOfThread;
    if (hook == nullptr || (hook->calls_ == CallHook::Calls::cancellable && !isCancellable)) {
        return;
    }
    if (--hook->left_ == 0) {
        hookOfThread = nullptr;  // the action may make such calls
        hook->action_();
    }
}

}  // namespace varnock::test

using varnock::test::beforeCall;

// Defines the replacement of a call, and declares the replaced one.
#define VARNOCK_HOOKED(isCancellable, Result, name, parameters, arguments) \
    Result __real_##name parameters;                                       \
    Result __wrap_##name parameters;                                       \
    Result __wrap_##name parameters {                                      \
        beforeCall(isCancellable);                                         \
        return __real_##name arguments;                                    \
    }

extern "C" {
VARNOCK_HOOKED(true, int, close, (int fd), (fd))
VARNOCK_HOOKED(true, int, connect, (int fd, const sockaddr* address, socklen_t size),
               (fd, address, size))
VARNOCK_HOOKED(true, int, poll, (pollfd * fds, nfds_t count, int timeout), (fds, count, timeout))
VARNOCK_HOOKED(true, ssize_t, recv, (int fd, void* buffer, size_t size, int flags),
               (fd, buffer, size, flags))
VARNOCK_HOOKED(true, ssize_t, send, (int fd, const void* buffer, size_t size, int flags),
               (fd, buffer, size, flags))
VARNOCK_HOOKED(true, ssize_t, read, (int fd, void* buffer, size_t size), (fd, buffer, size))
VARNOCK_HOOKED(true, ssize_t, write, (int fd, const void* buffer, size_t size), (fd, buffer, size))
VARNOCK_HOOKED(true, ssize_t, pread, (int fd, void* buffer, size_t size, off_t offset),
               (fd, buffer, size, offset))
VARNOCK_HOOKED(true, int, open, (const char* path, int flags, mode_t mode), (path, flags, mode))
VARNOCK_HOOKED(true, int, fsync, (int fd), (fd))
VARNOCK_HOOKED(true, int, nanosleep, (const timespec* time, timespec* rest), (time, rest))
VARNOCK_HOOKED(true, int, fputs, (const char* text, FILE* file), (text, file))
VARNOCK_HOOKED(true, int, fflush, (FILE * file), (file))
VARNOCK_HOOKED(true, int, fclose, (FILE * file), (file))
VARNOCK_HOOKED(true, size_t, fread, (void* buffer, size_t size, size_t count, FILE* file),
               (buffer, size, count, file))
VARNOCK_HOOKED(true, size_t, fwrite, (const void* buffer, size_t size, size_t count, FILE* file),
               (buffer, size, count, file))
VARNOCK_HOOKED(true, int, pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex),
               (condition, mutex))
VARNOCK_HOOKED(false, int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
VARNOCK_HOOKED(false, int, pthread_mutex_unlock, (pthread_mutex_t * mutex), (mutex))
VARNOCK_HOOKED(false, int, pthread_rwlock_rdlock, (pthread_rwlock_t * lock), (lock))
VARNOCK_HOOKED(false, int, pthread_rwlock_unlock, (pthread_rwlock_t * lock), (lock))
VARNOCK_HOOKED(false, int, socket, (int domain, int type, int protocol), (domain, type, protocol))
VARNOCK_HOOKED(false, int, rename, (const char* from, const char* to), (from, to))
VARNOCK_HOOKED(false, int, unlink, (const char* path), (path))
VARNOCK_HOOKED(false, int, ftruncate, (int fd, off_t size), (fd, size))
}
