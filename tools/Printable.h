#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace varnock {

/// The newlines and tabs of a text that is shown.
enum class Layout {
    escaped,  ///< they are data, such as a value in a table or a name in a message
    kept,     ///< they belong to the layout
};

/// The text for a terminal: each byte of a control character (U+0000 to U+001F, U+007F to U+009F)
/// and each byte that is not UTF-8 becomes the four characters \xNN.
std::string printable(std::string_view text, Layout layout = Layout::escaped);

/// The same without an allocation: calls `put` with the pieces of the text, in order.
void forEachPrintable(std::string_view text, Layout layout,
                      void (*put)(void* context, std::string_view piece), void* context);

/// The length of the well-formed UTF-8 sequence at the beginning of the text, 0 if there is none.
std::size_t utf8Length(std::string_view text);

}  // namespace varnock
