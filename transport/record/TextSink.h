#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// Internal.
namespace varnock {

/// Takes a text as it is written: first in memory of the caller, such as a frame, and in a string
/// of its own once that is full. The interface is that of RapidJSON's output streams.
class TextSink {
  public:
    using Ch = char;

    /// REQUIRES: the memory outlives the sink.
    TextSink(char* memory, std::size_t size) : begin_(memory), next_(memory), end_(memory + size) {}
    ~TextSink() = default;
    TextSink(const TextSink&) = delete;
    TextSink& operator=(const TextSink&) = delete;

    void Put(char c) {
        if (next_ == end_) {
            grow(1);
        }
        *next_++ = c;
    }
    void Flush() {}
    void put(std::string_view text) {
        std::memcpy(room(text.size()), text.data(), text.size());
        advance(text.size());
    }

    /// Space for `size` characters at the end of the text; `advance` commits the written ones.
    char* room(std::size_t size) {
        if (static_cast<std::size_t>(end_ - next_) < size) {
            grow(size);
        }
        return next_;
    }
    void advance(std::size_t size) { next_ += size; }

    /// The text so far. Without a NUL.
    std::string_view text() const { return {begin_, size()}; }
    std::size_t size() const { return static_cast<std::size_t>(next_ - begin_); }
    /// True while all of the text is in the caller's memory.
    bool isInPlace() const { return spill_.empty(); }

  private:
    void grow(std::size_t more) {
        const std::size_t before = size();
        const std::size_t capacity = std::max<std::size_t>({256, before + more, 2 * before});
        if (isInPlace()) {
            std::string spill;
            spill.reserve(capacity);
            spill.append(text());
            spill.resize(capacity);
            spill_.swap(spill);
        } else {
            spill_.resize(capacity);
        }
        begin_ = spill_.data();
        next_ = begin_ + before;
        end_ = begin_ + spill_.size();
    }

    char* begin_;
    char* next_;
    char* end_;
    std::string spill_;
};

}  // namespace varnock
