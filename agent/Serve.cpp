#include "agent/Serve.h"

#include <signal.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "tools/Console.h"

namespace varnock::agent {

namespace {

void tellReady(int descriptor) {
    const FileDescriptor fd(descriptor);
    ssize_t count = -1;
    do {
        count = write(fd.get(), "\n", 1);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
        console::say("varnock-agent: --ready-fd", std::strerror(errno));
    }
}

}  // namespace

DaemonLoop::DaemonLoop() {
    // The reader of our messages may go; SIGPIPE must not leave the sockets behind.
    signal(SIGPIPE, SIG_IGN);
    loop_ = newEventLoop();
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sd_event_source* source = nullptr;
        // Without a handler a signal ends the loop.
        checked(sd_event_add_signal(loop_.get(), &source, signal, nullptr, nullptr),
                "cannot take signals");
        // Signals take precedence over all clients, however busy the loop is.
        checked(sd_event_source_set_priority(source, SD_EVENT_PRIORITY_IMPORTANT),
                "cannot take signals");
        checked(sd_event_source_set_floating(source, 1), "cannot take signals");
        sd_event_source_unref(source);
    }
}

int DaemonLoop::run(const std::string& status, std::optional<int> readyFd) {
    checked(sd_event_set_watchdog(loop_.get(), 1), "cannot serve the watchdog");
    sd_notify(0, ("READY=1\nSTATUS=" + status).c_str());
    if (readyFd) {
        tellReady(*readyFd);
    }
    const int result = checked(sd_event_loop(loop_.get()), "event loop");
    sd_notify(0, "STOPPING=1");
    return result;
}

int serve(Machine& machine, ServerOptions options, std::optional<int> readyFd) {
    DaemonLoop loop;
    options.inherited = inheritedSockets();
    const std::string status = "listening in " + options.directory;
    const Server server(loop.get(), machine, std::move(options));
    return loop.run(status, readyFd);
}

}  // namespace varnock::agent
