#include "agent/host/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <string_view>

#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

std::optional<std::string> readFile(const std::filesystem::path& path, std::size_t limit) {
    const FileDescriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> buffer;
    while (content.size() < limit) {
        const std::size_t room = std::min(buffer.size(), limit - content.size());
        const ssize_t count = read(fd.get(), buffer.data(), room);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            content.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
    return content;
}

std::string trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of(kSpace) - first + 1));
}

std::optional<std::string> readLine(const std::filesystem::path& path) {
    const auto content = readFile(path, 4096);
    if (!content) {
        return std::nullopt;
    }
    std::string line = trimmed(std::string_view(*content).substr(0, content->find('\n')));
    return line.empty() ? std::nullopt : std::optional(std::move(line));
}

std::optional<unsigned> parseDecimal(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<unsigned> readNumber(const std::filesystem::path& path) {
    const auto line = readLine(path);
    return line ? parseDecimal(*line) : std::nullopt;
}

}  // namespace varnock::agent
