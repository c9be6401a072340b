#include "agent/Poller.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace varnock::agent {
namespace {

/// Between two batches the loop looks at its other sources.
constexpr int kBatch = 64;

void control(int epoll, int operation, int fd, std::uint32_t events, std::uint64_t id) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = id;
    if (epoll_ctl(epoll, operation, fd, &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot watch");
    }
}

}  // namespace

Poller::Watch::~Watch() {
    if (poller_ != nullptr) {
        poller_->clients_.erase(id_);
        epoll_ctl(poller_->epoll_.get(), EPOLL_CTL_DEL, fd_, nullptr);
    }
}

void Poller::Watch::wait(std::uint32_t events) {
    if (events != events_) {
        control(poller_->epoll_.get(), EPOLL_CTL_MOD, fd_, events, id_);
        events_ = events;
    }
}

Poller::Poller(sd_event* loop) : epoll_(epoll_create1(EPOLL_CLOEXEC)) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_io(loop, &source, epoll_.get(), EPOLLIN, onTurn, this), "cannot watch");
    turn_.reset(source);
}

Poller::Watch Poller::watch(int fd, std::uint32_t events, Client& client) {
    const std::uint64_t id = watched_++;
    control(epoll_.get(), EPOLL_CTL_ADD, fd, events, id);
    Watch watch;
    watch.poller_ = this;
    watch.id_ = id;
    watch.fd_ = fd;
    watch.events_ = events;
    clients_.emplace(id, &client);
    return watch;
}

int Poller::onTurn(sd_event_source*, int fd, std::uint32_t, void* self) {
    auto& clients = static_cast<Poller*>(self)->clients_;
    std::array<epoll_event, kBatch> batch;
    const int count = epoll_wait(fd, batch.data(), kBatch, 0);
    for (int i = 0; i < count; ++i) {
        // The kernel's record is packed: its members may not be referred to in place.
        const std::uint64_t id = batch[static_cast<std::size_t>(i)].data.u64;
        const std::uint32_t events = batch[static_cast<std::size_t>(i)].events;
        // One that was served before may have destroyed this one.
        const auto found = clients.find(id);
        if (found != clients.end()) {
            found->second->onReady(events);
        }
    }
    return 0;
}

}  // namespace varnock::agent
