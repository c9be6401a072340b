#include "cli/Interrupts.h"

#include <errno.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <system_error>

namespace varnockctl {
namespace {

std::atomic<const Wakeup*> interruptWakeup;
std::atomic<bool> interrupted;

void onInterrupt(int) {
    interrupted = true;
    if (const Wakeup* wakeup = interruptWakeup) {
        wakeup->wake();
    }
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

Interrupts::Interrupts(const Wakeup& wakeup) {
    interruptWakeup = &wakeup;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Interrupts::~Interrupts() {
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    interruptWakeup = nullptr;
}

bool Interrupts::happened() {
    return interrupted;
}

}  // namespace varnockctl
