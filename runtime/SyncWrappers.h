#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "util/Export.h"

/// The system calls of the synchronisation objects. Each function makes one call and returns its
/// result: 0 or an error number for the pthread calls, 0 or -1 with errno for the Sem calls.
///
/// Thread-safety: that of the call. SemWait() and the two condition waits are cancellation points.

VARNOCK_EXPORT int MutexInit(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexLock(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexUnlock(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexDestroy(pthread_mutex_t* mutex);

VARNOCK_EXPORT int CondInit(pthread_cond_t* condition);
VARNOCK_EXPORT int CondSignal(pthread_cond_t* condition);
VARNOCK_EXPORT int CondBroadcast(pthread_cond_t* condition);
VARNOCK_EXPORT int CondDestroy(pthread_cond_t* condition);

/// Waits on `condition`. A thread that is cancelled in the wait decrements `*waiters` under
/// `mutex`, then unlocks it, so that the object stays consistent.
VARNOCK_EXPORT int CondWaitExtended(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                    unsigned int* waiters);
/// The same until `deadline` on the real-time clock; then ETIMEDOUT.
VARNOCK_EXPORT int CondTimedWaitExtended(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                         const timespec* deadline, unsigned int* waiters);
/// pthread clean-up routine: unlocks a pthread_mutex_t*.
VARNOCK_EXPORT void CleanupForCancelledCondWait(void* mutex);
/// pthread clean-up routine: decrements an unsigned int*, the number of waiters.
VARNOCK_EXPORT void CleanupForCancelledCondWaitExtended(void* waiters);

VARNOCK_EXPORT int SemInit(sem_t* semaphore, int pshared, unsigned int value);
VARNOCK_EXPORT int SemPost(sem_t* semaphore);
VARNOCK_EXPORT int SemWait(sem_t* semaphore);
VARNOCK_EXPORT int SemTrywait(sem_t* semaphore);
VARNOCK_EXPORT int SemDestroy(sem_t* semaphore);

/// Gives up the processor once.
VARNOCK_EXPORT int SchedYield();
/// The calling thread.
VARNOCK_EXPORT pthread_t ThreadSelf();
