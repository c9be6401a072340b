#include "agent/testing/AgentThread.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "agent/Signals.h"
#include "tools/Console.h"

namespace varnock::agent {
namespace {

int onStop(sd_event_source* source, int, std::uint32_t, void*) {
    return sd_event_exit(sd_event_source_get_event(source), 0);
}

}  // namespace

AgentThread::AgentThread(Machine& machine, ServerOptions options)
    : server_(loop_.get(), machine, std::move(options)), stop_(eventfd(0, EFD_CLOEXEC)) {
    if (!stop_) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    sd_event_source* source = nullptr;
    checked(sd_event_add_io(loop_.get(), &source, stop_.get(), EPOLLIN, onStop, nullptr),
            "cannot watch");
    stopping_.reset(source);
    // However busy the clients are.
    checked(sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT), "cannot watch");
    const BlockedSignals blocked;
    thread_ = std::thread([loop = loop_.get()] {
        const int result = sd_event_loop(loop);
        if (result < 0) {
            console::say("agent: event loop", std::strerror(-result));
        }
    });
}

AgentThread::~AgentThread() {
    // A new counter has room for this.
    static_cast<void>(eventfd_write(stop_.get(), 1));
    thread_.join();
}

}  // namespace varnock::agent
