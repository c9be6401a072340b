#pragma once

#include <chrono>
#include <string>

#include "tools/Json.h"

namespace varnock::agent {

/// How long an agent that works takes at most for its answer.
inline constexpr std::chrono::milliseconds kAgentPatience = std::chrono::seconds(10);
/// For an answer that takes as long as the agent decides.
inline constexpr std::chrono::milliseconds kEndlessPatience = std::chrono::hours(24 * 36525);

/// Sends a request to the agent that listens on the control socket, and returns the text of its
/// answer. Throws std::runtime_error with the path if the agent cannot be reached or does not
/// complete its answer in time.
std::string askAgent(const std::string& socket, const std::string& request,
                     std::chrono::milliseconds patience = kAgentPatience);

/// The members of an answer of the agent. Throws std::runtime_error with the path if the agent has
/// refused the request, or if the text is not an answer.
[[nodiscard]] JsonDocument parsedAnswer(const std::string& socket, const std::string& answer);

/// What `ctl` prints for an answer of the agent: the answer itself as one line of JSON, or its
/// members for people. Throws like parsedAnswer().
[[nodiscard]] std::string shownAnswer(const std::string& socket, const std::string& answer,
                                      bool asJson);

}  // namespace varnock::agent
