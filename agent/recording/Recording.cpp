#include "agent/recording/Recording.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>

#include "agent/FrameBuffer.h"
#include "agent/Refusal.h"
#include "tools/Hexadecimal.h"
#include "tools/Json.h"

namespace varnock::agent {
namespace {

std::optional<std::string> textIn(const Json& object, const char* name) {
    const Json* const value = findMember(object, name);
    return value != nullptr && value->IsString()
               ? std::optional(std::string(value->GetString(), value->GetStringLength()))
               : std::nullopt;
}

/// The bytes of a line in whichever of its three forms.
std::optional<std::string> bytesIn(const Json& line) {
    if (const Json* const record = findMember(line, "record")) {
        const std::string text = toString(*record, false);
        return fitsFrame(text) ? std::optional(encodeFrame(text)) : std::nullopt;
    }
    if (const auto digits = textIn(line, "text")) {
        const auto text = bytesOfDigits(*digits);
        return text && fitsFrame(*text) ? std::optional(encodeFrame(*text)) : std::nullopt;
    }
    const auto digits = textIn(line, "bytes");
    return digits ? bytesOfDigits(*digits) : std::nullopt;
}

std::optional<std::string> requestIn(const std::string& bytes) try {
    FrameBuffer frames;
    frames.append(bytes);
    return frames.takeText();
} catch (const FrameTooLong&) {
    return std::nullopt;
}

/// Puts the lines of a recording into the exchanges of their connections.
class Assembly {
  public:
    void add(const RecordedLine& line) {
        const std::size_t index = indexOf(line);
        std::vector<RecordedExchange>& exchanges = recording_[index].exchanges;
        double& last = lastTimes_[index];
        if (line.direction == "in") {
            // Half a frame is no request.
            if (const auto request = requestIn(line.bytes)) {
                exchanges.push_back({*request});
            }
        } else if (!exchanges.empty()) {
            ReplyStep step{line.bytes, {}, line.closes};
            if (line.direction == "event") {
                step.delay =
                    std::chrono::microseconds(std::llround(std::max(0.0, line.time - last) * 1e6));
                exchanges.back().plan.steps.push_back(std::move(step));
            } else {
                answer(exchanges, std::move(step));
            }
        }
        last = line.time;
    }

    Recording take() { return std::move(recording_); }

  private:
    std::size_t indexOf(const RecordedLine& line) {
        const auto [found, isNew] =
            indexes_.emplace(std::pair(line.channel, line.connection), recording_.size());
        if (isNew) {
            recording_.push_back({line.connection, line.channel});
            lastTimes_.push_back(line.time);
        }
        return found->second;
    }

    /// The reply to the first request that has none.
    static void answer(std::vector<RecordedExchange>& exchanges, ReplyStep step) {
        auto first = std::find_if(exchanges.begin(), exchanges.end(),
                                  [](const RecordedExchange& each) { return !each.isAnswered; });
        RecordedExchange& exchange = first != exchanges.end() ? *first : exchanges.back();
        exchange.isAnswered = true;
        exchange.plan.steps.push_back(std::move(step));
    }

    Recording recording_;
    std::vector<double> lastTimes_;
    std::map<std::pair<Channel, unsigned>, std::size_t> indexes_;
};

}  // namespace

std::optional<RecordedLine> parseRecordedLine(const std::string& line) {
    JsonDocument document;
    if (!parse(document, line) || !document.IsObject()) {
        return std::nullopt;
    }
    const Json* const time = findMember(document, "time");
    const Json* const connection = findMember(document, "connection");
    const auto channel = textIn(document, "channel");
    const auto direction = textIn(document, "direction");
    const auto bytes = bytesIn(document);
    const bool isWhole = time != nullptr && time->IsNumber() && connection != nullptr &&
                         connection->IsUint() && channel && direction && bytes;
    if (!isWhole || (*channel != "requests" && *channel != "events") ||
        (*direction != "in" && *direction != "out" && *direction != "event")) {
        return std::nullopt;
    }
    const Json* const closes = findMember(document, "closes");
    return RecordedLine{time->GetDouble(),
                        connection->GetUint(),
                        *channel == "events" ? Channel::events : Channel::requests,
                        *direction,
                        *bytes,
                        closes != nullptr && closes->IsTrue()};
}

Recording readRecording(const std::string& path) {
    // A directory could be opened too, and a device might never end.
    std::error_code error;
    if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error)) {
        throw Refusal(path + ": cannot read the recording: not a regular file");
    }
    std::ifstream file(path);
    if (!file) {
        throw Refusal(path + ": cannot read the recording: " + std::strerror(errno));
    }
    Assembly assembly;
    unsigned number = 0;
    for (std::string text; std::getline(file, text);) {
        ++number;
        const auto line = parseRecordedLine(text);
        if (!line) {
            throw Refusal(path + ":" + std::to_string(number) + ": not a line of a recording");
        }
        assembly.add(*line);
    }
    return assembly.take();
}

}  // namespace varnock::agent
