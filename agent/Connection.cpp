#include "agent/Connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <utility>

#include "tools/Console.h"

namespace varnock::agent {
namespace {

constexpr std::size_t kReceiveSize = 65536;

bool wouldBlock(int error) {
    return error == EAGAIN || error == EINTR;
}

}  // namespace

Connection::Connection(sd_event* loop, FileDescriptor fd, Channel channel, Replier& replier,
                       const Limits& limits, Dropped dropped)
    : fd_(std::move(fd)),
      session_{channel, fd_.get(), false, {}},
      replier_(replier),
      limits_(limits),
      dropped_(std::move(dropped)) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_io(loop, &source, fd_.get(), EPOLLIN, onReady, this), "cannot watch");
    ready_.reset(source);
    checked(sd_event_add_time_relative(loop, &source, CLOCK_MONOTONIC, 0, 1, onDeadline, this),
            "cannot make a timer");
    deadline_.reset(source);
    checked(sd_event_source_set_enabled(source, SD_EVENT_OFF), "cannot stop a timer");
}

int Connection::onReady(sd_event_source*, int, std::uint32_t events, void* self) {
    auto* connection = static_cast<Connection*>(self);
    bool alive = false;
    try {
        alive = connection->serve(events);
    } catch (const FrameTooLong&) {
        // The start of the next frame can no longer be found.
    } catch (const std::exception& failure) {
        console::say("varnock-agent: connection dropped", failure.what());
    }
    if (!alive) {
        connection->drop();
    }
    return 0;
}

int Connection::onDeadline(sd_event_source*, std::uint64_t, void* self) {
    static_cast<Connection*>(self)->drop();
    return 0;
}

void Connection::drop() {
    // The call destroys this connection, including the function object being called.
    const Dropped dropped = dropped_;
    dropped(*this);
}

bool Connection::serve(std::uint32_t events) {
    if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
        return false;
    }
    lastActive_ = Clock::now();
    if ((events & EPOLLOUT) != 0 && !flush()) {
        return false;
    }
    if ((events & EPOLLIN) != 0 && !receive()) {
        return false;
    }
    if (!answerFrames()) {
        return false;
    }
    watch();
    // A client that has shut down its sending side still receives its replies.
    return busy() || !inputEnded_;
}

bool Connection::receive() {
    std::array<char, kReceiveSize> buffer;
    const ssize_t count = recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0) {
        return wouldBlock(errno);
    }
    inputEnded_ = count == 0;
    input_.append({buffer.data(), static_cast<std::size_t>(count)});
    return true;
}

bool Connection::answerFrames() {
    while (!busy()) {
        const auto request = input_.takeText();
        if (!request) {
            return true;
        }
        output_ = encodeFrame(replier_.reply(session_, *request));
        sent_ = 0;
        if (!flush()) {
            return false;
        }
    }
    return true;
}

bool Connection::flush() {
    while (busy()) {
        const ssize_t count = send(fd_.get(), output_.data() + sent_, output_.size() - sent_,
                                   MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            return wouldBlock(errno);
        }
        sent_ += static_cast<std::size_t>(count);
        // Every read by the client, however slow, restarts the timeout.
        setDeadline(false);
    }
    output_.clear();
    sent_ = 0;
    return true;
}

bool Connection::push(const std::string& frame) {
    if (output_.size() - sent_ + frame.size() > limits_.queuedEvents) {
        return false;
    }
    lastActive_ = Clock::now();
    output_.erase(0, sent_);
    sent_ = 0;
    output_ += frame;
    if (!flush()) {
        return false;
    }
    watch();
    return true;
}

void Connection::watch() {
    std::uint32_t events = busy() ? EPOLLOUT : 0U;
    if (!busy() && !inputEnded_) {
        events |= EPOLLIN;
    }
    checked(sd_event_source_set_io_events(ready_.get(), events), "cannot watch");
    setDeadline(busy() || input_.holdsBytes());
}

void Connection::setDeadline(bool wanted) {
    if (wanted == deadlineSet_) {
        return;
    }
    if (wanted) {
        const auto patience = static_cast<std::uint64_t>(limits_.patience.count());
        checked(sd_event_source_set_time_relative(deadline_.get(), patience), "cannot set a timer");
    }
    checked(sd_event_source_set_enabled(deadline_.get(), wanted ? SD_EVENT_ONESHOT : SD_EVENT_OFF),
            "cannot set a timer");
    deadlineSet_ = wanted;
}

}  // namespace varnock::agent
