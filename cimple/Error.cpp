#include <cimple/Error.h>

#include <cstdarg>

#include <cimple/Format.h>
#include <cimple/String.h>

CIMPLE_NAMESPACE_BEGIN

namespace {

thread_local String text;

}  // namespace

void Error::set(const char* format, ...) {
    char buffer[detail::longestText + 1];
    va_list args;
    va_start(args, format);
    detail::formatText(buffer, format, args);
    va_end(args);
    text.assign(buffer);
}

const char* Error::get() {
    return text.c_str();
}

void Error::clear() {
    text.clear();
}

CIMPLE_NAMESPACE_END
