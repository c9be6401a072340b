#pragma once

#include <string>
#include <vector>

#include "cli/calls/Catalogue.h"
#include "cli/calls/ObservedClient.h"
#include "cli/output/ExitStatus.h"
#include "cli/output/Json.h"

namespace varnockctl {

/// Whether the result of a call is valid. The typed calls return 0 or null on failure or for absent
/// data; the verdict distinguishes that from a reading of 0.
struct Verdict {
    ExitStatus status = ExitStatus::done;
    std::string reason;  ///< why there is no value; empty if there is one
};

/// Judges the result of a call by the records exchanged with the agent.
[[nodiscard]] Verdict judge(const CatalogueRow& row, const Json& value,
                            const std::vector<Exchange>& exchanges);

/// The meaning of a status, of a reply or of the connection.
[[nodiscard]] ExitStatus exitStatusOf(unsigned int status);
std::string describeStatus(unsigned int status);

}  // namespace varnockctl
