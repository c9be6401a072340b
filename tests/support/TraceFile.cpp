#include "tests/support/TraceFile.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "tests/support/TraceCapture.h"

namespace varnock::test {

TraceFile::TraceFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    bytes_.resize(file ? static_cast<std::size_t>(file.tellg()) : 0);
    file.seekg(0);
    file.read(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
}

std::string TraceFile::value(std::size_t index) const {
    const std::string area = bytes_.substr(index * 80 + 35, 43);
    return area.substr(0, area.find_last_not_of(' ') + 1);
}

std::vector<std::string> TraceFile::lines(std::int64_t begin, std::int64_t end) const {
    std::vector<std::string> lines;
    const auto limit = static_cast<std::size_t>(std::min(end, size()));
    for (auto at = static_cast<std::size_t>(begin); at < limit;) {
        const std::size_t newline = bytes_.find('\n', at);
        if (newline >= limit) {
            break;
        }
        lines.push_back(bytes_.substr(at, newline - at));
        at = newline + 1;
    }
    return lines;
}

std::vector<std::string> TraceFile::messages(std::int64_t begin, std::int64_t end) const {
    std::vector<std::string> messages = lines(begin, end);
    std::transform(messages.begin(), messages.end(), messages.begin(), withoutEntryHeader);
    return messages;
}

void patchFile(const std::string& path, std::int64_t offset, const std::string& bytes) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(offset);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

}  // namespace varnock::test
