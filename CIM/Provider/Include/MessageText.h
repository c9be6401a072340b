#pragma once

#include <cimple/cimple.h>

#include <initializer_list>
#include <new>

namespace varnock {

/// The message of an exception: the parts one after the other. Empty without memory, so that the
/// caller gets the exception all the same. Internal, not installed.
inline cimple::String messageText(std::initializer_list<const char*> parts) {
    try {
        cimple::String text;
        for (const char* part : parts) {
            text.append(part);
        }
        return text;
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace varnock
