#pragma once

#include "cli/calls/CallTable.h"
#include "cli/calls/Session.h"
#include "cli/calls/Verdict.h"

namespace varnockctl {

/// What a typed call gave.
struct Outcome {
    Json value;       ///< null when there is none
    Verdict verdict;  ///< with the exception's text when the call threw
    bool threw = false;
};

/// Runs a call by its name. REQUIRES: the name is a call's, and its arguments were checked.
Outcome run(Session& session, const std::string& name, const CallArguments& arguments,
            JsonAllocator& allocator);

}  // namespace varnockctl
