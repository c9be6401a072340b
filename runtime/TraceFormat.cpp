#include "runtime/TraceFormat.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>

namespace varnock {
namespace {

const char* skipLeadingNewlines(const char* format) {
    const char* rest = format + strspn(format, "\n");
    return *rest != '\0' ? rest : format;
}

/// Finds the next conversion "S" without a length modifier, null when there is none.
const char* findPlainS(const char* format) {
    while ((format = strchr(format, '%')) != nullptr) {
        format += 1 + strspn(format + 1, "0123456789-+ #'I*.$");
        if (*format == 'S') {
            return format;
        }
        format += strspn(format, "hlLqjzt");
        if (*format == '\0') {
            return nullptr;
        }
        ++format;
    }
    return nullptr;
}

/// `format` with every plain "%S" turned into "%s".
std::string withPlainStrings(const char* format, const char* firstS) {
    std::string rewritten(format);
    for (const char* s = firstS; s != nullptr; s = findPlainS(s + 1)) {
        rewritten[static_cast<std::size_t>(s - format)] = 's';
    }
    return rewritten;
}

std::size_t print(char* text, std::size_t size, const char* format, va_list arguments) {
    const int length = vsnprintf(text, size, format, arguments);
    if (length < 0) {
        return 0;
    }
    return std::min(static_cast<std::size_t>(length), size - 1);
}

}  // namespace

std::size_t formatTraceText(char* text, std::size_t size, const char* format, va_list arguments) {
    format = skipLeadingNewlines(format);
    if (const char* firstS = findPlainS(format)) {
        return print(text, size, withPlainStrings(format, firstS).c_str(), arguments);
    }
    return print(text, size, format, arguments);
}

}  // namespace varnock
