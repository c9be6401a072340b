#pragma once

#include <string>
#include <string_view>

namespace varnockctl {

/// The text for people: bytes that a terminal would obey, or that are not UTF-8, become the four
/// characters \xNN each. Newlines and tabs stay.
std::string printable(std::string_view text);

}  // namespace varnockctl
