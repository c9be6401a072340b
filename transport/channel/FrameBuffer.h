#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "transport/AgentProtocol.h"

/// Internal, not installed.
namespace varnock {

/// Memory for one frame, a length word and that many bytes of text, and for the frame that is read
/// over it. What has not been written is uninitialised: clearing a megabyte costs more than a
/// request.
class FrameBuffer {
  public:
    /// A buffer without memory.
    FrameBuffer() = default;
    /// Room for `capacity` bytes, at least a length word, and one more for the NUL that text()
    /// writes; without memory when there is none.
    explicit FrameBuffer(std::size_t capacity);

    explicit operator bool() const { return words_ != nullptr; }
    unsigned int* frame() { return words_.get(); }
    char* bytes() { return reinterpret_cast<char*>(words_.get()); }
    unsigned int length() const { return words_[0]; }

    /// Makes the frame of a text: length word, text, NUL. REQUIRES: all of it fits.
    void put(std::string_view text);
    /// The text of a frame of which `received` bytes, at least a length word, have come. Whatever
    /// the peer sent, it ends with a NUL, and nothing that stood in the buffer before is part of
    /// it.
    const char* text(std::size_t received);

  private:
    std::unique_ptr<unsigned int[]> words_;
};

}  // namespace varnock
