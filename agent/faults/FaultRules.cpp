#include "agent/faults/FaultRules.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "agent/Refusal.h"
#include "agent/faults/Random.h"
#include "transport/AgentProtocol.h"

namespace varnock::agent {
namespace {

bool fits(const std::optional<unsigned>& wanted, unsigned number) {
    return !wanted || *wanted == number;
}

bool fits(const FaultMatch& match, const FaultTarget& target) {
    // A registration that fails ends the connection, so it takes a rule of its own.
    const bool isFitting =
        match.opcode ? *match.opcode == target.opcode : target.opcode != kRegisterOpcode;
    return isFitting && fits(match.ext, target.ext) && fits(match.object, target.object) &&
           fits(match.cabinet, target.cabinet) && fits(match.connection, target.connection);
}

}  // namespace

FaultRules::Entry FaultRules::entryOf(unsigned number, const std::string& text,
                                      std::uint64_t seed) {
    FaultRule rule = parseFaultRule(text);
    const std::uint64_t own = rule.match.seed.value_or(seed);
    return {number, text, std::move(rule), own, std::mt19937_64(own)};
}

unsigned FaultRules::add(const std::string& text) {
    if (added_ == std::numeric_limits<unsigned>::max()) {
        throw Refusal("no number is left for a rule");
    }
    entries_.push_back(entryOf(added_ + 1, text, seed_ + added_ + 1));
    return ++added_;
}

FaultRules::State FaultRules::state() const {
    State state{added_, entries_};
    for (Entry& entry : state.entries) {
        if (auto& until = entry.rule.match.until) {
            until = std::max(*until - clock_.now(), FaultDelay::Time(0));
        }
    }
    return state;
}

void FaultRules::restore(State state) {
    added_ = state.added;
    const std::list<Entry> present = std::exchange(entries_, std::move(state.entries));
    for (Entry& entry : entries_) {
        if (auto& until = entry.rule.match.until) {
            *until += clock_.now();
        }
    }
    for (const Entry& entry : present) {
        add(entry.text);
    }
}

void FaultRules::remove(unsigned number) {
    if (std::erase_if(entries_, [&](const Entry& entry) { return entry.number == number; }) == 0) {
        throw Refusal("there is no rule " + std::to_string(number));
    }
}

FaultRules::Entry* FaultRules::match(const FaultTarget& target) {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](Entry& entry) { return isHit(entry, target); });
    if (found == entries_.end()) {
        return nullptr;
    }
    ++found->hits;
    return &*found;
}

bool FaultRules::isHit(Entry& entry, const FaultTarget& target) const {
    const FaultMatch& match = entry.rule.match;
    if (!fits(match, target) || (match.until && clock_.now() >= *match.until)) {
        return false;
    }
    if (++entry.seen < match.nth) {
        return false;
    }
    const std::optional<unsigned> times = mostHits(match);
    return (!times || entry.hits < *times) &&
           (match.probability >= 1 || fraction(entry.random) < match.probability);
}

}  // namespace varnock::agent
