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

std::optional<std::string> textOfFrame(const std::string& frame) try {
    FrameBuffer frames;
    frames.append(frame);
    auto text = frames.takeText();
    return text && encodeFrame(*text) == frame ? text : std::nullopt;
} catch (const FrameTooLong&) {
    return std::nullopt;
}

void FrameBuffer::append(std::string_view bytes) {
    bytes_.erase(0, start_);
    start_ = 0;
    bytes_.append(bytes);
}

std::optional<std::string> FrameBuffer::takeText() {
    const std::size_t size = nextFrame();
    if (size == 0) {
        return std::nullopt;
    }
    const std::string_view text =
        std::string_view(bytes_).substr(start_ + kFrameHeader, size - kFrameHeader);
    std::string result(text.substr(0, text.find('\0')));
    skip(size);
    return result;
}

std::optional<std::string> FrameBuffer::takeFrame() {
    const std::size_t size = nextFrame();
    if (size == 0) {
        return std::nullopt;
    }
    std::string result = bytes_.substr(start_, size);
    skip(size);
    return result;
}

std::string FrameBuffer::takeRest() {
    std::string result = bytes_.substr(start_);
    skip(result.size());
    return result;
}

/// The bytes of the next frame with its header; 0 if it is not complete.
std::size_t FrameBuffer::nextFrame() const {
    const std::string_view waiting = std::string_view(bytes_).substr(start_);
    if (waiting.size() < kFrameHeader) {
        return 0;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, waiting.data(), kFrameHeader);
    if (length > kFrameLimit - kFrameHeader) {
        throw FrameTooLong();
    }
    return waiting.size() < kFrameHeader + length ? 0 : kFrameHeader + length;
}

void FrameBuffer::skip(std::size_t count) {
    start_ += count;
    if (start_ == bytes_.size()) {
        // The memory of a single large frame must not stay allocated for the life of the
        // connection.
        std::string().swap(bytes_);
        start_ = 0;
    }
}

}  // namespace varnock::agent
