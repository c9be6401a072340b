#pragma once

#include <string>
#include <vector>

#include "cli/calls/Catalogue.h"
#include "cli/calls/ObservedClient.h"
#include "cli/output/ExitStatus.h"
#include "cli/output/Json.h"

namespace varnockctl {

/// What a call's result is worth. The typed calls answer 0 or null where something failed or is
/// absent; this tells such a 0 from a reading.
struct Verdict {
    ExitStatus status = ExitStatus::done;
    std::string reason;  ///< why there is no value; empty when there is one
};

/// Judges the result of a call by what passed between it and the agent.
Verdict judge(const CatalogueRow& row, const Json& value, const std::vector<Exchange>& exchanges);

/// The meaning of a status of a reply or of the connection.
ExitStatus exitStatusOf(unsigned int status);
std::string describeStatus(unsigned int status);

}  // namespace varnockctl
