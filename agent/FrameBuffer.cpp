#include "agent/FrameBuffer.h"

#include <cstring>

namespace varnock::agent {

bool fitsFrame(std::string_view text) {
    return frameSize(text) <= kFrameLimit;
}

std::string encodeFrame(std::string_view text) {
    std::string frame(frameSize(text), '\0');
    writeFrame(frame.data(), text);
    return frame;
}

void FrameBuffer::append(std::string_view bytes) {
    bytes_.erase(0, start_);
    start_ = 0;
    bytes_.append(bytes);
}

std::optional<std::string> FrameBuffer::takeText() {
    const std::string_view waiting = std::string_view(bytes_).substr(start_);
    if (waiting.size() < kFrameHeader) {
        return std::nullopt;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, waiting.data(), kFrameHeader);
    if (length > kFrameLimit - kFrameHeader) {
        throw FrameTooLong();
    }
    if (waiting.size() < kFrameHeader + length) {
        return std::nullopt;
    }
    const std::string_view text = waiting.substr(kFrameHeader, length);
    std::string result(text.substr(0, text.find('\0')));
    start_ += kFrameHeader + length;
    if (start_ == bytes_.size()) {
        // The memory of a single large frame must not stay allocated for the life of the
        // connection.
        std::string().swap(bytes_);
        start_ = 0;
    }
    return result;
}

}  // namespace varnock::agent
