#pragma once

#include <cstddef>
#include <string>

namespace varnockctl {

/// The lines of a file descriptor, read in blocks. Does not own the descriptor.
class BatchInput {
  public:
    explicit BatchInput(int descriptor) : descriptor_(descriptor) {}

    /// Waits for the next line, without its newline. Of a line that is too long, only the beginning
    /// is kept. False at the end of the input, or after an error.
    [[nodiscard]] bool next(std::string& line);
    /// True if the last line was too long.
    bool isTooLong() const { return isTooLong_; }
    /// True if next() would have to wait.
    [[nodiscard]] bool isPausing() const;
    /// The errno value that ended the input, or 0.
    int error() const { return error_; }

    static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

  private:
    [[nodiscard]] bool fill();

    int descriptor_;
    std::string block_;
    std::size_t begin_ = 0;
    bool isTooLong_ = false;
    int error_ = 0;
};

}  // namespace varnockctl
