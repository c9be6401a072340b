#include "runtime/Thread.h"

#include <errno.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <new>

#include "runtime/sync/MutexGuard.h"
#include "runtime/sync/WaitResult.h"
#include "runtime/threads/Cancellation.h"
#include "runtime/threads/ThreadNumber.h"
#include "runtime/trace/ShownText.h"
#include "runtime/trace/TraceAt.h"

using varnock::CancellationGuard;
using varnock::MutexGuard;
using varnock::shown;
using varnock::threadNumber;
using varnock::traceAt;

namespace varnock {

/// The state that a thread shares with the object that started it. Either may end first.
struct ThreadLife {
    ThreadLife() { SemInit(&gate, 0, 0); }
    ~ThreadLife() { SemDestroy(&gate); }
    ThreadLife(const ThreadLife&) = delete;
    ThreadLife& operator=(const ThreadLife&) = delete;

    void openGate() { SemPost(&gate); }
    void passGate() {
        while (SemWait(&gate) != 0 && errno == EINTR) {
        }
    }

    sem_t gate;
    pthread_mutex_t mutex =
        PTHREAD_MUTEX_INITIALIZER;  ///< while it is held, a living thread cannot end
    bool alive = true;
};

}  // namespace varnock

namespace {

using varnock::ThreadLife;

struct StartBlock {
    std::shared_ptr<ThreadLife> life;
    void* (*entry)(void*);
    void* argument;
};

/// Records the end of the thread: by return, pthread_exit or cancellation.
class LifeEnd {
  public:
    explicit LifeEnd(ThreadLife& life) : life_(life) {}
    ~LifeEnd() {
        const MutexGuard lock(life_.mutex);
        life_.alive = false;
    }
    LifeEnd(const LifeEnd&) = delete;
    LifeEnd& operator=(const LifeEnd&) = delete;

  private:
    ThreadLife& life_;
};

/// The start routine of every thread. Start() opens the gate after it has recorded the thread, so
/// that the exit is never recorded before the start.
void* run(void* start) {
    const std::unique_ptr<StartBlock> owned(static_cast<StartBlock*>(start));
    const LifeEnd end(*owned->life);
    owned->life->passGate();
    return owned->entry(owned->argument);
}

class Attributes {
  public:
    Attributes() : error_(pthread_attr_init(&attributes_)) {}
    ~Attributes() {
        if (error_ == 0) {
            pthread_attr_destroy(&attributes_);
        }
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const pthread_attr_t* get() const { return &attributes_; }

    /// Sets all attributes. Traces a failure.
    [[nodiscard]] bool set(int priority, int waitable) {
        return succeeded(error_, "pthread_attr_init failed: %d \n") && setDetached(waitable) &&
               setPriority(priority);
    }

  private:
    [[nodiscard]] static bool succeeded(int error, const char* format) {
        if (error != 0) {
            traceAt(2, format, error);
        }
        return error == 0;
    }

    [[nodiscard]] bool setDetached(int waitable) {
        return waitable != 0 ||
               succeeded(pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED),
                         "pthread_attr_setdetachstate failed: %d \n");
    }

    /// Records policy and priority without asking for explicit scheduling. So the thread library
    /// inherits the policy of the creator by default, and an unprivileged process can start its
    /// threads.
    [[nodiscard]] bool setPriority(int priority) {
        traceAt(2, "ThreadPrio=%d \n", priority);
        if (priority == 0) {
            return true;
        }
        sched_param parameters{};
        if (!succeeded(pthread_attr_setschedpolicy(&attributes_, SCHED_RR),
                       "pthread_attr_setschedpolicy failed: %d \n") ||
            !succeeded(pthread_attr_getschedparam(&attributes_, &parameters),
                       "pthread_attr_getschedparam failed: %d \n")) {
            return false;
        }
        parameters.sched_priority = priority;
        const int error = pthread_attr_setschedparam(&attributes_, &parameters);
        if (error != 0) {
            traceAt(2, "pthread_attr_setschedparam failed: error=%d priority=%d\n", error,
                    priority);
        }
        return error == 0;
    }

