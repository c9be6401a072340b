#include "tests/support/TraceCapture.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>

namespace varnock::test {
namespace {

constexpr unsigned int kConsole = 1;
constexpr std::size_t kThreadDigits = 16;

int orThrow(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

bool isThreadDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

/// Length of "[0123456789ABCDEF]: " at this position of the line, 0 for anything else.
std::size_t threadTagLength(std::string_view rest) {
    constexpr std::size_t kLength = kThreadDigits + 4;
    if (rest.size() < kLength || rest[0] != '[' || rest.substr(kThreadDigits + 1, 3) != "]: ") {
        return 0;
    }
    const auto digits = rest.substr(1, kThreadDigits);
    return std::all_of(digits.begin(), digits.end(), isThreadDigit) ? kLength : 0;
}

}  // namespace

std::string withoutEntryHeader(const std::string& line) {
    const std::string_view all(line);
    for (std::size_t at = all.find('['); at != all.npos; at = all.find('[', at + 1)) {
        if (const std::size_t length = threadTagLength(all.substr(at)); length != 0) {
            return line.substr(at + length);
        }
    }
    return line;
}

TraceCapture::TraceCapture(unsigned int level)
    : before_(DebugTestAccess::switches(Debug)),
      standardError_(orThrow(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3), "standard error")),
      memory_(orThrow(memfd_create("trace", MFD_CLOEXEC), "memfd_create")) {
    // Appending is atomic, even if a forked child writes at the same time.
    orThrow(fcntl(memory_, F_SETFL, O_APPEND), "fcntl");
    fflush(stderr);
    orThrow(dup2(memory_, STDERR_FILENO), "dup2");
    setLevel(level);
}

TraceCapture::~TraceCapture() {
    DebugTestAccess::set(Debug, before_);
    fflush(stderr);
    dup2(standardError_, STDERR_FILENO);
    close(standardError_);
    close(memory_);
}

void TraceCapture::setLevel(unsigned int level) {
    DebugTestAccess::set(Debug, {kConsole, level, level, 1});
}

std::string TraceCapture::text() const {
    struct stat status {};
    orThrow(fstat(memory_, &status), "fstat");
    std::string text(static_cast<std::size_t>(status.st_size) - begin_, '\0');
    const ssize_t length = pread(memory_, text.data(), text.size(), static_cast<off_t>(begin_));
    text.resize(static_cast<std::size_t>(orThrow(static_cast<int>(length), "pread")));
    return text;
}

std::vector<std::string> TraceCapture::lines() const {
    std::vector<std::string> lines;
    const std::string all = text();
    for (std::size_t begin = 0; begin < all.size();) {
        const std::size_t end = std::min(all.find('\n', begin), all.size());
        lines.push_back(all.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

std::vector<std::string> TraceCapture::messages() const {
    std::vector<std::string> messages = lines();
    std::transform(messages.begin(), messages.end(), messages.begin(), withoutEntryHeader);
    return messages;
}

std::size_t TraceCapture::count(std::string_view text) const {
    const std::vector<std::string> all = messages();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(),
        [text](const std::string& message) { return message.find(text) != message.npos; }));
}

void TraceCapture::clear() {
    begin_ += text().size();
}

}  // namespace varnock::test
