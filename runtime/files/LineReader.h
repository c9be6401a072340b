#pragma once

#include <stdio.h>

#include <cstddef>

// Internal, not installed.
namespace varnock {

/// Reads the lines of one of the library's text files, from the position of the stream on. A line
/// has at most 1023 characters. The rest of a longer line is dropped, so that it is never read as a
/// line of its own.
///
/// The reader reads ahead. Its destructor sets the stream to the end of the last line taken, if the
/// stream can seek. Not thread-safe. Nothing else may use the stream during the life of the reader.
class LineReader {
  public:
    static constexpr std::size_t kMaxLength = 1023;

    explicit LineReader(FILE* file) : file_(file) {}
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Goes to the next line; false at the end of the file.
    [[nodiscard]] bool next();

    /// The line without its newline, terminated; valid until next() is called. A NUL byte in the
    /// file ends the text early.
    char* text() { return text_; }
    /// Bytes before the newline, at most maxLength.
    std::size_t length() const { return length_; }
    /// True if the line ended with a newline, false if it ended with the file.
    bool hasNewline() const { return hasNewline_; }
    /// True if the rest of the line was dropped.
    bool isCut() const { return isCut_; }
    /// Bytes taken so far, with newlines and dropped bytes.
    std::size_t offset() const { return read_ - unused(); }

  private:
    static constexpr std::size_t kCapacity = 4096;

    std::size_t unused() const { return static_cast<std::size_t>(end_ - next_); }
    [[nodiscard]] bool refill();
    void take(std::size_t length, bool hasNewline);
    void takeBeginning();

    FILE* file_;
    std::size_t read_ = 0;
    char buffer_[kCapacity + 1];  ///< one more for the terminator
    char* next_ = buffer_;        ///< start of the bytes that are read and not taken
    char* end_ = buffer_;
    char* text_ = buffer_;
    std::size_t length_ = 0;
    bool hasNewline_ = false;
    bool isCut_ = false;
};

}  // namespace varnock
