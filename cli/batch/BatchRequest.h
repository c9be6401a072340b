#pragma once

#include <string>
#include <string_view>

#include "cli/calls/CallTable.h"
#include "cli/output/Json.h"

namespace varnockctl {

/// One line of a batch: {"call": NAME, "cabinet": N, "object": N, "ext": N, "value": V,
/// "node": TEXT, "id": ANY}. Only the first is required; "id" is returned with the answer.
struct BatchRequest {
    std::string call;
    CallArguments arguments;
};

/// Parses a line. `id` gets the identification, also of a line that is refused. Throws Failure
/// (usage).
[[nodiscard]] BatchRequest parseBatchRequest(std::string_view line, Json& id,
                                             JsonAllocator& allocator);

}  // namespace varnockctl
