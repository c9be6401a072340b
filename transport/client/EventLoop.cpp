#include "transport/client/EventLoop.h"

#include <cxxabi.h>
#include <poll.h>

#include <chrono>
#include <exception>
#include <utility>

#include "runtime/process/Clock.h"
#include "runtime/threads/Cancellation.h"
#include "transport/channel/AgentDevice.h"
#include "transport/channel/EventChannel.h"
#include "transport/channel/TransportTrace.h"

namespace varnock {
namespace {

constexpr std::chrono::milliseconds kAfterFailure{1000};

enum class Wake { event, nothing, terminate };

/// Waits for an event or the stop request. The pipe is checked first. A failed or interrupted wait
/// counts as a signal on the pipe: the thread exits rather than spin.
Wake awaitWake(const EventRun& run) {
    pollfd descriptors[2] = {{run.stop.wakeFd(), POLLIN, 0}, {run.eventFd, POLLIN, 0}};
    const bool isToldToStop = run.stop.requested() || run.stop.wakeFd() < 0;
    const int ready = isToldToStop ? -1 : Clock::instance().poll(descriptors, 2, -1);
    if (ready < 0 || descriptors[0].revents != 0) {
        traceAt(1, "Thread_EventMain: somebody signaled terminate -> bail out\n");
        return Wake::terminate;
    }
    if (ready == 0) {
        traceAt(
            1, "Thread_EventMain: ## WARNING ##: select returned 0 (maybe timeout) --> continue\n");
        return Wake::nothing;
    }
    return Wake::event;
}

/// Marks the run as ended when the thread leaves its loop, also by an exception or cancellation.
class RunEnd {
  public:
    explicit RunEnd(EventRun& run) : run_(run) {}
    ~RunEnd() {
        const CancellationGuard wholeEnd;
        traceAt(1, "Thread_EventMain: Event thread exited\n");
        run_.leave();
    }
    RunEnd(const RunEnd&) = delete;
    RunEnd& operator=(const RunEnd&) = delete;

  private:
    EventRun& run_;
};

void traceThrown(const char* what) {
    traceAt(1,
            "Thread_EventMain: ## ERROR ##: the receiver of the event has thrown (%s) --> "
            "ignore it\n",
            what);
}

}  // namespace

EventLoop::EventLoop(EventRun& run, std::atomic<int>& shownFd, EventListener listener)
    : run_(run), shownFd_(shownFd), listener_(std::move(listener)) {}

void EventLoop::run() {
    run_.enter();
    const RunEnd end(run_);
    traceAt(1, "Thread_EventMain: Event thread started\n");
    for (;;) {
        const bool mustReopen = isChannelLost_ && !run_.stop.requested();
        const Wake wake = mustReopen ? Wake::event : awaitWake(run_);
        if (wake == Wake::terminate || (wake == Wake::event && !handleEvent())) {
            return;
        }
    }
}

/// False when the thread must exit.
bool EventLoop::handleEvent() {
    try {
        if (isChannelLost_) {
            return reopen();
        }
        SipJson event;
        const EventRead read = readEvent(run_.eventFd, event, &run_.stop);
        if (read.kind == EventRead::Kind::delivered) {
            deliver(event);
            return true;
        }
        // The agent may have been restarted. Events must not end silently, so the channel is
        // reopened.
        return read.kind == EventRead::Kind::endOfFile ? reopen() : followChannel(read.fd);
    } catch (const std::exception& failure) {
        traceThrown(failure.what());
        isChannelLost_ = currentEventFd() != run_.eventFd;
        pauseFor(kAfterFailure, &run_.stop);
        return true;
    }
}

bool EventLoop::reopen() {
    const int fd = reOpenEventChannel(&run_.stop);
    isChannelLost_ = false;
    return followChannel(fd);
}

bool EventLoop::followChannel(int fd) {
    if (run_.stop.requested()) {
        // The stopping thread may have closed the channel before this one was opened.
        closeEventChannel();
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
        run_.eventFd, fd);
    run_.eventFd = fd;
    shownFd_ = fd;
    return true;
}

/// Calls the listener, which may throw or destroy the client.
void EventLoop::deliver(SipJson& event) const {
    if (Debug.IsOn(2)) {
        Debug.Print(2, "EVENT OC=%04X, OE=%04X, Cab=%02X, OId=%04X, Status=%04X, HasReplyData=%d\n",
                    event.OpCode(), event.OpCodeExt(), event.CabinetNr(), event.ObjectId(),
                    event.Status(), static_cast<int>(event.HasReplyData()));
    }
    try {
        listener_(event);
    } catch (const std::exception& thrown) {
        traceThrown(thrown.what());
    } catch (const abi::__forced_unwind&) {
        throw;
    } catch (...) {
        traceThrown("no standard exception");
    }
}

}  // namespace varnock
