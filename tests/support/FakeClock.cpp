#include "tests/support/FakeClock.h"

#include <errno.h>

#include <algorithm>

namespace varnock::test {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

/// Monotonic and calendar time start at values that no test can mistake for "unset".
constexpr nanoseconds kMonotonicStart = seconds(1'000);
constexpr nanoseconds kWallStart = seconds(1'400'000'000);

/// How long a thread really waits before it checks the others again.
constexpr int kSliceMs = 1;

timespec toTimespec(nanoseconds time) {
    timespec result{};
    result.tv_sec = static_cast<time_t>(time / seconds(1));
    result.tv_nsec = static_cast<long>((time % seconds(1)).count());
    return result;
}

nanoseconds fromTimespec(const timespec& time) {
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

}  // namespace

FakeClock::FakeClock() : previous_(Clock::replace(this)) {}

FakeClock::~FakeClock() {
    Clock::replace(previous_);
}

void FakeClock::advance(milliseconds duration) {
    moveTo(nanoseconds(now_) + duration);
}

void FakeClock::jump(seconds by) {
    jumped_ += nanoseconds(by).count();
}

void FakeClock::expireWaits(bool expire) {
    expireWaits_ = expire;
}

void FakeClock::failNextPoll(int error, milliseconds after) {
    const std::lock_guard lock(mutex_);
    failures_.push_back({error, after});
}

std::vector<std::chrono::milliseconds> FakeClock::sleeps() const {
    const std::lock_guard lock(mutex_);
    return sleeps_;
}

std::vector<std::chrono::milliseconds> FakeClock::expiredPolls() const {
    const std::lock_guard lock(mutex_);
    return expiredPolls_;
}

std::chrono::milliseconds FakeClock::elapsed() const {
    return std::chrono::duration_cast<milliseconds>(nanoseconds(now_));
}

void FakeClock::join(Participant& participant) {
    const std::lock_guard lock(mutex_);
    participants_.push_back(&participant);
}

void FakeClock::leave(Participant& participant) {
    const std::lock_guard lock(mutex_);
    std::erase(participants_, &participant);
}

void FakeClock::sleepFor(milliseconds duration) {
    {
        const std::lock_guard lock(mutex_);
        sleeps_.push_back(duration);
    }
    pthread_testcancel();
    moveTo(nanoseconds(now_) + duration);
}

int FakeClock::poll(pollfd* descriptors, nfds_t count, int timeoutMs) {
    if (const std::optional<Failure> failure = takeFailure()) {
        moveTo(nanoseconds(now_) + failure->after);
        errno = failure->error;
        return failure->error != 0 ? -1 : 0;
    }
    if (timeoutMs == 0) {
        return ::poll(descriptors, count, 0);
    }
    std::optional<nanoseconds> deadline;
    if (timeoutMs > 0) {
        deadline = nanoseconds(now_) + milliseconds(timeoutMs);
    }
    const int result = pollVirtually(descriptors, count, deadline);
    if (result == 0) {
        const std::lock_guard lock(mutex_);
        expiredPolls_.push_back(milliseconds(timeoutMs));
    }
    return result;
}

int FakeClock::pollVirtually(pollfd* descriptors, nfds_t count,
                             std::optional<nanoseconds> deadline) {
    for (;;) {
        const Participant::Standing others = standing();
        // Checked after the others, so that their effects before they became idle are visible.
        const bool idle = others.state == Participant::State::Idle;
        const bool timeIsUp = idle && deadline && nanoseconds(now_) >= *deadline;
        const bool movesTime = idle && (deadline || others.due);
        const int result = ::poll(descriptors, count, timeIsUp || movesTime ? 0 : kSliceMs);
        if (result != 0 || timeIsUp) {
            return result;
        }
        if (movesTime) {
            reach(std::min(deadline.value_or(nanoseconds::max()),
                           others.due.value_or(nanoseconds::max())));
        }
    }
}

int FakeClock::waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                         const timespec& deadline) {
    return waitToVirtual(condition, mutex,
                         fromTimespec(deadline) - kWallStart - nanoseconds(jumped_));
}

int FakeClock::waitMonotonicUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  nanoseconds deadline) {
    return waitToVirtual(condition, mutex, deadline - kMonotonicStart);
}

/// `end` is a virtual time.
int FakeClock::waitToVirtual(pthread_cond_t* condition, pthread_mutex_t* mutex, nanoseconds end) {
    if (nanoseconds(now_) < end && expireWaits_) {
        moveTo(end);
    }
    if (nanoseconds(now_) >= end) {
        return ETIMEDOUT;
    }
    timespec slice{};
    clock_gettime(CLOCK_REALTIME, &slice);
    slice = toTimespec(fromTimespec(slice) + milliseconds(kSliceMs));
    const int result = pthread_cond_timedwait(condition, mutex, &slice);
    return result == ETIMEDOUT ? 0 : result;
}

std::chrono::nanoseconds FakeClock::monotonicTime() {
    return kMonotonicStart + nanoseconds(now_);
}

timespec FakeClock::wallTime() {
    return toTimespec(kWallStart + nanoseconds(now_) + nanoseconds(jumped_));
}

FakeClock::Participant::Standing FakeClock::standing() {
    using State = Participant::State;
    const std::lock_guard lock(mutex_);
    Participant::Standing all;
    for (Participant* participant : participants_) {
        const Participant::Standing one = participant->standing();
        if (one.state == State::Working || all.state == State::Idle) {
            all.state = one.state;
        }
        if (one.due && (!all.due || *one.due < *all.due)) {
            all.due = one.due;
        }
    }
    return all;
}

/// Sets the time, never backwards, and tells the participants.
void FakeClock::reach(nanoseconds time) {
    nanoseconds::rep now = now_;
    while (now < time.count() && !now_.compare_exchange_weak(now, time.count())) {
    }
    const std::lock_guard lock(mutex_);
    for (Participant* participant : participants_) {
        participant->reach(nanoseconds(now_));
    }
}

/// Moves the time to the target. Everything due until then is done when this returns.
void FakeClock::moveTo(nanoseconds target) {
    for (;;) {
        const Participant::Standing others = standing();
        if (others.state == Participant::State::Working) {
            ::poll(nullptr, 0, kSliceMs);
        } else if (others.due && *others.due <= target) {
            reach(*others.due);
        } else if (nanoseconds(now_) < target) {
            reach(target);
        } else {
            return;
        }
    }
}

std::optional<FakeClock::Failure> FakeClock::takeFailure() {
    const std::lock_guard lock(mutex_);
    if (failures_.empty()) {
        return std::nullopt;
    }
    const Failure failure = failures_.front();
    failures_.pop_front();
    return failure;
}

}  // namespace varnock::test
