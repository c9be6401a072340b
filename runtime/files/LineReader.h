#pragma once

#include <stdio.h>

#include <cstddef>

// Internal, not installed.
namespace varnock {

/// The lines of one of the library's text files, from where the stream stands. Lines have at most
/// 1023 characters; of a longer one the first 1023 are used and the rest is dropped, so that a
/// piece of it is never taken for a line of its own.
///
/// It reads ahead and at its end puts the stream behind the last line taken, where that can seek.
/// Not thread-safe, and the stream must not be used meanwhile.
class LineReader {
  public:
    static constexpr std::size_t kMaxLength = 1023;

    explicit LineReader(FILE* file) : file_(file) {}
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Goes to the next line; false at the end of the file.
    [[nodiscard]] bool next();

    /// The line without its newline, terminated, until the next one. A NUL byte in the file ends it
    /// early.
    char* text() { return text_; }
    /// Bytes before the newline, at most maxLength.
    std::size_t length() const { return length_; }
    /// The line ended with a newline, not with the file.
    bool hasNewline() const { return hasNewline_; }
    /// Something was dropped.
    bool isCut() const { return isCut_; }
    /// Bytes taken so far, newlines and what was dropped included.
    std::size_t offset() const { return read_ - unused(); }

  private:
    static constexpr std::size_t kCapacity = 4096;

    std::size_t unused() const { return static_cast<std::size_t>(end_ - next_); }
    [[nodiscard]] bool refill();
    void take(std::size_t length, bool hasNewline);
    void takeBeginning();

    FILE* file_;
    std::size_t read_ = 0;
    char buffer_[kCapacity + 1];  ///< the terminator may stand behind all of it
    char* next_ = buffer_;        ///< what has been read and not been taken
    char* end_ = buffer_;
    char* text_ = buffer_;
    std::size_t length_ = 0;
    bool hasNewline_ = false;
    bool isCut_ = false;
};

}  // namespace varnock
