#pragma once

#include <cstddef>
#include <memory>
#include <new>
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
    /// Uses the memory of a buffer that was released. REQUIRES: not null.
    static FrameBuffer adopt(void* released);
    /// Hands over the memory, which comes from operator new.
    [[nodiscard]] void* release() { return words_.release(); }

    explicit operator bool() const { return words_ != nullptr; }
    unsigned int* frame() { return words_.get(); }
    char* bytes() { return reinterpret_cast<char*>(words_.get()); }
    unsigned int length() const { return *words_; }

    /// Writes the frame of a text: length word, text, NUL. REQUIRES: all of it fits.
    void put(std::string_view text);
    /// Where the text of the frame is.
    char* textBegin() { return bytes() + kFrameHeader; }
    /// Makes a frame of the text that was written to textBegin(). REQUIRES: all of it fits.
    void finish(std::size_t textLength);
    /// The text of a frame of which `received` bytes, at least a length word, have arrived. It
    /// always ends with a NUL, and never contains earlier contents of the buffer.
    char* text(std::size_t received);

  private:
    struct Deleter {
        void operator()(unsigned int* words) const { ::operator delete(words); }
    };

    std::unique_ptr<unsigned int, Deleter> words_;
};

}  // namespace varnock
