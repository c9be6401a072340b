#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace varnock::test {

/// A snapshot of a ring-buffer file, parsed for tests.
class TraceFile {
  public:
    explicit TraceFile(const std::string& path);

    const std::string& bytes() const { return bytes_; }
    std::int64_t size() const { return static_cast<std::int64_t>(bytes_.size()); }
    /// Line 0 to 7 of the header, without its newline.
    std::string headerLine(std::size_t index) const { return bytes_.substr(index * 80, 79); }
    /// The value area of a header line without the blanks at its end.
    std::string value(std::size_t index) const;
    std::int64_t opens() const { return std::stoll(value(3)); }
    std::int64_t wraps() const { return std::stoll(value(4)); }
    std::int64_t ringBufferSize() const { return std::stoll(value(5)); }
    std::int64_t position() const { return std::stoll(value(6)); }

    /// The whole lines that begin at `begin` and end before `end`.
    std::vector<std::string> lines(std::int64_t begin, std::int64_t end) const;
    /// lines() without their entry headers.
    std::vector<std::string> messages(std::int64_t begin, std::int64_t end) const;
    /// Everything between the file's header and the write position.
    std::vector<std::string> messages() const { return messages(1024, position()); }

  private:
    std::string bytes_;
};

/// Writes `bytes` into the file at `offset`.
void patchFile(const std::string& path, std::int64_t offset, const std::string& bytes);

}  // namespace varnock::test
