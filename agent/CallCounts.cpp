#include "agent/CallCounts.h"

#include <utility>

namespace varnock::agent {
namespace {

bool fits(const CallCounts::Expectation& expected, const CallCounts::Key& command) {
    return expected.command.opcode == command.opcode &&
           expected.command.ext.value_or(command.ext) == command.ext &&
           expected.object.value_or(command.object) == command.object;
}

}  // namespace

void CallCounts::note(const Key& command) {
    auto found = counts_.find(command);
    if (found == counts_.end() && counts_.size() < kMost) {
        found = counts_.emplace(command, Count{}).first;
    }
    if (found != counts_.end()) {
        ++found->second.times;
        found->second.last = clock_.now();
    } else {
        ++others_;
    }
    std::list<Wait> met;
    for (auto wait = waits_.begin(); wait != waits_.end();) {
        const auto current = wait++;
        if (fits(current->expectation, command) && ++current->seen == current->expectation.times) {
            met.splice(met.end(), waits_, current);
        }
    }
    for (const Wait& wait : met) {
        wait.verdict(wait.seen);
    }
}

void CallCounts::expect(const Expectation& expectation, Verdict verdict) {
    const auto wait = waits_.insert(waits_.end(), {expectation, std::move(verdict)});
    wait->end = clock_.at(clock_.now() + expectation.within, [this, wait] {
        std::list<Wait> ended;
        ended.splice(ended.end(), waits_, wait);
        wait->verdict(wait->seen);
    });
}

void CallCounts::endWaits() {
    const std::list<Wait> ended = std::exchange(waits_, {});
    for (const Wait& wait : ended) {
        wait.verdict(wait.seen);
    }
}

}  // namespace varnock::agent
