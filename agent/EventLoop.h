#pragma once

#include <systemd/sd-event.h>

#include <memory>
#include <system_error>

/// Owners for the objects of sd-event. One thread runs a loop and owns all its sources.
namespace varnock::agent {

struct ReleaseLoop {
    void operator()(sd_event* loop) const { sd_event_unref(loop); }
};
struct ReleaseSource {
    void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};

using EventLoop = std::unique_ptr<sd_event, ReleaseLoop>;
/// A source is disabled when its owner is destroyed, even within its own callback.
using EventSource = std::unique_ptr<sd_event_source, ReleaseSource>;

/// Returns a result of sd-event; throws a negative one as std::system_error.
inline int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), what);
    }
    return result;
}

inline EventLoop newEventLoop() {
    sd_event* loop = nullptr;
    checked(sd_event_new(&loop), "cannot make an event loop");
    return EventLoop(loop);
}

}  // namespace varnock::agent
