#include "runtime/files/LineReader.h"

#include <string.h>

#include <algorithm>

#include "runtime/threads/Cancellation.h"

namespace varnock {

LineReader::~LineReader() {
    const CancellationGuard uncancelled;  // the seek may read from the file
    if (unused() > 0) {
        fseeko(file_, -static_cast<off_t>(unused()), SEEK_CUR);
    }
}

bool LineReader::next() {
    std::size_t searched = 0;
    for (;;) {
        if (void* newline = memchr(next_ + searched, '\n', unused() - searched)) {
            take(static_cast<std::size_t>(static_cast<char*>(newline) - next_), true);
            return true;
        }
        searched = unused();
        if (searched > kMaxLength) {
            takeBeginning();
            return true;
        }
        if (!refill()) {
            break;
        }
    }
    if (searched == 0) {
        return false;
    }
    take(searched, false);
    return true;
}

/// Reads more of the file behind the unused bytes; false at the end of the file.
bool LineReader::refill() {
    const std::size_t kept = unused();
    memmove(buffer_, next_, kept);
    const std::size_t got = fread_unlocked(buffer_ + kept, 1, kCapacity - kept, file_);
    read_ += got;
    next_ = buffer_;
    end_ = buffer_ + kept + got;
    return got > 0;
}

void LineReader::take(std::size_t length, bool hasNewline) {
    text_ = next_;
    next_ += length + (hasNewline ? 1 : 0);
    isCut_ = length > kMaxLength;
    hasNewline_ = hasNewline;
    length_ = std::min(length, kMaxLength);
    text_[length_] = '\0';
}

/// Takes the beginning of a line that is too long, and drops the rest of the line.
void LineReader::takeBeginning() {
    memmove(buffer_, next_, kMaxLength);
    next_ = buffer_ + kMaxLength + 1;
    char* const rest = next_;
    const void* newline = nullptr;
    do {
        const auto room = static_cast<std::size_t>(buffer_ + kCapacity - rest);
        const std::size_t got = fread_unlocked(rest, 1, room, file_);
        read_ += got;
        end_ = rest + got;
        newline = memchr(rest, '\n', got);
    } while (newline == nullptr && end_ != rest);
    next_ = newline != nullptr ? const_cast<char*>(static_cast<const char*>(newline)) + 1 : end_;
    text_ = buffer_;
    text_[kMaxLength] = '\0';
    length_ = kMaxLength;
    hasNewline_ = newline != nullptr;
    isCut_ = true;
}

}  // namespace varnock
