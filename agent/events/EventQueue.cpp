#include "agent/events/EventQueue.h"

#include <utility>

#include "agent/FrameBuffer.h"

namespace varnock::agent {
namespace {

constexpr std::size_t kSentPerTurn = 64;

}  // namespace

EventQueue::EventQueue(sd_event* loop, Send send) : send_(std::move(send)) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_defer(loop, &source, onTurn, this), "cannot queue events");
    turn_.reset(source);
    checked(sd_event_source_set_enabled(source, SD_EVENT_OFF), "cannot queue events");
}

void EventQueue::raise(const SipJson& event) {
    const std::string text = event.Export();
    if (!fitsFrame(text)) {
        throw FrameTooLong();
    }
    frames_.push_back(encodeFrame(text));
    checked(sd_event_source_set_enabled(turn_.get(), SD_EVENT_ON), "cannot queue events");
}

void EventQueue::sendAll() {
    send(frames_.size());
}

int EventQueue::onTurn(sd_event_source*, void* self) {
    static_cast<EventQueue*>(self)->send(kSentPerTurn);
    return 0;
}

void EventQueue::send(std::size_t most) {
    for (; most > 0 && !frames_.empty(); --most) {
        const std::string frame = std::move(frames_.front());
        frames_.pop_front();
        send_(frame);
    }
    if (frames_.empty()) {
        checked(sd_event_source_set_enabled(turn_.get(), SD_EVENT_OFF), "cannot queue events");
    }
}

}  // namespace varnock::agent
