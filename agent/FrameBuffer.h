#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "transport/AgentProtocol.h"

namespace varnock::agent {

/// A peer announced a frame that is longer than the limit.
struct FrameTooLong : std::runtime_error {
    FrameTooLong() : std::runtime_error("frame too long") {}
};

/// The frame of a text. REQUIRES: fitsFrame(text).
std::string encodeFrame(std::string_view text);
bool fitsFrame(std::string_view text);

/// Cuts the bytes of a stream into frames, in whatever pieces they come. Holds at most what was
/// appended, so that its size is bounded as long as takeText() is called after every append().
/// Not thread-safe.
class FrameBuffer {
  public:
    void append(std::string_view bytes);
    /// The text of the next complete frame up to its first NUL, or nothing yet. Throws FrameTooLong
    /// as soon as the length word announces too much; the stream cannot be followed any further.
    std::optional<std::string> takeText();
    /// True when bytes of a frame have come that is not taken yet.
    bool holdsBytes() const { return start_ < bytes_.size(); }

  private:
    std::string bytes_;
    std::size_t start_ = 0;
};

}  // namespace varnock::agent
