#include <cimple/Format.h>

#include <cstdio>
#include <cstdlib>

CIMPLE_NAMESPACE_BEGIN

namespace detail {

namespace {

void refuseInDebugBuild([[maybe_unused]] const char* text, [[maybe_unused]] int length) {
#ifndef NDEBUG
    std::fprintf(stderr, "cimple: a text of %d characters, of which the framework bears %zu: %s\n",
                 length, longestText, text);
    std::abort();
#endif
}

}  // namespace

void formatText(char (&text)[longestText + 1], const char* format, va_list args) {
    const int length = std::vsnprintf(text, sizeof text, format, args);
    if (length < 0) {
        text[0] = '\0';
    } else if (static_cast<size_t>(length) > longestText) {
        refuseInDebugBuild(text, length);
    }
}

}  // namespace detail

CIMPLE_NAMESPACE_END
