#include "cli/Options.h"

#include <string_view>

#include "cli/output/Failure.h"
#include "tools/Number.h"

namespace varnockctl {

namespace {

/// The value of the option -o in an argument; `next` is the argument after it. Null if there is
/// none.
const char* formatOption(const char* argument, const char* next) {
    constexpr std::string_view name = "--output";
    const std::string_view text = argument;
    if (text.starts_with(name)) {
        return text.size() == name.size() ? next
               : text[name.size()] == '=' ? argument + name.size() + 1
                                          : nullptr;
    }
    constexpr std::string_view flags = "vfh";
    if (!text.starts_with('-')) {
        return nullptr;
    }
    const std::size_t option = text.find_first_not_of(flags, 1);
    if (option == text.npos || text[option] != 'o') {
        return nullptr;
    }
    return option + 1 == text.size() ? next : argument + option + 1;
}

}  // namespace

Format formatIn(int argc, const char* const* argv) {
    Format found = Format::table;
    for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
        const char* const value = formatOption(argv[i], argv[i + 1]);
        for (const auto& [name, format] : kFormats) {
            found = value != nullptr && std::string_view(value) == name ? format : found;
        }
    }
    return found;
}

unsigned int parseNumber(const std::string& text, const char* option, unsigned int maximum) {
    const auto number = varnock::parseNumber(text);
    if (!number || *number > maximum) {
        throw Failure(ExitStatus::usage, std::string(option) + ": \"" + text +
                                             "\" is not a number from 0 to " +
                                             std::to_string(maximum));
    }
    return *number;
}

}  // namespace varnockctl
