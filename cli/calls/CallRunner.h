#pragma once

#include "cli/calls/CallTable.h"
#include "cli/calls/Session.h"
#include "cli/calls/Verdict.h"

namespace varnockctl {

/// The result of a typed call.
struct Outcome {
    Json value;       ///< null if there is none
    Verdict verdict;  ///< also if the call threw
    bool threw = false;
};

/// Runs a call by name. REQUIRES: the call exists, and checkArguments() has passed.
[[nodiscard]] Outcome run(Session& session, const std::string& name, const CallArguments& arguments,
                          JsonAllocator& allocator);

}  // namespace varnockctl
