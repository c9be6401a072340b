#include "agent/recording/Proxy.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "runtime/files/PlatformPaths.h"
#include "tools/Console.h"

namespace varnock::agent {
namespace {

/// A connection to the agent; empty if it does not take one now.
FileDescriptor connectTo(const std::string& path) {
    FileDescriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!fd || path.size() >= sizeof address.sun_path) {
        return {};
    }
    path.copy(address.sun_path, path.size());
    const int result =
        connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return result == 0 ? std::move(fd) : FileDescriptor();
}

}  // namespace

Proxy::Door::Door(Proxy& owner, Channel which, const char* name, const Options& options)
    : proxy(owner),
      channel(which),
      listener(options.directory + "/" + name, options.mode),
      upstream(options.upstream + "/" + name) {
    sd_event_source* source = nullptr;
    checked(sd_event_add_io(proxy.loop_, &source, listener.fd(), EPOLLIN, onClient, this),
            "cannot watch");
    ready.reset(source);
}

Proxy::Proxy(sd_event* loop, const Options& options, Transcript& recording)
    : loop_(loop),
      recording_(recording),
      poller_(loop),
      lock_(lockDirectory(options.directory)),
      requests_(*this, Channel::requests, kRequestSocket, options),
      events_(*this, Channel::events, kEventSocket, options) {
    lock_.reset();
}

int Proxy::onClient(sd_event_source*, int, std::uint32_t, void* self) {
    auto* door = static_cast<Door*>(self);
    try {
        door->proxy.accept(*door);
    } catch (const std::exception& failure) {
        console::say("varnock-agent: client refused", failure.what());
    }
    return 0;
}

/// Takes one client; the loop comes back for more.
void Proxy::accept(Door& door) {
    FileDescriptor client(
        accept4(door.listener.fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!client) {
        // Without a pause the client that was not accepted would keep the loop busy.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            pause(true);
        }
        return;
    }
    FileDescriptor agent = connectTo(door.upstream);
    if (agent) {
        const Session session{door.channel, client.get(), false, {}, ++admitted_};
        relays_.push_back(std::make_unique<Relay>(poller_, std::move(client), std::move(agent),
                                                  session, recording_,
                                                  [this](Relay& gone) { drop(gone); }));
    }
}

void Proxy::pause(bool isPaused) {
    for (const Door* door : {&requests_, &events_}) {
        checked(sd_event_source_set_enabled(
                    door->ready.get(), isPaused && !relays_.empty() ? SD_EVENT_OFF : SD_EVENT_ON),
                "cannot pause");
    }
}

void Proxy::drop(const Relay& relay) {
    relays_.remove_if([&](const auto& each) { return each.get() == &relay; });
    pause(false);
}

}  // namespace varnock::agent
