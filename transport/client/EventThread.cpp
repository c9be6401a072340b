#include <cxxabi.h>
#include <poll.h>
#include <signal.h>

#include <exception>

#include "runtime/process/Clock.h"
#include "runtime/threads/Cancellation.h"
#include "transport/AgentSocket.h"
#include "transport/SwitchClient.h"
#include "transport/channel/AgentDevice.h"
#include "transport/channel/EventChannel.h"
#include "transport/channel/TransportTrace.h"
#include "transport/client/EventRun.h"
#include "transport/client/TerminatePipe.h"

using varnock::EventRead;
using varnock::EventRun;
using varnock::traceAt;

namespace {

constexpr const char* kThreadName = "Thread_EventMain";
constexpr unsigned long kPriority = 63;
constexpr unsigned int kStackSize = 0x100000;
constexpr std::chrono::milliseconds kAfterEnd{30};
constexpr std::chrono::milliseconds kAfterFailure{1000};
constexpr std::chrono::milliseconds kLockPause{1};

enum class Wake { Event, Nothing, Terminate };

/// Waits for an event or for the end. The pipe is looked at first, and a failed wait counts as a
/// signal on it, an interrupted one too: the thread rather ends than turns in circles.
Wake awaitWake(const EventRun& run) {
    pollfd descriptors[2] = {{run.stop.wakeFd(), POLLIN, 0}, {run.eventFd, POLLIN, 0}};
    const bool isToldToStop = run.stop.requested() || run.stop.wakeFd() < 0;
    const int ready = isToldToStop ? -1 : varnock::Clock::instance().poll(descriptors, 2, -1);
    if (ready < 0 || descriptors[0].revents != 0) {
        traceAt(1, "Thread_EventMain: somebody signaled terminate -> bail out\n");
        return Wake::Terminate;
    }
    if (ready == 0) {
        traceAt(
            1, "Thread_EventMain: ## WARNING ##: select returned 0 (maybe timeout) --> continue\n");
        return Wake::Nothing;
    }
    return Wake::Event;
}

/// The host's signals are for its own threads: a handler that runs here would end the wait.
void blockAsynchronousSignals() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int synchronous : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&signals, synchronous);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

/// Ends a run however the thread leaves its loop.
class RunEnd {
  public:
    explicit RunEnd(EventRun& run) : run_(run) {}
    ~RunEnd() {
        const varnock::CancellationGuard wholeEnd;
        traceAt(1, "Thread_EventMain: Event thread exited\n");
        run_.leave();
    }
    RunEnd(const RunEnd&) = delete;
    RunEnd& operator=(const RunEnd&) = delete;

  private:
    EventRun& run_;
};

/// Closes the pipe again unless everything that uses it has started.
class PipeGuard {
  public:
    explicit PipeGuard(CSwitchClient& client) : client_(&client) {}
    ~PipeGuard() {
        if (client_ != nullptr) {
            client_->CloseEventTerminatePipe();
        }
    }
    PipeGuard(const PipeGuard&) = delete;
    PipeGuard& operator=(const PipeGuard&) = delete;
    void keep() { client_ = nullptr; }

  private:
    CSwitchClient* client_;
};

void traceThrown(const char* what) {
    traceAt(1,
            "Thread_EventMain: ## ERROR ##: the receiver of the event has thrown (%s) --> "
            "ignore it\n",
            what);
}

}  // namespace

CSwitchClient::~CSwitchClient() {
    const varnock::CancellationGuard wholeDestruction;
    StopEventThread();
    CloseEventTerminatePipe();
}

/// False when the lock cannot be had: the caller is the event thread, and who has the lock is
/// enabling events anew and waits for that thread to end.
bool CSwitchClient::lockEnabling(std::unique_lock<std::mutex>& lock) const {
    const EventRun* own = EventRun::ofThisThread(this);
    if (own == nullptr) {
        lock.lock();
        return true;
    }
    while (!lock.try_lock()) {
        if (own->isHeldUp) {
            return false;
        }
        varnock::Clock::instance().sleepFor(kLockPause);
    }
    return true;
}

