#pragma once

#include <string>

namespace varnockctl {

/// What `doctor` has to say about one thing.
struct Finding {
    enum class State {
        ok,
        note,     ///< works, but perhaps not as it was meant
        problem,  ///< does not work
    };

    std::string check;  ///< what was looked at: "agent", "registry", "trace" or "environment"
    State state = State::ok;
    std::string text;
    std::string mend;  ///< what to do about it; empty when there is nothing to do
};

}  // namespace varnockctl
