#include "cli/Console.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

namespace varnock::console {
namespace {

// 0, or the errno value of the failure.
int writeAll(int descriptor, std::string_view text) {
    [[maybe_unused]] static const auto before = signal(SIGPIPE, SIG_IGN);
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (written < 0 && errno == EAGAIN) {
            // Others may have made the terminal or the pipe non-blocking for all.
            pollfd writable{descriptor, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (written == 0 || errno != EINTR) {
            return written == 0 ? EIO : errno;
        }
    }
    return 0;
}

constexpr size_t bufferSize = 64 * 1024;
std::string unwritten;
int outputError;

void flushOutput() {
    if (outputError == 0) {
        outputError = writeAll(STDOUT_FILENO, unwritten);
    }
    unwritten.clear();
}

// Some file systems say only then that there was no room. Number 1 stays taken.
int closingError() {
    const int copy = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return copy < 0 || close(copy) == 0 || errno == EINTR ? 0 : errno;
}

// Plain data without constructors: the stream is in use before any of this program's have run.
constexpr size_t keptSize = 64 * 1024;
char kept[keptSize];
size_t keptLength;
std::atomic<bool> passThrough;
// Zero-initialised; the stream's own lock serialises the writers, this one the switch-over.
constinit std::mutex mutex;

ssize_t takeTrace(void*, const char* text, size_t size) {
    const std::lock_guard guard(mutex);
    if (passThrough) {
        writeAll(STDERR_FILENO, {text, size});
        return static_cast<ssize_t>(size);
    }
    const size_t room = keptSize - keptLength;
    const size_t taken = size < room ? size : room;
    __builtin_memcpy(kept + keptLength, text, taken);
    keptLength += taken;
    return static_cast<ssize_t>(size);
}

void takeStderrAway() {
    cookie_io_functions_t functions{};
    functions.write = takeTrace;
    if (FILE* stream = fopencookie(nullptr, "w", functions)) {
        setvbuf(stream, nullptr, _IOLBF, 0);
        stderr = stream;
    }
}

// The next file that is opened would get the number of a stream that is closed, and then what is
// printed. What takes its place can neither be read nor written, and programs that are run do not
// inherit it.
void occupyStandardDescriptors() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (fcntl(number, F_GETFD) < 0) {
            open("/", O_PATH | O_CLOEXEC);
        }
    }
}

void begin() {
    occupyStandardDescriptors();
    takeStderrAway();
}

// Runs before the initialisers of every shared library.
__attribute__((section(".preinit_array"), used)) void (*const beforeLibraries)() = begin;

}  // namespace

bool print(std::string_view text, Flush flush) {
    unwritten += text;
    if (flush == Flush::now || unwritten.size() >= bufferSize) {
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

bool finishOutput(std::string_view program) {
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
    writeAll(STDERR_FILENO, std::string(line) + "\n");
}

void showTrace() {
    const std::lock_guard guard(mutex);
    writeAll(STDERR_FILENO, {kept, keptLength});
    keptLength = 0;
    passThrough = true;
}

}  // namespace varnock::console
