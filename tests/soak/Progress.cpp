#include "tests/soak/Progress.h"

#include <execinfo.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>

namespace varnock::soak {
namespace {

using namespace std::chrono_literals;

constexpr int kShowStack = SIGUSR2;
constexpr int kDepth = 64;

void showStack(int) {
    void* frames[kDepth];
    const int count = backtrace(frames, kDepth);
    backtrace_symbols_fd(frames, count, STDERR_FILENO);
}

}  // namespace

std::chrono::seconds Place::age() const {
    const Clock::duration now = Clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now - Clock::duration(since_));
}

HangWatch::HangWatch() {
    struct sigaction action {};
    action.sa_handler = showStack;
    sigaction(kShowStack, &action, nullptr);
    // The first use loads a library.
    void* frame = nullptr;
    backtrace(&frame, 1);
    thread_ = std::thread([this] { watch(); });
}

HangWatch::~HangWatch() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

Place& HangWatch::place(const std::string& thread) {
    const std::lock_guard lock(mutex_);
    return *places_.emplace_back(std::make_unique<Place>(thread));
}

void HangWatch::watch() {
    std::unique_lock lock(mutex_);
    while (!changed_.wait_for(lock, 500ms, [this] { return isEnding_; })) {
        for (const auto& place : places_) {
            if (place->what() != nullptr && place->age() > kLongest) {
                std::fprintf(stderr, "soak: %s hangs\n", place->thread().c_str());
                reportAndExit();
            }
        }
    }
}

void HangWatch::reportAndExit() const {
    for (const auto& place : places_) {
        const char* what = place->what();
        if (what == nullptr) {
            continue;
        }
        std::fprintf(stderr, "soak: %s: %s for %lld s\n", place->thread().c_str(), what,
                     static_cast<long long>(place->age().count()));
        pthread_kill(place->handle(), kShowStack);
        std::this_thread::sleep_for(200ms);
    }
    _exit(kHung);
}

}  // namespace varnock::soak
