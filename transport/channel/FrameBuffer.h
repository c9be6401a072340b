#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "transport/AgentProtocol.h"

/// Internal, not installed.
namespace varnock {

/// Memory for one frame, a length word and that many bytes of text, and for the frame read over it.
/// Unwritten memory is uninitialised: clearing a megabyte costs more than a request.
class FrameBuffer {
  public:
    /// A buffer without memory.
    FrameBuffer() = default;
    /// Space for `capacity` bytes, at least a length word, and one more for the NUL that text()
    /// writes; without memory if the allocation fails.
    explicit FrameBuffer(std::size_t capacity);

    explicit operator bool() const { return words_ != nullptr; }
    unsigned int* frame() { return words_.get(); }
    char* bytes() { return reinterpret_cast<char*>(words_.get()); }
    unsigned int length() const { return words_[0]; }

    /// Writes the frame of a text: length word, text, NUL. REQUIRES: all of it fits.
    void put(std::string_view text);
    /// The text of a frame of which `received` bytes, at least a length word, have arrived. It
    /// always ends with a NUL, and never contains earlier contents of the buffer.
    const char* text(std::size_t received);

  private:
    std::unique_ptr<unsigned int[]> words_;
};

}  // namespace varnock
