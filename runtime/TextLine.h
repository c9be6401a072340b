#pragma once

#include <stdio.h>

#include <cstddef>

/// Internal, not installed.
namespace varnock {

/// A line of one of the library's text files. Lines have at most 1023 characters; of a longer one
/// the first 1023 are used and the rest is dropped, so that a piece of it is never taken for a line
/// of its own.
class TextLine {
  public:
    static constexpr std::size_t maxLength = 1023;

    /// Reads the next line; false at the end of the file.
    bool read(FILE* file);

    /// The line without its newline, terminated. A NUL byte in the file ends it early.
    char* text() { return text_; }
    const char* text() const { return text_; }
    /// Bytes before the newline, at most maxLength.
    std::size_t length() const { return length_; }
    /// The line ended with a newline, not with the file.
    bool hasNewline() const { return hasNewline_; }
    /// Something was dropped.
    bool isCut() const { return isCut_; }

  private:
    char text_[maxLength + 1] = {};
    std::size_t length_ = 0;
    bool hasNewline_ = false;
    bool isCut_ = false;
};

}  // namespace varnock