bool CSwitchClient::EnableEvents(int enable, int) {
    std::unique_lock lock(enableLock_, std::defer_lock);
    if (!lockEnabling(lock)) {
        return true;
    }
    try {
        return enable != 0 ? startEvents() : stopEvents();
    } catch (const std::exception&) {
        return false;
    }
}

bool CSwitchClient::startEvents() {
    traceAt(1, "EnableEvents: we are going to enable events for this process ...\n");
    dropInheritedEvents();
    if (eventsEnabled_ != 0) {
        traceAt(
            1,
            "EnableEvents: WARNING: Events (and the corresponding infrastructure) for this "
            "process has been already enabled and started -> we rely on this and do nothing!\n");
        return true;
    }
    // One that was given up waiting for must not meet what is set up now.
    if (run_ != nullptr && run_->isRunning()) {
        run_->isHeldUp = true;
        joinEventThread();
    }
    if (!terminatePipe_->open()) {
        return false;
    }
    PipeGuard pipe(*this);
    if (!registerEvents() || !startThread()) {
        return false;
    }
    pipe.keep();
    return true;
}

bool CSwitchClient::registerEvents() {
    const int fd = RegisterForEvents(nullptr);
    if (fd < 0) {
        traceAt(1, "EnableEvents: WARNING: cannot register thread for events\n");
        return false;
    }
    m_EventKolmFd = fd;
    traceAt(1, "EnableEvents: thread for events registered on m_EventKolmFd=%d\n", fd);
    return true;
}

bool CSwitchClient::startThread() {
    const varnock::CancellationGuard wholeStart;
    const std::string name = applicationName();
    run_ = std::make_shared<EventRun>(this, terminatePipe_->readEnd(), m_EventKolmFd);
    eventThread_.SetThreadName(name.c_str(), kThreadName);
    run_->setRunning(true);
    if (!eventThread_.Start(&Thread_EventMain, this, kPriority, 0, kStackSize, 0, 1)) {
        run_.reset();
        traceAt(1,
                "EnableEvents: WARNING: cannot start thread for events (Modulename=%s, Details=%s "
                "started\n",
                name.c_str(), kThreadName);
        CloseEventTerminatePipe();
        UnRegisterForEvents();
        m_EventKolmFd = -1;
        return false;
    }
    traceAt(1, "EnableEvents: thread for events (Modulename=%s, Details=%s started\n", name.c_str(),
            kThreadName);
    traceAt(1, "EnableEvents: events enabled for this process ...\n");
    eventsEnabled_ = 1;
    return true;
}

bool CSwitchClient::stopEvents() {
    traceAt(1, "EnableEvents: we are going to disable events for this process ...\n");
    dropInheritedEvents();
    if (eventsEnabled_ == 0) {
        traceAt(1,
                "EnableEvents: WARNING: Events (and the corresponding infrastructure) for this "
                "process has been already disabled -> we rely on this and do nothing!\n");
        return true;
    }
    run_->stop.request();
    WakeupThread_EventMain();
    if (!run_->isCalledOnOwnThread()) {
        run_->awaitEnd();
    }
    varnock::Clock::instance().sleepFor(kAfterEnd);
    UnRegisterForEvents();
    CloseEventTerminatePipe();
    m_EventKolmFd = -1;
    traceAt(1, "EnableEvents: events disabled for this process ...\n");
    eventsEnabled_ = 0;
    return true;
}

/// After a fork() the child has the descriptors, but neither the thread nor a right to wake that of
/// its parent.
void CSwitchClient::dropInheritedEvents() {
    if (run_ == nullptr || run_->belongsToThisProcess()) {
        return;
    }
    CloseEventTerminatePipe();
    m_EventKolmFd = -1;
    eventsEnabled_ = 0;
    run_.reset();
}

