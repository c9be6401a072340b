#include "cli/batch/BatchInput.h"

#include <errno.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>

namespace varnockctl {
namespace {

constexpr std::size_t kBlock = std::size_t{64} << 10;

}  // namespace

bool BatchInput::fill() {
    block_.resize(kBlock);
    begin_ = 0;
    ssize_t got = -1;
    do {
        got = read(descriptor_, block_.data(), block_.size());
        if (got < 0 && errno == EAGAIN) {
            pollfd readable{descriptor_, POLLIN, 0};
            poll(&readable, 1, -1);
        }
    } while (got < 0 && (errno == EINTR || errno == EAGAIN));
    error_ = got < 0 ? errno : 0;
    block_.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got > 0;
}

bool BatchInput::next(std::string& line) {
    line.clear();
    isTooLong_ = false;
    while (begin_ < block_.size() || fill()) {
        const std::size_t newline = std::min(block_.find('\n', begin_), block_.size());
        const std::size_t length = newline - begin_;
        const std::size_t kept = std::min(length, kLongestLine - line.size());
        line.append(block_, begin_, kept);
        isTooLong_ = isTooLong_ || kept < length;
        begin_ = newline + 1;
        if (newline < block_.size()) {
            return true;
        }
    }
    return !line.empty();
}

bool BatchInput::isPausing() const {
    if (begin_ < block_.size() && block_.find('\n', begin_) != block_.npos) {
        return false;
    }
    pollfd readable{descriptor_, POLLIN, 0};
    return poll(&readable, 1, 0) == 0;
}

}  // namespace varnockctl
