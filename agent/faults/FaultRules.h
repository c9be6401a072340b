#pragma once

#include <cstdint>
#include <list>
#include <random>
#include <string>

#include "agent/AgentClock.h"
#include "agent/faults/FaultRule.h"

namespace varnock::agent {

/// The numbers of a command and of its connection.
struct FaultTarget {
    unsigned opcode;
    unsigned ext;
    unsigned object;
    unsigned cabinet;
    unsigned connection;
};

/// The rules of an agent, in the order in which they were added: the first one that matches and
/// has commands left decides. Used only on the thread of the event loop.
class FaultRules {
  public:
    /// A rule and what it has done. Its random numbers depend on its seed alone.
    struct Entry {
        unsigned number;  ///< from 1; never used again
        std::string text;
        FaultRule rule;
        std::uint64_t seed;
        std::mt19937_64 random;
        unsigned seen = 0;  ///< matching commands
        unsigned hits = 0;  ///< of them, those that got the fault
    };

    /// The rules at one moment. Their ends are times after it, not of a clock.
    struct State {
        unsigned added = 0;  ///< the greatest number of a rule, also of one that has been removed
        std::list<Entry> entries = {};
    };

    /// `seed` is that of rules without their own.
    FaultRules(const AgentClock& clock, std::uint64_t seed) : clock_(clock), seed_(seed) {}

    /// Returns the number of the rule. Throws Refusal if its text is wrong or no number is left.
    unsigned add(const std::string& text);
    /// Throws Refusal if no rule has this number.
    void remove(unsigned number);
    void clear() { entries_.clear(); }
    const std::list<Entry>& all() const { return entries_; }
    bool isEmpty() const { return entries_.empty(); }

    State state() const;
    /// Goes on with the rules of a state. Those that are there come behind them, with new numbers.
    void restore(State state);

    /// A rule that has done nothing yet. Throws Refusal if its text is wrong.
    [[nodiscard]] static Entry entryOf(unsigned number, const std::string& text,
                                       std::uint64_t seed);

    /// The rule for a command, which counts as hit; null if there is none.
    Entry* match(const FaultTarget& target);

  private:
    bool isHit(Entry& entry, const FaultTarget& target) const;

    const AgentClock& clock_;
    std::uint64_t seed_;
    unsigned added_ = 0;
    std::list<Entry> entries_;
};

}  // namespace varnock::agent
