#include "tests/support/FailingCall.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>

namespace varnock::test {
namespace {

struct Plan {
    PlatformCall call{};
    int error = 0;
    unsigned int left = 0;  // calls until the one that fails; 0: none does
    bool happened = false;
};

thread_local Plan plan;

/// The error with which this call fails, else 0.
int failureOf(PlatformCall call) {
    if (plan.left == 0 || plan.call != call || --plan.left != 0) {
        return 0;
    }
    plan.happened = true;
    return plan.error;
}

}  // namespace

FailingCall::FailingCall(PlatformCall call, int error, unsigned int n) {
    plan = {call, error, n, false};
}

FailingCall::~FailingCall() {
    plan = {};
}

bool FailingCall::happened() const {
    return plan.happened;
}

}  // namespace varnock::test

// The linker sends every call of `name` to __wrap_name, and __real_name to the platform's.
#define VARNOCK_WRAP(call, name, parameters, arguments)                                \
    extern "C" int __real_##name parameters;                                           \
    extern "C" int __wrap_##name parameters;                                           \
    extern "C" int __wrap_##name parameters {                                          \
        const int error = varnock::test::failureOf(varnock::test::PlatformCall::call); \
        return error != 0 ? error : __real_##name arguments;                           \
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

// This one reports through errno.
extern "C" int __real_sem_init(sem_t* semaphore, int shared, unsigned int value);
extern "C" int __wrap_sem_init(sem_t* semaphore, int shared, unsigned int value);
extern "C" int __wrap_sem_init(sem_t* semaphore, int shared, unsigned int value) {
    const int error = varnock::test::failureOf(varnock::test::PlatformCall::SemInit);
    if (error != 0) {
        errno = error;
        return -1;
    }
    return __real_sem_init(semaphore, shared, value);
}
