#include "agent/Connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <utility>

#include "agent/NonBlocking.h"
#include "tools/Console.h"

namespace varnock::agent {
Connection::Connection(const Surroundings& surroundings, FileDescriptor fd, Session session,
                       Replier& replier, Dropped dropped)
    : fd_(std::move(fd)),
      session_(std::move(session)),
      replier_(replier),
      clock_(surroundings.clock),
      limits_(surroundings.limits),
      dropped_(std::move(dropped)),
      ready_(surroundings.poller.watch(fd_.get(), EPOLLIN, *this)) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_time_relative(surroundings.loop, &source, CLOCK_MONOTONIC, 0, 1,
                                       onDeadline, this),
            "cannot make a timer");
    deadline_.reset(source);
    checked(sd_event_source_set_enabled(source, SD_EVENT_OFF), "cannot stop a timer");
}

Connection::~Connection() {
    if (plan_.late) {
        plan_.late->whenGiven(nullptr);
    }
}

/// Drops the connection if the action fails or says that it has ended.
template <typename Action>
void Connection::keepIf(Action stillAlive) {
    bool alive = false;
    try {
        alive = stillAlive();
    } catch (const FrameTooLong&) {
        // The start of the next frame can no longer be found.
    } catch (const std::exception& failure) {
        console::say("varnock-agent: connection dropped", failure.what());
    }
    if (!alive) {
        drop();
    }
}

void Connection::onReady(std::uint32_t events) {
    keepIf([&] { return serve(events); });
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
    if ((events & EPOLLIN) != 0 && !receive()) {
        return false;
    }
    return goOn();
}

/// Sends and answers as much as can be now. False if the connection has ended.
bool Connection::goOn() {
    if (!carryOut() || !answerFrames()) {
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
        plan_ = replier_.plan(session_, *request);
        step_ = 0;
        if (plan_.hasSmallBuffer) {
            const int least = 1;  // the kernel makes it the smallest that it allows
            setsockopt(fd_.get(), SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
        }
        if (!carryOut()) {
            return false;
        }
    }
    return true;
}

/// Carries out the plan as far as it can be now. False if the connection has ended.
bool Connection::carryOut() {
    for (;;) {
        if (!flush()) {
            return false;
        }
        if (hasOutput() || isPaused_) {
            return true;
        }
        if (isClosing_) {
            return false;
        }
        if (step_ == plan_.steps.size()) {
            plan_.steps.clear();
            step_ = 0;
            if (plan_.late) {
                awaitReply();
                continue;
            }
            if (events_.empty()) {
                return true;
            }
            output_ = std::exchange(events_, {});
        } else if (!wait(plan_.steps[step_])) {
            ReplyStep& step = plan_.steps[step_++];
            output_ = std::move(step.bytes);
            isClosing_ = step.closes;
        }
    }
}

/// False if the time of the step has come; else the connection pauses until then.
bool Connection::wait(ReplyStep& step) {
    const auto delay = std::exchange(step.delay, {});
    if (delay.count() <= 0) {
        return false;
    }
    pauseUntil(clock_.now() + delay);
    return true;
}

/// Puts the late reply into the plan, or pauses until its text comes.
void Connection::awaitReply() {
    if (const auto& text = plan_.late->text()) {
        plan_ = wholeReply(*text);
        return;
    }
    isPaused_ = true;
    // The text may come while another connection is being served: the loop continues this one.
    plan_.late->whenGiven([this] { pauseUntil(clock_.now()); });
}

void Connection::pauseUntil(AgentClock::Time end) {
    isPaused_ = true;
    pause_ = clock_.at(end, [this] {
        isPaused_ = false;
        keepIf([this] { return goOn(); });
    });
}

bool Connection::flush() {
    while (hasOutput()) {
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
    if (output_.size() - sent_ + events_.size() + frame.size() > limits_.queuedEvents) {
        return false;
    }
    lastActive_ = Clock::now();
    if (hasPlan()) {
        events_ += frame;
        return true;
    }
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
    std::uint32_t events = hasOutput() ? EPOLLOUT : 0U;
    if (!busy() && !inputEnded_) {
        events |= EPOLLIN;
    }
    ready_.wait(events);
    setDeadline(hasOutput() || (!busy() && input_.holdsBytes()));
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
