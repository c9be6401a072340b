#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/FrameBuffer.h"
#include "agent/LateReply.h"

namespace varnock::agent {

/// A part of what a client gets for its request.
struct ReplyStep {
    std::string bytes = {};
    /// Since the step before, by the agent's clock.
    std::chrono::microseconds delay{0};
    /// The connection ends after the bytes.
    bool closes = false;
};

/// What a client gets for a request: normally one frame at once. No steps: no answer.
struct ReplyPlan {
    std::vector<ReplyStep> steps = {};
    /// From now on the kernel takes as few unread bytes as possible from this connection.
    bool hasSmallBuffer = false;
    /// Becomes one frame behind the steps as soon as its text is there; null for none.
    std::shared_ptr<LateReply> late = {};
};

/// The whole reply at once. REQUIRES: fitsFrame(text).
inline ReplyPlan wholeReply(std::string_view text) {
    ReplyPlan plan;
    plan.steps.emplace_back().bytes = encodeFrame(text);
    return plan;
}

}  // namespace varnock::agent
