#pragma once

#include <string>
#include <string_view>

namespace varnockctl {

/// The text for a terminal: each control character other than newline and tab, and each byte that
/// is not UTF-8, becomes the four characters \xNN.
std::string printable(std::string_view text);

}  // namespace varnockctl
