#include "cli/trace/TraceBytes.h"

#include <algorithm>

namespace varnockctl {
namespace {

constexpr std::int64_t kWindowSize = std::int64_t{1} << 20;

}  // namespace

void TraceBytes::load(std::int64_t offset) {
    ++loads_;
    // A file that is read backwards needs the bytes before the offset.
    const std::int64_t before = offset < windowBegin_ ? kWindowSize * 3 / 4 : 0;
    windowBegin_ = std::max<std::int64_t>(offset - before, 0);
    window_.assign(static_cast<std::size_t>(std::min(kWindowSize, size_ - windowBegin_)), '\0');
    // Bytes that are missing, as of a file that was cut meanwhile, stay NUL.
    for (std::size_t got = 0; got < window_.size();) {
        const std::size_t more = read_(windowBegin_ + static_cast<std::int64_t>(got),
                                       window_.data() + got, window_.size() - got);
        if (more == 0) {
            break;
        }
        got += more;
    }
}

std::string_view TraceBytes::view(std::int64_t offset, std::size_t length) {
    length = std::min(length, static_cast<std::size_t>(size_ - offset));
    const auto end = [&] { return windowBegin_ + static_cast<std::int64_t>(window_.size()); };
    if (offset < windowBegin_ || offset + static_cast<std::int64_t>(length) > end()) {
        load(offset);
    }
    return std::string_view(window_).substr(static_cast<std::size_t>(offset - windowBegin_),
                                            length);
}

std::int64_t TraceBytes::findNewline(std::int64_t begin, std::int64_t end) {
    while (begin < end) {
        const auto length =
            std::min<std::int64_t>(end - begin, static_cast<std::int64_t>(kLongestView));
        const std::size_t found = view(begin, static_cast<std::size_t>(length)).find('\n');
        if (found != std::string_view::npos) {
            return begin + static_cast<std::int64_t>(found);
        }
        begin += length;
    }
    return end;
}

}  // namespace varnockctl
