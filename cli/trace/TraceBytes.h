#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace varnockctl {

/// The bytes of a trace file: a copy, or a window of a file that is too large for one.
class TraceBytes {
  public:
    /// Reads up to `length` bytes at an offset. Returns the number of bytes read.
    using Read = std::function<std::size_t(std::int64_t offset, char* to, std::size_t length)>;

    explicit TraceBytes(std::string bytes)
        : window_(std::move(bytes)), size_(static_cast<std::int64_t>(window_.size())) {}
    TraceBytes(Read read, std::int64_t size) : read_(std::move(read)), size_(size) {}

    std::int64_t size() const { return size_; }
    /// How often the window has been read from the file.
    std::size_t loads() const { return loads_; }
    /// Up to `length` bytes at the offset, fewer only at the end. Valid until the next call.
    /// REQUIRES: 0 <= offset <= size(), length <= kLongestView.
    std::string_view view(std::int64_t offset, std::size_t length);
    /// The offset of the first newline in [begin, end), else `end`.
    std::int64_t findNewline(std::int64_t begin, std::int64_t end);

    static constexpr std::size_t kLongestView = std::size_t{64} << 10;

  private:
    void load(std::int64_t offset);

    Read read_;
    std::string window_;
    std::int64_t windowBegin_ = 0;
    std::int64_t size_;
    std::size_t loads_ = 0;
};

}  // namespace varnockctl
