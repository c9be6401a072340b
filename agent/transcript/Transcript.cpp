#include "agent/transcript/Transcript.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/FrameBuffer.h"
#include "agent/Refusal.h"
#include "tools/Console.h"
#include "tools/Hexadecimal.h"
#include "tools/Json.h"

namespace varnock::agent {
namespace {

/// True if the text is a JSON value exactly as the agent would write it: then it can be read back
/// byte for byte.
bool isPlainJson(const std::string& text) {
    JsonDocument document;
    return parse(document, text) && toString(document, false) == text;
}

/// The member for the text of a frame.
std::string textMember(const std::string& text) {
    return isPlainJson(text) ? "\"record\":" + text : R"("text":")" + hexadecimalDigits(text) + '"';
}

std::string streamMember(const std::string& bytes) {
    const auto text = textOfFrame(bytes);
    return text ? textMember(*text) : R"("bytes":")" + hexadecimalDigits(bytes) + '"';
}

std::string stringMember(const char* name, const std::string& value) {
    JsonDocument document;
    const std::string valid = escapeInvalidUtf8(value);
    document.SetString(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
    return std::string(",\"") + name + "\":" + toString(document, false);
}

}  // namespace

void Transcript::start(const std::string& path) {
    FileDescriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC | O_NOCTTY, 0600));
    if (!file) {
        throw Refusal(path + ": cannot write a transcript: " + std::strerror(errno));
    }
    start(path, std::move(file));
}

void Transcript::start(const std::string& path, FileDescriptor file) {
    file_ = std::move(file);
    path_ = path;
    records_ = 0;
}

void Transcript::stop() {
    file_.reset();
}

void Transcript::request(const Session& session, const std::string& text) {
    write(begin(session, "in") + textMember(text));
}

void Transcript::reply(const Session& session, const ReplyPlan& plan, const ReplyNote& note) {
    std::string bytes;
    std::chrono::microseconds delay{0};
    bool closes = false;
    for (const ReplyStep& step : plan.steps) {
        bytes += step.bytes;
        delay += step.delay;
        closes = step.closes;
    }
    std::string line = begin(session, "out") + streamMember(bytes);
    if (note.rule != 0) {
        line += ",\"rule\":" + std::to_string(note.rule);
        line += ",\"steps\":" + std::to_string(plan.steps.size());
        line += ",\"delay\":" + std::to_string(delay.count());
        line += closes ? ",\"closes\":true" : "";
    }
    line += note.path.empty() ? "" : stringMember("path", note.path);
    line += note.reason.empty() ? "" : stringMember("reason", note.reason);
    write(line);
}

void Transcript::event(const Session& session, const std::string& frame) {
    write(begin(session, "event") + streamMember(frame));
}

void Transcript::passed(const Session& session, const char* direction, const std::string& bytes,
                        bool closes) {
    write(begin(session, direction) + streamMember(bytes) + (closes ? ",\"closes\":true" : ""));
}

std::string Transcript::begin(const Session& session, const char* direction) const {
    constexpr std::int64_t kPerSecond = 1'000'000;
    const std::int64_t now = clock_.now().count();
    char text[128];
    std::snprintf(text, sizeof text,
                  R"({"time":%)" PRId64 R"(.%06)" PRId64
                  R"(,"connection":%u,"channel":"%s","direction":"%s",)",
                  now / kPerSecond, now % kPerSecond, session.number,
                  session.channel == Channel::requests ? "requests" : "events", direction);
    return text;
}

/// A transcript that cannot be written ends, and the agent goes on.
void Transcript::write(const std::string& line) {
    const std::string whole = line + "}\n";
    for (std::string_view rest = whole; !rest.empty() && file_;) {
        const ssize_t count = ::write(file_.get(), rest.data(), rest.size());
        if (count >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            console::say("varnock-agent: " + path_ + ": the transcript ends", std::strerror(errno));
            file_.reset();
        }
    }
    ++records_;
}

}  // namespace varnock::agent
