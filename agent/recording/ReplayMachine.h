#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>

#include "agent/Machine.h"
#include "agent/recording/Recording.h"

namespace varnock::agent {

/// Answers from a recorded session, byte for byte.
class ReplayMachine final : public Machine {
  public:
    enum class Order {
        strict,   ///< a client must send what was recorded, in the same order
        lenient,  ///< each request gets its replies one after the other, and then the last again
    };

    /// `name` is for users.
    ReplayMachine(Recording recording, Order order, std::string name);

    /// Of requests that are not in the recording.
    Answer answer(const Command& command) override;
    /// Strictly, a client takes the first free connection whose first request is its own. One that
    /// then sends something else is told so on standard error and is closed. Registrations fit each
    /// other, as they hold the client's own descriptor.
    std::optional<ReplyPlan> recorded(const Session& session, const std::string& request) override;
    std::string name() const override { return name_; }

  private:
    /// How far a client has come in its recorded connection.
    struct Cursor {
        std::size_t connection;
        std::size_t next = 0;
    };
    /// The replies to one request, and the one that comes next.
    struct Replies {
        std::vector<const ReplyPlan*> plans = {};
        std::size_t next = 0;
    };

    std::optional<ReplyPlan> inOrder(const Session& session, const std::string& request);
    std::optional<ReplyPlan> byRequest(const Session& session, const std::string& request);
    Cursor* cursorFor(const Session& session, const std::string& request);

    Recording recording_;
    Order order_;
    std::string name_;
    std::vector<bool> taken_;
    std::map<unsigned, Cursor> cursors_;
    std::unordered_map<std::string, Replies> replies_;
};

}  // namespace varnock::agent
