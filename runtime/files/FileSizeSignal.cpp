#include "runtime/files/FileSizeSignal.h"

#include <errno.h>
#include <pthread.h>
#include <time.h>

namespace varnock {
namespace {

sigset_t fileSizeSignal() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGXFSZ);
    return signals;
}

bool isPending() {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGXFSZ) == 1;
}

}  // namespace

FileSizeSignal::FileSizeSignal() {
    const int error = errno;
    const sigset_t blocked = fileSizeSignal();
    sigemptyset(&before_);
    pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    isHostsOwn_ = isPending();
    errno = error;
}

FileSizeSignal::~FileSizeSignal() {
    const int error = errno;
    const sigset_t caused = fileSizeSignal();
    constexpr timespec kNoWait{};
    if (!isHostsOwn_) {
        // The system sends the signal to the thread that wrote, so no other thread takes it.
        while (sigtimedwait(&caused, nullptr, &kNoWait) == -1 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
}

}  // namespace varnock
