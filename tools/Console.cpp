#include "tools/Console.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <utility>

#include "tools/Printable.h"

namespace varnock::console {
namespace {

/// Keeps SIGPIPE from this thread, and its disposition unchanged for programs that are run.
class BlockedPipeSignal {
  public:
    BlockedPipeSignal() {
        sigset_t pending;
        sigpending(&pending);
        wasPending_ = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~BlockedPipeSignal() {
        // A destructor must not be a cancellation point.
        int cancelState = 0;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
        const timespec now{};
        while (!wasPending_ && sigtimedwait(&pipe_, nullptr, &now) < 0 && errno == EINTR) {
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
        pthread_setcancelstate(cancelState, nullptr);
    }
    BlockedPipeSignal(const BlockedPipeSignal&) = delete;
    BlockedPipeSignal& operator=(const BlockedPipeSignal&) = delete;

  private:
    bool wasPending_ = false;
    sigset_t pipe_;
    sigset_t before_;
};

/// 0, or the errno value of the failure.
[[nodiscard]] int writeAll(int descriptor, std::string_view text) {
    const BlockedPipeSignal blocked;
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            // Another process may have made the shared terminal or pipe non-blocking.
            pollfd writable{descriptor, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (written == 0 || errno != EINTR) {
            return written == 0 ? EIO : errno;
        }
    }
    return 0;
}

// Plain data without constructors, for failures before these have run.
constexpr size_t kBufferSize = std::size_t{64} * 1024;
char unwritten[kBufferSize];
size_t unwrittenLength;
int outputError;

void writeOutput(std::string_view text) {
    if (outputError == 0) {
        outputError = writeAll(STDOUT_FILENO, text);
    }
}

void flushOutput() {
    writeOutput({unwritten, std::exchange(unwrittenLength, 0)});
}

/// A text for standard error. It is written in pieces if it is long.
class Message {
  public:
    void add(std::string_view text, Layout layout = Layout::escaped) {
        forEachPrintable(
            text, layout,
            [](void* self, std::string_view piece) { static_cast<Message*>(self)->put(piece); },
            this);
    }
    void write() {
        // There is no place to report a failure of standard error.
        static_cast<void>(writeAll(STDERR_FILENO, {text_, length_}));
        length_ = 0;
    }

  private:
    void put(std::string_view piece) {
        while (!piece.empty()) {
            if (length_ == sizeof text_) {
                write();
            }
            const std::size_t taken = piece.copy(text_ + length_, sizeof text_ - length_);
            length_ += taken;
            piece.remove_prefix(taken);
        }
    }

    char text_[4096];
    std::size_t length_ = 0;
};

/// Some file systems report a full disk only on close. A copy is closed, so descriptor 1 stays
/// open.
[[nodiscard]] int closingError() {
    const int copy = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return copy < 0 || close(copy) == 0 || errno == EINTR ? 0 : errno;
}

// A shared library leaves the streams to its program.
#ifndef VARNOCK_SHARED_LIBRARY
/// Without this, the next opened file would get the number of a closed standard stream, and then
/// the printed text. The placeholder can be neither read nor written and is not inherited.
void occupyStandardDescriptors() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (fcntl(number, F_GETFD) < 0) {
            open("/", O_PATH | O_CLOEXEC);
        }
    }
}

/// Runs before the initialisers of every shared library.
__attribute__((section(".preinit_array"),
               used)) void (*const kBeforeLibraries)() = occupyStandardDescriptors;
#endif

}  // namespace

bool print(std::string_view text, Flush flush) {
    if (text.size() > kBufferSize - unwrittenLength) {
        flushOutput();
    }
    if (text.size() > kBufferSize) {
        writeOutput(text);
    } else {
        unwrittenLength += text.copy(unwritten + unwrittenLength, text.size());
    }
    if (flush == Flush::now) {
        flushOutput();
    }
    return outputError == 0;
}

bool isOutputGone() {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (outputError == 0 && poll(&output, 1, 0) > 0) {
        outputError = (output.revents & POLLNVAL) != 0 ? EBADF : EPIPE;
    }
    return outputError != 0;
}

bool finishOutput(std::string_view program, std::string_view text) {
    flushOutput();
    writeOutput(text);
    if (outputError == 0) {
        outputError = closingError();
    }
    if (outputError != 0) {
        Message message;
        message.add(program);
        message.add(": standard output cannot be written: ");
        message.add(strerror(outputError));
        message.add("\n", Layout::kept);
        message.write();
    }
    return outputError == 0;
}

void say(std::string_view message) {
    Message line;
    line.add(message);
    line.add("\n", Layout::kept);
    line.write();
}

void say(std::string_view program, std::string_view message) {
    Message line;
    line.add(program);
    line.add(": ");
    line.add(message);
    line.add("\n", Layout::kept);
    line.write();
}

void complain(std::string_view text) {
    Message message;
    message.add(text, Layout::kept);
    message.write();
}

}  // namespace varnock::console
