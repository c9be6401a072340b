#include "agent/AgentClock.h"

#include <algorithm>
#include <ctime>

#include "agent/Refusal.h"

namespace varnock::agent {
namespace {

constexpr std::chrono::sys_days kVirtualStart{std::chrono::year_month_day{
    std::chrono::year(2026), std::chrono::January, std::chrono::day(1)}};
constexpr AgentClock::Time kFurthest = std::chrono::hours(24) * 36525;

}  // namespace

AgentClock::Alarm::~Alarm() {
    if (clock_ != nullptr) {
        clock_->alarms_.erase(key_);
    }
}

AgentClock::AgentClock(sd_event* loop, Kind kind)
    : kind_(kind),
      start_(kind == Kind::real ? std::chrono::system_clock::now()
                                : std::chrono::system_clock::time_point(kVirtualStart)) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_time_relative(loop, &source, CLOCK_MONOTONIC, 0, 1, onDue, this),
            "cannot make a timer");
    due_.reset(source);
    checked(sd_event_source_set_enabled(source, SD_EVENT_OFF), "cannot stop a timer");
}

AgentClock::Time AgentClock::now() const {
    return kind_ == Kind::isVirtual
               ? virtualNow_
               : std::chrono::duration_cast<Time>(std::chrono::steady_clock::now() - realStart_);
}

AgentClock::Alarm AgentClock::at(Time when, std::function<void()> action) {
    // An alarm that is due is left to the loop even on a virtual clock, where the time does not
    // pass.
    const Alarm::Key key{std::max(when, now()), alarmsMade_++};
    alarms_.emplace(key, std::move(action));
    watch();
    return Alarm(*this, key);
}

void AgentClock::advance(Time by) {
    if (kind_ == Kind::real) {
        throw Refusal("the clock is real; only --clock virtual can be advanced");
    }
    if (by < Time::zero() || by > kFurthest || by > kFurthest - virtualNow_) {
        throw Refusal("the clock can be advanced by at most 100 years");
    }
    const Time end = virtualNow_ + by;
    performUntil(end);
    virtualNow_ = end;
}

int AgentClock::onDue(sd_event_source*, std::uint64_t, void* self) {
    auto* clock = static_cast<AgentClock*>(self);
    clock->performUntil(clock->now());
    clock->watch();
    return 0;
}

void AgentClock::performUntil(Time end) {
    while (!alarms_.empty() && alarms_.begin()->first.first <= end) {
        // The action may destroy its alarm and set others.
        auto next = alarms_.extract(alarms_.begin());
        virtualNow_ = std::max(virtualNow_, next.key().first);
        next.mapped()();
    }
}

/// Lets the loop wake up for the first alarm. On a virtual clock only one that is due already can
/// happen by itself.
void AgentClock::watch() {
    if (alarms_.empty()) {
        return;
    }
    const Time rest = std::max(Time(0), alarms_.begin()->first.first - now());
    if (kind_ == Kind::isVirtual && rest > Time::zero()) {
        return;
    }
    checked(sd_event_source_set_time_relative(due_.get(), static_cast<std::uint64_t>(rest.count())),
            "cannot set a timer");
    checked(sd_event_source_set_enabled(due_.get(), SD_EVENT_ONESHOT), "cannot set a timer");
}

}  // namespace varnock::agent
