#include "cli/filter/Pattern.h"

#include "cli/output/Failure.h"

namespace varnockctl {

Pattern::Pattern(const std::string& text, const char* option) {
    const int error = regcomp(&expression_, text.c_str(), REG_EXTENDED | REG_NOSUB);
    if (error != 0) {
        char reason[200];
        regerror(error, &expression_, reason, sizeof reason);
        throw Failure(ExitStatus::usage, std::string(option) + ": \"" + text + "\": " + reason);
    }
}

bool Pattern::matches(std::string_view text) const {
    regmatch_t range{};
    range.rm_eo = static_cast<regoff_t>(text.size());
    return regexec(&expression_, text.data(), 1, &range, REG_STARTEND) == 0;
}

}  // namespace varnockctl
