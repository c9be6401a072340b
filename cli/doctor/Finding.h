#pragma once

#include <string>

namespace varnockctl {

/// One result of `doctor`.
struct Finding {
    enum class State {
        ok,
        note,     ///< works, but perhaps not as intended
        problem,  ///< does not work
    };

    std::string check;  ///< the subject: "agent", "registry", "trace" or "environment"
    State state = State::ok;
    std::string text;
    std::string fix;  ///< how to fix it; empty if there is nothing to fix
};

}  // namespace varnockctl