    pthread_attr_t attributes_{};
    int error_;
};

/// Creates the thread, which waits at the gate.
[[nodiscard]] int create(pthread_t& thread, const Attributes& attributes,
                         std::unique_ptr<StartBlock> start) {
    const int error = pthread_create(&thread, attributes.get(), &run, start.get());
    if (error == 0) {
        static_cast<void>(start.release());  // the thread owns it
    }
    return error;
}

[[nodiscard]] std::unique_ptr<StartBlock> makeStartBlock(void* (*entry)(void*), void* argument) {
    try {
        return std::make_unique<StartBlock>(
            StartBlock{std::make_shared<ThreadLife>(), entry, argument});
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// Lets only one thread join: a second join of the same thread is undefined.
class JoinClaim {
  public:
    explicit JoinClaim(std::atomic<bool>& joining) : joining_(joining) {
        owns_ = !joining_.exchange(true);
    }
    ~JoinClaim() {
        if (owns_) {
            joining_ = false;
        }
    }
    JoinClaim(const JoinClaim&) = delete;
    JoinClaim& operator=(const JoinClaim&) = delete;

    bool owns() const { return owns_; }

  private:
    std::atomic<bool>& joining_;
    bool owns_;
};

CThreadMonitor* monitor() {
    return __atomic_load_n(&pThreadMonitor, __ATOMIC_ACQUIRE);
}

}  // namespace

CThread::CThread(int killStillAlive)
    : handle_(0),
      killStillAlive_(killStillAlive),
      waitable_(0),
      reserved_(-1),
      monitorEntry_(nullptr),
      joining_(false) {
    CThreadMonitor* const records = monitor();
    if (records == nullptr) {
        return;
    }
    monitorEntry_ = records->RegisterEntry();
    if (monitorEntry_ != nullptr) {
        records->SetEntryStatus(monitorEntry_, CThreadMonitor::InstanceConstructed);
    } else {
        traceAt(1,
                "CThread::KillStillAliveThread=TRUE: RegisterEntry returned ThreadMonHandle = "
                "NULL\n");
    }
}

CThread::~CThread() {
    const CancellationGuard uncancelled;
    if (killStillAlive_ != 0) {
        Kill(0);
    }
    setStatus(CThreadMonitor::InstanceDestroyed);
    monitorEntry_ = nullptr;
}

void CThread::setStatus(unsigned int status) {
    if (CThreadMonitor* const records = monitor()) {
        records->SetEntryStatus(monitorEntry_, status);
    }
}

void CThread::setJoinStatus(unsigned int status) {
    if (CThreadMonitor* const records = monitor()) {
        records->SetEntryJoinStatus(monitorEntry_, status);
    }
}

bool CThread::Start(void* (*entry)(void*), void* argument, unsigned long priority, int startOption,
                    unsigned int stackSize, unsigned long, int waitable) {
    if (killStillAlive_ != 0) {
        Kill(0);
    }
    const CancellationGuard uncancelled;
    Attributes attributes;
    if (!attributes.set(static_cast<int>(priority), waitable)) {
        return false;
    }
    std::unique_ptr<StartBlock> block = makeStartBlock(entry, argument);
    const std::shared_ptr<ThreadLife> life = block != nullptr ? block->life : nullptr;
    pthread_t thread = 0;
    const int error = life != nullptr ? create(thread, attributes, std::move(block)) : ENOMEM;
    if (error != 0) {
        traceAt(2, "pthread_create failed: %d\n", error);
        return false;
    }
    handle_ = thread;
    waitable_ = waitable;
    life_ = life;
    if (CThreadMonitor* const records = monitor()) {
        records->SetEntryValues(monitorEntry_, thread, ThreadSelf(), getpid(), priority, stackSize,
                                waitable, startOption, killStillAlive_);
        records->SetEntryStatus(monitorEntry_, CThreadMonitor::Running);
    }
    // After this call the thread runs and may destroy this object.
    life->openGate();
    traceAt(2,
            "CThread::Start: thread=0x%08X created, handle = %p , Prio=%d, Waitable=%d, "
            "StackSize=0x%x\n",
            threadNumber(thread), reinterpret_cast<void*>(thread), static_cast<int>(priority),
            waitable, stackSize);
    SchedYield();
    return true;
}

bool CThread::Kill(unsigned int) {
    const pthread_t thread = handle_;
    traceAt(1, "CThread::Kill: Try to kill the Thread = 0x%08X\n", threadNumber(thread));
    if (thread == 0) {
        traceAt(1, "CThread::Kill: Thread = 0x0%08X doesn't exist !\n", threadNumber(thread));
        return true;
    }
    if (waitable_ == 0) {
        return cancelDetached(thread);
    }
    // A joinable thread is not cancelled: the caller has told it to end.
    traceAt(1, "CThread::Kill: Try to join a joinable Thread = 0x%08X\n", threadNumber(thread));
    return join(thread, "Kill");
}

/// Joins the thread and returns the error number. A thread cannot join itself, or a thread that
/// another one joins.
int CThread::joinOnce(pthread_t thread, void** result) {
    if (ThreadEqual(thread, ThreadSelf())) {
        return EDEADLK;
    }
    const JoinClaim claim(joining_);
    if (!claim.owns()) {
        return EINVAL;
    }
    const int error = handle_ == thread ? ThreadJoin(thread, result) : ESRCH;
    if (error == 0) {
        handle_ = 0;
    }
    return error;
}

bool CThread::join(pthread_t thread, const char* operation) {
    setJoinStatus(CThreadMonitor::JoinBegun);
    void* result = nullptr;
    const int error = joinOnce(thread, &result);
    if (error != 0) {
        traceAt(1, "CThread::%s: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = 0x%08x\n",
                operation, threadNumber(thread), static_cast<unsigned int>(error));
        return false;
    }
    setJoinStatus(CThreadMonitor::Joined);
    traceAt(1, "CThread::%s: a joinable Thread = 0x%08X has terminated, pstat=%p\n", operation,
            threadNumber(thread), result);
    return true;
}

bool CThread::cancelDetached(pthread_t thread) {
    traceAt(1, "CThread::Kill: Try to kill a non-joinable Thread = 0x0%08X\n",
            threadNumber(thread));
    const MutexGuard lock(life_->mutex);
    int priority = 0;
    if (!life_->alive || !ThreadGetPrio(thread, &priority)) {
        return true;
    }
    traceAt(2, "CThread::Kill: Killing a non-joinable thread 0x%08X\n", threadNumber(thread));
    setStatus(CThreadMonitor::KillRequested);
    const int error = ThreadKill(thread, SIGTERM);
    if (error != 0) {
        traceAt(2, "CThread::Kill: unable to cancel a non-joinable thread 0x%08X (err = 0x%08x)\n",
                threadNumber(thread), static_cast<unsigned int>(error));
        return false;
    }
    setStatus(CThreadMonitor::Cancelled);
    traceAt(2, "CThread::Kill: a non-joinable thread 0x%08X cancel invoked\n",
            threadNumber(thread));
    return true;
}

bool CThread::WaitForTermination(unsigned int timeout) {
    const pthread_t thread = handle_;
    if (thread == 0) {
        traceAt(1, "CThread::WaitForTermination: Thread = 0x0%08X doesn't exist !\n",
                threadNumber(thread));
        return true;
    }
    if (timeout != varnock::kInfinite) {
        traceAt(1,
                "CThread::WaitForTermination: WARNING: can't wait for Thread = 0x%08X "
                "termination with timeout\n",
                threadNumber(thread));
    }
    if (waitable_ != 0) {
        return join(thread, "WaitForTermination");
    }
    traceAt(1, "CThread::WaitForTermination: WARNING: Can't wait for detached thread 0x%08X\n",
            threadNumber(thread));
    return false;
}

bool CThread::IsRunning() {
    const pthread_t thread = handle_;
    if (thread == 0) {
        return false;
    }
    // The handle of an ended thread is invalid. Under the mutex the thread cannot end.
    const MutexGuard lock(life_->mutex);
    int priority = 0;
    return life_->alive && ThreadGetPrio(thread, &priority);
}

bool CThread::SetThreadName(const char* debugName, const char* qualifier) {
    CThreadMonitor* const records = monitor();
    const bool stored =
        records != nullptr && records->SetEntryName(monitorEntry_, debugName, qualifier);
    traceAt(1, "CThread::SetThreadName: ThreadId = 0x%08X, DebugName = %s, Qualifier = (%s)\n",
            threadNumber(handle_), shown(debugName), shown(qualifier));
    return stored;
}

int ThreadJoin(pthread_t thread, void** result) {
    return pthread_join(thread, result);
}

int ThreadKill(pthread_t thread, int) {
    return pthread_cancel(thread);
}

bool ThreadGetPrio(pthread_t thread, int* priority) {
    int policy = 0;
    sched_param parameters{};
    if (thread == 0 || pthread_getschedparam(thread, &policy, &parameters) != 0) {
        return false;
    }
    if (priority != nullptr) {
        *priority = parameters.sched_priority;
    }
    return true;
}

int ThreadEqual(pthread_t left, pthread_t right) {
    return pthread_equal(left, right);
}

unsigned int ThreadReturn(unsigned int code) {
    if (CThreadMonitor* const records = monitor()) {
        records->SetEntryStatusExited();
    }
    traceAt(1, "THREAD_RETURN: ## INFO: Thread = 0x%08X exited, Return = 0x%08x##\n",
            threadNumber(ThreadSelf()), code);
    return code;
}
