#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>

#include "agent/AgentClock.h"
#include "agent/CallNames.h"

namespace varnock::agent {

/// How often each command was asked, and who waits for one to be asked. Used only on the thread of
/// the event loop.
class CallCounts {
  public:
    struct Key {
        unsigned opcode;
        unsigned ext;
        unsigned object;

        // NOLINTNEXTLINE(modernize-use-nullptr) -- not there
        auto operator<=>(const Key&) const = default;
    };
    struct Count {
        std::uint64_t times = 0;
        AgentClock::Time last{0};
    };
    /// A call that must come a number of times within a time.
    struct Expectation {
        CallCommand command;
        std::optional<unsigned> object;  ///< nothing for any
        unsigned times;
        AgentClock::Time within;
    };
    /// Is told how often the call came: as often as expected, or less often in the whole time. Must
    /// not throw.
    using Verdict = std::function<void(unsigned times)>;

    /// The most commands that are counted apart, so that a client cannot fill the memory.
    static constexpr std::size_t kMost = 4096;

    explicit CallCounts(AgentClock& clock) : clock_(clock) {}

    void note(const Key& command);
    const std::map<Key, Count>& all() const { return counts_; }
    /// The commands that were not counted apart.
    std::uint64_t others() const { return others_; }

    /// Waits from now on.
    void expect(const Expectation& expectation, Verdict verdict);
    /// Ends all waits, as if their time had passed.
    void endWaits();

  private:
    struct Wait {
        Expectation expectation;
        Verdict verdict;
        unsigned seen = 0;
        AgentClock::Alarm end = {};
    };

    AgentClock& clock_;
    std::map<Key, Count> counts_;
    std::uint64_t others_ = 0;
    std::list<Wait> waits_;
};

}  // namespace varnock::agent
