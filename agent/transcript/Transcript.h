#pragma once

#include <cstdint>
#include <string>

#include "agent/AgentClock.h"
#include "agent/ReplyPlan.h"
#include "agent/Session.h"
#include "runtime/files/FileDescriptor.h"

namespace varnock::agent {

/// What is known about a reply besides its bytes.
struct ReplyNote {
    unsigned rule = 0;  ///< the fault's rule; 0 for none
    std::string reason = {};
    std::string path = {};
};

/// Writes what the clients of the library's sockets send and get, one line of JSON for each
/// request, reply and event, as soon as it happens. man/varnock-transcript.5 describes the lines.
/// Off until a file is given. Used only on the thread of the event loop.
class Transcript {
  public:
    explicit Transcript(const AgentClock& clock) : clock_(clock) {}

    /// Writes into a new file from now on. Throws Refusal with the path if it cannot be created.
    void start(const std::string& path);
    /// The same with a file that is open; `path` is for messages.
    void start(const std::string& path, FileDescriptor file);
    void stop();
    bool isOn() const { return static_cast<bool>(file_); }
    /// Where the last file is; empty if there was none.
    const std::string& path() const { return path_; }
    std::uint64_t records() const { return records_; }

    void request(const Session& session, const std::string& text);
    void reply(const Session& session, const ReplyPlan& plan, const ReplyNote& note);
    void event(const Session& session, const std::string& frame);
    /// Bytes that were passed on, usually one frame; `closes` if the agent then closed the
    /// connection.
    void passed(const Session& session, const char* direction, const std::string& bytes,
                bool closes);

  private:
    std::string begin(const Session& session, const char* direction) const;
    void write(const std::string& line);

    const AgentClock& clock_;
    std::string path_;
    FileDescriptor file_;
    std::uint64_t records_ = 0;
};

}  // namespace varnock::agent
