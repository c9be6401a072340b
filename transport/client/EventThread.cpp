#include "transport/client/EventThread.h"

#include <signal.h>
#include <string.h>

#include <exception>
#include <utility>

#include "runtime/process/Clock.h"
#include "runtime/process/ForkLocks.h"
#include "runtime/threads/Cancellation.h"
#include "transport/AgentSocket.h"
#include "transport/channel/ProcessState.h"
#include "transport/channel/TransportTrace.h"

namespace varnock {
namespace {

constexpr const char* kThreadName = "Thread_EventMain";
constexpr unsigned long kPriority = 63;
constexpr unsigned int kStackSize = 0x100000;
constexpr std::chrono::milliseconds kAfterEnd{30};
constexpr std::chrono::milliseconds kLockPause{1};

/// A signal handler of the host that runs on this thread would interrupt the wait.
void blockAsynchronousSignals() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int synchronous : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&signals, synchronous);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// Closes the pipe unless keep() is called.
class PipeGuard {
  public:
    explicit PipeGuard(TerminatePipe& pipe) : pipe_(&pipe) {}
    ~PipeGuard() {
        if (pipe_ != nullptr) {
            pipe_->close();
        }
    }
    PipeGuard(const PipeGuard&) = delete;
    PipeGuard& operator=(const PipeGuard&) = delete;
    void keep() { pipe_ = nullptr; }

  private:
    TerminatePipe* pipe_;
};

}  // namespace

EventThread::EventThread(EventListener listener) : listener_(std::move(listener)) {
    // The handlers must be there before a lock of theirs is held: setting them waits for a fork,
    // which waits for the lock.
    currentProcess();
    addForkLock(nameMutex_);
    addRenewedLock(enabling_);
}

EventThread::~EventThread() {
    stop();
    removeRenewedLock(enabling_);
    removeForkLock(nameMutex_);
}

void EventThread::setName(const char* name) {
    const std::size_t length = strnlen(name, name_.size() - 1);
    const ScopedLock lock(nameMutex_);
    memmove(name_.data(), name, length);
    name_[length] = '\0';
}

EventThread::Name EventThread::name() const {
    const ScopedLock lock(nameMutex_);
    return name_;
}

/// False when the caller is the event thread and the lock holder waits for that thread to end
/// because it enables events again: taking the lock would deadlock.
bool EventThread::lock(std::unique_lock<Mutex>& enabling) const {
    const EventRun* own = EventRun::ofThisThread(this);
    if (own == nullptr) {
        enabling.lock();
        return true;
    }
    while (!enabling.try_lock()) {
        if (own->isHeldUp) {
            return false;
        }
        Clock::instance().sleepFor(kLockPause);
    }
    return true;
}

bool EventThread::enable(bool wanted) {
    std::unique_lock enabling(enabling_, std::defer_lock);
    if (!lock(enabling)) {
        return true;
    }
    try {
        return wanted ? start() : end();
    } catch (const std::exception&) {
        return false;
    }
}

bool EventThread::start() {
    traceAt(1, "EnableEvents: we are going to enable events for this process ...\n");
    dropInherited();
    if (isEnabled_) {
        traceAt(
            1,
            "EnableEvents: WARNING: Events (and the corresponding infrastructure) for this "
            "process has been already enabled and started -> we rely on this and do nothing!\n");
        return true;
    }
    // A previous thread may still be running if end() gave up waiting. It must not use the new
    // pipe.
    if (run_ != nullptr && run_->isRunning()) {
        run_->isHeldUp = true;
        join();
    }
    if (!pipe_.open()) {
        return false;
    }
    PipeGuard pipe(pipe_);
    // Before the registration, which a lack of memory need not undo then.
    std::shared_ptr<EventRun> run = makeRun();
    if (!registerEvents() || !startThread(std::move(run))) {
        return false;
    }
    pipe.keep();
    return true;
}

