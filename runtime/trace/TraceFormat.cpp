#include "runtime/trace/TraceFormat.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/trace/PlainFormat.h"

namespace varnock {
namespace {

// This code runs for every entry. Its loops are faster than strspn, which builds tables for texts
// of mostly one character.

const char* skipLeadingNewlines(const char* format) {
    const char* rest = format;
    while (*rest == '\n') {
        ++rest;
    }
    return *rest != '\0' ? rest : format;
}

constexpr bool isOneOf(char c, std::string_view set) {
    return set.find(c) != set.npos;
}

/// Finds the next conversion "S" without a length modifier; null if there is none.
const char* findPlainS(const char* format) {
    constexpr std::string_view kFlagsWidthPrecision = "0123456789.-+ #'I*$";
    constexpr std::string_view kLengths = "hlLqjzt";
    while ((format = strchr(format, '%')) != nullptr) {
        do {
            ++format;
        } while (*format != '\0' && isOneOf(*format, kFlagsWidthPrecision));
        if (*format == 'S') {
            return format;
        }
        while (*format != '\0' && isOneOf(*format, kLengths)) {
            ++format;
        }
        if (*format == '\0') {
            return nullptr;
        }
        ++format;
    }
    return nullptr;
}

/// A copy of `format` with every plain "%S" replaced by "%s".
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

/// The formats that formatPlain() does not support.
std::size_t formatOther(char* text, std::size_t size, const char* format, va_list arguments) {
    const char* firstS = strchr(format, 'S') != nullptr ? findPlainS(format) : nullptr;
    if (firstS != nullptr) {
        return print(text, size, withPlainStrings(format, firstS).c_str(), arguments);
    }
    return print(text, size, format, arguments);
}

/// A copy of an argument list.
class ArgumentCopy {
  public:
    explicit ArgumentCopy(va_list arguments) { va_copy(list_, arguments); }
    ~ArgumentCopy() { va_end(list_); }
    ArgumentCopy(const ArgumentCopy&) = delete;
    ArgumentCopy& operator=(const ArgumentCopy&) = delete;

    va_list& list() { return list_; }

  private:
    va_list list_;
};

}  // namespace

std::size_t formatTraceText(char* text, std::size_t size, const char* format, va_list arguments) {
    format = skipLeadingNewlines(format);
    // The copy is for the rare case: whoever reads a list that was just made and copied waits until
    // the copy has reached the memory.
    ArgumentCopy again(arguments);
    if (const char* const end = formatPlain(text, size, format, arguments)) {
        return static_cast<std::size_t>(end - text);
    }
    return formatOther(text, size, format, again.list());
}

}  // namespace varnock
