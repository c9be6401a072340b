#include "cli/output/ExitStatus.h"

#include <utility>

namespace varnockctl {

std::string_view meaningOf(ExitStatus status) {
    using enum ExitStatus;
    static constexpr std::pair<ExitStatus, std::string_view> kMeanings[] = {
        {done, "done"},
        {usage, "usage error"},
        {notAvailable, "not found or not available"},
        {noAgent, "the agent cannot be reached"},
        {timeout, "no answer within the time limit"},
        {refused, "the agent refused or failed the command"},
        {partial, "a part of the result is missing"},
        {permission, "not allowed"},
        {unintelligible, "the reply or file is malformed"},
        {outputLost, "standard output cannot be written"},
        {failed, "out of memory or threads"},
        {interrupted, "interrupted"},
        {terminated, "terminated"}};
    for (const auto& [known, meaning] : kMeanings) {
        if (status == known) {
            return meaning;
        }
    }
    return "failed";
}

}  // namespace varnockctl
