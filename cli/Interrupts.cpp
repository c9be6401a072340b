#include "cli/Interrupts.h"

#include <errno.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <system_error>
#include <utility>

#include "cli/Watchdog.h"
#include "util/Mutex.h"

namespace varnockctl {
namespace {

/// The time for a command to end itself, and the time after which the process ends even if printing
/// blocks. Together they stay well below the documented half second.
constexpr timespec kPatience{0, 150'000'000};
constexpr std::chrono::milliseconds kLastResort{350};

/// Ends the handler's thread. Its default action is to do nothing, so other senders are harmless.
constexpr int kOverSignal = SIGURG;

std::atomic<int> interruption;  ///< the signal received, 0 if none
varnock::Mutex endingLock;
bool endsItself VARNOCK_GUARDED_BY(endingLock);
const Wakeup* commandWakeup VARNOCK_GUARDED_BY(endingLock);

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

ExitStatus statusOf(int signal) {
    return signal == SIGTERM ? ExitStatus::terminated : ExitStatus::interrupted;
}

/// True if the command ends itself.
[[nodiscard]] bool wakeCommand() {
    const varnock::ScopedLock guard(endingLock);
    if (commandWakeup != nullptr) {
        commandWakeup->wake();
    }
    return endsItself;
}

}  // namespace

Wakeup::Wakeup() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (fd_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

Wakeup::~Wakeup() {
    close(fd_);
}

void Wakeup::wake() const {
    eventfd_write(fd_, 1);
}

InterruptHandler::InterruptHandler(End end) : end_(std::move(end)) {
    sigemptyset(&signals_);
    sigaddset(&signals_, kOverSignal);
    for (const int signal : {SIGINT, SIGTERM}) {
        if (!isIgnored(signal)) {
            sigaddset(&signals_, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    try {
        thread_ = std::thread([this] { handle(); });
    } catch (const std::system_error&) {
        // Without the thread a signal ends the process as it does by default.
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
}

InterruptHandler::~InterruptHandler() {
    if (!thread_.joinable()) {
        return;
    }
    isOver_ = true;
    pthread_kill(thread_.native_handle(), kOverSignal);
    thread_.join();
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

/// The next signal; 0 after the time limit or when the handler ends.
int InterruptHandler::take(const timespec* limit) const {
    while (!isOver_) {
        const int signal = sigtimedwait(&signals_, nullptr, limit);
        if (signal < 0 && errno == EAGAIN) {
            return 0;
        }
        if (signal > 0 && signal != kOverSignal) {
            return signal;
        }
    }
    return 0;
}

void InterruptHandler::handle() const {
    const int signal = take(nullptr);
    if (signal == 0) {
        return;
    }
    interruption = signal;
    const auto endNow = [signal] { _exit(static_cast<int>(statusOf(signal))); };
    try {
        const Watchdog watchdog(kLastResort, endNow);
        if (wakeCommand()) {
            take(&kPatience);
        }
        if (!isOver_) {
            end_(Interrupts::ending());
        }
        while (!isOver_) {
            take(nullptr);
        }
    } catch (const std::exception&) {
        // There is no memory, or no thread can be created.
        endNow();
    }
}

Interrupts::Interrupts(const Wakeup* wakeup) {
    const varnock::ScopedLock guard(endingLock);
    endsItself = true;
    commandWakeup = wakeup;
}

Interrupts::~Interrupts() {
    const varnock::ScopedLock guard(endingLock);
    endsItself = false;
    commandWakeup = nullptr;
}

bool Interrupts::happened() {
    return interruption != 0;
}

Ending Interrupts::ending() {
    return {statusOf(interruption), interruption == SIGTERM ? "terminated" : "interrupted"};
}

Failure Interrupts::failure() {
    return {ending().status, ending().message};
}

}  // namespace varnockctl
