#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace varnock::agent {

/// An event as the command line describes it. Numbers are decimal or 0x.
struct EventWords {
    std::string event = {};  ///< a number or one of the two names
    std::optional<std::string> number =
        std::nullopt;  ///< its data, normally the number of a log entry
    std::optional<std::string> text = std::nullopt;  ///< its data as text
    std::string ext = "0";
    std::string object = "0";
    std::string cabinet = "0";
};

/// The text of the record of an event. Throws std::invalid_argument with a message for the user.
std::string eventRecord(const EventWords& words);

/// Sends a request to the agent that listens on the control socket, and returns the text of its
/// answer. Throws std::runtime_error with the path if the agent cannot be reached, does not
/// complete its answer in time, or refuses.
std::string askAgent(const std::string& socket, const std::string& request,
                     std::chrono::milliseconds patience = std::chrono::seconds(10));

}  // namespace varnock::agent
