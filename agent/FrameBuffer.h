#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varnock::agent {

/// Largest frame that either side accepts, header included: 1 MiB.
inline constexpr std::size_t kFrameLimit = 0x100000;
/// The length word in front of the text.
inline constexpr std::size_t kFrameHeader = sizeof(std::uint32_t);

/// A peer announced a frame that is longer than the limit.
struct FrameTooLong : std::runtime_error {
    FrameTooLong() : std::runtime_error("frame too long") {}
};

/// The frame of a text: its length with the terminating NUL as a 32-bit word in host byte order,
/// the text, the NUL. The caller has seen to it that it fits the limit (fitsFrame()).
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
