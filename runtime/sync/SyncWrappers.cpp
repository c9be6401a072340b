#include "runtime/SyncWrappers.h"

#include <sched.h>

#include "runtime/process/Clock.h"

int MutexInit(pthread_mutex_t* mutex) {
    return pthread_mutex_init(mutex, nullptr);
}
int MutexLock(pthread_mutex_t* mutex) {
    return pthread_mutex_lock(mutex);
}
int MutexUnlock(pthread_mutex_t* mutex) {
    return pthread_mutex_unlock(mutex);
}
int MutexDestroy(pthread_mutex_t* mutex) {
    return pthread_mutex_destroy(mutex);
}

int CondInit(pthread_cond_t* condition) {
    return pthread_cond_init(condition, nullptr);
}
int CondSignal(pthread_cond_t* condition) {
    return pthread_cond_signal(condition);
}
int CondBroadcast(pthread_cond_t* condition) {
    return pthread_cond_broadcast(condition);
}
int CondDestroy(pthread_cond_t* condition) {
    return pthread_cond_destroy(condition);
}

void CleanupForCancelledCondWait(void* mutex) {
    MutexUnlock(static_cast<pthread_mutex_t*>(mutex));
}

void CleanupForCancelledCondWaitExtended(void* waiters) {
    --*static_cast<unsigned int*>(waiters);
}

/// The clean-ups run in reverse order: the count is decremented before the mutex is unlocked.
int CondWaitExtended(pthread_cond_t* condition, pthread_mutex_t* mutex, unsigned int* waiters) {
    int result = 0;
    pthread_cleanup_push(CleanupForCancelledCondWait, mutex);
    pthread_cleanup_push(CleanupForCancelledCondWaitExtended, waiters);
    result = pthread_cond_wait(condition, mutex);
    pthread_cleanup_pop(0);
    pthread_cleanup_pop(0);
    return result;
}

int CondTimedWaitExtended(pthread_cond_t* condition, pthread_mutex_t* mutex,
                          const timespec* deadline, unsigned int* waiters) {
    int result = 0;
    pthread_cleanup_push(CleanupForCancelledCondWait, mutex);
    pthread_cleanup_push(CleanupForCancelledCondWaitExtended, waiters);
    result = varnock::Clock::instance().waitUntil(condition, mutex, *deadline);
    pthread_cleanup_pop(0);
    pthread_cleanup_pop(0);
    return result;
}

int SemInit(sem_t* semaphore, int pshared, unsigned int value) {
    return sem_init(semaphore, pshared, value);
}
int SemPost(sem_t* semaphore) {
    return sem_post(semaphore);
}
int SemWait(sem_t* semaphore) {
    return sem_wait(semaphore);
}
int SemTrywait(sem_t* semaphore) {
    return sem_trywait(semaphore);
}
int SemDestroy(sem_t* semaphore) {
    return sem_destroy(semaphore);
}

int SchedYield() {
    return sched_yield();
}
pthread_t ThreadSelf() {
    return pthread_self();
}
