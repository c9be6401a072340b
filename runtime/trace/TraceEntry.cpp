#include "runtime/trace/TraceEntry.h"

#include <string.h>

#include <exception>

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

}  // namespace varnock
