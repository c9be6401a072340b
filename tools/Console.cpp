#include "tools/Console.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

namespace varnock::console {
namespace {

/// 0, or the errno value of the failure.
[[nodiscard]] int writeAll(int descriptor, std::string_view text) {
    [[maybe_unused]] static const auto before = signal(SIGPIPE, SIG_IGN);
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

constexpr size_t kBufferSize = 64 * 1024;
std::string unwritten;
int outputError;

void flushOutput() {
    if (outputError == 0) {
        outputError = writeAll(STDOUT_FILENO, unwritten);
    }
    unwritten.clear();
}

/// Some file systems report a full disk only on close. A copy is closed, so descriptor 1 stays
/// open.
[[nodiscard]] int closingError() {
    const int copy = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return copy < 0 || close(copy) == 0 || errno == EINTR ? 0 : errno;
}

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

}  // namespace

bool print(std::string_view text, Flush flush) {
    unwritten += text;
    if (flush == Flush::now || unwritten.size() >= kBufferSize) {
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
    unwritten += text;
    flushOutput();
    if (outputError == 0) {
        outputError = closingError();
    }
    if (outputError != 0) {
        say(std::string(program) + ": standard output cannot be written: " + strerror(outputError));
    }
    return outputError == 0;
}

void say(std::string_view line) {
    complain(std::string(line) + "\n");
}

void complain(std::string_view text) {
    // There is no place to report a failure of standard error.
    static_cast<void>(writeAll(STDERR_FILENO, text));
}

}  // namespace varnock::console
