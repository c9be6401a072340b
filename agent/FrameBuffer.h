#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "transport/AgentProtocol.h"

namespace varnock::agent {

/// A peer announced a frame longer than the limit.
struct FrameTooLong : std::runtime_error {
    FrameTooLong() : std::runtime_error("frame too long") {}
};

/// The frame of a text. REQUIRES: fitsFrame(text).
std::string encodeFrame(std::string_view text);
[[nodiscard]] bool fitsFrame(std::string_view text);
/// The reverse of encodeFrame(); nothing if the bytes are not exactly such a frame.
[[nodiscard]] std::optional<std::string> textOfFrame(const std::string& frame);

/// Splits the bytes of a stream, arriving in any pieces, into frames. Its size is bounded if
/// takeText() is called after every append(). Not thread-safe.
class FrameBuffer {
  public:
    void append(std::string_view bytes);
    /// The text of the next complete frame up to its first NUL, or nothing yet. Throws FrameTooLong
    /// as soon as the length word exceeds the limit; the stream is unusable afterwards.
    [[nodiscard]] std::optional<std::string> takeText();
    /// The same, but the bytes of the frame as they arrived.
    [[nodiscard]] std::optional<std::string> takeFrame();
    /// Everything that was not yet taken, whole frame or not.
    [[nodiscard]] std::string takeRest();
    /// True if bytes of a frame that was not yet taken have arrived.
    bool holdsBytes() const { return start_ < bytes_.size(); }

  private:
    std::size_t nextFrame() const;
    void skip(std::size_t count);

    std::string bytes_;
    std::size_t start_ = 0;
};

}  // namespace varnock::agent
