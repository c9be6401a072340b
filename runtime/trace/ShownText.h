#pragma once

// Internal.
namespace varnock {

/// What the trace shows of a text that may be null.
inline const char* shown(const char* text) {
    return text != nullptr ? text : "(null)";
}

}  // namespace varnock
