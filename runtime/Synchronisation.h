#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "runtime/CriticalSection.h"
#include "util/Export.h"
#include "util/StrMap.h"

VARNOCK_EXPORT int MutexInit(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexLock(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexUnlock(pthread_mutex_t* mutex);
VARNOCK_EXPORT int MutexDestroy(pthread_mutex_t* mutex);
VARNOCK_EXPORT int CondInit(pthread_cond_t* condition);
VARNOCK_EXPORT int CondSignal(pthread_cond_t* condition);
VARNOCK_EXPORT int CondBroadcast(pthread_cond_t* condition);
VARNOCK_EXPORT int CondDestroy(pthread_cond_t* condition);
VARNOCK_EXPORT int SemInit(sem_t* semaphore, int pshared, unsigned int value);
VARNOCK_EXPORT int SemPost(sem_t* semaphore);
VARNOCK_EXPORT int SemWait(sem_t* semaphore);
VARNOCK_EXPORT int SemTrywait(sem_t* semaphore);
VARNOCK_EXPORT int SemDestroy(sem_t* semaphore);
VARNOCK_EXPORT int SchedYield();
VARNOCK_EXPORT pthread_t ThreadSelf();

class VARNOCK_EXPORT CInterLock {
  public:
    static long LockedIncrement(long* value);
    static long LockedDecrement(long* value);
    static pthread_mutex_t* IncDecMutex();
};
