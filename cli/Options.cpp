#include "cli/Options.h"

#include <charconv>
#include <system_error>

#include "cli/Failure.h"

namespace varnockctl {

unsigned int parseNumber(const std::string& text, const char* option, unsigned int maximum) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* begin = text.data() + (hexadecimal ? 2 : 0);
    const char* end = text.data() + text.size();
    unsigned int value = 0;
    const auto parsed = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc{} || parsed.ptr != end || value > maximum) {
        throw Failure(ExitStatus::usage, std::string(option) + ": \"" + text +
                                             "\" is no number from 0 to " +
                                             std::to_string(maximum));
    }
    return value;
}

}  // namespace varnockctl
