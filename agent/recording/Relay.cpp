#include "agent/recording/Relay.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <exception>
#include <utility>

#include "agent/NonBlocking.h"
#include "tools/Console.h"

namespace varnock::agent {
Relay::End::End(Relay& relay, Poller& poller, FileDescriptor fd)
    : relay_(relay), fd_(std::move(fd)), ready_(poller.watch(fd_.get(), EPOLLIN, *this)) {}

std::string Relay::End::receive() {
    std::array<char, kReceiveSize> buffer;
    const ssize_t count = recv(fd_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count < 0) {
        hasEnded = !wouldBlock(errno);
        hasGone = hasEnded;
        return {};
    }
    hasEnded = count == 0;
    return {buffer.data(), static_cast<std::size_t>(count)};
}

bool Relay::End::send(const std::string& bytes) {
    output_ += bytes;
    return flush();
}

bool Relay::End::flush() {
    while (isStuck()) {
        const ssize_t count = ::send(fd_.get(), output_.data() + sent_, output_.size() - sent_,
                                     MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            return wouldBlock(errno);
        }
        sent_ += static_cast<std::size_t>(count);
    }
    output_.clear();
    sent_ = 0;
    if (endsOutput_) {
        shutdown(fd_.get(), SHUT_WR);
    }
    return true;
}

void Relay::End::endOutput() {
    endsOutput_ = true;
}

void Relay::End::watch(bool canPassOn) {
    if (hasGone) {
        // A descriptor whose peer has gone is always ready.
        ready_ = {};
        return;
    }
    std::uint32_t events = isStuck() ? EPOLLOUT : 0U;
    events |= canPassOn && !hasEnded ? EPOLLIN : 0U;
    ready_.wait(events);
}

Relay::Relay(Poller& poller, FileDescriptor client, FileDescriptor agent, const Session& session,
             Transcript& recording, Dropped dropped)
    : session_(session),
      recording_(recording),
      dropped_(std::move(dropped)),
      client_(*this, poller, std::move(client)),
      agent_(*this, poller, std::move(agent)) {}

void Relay::serve(End& end, std::uint32_t events) {
    bool isGood = false;
    try {
        End& other = &end == &client_ ? agent_ : client_;
        const bool hasGone = (events & (EPOLLHUP | EPOLLERR)) != 0;
        const bool canRead = hasGone || ((events & EPOLLIN) != 0 && !other.isStuck());
        isGood = end.flush() && (!canRead || end.hasEnded || pass(end, other));
        // What the peer has sent before it went is read first.
        end.hasGone = end.hasGone || (hasGone && end.hasEnded);
        isGood = isGood && isAlive();
        if (isGood) {
            end.watch(!other.isStuck());
            other.watch(!end.isStuck());
        }
    } catch (const std::exception& failure) {
        console::say("varnock-agent: connection dropped", failure.what());
    }
    if (!isGood) {
        // The call destroys this relay, including the function object being called.
        const Dropped dropped = dropped_;
        dropped(*this);
    }
}

bool Relay::pass(End& from, End& to) {
    const std::string bytes = from.receive();
    if (from.hasEnded) {
        to.endOutput();
    }
    const bool isTaken = to.send(bytes);
    record(from, bytes);
    return isTaken;
}

/// The client gets all that the agent has sent; the agent may still answer a client that only
/// listens.
bool Relay::isAlive() const {
    const bool agentIsDone = agent_.hasEnded && !client_.isStuck();
    const bool clientIsDone = client_.hasGone && !agent_.isStuck();
    return !agentIsDone && !clientIsDone;
}

void Relay::record(End& from, const std::string& bytes) {
    from.seen.append(bytes);
    try {
        while (from.isSplit) {
            const auto frame = from.seen.takeFrame();
            if (!frame) {
                break;
            }
            recording_.passed(session_, directionOf(from), *frame, false);
        }
    } catch (const FrameTooLong&) {
        // The start of the next frame can no longer be found.
        from.isSplit = false;
    }
    const bool closes = from.hasEnded && &from == &agent_;
    if ((!from.isSplit || from.hasEnded) && (from.seen.holdsBytes() || closes)) {
        recording_.passed(session_, directionOf(from), from.seen.takeRest(), closes);
    }
}

/// What an agent sends without being asked is an event.
const char* Relay::directionOf(const End& from) {
    if (&from == &client_) {
        ++unanswered_;
        return "in";
    }
    if (unanswered_ == 0 && session_.channel == Channel::events && !agent_.hasEnded) {
        return "event";
    }
    unanswered_ -= unanswered_ > 0 ? 1 : 0;
    return "out";
}

}  // namespace varnock::agent
