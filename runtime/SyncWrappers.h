#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "util/Export.h"

/// The calls of the platform beneath the synchronisation objects, each one call that returns its
/// result: 0 or an error number for the pthread ones, 0 or -1 with errno for the Sem ones.
///
/// Thread-safety: that of the call beneath. SemWait() and the two condition waits are cancellation
/// points.

VARNOCK_EXPORT int MutexInit(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexLock(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexUnlock(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexDestroy(pthread_mutex_t* mutex);

VARNOCK_EXPORT int CondInit(pthread_cond_t* condition);
VARNOCK_EXPORT int CondSignal(pthread_cond_t* condition);
VARNOCK_EXPORT int CondBroadcast(pthread_cond_t* condition);
VARNOCK_EXPORT int CondDestroy(pthread_cond_t* condition);

/// Waits on `condition`. A thread that is cancelled here decrements `*waiters` while it still holds
/// `mutex`, then unlocks it: the object stays consistent without that thread.
VARNOCK_EXPORT int CondWaitExtended(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                    unsigned int* waiters);
/// The same until `deadline` on the real-time clock; ETIMEDOUT when it has passed.
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
