#include "transport/channel/FrameBuffer.h"

#include <algorithm>
#include <new>

namespace varnock {

static_assert(sizeof(unsigned int) == kFrameHeader);

FrameBuffer::FrameBuffer(std::size_t capacity)
    : words_(static_cast<unsigned int*>(::operator new(capacity + 1, std::nothrow))) {}

FrameBuffer FrameBuffer::adopt(void* released) {
    FrameBuffer buffer;
    buffer.words_.reset(static_cast<unsigned int*>(released));
    return buffer;
}

void FrameBuffer::put(std::string_view text) {
    writeFrame(bytes(), text);
}

void FrameBuffer::finish(std::size_t textLength) {
    *words_ = static_cast<unsigned int>(textLength + 1);
    textBegin()[textLength] = '\0';
}

char* FrameBuffer::text(std::size_t received) {
    const std::size_t length = std::min<std::size_t>(*words_, received - kFrameHeader);
    textBegin()[length] = '\0';
    return textBegin();
}

}  // namespace varnock
