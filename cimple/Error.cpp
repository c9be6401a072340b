#include <cimple/Error.h>

#include <cstdarg>
#include <cstdio>

#include <cimple/String.h>

CIMPLE_NAMESPACE_BEGIN

namespace {

thread_local String text;

}  // namespace

void Error::set(const char* format, ...) {
    char buffer[1024];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    text.assign(length < 0 ? "" : buffer);
}

const char* Error::get() {
    return text.c_str();
}

void Error::clear() {
    text.clear();
}

CIMPLE_NAMESPACE_END
