#include "agent/Serve.h"

#include <signal.h>
#include <systemd/sd-daemon.h>

#include <utility>

#include "agent/EventLoop.h"
#include "agent/Signals.h"

namespace varnock::agent {

int serve(Machine& machine, ServerOptions options) {
    const int ends[] = {SIGTERM, SIGINT, SIGHUP};
    const BlockedSignals blocked{SIGTERM, SIGINT, SIGHUP};
    // The reader of our messages may go; SIGPIPE must not leave the sockets behind.
    signal(SIGPIPE, SIG_IGN);
    const EventLoop loop = newEventLoop();
    for (const int signal : ends) {
        sd_event_source* source = nullptr;
        // Without a handler a signal ends the loop.
        checked(sd_event_add_signal(loop.get(), &source, signal, nullptr, nullptr),
                "cannot take signals");
        // Signals take precedence over all clients, however busy the loop is.
        checked(sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT),
                "cannot take signals");
        checked(sd_event_source_set_floating(source, 1), "cannot take signals");
        sd_event_source_unref(source);
    }
    options.inherited = inheritedSockets();
    const std::string status = "STATUS=listening in " + options.directory;
    Server server(loop.get(), machine, std::move(options));
    checked(sd_event_set_watchdog(loop.get(), 1), "cannot serve the watchdog");
    sd_notify(0, ("READY=1\n" + status).c_str());
    const int result = checked(sd_event_loop(loop.get()), "event loop");
    sd_notify(0, "STOPPING=1");
    return result;
}

}  // namespace varnock::agent
