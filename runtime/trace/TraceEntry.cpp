#include "runtime/trace/TraceEntry.h"

#include <string.h>

#include <exception>

#include "runtime/Debug.h"
#include "runtime/trace/TraceFormat.h"

namespace varnock {

bool TraceEntry::format(const char* format, va_list arguments) try {
    writeThreadTag(message() - kThreadTagLength);
    end_ = message() + formatTraceText(message(), kMessageRoom, format, arguments);
    if (end_[-1] != '\n') {
        *end_++ = '\n';
    }
    *end_ = '\0';
    return true;
} catch (const std::exception&) {
    return false;
}

std::string_view TraceEntry::finish(const char* application) {
    char* begin = entryHeader().writeFront(application, message() - kThreadTagLength);
    if (begin < message() - kLongestHeader) {
        // The message overwrites the end of a header that is too long.
        begin = static_cast<char*>(memmove(message() - kLongestHeader, begin, kLongestHeader));
    }
    return {begin, static_cast<std::size_t>(end_ - begin)};
}

void TraceEntry::place() {
    trace_.place(*this);
}

void TraceEntry::prefetch() const {
    // A usual header begins within the first of these lines, and its message ends in the last.
    constexpr std::ptrdiff_t kCacheLine = 64;
    const char* const tag = text_ + EntryHeader::kFrontCapacity;
    for (std::ptrdiff_t at = -kCacheLine; at < 2 * kCacheLine; at += kCacheLine) {
        __builtin_prefetch(tag + at, 1);
    }
}

}  // namespace varnock