bool EventThread::registerEvents() {
    const int fd = RegisterForEvents(nullptr);
    if (fd < 0) {
        traceAt(1, "EnableEvents: WARNING: cannot register thread for events\n");
        return false;
    }
    eventFd_ = fd;
    traceAt(1, "EnableEvents: thread for events registered on m_EventKolmFd=%d\n", fd);
    return true;
}

bool EventThread::startThread(std::shared_ptr<EventRun> run) {
    const CancellationGuard wholeStart;
    const Name shownName = name();
    run->eventFd = eventFd_;
    run_ = std::move(run);
    thread_.SetThreadName(shownName.data(), kThreadName);
    run_->setRunning(true);
    if (!thread_.Start(&entry, this, kPriority, 0, kStackSize, 0, 1)) {
        run_.reset();
        traceAt(1,
                "EnableEvents: WARNING: cannot start thread for events (Modulename=%s, Details=%s "
                "started\n",
                shownName.data(), kThreadName);
        pipe_.close();
        UnRegisterForEvents();
        eventFd_ = -1;
        return false;
    }
    traceAt(1, "EnableEvents: thread for events (Modulename=%s, Details=%s started\n",
            shownName.data(), kThreadName);
    traceAt(1, "EnableEvents: events enabled for this process ...\n");
    isEnabled_ = true;
    return true;
}

bool EventThread::end() {
    traceAt(1, "EnableEvents: we are going to disable events for this process ...\n");
    dropInherited();
    if (!isEnabled_) {
        traceAt(1,
                "EnableEvents: WARNING: Events (and the corresponding infrastructure) for this "
                "process has been already disabled -> we rely on this and do nothing!\n");
        return true;
    }
    run_->stop.request();
    pipe_.wake();
    if (!run_->isCalledOnOwnThread()) {
        run_->awaitEnd();
    }
    Clock::instance().sleepFor(kAfterEnd);
    UnRegisterForEvents();
    pipe_.close();
    eventFd_ = -1;
    traceAt(1, "EnableEvents: events disabled for this process ...\n");
    isEnabled_ = false;
    return true;
}

/// A child made by fork() inherits the descriptors but not the thread, and must not wake its
/// parent's thread.
void EventThread::dropInherited() {
    if (run_ == nullptr || run_->belongsToThisProcess()) {
        return;
    }
    pipe_.close();
    eventFd_ = -1;
    isEnabled_ = false;
    run_.reset();
}

void EventThread::stop() {
    const CancellationGuard wholeStop;
    {
        const std::lock_guard enabling(enabling_);
        dropInherited();
        if (run_ == nullptr || run_->isJoined) {
            return;
        }
        run_->stop.request();
        if (pipe_.isOpen()) {
            pipe_.wake();
        }
    }
    // Without the lock, because a listener may disable the events meanwhile.
    join();
}

/// Waits for the event thread, which was told to stop. The event thread cannot wait for itself, so
/// it is detached.
void EventThread::join() {
    run_->isJoined = true;
    if (run_->isCalledOnOwnThread()) {
        pthread_detach(pthread_self());
    } else {
        thread_.Kill(0);
    }
}

void* EventThread::entry(void* eventThread) {
    if (eventThread == nullptr) {
        traceAt(1, "Thread_EventMain: ## ERROR ## internal error on starting pClassContext = %p\n",
                eventThread);
    } else {
        blockAsynchronousSignals();
        static_cast<EventThread*>(eventThread)->serve();
    }
    ThreadReturn(0);
    return nullptr;
}

void EventThread::serve() {
    // A listener may destroy this object, so the loop keeps the run and a copy of the listener.
    const std::shared_ptr<EventRun> run = run_ != nullptr ? run_ : makeRun();
    EventLoop(*run, eventFd_, listener_).run();
}

std::shared_ptr<EventRun> EventThread::makeRun() const {
    return std::make_shared<EventRun>(this, pipe_.readEnd(), eventFd_);
}

}  // namespace varnock
