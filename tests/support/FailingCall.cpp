#include "tests/support/FailingCall.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>

namespace varnock::test {
namespace {

struct Plan {
    PlatformCall call{};
    int error = 0;
    unsigned int before = 0;  ///< calls that succeed first
    unsigned int left = 0;    ///< calls that then fail
    bool happened = false;
};

thread_local Plan plan;

/// The error of this call if it must fail.
std::optional<int> failureOf(PlatformCall call) {
    if (plan.left == 0 || plan.call != call) {
        return std::nullopt;
    }
    if (plan.before > 0) {
        --plan.before;
        return std::nullopt;
    }
    --plan.left;
    plan.happened = true;
    return plan.error;
}

/// The result of a system call with this error.
int systemCallResult(int error) {
    if (error == 0) {
        return 0;
    }
    errno = error;
    return -1;
}

}  // namespace

FailingCall::FailingCall(PlatformCall call, int error, unsigned int n, unsigned int times) {
    plan = {call, error, n - 1, times, false};
}

FailingCall::~FailingCall() {
    plan = {};
}

bool FailingCall::happened() const {
    return plan.happened;
}

}  // namespace varnock::test

// The linker sends every call of `name` to __wrap_name, and __real_name to the platform's.
#define VARNOCK_WRAP(call, name, parameters, arguments)                                 \
    extern "C" int __real_##name parameters;                                            \
    extern "C" int __wrap_##name parameters;                                            \
    extern "C" int __wrap_##name parameters {                                           \
        const auto error = varnock::test::failureOf(varnock::test::PlatformCall::call); \
        return error ? *error : __real_##name arguments;                                \
    }

VARNOCK_WRAP(MutexInit, pthread_mutex_init,
             (pthread_mutex_t * mutex, const pthread_mutexattr_t* attributes), (mutex, attributes))
VARNOCK_WRAP(MutexLock, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
VARNOCK_WRAP(CondInit, pthread_cond_init,
             (pthread_cond_t * condition, const pthread_condattr_t* attributes),
             (condition, attributes))
VARNOCK_WRAP(AttrInit, pthread_attr_init, (pthread_attr_t * attributes), (attributes))
VARNOCK_WRAP(AttrSetDetachState, pthread_attr_setdetachstate,
             (pthread_attr_t * attributes, int state), (attributes, state))
VARNOCK_WRAP(AttrSetSchedPolicy, pthread_attr_setschedpolicy,
             (pthread_attr_t * attributes, int policy), (attributes, policy))
VARNOCK_WRAP(AttrGetSchedParam, pthread_attr_getschedparam,
             (const pthread_attr_t* attributes, sched_param* parameters), (attributes, parameters))
VARNOCK_WRAP(AttrSetSchedParam, pthread_attr_setschedparam,
             (pthread_attr_t * attributes, const sched_param* parameters), (attributes, parameters))
VARNOCK_WRAP(ThreadCreate, pthread_create,
             (pthread_t * thread, const pthread_attr_t* attributes, void* (*entry)(void*),
              void* argument),
             (thread, attributes, entry, argument))
VARNOCK_WRAP(ThreadCancel, pthread_cancel, (pthread_t thread), (thread))

VARNOCK_WRAP(KeyCreate, pthread_key_create, (pthread_key_t * key, void (*destructor)(void*)),
             (key, destructor))
VARNOCK_WRAP(KeyDelete, pthread_key_delete, (pthread_key_t key), (key))

// These report through errno.
#define VARNOCK_WRAP_SYSTEM(call, result, name, parameters, arguments)                    \
    extern "C" result __real_##name parameters;                                           \
    extern "C" result __wrap_##name parameters;                                           \
    extern "C" result __wrap_##name parameters {                                          \
        const auto error = varnock::test::failureOf(varnock::test::PlatformCall::call);   \
        return error ? varnock::test::systemCallResult(*error) : __real_##name arguments; \
    }

VARNOCK_WRAP_SYSTEM(SemInit, int, sem_init, (sem_t * semaphore, int shared, unsigned int value),
                    (semaphore, shared, value))
VARNOCK_WRAP_SYSTEM(Socket, int, socket, (int domain, int type, int protocol),
                    (domain, type, protocol))
VARNOCK_WRAP_SYSTEM(Send, ssize_t, send, (int fd, const void* buffer, size_t size, int flags),
                    (fd, buffer, size, flags))
VARNOCK_WRAP_SYSTEM(Receive, ssize_t, recv, (int fd, void* buffer, size_t size, int flags),
                    (fd, buffer, size, flags))
VARNOCK_WRAP_SYSTEM(Pipe, int, pipe2, (int* ends, int flags), (ends, flags))
