// The process-wide objects of the runtime, in the order of their dependencies. All are in one file
// and have one priority, so the order of definition is the order of construction.
#include <pthread.h>

#include <new>

#include "runtime/CriticalSection.h"
#include "runtime/Debug.h"
#include "runtime/Registry.h"
#include "runtime/Synchronisation.h"
#include "runtime/ThreadMonitor.h"
#include "runtime/process/ForkLocks.h"
#include "runtime/process/InitPriority.h"
#include "runtime/registry/RegistryTree.h"
#include "runtime/trace/RingBufferFile.h"
#include "runtime/trace/TraceLock.h"

/// Constant-initialised and never destroyed: counters work during the whole life of the process.
constinit pthread_mutex_t CInterLock::incDecMutex_ = PTHREAD_MUTEX_INITIALIZER;
constinit CThreadMonitor* pThreadMonitor = nullptr;
constinit int ThreadCounter = 1;
constinit int MaxActiveThread = 1;

[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] CCriticalSection CEvent::Spinlock;
[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] CStrMap CEvent::NamedEventMap;
[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] CStrMap CSemaphore::NamedSemaphoreMap;

namespace {

/// A lock filled with zeros counts and never blocks. The trace needs that while Debug is built.
/// It has its own cache lines, because other processors fetch them.
alignas(64) constinit unsigned char traceLockStorage[sizeof(CCriticalSection)] = {};

struct TraceLockBuilder {
    TraceLockBuilder() { new (traceLockStorage) CCriticalSection; }
};

struct ForkHandlersBuilder {
    ForkHandlersBuilder() { varnock::installForkHandlers(); }
};

}  // namespace

namespace varnock {

CCriticalSection& traceLock() {
    return *std::launder(reinterpret_cast<CCriticalSection*>(traceLockStorage));
}

}  // namespace varnock

constinit CRegistryNode* CRegistry::MLocalMachine = nullptr;
constinit CRegistryNode* CRegistry::MCurrentUser = nullptr;
constinit CRegistryNode* CRegistry::MUsers = nullptr;
constinit CRegistryNode* CRegistry::MClassesRoot = nullptr;
constinit CRegistryNode* CRegistry::MCurrentConfig = nullptr;
constinit int CRegistry::MIsSetup = 0;
constinit int CRegistry::MIsDirty = 0;

[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] CCriticalSection CRegistry::MSpinlock;
[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] CRegistryNode CRegistry::MRoot;

namespace {

/// Destroyed just before the root.
struct RegistryEnd {
    ~RegistryEnd() { varnock::endRegistry(); }
};
[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] const RegistryEnd kRegistryEnd;

}  // namespace

[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] CDebug Debug(TovQXObjectName);

namespace {
[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] const TraceLockBuilder kTraceLockBuilder;
[[gnu::init_priority(VARNOCK_INIT_RUNTIME)]] const ForkHandlersBuilder kForkHandlersBuilder;

/// Destroyed first. A forked child that has not traced anything opens no trace file for the entries
/// that the library's own objects write at its end.
struct ProcessEnd {
    ~ProcessEnd() { varnock::RingBufferFile::beLeftForGood(); }
};
[[gnu::init_priority(VARNOCK_INIT_LAST)]] const ProcessEnd kProcessEnd;
}  // namespace
