#include "transport/client/EventRun.h"

#include <errno.h>

#include <chrono>

#include "runtime/process/Clock.h"
#include "runtime/sync/MutexGuard.h"
#include "transport/channel/ProcessState.h"

namespace varnock {
namespace {

constexpr int kSteps = 10;
constexpr std::chrono::milliseconds kStep{500};

thread_local EventRun* runOfThisThread = nullptr;

}  // namespace

EventRun::EventRun(const void* owner, int wakeFd, int eventDescriptor)
    : stop(wakeFd), eventFd(eventDescriptor), owner_(owner), process_(currentProcess()) {}

EventRun::~EventRun() {
    pthread_cond_destroy(&ended_);
    pthread_mutex_destroy(&mutex_);
}

void EventRun::enter() {
    runOfThisThread = this;
    setRunning(true);
}

void EventRun::leave() {
    runOfThisThread = nullptr;
    setRunning(false);
}

void EventRun::setRunning(bool running) {
    const MutexGuard lock(mutex_);
    running_ = running;
    pthread_cond_broadcast(&ended_);
}

bool EventRun::isCalledOnOwnThread() const {
    return runOfThisThread == this;
}

EventRun* EventRun::ofThisThread(const void* owner) {
    const bool isOurs = runOfThisThread != nullptr && runOfThisThread->owner_ == owner;
    return isOurs ? runOfThisThread : nullptr;
}

bool EventRun::belongsToThisProcess() const {
    return process_ == currentProcess();
}

void EventRun::awaitEnd() {
    const MutexGuard lock(mutex_);
    for (int step = 0; step < kSteps && running_; ++step) {
        const auto end = Clock::instance().monotonicTime() + kStep;
        while (running_ &&
               Clock::instance().waitMonotonicUntil(&ended_, &mutex_, end) != ETIMEDOUT) {
        }
    }
}

}  // namespace varnock
