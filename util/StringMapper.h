#pragma once

#include <string>

#include "util/Export.h"

/// Converts between the strings of the agent's side and UTF-8.
///
/// Both sides use UTF-8 on this platform, so each conversion is a copy. Code that passes text
/// from one side to the other still uses these functions: another encoding would be handled only
/// here. Bytes are never checked or changed.
///
/// Thread-safety: any thread may call any operation. Errors: std::bad_alloc only.
class VARNOCK_EXPORT CStringMapper {
  public:
    /// Copies `text` to `out`. For a null or empty text returns false and leaves `out` unchanged.
    static bool UTF8ToString(std::string& out, const char* text);
    /// A copy of `text`; null gives the empty string.
    static std::string UTF8ToString(const char* text);
    /// A copy of `text`; null gives the empty string.
    static std::string StringToUTF8(const char* text);
};