void CSwitchClient::StopEventThread() {
    const varnock::CancellationGuard wholeStop;
    {
        const std::lock_guard lock(enableLock_);
        dropInheritedEvents();
        if (run_ == nullptr || run_->isJoined) {
            return;
        }
        run_->stop.request();
        if (terminatePipe_->isOpen()) {
            WakeupThread_EventMain();
        }
    }
    // Without the lock: a listener may want to disable the events meanwhile.
    joinEventThread();
}

/// Waits for the event thread, which has been told to stop. If that is the caller, nobody will wait
/// for it any more.
void CSwitchClient::joinEventThread() {
    run_->isJoined = true;
    if (run_->isCalledOnOwnThread()) {
        pthread_detach(pthread_self());
    } else {
        eventThread_.Kill(0);
    }
}

void CSwitchClient::WakeupThread_EventMain() {
    terminatePipe_->wake();
}

void CSwitchClient::CloseEventTerminatePipe() {
    terminatePipe_->close();
}

void* CSwitchClient::Thread_EventMain(void* context) {
    if (context == nullptr) {
        traceAt(1, "Thread_EventMain: ## ERROR ## internal error on starting pClassContext = %p\n",
                context);
    } else {
        blockAsynchronousSignals();
        static_cast<CSwitchClient*>(context)->EventMain();
    }
    ThreadReturn(0);
    return nullptr;
}

void CSwitchClient::EventMain() {
    // A copy: a listener may destroy this object, after which only the run may be touched.
    const std::shared_ptr<EventRun> run =
        run_ != nullptr
            ? run_
            : std::make_shared<EventRun>(this, terminatePipe_->readEnd(), m_EventKolmFd);
    run->enter();
    const RunEnd end(*run);
    traceAt(1, "Thread_EventMain: Event thread started\n");
    for (;;) {
        const Wake wake = awaitWake(*run);
        if (wake == Wake::Terminate || (wake == Wake::Event && !handleEvent(*run))) {
            return;
        }
    }
}

/// False when the thread cannot go on.
bool CSwitchClient::handleEvent(EventRun& run) {
    try {
        SipJson event;
        const EventRead read = varnock::readEvent(run.eventFd, event, &run.stop);
        if (read.kind == EventRead::Kind::Delivered) {
            deliver(event);
            return true;
        }
        // The agent has gone, and will come back: events must not end silently with it.
        return followChannel(run, read.kind == EventRead::Kind::EndOfFile
                                      ? varnock::reOpenEventChannel(&run.stop)
                                      : read.fd);
    } catch (const std::exception& failure) {
        traceThrown(failure.what());
        varnock::pauseFor(kAfterFailure, &run.stop);
        return true;
    }
}

bool CSwitchClient::followChannel(EventRun& run, int fd) {
    if (run.stop.requested()) {
        // Whoever stops the thread may have closed the channel before this one was made.
        varnock::closeEventChannel();
        return true;
    }
    if (fd < 0) {
        traceAt(1, "Thread_EventMain: ## ERROR ##: GetEventJson failed --> bail out\n");
        return false;
    }
    traceAt(
        1,
        "Thread_EventMain: ## WARNING ##: Event channel has been reopened FdOld=%d, FdNew=%d --> "
        "accept it\n",
        run.eventFd, fd);
    run.eventFd = fd;
    m_EventKolmFd = fd;
    return true;
}

/// Calls the listener, which may throw or destroy this object.
void CSwitchClient::deliver(SipJson& event) {
    if (Debug.IsOn(2)) {
        Debug.Print(2, "EVENT OC=%04X, OE=%04X, Cab=%02X, OId=%04X, Status=%04X, HasReplyData=%d\n",
                    event.OpCode(), event.OpCodeExt(), event.CabinetNr(), event.ObjectId(),
                    event.Status(), static_cast<int>(event.HasReplyData()));
    }
    try {
        Event(event);
    } catch (const std::exception& thrown) {
        traceThrown(thrown.what());
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        traceThrown("no standard exception");
    }
}
