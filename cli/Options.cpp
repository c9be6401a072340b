#include "cli/Options.h"

#include "cli/output/Failure.h"
#include "tools/Number.h"

namespace varnockctl {

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
