#include "runtime/process/Clock.h"

#include <errno.h>

#include <atomic>

namespace varnock {
namespace {

class SystemClock final : public Clock {
  public:
    constexpr SystemClock() = default;

    void sleepFor(std::chrono::milliseconds duration) override {
        timespec rest{};
        rest.tv_sec = static_cast<time_t>(duration.count() / 1000);
        rest.tv_nsec = static_cast<long>(duration.count() % 1000) * 1'000'000;
        while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
        }
    }

    int poll(pollfd* descriptors, nfds_t count, int timeoutMs) override {
        return ::poll(descriptors, count, timeoutMs);
    }

    int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                  const timespec& deadline) override {
        return pthread_cond_timedwait(condition, mutex, &deadline);
    }

    std::chrono::nanoseconds monotonicTime() override { return read(CLOCK_MONOTONIC); }

    timespec wallTime() override {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        return now;
    }

    time_t wallSecond() override { return time(nullptr); }

  private:
    static std::chrono::nanoseconds read(clockid_t id) {
        timespec now{};
        clock_gettime(id, &now);
        return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    }
};

/// The trace reads the clock before the first constructor and after the last destructor. So the
/// clock is constant-initialised, and it is never destroyed: a destructor would reset its virtual
/// table.
union Undestroyed {
    constexpr Undestroyed() : clock() {}
    constexpr ~Undestroyed() {}
    SystemClock clock;
};
constinit Undestroyed systemClock;
constinit std::atomic<Clock*> currentClock{&systemClock.clock};

}  // namespace

int Clock::waitMonotonicUntil(pthread_cond_t* condition, pthread_mutex_t* mutex,
                              std::chrono::nanoseconds deadline) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(deadline);
    timespec end{};
    end.tv_sec = static_cast<time_t>(whole.count());
    end.tv_nsec = static_cast<long>((deadline - whole).count());
    return pthread_cond_clockwait(condition, mutex, CLOCK_MONOTONIC, &end);
}

Clock& Clock::instance() {
    return *currentClock.load(std::memory_order_acquire);
}

Clock* Clock::replace(Clock* clock) {
    return currentClock.exchange(clock != nullptr ? clock : &systemClock.clock,
                                 std::memory_order_acq_rel);
}

}  // namespace varnock
