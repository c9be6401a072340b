#include "tests/soak/EventLedger.h"

#include <algorithm>

namespace varnock::soak {

unsigned int EventLedger::begin(int agent) {
    const std::lock_guard lock(mutex_);
    if (agent != process_) {
        process_ = agent;
        isKnown_.push_back(false);
        firstDelivered_.reset();
    }
    current_ = {current_.number + 1, isKnown_.size() - 1, false};
    isUnderWay_ = true;
    hasArrivedEarly_ = false;
    ++figures_.sent;
    return current_.number;
}

void EventLedger::end(Fate fate, Clock::time_point now) {
    const std::lock_guard lock(mutex_);
    isUnderWay_ = false;
    if (fate == Fate::delivered) {
        ++figures_.delivered;
        firstDelivered_ = firstDelivered_.value_or(now);
        if (now - *firstDelivered_ > kDeaf) {
            isKnown_[current_.agent] = true;
        }
    }
    if (hasArrivedEarly_) {
        figures_.invented += fate == Fate::unheard ? 1 : 0;
    } else if (fate != Fate::unheard) {
        current_.mustArrive = fate == Fate::delivered;
        awaited_.push_back(current_);
    }
}

void EventLedger::received(unsigned int number) {
    const std::lock_guard lock(mutex_);
    ++figures_.received;
    if (number <= newestReceived_) {
        ++figures_.unordered;
        return;
    }
    newestReceived_ = number;
    const auto found = std::find_if(awaited_.begin(), awaited_.end(),
                                    [&](const Event& event) { return event.number == number; });
    const bool isEarly = found == awaited_.end() && isUnderWay_ && number == current_.number;
    if (found == awaited_.end() && !isEarly) {
        ++figures_.invented;
        return;
    }
    hasArrivedEarly_ = hasArrivedEarly_ || isEarly;
    const std::size_t agent = isEarly ? current_.agent : found->agent;
    figures_.agents += agent >= newestHeardOf_ ? 1 : 0;
    newestHeardOf_ = std::max(newestHeardOf_, agent + 1);
    isKnown_[agent] = true;
    for (; !awaited_.empty() && awaited_.front().number < number; awaited_.pop_front()) {
        giveUp(awaited_.front());
    }
    if (!isEarly) {
        awaited_.pop_front();
    }
}

void EventLedger::giveUp(const Event& event) {
    if (event.mustArrive) {
        ++(isKnown_[event.agent] ? figures_.lost : figures_.unregistered);
    }
}

void EventLedger::settle() {
    const std::lock_guard lock(mutex_);
    if (!isKnown_.empty()) {
        isKnown_.back() = true;
    }
    for (; !awaited_.empty(); awaited_.pop_front()) {
        giveUp(awaited_.front());
    }
}

bool EventLedger::isComplete() const {
    const std::lock_guard lock(mutex_);
    return !isKnown_.empty() && isKnown_.back() &&
           std::none_of(awaited_.begin(), awaited_.end(),
                        [](const Event& event) { return event.mustArrive; });
}

EventLedger::Figures EventLedger::figures() const {
    const std::lock_guard lock(mutex_);
    return figures_;
}

std::vector<std::string> faultsOf(const EventLedger::Figures& figures) {
    std::vector<std::string> faults;
    const auto judge = [&](unsigned int count, const char* what) {
        if (count != 0) {
            faults.push_back(std::to_string(count) + " events " + what);
        }
    };
    judge(figures.lost, "were lost");
    judge(figures.unordered, "arrived out of order or twice");
    judge(figures.invented, "arrived that no agent had delivered");
    return faults;
}

}  // namespace varnock::soak
