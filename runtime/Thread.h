#pragma once

#include <pthread.h>

#include "runtime/Synchronisation.h"
#include "util/Export.h"

class CThreadMonitor;
class CThreadMonitorEntry;

extern VARNOCK_EXPORT CThreadMonitor* pThreadMonitor;
extern VARNOCK_EXPORT int ThreadCounter;
extern VARNOCK_EXPORT int MaxActiveThread;

class VARNOCK_EXPORT CThread {
  public:
    explicit CThread(int killStillAlive);
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    bool Start(void* (*entry)(void*), void* argument, unsigned long priority, int startOption,
               unsigned int stackSize, unsigned long reserved, int waitable);
    bool Kill(unsigned int reserved);
    bool WaitForTermination(unsigned int timeout);
    bool IsRunning();
    bool SetThreadName(const char* debugName, const char* qualifier);

  private:
    pthread_t handle_;
    int killStillAlive_;
    int waitable_;
    int reserved_;
    CThreadMonitorEntry* monitorEntry_;
};

VARNOCK_EXPORT unsigned int ThreadReturn(unsigned int code);
