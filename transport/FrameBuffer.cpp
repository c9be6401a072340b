#include "transport/FrameBuffer.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace varnock {

static_assert(sizeof(unsigned int) == kLengthWord);

FrameBuffer::FrameBuffer(std::size_t capacity)
    : words_(new (std::nothrow) unsigned int[capacity / sizeof(unsigned int) + 1]) {}

void FrameBuffer::put(std::string_view text) {
    words_[0] = static_cast<unsigned int>(text.size() + 1);
    memcpy(bytes() + kLengthWord, text.data(), text.size());
    bytes()[kLengthWord + text.size()] = '\0';
}

const char* FrameBuffer::text(std::size_t received) {
    const std::size_t length = std::min<std::size_t>(words_[0], received - kLengthWord);
    bytes()[kLengthWord + length] = '\0';
    return bytes() + kLengthWord;
}

}  // namespace varnock
