#include "EventSource.h"

#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include "transport/AgentSocket.h"
#include "transport/SipJson.h"

namespace krm {
namespace {

constexpr const char* kClientName = "KRM_sample_provider";
constexpr int kNoMemory = -9;
constexpr unsigned int kSystemMessageLog = 0x0B11;
constexpr unsigned int kDriverMonitorLog = 0x181B;

std::mutex& turns() {
    static auto* const mutex = new std::mutex;  // a thread may still need it at exit
    return *mutex;
}

const char* logOf(unsigned int opcode) {
    switch (opcode) {
        case kSystemMessageLog:
            return "System Message Log";
        case kDriverMonitorLog:
            return "Driver Monitor Log";
        default:
            return nullptr;
    }
}

}  // namespace

EventSource::EventSource() : wakeFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (wakeFd_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

EventSource::~EventSource() {
    ::close(wakeFd_);
}

bool EventSource::open() {
    std::unique_lock<std::mutex> turn(turns());
    // The library itself would retry for ten minutes.
    if (ProbeAgentSocket(EventSocketPath()) != 0) {
        return false;
    }
    SetClientName(kClientName);
    fd_ = RegisterForEvents(nullptr);
    if (fd_ < 0) {
        return false;
    }
    turn_ = std::move(turn);
    return true;
}

EventSource::Outcome EventSource::next(LogEvent& event) {
    pollfd descriptors[] = {{wakeFd_, POLLIN, 0}, {fd_, POLLIN, 0}};
    if (poll(descriptors, 2, -1) < 0) {
        return Outcome::nothing;  // interrupted
    }
    if (descriptors[0].revents != 0) {
        return Outcome::woken;
    }
    SipJson record;
    const int fd = GetEventJson(fd_, record);
    if (fd < 0 && fd != kNoMemory) {
        return Outcome::closed;
    }
    if (record.OpCode() != 0) {
        return understand(record, event);
    }
    // A broken channel was replaced, perhaps by one with the same descriptor, or there was no
    // memory for an event, or the event was malformed.
    fd_ = fd < 0 ? fd_ : fd;
    event = {LogEvent::entriesLost, nullptr, 0};
    return Outcome::event;
}

EventSource::Outcome EventSource::understand(const SipJson& record, LogEvent& event) {
    const char* const log = logOf(record.OpCode());
    if (log == nullptr || !record.HasReplyData()) {
        return Outcome::nothing;
    }
    event = {LogEvent::entry, log, record.DataDWord()};
    return Outcome::event;
}

void EventSource::close() {
    UnRegisterForEvents();
    fd_ = -1;
    turn_.unlock();
}

void EventSource::pause(std::chrono::milliseconds limit) {
    pollfd descriptor = {wakeFd_, POLLIN, 0};
    poll(&descriptor, 1, static_cast<int>(limit.count()));
}

void EventSource::wake() {
    // Fails only after more calls than a 64-bit counter can hold.
    static_cast<void>(eventfd_write(wakeFd_, 1));
}

}  // namespace krm
