#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/ReplyPlan.h"
#include "agent/Session.h"

namespace varnock::agent {

/// A request of a recorded session, and all that the client got until its next one: the reply at
/// once, events at their distance from what came before.
struct RecordedExchange {
    std::string request;
    ReplyPlan plan = {};
    bool isAnswered = false;
};

/// What passed through one connection.
struct RecordedConnection {
    unsigned number;
    Channel channel;
    std::vector<RecordedExchange> exchanges = {};
};

/// A session from a file: the connections in the order of their first records.
using Recording = std::vector<RecordedConnection>;

/// One line of a recording or of a transcript.
struct RecordedLine {
    double time = 0;
    unsigned connection = 0;
    Channel channel = Channel::requests;
    std::string direction;  ///< "in", "out" or "event"
    std::string bytes;      ///< usually one frame
    bool closes = false;
};

/// The line of a recording; nothing if the text is not one, or is nested too deeply.
[[nodiscard]] std::optional<RecordedLine> parseRecordedLine(const std::string& line);

/// Reads a file that `record` or a transcript has written. Throws Refusal with the path, and with
/// the number of the line that is wrong.
[[nodiscard]] Recording readRecording(const std::string& path);

}  // namespace varnock::agent
