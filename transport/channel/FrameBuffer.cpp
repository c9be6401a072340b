#include "transport/channel/FrameBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace varnock {

static_assert(sizeof(unsigned int) == kFrameHeader);

FrameBuffer::FrameBuffer(std::size_t capacity)
    : words_(new (std::nothrow) unsigned int[capacity / sizeof(unsigned int) + 1]) {}

void FrameBuffer::put(std::string_view text) {
    writeFrame(bytes(), text);
}

const char* FrameBuffer::text(std::size_t received) {
    const std::size_t length = std::min<std::size_t>(words_[0], received - kFrameHeader);
    bytes()[kFrameHeader + length] = '\0';
    return bytes() + kFrameHeader;
}

}  // namespace varnock
